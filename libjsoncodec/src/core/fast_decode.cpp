// Decoding through simdjson's DOM parser, for the documents it reads exactly
// as jansson does.
//
// jansson decides every refusal. This walk only ever says "this document
// decodes, and here is its tree" or "not here": a document that simdjson
// refuses, that jansson would read differently (a repeated key anywhere, a
// NUL in a text or a key, an integer above the 64-bit signed range), or that
// the schema refuses, ends the attempt with everything it built released,
// and the export decodes it again through jansson, which gives the status
// and the line. simdjson refuses on its own what jansson also refuses (a
// byte-order mark, lone surrogates, numbers out of range, invalid UTF-8) and
// nests no deeper than jansson does.
#include <simdjson.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "decoder.h"
#include "export_frame.h"

namespace jsoncodec {

namespace {

using namespace detail;
using simdjson::dom::element;
using simdjson::dom::element_type;

// The most properties the schema does not know that one object may hold on
// this path, and the deepest a value the schema does not know may nest; a
// document with more is left to jansson. Both bound the stack this path
// needs, whatever the thread it runs on.
constexpr uint32_t MAX_UNKNOWN = 16;
constexpr uint32_t MAX_UNKNOWN_DEPTH = 64;

// An element known to be an array or an object, as one (a copy: the
// results simdjson hands out are temporaries).
simdjson::dom::array array_of(element value) { return simdjson::dom::array(value.get_array().value_unsafe()); }
simdjson::dom::object object_of(element value) { return simdjson::dom::object(value.get_object().value_unsafe()); }

// Whether `key` is new among the `count` keys seen before it; records it.
bool first_time(std::string_view key, std::string_view *seen, uint32_t &count) {
    if (count == MAX_UNKNOWN) return false;
    for (uint32_t i = 0; i < count; ++i)
        if (seen[i] == key) return false;
    seen[count++] = key;
    return true;
}

// Whether jansson reads a value the schema does not know as simdjson did
// (texts hold no NUL here: see fast_decode).
bool reads_alike(element value, uint32_t depth = 0) {
    if (depth > MAX_UNKNOWN_DEPTH) return false;
    switch (value.type()) {
        case element_type::UINT64:  // above INT64_MAX: jansson refuses it
            return false;
        case element_type::ARRAY:
            for (element item : array_of(value))
                if (!reads_alike(item, depth + 1)) return false;
            return true;
        case element_type::OBJECT: {
            std::string_view keys[MAX_UNKNOWN];
            uint32_t count = 0;
            for (auto [key, item] : object_of(value))
                if (!first_time(key, keys, count) || !reads_alike(item, depth + 1)) return false;
            return true;
        }
        default:
            return true;
    }
}

// Whether `key` is the name of `field`, compared a word at a time: names are
// short, and a call of memcmp costs more than the comparison.
bool name_is(const FieldDesc &field, std::string_view key) {
    if (key.size() != field.name_length) return false;
    size_t i = 0;
    for (uint64_t a, b; i + 8 <= key.size(); i += 8) {
        std::memcpy(&a, field.name + i, 8);
        std::memcpy(&b, key.data() + i, 8);
        if (a != b) return false;
    }
    for (; i < key.size(); ++i)
        if (field.name[i] != key[i]) return false;
    return true;
}

// The position of property `key` in `type`, or NO_OFFSET. Documents mostly
// list properties in record order, so the one after the last found is
// tried first; otherwise the table's name order is searched.
uint32_t find_property(const TypeDesc &type, std::string_view key, uint32_t expected) {
    if (expected < type.field_count && name_is(type.fields[expected], key)) return expected;
    uint32_t low = 0, high = type.field_count;
    while (low < high) {
        uint32_t middle = (low + high) / 2;
        const FieldDesc &field = type.fields[type.by_name[middle]];
        int order = std::memcmp(field.name, key.data(), std::min<size_t>(field.name_length, key.size()));
        if (order == 0) {
            if (field.name_length == key.size()) return type.by_name[middle];
            order = field.name_length < key.size() ? -1 : 1;
        }
        if (order < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return NO_OFFSET;
}

// The decoder's view of a simdjson DOM tree.
struct SimdTree {
    struct Value {
        element e;
        bool present = false;
    };

    static bool absent(const Value &v) { return !v.present; }
    static bool is_object(const Value &v) { return v.present && v.e.type() == element_type::OBJECT; }

    // A record's values, gathered in one pass over the object's keys.
    class Fields {
      public:
        Fields(const TypeDesc &type, const Value &object) { ok_ = gather(type, object.e); }
        bool ok() const { return ok_; }
        Value get(uint32_t i) const {
            if ((present_ >> i & 1) == 0) return Value{};
            return Value{slots_[i].e, true};
        }

      private:
        bool gather(const TypeDesc &type, element object) {
            std::string_view unknown[MAX_UNKNOWN];
            uint32_t unknown_count = 0;
            uint32_t expected = 0;
            for (auto [key, value] : object_of(object)) {
                uint32_t i = find_property(type, key, expected);
                if (i == NO_OFFSET) {
                    if (!first_time(key, unknown, unknown_count) || !reads_alike(value)) return false;
                    continue;
                }
                if ((present_ >> i & 1) != 0) return false;  // a repeated key
                present_ |= uint64_t{1} << i;
                std::construct_at(&slots_[i].e, value);
                expected = i + 1;
            }
            return true;
        }

        // Left uninitialised but for the slots that `present_` marks.
        union Slot {
            Slot() {}
            element e;
        };
        Slot slots_[MAX_FIELDS];
        uint64_t present_ = 0;
        bool ok_ = false;
    };

    static Value member(const Value &object, const char *name) {
        element found;
        if (object_of(object.e).at_key(name).get(found) != simdjson::SUCCESS) return Value{};
        return Value{found, true};
    }
    static const char *string(const Value &v, size_t *length) {
        if (!v.present || v.e.type() != element_type::STRING) return nullptr;
        std::string_view text = v.e.get_string().value_unsafe();
        *length = text.size();
        return text.data();  // simdjson ends every text with a NUL
    }
    static bool is_boolean(const Value &v) { return v.e.type() == element_type::BOOL; }
    static bool is_true(const Value &v) { return v.e.get_bool().value_unsafe(); }
    static bool integer(const Value &v, int64_t *out) {
        if (!v.present || v.e.type() != element_type::INT64) return false;
        *out = v.e.get_int64().value_unsafe();
        return true;
    }
    // simdjson counts elements up to 0xFFFFFF, which is past MAX_ARRAY_SZ.
    static bool array_size(const Value &v, size_t *size) {
        if (v.e.type() != element_type::ARRAY) return false;
        *size = array_of(v.e).size();
        return true;
    }
    template <class F>
    static int32_t each(const Value &array, F &&f) {
        size_t i = 0;
        for (element item : array_of(array.e))
            if (int32_t status = f(i++, Value{item, true})) return status;
        return RMQC_OK;
    }
};

}  // namespace

bool fast_decode(const TypeDesc &type, const char *json, void **tree) {
    const size_t length = std::strlen(json);
    // jansson refuses a NUL anywhere in a text or a key. The escape is the
    // only way to write one in a text that ends at its first NUL byte, so a
    // document without it holds none (an escaped backslash before "u0000"
    // only sends a document the long way).
    for (const char *at = json; (at = static_cast<const char *>(std::memchr(at, '\\', length - (at - json))));) {
        if (std::strncmp(at, "\\u0000", 6) == 0) return false;
        at += 2;  // past the escaped character: an escaped backslash starts no escape
        if (at > json + length) break;
    }
    simdjson::dom::parser parser;  // one per call: nothing is kept between calls
    element root;
    if (parser.parse(json, length).get(root) != simdjson::SUCCESS || root.type() != element_type::OBJECT)
        return false;
    path_node root_path = root_node(type.name);
    uint32_t match_count = 0;
    void *record = nullptr;
    if (Decoder<SimdTree>::record_of(type, SimdTree::Value{root, true}, &record, nullptr, 0,
                                     Sink{nullptr, 0, UnionTrials::Fast}, &root_path, &match_count) != RMQC_OK) {
        if (record != nullptr) {
            release_record(type, record);
            std::free(record);
        }
        return false;
    }
    *tree = record;
    return true;
}

}  // namespace jsoncodec
