// The one-pass reader: it decodes exactly the documents it reads as jansson
// does, into the same tree, and leaves every other one to jansson's path;
// and a decode it makes allocates the blocks of the tree it returns and
// nothing else.
#include <gtest/gtest.h>
#include <jansson.h>

#include <string>

#include "documents.h"
#include "exports.h"
#include "generator.h"
#include "heap_injector.h"
#include "rule_schema.h"

namespace {

using jsoncodec::rule_desc;

// A rule around `unknown`, the value of a property the schema does not know.
std::string rule_with(const std::string &unknown) {
    return R"({"ruleName":"r","x":)" + unknown + R"(,"ruleComment":"c"})";
}

std::string nested(size_t n, const std::string &inner) { return std::string(n, '[') + inner + std::string(n, ']'); }

// What a decode through the export gives, or through jansson's path alone:
// the status, the line and the compact text of the tree.
std::string decode_rule_text(const std::string &text, bool through_jansson) {
    char line[512] = "";
    void *tree = nullptr;
    const int32_t status = (through_jansson ? jsoncodec::decode_export_through_jansson : jsoncodec::decode_export)(
        rule_desc, &tree, text.c_str(), line, sizeof line);
    std::string outcome = std::to_string(status) + " " + line;
    if (tree != nullptr) outcome += " " + encoded(root_types[3], tree, 0);
    rmqc_free_rule(static_cast<rule *>(tree));
    return outcome;
}

struct Case {
    const char *what;
    std::string text;
    bool read;  // whether the reader decodes it; otherwise jansson's path does, or refuses it
};

TEST(TextReader, ReadsWhatJanssonReadsAndLeavesTheRestToIt) {
    const std::string deepest = nested(2046, "1");  // "x" is at depth 2, its innermost value at 2048
    const Case cases[] = {
        {"plain", R"({"ruleName":"r"})", true},
        {"blanks around and within", " \t\r\n{ \"ruleName\" : \"r\" } \n", true},
        {"escapes of every kind", R"({"ruleName":"\"\\\/\b\f\n\r\t\u00e9\u20ac\ud83d\ude00"})", true},
        {"escapes at the edges of each length",
         R"({"ruleName":"\u0041\u007f\u0080\u07FF\u0800\uffff\ud800\udc00\udbff\udfff","ruleComment":"\u002F\/"})",
         true},
        {"characters of two, three and four bytes", "{\"ruleName\":\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\"}", true},
        {"the text ends at its first NUL", std::string(R"({"ruleName":"r"})") + '\0' + "not read", true},
        {"unknown values of every kind",
         rule_with(R"({"a":[1,-0,0.5,-2.5e-7,1E+2,true,false,null,"s",{}],"b":{"a":[]}})"), true},
        {"a real that cannot overflow", rule_with("1.5e300"), true},
        {"the deepest value jansson reads", rule_with(deepest), true},
        {"keys of different objects alike", rule_with(R"({"a":{"a":1},"b":[{"a":1},{"a":2}]})"), true},
        {"the smallest integer", rule_with("-9223372036854775808"), true},

        {"a value deeper than jansson reads", rule_with(nested(2047, "1")), false},
        {"a byte-order mark", "\xef\xbb\xbf{\"ruleName\":\"r\"}", false},
        {"\\u0000 in a text", R"({"ruleName":"a\u0000b"})", false},
        {"a lone high surrogate", R"({"ruleName":"\ud83d"})", false},
        {"a lone low surrogate", R"({"ruleName":"\ude00"})", false},
        {"a high surrogate before another", R"({"ruleName":"\ud83d\ud83d"})", false},
        {"an overlong form", "{\"ruleName\":\"\xc0\xaf\"}", false},
        {"an overlong three-byte form", "{\"ruleName\":\"\xe0\x80\xaf\"}", false},
        {"a surrogate in UTF-8", "{\"ruleName\":\"\xed\xa0\x80\"}", false},
        {"above U+10FFFF", "{\"ruleName\":\"\xf4\x90\x80\x80\"}", false},
        {"a cut sequence", "{\"ruleName\":\"\xe2\x82\"}", false},
        {"a control character in a text", "{\"ruleName\":\"a\tb\"}", false},
        {"an unknown escape", R"({"ruleName":"\x"})", false},
        {"an escape with a sign for a digit", R"({"ruleName":"\u00+0"})", false},
        {"an escape with a letter past f for a digit", R"({"ruleName":"\u00g0"})", false},
        {"a high surrogate before another escape", R"({"ruleName":"\ud83d\n"})", false},
        {"a high surrogate before a character past the low ones", R"({"ruleName":"\ud83d\ue000"})", false},
        {"an overlong four-byte form", "{\"ruleName\":\"\xf0\x8f\xbf\xbf\"}", false},
        {"a text that never ends", R"({"ruleName":"r","ruleItem_Definitions":["a)", false},
        {"a minus without digits", rule_with("-"), false},
        {"an exponent without digits", rule_with("1e"), false},
        {"an exponent past any real", rule_with("1e9999999"), false},
        {"a null cut short", rule_with("nul"), false},
        {"an unknown escape in a key within", rule_with(R"({"a\q":1})"), false},
        {"an integer past the range", rule_with("9223372036854775808"), false},
        {"a negative integer past the range", rule_with("-9223372036854775809"), false},
        {"a real that overflows", rule_with("1e400"), false},
        {"a leading zero", rule_with("01"), false},
        {"a fraction without digits", rule_with("1."), false},
        {"a repeated property", R"({"ruleName":"r","ruleName":"s"})", false},
        {"a repeated unknown key", R"({"ruleName":"r","x":1,"x":2})", false},
        {"a repeated key deep in an unknown value", rule_with(R"([{"a":{"b":1,"b":1}}])"), false},
        {"a key written with an escape", R"({"rule\u004eame":"r"})", false},
        {"a comma too many", R"({"ruleName":"r",})", false},
        {"an element too many", R"({"ruleName":"r","ruleItem_Definitions":[{},]})", false},
        {"more after the root", R"({"ruleName":"r"} {})", false},
        {"a literal cut short", rule_with("tru"), false},
        {"a schema fault", R"({"ruleName":1})", false},
        {"empty", "", false},
    };
    for (const Case &c : cases) {
        void *tree = nullptr;
        EXPECT_EQ(jsoncodec::read_record_text(rule_desc, c.text.c_str(), &tree), c.read) << c.what;
        if (tree != nullptr) rmqc_free_rule(static_cast<rule *>(tree));
        EXPECT_EQ(decode_rule_text(c.text, false), decode_rule_text(c.text, true)) << c.what;
    }
}

// The blocks allocated and freed by `call`, through the injector.
struct Heap {
    uint64_t allocated, jansson, freed;
};

template <class F>
Heap counted(F &&call) {
    injector.arm(0);
    call();
    injector.disarm();
    return {injector.count, injector.jansson_count, injector.frees + injector.jansson_frees};
}

TEST(TextReader, ADecodeAllocatesTheBlocksOfItsTreeAndNothingElse) {
    route_jansson_through_injector();
    std::vector<Document> docs = documents();
    docs.push_back({"a generated policy of 4 MB", &root_types[0], bench::make_policy(4u << 20, 17), {}});
    for (int kind = 1; kind <= bench::ACTION_KINDS; ++kind)
        docs.push_back({bench::kind_label(kind), &root_types[2], bench::make_action(kind, 5, 17), {}});
    int decoded = 0;
    for (const Document &doc : docs) {
        void *tree = nullptr;
        int32_t status = RMQC_OK;
        const Heap decode = counted([&] { status = doc.root->to(&tree, doc.text.c_str(), nullptr, 0); });
        if (status != RMQC_OK) continue;  // a faulty example
        ++decoded;
        EXPECT_EQ(decode.jansson, 0u) << doc.name << ": decoded through jansson";
        EXPECT_EQ(decode.freed, 0u) << doc.name << ": blocks given back within the call";
        const Heap release = counted([&] { doc.root->release(tree); });
        EXPECT_EQ(release.freed, decode.allocated) << doc.name << ": blocks that are not the tree's";
    }
    EXPECT_GE(decoded, 1 + bench::ACTION_KINDS + 4);  // the generated documents and the valid examples
}

}  // namespace
