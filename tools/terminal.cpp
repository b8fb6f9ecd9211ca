// Escaping what reaches a terminal (see terminal.h).
#include "terminal.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace tool {
namespace {

bool is_continuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The length in bytes of the well-formed UTF-8 sequence at text[at], and
// its code point; 0 when none starts there.
size_t decode(std::string_view text, size_t at, long &code) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const size_t length = byte < 0x80    ? 1
                          : byte >= 0xF5 ? 0
                          : byte >= 0xF0 ? 4
                          : byte >= 0xE0 ? 3
                          : byte >= 0xC2 ? 2
                                         : 0;
    if (length == 0 || at + length > text.size()) return 0;
    code = length == 1 ? byte : byte & (0x7F >> length);
    for (size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[at + i]);
        if (!is_continuation(next)) return 0;
        code = code << 6 | (next & 0x3F);
    }
    // Overlong forms, surrogates and code points past U+10FFFF.
    constexpr long least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < least[length] || (code >= 0xD800 && code < 0xE000) || code > 0x10FFFF) return 0;
    return length;
}

// Characters that steer a terminal or the order or lines of what it shows.
bool is_escaped(long code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029 ||
           (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

}  // namespace

Piece next_shown(std::string_view text, size_t &at, bool keep_tabs, char (&buffer)[12]) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte >= 0x20 && byte < 0x7F) {  // printable ASCII, the most of every text: one column
        Piece piece;
        piece.bytes = text.substr(at++, 1);
        piece.width = 1;
        return piece;
    }
    long code = 0;
    const size_t length = decode(text, at, code);
    Piece piece;
    if (length == 0) {
        snprintf(buffer, sizeof buffer, "\\x%02x", static_cast<unsigned char>(text[at]));
        piece.bytes = std::string_view(buffer, 4);
        at += 1;
    } else if (code == '\t' && keep_tabs) {
        piece.bytes = text.substr(at, 1);
        piece.tab = true;
        at += 1;
        return piece;
    } else if (is_escaped(code)) {
        const char *brief = std::strchr("\b\t\n\f\r", static_cast<int>(code));
        if (code != 0 && brief != nullptr) {
            buffer[0] = '\\';
            buffer[1] = "btnfr"[brief - "\b\t\n\f\r"];
            piece.bytes = std::string_view(buffer, 2);
        } else {
            piece.bytes =
                std::string_view(buffer, static_cast<size_t>(snprintf(buffer, sizeof buffer, "\\u%04lx", code)));
        }
        at += length;
    } else {
        piece.bytes = text.substr(at, length);
        const int width = wcwidth(static_cast<wchar_t>(code));
        piece.width = width < 0 ? 1 : width;
        at += length;
        return piece;
    }
    piece.width = static_cast<int>(piece.bytes.size());
    return piece;
}

std::string shown(std::string_view text, bool keep_tabs) {
    std::string out;
    out.reserve(text.size());
    char buffer[12];
    for (size_t at = 0; at < text.size();) {
        // Runs of printable ASCII go as they are.
        size_t plain = at;
        while (plain < text.size() && static_cast<unsigned char>(text[plain]) - 0x20u < 0x5Fu) ++plain;
        out.append(text.substr(at, plain - at));
        if ((at = plain) < text.size()) out.append(next_shown(text, at, keep_tabs, buffer).bytes);
    }
    return out;
}

bool use_colour(ColourChoice choice, FILE *stream) {
    if (choice != ColourChoice::automatic) return choice == ColourChoice::always;
    const char *no_colour = std::getenv("NO_COLOR"), *term = std::getenv("TERM");
    if (no_colour != nullptr && no_colour[0] != '\0') return false;
    if (term != nullptr && std::strcmp(term, "dumb") == 0) return false;
    return isatty(fileno(stream)) != 0;
}

}  // namespace tool
