// The decoding walker, generic over the source it reads.
//
// A source adapter (a "tree") gives the walker read access to one kind of
// parsed or unparsed JSON; the walker itself, with its order of checks, its
// messages and its match counts, is the same for every source. The source
// decides the order in which a record's properties are visited: jansson's
// tree in record order, the text reader in document order (its missing
// properties at the closing brace). An adapter is an object (a source may
// keep a position) that provides:
//
//   Value                    a cheap handle of a JSON value, or of none
//   absent(v), is_object(v)
//   properties(type, object, f)
//                            f(i, value) once for each property i that the
//                            object has, and f(i, absent) for each required
//                            one it lacks (for an optional one it may, or
//                            not: that does nothing); stops at and returns
//                            the first nonzero f returns, or a refusal of the
//                            source's own
//   member(object, name)     one property's value, or absent
//   each_key(object, f)      f(key) for each key of the object; optional: a
//                            source that has it gives the checking walk's
//                            missing properties their hints
//   is_string(v)
//   is_one_of(v, allowed)    whether the string v is one of an enum's texts
//   hint_text(v)             the string's text, NUL-terminated, for hints; NULL
//                            when the source does not keep one
//   copy_string(v, &copy)    an owned copy of the string's text
//   boolean(v, &out), integer(v, &out)
//                            false when v is not of that kind
//   array_size(v, &size)     false when v is not an array; its element count
//   list_size(v, &size)      the same, or 0 when the count would cost a pass
//                            over the elements (each() then refuses an array
//                            past MAX_ARRAY_SZ elements itself)
//   each(array, f)           f(index, item) for every element in order, until
//                            f returns nonzero, which is returned
//   gave_up()                whether the source has refused the document
//                            itself, so that nothing more is worth trying
#pragma once

#include <cstdlib>
#include <cstring>

#include "engine_internal.h"

namespace jsoncodec::detail {

// What copy_string made of a value.
enum class Copy : uint8_t { Done, NotString, NoMemory };

// In a checking walk, passes the fault of a union's closest member on as
// the union's own: the union's line and status, the place and the hint of the
// member's fault (unless the union has its own hint).
class UnionFault final : public FaultLog {
  public:
    UnionFault(FaultSink outer, path_node *path, const char *name, const char *hint)
        : FaultLog(false), outer_(outer), path_(path), name_(name), hint_(hint) {}
    void add(const Fault &fault) override {
        char line[TRIAL_BUFFER_SIZE];
        bounded_format(line, sizeof line, text::union_closest, fault.message);
        report_error(line, RMQC_ERR_DECODE, outer_.buf, outer_.len, path_, PATH_FIELD, name_);
        Fault passed = fault;
        passed.status = RMQC_ERR_DECODE;
        passed.message = outer_.len != 0 ? outer_.buf : "";
        if (hint_ != nullptr) passed.hint = hint_;
        outer_.log->add(passed);
        done = true;
    }
    bool done = false;

  private:
    FaultSink outer_;
    path_node *path_;
    const char *name_;
    const char *hint_;
};

// One decoding walk over a source: the source, and the sink every fault of
// the walk is reported into. A union's trials walk with a sink of their own.
template <class Tree>
class Walk {
  public:
    using Value = typename Tree::Value;

    // `trials` says how unions try their members: the fast way, or each in
    // turn for the tests that compare the two.
    Walk(Tree &tree, FaultSink sink, UnionTrials trials = UnionTrials::Fast)
        : tree_(tree), sink_(sink), trials_(trials) {}

    // decode_record over this source.
    int32_t record(const TypeDesc &type, Value value, void *out_new, void *into, int32_t depth, path_node *path,
                   uint32_t *match_count) {
        path_node self = enter_node(path);
        path->child = &self;

        void *record = into;
        if (out_new != nullptr) {
            record = std::malloc(type.size);
            store_pointer(out_new, record);
            if (record == nullptr) return report_fixed(RMQC_ERR_NOMEM, sink_, path, 0, nullptr, text::record_alloc);
        }
        std::memset(record, 0, type.size);
        if (!tree_.is_object(value))
            return report(RMQC_ERR_DECODE, sink_, path, 0, nullptr, text::object_expected, type.name);
        if (depth > MAX_CALL_DEPTH) return report_fixed(RMQC_ERR_OTHER, sink_, path, 0, nullptr, text::decode_depth);

        int32_t first = RMQC_OK;
        int32_t status = tree_.properties(type, value, [&](uint32_t i, Value item) -> int32_t {
            const FieldDesc &field = type.fields[i];
            int32_t fault = RMQC_OK;
            if (!tree_.absent(item))
                fault = property(field, item, record, depth, path, match_count);
            else if (field.required)
                fault = missing(type, field, value, path);
            return fault != RMQC_OK ? stop_after(sink_, fault, first) : RMQC_OK;
        });
        return status != RMQC_OK ? status : first;
    }

  private:
    // What an array's or a list's value must be before any element is read:
    // an array, of no more than MAX_ARRAY_SZ elements.
    int32_t array_fault(bool is_array, size_t size, const FieldDesc &field, path_node *path) {
        if (!is_array) return report_fixed(RMQC_ERR_DECODE, sink_, path, PATH_ARRAY, field.name, text::array_expected);
        if (size > MAX_ARRAY_SZ)
            return report_fixed(RMQC_ERR_DECODE, sink_, path, PATH_ARRAY, field.name, text::array_too_large);
        return RMQC_OK;
    }

    int32_t string(const FieldDesc &field, Value value, void *record, path_node *path) {
        if (!tree_.is_string(value))
            return report_fixed(RMQC_ERR_DECODE, sink_, path, PATH_FIELD, field.name, text::string_expected);
        if (field.kind == Kind::Enum && !tree_.is_one_of(value, *field.allowed)) {
            name_node(path->child, field.name, PATH_FIELD);
            return report_enum(RMQC_ERR_DECODE, sink_, path->child, *field.allowed, tree_.hint_text(value));
        }
        char *copy = nullptr;
        switch (tree_.copy_string(value, &copy)) {
            case Copy::Done: at<char *>(record, field.offset) = copy; return RMQC_OK;
            case Copy::NotString:  // text the source cannot read as jansson does
                return report_fixed(RMQC_ERR_DECODE, sink_, path, PATH_FIELD, field.name, text::string_expected);
            case Copy::NoMemory: break;
        }
        return report_fixed(RMQC_ERR_NOMEM, sink_, path, PATH_FIELD, field.name, text::string_alloc);
    }

    int32_t array(const FieldDesc &field, Value value, void *record, path_node *path) {
        size_t size = 0;
        const bool is_array = tree_.array_size(value, &size);
        if (int32_t fault = array_fault(is_array, size, field, path)) return fault;
        void *block = std::calloc(size, sizeof(int64_t));
        if (block == nullptr && size > 0)
            return report_fixed(RMQC_ERR_NOMEM, sink_, path, PATH_ARRAY, field.name, text::array_alloc);
        // The block and its count are stored before any element is read, so that
        // a release after a fault frees exactly what was copied.
        store_pointer(field_address(record, field), block);
        at<uint64_t>(record, field.count_offset) = size;

        int32_t first = RMQC_OK;
        int32_t status = tree_.each(value, [&](size_t i, Value item) -> int32_t {
            const int32_t index = static_cast<int32_t>(i);
            int32_t fault = RMQC_OK;
            if (field.kind == Kind::IntegerArray) {
                if (!tree_.integer(item, &static_cast<int64_t *>(block)[i]))
                    fault = report_fixed(RMQC_ERR_DECODE, sink_, path, index, field.name, text::integer_item_expected);
            } else {
                switch (tree_.copy_string(item, &static_cast<char **>(block)[i])) {
                    case Copy::Done: break;
                    case Copy::NotString:
                        fault =
                            report_fixed(RMQC_ERR_DECODE, sink_, path, index, field.name, text::string_item_expected);
                        break;
                    case Copy::NoMemory:
                        fault = report_fixed(RMQC_ERR_NOMEM, sink_, path, index, field.name, text::string_item_alloc);
                        break;
                }
            }
            return fault != RMQC_OK ? stop_after(sink_, fault, first) : RMQC_OK;
        });
        return status != RMQC_OK ? status : first;
    }

    int32_t list(const FieldDesc &field, Value value, void *record, int32_t depth, path_node *path,
                 uint32_t *match_count) {
        void *link = field_address(record, field);
        store_pointer(link, nullptr);
        size_t size = 0;
        const bool is_array = tree_.list_size(value, &size);
        if (int32_t fault = array_fault(is_array, size, field, path)) return fault;
        path_node *self = path->child;
        int32_t first = RMQC_OK;
        int32_t status = tree_.each(value, [&](size_t i, Value item) -> int32_t {
            name_node(self, field.name, static_cast<int32_t>(i));
            // Each element is linked before it is validated, so a failing element
            // is released with the list (and a walk that goes on links the next
            // one after it).
            int32_t fault = this->record(*field.nested, item, link, nullptr, depth + 1, self, match_count);
            if (fault != RMQC_OK) {
                if (int32_t stop = stop_after(sink_, fault, first)) return stop;
            }
            link = static_cast<char *>(load_pointer(link)) + field.nested->next_offset;
            return RMQC_OK;
        });
        return status != RMQC_OK ? status : first;
    }

    // The value of a union members' discriminator, looked up once for all the
    // members that share its name.
    struct Discriminator {
        const char *name = nullptr;
        Value value{};
    };

    // Whether the trial of `member` would fail on its first property having
    // decoded, allocated and written nothing but zeros: that property is a
    // required enum, and `value` is an object within the depth limit whose text
    // there is a string that is none of the allowed ones. Such a trial scores 0.
    bool fails_on_discriminator(const TypeDesc &member, Value value, int32_t depth, Discriminator &seen) {
        const FieldDesc *tag = discriminator(member);
        if (tag == nullptr || depth > MAX_CALL_DEPTH || !tree_.is_object(value)) return false;
        if (seen.name != tag->name && (seen.name == nullptr || std::strcmp(seen.name, tag->name) != 0)) {
            seen.name = tag->name;
            seen.value = tree_.member(value, tag->name);
        }
        return tree_.is_string(seen.value) && !tree_.is_one_of(seen.value, *tag->allowed);
    }

    // In a checking walk, the hint of a union whose members' discriminators
    // all refuse the value's text: the nearest of their allowed texts.
    const char *discriminator_hint(const UnionDesc &members, Value value) {
        if (!tree_.is_object(value)) return nullptr;
        Suggestion suggestion;
        for (uint32_t k = 0; k < members.count; ++k) {
            const FieldDesc *tag = discriminator(*members.types[k]);
            if (tag == nullptr) continue;
            Value text = tree_.member(value, tag->name);
            if (!tree_.is_string(text)) continue;
            if (tree_.is_one_of(text, *tag->allowed)) return nullptr;
            if (const char *written = tree_.hint_text(text)) suggestion.consider(*tag->allowed, written);
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
    // A trial's nodes hang under the union's node: its text starts at the
    // member's name, its pointer continues the union's.
    int32_t union_of(const FieldDesc &field, Value value, void *record, int32_t depth, path_node *path,
                     uint32_t *match_count) {
        void *storage = field_address(record, field);
        name_node(path->child, field.name, PATH_FIELD);
        Trials trials(*this, field, value, storage, depth, path->child);
        Discriminator seen;
        for (uint32_t k = 0; k < field.members->count; ++k) {
            if (trials_ == UnionTrials::Fast &&
                fails_on_discriminator(*field.members->types[k], value, depth + 1, seen)) {
                trials.passed_over(k);
                continue;
            }
            uint32_t count = 0;
            if (trials.run(k, &count, sink_.len == 0 && trials_ == UnionTrials::Fast ? 0 : TRIAL_BUFFER_SIZE)) {
                at<uint8_t>(record, field.tag_offset) = static_cast<uint8_t>(k + 1);
                *match_count += count + 1;
                return RMQC_OK;
            }
            // A source that refused the text itself fails every member alike.
            if (tree_.gave_up()) return RMQC_ERR_DECODE;
            trials.failed(k, count);
        }
        if (sink_.log != nullptr && trials.closest != Trials::NONE) {
            // A checking walk places the union's fault where the closest
            // member's fault points.
            UnionFault passed(sink_, path, field.name, discriminator_hint(*field.members, value));
            trials.retry(&passed);
            if (passed.done) return RMQC_ERR_DECODE;
        }
        return report_fixed(RMQC_ERR_DECODE, sink_, path, PATH_FIELD, field.name, trials.closest_line());
    }

    // The trials of a union's members and their closest failure so far: the
    // member that decoded the most properties before failing, the earliest
    // among equals, and the text of its failure, when the walk reports text.
    class Trials {
      public:
        static constexpr uint32_t NONE = UINT32_MAX;

        Trials(Walk &walk, const FieldDesc &field, Value value, void *storage, int32_t depth, path_node *self)
            : walk_(walk), field_(field), value_(value), storage_(storage), depth_(depth) {
            root_.parent = self;
        }

        // Member k's trial on a private buffer of `length` bytes (0: no text);
        // true when it decodes. A failed trial leaves nothing behind.
        bool run(uint32_t k, uint32_t *count, uint64_t length, FaultLog *log = nullptr) {
            const TypeDesc &member = *field_.members->types[k];
            root_.name = member.name;
            root_.child = nullptr;
            text_[0] = '\0';
            text_length_ = length;
            Walk trial(walk_.tree_, FaultSink{text_, length, log}, walk_.trials_);
            if (trial.record(member, value_, nullptr, storage_, depth_ + 1, &root_, count) == RMQC_OK) return true;
            release_record(member, storage_);
            return false;
        }

        void failed(uint32_t k, uint32_t count) {
            if (static_cast<int64_t>(count) <= score_) return;
            if (text_length_ != 0) bounded_format(line_, sizeof line_, text::union_closest, text_);
            consider(k, count, false);
        }

        // A member whose discriminator names another: its trial would score 0.
        void passed_over(uint32_t k) {
            if (score_ < 0) consider(k, 0, true);
        }

        // The closest member's trial once more, for its text or, in a checking
        // walk, for its fault.
        void retry(FaultLog *log) {
            uint32_t count = 0;
            // It fails again, unless what failed it was memory running out: what
            // it made is released then, as it will not be kept.
            if (run(closest, &count, TRIAL_BUFFER_SIZE, log)) release_record(*field_.members->types[closest], storage_);
            if (log == nullptr) bounded_format(line_, sizeof line_, text::union_closest, text_);
        }

        // "No match for union, closest failure: ..." of the closest member. A
        // member passed over is tried only now, for its text: it touches
        // nothing and allocates nothing, so it fails exactly as it would have
        // in turn.
        const char *closest_line() {
            if (passed_ && walk_.sink_.len != 0) retry(nullptr);
            return line_;
        }

        uint32_t closest = NONE;

      private:
        void consider(uint32_t k, uint32_t count, bool passed) {
            score_ = count;
            closest = k;
            passed_ = passed;
        }

        Walk &walk_;
        const FieldDesc &field_;
        Value value_;
        void *storage_;
        int32_t depth_;
        path_node root_ = root_node(nullptr);
        int64_t score_ = -1;
        bool passed_ = false;  // whether the closest member was passed over
        char text_[TRIAL_BUFFER_SIZE];
        uint64_t text_length_ = 0;
        char line_[TRIAL_BUFFER_SIZE] = "";
    };

    // A required property that `object` lacks. A checking walk hints at it
    // when the object holds a key its type does not know within two edits of
    // its name (or differing in case): a misspelt name, most likely.
    int32_t missing(const TypeDesc &type, const FieldDesc &field, Value object, path_node *path) {
        if (sink_.len == 0 && sink_.log == nullptr) return RMQC_ERR_DECODE;
        char detail[DETAIL_SIZE];
        bounded_format(detail, sizeof detail, text::required_missing, field.name);
        const char *hint = nullptr;
        if constexpr (requires { tree_.each_key(object, [](const char *) {}); }) {
            if (sink_.log != nullptr)
                tree_.each_key(object, [&](const char *key) {
                    Suggestion near;
                    near.consider(field.name, key);
                    if (near.best != nullptr && !has_property(type, key)) hint = field.name;
                });
        }
        return report_fixed(RMQC_ERR_DECODE, sink_, path, property_index(field), field.name, detail, true, hint);
    }

    // A property the object has.
    int32_t property(const FieldDesc &field, Value value, void *record, int32_t depth, path_node *path,
                     uint32_t *match_count) {
        // Flagged before any check, so a record that failed on this
        // property still records it as present.
        if (!field.required) at<uint8_t>(record, field.present_offset) = 1;

        int32_t status = RMQC_OK;
        switch (field.kind) {
            case Kind::String:
            case Kind::Enum: status = string(field, value, record, path); break;
            case Kind::Boolean:
                if (!tree_.boolean(value, &at<int32_t>(record, field.offset)))
                    return report_fixed(RMQC_ERR_DECODE, sink_, path, PATH_FIELD, field.name, text::boolean_expected);
                break;
            case Kind::Integer:
                if (!tree_.integer(value, &at<int64_t>(record, field.offset)))
                    return report_fixed(RMQC_ERR_DECODE, sink_, path, PATH_FIELD, field.name, text::integer_expected);
                break;
            case Kind::StringArray:
            case Kind::IntegerArray: status = array(field, value, record, path); break;
            case Kind::Record:
            case Kind::RecordPointer: {
                void *slot = field_address(record, field);
                path_node *self = path->child;
                name_node(self, field.name, PATH_FIELD);
                status = field.kind == Kind::RecordPointer
                             ? this->record(*field.nested, value, slot, nullptr, depth + 1, self, match_count)
                             : this->record(*field.nested, value, nullptr, slot, depth + 1, self, match_count);
                break;
            }
            case Kind::List: status = list(field, value, record, depth, path, match_count); break;
            case Kind::Union:
                // The union adds its member's count and its own 1 on success.
                return union_of(field, value, record, depth, path, match_count);
        }
        if (status == RMQC_OK) ++*match_count;
        return status;
    }

    Tree &tree_;
    FaultSink sink_;
    UnionTrials trials_;
};

}  // namespace jsoncodec::detail
