// The decoding walker, generic over the parsed tree it reads.
//
// A tree adapter gives the walker read access to one kind of parsed JSON
// tree; the walker itself, with its order of checks, its messages and its
// match counts, is the same for every tree. An adapter provides:
//
//   Value                  a cheap handle of a JSON value, or of none
//   absent(v), is_object(v)
//   Fields(type, object)   the values of a record's properties, found in one
//                          go: get(i) is property i's value or absent; ok()
//                          is false when the tree cannot be decoded exactly
//                          (the walker then fails the record)
//   member(object, name)   one property's value, or absent
//   string(v, &length)     the text of a string, NUL-terminated; NULL when v
//                          is not a string
//   is_boolean(v), is_true(v)
//   integer(v, &out)       false when v is not an integer
//   array_size(v, &size)   false when v is not an array
//   each(array, f)         f(index, item) for every element in order, until f
//                          returns nonzero, which is returned
#pragma once

#include <cstdlib>
#include <cstring>

#include "engine_internal.h"

namespace jsoncodec::detail {

// An owned copy of a text of known length.
inline char *copy_text(const char *text, size_t length) {
    char *copy = static_cast<char *>(std::malloc(length + 1));
    if (copy != nullptr) std::memcpy(copy, text, length + 1);
    return copy;
}

// In a checking walk, passes the fault of a union's closest member on as
// the union's own: the union's line and status, the place and the hint of the
// member's fault (unless the union has its own hint).
class UnionFault final : public FaultLog {
  public:
    UnionFault(Sink outer, path_node *path, const char *name, const char *hint)
        : FaultLog(false), outer_(outer), path_(path), name_(name), hint_(hint) {}
    void add(const Fault &fault) override {
        char line[TRIAL_BUFFER_SIZE];
        bounded_format(line, sizeof line, text::union_closest, fault.line);
        report_error(line, RMQC_ERR_DECODE, outer_.buf, outer_.len, path_, PATH_FIELD, name_);
        Fault passed = fault;
        passed.status = RMQC_ERR_DECODE;
        passed.line = outer_.len != 0 ? outer_.buf : "";
        if (hint_ != nullptr) passed.hint = hint_;
        outer_.log->add(passed);
        done = true;
    }
    bool done = false;

  private:
    Sink outer_;
    path_node *path_;
    const char *name_;
    const char *hint_;
};

template <class Tree>
struct Decoder {
    using Value = typename Tree::Value;

    static int32_t string(const FieldDesc &field, Value value, void *record, Sink sink, path_node *path,
                          path_node *self) {
        size_t length = 0;
        const char *source = Tree::string(value, &length);
        if (source == nullptr) return report_fixed(RMQC_ERR_DECODE, sink, path, PATH_FIELD, field.name, text::string_expected);
        if (field.kind == Kind::Enum && !enum_allows(*field.allowed, source)) {
            name_node(self, field.name, PATH_FIELD);
            return report_enum(RMQC_ERR_DECODE, sink, self, *field.allowed, source);
        }
        char *copy = copy_text(source, length);
        if (copy == nullptr) return report_fixed(RMQC_ERR_NOMEM, sink, path, PATH_FIELD, field.name, text::string_alloc);
        at<char *>(record, field.offset) = copy;
        return RMQC_OK;
    }

    static int32_t array(const FieldDesc &field, Value value, void *record, Sink sink, path_node *path) {
        size_t size = 0;
        if (!Tree::array_size(value, &size))
            return report_fixed(RMQC_ERR_DECODE, sink, path, PATH_ARRAY, field.name, text::array_expected);
        if (size > MAX_ARRAY_SZ) return report_fixed(RMQC_ERR_DECODE, sink, path, PATH_ARRAY, field.name, text::array_too_large);
        void *block = std::calloc(size, sizeof(int64_t));
        if (block == nullptr && size > 0) return report_fixed(RMQC_ERR_NOMEM, sink, path, PATH_ARRAY, field.name, text::array_alloc);
        // The block and its count are stored before any element is read, so that
        // a release after a fault frees exactly what was copied.
        store_pointer(static_cast<char *>(record) + field.offset, block);
        at<uint64_t>(record, field.count_offset) = size;

        int32_t first = RMQC_OK;
        int32_t status = Tree::each(value, [&](size_t i, Value item) -> int32_t {
            int32_t index = static_cast<int32_t>(i);
            int32_t fault = RMQC_OK;
            if (field.kind == Kind::IntegerArray) {
                if (!Tree::integer(item, &static_cast<int64_t *>(block)[i]))
                    fault = report_fixed(RMQC_ERR_DECODE, sink, path, index, field.name, text::integer_item_expected);
            } else {
                size_t length = 0;
                const char *source = Tree::string(item, &length);
                char *copy = nullptr;
                if (source == nullptr)
                    fault = report_fixed(RMQC_ERR_DECODE, sink, path, index, field.name, text::string_item_expected);
                else if ((copy = copy_text(source, length)) == nullptr)
                    fault = report_fixed(RMQC_ERR_NOMEM, sink, path, index, field.name, text::string_item_alloc);
                static_cast<char **>(block)[i] = copy;
            }
            return fault != RMQC_OK ? after_fault(sink, fault, first) : RMQC_OK;
        });
        return status != RMQC_OK ? status : first;
    }

    static int32_t list(const FieldDesc &field, Value value, void *record, int32_t depth, Sink sink, path_node *path,
                        path_node *self, uint32_t *match_count) {
        void *link = static_cast<char *>(record) + field.offset;
        store_pointer(link, nullptr);
        size_t size = 0;
        if (!Tree::array_size(value, &size))
            return report_fixed(RMQC_ERR_DECODE, sink, path, PATH_ARRAY, field.name, text::array_expected);
        if (size > MAX_ARRAY_SZ) return report_fixed(RMQC_ERR_DECODE, sink, path, PATH_ARRAY, field.name, text::array_too_large);
        int32_t first = RMQC_OK;
        int32_t status = Tree::each(value, [&](size_t i, Value item) -> int32_t {
            name_node(self, field.name, static_cast<int32_t>(i));
            // Each element is linked before it is validated, so a failing element
            // is released with the list (and a walk that goes on links the next
            // one after it).
            int32_t fault = record_of(*field.nested, item, link, nullptr, depth + 1, sink, self, match_count);
            if (fault != RMQC_OK) {
                if (int32_t stop = after_fault(sink, fault, first)) return stop;
            }
            link = static_cast<char *>(load_pointer(link)) + field.nested->next_offset;
            return RMQC_OK;
        });
        return status != RMQC_OK ? status : first;
    }

    // The text of a union member's discriminator, looked up once for all the
    // members that share its name.
    struct Discriminator {
        const char *name = nullptr;
        const char *text = nullptr;  // NULL when absent or not a string
    };

    // Whether the trial of `member` would fail on its first property having
    // decoded, allocated and written nothing but zeros: that property is a
    // required enum, and `value` is an object within the depth limit whose text
    // there is a string that is none of the allowed ones. Such a trial scores 0.
    static bool fails_on_discriminator(const TypeDesc &member, const Value &value, int32_t depth, Discriminator &seen) {
        const FieldDesc *tag = discriminator(member);
        if (tag == nullptr || depth > MAX_CALL_DEPTH) return false;
        if (seen.name != tag->name && (seen.name == nullptr || std::strcmp(seen.name, tag->name) != 0)) {
            size_t length = 0;
            seen.name = tag->name;
            seen.text = Tree::is_object(value) ? Tree::string(Tree::member(value, tag->name), &length) : nullptr;
        }
        return seen.text != nullptr && !enum_allows(*tag->allowed, seen.text);
    }

    // In a checking walk, the hint of a union whose members' discriminators
    // all refuse the value's text: the nearest of their allowed texts.
    static const char *discriminator_hint(const UnionDesc &members, Value value) {
        if (!Tree::is_object(value)) return nullptr;
        Suggestion suggestion;
        for (uint32_t k = 0; k < members.count; ++k) {
            const FieldDesc *tag = discriminator(*members.members[k]);
            size_t length = 0;
            const char *text = tag != nullptr ? Tree::string(Tree::member(value, tag->name), &length) : nullptr;
            if (text == nullptr) continue;
            if (enum_allows(*tag->allowed, text)) return nullptr;
            suggestion.consider(*tag->allowed, text);
        }
        return suggestion.best;
    }

    // Tries the members in order on private buffers; the first that decodes
    // wins. When none does, the member that decoded the most properties before
    // failing (the earliest among equals) is reported.
    //
    // Trying a member whose discriminator names another member would only end
    // in a score of 0 and a text that is needed when that failure is reported,
    // which happens only when it is the closest and nothing matches. So such a
    // member is passed over, and if it is the closest at the end its trial is
    // made then, for its text: it touches nothing and allocates nothing, so it
    // fails exactly as it would have in turn.
    //
    // A trial's nodes hang under the union's node `self`: its text starts at the
    // member's name, its pointer continues the union's.
    static int32_t union_of(const FieldDesc &field, Value value, void *record, int32_t depth, Sink sink,
                            path_node *path, path_node *self, uint32_t *match_count) {
        void *storage = static_cast<char *>(record) + field.offset;
        char trial_text[TRIAL_BUFFER_SIZE];
        char closest[TRIAL_BUFFER_SIZE];
        trial_text[0] = '\0';
        closest[0] = '\0';
        name_node(self, field.name, PATH_FIELD);
        path_node trial_root = root_node(nullptr);
        trial_root.parent = self;
        int64_t best = -1;
        constexpr uint32_t NONE = UINT32_MAX;
        uint32_t closest_member = NONE;
        bool passed_over = false;  // whether the closest member so far was passed over
        Discriminator seen;
        // Without a caller's buffer no failure text can be reported.
        const uint64_t trial_len = sink.trials == UnionTrials::Fast && sink.len == 0 ? 0 : TRIAL_BUFFER_SIZE;

        auto trial = [&](uint32_t k, uint32_t *trial_count, Sink trial_sink) {
            const TypeDesc &member = *field.members->members[k];
            trial_root.name = member.name;
            trial_root.child = nullptr;
            *trial_count = 0;
            return record_of(member, value, nullptr, storage, depth + 1, trial_sink, &trial_root, trial_count);
        };
        // The closest member's trial once more, for its text or its fault.
        auto retry = [&](Sink trial_sink) {
            uint32_t trial_count;
            trial(closest_member, &trial_count, trial_sink);
            release_record(*field.members->members[closest_member], storage);
        };

        for (uint32_t k = 0; k < field.members->count; ++k) {
            const TypeDesc &member = *field.members->members[k];
            if (sink.trials == UnionTrials::Fast && fails_on_discriminator(member, value, depth + 1, seen)) {
                if (best < 0) {
                    best = 0;
                    closest_member = k;
                    passed_over = true;
                }
                continue;
            }
            uint32_t trial_count;
            if (trial(k, &trial_count, Sink{trial_text, trial_len, sink.trials}) == RMQC_OK) {
                at<uint8_t>(record, field.count_offset) = static_cast<uint8_t>(k + 1);
                *match_count += trial_count + 1;
                return RMQC_OK;
            }
            release_record(member, storage);
            if (static_cast<int64_t>(trial_count) > best) {
                if (trial_len != 0) bounded_format(closest, sizeof closest, text::union_closest, trial_text);
                best = trial_count;
                closest_member = k;
                passed_over = false;
            }
        }
        if (sink.log != nullptr && closest_member != NONE) {
            // A checking walk places the union's fault where the closest
            // member's fault points.
            UnionFault passed(sink, path, field.name, discriminator_hint(*field.members, value));
            retry(Sink{trial_text, TRIAL_BUFFER_SIZE, sink.trials, &passed});
            if (passed.done) return RMQC_ERR_DECODE;
        }
        if (passed_over && sink.len != 0) {
            retry(Sink{trial_text, trial_len, sink.trials});
            bounded_format(closest, sizeof closest, text::union_closest, trial_text);
        }
        return report_fixed(RMQC_ERR_DECODE, sink, path, PATH_FIELD, field.name, closest);
    }

    static int32_t field_of(const FieldDesc &field, Value value, void *record, int32_t depth, Sink sink,
                            path_node *path, path_node *self, uint32_t *match_count) {
        if (Tree::absent(value)) {
            if (!field.required) return RMQC_OK;
            if (sink.len == 0 && sink.log == nullptr) return RMQC_ERR_DECODE;
            char detail[DETAIL_SIZE];
            bounded_format(detail, sizeof detail, text::required_missing, field.name);
            return report_fixed(RMQC_ERR_DECODE, sink, path, property_index(field), field.name, detail, true);
        }
        // Present: flagged before any check, so a record that failed on this
        // property still records it as present.
        if (!field.required) at<uint8_t>(record, field.present_offset) = 1;

        int32_t status = RMQC_OK;
        switch (field.kind) {
            case Kind::String:
            case Kind::Enum:
                status = string(field, value, record, sink, path, self);
                break;
            case Kind::Boolean:
                if (!Tree::is_boolean(value))
                    return report_fixed(RMQC_ERR_DECODE, sink, path, PATH_FIELD, field.name, text::boolean_expected);
                at<int32_t>(record, field.offset) = Tree::is_true(value) ? 1 : 0;
                break;
            case Kind::Integer:
                if (!Tree::integer(value, &at<int64_t>(record, field.offset)))
                    return report_fixed(RMQC_ERR_DECODE, sink, path, PATH_FIELD, field.name, text::integer_expected);
                break;
            case Kind::StringArray:
            case Kind::IntegerArray:
                status = array(field, value, record, sink, path);
                break;
            case Kind::Record:
            case Kind::RecordPointer: {
                void *slot = static_cast<char *>(record) + field.offset;
                name_node(self, field.name, PATH_FIELD);
                status = field.kind == Kind::RecordPointer
                             ? record_of(*field.nested, value, slot, nullptr, depth + 1, sink, self, match_count)
                             : record_of(*field.nested, value, nullptr, slot, depth + 1, sink, self, match_count);
                break;
            }
            case Kind::List:
                status = list(field, value, record, depth, sink, path, self, match_count);
                break;
            case Kind::Union:
                // The union adds its member's count and its own 1 on success.
                return union_of(field, value, record, depth, sink, path, self, match_count);
        }
        if (status == RMQC_OK) ++*match_count;
        return status;
    }

    // decode_record over this tree.
    static int32_t record_of(const TypeDesc &type, Value value, void *out_new, void *into, int32_t depth, Sink sink,
                             path_node *path, uint32_t *match_count) {
        path_node self = enter_node(path);
        path->child = &self;

        void *record = into;
        if (out_new != nullptr) {
            record = std::malloc(type.size);
            store_pointer(out_new, record);
            if (record == nullptr) return report_fixed(RMQC_ERR_NOMEM, sink, path, 0, nullptr, text::record_alloc);
        }
        std::memset(record, 0, type.size);
        if (!Tree::is_object(value)) return report(RMQC_ERR_DECODE, sink, path, 0, nullptr, text::object_expected, type.name);
        if (depth > MAX_CALL_DEPTH) return report_fixed(RMQC_ERR_OTHER, sink, path, 0, nullptr, text::decode_depth);

        typename Tree::Fields fields(type, value);
        // Only a tree that defers to another one for some documents refuses
        // here, and it reports nothing: the other tree's walk does.
        if (!fields.ok()) return RMQC_ERR_DECODE;
        int32_t first = RMQC_OK;
        for (uint32_t i = 0; i < type.field_count; ++i) {
            int32_t status = field_of(type.fields[i], fields.get(i), record, depth, sink, path, &self, match_count);
            if (status != RMQC_OK) {
                if (int32_t stop = after_fault(sink, status, first)) return stop;
            }
        }
        return first;
    }
};

}  // namespace jsoncodec::detail
