// The table walker over jansson's trees: decodes (decoder.h's walker on a
// jansson tree), encodes and releases any record from its table, property
// kind by property kind, and reports every generic fault from one message
// per shape (engine_internal.h).
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "codec.h"
#include "decoder.h"
#include "jsoncodec.h"

namespace jsoncodec {

namespace {

using namespace detail;

// The walker's view of a jansson tree: properties in record order, each
// found by name.
class JanssonTree {
  public:
    using Value = const json_t *;
    static bool absent(Value v) { return v == nullptr; }
    static bool is_object(Value v) { return v != nullptr && json_is_object(v); }
    template <class F>
    static int32_t properties(const TypeDesc &type, Value object, F &&f) {
        for (uint32_t i = 0; i < type.field_count; ++i)
            if (int32_t status = f(i, json_object_get(object, type.fields[i].name))) return status;
        return RMQC_OK;
    }
    static Value member(Value object, const char *name) { return json_object_get(object, name); }
    static bool is_string(Value v) { return json_is_string(v); }
    static bool is_one_of(Value v, const EnumDesc &allowed) { return enum_allows(allowed, json_string_value(v)); }
    static const char *hint_text(Value v) { return json_string_value(v); }
    static Copy copy_string(Value v, char **copy) {
        const char *text = json_string_value(v);
        if (text == nullptr) return Copy::NotString;
        // jansson's texts hold no NUL: it refuses "\u0000" when parsing.
        const size_t length = json_string_length(v);
        *copy = static_cast<char *>(std::malloc(length + 1));
        if (*copy == nullptr) return Copy::NoMemory;
        std::memcpy(*copy, text, length + 1);
        return Copy::Done;
    }
    static bool boolean(Value v, int32_t *out) {
        if (!json_is_boolean(v)) return false;
        *out = json_is_true(v) ? 1 : 0;
        return true;
    }
    static bool integer(Value v, int64_t *out) {
        if (!json_is_integer(v)) return false;
        *out = json_integer_value(v);
        return true;
    }
    static bool array_size(Value v, size_t *size) {
        if (!json_is_array(v)) return false;
        *size = json_array_size(v);
        return true;
    }
    static bool list_size(Value v, size_t *size) { return array_size(v, size); }
    template <class F>
    static int32_t each(Value array, F &&f) {
        for (size_t i = 0, size = json_array_size(array); i < size; ++i)
            if (int32_t status = f(i, json_array_get(array, i))) return status;
        return RMQC_OK;
    }
    static bool gave_up() { return false; }
};

// ---------------------------------------------------------------- encoding

// Adds `value` (consumed in every case) to `object`; a missing value or a
// refusal is the property's common failure.
int32_t attach(json_t *object, const FieldDesc &field, json_t *value, const TypeDesc &type, Sink sink,
               path_node *path) {
    if (value != nullptr && json_object_set_new_nocheck(object, field.name, value) == 0) return RMQC_OK;
    return report(RMQC_ERR_ENCODE, sink, path, property_index(field), field.name, text::property_failed, field.name,
                  type.name);
}

// Appends `item` (consumed) to the array under construction; on failure
// releases the array and reports the fault at element `index`.
int32_t append_item(json_t *array, json_t *item, const FieldDesc &field, int32_t index, Sink sink, path_node *path) {
    const char *fault = nullptr;
    if (item == nullptr)
        fault = text::item_failed;
    else if (json_array_append_new(array, item) != 0)
        fault = text::item_append;
    if (fault == nullptr) return RMQC_OK;
    json_decref(array);
    return report_fixed(RMQC_ERR_ENCODE, sink, path, index, field.name, fault);
}

int32_t encode_array(const FieldDesc &field, const void *record, json_t **out, Sink sink, path_node *path) {
    json_t *array = json_array();
    if (array == nullptr) return report(RMQC_ERR_ENCODE, sink, path, PATH_ARRAY, field.name, text::array_create, field.name);
    uint64_t size = at<uint64_t>(record, field.count_offset);
    if (size > MAX_ARRAY_SZ) {
        json_decref(array);
        return report(RMQC_ERR_ENCODE, sink, path, PATH_ARRAY, field.name, text::count_too_large, field.name);
    }
    const void *block = load_pointer(static_cast<const char *>(record) + field.offset);
    for (uint64_t i = 0; i < size; ++i) {
        int32_t index = static_cast<int32_t>(i);
        // A block that is missing while the count says otherwise has no item
        // to give, like a NULL string item.
        json_t *item = nullptr;
        if (block != nullptr)
            item = field.kind == Kind::IntegerArray ? json_integer(static_cast<const int64_t *>(block)[i])
                                                    : string_to_json(static_cast<char *const *>(block)[i]);
        if (int32_t status = append_item(array, item, field, index, sink, path)) return status;
    }
    *out = array;
    return RMQC_OK;
}

int32_t encode_list(const FieldDesc &field, const void *record, int32_t depth, json_t **out, Sink sink,
                    path_node *path, path_node *self) {
    json_t *array = json_array();
    if (array == nullptr) return report(RMQC_ERR_ENCODE, sink, path, PATH_ARRAY, field.name, text::array_create, field.name);
    const void *node = load_pointer(static_cast<const char *>(record) + field.offset);
    for (int32_t i = 0; node != nullptr; ++i) {
        // The cap is the list's only defence against a cycle.
        if (static_cast<uint64_t>(i) >= MAX_ARRAY_SZ) {
            json_decref(array);
            return report(RMQC_ERR_ENCODE, sink, path, PATH_ARRAY, field.name, text::list_too_long, field.name);
        }
        name_node(self, field.name, i);
        json_t *item = nullptr;
        int32_t status = encode_record(*field.nested, &item, node, depth + 1, sink.buf, sink.len, self);
        if (status != RMQC_OK) {
            json_decref(item);
            json_decref(array);
            return status;
        }
        if ((status = append_item(array, item, field, i, sink, path))) return status;
        node = load_pointer(static_cast<const char *>(node) + field.nested->next_offset);
    }
    *out = array;
    return RMQC_OK;
}

// Encodes the nested record `source` of the property into *out.
int32_t encode_nested(const FieldDesc &field, const TypeDesc &nested, const void *source, int32_t depth, json_t **out,
                      Sink sink, path_node *self) {
    name_node(self, field.name, PATH_FIELD);
    json_t *child = nullptr;
    if (int32_t status = encode_record(nested, &child, source, depth + 1, sink.buf, sink.len, self)) {
        json_decref(child);
        return status;
    }
    *out = child;
    return RMQC_OK;
}

int32_t encode_field(const FieldDesc &field, const TypeDesc &type, const void *record, json_t *object, int32_t depth,
                     Sink sink, path_node *path, path_node *self) {
    const char *slot = static_cast<const char *>(record) + field.offset;
    json_t *value = nullptr;
    int32_t status = RMQC_OK;
    switch (field.kind) {
        case Kind::Enum:
            name_node(self, field.name, PATH_FIELD);
            if ((status = check_enum(*field.allowed, at<char *>(record, field.offset), RMQC_ERR_ENCODE, sink.buf,
                                     sink.len, self)))
                return status;
            [[fallthrough]];
        case Kind::String:
            value = string_to_json(at<char *>(record, field.offset));
            break;
        case Kind::Boolean:
            value = json_boolean(at<int32_t>(record, field.offset) != 0);
            break;
        case Kind::Integer:
            value = json_integer(at<int64_t>(record, field.offset));
            break;
        case Kind::StringArray:
        case Kind::IntegerArray:
            status = encode_array(field, record, &value, sink, path);
            break;
        case Kind::Record:
            status = encode_nested(field, *field.nested, slot, depth, &value, sink, self);
            break;
        case Kind::RecordPointer:
            status = encode_nested(field, *field.nested, load_pointer(slot), depth, &value, sink, self);
            break;
        case Kind::List:
            status = encode_list(field, record, depth, &value, sink, path, self);
            break;
        case Kind::Union: {
            uint8_t tag = at<uint8_t>(record, field.count_offset);
            if (tag < 1 || tag > field.members->count)
                return report(RMQC_ERR_ENCODE, sink, path, PATH_FIELD, field.name, text::union_range, field.name,
                              field.members->count);
            // Members encode with the caller's buffer: their faults are not wrapped.
            status = encode_nested(field, *field.members->members[tag - 1], slot, depth, &value, sink, self);
            break;
        }
    }
    if (status != RMQC_OK) return status;
    return attach(object, field, value, type, sink, path);
}

}  // namespace

namespace detail {

void log_fault(Sink sink, int32_t code, path_node *path, int32_t index, const char *name, bool missing,
               const char *hint) {
    // Without room for the pointer the fault is placed at the whole document.
    uint64_t length = format_pointer(nullptr, 0, path, index, name);
    char *pointer = static_cast<char *>(std::malloc(length + 1));
    if (pointer != nullptr) format_pointer(pointer, length + 1, path, index, name);
    sink.log->add(Fault{code, sink.len != 0 ? sink.buf : "", pointer != nullptr ? pointer : "", missing, hint, 0, 0});
    std::free(pointer);
}

int32_t report_enum(int32_t code, Sink sink, path_node *node, const EnumDesc &allowed, const char *text) {
    // "String based enum fails to match one of: [ 'a', 'b' ]. "
    char detail[DETAIL_SIZE];
    size_t used = 0;
    auto append = [&](const char *piece) {
        int needed = bounded_format(detail + used, sizeof detail - used, "%s", piece);
        if (needed > 0) used += std::min(static_cast<size_t>(needed), sizeof detail - 1 - used);
    };
    if (sink.len == 0 && sink.log == nullptr) return code;
    append(text::enum_head);
    for (uint32_t i = 0; i < allowed.count; ++i) {
        if (i > 0) append(", ");
        append("'");
        append(allowed.values[i]);
        append("'");
    }
    append(text::enum_tail);
    Suggestion suggestion;
    if (sink.log != nullptr && text != nullptr) suggestion.consider(allowed, text);
    return report_fixed(code, sink, node, 0, nullptr, detail, false, suggestion.best);
}

}  // namespace detail

void Suggestion::consider(const char *candidate, const char *text) {
    // Levenshtein distance over bytes, one row at a time; among equals the
    // first considered wins. A candidate whose length alone is too far from
    // the text's is passed over, as is one too long for the row (no allowed
    // text comes near).
    constexpr size_t LONGEST = 127;
    const size_t length = std::strlen(text);
    const size_t width = std::strlen(candidate);
    if (width > LONGEST || length > width + 2 || width > length + 2) return;
    // A text that differs only in case is as close as one edit.
    if (strcasecmp(text, candidate) == 0) {
        if (distance > 1) {
            distance = 1;
            best = candidate;
        }
        return;
    }
    uint32_t row[LONGEST + 1];
    for (size_t j = 0; j <= width; ++j) row[j] = static_cast<uint32_t>(j);
    for (size_t i = 1; i <= length; ++i) {
        uint32_t diagonal = row[0];
        row[0] = static_cast<uint32_t>(i);
        for (size_t j = 1; j <= width; ++j) {
            uint32_t above = row[j];
            uint32_t replace = diagonal + (text[i - 1] == candidate[j - 1] ? 0 : 1);
            row[j] = std::min({above + 1, row[j - 1] + 1, replace});
            diagonal = above;
        }
    }
    if (row[width] < distance) {
        distance = row[width];
        best = candidate;
    }
}

int32_t check_enum(const EnumDesc &allowed, const char *text, int32_t code, char *errbuf, uint64_t errlen,
                   path_node *node) {
    if (enum_allows(allowed, text)) return RMQC_OK;
    return report_enum(code, Sink{errbuf, errlen, UnionTrials::Fast}, node, allowed, text);
}

int32_t decode_record(const TypeDesc &type, const json_t *value, void *out_new, void *into, int32_t depth,
                      char *errbuf, uint64_t errlen, path_node *path, uint32_t *match_count, UnionTrials trials,
                      FaultLog *log) {
    JanssonTree tree;
    return Walk<JanssonTree>(tree, Sink{errbuf, errlen, trials, log}).record(type, value, out_new, into, depth, path,
                                                                            match_count);
}

int32_t encode_record(const TypeDesc &type, json_t **out, const void *src, int32_t depth, char *errbuf,
                      uint64_t errlen, path_node *path) {
    Sink sink{errbuf, errlen, UnionTrials::Fast};
    path_node self = enter_node(path);
    path->child = &self;
    *out = nullptr;

    if (src == nullptr) return report(RMQC_ERR_ENCODE, sink, path, 0, nullptr, text::source_null, type.name);
    if (depth > MAX_CALL_DEPTH) return report(RMQC_ERR_OTHER, sink, path, 0, nullptr, text::encode_depth, type.name);
    json_t *object = json_object();
    if (object == nullptr) return report(RMQC_ERR_OTHER, sink, path, 0, nullptr, text::object_create, type.name);
    *out = object;

    for (uint32_t i = 0; i < type.field_count; ++i) {
        const FieldDesc &field = type.fields[i];
        if (!is_flagged(field, src)) continue;
        if (int32_t status = encode_field(field, type, src, object, depth, sink, path, &self)) return status;
    }
    path->child = nullptr;
    return RMQC_OK;
}

void release_record(const TypeDesc &type, void *record) {
    for (uint32_t i = 0; i < type.field_count; ++i) {
        const FieldDesc &field = type.fields[i];
        // Optional properties own something only when flagged.
        if (!is_flagged(field, record)) continue;
        void *slot = static_cast<char *>(record) + field.offset;
        switch (field.kind) {
            case Kind::String:
            case Kind::Enum:
            case Kind::IntegerArray:
                std::free(load_pointer(slot));
                break;
            case Kind::Boolean:
            case Kind::Integer:
                break;
            case Kind::StringArray: {
                auto **block = static_cast<char **>(load_pointer(slot));
                if (block != nullptr) {
                    uint64_t size = at<uint64_t>(record, field.count_offset);
                    for (uint64_t k = 0; k < size; ++k) std::free(block[k]);
                }
                std::free(block);
                break;
            }
            case Kind::Record:
                release_record(*field.nested, slot);
                break;
            case Kind::RecordPointer:
                if (void *nested = load_pointer(slot)) {
                    release_record(*field.nested, nested);
                    std::free(nested);
                }
                break;
            case Kind::List:
                for (void *node = load_pointer(slot); node != nullptr;) {
                    void *next = load_pointer(static_cast<char *>(node) + field.nested->next_offset);
                    release_record(*field.nested, node);
                    std::free(node);
                    node = next;
                }
                break;
            case Kind::Union: {
                // An out-of-range tag releases nothing of the storage.
                uint8_t tag = at<uint8_t>(record, field.count_offset);
                if (tag >= 1 && tag <= field.members->count) release_record(*field.members->members[tag - 1], slot);
                break;
            }
        }
    }
    std::memset(record, 0, type.size);
}

}  // namespace jsoncodec
