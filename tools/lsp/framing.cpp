// Splits the byte stream into message bodies (see framing.h).
#include "framing.h"

#include <strings.h>
#include <cstdint>

namespace tool::lsp {
namespace {

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

// The value of a Content-Length header: its digits, or SIZE_MAX when it is
// not a number or exceeds MAX_BODY.
size_t length_value(std::string_view value) {
    value = trimmed(value);
    if (value.empty()) return SIZE_MAX;
    size_t length = 0;
    for (char c : value) {
        if (c < '0' || c > '9') return SIZE_MAX;
        length = length * 10 + static_cast<size_t>(c - '0');
        if (length > MAX_BODY) return SIZE_MAX;
    }
    return length;
}

}  // namespace

void Framer::feed(std::string_view bytes) {
    compact();
    buffer_.append(bytes);
}

void Framer::compact() {
    if (start_ == 0) return;
    if (start_ == buffer_.size()) {
        buffer_.clear();
        if (buffer_.capacity() > (size_t{1} << 20)) buffer_.shrink_to_fit();
    } else if (start_ > buffer_.size() / 2 || start_ > (size_t{1} << 20)) {
        buffer_.erase(0, start_);
    } else {
        return;
    }
    start_ = 0;
}

Framer::Status Framer::next(std::string &body, std::string &problem) {
    if (body_length_ == SIZE_MAX) {
        const std::string_view rest = std::string_view(buffer_).substr(start_);
        // Blank lines between messages are passed over.
        size_t at = 0;
        while (at < rest.size() && (rest[at] == '\r' || rest[at] == '\n')) ++at;
        start_ += at;
        const std::string_view block = rest.substr(at);
        bool has_length = false, bad_length = false;
        std::string_view bad_value;
        size_t length = 0;
        for (size_t line_start = 0;;) {
            const size_t newline = block.find('\n', line_start);
            if (newline == std::string_view::npos) {
                if (block.size() > MAX_HEADERS) {
                    problem = "a header block longer than 64 KiB: the input is not framed as the protocol frames it";
                    return Status::fatal;
                }
                return Status::need_more;
            }
            std::string_view line = block.substr(line_start, newline - line_start);
            if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
            line_start = newline + 1;
            if (!line.empty()) {
                const size_t colon = line.find(':');
                const std::string_view name = trimmed(line.substr(0, colon));
                if (colon != std::string_view::npos && name.size() == 14 &&
                    strncasecmp(name.data(), "content-length", 14) == 0) {
                    length = length_value(line.substr(colon + 1));
                    has_length = length != SIZE_MAX;
                    bad_length = !has_length;
                    if (bad_length) bad_value = trimmed(line.substr(colon + 1));
                }
                continue;
            }
            // The empty line: the headers are complete.
            start_ += line_start;
            if (bad_length) {
                problem = "a Content-Length of '" + std::string(bad_value.substr(0, 40)) +
                          "' cannot be met: the largest message is 512 MiB";
                return Status::fatal;
            }
            if (!has_length) {
                problem = "a header block without Content-Length was passed over";
                return Status::skipped;
            }
            body_length_ = length;
            break;
        }
    }
    if (buffer_.size() - start_ < body_length_) return Status::need_more;
    if (buffer_.size() - start_ == body_length_ && body_length_ > (size_t{1} << 20)) {
        // A large body that ends what was fed (a document opened whole) is
        // handed over rather than copied: its bytes move back over the headers.
        buffer_.erase(0, start_);
        body.swap(buffer_);
        buffer_.clear();
        start_ = 0;
        body_length_ = SIZE_MAX;
        return Status::body;
    }
    body.assign(buffer_, start_, body_length_);
    start_ += body_length_;
    body_length_ = SIZE_MAX;
    return Status::body;
}

}  // namespace tool::lsp
