// The language server's dispatch (see server.h).
#include "server.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace tool::lsp {
namespace {

// The protocol's error codes.
constexpr int PARSE_ERROR = -32700;
constexpr int INVALID_REQUEST = -32600;
constexpr int METHOD_NOT_FOUND = -32601;
constexpr int INVALID_PARAMS = -32602;
constexpr int SERVER_NOT_INITIALIZED = -32002;
constexpr int REQUEST_FAILED = -32803;
constexpr int REQUEST_CANCELLED = -32800;

// The JSON text of `value` appended to `out`; false when it could not be
// written (no value, or out of memory). jansson's own json_dumps is not
// used: when its buffer cannot grow it may leave out a key's closing quote
// and still return the text.
bool dump(const json_t *value, size_t flags, std::string &out) {
    auto append = [](const char *bytes, size_t size, void *to) {
        static_cast<std::string *>(to)->append(bytes, size);
        return 0;
    };
    return json_dump_callback(value, append, &out, flags) == 0;
}

// A request id as a key: its JSON text (empty for none).
std::string id_key(const json_t *id) {
    std::string key;
    if (!dump(id, JSON_COMPACT | JSON_ENCODE_ANY, key)) key.clear();
    return key;
}

std::string string_at(const json_t *object, const char *key) {
    const json_t *value = json_object_get(object, key);
    return json_is_string(value) ? std::string(json_string_value(value), json_string_length(value)) : std::string();
}

bool holds_text(const json_t *array, const char *text) {
    size_t i;
    const json_t *value;
    json_array_foreach(
        array, i, value) if (json_is_string(value) && std::string_view(json_string_value(value)) == text) return true;
    return false;
}

json_t *path(json_t *object, std::initializer_list<const char *> keys) {
    for (const char *key : keys) object = json_object_get(object, key);
    return object;
}

// A body as jansson reads it; a body with bytes that are not UTF-8 is read
// with each of them replaced, so that a stray byte costs a character, not
// the message.
json_t *parse(const std::string &body, json_error_t &error) {
    json_t *message = json_loadb(body.data(), body.size(), JSON_ALLOW_NUL, &error);
    if (message != nullptr || json_error_code(&error) != json_error_invalid_utf8) return message;
    const std::string valid = valid_utf8(body);
    return json_loadb(valid.data(), valid.size(), JSON_ALLOW_NUL, &error);
}

// A text longer than this is taken out of a message before jansson reads
// it: jansson reads a string a byte at a time and copies it twice, which
// for a document of megabytes costs many times its check.
constexpr size_t LARGE_TEXT = 64 << 10;

int hex(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The JSON string whose characters are `chars`, unescaped into `out`; false
// for an escape jansson would refuse (which it is then left to refuse).
// `chars` never ends inside an escape: its closing quote had an even run of
// backslashes before it.
bool unescape(std::string_view chars, std::string &out) {
    out.resize(chars.size());  // an escape is never shorter than what it stands for
    char *to = out.data();
    const char *p = chars.data(), *end = p + chars.size();
    auto put = [&](uint32_t c) {
        if (c < 0x80) {
            *to++ = static_cast<char>(c);
        } else if (c < 0x800) {
            *to++ = static_cast<char>(0xC0 | c >> 6);
            *to++ = static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            *to++ = static_cast<char>(0xE0 | c >> 12);
            *to++ = static_cast<char>(0x80 | (c >> 6 & 0x3F));
            *to++ = static_cast<char>(0x80 | (c & 0x3F));
        } else {
            *to++ = static_cast<char>(0xF0 | c >> 18);
            *to++ = static_cast<char>(0x80 | (c >> 12 & 0x3F));
            *to++ = static_cast<char>(0x80 | (c >> 6 & 0x3F));
            *to++ = static_cast<char>(0x80 | (c & 0x3F));
        }
    };
    auto hex4 = [&](const char *at) {
        int32_t value = 0;
        for (int k = 0; k < 4; ++k) {
            if (at + k >= end || hex(at[k]) < 0) return -1;
            value = value << 4 | hex(at[k]);
        }
        return value;
    };
    while (p < end) {
        const char *stop = static_cast<const char *>(std::memchr(p, '\\', static_cast<size_t>(end - p)));
        if (stop == nullptr) stop = end;
        std::memcpy(to, p, static_cast<size_t>(stop - p));
        to += stop - p;
        p = stop;
        if (p == end) break;
        ++p;  // the backslash
        switch (*p++) {
            case '"': *to++ = '"'; break;
            case '\\': *to++ = '\\'; break;
            case '/': *to++ = '/'; break;
            case 'b': *to++ = '\b'; break;
            case 'f': *to++ = '\f'; break;
            case 'n': *to++ = '\n'; break;
            case 'r': *to++ = '\r'; break;
            case 't': *to++ = '\t'; break;
            case 'u': {
                int32_t code = hex4(p);
                if (code < 0 || (code >= 0xDC00 && code <= 0xDFFF)) return false;
                p += 4;
                if (code >= 0xD800 && code <= 0xDBFF) {
                    const int32_t low = end - p >= 6 && p[0] == '\\' && p[1] == 'u' ? hex4(p + 2) : -1;
                    if (low < 0xDC00 || low > 0xDFFF) return false;
                    code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                    p += 6;
                }
                put(static_cast<uint32_t>(code));
                break;
            }
            default: return false;
        }
    }
    out.resize(static_cast<size_t>(to - out.data()));
    return true;
}

// Takes each string value of a "text" key longer than LARGE_TEXT out of
// `body` into `texts`, leaving its index in its place (a number, which no
// client sends as a text). Leaves `body` as it was when a string cannot be
// read so.
void take_texts(std::string &body, std::vector<std::string> &texts) {
    if (body.size() < LARGE_TEXT) return;
    auto string_end = [&](size_t open) {  // past the closing quote; npos without one
        for (size_t at = open + 1;;) {
            const size_t quote = body.find('"', at);
            if (quote == std::string::npos) return std::string::npos;
            size_t backslashes = 0;
            while (quote - backslashes > open + 1 && body[quote - backslashes - 1] == '\\') ++backslashes;
            if (backslashes % 2 == 0) return quote + 1;
            at = quote + 1;
        }
    };
    auto blanks = [&](size_t at) {
        while (at < body.size() && (body[at] == ' ' || body[at] == '\t' || body[at] == '\n' || body[at] == '\r')) ++at;
        return at;
    };
    std::string rest;
    size_t copied = 0;
    std::vector<std::string> taken;
    for (size_t at = body.find('"'); at != std::string::npos; at = body.find('"', at)) {
        const size_t end = string_end(at);
        if (end == std::string::npos) return;
        const size_t colon = blanks(end);
        // body[body.size()] is the string's NUL, which is neither ':' nor '"'.
        const bool text_key = end - at == 6 && body.compare(at, 6, "\"text\"") == 0 && body[colon] == ':';
        at = end;
        if (!text_key) continue;
        const size_t open = blanks(colon + 1);
        if (body[open] != '"') continue;
        const size_t close = string_end(open);
        if (close == std::string::npos) return;
        at = close;
        if (close - open < LARGE_TEXT) continue;
        std::string &text = taken.emplace_back();
        if (!unescape(std::string_view(body).substr(open + 1, close - open - 2), text)) return;
        if (!is_valid_utf8(text)) text = valid_utf8(text);
        rest.append(body, copied, open - copied).append(std::to_string(texts.size() + taken.size() - 1));
        copied = close;
    }
    if (taken.empty()) return;
    rest.append(body, copied, std::string::npos);
    body = std::move(rest);
    for (std::string &text : taken) texts.push_back(std::move(text));
}

}  // namespace

Server::Server(Sink output, Sink log, std::string version)
    : output_(std::move(output)), log_(std::move(log)), version_(std::move(version)) {}

Server::~Server() = default;

void Server::finish(int status) {
    finished_ = true;
    exit_status_ = status;
}

void Server::send(json_t *message) {
    if (message == nullptr) return log_("a message could not be made (out of memory)");
    std::string body;
    const bool written = dump(message, JSON_COMPACT, body);
    json_decref(message);
    if (!written) return log_("a message could not be written (out of memory)");
    output_("Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

void Server::reply(json_t *id, json_t *result) {
    if (result == nullptr) return fail(id, REQUEST_FAILED, "out of memory");  // the result could not be made
    send(json_pack("{s:s,s:O,s:o}", "jsonrpc", "2.0", "id", id, "result", result));
}

void Server::fail(json_t *id, int code, const std::string &text) {
    send(json_pack("{s:s,s:O,s:{s:i,s:o}}", "jsonrpc", "2.0", "id", id != nullptr ? id : json_null(), "error", "code",
                   code, "message", json_text(text)));
}

void Server::feed(std::string_view bytes) {
    if (finished_) return;
    framer_.feed(bytes);
    // The messages at hand are read first, so that a cancellation among
    // them reaches the request it cancels.
    std::vector<json_t *> messages;
    std::string body, problem;
    for (bool more = true; more && !finished_;) {
        switch (framer_.next(body, problem)) {
            case Framer::Status::body: {
                json_error_t error;
                const size_t first_text = texts_.size();
                take_texts(body, texts_);
                json_t *message = parse(body, error);
                if (message == nullptr) texts_.resize(first_text);
                if (message == nullptr) {
                    log_(std::string("a message that is not JSON: ") + error.text);
                    fail(nullptr, PARSE_ERROR, std::string("the message is not JSON: ") + error.text);
                } else {
                    messages.push_back(message);
                }
                break;
            }
            case Framer::Status::skipped: log_(problem); break;
            case Framer::Status::fatal:
                log_(problem);
                finish(1);
                break;
            case Framer::Status::need_more: more = false; break;
        }
    }
    std::set<std::string> cancelled;
    for (json_t *message : messages)
        if (string_at(message, "method") == "$/cancelRequest")
            cancelled.insert(id_key(path(message, {"params", "id"})));
    for (json_t *message : messages) {
        if (!finished_) handle(message, cancelled);
        json_decref(message);
    }
    texts_.clear();
}

void Server::end_of_input() {
    if (!finished_) {
        if (framer_.partial()) log_("the input ended inside a message");
        finish(shut_down_ ? 0 : 1);
    }
}

void Server::handle(json_t *message, const std::set<std::string> &cancelled) {
    if (!json_is_object(message)) return fail(nullptr, INVALID_REQUEST, "a message is a JSON object");
    json_t *id = json_object_get(message, "id");
    const json_t *method = json_object_get(message, "method");
    if (!json_is_string(method)) {
        if (id != nullptr && (json_object_get(message, "result") || json_object_get(message, "error"))) return;
        return fail(id, INVALID_REQUEST, "a request names its method");
    }
    const std::string name(json_string_value(method), json_string_length(method));
    json_t *params = json_object_get(message, "params");
    if (id == nullptr) return notification(name, params);
    if (!json_is_integer(id) && !json_is_string(id))
        return fail(nullptr, INVALID_REQUEST, "an id is a number or a text");
    if (cancelled.count(id_key(id)) != 0) return fail(id, REQUEST_CANCELLED, "the request was cancelled");
    if (shut_down_) return fail(id, INVALID_REQUEST, "the server is shut down");
    if (!initialized_ && name != "initialize") return fail(id, SERVER_NOT_INITIALIZED, "the server is not initialized");
    request(id, name, params);
}

json_t *Server::initialize(json_t *params) {
    json_t *capabilities = json_object_get(params, "capabilities");
    client_.encoding =
        holds_text(path(capabilities, {"general", "positionEncodings"}), "utf-8") ? Encoding::utf8 : Encoding::utf16;
    client_.snippets =
        json_is_true(path(capabilities, {"textDocument", "completion", "completionItem", "snippetSupport"}));
    client_.markdown = holds_text(path(capabilities, {"textDocument", "hover", "contentFormat"}), "markdown");
    pull_ = json_is_object(path(capabilities, {"textDocument", "diagnostic"}));
    const json_t *debounce = path(params, {"initializationOptions", "debounceMs"});
    if (json_is_integer(debounce) && json_integer_value(debounce) >= 0 && json_integer_value(debounce) <= 60000)
        debounce_ms_ = static_cast<int>(json_integer_value(debounce));
    initialized_ = true;
    return json_pack("{s:{s:s,s:{s:b,s:i,s:b},s:{s:[s,s],s:b},s:b,s:{s:[s,s]},s:b,s:b,s:{s:b,s:b}},s:{s:s,s:s}}",
                     "capabilities", "positionEncoding", client_.encoding == Encoding::utf8 ? "utf-8" : "utf-16",
                     "textDocumentSync", "openClose", 1, "change", 2, "save", 0, "completionProvider",
                     "triggerCharacters", "\"", ":", "resolveProvider", 0, "hoverProvider", 1, "codeActionProvider",
                     "codeActionKinds", "quickfix", "source.fixAll", "documentFormattingProvider", 1,
                     "documentSymbolProvider", 1, "diagnosticProvider", "interFileDependencies", 0,
                     "workspaceDiagnostics", 0, "serverInfo", "name", "jsoncodec", "version", version_.c_str());
}

bool Server::text_of(const json_t *value, std::string &text) {
    if (json_is_string(value)) {
        text.assign(json_string_value(value), json_string_length(value));
        return true;
    }
    if (!json_is_integer(value) || json_integer_value(value) < 0 ||
        static_cast<size_t>(json_integer_value(value)) >= texts_.size())
        return false;
    text = std::move(texts_[static_cast<size_t>(json_integer_value(value))]);
    return true;
}

Document *Server::document_of(json_t *params) {
    const std::string uri = string_at(json_object_get(params, "textDocument"), "uri");
    const auto found = documents_.find(uri);
    return found == documents_.end() ? nullptr : found->second.get();
}

size_t Server::offset_at(const Document &document, json_t *position) const {
    const json_t *line = json_object_get(position, "line"), *character = json_object_get(position, "character");
    const Position at{json_is_integer(line) ? json_integer_value(line) : 0,
                      json_is_integer(character) ? json_integer_value(character) : 0};
    return offset_of(document.text, document.lines, at, client_.encoding);
}

void Server::request(json_t *id, const std::string &method, json_t *params) {
    if (method == "initialize") {
        if (initialized_) return fail(id, INVALID_REQUEST, "the server is initialized already");
        return reply(id, initialize(params));
    }
    if (method == "shutdown") {
        shut_down_ = true;
        return reply(id, json_null());
    }
    static const char *const on_documents[] = {"textDocument/diagnostic", "textDocument/codeAction",
                                               "textDocument/completion", "textDocument/hover",
                                               "textDocument/formatting", "textDocument/documentSymbol"};
    if (std::find_if(std::begin(on_documents), std::end(on_documents),
                     [&](const char *known) { return method == known; }) == std::end(on_documents))
        return fail(id, METHOD_NOT_FOUND, "no method " + method);
    if (!json_is_object(params) || !json_is_object(json_object_get(params, "textDocument")))
        return fail(id, INVALID_PARAMS, method + " needs a textDocument");
    Document *document = document_of(params);
    if (document == nullptr) return fail(id, INVALID_PARAMS, "the document is not open");
    if (method == "textDocument/diagnostic") {
        return reply(id, json_pack("{s:s,s:o}", "kind", "full", "items", diagnostics_json(*document, client_)));
    }
    if (method == "textDocument/codeAction") {
        json_t *range = json_object_get(params, "range");
        size_t begin = offset_at(*document, json_object_get(range, "start"));
        size_t end = offset_at(*document, json_object_get(range, "end"));
        if (end < begin) std::swap(begin, end);
        const json_t *only = path(params, {"context", "only"});
        const bool quick = !json_is_array(only) || holds_text(only, "quickfix");
        const bool all = !json_is_array(only) || holds_text(only, "source.fixAll") || holds_text(only, "source");
        return reply(id, code_actions_json(*document, client_, begin, end, quick, all));
    }
    if (method == "textDocument/formatting") {
        std::string refusal;
        json_t *edits = formatting_json(*document, client_, refusal);
        if (edits == nullptr) return fail(id, REQUEST_FAILED, refusal);
        return reply(id, edits);
    }
    if (method == "textDocument/documentSymbol") return reply(id, symbols_json(*document, client_));
    const size_t offset = offset_at(*document, json_object_get(params, "position"));
    if (method == "textDocument/completion")
        return reply(id,
                     json_pack("{s:b,s:o}", "isIncomplete", 0, "items", completion_json(*document, client_, offset)));
    reply(id, hover_json(*document, client_, offset));
}

void Server::notification(const std::string &method, json_t *params) {
    if (method == "exit") return finish(shut_down_ ? 0 : 1);
    if (!initialized_ || shut_down_) return;
    if (method == "textDocument/didOpen") {
        json_t *item = json_object_get(params, "textDocument");
        std::string text;
        const std::string uri = string_at(item, "uri");
        if (uri.empty() || !text_of(json_object_get(item, "text"), text))
            return log_("didOpen without a uri or a text");
        auto &slot = documents_[uri];
        if (slot == nullptr) slot = std::make_unique<Document>();
        slot->uri = uri;
        const json_t *version = json_object_get(item, "version");
        slot->version = json_is_integer(version) ? json_integer_value(version) : 0;
        slot->replace(std::move(text));
        due_[uri] = Clock::now();
        return;
    }
    if (method == "textDocument/didChange") {
        Document *document = document_of(params);
        if (document == nullptr) return log_("didChange of a document that is not open");
        const json_t *version = path(params, {"textDocument", "version"});
        if (json_is_integer(version)) document->version = json_integer_value(version);
        size_t i;
        json_t *change;
        json_array_foreach(json_object_get(params, "contentChanges"), i, change) {
            std::string with;
            if (!text_of(json_object_get(change, "text"), with)) continue;
            json_t *range = json_object_get(change, "range");
            if (!json_is_object(range)) {
                document->replace(std::move(with));
                continue;
            }
            auto position = [](const json_t *at) {
                const json_t *line = json_object_get(at, "line"), *character = json_object_get(at, "character");
                return Position{json_is_integer(line) ? json_integer_value(line) : 0,
                                json_is_integer(character) ? json_integer_value(character) : 0};
            };
            document->edit(position(json_object_get(range, "start")), position(json_object_get(range, "end")), with,
                           client_.encoding);
        }
        due_[document->uri] = Clock::now() + std::chrono::milliseconds(debounce_ms_);
        return;
    }
    if (method == "textDocument/didClose") {
        Document *document = document_of(params);
        if (document == nullptr) return;
        const std::string uri = document->uri;
        due_.erase(uri);
        documents_.erase(uri);
        if (!pull_)
            send(json_pack("{s:s,s:s,s:{s:s,s:[]}}", "jsonrpc", "2.0", "method", "textDocument/publishDiagnostics",
                           "params", "uri", uri.c_str(), "diagnostics"));
    }
}

int Server::wait_ms(Clock::time_point now) const {
    if (due_.empty() || finished_) return -1;
    Clock::time_point first = Clock::time_point::max();
    for (const auto &[uri, when] : due_) first = std::min(first, when);
    if (first <= now) return 0;
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(first - now).count());
}

void Server::publish_due(Clock::time_point now) {
    for (auto it = due_.begin(); it != due_.end();) {
        if (it->second > now) {
            ++it;
            continue;
        }
        // A document waits here only while it is open: closing it erases its entry.
        Document &document = *documents_.at(it->first);
        it = due_.erase(it);
        publish(document);
    }
}

void Server::publish(Document &document) {
    if (pull_) {
        document.check();
        return;
    }
    send(json_pack("{s:s,s:s,s:{s:o,s:I,s:o}}", "jsonrpc", "2.0", "method", "textDocument/publishDiagnostics", "params",
                   "uri", json_text(document.uri), "version", static_cast<json_int_t>(document.version), "diagnostics",
                   diagnostics_json(document, client_)));
}

}  // namespace tool::lsp
