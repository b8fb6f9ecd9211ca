// Four of the backup subtypes: traditional, snapshot, archive and VMware.
// Each starts with its discriminator abBackupSubtype, which has a single
// allowed text, so a try of the wrong subtype fails before it counts
// anything.
#include "backup_schema.h"
#include "exports.h"

namespace jsoncodec {

namespace {

JC_ENUM_VALUES(traditional_subtype, "traditional");
JC_ENUM_VALUES(snapshot_subtype, "snapshot");
JC_ENUM_VALUES(archive_subtype, "archive");
JC_ENUM_VALUES(vmware_subtype, "vmware");
JC_ENUM_VALUES(timestamp_format, "none", "iso", "unix");
JC_ENUM_VALUES(wex_save_type, "VMDK", "VirtualMachine");

constexpr FieldDesc actionBackupTraditional_fields[] = {
    JC_ENUM(actionBackupTraditional, abBackupSubtype, REQUIRED, traditional_subtype),
    JC_STRING(actionBackupTraditional, abtDestinationPool, REQUIRED),
    JC_STRING(actionBackupTraditional, abForceBackupLevel, OPTIONAL),
    JC_STRING(actionBackupTraditional, abtBrowsePeriod, OPTIONAL),
    JC_STRING(actionBackupTraditional, abtStrataRetentionLockTime, OPTIONAL),
    JC_BOOLEAN(actionBackupTraditional, abtEnableStrataRetentionLock, OPTIONAL),
    JC_BOOLEAN(actionBackupTraditional, abtEstimate, OPTIONAL),
    JC_INTEGER(actionBackupTraditional, abtFileInactivityAlertThreshold, OPTIONAL),
    JC_INTEGER(actionBackupTraditional, abtFileInactivityThreshold, OPTIONAL),
    JC_BOOLEAN(actionBackupTraditional, abtRevertToFullWhenSyntheticFullFails, OPTIONAL),
    JC_ENUM(actionBackupTraditional, abtTimestampFormat, OPTIONAL, timestamp_format),
    JC_BOOLEAN(actionBackupTraditional, abtVerifySyntheticFull, OPTIONAL),
};

constexpr FieldDesc actionBackupSnapshot_fields[] = {
    JC_ENUM(actionBackupSnapshot, abBackupSubtype, REQUIRED, snapshot_subtype),
    JC_STRING(actionBackupSnapshot, absDestinationPool, REQUIRED),
    JC_STRING(actionBackupSnapshot, absMinimumRetentionPeriod, REQUIRED),
    JC_STRING(actionBackupSnapshot, abForceBackupLevel, OPTIONAL),
};

constexpr FieldDesc actionBackupArchive_fields[] = {
    JC_ENUM(actionBackupArchive, abBackupSubtype, REQUIRED, archive_subtype),
    JC_STRING(actionBackupArchive, abaDestinationPool, REQUIRED),
    JC_BOOLEAN(actionBackupArchive, abaDeleteSource, OPTIONAL),
};

// The destination pool is optional here, unlike in the other subtypes.
constexpr FieldDesc actionBackupVmware_fields[] = {
    JC_ENUM(actionBackupVmware, abBackupSubtype, REQUIRED, vmware_subtype),
    JC_STRING(actionBackupVmware, abvDestinationPool, OPTIONAL),
    JC_BOOLEAN(actionBackupVmware, abvUseWexInternalStorage, OPTIONAL),
    JC_STRING(actionBackupVmware, abvWexName, OPTIONAL),
    JC_ENUM(actionBackupVmware, abvWexSaveType, OPTIONAL, wex_save_type),
};

}  // namespace

extern constexpr TypeDesc actionBackupTraditional_desc =
    JC_TYPE(actionBackupTraditional, actionBackupTraditional_fields);
extern constexpr TypeDesc actionBackupSnapshot_desc = JC_TYPE(actionBackupSnapshot, actionBackupSnapshot_fields);
extern constexpr TypeDesc actionBackupArchive_desc = JC_TYPE(actionBackupArchive, actionBackupArchive_fields);
extern constexpr TypeDesc actionBackupVmware_desc = JC_TYPE(actionBackupVmware, actionBackupVmware_fields);

JC_DEFINE_ROUTINES(actionBackupTraditional, actionBackupTraditional_desc)
JC_DEFINE_ROUTINES(actionBackupSnapshot, actionBackupSnapshot_desc)
JC_DEFINE_ROUTINES(actionBackupArchive, actionBackupArchive_desc)
JC_DEFINE_CODEC_ROUTINES(actionBackupVmware, actionBackupVmware_desc)

}  // namespace jsoncodec

JSONCODEC_DESTROY_EXPORT(actionBackupVmware, jsoncodec::actionBackupVmware_desc)
