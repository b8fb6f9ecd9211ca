// The exported conversions' common code. Each root record type's
// exports are thin calls of these, declared beside the type's table with
// JSONCODEC_ROOT_EXPORTS.
#pragma once

#include <cstdint>

#include "codec.h"

namespace jsoncodec {

// rmqc_json_to_<T>: `out` is the caller's `T **` (may be NULL). A document
// is decoded by the one-pass reader when the reader reads it exactly as
// jansson does and it decodes in full; any other goes through jansson,
// which gives the status and the line.
int32_t decode_export(const TypeDesc &type, void *out, const char *json, char *errbuf, uint64_t errlen);

// rmqc_json_to_<T> through jansson alone: what decode_export returns in
// every case, by the path that decides refusals.
int32_t decode_export_through_jansson(const TypeDesc &type, void *out, const char *json, char *errbuf, uint64_t errlen);

// The tree of `json` decoded as `type` by the one-pass reader, straight from
// the text into *tree, when the reader reads the text exactly as jansson
// does and the schema accepts it; otherwise false, with nothing allocated
// and *tree untouched.
bool read_record_text(const TypeDesc &type, const char *json, void **tree);

// The same, reporting to `log` as `mode` asks; returns the walk's status, or
// GAVE_UP (-1) when the reader leaves the text to jansson. Nothing is kept
// of a tree that did not decode.
int32_t read_record_logged(const TypeDesc &type, const char *json, void **tree, char *errbuf, uint64_t errlen,
                           FaultLog &log, const WalkMode &mode);

// The checking walk of the reader: no records, every finding to `log`.
// Returns the walk's status, or GAVE_UP when the reader leaves the text to
// jansson, which is then to check it; what the walk reported is to be
// dropped then.
int32_t check_record_text(const TypeDesc &type, const char *json, char *errbuf, uint64_t errlen, FaultLog &log,
                          const WalkMode &mode);

// rmqc_json_from_<T>; `null_output_message` is the export's own text for a
// NULL `out_json`. The encoding walker writes the text straight from the
// record (write_text), and reports any fault it finds in the record; only a
// text that is not UTF-8 (for the string conversion hook) or memory running
// out sends the record through jansson's tree.
int32_t encode_export(const TypeDesc &type, const void *src, char **out_json, char *errbuf, uint64_t errlen,
                      int32_t pretty, const char *null_output_message);

// The same conversion through jansson's tree serialised by jansson: what
// encode_export falls back on, and the reference its text is compared with.
int32_t encode_export_through_jansson(const TypeDesc &type, const void *src, char **out_json, char *errbuf,
                                      uint64_t errlen, int32_t pretty, const char *null_output_message);

// rmqc_free_<T>: release and free; NULL does nothing.
void free_export(const TypeDesc &type, void *record);

// rmqc_destroy_<T>: release and zero-fill; NULL does nothing.
void destroy_export(const TypeDesc &type, void *record);

}  // namespace jsoncodec

// The three conversion exports of root type T, described by the table
// `desc`. Must be expanded at global scope.
#define JSONCODEC_ROOT_EXPORTS(T, desc)                                                                 \
    extern "C" int32_t rmqc_json_to_##T(T **out, const char *json, char *errbuf, uint64_t errlen) {     \
        return ::jsoncodec::decode_export(desc, out, json, errbuf, errlen);                             \
    }                                                                                                   \
    extern "C" int32_t rmqc_json_from_##T(const T *src, char **out_json, char *errbuf, uint64_t errlen, \
                                          int32_t pretty) {                                             \
        return ::jsoncodec::encode_export(desc, src, out_json, errbuf, errlen, pretty,                  \
                                          "Output parameter to rmqc_json_from_" #T " was NULL");        \
    }                                                                                                   \
    extern "C" void rmqc_free_##T(T *p) { ::jsoncodec::free_export(desc, p); }

// The exported release routine of type T.
#define JSONCODEC_DESTROY_EXPORT(T, desc) \
    extern "C" void rmqc_destroy_##T(T *p) { ::jsoncodec::destroy_export(desc, p); }
