// Where in a document's text a finding is: by the JSON Pointer the
// checking walk gives, for the texts the library leaves to jansson; by the
// tokens around where jansson stopped, for a text that does not parse; and
// the lines and columns of all of them, counted in one place.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "fault.h"

namespace tool {

// A value the walk names by its pointer, to be placed in the text.
struct PointerPlace {
    std::string_view pointer;
    bool missing = false;  // a required property that is absent: the place is its object
    bool at_key = false;   // the place is the key of the member the pointer names, not its value
    size_t offset = 0;     // out: where the value (or key, or object) starts
};

// Places each value of `places` in `text`, a JSON text jansson accepts
// (which holds no NUL byte; a NUL follows its view, as a std::string's
// does), in one pass. Where the text cannot be followed to the end of a
// pointer, the deepest value reached is the place.
void place_by_pointer(std::string_view text, std::vector<PointerPlace> &places);

// The end of the token that starts at `offset`: a string's closing quote
// and past it, a number's or literal's last character, or one byte for a
// bracket or any other character; `offset` itself at the text's end.
size_t token_end(std::string_view text, size_t offset);

// The place of a parse failure: the start of the offending token (a
// number's first digit, a repeated key's opening quote, the bracket or word
// where a member was expected), the bad byte (invalid UTF-8, a control
// character in a string, the escape \u0000), or the text's end when it ends
// too soon. `code` and `position` are jansson's error code and the byte it
// stopped at.
Span syntax_span(std::string_view text, int code, size_t position);

// Fills the lines and columns of every span of `faults` and their notes
// from their offsets, in one sweep over the text; columns count characters.
void count_lines(std::string_view text, std::vector<Fault> &faults);

}  // namespace tool
