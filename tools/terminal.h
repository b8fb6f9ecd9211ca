// What the tool lets reach a terminal or a CI log: every text a document
// or the command line supplies (a key, a value, a message quoting them, a
// source line, a file name) passes through shown(), so that no document can
// move the cursor, clear the screen or split a finding over two lines.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include "options.h"

namespace tool {

// One character of a text as shown: its own bytes, or its escape, and the
// columns it takes on the terminal (tab: a tab kept as a tab).
struct Piece {
    std::string_view bytes;
    int width = 0;
    bool tab = false;
};

// The character of `text` at `at`, as shown; `at` moves past it. A control
// character (C0, DEL, C1), a line or paragraph separator and a bidirectional
// override are escaped as JSON escapes them (\n, \t, \u001b, \u0085,
// \u202e); a byte outside well-formed UTF-8 as \xff. With `keep_tabs`, a
// tab stays a tab (the indentation of a source line). `buffer` holds the
// escape. The width of a printable character is wcwidth()'s under the
// locale of LC_CTYPE, one when it does not know it.
Piece next_shown(std::string_view text, size_t &at, bool keep_tabs, char (&buffer)[12]);

// `text` with every character as next_shown() gives it.
std::string shown(std::string_view text, bool keep_tabs = false);

// Whether text written to `stream` is coloured: always, never, or
// (automatic) when it is a terminal, NO_COLOR is unset or empty and TERM is
// not "dumb".
bool use_colour(ColourChoice choice, FILE *stream);

}  // namespace tool
