// The framing of the protocol's messages on a byte stream: a block of
// header lines ("Content-Length: N", names in any case, lines ended by
// CRLF or LF), an empty line, then N bytes of body.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tool::lsp {

// The largest body the server takes. A Content-Length above it cannot be
// met: the stream ends there, and nothing of that size is allocated.
constexpr size_t MAX_BODY = size_t{512} << 20;
// The longest header block; past it the stream is not this protocol.
constexpr size_t MAX_HEADERS = 64 << 10;

class Framer {
  public:
    enum class Status {
        body,       // `body` holds the next message's body
        need_more,  // no complete message in what was fed
        skipped,    // a header block without a usable Content-Length was passed over (`problem` says why)
        fatal,      // the stream cannot be read on (`problem` says why)
    };

    void feed(std::string_view bytes);
    // Takes the next message out of what was fed.
    Status next(std::string &body, std::string &problem);
    // Whether bytes of an unfinished message are waiting.
    bool partial() const { return start_ < buffer_.size(); }

  private:
    std::string buffer_;
    size_t start_ = 0;               // bytes before it are consumed
    size_t body_length_ = SIZE_MAX;  // of the message whose headers were read; SIZE_MAX: reading headers
    void compact();
};

}  // namespace tool::lsp
