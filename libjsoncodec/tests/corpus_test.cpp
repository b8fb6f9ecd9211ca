// Outside input: every document of the JSONTestSuite parsing corpus through
// every decoding export. Each ends in success or a decode fault with one
// well-formed line, and leaves nothing behind (the sanitizer build checks
// that).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "documents.h"

TEST(OutsideCorpus, EveryFileThroughEveryDecoder) {
    const auto &decoders = root_types;
    // After the root: the parser's message, its place and a newline; or a
    // schema fault naming the property it is about, if any, on one line.
    const std::regex parse_fault(
        R"(: JSON decode error\. JSON parsing error: [^\n]* in <string> line: -?\d+ col: -?\d+\n)");
    const std::regex schema_fault(R"((\.\w+(\[\d*\])?)*: JSON decode error\. [^\n]+)");
    size_t files = 0, accepted = 0;
    char sentinel;
    for (const auto &entry : std::filesystem::directory_iterator(JSONCODEC_JSON_TEST_SUITE_DIR)) {
        std::ostringstream text;
        text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        const std::string file = entry.path().filename().string();
        ++files;
        for (const ErasedRoot &decoder : decoders) {
            SCOPED_TRACE(file + " as " + decoder.name);
            char line[512];
            void *tree = &sentinel;
            // The text ends at an embedded NUL, as it does for any C caller.
            const int32_t status = decoder.to(&tree, text.str().c_str(), line, sizeof line);
            if (status == RMQC_OK) {
                // Only an item definition, all of whose properties are
                // optional, can be made of an arbitrary object.
                EXPECT_STREQ(decoder.name, "item_definition");
                EXPECT_STREQ(line, "");
                ++accepted;
                decoder.release(tree);
                continue;
            }
            ASSERT_EQ(status, RMQC_ERR_DECODE) << line;
            const std::string root = std::string("<") + decoder.name + ">", all = line;
            ASSERT_EQ(all.rfind(root, 0), 0u) << all;
            const bool parse = std::regex_match(all.substr(root.size()), parse_fault);
            EXPECT_TRUE(parse || std::regex_match(all.substr(root.size()), schema_fault)) << all;
            EXPECT_EQ(tree, parse ? static_cast<void *>(&sentinel) : nullptr);  // not written on a parse failure
            // What no parser may accept is refused by the parser, never the schema.
            EXPECT_TRUE(parse || file.rfind("n_", 0) != 0) << all;
        }
    }
    EXPECT_EQ(files, 318u);
    EXPECT_EQ(accepted, 9u);  // the corpus's objects, as item definitions
}
