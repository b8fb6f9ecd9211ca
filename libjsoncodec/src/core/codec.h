// The codec engine: record types described as tables, and one walker that
// decodes, encodes and releases any record from its table.
//
// A record type is a `TypeDesc`: its name, its size, where its `next` link
// is (list element types only) and the table of its properties in record
// order. Each property is a `FieldDesc`: JSON name, kind, required or
// optional, and the offsets of its value, its presence flag, its count (an
// array) or its tag (a union). Tables are written with the macros of
// table.h, which check every entry against the C type of its field.
#pragma once

#include <jansson.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "diagnostics.h"

namespace jsoncodec {

inline constexpr int32_t MAX_CALL_DEPTH = 100000;
inline constexpr uint64_t MAX_ARRAY_SZ = 10000000;
inline constexpr uint32_t NO_OFFSET = UINT32_MAX;
// The most properties a record type may have (the decoder gathers a record's
// values on the stack).
inline constexpr uint32_t MAX_FIELDS = 64;

enum class Kind : uint8_t {
    String,         // char *, an owned copy
    Enum,           // char *, an owned copy of one of a fixed list of texts
    Boolean,        // int32_t, 1 or 0
    Integer,        // int64_t
    StringArray,    // char **, counted by a uint64_t
    IntegerArray,   // int64_t *, counted by a uint64_t
    Record,         // a nested record embedded in its parent
    RecordPointer,  // a nested record held by an owned pointer
    List,           // pointer to the first of a chain of records linked by `next`
    Union,          // storage for one of several records, selected by a uint8_t tag
};

struct TypeDesc;

// The allowed texts of an enum, compared byte for byte in this order.
struct EnumDesc {
    const char *const *values;
    uint32_t count;
};

// The members of a union in the order they are tried; a member's tag is its
// position plus one (0 = nothing selected).
struct UnionDesc {
    const TypeDesc *const *types;
    uint32_t count;
};

struct FieldDesc {
    const char *name;     // JSON property name (= C field name)
    uint8_t name_length;  // strlen(name)
    Kind kind;
    bool required;
    uint32_t offset;           // the value; for a union, its storage
    uint32_t present_offset;   // uint8_t presence flag; NO_OFFSET when required
    uint32_t count_offset;     // uint64_t count of an array; NO_OFFSET otherwise
    uint32_t tag_offset;       // uint8_t tag of a union; NO_OFFSET otherwise
    const EnumDesc *allowed;   // Enum
    const TypeDesc *nested;    // Record, RecordPointer, List
    const UnionDesc *members;  // Union
};

struct TypeDesc {
    const char *name;         // schema type name, as messages and root paths print it
    uint32_t size;            // sizeof the record
    uint32_t next_offset;     // the `next` link of list elements; NO_OFFSET otherwise
    const FieldDesc *fields;  // properties in record order
    uint32_t field_count;
    const uint8_t *by_name;  // positions in `fields`, in byte-wise order of the names
    uint64_t required;       // bit i set: property i is required
};

// Pointer-sized slots (pointer fields, list links, callers' output
// parameters) are read and written as raw storage, whatever record type the
// pointer is declared with.
inline void *load_pointer(const void *slot) {
    void *value;
    std::memcpy(&value, slot, sizeof value);
    return value;
}

inline void store_pointer(void *slot, void *value) { std::memcpy(slot, &value, sizeof value); }

// How a union tries its members. Both give the same status, tag, match
// count, diagnostic line and tree in every case.
enum class UnionTrials : uint8_t {
    // A member whose discriminator (a required enum as its first property)
    // names another member is passed over without a trial, and the text of
    // such a failure is made only if the union ends up reporting it.
    Fast,
    // Every member is decoded in turn on private buffers, each failure
    // formatted as it happens. Kept for the tests that compare the two.
    Literal,
};

class FaultLog;

// How a decoding walk goes: its modes, in one place.
struct WalkMode {
    // Whether the walk goes on after a decoding fault with the next property
    // or element, as if the faulty value had been absent; otherwise it stops
    // at the first, exactly as the exports do.
    bool every_fault = false;
    // Whether each property that its record's type does not know is reported
    // as a warning where the walk meets its key: in every record the walk
    // decodes, and in a union the member that matched.
    bool unknown_properties = false;
    // How unions try their members.
    UnionTrials trials = UnionTrials::Fast;
};

// Decodes the JSON object `value` into a record of `type`: a new one whose
// address is stored at once in the pointer slot `out_new` when that is not
// NULL, else the caller's storage `into`. Adds 1 to *match_count for every
// property decoded. Returns 0 or the status of the first fault, which has
// been reported (and logged to `log`, the walk going on as `mode` says: see
// faults.h); whatever was built stays reachable from the record.
int32_t decode_record(const TypeDesc &type, const json_t *value, void *out_new, void *into, int32_t depth, char *errbuf,
                      uint64_t errlen, path_node *path, uint32_t *match_count, const WalkMode &mode = WalkMode{},
                      FaultLog *log = nullptr);

// Encodes the record `src` of `type` into a new JSON object stored in *out.
// On failure *out may hold a partly built object, which the caller releases.
int32_t encode_record(const TypeDesc &type, json_t **out, const void *src, int32_t depth, char *errbuf, uint64_t errlen,
                      path_node *path);

// Releases what the record owns, as its presence flags, counts and union
// tags say, and zero-fills it. Never follows the record's own `next` link
// and never frees the record itself.
void release_record(const TypeDesc &type, void *record);

// Whether `name` is a property of `type`.
inline bool has_property(const TypeDesc &type, const char *name) {
    for (uint32_t i = 0; i < type.field_count; ++i)
        if (std::strcmp(type.fields[i].name, name) == 0) return true;
    return false;
}

// The discriminator of a union member: its first property, when that is a
// required enum, whose text tells the member apart.
inline const FieldDesc *discriminator(const TypeDesc &member) {
    if (member.field_count == 0) return nullptr;
    const FieldDesc &first = member.fields[0];
    return first.kind == Kind::Enum && first.required ? &first : nullptr;
}

// Whether `text` is one of the allowed texts; NULL is none of them.
inline bool enum_allows(const EnumDesc &allowed, const char *text) {
    if (text == nullptr) return false;
    for (uint32_t i = 0; i < allowed.count; ++i)
        if (std::strcmp(text, allowed.values[i]) == 0) return true;
    return false;
}

// Checks `text` (NULL included) against the allowed texts; on a mismatch
// reports the enum message with `code` at `node`, the node that names the
// property, and returns `code`. Returns 0 on a match.
int32_t check_enum(const EnumDesc &allowed, const char *text, int32_t code, char *errbuf, uint64_t errlen,
                   path_node *node);

// The string conversion hook: given a text the JSON library refused, returns
// a replacement and sets *must_free when the caller is to free() it.
using string_conversion_fn = char *(*)(const char *s, int32_t *must_free);
char *identity_conversion(const char *s, int32_t *must_free);
extern string_conversion_fn string_conversion_hook;

// Makes a JSON string of `s`, passing a refused text once through the hook.
// NULL when `s` is NULL or no JSON string could be made.
json_t *string_to_json(const char *s);

}  // namespace jsoncodec
