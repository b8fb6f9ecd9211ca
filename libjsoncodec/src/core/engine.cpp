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
