// The one-pass reader: decodes a document's text straight into its records,
// for the documents it reads exactly as jansson does.
//
// jansson decides every refusal. The reader only ever says "this document
// decodes, and here is its tree" or "not here": a document that jansson
// would refuse or read otherwise, that the reader leaves to jansson (see
// json_text.h), or that the schema refuses ends the attempt with everything
// it built released, and the export decodes it again through jansson,
// which gives the status and the line.
//
// The walker (decoder.h) drives the reader through the record tables: a
// value is a position in the text, a record's properties come in the order
// the document lists them, and values the schema does not know are checked
// and skipped. A union's trial reads its object again from its start. The
// reader's working memory is on the stack and bounded by the nesting
// depth; it allocates nothing but the blocks of the tree it returns.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "decoder.h"
#include "exports.h"
#include "json_text.h"

namespace jsoncodec {

namespace {

using namespace detail;
using namespace json_text;

// Whether the key whose opening quote is at `p` is the name of `field`
// written plainly: the name's bytes, then the closing quote. Compared a
// word at a time: names are short and often share their first letters, and
// a call of memcmp costs more than the comparison.
bool key_is(const FieldDesc &field, const char *p, const char *end) {
    const size_t length = field.name_length;
    if (static_cast<size_t>(end - p) < length + 2) return false;
    const char *chars = p + 1;
    if (chars[length] != '"') return false;  // most other names are of another length
    auto same_word = [&](size_t i) {
        uint64_t a, b;
        std::memcpy(&a, field.name + i, 8);
        std::memcpy(&b, chars + i, 8);
        return a == b;
    };
    if (length < 8) {
        for (size_t i = 0; i < length; ++i)
            if (field.name[i] != chars[i]) return false;
        return true;
    }
    // Whole words, the last one overlapping the one before it.
    for (size_t i = 0; i + 8 < length; i += 8)
        if (!same_word(i)) return false;
    return same_word(length - 8);
}

// The position of the property named `key` (written without escapes) in
// `type`, or NO_OFFSET, by a search of the table's name order.
uint32_t find_property(const TypeDesc &type, const StringToken &key) {
    uint32_t low = 0, high = type.field_count;
    while (low < high) {
        const uint32_t middle = (low + high) / 2;
        const FieldDesc &field = type.fields[type.by_name[middle]];
        int order = std::memcmp(field.name, key.chars, std::min<size_t>(field.name_length, key.length));
        if (order == 0) {
            if (field.name_length == key.length) return type.by_name[middle];
            order = field.name_length < key.length ? -1 : 1;
        }
        if (order < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return NO_OFFSET;
}

// The walker's view of a document's text. A value is the position of its
// first character; each value the walker reads leaves the position past it
// in next_.
class TextTree {
  public:
    using Value = const char *;

    TextTree(const char *begin, const char *end) : begin_(begin), end_(end) {}

    const char *next() const { return next_; }
    bool gave_up() const { return gave_up_; }

    static bool absent(Value v) { return v == nullptr; }
    static bool is_object(Value v) { return v != nullptr && *v == '{'; }
    static bool is_string(Value v) { return v != nullptr && *v == '"'; }

    // The bytes of the token at `v`: a string's or a scalar's whole, a
    // container's opening bracket. The walker asks only for values present.
    Place place(Value v) const {
        const char *end = v + 1;
        if (*v == '"') {
            end = pass_string(v, end_);
            if (end == nullptr) end = end_;
        } else if (*v != '{' && *v != '[') {
            while (end < end_ && !is_blank(*end) && *end != ',' && *end != '}' && *end != ']') ++end;
        }
        return Place{v - begin_, end - begin_};
    }

    // The text of the string at `v`, for hints: NULL when it is not one or
    // longer than any allowed text.
    const char *hint_text(Value v) {
        StringToken token;
        if (!is_string(v) || !scan_string(v, end_, &token) || token.length > LONGEST_ENUM_TEXT) return nullptr;
        unescape(token, hint_);
        hint_[token.length] = '\0';
        return hint_;
    }

    template <class F, class U>
    int32_t properties(const TypeDesc &type, Value object, F &&f, U &&unknown) {
        Scope scope(*this);
        uint64_t seen = 0;
        uint32_t expected = 0;
        const char *p = skip_blanks(object + 1);
        if (*p != '}') {
            // The object's members lie one level deeper than the object. The
            // walker opens only the records and arrays of the schema, whose
            // nesting stays far below jansson's depth; the check stands so that
            // no record table could make the reader go deeper than jansson.
            if (open_ + 2 > MAX_DEPTH) return refuse();
            ++open_;
            for (;;) {
                if (*p != '"') return refuse();
                // Documents mostly list properties in record order, some of them
                // absent: the properties after the last one found are tried first,
                // against the text as it stands.
                uint32_t i = expected;
                while (i < type.field_count && !key_is(type.fields[i], p, end_)) ++i;
                StringToken key;
                if (i < type.field_count) {
                    p += type.fields[i].name_length + 2;
                } else {
                    if (!scan_string(p, end_, &key) || key.escaped) return refuse();
                    p = key.end;
                    i = find_property(type, key);
                }
                p = skip_blanks(p);
                if (*p != ':') return refuse();
                p = skip_blanks(p + 1);
                if (i == NO_OFFSET) {
                    if (!keys_.add(scope.mark, key)) return refuse();
                    if constexpr (!std::is_null_pointer_v<std::remove_cvref_t<U>>) {
                        const Place at{key.chars - 1 - begin_, key.end - begin_};
                        with_text(key, [&](const char *text) { unknown(text, at); });
                    }
                    if ((p = skip_value(p, end_, open_ + 1, &keys_)) == nullptr) return refuse();
                } else {
                    if ((seen >> i & 1) != 0) return refuse();  // a repeated key
                    seen |= uint64_t{1} << i;
                    expected = i + 1;
                    if ((p = value(p, [&] { return f(i, p); })) == nullptr) return status_;
                }
                p = skip_blanks(p);
                if (*p == '}') break;
                if (*p != ',') return refuse();
                p = skip_blanks(p + 1);
            }
        }
        const char *after = p + 1;
        // The required properties the object does not have, in record order
        // (an absent optional one needs nothing).
        for (uint64_t missing = type.required & ~seen; missing != 0; missing &= missing - 1)
            if (int32_t status = f(static_cast<uint32_t>(__builtin_ctzll(missing)), nullptr)) return status;
        next_ = after;
        return RMQC_OK;
    }

    // The value of the first property named `name`, found by a scan of the
    // object's keys that skips their values; absent when there is none, or
    // the scan stops at text the reader refuses (the member's trial then
    // refuses it).
    Value member(Value object, const char *name) {
        Scope scope(*this);
        const size_t length = std::strlen(name);
        Value found = nullptr;
        each_member(object, end_, [&](const StringToken &key, const char *value) -> const char * {
            if (!key.escaped && key.length == length && std::memcmp(key.chars, name, length) == 0) {
                found = value;
                return nullptr;
            }
            return skip_value(value, end_, open_ + 2, nullptr);
        });
        return found;
    }

    bool is_one_of(Value v, const EnumDesc &allowed) {
        StringToken token;
        char text[LONGEST_ENUM_TEXT + 1];
        if (!scan_string(v, end_, &token) || token.length > LONGEST_ENUM_TEXT) {
            gave_up_ = true;
            return false;
        }
        const char *chars = token.chars;
        if (token.escaped) {
            unescape(token, text);
            chars = text;
        }
        for (uint32_t i = 0; i < allowed.count; ++i) {
            // The texts hold no NUL, so a candidate that ends early differs there.
            const char *candidate = allowed.values[i];
            size_t k = 0;
            while (k < token.length && candidate[k] == chars[k]) ++k;
            if (k == token.length && candidate[k] == '\0') return true;
        }
        return false;
    }

    Copy check_string(Value v) {
        StringToken token;
        if (!is_string(v)) return Copy::NotString;
        if (!scan_string(v, end_, &token)) {
            gave_up_ = true;
            return Copy::NotString;
        }
        next_ = token.end;
        return Copy::Done;
    }

    // f(key) for each key of the object written without escapes, as far as
    // the reader can read the object.
    template <class F>
    void each_key(Value object, F &&f) {
        Scope scope(*this);
        each_member(object, end_, [&](const StringToken &key, const char *value) {
            if (!key.escaped) with_text(key, f);
            return skip_value(value, end_, open_ + 2, nullptr);
        });
    }

    Copy copy_string(Value v, char **copy) {
        StringToken token;
        if (!is_string(v)) return Copy::NotString;
        if (!scan_string(v, end_, &token)) {
            gave_up_ = true;
            return Copy::NotString;
        }
        char *text = static_cast<char *>(std::malloc(token.length + 1));
        if (text == nullptr) return Copy::NoMemory;
        unescape(token, text);
        text[token.length] = '\0';
        *copy = text;
        next_ = token.end;
        return Copy::Done;
    }

    // The readers of scalars and arrays below are given present values only:
    // the walker asks for an absent property's value nowhere.
    bool boolean(Value v, int32_t *out) {
        const char *p = nullptr;
        if (*v == 't' && (p = scan_literal(v, "true", 4)) != nullptr) {
            *out = 1;
        } else if (*v == 'f' && (p = scan_literal(v, "false", 5)) != nullptr) {
            *out = 0;
        } else {
            return false;
        }
        next_ = p;
        return true;
    }

    bool integer(Value v, int64_t *out) {
        if (*v != '-' && (*v < '0' || *v > '9')) return false;
        bool is_integer = false;
        int64_t value = 0;
        const char *p = scan_number(v, &is_integer, &value);
        if (p == nullptr) {
            gave_up_ = true;
            return false;
        }
        if (!is_integer) return false;
        *out = value;
        next_ = p;
        return true;
    }

    // Counts the elements without reading them into anything. A string is
    // passed by its quotes alone: each() reads every element after this, and
    // checks it then.
    bool array_size(Value v, size_t *size) {
        if (*v != '[') return false;
        Scope scope(*this);
        size_t count = 0;
        const char *p = skip_blanks(v + 1);
        if (*p != ']') {
            for (;;) {
                p = *p == '"' ? pass_string(p, end_) : skip_value(p, end_, open_ + 2, nullptr);
                if (p == nullptr) break;
                ++count;
                p = skip_blanks(p);
                if (*p == ']') {
                    *size = count;
                    return true;
                }
                if (*p != ',') break;
                p = skip_blanks(p + 1);
            }
            gave_up_ = true;  // the text is refused: so is the whole document
            return false;
        }
        *size = 0;
        return true;
    }

    static bool list_size(Value v, size_t *size) {
        *size = 0;
        return v != nullptr && *v == '[';
    }

    template <class F>
    int32_t each(Value array, F &&f) {
        Scope scope(*this);
        const char *p = skip_blanks(array + 1);
        if (*p != ']') {
            if (open_ + 2 > MAX_DEPTH) return refuse();  // as for an object's members
            ++open_;
            for (size_t i = 0;; ++i) {
                if (i == MAX_ARRAY_SZ) return refuse();  // counted as a list is read
                if ((p = value(p, [&] { return f(i, p); })) == nullptr) return status_;
                p = skip_blanks(p);
                if (*p == ']') break;
                if (*p != ',') return refuse();
                p = skip_blanks(p + 1);
            }
        }
        next_ = p + 1;
        return RMQC_OK;
    }

  private:
    // Longer than any enum's allowed text; a longer text is left to jansson.
    static constexpr size_t LONGEST_ENUM_TEXT = 127;

    // Restores the depth and the kept keys when a routine leaves an object or
    // array, whether it read it to the end or stopped, so that a union's next
    // trial starts where the last one did.
    struct Scope {
        explicit Scope(TextTree &walked) : tree(walked), open(walked.open_), mark(walked.keys_.mark()) {}
        ~Scope() {
            tree.open_ = open;
            tree.keys_.release(mark);
        }
        TextTree &tree;
        const uint32_t open;
        const uint32_t mark;
    };

    int32_t refuse() {
        gave_up_ = true;
        return RMQC_ERR_DECODE;
    }

    // Reads the value at `p` with read(), which returns its status; past the
    // value, or NULL with the status to return in status_. A value that
    // read() reported a fault on without reading it (a walk that goes on
    // past faults passes it over) is skipped.
    template <class Read>
    const char *value(const char *p, Read &&read) {
        next_ = nullptr;
        if ((status_ = read()) != RMQC_OK) return nullptr;
        if (next_ != nullptr) return next_;
        if (const char *past = skip_value(p, end_, open_ + 1, &keys_)) return past;
        status_ = refuse();
        return nullptr;
    }

    // f(text) with the key's text NUL-terminated (a key the reader keeps has
    // no escape, so its characters are its text).
    template <class F>
    static void with_text(const StringToken &key, F &&f) {
        char small[256];
        char *text = key.length < sizeof small ? small : static_cast<char *>(std::malloc(key.length + 1));
        if (text == nullptr) return;  // memory ran out: the key goes unreported
        std::memcpy(text, key.chars, key.length);
        text[key.length] = '\0';
        f(static_cast<const char *>(text));
        if (text != small) std::free(text);
    }

    const char *const begin_;  // the text's first byte
    const char *const end_;    // the text's NUL
    char hint_[LONGEST_ENUM_TEXT + 1];
    int32_t status_ = RMQC_OK;    // the status value() stopped at
    const char *next_ = nullptr;  // past the last value read
    uint32_t open_ = 0;           // the objects and arrays open around the position
    KeySet keys_;                 // the keys of those objects that no property claims
    bool gave_up_ = false;
};

// One walk of the reader over `json` as `type`, building the tree into
// *tree (Builds) or nothing. Returns the walk's status, or GAVE_UP when the
// reader leaves the text to jansson.
template <bool Builds>
int32_t read_text(const TypeDesc &type, const char *json, void **tree, FaultSink sink, const WalkMode &mode) {
    const char *end = json + std::strlen(json);
    const char *root = skip_blanks(json);
    if (*root != '{') return GAVE_UP;
    TextTree text(json, end);
    path_node root_path = root_node(type.name);
    uint32_t match_count = 0;
    int32_t status =
        Walk<TextTree, Builds>(text, sink, mode).record(type, root, tree, nullptr, 0, &root_path, &match_count);
    // Nothing but blanks may follow the root.
    if (text.gave_up() || (text.next() != nullptr && *skip_blanks(text.next()) != '\0')) return GAVE_UP;
    return status;
}

}  // namespace

bool read_record_text(const TypeDesc &type, const char *json, void **tree) {
    void *record = nullptr;
    if (read_text<true>(type, json, &record, FaultSink{nullptr, 0}, WalkMode{}) != RMQC_OK) {
        free_export(type, record);
        return false;
    }
    *tree = record;
    return true;
}

int32_t read_record_logged(const TypeDesc &type, const char *json, void **tree, char *errbuf, uint64_t errlen,
                           FaultLog &log, const WalkMode &mode) {
    void *record = nullptr;
    const int32_t status = read_text<true>(type, json, &record, FaultSink{errbuf, errlen, &log}, mode);
    if (status != RMQC_OK) {
        free_export(type, record);
        return status;
    }
    *tree = record;
    return RMQC_OK;
}

int32_t check_record_text(const TypeDesc &type, const char *json, char *errbuf, uint64_t errlen, FaultLog &log,
                          const WalkMode &mode) {
    return read_text<false>(type, json, nullptr, FaultSink{errbuf, errlen, &log}, mode);
}

}  // namespace jsoncodec
