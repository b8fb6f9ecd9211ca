// Finds the faults of a document through the library's checking walk and
// places each one in the text.
//
// The walk names each fault's value by a JSON Pointer; simdjson's on-demand
// parser follows all the pointers in one pass through the text and gives the
// place where each value starts. jansson has accepted the text before any
// schema fault is reported, so the text is well-formed JSON without repeated
// keys; keys are compared unescaped, as jansson compares them. Where simdjson
// cannot follow a pointer to its end, the deepest value it reached is the
// place.
#include "checker.h"

#include <simdjson.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "action_schema.h"
#include "faults.h"
#include "jsoncodec.h"
#include "policy_schema.h"
#include "root_types.h"
#include "rule_schema.h"

namespace {

namespace ondemand = simdjson::ondemand;
using jsoncodec::TypeDesc;

struct Root {
    const char *name;
    const TypeDesc *desc;
};
#define ROOT_DESC(T, name_property) {#T, &jsoncodec::T##_desc},
const Root roots[] = {ROOT_TYPES(ROOT_DESC)};
#undef ROOT_DESC

// Deeper than jansson nests (2048), so that simdjson follows any pointer
// into a text jansson parsed.
constexpr size_t MAX_DEPTH = 4096;

struct Found {
    int32_t status;
    std::string message;
    std::string pointer;
    std::string hint;  // empty when there is none
    bool missing;
    int32_t parse_line;
    int32_t parse_column;
    size_t offset = 0;
    size_t line = 0;
    size_t column = 0;
};

class Collector final : public jsoncodec::FaultLog {
  public:
    Collector(bool every, size_t limit) : FaultLog(every), limit_(limit) {}
    void add(const jsoncodec::Fault &fault) override {
        if (limit_ != 0 && found.size() == limit_) {  // one fault more than the limit: stop here
            stopped = true;
            every_fault = false;
            return;
        }
        try {
            std::string message = fault.line;
            if (!message.empty() && message.back() == '\n') message.pop_back();
            found.push_back(Found{fault.status, std::move(message), fault.pointer,
                                  fault.hint != nullptr ? fault.hint : "", fault.missing,
                                  fault.parse_line, fault.parse_column});
        } catch (const std::bad_alloc &) {
            out_of_memory = true;
        }
    }
    std::vector<Found> found;
    bool out_of_memory = false;
    bool stopped = false;

  private:
    size_t limit_;
};

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
size_t offset_of(const char *text, size_t length, int32_t line, int32_t column) {
    size_t at = 0;
    for (int32_t l = 1; l < line && at < length; ++at)
        if (text[at] == '\n') ++l;
    for (int32_t c = 1; c < column && at < length && text[at] != '\n'; ++c) {
        ++at;
        while (at < length && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) ++at;
    }
    return at;
}

// Places every fault, sorts them by place (faults at one place keep the
// walk's order) and gives each its line and column in one sweep. A fault
// whose value simdjson did not reach is placed at the deepest value on its
// pointer that it did.
void place_all(const char *text, std::vector<Found> &found) {
    const size_t length = std::strlen(text);
    Target root;
    std::vector<Target *> targets;
    for (const Found &fault : found) {
        Target *target = &root;
        std::vector<std::string> segments = segments_of(fault.pointer);
        for (size_t i = 0; i + (fault.missing ? 1 : 0) < segments.size(); ++i) {
            Target *parent = target;
            target = &parent->children[segments[i]];
            target->parent = parent;
        }
        targets.push_back(target);
    }
    simdjson::padded_string padded(text, length);
    ondemand::parser parser;
    ondemand::document document;
    ondemand::value value;
    if (parser.allocate(length, MAX_DEPTH) == simdjson::SUCCESS &&
        parser.iterate(padded).get(document) == simdjson::SUCCESS && document.get_value().get(value) == simdjson::SUCCESS)
        visit(value, root);
    size_t start = 0;  // the whole document: its first character
    while (start < length && is_blank(text[start])) ++start;
    for (size_t i = 0; i < found.size(); ++i) {
        if (found[i].parse_line != 0) {
            found[i].offset = offset_of(text, length, found[i].parse_line, found[i].parse_column);
            continue;
        }
        const Target *target = targets[i];
        while (target != nullptr && target->place == nullptr) target = target->parent;
        found[i].offset = target != nullptr ? static_cast<size_t>(target->place - padded.data()) : start;
    }
    std::stable_sort(found.begin(), found.end(), [](const Found &a, const Found &b) { return a.offset < b.offset; });
    size_t at = 0, line = 1, column = 1;
    for (Found &fault : found) {
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

char *copy(const std::string &text) {
    char *copied = static_cast<char *>(std::malloc(text.size() + 1));
    if (copied != nullptr) std::memcpy(copied, text.c_str(), text.size() + 1);
    return copied;
}

}  // namespace

extern "C" int checker_run(const char *type, const char *text, int every, size_t limit, struct checker_faults *out) {
    out->items = nullptr;
    out->count = 0;
    out->stopped = 0;
    const Root *root = nullptr;
    for (const Root &candidate : roots)
        if (std::strcmp(candidate.name, type) == 0) root = &candidate;
    if (root == nullptr) return -1;
    try {
        Collector log(every != 0, limit);
        if (jsoncodec::check_frame(*root->desc, text, log) == RMQC_OK) return 0;
        if (log.out_of_memory || log.found.empty()) return -1;
        place_all(text, log.found);

        out->items = static_cast<checker_fault *>(std::calloc(log.found.size(), sizeof *out->items));
        if (out->items == nullptr) return -1;
        out->stopped = log.stopped;
        for (const Found &fault : log.found) {
            checker_fault &item = out->items[out->count++];
            item = checker_fault{fault.status, copy(fault.message), copy(fault.pointer),
                                 !fault.hint.empty() ? copy(fault.hint) : nullptr, fault.offset, fault.line, fault.column};
            if (item.message == nullptr || item.pointer == nullptr || (!fault.hint.empty() && item.hint == nullptr)) {
                checker_release(out);
                return -1;
            }
        }
        return 1;
    } catch (const std::bad_alloc &) {
        checker_release(out);
        return -1;
    }
}

extern "C" void checker_release(struct checker_faults *faults) {
    for (size_t i = 0; i < faults->count; ++i) {
        std::free(faults->items[i].message);
        std::free(faults->items[i].pointer);
        std::free(faults->items[i].hint);
    }
    std::free(faults->items);
    faults->items = nullptr;
    faults->count = 0;
}
