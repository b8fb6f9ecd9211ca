// The faults of a document, found by the library's checking walk (the walk
// the exports decode with, told to go on after each fault) and placed in
// the document's text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "fault.h"

namespace tool {

struct Checked {
    std::vector<Fault> faults;  // errors and warnings, in the order of their places in the text
    size_t warnings = 0;        // how many of them are warnings
    bool stopped = false;       // the walk stopped at the limit, with errors left unseen
};

enum class Verdict { valid, refused, out_of_memory };

// Decodes `text` (which holds no NUL byte) as the root type named `type` and
// lists its errors in `out`: every one when `every` is set (but no more than
// `limit` when that is not 0: the first `limit` the walk meets), else only
// the first, which is the one the type's rmqc_json_to_ export reports. Then
// a warning for each property that the record type it belongs to does not
// know, in every record the walk decoded, whatever the limit; a required
// property that is missing gets the hint of a warning in its object that
// names it as the nearest, or, in a union member that did not match, of a
// key there that no record type knows, within two edits of its name. A fault of a text that does not parse gets a note
// when its line is cryptic. The verdict is valid when there is no error,
// warnings or none. out_of_memory also stands for a type that is not a root
// type.
Verdict check_document(std::string_view type, const std::string &text, bool every, size_t limit, Checked &out);

// A plain account of why `text` does not parse, for the cases where
// jansson's `message` is cryptic to a person: a byte-order mark, \u0000 in
// a text, input that is empty or only blanks. Empty when there is none.
std::string parse_note(std::string_view text, std::string_view message);

}  // namespace tool
