// The engine on small record types of its own, one property of every kind:
// each message shape at its place, match counts, record order, unions and
// their closest failure, limits, release of partial trees; and the
// diagnostic line itself (path, fragments, cutting).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "codec.h"
#include "engine_internal.h"
#include "exports.h"
#include "faults.h"
#include "table.h"

namespace {

using namespace jsoncodec;

// Small records of every property kind, laid out as the tables require.
struct item {
    item *next;
    char *label;
    int64_t weight;
    uint8_t weight_present;
};
constexpr FieldDesc item_fields[] = {JC_STRING(item, label, REQUIRED), JC_INTEGER(item, weight, OPTIONAL)};
constexpr TypeDesc item_desc = JC_LIST_ELEMENT_TYPE(item, item_fields);

JC_ENUM_VALUES(period_enum, "week", "month", "reference");
const std::string period_message = "String based enum fails to match one of: [ 'week', 'month', 'reference' ]. ";

struct inner {
    char *mode;
    int32_t flag;
    uint8_t flag_present;
};
constexpr FieldDesc inner_fields[] = {JC_ENUM(inner, mode, REQUIRED, period_enum), JC_BOOLEAN(inner, flag, OPTIONAL)};
constexpr TypeDesc inner_desc = JC_TYPE(inner, inner_fields);

struct sample {
    char *title;
    int64_t amount;
    inner core;
    inner *extra;
    item *items;
    int64_t *numbers;
    char *period;
    char **tags;
    uint8_t extra_present, items_present, numbers_present, period_present, tags_present;
    uint64_t numbers_array_sz, tags_array_sz;
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
    uint64_t codes_array_sz, names_array_sz;
};
constexpr FieldDesc needs_fields[] = {JC_STRING_ARRAY(needs, names, REQUIRED),
                                      JC_LIST(needs, chain, REQUIRED, item, item_desc),
                                      JC_INTEGER_ARRAY(needs, codes, REQUIRED)};
constexpr TypeDesc needs_desc = JC_TYPE(needs, needs_fields);

// A record that may hold one of its own kind.
struct chain_link {
    char *tag;
    chain_link *down;
    uint8_t down_present;
};
extern const TypeDesc chain_link_desc;
constexpr FieldDesc chain_link_fields[] = {JC_STRING(chain_link, tag, REQUIRED),
                                           JC_RECORD_POINTER(chain_link, down, OPTIONAL, chain_link, chain_link_desc)};
constexpr TypeDesc chain_link_desc = JC_TYPE(chain_link, chain_link_fields);

// A union of two members inside a wrapper, embedded in a holder.
struct alpha {
    char *x, *y;
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

// A union whose members tell themselves apart by "kind" (a text two of them
// allow), by "sort", or by nothing (alpha's first property is no enum).
JC_ENUM_VALUES(ab_enum, "a", "b");
JC_ENUM_VALUES(bc_enum, "b", "c");
JC_ENUM_VALUES(s_enum, "s");
struct by_ab {
    char *kind;
};
constexpr FieldDesc by_ab_fields[] = {JC_ENUM(by_ab, kind, REQUIRED, ab_enum)};
constexpr TypeDesc by_ab_desc = JC_TYPE(by_ab, by_ab_fields);
struct by_bc {
    char *kind;
};
constexpr FieldDesc by_bc_fields[] = {JC_ENUM(by_bc, kind, REQUIRED, bc_enum)};
constexpr TypeDesc by_bc_desc = JC_TYPE(by_bc, by_bc_fields);
struct by_sort {
    char *sort;
};
constexpr FieldDesc by_sort_fields[] = {JC_ENUM(by_sort, sort, REQUIRED, s_enum)};
constexpr TypeDesc by_sort_desc = JC_TYPE(by_sort, by_sort_fields);
struct mixed {
    union {
        struct by_ab by_ab;
        struct by_sort by_sort;
        struct alpha alpha;
        struct by_bc by_bc;
    } u;
    uint8_t u_type;
};
JC_UNION_MEMBERS(mixed_members, JC_UNION_MEMBER(mixed, u, by_ab, by_ab_desc),
                 JC_UNION_MEMBER(mixed, u, by_sort, by_sort_desc), JC_UNION_MEMBER(mixed, u, alpha, alpha_desc),
                 JC_UNION_MEMBER(mixed, u, by_bc, by_bc_desc));
constexpr FieldDesc mixed_fields[] = {JC_UNION(mixed, u, mixed_members)};
constexpr TypeDesc mixed_desc = JC_TYPE(mixed, mixed_fields);

// A decoded record, released and freed whatever the outcome.
struct Decoded {
    const TypeDesc &type;
    void *rec = nullptr;
    int32_t status = 0;
    std::string line;
    uint32_t matches = 0;
    explicit Decoded(const TypeDesc &t) : type(t) {}
    ~Decoded() {
        if (rec != nullptr) release_record(type, rec);
        std::free(rec);
    }
    template <class T>
    T &as() {
        return *static_cast<T *>(rec);
    }
};

void decode_value(Decoded &d, json_t *value, int32_t depth = 0) {
    char buf[1024] = "";
    path_node root = root_node(d.type.name);
    d.status = decode_record(d.type, value, &d.rec, nullptr, depth, buf, sizeof buf, &root, &d.matches);
    d.line = buf;
    json_decref(value);
}

void decode(Decoded &d, const std::string &text, int32_t depth = 0) {
    json_t *value = json_loads(text.c_str(), JSON_REJECT_DUPLICATES, nullptr);
    ASSERT_NE(value, nullptr) << text;
    decode_value(d, value, depth);
}

// Compact text of a successful encode, else the diagnostic line.
std::string encode(const TypeDesc &type, const void *src, int32_t depth = 0, int32_t *status = nullptr) {
    char buf[1024] = "";
    path_node root = root_node(type.name);
    json_t *value = nullptr;
    int32_t s = encode_record(type, &value, src, depth, buf, sizeof buf, &root);
    if (status != nullptr) *status = s;
    std::string out = buf;
    if (s == 0) {
        char *text = json_dumps(value, JSON_PRESERVE_ORDER | JSON_COMPACT);
        out = text;
        std::free(text);
    }
    json_decref(value);
    return out;
}

char *text(const char *s) { return const_cast<char *>(s); }
const std::string minimal = R"({"title":"t","amount":1,"core":{"mode":"week"}})";
std::string with(const std::string &more) { return minimal.substr(0, minimal.size() - 1) + "," + more + "}"; }
const std::string dec = ": JSON decode error. ", enc = ": JSON encode error. ";

TEST(EngineDecode, EveryMessageShapeAtItsPlaceAndTheDepthLimit) {
    const std::string limit = "Error maximum call depth encountered while generating object root.";
    const std::string integer = dec + "Expected property to be an integer as specified in schema.";
    const std::string array = dec + "Expected property to be an array as specified in schema.";
    const std::string missing = dec + "Required property '%' is missing which violates the schema.";
    auto miss = [&](const char *name) { return std::string(missing).replace(missing.find('%'), 1, name); };
    struct Row {
        const TypeDesc &type;
        std::string json, line;
        int32_t status = 202, depth = 0;
    };
    const Row rows[] = {
        {sample_desc, "[]", "<sample>" + dec + "Expected object of type 'sample'."},
        {sample_desc, R"({"title":null})", "<sample>.title" + dec + "Expected a string as specified in schema."},
        {sample_desc, R"({"title":"t","amount":1.0})", "<sample>.amount" + integer},
        {sample_desc, R"({"title":"t","amount":true})", "<sample>.amount" + integer},
        {sample_desc, R"({"title":"t","amount":1})", "<sample>.core" + miss("core")},
        {sample_desc, R"({"title":"t","amount":1,"core":null})",
         "<sample>.core" + dec + "Expected object of type 'inner'."},
        {sample_desc, R"({"title":"t","amount":1,"core":{}})", "<sample>.core.mode" + miss("mode")},
        {sample_desc, R"({"title":"t","amount":1,"core":{"mode":"week","flag":1}})",
         "<sample>.core.flag" + dec + "Expected property to be boolean as specified in schema."},
        // Enum texts match whole and case-sensitively.
        {sample_desc, with(R"("period":"Week")"), "<sample>.period" + dec + period_message},
        {sample_desc, with(R"("period":"weekly")"), "<sample>.period" + dec + period_message},
        {sample_desc, with(R"("period":"wee")"), "<sample>.period" + dec + period_message},
        {sample_desc, with(R"("items":null)"), "<sample>.items[]" + array},
        {sample_desc, with(R"("items":[{"label":"a"},7])"),
         "<sample>.items[1]" + dec + "Expected object of type 'item'."},
        {sample_desc, with(R"("items":[{"label":"a"},{"label":"b","weight":"x"}])"),
         "<sample>.items[1].weight" + integer},
        {sample_desc, with(R"("numbers":{})"), "<sample>.numbers[]" + array},
        {sample_desc, with(R"("numbers":[1,2.5])"),
         "<sample>.numbers[1]" + dec + "Expected array item to be an integer as specified in schema."},
        {sample_desc, with(R"("tags":["a",null])"),
         "<sample>.tags[1]" + dec + "Expected array item to be a string as specified in schema."},
        {needs_desc, "{}", "<needs>.names[]" + miss("names")},
        {needs_desc, R"({"names":[]})", "<needs>.chain[]" + miss("chain")},
        {needs_desc, R"({"names":[],"chain":[]})", "<needs>.codes[]" + miss("codes")},
        // The union: the member that decoded most, the earlier among equals.
        {holder_desc, R"({"pick":{}})", "<holder>.pick.u" + miss("u")},
        {holder_desc, R"({"pick":{"u":{"w":"s","z":"q"}}})",
         "<holder>.pick.u" + dec + "No match for union, closest failure: <beta>.z" + integer},
        {holder_desc, R"({"pick":{"u":{"x":"s","w":"s"}}})",
         "<holder>.pick.u" + dec + "No match for union, closest failure: <alpha>.y" + miss("y")},
        {holder_desc, R"({"pick":{"u":5}})",
         "<holder>.pick.u" + dec + "No match for union, closest failure: <alpha>" + dec +
             "Expected object of type 'alpha'."},
        // Depth: checked after the type and before any property; nested records are one deeper.
        {inner_desc, R"({"mode":"week"})", "", 0, MAX_CALL_DEPTH},
        {inner_desc, R"({"mode":5})", "<inner>: " + limit, 210, MAX_CALL_DEPTH + 1},
        {inner_desc, "[]", "<inner>" + dec + "Expected object of type 'inner'.", 202, MAX_CALL_DEPTH + 1},
        {sample_desc, minimal, "<sample>.core: " + limit, 210, MAX_CALL_DEPTH},
        {needs_desc, R"({"names":[],"chain":[{"label":"a"}]})", "<needs>.chain[0]: " + limit, 210, MAX_CALL_DEPTH},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.json);
        Decoded d(r.type);
        decode(d, r.json, r.depth);
        EXPECT_EQ(d.status, r.status);
        EXPECT_EQ(d.line, r.line);
        if (&r.type == &holder_desc) {
            EXPECT_EQ(d.as<holder>().pick.u_type, 0);
        }
    }
}

TEST(EngineDecode, EveryKindInRecordOrderWithMatchCountAndBackUnchanged) {
    Decoded d(sample_desc);
    decode(d,
           R"({"unknown":{"x":[1]},"tags":["Week",""],"period":"month",)"
           R"("numbers":[9223372036854775807,-9223372036854775808,0],"items":[{"weight":1,"label":"a"},{"label":"b"}],)"
           R"("extra":{"flag":false,"mode":"reference"},"core":{"mode":"week","flag":true},)"
           R"("amount":-9223372036854775808,"title":"t"})");
    ASSERT_EQ(d.status, 0) << d.line;
    EXPECT_EQ(d.line, "");
    EXPECT_EQ(d.matches, 15u);  // 5 scalars, core 2+1, extra 2+1, the list's 3+1, numbers 1, tags 1
    const sample &s = d.as<sample>();
    EXPECT_EQ(s.core.flag_present + s.extra->flag_present + s.extra->flag, 2);
    EXPECT_EQ(s.items->next->weight_present, 0);
    EXPECT_EQ(encode(sample_desc, &s),
              R"({"title":"t","amount":-9223372036854775808,"core":{"mode":"week","flag":true},)"
              R"("extra":{"mode":"reference","flag":false},"items":[{"label":"a","weight":1},{"label":"b"}],)"
              R"("numbers":[9223372036854775807,-9223372036854775808,0],"period":"month","tags":["Week",""]})");

    Decoded empty(sample_desc);
    decode(empty, with(R"("numbers":[],"items":[],"tags":[])"));
    EXPECT_EQ(empty.matches, 7u);
    EXPECT_EQ(encode(sample_desc, empty.rec), with(R"("items":[],"numbers":[],"tags":[])"));

    // Union: the first member that decodes wins; a failed trial's content is
    // released and only the winner's count is added, plus 1 for the union.
    Decoded u(holder_desc);
    decode(u, R"({"pick":{"u":{"x":"s","w":"t","z":3}}})");
    ASSERT_EQ(u.status, 0) << u.line;
    EXPECT_EQ(u.as<holder>().pick.u_type, 2);
    EXPECT_EQ(u.matches, 4u);
    EXPECT_EQ(encode(holder_desc, u.rec), R"({"pick":{"u":{"w":"t","z":3}}})");
    Decoded first(holder_desc);
    decode(first, R"({"pick":{"u":{"x":"s","y":"month","w":"t","z":3}}})");
    EXPECT_EQ(first.as<holder>().pick.u_type, 1);
    Decoded sorted(mixed_desc);  // told by its "sort", the "kind" before it refusing its text
    decode(sorted, R"({"u":{"kind":"z","sort":"s"}})");
    EXPECT_EQ(sorted.as<mixed>().u_type, 2);
}

TEST(EngineDecode, FailedDecodeLeavesWhatItBuiltReachableAndFlagged) {
    Decoded a(sample_desc);
    decode(a, with(R"("tags":["a","b",3])"));
    ASSERT_EQ(a.as<sample>().tags_array_sz, 3u);
    EXPECT_EQ(a.as<sample>().tags_present, 1);
    EXPECT_STREQ(a.as<sample>().tags[1], "b");
    Decoded b(sample_desc);
    decode(b, with(R"("period":5)"));
    EXPECT_EQ(b.as<sample>().period_present, 1);
    Decoded c(sample_desc);
    decode(c, with(R"("items":[{"label":"a"},{}])"));
    EXPECT_NE(c.as<sample>().items->next, nullptr);  // the failing element is already linked
    Decoded e(sample_desc);
    decode(e, with(R"("extra":{"mode":1})"));
    EXPECT_NE(e.as<sample>().extra, nullptr);
}

// The checking walk on small records: it goes on past a faulty array item,
// list element and property, names each value by its JSON Pointer (a missing
// property by its own, flagged), places a union's one fault at its closest
// member's value, and hints at the nearest allowed text (within two edits or
// a change of case; the first of equals) and at a missing property that an
// unknown key misspells. Stopping at the first, it reports that one alone.
TEST(EngineCheck, EveryFaultWithItsPointerAndHint) {
    struct Log final : FaultLog {
        void add(const Fault &f) override {
            seen.push_back(f.pointer + std::string(f.missing ? " missing" : "") +
                           (f.hint ? std::string(" ") + f.hint : ""));
        }
        std::vector<std::string> seen;
    };
    const struct {
        const TypeDesc &type;
        std::string json;
        std::vector<std::string> faults;
    } rows[] = {
        {needs_desc,
         R"({"names":["a",1,"b",2],"chain":[5,{"label":5},{},{"label":"c","weight":"w"}],"codes":[1,"x"]})",
         {"/names/1", "/names/3", "/chain/0", "/chain/1/label", "/chain/2/label missing", "/chain/3/weight",
          "/codes/1"}},
        {sample_desc,
         R"({"amount":"1","core":{"mode":"MONTH","flag":0},"extra":5,"period":"referense"})",
         {"/title missing", "/amount", "/core/mode month", "/core/flag", "/extra", "/period reference"}},
        {holder_desc, R"({"pick":{"u":{"x":"a","y":"wek"}}})", {"/pick/u/y week"}},
        {inner_desc, R"({"mode":"weekend"})", {"/mode"}},
        // A key the type does not know, two edits from a missing name, hints
        // at it; a property the type knows does not.
        {inner_desc, R"({"mdoe":"week","flag":true})", {"/mode missing mode"}},
        {beta_desc, R"({"z":1})", {"/w missing"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.json);
        for (bool every : {true, false}) {
            Log log;
            EXPECT_EQ(check_walk(row.type, row.json.c_str(), log, {.every_fault = every}), 202);
            EXPECT_EQ(log.seen, every ? row.faults : std::vector<std::string>{row.faults[0]});
        }
    }
}

// A fault 111 records deep, past the levels a place keeps in record order
// and with a pointer longer than most: both walks find it at its pointer,
// its place cut to the levels kept. And when every discriminator that is
// written refuses its text, the note names the texts of the members that
// share it, each once (not those of a member told by another property, nor
// of one told by none), and the hint is the nearest of them. Of members
// that decode nothing before their first fault, the first is the closest,
// as the export has it; an array read before a fault leaves no level behind.
TEST(EngineCheck, DeepPlacesAndTheKindsOfTheMembersThatShareTheDiscriminator) {
    struct Log final : FaultLog {
        // A note up to its path's first step.
        void add(const Fault &f) override {
            seen.push_back(f.note ? "note " + std::string(f.message, std::strcspn(f.message, "."))
                                  : f.pointer + (" " + std::to_string(f.order_length)) + " " + (f.hint ? f.hint : ""));
        }
        std::vector<std::string> seen;
    };
    std::string deep, pointer;
    for (int i = 0; i < 110; ++i) deep += R"({"tag":"t","down":)", pointer += "/down";
    deep += R"({"tag":5})" + std::string(110, '}');
    const struct {
        const TypeDesc &type;
        std::string json;
        std::vector<std::string> seen;
    } rows[] = {
        {chain_link_desc, deep, {pointer + "/tag " + std::to_string(detail::ORDER_DEPTH) + " "}},
        {mixed_desc, R"({"u":{"kind":"bb","sort":5}})", {"/u/kind 1 b", "note 'kind' is one of: 'a', 'b', 'c'"}},
        // Neither member decodes a property before its first fault: the first is the closest.
        {choice_desc, R"({"u":{"w":5,"z":1}})", {"/u/x 1 x", "note <alpha>"}},
        {needs_desc, R"({"names":["a"],"chain":[{"label":5}],"codes":[]})", {"/chain/0/label 3 "}},
    };
    for (const auto &row : rows)
        for (auto *check : {check_walk, check_text}) {
            Log log;
            EXPECT_EQ(check(row.type, row.json.c_str(), log, {.every_fault = true}), 202);
            EXPECT_EQ(log.seen, row.seen);
        }
}

// Asked for, the properties no record type knows are warned of as the walk
// meets them (through jansson's tree, after each record's own properties),
// at their keys with the nearest property name: in every record decoded, a
// failed list element's included, and in a union the member that decoded,
// its path told from the document's root; a union that matched nothing has
// no member to ask.
TEST(EngineCheck, UnknownPropertiesAreWarnedOfWithTheNearestName) {
    struct Log final : FaultLog {
        void add(const Fault &f) override {
            if (!f.unknown_property) {
                seen.push_back("fault " + std::string(f.pointer));
                return;
            }
            EXPECT_EQ(f.status, 0);
            seen.push_back(std::string(f.message) + " @" + f.pointer + (f.hint ? std::string(" ") + f.hint : ""));
        }
        std::vector<std::string> seen;
    };
    const struct {
        const TypeDesc &type;
        std::string json;
        std::vector<std::string> seen;
    } rows[] = {
        {sample_desc,
         R"({"title":"t","Title":1,"amount":1,"core":{"mode":"week","flgs":true},"items":[{"label":"a","wieght":2},{"lable":"b"}],"x/~":0})",
         {"<sample>.core: property 'flgs' is not part of 'inner' and is ignored @/core/flgs flag",
          "<sample>.items[0]: property 'wieght' is not part of 'item' and is ignored @/items/0/wieght weight",
          "fault /items/1/label",
          "<sample>.items[1]: property 'lable' is not part of 'item' and is ignored @/items/1/lable label",
          "<sample>: property 'Title' is not part of 'sample' and is ignored @/Title title",
          "<sample>: property 'x/~' is not part of 'sample' and is ignored @/x~1~0"}},
        {holder_desc,
         R"({"pick":{"u":{"w":"a","z":1,"xyzzy":"b"}}})",
         {"<holder>.pick.u: property 'xyzzy' is not part of 'beta' and is ignored @/pick/u/xyzzy"}},
        {holder_desc, R"({"pick":{"u":{"w":"a","q":"b"}}})", {"fault /pick/u/z"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.json);
        Log log;
        check_walk(row.type, row.json.c_str(), log, {.every_fault = true, .unknown_properties = true});
        EXPECT_EQ(log.seen, row.seen);
    }
}

// The checking walk over the text (one reading, no records) reports what
// the walk over jansson's tree reports, each finding at the bytes of its
// token: a value, a key, the brace of an object that lacks a property. A
// union's closest member is the one that decoded the most before its first
// fault in record order, however the document orders its properties; that
// fault is the union's, the member's others its notes.
TEST(EngineCheck, TheReadersWalkFindsTheSameAtEachToken) {
    struct Log final : FaultLog {
        void add(const Fault &f) override {
            std::string kind = f.note ? "note" : f.unknown_property ? "warning" : "error";
            seen.push_back(kind + " " + f.pointer + " " + f.message);
            std::string where = f.begin < 0 ? "" : std::to_string(f.begin) + "-" + std::to_string(f.end);
            places.push_back(kind + " " + f.pointer + " " + where);
        }
        void discard() override { seen.clear(), places.clear(); }
        std::vector<std::string> seen, places;
    };
    const std::string closest = "<holder>.pick.u: JSON decode error. No match for union, closest failure: ";
    const struct {
        const TypeDesc &type;
        std::string json;
        std::vector<std::string> places;  // of the reader's walk, in its order
        std::string first;                // the first finding's line, ranked in record order
    } rows[] = {
        // alpha decodes x before failing at y; beta fails at w before z.
        {holder_desc,
         R"({"pick":{"u":{"z":1,"y":"wek","w":2,"x":"a"}}})",
         {"error /pick/u/y 24-29"},
         closest + "<alpha>.y: JSON decode error. " + period_message},
        {holder_desc,
         R"({"pick":{"u":{"y":"wek","x":5}}})",
         {"error /pick/u/x 28-29", "note /pick/u/y 18-23"},
         closest + "<alpha>.x: JSON decode error. Expected a string as specified in schema."},
        {sample_desc,
         R"({"title":"t","amount":"1","core":{"flag":true},"zz":[1]})",
         {"error /amount 22-25", "error /core/mode 33-34", "warning /zz 47-51"},
         "<sample>.amount: JSON decode error. Expected property to be an integer as specified in schema."},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.json);
        const WalkMode mode{.every_fault = true, .unknown_properties = true};
        Log read, walked;
        EXPECT_EQ(check_text(row.type, row.json.c_str(), read, mode), 202);
        EXPECT_EQ(check_walk(row.type, row.json.c_str(), walked, mode), 202);
        EXPECT_EQ(read.places, row.places);
        ASSERT_FALSE(read.seen.empty());
        EXPECT_EQ(read.seen[0].substr(read.seen[0].find(' ', 6) + 1), row.first);
        std::sort(read.seen.begin(), read.seen.end());
        std::sort(walked.seen.begin(), walked.seen.end());
        EXPECT_EQ(read.seen, walked.seen);
    }
}

JC_ENUM_VALUES(near_enum, "abce", "abcde", "abxy");

TEST(EngineCheck, TheHintIsTheNearestAllowedText) {
    const std::pair<const char *, const char *> cases[] = {
        {"Abce", "abce"}, {"abcf", "abce"}, {"abcdd", "abcde"}, {"axcee", "abce"}, {"xxabcf", nullptr}};
    for (const auto &[text, best] : cases) {
        Suggestion suggestion;
        suggestion.consider(near_enum, text);
        EXPECT_STREQ(suggestion.best, best) << text;
    }
}

TEST(EngineLimits, ArraysAndListsAtAndPastTenMillion) {
    for (const char *name : {"tags", "numbers", "items"}) {
        for (size_t size : {MAX_ARRAY_SZ, MAX_ARRAY_SZ + 1}) {
            json_t *nulls = json_array();  // one shared null: cheap even at ten million
            for (size_t i = 0; i < size; ++i) json_array_append_new(nulls, json_null());
            json_t *value = json_loads(minimal.c_str(), 0, nullptr);
            json_object_set_new(value, name, nulls);
            Decoded d(sample_desc);
            decode_value(d, value);
            // At the limit the elements are read and the first null refused.
            std::string place = "<sample>." + std::string(name) + (size == MAX_ARRAY_SZ ? "[0]" : "[]");
            EXPECT_EQ(d.line.rfind(place + dec, 0), 0u) << d.line;
            if (size > MAX_ARRAY_SZ) {
                EXPECT_EQ(d.line, place + dec + "Array size is > MAX_ARRAY_SZ which suggests a library error.");
            }
        }
    }
}

// A valid hand-built record that owns nothing; tests spoil one field each.
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

// A list that loops back on itself is refused as soon as the loop closes,
// with the line its ten-millionth element would give, in the text and in
// jansson's tree alike; a list of more than ten million distinct elements
// at the cap (the text alone: the tree would take gigabytes).
TEST(EngineEncode, ListsPastTheCapAndListsThatLoopAreRefused) {
    const std::string line =
        "<sample>.items[]" + enc +
        "Array 'items' has more than MAX_ARRAY_SZ items in the linked list which suggests circular linkage.";
    std::vector<item> chain(MAX_ARRAY_SZ + 1, item{nullptr, text("x"), 0, 0});
    for (size_t i = 0; i + 1 < chain.size(); ++i) chain[i].next = &chain[i + 1];
    auto encode_text = [&](bool through_text) {
        HandBuilt h;
        h.s.items = chain.data();
        char buf[512] = "";
        char *json = nullptr;
        int32_t status = (through_text ? encode_export : encode_export_through_jansson)(sample_desc, &h.s, &json, buf,
                                                                                        sizeof buf, 0, "");
        EXPECT_EQ(status, 203);
        EXPECT_EQ(json, nullptr);
        return std::string(buf);
    };
    EXPECT_EQ(encode_text(true), line);
    for (size_t tail : {0, 1, 1000, 4095}) {
        chain[tail + 2].next = &chain[tail];  // a loop of three after `tail` elements
        EXPECT_EQ(encode_text(true), line) << tail;
        EXPECT_EQ(encode_text(false), line) << tail;
        chain[tail + 2].next = &chain[tail + 3];
    }
}

TEST(EngineEncode, OptionalPropertiesOnlyWhenFlaggedAndEveryFaultAtItsPlace) {
    HandBuilt h;
    h.s.core.flag = 7;
    h.s.core.flag_present = 1;
    EXPECT_EQ(encode(sample_desc, &h.s),
              R"({"title":"t","amount":1,"core":{"mode":"week","flag":true},"extra":{"mode":"reference"},)"
              R"("items":[{"label":"a","weight":2},{"label":"b"}],"numbers":[5],"period":"month","tags":["a","b"]})");
    h.s.extra_present = h.s.items_present = h.s.numbers_present = h.s.period_present = h.s.tags_present = 0;
    EXPECT_EQ(encode(sample_desc, &h.s), R"({"title":"t","amount":1,"core":{"mode":"week","flag":true}})");

    const std::string title = "<sample>.title" + enc +
                              "Error generated by jansson library while parsing property 'title' from object 'sample'.";
    const std::string item = enc + "Error generated by jansson library while parsing array item.";
    const std::string count =
        " has more than MAX_ARRAY_SZ items according to _array_sz field which suggests the field is uninitialized.";
    const std::pair<std::function<void(sample &)>, std::string> rows[] = {
        {[](sample &s) { s.title = nullptr; }, title},
        {[](sample &s) { s.title = text("\xff"); }, title},  // not UTF-8
        {[](sample &s) { s.core.mode = text("Week"); }, "<sample>.core.mode" + enc + period_message},
        {[](sample &s) { s.period = nullptr; }, "<sample>.period" + enc + period_message},
        {[](sample &s) { s.extra = nullptr; },
         "<sample>.extra" + enc + "Source data for 'inner' was NULL when trying to generate object root."},
        {[](sample &s) { s.items->next->label = nullptr; },
         "<sample>.items[1].label" + enc +
             "Error generated by jansson library while parsing property 'label' from object 'item'."},
        {[](sample &s) { s.tags[1] = text("\xc3\x28"); }, "<sample>.tags[1]" + item},
        {[](sample &s) { s.tags = nullptr; }, "<sample>.tags[0]" + item},  // a count without a block
        {[](sample &s) { s.numbers = nullptr; }, "<sample>.numbers[0]" + item},
        {[](sample &s) { s.tags_array_sz = MAX_ARRAY_SZ + 1; }, "<sample>.tags[]" + enc + "Array 'tags'" + count},
        {[](sample &s) { s.numbers_array_sz = MAX_ARRAY_SZ + 1; },
         "<sample>.numbers[]" + enc + "Array 'numbers'" + count},
        {[](sample &s) { s.items->next->next = s.items; },
         "<sample>.items[]" + enc +
             "Array 'items' has more than MAX_ARRAY_SZ items in the linked list which suggests circular linkage."},
    };
    for (const auto &[spoil, line] : rows) {
        SCOPED_TRACE(line);
        HandBuilt b;
        spoil(b.s);
        int32_t status;
        EXPECT_EQ(encode(sample_desc, &b.s, 0, &status), line);
        EXPECT_EQ(status, 203);
    }
    EXPECT_EQ(encode(sample_desc, nullptr),
              "<sample>" + enc + "Source data for 'sample' was NULL when trying to generate object root.");
    int32_t status;
    EXPECT_EQ(encode(inner_desc, &h.extra, MAX_CALL_DEPTH), R"({"mode":"reference"})");
    EXPECT_EQ(encode(inner_desc, &h.extra, MAX_CALL_DEPTH + 1, &status),
              "<inner>: Error maximum call depth encountered while generating 'inner'.");
    EXPECT_EQ(status, 210);
    encode(inner_desc, nullptr, MAX_CALL_DEPTH + 1, &status);
    EXPECT_EQ(status, 203);

    choice c{};  // an out-of-range tag is refused and releases nothing of the storage
    c.u.alpha = alpha{text("not owned"), text("not owned either")};
    c.u_type = 3;
    EXPECT_EQ(encode(choice_desc, &c), "<choice>.u" + enc + "Union type for property 'u' is out of range [1..2].");
    release_record(choice_desc, &c);
    EXPECT_EQ(c.u.alpha.x, nullptr);
}

int hook_calls = 0;
char *replacing_hook(const char *, int32_t *must_free) {
    ++hook_calls;
    *must_free = 1;
    return strdup("?");
}
char *declining_hook(const char *, int32_t *must_free) {
    ++hook_calls;
    *must_free = 1;  // NULL goes to free()
    return nullptr;
}

TEST(EngineEncode, RefusedTextsGoThroughTheConversionHookOnce) {
    ASSERT_EQ(string_conversion_hook, &identity_conversion);
    struct Restore {
        ~Restore() { string_conversion_hook = &identity_conversion; }
    } restore;
    HandBuilt h;
    h.s.title = text("\xff");
    h.s.tags[1] = text("\xc3\x28");
    h.s.extra_present = h.s.items_present = h.s.numbers_present = h.s.period_present = 0;
    const std::pair<string_conversion_fn, std::string> rows[] = {
        {&replacing_hook, R"({"title":"?","amount":1,"core":{"mode":"week"},"tags":["a","?"]})"},
        {&declining_hook,
         "<sample>.title" + enc +
             "Error generated by jansson library while parsing property 'title' from object 'sample'."},
        {nullptr, "<sample>.title" + enc +
                      "Error generated by jansson library while parsing property 'title' from object 'sample'."},
    };
    for (const auto &[hook, expected] : rows) {
        string_conversion_hook = hook;
        hook_calls = 0;
        EXPECT_EQ(encode(sample_desc, &h.s), expected);
        EXPECT_EQ(hook_calls, hook == &replacing_hook ? 2 : hook == nullptr ? 0 : 1);  // valid texts never reach it
    }
    EXPECT_EQ(string_to_json(nullptr), nullptr);  // nor does a string that is not there
}

// ---------------------------------------------------------------- the line

std::string report(const char *detail, int32_t code, uint64_t errlen) {
    char buf[256];
    std::memset(buf, '#', sizeof buf);
    path_node root = root_node("r");
    EXPECT_EQ(report_error(detail, code, errlen ? buf : nullptr, errlen, &root, 0, nullptr), code);
    EXPECT_EQ(buf[errlen], '#') << "written past errlen " << errlen;
    return std::string(buf, errlen ? strnlen(buf, errlen) : 0);
}

TEST(DiagnosticLine, PathFormsFragmentsAndCutting) {
    path_node root = root_node("a");
    path_node field{nullptr, &root, "b", PATH_FIELD}, element{nullptr, &field, "c", INT32_MAX},
        array{nullptr, &element, "d", PATH_ARRAY};
    root.child = &field;
    field.child = &element;
    element.child = &array;
    char buf[64];
    EXPECT_EQ(format_path(buf, sizeof buf, &array, 0, nullptr), 23u);
    EXPECT_STREQ(buf, "<a>.b.c[2147483647].d[]");
    EXPECT_EQ(format_path(buf, 8, &array, 0, nullptr), 8u);
    EXPECT_STREQ(buf, "<a>.b.c");
    EXPECT_EQ(format_path(buf, 0, &array, 0, nullptr), 0u);
    // A named leaf renames the reporter's child; deeper stale nodes drop off.
    format_path(buf, sizeof buf, &field, 5, "list");
    EXPECT_STREQ(buf, "<a>.b.list[5]");
    EXPECT_EQ(element.child, nullptr);

    const std::pair<int32_t, std::string> fragments[] = {
        {0, "<r>d"},
        {201, "<r>: Internal Error: Bad Arguments. d"},
        {202, "<r>: JSON decode error. d"},
        {203, "<r>: JSON encode error. d"},
        {204, "<r>: Out of memory when trying to convert C structure to JSON. d"},
        {210, "<r>: d"},
        {7, "<r>: Unknown rmqc library error 7. d"},
        {-202, "<r>: Unknown rmqc library error -202. d"}};
    for (const auto &[code, line] : fragments) EXPECT_EQ(report("d", code, 128), line);
    EXPECT_EQ(report(nullptr, 202, 128), "<r>: JSON decode error. ");
    // Cut: the detail, then the fragment, then the path.
    const std::pair<uint64_t, std::string> cuts[] = {{28, "<r>: JSON decode error. abc"},
                                                     {25, "<r>: JSON decode error. "},
                                                     {14, "<r>: JSON dec"},
                                                     {4, "<r>"},
                                                     {3, "<r"},
                                                     {1, ""},
                                                     {0, ""}};
    for (const auto &[errlen, line] : cuts) EXPECT_EQ(report("abcdef", 202, errlen), line);
    // An unknown code's fragment is formatted; cut, it leaves no negative room.
    EXPECT_EQ(report("tail", 7, 10), "<r>: Unkn");
    EXPECT_EQ(report("tail", 7, 38), "<r>: Unknown rmqc library error 7. ta");

    EXPECT_EQ(bounded_format(buf, 8, "%s-%d", "hello", 42), 8);
    EXPECT_STREQ(buf, "hello-4");
    EXPECT_EQ(bounded_format(nullptr, 0, "%s", "hello"), 5);
}

}  // namespace
