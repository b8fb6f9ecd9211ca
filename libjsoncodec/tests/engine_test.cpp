// The table-driven engine on small record types of its own, covering every
// property kind: decoding with its faults and match counts, encoding with its
// checks, union trials and their closest failure (the schema's own unions
// are tested with the action kinds), the depth limit and releasing
// partly built trees.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <utility>

#include "codec.h"
#include "table.h"

namespace {

using namespace jsoncodec;

// An element of a list.
struct item {
    item *next;
    char *label;
    int64_t weight;
    uint8_t weight_present;
};
constexpr FieldDesc item_fields[] = {JC_STRING(item, label, REQUIRED), JC_INTEGER(item, weight, OPTIONAL)};
constexpr TypeDesc item_desc = JC_LIST_ELEMENT_TYPE(item, item_fields);

JC_ENUM_VALUES(period_enum, "week", "month", "reference");
constexpr const char *period_message = "String based enum fails to match one of: [ 'week', 'month', 'reference' ]. ";

struct inner {
    char *mode;
    int32_t flag;
    uint8_t flag_present;
};
constexpr FieldDesc inner_fields[] = {JC_ENUM(inner, mode, REQUIRED, period_enum), JC_BOOLEAN(inner, flag, OPTIONAL)};
constexpr TypeDesc inner_desc = JC_TYPE(inner, inner_fields);

// One property of every kind but the union.
struct sample {
    char *title;
    int64_t amount;
    inner core;
    inner *extra;
    item *items;
    int64_t *numbers;
    char *period;
    char **tags;
    uint8_t extra_present;
    uint8_t items_present;
    uint8_t numbers_present;
    uint8_t period_present;
    uint8_t tags_present;
    uint64_t numbers_array_sz;
    uint64_t tags_array_sz;
};
constexpr FieldDesc sample_fields[] = {
    JC_STRING(sample, title, REQUIRED),
    JC_INTEGER(sample, amount, REQUIRED),
    JC_RECORD(sample, core, REQUIRED, inner, inner_desc),
    JC_RECORD_POINTER(sample, extra, OPTIONAL, inner, inner_desc),
    JC_LIST(sample, items, OPTIONAL, item, item_desc),
    JC_INTEGER_ARRAY(sample, numbers, OPTIONAL),
    JC_ENUM(sample, period, OPTIONAL, period_enum),
    JC_STRING_ARRAY(sample, tags, OPTIONAL),
};
constexpr TypeDesc sample_desc = JC_TYPE(sample, sample_fields);

// Required arrays of both element kinds and a required list.
struct needs {
    char **names;
    item *chain;
    int64_t *codes;
    uint64_t codes_array_sz;
    uint64_t names_array_sz;
};
constexpr FieldDesc needs_fields[] = {JC_STRING_ARRAY(needs, names, REQUIRED),
                                      JC_LIST(needs, chain, REQUIRED, item, item_desc),
                                      JC_INTEGER_ARRAY(needs, codes, REQUIRED)};
constexpr TypeDesc needs_desc = JC_TYPE(needs, needs_fields);

// A union of two alternatives inside a wrapper, itself embedded in a holder.
struct alpha {
    char *x;
    char *y;
};
constexpr FieldDesc alpha_fields[] = {JC_STRING(alpha, x, REQUIRED), JC_ENUM(alpha, y, REQUIRED, period_enum)};
constexpr TypeDesc alpha_desc = JC_TYPE(alpha, alpha_fields);

struct beta {
    char *w;
    int64_t z;
};
constexpr FieldDesc beta_fields[] = {JC_STRING(beta, w, REQUIRED), JC_INTEGER(beta, z, REQUIRED)};
constexpr TypeDesc beta_desc = JC_TYPE(beta, beta_fields);

struct choice {
    union {
        struct alpha alpha;
        struct beta beta;
    } u;
    uint8_t u_type;
};
JC_UNION_MEMBERS(choice_members, JC_UNION_MEMBER(choice, u, alpha, alpha_desc),
                 JC_UNION_MEMBER(choice, u, beta, beta_desc));
constexpr FieldDesc choice_fields[] = {JC_UNION(choice, u, choice_members)};
constexpr TypeDesc choice_desc = JC_TYPE(choice, choice_fields);

struct holder {
    choice pick;
};
constexpr FieldDesc holder_fields[] = {JC_RECORD(holder, pick, REQUIRED, choice, choice_desc)};
constexpr TypeDesc holder_desc = JC_TYPE(holder, holder_fields);

// A record decoded into new storage, released and freed at the end of the
// test whatever the outcome.
template <class T>
struct Tree {
    const TypeDesc &type;
    T *rec = nullptr;
    explicit Tree(const TypeDesc &t) : type(t) {}
    ~Tree() {
        if (rec != nullptr) {
            release_record(type, rec);
            std::free(rec);
        }
    }
};

struct Outcome {
    int32_t status;
    std::string line;  // the diagnostic line
    uint32_t matches;
    std::string json;  // compact text of a successful encode
};

Outcome decode_text(const TypeDesc &type, const char *text, void *slot, int32_t depth = 0) {
    json_error_t error;
    json_t *value = json_loads(text, JSON_REJECT_DUPLICATES, &error);
    EXPECT_NE(value, nullptr) << text << ": " << error.text;
    char buf[1024] = "";
    path_node root = root_node(type.name);
    uint32_t matches = 0;
    int32_t status = decode_record(type, value, slot, nullptr, depth, buf, sizeof buf, &root, &matches);
    json_decref(value);
    return {status, buf, matches, ""};
}

Outcome encode_rec(const TypeDesc &type, const void *src, int32_t depth = 0) {
    char buf[1024] = "";
    path_node root = root_node(type.name);
    json_t *value = nullptr;
    Outcome o{encode_record(type, &value, src, depth, buf, sizeof buf, &root), buf, 0, ""};
    if (o.status == 0) {
        EXPECT_NE(value, nullptr);
        char *text = json_dumps(value, JSON_PRESERVE_ORDER | JSON_COMPACT);
        o.json = text;
        std::free(text);
    }
    json_decref(value);
    return o;
}

char *text(const char *s) { return const_cast<char *>(s); }

constexpr const char *minimal = R"({"title":"t","amount":1,"core":{"mode":"week"}})";

// `minimal` with more properties.
std::string minimal_and(const char *more) { return std::string(minimal, std::strlen(minimal) - 1) + "," + more + "}"; }

TEST(EngineDecode, EachFaultIsReportedAtItsPlace) {
    const std::string dec = ": JSON decode error. ";
    const std::string integer = dec + "Expected property to be an integer as specified in schema.";
    const std::string array = dec + "Expected property to be an array as specified in schema.";
    const std::string period = "<sample>.period" + dec + period_message;
    const std::pair<std::string, std::string> cases[] = {
        {"[]", "<sample>" + dec + "Expected object of type 'sample'."},
        {R"({"title":null,"amount":1,"core":{"mode":"week"}})",
         "<sample>.title" + dec + "Expected a string as specified in schema."},
        {R"({"title":"t","amount":1.0,"core":{"mode":"week"}})", "<sample>.amount" + integer},
        {R"({"title":"t","amount":true,"core":{"mode":"week"}})", "<sample>.amount" + integer},
        {R"({"title":"t","amount":1})",
         "<sample>.core" + dec + "Required property 'core' is missing which violates the schema."},
        {R"({"title":"t","amount":1,"core":null})", "<sample>.core" + dec + "Expected object of type 'inner'."},
        {R"({"title":"t","amount":1,"core":{}})",
         "<sample>.core.mode" + dec + "Required property 'mode' is missing which violates the schema."},
        {R"({"title":"t","amount":1,"core":{"mode":"week","flag":1}})",
         "<sample>.core.flag" + dec + "Expected property to be boolean as specified in schema."},
        // Enum texts match whole and case-sensitively.
        {minimal_and(R"("period":"Week")"), period},
        {minimal_and(R"("period":"weekly")"), period},
        {minimal_and(R"("period":"wee")"), period},
        {minimal_and(R"("items":null)"), "<sample>.items[]" + array},
        {minimal_and(R"("items":[{"label":"a"},7])"), "<sample>.items[1]" + dec + "Expected object of type 'item'."},
        {minimal_and(R"("items":[{"label":"a"},{"label":"b","weight":"x"}])"), "<sample>.items[1].weight" + integer},
        {minimal_and(R"("numbers":{})"), "<sample>.numbers[]" + array},
        {minimal_and(R"("numbers":[1,2.5])"),
         "<sample>.numbers[1]" + dec + "Expected array item to be an integer as specified in schema."},
        {minimal_and(R"("tags":["a",null])"),
         "<sample>.tags[1]" + dec + "Expected array item to be a string as specified in schema."},
    };
    for (const auto &[json, line] : cases) {
        SCOPED_TRACE(json);
        Tree<sample> t(sample_desc);
        Outcome o = decode_text(sample_desc, json.c_str(), &t.rec);
        EXPECT_EQ(o.status, 202);
        EXPECT_EQ(o.line, line);
    }
}

TEST(EngineDecode, RequiredArraysAndListsAreNamedAsArrays) {
    Tree<needs> a(needs_desc);
    EXPECT_EQ(decode_text(needs_desc, "{}", &a.rec).line,
              "<needs>.names[]: JSON decode error. Required property 'names' is missing which violates the schema.");
    Tree<needs> b(needs_desc);
    EXPECT_EQ(decode_text(needs_desc, R"({"names":[]})", &b.rec).line,
              "<needs>.chain[]: JSON decode error. Required property 'chain' is missing which violates the schema.");
    Tree<needs> c(needs_desc);
    EXPECT_EQ(decode_text(needs_desc, R"({"names":[],"chain":[]})", &c.rec).line,
              "<needs>.codes[]: JSON decode error. Required property 'codes' is missing which violates the schema.");
}

TEST(EngineRoundTrip, EveryKindInRecordOrderWithMatchCount) {
    Tree<sample> t(sample_desc);
    Outcome o = decode_text(sample_desc,
                            R"({"unknown":{"x":[1]},"tags":["Week",""],"period":"month",)"
                            R"("numbers":[9223372036854775807,-9223372036854775808,0],)"
                            R"("items":[{"weight":1,"label":"a"},{"label":"b"}],)"
                            R"("extra":{"flag":false,"mode":"reference"},"core":{"mode":"week","flag":true},)"
                            R"("amount":-9223372036854775808,"title":"t"})",
                            &t.rec);
    ASSERT_EQ(o.status, 0) << o.line;
    EXPECT_EQ(o.line, "");
    // 5 scalars, core 2+1, extra 2+1, items 3 properties + 1 for the list,
    // numbers 1, tags 1.
    EXPECT_EQ(o.matches, 15u);

    const sample &s = *t.rec;
    EXPECT_EQ(s.amount, INT64_MIN);
    EXPECT_EQ(s.core.flag, 1);
    EXPECT_EQ(s.core.flag_present, 1);
    ASSERT_NE(s.extra, nullptr);
    EXPECT_EQ(s.extra->flag, 0);
    EXPECT_EQ(s.extra->flag_present, 1);
    ASSERT_EQ(s.numbers_array_sz, 3u);
    EXPECT_EQ(s.numbers[0], INT64_MAX);
    ASSERT_EQ(s.tags_array_sz, 2u);
    EXPECT_STREQ(s.tags[0], "Week");  // array elements are never enum-checked
    ASSERT_NE(s.items, nullptr);
    EXPECT_STREQ(s.items->label, "a");
    ASSERT_NE(s.items->next, nullptr);
    EXPECT_STREQ(s.items->next->label, "b");
    EXPECT_EQ(s.items->next->weight_present, 0);
    EXPECT_EQ(s.items->next->next, nullptr);

    Outcome e = encode_rec(sample_desc, t.rec);
    ASSERT_EQ(e.status, 0) << e.line;
    EXPECT_EQ(e.json,
              R"({"title":"t","amount":-9223372036854775808,"core":{"mode":"week","flag":true},)"
              R"("extra":{"mode":"reference","flag":false},"items":[{"label":"a","weight":1},{"label":"b"}],)"
              R"("numbers":[9223372036854775807,-9223372036854775808,0],"period":"month","tags":["Week",""]})");
}

TEST(EngineRoundTrip, EmptyArraysAreFlaggedCountedOnceAndEncodedEmpty) {
    Tree<sample> plain(sample_desc);
    EXPECT_EQ(decode_text(sample_desc, minimal, &plain.rec).matches, 4u);

    Tree<sample> t(sample_desc);
    Outcome o = decode_text(sample_desc, minimal_and(R"("numbers":[],"items":[],"tags":[])").c_str(), &t.rec);
    ASSERT_EQ(o.status, 0) << o.line;
    EXPECT_EQ(o.matches, 7u);
    EXPECT_EQ(t.rec->numbers_present, 1);
    EXPECT_EQ(t.rec->numbers_array_sz, 0u);
    EXPECT_EQ(t.rec->items_present, 1);
    EXPECT_EQ(t.rec->items, nullptr);
    EXPECT_EQ(t.rec->tags_array_sz, 0u);
    EXPECT_EQ(encode_rec(sample_desc, t.rec).json,
              R"({"title":"t","amount":1,"core":{"mode":"week"},"items":[],"numbers":[],"tags":[]})");
}

TEST(EngineDecode, FailedDecodeLeavesWhatItBuiltReachableAndFlagged) {
    Tree<sample> a(sample_desc);
    EXPECT_EQ(decode_text(sample_desc, minimal_and(R"("tags":["a","b",3])").c_str(), &a.rec).line,
              "<sample>.tags[2]: JSON decode error. Expected array item to be a string as specified in schema.");
    ASSERT_NE(a.rec, nullptr);
    EXPECT_EQ(a.rec->tags_present, 1);
    ASSERT_EQ(a.rec->tags_array_sz, 3u);
    EXPECT_STREQ(a.rec->tags[1], "b");
    EXPECT_EQ(a.rec->tags[2], nullptr);

    Tree<sample> b(sample_desc);
    decode_text(sample_desc, minimal_and(R"("period":5)").c_str(), &b.rec);
    EXPECT_EQ(b.rec->period_present, 1);
    EXPECT_EQ(b.rec->period, nullptr);

    Tree<sample> c(sample_desc);
    EXPECT_EQ(decode_text(sample_desc, minimal_and(R"("items":[{"label":"a"},{}])").c_str(), &c.rec).line,
              "<sample>.items[1].label: JSON decode error. Required property 'label' is missing which violates the schema.");
    ASSERT_NE(c.rec->items, nullptr);
    EXPECT_NE(c.rec->items->next, nullptr);  // the failing element is already linked

    Tree<sample> d(sample_desc);
    decode_text(sample_desc, minimal_and(R"("extra":{"mode":1})").c_str(), &d.rec);
    EXPECT_EQ(d.rec->extra_present, 1);
    EXPECT_NE(d.rec->extra, nullptr);
}

// An array of `size` JSON nulls under `name`, beside minimal's properties.
// The null is a shared value, so even ten million of them cost only the
// array's own pointers.
Outcome decode_nulls(const char *name, size_t size, sample **slot) {
    json_t *nulls = json_array();
    for (size_t i = 0; i < size; ++i) json_array_append_new(nulls, json_null());
    json_t *value = json_loads(minimal, 0, nullptr);
    json_object_set_new(value, name, nulls);
    char buf[256] = "";
    path_node root = root_node(sample_desc.name);
    uint32_t matches = 0;
    int32_t status = decode_record(sample_desc, value, slot, nullptr, 0, buf, sizeof buf, &root, &matches);
    json_decref(value);
    return {status, buf, matches, ""};
}

TEST(EngineLimits, ArraysAndListsOfMoreThanTenMillionElementsAreRefused) {
    const std::string limit = ": JSON decode error. Array size is > MAX_ARRAY_SZ which suggests a library error.";
    for (const char *name : {"tags", "numbers", "items"}) {
        SCOPED_TRACE(name);
        Tree<sample> over(sample_desc);
        EXPECT_EQ(decode_nulls(name, MAX_ARRAY_SZ + 1, &over.rec).line, "<sample>." + std::string(name) + "[]" + limit);
        // At the limit the elements are read: the first null is refused.
        Tree<sample> at(sample_desc);
        EXPECT_EQ(decode_nulls(name, MAX_ARRAY_SZ, &at.rec).line.rfind("<sample>." + std::string(name) + "[0]", 0), 0u);
    }
}

// A valid hand-built record; tests spoil one field each. Nothing in it is
// owned, so it is never released.
struct HandBuilt {
    int64_t numbers[1] = {5};
    char *tags[2] = {text("a"), text("b")};
    item second{nullptr, text("b"), 0, 0};
    item first{&second, text("a"), 2, 1};
    inner extra{text("reference"), 0, 0};
    sample s{};
    HandBuilt() {
        s.title = text("t");
        s.amount = 1;
        s.core.mode = text("week");
        s.extra = &extra;
        s.items = &first;
        s.numbers = numbers;
        s.tags = tags;
        s.period = text("month");
        s.extra_present = s.items_present = s.numbers_present = s.period_present = s.tags_present = 1;
        s.numbers_array_sz = 1;
        s.tags_array_sz = 2;
    }
};

TEST(EngineEncode, OptionalPropertiesOnlyWhenFlagged) {
    HandBuilt h;
    h.s.core.flag = 7;
    h.s.core.flag_present = 1;
    EXPECT_EQ(encode_rec(sample_desc, &h.s).json,
              R"({"title":"t","amount":1,"core":{"mode":"week","flag":true},"extra":{"mode":"reference"},)"
              R"("items":[{"label":"a","weight":2},{"label":"b"}],"numbers":[5],"period":"month","tags":["a","b"]})");
    h.s.extra_present = h.s.items_present = h.s.numbers_present = h.s.period_present = h.s.tags_present = 0;
    EXPECT_EQ(encode_rec(sample_desc, &h.s).json, R"({"title":"t","amount":1,"core":{"mode":"week","flag":true}})");
}

TEST(EngineEncode, EachFaultIsReportedAtItsPlace) {
    const std::string enc = ": JSON encode error. ";
    const std::string title = "<sample>.title" + enc +
                              "Error generated by jansson library while parsing property 'title' from object 'sample'.";
    const std::string array_item = "<sample>.tags[1]" + enc + "Error generated by jansson library while parsing array item.";
    const std::string count = " has more than MAX_ARRAY_SZ items according to _array_sz field which suggests the "
                              "field is uninitialized.";
    const std::pair<std::function<void(sample &)>, std::string> cases[] = {
        {[](sample &s) { s.title = nullptr; }, title},
        {[](sample &s) { s.title = text("\xff"); }, title},  // not UTF-8
        {[](sample &s) { s.core.mode = text("Week"); }, "<sample>.core.mode" + enc + period_message},
        {[](sample &s) { s.core.mode = nullptr; }, "<sample>.core.mode" + enc + period_message},
        {[](sample &s) { s.period = text("weekly"); }, "<sample>.period" + enc + period_message},
        {[](sample &s) { s.period = nullptr; }, "<sample>.period" + enc + period_message},
        {[](sample &s) { s.extra = nullptr; },
         "<sample>.extra" + enc + "Source data for 'inner' was NULL when trying to generate object root."},
        {[](sample &s) { s.items->next->label = nullptr; },
         "<sample>.items[1].label" + enc +
             "Error generated by jansson library while parsing property 'label' from object 'item'."},
        {[](sample &s) { s.tags[1] = nullptr; }, array_item},
        {[](sample &s) { s.tags[1] = text("\xc3\x28"); }, array_item},
        // A count with no block behind it: the first element is missing.
        {[](sample &s) { s.tags = nullptr; },
         "<sample>.tags[0]" + enc + "Error generated by jansson library while parsing array item."},
        {[](sample &s) { s.numbers = nullptr; },
         "<sample>.numbers[0]" + enc + "Error generated by jansson library while parsing array item."},
        // Counts above the limit are refused before any element is read:
        // the blocks hold fewer elements than claimed.
        {[](sample &s) { s.tags_array_sz = MAX_ARRAY_SZ + 1; }, "<sample>.tags[]" + enc + "Array 'tags'" + count},
        {[](sample &s) { s.numbers_array_sz = MAX_ARRAY_SZ + 1; },
         "<sample>.numbers[]" + enc + "Array 'numbers'" + count},
    };
    for (const auto &[spoil, line] : cases) {
        SCOPED_TRACE(line);
        HandBuilt h;
        spoil(h.s);
        Outcome o = encode_rec(sample_desc, &h.s);
        EXPECT_EQ(o.status, 203);
        EXPECT_EQ(o.line, line);
    }
    EXPECT_EQ(encode_rec(sample_desc, nullptr).line,
              "<sample>" + enc + "Source data for 'sample' was NULL when trying to generate object root.");
}

int hook_calls = 0;
char *replacement_hook(const char *, int32_t *must_free) {
    ++hook_calls;
    *must_free = 1;
    char *s = static_cast<char *>(std::malloc(2));
    std::strcpy(s, "?");
    return s;
}

TEST(EngineEncode, RefusedTextsGoThroughTheConversionHookOnce) {
    ASSERT_EQ(string_conversion_hook, &identity_conversion);
    int32_t must_free = 7;
    const char *s = "abc";
    EXPECT_EQ(identity_conversion(s, &must_free), s);
    EXPECT_EQ(must_free, 0);

    struct Restore {
        ~Restore() { string_conversion_hook = &identity_conversion; }
    } restore;
    string_conversion_hook = &replacement_hook;
    hook_calls = 0;
    HandBuilt h;
    h.s.title = text("\xff");
    h.s.tags[1] = text("\xc3\x28");
    h.s.extra_present = h.s.items_present = h.s.numbers_present = h.s.period_present = 0;
    Outcome o = encode_rec(sample_desc, &h.s);
    ASSERT_EQ(o.status, 0) << o.line;
    EXPECT_EQ(o.json, R"({"title":"?","amount":1,"core":{"mode":"week"},"tags":["a","?"]})");
    EXPECT_EQ(hook_calls, 2);  // valid texts never reach the hook
}

char *declining_hook(const char *, int32_t *must_free) {
    ++hook_calls;
    *must_free = 1;  // nothing to free: the NULL is passed to free()
    return nullptr;
}

TEST(EngineEncode, RefusedTextStaysRefusedWithoutAHookOrWhenTheHookDeclines) {
    struct Restore {
        ~Restore() { string_conversion_hook = &identity_conversion; }
    } restore;
    const std::string title = "<sample>.title: JSON encode error. Error generated by jansson library while parsing "
                              "property 'title' from object 'sample'.";
    for (string_conversion_fn hook : {static_cast<string_conversion_fn>(nullptr), &declining_hook}) {
        string_conversion_hook = hook;
        hook_calls = 0;
        HandBuilt h;
        h.s.title = text("\xff");
        Outcome o = encode_rec(sample_desc, &h.s);
        EXPECT_EQ(o.status, 203);
        EXPECT_EQ(o.line, title);
        EXPECT_EQ(hook_calls, hook == nullptr ? 0 : 1);
    }
}

TEST(EngineLimits, DepthIsCheckedAfterTheTypeAndBeforeAnyProperty) {
    const std::string decode_limit = "Error maximum call depth encountered while generating object root.";
    {
        Tree<inner> t(inner_desc);
        EXPECT_EQ(decode_text(inner_desc, R"({"mode":"week"})", &t.rec, MAX_CALL_DEPTH).status, 0);
    }
    {
        Tree<inner> t(inner_desc);
        Outcome o = decode_text(inner_desc, R"({"mode":5})", &t.rec, MAX_CALL_DEPTH + 1);
        EXPECT_EQ(o.status, 210);
        EXPECT_EQ(o.line, "<inner>: " + decode_limit);
    }
    {
        Tree<inner> t(inner_desc);
        EXPECT_EQ(decode_text(inner_desc, "[]", &t.rec, MAX_CALL_DEPTH + 1).line,
                  "<inner>: JSON decode error. Expected object of type 'inner'.");
    }
    {
        // Nested records are one level deeper.
        Tree<sample> t(sample_desc);
        Outcome o = decode_text(sample_desc, minimal, &t.rec, MAX_CALL_DEPTH);
        EXPECT_EQ(o.status, 210);
        EXPECT_EQ(o.line, "<sample>.core: " + decode_limit);
    }

    inner in{text("week"), 0, 0};
    EXPECT_EQ(encode_rec(inner_desc, &in, MAX_CALL_DEPTH).json, R"({"mode":"week"})");
    Outcome o = encode_rec(inner_desc, &in, MAX_CALL_DEPTH + 1);
    EXPECT_EQ(o.status, 210);
    EXPECT_EQ(o.line, "<inner>: Error maximum call depth encountered while generating 'inner'.");
    EXPECT_EQ(encode_rec(inner_desc, nullptr, MAX_CALL_DEPTH + 1).status, 203);
}

std::string closest(const std::string &inner_line) {
    return "<holder>.pick.u: JSON decode error. No match for union, closest failure: " + inner_line;
}

TEST(EngineUnion, FirstAlternativeThatDecodesWins) {
    Tree<holder> a(holder_desc);
    Outcome o = decode_text(holder_desc, R"({"pick":{"u":{"x":"s","y":"month"}}})",
                            &a.rec);
    ASSERT_EQ(o.status, 0) << o.line;
    EXPECT_EQ(a.rec->pick.u_type, 1);
    EXPECT_STREQ(a.rec->pick.u.alpha.x, "s");
    EXPECT_EQ(o.matches, 4u);  // alpha's 2, plus 1 for the union, plus 1 for pick

    // alpha decodes x and then fails; its partial content is released and
    // beta decodes from clean storage. Only beta's count is added.
    Tree<holder> b(holder_desc);
    o = decode_text(holder_desc, R"({"pick":{"u":{"x":"s","w":"t","z":3}}})", &b.rec);
    ASSERT_EQ(o.status, 0) << o.line;
    EXPECT_EQ(o.line, "");
    EXPECT_EQ(b.rec->pick.u_type, 2);
    EXPECT_STREQ(b.rec->pick.u.beta.w, "t");
    EXPECT_EQ(b.rec->pick.u.beta.z, 3);
    EXPECT_EQ(o.matches, 4u);

    EXPECT_EQ(encode_rec(holder_desc, b.rec).json, R"({"pick":{"u":{"w":"t","z":3}}})");
}

TEST(EngineUnion, ClosestFailureIsTheMostDecodedAndTiesGoToTheEarlier) {
    struct Case {
        const char *json;
        std::string line;
    };
    const Case cases[] = {
        {R"({"pick":{"u":{"w":"s","z":"q"}}})",
         closest("<beta>.z: JSON decode error. Expected property to be an integer as specified in schema.")},
        {R"({"pick":{"u":{"x":"s","w":"s"}}})",
         closest("<alpha>.y: JSON decode error. Required property 'y' is missing which violates the schema.")},
        {R"({"pick":{"u":{}}})",
         closest("<alpha>.x: JSON decode error. Required property 'x' is missing which violates the schema.")},
        {R"({"pick":{"u":5}})", closest("<alpha>: JSON decode error. Expected object of type 'alpha'.")},
        {R"({"pick":{}})",
         "<holder>.pick.u: JSON decode error. Required property 'u' is missing which violates the schema."},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.json);
        Tree<holder> t(holder_desc);
        Outcome o = decode_text(holder_desc, c.json, &t.rec);
        EXPECT_EQ(o.status, 202);
        EXPECT_EQ(o.line, c.line);
        ASSERT_NE(t.rec, nullptr);
        EXPECT_EQ(t.rec->pick.u_type, 0);
    }
}

TEST(EngineRelease, OutOfRangeTagReleasesNothingOfTheStorage) {
    choice c{};
    c.u.alpha = alpha{text("not owned"), text("not owned either")};
    c.u_type = 3;
    release_record(choice_desc, &c);  // must not free the texts above
    EXPECT_EQ(c.u_type, 0);
    EXPECT_EQ(c.u.alpha.x, nullptr);
}

}  // namespace
