// The backup action and its subtypes on their own routines: the subtype
// union's closest failure, each member's faults with the score it reached,
// presence flags set before a property is examined, and the exported
// release of the VMware subtype.
#include <gtest/gtest.h>
#include <jansson.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "backup_schema.h"
#include "jsoncodec.h"

namespace {

using namespace jsoncodec;

struct Outcome {
    int32_t status;
    std::string line;
    uint32_t matches;
};

// Decodes `text` into `into` as a record of `type`, from a root named after
// the type, as a union trial does.
Outcome decode_into(const TypeDesc &type, const char *text, void *into) {
    json_t *value = json_loads(text, JSON_REJECT_DUPLICATES, nullptr);
    EXPECT_NE(value, nullptr) << text;
    char buf[1024] = "";
    path_node root = root_node(type.name);
    uint32_t matches = 0;
    int32_t status = decode_record(type, value, nullptr, into, 0, buf, sizeof buf, &root, &matches);
    json_decref(value);
    return {status, buf, matches};
}

// Storage for any backup record, released at the end of the scope.
struct Storage {
    const TypeDesc &type;
    alignas(8) unsigned char bytes[sizeof(actionBackup) > sizeof(actionBackupKestrel) ? sizeof(actionBackup)
                                                                                      : sizeof(actionBackupKestrel)];
    explicit Storage(const TypeDesc &t) : type(t) { std::memset(bytes, 0xA5, sizeof bytes); }
    ~Storage() { release_record(type, bytes); }
};

TEST(BackupSubtypes, ClosestFailureIsTheSubtypeThatGotFurthest) {
    const std::string head =
        "<actionBackupSubtypeWrapper>.backupSubtypes: JSON decode error. No match for union, closest failure: ";
    const std::pair<const char *, std::string> cases[] = {
        {R"({"backupSubtypes":{"abBackupSubtype":"snapshot","absMinimumRetentionPeriod":"1 day"}})",
         head + "<actionBackupSnapshot>.absDestinationPool: JSON decode error. Required property 'absDestinationPool' "
                "is missing which violates the schema."},
        {R"({"backupSubtypes":{"abBackupSubtype":"vmware-proxy","abvDestinationPool":"p"}})",
         head + "<actionBackupTraditional>.abBackupSubtype: JSON decode error. String based enum fails to match one "
                "of: [ 'traditional' ]. "},
        {R"({"backupSubtypes":{"abBackupSubtype":"archive"}})",
         head + "<actionBackupArchive>.abaDestinationPool: JSON decode error. Required property 'abaDestinationPool' "
                "is missing which violates the schema."},
        {R"({"backupSubtypes":{"abBackupSubtype":"vmware-kestrel","abKestrelSQLTier2Props":)"
         R"({"abKestrelSQLactionSchedulePeriod":"Week"}}})",
         head + "<actionBackupKestrel>.abKestrelSQLTier2Props.abKestrelSQLactionSchedulePeriod: JSON decode error. "
                "String based enum fails to match one of: [ 'week', 'month', 'reference' ]. "},
        {R"({"backupSubtype":{"abBackupSubtype":"vmware"}})",
         "<actionBackupSubtypeWrapper>.backupSubtypes: JSON decode error. Required property 'backupSubtypes' is "
         "missing which violates the schema."},
    };
    for (const auto &[json, line] : cases) {
        SCOPED_TRACE(json);
        Storage s(actionBackupSubtypeWrapper_desc);
        Outcome o = decode_into(actionBackupSubtypeWrapper_desc, json, s.bytes);
        EXPECT_EQ(o.status, 202);
        EXPECT_EQ(o.line, line);
        EXPECT_EQ(o.matches, 0u);
        EXPECT_EQ(reinterpret_cast<actionBackupSubtypeWrapper *>(s.bytes)->backupSubtypes_type, 0);
    }
}

TEST(BackupMembers, FaultsAndTheScoreReachedBeforeThem) {
    const std::string dec = ": JSON decode error. ";
    const std::string action_head =
        R"({"actionType":"backup","actionBackupSubtypeSpecific":{"backupSubtypes":{"abBackupSubtype":"vmware"}},)"
        R"("abDestinationStorageNode":[],"abRetentionPeriod":"r","abOverrideRetentionPeriod":true,)";
    const std::string kestrel_head = R"({"abBackupSubtype":"vmware-kestrel","abKestrelName":"n",)";
    struct Case {
        const TypeDesc &type;
        std::string json;
        std::string line;
        uint32_t matches;
    };
    const Case cases[] = {
        {actionBackup_desc, R"({"actionType":"Backup"})",
         "<actionBackup>.actionType" + dec + "String based enum fails to match one of: [ 'backup' ]. ", 0},
        {actionBackup_desc,
         action_head + R"("abOverrideBackupSchedule":false,"abClientOverridesBehavior":"clientCanOverride",)"
                       R"("abSuccessThreshold":"Success"})",
         "<actionBackup>.abSuccessThreshold" + dec +
             "String based enum fails to match one of: [ 'warning', 'success' ]. ",
         9},
        {actionBackupTraditional_desc,
         R"({"abBackupSubtype":"traditional","abtDestinationPool":"p","abtFileInactivityThreshold":30.0})",
         "<actionBackupTraditional>.abtFileInactivityThreshold" + dec +
             "Expected property to be an integer as specified in schema.",
         2},
        {actionBackupTraditional_desc,
         R"({"abBackupSubtype":"traditional","abtDestinationPool":"p","abtEstimate":true,"abtTimestampFormat":"ISO"})",
         "<actionBackupTraditional>.abtTimestampFormat" + dec +
             "String based enum fails to match one of: [ 'none', 'iso', 'unix' ]. ",
         3},
        {actionBackupVmware_desc, R"({"abBackupSubtype":"vmware","abvWexSaveType":"virtualmachine"})",
         "<actionBackupVmware>.abvWexSaveType" + dec +
             "String based enum fails to match one of: [ 'VMDK', 'VirtualMachine' ]. ",
         1},
        {actionBackupKestrel_desc, kestrel_head + R"("abKestrelRunTlogOption":"abKestrelRunTlogEndofBackup"})",
         "<actionBackupKestrel>.abKestrelRunTlogOption" + dec +
             "String based enum fails to match one of: [ 'abKestrelRunTlogInterval', 'abKestrelRunTlogEndOfBackup' ]. ",
         2},
        {actionBackupKestrel_desc, kestrel_head + R"("abKestrelTierAppOption":"2"})",
         "<actionBackupKestrel>.abKestrelTierAppOption" + dec +
             "String based enum fails to match one of: [ 'abKestrelAppTierNone', 'abKestrelAppTier2', "
             "'abKestrelAppTier3' ]. ",
         2},
        // The tier-2 record is decoded in record order, whatever the input's.
        {actionBackupKestrel_desc,
         kestrel_head + R"("abKestrelSQLTier2Props":{"abKestrelSQLDetectAAGFCI":false,)"
                        R"("abKestrelSQLClientOverridesBehavior":"legacy"}})",
         "<actionBackupKestrel>.abKestrelSQLTier2Props.abKestrelSQLClientOverridesBehavior" + dec +
             "String based enum fails to match one of: [ 'clientCanNotOverride', 'clientCanOverride', "
             "'legacyBackupRules' ]. ",
         2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.json);
        Storage s(c.type);
        Outcome o = decode_into(c.type, c.json.c_str(), s.bytes);
        EXPECT_EQ(o.status, 202);
        EXPECT_EQ(o.line, c.line);
        EXPECT_EQ(o.matches, c.matches);
    }
}

TEST(BackupMembers, PresenceFlagIsSetBeforeThePropertyIsExamined) {
    actionBackup b;
    std::memset(&b, 0xA5, sizeof b);
    Outcome o = decode_into(
        actionBackup_desc,
        R"({"actionType":"backup","actionBackupSubtypeSpecific":{"backupSubtypes":{"abBackupSubtype":"vmware"}},)"
        R"("abDestinationStorageNode":["sn"],"abRetentionPeriod":"r","abOverrideRetentionPeriod":true,)"
        R"("abOverrideBackupSchedule":false,"abClientOverridesBehavior":"clientCanOverride","abSuccessThreshold":null})",
        &b);
    EXPECT_EQ(o.line,
              "<actionBackup>.abSuccessThreshold: JSON decode error. Expected a string as specified in schema.");
    EXPECT_EQ(b.abSuccessThreshold_present, 1);
    EXPECT_EQ(b.abSuccessThreshold, nullptr);
    EXPECT_EQ(b.actionBackupSubtypeSpecific.backupSubtypes_type, RMQC_BACKUP_SUBTYPE_VMWARE);
    ASSERT_EQ(b.abDestinationStorageNode_array_sz, 1u);
    destroy_actionBackup(&b);
    static const actionBackup zero{};  // static: padding bytes are zero too
    EXPECT_EQ(std::memcmp(&b, &zero, sizeof b), 0);

    // The tier-2 record is allocated and linked before its value is looked at.
    actionBackupKestrel k;
    std::memset(&k, 0xA5, sizeof k);
    o = decode_into(actionBackupKestrel_desc, R"({"abBackupSubtype":"vmware-kestrel","abKestrelSQLTier2Props":null})",
                    &k);
    EXPECT_EQ(o.status, 202);
    EXPECT_EQ(o.line,
              "<actionBackupKestrel>.abKestrelSQLTier2Props: JSON decode error. Expected object of type "
              "'kestrelSQLTier2Properties'.");
    EXPECT_EQ(k.abKestrelSQLTier2Props_present, 1);
    ASSERT_NE(k.abKestrelSQLTier2Props, nullptr);
    static const kestrelSQLTier2Properties empty{};  // static: padding bytes are zero too
    EXPECT_EQ(std::memcmp(k.abKestrelSQLTier2Props, &empty, sizeof empty), 0);
    destroy_actionBackupKestrel(&k);  // frees the tier-2 record
    EXPECT_EQ(k.abKestrelSQLTier2Props, nullptr);
}

TEST(BackupRelease, VmwareReleaseFreesOnlyWhatIsFlagged) {
    actionBackupVmware v{};
    v.abBackupSubtype = strdup("vmware");
    v.abvWexName = strdup("wex");
    v.abvWexName_present = 1;
    // Set but not flagged: not the record's to free.
    char *pool = strdup("pool");
    char *save_type = strdup("VMDK");
    v.abvDestinationPool = pool;
    v.abvWexSaveType = save_type;
    v.abvUseWexInternalStorage = 1;
    rmqc_destroy_actionBackupVmware(&v);
    static const actionBackupVmware zero{};  // static: padding bytes are zero too
    EXPECT_EQ(std::memcmp(&v, &zero, sizeof v), 0);
    // Still ours: had the release freed them, the sanitizer would stop the
    // reads below.
    EXPECT_STREQ(pool, "pool");
    EXPECT_STREQ(save_type, "VMDK");
    std::free(pool);
    std::free(save_type);

    rmqc_destroy_actionBackupVmware(&v);  // an empty record frees nothing
    EXPECT_EQ(std::memcmp(&v, &zero, sizeof v), 0);
}

}  // namespace
