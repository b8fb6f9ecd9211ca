// The language server's pieces: framing, positions, the ranking of
// did-you-means, and the server driven in process as a client drives it.
#include <gtest/gtest.h>
#include <jansson.h>

#include <algorithm>
#include <string>
#include <vector>

#include "checker.h"
#include "lsp/framing.h"
#include "lsp/positions.h"
#include "lsp/schema_map.h"
#include "lsp/server.h"
#include "lsp/tree.h"

namespace tool::lsp {
namespace {

std::string framed(const std::string &body, const char *header = "Content-Length") {
    return std::string(header) + ": " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

TEST(Framing, MessagesSplitOverReadsOrSharingOneAreTakenWhole) {
    const std::string stream =
        framed(R"({"a":1})") + framed(R"({"b":"é"})", "content-LENGTH") +
        "\r\n\nX\nContent-Lenght: 1\nContent-Type: application/json\ncontent-length:\t2 \t\n\n{}";
    for (size_t piece : {size_t{1}, size_t{7}, stream.size()}) {
        Framer framer;
        std::vector<std::string> bodies;
        std::string body, problem;
        for (size_t at = 0; at < stream.size(); at += piece) {
            framer.feed(std::string_view(stream).substr(at, piece));
            while (framer.next(body, problem) == Framer::Status::body) bodies.push_back(body);
        }
        EXPECT_EQ(bodies, (std::vector<std::string>{R"({"a":1})", R"({"b":"é"})", "{}"})) << "pieces of " << piece;
        EXPECT_FALSE(framer.partial());
    }
    Framer whole;  // a large body that ends what was fed is handed over whole, then the next read
    std::string body, problem;
    for (const std::string &sent : {"\"" + std::string((size_t{1} << 20) + 1, 'a') + "\"", std::string("{}")}) {
        whole.feed(framed(sent));
        EXPECT_TRUE(whole.next(body, problem) == Framer::Status::body && body == sent) << sent.substr(0, 9);
    }
}

TEST(Framing, ALengthThatCannotBeMetEndsTheStreamAndAMissingOneIsPassedOver) {
    Framer framer;
    std::string body, problem;
    framer.feed("X-Other: 1\r\n\r\n" + framed("{}"));
    EXPECT_EQ(framer.next(body, problem), Framer::Status::skipped);
    EXPECT_EQ(framer.next(body, problem), Framer::Status::body);
    for (const char *length : {" \t", "1x", "99999999999999999999999"}) {
        Framer bad;
        bad.feed("Content-Length: " + std::string(length) + "\r\n\r\n");
        EXPECT_EQ(bad.next(body, problem), Framer::Status::fatal) << length;
    }
    EXPECT_NE(problem.find("cannot be met"), std::string::npos);
    Framer endless;
    endless.feed(std::string(MAX_HEADERS + 1, 'x'));
    EXPECT_EQ(endless.next(body, problem), Framer::Status::fatal);
}

TEST(Positions, UnitsAroundSurrogatePairsLineBreaksAndLinesEnds) {
    // "😀" is four bytes and two UTF-16 units, "é" two bytes and one unit.
    const std::string text = "aé😀b\r\nx\ry\n";
    LineIndex index;
    index.build(text);
    ASSERT_EQ(index.lines(), 4u);
    EXPECT_FALSE(index.ascii());
    auto offset = [&](int64_t line, int64_t character, Encoding encoding = Encoding::utf16) {
        return offset_of(text, index, {line, character}, encoding);
    };
    EXPECT_EQ(offset(0, 2), 3u);                  // 😀
    EXPECT_EQ(offset(0, 3), 3u);                  // between its halves: its start
    EXPECT_EQ(offset(0, 4), 7u);                  // b
    EXPECT_EQ(offset(0, 99), 8u);                 // past the line's end: before "\r\n"
    EXPECT_EQ(offset(1, 1), 11u);                 // after "x", before a lone "\r"
    EXPECT_EQ(offset(2, 0), 12u);                 // y
    EXPECT_EQ(offset(9, 0), text.size());         // past the last line
    EXPECT_EQ(offset(-1, 5), 0u);                 // before the first
    EXPECT_EQ(offset(0, 5, Encoding::utf8), 3u);  // inside 😀's bytes: its start
    EXPECT_EQ(offset(0, 7, Encoding::utf8), 7u);
    Positioner at(text, index, Encoding::utf16);
    const std::vector<std::pair<size_t, Position>> expected = {{0, {0, 0}}, {3, {0, 2}},  {5, {0, 2}},  {7, {0, 4}},
                                                               {9, {0, 5}}, {10, {1, 0}}, {12, {2, 0}}, {14, {3, 0}}};
    for (const auto &[byte, position] : expected) {
        const Position got = at.at(byte);
        EXPECT_EQ(got.line, position.line) << "offset " << byte;
        EXPECT_EQ(got.character, position.character) << "offset " << byte;
    }
    EXPECT_EQ(at.at(3).character, 2);  // backwards: counted again from the line's start
    EXPECT_EQ(utf16_length("é😀\xFF"), 4);
}

TEST(Ranking, NearestFirstCaseCountsOneAndFarNamesAreLeftOut) {
    const std::vector<std::string_view> names = {"abtDestinationPool", "abtEstimate", "abtestimat", "policyName"};
    EXPECT_EQ(rank_names("abtEstimat", names, 3), (std::vector<std::string_view>{"abtEstimate", "abtestimat"}));
    EXPECT_EQ(rank_names("PolicyName", names, 3), (std::vector<std::string_view>{"policyName"}));
    EXPECT_TRUE(rank_names("owner", names, 3).empty());
    // A longer name takes more edits; equals keep their order.
    EXPECT_EQ(rank_names("actionSchedulePeriodd", {"actionScheduleComment", "actionSchedulePeriod", "x"}, 1),
              (std::vector<std::string_view>{"actionSchedulePeriod"}));
}

// A client in process: what it sends, and the server's messages parsed.
class Session {
  public:
    explicit Session(json_t *capabilities = nullptr, int debounce = 100)
        : server_([this](std::string_view bytes) { output_ += bytes; }, [this](std::string_view) { ++logged_; },
                  "test") {
        if (capabilities == nullptr) capabilities = json_object();
        send(json_pack("{s:i,s:s,s:{s:o,s:{s:i}}}", "id", 1, "method", "initialize", "params", "capabilities",
                       capabilities, "initializationOptions", "debounceMs", debounce));
        json_t *reply = take();  // jansson's json_is_* read their argument twice
        EXPECT_TRUE(json_is_object(json_object_get(reply, "result")));
    }
    ~Session() {
        json_decref(last_);
        for (json_t *message : messages_) json_decref(message);
    }
    void send(json_t *message) {
        json_object_set_new(message, "jsonrpc", json_string("2.0"));
        char *body = json_dumps(message, JSON_COMPACT);
        json_decref(message);
        raw(framed(body));
        std::free(body);
    }
    void raw(const std::string &bytes) {
        server_.feed(bytes);
        read();
    }
    json_t *request(const char *method, json_t *params, int id = 7) {
        send(json_pack("{s:i,s:s,s:o?}", "id", id, "method", method, "params", params));
        return take();
    }
    void notify(const char *method, json_t *params) {
        send(json_pack("{s:s,s:o?}", "method", method, "params", params));
    }
    void open(const std::string &text) {
        notify("textDocument/didOpen", json_pack("{s:{s:s,s:s,s:i,s:s%}}", "textDocument", "uri", "file:///d.json",
                                                 "languageId", "json", "version", 1, "text", text.data(), text.size()));
    }
    // The next message of the server; nullptr when there is none.
    json_t *take() {
        json_decref(last_);
        last_ = nullptr;
        if (messages_.empty()) return nullptr;
        last_ = messages_.front();
        messages_.erase(messages_.begin());
        return last_;
    }
    size_t waiting() const { return messages_.size(); }
    Server &server() { return server_; }
    int logged() const { return logged_; }
    // Publishes what is due `later` from now.
    void wait(std::chrono::milliseconds later) {
        server_.publish_due(Clock::now() + later);
        read();
    }

  private:
    Server server_;
    std::string output_;
    std::vector<json_t *> messages_;
    json_t *last_ = nullptr;
    int logged_ = 0;

    void read() {
        Framer framer;
        framer.feed(output_);
        output_.clear();
        std::string body, problem;
        while (framer.next(body, problem) == Framer::Status::body) {
            json_t *message = json_loads(body.c_str(), 0, nullptr);
            ASSERT_NE(message, nullptr) << body;
            EXPECT_STREQ(json_string_value(json_object_get(message, "jsonrpc")), "2.0");
            messages_.push_back(message);
        }
        EXPECT_FALSE(framer.partial());
    }
};

json_int_t error_code(json_t *reply) {
    return json_integer_value(json_object_get(json_object_get(reply, "error"), "code"));
}

json_t *document() { return json_pack("{s:s}", "uri", "file:///d.json"); }
json_t *at(int line, int character) { return json_pack("{s:i,s:i}", "line", line, "character", character); }

// `text` with the protocol's text edits applied (ranges of the text before
// any of them).
std::string applied(std::string text, json_t *edits, Encoding encoding = Encoding::utf16) {
    LineIndex index;
    index.build(text);
    std::vector<std::tuple<size_t, size_t, std::string>> changes;
    size_t i;
    json_t *edit;
    json_array_foreach(edits, i, edit) {
        auto offset = [&](const char *end) {
            json_t *position = json_object_get(json_object_get(edit, "range"), end);
            return offset_of(text, index,
                             {json_integer_value(json_object_get(position, "line")),
                              json_integer_value(json_object_get(position, "character"))},
                             encoding);
        };
        changes.emplace_back(offset("start"), offset("end"), json_string_value(json_object_get(edit, "newText")));
    }
    std::stable_sort(changes.begin(), changes.end(),
                     [](const auto &a, const auto &b) { return std::get<0>(a) > std::get<0>(b); });
    for (const auto &[begin, end, with] : changes) text.replace(begin, end - begin, with);
    return text;
}

TEST(Server, ProtocolErrorsAndTheLifeOfTheServer) {
    Server early([](std::string_view) {}, [](std::string_view) {}, "test");
    Session session;
    // A cancellation read with its request answers it as cancelled.
    std::string both;
    both += framed(R"({"jsonrpc":"2.0","id":"h","method":"textDocument/hover","params":{}})");
    both += framed(R"({"jsonrpc":"2.0","method":"$/cancelRequest","params":{"id":"h"}})");
    session.raw(both);
    EXPECT_EQ(error_code(session.take()), -32800);
    EXPECT_EQ(session.waiting(), 0u);
    json_t *shut = session.request("shutdown", nullptr);
    EXPECT_TRUE(json_is_null(json_object_get(shut, "result")));
    EXPECT_EQ(error_code(session.request("textDocument/hover", json_object())), -32600);
    session.notify("exit", nullptr);
    EXPECT_TRUE(session.server().finished());
    EXPECT_EQ(session.server().exit_status(), 0);

    std::string output;
    Server fresh([&](std::string_view bytes) { output += bytes; }, [](std::string_view) {}, "test");
    fresh.feed(framed(R"({"jsonrpc":"2.0","id":1,"method":"shutdown"})"));
    EXPECT_NE(output.find("-32002"), std::string::npos);
    fresh.feed(framed(R"({"jsonrpc":"2.0","method":"exit"})"));
    EXPECT_EQ(fresh.exit_status(), 1);
    early.end_of_input();
    EXPECT_TRUE(early.finished());
}

TEST(Server, EachMalformedMessageIsAnsweredOrPassedOverAsTheProtocolSays) {
    struct Row {
        const char *message;
        int code;  // 0: no reply
        const char *said;
        int logs;
    };
    const Row rows[] = {
        {"{not json", -32700, "the message is not JSON: string or '}' expected near 'not'", 1},
        {"[1]", -32600, "a message is a JSON object", 0},
        {R"({"id":2,"method":"textDocument/rename"})", -32601, "no method textDocument/rename", 0},
        {R"({"id":3,"result":{}})", 0, "", 0},  // a client's reply
        {R"({"id":3})", -32600, "a request names its method", 0},
        {R"({"id":true,"method":"textDocument/hover"})", -32600, "an id is a number or a text", 0},
        {R"({"id":4,"method":"initialize","params":{}})", -32600, "the server is initialized already", 0},
        {R"({"id":5,"method":"textDocument/hover","params":{}})", -32602, "textDocument/hover needs a textDocument", 0},
        {R"({"id":6,"method":"textDocument/hover","params":{"textDocument":{"uri":"file:///n"}}})", -32602,
         "the document is not open", 0},
        {R"({"method":"$/cancelRequest"})", 0, "", 0},
        {R"({"method":"textDocument/didOpen","params":{"textDocument":{"text":"{}"}}})", 0, "", 1},
        {R"({"method":"textDocument/didOpen","params":{"textDocument":{"uri":"file:///n","text":0}}})", 0, "", 1},
        {R"({"method":"textDocument/didOpen","params":{"textDocument":{"uri":"file:///n","text":-1}}})", 0, "", 1},
        {R"({"method":"textDocument/didChange","params":{"textDocument":{"uri":"file:///n"}}})", 0, "", 1},
        {R"({"method":"textDocument/didClose","params":{"textDocument":{"uri":"file:///n"}}})", 0, "", 0},
    };
    Session session(nullptr, -5);  // a pause out of range: the default one
    for (const Row &row : rows) {
        const int logged = session.logged();
        session.raw(framed(row.message));
        json_t *reply = session.take();
        EXPECT_EQ(reply == nullptr ? 0 : error_code(reply), row.code) << row.message;
        if (reply != nullptr) {
            EXPECT_STREQ(json_string_value(json_object_get(json_object_get(reply, "error"), "message")), row.said);
        }
        EXPECT_EQ(session.logged() - logged, row.logs) << row.message;
    }
    EXPECT_TRUE(session.server().documents().empty());
    session.open("{}");
    session.open("{\"ruleName\": \"r\"}");  // opened again: its text replaced
    ASSERT_EQ(session.server().documents().size(), 1u);
    EXPECT_EQ(session.server().documents().begin()->second->text, "{\"ruleName\": \"r\"}");
    session.notify("textDocument/didChange", json_pack("{s:o,s:[{s:i}]}", "textDocument", document(), "contentChanges",
                                                       "text", 1));  // no text: passed over
    EXPECT_EQ(session.server().documents().begin()->second->text, "{\"ruleName\": \"r\"}");
    EXPECT_EQ(session.server().wait_ms(Clock::now()), DEFAULT_DEBOUNCE_MS);
    // A header that cannot be met ends the server; what follows is not read.
    session.raw("Content-Length: x\r\n\r\n" + framed(R"({"id":8,"method":"shutdown"})"));
    EXPECT_TRUE(session.server().finished());
    EXPECT_EQ(session.waiting(), 0u);
    EXPECT_EQ(session.server().wait_ms(Clock::now()), -1);
    session.raw(framed(R"({"id":9,"method":"shutdown"})"));
    session.server().end_of_input();
    EXPECT_EQ(session.server().exit_status(), 1);
    EXPECT_EQ(session.waiting(), 0u);

    // Before initialize and after shutdown, notifications are passed over;
    // after exit, the rest of what was read is.
    std::string output;
    Server server([&](std::string_view bytes) { output += bytes; }, [](std::string_view) {}, "test");
    const std::string open =
        framed(R"({"method":"textDocument/didOpen","params":{"textDocument":{"uri":"file:///d.json","text":"{}"}}})");
    server.feed(open + framed(R"({"id":1,"method":"initialize"})") + framed(R"({"id":2,"method":"shutdown"})") + open);
    EXPECT_TRUE(server.documents().empty());
    server.feed(framed(R"({"method":"exit"})") + framed(R"({"id":3,"method":"initialize"})"));
    EXPECT_EQ(server.exit_status(), 0);
    EXPECT_EQ(output.find("\"id\":3"), std::string::npos);
    Server cut([](std::string_view) {}, [](std::string_view) {}, "test");
    cut.feed(framed(R"({"id":1,"method":"initialize"})") + framed(R"({"id":2,"method":"shutdown"})") + "Content-Le");
    cut.end_of_input();
    EXPECT_EQ(cut.exit_status(), 0);
}

// A tree in short: keys and strings quoted, '~' for what is not closed,
// '=' for a colon, '_' for a missing value.
std::string shape(const Node &node) {
    std::string out = node.type == Node::Type::object ? "{" : node.type == Node::Type::array ? "[" : "";
    for (const Member &member : node.members)
        out += lsp::quoted(member.key) + (member.colon != SIZE_MAX ? "=" : "") + shape(member.value) + ",";
    for (const Node &item : node.items) out += shape(item) + ",";
    if (node.type == Node::Type::missing) return "_";
    if (node.type == Node::Type::string) return lsp::quoted(node.text) + (node.closed ? "" : "~");
    if (node.type != Node::Type::object && node.type != Node::Type::array) return node.text;
    return out + (node.closed ? "]" : "~");
}

TEST(Tree, WhatIsBeingTypedReadsAsTheNearestWellFormedText) {
    const std::pair<const char *, const char *> rows[] = {
        {"{\"a\" \t: -1,\r\"b\": tru", R"({"a"=-1,"b"=tru,~)"},
        {"{\t{}, \"b\": +1, \"c\":: k:tru{}, \"\\u0001\\udc00\\ud800\\ue000\\ud800x\": \"v\\\r, \"e\": \"s\"",
         "{\"b\"=+1,\"c\"=_,\"k\"=tru,\"\\u0001\xED\xB0\x80\xED\xA0\x80\xEE\x80\x80\xED\xA0\x80x\"=\"v\"~,\"e\"=\"s\","
         "~"},
        {"{: \"a\": \"b\": [x[, :1}], k : , \"c\": ", R"({"a"=_,"b"=[x,[1,],],"k"=_,"c"=_,~)"},
        {R"({"\u00E9\ud800\udc00\"\\": [], "\ud800\u0041\ud800\uzz\ud800\x": {"x": "\ud800\u12\)",
         "{\"é\xF0\x90\x80\x80\\\"\\\\\"=[],\"\xED\xA0\x80"
         "A\xED\xA0\x80zz\xED\xA0\x80x\"={\"x\"=\"\xED\xA0\x80\"~,~,~"},
        {"{[1], \"a\\\n\": 2, \"b\rc\": \"\\u1", R"({"a"_,": 2, "_,"b"_,"c"_,": "_,"\\u1"_,~)"},
    };
    for (const auto &[text, expected] : rows) EXPECT_EQ(shape(read_tree(text, SIZE_MAX)), expected) << text;
}

TEST(Server, ChangesApplyInOrderAndOnlyTheLastVersionIsPublished) {
    Session session;
    session.open("{\"ruleName\": \"😀\", \"ruleItem_Definitions\": []}");
    // Each change's range is on the text the one before left, its ends in
    // either order; the emoji is two units.
    session.notify(
        "textDocument/didChange",
        json_pack("{s:{s:s,s:i},s:[{s:{s:o,s:o},s:s},{s:{s:o,s:o},s:s}]}", "textDocument", "uri", "file:///d.json",
                  "version", 2, "contentChanges", "range", "start", at(0, 2), "end", at(0, 10), "text", "ruleNme",
                  "range", "start", at(0, 16), "end", at(0, 12), "text", "\"x😀y\""));
    session.notify("textDocument/didChange",
                   json_pack("{s:{s:s,s:i},s:[{s:{s:o,s:o},s:s}]}", "textDocument", "uri", "file:///d.json", "version",
                             3, "contentChanges", "range", "start", at(0, 18), "end", at(0, 18), "text", " "));
    Server &server = session.server();
    EXPECT_GT(server.wait_ms(Clock::now()), 0);
    session.wait(std::chrono::milliseconds(0));
    EXPECT_EQ(session.waiting(), 0u);  // the pause in typing is not over
    session.wait(std::chrono::seconds(1));
    json_t *published = session.take();
    ASSERT_NE(published, nullptr);
    EXPECT_EQ(session.waiting(), 0u);
    json_t *params = json_object_get(published, "params");
    EXPECT_EQ(json_integer_value(json_object_get(params, "version")), 3);
    EXPECT_EQ(server.documents().begin()->second->text, "{\"ruleNme\": \"x😀y\" , \"ruleItem_Definitions\": []}");
    // The document is a rule no more (no ruleName), so its keys tell
    // nothing: the one finding says why.
    json_t *diagnostics = json_object_get(params, "diagnostics");
    ASSERT_GE(json_array_size(diagnostics), 1u);
}

const char *const faulty =
    "{\n"
    "    \"policyName\": \"é😀\", \"PolicyComment\": \"x\",\n"
    "    \"policyWorkflows\": [\n"
    "        {\n"
    "            \"workflowActions\": [],\n"
    "            \"workflowEnabled\": true\n"
    "        }\n"
    "    ],\n"
    "    \"policyProtectionPeriod\": \"week\"\n"
    "}\n";

TEST(Server, DiagnosticsAtTheirTokensAndEveryPreferredFixAtOnce) {
    Session session(json_pack("{s:{s:[s,s]},s:{s:{}}}", "general", "positionEncodings", "utf-16", "utf-8",
                              "textDocument", "diagnostic"));
    session.open(faulty);
    session.wait(std::chrono::seconds(1));
    EXPECT_EQ(session.waiting(), 0u);  // pulled, not pushed
    json_t *report = json_object_get(
        session.request("textDocument/diagnostic", json_pack("{s:o}", "textDocument", document())), "result");
    json_t *items = json_object_get(report, "items");
    ASSERT_EQ(json_array_size(items), 2u);
    json_t *unknown = json_array_get(items, 0);
    EXPECT_STREQ(json_string_value(json_object_get(unknown, "code")), "unknown-property");
    // UTF-8 offered: bytes. "é😀" is six bytes, so the key starts at 28.
    EXPECT_EQ(
        json_integer_value(json_object_get(json_object_get(json_object_get(unknown, "range"), "start"), "character")),
        28);
    json_t *first = json_array_get(json_object_get(json_object_get(unknown, "data"), "fixes"), 0);
    EXPECT_TRUE(json_is_true(json_object_get(first, "preferred")));

    json_t *actions = json_object_get(
        session.request("textDocument/codeAction",
                        json_pack("{s:o,s:{s:o,s:o},s:{s:[],s:[s]}}", "textDocument", document(), "range", "start",
                                  at(0, 0), "end", at(0, 0), "context", "diagnostics", "only", "source.fixAll")),
        "result");
    ASSERT_EQ(json_array_size(actions), 1u);
    json_t *edits = json_object_get(json_object_get(json_object_get(json_array_get(actions, 0), "edit"), "changes"),
                                    "file:///d.json");
    const std::string fixed = applied(faulty, edits, Encoding::utf8);
    Checked checked;
    EXPECT_EQ(check_document(fixed, {}, checked), Verdict::valid) << fixed;
    EXPECT_EQ(checked.warnings, 0u) << fixed;
    EXPECT_NE(fixed.find("\"workflowName\": \"\",\n            \"workflowActions\""), std::string::npos) << fixed;
    session.notify("textDocument/didClose", json_pack("{s:o}", "textDocument", document()));
    EXPECT_EQ(session.waiting(), 0u);  // nothing pushed to clear
}

TEST(Server, CompletionInAnUnfinishedDocumentAndHover) {
    Session session;
    // Unclosed, a key half typed: the record is still told.
    session.open(
        "{\"policyName\": \"p\", \"policyWorkflows\": [{\"workflowName\": \"w\", \"workflowActions\": [{\n"
        "  \"actionSpecific\": {\"actions\": {\"actionType\": \"backup\", \"actionBackupSubtypeSpecific\": "
        "{\"backupSubtypes\": {\"abBackupSubtype\": \"\"}}}},\n"
        "  \"actionSchedulePeriod\": ,\n"
        "  \"actionN");
    auto labels = [&](int line, int character) {
        std::vector<std::string> found;
        json_t *items = json_object_get(
            json_object_get(
                session.request("textDocument/completion",
                                json_pack("{s:o,s:o}", "textDocument", document(), "position", at(line, character))),
                "result"),
            "items");
        size_t i;
        json_t *item;
        json_array_foreach(items, i, item) found.push_back(json_string_value(json_object_get(item, "label")));
        return found;
    };
    const std::vector<std::string> keys = labels(3, 9);
    ASSERT_FALSE(keys.empty());
    EXPECT_EQ(keys.front(), "actionName");  // required first; held ones left out
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "actionSchedulePeriod"), 0);
    EXPECT_EQ(labels(2, 26), (std::vector<std::string>{"week", "month", "reference"}));
    const std::vector<std::string> subtypes = labels(1, 128);
    EXPECT_EQ(subtypes, (std::vector<std::string>{"traditional", "snapshot", "archive", "vmware", "vmware-kestrel"}));
    EXPECT_EQ(labels(1, 48).size(), 15u);  // the kinds
    json_t *hover = json_object_get(
        session.request("textDocument/hover", json_pack("{s:o,s:o}", "textDocument", document(), "position", at(2, 6))),
        "result");
    const std::string said = json_string_value(json_object_get(json_object_get(hover, "contents"), "value"));
    EXPECT_NE(said.find("actionSchedulePeriod: property of action"), std::string::npos) << said;
    EXPECT_NE(said.find("required"), std::string::npos) << said;
    EXPECT_NE(said.find("week, month, reference"), std::string::npos) << said;
}

TEST(Server, AnUntypedDocumentIsSaidSoAndNotFormattedAndClosingItClearsItsFindings) {
    Session session;
    session.open("{\"x\": 1}");
    session.wait(std::chrono::seconds(1));
    json_t *diagnostics = json_object_get(json_object_get(session.take(), "params"), "diagnostics");
    ASSERT_EQ(json_array_size(diagnostics), 1u);
    EXPECT_STREQ(json_string_value(json_object_get(json_array_get(diagnostics, 0), "code")), "untyped");
    auto refusal = [&] {
        json_t *reply = session.request(
            "textDocument/formatting",
            json_pack("{s:o,s:{s:i,s:b}}", "textDocument", document(), "options", "tabSize", 4, "insertSpaces", 1));
        EXPECT_EQ(error_code(reply), -32803);
        return std::string(json_string_value(json_object_get(json_object_get(reply, "error"), "message")));
    };
    EXPECT_EQ(refusal().rfind("not formatted: the document's type cannot be told: ", 0), 0u);
    session.notify("textDocument/didChange",
                   json_pack("{s:{s:s,s:i},s:[{s:s%}]}", "textDocument", "uri", "file:///d.json", "version", 2,
                             "contentChanges", "text", "{\"ruleName\": \"\0\"}", size_t{16}));
    EXPECT_EQ(refusal(), "not formatted: the text holds a NUL byte");
    session.notify("textDocument/didClose", json_pack("{s:o}", "textDocument", document()));
    json_t *cleared = session.take();
    EXPECT_STREQ(json_string_value(json_object_get(cleared, "method")), "textDocument/publishDiagnostics");
    EXPECT_EQ(json_array_size(json_object_get(json_object_get(cleared, "params"), "diagnostics")), 0u);
    EXPECT_TRUE(session.server().documents().empty());
    session.wait(std::chrono::seconds(1));
    EXPECT_EQ(session.waiting(), 0u);  // nothing is published for it after it closed
}

TEST(Server, ALargeTextIsReadAsJanssonReadsIt) {
    // Large texts are taken out of the message before jansson reads the
    // rest: escapes, surrogate pairs and a NUL must come out the same. A
    // stray byte costs a character, in a large text or a short one.
    std::string text = "{\"ruleName\": \"é😀\\n\u0001\", \"x\": \"";
    text += std::string(70000, 'a') + "\"}";
    Session session;
    session.open(text);
    const auto &documents = session.server().documents();
    ASSERT_EQ(documents.size(), 1u);
    EXPECT_EQ(documents.begin()->second->text, text);
    std::string escaped =
        R"({"jsonrpc":"2.0","method":"textDocument/didChange","params":{"textDocument":)"
        R"({"uri":"file:///d.json","version":2},"contentChanges":[{"text":"\u00e9\ud83d\ude00\"\u0000)";
    escaped += std::string(70000, 'b') + R"("}]}})";
    session.raw(framed(escaped));
    EXPECT_EQ(documents.begin()->second->text, std::string("é😀\"\0", 8) + std::string(70000, 'b'));
    session.wait(std::chrono::seconds(1));
    json_t *nul = json_array_get(json_object_get(json_object_get(session.take(), "params"), "diagnostics"), 0);
    EXPECT_STREQ(json_string_value(json_object_get(nul, "message")), "the text holds a NUL byte");
    EXPECT_EQ(json_integer_value(json_object_get(json_object_get(json_object_get(nul, "range"), "start"), "character")),
              4);
    // Each text between `"text"` and `}`, as the message spells it: what the
    // document then holds, or nothing for a message jansson refuses.
    const std::string large(70000, 'a');
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"\"text\" :\t\r\n \"" + std::string(R"(\"\/\b\f\n\r\t\u20AC\uFFFD)") + large + R"(\\\n")",
         "\"/\b\f\n\r\t€\uFFFD" + large + "\\\n"},
        {"\"text\": \"\xFF" + large + "\"", "\uFFFD" + large},
        {"\"text\": \"{\\\"ruleName\\\": \\\"a\xFF\\\"}\"", "{\"ruleName\": \"a\uFFFD\"}"},  // short, read by jansson
        {R"("languageId": "text", "t": ")" + large + R"(", "text": "{}")", "{}"},
        {R"("text": "\x)" + large + "\"", ""},
        {R"("text": "\u12G4)" + large + "\"", ""},
        {R"("text": "\u12g4)" + large + "\"", ""},
        {R"("text": "\u12 4)" + large + "\"", ""},
        {R"("text": "\udc00)" + large + "\"", ""},
        {R"("text": "\ud83dx)" + large + "\"", ""},
        {R"("text": "\ud83d\n)" + large + "\"", ""},
        {R"("text": ")" + large + R"(\ud83d")", ""},
        {R"("text": "\ud83d\u0041)" + large + "\"", ""},
        {R"("text": "\ud83d\ue000)" + large + "\"", ""},
        {R"("text": ")" + large + R"(\u12")", ""},
        {R"("text": ")" + large, ""},
        {R"("t": ")" + large, ""},
    };
    for (const auto &[spelled, held] : rows) {
        session.notify("textDocument/didClose", json_pack("{s:o}", "textDocument", document()));
        session.take();
        session.raw(framed(R"({"jsonrpc":"2.0","method":"textDocument/didOpen","params":{"textDocument":)"
                           R"({"uri":"file:///d.json","version":1,)" +
                           spelled + "}}}"));
        if (held.empty()) {
            EXPECT_EQ(error_code(session.take()), -32700) << spelled.substr(0, 40);
            EXPECT_TRUE(documents.empty());
        } else {
            ASSERT_EQ(documents.size(), 1u) << spelled.substr(0, 40);
            EXPECT_EQ(documents.begin()->second->text, held) << spelled.substr(0, 40);
        }
    }
}

TEST(Server, EachRequestAnswersForTheRecordAtItsPlace) {
    // Each row: a text, a request at a byte of it (a code action's range
    // is empty there; after ':', the kinds it asks for), and a piece of the
    // reply's compact JSON.
    const char *const policy =
        R"({"policyName": "p", "x": {"y": 1}, "policyWorkflows": [{"workflowActions": [3, {"actionName": "a", )"
        R"("actionSpecific": {"actions": {"actionType": "backup", "actionBackupSubtypeSpecific": {"backupSubtypes": )"
        R"({"abBackupSubtype": "snapshot"}}}}}, {"actionName": 5, "actionSpecific": {"actions": {"actionType": 1}}}]}]})";
    const char *const action =
        R"({"actionName": "a", "actionEnabled": , "actionScheduleOverrid": 1,  "actionSpecific": {"actions": )"
        R"({"actionType": "exercise", "exerciseFunction": "", "exerciseDuratio": 1, "exerciseCount": 1 }}})";
    const char *const broken = R"({"actionName": "a", "actionSchedulePeriod": "wek", "actionScheduleActivity": [], )"
                               R"("actionSpecific": {"actions": {"actionType": "bakup"}}, "actionRetrie": 1})";
    const char *const unknown = R"({"ruleName": 5, "zzz": 1})";  // and a finding without a fix
    const char *const untold =
        R"({"actionName": "a", "actionSpecific": {"actions": {}}, "actionSchedulePeriod": "week", )"
        R"("actionScheduleActivity": []})";
    const char *const items = R"({"ruleName": "r", "ruleItem_Definitions": [{}, {"zzz": 1}]})";
    const char *const escaped =
        R"({"rul\u0065Name": "r", "ruleItem_Definitons": 1, "\u00e9\u20ac\ud83d\ude00\t\"\/\n\r\b\f\u12": 2})";
    const struct {
        const char *text, *method;
        int at;
        const char *expected;
    } rows[] = {
        {policy, "documentSymbol", 0, R"x("name":"(workflow without a name)","detail":"workflow","kind":3)x"},
        {policy, "documentSymbol", 0, R"("name":"a","detail":"action: backup / snapshot","kind":12)"},
        // An action without a name: selected by its '{'.
        {policy, "documentSymbol", 0, R"("start":{"line":0,"character":241},"end":{"line":0,"character":242}})"},
        {items, "documentSymbol", 0, R"("kind":5)"},
        {action, "completion", 67, R"("newText":"\"actionCompletionNotification\": ${1:{\\}}")"},
        {action, "completion", 37, R"("label":"false","kind":14,"detail":"boolean")"},
        {action, "completion", 16, R"("items":[])"},  // a string's value
        {action, "completion", 0, R"("items":[])"},   // outside the object
        {action, "completion", 146, R"("label":"passthru")"},
        {"{\"ruleName\": \"r\", ", "completion", 18, R"("newText":"\"ruleComment\": ${1:\"\"}")"},
        {untold, "completion", 51, R"("newText":"\"actionType\": ${1:\"backup\"}")"},
        {action, "completion", 190, R"("label":"exerciseDelay","kind":10,"detail":"array of integers, optional")"},
        {"{\"actionName\": \"a\", \"actionSpecific\": {", "completion", 39,
         R"("detail":"one of 15 records by actionType, required")"},
        {"{\"ruleName\": \"r\"}", "completion", 3, R"("newText":"\"ruleName\""})"},  // a key with its colon
        {"{\"ruleName\": \"r\", ruleC", "completion", 22, R"("filterText":"ruleComment")"},
        {"{\"ruleName\": \"r\", \"zzz\": }", "completion", 25, R"("items":[])"},
        {broken, "completion", 78, R"("items":[])"},  // in an array, between its elements
        {policy, "hover", 36, "array of workflow, optional\\n\\nAt most 10000000 elements"},
        {policy, "hover", 243, "actionName: property of action"},
        {broken, "hover", 53, "array of strings, required\\n\\nAt most 10000000 elements"},
        {R"({"x": 1, )", "completion", 9, R"("items":[])"},  // of no record
        {action, "hover", 126, "One of: generate, passthru"},
        {action, "hover", 88, "Records: actionBackup, actionProbe"},
        {action, "hover", 88, "; told apart by actionType"},
        {action, "hover", 99, "Tells the record apart; one of: backup, probe, execute,"},
        {action, "hover", 172, "From -9223372036854775808 to 9223372036854775807"},
        {escaped, "hover", 3, R"("value":"ruleName: property of rule)"},
        {escaped, "hover", 27, "formatting drops it.\\n\\nDid you mean ruleItem_Definitions?\""},
        {escaped, "hover", 51,
         R"("value":"é€😀\t\"/\n\r\b\f is not a property of rule)"},                // a cut \u escape reads as nothing
        {escaped, "hover", 20, R"("result":null)"},                                // a value
        {R"({"ruleComment": "c"})", "hover", 3, "ruleComment: property of rule"},  // told by its keys
        {R"({"ruleName": "r", "\ud800": 1})", "hover", 19, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD is not a property"},
        {untold, "codeAction", 51, R"("newText":"\"actionType\": null")"},
        {R"({"actionName": "a", "actionSchedulePeriod": "week", "actionScheduleActivity": []})", "codeAction", 0,
         R"(\"backupSubtypes\": {\"abBackupSubtype\": \"traditional\", \"abtDestinationPool\": \"\"}}, \"abDest)"},
        {R"({"policyName": "p", "policySummaryNotification": {}})", "codeAction:source", 0,
         R"("newText":"\"policyCompletionNotificationExecuteOn\": \"completion\", \"policyCompletionNotificationAction\": \"\""})"},
        {items, "codeAction", 50, R"("start":{"line":0,"character":48},"end":{"line":0,"character":56}},"newText":"")"},
        // A member not on a line of its own: its line stays; one on its own line goes with it.
        {"{\"ruleName\":\"r\", \"zzz\":1,\n\"ruleComment\":\"\"}", "codeAction", 18,
         R"(17},"end":{"line":0,"character":25}},"newText":"")"},
        {"{\"ruleName\":\"r\",\n  \"zzz\":1,\n\"ruleComment\":\"\"}", "codeAction", 20,
         R"("start":{"line":1,"character":0},"end":{"line":2,"character":0}},"newText":"")"},
        {unknown, "diagnostic", 0,
         R"("message":"<rule>.ruleName: JSON decode error. Expected a string as specified in schema."},)"},
        {"{\n    \"ruleName\": \"r\"\n}\n", "formatting", 0, R"("result":[])"},
        {action, "hover", 67, R"("result":null)"},  // between members
        {action, "hover", 47, "Did you mean actionScheduleOverride, actionSchedulePeriod?"},
        {policy, "hover", 27, R"("result":null)"},  // in an object of no record
        {broken, "codeAction:quickfix", 44, R"("title":"Replace \"wek\" with 'week'")"},
        {broken, "codeAction:quickfix", 49, R"("title":"Replace \"wek\" with 'week'")"},  // at its end
        {broken, "codeAction:source", 0, R"("title":"Apply the 3 preferred fixes","kind":"source.fixAll")"},
        {broken, "codeAction:refactor", 150, R"("result":[])"},
        {broken, "diagnostic", 0, R"("relatedInformation":[{"location")"},
        {unknown, "codeAction", 17, R"("newText":""}]}}}])"},
        {"{\"ruleName\": \"r\"}", "codeAction", 0, R"("result":[])"},
        {R"({"ruleName":"r","x~y/z":1})", "formatting", 0,
         "holds 1 property its type does not know, which formatting "
         "would drop (the first: x~y/z)"},
        {R"({"ruleName":"r","a":1,"b":2})", "formatting", 0, "holds 2 properties"},
        {R"({"ruleName":5})", "formatting", 0, "not formatted: the document is refused: "},
    };
    Session session(
        json_pack("{s:{s:{s:{s:b}}}}", "textDocument", "completion", "completionItem", "snippetSupport", 1));
    for (const auto &row : rows) {
        session.open(row.text);
        const std::string method = row.method;
        const size_t colon = method.find(':');
        int line = 0, column = 0;  // the request's place
        for (int i = 0; i < row.at; ++i) column = row.text[i] == '\n' ? (++line, 0) : column + 1;
        json_t *params = json_pack("{s:o,s:o,s:{s:o,s:o}}", "textDocument", document(), "position", at(line, column),
                                   "range", "start", at(line, column), "end", at(line, column));
        if (colon != std::string::npos)
            json_object_set_new(params, "context", json_pack("{s:[s]}", "only", method.c_str() + colon + 1));
        char *reply =
            json_dumps(session.request(("textDocument/" + method.substr(0, colon)).c_str(), params), JSON_COMPACT);
        EXPECT_NE(std::string(reply).find(row.expected), std::string::npos)
            << method << " at " << row.at << ": " << reply;
        std::free(reply);
    }
}

// jansson's allocations, counted, the `fail_at`th refused while `armed`.
struct JanssonHeap {
    static inline bool armed = false;
    static inline long count = 0, fail_at = 0, live = 0;
    static void *allocate(size_t size) {
        void *block = armed && ++count == fail_at ? nullptr : std::malloc(size);
        live += armed && block != nullptr;
        return block;
    }
    static void release(void *block) { live -= armed && block != nullptr, std::free(block); }
};

TEST(Server, RunningOutOfMemoryCostsARequestNeverTheServer) {
    const char *const messages[] = {
        R"({"id":1,"method":"initialize","params":{"capabilities":{}}})",
        R"({"method":"textDocument/didOpen","params":{"textDocument":{"uri":"file:///d.json","text":"{\"ruleNam\": 1}"}}})",
        R"({"id":2,"method":"textDocument/codeAction","params":{"textDocument":{"uri":"file:///d.json"}}})",
        R"({"id":3,"method":"textDocument/documentSymbol","params":{"textDocument":{"uri":"file:///d.json"}}})",
        R"({"method":"$/cancelRequest","params":{"id":3}})",
        R"({"id":4,"method":"shutdown"})",
    };
    std::string script;
    for (const char *message : messages) script += framed(message);
    json_set_alloc_funcs(JanssonHeap::allocate, JanssonHeap::release);
    size_t unmade = 0;  // replies saying their result could not be made
    for (JanssonHeap::fail_at = 1;; ++JanssonHeap::fail_at) {
        std::string output;
        int logged = 0;
        Server server([&](std::string_view bytes) { output += bytes; }, [&](std::string_view) { ++logged; }, "test");
        JanssonHeap::count = JanssonHeap::live = 0;
        JanssonHeap::armed = true;
        server.feed(script);
        server.publish_due(Clock::now() + std::chrono::hours(1));
        JanssonHeap::armed = false;
        EXPECT_EQ(JanssonHeap::live, 0) << "refusing allocation " << JanssonHeap::fail_at;
        // Every message written is whole; a reply that could not be made
        // is an error, one that could not be written is logged.
        Framer framer;
        framer.feed(output);
        std::string body, problem;
        size_t replies = 0;
        while (framer.next(body, problem) == Framer::Status::body) {
            json_t *message = json_loads(body.c_str(), 0, nullptr);
            ASSERT_TRUE(json_is_object(message)) << body;
            replies += json_object_get(message, "id") != nullptr;
            unmade += body.find(R"("message":"out of memory")") != std::string::npos;
            EXPECT_TRUE(json_object_get(message, "error") != nullptr ||
                        !json_is_null(json_object_get(message, "result")) ||
                        json_integer_value(json_object_get(message, "id")) == 4)
                << body;
            json_decref(message);
        }
        EXPECT_FALSE(framer.partial());
        EXPECT_FALSE(server.finished());
        if (JanssonHeap::count < JanssonHeap::fail_at) {
            EXPECT_EQ(replies, 4u);  // nothing was refused: every request answered
            EXPECT_GT(unmade, 0u);
            break;
        }
    }
    json_set_alloc_funcs(std::malloc, std::free);
}

}  // namespace
}  // namespace tool::lsp
