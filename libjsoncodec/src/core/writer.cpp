// The direct writer. One walk of the record, run twice: the first run
// checks everything the tree path would refuse and counts the exact length
// of the text, the second writes the text into one block of that length.
//
// The text follows jansson's serialiser byte for byte: properties in record
// order, "{}" and "[]" when empty; pretty text puts every member on a line
// of its own indented by 4 blanks a level, with ": " after a key and ","
// at the end of every member line but the last; compact text uses ":" and
// "," alone. Strings escape the quote, the backslash and the control
// characters (\b \f \n \r \t by name, the others as \u00XX in upper-case
// hex) and copy everything else, '/', 0x7F and UTF-8 included; integers
// are written as %lld writes them.
#include "writer.h"

#include <cstdint>
#include <cstring>
#include <iterator>

#include "engine_internal.h"

namespace jsoncodec {

namespace {

using detail::at;
using detail::is_flagged;

constexpr uint64_t ONES = 0x0101010101010101ULL;
constexpr uint64_t HIGHS = 0x8080808080808080ULL;
constexpr size_t INDENT = 4;

// Non-zero when some byte of `word` is zero.
constexpr uint64_t zero_byte(uint64_t word) { return (word - ONES) & ~word & HIGHS; }

// Whether all eight bytes are copied as they are: ASCII from 0x20 up, other
// than the quote and the backslash.
constexpr bool plain_word(uint64_t word) {
    uint64_t flagged = word & HIGHS;                   // non-ASCII
    flagged |= (word - ONES * 0x20) & ~word & HIGHS;   // a control character
    flagged |= zero_byte(word ^ (ONES * '"'));
    flagged |= zero_byte(word ^ (ONES * '\\'));
    return flagged == 0;
}

// plain_word for a single byte.
constexpr bool plain_byte(unsigned char c) { return c >= 0x20 && c < 0x80 && c != '"' && c != '\\'; }

uint64_t load_word(const unsigned char *p) {
    uint64_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

// How many leading bytes of `s` are certainly plain: all `length` of them,
// or the position of the first eight-byte word that holds something to look
// at (of the first such byte, in a text shorter than a word). The last word
// of a longer text is read overlapping the one before.
size_t plain_prefix(const unsigned char *s, size_t length) {
    size_t i = 0;
    if (length < 8) {
        while (i < length && plain_byte(s[i])) ++i;
        return i;
    }
    for (; i + 8 <= length; i += 8)
        if (!plain_word(load_word(s + i))) return i;
    if (i < length && !plain_word(load_word(s + length - 8))) return length - 8;
    return length;
}

// The length of the UTF-8 sequence that starts with the non-ASCII byte at
// `p`, `avail` bytes being left, or 0 when jansson refuses it: a lead byte
// that is a continuation byte, 0xC0, 0xC1 or above 0xF4, a missing or wrong
// continuation byte, an overlong form, a surrogate or a code point above
// U+10FFFF.
size_t utf8_sequence(const unsigned char *p, size_t avail) {
    static constexpr uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const unsigned char lead = p[0];
    size_t count;
    uint32_t value;
    if (lead >= 0xC2 && lead <= 0xDF) {
        count = 2;
        value = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        count = 3;
        value = lead & 0x0Fu;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        count = 4;
        value = lead & 0x07u;
    } else {
        return 0;
    }
    if (count > avail) return 0;
    for (size_t k = 1; k < count; ++k) {
        if ((p[k] & 0xC0u) != 0x80u) return 0;
        value = (value << 6) | (p[k] & 0x3Fu);
    }
    if (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF) || value < least[count]) return 0;
    return count;
}

// The first run: counts the bytes of the text.
struct Count {
    static constexpr bool checks = true;
    size_t length = 0;
    void put(char) { ++length; }
    void put(const char *, size_t size) { length += size; }
    void blanks(size_t size) { length += size; }
};

// The second run: writes into the block the first run measured, from the
// record the first run found fit, so it does not check texts again. The
// bounds are checked all the same, so that a record that changed between
// the runs cannot make the writer overrun its block.
struct Write {
    static constexpr bool checks = false;
    char *pos;
    char *end;
    bool overrun = false;
    void put(char c) {
        if (pos == end) {
            overrun = true;
            return;
        }
        *pos++ = c;
    }
    void put(const char *bytes, size_t size) {
        if (size > static_cast<size_t>(end - pos)) {
            overrun = true;
            return;
        }
        std::memcpy(pos, bytes, size);
        pos += size;
    }
    void blanks(size_t size) {
        if (size > static_cast<size_t>(end - pos)) {
            overrun = true;
            return;
        }
        std::memset(pos, ' ', size);
        pos += size;
    }
};

template <class Out>
void put_escape(Out &out, unsigned char c) {
    char seq[6] = {'\\', 'u', '0', '0', 0, 0};
    switch (c) {
        case '"': seq[1] = '"'; break;
        case '\\': seq[1] = '\\'; break;
        case '\b': seq[1] = 'b'; break;
        case '\f': seq[1] = 'f'; break;
        case '\n': seq[1] = 'n'; break;
        case '\r': seq[1] = 'r'; break;
        case '\t': seq[1] = 't'; break;
        default:
            seq[4] = "0123456789ABCDEF"[c >> 4];
            seq[5] = "0123456789ABCDEF"[c & 0xF];
            out.put(seq, 6);
            return;
    }
    out.put(seq, 2);
}

// The string `text` in quotes; false when jansson would refuse it.
template <class Out>
bool put_string(Out &out, const char *text) {
    const size_t length = std::strlen(text);
    const auto *s = reinterpret_cast<const unsigned char *>(text);
    size_t i = plain_prefix(s, length);
    out.put('"');
    size_t copied = 0;  // bytes of `text` already written
    while (i < length) {
        size_t stop = length;
        if (length - i >= 8) {
            if (plain_word(load_word(s + i))) {
                i += 8;
                continue;
            }
            stop = i + 8;
        }
        // Byte by byte through the word that holds something to look at.
        while (i < stop) {
            const unsigned char c = s[i];
            if (c >= 0x80) {
                if constexpr (Out::checks) {
                    const size_t count = utf8_sequence(s + i, length - i);
                    if (count == 0) return false;
                    i += count;
                } else {
                    ++i;
                }
            } else if (c < 0x20 || c == '"' || c == '\\') {
                out.put(text + copied, i - copied);
                put_escape(out, c);
                copied = ++i;
            } else {
                ++i;
            }
        }
    }
    out.put(text + copied, length - copied);
    out.put('"');
    return true;
}

template <class Out>
void put_integer(Out &out, int64_t value) {
    char digits[20];  // "-9223372036854775808"
    char *p = std::end(digits);
    uint64_t magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    do {
        *--p = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0) *--p = '-';
    out.put(p, static_cast<size_t>(std::end(digits) - p));
}


// Walks a record as encode_record does, giving up wherever encode_record
// would fail. `level` is the nesting of the JSON value being written, which
// sets the indentation of pretty text; `depth` counts records as
// encode_record counts them.
template <class Out>
class Walker {
public:
    Walker(Out &out, bool pretty) : out_(out), pretty_(pretty) {}

    bool record(const TypeDesc &type, const void *src, int32_t depth, size_t level) {
        if (src == nullptr || depth > MAX_CALL_DEPTH) return false;
        out_.put('{');
        bool first = true;
        for (uint32_t i = 0; i < type.field_count; ++i) {
            const FieldDesc &field = type.fields[i];
            if (!is_flagged(field, src)) continue;
            begin_member(first, level);
            first = false;
            if (!put_key(field.name)) return false;
            if (pretty_)
                out_.put(": ", 2);
            else
                out_.put(':');
            if (!value(field, src, depth, level + 1)) return false;
        }
        end_container(first, level, '}');
        return true;
    }

private:
    // The separator after the previous member, then the member's own line.
    void begin_member(bool first, size_t level) {
        if (!first) out_.put(',');
        if (pretty_) {
            out_.put('\n');
            out_.blanks(INDENT * (level + 1));
        }
    }

    // A property name. Names are identifiers, which the first run finds
    // plain; the second run copies them as they are, and should a name need
    // escaping after all, the text comes out shorter than measured and the
    // writer gives up.
    bool put_key(const char *name) {
        if constexpr (Out::checks) {
            return put_string(out_, name);
        } else {
            out_.put('"');
            out_.put(name, std::strlen(name));
            out_.put('"');
            return true;
        }
    }

    // The closing bracket, on a line of its own after members.
    void end_container(bool empty, size_t level, char bracket) {
        if (!empty && pretty_) {
            out_.put('\n');
            out_.blanks(INDENT * level);
        }
        out_.put(bracket);
    }

    bool value(const FieldDesc &field, const void *record, int32_t depth, size_t level) {
        const void *slot = static_cast<const char *>(record) + field.offset;
        switch (field.kind) {
            case Kind::String:
            case Kind::Enum: {
                const char *text = at<char *>(record, field.offset);
                if (text == nullptr) return false;
                if constexpr (Out::checks) {
                    if (field.kind == Kind::Enum && !enum_allows(*field.allowed, text)) return false;
                }
                return put_string(out_, text);
            }
            case Kind::Boolean:
                if (at<int32_t>(record, field.offset) != 0)
                    out_.put("true", 4);
                else
                    out_.put("false", 5);
                return true;
            case Kind::Integer:
                put_integer(out_, at<int64_t>(record, field.offset));
                return true;
            case Kind::StringArray:
            case Kind::IntegerArray:
                return array(field, record, level);
            case Kind::Record:
                return this->record(*field.nested, slot, depth + 1, level);
            case Kind::RecordPointer:
                return this->record(*field.nested, load_pointer(slot), depth + 1, level);
            case Kind::List:
                return list(field, load_pointer(slot), depth, level);
            case Kind::Union: {
                const uint8_t tag = at<uint8_t>(record, field.count_offset);
                if (tag < 1 || tag > field.members->count) return false;
                return this->record(*field.members->members[tag - 1], slot, depth + 1, level);
            }
        }
        return false;
    }

    bool array(const FieldDesc &field, const void *record, size_t level) {
        const uint64_t size = at<uint64_t>(record, field.count_offset);
        const void *block = load_pointer(static_cast<const char *>(record) + field.offset);
        if (size > MAX_ARRAY_SZ || (size > 0 && block == nullptr)) return false;
        out_.put('[');
        for (uint64_t i = 0; i < size; ++i) {
            begin_member(i == 0, level);
            if (field.kind == Kind::IntegerArray) {
                put_integer(out_, static_cast<const int64_t *>(block)[i]);
            } else {
                const char *text = static_cast<char *const *>(block)[i];
                if (text == nullptr || !put_string(out_, text)) return false;
            }
        }
        end_container(size == 0, level, ']');
        return true;
    }

    bool list(const FieldDesc &field, const void *node, int32_t depth, size_t level) {
        out_.put('[');
        uint64_t count = 0;
        for (; node != nullptr; ++count) {
            // The cap is the list's only defence against a cycle.
            if (count >= MAX_ARRAY_SZ) return false;
            begin_member(count == 0, level);
            if (!record(*field.nested, node, depth + 1, level + 1)) return false;
            node = load_pointer(static_cast<const char *>(node) + field.nested->next_offset);
        }
        end_container(count == 0, level, ']');
        return true;
    }

    Out &out_;
    const bool pretty_;
};

}  // namespace

char *write_record_text(const TypeDesc &type, const void *src, bool pretty) {
    Count count;
    if (!Walker<Count>(count, pretty).record(type, src, 0, 0)) return nullptr;

    json_malloc_t alloc = nullptr;
    json_free_t release = nullptr;
    json_get_alloc_funcs(&alloc, &release);
    auto *text = static_cast<char *>(alloc(count.length + 1));
    if (text == nullptr) return nullptr;
    Write write{text, text + count.length};
    if (!Walker<Write>(write, pretty).record(type, src, 0, 0) || write.overrun || write.pos != write.end) {
        release(text);
        return nullptr;
    }
    *write.pos = '\0';
    return text;
}

}  // namespace jsoncodec
