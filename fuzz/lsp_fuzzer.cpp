// The language server on arbitrary byte streams: framing, bodies, and
// whatever the messages ask of the documents they open. The stream is fed
// in pieces whose size the first byte chooses, so that messages are split
// over reads and share them. Whatever comes in, the server must not crash
// or leak, and everything it writes must be framed messages of JSON-RPC
// 2.0, each an object.
#include <jansson.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "lsp/framing.h"
#include "lsp/server.h"

namespace {

[[noreturn]] void malformed(const char *what, const std::string &body) {
    std::fprintf(stderr, "the server wrote %s: %.300s\n", what, body.c_str());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string output;
    {
        tool::lsp::Server server([&](std::string_view bytes) { output += bytes; }, [](std::string_view) {}, "fuzz");
        const size_t step = size > 0 ? data[0] % 97 + 1 : 1;
        const char *bytes = reinterpret_cast<const char *>(data);
        for (size_t at = size > 0 ? 1 : 0; at < size && !server.finished(); at += step) {
            server.feed(std::string_view(bytes + at, std::min(step, size - at)));
            server.publish_due(tool::lsp::Clock::now());
        }
        server.publish_due(tool::lsp::Clock::now() + std::chrono::hours(1));
        server.end_of_input();
    }
    tool::lsp::Framer framer;
    framer.feed(output);
    std::string body, problem;
    for (tool::lsp::Framer::Status status;
         (status = framer.next(body, problem)) != tool::lsp::Framer::Status::need_more;) {
        if (status != tool::lsp::Framer::Status::body) malformed("a bad frame", problem);
        json_t *message = json_loadb(body.data(), body.size(), 0, nullptr);
        if (!json_is_object(message)) malformed("a body that is not a JSON object", body);
        const json_t *version = json_object_get(message, "jsonrpc");
        const bool reply =
            json_object_get(message, "id") != nullptr &&
            (json_object_get(message, "result") != nullptr) != (json_object_get(message, "error") != nullptr);
        const bool notice = json_is_string(json_object_get(message, "method"));
        if (!json_is_string(version) || std::string(json_string_value(version)) != "2.0" || !(reply || notice))
            malformed("a message that is neither a reply nor a notification", body);
        json_decref(message);
    }
    if (framer.partial())
        malformed("an unfinished message", output.substr(output.size() - std::min<size_t>(300, output.size())));
    return 0;
}
