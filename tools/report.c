/*
 * The tool's fault output: compiler-style text and JSON (see report.h).
 */
#define _XOPEN_SOURCE 700 /* fileno */

#include "report.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* The escape sequences of the colours compilers use. */
#define BOLD "\033[1m"
#define RED "\033[1;31m"
#define GREEN "\033[1;32m"
#define CYAN "\033[1;36m"
#define PLAIN "\033[m"

/* A source line longer than this many bytes is shown as a window of about
 * WINDOW bytes either side of the place. */
#define LONG_LINE 200
#define WINDOW 80

int use_colour(enum colour_choice choice, FILE *stream) {
    const char *no_colour = getenv("NO_COLOR"), *term = getenv("TERM");
    if (choice != COLOUR_AUTO)
        return choice == COLOUR_ALWAYS;
    if (no_colour != NULL && no_colour[0] != '\0')
        return 0;
    if (term != NULL && strcmp(term, "dumb") == 0)
        return 0;
    return isatty(fileno(stream));
}

static int is_continuation(char c) {
    return ((unsigned char)c & 0xC0) == 0x80;
}

/* Writes the bytes [from, to) of a source line; control characters other
 * than tabs are shown as '?', so that a file cannot steer the terminal. */
static void put_source(FILE *out, const char *from, const char *to) {
    for (; from < to; from++)
        putc(((unsigned char)*from < 0x20 && *from != '\t') || *from == 0x7f ? '?' : *from, out);
}

/* Blanks as wide as the characters [from, to), tabs kept as tabs so that
 * the caret lines up under the source line. */
static void put_padding(FILE *out, const char *from, const char *to) {
    for (; from < to; from++)
        if (!is_continuation(*from))
            putc(*from == '\t' ? '\t' : ' ', out);
}

/* The source line of the place `offset`, and a caret under it. */
static void print_source(FILE *to, const char *text, size_t offset, size_t line, int colour) {
    const char *place = text + offset, *start = place, *end = place, *shown, *shown_end;
    int width = 5, cut_start, cut_end;
    size_t digits;

    while (start > text && start[-1] != '\n')
        start--;
    end += strcspn(end, "\n");
    if (end > start && end[-1] == '\r')
        end--;
    if (place > end)
        place = end;
    shown = start;
    shown_end = end;
    if (end - start > LONG_LINE) {
        if (place - start > WINDOW)
            shown = place - WINDOW;
        if (end - place > WINDOW)
            shown_end = place + WINDOW;
        while (shown < place && is_continuation(*shown))
            shown++;
        while (shown_end < end && is_continuation(*shown_end))
            shown_end++;
    }
    cut_start = shown > start;
    cut_end = shown_end < end;

    for (digits = line; digits >= 100000; digits /= 10)
        width++;
    fprintf(to, " %*lu | %s", width, (unsigned long)line, cut_start ? "..." : "");
    put_source(to, shown, shown_end);
    fprintf(to, "%s\n %*s | %s", cut_end ? "..." : "", width, "", cut_start ? "   " : "");
    put_padding(to, shown, place);
    fprintf(to, "%s^%s\n", colour ? GREEN : "", colour ? PLAIN : "");
}

void print_faults(FILE *to, const char *label, const char *text, const struct checker_faults *faults, int colour) {
    size_t i;
    for (i = 0; i < faults->count; i++) {
        const struct checker_fault *fault = &faults->items[i];
        fprintf(to, "%s%s:%lu:%lu:%s %serror:%s %s\n", colour ? BOLD : "", label, (unsigned long)fault->line,
                (unsigned long)fault->column, colour ? PLAIN : "", colour ? RED : "", colour ? PLAIN : "",
                fault->message);
        print_source(to, text, fault->offset, fault->line, colour);
        if (fault->hint != NULL)
            fprintf(to, "%s%s:%lu:%lu:%s %snote:%s did you mean '%s'?\n", colour ? BOLD : "", label,
                    (unsigned long)fault->line, (unsigned long)fault->column, colour ? PLAIN : "", colour ? CYAN : "",
                    colour ? PLAIN : "", fault->hint);
    }
}

/* A JSON string of `text`; a text that is not UTF-8 (a file name can be any
 * bytes) has each byte outside ASCII replaced by '?'. */
static json_t *string_value(const char *text) {
    json_t *value = json_string(text);
    char *copy, *at;
    if (value != NULL || (copy = strdup(text)) == NULL)
        return value;
    for (at = copy; *at != '\0'; at++)
        if ((unsigned char)*at >= 0x80)
            *at = '?';
    value = json_string(copy);
    free(copy);
    return value;
}

int append_faults(json_t *array, const char *label, const struct checker_faults *faults) {
    size_t i;
    for (i = 0; i < faults->count; i++) {
        const struct checker_fault *fault = &faults->items[i];
        json_t *item = json_object();
        /* The _new setters take the value over even when they fail. */
        int failed = item == NULL || json_array_append_new(array, item) != 0 ||
                     json_object_set_new(item, "file", string_value(label)) != 0 ||
                     json_object_set_new(item, "line", json_integer((json_int_t)fault->line)) != 0 ||
                     json_object_set_new(item, "column", json_integer((json_int_t)fault->column)) != 0 ||
                     json_object_set_new(item, "path", string_value(fault->pointer)) != 0 ||
                     json_object_set_new(item, "status", json_integer(fault->status)) != 0 ||
                     json_object_set_new(item, "message", string_value(fault->message)) != 0 ||
                     (fault->hint != NULL && json_object_set_new(item, "hint", string_value(fault->hint)) != 0);
        if (failed)
            return -1;
    }
    return 0;
}
