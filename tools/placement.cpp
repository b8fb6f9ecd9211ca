// Places the faults of the checking walk in the document's text.
//
// The walk names each fault's value by a JSON Pointer; simdjson's on-demand
// parser follows all the pointers in one pass through the text and gives the
// place where each value starts. jansson has accepted the text before any
// schema fault is reported, so the text is well-formed JSON without repeated
// keys; keys are compared unescaped, as jansson compares them. Where simdjson
// cannot follow a pointer to its end, the deepest value it reached is the
// place.
#include "placement.h"

#include <simdjson.h>

#include <algorithm>
#include <map>
#include <string>

namespace tool {
namespace {

namespace ondemand = simdjson::ondemand;

// Deeper than jansson nests (2048), so that simdjson follows any pointer
// into a text jansson parsed.
constexpr size_t MAX_DEPTH = 4096;

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

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
// is given the place where its value starts when the walk finds it.
struct Target {
    std::map<std::string, Target, std::less<>> children;
    Target *parent = nullptr;
    const char *place = nullptr;
};

// Notes where `value` starts, then walks on into the members or elements the
// targets below name: once through the text, skipping everything else.
// simdjson stopping leaves the rest unplaced.
void visit(ondemand::value value, Target &target) {
    target.place = value.raw_json_token().data();
    ondemand::json_type type;
    if (target.children.empty() || value.type().get(type) != simdjson::SUCCESS) return;
    if (type == ondemand::json_type::object) {
        ondemand::object object;
        if (value.get_object().get(object) != simdjson::SUCCESS) return;
        for (auto field : object) {
            std::string_view key;
            ondemand::value member;
            if (field.unescaped_key().get(key) != simdjson::SUCCESS || field.value().get(member) != simdjson::SUCCESS)
                return;
            auto found = target.children.find(key);
            if (found != target.children.end()) visit(member, found->second);
        }
    } else if (type == ondemand::json_type::array) {
        ondemand::array array;
        if (value.get_array().get(array) != simdjson::SUCCESS) return;
        size_t index = 0;
        for (auto element : array) {
            ondemand::value item;
            if (element.get(item) != simdjson::SUCCESS) return;
            auto found = target.children.find(std::to_string(index++));
            if (found != target.children.end()) visit(item, found->second);
        }
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

// Places every fault, sorts them by place (faults at one place keep the
// walk's order) and gives each its line and column in one sweep. A fault
// whose value simdjson did not reach is placed at the deepest value on its
// pointer that it did.
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
    simdjson::padded_string padded(text.data(), length);
    ondemand::parser parser;
    ondemand::document document;
    ondemand::value value;
    if (parser.allocate(length, MAX_DEPTH) == simdjson::SUCCESS &&
        parser.iterate(padded).get(document) == simdjson::SUCCESS && document.get_value().get(value) == simdjson::SUCCESS)
        visit(value, root);
    size_t start = 0;  // the whole document: its first character
    while (start < length && is_blank(text[start])) ++start;
    for (size_t i = 0; i < faults.size(); ++i) {
        if (faults[i].parse_line != 0) {
            faults[i].offset = offset_of(text, faults[i].parse_line, faults[i].parse_column);
            continue;
        }
        const Target *target = targets[i];
        while (target != nullptr && target->place == nullptr) target = target->parent;
        faults[i].offset = target != nullptr ? static_cast<size_t>(target->place - padded.data()) : start;
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
