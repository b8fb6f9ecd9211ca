// The five root types through their exports: one table of refused documents
// with the exact line each gives (the first the checking walk reports too), the examples each way with every action
// kind and backup subtype, encoding faults inside the unions, the caller's
// buffer and output parameters, and what each release routine frees.
#include <gtest/gtest.h>
#include <jansson.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <tuple>

#include "backup_schema.h"
#include "jsoncodec.h"
#include "root_tables.h"
#include "validators.h"

namespace {

const ErasedRoot policy_root = JSONCODEC_ERASED_ROOT(data_protection_policy),
                 workflow_root = JSONCODEC_ERASED_ROOT(workflow), action_root = JSONCODEC_ERASED_ROOT(action),
                 rule_root = JSONCODEC_ERASED_ROOT(rule), item_root = JSONCODEC_ERASED_ROOT(item_definition);

// A decoded tree released at the end of its scope.
struct Decoded {
    const ErasedRoot &root;
    int32_t status;
    std::string line;
    void *tree = nullptr;
    Decoded(const ErasedRoot &r, const std::string &text) : root(r) {
        char buf[1024] = "";
        status = r.to(&tree, text.c_str(), buf, sizeof buf);
        line = buf;
    }
    ~Decoded() { root.release(tree); }
    template <class T>
    T &as() {
        return *static_cast<T *>(tree);
    }
};

// The text of `tree`, or the diagnostic line; the status in *status.
std::string encode(const ErasedRoot &root, const void *tree, int32_t pretty = 0, int32_t *status = nullptr) {
    char buf[1024] = "";
    char *json = nullptr;
    int32_t s = root.from(tree, &json, buf, sizeof buf, pretty);
    if (status != nullptr) *status = s;
    std::string out = s == 0 ? json : buf;
    std::free(json);
    return out;
}

std::string read_example(const char *name) {
    std::ifstream in(std::string(JSONCODEC_EXAMPLES_DIR) + "/" + name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string act(const std::string &kind, const std::string &more = "") {
    return R"({"actionName":"a","actionSpecific":{"actions":)" + kind +
           R"(},"actionSchedulePeriod":"week","actionScheduleActivity":[])" + more + "}";
}
std::string backup(const std::string &subtype) {
    return R"({"actionType":"backup","actionBackupSubtypeSpecific":{"backupSubtypes":)" + subtype +
           R"(},"abDestinationStorageNode":[],"abRetentionPeriod":"r","abOverrideRetentionPeriod":true,)"
           R"("abOverrideBackupSchedule":false,"abClientOverridesBehavior":"legacyBackupRules","abSuccessThreshold":"success"})";
}
std::string enum_of(const std::string &values) {
    return "String based enum fails to match one of: [ " + values + " ]. ";
}
std::string missing(const std::string &name) {
    return "Required property '" + name + "' is missing which violates the schema.";
}
const std::string dec = ": JSON decode error. ", enc = ": JSON encode error. ";
const std::string kinds = "<action>.actionSpecific.actions" + dec + "No match for union, closest failure: ";
// A union's line: its closest failure, cut to the union's private buffer.
std::string closest(const std::string &path, const std::string &line) {
    return path + dec + ("No match for union, closest failure: " + line).substr(0, 255);
}
// A fault inside the backup subtype union, as the action-kind union reports it.
std::string in_subtype(const std::string &line) {
    return closest("<action>.actionSpecific.actions",
                   closest("<actionBackup>.actionBackupSubtypeSpecific.backupSubtypes", line).substr(0, 255));
}
const std::string periods = enum_of("'week', 'month', 'reference'");

TEST(Decode, RefusedDocumentsNameTheirPlace) {
    const std::string wf2 = "<data_protection_policy>.policyWorkflows[1].";
    auto policy = [](const std::string &actions, const std::string &more = "") {
        return R"({"policyName":"p","policyWorkflows":[{"workflowName":"w1"},{"workflowName":"w2","workflowActions":[)" +
               actions + "]" + more + "}]}";
    };
    const std::string probe = act(R"({"actionType":"probe"})");
    struct Row {
        const ErasedRoot &root;
        std::string json, line;
    };
    const Row rows[] = {
        {rule_root, R"({"ruleComment":"x"})", "<rule>.ruleName" + dec + missing("ruleName")},
        {rule_root, "[1]", "<rule>" + dec + "Expected object of type 'rule'."},
        {rule_root, R"({"ruleName":"r","ruleItem_Definitions":[{},{"item_definitionType":5}]})",
         "<rule>.ruleItem_Definitions[1].item_definitionType" + dec + "Expected a string as specified in schema."},
        {rule_root, R"({"ruleName":"r","ruleItem_Definitions":{}})",
         "<rule>.ruleItem_Definitions[]" + dec + "Expected property to be an array as specified in schema."},
        {item_root, R"({"item_definitionType":5})",
         "<item_definition>.item_definitionType" + dec + "Expected a string as specified in schema."},
        {policy_root,
         R"({"policyName":"p","policySummaryNotification":{"policyCompletionNotificationExecuteOn":"Completion"}})",
         "<data_protection_policy>.policySummaryNotification.policyCompletionNotificationExecuteOn" + dec +
             enum_of("'completion', 'failure', 'ignore'")},
        {policy_root,
         policy("", R"(,"workflowCompletionNotification":{"policyCompletionNotificationExecuteOn":"failure"})"),
         wf2 + "workflowCompletionNotification.policyCompletionNotificationAction" + dec +
             missing("policyCompletionNotificationAction")},
        {policy_root, policy(act(R"({"actionType":"probe"})", R"(,"actionRetries":3.0)")),
         wf2 + "workflowActions[0].actionRetries" + dec + "Expected property to be an integer as specified in schema."},
        {policy_root, policy(probe + "," + probe + "," + act(R"({"actionType":"discover"})")),
         wf2 + "workflowActions[2].actionSpecific.actions" + dec +
             "No match for union, closest failure: <actionDiscover>.adDiscoverType" + dec + missing("adDiscoverType")},
        {workflow_root, R"({"workflowName":"w","workflowActions":[)" + probe + R"(,{"actionName":5}]})",
         "<workflow>.workflowActions[1].actionName" + dec + "Expected a string as specified in schema."},
        // The action's own properties come in record order.
        {action_root, R"({"actionName":"a"})", "<action>.actionSpecific" + dec + missing("actionSpecific")},
        {action_root, act(R"({"actionType":"probe"})", R"(,"actionFailureImpact":"abort")"),
         "<action>.actionFailureImpact" + dec + enum_of("'continue', 'abort action', 'abort workflow'")},
        {action_root,
         R"({"actionName":"a","actionSpecific":{"actions":{"actionType":"probe"}},"actionSchedulePeriod":"Week"})",
         "<action>.actionSchedulePeriod" + dec + periods},
        {action_root,
         R"({"actionName":"a","actionSpecific":{},"actionSchedulePeriod":"week","actionScheduleActivity":[]})",
         "<action>.actionSpecific.actions" + dec + missing("actions")},
        // The kind that got furthest; the first kind when none scored.
        {action_root, act("5"), kinds + "<actionBackup>" + dec + "Expected object of type 'actionBackup'."},
        {action_root, act(R"({"actionType":"restore"})"),
         kinds + "<actionBackup>.actionType" + dec + enum_of("'backup'")},
        {action_root, act(R"({"actionType":"exercise","exerciseFunction":"passthru","exerciseDelay":[1,2.5]})"),
         kinds + "<actionExercise>.exerciseDelay[1]" + dec +
             "Expected array item to be an integer as specified in schema."},
        {action_root, act(backup("[]")),
         in_subtype("<actionBackupTraditional>" + dec + "Expected object of type 'actionBackupTraditional'.")},
        {action_root, act(backup(R"({"abBackupSubtype":"vmware-proxy","abvDestinationPool":"p"})")),
         in_subtype("<actionBackupTraditional>.abBackupSubtype" + dec + enum_of("'traditional'"))},
        {action_root, act(backup(R"({"abBackupSubtype":"snapshot","absMinimumRetentionPeriod":"1 day"})")),
         in_subtype("<actionBackupSnapshot>.absDestinationPool" + dec + missing("absDestinationPool"))},
        {action_root,
         act(backup(
             R"({"abBackupSubtype":"vmware-kestrel","abKestrelSQLTier2Props":{"abKestrelSQLDetectAAGFCI":false,"abKestrelSQLClientOverridesBehavior":"legacy"}})")),
         in_subtype("<actionBackupKestrel>.abKestrelSQLTier2Props.abKestrelSQLClientOverridesBehavior" + dec +
                    enum_of("'clientCanNotOverride', 'clientCanOverride', 'legacyBackupRules'"))},
        {action_root, act(backup(R"({"abBackupSubtype":"vmware-kestrel","abKestrelSQLTier2Props":null})")),
         in_subtype("<actionBackupKestrel>.abKestrelSQLTier2Props" + dec +
                    "Expected object of type 'kestrelSQLTier2Properties'.")},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.json);
        Decoded d(r.root, r.json);
        EXPECT_EQ(d.status, RMQC_ERR_DECODE);
        EXPECT_EQ(d.line, r.line);
        EXPECT_EQ(d.tree, nullptr);
        // The checking walk's first fault is the export's, whether it goes on or
        // not; the reader's walk, in document order, finds it among the others.
        for (bool every : {false, true}) {
            RecordedFaults log;
            EXPECT_EQ(jsoncodec::check_walk(table_of(r.root), r.json.c_str(), log, {.every_fault = every}),
                      RMQC_ERR_DECODE);
            ASSERT_FALSE(log.lines.empty());
            EXPECT_EQ(log.lines[0], r.line);
            EXPECT_TRUE(every || log.lines.size() == 1);
            RecordedFaults read;
            EXPECT_EQ(jsoncodec::check_text(table_of(r.root), r.json.c_str(), read, {.every_fault = every}),
                      RMQC_ERR_DECODE);
            EXPECT_NE(std::find(read.lines.begin(), read.lines.end(), r.line), read.lines.end());
        }
    }
}

TEST(RoundTrip, ExamplesComeBackUnchangedWithEveryKindAndSubtypeTagged) {
    const char *kind_names[] = {"backup",
                                "probe",
                                "execute",
                                "clone",
                                "discover",
                                "check connectivity",
                                "generate index",
                                "backup index",
                                "expire",
                                "server backup",
                                "autostage",
                                "recover space",
                                "exercise",
                                "WEX checkpoint discover",
                                "WEX checkpoint backup"};
    const char *subtype_names[] = {"traditional", "snapshot", "archive", "vmware", "vmware-kestrel"};
    const std::pair<const ErasedRoot &, const char *> examples[] = {
        {policy_root, "policy.json"}, {action_root, "action.json"}, {rule_root, "rule.json"}};
    for (const auto &[root, file] : examples) {
        const std::string text = read_example(file);
        Decoded d(root, text);
        ASSERT_EQ(d.status, 0) << d.line;
        EXPECT_EQ(encode(root, d.tree, 1) + "\n", text);
    }
    Decoded d(policy_root, read_example("policy.json"));
    unsigned kinds_seen = 0, subtypes_seen = 0;
    for (const workflow *w = d.as<data_protection_policy>().policyWorkflows; w != nullptr; w = w->next)
        for (const action *a = w->workflowActions; a != nullptr; a = a->next) {
            const actionsWrapper &kind = a->actionSpecific;
            ASSERT_GE(kind.actions_type, 1);
            EXPECT_STREQ(kind.actions.actionProbe.actionType,
                         kind_names[kind.actions_type - 1]);  // every kind starts with it
            kinds_seen |= 1u << kind.actions_type;
            if (kind.actions_type != RMQC_ACTION_BACKUP) continue;
            const actionBackupSubtypeWrapper &sub = kind.actions.actionBackup.actionBackupSubtypeSpecific;
            ASSERT_GE(sub.backupSubtypes_type, 1);
            EXPECT_STREQ(sub.backupSubtypes.actionBackupVmware.abBackupSubtype,
                         subtype_names[sub.backupSubtypes_type - 1]);
            subtypes_seen |= 1u << sub.backupSubtypes_type;
        }
    EXPECT_EQ(kinds_seen, 0xfffeu);
    EXPECT_EQ(subtypes_seen, 0x3eu);

    // Record order whatever the input's, unknown properties dropped, both forms.
    Decoded r(rule_root,
              R"({"ruleMatchType":"Any","extra":[1,{"a":null}],"ruleItem_Definitions":[{"item_definitionValue":"v",)"
              R"("item_definitionType":"t","other":1,"item_definitionOperator":"o"},{}],"ruleName":"r"})");
    EXPECT_EQ(encode(rule_root, r.tree),
              R"({"ruleName":"r","ruleItem_Definitions":[{"item_definitionOperator":"o","item_definitionType":"t",)"
              R"("item_definitionValue":"v"},{}],"ruleMatchType":"Any"})");
}

TEST(Encode, FaultsInsideTheUnionsReachTheCallerWithTheirFullPath) {
    const std::string sub = "<action>.actionSpecific.actions.actionBackupSubtypeSpecific.backupSubtypes";
    const std::string kestrel = act(backup(
        R"({"abBackupSubtype":"vmware-kestrel","abKestrelSQLTier2Props":{},"abKestrelTierAppOption":"abKestrelAppTier2"})"));
    auto set = [](char *&field, const char *value) {
        std::free(field);
        field = value != nullptr ? strdup(value) : nullptr;
    };
    auto kestrel_of = [](action &a) -> actionBackupKestrel & {
        return a.actionSpecific.actions.actionBackup.actionBackupSubtypeSpecific.backupSubtypes.actionBackupKestrel;
    };
    const std::tuple<std::string, std::function<void(action &)>, std::string> rows[] = {
        {kestrel, [&](action &a) { set(kestrel_of(a).abKestrelTierAppOption, "2"); },
         sub + ".abKestrelTierAppOption" + enc +
             enum_of("'abKestrelAppTierNone', 'abKestrelAppTier2', 'abKestrelAppTier3'")},
        {kestrel, [&](action &a) { set(kestrel_of(a).abBackupSubtype, nullptr); },
         sub + ".abBackupSubtype" + enc + enum_of("'vmware-kestrel'")},
        {kestrel,
         [&](action &a) {
             jsoncodec::destroy_kestrelSQLTier2Properties(kestrel_of(a).abKestrelSQLTier2Props);
             std::free(kestrel_of(a).abKestrelSQLTier2Props);
             kestrel_of(a).abKestrelSQLTier2Props = nullptr;  // its flag stays set
         },
         sub + ".abKestrelSQLTier2Props" + enc +
             "Source data for 'kestrelSQLTier2Properties' was NULL when trying to generate object root."},
        {kestrel,
         [](action &a) { a.actionSpecific.actions.actionBackup.actionBackupSubtypeSpecific.backupSubtypes_type = 6; },
         sub + enc + "Union type for property 'backupSubtypes' is out of range [1..5]."},
        {kestrel,
         [](action &a) { a.actionSpecific.actions.actionBackup.actionBackupSubtypeSpecific.backupSubtypes_type = 0; },
         sub + enc + "Union type for property 'backupSubtypes' is out of range [1..5]."},
        {kestrel, [](action &a) { a.actionSpecific.actions_type = 16; },
         "<action>.actionSpecific.actions" + enc + "Union type for property 'actions' is out of range [1..15]."},
        {act(R"({"actionType":"autostage","aasSavesetSelection":"youngest saveset"})"),
         [&](action &a) { set(a.actionSpecific.actions.actionAutoStage.aasSavesetSelection, "newest saveset"); },
         "<action>.actionSpecific.actions.aasSavesetSelection" + enc +
             enum_of("'oldest saveset', 'largest saveset', 'smallest saveset', 'youngest saveset'")},
        {act(R"({"actionType":"probe"})"), [&](action &a) { set(a.actionSchedulePeriod, nullptr); },
         "<action>.actionSchedulePeriod" + enc + periods},
    };
    for (const auto &[text, spoil, line] : rows) {
        SCOPED_TRACE(line);
        Decoded d(action_root, text);
        ASSERT_EQ(encode(action_root, d.tree), text);
        action saved = d.as<action>();
        spoil(d.as<action>());
        int32_t status;
        EXPECT_EQ(encode(action_root, d.tree, 0, &status), line);
        EXPECT_EQ(status, RMQC_ERR_ENCODE);
        // Restore the tags so the tree is released as it was built.
        d.as<action>().actionSpecific.actions_type = saved.actionSpecific.actions_type;
        d.as<action>().actionSpecific.actions.actionBackup.actionBackupSubtypeSpecific.backupSubtypes_type =
            saved.actionSpecific.actions.actionBackup.actionBackupSubtypeSpecific.backupSubtypes_type;
    }
}

TEST(Boundary, BufferOutputParametersAndStatuses) {
    char buf[256];
    rule *r = nullptr;
    char *json = nullptr;
    rule valid{};
    valid.ruleName = const_cast<char *>("r");
    // Without a buffer (or with a NULL one of any length) the status comes back alone.
    EXPECT_EQ(rmqc_json_to_rule(nullptr, "{", nullptr, 0), 201);
    EXPECT_EQ(rmqc_json_to_rule(&r, R"({"ruleComment":"x"})", nullptr, 64), 202);
    EXPECT_EQ(rmqc_json_from_rule(nullptr, &json, nullptr, 64, 0), 203);
    action *a = nullptr;  // an enum fault makes no list of allowed texts without a buffer
    EXPECT_EQ(
        rmqc_json_to_action(
            &a,
            R"({"actionName":"a","actionSpecific":{"actions":{"actionType":"probe"}},"actionSchedulePeriod":"year"})",
            nullptr, 0),
        202);
    EXPECT_EQ(a, nullptr);
    // Cut to the buffer, nothing written past it; success leaves it empty.
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(rmqc_json_to_rule(&r, R"({"ruleComment":"x"})", buf, 1), 202);
    EXPECT_EQ(std::string(buf, 2), std::string("\0#", 2));
    EXPECT_EQ(rmqc_json_to_rule(&r, R"({"ruleComment":"x"})", buf, 20), 202);
    EXPECT_EQ(std::string(buf, 21), std::string("<rule>.ruleName: JS\0#", 21));
    ASSERT_EQ(rmqc_json_to_rule(&r, R"({"ruleName":"r"})", buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "");
    std::strcpy(buf, "left over");
    EXPECT_EQ(rmqc_json_from_rule(r, &json, buf, sizeof buf, 0), 0);
    EXPECT_STREQ(buf, "");
    std::free(json);
    rmqc_free_rule(r);

    EXPECT_EQ(rmqc_json_to_item_definition(nullptr, "{}", buf, sizeof buf), 201);
    EXPECT_STREQ(buf, "<item_definition>: Internal Error: Bad Arguments. Output parameter cannot be NULL");
    EXPECT_EQ(rmqc_json_from_rule(&valid, nullptr, buf, sizeof buf, 1), 201);
    EXPECT_STREQ(buf, "<rule>: Internal Error: Bad Arguments. Output parameter to rmqc_json_from_rule was NULL");
    char sentinel = 0;
    json = &sentinel;
    EXPECT_EQ(rmqc_json_from_item_definition(nullptr, &json, buf, sizeof buf, 1), 203);
    EXPECT_STREQ(buf,
                 "<item_definition>: JSON encode error. Source data for 'item_definition' was NULL when trying to "
                 "generate object root.");
    EXPECT_EQ(json, &sentinel);

    // A parse failure leaves *out alone and gives the parser's account; a
    // schema fault sets it to NULL.
    rule untouched{};
    for (const char *text :
         {"{", "", R"({"ruleName":"a","ruleName":"b"})", R"({"ruleName":"r"} x)", static_cast<const char *>(nullptr)}) {
        json_error_t error;
        EXPECT_EQ(json_loads(text, JSON_REJECT_DUPLICATES, &error), nullptr);
        r = &untouched;
        EXPECT_EQ(rmqc_json_to_rule(&r, text, buf, sizeof buf), 202);
        EXPECT_EQ(r, &untouched);
        EXPECT_EQ(buf, std::string("<rule>: JSON decode error. JSON parsing error: ") + error.text + " in " +
                           error.source + " line: " + std::to_string(error.line) +
                           " col: " + std::to_string(error.column) + "\n");
    }
    EXPECT_EQ(rmqc_json_to_rule(&r, "[1]", buf, sizeof buf), 202);
    EXPECT_EQ(r, nullptr);
}

TEST(Release, DestroyEmptiesInPlaceAndElementsDoNotFollowNext) {
    Decoded d(policy_root, read_example("policy.json"));
    data_protection_policy &p = d.as<data_protection_policy>();
    workflow *first = p.policyWorkflows;
    p.policyWorkflows = first->next;
    rmqc_free_workflow(first);
    action *head = p.policyWorkflows->workflowActions, *second = head->next;
    p.policyWorkflows->workflowActions = second;
    rmqc_free_action(head);
    EXPECT_NE(encode(policy_root, &p).find(std::string(R"("workflowActions":[{"actionName":")") + second->actionName),
              std::string::npos);
    // An element's encoder never looks at `next` either.
    item_definition spoiled{}, item{};
    spoiled.item_definitionType_present = 1;
    item.next = &spoiled;
    EXPECT_EQ(encode(item_root, &item), "{}");

    data_protection_policy mine = p;
    std::free(d.tree);
    d.tree = nullptr;
    static const data_protection_policy zero{};  // static: padding bytes are zero too
    for (int twice = 0; twice < 2; ++twice) {
        rmqc_destroy_data_protection_policy(&mine);
        EXPECT_EQ(std::memcmp(&mine, &zero, sizeof mine), 0);
    }
    // Only what is flagged is the record's to free.
    actionBackupVmware v{};
    v.abBackupSubtype = strdup("vmware");
    v.abvWexName = strdup("wex");
    v.abvWexName_present = 1;
    char pool[] = "pool";
    v.abvWexSaveType = pool;
    rmqc_destroy_actionBackupVmware(&v);
    static const actionBackupVmware none{};
    EXPECT_EQ(std::memcmp(&v, &none, sizeof v), 0);
    rmqc_free_rule(nullptr);
    rmqc_destroy_rule(nullptr);
}

TEST(ScheduleValidators, TheThreePeriodsInBothDirections) {
    jsoncodec::path_node root = jsoncodec::root_node("action"), own = jsoncodec::enter_node(&root);
    root.child = &own;
    own.name = "actionSchedulePeriod";
    char buf[256];
    for (const char *period : {"week", "month", "reference"})
        EXPECT_EQ(jsoncodec::validate_schedule_period_decode(period, buf, sizeof buf, &own) +
                      jsoncodec::validate_schedule_period_encode(period, buf, sizeof buf, &own),
                  0);
    EXPECT_EQ(jsoncodec::validate_schedule_period_decode("Week", buf, sizeof buf, &own), 202);
    EXPECT_EQ(buf, "<action>.actionSchedulePeriod" + dec + periods);
    EXPECT_EQ(jsoncodec::validate_schedule_period_encode(nullptr, buf, sizeof buf, &own), 203);
    EXPECT_EQ(buf, "<action>.actionSchedulePeriod" + enc + periods);
}

}  // namespace
