// Places the faults of the checking walk in the document's text.
//
// The walk names each fault's value by a JSON Pointer. The library's own
// reading of the text (json_text.h, the steps of its one-pass reader)
// follows all the pointers in one pass through the text and gives the
// place where each value, and each key, starts. jansson has accepted the
// text before any schema fault is reported, so the text is well-formed
// JSON; keys are compared unescaped, as jansson compares them. Where the
// reading cannot follow a pointer to its end, the deepest value it reached
// is the place.
#include "placement.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string>

#include <jansson.h>

#include "json_text.h"

namespace tool {
namespace {

using namespace jsoncodec::json_text;

// The pointer's segments, unescaped ("~1" is '/', "~0" is '~').
std::vector<std::string> segments_of(const std::string &pointer) {
    std::vector<std::string> segments;
    for (size_t at = 0; at < pointer.size();) {
        size_t end = pointer.find('/', at + 1);
        if (end == std::string::npos) end = pointer.size();
        std::string segment;
        for (size_t i = at + 1; i < end; ++i) {
            if (pointer[i] == '~' && i + 1 < end) {
                segment += pointer[++i] == '1' ? '/' : '~';
            } else {
                segment += pointer[i];
            }
        }
        segments.push_back(std::move(segment));
        at = end;
    }
    return segments;
}

// The values the faults name, as a tree of their pointers' segments; each
// is given the place where its value starts, and where its key starts when
// it is an object's member, when the reading finds it.
struct Target {
    std::map<std::string, Target, std::less<>> children;
    Target *parent = nullptr;
    const char *place = nullptr;
    const char *key = nullptr;
};

// Notes where the value at `p` starts (at `depth`, as jansson counts), then
// walks on into the members or elements the targets below name, once
// through the text, skipping everything else. Returns the position past
// the value, or NULL where the reading stops, which leaves the rest
// unplaced.
const char *visit(const char *p, const char *end, uint32_t depth, Target &target) {
    target.place = p;
    if (target.children.empty() || (*p != '{' && *p != '[')) return skip_value<Reals::any>(p, end, depth, nullptr);
    const bool object = *p == '{';
    p = skip_blanks(p + 1);
    if (*p == (object ? '}' : ']')) return p + 1;
    for (size_t index = 0;; ++index) {
        std::string name;
        const char *key = p;
        if (object) {
            StringToken token;
            if (*p != '"' || !scan_string(p, end, &token)) return nullptr;
            name.resize(token.length);
            unescape(token, name.data());
            p = skip_blanks(token.end);
            if (*p != ':') return nullptr;
            p = skip_blanks(p + 1);
        } else {
            name = std::to_string(index);
        }
        auto found = target.children.find(name);
        if (found != target.children.end()) {
            if (object) found->second.key = key;
            p = visit(p, end, depth + 1, found->second);
        } else {
            p = skip_value<Reals::any>(p, end, depth + 1, nullptr);
        }
        if (p == nullptr) return nullptr;
        p = skip_blanks(p);
        if (*p == (object ? '}' : ']')) return p + 1;
        if (*p != ',') return nullptr;
        p = skip_blanks(p + 1);
    }
}

}  // namespace

void place_by_pointer(std::string_view text, std::vector<PointerPlace> &places) {
    const size_t length = text.size();
    Target root;
    std::vector<Target *> targets;
    targets.reserve(places.size());
    for (const PointerPlace &place : places) {
        Target *target = &root;
        std::vector<std::string> segments = segments_of(std::string(place.pointer));
        for (size_t i = 0; i + (place.missing ? 1 : 0) < segments.size(); ++i) {
            Target *parent = target;
            target = &parent->children[segments[i]];
            target->parent = parent;
        }
        targets.push_back(target);
    }
    const char *begin = text.data();
    const char *start = skip_blanks(begin);  // the whole document: its first character
    if (start < begin + length) visit(start, begin + length, 1, root);
    for (size_t i = 0; i < places.size(); ++i) {
        const Target *target = targets[i];
        const char *place = places[i].at_key && target->key != nullptr ? target->key : nullptr;
        while (place == nullptr && target != nullptr) {
            place = target->place;
            target = target->parent;
        }
        places[i].offset = static_cast<size_t>((place != nullptr ? place : start) - begin);
    }
}

namespace {

bool is_word(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '+' ||
           c == '.';
}

bool is_structural(char c) {
    return c == '{' || c == '}' || c == '[' || c == ']' || c == ':' || c == ',' || c == '"' || is_blank(c);
}

// Where the lexical token at `at` ends, and whether it is a string that is
// closed. A string ends past its closing quote, or at the control character
// or end of text that cuts it; a word (a number or literal) at its last
// letter, digit or sign; a run of other bytes (a byte-order mark, stray
// UTF-8) before the next structural character; anything else is one byte.
size_t lex_end(std::string_view text, size_t at, bool *closed = nullptr) {
    const size_t length = text.size();
    if (closed != nullptr) *closed = true;
    if (at >= length) return length;
    const char c = text[at];
    if (c == '"') {
        size_t i = at + 1;
        while (i < length && text[i] != '"' && static_cast<unsigned char>(text[i]) >= 0x20)
            i += text[i] == '\\' && i + 1 < length && static_cast<unsigned char>(text[i + 1]) >= 0x20 ? 2 : 1;
        if (i < length && text[i] == '"') return i + 1;
        if (closed != nullptr) *closed = false;
        return i;
    }
    size_t i = at + 1;
    if (is_word(c)) {
        while (i < length && is_word(text[i])) ++i;
    } else if (!is_structural(c)) {
        while (i < length && !is_structural(text[i]) && !is_word(text[i])) ++i;
    }
    return i;
}

}  // namespace

size_t token_end(std::string_view text, size_t offset) { return lex_end(text, offset); }

Span syntax_span(std::string_view text, int code, size_t position) {
    const size_t length = text.size();
    position = std::min(position, length);
    Span span;
    // The token that holds the last byte jansson read.
    size_t start = 0, end = 0;
    bool closed = true;
    for (size_t at = 0; at < length;) {
        while (at < length && is_blank(text[at])) ++at;
        if (at >= length) break;
        end = lex_end(text, at, &closed);
        start = at;
        if (end >= position) break;
        at = end;
    }
    switch (code) {
        case json_error_premature_end_of_input: span.offset = span.end = length; return span;
        case json_error_invalid_utf8:
            span.offset = position;
            span.end = std::min(position + 1, length);
            return span;
        case json_error_null_character: {
            const size_t escape = text.substr(start, end - start).find("\\u0000");
            if (escape != std::string_view::npos) {
                span.offset = start + escape;
                span.end = span.offset + 6;
                return span;
            }
            break;
        }
        default:
            // A string cut by a control character: the character itself.
            if (!closed && text[start] == '"' && position >= end && end < length) {
                span.offset = end;
                span.end = end + 1;
                return span;
            }
            break;
    }
    // jansson has read a byte of a token, so `start` is within the text (an
    // empty or blank one ends prematurely, placed above at its end).
    span.offset = start;
    span.end = std::max(start, std::min(lex_end(text, start), length));
    return span;
}

void count_lines(std::string_view text, std::vector<Fault> &faults) {
    struct Mark {
        size_t offset;
        size_t *line;
        size_t *column;
    };
    std::vector<Mark> marks;
    auto mark = [&](Span &span) {
        marks.push_back({span.offset, &span.line, &span.column});
        marks.push_back({span.end, &span.end_line, &span.end_column});
    };
    for (Fault &fault : faults) {
        mark(fault.span);
        for (Note &note : fault.notes)
            if (note.placed) mark(note.span);
    }
    // Mostly in order already: the findings are, and a span's end follows its start.
    auto by_offset = [](const Mark &a, const Mark &b) { return a.offset < b.offset; };
    if (!std::is_sorted(marks.begin(), marks.end(), by_offset)) std::sort(marks.begin(), marks.end(), by_offset);
    size_t at = 0, line = 1, column = 1;
    for (const Mark &m : marks) {
        const size_t offset = std::min(m.offset, text.size());
        for (; at < offset; ++at) {
            if (text[at] == '\n') {
                ++line;
                column = 1;
            } else if ((static_cast<unsigned char>(text[at]) & 0xC0) != 0x80) {
                ++column;  // the first byte of a character
            }
        }
        *m.line = line;
        *m.column = column;
    }
}

}  // namespace tool
