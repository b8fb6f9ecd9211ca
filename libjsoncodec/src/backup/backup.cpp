// The backup action and the union of its five subtypes.
#include "backup_schema.h"

namespace jsoncodec {

namespace {

// Trial order; a member's tag is its position plus one.
JC_UNION_MEMBERS(
    backup_subtypes,
    JC_UNION_MEMBER(actionBackupSubtypeWrapper, backupSubtypes, actionBackupTraditional, actionBackupTraditional_desc),
    JC_UNION_MEMBER(actionBackupSubtypeWrapper, backupSubtypes, actionBackupSnapshot, actionBackupSnapshot_desc),
    JC_UNION_MEMBER(actionBackupSubtypeWrapper, backupSubtypes, actionBackupArchive, actionBackupArchive_desc),
    JC_UNION_MEMBER(actionBackupSubtypeWrapper, backupSubtypes, actionBackupVmware, actionBackupVmware_desc),
    JC_UNION_MEMBER(actionBackupSubtypeWrapper, backupSubtypes, actionBackupKestrel, actionBackupKestrel_desc));

constexpr FieldDesc actionBackupSubtypeWrapper_fields[] = {
    JC_UNION(actionBackupSubtypeWrapper, backupSubtypes, backup_subtypes),
};

}  // namespace

extern constexpr TypeDesc actionBackupSubtypeWrapper_desc =
    JC_TYPE(actionBackupSubtypeWrapper, actionBackupSubtypeWrapper_fields);

namespace {

JC_ENUM_VALUES(backup_kind, "backup");
JC_ENUM_VALUES(success_threshold, "warning", "success");

constexpr FieldDesc actionBackup_fields[] = {
    JC_ENUM(actionBackup, actionType, REQUIRED, backup_kind),
    JC_RECORD(actionBackup, actionBackupSubtypeSpecific, REQUIRED, actionBackupSubtypeWrapper,
              actionBackupSubtypeWrapper_desc),
    JC_STRING_ARRAY(actionBackup, abDestinationStorageNode, REQUIRED),
    JC_STRING(actionBackup, abRetentionPeriod, REQUIRED),
    JC_BOOLEAN(actionBackup, abOverrideRetentionPeriod, REQUIRED),
    JC_BOOLEAN(actionBackup, abOverrideBackupSchedule, REQUIRED),
    JC_ENUM(actionBackup, abClientOverridesBehavior, REQUIRED, client_overrides),
    JC_ENUM(actionBackup, abSuccessThreshold, OPTIONAL, success_threshold),
};

}  // namespace

extern constexpr TypeDesc actionBackup_desc = JC_TYPE(actionBackup, actionBackup_fields);

JC_DEFINE_ROUTINES(actionBackupSubtypeWrapper, actionBackupSubtypeWrapper_desc)
JC_DEFINE_ROUTINES(actionBackup, actionBackup_desc)

}  // namespace jsoncodec
