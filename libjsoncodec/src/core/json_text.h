// Reading JSON text in place, as jansson reads it.
//
// These are the scanning steps of the one-pass reader (text_reader.cpp) and
// of anything else that walks a document's text without building a tree
// (the tool places faults with them). Each step reads one token where it
// stands and says where it ends; none allocates. A step accepts only what
// jansson accepts and reads it as jansson does; what it cannot read so, it
// refuses (returns NULL or false), whether jansson would refuse it too or
// only read it in a way these steps do not (a real that could overflow a
// double, `\u0000`, a key written with escapes). The caller then leaves the
// document to jansson. A walk over a text jansson has already accepted may
// take every real instead (see Reals).
//
// The text is NUL-terminated and ends at its first NUL byte, which no step
// reads past: a NUL is a control character to a string and an unexpected
// byte everywhere else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace jsoncodec::json_text {

// jansson's deepest value: containers and scalars count alike, the root
// being at depth 1.
inline constexpr uint32_t MAX_DEPTH = 2048;

inline bool is_blank(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

// Past JSON's four blanks, and no others.
inline const char *skip_blanks(const char *p) {
    if (static_cast<unsigned char>(*p) > ' ') return p;  // mostly none
    while (is_blank(*p)) ++p;
    return p;
}

// The length of the UTF-8 sequence at `p`, whose first byte is not ASCII
// (callers pass those on by themselves), when jansson takes it as one
// character (no overlong form, no surrogate, nothing above U+10FFFF), else 0.
inline size_t utf8_sequence(const unsigned char *p) {
    const unsigned char first = p[0];
    uint32_t value;
    size_t length;
    if (first < 0xC2) return 0;  // a continuation byte, or an overlong two-byte form
    if (first < 0xE0) {
        length = 2;
        value = first & 0x1F;
    } else if (first < 0xF0) {
        length = 3;
        value = first & 0x0F;
    } else if (first < 0xF5) {
        length = 4;
        value = first & 0x07;
    } else {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80) return 0;  // a NUL ends the sequence here too
        value = value << 6 | (p[i] & 0x3F);
    }
    if ((length == 3 && value < 0x800) || (length == 4 && value < 0x10000)) return 0;
    if (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return 0;
    return length;
}

// A string token: where its characters start, where the token ends (past
// the closing quote), and how long its text is once unescaped.
struct StringToken {
    const char *chars = nullptr;
    const char *end = nullptr;
    size_t length = 0;
    bool escaped = false;  // the text holds an escape, so it differs from its characters
};

namespace detail {

#if defined(__SSE2__)
// The offset of the first of the sixteen bytes at `p` that ends a plain run
// of a string's characters (a quote, a backslash, a control character or a
// byte of a multi-byte character), or 16.
inline unsigned first_stop(const char *p) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
    const __m128i quote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
    const __m128i backslash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
    const __m128i control = _mm_cmpeq_epi8(_mm_max_epu8(bytes, _mm_set1_epi8(0x1F)), _mm_set1_epi8(0x1F));
    const unsigned found = static_cast<unsigned>(
        _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(quote, backslash), control)) | _mm_movemask_epi8(bytes));
    return found != 0 ? static_cast<unsigned>(__builtin_ctz(found)) : 16;
}
inline constexpr size_t STOP_WIDTH = 16;
#else
// Of the eight bytes of `word`, those that end a plain run of a string's
// characters (a quote, a backslash, a control character or a byte of a
// multi-byte character) have their high bit set, the first of them exactly.
inline uint64_t stops(uint64_t word) {
    constexpr uint64_t ones = 0x0101010101010101ULL, highs = 0x8080808080808080ULL;
    const uint64_t quote = word ^ (ones * '"'), backslash = word ^ (ones * '\\');
    return (((quote - ones) & ~quote) | ((backslash - ones) & ~backslash) | ((word - ones * 0x20) & ~word) | word) &
           highs;
}

inline unsigned first_stop(const char *p) {
    uint64_t word;
    std::memcpy(&word, p, 8);
    const uint64_t found = stops(word);
    return found != 0 ? static_cast<unsigned>(__builtin_ctzll(found)) / 8 : 8;
}
inline constexpr size_t STOP_WIDTH = 8;
#endif

inline int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The four hex digits after "\u" at `p`, or -1.
inline int32_t hex4(const char *p) {
    int32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        int digit = hex_digit(p[i]);  // a NUL is no digit: nothing past it is read
        if (digit < 0) return -1;
        value = value << 4 | digit;
    }
    return value;
}

// The code point of the escape "\uXXXX" at `p` (a surrogate pair taken
// whole), and its length in *width; -1 for one that jansson refuses and for
// U+0000, which it takes only when asked to.
inline int32_t unicode_escape(const char *p, size_t *width) {
    int32_t value = hex4(p + 2);
    *width = 6;
    if (value <= 0 || (value >= 0xDC00 && value <= 0xDFFF)) return -1;
    if (value >= 0xD800 && value <= 0xDBFF) {
        if (p[6] != '\\' || p[7] != 'u') return -1;
        int32_t low = hex4(p + 8);
        if (low < 0xDC00 || low > 0xDFFF) return -1;
        *width = 12;
        value = 0x10000 + ((value - 0xD800) << 10) + (low - 0xDC00);
    }
    return value;
}

inline size_t utf8_width(int32_t code) { return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4; }

}  // namespace detail

// Reads the string token at `p` (its opening quote) into *token; false when
// jansson would refuse it or read a NUL into it. `end` is the text's NUL:
// the scan reads a block of bytes at a time while they lie before it.
[[gnu::always_inline]] inline bool scan_string(const char *p, const char *end, StringToken *token) {
    const char *at = p + 1;
    token->chars = at;
    size_t removed = 0;  // bytes the escapes take beyond their text
    token->escaped = false;
    for (;;) {
        while (static_cast<size_t>(end - at) >= detail::STOP_WIDTH) {
            const unsigned stop = detail::first_stop(at);
            at += stop;
            if (stop != detail::STOP_WIDTH) break;
        }
        const unsigned char c = static_cast<unsigned char>(*at);
        if (c == '"') break;
        if (c == '\\') {
            token->escaped = true;
            switch (at[1]) {
                case '"':
                case '\\':
                case '/':
                case 'b':
                case 'f':
                case 'n':
                case 'r':
                case 't':
                    at += 2;
                    ++removed;
                    continue;
                case 'u': {
                    size_t width;
                    int32_t code = detail::unicode_escape(at, &width);
                    if (code < 0) return false;
                    at += width;
                    removed += width - detail::utf8_width(code);
                    continue;
                }
                default: return false;
            }
        }
        if (c < 0x20) return false;  // a control character, the text's end among them
        if (c < 0x80) {
            ++at;
            continue;
        }
        size_t length = utf8_sequence(reinterpret_cast<const unsigned char *>(at));
        if (length == 0) return false;
        at += length;
    }
    token->end = at + 1;
    token->length = static_cast<size_t>(at - token->chars) - removed;
    return true;
}

// Past the string token at `p` (its opening quote), found by its quotes and
// backslashes alone: its characters are not checked, so the token must be
// read with scan_string later on. NULL when the text ends first.
inline const char *pass_string(const char *p, const char *end) {
    const char *at = p + 1;
    for (;;) {
        const char *quote = static_cast<const char *>(std::memchr(at, '"', static_cast<size_t>(end - at)));
        if (quote == nullptr) return nullptr;
        // The quote closes the token unless an odd run of backslashes escapes it.
        const char *before = quote;
        while (before > at && before[-1] == '\\') --before;
        if ((quote - before) % 2 == 0) return quote + 1;
        at = quote + 1;
    }
}

// Writes the text of a token that scan_string accepted into `out`, which
// has room for token.length bytes (no NUL is written).
[[gnu::always_inline]] inline void unescape(const StringToken &token, char *out) {
    if (!token.escaped) {
        std::memcpy(out, token.chars, token.length);
        return;
    }
    const char *at = token.chars;
    const char *stop = token.end - 1;
    while (at < stop) {
        const char *backslash = static_cast<const char *>(std::memchr(at, '\\', static_cast<size_t>(stop - at)));
        const char *run_end = backslash != nullptr ? backslash : stop;
        std::memcpy(out, at, static_cast<size_t>(run_end - at));
        out += run_end - at;
        at = run_end;
        if (backslash == nullptr) break;
        char c = at[1];
        if (c != 'u') {
            switch (c) {
                case 'b': c = '\b'; break;
                case 'f': c = '\f'; break;
                case 'n': c = '\n'; break;
                case 'r': c = '\r'; break;
                case 't': c = '\t'; break;
                default: break;  // '"', '\\' and '/' stand for themselves
            }
            *out++ = c;
            at += 2;
            continue;
        }
        size_t width;
        uint32_t code = static_cast<uint32_t>(detail::unicode_escape(at, &width));
        at += width;
        auto byte = [&](uint32_t b) { *out++ = static_cast<char>(b); };
        if (code < 0x80) {
            byte(code);
        } else if (code < 0x800) {
            byte(0xC0 | code >> 6);
            byte(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            byte(0xE0 | code >> 12);
            byte(0x80 | (code >> 6 & 0x3F));
            byte(0x80 | (code & 0x3F));
        } else {
            byte(0xF0 | code >> 18);
            byte(0x80 | (code >> 12 & 0x3F));
            byte(0x80 | (code >> 6 & 0x3F));
            byte(0x80 | (code & 0x3F));
        }
    }
}

// Which real numbers a step takes. jansson refuses a real that overflows a
// double; the reader, which never computes a real, takes only those that
// cannot (`bounded`: the value stays under 10^308) and leaves the others to
// jansson. A walk over a text that jansson has already read takes every real
// the grammar allows (`any`).
enum class Reals { bounded, any };

// A number token at `p`: past its end, or NULL when jansson refuses it. An
// integer (no fraction, no exponent) within the signed 64-bit range is
// stored in *integer with *is_integer set, as jansson reads it ("-0" is 0).
// A real is taken as `reals` says.
template <Reals reals = Reals::bounded>
inline const char *scan_number(const char *p, bool *is_integer, int64_t *integer) {
    const bool negative = *p == '-';
    if (negative) ++p;
    const char *digits = p;
    uint64_t value = 0;
    bool too_large = false;
    if (*p == '0') {
        ++p;
        if (*p >= '0' && *p <= '9') return nullptr;  // a leading zero
    } else if (*p >= '1' && *p <= '9') {
        for (; *p >= '0' && *p <= '9'; ++p) {
            const uint64_t digit = static_cast<uint64_t>(*p - '0');
            if (value > (UINT64_MAX - digit) / 10) too_large = true;
            value = value * 10 + digit;
        }
    } else {
        return nullptr;
    }
    const size_t integer_digits = static_cast<size_t>(p - digits);
    if (*p != '.' && *p != 'e' && *p != 'E') {
        const uint64_t limit = negative ? uint64_t{1} << 63 : (uint64_t{1} << 63) - 1;
        if (too_large || value > limit) return nullptr;  // jansson: "too big integer"
        *is_integer = true;
        *integer = negative ? static_cast<int64_t>(0 - value) : static_cast<int64_t>(value);
        return p;
    }
    *is_integer = false;
    if (*p == '.') {
        ++p;
        if (*p < '0' || *p > '9') return nullptr;
        while (*p >= '0' && *p <= '9') ++p;
    }
    int64_t exponent = 0;
    if (*p == 'e' || *p == 'E') {
        ++p;
        const bool below = *p == '-';
        if (*p == '+' || *p == '-') ++p;
        if (*p < '0' || *p > '9') return nullptr;
        for (; *p >= '0' && *p <= '9'; ++p)
            if (exponent < 100000) exponent = exponent * 10 + (*p - '0');
        if (below) exponent = -exponent;
    }
    // Under 10^(integer digits + exponent); "0.x" has one integer digit.
    if (reals == Reals::bounded && static_cast<int64_t>(integer_digits) + exponent > 308) return nullptr;
    return p;
}

// The literal `word` at `p`: past it, or NULL.
inline const char *scan_literal(const char *p, const char *word, size_t length) {
    return std::strncmp(p, word, length) == 0 ? p + length : nullptr;
}

// A key kept to tell a repeated key: its characters as written (keys with
// escapes are not kept: see KeySet).
struct Key {
    const char *chars;
    size_t length;
};

// The keys of the objects open along a walk, each object's after its
// parent's, to tell a repeated key within one object. It is small and
// bounded: an object with more keys than it holds, or a key written with an
// escape (which could repeat another written differently), is refused, and
// the document is left to jansson.
class KeySet {
  public:
    static constexpr uint32_t CAPACITY = 128;

    uint32_t mark() const { return size_; }
    void release(uint32_t mark) { size_ = mark; }

    // Adds the key to the object whose keys start at `mark`; false when it is
    // already there, or cannot be kept.
    bool add(uint32_t mark, const StringToken &key) {
        if (key.escaped || size_ == CAPACITY) return false;
        for (uint32_t i = mark; i < size_; ++i)
            if (keys_[i].length == key.length && std::memcmp(keys_[i].chars, key.chars, key.length) == 0) return false;
        keys_[size_++] = Key{key.chars, key.length};
        return true;
    }

  private:
    Key keys_[CAPACITY];
    uint32_t size_ = 0;
};

// Past the value at `p` (no blanks before it), checked to the end as
// jansson checks it, with its depth counted from `depth` (the value's own);
// NULL when refused. Objects' keys go into `keys` while they are open, to
// tell a repeated key; with no `keys`, repeated keys pass (for a text
// jansson has already read, or one this step has already checked). Reals
// are taken as `reals` says.
// Iterative: its working memory is one small entry per open container.
template <Reals reals = Reals::bounded>
inline const char *skip_value(const char *p, const char *end, uint32_t depth, KeySet *keys) {
    // Per open container: the mark of its keys, with the high bit for an array.
    constexpr uint16_t ARRAY = 0x8000;
    uint16_t open[MAX_DEPTH];
    uint32_t level = 0;
    for (;;) {
        // A value at depth + level.
        if (depth + level > MAX_DEPTH) return nullptr;
        switch (*p) {
            case '"': {
                StringToken token;
                if (!scan_string(p, end, &token)) return nullptr;
                p = token.end;
                break;
            }
            case '{':
                p = skip_blanks(p + 1);
                if (*p == '}') {
                    ++p;
                    break;
                }
                open[level++] = static_cast<uint16_t>(keys != nullptr ? keys->mark() : 0);
                goto key;
            case '[':
                p = skip_blanks(p + 1);
                if (*p == ']') {
                    ++p;
                    break;
                }
                open[level++] = ARRAY;
                continue;
            case 't':
                if ((p = scan_literal(p, "true", 4)) == nullptr) return nullptr;
                break;
            case 'f':
                if ((p = scan_literal(p, "false", 5)) == nullptr) return nullptr;
                break;
            case 'n':
                if ((p = scan_literal(p, "null", 4)) == nullptr) return nullptr;
                break;
            default: {
                bool is_integer;
                int64_t integer;
                if ((*p != '-' && (*p < '0' || *p > '9')) ||
                    (p = scan_number<reals>(p, &is_integer, &integer)) == nullptr)
                    return nullptr;
                break;
            }
        }
        // After a value: the end of its container, or the next member.
        for (;;) {
            if (level == 0) return p;
            p = skip_blanks(p);
            const bool in_array = (open[level - 1] & ARRAY) != 0;
            if (*p == (in_array ? ']' : '}')) {
                ++p;
                --level;
                if (!in_array && keys != nullptr) keys->release(open[level]);
                continue;
            }
            if (*p != ',') return nullptr;
            p = skip_blanks(p + 1);
            if (in_array) goto value;
            goto key;
        }
    key : {
        StringToken token;
        if (*p != '"' || !scan_string(p, end, &token) || (keys != nullptr && !keys->add(open[level - 1], token)))
            return nullptr;
        p = skip_blanks(token.end);
        if (*p != ':') return nullptr;
        p = skip_blanks(p + 1);
    }
    value:;
    }
}

// Walks the members of the object whose opening brace is at `p`: for each,
// f(key, value) with the key's token and the position of its value, which
// returns the position past the value, or NULL to stop there. Returns the
// position past the object; NULL where f stopped or the text is refused.
template <class F>
inline const char *each_member(const char *p, const char *end, F &&f) {
    p = skip_blanks(p + 1);
    if (*p == '}') return p + 1;
    for (;;) {
        StringToken key;
        if (*p != '"' || !scan_string(p, end, &key)) return nullptr;
        p = skip_blanks(key.end);
        if (*p != ':' || (p = f(static_cast<const StringToken &>(key), skip_blanks(p + 1))) == nullptr) return nullptr;
        p = skip_blanks(p);
        if (*p == '}') return p + 1;
        if (*p != ',') return nullptr;
        p = skip_blanks(p + 1);
    }
}

}  // namespace jsoncodec::json_text
