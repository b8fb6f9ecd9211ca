// The C++ interface (jsoncodec.hpp) as a C++ caller uses it, over the shared
// library. Compiled once as C++17 and once as C++20.
#include "jsoncodec.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace {

using jsoncodec::decode;
using jsoncodec::encode;
using jsoncodec::format;
using jsoncodec::owner;
using jsoncodec::result;

// An example document, without the newline that ends the file.
std::string example(const char *name) {
    std::ifstream in(std::string(JSONCODEC_EXAMPLES_DIR) + "/" + name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    std::string s = text.str();
    if (!s.empty() && s.back() == '\n') s.pop_back();
    return s;
}

// A malloc'd copy of s, for a record a release routine will free.
char *copy(const char *s) {
    char *p = static_cast<char *>(std::malloc(std::strlen(s) + 1));
    if (p == nullptr) std::abort();
    return std::strcpy(p, s);
}

const char small_rule[] =
    R"({"ruleName":"r","ruleItem_Definitions":[{"item_definitionOperator":"equals","item_definitionValue":"Linux"}],)"
    R"("ruleMatchType":"all"})";

// Results own their value: they move, they do not copy.
static_assert(!std::is_copy_constructible<result<owner<rule>>>::value, "a decoded tree has one owner");
static_assert(std::is_nothrow_move_constructible<result<owner<rule>>>::value, "results move freely");
static_assert(std::is_same<decltype(decode<rule>("")), result<owner<rule>>>::value, "decode gives an owner");
static_assert(std::is_same<decltype(std::declval<result<std::string>>().value()), std::string>::value,
              "value() of an expiring result moves the value out");

// A document of each root type and the layout it is written in, so that
// encoding the decoded tree gives the same text back; and the type's name
// as the diagnostic line gives it.
template <class T>
struct sample;
template <>
struct sample<data_protection_policy> {
    static constexpr const char *name = "data_protection_policy";
    static std::string text() { return example("policy.json"); }
    static constexpr format layout = format::pretty;
};
template <>
struct sample<workflow> {
    static constexpr const char *name = "workflow";
    static std::string text() {
        return R"({"workflowName":"nightly","workflowActions":[{"actionName":"probe",)"
               R"("actionSpecific":{"actions":{"actionType":"probe"}},"actionSchedulePeriod":"week",)"
               R"("actionScheduleActivity":["full","incr"]}],"workflowEnabled":true})";
    }
    static constexpr format layout = format::compact;
};
template <>
struct sample<action> {
    static constexpr const char *name = "action";
    static std::string text() { return example("action.json"); }
    static constexpr format layout = format::pretty;
};
template <>
struct sample<rule> {
    static constexpr const char *name = "rule";
    static std::string text() { return example("rule.json"); }
    static constexpr format layout = format::pretty;
};
template <>
struct sample<item_definition> {
    static constexpr const char *name = "item_definition";
    static std::string text() { return example("item_definition.json"); }
    static constexpr format layout = format::pretty;
};

template <class T>
class RootTypes : public ::testing::Test {};
using AllRootTypes = ::testing::Types<data_protection_policy, workflow, action, rule, item_definition>;
// Names the typed tests after their root type: RootTypes/rule.<test>.
struct RootTypeNames {
    template <class T>
    static std::string GetName(int) {
        return sample<T>::name;
    }
};
TYPED_TEST_SUITE(RootTypes, AllRootTypes, RootTypeNames);

TYPED_TEST(RootTypes, DecodesAndEncodesTheSameText) {
    const std::string text = sample<TypeParam>::text();
    ASSERT_FALSE(text.empty());
    auto decoded = decode<TypeParam>(text);
    ASSERT_TRUE(decoded) << decoded.message();
    EXPECT_EQ(decoded.status(), RMQC_OK);
    EXPECT_EQ(decoded.message(), "");
    owner<TypeParam> tree = std::move(decoded).value();
    ASSERT_NE(tree, nullptr);

    auto encoded = encode(*tree, sample<TypeParam>::layout);
    ASSERT_TRUE(encoded.ok()) << encoded.message();
    EXPECT_EQ(encoded.value(), text);
}

TYPED_TEST(RootTypes, RefusesAnArray) {
    auto decoded = decode<TypeParam>("[]");
    EXPECT_FALSE(decoded);
    EXPECT_EQ(decoded.status(), RMQC_ERR_DECODE);
    EXPECT_EQ(decoded.value(), nullptr);
    // The line names the root type the call decoded.
    EXPECT_EQ(decoded.message().rfind(std::string("<") + sample<TypeParam>::name + ">: ", 0), 0u)
        << decoded.message();
}

TEST(Decode, GivesTheTreeToRead) {
    auto decoded = decode<rule>(small_rule);
    ASSERT_TRUE(decoded.ok()) << decoded.message();
    const rule &r = *decoded.value();
    EXPECT_STREQ(r.ruleName, "r");
    ASSERT_TRUE(r.ruleMatchType_present);
    EXPECT_STREQ(r.ruleMatchType, "all");
    ASSERT_NE(r.ruleItem_Definitions, nullptr);
    EXPECT_STREQ(r.ruleItem_Definitions->item_definitionValue, "Linux");
    EXPECT_EQ(r.ruleItem_Definitions->next, nullptr);
}

TEST(Decode, SchemaFaultGivesStatusAndLine) {
    auto missing = decode<rule>(R"({"ruleComment":"x"})");
    EXPECT_FALSE(missing);
    EXPECT_FALSE(missing.ok());
    EXPECT_EQ(missing.status(), RMQC_ERR_DECODE);
    EXPECT_EQ(missing.message(),
              "<rule>.ruleName: JSON decode error. Required property 'ruleName' is missing which violates the schema.");
    EXPECT_EQ(missing.value(), nullptr);

    auto faulty = decode<rule>(example("rule-faulty.json"));
    EXPECT_EQ(faulty.status(), RMQC_ERR_DECODE);
    EXPECT_EQ(faulty.message(),
              "<rule>.ruleItem_Definitions[1].item_definitionType: JSON decode error. Expected a string as specified "
              "in schema.");
}

TEST(Decode, ParseFailureKeepsTheLibraryLine) {
    auto decoded = decode<rule>("{\"ruleName\":");
    EXPECT_EQ(decoded.status(), RMQC_ERR_DECODE);
    EXPECT_EQ(decoded.value(), nullptr);
    const std::string &line = decoded.message();
    EXPECT_EQ(line.rfind("<rule>: JSON decode error. JSON parsing error: ", 0), 0u) << line;
    ASSERT_FALSE(line.empty());
    EXPECT_EQ(line.back(), '\n');
}

TEST(Decode, StringViewSliceIsDecodedExactly) {
    // Two documents back to back: a view of either one is not NUL-terminated
    // where it ends, and must be decoded without the text after it.
    const char buffer[] = R"({"ruleName":"first"}{"ruleName":"second"})";
    const std::string_view whole(buffer);
    const std::size_t split = whole.find('}') + 1;

    auto first = decode<rule>(whole.substr(0, split));
    ASSERT_TRUE(first) << first.message();
    EXPECT_STREQ(first.value()->ruleName, "first");

    auto second = decode<rule>(whole.substr(split));
    ASSERT_TRUE(second) << second.message();
    EXPECT_STREQ(second.value()->ruleName, "second");

    // The whole buffer is two documents, which does not parse.
    EXPECT_EQ(decode<rule>(whole).status(), RMQC_ERR_DECODE);

    // A view cut inside a document is that broken document, not the rest.
    auto cut = decode<rule>(whole.substr(0, split - 1));
    EXPECT_EQ(cut.status(), RMQC_ERR_DECODE);
}

TEST(Encode, CompactAndPrettyText) {
    auto decoded = decode<rule>(small_rule);
    ASSERT_TRUE(decoded) << decoded.message();

    auto compact = encode(*decoded.value(), format::compact);
    ASSERT_TRUE(compact) << compact.message();
    EXPECT_EQ(compact.value(), small_rule);
    EXPECT_EQ(compact.message(), "");

    auto pretty = encode(*decoded.value(), format::pretty);
    ASSERT_TRUE(pretty) << pretty.message();
    EXPECT_EQ(pretty.value(),
              "{\n"
              "    \"ruleName\": \"r\",\n"
              "    \"ruleItem_Definitions\": [\n"
              "        {\n"
              "            \"item_definitionOperator\": \"equals\",\n"
              "            \"item_definitionValue\": \"Linux\"\n"
              "        }\n"
              "    ],\n"
              "    \"ruleMatchType\": \"all\"\n"
              "}");
}

TEST(Encode, FaultGivesStatusAndLine) {
    // A zero-filled kind tag names no action kind; the encoder refuses it.
    action a{};
    a.actionName = const_cast<char *>("a");
    a.actionSchedulePeriod = const_cast<char *>("week");
    auto encoded = encode(a, format::compact);
    EXPECT_FALSE(encoded);
    EXPECT_EQ(encoded.status(), RMQC_ERR_ENCODE);
    EXPECT_EQ(encoded.message(),
              "<action>.actionSpecific.actions: JSON encode error. Union type for property 'actions' is out of "
              "range [1..15].");
    EXPECT_EQ(encoded.value(), "");
}

TEST(Result, MovesTheValueOut) {
    auto decoded = decode<rule>(small_rule);
    ASSERT_TRUE(decoded);
    rule *const tree = decoded.value().get();
    owner<rule> taken = std::move(decoded).value();
    EXPECT_EQ(taken.get(), tree);
    EXPECT_EQ(decoded.value(), nullptr);  // the result gave its tree away

    // Straight from the returned result.
    owner<rule> direct = decode<rule>(small_rule).value();
    ASSERT_NE(direct, nullptr);
    EXPECT_STREQ(direct->ruleName, "r");

    std::string text = encode(*direct, format::compact).value();
    EXPECT_EQ(text, small_rule);

    // A failed result gives the empty value, not an exception.
    owner<rule> none = decode<rule>("[").value();
    EXPECT_EQ(none, nullptr);
}

TEST(Owner, ReleasesARecordBuiltByHand) {
    // A record from malloc, its strings from malloc and flagged: the owner's
    // deleter (rmqc_free_item_definition) releases all of it. The leak
    // checker of the sanitizer build fails the run when it does not.
    owner<item_definition> item(static_cast<item_definition *>(std::calloc(1, sizeof(item_definition))));
    ASSERT_NE(item, nullptr);
    item->item_definitionValue = copy("Linux");
    item->item_definitionValue_present = 1;
    item->item_definitionType = copy("string");
    item->item_definitionType_present = 1;

    auto encoded = encode(*item, format::compact);
    ASSERT_TRUE(encoded) << encoded.message();
    EXPECT_EQ(encoded.value(), R"({"item_definitionType":"string","item_definitionValue":"Linux"})");

    item.reset();
    EXPECT_EQ(item, nullptr);
    item.reset();  // releasing nothing is harmless
}

}  // namespace
