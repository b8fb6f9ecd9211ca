// The exported functions as a caller sees them: status codes, the caller's
// diagnostic buffer, output parameters and the text forms produced.
#include <gtest/gtest.h>
#include <jansson.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "jsoncodec.h"

namespace {

// The parse-failure line for `text`, built from the JSON library's own
// account of the failure.
std::string parse_failure_line(const char *text) {
    json_error_t error;
    json_t *value = json_loads(text, JSON_REJECT_DUPLICATES, &error);
    EXPECT_EQ(value, nullptr);
    json_decref(value);
    return std::string("<rule>: JSON decode error. JSON parsing error: ") + error.text + " in " + error.source +
           " line: " + std::to_string(error.line) + " col: " + std::to_string(error.column) + "\n";
}

rule named(const char *name) {
    rule r{};
    r.ruleName = const_cast<char *>(name);
    return r;
}

TEST(Boundary, WithoutBufferEveryFaultStillReturnsItsStatus) {
    rule *r = nullptr;
    char *json = nullptr;
    rule valid = named("r");
    rule broken = named("r");
    broken.ruleMatchType_present = 1;

    EXPECT_EQ(rmqc_json_to_rule(nullptr, "{", nullptr, 0), 201);
    EXPECT_EQ(rmqc_json_to_rule(&r, "{", nullptr, 0), 202);
    EXPECT_EQ(rmqc_json_to_rule(&r, R"({"ruleComment":"x"})", nullptr, 0), 202);
    EXPECT_EQ(r, nullptr);
    EXPECT_EQ(rmqc_json_from_rule(&valid, nullptr, nullptr, 0, 0), 201);
    EXPECT_EQ(rmqc_json_from_rule(nullptr, &json, nullptr, 0, 0), 203);
    EXPECT_EQ(rmqc_json_from_rule(&broken, &json, nullptr, 0, 0), 203);
    EXPECT_EQ(json, nullptr);

    // A NULL buffer with a nonzero length is taken as no buffer.
    EXPECT_EQ(rmqc_json_to_rule(&r, R"({"ruleComment":"x"})", nullptr, 64), 202);
    EXPECT_EQ(rmqc_json_from_rule(nullptr, &json, nullptr, 64, 0), 203);

    EXPECT_EQ(rmqc_json_to_rule(&r, R"({"ruleName":"r"})", nullptr, 0), 0);
    rmqc_free_rule(r);

    // Enum checks build their list of allowed texts only when there is a
    // buffer to put it in; without one the status must still come back.
    const std::string head = R"({"actionName":"a","actionSpecific":{"actions":{"actionType":"probe"}},)"
                             R"("actionScheduleActivity":[],"actionSchedulePeriod":)";
    action *a = nullptr;
    EXPECT_EQ(rmqc_json_to_action(&a, (head + R"("year"})").c_str(), nullptr, 0), 202);
    EXPECT_EQ(a, nullptr);
    ASSERT_EQ(rmqc_json_to_action(&a, (head + R"("week"})").c_str(), nullptr, 0), 0);
    a->actionSchedulePeriod[0] = 'W';
    EXPECT_EQ(rmqc_json_from_action(a, &json, nullptr, 0, 0), 203);
    EXPECT_EQ(json, nullptr);
    rmqc_free_action(a);
}

TEST(Boundary, LineIsCutToTheBufferAndNothingIsWrittenPastIt) {
    char buf[64];
    rule *r = nullptr;

    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(rmqc_json_to_rule(&r, R"({"ruleComment":"x"})", buf, 1), 202);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(buf[1], '#');

    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(rmqc_json_to_rule(&r, R"({"ruleComment":"x"})", buf, 20), 202);
    EXPECT_STREQ(buf, "<rule>.ruleName: JS");
    EXPECT_EQ(buf[20], '#');
}

TEST(Boundary, SuccessLeavesAnEmptyLine) {
    char buf[64] = "left over from an earlier call";
    rule *r = nullptr;
    ASSERT_EQ(rmqc_json_to_rule(&r, R"({"ruleName":"r"})", buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "");

    std::strcpy(buf, "left over");
    char *json = nullptr;
    ASSERT_EQ(rmqc_json_from_rule(r, &json, buf, sizeof buf, 0), 0);
    EXPECT_STREQ(buf, "");
    std::free(json);
    rmqc_free_rule(r);
}

TEST(Boundary, NullOutputParameters) {
    char buf[256];
    EXPECT_EQ(rmqc_json_to_rule(nullptr, "not json at all", buf, sizeof buf), 201);
    EXPECT_STREQ(buf, "<rule>: Internal Error: Bad Arguments. Output parameter cannot be NULL");
    EXPECT_EQ(rmqc_json_to_item_definition(nullptr, "{}", buf, sizeof buf), 201);
    EXPECT_STREQ(buf, "<item_definition>: Internal Error: Bad Arguments. Output parameter cannot be NULL");

    rule r = named("r");
    EXPECT_EQ(rmqc_json_from_rule(&r, nullptr, buf, sizeof buf, 1), 201);
    EXPECT_STREQ(buf, "<rule>: Internal Error: Bad Arguments. Output parameter to rmqc_json_from_rule was NULL");
    item_definition item{};
    EXPECT_EQ(rmqc_json_from_item_definition(&item, nullptr, buf, sizeof buf, 1), 201);
    EXPECT_STREQ(buf,
                 "<item_definition>: Internal Error: Bad Arguments. Output parameter to rmqc_json_from_item_definition "
                 "was NULL");
}

TEST(Boundary, ParseFailureLeavesTheOutputAlone) {
    rule untouched{};
    for (const char *text : {"{", "", R"({"ruleName":"a","ruleName":"b"})", R"({"ruleName":"r"} trailing)"}) {
        SCOPED_TRACE(text);
        char buf[256];
        rule *r = &untouched;
        EXPECT_EQ(rmqc_json_to_rule(&r, text, buf, sizeof buf), 202);
        EXPECT_EQ(r, &untouched);
        EXPECT_EQ(buf, parse_failure_line(text));
    }
    char buf[256];
    rule *r = &untouched;
    EXPECT_EQ(rmqc_json_to_rule(&r, nullptr, buf, sizeof buf), 202);
    EXPECT_EQ(r, &untouched);
    EXPECT_EQ(buf, parse_failure_line(nullptr));
}

TEST(Boundary, SchemaFaultClearsTheOutput) {
    rule untouched{};
    rule *r = &untouched;
    char buf[256];
    EXPECT_EQ(rmqc_json_to_rule(&r, "[1]", buf, sizeof buf), 202);
    EXPECT_EQ(r, nullptr);

    item_definition other{};
    item_definition *item = &other;
    EXPECT_EQ(rmqc_json_to_item_definition(&item, R"({"item_definitionType":5})", buf, sizeof buf), 202);
    EXPECT_EQ(item, nullptr);
    EXPECT_STREQ(buf, "<item_definition>.item_definitionType: JSON decode error. Expected a string as specified in schema.");
}

TEST(Boundary, NullSourceIsAnEncodeFaultAndLeavesTheOutputAlone) {
    char buf[256];
    char sentinel = 0;
    char *json = &sentinel;
    EXPECT_EQ(rmqc_json_from_item_definition(nullptr, &json, buf, sizeof buf, 1), 203);
    EXPECT_STREQ(buf,
                 "<item_definition>: JSON encode error. Source data for 'item_definition' was NULL when trying to "
                 "generate object root.");
    EXPECT_EQ(json, &sentinel);
}

TEST(Boundary, PrettyAndCompactText) {
    rule *r = nullptr;
    ASSERT_EQ(rmqc_json_to_rule(&r, R"({"ruleName":"r","ruleItem_Definitions":[{"item_definitionType":"t"},{}]})",
                                nullptr, 0),
              0);
    char *json = nullptr;
    ASSERT_EQ(rmqc_json_from_rule(r, &json, nullptr, 0, 1), 0);
    EXPECT_STREQ(json,
                 "{\n"
                 "    \"ruleName\": \"r\",\n"
                 "    \"ruleItem_Definitions\": [\n"
                 "        {\n"
                 "            \"item_definitionType\": \"t\"\n"
                 "        },\n"
                 "        {}\n"
                 "    ]\n"
                 "}");
    std::free(json);
    ASSERT_EQ(rmqc_json_from_rule(r, &json, nullptr, 0, 0), 0);
    EXPECT_STREQ(json, R"({"ruleName":"r","ruleItem_Definitions":[{"item_definitionType":"t"},{}]})");
    std::free(json);
    rmqc_free_rule(r);
}

TEST(Boundary, ReleasingNothingDoesNothing) {
    rmqc_free_rule(nullptr);
    rmqc_destroy_rule(nullptr);
    rmqc_free_item_definition(nullptr);
    rmqc_destroy_item_definition(nullptr);
}

}  // namespace
