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

// The offset of jansson's line and column (1-based; a column of 0, which
// jansson gives before the first character of a line, is taken as 1).
size_t offset_of(std::string_view text, int32_t line, int32_t column) {
    const size_t length = text.size();
    size_t at = 0;
    for (int32_t l = 1; l < line && at < length; ++at)
        if (text[at] == '\n') ++l;
    for (int32_t c = 1; c < column && at < length && text[at] != '\n'; ++c) {
        ++at;
        while (at < length && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) ++at;
    }
    return at;
}

}  // namespace

size_t count_keys(std::string_view text) {
    const char *p = text.data();
    const char *end = p + text.size();
    size_t keys = 0;
    // Outside the strings already passed, every quote opens one.
    while ((p = static_cast<const char *>(std::memchr(p, '"', static_cast<size_t>(end - p)))) != nullptr &&
           (p = pass_string(p, end)) != nullptr)
        if (*skip_blanks(p) == ':') ++keys;
    return keys;
}

// Places every fault, sorts them by place (faults at one place keep the
// walk's order) and gives each its line and column in one sweep. A fault
// whose value the reading did not reach is placed at the deepest value on
// its pointer that it did.
void place_faults(std::string_view text, std::vector<Fault> &faults) {
    const size_t length = text.size();
    Target root;
    std::vector<Target *> targets;
    for (const Fault &fault : faults) {
        Target *target = &root;
        std::vector<std::string> segments = segments_of(fault.pointer);
        for (size_t i = 0; i + (fault.missing ? 1 : 0) < segments.size(); ++i) {
            Target *parent = target;
            target = &parent->children[segments[i]];
            target->parent = parent;
        }
        targets.push_back(target);
    }
    // The text is a std::string's, so a NUL follows it, as the reading needs.
    const char *begin = text.data();
    const char *start = skip_blanks(begin);  // the whole document: its first character
    if (start < begin + length) visit(start, begin + length, 1, root);
    for (size_t i = 0; i < faults.size(); ++i) {
        if (faults[i].parse_line != 0) {
            faults[i].offset = offset_of(text, faults[i].parse_line, faults[i].parse_column);
            continue;
        }
        const Target *target = targets[i];
        const char *place = faults[i].at_key && target->key != nullptr ? target->key : nullptr;
        while (place == nullptr && target != nullptr) {
            place = target->place;
            target = target->parent;
        }
        faults[i].offset = static_cast<size_t>((place != nullptr ? place : start) - begin);
    }
    std::stable_sort(faults.begin(), faults.end(), [](const Fault &a, const Fault &b) { return a.offset < b.offset; });
    size_t at = 0, line = 1, column = 1;
    for (Fault &fault : faults) {
        for (; at < fault.offset; ++at) {
            if (text[at] == '\n') {
                ++line;
                column = 1;
            } else if ((static_cast<unsigned char>(text[at]) & 0xC0) != 0x80) {
                ++column;  // the first byte of a character
            }
        }
        fault.line = line;
        fault.column = column;
    }
}

}  // namespace tool
