// The C++ interface (jsoncodec.hpp) as a C++ caller uses it, over the shared
// library. Compiled once as C++17 and once as C++20; with -pedantic -Werror
// it also keeps the C header plain C++17.
#include "jsoncodec.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace {

using namespace jsoncodec;

static_assert(std::is_standard_layout<rule>::value, "records are plain C structures");
static_assert(!std::is_copy_constructible<result<owner<rule>>>::value, "a decoded tree has one owner");
static_assert(std::is_nothrow_move_constructible<result<owner<rule>>>::value, "results move freely");
static_assert(std::is_same<decltype(decode<workflow>("")), result<owner<workflow>>>::value, "decode gives an owner");
static_assert(std::is_same<decltype(std::declval<result<std::string>>().value()), std::string>::value,
              "value() of an expiring result moves the value out");

const char small_rule[] =
    R"({"ruleName":"r","ruleItem_Definitions":[{"item_definitionOperator":"equals","item_definitionValue":"Linux"}],)"
    R"("ruleMatchType":"all"})";

TEST(CxxApi, DecodesATreeAndEncodesItCompactOrPretty) {
    auto decoded = decode<rule>(std::string(small_rule));
    ASSERT_TRUE(decoded.ok()) << decoded.message();
    EXPECT_EQ(decoded.status(), RMQC_OK);
    EXPECT_EQ(decoded.message(), "");
    const rule &r = *decoded.value();
    EXPECT_STREQ(r.ruleItem_Definitions->item_definitionValue, "Linux");

    auto compact = encode(r, format::compact);
    ASSERT_TRUE(compact) << compact.message();
    EXPECT_EQ(compact.value(), small_rule);
    EXPECT_EQ(encode(r, format::pretty).value(),
              "{\n    \"ruleName\": \"r\",\n    \"ruleItem_Definitions\": [\n        {\n"
              "            \"item_definitionOperator\": \"equals\",\n"
              "            \"item_definitionValue\": \"Linux\"\n        }\n    ],\n    \"ruleMatchType\": \"all\"\n}");
}

TEST(CxxApi, FaultsGiveStatusLineAndEmptyValue) {
    auto missing = decode<rule>(R"({"ruleComment":"x"})");
    EXPECT_FALSE(missing);
    EXPECT_EQ(missing.status(), RMQC_ERR_DECODE);
    EXPECT_EQ(missing.message(),
              "<rule>.ruleName: JSON decode error. Required property 'ruleName' is missing which violates the schema.");
    EXPECT_EQ(missing.value(), nullptr);

    // A parse failure's line keeps the newline the library ends it with.
    const std::string line = decode<item_definition>("{").message();
    EXPECT_EQ(line.rfind("<item_definition>: JSON decode error. JSON parsing error: ", 0), 0u) << line;
    EXPECT_EQ(line.back(), '\n');

    // A zero-filled kind tag names no action kind; the encoder refuses it.
    action a{};
    a.actionName = const_cast<char *>("a");
    a.actionSchedulePeriod = const_cast<char *>("week");
    auto encoded = encode(a, format::compact);
    EXPECT_FALSE(encoded.ok());
    EXPECT_EQ(encoded.status(), RMQC_ERR_ENCODE);
    EXPECT_EQ(encoded.message(),
              "<action>.actionSpecific.actions: JSON encode error. Union type for property 'actions' is out of "
              "range [1..15].");
    EXPECT_EQ(encoded.value(), "");
}

TEST(CxxApi, StringViewSliceIsDecodedExactly) {
    // Neither view is NUL-terminated where it ends.
    const std::string_view whole = R"({"ruleName":"first"}{"ruleName":"second"})";
    const std::size_t split = whole.find('}') + 1;
    EXPECT_STREQ(decode<rule>(whole.substr(0, split)).value()->ruleName, "first");
    EXPECT_STREQ(decode<rule>(whole.substr(split)).value()->ruleName, "second");
    EXPECT_EQ(decode<rule>(whole.substr(0, split - 1)).status(), RMQC_ERR_DECODE);
}

TEST(CxxApi, OwnershipMovesOutAndReleases) {
    auto decoded = decode<data_protection_policy>(R"({"policyName":"p","policyWorkflows":[{"workflowName":"w"}]})");
    ASSERT_TRUE(decoded) << decoded.message();
    data_protection_policy *const tree = decoded.value().get();
    owner<data_protection_policy> taken = std::move(decoded).value();
    EXPECT_EQ(taken.get(), tree);
    EXPECT_EQ(decoded.value(), nullptr);  // the result gave its tree away

    // A record built by hand from malloc is released by the owner's deleter,
    // strings and all; the sanitizer build's leak checker sees when it is not.
    owner<item_definition> item(static_cast<item_definition *>(std::calloc(1, sizeof(item_definition))));
    item->item_definitionValue = static_cast<char *>(std::malloc(6));
    std::strcpy(item->item_definitionValue, "Linux");
    item->item_definitionValue_present = 1;
    EXPECT_EQ(encode(*item, format::compact).value(), R"({"item_definitionValue":"Linux"})");
    item.reset();
    item.reset();  // releasing nothing is harmless
}

}  // namespace
