// The tool's fault output: compiler-style text and JSON (see report.h).
#include "report.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace tool {
namespace {

// The escape sequences of the colours compilers use.
constexpr const char *BOLD = "\033[1m";
constexpr const char *RED = "\033[1;31m";
constexpr const char *GREEN = "\033[1;32m";
constexpr const char *CYAN = "\033[1;36m";
constexpr const char *PLAIN = "\033[m";

// A source line longer than this many bytes is shown as a window of about
// WINDOW bytes either side of the place.
constexpr size_t LONG_LINE = 200;
constexpr size_t WINDOW = 80;

bool is_continuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// The length in bytes of the character at text[at], and its code point. A
// byte that does not start a well-formed UTF-8 sequence counts as a
// character of its own, of code -1; or, from 0x80 to 0x9F, as the C1
// control character it is to a terminal that takes 8-bit controls.
size_t decode(std::string_view text, size_t at, long &code) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const long lone = byte >= 0x80 && byte < 0xA0 ? byte : -1;
    size_t length = byte < 0x80    ? 1
                    : byte >= 0xF5 ? 0
                    : byte >= 0xF0 ? 4
                    : byte >= 0xE0 ? 3
                    : byte >= 0xC2 ? 2
                                   : 0;
    if (length == 0 || at + length > text.size()) {
        code = lone;
        return 1;
    }
    code = length == 1 ? byte : byte & (0x7F >> length);
    for (size_t i = 1; i < length; ++i) {
        if (!is_continuation(text[at + i])) {
            code = lone;
            return 1;
        }
        code = code << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3F);
    }
    return length;
}

// A C0 or C1 control character, or DEL; a tab is one only in file names.
bool is_control(long code) { return code < 0x20 || (code >= 0x7F && code < 0xA0); }

// Writes the bytes of a source line; control characters other than tabs are
// shown as '?', so that a file cannot steer the terminal.
void put_source(FILE *out, std::string_view line) {
    for (size_t at = 0; at < line.size();) {
        long code;
        size_t length = decode(line, at, code);
        if (code >= 0 && code != '\t' && is_control(code))
            putc('?', out);
        else
            fwrite(line.data() + at, 1, length, out);
        at += length;
    }
}

// Blanks as wide on the terminal as the characters of `line`, tabs kept as
// tabs, so that the caret lands under its character. A character whose
// width the locale does not know takes one column.
void put_padding(FILE *out, std::string_view line) {
    for (size_t at = 0; at < line.size();) {
        long code;
        at += decode(line, at, code);
        if (code == '\t') {
            putc('\t', out);
            continue;
        }
        int width = code >= 0 && !is_control(code) ? wcwidth(static_cast<wchar_t>(code)) : 1;
        for (int i = width < 0 ? 1 : width; i > 0; --i) putc(' ', out);
    }
}

// The source line [start, end) of the place `place`, and a caret under it.
void print_source(FILE *to, std::string_view text, size_t start, size_t end, size_t place, size_t line, bool colour) {
    if (end > start && text[end - 1] == '\r') --end;
    if (place > end) place = end;
    size_t shown = start, shown_end = end;
    if (end - start > LONG_LINE) {
        if (place - start > WINDOW) shown = place - WINDOW;
        if (end - place > WINDOW) shown_end = place + WINDOW;
        while (shown < place && is_continuation(text[shown])) ++shown;
        while (shown_end < end && is_continuation(text[shown_end])) ++shown_end;
    }
    const bool cut_start = shown > start, cut_end = shown_end < end;
    int width = 5;
    for (size_t digits = line; digits >= 100000; digits /= 10) ++width;
    fprintf(to, " %*zu | %s", width, line, cut_start ? "..." : "");
    put_source(to, text.substr(shown, shown_end - shown));
    fprintf(to, "%s\n %*s | %s", cut_end ? "..." : "", width, "", cut_start ? "   " : "");
    put_padding(to, text.substr(shown, place - shown));
    fprintf(to, "%s^%s\n", colour ? GREEN : "", colour ? PLAIN : "");
}

// A JSON string of `text`; a text that is not UTF-8 (a file name can be any
// bytes) has each byte outside ASCII replaced by '?'.
json_t *string_value(const std::string &text) {
    json_t *value = json_stringn(text.data(), text.size());
    if (value != nullptr) return value;
    std::string copy = text;
    for (char &c : copy)
        if (static_cast<unsigned char>(c) >= 0x80) c = '?';
    return json_stringn(copy.data(), copy.size());
}

}  // namespace

bool use_colour(ColourChoice choice, FILE *stream) {
    if (choice != ColourChoice::automatic) return choice == ColourChoice::always;
    const char *no_colour = std::getenv("NO_COLOR"), *term = std::getenv("TERM");
    if (no_colour != nullptr && no_colour[0] != '\0') return false;
    if (term != nullptr && std::strcmp(term, "dumb") == 0) return false;
    return isatty(fileno(stream)) != 0;
}

std::string printable(std::string_view name) {
    std::string shown;
    for (size_t at = 0; at < name.size();) {
        long code;
        size_t length = decode(name, at, code);
        if (code >= 0 && is_control(code))
            shown += '?';
        else
            shown.append(name.substr(at, length));
        at += length;
    }
    return shown;
}

void print_faults(FILE *to, std::string_view label, std::string_view text, const std::vector<Fault> &faults,
                  bool colour) {
    const std::string name = printable(label);
    const char *bold = colour ? BOLD : "", *plain = colour ? PLAIN : "";
    // The faults come in the order of their places, so the line of each is
    // found by going on from the line of the one before.
    size_t start = 0, end = std::min(text.find('\n'), text.size());
    for (const Fault &fault : faults) {
        const size_t place = std::min(fault.offset, text.size());
        while (place > end) {
            start = end + 1;
            end = std::min(text.find('\n', start), text.size());
        }
        fprintf(to, "%s%s:%zu:%zu:%s %serror:%s %s\n", bold, name.c_str(), fault.line, fault.column, plain,
                colour ? RED : "", plain, fault.message.c_str());
        print_source(to, text, start, end, place, fault.line, colour);
        if (!fault.hint.empty())
            fprintf(to, "%s%s:%zu:%zu:%s %snote:%s did you mean '%s'?\n", bold, name.c_str(), fault.line, fault.column,
                    plain, colour ? CYAN : "", plain, fault.hint.c_str());
        if (!fault.note.empty())
            fprintf(to, "%s%s:%zu:%zu:%s %snote:%s %s\n", bold, name.c_str(), fault.line, fault.column, plain,
                    colour ? CYAN : "", plain, fault.note.c_str());
    }
}

bool append_faults(json_t *array, const std::string &label, const std::vector<Fault> &faults) {
    for (const Fault &fault : faults) {
        json_t *item = json_object();
        // The _new setters take the value over even when they fail.
        bool failed = item == nullptr || json_array_append_new(array, item) != 0 ||
                      json_object_set_new(item, "file", string_value(label)) != 0 ||
                      json_object_set_new(item, "line", json_integer(static_cast<json_int_t>(fault.line))) != 0 ||
                      json_object_set_new(item, "column", json_integer(static_cast<json_int_t>(fault.column))) != 0 ||
                      json_object_set_new(item, "path", string_value(fault.pointer)) != 0 ||
                      json_object_set_new(item, "status", json_integer(fault.status)) != 0 ||
                      json_object_set_new(item, "message", string_value(fault.message)) != 0 ||
                      (!fault.hint.empty() && json_object_set_new(item, "hint", string_value(fault.hint)) != 0);
        if (failed) return false;
    }
    return true;
}

}  // namespace tool
