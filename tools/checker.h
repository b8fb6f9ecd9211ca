// The findings of a document: its type told from its keys (unless given),
// its faults and unknown properties found by the library's checking walk in
// one reading of the text, each placed at its token.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "fault.h"

namespace tool {

enum class Verdict {
    valid,          // no error (warnings or none)
    refused,        // at least one error: a syntax fault or a schema fault
    untyped,        // the document's type cannot be told from its keys (Checked::why says why)
    out_of_memory,  // memory ran out: nothing is known
};

struct Checked {
    std::string type;           // the root type the document was checked as; empty when untyped
    std::string why;            // untyped: why the type cannot be told, a sentence without a full stop
    std::vector<Fault> faults;  // errors and warnings, in the order of their places in the text
    size_t errors = 0;          // of `faults`
    size_t warnings = 0;        // of `faults`
    size_t left_out = 0;        // findings past the limit, not in `faults`
};

struct CheckOptions {
    std::string_view type;  // a root type's name; empty: told by the document's keys
    bool first = false;     // only the export's first fault (and the warnings)
    size_t limit = 0;       // keep only the first `limit` findings of the file; 0: all
    bool warnings = true;   // report the unknown properties (else the limit counts errors only)
};

// Checks `text` (which holds no NUL byte): tells its type when none is
// given, reads it once with the library's checking walk, and places every
// finding. A text that does not parse is one error (rule invalid_json)
// placed at the offending token, whatever the type.
Verdict check_document(const std::string &text, const CheckOptions &options, Checked &out);

// Decodes `text` as its type (given, or told as check_document tells it) and
// encodes it again, indented by four blanks or compact, into *json (release
// with free()). The decoding walk reports the warnings of unknown
// properties, which the text lacks; a refused document gets its first
// fault, the export's, placed. valid: *json is set.
Verdict format_document(const std::string &text, std::string_view type, bool compact, char **json, Checked &out);

// The finding of a text that holds a NUL byte right after `text`.
Fault nul_fault(std::string_view text);

// The root types the tool knows, in the library's order.
const std::vector<std::string_view> &root_type_names();

}  // namespace tool
