// Outside input: every document of the JSONTestSuite parsing corpus through
// every decoding export. Each must end in success or a decode fault with one
// well-formed line, and leave nothing behind (the sanitizer build checks
// that).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "root_calls.h"

namespace {

const ErasedRoot decoders[] = {JSONCODEC_ERASED_ROOT(action), JSONCODEC_ERASED_ROOT(workflow),
                               JSONCODEC_ERASED_ROOT(data_protection_policy), JSONCODEC_ERASED_ROOT(item_definition),
                               JSONCODEC_ERASED_ROOT(rule)};

struct Document {
    std::string file;
    std::string text;
};

std::vector<Document> corpus() {
    std::vector<Document> documents;
    for (const auto &entry : std::filesystem::directory_iterator(JSONCODEC_JSON_TEST_SUITE_DIR)) {
        std::ifstream in(entry.path(), std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        documents.push_back({entry.path().filename().string(), text.str()});
    }
    std::sort(documents.begin(), documents.end(),
              [](const Document &a, const Document &b) { return a.file < b.file; });
    return documents;
}

TEST(OutsideCorpus, EveryFileThroughEveryDecoder) {
    const std::vector<Document> documents = corpus();
    ASSERT_EQ(documents.size(), 318u);

    // The text after the path: a parse failure (jansson's message, its
    // place, and a newline), or a schema fault on one line.
    const std::regex parse_fault(R"(: JSON decode error\. JSON parsing error: [^\n]* in <string> line: -?\d+ col: -?\d+\n)");
    const std::regex schema_fault(R"(: JSON decode error\. [^\n]+)");
    char sentinel_byte;
    void *const sentinel = &sentinel_byte;
    size_t accepted = 0;

    for (const Document &document : documents) {
        for (const ErasedRoot &decoder : decoders) {
            SCOPED_TRACE(document.file + " as " + decoder.name);
            char line[512];
            std::memset(line, 'x', sizeof line);
            void *tree = sentinel;
            // The text ends at an embedded NUL, as it does for any C caller.
            const int32_t status = decoder.to(&tree, document.text.c_str(), line, sizeof line);
            ASSERT_TRUE(std::memchr(line, '\0', sizeof line) != nullptr);

            if (status == RMQC_OK) {
                // Only an item definition, whose properties are all optional,
                // can be made of an arbitrary object.
                EXPECT_STREQ(decoder.name, "item_definition");
                ++accepted;
                EXPECT_STREQ(line, "");
                EXPECT_NE(tree, sentinel);
                decoder.release(tree);
                continue;
            }
            ASSERT_EQ(status, RMQC_ERR_DECODE) << line;
            std::string root = "<";
            root.append(decoder.name).append(">");
            const std::string text = line;
            ASSERT_EQ(text.rfind(root, 0), 0u) << text;
            const std::string rest = text.substr(root.size());
            if (std::regex_match(rest, parse_fault)) {
                EXPECT_EQ(tree, sentinel);  // not written on a parse failure
            } else {
                // A schema fault names the property it is about, if any.
                const size_t colon = rest.find(": JSON decode error. ");
                ASSERT_NE(colon, std::string::npos) << text;
                EXPECT_TRUE(std::regex_match(rest.substr(0, colon), std::regex(R"((\.\w+(\[\d*\])?)*)"))) << text;
                EXPECT_TRUE(std::regex_match(rest.substr(colon), schema_fault)) << text;
                EXPECT_EQ(tree, nullptr);
            }
            // Documents the suite says no parser may accept are refused by
            // the parser, never by the schema.
            if (document.file.rfind("n_", 0) == 0) {
                EXPECT_TRUE(std::regex_match(rest, parse_fault)) << text;
            }
        }
    }
    // The objects of the corpus, as item definitions.
    EXPECT_EQ(accepted, 9u);
}

}  // namespace
