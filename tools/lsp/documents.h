// The documents a client has open: their text as the client last sent it,
// its lines, and the findings of its last check.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fault.h"
#include "positions.h"

namespace tool::lsp {

struct Document {
    std::string uri;
    std::string text;
    int64_t version = 0;
    LineIndex lines;

    // The findings of the text as it is, once `checked`.
    bool checked = false;
    std::string type;  // the root type it was checked as; empty: not told
    std::string why;   // not told: why
    std::vector<Fault> faults;

    // Sets the whole text.
    void replace(std::string whole);
    // Replaces the text between two positions (counted in `encoding`, each
    // edit on the text left by the one before).
    void edit(Position start, Position end, std::string_view with, Encoding encoding);
    // Checks the text unless its findings are known.
    void check();
};

// `text` with every byte that does not begin a valid UTF-8 sequence
// replaced by U+FFFD, so that it can be sent in a message.
std::string valid_utf8(std::string_view text);
// Whether `text` is valid UTF-8 throughout.
bool is_valid_utf8(std::string_view text);

}  // namespace tool::lsp
