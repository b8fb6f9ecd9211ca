// Positions in a document as the protocol counts them: a zero-based line
// and a character offset within it, in UTF-16 code units (the protocol's
// default) or in bytes of UTF-8 when the client and server agree on that.
// Lines end at "\n", "\r\n" or "\r".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tool::lsp {

enum class Encoding { utf16, utf8 };

struct Position {
    int64_t line = 0;
    int64_t character = 0;
};

// Where the lines of a text start, in bytes.
class LineIndex {
  public:
    void build(std::string_view text);
    size_t lines() const { return starts_.size(); }
    size_t start(size_t line) const { return starts_[line]; }
    // Where line `line` of `text` ends, before its line break.
    size_t end(std::string_view text, size_t line) const;
    // The line that holds byte `offset`.
    size_t line_of(size_t offset) const;
    // Whether every byte of the text is ASCII: a character is then a byte
    // in either encoding.
    bool ascii() const { return ascii_; }

  private:
    std::vector<uint32_t> starts_{0};
    bool ascii_ = true;
};

// The byte offset of `position`: a line past the last is the text's end, a
// character past its line's end is the line's end, and a character inside
// a UTF-8 sequence (or between the two halves of a surrogate pair) is the
// start of that character.
size_t offset_of(std::string_view text, const LineIndex &index, Position position, Encoding encoding);

// The positions of byte offsets, asked for mostly in increasing order: each
// is counted on from the one before when it lies further on the same line,
// so a line of megabytes is read once for all the places on it.
class Positioner {
  public:
    Positioner(std::string_view text, const LineIndex &index, Encoding encoding)
        : text_(text), index_(index), encoding_(encoding) {}
    Position at(size_t offset);

  private:
    std::string_view text_;
    const LineIndex &index_;
    Encoding encoding_;
    size_t line_ = SIZE_MAX, offset_ = 0;
    int64_t character_ = 0;
};

// The UTF-16 code units of `text`, an invalid byte counting one.
int64_t utf16_length(std::string_view text);

}  // namespace tool::lsp
