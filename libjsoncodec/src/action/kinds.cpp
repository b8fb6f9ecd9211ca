// The fourteen action kinds besides backup. Each starts with actionType,
// whose single allowed text is the kind's own, so a try of the wrong kind
// fails before it counts anything.
#include "action_schema.h"

namespace jsoncodec {

namespace {

JC_ENUM_VALUES(probe_kind, "probe");
JC_ENUM_VALUES(execute_kind, "execute");
JC_ENUM_VALUES(clone_kind, "clone");
JC_ENUM_VALUES(discover_kind, "discover");
JC_ENUM_VALUES(check_connectivity_kind, "check connectivity");
JC_ENUM_VALUES(generate_index_kind, "generate index");
JC_ENUM_VALUES(backup_index_kind, "backup index");
JC_ENUM_VALUES(expire_kind, "expire");
JC_ENUM_VALUES(server_backup_kind, "server backup");
JC_ENUM_VALUES(autostage_kind, "autostage");
JC_ENUM_VALUES(recover_space_kind, "recover space");
JC_ENUM_VALUES(exercise_kind, "exercise");
JC_ENUM_VALUES(wex_checkpoint_discover_kind, "WEX checkpoint discover");
JC_ENUM_VALUES(wex_checkpoint_backup_kind, "WEX checkpoint backup");

JC_ENUM_VALUES(nas_snapshot, "NAS snapshot");
JC_ENUM_VALUES(saveset_selection, "oldest saveset", "largest saveset", "smallest saveset", "youngest saveset");
JC_ENUM_VALUES(exercise_function, "generate", "passthru");

constexpr FieldDesc actionProbe_fields[] = {
    JC_ENUM(actionProbe, actionType, REQUIRED, probe_kind),
    JC_BOOLEAN(actionProbe, apAllProbesMustSucceed, OPTIONAL),
};

constexpr FieldDesc actionExecute_fields[] = {
    JC_ENUM(actionExecute, actionType, REQUIRED, execute_kind),
    JC_STRING(actionExecute, aePlaceholder, OPTIONAL),
};

// The retention-lock time stands before the destination settings, its
// switch among them.
constexpr FieldDesc actionClone_fields[] = {
    JC_ENUM(actionClone, actionType, REQUIRED, clone_kind),
    JC_STRING(actionClone, acBrowsePeriod, OPTIONAL),
    JC_STRING(actionClone, acStrataRetentionLockTime, OPTIONAL),
    JC_BOOLEAN(actionClone, acDeleteSource, OPTIONAL),
    JC_STRING(actionClone, acDestinationPool, OPTIONAL),
    JC_STRING(actionClone, acDestinationStorageNode, OPTIONAL),
    JC_BOOLEAN(actionClone, acEnableStrataRetentionLock, OPTIONAL),
    JC_STRING(actionClone, acRetentionPeriod, OPTIONAL),
    JC_STRING(actionClone, acSourceStorageNode, OPTIONAL),
};

constexpr FieldDesc actionDiscover_fields[] = {
    JC_ENUM(actionDiscover, actionType, REQUIRED, discover_kind),
    JC_ENUM(actionDiscover, adDiscoverType, REQUIRED, nas_snapshot),
};

constexpr FieldDesc actionCheckConnectivity_fields[] = {
    JC_ENUM(actionCheckConnectivity, actionType, REQUIRED, check_connectivity_kind),
    JC_BOOLEAN(actionCheckConnectivity, acAllClientsMustSucceed, OPTIONAL),
};

constexpr FieldDesc actionGenerateIndex_fields[] = {
    JC_ENUM(actionGenerateIndex, actionType, REQUIRED, generate_index_kind),
    JC_ENUM(actionGenerateIndex, agGenerateIndexType, REQUIRED, nas_snapshot),
};

constexpr FieldDesc actionBackupIndex_fields[] = {
    JC_ENUM(actionBackupIndex, actionType, REQUIRED, backup_index_kind),
    JC_STRING(actionBackupIndex, abiPlaceholder, OPTIONAL),
};

// Expire's setting has the same JSON name as execute's.
constexpr FieldDesc actionExpire_fields[] = {
    JC_ENUM(actionExpire, actionType, REQUIRED, expire_kind),
    JC_STRING(actionExpire, aePlaceholder, OPTIONAL),
};

constexpr FieldDesc actionServerBackup_fields[] = {
    JC_ENUM(actionServerBackup, actionType, REQUIRED, server_backup_kind),
    JC_STRING(actionServerBackup, asbStrataRetentionLockTime, OPTIONAL),
    JC_STRING(actionServerBackup, asbDestinationPool, OPTIONAL),
    JC_STRING(actionServerBackup, asbDestinationStorageNode, OPTIONAL),
    JC_BOOLEAN(actionServerBackup, asbEnableStrataRetentionLock, OPTIONAL),
    JC_BOOLEAN(actionServerBackup, asbPerformBootstrap, OPTIONAL),
    JC_BOOLEAN(actionServerBackup, asbPerformCFI, OPTIONAL),
    JC_STRING(actionServerBackup, asbRetentionPeriod, OPTIONAL),
};

constexpr FieldDesc actionAutoStage_fields[] = {
    JC_ENUM(actionAutoStage, actionType, REQUIRED, autostage_kind),
    JC_STRING_ARRAY(actionAutoStage, aasDevices, OPTIONAL),
    JC_INTEGER(actionAutoStage, aasHighWaterMark, OPTIONAL),
    JC_INTEGER(actionAutoStage, aasLowWaterMark, OPTIONAL),
    JC_STRING(actionAutoStage, aasMaxStoragePeriod, OPTIONAL),
    JC_ENUM(actionAutoStage, aasSavesetSelection, OPTIONAL, saveset_selection),
};

constexpr FieldDesc actionRecoverSpace_fields[] = {
    JC_ENUM(actionRecoverSpace, actionType, REQUIRED, recover_space_kind),
    JC_STRING_ARRAY(actionRecoverSpace, arsDevices, OPTIONAL),
};

constexpr FieldDesc actionExercise_fields[] = {
    JC_ENUM(actionExercise, actionType, REQUIRED, exercise_kind),
    JC_ENUM(actionExercise, exerciseFunction, REQUIRED, exercise_function),
    JC_INTEGER(actionExercise, exerciseCount, OPTIONAL),
    JC_INTEGER_ARRAY(actionExercise, exerciseDelay, OPTIONAL),
    JC_INTEGER(actionExercise, exerciseDuration, OPTIONAL),
    JC_INTEGER(actionExercise, exerciseFailureRate, OPTIONAL),
    JC_INTEGER_ARRAY(actionExercise, exerciseOwiPerIwi, OPTIONAL),
};

constexpr FieldDesc actionWEXCheckpointDiscover_fields[] = {
    JC_ENUM(actionWEXCheckpointDiscover, actionType, REQUIRED, wex_checkpoint_discover_kind),
};

constexpr FieldDesc actionWEXCheckpointBackup_fields[] = {
    JC_ENUM(actionWEXCheckpointBackup, actionType, REQUIRED, wex_checkpoint_backup_kind),
    JC_STRING(actionWEXCheckpointBackup, wexCheckPointBackupDestinationPool, REQUIRED),
    JC_STRING(actionWEXCheckpointBackup, wexCheckPointBackupRetentionPeriod, OPTIONAL),
};

}  // namespace

extern constexpr TypeDesc actionProbe_desc = JC_TYPE(actionProbe, actionProbe_fields);
extern constexpr TypeDesc actionExecute_desc = JC_TYPE(actionExecute, actionExecute_fields);
extern constexpr TypeDesc actionClone_desc = JC_TYPE(actionClone, actionClone_fields);
extern constexpr TypeDesc actionDiscover_desc = JC_TYPE(actionDiscover, actionDiscover_fields);
extern constexpr TypeDesc actionCheckConnectivity_desc =
    JC_TYPE(actionCheckConnectivity, actionCheckConnectivity_fields);
extern constexpr TypeDesc actionGenerateIndex_desc = JC_TYPE(actionGenerateIndex, actionGenerateIndex_fields);
extern constexpr TypeDesc actionBackupIndex_desc = JC_TYPE(actionBackupIndex, actionBackupIndex_fields);
extern constexpr TypeDesc actionExpire_desc = JC_TYPE(actionExpire, actionExpire_fields);
extern constexpr TypeDesc actionServerBackup_desc = JC_TYPE(actionServerBackup, actionServerBackup_fields);
extern constexpr TypeDesc actionAutoStage_desc = JC_TYPE(actionAutoStage, actionAutoStage_fields);
extern constexpr TypeDesc actionRecoverSpace_desc = JC_TYPE(actionRecoverSpace, actionRecoverSpace_fields);
extern constexpr TypeDesc actionExercise_desc = JC_TYPE(actionExercise, actionExercise_fields);
extern constexpr TypeDesc actionWEXCheckpointDiscover_desc =
    JC_TYPE(actionWEXCheckpointDiscover, actionWEXCheckpointDiscover_fields);
extern constexpr TypeDesc actionWEXCheckpointBackup_desc =
    JC_TYPE(actionWEXCheckpointBackup, actionWEXCheckpointBackup_fields);

JC_DEFINE_ROUTINES(actionProbe, actionProbe_desc)
JC_DEFINE_ROUTINES(actionExecute, actionExecute_desc)
JC_DEFINE_ROUTINES(actionClone, actionClone_desc)
JC_DEFINE_ROUTINES(actionDiscover, actionDiscover_desc)
JC_DEFINE_ROUTINES(actionCheckConnectivity, actionCheckConnectivity_desc)
JC_DEFINE_ROUTINES(actionGenerateIndex, actionGenerateIndex_desc)
JC_DEFINE_ROUTINES(actionBackupIndex, actionBackupIndex_desc)
JC_DEFINE_ROUTINES(actionExpire, actionExpire_desc)
JC_DEFINE_ROUTINES(actionServerBackup, actionServerBackup_desc)
JC_DEFINE_ROUTINES(actionAutoStage, actionAutoStage_desc)
JC_DEFINE_ROUTINES(actionRecoverSpace, actionRecoverSpace_desc)
JC_DEFINE_ROUTINES(actionExercise, actionExercise_desc)
JC_DEFINE_ROUTINES(actionWEXCheckpointDiscover, actionWEXCheckpointDiscover_desc)
JC_DEFINE_ROUTINES(actionWEXCheckpointBackup, actionWEXCheckpointBackup_desc)

}  // namespace jsoncodec
