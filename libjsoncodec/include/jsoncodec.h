/*
 * jsoncodec.h - convert data-protection server configuration documents
 * between JSON text and trees of plain C records.
 *
 * Every conversion validates as it goes and reports the first fault as a
 * status code plus, when the caller supplies a buffer, one diagnostic line
 * naming the place of the fault, for example
 *
 *   <rule>.ruleItem_Definitions[1].item_definitionType: JSON decode error.
 *   Expected a string as specified in schema.
 *
 * Ownership, in short:
 *   - a tree returned by rmqc_json_to_<T> belongs to the caller and is
 *     released with rmqc_free_<T> (or rmqc_destroy_<T> followed by the
 *     caller's own free() of the top record);
 *   - JSON text returned by rmqc_json_from_<T> belongs to the caller and is
 *     released with free();
 *   - the library keeps no pointer to anything the caller passes in.
 *
 * Record layout conventions, shared by every record type:
 *   - list element types start with `next`, the link to the following
 *     element (NULL ends the list); release routines never follow it;
 *   - required properties come first, then optional ones; each optional
 *     property P has a `uint8_t P_present` flag (1 = present) after the
 *     value fields, and each array property P a `uint64_t P_array_sz`
 *     element count after the flags;
 *   - the flags and counts are the ownership map: a record built by hand
 *     must set them for what it fills, or the release routine will not
 *     free (and the encoder will not write) that property.
 *
 * All functions are reentrant; different trees may be converted from
 * several threads at once.
 */
#ifndef JSONCODEC_H
#define JSONCODEC_H

#include <stdint.h>

#if defined(_WIN32)
#  define RMQC_API __declspec(dllexport)
#elif defined(__GNUC__)
#  define RMQC_API __attribute__((visibility("default")))
#else
#  define RMQC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes returned by every conversion. */
#define RMQC_OK 0            /* success */
#define RMQC_ERR_BAD_ARGS 201 /* a NULL output parameter */
#define RMQC_ERR_DECODE 202   /* text does not parse, or violates the schema */
#define RMQC_ERR_ENCODE 203   /* a record cannot be turned into JSON */
#define RMQC_ERR_NOMEM 204    /* an allocation failed while decoding */
#define RMQC_ERR_OTHER 210    /* depth limit, JSON library failure */

/* One condition of a selection rule. Every property is optional, so the
 * empty object {} is a valid item_definition. */
typedef struct item_definition {
    struct item_definition *next; /* following item of the rule, or NULL */
    char *item_definitionOperator;
    char *item_definitionProperty;
    char *item_definitionType;
    char *item_definitionValue;
    uint8_t item_definitionOperator_present;
    uint8_t item_definitionProperty_present;
    uint8_t item_definitionType_present;
    uint8_t item_definitionValue_present;
} item_definition;

/* A named selection rule with its list of conditions. */
typedef struct rule {
    char *ruleName;                                /* required */
    char *ruleComment;
    char *ruleDataSourceType;
    struct item_definition *ruleItem_Definitions;  /* list head */
    char *ruleMatchType;
    uint8_t ruleComment_present;
    uint8_t ruleDataSourceType_present;
    uint8_t ruleItem_Definitions_present;
    uint8_t ruleMatchType_present;
} rule;

/*
 * rmqc_json_to_<T>(out, json, errbuf, errlen)
 *   Parses the NUL-terminated text `json` and decodes a new tree into *out.
 *   On success *out owns the tree (release it with rmqc_free_<T>).
 *   On a schema fault *out is set to NULL; when the text does not parse
 *   (or repeats a key) *out is left as it was.
 *   errbuf/errlen: the caller's diagnostic buffer; errlen 0 (or errbuf
 *   NULL) means no text is wanted. The line is always NUL-terminated
 *   and cut to errlen - 1 characters; on success errbuf holds "".
 *
 * rmqc_json_from_<T>(src, out_json, errbuf, errlen, pretty)
 *   Encodes the tree at `src` (only read) into new JSON text stored in
 *   *out_json: indented by four blanks when `pretty` is nonzero, compact
 *   otherwise, properties in record order. Release the text with free().
 *   On an encoding fault *out_json is not written.
 *
 * rmqc_free_<T>(p)
 *   Releases everything the record owns, then frees the record itself.
 *   NULL does nothing.
 *
 * rmqc_destroy_<T>(p)
 *   Releases everything the record owns and zero-fills the record, which
 *   is not freed (use it for records the caller allocated or embedded).
 *   NULL does nothing.
 *
 * rmqc_free_item_definition and rmqc_destroy_item_definition release one
 * element and never follow `next`; rmqc_free_rule and rmqc_destroy_rule
 * release the rule's whole item list.
 */
RMQC_API int32_t rmqc_json_to_rule(rule **out, const char *json, char *errbuf, uint64_t errlen);
RMQC_API int32_t rmqc_json_from_rule(const rule *src, char **out_json, char *errbuf, uint64_t errlen,
                                     int32_t pretty);
RMQC_API void rmqc_free_rule(rule *p);
RMQC_API void rmqc_destroy_rule(rule *p);

RMQC_API int32_t rmqc_json_to_item_definition(item_definition **out, const char *json, char *errbuf,
                                              uint64_t errlen);
RMQC_API int32_t rmqc_json_from_item_definition(const item_definition *src, char **out_json, char *errbuf,
                                                uint64_t errlen, int32_t pretty);
RMQC_API void rmqc_free_item_definition(item_definition *p);
RMQC_API void rmqc_destroy_item_definition(item_definition *p);

#ifdef __cplusplus
}
#endif

#endif /* JSONCODEC_H */
