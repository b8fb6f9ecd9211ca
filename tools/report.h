// How the tool shows the faults of a document: as a compiler does, one
// "FILE:LINE:COLUMN: error: ..." (or "warning: ...") line with the source
// line and a caret under the place; or, for programs, as objects of one JSON
// array, as the results of one SARIF 2.1.0 log, or as GitHub Actions
// workflow commands.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include <jansson.h>

#include "fault.h"

namespace tool {

enum class ColourChoice { automatic, always, never };

// Whether text written to `stream` is coloured: always, never, or
// (automatic) when it is a terminal, NO_COLOR is unset or empty and TERM is
// not "dumb".
bool use_colour(ColourChoice choice, FILE *stream);

// `name` with each control character shown as '?', so that a file name
// cannot steer the terminal.
std::string printable(std::string_view name);

// Prints each fault of the document `text`, read from `label`, to `to`:
//   LABEL:LINE:COLUMN: error: MESSAGE         (warning: for a warning)
//    LINE | the source line
//         |     ^
//   LABEL:LINE:COLUMN: note: did you mean 'HINT'?   (when there is a hint)
//   LABEL:LINE:COLUMN: note: NOTE                   (when there is a note)
// The faults are in the order of their places; their source lines are found
// in one pass over the text. The caret goes under its character by display
// width under the locale of LC_CTYPE.
void print_faults(FILE *to, std::string_view label, std::string_view text, const std::vector<Fault> &faults,
                  bool colour);

// Appends each fault to `array` as an object with the members file, line,
// column, severity ("error" or "warning"), path, status, message and, when
// there is one, hint. Returns false when memory ran out.
bool append_faults(json_t *array, const std::string &label, const std::vector<Fault> &faults);

// Appends each fault to `results`, the results of a SARIF run, each with its
// rule (see sarif_log), level, message (the hint added as a question), and
// place: the file as a URI reference (relative when `label` is) and the
// line and column, which count characters. Returns false when memory ran out.
bool append_sarif_results(json_t *results, const std::string &label, const std::vector<Fault> &faults);

// The SARIF 2.1.0 log of one run of the tool, `version`, whose results
// are `results` (taken over, also on failure): the tool with its rules,
// one per kind of finding, and the run's columnKind. NULL when memory ran
// out.
json_t *sarif_log(json_t *results, const char *version);

// Prints each fault to `to` as a GitHub Actions workflow command,
//   ::error file=LABEL,line=LINE,col=COLUMN::MESSAGE   (::warning for a warning)
// with the hint added as a question, escaped as workflow commands require.
void print_workflow_commands(FILE *to, const std::string &label, const std::vector<Fault> &faults);

}  // namespace tool
