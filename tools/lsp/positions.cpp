// Conversions between byte offsets and the protocol's positions (see
// positions.h).
#include "positions.h"

#include <algorithm>
#include <cstring>

#include "json_text.h"

namespace tool::lsp {
namespace {

// The bytes of the character at `p` (before `end`) and its UTF-16 units:
// an invalid byte is one character of one unit.
void character_at(const char *p, const char *end, size_t &bytes, int64_t &units) {
    const unsigned char first = static_cast<unsigned char>(*p);
    if (first < 0x80) {
        bytes = 1, units = 1;
        return;
    }
    const size_t want = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (static_cast<size_t>(end - p) < want) {
        bytes = 1, units = 1;
        return;
    }
    // utf8_sequence stops at any byte that does not continue the sequence.
    unsigned char copy[5] = {};
    std::memcpy(copy, p, want);
    const size_t length = jsoncodec::json_text::utf8_sequence(copy);
    bytes = length == 0 ? 1 : length;
    units = length == 4 ? 2 : 1;
}

}  // namespace

void LineIndex::build(std::string_view text) {
    starts_.assign(1, 0);
    const char *begin = text.data(), *end = begin + text.size();
    uint64_t high = 0;  // the high bits of every byte, gathered
    const char *p = begin;
    for (; end - p >= 8; p += 8) {
        uint64_t word;
        std::memcpy(&word, p, 8);
        high |= word;
        // A byte below 0x0E may be a line break: look closer.
        constexpr uint64_t ones = 0x0101010101010101ULL;
        if (((word - ones * 0x0E) & ~word & ones * 0x80) == 0) continue;
        for (int k = 0; k < 8; ++k)
            if ((p[k] == '\r' && !(p + k + 1 < end && p[k + 1] == '\n')) || p[k] == '\n')
                starts_.push_back(static_cast<uint32_t>(p + k + 1 - begin));
    }
    for (; p < end; ++p) {
        high |= static_cast<unsigned char>(*p);
        if ((*p == '\r' && !(p + 1 < end && p[1] == '\n')) || *p == '\n')
            starts_.push_back(static_cast<uint32_t>(p + 1 - begin));
    }
    ascii_ = (high & 0x8080808080808080ULL) == 0;
    starts_.shrink_to_fit();
}

size_t LineIndex::line_of(size_t offset) const {
    return static_cast<size_t>(std::upper_bound(starts_.begin(), starts_.end(), offset) - starts_.begin()) - 1;
}

size_t LineIndex::end(std::string_view text, size_t line) const {
    if (line + 1 >= starts_.size()) return text.size();
    size_t at = starts_[line + 1] - 1;  // the break's last byte
    if (text[at] == '\n' && at > starts_[line] && text[at - 1] == '\r') --at;
    return at;
}

int64_t utf16_length(std::string_view text) {
    int64_t units = 0;
    const char *p = text.data(), *end = p + text.size();
    while (p < end) {
        size_t bytes;
        int64_t width;
        character_at(p, end, bytes, width);
        p += bytes, units += width;
    }
    return units;
}

size_t offset_of(std::string_view text, const LineIndex &index, Position position, Encoding encoding) {
    if (position.line < 0) return 0;
    if (static_cast<size_t>(position.line) >= index.lines()) return text.size();
    const size_t start = index.start(static_cast<size_t>(position.line));
    const size_t end = index.end(text, static_cast<size_t>(position.line));
    if (position.character <= 0) return start;
    if (encoding == Encoding::utf8 || index.ascii()) {
        size_t at = start + std::min(static_cast<size_t>(position.character), end - start);
        if (encoding == Encoding::utf8)
            while (at > start && at < end && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) --at;
        return at;
    }
    const char *p = text.data() + start, *stop = text.data() + end;
    int64_t units = 0;
    while (p < stop) {
        size_t bytes;
        int64_t width;
        character_at(p, stop, bytes, width);
        if (units + width > position.character) break;
        units += width, p += bytes;
    }
    return static_cast<size_t>(p - text.data());
}

Position Positioner::at(size_t offset) {
    offset = std::min(offset, text_.size());
    const size_t line = index_.line_of(offset);
    const size_t start = index_.start(line);
    const size_t end = index_.end(text_, line);
    const size_t target = std::min(offset, end);
    if (encoding_ == Encoding::utf8 || index_.ascii())
        return {static_cast<int64_t>(line), static_cast<int64_t>(target - start)};
    if (line != line_ || target < offset_) line_ = line, offset_ = start, character_ = 0;
    const char *p = text_.data() + offset_, *stop = text_.data() + end;
    while (static_cast<size_t>(p - text_.data()) < target) {
        size_t bytes;
        int64_t width;
        character_at(p, stop, bytes, width);
        if (static_cast<size_t>(p - text_.data()) + bytes > target) break;  // inside a character: its start
        p += bytes, character_ += width;
    }
    offset_ = static_cast<size_t>(p - text_.data());
    return {static_cast<int64_t>(line), character_};
}

}  // namespace tool::lsp
