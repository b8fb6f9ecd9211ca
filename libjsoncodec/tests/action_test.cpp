// Actions: every action kind and backup subtype each way, the closest
// failure that a kind matching no member reports, the two unions' tags and
// counts, member faults on encoding, and the action record's own checks.
#include <gtest/gtest.h>
#include <jansson.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "action_schema.h"
#include "backup_schema.h"
#include "jsoncodec.h"
#include "root_calls.h"

namespace {

using namespace jsoncodec;

using Calls = JSONCODEC_ROOT_CALLS(action);
using Decoded = Calls::Decoded;
using Encoded = Calls::Encoded;
constexpr auto decode = Calls::decode;
constexpr auto encode = Calls::encode;

// An action of the given kind with the smallest schedule; `more` adds
// properties after it.
std::string action_text(const std::string &kind, const std::string &more = "") {
    return R"({"actionName":"a","actionSpecific":{"actions":)" + kind +
           R"(},"actionSchedulePeriod":"week","actionScheduleActivity":[])" + more + "}";
}

// A backup action holding the subtype object `subtype`.
std::string backup(const std::string &subtype) {
    return R"({"actionType":"backup","actionBackupSubtypeSpecific":{"backupSubtypes":)" + subtype +
           R"(},"abDestinationStorageNode":["sn1","sn2"],"abRetentionPeriod":"1 month",)"
           R"("abOverrideRetentionPeriod":true,"abOverrideBackupSchedule":false,)"
           R"("abClientOverridesBehavior":"legacyBackupRules","abSuccessThreshold":"success"})";
}

// Every property of each subtype and kind, in declared order.
constexpr const char *traditional =
    R"({"abBackupSubtype":"traditional","abtDestinationPool":"Default","abForceBackupLevel":"full",)"
    R"("abtBrowsePeriod":"1 week","abtStrataRetentionLockTime":"2 days","abtEnableStrataRetentionLock":true,)"
    R"("abtEstimate":false,"abtFileInactivityAlertThreshold":-1,"abtFileInactivityThreshold":30,)"
    R"("abtRevertToFullWhenSyntheticFullFails":true,"abtTimestampFormat":"unix","abtVerifySyntheticFull":false})";
constexpr const char *snapshot =
    R"({"abBackupSubtype":"snapshot","absDestinationPool":"p","absMinimumRetentionPeriod":"2 days",)"
    R"("abForceBackupLevel":"incr"})";
constexpr const char *archive =
    R"({"abBackupSubtype":"archive","abaDestinationPool":"Archive","abaDeleteSource":true})";
constexpr const char *vmware =
    R"({"abBackupSubtype":"vmware","abvDestinationPool":"p","abvUseWexInternalStorage":false,)"
    R"("abvWexName":"wex1","abvWexSaveType":"VirtualMachine"})";
constexpr const char *kestrel =
    R"({"abBackupSubtype":"vmware-kestrel","abKestrelDestinationPool":"p","abKestrelFailBackupsOnQuiesceError":true,)"
    R"("abKestrelForceBackupLevel":"full","abKestrelName":"proxy","abKestrelQuiesceApp":false,)"
    R"("abKestrelQuiesceTimeout":9223372036854775807,"abKestrelRunTlogOption":"abKestrelRunTlogEndOfBackup",)"
    R"("abKestrelSQLTier2Props":{"abKestrelSQLClientOverridesBehavior":"clientCanOverride",)"
    R"("abKestrelSQLDetectAAGFCI":true,"abKestrelSQLExcludeRuleId":"r1",)"
    R"("abKestrelSQLactionScheduleActivity":["full","incr"],"abKestrelSQLactionSchedulePeriod":"reference",)"
    R"("abKestrelSqlPromoteToFull":false},"abKestrelSysAdminPassword":"pw","abKestrelSysAdminUserName":"sa",)"
    R"("abKestrelTierAppAdminPassword":"pw2","abKestrelTierAppAdminUserName":"admin",)"
    R"("abKestrelTierAppOption":"abKestrelAppTier3","abKestrelTransactionLogBackup":true,)"
    R"("abKestrelUseAppProtection":false,"abKestrelVmAppConsistentBackup":true,)"
    R"("abKestrelZStrataRetentionLockTime":"3 days","abKestrelZEnableStrataRetentionLock":false})";
constexpr const char *autostage =
    R"({"actionType":"autostage","aasDevices":["d1","d2"],"aasHighWaterMark":90,"aasLowWaterMark":-5,)"
    R"("aasMaxStoragePeriod":"7 days","aasSavesetSelection":"youngest saveset"})";
constexpr const char *exercise = R"({"actionType":"exercise","exerciseFunction":"passthru","exerciseCount":3,)"
                                 R"("exerciseDelay":[0,-2,9223372036854775807],"exerciseDuration":60,)"
                                 R"("exerciseFailureRate":-9223372036854775808,"exerciseOwiPerIwi":[]})";

TEST(ActionKinds, EachDecodesWithItsTagAndComesBackUnchanged) {
    struct Case {
        std::string kind;
        int tag;
        int subtype;
    };
    const Case cases[] = {
        {backup(traditional), 1, 1},
        {backup(snapshot), 1, 2},
        {backup(archive), 1, 3},
        {backup(vmware), 1, 4},
        {backup(kestrel), 1, 5},
        {R"({"actionType":"probe","apAllProbesMustSucceed":true})", 2, 0},
        {R"({"actionType":"execute","aePlaceholder":"cmd"})", 3, 0},
        {R"({"actionType":"clone","acBrowsePeriod":"1 week","acStrataRetentionLockTime":"1 day",)"
         R"("acDeleteSource":false,"acDestinationPool":"Clone","acDestinationStorageNode":"sn",)"
         R"("acEnableStrataRetentionLock":true,"acRetentionPeriod":"1 year","acSourceStorageNode":"src"})",
         4, 0},
        {R"({"actionType":"discover","adDiscoverType":"NAS snapshot"})", 5, 0},
        {R"({"actionType":"check connectivity","acAllClientsMustSucceed":false})", 6, 0},
        {R"({"actionType":"generate index","agGenerateIndexType":"NAS snapshot"})", 7, 0},
        {R"({"actionType":"backup index","abiPlaceholder":""})", 8, 0},
        {R"({"actionType":"expire","aePlaceholder":"x"})", 9, 0},
        {R"({"actionType":"server backup","asbStrataRetentionLockTime":"1 day","asbDestinationPool":"p",)"
         R"("asbDestinationStorageNode":"sn","asbEnableStrataRetentionLock":false,"asbPerformBootstrap":true,)"
         R"("asbPerformCFI":true,"asbRetentionPeriod":"1 month"})",
         10, 0},
        {autostage, 11, 0},
        {R"({"actionType":"recover space","arsDevices":[]})", 12, 0},
        {exercise, 13, 0},
        {R"({"actionType":"WEX checkpoint discover"})", 14, 0},
        {R"({"actionType":"WEX checkpoint backup","wexCheckPointBackupDestinationPool":"p",)"
         R"("wexCheckPointBackupRetentionPeriod":"1 week"})",
         15, 0},
        // Only what is required; an empty tier-2 object still makes a record.
        {backup(R"({"abBackupSubtype":"vmware"})"), 1, 4},
        {backup(R"({"abBackupSubtype":"vmware-kestrel","abKestrelSQLTier2Props":{}})"), 1, 5},
    };
    for (const Case &c : cases) {
        std::string text = action_text(c.kind);
        SCOPED_TRACE(text);
        Decoded d = decode(text);
        ASSERT_EQ(d.status, 0) << d.line;
        EXPECT_EQ(d.line, "");
        EXPECT_EQ(d.tree->actionSpecific.actions_type, c.tag);
        if (c.subtype != 0) {
            EXPECT_EQ(d.tree->actionSpecific.actions.actionBackup.actionBackupSubtypeSpecific.backupSubtypes_type,
                      c.subtype);
        }
        Encoded e = encode(d.tree);
        EXPECT_EQ(e.status, 0);
        EXPECT_EQ(e.text, text);
    }
}

TEST(ActionKinds, ClosestFailureNamesTheMemberThatGotFurthest) {
    const std::string head =
        "<action>.actionSpecific.actions: JSON decode error. No match for union, closest failure: ";
    const std::string in_backup =
        "<actionBackup>.actionBackupSubtypeSpecific.backupSubtypes: JSON decode error. No match for union, closest "
        "failure: ";
    struct Case {
        std::string wrapper;
        std::string line;
    };
    const Case cases[] = {
        {R"({"actions":{"actionType":"discover"}})",
         head + "<actionDiscover>.adDiscoverType: JSON decode error. Required property 'adDiscoverType' is missing "
                "which violates the schema."},
        {R"({"actions":5})", head + "<actionBackup>: JSON decode error. Expected object of type 'actionBackup'."},
        {R"({"actions":{"actionType":"restore"}})",
         head +
             "<actionBackup>.actionType: JSON decode error. String based enum fails to match one of: [ 'backup' ]. "},
        {"{}",
         "<action>.actionSpecific.actions: JSON decode error. Required property 'actions' is missing which "
         "violates the schema."},
        {R"({"actions":{"actionType":"exercise","exerciseFunction":"passthru","exerciseDelay":[1,2.5]}})",
         head + "<actionExercise>.exerciseDelay[1]: JSON decode error. Expected array item to be an integer as "
                "specified in schema."},
        // A backup action that fails inside its subtype has scored for its
        // actionType, so it is the one reported, with the subtype union's
        // own closest failure inside.
        {R"({"actions":)" + backup("[]") + "}",
         head + in_backup +
             "<actionBackupTraditional>: JSON decode error. Expected object of type 'actionBackupTraditional'."},
        // The backup action's line (253 characters) fits its trial buffer;
        // wrapped once more it is cut to 255 characters.
        {R"({"actions":)" + backup(R"({"abBackupSubtype":"snapshot","absMinimumRetentionPeriod":"1 day"})") + "}",
         head + in_backup +
             "<actionBackupSnapshot>.absDestinationPool: JSON decode error. Required property "
             "'absDestinationPool' is"},
    };
    for (const Case &c : cases) {
        std::string text = R"({"actionName":"a","actionSpecific":)" + c.wrapper +
                           R"(,"actionSchedulePeriod":"week","actionScheduleActivity":[]})";
        Calls::expect_refused(text, c.line);
    }
}

// Decodes `text` with a union's own routine into `into`, from a root named
// after the wrapper; returns the status and adds to *count.
template <class W>
int32_t decode_union(int32_t (*decode_fn)(const json_t *, W **, W *, int32_t, char *, uint64_t, path_node *,
                                          uint32_t *),
                     const char *root_name, const char *text, W *into, uint32_t *count) {
    json_t *value = json_loads(text, JSON_REJECT_DUPLICATES, nullptr);
    EXPECT_NE(value, nullptr) << text;
    char buf[512] = "";
    path_node root = root_node(root_name);
    int32_t status = decode_fn(value, nullptr, into, 0, buf, sizeof buf, &root, count);
    EXPECT_STREQ(buf, "");
    json_decref(value);
    return status;
}

TEST(ActionKinds, UnionsAddTheMembersCountPlusOneForThemselves) {
    struct Case {
        const char *json;
        int tag;
        uint32_t count;
    };
    // Members whose actionType does not match score nothing; extra
    // properties of other kinds are ignored.
    const Case kinds[] = {
        {R"({"actions":{"actionType":"probe"}})", 2, 2},
        {R"({"actions":{"actionType":"expire","aePlaceholder":"x"}})", 9, 3},
    };
    for (const Case &c : kinds) {
        SCOPED_TRACE(c.json);
        actionsWrapper w{};
        uint32_t count = 5;
        EXPECT_EQ(decode_union(decode_actionsWrapper, "actionsWrapper", c.json, &w, &count), 0);
        EXPECT_EQ(w.actions_type, c.tag);
        EXPECT_EQ(count, 5 + c.count);
        destroy_actionsWrapper(&w);
        EXPECT_EQ(w.actions_type, 0);
    }
    const Case subtypes[] = {
        {R"({"backupSubtypes":{"abBackupSubtype":"traditional","abtDestinationPool":"p"}})", 1, 3},
        {R"({"backupSubtypes":{"abBackupSubtype":"snapshot","absDestinationPool":"p",)"
         R"("absMinimumRetentionPeriod":"m","abtDestinationPool":"x","abaDeleteSource":true}})",
         2, 4},
    };
    for (const Case &c : subtypes) {
        SCOPED_TRACE(c.json);
        actionBackupSubtypeWrapper w{};
        uint32_t count = 0;
        EXPECT_EQ(decode_union(decode_actionBackupSubtypeWrapper, "actionBackupSubtypeWrapper", c.json, &w, &count), 0);
        EXPECT_EQ(w.backupSubtypes_type, c.tag);
        EXPECT_EQ(count, c.count);
        destroy_actionBackupSubtypeWrapper(&w);
    }
}

char *text(const char *s) { return const_cast<char *>(s); }

TEST(ActionEncode, UnionTagsOutsideTheirRangeAreRefused) {
    action a{};
    a.actionName = text("a");
    a.actionSchedulePeriod = text("week");
    a.actionSpecific.actions.actionWEXCheckpointDiscover.actionType = text("WEX checkpoint discover");
    a.actionSpecific.actions_type = 14;
    EXPECT_EQ(encode(&a).text, action_text(R"({"actionType":"WEX checkpoint discover"})"));

    for (int tag : {0, 16, 255}) {
        SCOPED_TRACE(tag);
        a.actionSpecific.actions_type = static_cast<uint8_t>(tag);
        Encoded e = encode(&a);
        EXPECT_EQ(e.status, 203);
        EXPECT_EQ(e.text,
                  "<action>.actionSpecific.actions: JSON encode error. Union type for property 'actions' is out "
                  "of range [1..15].");
    }

    a.actionSpecific = actionsWrapper{};
    a.actionSpecific.actions.actionBackup.actionType = text("backup");
    a.actionSpecific.actions_type = 1;
    for (int tag : {0, 6}) {
        SCOPED_TRACE(tag);
        a.actionSpecific.actions.actionBackup.actionBackupSubtypeSpecific.backupSubtypes_type =
            static_cast<uint8_t>(tag);
        Encoded e = encode(&a);
        EXPECT_EQ(e.status, 203);
        EXPECT_EQ(e.text,
                  "<action>.actionSpecific.actions.actionBackupSubtypeSpecific.backupSubtypes: JSON encode "
                  "error. Union type for property 'backupSubtypes' is out of range [1..5].");
    }
}

// Replaces a text of a decoded tree with an owned copy (or NULL), so that
// the tree stays releasable.
void set(char *&field, const char *value) {
    std::free(field);
    field = value != nullptr ? strdup(value) : nullptr;
}

actionBackup &backup_of(action &a) { return a.actionSpecific.actions.actionBackup; }
auto &subtype_of(action &a) { return backup_of(a).actionBackupSubtypeSpecific.backupSubtypes; }

TEST(ActionEncode, FaultsReachTheCallerUnwrappedWithTheirFullPath) {
    const std::string sub = "<action>.actionSpecific.actions.actionBackupSubtypeSpecific.backupSubtypes.";
    const std::string enc = ": JSON encode error. ";
    struct Case {
        std::string text;
        std::function<void(action &)> spoil;
        std::string line;
    };
    const Case cases[] = {
        {action_text(backup(kestrel)),
         [](action &a) { set(subtype_of(a).actionBackupKestrel.abKestrelTierAppOption, "2"); },
         sub + "abKestrelTierAppOption" + enc +
             "String based enum fails to match one of: [ 'abKestrelAppTierNone', 'abKestrelAppTier2', "
             "'abKestrelAppTier3' ]. "},
        {action_text(backup(kestrel)),
         [](action &a) {
             actionBackupKestrel &k = subtype_of(a).actionBackupKestrel;
             destroy_kestrelSQLTier2Properties(k.abKestrelSQLTier2Props);
             std::free(k.abKestrelSQLTier2Props);
             k.abKestrelSQLTier2Props = nullptr;  // its flag stays set
         },
         sub + "abKestrelSQLTier2Props" + enc +
             "Source data for 'kestrelSQLTier2Properties' was NULL when trying to generate object root."},
        {action_text(backup(vmware)),
         [](action &a) { set(subtype_of(a).actionBackupVmware.abvWexSaveType, "virtualmachine"); },
         sub + "abvWexSaveType" + enc + "String based enum fails to match one of: [ 'VMDK', 'VirtualMachine' ]. "},
        {action_text(backup(traditional)),
         [](action &a) { set(subtype_of(a).actionBackupTraditional.abBackupSubtype, "snapshot"); },
         sub + "abBackupSubtype" + enc + "String based enum fails to match one of: [ 'traditional' ]. "},
        {action_text(backup(traditional)),
         [](action &a) { set(subtype_of(a).actionBackupTraditional.abtDestinationPool, nullptr); },
         sub + "abtDestinationPool" + enc +
             "Error generated by jansson library while parsing property 'abtDestinationPool' from object "
             "'actionBackupTraditional'."},
        {action_text(autostage),
         [](action &a) { set(a.actionSpecific.actions.actionAutoStage.aasSavesetSelection, "newest saveset"); },
         "<action>.actionSpecific.actions.aasSavesetSelection" + enc +
             "String based enum fails to match one of: [ 'oldest saveset', 'largest saveset', 'smallest saveset', "
             "'youngest saveset' ]. "},
        {action_text(autostage), [](action &a) { set(a.actionSchedulePeriod, nullptr); },
         "<action>.actionSchedulePeriod" + enc +
             "String based enum fails to match one of: [ 'week', 'month', 'reference' ]. "},
        {action_text(autostage, R"(,"actionFailureImpact":"abort action")"),
         [](action &a) { set(a.actionFailureImpact, "abort"); },
         "<action>.actionFailureImpact" + enc +
             "String based enum fails to match one of: [ 'continue', 'abort action', 'abort workflow' ]. "},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.line);
        Decoded d = decode(c.text);
        ASSERT_EQ(d.status, 0) << d.line;
        ASSERT_EQ(encode(d.tree).text, c.text);
        c.spoil(*d.tree);
        Encoded e = encode(d.tree);
        EXPECT_EQ(e.status, 203);
        EXPECT_EQ(e.text, c.line);
    }
}

TEST(ActionDecode, OwnFaultsComeInRecordOrder) {
    const std::string dec = ": JSON decode error. ";
    const std::pair<std::string, std::string> cases[] = {
        {R"({"actionName":"a"})",
         "<action>.actionSpecific" + dec + "Required property 'actionSpecific' is missing which violates the schema."},
        {R"({"actionName":"a","actionSpecific":{"actions":{"actionType":"probe"}},"actionSchedulePeriod":"Week",)"
         R"("actionScheduleActivity":[]})",
         "<action>.actionSchedulePeriod" + dec +
             "String based enum fails to match one of: [ 'week', 'month', 'reference' ]. "},
        {action_text(R"({"actionType":"probe"})", R"(,"actionFailureImpact":"abort")"),
         "<action>.actionFailureImpact" + dec +
             "String based enum fails to match one of: [ 'continue', 'abort action', 'abort workflow' ]. "},
    };
    for (const auto &[json, line] : cases) Calls::expect_refused(json, line);
}

TEST(ScheduleValidators, AcceptExactlyTheThreePeriodsInBothDirections) {
    path_node root = root_node("action");
    path_node own = enter_node(&root);
    root.child = &own;
    own.name = "actionSchedulePeriod";
    for (const char *period : {"week", "month", "reference"}) {
        char buf[256] = "";
        EXPECT_EQ(validate_schedule_period_decode(period, buf, sizeof buf, &own), 0) << period;
        EXPECT_EQ(validate_schedule_period_encode(period, buf, sizeof buf, &own), 0) << period;
        EXPECT_STREQ(buf, "");
    }
    const std::string message = "String based enum fails to match one of: [ 'week', 'month', 'reference' ]. ";
    for (const char *period : {"Week", "weekly", "", "month "}) {
        SCOPED_TRACE(period);
        char buf[256] = "";
        EXPECT_EQ(validate_schedule_period_decode(period, buf, sizeof buf, &own), 202);
        EXPECT_EQ(buf, "<action>.actionSchedulePeriod: JSON decode error. " + message);
        EXPECT_EQ(validate_schedule_period_encode(period, buf, sizeof buf, &own), 203);
        EXPECT_EQ(buf, "<action>.actionSchedulePeriod: JSON encode error. " + message);
    }
}

}  // namespace
