// The decoding walker, generic over the source it reads.
//
// A source adapter (a "tree") gives the walker read access to one kind of
// parsed or unparsed JSON; the walker itself, with its order of checks, its
// messages and its match counts, is the same for every source. The source
// decides the order in which a record's properties are visited: jansson's
// tree in record order, the text reader in document order (its missing
// properties at the closing brace). The contract of a source is the concept
// DecodeSource below:
//
//   Value                    a cheap handle of a JSON value, or of none
//   absent(v), is_object(v)
//   properties(type, object, f, unknown)
//                            f(i, value) once for each property i that the
//                            object has, and f(i, absent) for each required
//                            one it lacks (for an optional one it may, or
//                            not: that does nothing); stops at and returns
//                            the first nonzero f returns, or a refusal of the
//                            source's own. unknown(key, place) for each key
//                            the type does not know, unless `unknown` is
//                            nullptr. A value f reported a fault on and
//                            did not read is passed over.
//   member(object, name)     one property's value, or absent
//   each_key(object, f)      f(key) for each key of the object
//   is_string(v)
//   is_one_of(v, allowed)    whether the string v is one of an enum's texts
//   hint_text(v)             the string's text, NUL-terminated, for hints; NULL
//                            when the source cannot give it
//   copy_string(v, &copy)    an owned copy of the string's text
//   check_string(v)          the same check, without the copy
//   boolean(v, &out), integer(v, &out)
//                            false when v is not of that kind
//   array_size(v, &size)     false when v is not an array; its element count
//   list_size(v, &size)      the same, or 0 when the count would cost a pass
//                            over the elements (each() then refuses an array
//                            past MAX_ARRAY_SZ elements itself)
//   each(array, f)           f(index, item) for every element in order, until
//                            f returns nonzero, which is returned
//   place(v)                 the bytes of v's token in the text (for a
//                            container, its opening bracket), or none
//   gave_up()                whether the source has refused the document
//                            itself, so that nothing more is worth trying
//
// The walker builds the records it decodes, or (`Builds` false: a checking
// walk) builds none and only finds what is wrong, as serde's IgnoredAny
// visits a value to keep nothing of it.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "engine_internal.h"
#include "kept_faults.h"

namespace jsoncodec::detail {

// What copy_string made of a value.
enum class Copy : uint8_t { Done, NotString, NoMemory };

// The bytes [begin, end) of a token in the text; -1 when the source does not
// know them.
struct Place {
    int64_t begin = -1;
    int64_t end = -1;
};

template <class T>
concept DecodeSource = requires(T &tree, typename T::Value v, const TypeDesc &type, const EnumDesc &allowed,
                                char **copy, int32_t *flag, int64_t *number, size_t *size) {
    { tree.absent(v) } -> std::same_as<bool>;
    { tree.is_object(v) } -> std::same_as<bool>;
    {
        tree.properties(
            type, v, [](uint32_t, typename T::Value) { return int32_t{0}; }, nullptr)
        } -> std::same_as<int32_t>;
    {
        tree.properties(
            type, v, [](uint32_t, typename T::Value) { return int32_t{0}; }, [](const char *, Place) {})
        } -> std::same_as<int32_t>;
    { tree.member(v, "name") } -> std::same_as<typename T::Value>;
    tree.each_key(v, [](const char *) {});
    { tree.is_string(v) } -> std::same_as<bool>;
    { tree.is_one_of(v, allowed) } -> std::same_as<bool>;
    { tree.hint_text(v) } -> std::same_as<const char *>;
    { tree.copy_string(v, copy) } -> std::same_as<Copy>;
    { tree.check_string(v) } -> std::same_as<Copy>;
    { tree.boolean(v, flag) } -> std::same_as<bool>;
    { tree.integer(v, number) } -> std::same_as<bool>;
    { tree.array_size(v, size) } -> std::same_as<bool>;
    { tree.list_size(v, size) } -> std::same_as<bool>;
    {
        tree.each(v, [](size_t, typename T::Value) { return int32_t{0}; })
        } -> std::same_as<int32_t>;
    { tree.place(v) } -> std::same_as<Place>;
    { tree.gave_up() } -> std::same_as<bool>;
};

// One decoding walk over a source: the source, the sink every fault of the
// walk is reported into, and the walk's mode. A union's trials walk with a
// sink of their own.
template <DecodeSource Tree, bool Builds = true>
class Walk {
  public:
    using Value = typename Tree::Value;

    Walk(Tree &tree, FaultSink sink, const WalkMode &mode) : tree_(tree), sink_(sink), mode_(mode) {}

    // decode_record over this source. A checking walk (Builds false) touches
    // no record: `out_new` and `into` are not used.
    //
    // *match_count gains the properties decoded before the record's first
    // fault in record order, whatever order the source visits them in: a
    // walk that goes on past faults (a checking walk's) keeps each
    // property's count and adds those that come before the first faulty
    // property in the record's order, and that one's own count.
    int32_t record(const TypeDesc &type, Value value, void *out_new, void *into, int32_t depth, path_node *path,
                   uint32_t *match_count) {
        path_node self = enter_node(path);
        path->child = &self;

        void *record = nullptr;
        if constexpr (Builds) {
            record = into;
            if (out_new != nullptr) {
                record = std::malloc(type.size);
                store_pointer(out_new, record);
                if (record == nullptr)
                    return report_fixed(RMQC_ERR_NOMEM, here(), path, 0, nullptr, text::record_alloc);
            }
            std::memset(record, 0, type.size);
        }
        if (!tree_.is_object(value))
            return report(RMQC_ERR_DECODE, placed(value), path, 0, nullptr, text::object_expected, type.name);
        if (depth > MAX_CALL_DEPTH)
            return report_fixed(RMQC_ERR_OTHER, placed(value), path, 0, nullptr, text::decode_depth);

        const uint32_t level = levels_++;
        int32_t first = RMQC_OK;
        uint32_t counts[MAX_FIELDS];
        uint64_t decoded = 0;
        uint32_t faulty = MAX_FIELDS, faulty_count = 0;
        auto each_property = [&](uint32_t i, Value item) -> int32_t {
            const FieldDesc &field = type.fields[i];
            if (level < ORDER_DEPTH) order_[level] = i;
            int32_t fault = RMQC_OK;
            uint32_t count = 0;
            if (!tree_.absent(item))
                fault = property(field, item, record, depth, path, Builds ? match_count : &count);
            else if (field.required)
                fault = missing(type, field, value, path);
            if constexpr (!Builds) {
                if (fault == RMQC_OK) {
                    counts[i] = count;
                    decoded |= uint64_t{1} << i;
                } else if (i < faulty) {
                    faulty = i;
                    faulty_count = count;
                }
            }
            return fault != RMQC_OK ? stop_after(fault, first) : RMQC_OK;
        };
        int32_t status;
        if (mode_.unknown_properties && sink_.log != nullptr) {
            status = tree_.properties(type, value, each_property, [&](const char *key, Place place) {
                FaultSink sink = sink_;
                sink.begin = place.begin;
                sink.end = place.end;
                report_unknown(sink, type, key, path);
            });
        } else {
            status = tree_.properties(type, value, each_property, nullptr);
        }
        levels_ = level;
        if constexpr (!Builds) {
            const uint64_t before = faulty == MAX_FIELDS ? ~uint64_t{0} : (uint64_t{1} << faulty) - 1;
            uint32_t total = faulty == MAX_FIELDS ? 0 : faulty_count;
            for (uint64_t ok = decoded & before; ok != 0; ok &= ok - 1) total += counts[__builtin_ctzll(ok)];
            *match_count += total;
        }
        return status != RMQC_OK ? status : first;
    }

  private:
    // The sink, with the place of `value` for the log.
    FaultSink placed(Value value) {
        FaultSink sink = here();
        if (sink.log != nullptr) {
            const Place place = tree_.place(value);
            sink.begin = place.begin;
            sink.end = place.end;
        }
        return sink;
    }

    // The sink, with the walk's place in record order for the log.
    FaultSink here() {
        FaultSink sink = sink_;
        sink.order = order_;
        sink.order_length = levels_ < ORDER_DEPTH ? levels_ : ORDER_DEPTH;
        return sink;
    }

    // After a fault of `status` (not 0) in a sequence of values whose first
    // fault so far is `first`: 0 when the walk goes on to report the next (a
    // walk that wants every fault does after a decoding fault, leaving the
    // value as if absent), else the status to return, the first fault's.
    int32_t stop_after(int32_t status, int32_t &first) const {
        if (first == RMQC_OK) first = status;
        if (status == RMQC_ERR_DECODE && mode_.every_fault && (sink_.log == nullptr || !sink_.log->halted))
            return RMQC_OK;
        return first;
    }

    // An element of an array or a list: its index is a level of the place in
    // record order while it is read.
    class Element {
      public:
        Element(Walk &walk, size_t index) : walk_(walk), level_(walk.levels_++) {
            if (level_ < ORDER_DEPTH) walk.order_[level_] = static_cast<uint32_t>(index);
        }
        ~Element() { walk_.levels_ = level_; }
        Element(const Element &) = delete;
        Element &operator=(const Element &) = delete;

      private:
        Walk &walk_;
        const uint32_t level_;
    };

    // What an array's or a list's value must be before any element is read:
    // an array, of no more than MAX_ARRAY_SZ elements.
    int32_t array_fault(Value value, bool is_array, size_t size, const FieldDesc &field, path_node *path) {
        if (!is_array)
            return report_fixed(RMQC_ERR_DECODE, placed(value), path, PATH_ARRAY, field.name, text::array_expected);
        if (size > MAX_ARRAY_SZ)
            return report_fixed(RMQC_ERR_DECODE, placed(value), path, PATH_ARRAY, field.name, text::array_too_large);
        return RMQC_OK;
    }

    // The text of the string `value`, copied into *copy by a building walk,
    // only read by a checking one.
    Copy take_string(Value value, char **copy) {
        if constexpr (Builds)
            return tree_.copy_string(value, copy);
        else
            return tree_.check_string(value);
    }

    int32_t string(const FieldDesc &field, Value value, void *record, path_node *path) {
        if (!tree_.is_string(value))
            return report_fixed(RMQC_ERR_DECODE, placed(value), path, PATH_FIELD, field.name, text::string_expected);
        if (field.kind == Kind::Enum && !tree_.is_one_of(value, *field.allowed)) {
            name_node(path->child, field.name, PATH_FIELD);
            return report_enum(RMQC_ERR_DECODE, placed(value), path->child, *field.allowed, tree_.hint_text(value));
        }
        char *copy = nullptr;
        const Copy copied = take_string(value, &copy);
        if (copied == Copy::Done) {
            if constexpr (Builds) at<char *>(record, field.offset) = copy;
            return RMQC_OK;
        }
        if (copied == Copy::NotString)  // text the source cannot read as jansson does
            return report_fixed(RMQC_ERR_DECODE, placed(value), path, PATH_FIELD, field.name, text::string_expected);
        return report_fixed(RMQC_ERR_NOMEM, placed(value), path, PATH_FIELD, field.name, text::string_alloc);
    }

    int32_t array(const FieldDesc &field, Value value, void *record, path_node *path) {
        size_t size = 0;
        const bool is_array = tree_.array_size(value, &size);
        if (int32_t fault = array_fault(value, is_array, size, field, path)) return fault;
        void *block = nullptr;
        if constexpr (Builds) {
            block = std::calloc(size, sizeof(int64_t));
            if (block == nullptr && size > 0)
                return report_fixed(RMQC_ERR_NOMEM, placed(value), path, PATH_ARRAY, field.name, text::array_alloc);
            // The block and its count are stored before any element is read, so
            // that a release after a fault frees exactly what was copied.
            store_pointer(field_address(record, field), block);
            at<uint64_t>(record, field.count_offset) = size;
        }

        int32_t first = RMQC_OK;
        int32_t status = tree_.each(value, [&](size_t i, Value item) -> int32_t {
            const int32_t index = static_cast<int32_t>(i);
            Element element(*this, i);
            int32_t fault = RMQC_OK;
            if (field.kind == Kind::IntegerArray) {
                int64_t number;
                if (!tree_.integer(item, Builds ? &static_cast<int64_t *>(block)[i] : &number))
                    fault = report_fixed(RMQC_ERR_DECODE, placed(item), path, index, field.name,
                                         text::integer_item_expected);
            } else {
                char *text = nullptr;
                const Copy copied = take_string(item, &text);
                if (copied == Copy::Done) {
                    if constexpr (Builds) static_cast<char **>(block)[i] = text;
                } else if (copied == Copy::NotString) {
                    fault = report_fixed(RMQC_ERR_DECODE, placed(item), path, index, field.name,
                                         text::string_item_expected);
                } else {
                    fault =
                        report_fixed(RMQC_ERR_NOMEM, placed(item), path, index, field.name, text::string_item_alloc);
                }
            }
            return fault != RMQC_OK ? stop_after(fault, first) : RMQC_OK;
        });
        return status != RMQC_OK ? status : first;
    }

    int32_t list(const FieldDesc &field, Value value, void *record, int32_t depth, path_node *path,
                 uint32_t *match_count) {
        void *link = nullptr;
        if constexpr (Builds) {
            link = field_address(record, field);
            store_pointer(link, nullptr);
        }
        size_t size = 0;
        const bool is_array = tree_.list_size(value, &size);
        if (int32_t fault = array_fault(value, is_array, size, field, path)) return fault;
        path_node *self = path->child;
        int32_t first = RMQC_OK;
        bool faulted = false;
        int32_t status = tree_.each(value, [&](size_t i, Value item) -> int32_t {
            name_node(self, field.name, static_cast<int32_t>(i));
            Element element(*this, i);
            // Each element is linked before it is validated, so a failing element
            // is released with the list (and a walk that goes on links the next
            // one after it). A checking walk counts the elements before the first
            // faulty one, and that one's own count.
            uint32_t count = 0;
            int32_t fault =
                this->record(*field.nested, item, link, nullptr, depth + 1, self, Builds ? match_count : &count);
            if constexpr (!Builds) {
                if (!faulted) *match_count += count;
                faulted = faulted || fault != RMQC_OK;
            }
            if (fault != RMQC_OK) {
                if (int32_t stop = stop_after(fault, first)) return stop;
            }
            if constexpr (Builds) link = static_cast<char *>(load_pointer(link)) + field.nested->next_offset;
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

    // In a checking walk, when the members' discriminators all refuse the
    // value's text: the nearest of their allowed texts as the hint, and in
    // `kinds` what the discriminator may name, every allowed text once.
    const char *discriminator_hint(const UnionDesc &members, Value value, char *kinds, size_t size) {
        kinds[0] = '\0';
        if (!tree_.is_object(value)) return nullptr;
        Suggestion suggestion;
        const FieldDesc *named = nullptr;
        for (uint32_t k = 0; k < members.count; ++k) {
            const FieldDesc *tag = discriminator(*members.types[k]);
            if (tag == nullptr) continue;
            Value text = tree_.member(value, tag->name);
            if (!tree_.is_string(text)) continue;
            if (tree_.is_one_of(text, *tag->allowed)) return nullptr;
            if (const char *written = tree_.hint_text(text)) suggestion.consider(*tag->allowed, written);
            named = tag;
        }
        if (named == nullptr) return nullptr;
        BoundedText list(kinds, size);
        list.put('\'');
        list.append(named->name);
        list.append("' is one of: ");
        bool any = false;
        for (uint32_t k = 0; k < members.count; ++k) {
            const FieldDesc *tag = discriminator(*members.types[k]);
            if (tag == nullptr || std::strcmp(tag->name, named->name) != 0) continue;
            for (uint32_t v = 0; v < tag->allowed->count; ++v) {
                const char *kind = tag->allowed->values[v];
                bool told = false;
                for (uint32_t j = 0; j < k && !told; ++j) {
                    const FieldDesc *earlier = discriminator(*members.types[j]);
                    told = earlier != nullptr && enum_allows(*earlier->allowed, kind);
                }
                if (told) continue;
                if (any) list.append(", ");
                list.put('\'');
                list.append(kind);
                list.put('\'');
                any = true;
            }
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
    //
    // In a walk that reports to a log, the closest member is tried once more
    // when nothing matched, every fault of it kept: the first in record order
    // is the union's fault (its line the export's), the others its notes.
    int32_t union_of(const FieldDesc &field, Value value, void *record, int32_t depth, path_node *path,
                     uint32_t *match_count) {
        void *storage = Builds ? field_address(record, field) : nullptr;
        name_node(path->child, field.name, PATH_FIELD);
        Trials trials(*this, field, value, storage, depth, path->child);
        Discriminator seen;
        for (uint32_t k = 0; k < field.members->count; ++k) {
            if (mode_.trials == UnionTrials::Fast &&
                fails_on_discriminator(*field.members->types[k], value, depth + 1, seen)) {
                trials.passed_over(k);
                continue;
            }
            uint32_t count = 0;
            if (trials.run(k, &count)) {
                if constexpr (Builds) at<uint8_t>(record, field.tag_offset) = static_cast<uint8_t>(k + 1);
                *match_count += count + 1;
                return RMQC_OK;
            }
            // A source that refused the text itself fails every member alike.
            if (tree_.gave_up()) return RMQC_ERR_DECODE;
            trials.failed(k, count);
        }
        if (sink_.log != nullptr && sink_.log->wants_faults && trials.closest != Trials::NONE) {
            char kinds[FAULT_LINE_SIZE];
            const char *hint = discriminator_hint(*field.members, value, kinds, sizeof kinds);
            UnionFault passed;
            trials.retry(&passed);
            if (tree_.gave_up()) return RMQC_ERR_DECODE;
            if (int32_t status = passed.report(here(), path, field.name, hint, kinds[0] != '\0' ? kinds : nullptr,
                                               mode_.every_fault))
                return status;
        }
        if (!Builds && sink_.len == 0) return RMQC_ERR_DECODE;  // a trial's: nobody reads its text
        return report_fixed(RMQC_ERR_DECODE, placed(value), path, PATH_FIELD, field.name, trials.closest_line());
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

        // Member k's trial; true when it decodes. A failed trial leaves nothing
        // behind. A building walk's trial stops at its first fault, the line of
        // which it keeps when the walk reports text; a checking walk's goes on
        // to the member's end, to count in record order, and keeps no text. A
        // matching trial's warnings are passed on.
        bool run(uint32_t k, uint32_t *count) {
            const uint64_t length =
                Builds && (walk_.sink_.len != 0 || walk_.mode_.trials == UnionTrials::Literal) ? TRIAL_BUFFER_SIZE : 0;
            WalkMode mode = walk_.mode_;
            mode.every_fault = !Builds;
            // A trial without a log reports no warnings, whatever its mode says.
            if (!mode.unknown_properties || walk_.sink_.log == nullptr) return attempt(k, count, length, nullptr, mode);
            HeldWarnings held;
            if (!attempt(k, count, length, &held, mode)) return false;
            held.kept.replay(*walk_.sink_.log);
            return true;
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

        // The closest member's trial once more: for its text, or every fault of
        // it for `log`.
        void retry(FaultLog *log) {
            uint32_t count = 0;
            WalkMode mode = walk_.mode_;
            mode.every_fault = log != nullptr;
            mode.unknown_properties = false;
            // It fails again, unless what failed it was memory running out: what
            // it made is released then, as it will not be kept.
            if (attempt(closest, &count, log != nullptr ? FAULT_LINE_SIZE : TRIAL_BUFFER_SIZE, log, mode))
                release(closest);
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
        bool attempt(uint32_t k, uint32_t *count, uint64_t length, FaultLog *log, const WalkMode &mode) {
            const TypeDesc &member = *field_.members->types[k];
            root_.name = member.name;
            root_.child = nullptr;
            text_[0] = '\0';
            text_length_ = length;
            Walk trial(walk_.tree_, FaultSink{text_, length, log}, mode);
            if (trial.record(member, value_, nullptr, storage_, depth_ + 1, &root_, count) == RMQC_OK) return true;
            release(k);
            return false;
        }

        void release(uint32_t k) {
            if constexpr (Builds) release_record(*field_.members->types[k], storage_);
        }

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
        char text_[FAULT_LINE_SIZE];
        uint64_t text_length_ = 0;
        char line_[TRIAL_BUFFER_SIZE] = "";
    };

    // A required property that `object` lacks. A walk with a log hints at it
    // when the object holds a key its type does not know within two edits of
    // its name (or differing in case): a misspelt name, most likely.
    int32_t missing(const TypeDesc &type, const FieldDesc &field, Value object, path_node *path) {
        if (sink_.len == 0 && (sink_.log == nullptr || !sink_.log->wants_faults)) return RMQC_ERR_DECODE;
        char detail[DETAIL_SIZE];
        bounded_format(detail, sizeof detail, text::required_missing, field.name);
        const char *hint = nullptr;
        if (sink_.log != nullptr && sink_.log->wants_faults)
            tree_.each_key(object, [&](const char *key) {
                Suggestion near;
                near.consider(field.name, key);
                if (near.best != nullptr && !has_property(type, key)) hint = field.name;
            });
        return report_fixed(RMQC_ERR_DECODE, placed(object), path, property_index(field), field.name, detail, true,
                            hint);
    }

    // A property the object has.
    int32_t property(const FieldDesc &field, Value value, void *record, int32_t depth, path_node *path,
                     uint32_t *match_count) {
        // Flagged before any check, so a record that failed on this
        // property still records it as present.
        if constexpr (Builds)
            if (!field.required) at<uint8_t>(record, field.present_offset) = 1;

        int32_t status = RMQC_OK;
        switch (field.kind) {
            case Kind::String:
            case Kind::Enum: status = string(field, value, record, path); break;
            case Kind::Boolean: {
                int32_t flag;
                if (!tree_.boolean(value, Builds ? &at<int32_t>(record, field.offset) : &flag))
                    return report_fixed(RMQC_ERR_DECODE, placed(value), path, PATH_FIELD, field.name,
                                        text::boolean_expected);
                break;
            }
            case Kind::Integer: {
                int64_t number;
                if (!tree_.integer(value, Builds ? &at<int64_t>(record, field.offset) : &number))
                    return report_fixed(RMQC_ERR_DECODE, placed(value), path, PATH_FIELD, field.name,
                                        text::integer_expected);
                break;
            }
            case Kind::StringArray:
            case Kind::IntegerArray: status = array(field, value, record, path); break;
            case Kind::Record:
            case Kind::RecordPointer: {
                void *slot = Builds ? field_address(record, field) : nullptr;
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
    const WalkMode &mode_;
    // The walk's place in record order: the positions of the properties and
    // elements that lead to the value being read.
    uint32_t order_[ORDER_DEPTH];
    uint32_t levels_ = 0;
};

}  // namespace jsoncodec::detail
