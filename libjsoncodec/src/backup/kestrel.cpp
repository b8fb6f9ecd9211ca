// The proxy backup subtype (VMware through a proxy appliance) and its SQL
// tier-2 settings.
#include "backup_schema.h"

namespace jsoncodec {

JC_ENUM_VALUES(client_overrides, "clientCanNotOverride", "clientCanOverride", "legacyBackupRules");

namespace {

JC_ENUM_VALUES(kestrel_subtype, "vmware-kestrel");
JC_ENUM_VALUES(run_tlog_option, "abKestrelRunTlogInterval", "abKestrelRunTlogEndOfBackup");
JC_ENUM_VALUES(tier_app_option, "abKestrelAppTierNone", "abKestrelAppTier2", "abKestrelAppTier3");

// The letter case of the names is the schema's own ("SQLaction", "Sql").
constexpr FieldDesc kestrelSQLTier2Properties_fields[] = {
    JC_ENUM(kestrelSQLTier2Properties, abKestrelSQLClientOverridesBehavior, OPTIONAL, client_overrides),
    JC_BOOLEAN(kestrelSQLTier2Properties, abKestrelSQLDetectAAGFCI, OPTIONAL),
    JC_STRING(kestrelSQLTier2Properties, abKestrelSQLExcludeRuleId, OPTIONAL),
    JC_STRING_ARRAY(kestrelSQLTier2Properties, abKestrelSQLactionScheduleActivity, OPTIONAL),
    JC_ENUM(kestrelSQLTier2Properties, abKestrelSQLactionSchedulePeriod, OPTIONAL, schedule_period),
    JC_BOOLEAN(kestrelSQLTier2Properties, abKestrelSqlPromoteToFull, OPTIONAL),
};

}  // namespace

extern constexpr TypeDesc kestrelSQLTier2Properties_desc =
    JC_TYPE(kestrelSQLTier2Properties, kestrelSQLTier2Properties_fields);

namespace {

// The tier-2 record is decoded in its own place among the properties, and
// the two retention-lock properties ("Z") come last.
constexpr FieldDesc actionBackupKestrel_fields[] = {
    JC_ENUM(actionBackupKestrel, abBackupSubtype, REQUIRED, kestrel_subtype),
    JC_STRING(actionBackupKestrel, abKestrelDestinationPool, OPTIONAL),
    JC_BOOLEAN(actionBackupKestrel, abKestrelFailBackupsOnQuiesceError, OPTIONAL),
    JC_STRING(actionBackupKestrel, abKestrelForceBackupLevel, OPTIONAL),
    JC_STRING(actionBackupKestrel, abKestrelName, OPTIONAL),
    JC_BOOLEAN(actionBackupKestrel, abKestrelQuiesceApp, OPTIONAL),
    JC_INTEGER(actionBackupKestrel, abKestrelQuiesceTimeout, OPTIONAL),
    JC_ENUM(actionBackupKestrel, abKestrelRunTlogOption, OPTIONAL, run_tlog_option),
    JC_RECORD_POINTER(actionBackupKestrel, abKestrelSQLTier2Props, OPTIONAL, kestrelSQLTier2Properties,
                      kestrelSQLTier2Properties_desc),
    JC_STRING(actionBackupKestrel, abKestrelSysAdminPassword, OPTIONAL),
    JC_STRING(actionBackupKestrel, abKestrelSysAdminUserName, OPTIONAL),
    JC_STRING(actionBackupKestrel, abKestrelTierAppAdminPassword, OPTIONAL),
    JC_STRING(actionBackupKestrel, abKestrelTierAppAdminUserName, OPTIONAL),
    JC_ENUM(actionBackupKestrel, abKestrelTierAppOption, OPTIONAL, tier_app_option),
    JC_BOOLEAN(actionBackupKestrel, abKestrelTransactionLogBackup, OPTIONAL),
    JC_BOOLEAN(actionBackupKestrel, abKestrelUseAppProtection, OPTIONAL),
    JC_BOOLEAN(actionBackupKestrel, abKestrelVmAppConsistentBackup, OPTIONAL),
    JC_STRING(actionBackupKestrel, abKestrelZStrataRetentionLockTime, OPTIONAL),
    JC_BOOLEAN(actionBackupKestrel, abKestrelZEnableStrataRetentionLock, OPTIONAL),
};

}  // namespace

extern constexpr TypeDesc actionBackupKestrel_desc = JC_TYPE(actionBackupKestrel, actionBackupKestrel_fields);

JC_DEFINE_ROUTINES(kestrelSQLTier2Properties, kestrelSQLTier2Properties_desc)
JC_DEFINE_ROUTINES(actionBackupKestrel, actionBackupKestrel_desc)

}  // namespace jsoncodec
