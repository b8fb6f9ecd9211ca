// The encoding walker, generic over the output it hands values to.
//
// One walk over the record tables checks everything about a record that
// can make encoding fail (a NULL source, the depth, enum texts, array
// counts and blocks, union tags, NULL texts, a list that goes on past
// MAX_ARRAY_SZ or loops back on itself) and reports it, with the same
// status and line whatever the output. An output is handed each value in
// record order; an output that builds jansson's tree reports what jansson
// refuses, and one that writes text gives up on a text it cannot write
// exactly (not UTF-8), which only the tree can decide, through the string
// conversion hook. An output provides (the concept EncodeOutput):
//
//   Value                         what a value becomes: a jansson value, or
//                                 nothing for text written in place
//   CHECKS                        false for an output that only ever writes a
//                                 record another run has checked: the enum
//                                 texts are not compared again
//   MAKES_VALUES                  whether Value is a value that may be none
//   object(&v, level), array(&v)  opens a container; false when it cannot
//                                 be made (jansson, out of memory)
//   close(v, empty, level, bracket)
//   member(object, name, first, level)
//                                 before a property's value: a text output
//                                 writes the separator and the key
//   item(first, level)            before an array element's value
//   attach(object, name, v)       adds a finished value (consumed) to its
//                                 object; false when refused or v is none
//   append(array, v)              adds an element (consumed); false when
//                                 refused
//   string(&v, text)              a text's value; false when the output gives
//                                 up on the text (a tree output makes none
//                                 instead, which attach or the caller refuses)
//   integer(&v, n), boolean(&v, b)
//   discard(v)                    releases a value that will not be attached
//
// `level` is the nesting of the JSON value being written, which sets the
// indentation of pretty text; `depth` counts records as the decoder does.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

#include "engine_internal.h"

namespace jsoncodec::detail {

// The contract of an output, as listed above.
template <class T>
concept EncodeOutput = requires(T &out, typename T::Value v, typename T::Value *made, const char *text, bool flag,
                                size_t level, int64_t number) {
    { T::CHECKS } -> std::convertible_to<bool>;
    { T::MAKES_VALUES } -> std::convertible_to<bool>;
    { out.object(made, level) } -> std::same_as<bool>;
    { out.array(made) } -> std::same_as<bool>;
    out.close(v, flag, level, ']');
    out.member(v, text, flag, level);
    out.item(flag, level);
    { out.attach(v, text, v) } -> std::same_as<bool>;
    { out.append(v, v) } -> std::same_as<bool>;
    { out.string(made, text) } -> std::same_as<bool>;
    out.integer(made, number);
    out.boolean(made, flag);
    out.discard(v);
};

template <EncodeOutput Output>
class EncodeWalk {
  public:
    using Value = typename Output::Value;

    EncodeWalk(Output &out, FaultSink sink) : out_(out), sink_(sink) {}

    // Encodes the record `src` of `type` into *made (a partial object on
    // failure, for the caller to release). Returns 0, the status of the fault
    // reported, or GAVE_UP.
    int32_t record(const TypeDesc &type, const void *src, int32_t depth, size_t level, path_node *path, Value *made) {
        path_node self = enter_node(path);
        path->child = &self;
        if (src == nullptr) return report(RMQC_ERR_ENCODE, sink_, path, 0, nullptr, text::source_null, type.name);
        if (depth > MAX_CALL_DEPTH)
            return report(RMQC_ERR_OTHER, sink_, path, 0, nullptr, text::encode_depth, type.name);
        if (!out_.object(made, level))
            return report(RMQC_ERR_OTHER, sink_, path, 0, nullptr, text::object_create, type.name);
        bool first = true;
        for (uint32_t i = 0; i < type.field_count; ++i) {
            const FieldDesc &field = type.fields[i];
            if (!is_present(field, src)) continue;
            out_.member(*made, field.name, first, level);
            first = false;
            Value value{};
            int32_t status = property(type, field, src, depth, level + 1, path, &value);
            if (status == RMQC_OK && !out_.attach(*made, field.name, value))
                status = report(RMQC_ERR_ENCODE, sink_, path, property_index(field), field.name, text::property_failed,
                                field.name, type.name);
            if (status != RMQC_OK) return status;
        }
        out_.close(*made, first, level, '}');
        path->child = nullptr;
        return RMQC_OK;
    }

  private:
    // A property's value into *value; on failure *value is released.
    int32_t property(const TypeDesc &type, const FieldDesc &field, const void *record, int32_t depth, size_t level,
                     path_node *path, Value *value) {
        path_node *self = path->child;
        const void *slot = field_address(record, field);
        switch (field.kind) {
            case Kind::Enum:
                // A second run over a record the first one checked need not check again.
                if constexpr (Output::CHECKS) {
                    name_node(self, field.name, PATH_FIELD);
                    if (int32_t status = check_enum(*field.allowed, at<char *>(record, field.offset), RMQC_ERR_ENCODE,
                                                    sink_.buf, sink_.len, self))
                        return status;
                }
                [[fallthrough]];
            case Kind::String: {
                const char *text = at<char *>(record, field.offset);
                // A NULL text makes no value: the property's common failure.
                if (text == nullptr)
                    return report(RMQC_ERR_ENCODE, sink_, path, PATH_FIELD, field.name, text::property_failed,
                                  field.name, type.name);
                return out_.string(value, text) ? RMQC_OK : GAVE_UP;
            }
            case Kind::Boolean: out_.boolean(value, at<int32_t>(record, field.offset) != 0); return RMQC_OK;
            case Kind::Integer: out_.integer(value, at<int64_t>(record, field.offset)); return RMQC_OK;
            case Kind::StringArray:
            case Kind::IntegerArray: return array(field, record, level, path, value);
            case Kind::Record: return nested(field, *field.nested, slot, depth, level, self, value);
            case Kind::RecordPointer:
                return nested(field, *field.nested, load_pointer(slot), depth, level, self, value);
            case Kind::List: return list(field, load_pointer(slot), depth, level, path, value);
            case Kind::Union: {
                const TypeDesc *member = selected_member(field, record);
                if (member == nullptr)
                    return report(RMQC_ERR_ENCODE, sink_, path, PATH_FIELD, field.name, text::union_range, field.name,
                                  field.members->count);
                // Members encode with the caller's buffer: their faults are not wrapped.
                return nested(field, *member, slot, depth, level, self, value);
            }
        }
        return RMQC_OK;
    }

    int32_t nested(const FieldDesc &field, const TypeDesc &type, const void *source, int32_t depth, size_t level,
                   path_node *self, Value *value) {
        name_node(self, field.name, PATH_FIELD);
        int32_t status = record(type, source, depth + 1, level, self, value);
        if (status != RMQC_OK) out_.discard(*value);
        return status;
    }

    // Appends `item` (consumed) to the array under construction; on failure
    // releases the array and reports the fault at element `index`.
    int32_t append(Value array, Value item, bool made, const FieldDesc &field, int32_t index, path_node *path) {
        const char *fault = nullptr;
        if (!made)
            fault = text::item_failed;
        else if (!out_.append(array, item))
            fault = text::item_append;
        if (fault == nullptr) return RMQC_OK;
        out_.discard(array);
        return report_fixed(RMQC_ERR_ENCODE, sink_, path, index, field.name, fault);
    }

    int32_t array(const FieldDesc &field, const void *record, size_t level, path_node *path, Value *made) {
        if (!out_.array(made))
            return report(RMQC_ERR_ENCODE, sink_, path, PATH_ARRAY, field.name, text::array_create, field.name);
        const uint64_t size = at<uint64_t>(record, field.count_offset);
        if (size > MAX_ARRAY_SZ) {
            out_.discard(*made);
            return report(RMQC_ERR_ENCODE, sink_, path, PATH_ARRAY, field.name, text::count_too_large, field.name);
        }
        const void *block = load_pointer(field_address(record, field));
        for (uint64_t i = 0; i < size; ++i) {
            out_.item(i == 0, level);
            // A block that is missing while the count says otherwise has no item
            // to give, like a NULL string item.
            Value item{};
            bool made_item = false;
            if (block != nullptr && field.kind == Kind::IntegerArray) {
                out_.integer(&item, static_cast<const int64_t *>(block)[i]);
                made_item = made_item_of(item);
            } else if (const char *text = block != nullptr ? static_cast<char *const *>(block)[i] : nullptr) {
                if (!out_.string(&item, text)) {
                    out_.discard(*made);
                    return GAVE_UP;
                }
                made_item = made_item_of(item);
            }
            if (int32_t status = append(*made, item, made_item, field, static_cast<int32_t>(i), path)) return status;
        }
        out_.close(*made, size == 0, level, ']');
        return RMQC_OK;
    }

    // Whether a string's value was made: a tree output may make none.
    static bool made_item_of(const Value &item) {
        if constexpr (Output::MAKES_VALUES) return item != nullptr;
        return true;
    }

    int32_t list(const FieldDesc &field, const void *node, int32_t depth, size_t level, path_node *path, Value *made) {
        if (!out_.array(made))
            return report(RMQC_ERR_ENCODE, sink_, path, PATH_ARRAY, field.name, text::array_create, field.name);
        path_node *self = path->child;
        // A list that loops back on itself would run to MAX_ARRAY_SZ elements,
        // each one already encoded once, and fail there: it is refused as soon
        // as the loop closes, when a node comes round again. Brent's way: the
        // node at each power of two is kept and compared with the ones after.
        const void *kept = nullptr;
        uint64_t keep_at = 1;
        int32_t i = 0;
        for (; node != nullptr; ++i) {
            if (static_cast<uint64_t>(i) >= MAX_ARRAY_SZ || node == kept) {
                out_.discard(*made);
                return report(RMQC_ERR_ENCODE, sink_, path, PATH_ARRAY, field.name, text::list_too_long, field.name);
            }
            if (static_cast<uint64_t>(i) == keep_at) {
                kept = node;
                keep_at *= 2;
            }
            out_.item(i == 0, level);
            name_node(self, field.name, i);
            Value item{};
            int32_t status = record(*field.nested, node, depth + 1, level + 1, self, &item);
            if (status != RMQC_OK) {
                out_.discard(item);
                out_.discard(*made);
                return status;
            }
            if ((status = append(*made, item, true, field, i, path))) return status;
            node = load_pointer(static_cast<const char *>(node) + field.nested->next_offset);
        }
        out_.close(*made, i == 0, level, ']');
        return RMQC_OK;
    }

    Output &out_;
    FaultSink sink_;
};

}  // namespace jsoncodec::detail
