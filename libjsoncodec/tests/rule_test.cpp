// Rules and their item definitions through the exported functions.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "jsoncodec.h"
#include "root_calls.h"

namespace {

using Calls = JSONCODEC_ROOT_CALLS(rule);
using Decoded = Calls::Decoded;
constexpr auto decode = Calls::decode;

// Compact text of a rule, or the diagnostic line when encoding fails.
std::string encode(const rule *r) { return Calls::encode(r).text; }

char *text(const char *s) { return const_cast<char *>(s); }

TEST(RuleDecode, FaultsNameTheirPlace) {
    struct Case {
        const char *json;
        const char *line;
    };
    const Case cases[] = {
        {R"({"ruleComment":"x"})",
         "<rule>.ruleName: JSON decode error. Required property 'ruleName' is missing which violates the schema."},
        {R"({"ruleName":"r","ruleItem_Definitions":[{},{"item_definitionType":5}]})",
         "<rule>.ruleItem_Definitions[1].item_definitionType: JSON decode error. Expected a string as specified in "
         "schema."},
        {"[1]", "<rule>: JSON decode error. Expected object of type 'rule'."},
        {R"({"ruleName":"r","ruleItem_Definitions":{}})",
         "<rule>.ruleItem_Definitions[]: JSON decode error. Expected property to be an array as specified in schema."},
        {R"({"ruleName":"r","ruleItem_Definitions":[1]})",
         "<rule>.ruleItem_Definitions[0]: JSON decode error. Expected object of type 'item_definition'."},
    };
    for (const Case &c : cases) Calls::expect_refused(c.json, c.line);
}

TEST(RuleRoundTrip, MinimalFormsComeBackUnchanged) {
    Decoded name = decode(R"({"ruleName":"r"})");
    ASSERT_EQ(name.status, 0) << name.line;
    EXPECT_STREQ(name.tree->ruleName, "r");
    EXPECT_EQ(name.tree->ruleComment_present | name.tree->ruleDataSourceType_present |
                  name.tree->ruleItem_Definitions_present | name.tree->ruleMatchType_present,
              0);
    EXPECT_EQ(encode(name.tree), R"({"ruleName":"r"})");

    Decoded empty = decode(R"({"ruleName":"r","ruleItem_Definitions":[]})");
    ASSERT_EQ(empty.status, 0) << empty.line;
    EXPECT_EQ(empty.tree->ruleItem_Definitions_present, 1);
    EXPECT_EQ(empty.tree->ruleItem_Definitions, nullptr);
    EXPECT_EQ(encode(empty.tree), R"({"ruleName":"r","ruleItem_Definitions":[]})");

    Decoded two = decode(R"({"ruleName":"r","ruleItem_Definitions":[{},{}]})");
    ASSERT_EQ(two.status, 0) << two.line;
    const item_definition *first = two.tree->ruleItem_Definitions;
    ASSERT_NE(first, nullptr);
    ASSERT_NE(first->next, nullptr);
    EXPECT_EQ(first->next->next, nullptr);
    EXPECT_EQ(encode(two.tree), R"({"ruleName":"r","ruleItem_Definitions":[{},{}]})");
}

TEST(RuleRoundTrip, DeclaredOrderWhateverTheInputOrderAndUnknownPropertiesIgnored) {
    Decoded d = decode(
        R"({"ruleMatchType":"Any Value At All","extra":[1,{"a":null}],)"
        R"("ruleItem_Definitions":[{"item_definitionValue":"v","item_definitionType":"t","other":1,)"
        R"("item_definitionProperty":"p","item_definitionOperator":"o"},{"item_definitionValue":"w"}],)"
        R"("ruleDataSourceType":"","ruleComment":"c","ruleName":"r"})");
    ASSERT_EQ(d.status, 0) << d.line;
    const item_definition *first = d.tree->ruleItem_Definitions;
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->item_definitionOperator, "o");
    ASSERT_NE(first->next, nullptr);
    EXPECT_STREQ(first->next->item_definitionValue, "w");
    EXPECT_EQ(first->next->item_definitionType_present, 0);
    EXPECT_EQ(encode(d.tree),
              R"({"ruleName":"r","ruleComment":"c","ruleDataSourceType":"","ruleItem_Definitions":[)"
              R"({"item_definitionOperator":"o","item_definitionProperty":"p","item_definitionType":"t",)"
              R"("item_definitionValue":"v"},{"item_definitionValue":"w"}],"ruleMatchType":"Any Value At All"})");
}

// The guard against a list that loops back on itself trips only after
// ten million elements have been encoded.
TEST(RuleEncode, CircularListIsRefused) {
    item_definition a{};
    item_definition b{};
    item_definition c{};
    a.next = &b;
    b.next = &c;
    c.next = &b;
    rule r{};
    r.ruleName = text("r");
    r.ruleItem_Definitions = &a;
    r.ruleItem_Definitions_present = 1;
    char buf[512];
    char *json = nullptr;
    EXPECT_EQ(rmqc_json_from_rule(&r, &json, buf, sizeof buf, 0), 203);
    EXPECT_STREQ(buf,
                 "<rule>.ruleItem_Definitions[]: JSON encode error. Array 'ruleItem_Definitions' has more than "
                 "MAX_ARRAY_SZ items in the linked list which suggests circular linkage.");
    EXPECT_EQ(json, nullptr);
}

TEST(ItemDefinition, OneElementEachWay) {
    char buf[256];
    item_definition *item = nullptr;
    ASSERT_EQ(rmqc_json_to_item_definition(&item, R"({"item_definitionType":"t","item_definitionValue":"v"})", buf,
                                           sizeof buf),
              0)
        << buf;
    EXPECT_EQ(item->next, nullptr);

    // The encoder never looks at `next`: the spoiled element after it would
    // fail.
    item_definition spoiled{};
    spoiled.item_definitionType_present = 1;
    item->next = &spoiled;
    char *json = nullptr;
    ASSERT_EQ(rmqc_json_from_item_definition(item, &json, buf, sizeof buf, 0), 0) << buf;
    EXPECT_STREQ(json, R"({"item_definitionType":"t","item_definitionValue":"v"})");
    std::free(json);
    rmqc_free_item_definition(item);
}

TEST(Release, ItemReleaseDoesNotFollowNextAndRuleReleaseTakesTheList) {
    Decoded d = decode(R"({"ruleName":"r","ruleItem_Definitions":[{"item_definitionValue":"1"},)"
                       R"({"item_definitionValue":"2"},{"item_definitionValue":"3"}]})");
    ASSERT_EQ(d.status, 0) << d.line;
    item_definition *head = d.tree->ruleItem_Definitions;
    item_definition *second = head->next;
    d.tree->ruleItem_Definitions = second;
    rmqc_free_item_definition(head);
    // The rest of the list is intact; the rule still owns it and releases it.
    EXPECT_STREQ(second->item_definitionValue, "2");
    EXPECT_STREQ(second->next->item_definitionValue, "3");
}

TEST(Release, DestroyEmptiesTheRecordInPlace) {
    rule r{};
    r.ruleName = strdup("r");
    r.ruleComment = strdup("c");
    r.ruleComment_present = 1;
    r.ruleItem_Definitions = static_cast<item_definition *>(std::calloc(1, sizeof(item_definition)));
    r.ruleItem_Definitions->next = static_cast<item_definition *>(std::calloc(1, sizeof(item_definition)));
    r.ruleItem_Definitions->next->item_definitionOperator = strdup("o");
    r.ruleItem_Definitions->next->item_definitionOperator_present = 1;
    r.ruleItem_Definitions_present = 1;
    rmqc_destroy_rule(&r);
    static const rule zero{};  // static: padding bytes are zero too
    EXPECT_EQ(std::memcmp(&r, &zero, sizeof r), 0);

    item_definition other{};
    item_definition item{};
    item.next = &other;
    item.item_definitionType = strdup("t");
    item.item_definitionType_present = 1;
    rmqc_destroy_item_definition(&item);
    static const item_definition none{};  // static: padding bytes are zero too
    EXPECT_EQ(std::memcmp(&item, &none, sizeof item), 0);
}

}  // namespace
