/*
 * The faults of a document, found by the library's checking walk and placed
 * in the document's text (checker.cpp). The walk is the one the exports
 * decode with; it goes on after each fault to report the next.
 */
#ifndef JSONCODEC_TOOL_CHECKER_H
#define JSONCODEC_TOOL_CHECKER_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct checker_fault {
    int32_t status;  /* the library's status code */
    char *message;   /* the library's diagnostic line, without a final newline */
    char *pointer;   /* RFC 6901 JSON Pointer of the faulty value ("": the document) */
    char *hint;      /* an allowed text close to the refused one, or NULL */
    size_t offset;   /* the place in the text, in bytes: the value's first
                        character; for a missing property, its object's brace;
                        for a text that does not parse, where jansson stopped */
    size_t line;     /* the place as 1-based line and column; the column */
    size_t column;   /* counts characters, as jansson's parse errors do */
};

struct checker_faults {
    struct checker_fault *items; /* in the order of their places in the text */
    size_t count;
    int stopped; /* the walk stopped at the limit, with faults left unseen */
};

/*
 * Decodes the NUL-terminated `text` as the root type named `type` and lists
 * its faults in *out: every one when `every` is nonzero (but no more than
 * `limit`, when that is not 0: the first `limit` the walk meets), else only
 * the first, which is the one the type's rmqc_json_to_ export reports.
 * Returns 0 when the document is valid, 1 when it has faults, -1 when `type`
 * is not a root type or memory ran out (nothing is listed then). Release the
 * list with checker_release().
 */
int checker_run(const char *type, const char *text, int every, size_t limit, struct checker_faults *out);

void checker_release(struct checker_faults *faults);

#ifdef __cplusplus
}
#endif

#endif
