// The encoding walker's text output: the JSON text of a record, written
// straight from the record. The walk runs twice: the first run checks the
// record (the walker's checks, and each text written as jansson would take
// it) and counts the exact length of the text, the second writes the text
// into one block of that length.
//
// The text follows jansson's serialiser byte for byte: properties in record
// order, "{}" and "[]" when empty; pretty text puts every member on a line
// of its own indented by 4 blanks a level, with ": " after a key and ","
// at the end of every member line but the last; compact text uses ":" and
// "," alone. Strings escape the quote, the backslash and the control
// characters (\b \f \n \r \t by name, the others as \u00XX in upper-case
// hex) and copy everything else, '/', 0x7F and UTF-8 included; integers
// are written as %lld writes them.
#include "text_output.h"

#include <cstdint>
#include <cstring>
#include <iterator>

#include "encoder.h"

namespace jsoncodec {

namespace {

using namespace detail;

constexpr uint64_t ONES = 0x0101010101010101ULL;
constexpr uint64_t HIGHS = 0x8080808080808080ULL;
constexpr size_t INDENT = 4;

// Non-zero when some byte of `word` is zero.
constexpr uint64_t zero_byte(uint64_t word) { return (word - ONES) & ~word & HIGHS; }

// Whether all eight bytes are copied as they are: ASCII from 0x20 up, other
// than the quote and the backslash.
constexpr bool plain_word(uint64_t word) {
    uint64_t flagged = word & HIGHS;                  // non-ASCII
    flagged |= (word - ONES * 0x20) & ~word & HIGHS;  // a control character
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

// The encoding walker's output of text, over a byte sink: the first run
// counts, the second writes.
template <class Bytes>
class TextOutput {
  public:
    struct Value {};  // the text is written in place
    static constexpr bool MAKES_VALUES = false;
    static constexpr bool CHECKS = Bytes::checks;

    TextOutput(Bytes &bytes, bool pretty) : bytes_(bytes), pretty_(pretty) {}

    bool object(Value *, size_t) {
        bytes_.put('{');
        return true;
    }
    bool array(Value *) {
        bytes_.put('[');
        return true;
    }
    // The closing bracket, on a line of its own after members.
    void close(Value, bool empty, size_t level, char bracket) {
        if (!empty && pretty_) {
            bytes_.put('\n');
            bytes_.blanks(INDENT * level);
        }
        bytes_.put(bracket);
    }
    void member(Value, const char *name, bool first, size_t level) {
        item(first, level);
        put_key(name);
        if (pretty_)
            bytes_.put(": ", 2);
        else
            bytes_.put(':');
    }
    // The separator after the previous member, then the member's own line.
    void item(bool first, size_t level) {
        if (!first) bytes_.put(',');
        if (pretty_) {
            bytes_.put('\n');
            bytes_.blanks(INDENT * (level + 1));
        }
    }
    static bool attach(Value, const char *, Value) { return true; }
    static bool append(Value, Value) { return true; }
    bool string(Value *, const char *text) { return put_string(bytes_, text); }
    void integer(Value *, int64_t value) { put_integer(bytes_, value); }
    void boolean(Value *, bool value) {
        if (value)
            bytes_.put("true", 4);
        else
            bytes_.put("false", 5);
    }
    static void discard(Value) {}

  private:
    // A property name. Names are identifiers, which the first run finds
    // plain; the second run copies them as they are, and should a name need
    // escaping after all, the text comes out shorter than measured and the
    // writer gives up.
    void put_key(const char *name) {
        if constexpr (Bytes::checks) {
            put_string(bytes_, name);
        } else {
            bytes_.put('"');
            bytes_.put(name, std::strlen(name));
            bytes_.put('"');
        }
    }

    Bytes &bytes_;
    const bool pretty_;
};

}  // namespace

int32_t write_text(const TypeDesc &type, const void *src, bool pretty, char **text, char *errbuf, uint64_t errlen,
                   path_node *path) {
    Count count;
    TextOutput<Count> measure(count, pretty);
    TextOutput<Count>::Value made;
    if (int32_t status = EncodeWalk(measure, FaultSink{errbuf, errlen}).record(type, src, 0, 0, path, &made))
        return status;

    json_malloc_t alloc = nullptr;
    json_free_t release = nullptr;
    json_get_alloc_funcs(&alloc, &release);
    auto *block = static_cast<char *>(alloc(count.length + 1));
    if (block == nullptr) return GAVE_UP;
    // The record was found fit: the second run reports nothing, and should the
    // record have changed in between, gives up.
    Write write{block, block + count.length};
    TextOutput<Write> writer(write, pretty);
    TextOutput<Write>::Value written;
    path_node root = root_node(type.name);
    if (EncodeWalk(writer, FaultSink{nullptr, 0}).record(type, src, 0, 0, &root, &written) != RMQC_OK ||
        write.overrun || write.pos != write.end) {
        release(block);
        return GAVE_UP;
    }
    *write.pos = '\0';
    *text = block;
    return RMQC_OK;
}

char *write_record_text(const TypeDesc &type, const void *src, bool pretty) {
    char *text = nullptr;
    path_node root = root_node(type.name);
    return write_text(type, src, pretty, &text, nullptr, 0, &root) == RMQC_OK ? text : nullptr;
}

}  // namespace jsoncodec
