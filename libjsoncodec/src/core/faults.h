// The checking walk: every fault of a document, each with the place it
// names.
//
// The exports stop at a document's first fault and write one line. A
// checker wants more: every fault, and where in the text each one is. The
// decoding walker reports each fault to a `FaultLog` as well as into the
// caller's buffer; a log that asks for every fault makes the walker go on
// after each decoding fault with the next property or element, as if the
// faulty value had been absent. A union that matches no member is still one
// fault, its closest failure, placed where that failure points.
#pragma once

#include <cstdint>

#include "codec.h"

namespace jsoncodec {

struct Fault {
    int32_t status;
    const char *message;  // the diagnostic line, as rmqc_json_to_<T> writes it
    const char *pointer;  // RFC 6901 JSON Pointer of the faulty value ("" is the whole document)
    bool missing;         // the value is a required property that is absent: the place is its object
    const char *hint;     // an allowed text within two edits (or a change of case) of the refused one, or NULL
    int32_t parse_line;   // a text that does not parse: the place jansson names (else 0 and 0)
    int32_t parse_column;
    // Not a fault but a warning (status 0): the property the pointer names is
    // not part of its record's type, which ignores it. The place is its key;
    // the hint, a property of the type within two edits.
    bool unknown_property = false;
    // Not a finding of its own but a note of the finding before it: a fault
    // of the closest member of a union that matched none, the full text of
    // that member's line where the union's line cut it, or what a union's
    // discriminator may name.
    bool note = false;
    // The bytes [begin, end) of the token the fault names (its key, for an
    // unknown property; the opening brace of the object that lacks a missing
    // property), when the walk read the text itself; -1 when only the
    // pointer places it.
    int64_t begin = -1;
    int64_t end = -1;
    // A text that does not parse: jansson's error code and the byte where it
    // stopped (else 0 and -1).
    int32_t parse_code = 0;
    int64_t parse_position = -1;
};

// Receives the faults of a walk, in the order the walk meets them. The
// texts live until add() returns.
class FaultLog {
  public:
    explicit FaultLog(bool every) : every_fault(every) {}
    virtual void add(const Fault &fault) = 0;
    // Whether the walk goes on after a decoding fault; otherwise it stops at
    // the first, exactly as the exports do. add() may clear it to stop the
    // walk at the fault it is given.
    bool every_fault;
    // Whether the properties that no record type knows are reported too, as
    // warnings, after the walk's faults: those of every record the walk
    // decoded, in a union the member that decoded.
    bool unknown_properties = false;

  protected:
    ~FaultLog() = default;
};

// The longest diagnostic line a checking walk reports: more than any line
// the library makes.
inline constexpr uint64_t FAULT_LINE_SIZE = 4096;

// Decodes `json` as `type` through jansson, as rmqc_json_to_<T> does, and
// reports its faults to `log`. The first fault reported and the status
// returned are the export's. The tree is released.
int32_t check_walk(const TypeDesc &type, const char *json, FaultLog &log);

// The allowed text nearest to `text` by edit distance, when within two
// edits; a text that differs only in case counts as one edit. `best` and
// `distance` carry the search over several enums.
struct Suggestion {
    const char *best = nullptr;
    uint32_t distance = 3;
    void consider(const char *candidate, const char *text);
    void consider(const EnumDesc &allowed, const char *text) {
        for (uint32_t k = 0; k < allowed.count; ++k) consider(allowed.values[k], text);
    }
};

// The line of an unknown property's warning, after the record's path.
inline constexpr const char *UNKNOWN_PROPERTY = "property '%s' is not part of '%s' and is ignored";

// Reports to `log` each property of the JSON object `object` that `type`
// does not know, and so on down every record the walk decoded into
// `record` (a union's tag says which member), `path` naming the record.
void report_unknown_properties(const TypeDesc &type, const void *record, const json_t *object, path_node *path,
                               FaultLog &log);

}  // namespace jsoncodec
