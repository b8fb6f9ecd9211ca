/*
 * The JSON Schemas of the root types, one text per type. The texts are
 * generated at build time from the library's record tables by
 * jsoncodec_make_schemas (make_schemas.cpp), into schemas.c in the build tree.
 */
#ifndef JSONCODEC_TOOL_SCHEMAS_H
#define JSONCODEC_TOOL_SCHEMAS_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

struct jsoncodec_schema {
    const char *type;        /* the root type's name, as --type takes it */
    const char *text;        /* the schema, pretty-printed, ending in a newline */
    const char *strict_text; /* the same with "additionalProperties": false on every record */
};

extern const struct jsoncodec_schema jsoncodec_schemas[];
extern const size_t jsoncodec_schema_count;

#ifdef __cplusplus
}
#endif

#endif
