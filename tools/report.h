/*
 * How the tool shows the faults of a document: as a compiler does, one
 * "FILE:LINE:COLUMN: error: ..." line with the source line and a caret under
 * the place, or as objects of one JSON array for programs (report.c).
 */
#ifndef JSONCODEC_TOOL_REPORT_H
#define JSONCODEC_TOOL_REPORT_H

#include <stdio.h>

#include <jansson.h>

#include "checker.h"

enum colour_choice { COLOUR_AUTO, COLOUR_ALWAYS, COLOUR_NEVER };

/* Whether text written to `stream` is coloured: always, never, or (auto)
 * when it is a terminal, NO_COLOR is unset or empty and TERM is not
 * "dumb". */
int use_colour(enum colour_choice choice, FILE *stream);

/* Prints each fault of the document `text`, read from `label`, to `to`:
 *   LABEL:LINE:COLUMN: error: MESSAGE
 *    LINE | the source line
 *         |     ^
 *   LABEL:LINE:COLUMN: note: did you mean 'HINT'?   (when there is a hint) */
void print_faults(FILE *to, const char *label, const char *text, const struct checker_faults *faults, int colour);

/* Appends each fault to `array` as an object with the members file, line,
 * column, path, status, message and, when there is one, hint. Returns 0,
 * or -1 when memory ran out. */
int append_faults(json_t *array, const char *label, const struct checker_faults *faults);

#endif
