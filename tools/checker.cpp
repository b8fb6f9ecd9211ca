// Finds the faults of a document through the library's checking walk and
// places each one in the text.
//
// The walk names each fault's value by a JSON Pointer; simdjson's on-demand
// parser follows the pointer through the text and gives the place where the
// value starts. jansson has accepted the text before any schema fault is
// reported, so the text is well-formed JSON without repeated keys; keys are
// compared unescaped, as jansson compares them. Where simdjson cannot follow
// a pointer to its end, the deepest value it reached is the place.
#include "checker.h"

#include <simdjson.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
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
    std::string hint;
    bool has_hint;
    bool missing;
    int32_t parse_line;
    int32_t parse_column;
    size_t offset = 0;
    size_t line = 0;
    size_t column = 0;
};

class Collector final : public jsoncodec::FaultLog {
  public:
    explicit Collector(bool every) : FaultLog(every) {}
    void add(const jsoncodec::Fault &fault) override {
        try {
            std::string message = fault.line;
            if (!message.empty() && message.back() == '\n') message.pop_back();
            found.push_back(Found{fault.status, std::move(message), fault.pointer,
                                  fault.hint != nullptr ? fault.hint : "", fault.hint != nullptr, fault.missing,
                                  fault.parse_line, fault.parse_column});
        } catch (const std::bad_alloc &) {
            out_of_memory = true;
        }
    }
    std::vector<Found> found;
    bool out_of_memory = false;
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

// Moves `value` to its member or element named `segment`; false when there
// is none or simdjson stops.
bool step(ondemand::value &value, const std::string &segment) {
    ondemand::json_type type;
    if (value.type().get(type) != simdjson::SUCCESS) return false;
    if (type == ondemand::json_type::object) {
        ondemand::object object;
        if (value.get_object().get(object) != simdjson::SUCCESS) return false;
        for (auto field : object) {
            std::string_view key;
            if (field.unescaped_key().get(key) != simdjson::SUCCESS) return false;
            if (key == segment) return field.value().get(value) == simdjson::SUCCESS;
        }
        return false;
    }
    if (type == ondemand::json_type::array) {
        char *end = nullptr;
        unsigned long long index = std::strtoull(segment.c_str(), &end, 10);
        if (segment.empty() || *end != '\0') return false;
        ondemand::array array;
        if (value.get_array().get(array) != simdjson::SUCCESS) return false;
        for (auto element : array) {
            if (index-- == 0) return element.get(value) == simdjson::SUCCESS;
        }
    }
    return false;
}

// The offset of the value `segments` name (all but the last `drop`), or of
// the deepest one reached.
size_t locate(ondemand::parser &parser, const simdjson::padded_string &text, const std::vector<std::string> &segments,
              size_t drop) {
    size_t place = 0;
    while (place < text.size() && is_blank(text.data()[place])) ++place;
    ondemand::document document;
    ondemand::value value;
    if (parser.iterate(text).get(document) != simdjson::SUCCESS || document.get_value().get(value) != simdjson::SUCCESS)
        return place;
    for (size_t i = 0; i + drop < segments.size(); ++i) {
        if (!step(value, segments[i])) break;
        place = static_cast<size_t>(value.raw_json_token().data() - text.data());
    }
    return place;
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
// walk's order) and gives each its line and column in one sweep.
void place_all(const char *text, std::vector<Found> &found) {
    const size_t length = std::strlen(text);
    simdjson::padded_string padded(text, length);
    ondemand::parser parser;
    bool ready = parser.allocate(length, MAX_DEPTH) == simdjson::SUCCESS;
    for (Found &fault : found) {
        if (fault.parse_line != 0) {
            fault.offset = offset_of(text, length, fault.parse_line, fault.parse_column);
        } else if (ready) {
            fault.offset = locate(parser, padded, segments_of(fault.pointer), fault.missing ? 1 : 0);
        }
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

extern "C" int checker_run(const char *type, const char *text, int every, struct checker_faults *out) {
    out->items = nullptr;
    out->count = 0;
    const Root *root = nullptr;
    for (const Root &candidate : roots)
        if (std::strcmp(candidate.name, type) == 0) root = &candidate;
    if (root == nullptr) return -1;
    try {
        Collector log(every != 0);
        if (jsoncodec::check_frame(*root->desc, text, log) == RMQC_OK) return 0;
        if (log.out_of_memory || log.found.empty()) return -1;
        place_all(text, log.found);

        out->items = static_cast<checker_fault *>(std::calloc(log.found.size(), sizeof *out->items));
        if (out->items == nullptr) return -1;
        for (const Found &fault : log.found) {
            checker_fault &item = out->items[out->count++];
            item = checker_fault{fault.status, copy(fault.message), copy(fault.pointer),
                                 fault.has_hint ? copy(fault.hint) : nullptr, fault.offset, fault.line, fault.column};
            if (item.message == nullptr || item.pointer == nullptr || (fault.has_hint && item.hint == nullptr)) {
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
