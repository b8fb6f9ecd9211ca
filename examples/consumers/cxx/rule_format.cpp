// A C++ program using libjsoncodec's C++ interface (jsoncodec.hpp). It
// decodes a rule (from the file named on the command line, or a built-in
// document), prints its name and number of conditions, then prints the rule
// encoded back in the indented layout. A refused document prints its
// diagnostic line on standard error and exits with status 1.
#include <jsoncodec.hpp>

#include <cstddef>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>

namespace {

const char builtin_rule[] = R"({"ruleName": "linux-hosts", "ruleMatchType": "all", "ruleItem_Definitions": [)"
                            R"({"item_definitionOperator": "equals", "item_definitionProperty": "operatingSystem",)"
                            R"( "item_definitionValue": "Linux"}]})";

// Prints a diagnostic line; the line of a document that does not parse
// already ends in a newline.
int report(const std::string &line) {
    std::cerr << line;
    if (line.empty() || line.back() != '\n') std::cerr << '\n';
    return 1;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc > 2) {
        std::cerr << "usage: " << argv[0] << " [RULE.json]\n";
        return 2;
    }
    std::string text = builtin_rule;
    if (argc == 2) {
        std::ifstream in(argv[1], std::ios::binary);
        std::ostringstream content;
        if (!(in && content << in.rdbuf())) {
            std::cerr << argv[1] << ": cannot read the file\n";
            return 2;
        }
        text = content.str();
    }

    auto decoded = jsoncodec::decode<rule>(text);
    if (!decoded) return report(decoded.message());
    // The owner releases the whole tree (rmqc_free_rule) when it goes away.
    jsoncodec::owner<rule> r = std::move(decoded).value();

    std::size_t conditions = 0;
    for (const item_definition *item = r->ruleItem_Definitions; item != nullptr; item = item->next) ++conditions;
    std::cout << "rule " << r->ruleName << ": " << conditions << (conditions == 1 ? " condition" : " conditions")
              << '\n';

    auto encoded = jsoncodec::encode(*r, jsoncodec::format::pretty);
    if (!encoded) return report(encoded.message());
    std::cout << encoded.value() << '\n';
    return 0;
}
