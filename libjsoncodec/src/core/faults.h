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
    // A union's fault: the line of the failure that decided it, in full
    // (the closest member's own, or the one a union within it passed on),
    // which the union's line may have cut; NULL for any other fault.
    const char *full = nullptr;
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
    // The place in record order (see FaultSink), within the walk that found
    // it.
    const uint32_t *order = nullptr;
    uint32_t order_length = 0;
};

// Receives the findings of a walk, in the order the walk meets them. The
// texts live until add() returns.
class FaultLog {
  public:
    virtual void add(const Fault &fault) = 0;
    // Forgets every finding so far: the walk starts again from the document's
    // start (the one-pass reader left the text to jansson).
    virtual void discard() {}
    // Whether the log takes faults; one that keeps only warnings does not,
    // and the walk spares it their texts.
    bool wants_faults = true;
    // Set by add() to stop the walk at the finding it is given.
    bool halted = false;

  protected:
    ~FaultLog() = default;
};

// The longest diagnostic line a checking walk reports: more than any line
// the library makes.
inline constexpr uint64_t FAULT_LINE_SIZE = 4096;

// The checking walk: decodes `json` as `type` and reports its findings to
// `log` as `mode` asks, building no records. The text is read once by the
// one-pass reader where it can read it, each finding with its token's bytes;
// a text the reader leaves to jansson (one that does not parse, keys written
// with escapes, \u0000, reals that could overflow) goes through jansson's
// tree as the export's path does. The set of findings is the same either
// way. Returns the export's status.
int32_t check_text(const TypeDesc &type, const char *json, FaultLog &log, const WalkMode &mode);

// The same walk through jansson's tree alone: the reference check_text is
// held to, and the path of texts the reader leaves to jansson. The first
// fault reported and the status returned are the export's. The tree it
// decodes is released.
int32_t check_walk(const TypeDesc &type, const char *json, FaultLog &log, const WalkMode &mode);

// rmqc_json_to_<T> that also reports to `log` as `mode` asks (the unknown
// properties, say, of a document that decodes): through the one-pass reader
// where it decodes the text in full, else through jansson, which gives the
// status, the line and the first fault.
int32_t decode_logged(const TypeDesc &type, void *out, const char *json, char *errbuf, uint64_t errlen, FaultLog &log,
                      const WalkMode &mode);

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

}  // namespace jsoncodec
