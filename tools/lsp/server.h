// The language server: reads the protocol's messages from the bytes it is
// fed, keeps the client's open documents, answers requests and publishes
// diagnostics. It does no input or output of its own: the bytes of its
// messages go to a sink and its log lines to another, so that it runs the
// same under the command's poll loop, the tests and the fuzzer.
#pragma once

#include <jansson.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "documents.h"
#include "framing.h"
#include "replies.h"

namespace tool::lsp {

using Clock = std::chrono::steady_clock;

// The pause in typing after which a changed document's diagnostics are
// published, unless the initialization option "debounceMs" says otherwise.
constexpr int DEFAULT_DEBOUNCE_MS = 200;

class Server {
  public:
    using Sink = std::function<void(std::string_view)>;
    Server(Sink output, Sink log, std::string version);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    // Reads the messages in `bytes` (with what was fed before) and answers
    // each complete one.
    void feed(std::string_view bytes);
    // The input has ended.
    void end_of_input();
    // Milliseconds until diagnostics are due to be published; -1: none.
    int wait_ms(Clock::time_point now) const;
    // Publishes the diagnostics that are due.
    void publish_due(Clock::time_point now);

    bool finished() const { return finished_; }
    int exit_status() const { return exit_status_; }
    // The open documents (for measuring).
    const std::map<std::string, std::unique_ptr<Document>, std::less<>> &documents() const { return documents_; }

  private:
    Sink output_, log_;
    std::string version_;
    Framer framer_;
    Client client_;
    bool initialized_ = false, shut_down_ = false, finished_ = false, pull_ = false;
    int exit_status_ = 1;
    int debounce_ms_ = DEFAULT_DEBOUNCE_MS;
    std::map<std::string, std::unique_ptr<Document>, std::less<>> documents_;
    std::map<std::string, Clock::time_point, std::less<>> due_;  // the documents whose diagnostics wait
    std::vector<std::string> texts_;  // the large texts taken out of the messages at hand, by index

    void finish(int status);
    void send(json_t *message);  // takes the reference
    void reply(json_t *id, json_t *result);
    void fail(json_t *id, int code, const std::string &message);
    void handle(json_t *message, const std::set<std::string> &cancelled);
    void request(json_t *id, const std::string &method, json_t *params);
    void notification(const std::string &method, json_t *params);
    json_t *initialize(json_t *params);
    void publish(Document &document);
    Document *document_of(json_t *params);
    // The text of a "text" member: a string, or the index of one taken out.
    bool text_of(const json_t *value, std::string &text);
    size_t offset_at(const Document &document, json_t *position) const;
};

}  // namespace tool::lsp
