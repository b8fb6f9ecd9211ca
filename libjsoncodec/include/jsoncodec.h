/*
 * jsoncodec.h - convert data-protection server configuration documents
 * between JSON text and trees of plain C records.
 *
 * Every conversion validates as it goes and reports the first fault as a
 * status code plus, when the caller supplies a buffer, one diagnostic line
 * naming the place of the fault, for example
 *
 *   <rule>.ruleItem_Definitions[1].item_definitionType: JSON decode error.
 *   Expected a string as specified in schema.
 *
 * Ownership, in short:
 *   - a tree returned by rmqc_json_to_<T> belongs to the caller and is
 *     released with rmqc_free_<T> (or, where it exists, rmqc_destroy_<T>
 *     followed by the caller's own free() of the top record);
 *   - JSON text returned by rmqc_json_from_<T> belongs to the caller and is
 *     released with free() (it comes from jansson's allocator, which is
 *     malloc unless the program set its own with json_set_alloc_funcs);
 *   - the library keeps no pointer to anything the caller passes in.
 *
 * Record layout conventions, shared by every record type:
 *   - list element types start with `next`, the link to the following
 *     element (NULL ends the list); release routines never follow it;
 *   - required properties come first, then optional ones; each optional
 *     property P has a `uint8_t P_present` flag (1 = present) after the
 *     value fields, and each array property P a `uint64_t P_array_sz`
 *     element count after the flags;
 *   - the flags and counts are the ownership map: a record built by hand
 *     must set them for what it fills, or the release routine will not
 *     free (and the encoder will not write) that property;
 *   - a union property U is `union { ... } U` holding one member record,
 *     named by the tag `uint8_t U_type` (0 = none; see the RMQC_ACTION_*
 *     and RMQC_BACKUP_SUBTYPE_* numbers); only that member is encoded and
 *     released.
 *
 * All functions are reentrant; different trees may be converted from
 * several threads at once.
 */
#ifndef JSONCODEC_H
#define JSONCODEC_H

#include <stdint.h>

#if defined(_WIN32)
#define RMQC_API __declspec(dllexport)
#elif defined(__GNUC__)
#define RMQC_API __attribute__((visibility("default")))
#else
#define RMQC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes returned by every conversion. */
#define RMQC_OK 0             /* success */
#define RMQC_ERR_BAD_ARGS 201 /* a NULL output parameter */
#define RMQC_ERR_DECODE 202   /* text does not parse, or violates the schema */
#define RMQC_ERR_ENCODE 203   /* a record cannot be turned into JSON */
#define RMQC_ERR_NOMEM 204    /* an allocation failed while decoding */
#define RMQC_ERR_OTHER 210    /* depth limit, JSON library failure */

/* One condition of a selection rule. Every property is optional, so the
 * empty object {} is a valid item_definition. */
typedef struct item_definition {
    struct item_definition *next; /* following item of the rule, or NULL */
    char *item_definitionOperator;
    char *item_definitionProperty;
    char *item_definitionType;
    char *item_definitionValue;
    uint8_t item_definitionOperator_present;
    uint8_t item_definitionProperty_present;
    uint8_t item_definitionType_present;
    uint8_t item_definitionValue_present;
} item_definition;

/* A named selection rule with its list of conditions. */
typedef struct rule {
    char *ruleName; /* required */
    char *ruleComment;
    char *ruleDataSourceType;
    struct item_definition *ruleItem_Definitions; /* list head */
    char *ruleMatchType;
    uint8_t ruleComment_present;
    uint8_t ruleDataSourceType_present;
    uint8_t ruleItem_Definitions_present;
    uint8_t ruleMatchType_present;
} rule;

/* ------------------------------------------------------------------------
 * Backup subtypes: the five members of actionBackupSubtypeWrapper. Each is
 * told apart by its required abBackupSubtype, whose only allowed text is
 * the subtype's own ("traditional", "snapshot", "archive", "vmware",
 * "vmware-kestrel").
 */

/* SQL Server settings at application tier 2 of a proxy backup. */
typedef struct kestrelSQLTier2Properties {
    char *abKestrelSQLClientOverridesBehavior; /* "clientCanNotOverride", "clientCanOverride",
                                                  "legacyBackupRules" */
    int32_t abKestrelSQLDetectAAGFCI;
    char *abKestrelSQLExcludeRuleId;
    char **abKestrelSQLactionScheduleActivity;
    char *abKestrelSQLactionSchedulePeriod; /* "week", "month", "reference" */
    int32_t abKestrelSqlPromoteToFull;
    uint8_t abKestrelSQLClientOverridesBehavior_present;
    uint8_t abKestrelSQLDetectAAGFCI_present;
    uint8_t abKestrelSQLExcludeRuleId_present;
    uint8_t abKestrelSQLactionScheduleActivity_present;
    uint8_t abKestrelSQLactionSchedulePeriod_present;
    uint8_t abKestrelSqlPromoteToFull_present;
    uint64_t abKestrelSQLactionScheduleActivity_array_sz;
} kestrelSQLTier2Properties;

/* A conventional file-system backup (tag 1). */
typedef struct actionBackupTraditional {
    char *abBackupSubtype;    /* required: "traditional" */
    char *abtDestinationPool; /* required */
    char *abForceBackupLevel;
    char *abtBrowsePeriod;
    char *abtStrataRetentionLockTime;
    int32_t abtEnableStrataRetentionLock;
    int32_t abtEstimate;
    int64_t abtFileInactivityAlertThreshold;
    int64_t abtFileInactivityThreshold;
    int32_t abtRevertToFullWhenSyntheticFullFails;
    char *abtTimestampFormat; /* "none", "iso", "unix" */
    int32_t abtVerifySyntheticFull;
    uint8_t abForceBackupLevel_present;
    uint8_t abtBrowsePeriod_present;
    uint8_t abtStrataRetentionLockTime_present;
    uint8_t abtEnableStrataRetentionLock_present;
    uint8_t abtEstimate_present;
    uint8_t abtFileInactivityAlertThreshold_present;
    uint8_t abtFileInactivityThreshold_present;
    uint8_t abtRevertToFullWhenSyntheticFullFails_present;
    uint8_t abtTimestampFormat_present;
    uint8_t abtVerifySyntheticFull_present;
} actionBackupTraditional;

/* A snapshot backup (tag 2). */
typedef struct actionBackupSnapshot {
    char *abBackupSubtype;           /* required: "snapshot" */
    char *absDestinationPool;        /* required */
    char *absMinimumRetentionPeriod; /* required */
    char *abForceBackupLevel;
    uint8_t abForceBackupLevel_present;
} actionBackupSnapshot;

/* An archive backup (tag 3). */
typedef struct actionBackupArchive {
    char *abBackupSubtype;    /* required: "archive" */
    char *abaDestinationPool; /* required */
    int32_t abaDeleteSource;
    uint8_t abaDeleteSource_present;
} actionBackupArchive;

/* A VMware backup (tag 4); every setting is optional. */
typedef struct actionBackupVmware {
    char *abBackupSubtype; /* required: "vmware" */
    char *abvDestinationPool;
    int32_t abvUseWexInternalStorage;
    char *abvWexName;
    char *abvWexSaveType; /* "VMDK", "VirtualMachine" */
    uint8_t abvDestinationPool_present;
    uint8_t abvUseWexInternalStorage_present;
    uint8_t abvWexName_present;
    uint8_t abvWexSaveType_present;
} actionBackupVmware;

/* A VMware backup through a proxy appliance (tag 5), with optional
 * application-consistent SQL Server protection. */
typedef struct actionBackupKestrel {
    char *abBackupSubtype; /* required: "vmware-kestrel" */
    char *abKestrelDestinationPool;
    int32_t abKestrelFailBackupsOnQuiesceError;
    char *abKestrelForceBackupLevel;
    char *abKestrelName;
    int32_t abKestrelQuiesceApp;
    int64_t abKestrelQuiesceTimeout;
    char *abKestrelRunTlogOption; /* "abKestrelRunTlogInterval", "abKestrelRunTlogEndOfBackup" */
    struct kestrelSQLTier2Properties *abKestrelSQLTier2Props; /* owned */
    char *abKestrelSysAdminPassword;
    char *abKestrelSysAdminUserName;
    char *abKestrelTierAppAdminPassword;
    char *abKestrelTierAppAdminUserName;
    char *abKestrelTierAppOption; /* "abKestrelAppTierNone", "abKestrelAppTier2", "abKestrelAppTier3" */
    int32_t abKestrelTransactionLogBackup;
    int32_t abKestrelUseAppProtection;
    int32_t abKestrelVmAppConsistentBackup;
    char *abKestrelZStrataRetentionLockTime;
    int32_t abKestrelZEnableStrataRetentionLock;
    uint8_t abKestrelDestinationPool_present;
    uint8_t abKestrelFailBackupsOnQuiesceError_present;
    uint8_t abKestrelForceBackupLevel_present;
    uint8_t abKestrelName_present;
    uint8_t abKestrelQuiesceApp_present;
    uint8_t abKestrelQuiesceTimeout_present;
    uint8_t abKestrelRunTlogOption_present;
    uint8_t abKestrelSQLTier2Props_present;
    uint8_t abKestrelSysAdminPassword_present;
    uint8_t abKestrelSysAdminUserName_present;
    uint8_t abKestrelTierAppAdminPassword_present;
    uint8_t abKestrelTierAppAdminUserName_present;
    uint8_t abKestrelTierAppOption_present;
    uint8_t abKestrelTransactionLogBackup_present;
    uint8_t abKestrelUseAppProtection_present;
    uint8_t abKestrelVmAppConsistentBackup_present;
    uint8_t abKestrelZStrataRetentionLockTime_present;
    uint8_t abKestrelZEnableStrataRetentionLock_present;
} actionBackupKestrel;

/* Tags of actionBackupSubtypeWrapper.backupSubtypes_type (0 = none). */
#define RMQC_BACKUP_SUBTYPE_TRADITIONAL 1
#define RMQC_BACKUP_SUBTYPE_SNAPSHOT 2
#define RMQC_BACKUP_SUBTYPE_ARCHIVE 3
#define RMQC_BACKUP_SUBTYPE_VMWARE 4
#define RMQC_BACKUP_SUBTYPE_KESTREL 5

/* Exactly one backup subtype, named by the tag. In JSON the member's
 * object is the value of "backupSubtypes"; it carries no tag, the decoder
 * finds the member by trying them in tag order. */
typedef struct actionBackupSubtypeWrapper {
    union {
        struct actionBackupTraditional actionBackupTraditional;
        struct actionBackupSnapshot actionBackupSnapshot;
        struct actionBackupArchive actionBackupArchive;
        struct actionBackupVmware actionBackupVmware;
        struct actionBackupKestrel actionBackupKestrel;
    } backupSubtypes;
    uint8_t backupSubtypes_type;
} actionBackupSubtypeWrapper;

/* ------------------------------------------------------------------------
 * Action kinds: the fifteen members of actionsWrapper. Each starts with
 * the required actionType, whose only allowed text is the kind's own.
 */

/* The backup action (tag 1, "backup"). */
typedef struct actionBackup {
    char *actionType;
    struct actionBackupSubtypeWrapper actionBackupSubtypeSpecific; /* required */
    char **abDestinationStorageNode;                               /* required */
    char *abRetentionPeriod;                                       /* required */
    int32_t abOverrideRetentionPeriod;                             /* required */
    int32_t abOverrideBackupSchedule;                              /* required */
    char *abClientOverridesBehavior; /* required: "clientCanNotOverride", "clientCanOverride",
                                        "legacyBackupRules" */
    char *abSuccessThreshold;        /* "warning", "success" */
    uint8_t abSuccessThreshold_present;
    uint64_t abDestinationStorageNode_array_sz;
} actionBackup;

/* "probe" (tag 2) */
typedef struct actionProbe {
    char *actionType;
    int32_t apAllProbesMustSucceed;
    uint8_t apAllProbesMustSucceed_present;
} actionProbe;

/* "execute" (tag 3) */
typedef struct actionExecute {
    char *actionType;
    char *aePlaceholder;
    uint8_t aePlaceholder_present;
} actionExecute;

/* "clone" (tag 4) */
typedef struct actionClone {
    char *actionType;
    char *acBrowsePeriod;
    char *acStrataRetentionLockTime;
    int32_t acDeleteSource;
    char *acDestinationPool;
    char *acDestinationStorageNode;
    int32_t acEnableStrataRetentionLock;
    char *acRetentionPeriod;
    char *acSourceStorageNode;
    uint8_t acBrowsePeriod_present;
    uint8_t acStrataRetentionLockTime_present;
    uint8_t acDeleteSource_present;
    uint8_t acDestinationPool_present;
    uint8_t acDestinationStorageNode_present;
    uint8_t acEnableStrataRetentionLock_present;
    uint8_t acRetentionPeriod_present;
    uint8_t acSourceStorageNode_present;
} actionClone;

/* "discover" (tag 5) */
typedef struct actionDiscover {
    char *actionType;
    char *adDiscoverType; /* required: "NAS snapshot" */
} actionDiscover;

/* "check connectivity" (tag 6) */
typedef struct actionCheckConnectivity {
    char *actionType;
    int32_t acAllClientsMustSucceed;
    uint8_t acAllClientsMustSucceed_present;
} actionCheckConnectivity;

/* "generate index" (tag 7) */
typedef struct actionGenerateIndex {
    char *actionType;
    char *agGenerateIndexType; /* required: "NAS snapshot" */
} actionGenerateIndex;

/* "backup index" (tag 8) */
typedef struct actionBackupIndex {
    char *actionType;
    char *abiPlaceholder;
    uint8_t abiPlaceholder_present;
} actionBackupIndex;

/* "expire" (tag 9); its setting shares the JSON name of execute's. */
typedef struct actionExpire {
    char *actionType;
    char *aePlaceholder;
    uint8_t aePlaceholder_present;
} actionExpire;

/* "server backup" (tag 10) */
typedef struct actionServerBackup {
    char *actionType;
    char *asbStrataRetentionLockTime;
    char *asbDestinationPool;
    char *asbDestinationStorageNode;
    int32_t asbEnableStrataRetentionLock;
    int32_t asbPerformBootstrap;
    int32_t asbPerformCFI;
    char *asbRetentionPeriod;
    uint8_t asbStrataRetentionLockTime_present;
    uint8_t asbDestinationPool_present;
    uint8_t asbDestinationStorageNode_present;
    uint8_t asbEnableStrataRetentionLock_present;
    uint8_t asbPerformBootstrap_present;
    uint8_t asbPerformCFI_present;
    uint8_t asbRetentionPeriod_present;
} actionServerBackup;

/* "autostage" (tag 11) */
typedef struct actionAutoStage {
    char *actionType;
    char **aasDevices;
    int64_t aasHighWaterMark;
    int64_t aasLowWaterMark;
    char *aasMaxStoragePeriod;
    char *aasSavesetSelection; /* "oldest saveset", "largest saveset", "smallest saveset",
                                  "youngest saveset" */
    uint8_t aasDevices_present;
    uint8_t aasHighWaterMark_present;
    uint8_t aasLowWaterMark_present;
    uint8_t aasMaxStoragePeriod_present;
    uint8_t aasSavesetSelection_present;
    uint64_t aasDevices_array_sz;
} actionAutoStage;

/* "recover space" (tag 12) */
typedef struct actionRecoverSpace {
    char *actionType;
    char **arsDevices;
    uint8_t arsDevices_present;
    uint64_t arsDevices_array_sz;
} actionRecoverSpace;

/* "exercise" (tag 13): a synthetic test load. */
typedef struct actionExercise {
    char *actionType;
    char *exerciseFunction; /* required: "generate", "passthru" */
    int64_t exerciseCount;
    int64_t *exerciseDelay;
    int64_t exerciseDuration;
    int64_t exerciseFailureRate;
    int64_t *exerciseOwiPerIwi;
    uint8_t exerciseCount_present;
    uint8_t exerciseDelay_present;
    uint8_t exerciseDuration_present;
    uint8_t exerciseFailureRate_present;
    uint8_t exerciseOwiPerIwi_present;
    uint64_t exerciseDelay_array_sz;
    uint64_t exerciseOwiPerIwi_array_sz;
} actionExercise;

/* "WEX checkpoint discover" (tag 14) */
typedef struct actionWEXCheckpointDiscover {
    char *actionType;
} actionWEXCheckpointDiscover;

/* "WEX checkpoint backup" (tag 15) */
typedef struct actionWEXCheckpointBackup {
    char *actionType;
    char *wexCheckPointBackupDestinationPool; /* required */
    char *wexCheckPointBackupRetentionPeriod;
    uint8_t wexCheckPointBackupRetentionPeriod_present;
} actionWEXCheckpointBackup;

/* Tags of actionsWrapper.actions_type (0 = none). */
#define RMQC_ACTION_BACKUP 1
#define RMQC_ACTION_PROBE 2
#define RMQC_ACTION_EXECUTE 3
#define RMQC_ACTION_CLONE 4
#define RMQC_ACTION_DISCOVER 5
#define RMQC_ACTION_CHECK_CONNECTIVITY 6
#define RMQC_ACTION_GENERATE_INDEX 7
#define RMQC_ACTION_BACKUP_INDEX 8
#define RMQC_ACTION_EXPIRE 9
#define RMQC_ACTION_SERVER_BACKUP 10
#define RMQC_ACTION_AUTOSTAGE 11
#define RMQC_ACTION_RECOVER_SPACE 12
#define RMQC_ACTION_EXERCISE 13
#define RMQC_ACTION_WEX_CHECKPOINT_DISCOVER 14
#define RMQC_ACTION_WEX_CHECKPOINT_BACKUP 15

/* Exactly one action kind, named by the tag. In JSON the member's object
 * is the value of "actions"; the decoder finds the member by its
 * actionType, trying the kinds in tag order. */
typedef struct actionsWrapper {
    union {
        struct actionBackup actionBackup;
        struct actionProbe actionProbe;
        struct actionExecute actionExecute;
        struct actionClone actionClone;
        struct actionDiscover actionDiscover;
        struct actionCheckConnectivity actionCheckConnectivity;
        struct actionGenerateIndex actionGenerateIndex;
        struct actionBackupIndex actionBackupIndex;
        struct actionExpire actionExpire;
        struct actionServerBackup actionServerBackup;
        struct actionAutoStage actionAutoStage;
        struct actionRecoverSpace actionRecoverSpace;
        struct actionExercise actionExercise;
        struct actionWEXCheckpointDiscover actionWEXCheckpointDiscover;
        struct actionWEXCheckpointBackup actionWEXCheckpointBackup;
    } actions;
    uint8_t actions_type;
} actionsWrapper;

/* Which work items an action processes; each criterion can be turned into
 * an exclusion by its *Exclude switch. Every property is optional. */
typedef struct actionsWorkItemFilterWrapper {
    char **actionWorkItemFilterClient;
    int32_t actionWorkItemFilterClientExclude;
    char **actionWorkItemFilterLevel;
    int32_t actionWorkItemFilterLevelExclude;
    char **actionWorkItemFilterSavesetType;
    int32_t actionWorkItemFilterSavesetTypeExclude;
    char *actionWorkItemFilterTimeRangeEnd;
    int32_t actionWorkItemFilterTimeRangeExclude;
    char *actionWorkItemFilterTimeRangeStart;
    uint8_t actionWorkItemFilterClient_present;
    uint8_t actionWorkItemFilterClientExclude_present;
    uint8_t actionWorkItemFilterLevel_present;
    uint8_t actionWorkItemFilterLevelExclude_present;
    uint8_t actionWorkItemFilterSavesetType_present;
    uint8_t actionWorkItemFilterSavesetTypeExclude_present;
    uint8_t actionWorkItemFilterTimeRangeEnd_present;
    uint8_t actionWorkItemFilterTimeRangeExclude_present;
    uint8_t actionWorkItemFilterTimeRangeStart_present;
    uint64_t actionWorkItemFilterClient_array_sz;
    uint64_t actionWorkItemFilterLevel_array_sz;
    uint64_t actionWorkItemFilterSavesetType_array_sz;
} actionsWorkItemFilterWrapper;

/* ------------------------------------------------------------------------
 * Actions, workflows and policies.
 */

/* When a notification fires, and what it does. Always held through an
 * owned pointer by its action, workflow or policy. */
typedef struct policyNotification {
    char *policyCompletionNotificationExecuteOn; /* required: "completion", "failure", "ignore" */
    char *policyCompletionNotificationAction;    /* required */
} policyNotification;

/* One step of a workflow. */
typedef struct action {
    struct action *next;                  /* following action of the workflow, or NULL */
    char *actionName;                     /* required */
    struct actionsWrapper actionSpecific; /* required */
    char *actionSchedulePeriod;           /* required: "week", "month", "reference" */
    char **actionScheduleActivity;        /* required */
    char *actionComment;
    struct policyNotification *actionCompletionNotification; /* owned */
    int32_t actionConcurrent;
    char **actionCustomTags;
    char *actionDrivenBy;
    int32_t actionEnabled;
    char *actionFailureImpact; /* "continue", "abort action", "abort workflow" */
    char *actionHardLimit;
    int64_t actionInactivityTimeout;
    char *actionNewName;
    int64_t actionParallelism;
    int64_t actionRetries;
    int64_t actionRetryDelay;
    char *actionScheduleComment;
    char **actionScheduleOverride;
    char *actionSoftLimit;
    char *actionStarttime;
    struct actionsWorkItemFilterWrapper actionWorkItemFilter;
    uint8_t actionComment_present;
    uint8_t actionCompletionNotification_present;
    uint8_t actionConcurrent_present;
    uint8_t actionCustomTags_present;
    uint8_t actionDrivenBy_present;
    uint8_t actionEnabled_present;
    uint8_t actionFailureImpact_present;
    uint8_t actionHardLimit_present;
    uint8_t actionInactivityTimeout_present;
    uint8_t actionNewName_present;
    uint8_t actionParallelism_present;
    uint8_t actionRetries_present;
    uint8_t actionRetryDelay_present;
    uint8_t actionScheduleComment_present;
    uint8_t actionScheduleOverride_present;
    uint8_t actionSoftLimit_present;
    uint8_t actionStarttime_present;
    uint8_t actionWorkItemFilter_present;
    uint64_t actionCustomTags_array_sz;
    uint64_t actionScheduleActivity_array_sz;
    uint64_t actionScheduleOverride_array_sz;
} action;

/* A named, schedulable sequence of actions. */
typedef struct workflow {
    struct workflow *next; /* following workflow of the policy, or NULL */
    char *workflowName;    /* required */
    char **synthesisRoot;
    struct action *workflowActions; /* list head */
    int32_t workflowAutostartEnabled;
    char *workflowComment;
    struct policyNotification *workflowCompletionNotification; /* owned */
    char *workflowDescription;
    int32_t workflowEnabled;
    char *workflowEndtime;
    char **workflowGroups;
    char *workflowInterval;
    char *workflowNewName;
    char *workflowNextstart;
    char *workflowRestartWindow;
    char *workflowStarttime;
    uint8_t synthesisRoot_present;
    uint8_t workflowActions_present;
    uint8_t workflowAutostartEnabled_present;
    uint8_t workflowComment_present;
    uint8_t workflowCompletionNotification_present;
    uint8_t workflowDescription_present;
    uint8_t workflowEnabled_present;
    uint8_t workflowEndtime_present;
    uint8_t workflowGroups_present;
    uint8_t workflowInterval_present;
    uint8_t workflowNewName_present;
    uint8_t workflowNextstart_present;
    uint8_t workflowRestartWindow_present;
    uint8_t workflowStarttime_present;
    uint64_t synthesisRoot_array_sz;
    uint64_t workflowGroups_array_sz;
} workflow;

/* The top of the configuration tree: a policy and its workflows. */
typedef struct data_protection_policy {
    char *policyName; /* required */
    int32_t policyAllowManualSaves;
    int32_t policyApplyEntireWorkflow;
    char *policyComment;
    int32_t policyProtectionEnable;
    char *policyProtectionPeriod;
    struct policyNotification *policySummaryNotification; /* owned */
    struct workflow *policyWorkflows;                     /* list head */
    uint8_t policyAllowManualSaves_present;
    uint8_t policyApplyEntireWorkflow_present;
    uint8_t policyComment_present;
    uint8_t policyProtectionEnable_present;
    uint8_t policyProtectionPeriod_present;
    uint8_t policySummaryNotification_present;
    uint8_t policyWorkflows_present;
} data_protection_policy;

/*
 * rmqc_json_to_<T>(out, json, errbuf, errlen)
 *   Parses the NUL-terminated text `json` and decodes a new tree into *out.
 *   On success *out owns the tree (release it with rmqc_free_<T>).
 *   On a schema fault *out is set to NULL; when the text does not parse
 *   (or repeats a key) *out is left as it was.
 *   errbuf/errlen: the caller's diagnostic buffer; errlen 0 (or errbuf
 *   NULL) means no text is wanted. The line is always NUL-terminated
 *   and cut to errlen - 1 characters; on success errbuf holds "".
 *
 * rmqc_json_from_<T>(src, out_json, errbuf, errlen, pretty)
 *   Encodes the tree at `src` (only read) into new JSON text stored in
 *   *out_json: indented by four blanks when `pretty` is nonzero, compact
 *   otherwise, properties in record order. Release the text with free()
 *   (or jansson's own release function, if the program replaced it).
 *   On an encoding fault *out_json is not written.
 *
 * rmqc_free_<T>(p)
 *   Releases everything the record owns, then frees the record itself.
 *   NULL does nothing.
 *
 * rmqc_destroy_<T>(p)
 *   Releases everything the record owns and zero-fills the record, which
 *   is not freed (use it for records the caller allocated or embedded).
 *   NULL does nothing.
 *
 * Lists are owned by the record that holds their head: rmqc_free_rule and
 * rmqc_destroy_rule release the rule's whole item list, the policy exports
 * release every workflow and every workflow's actions. The element exports
 * (rmqc_free_item_definition, rmqc_destroy_item_definition,
 * rmqc_free_workflow, rmqc_free_action) release one element with what it
 * owns and never follow its `next`.
 */
/* rule: decode, encode, free (with its item list), destroy in place. */
RMQC_API int32_t rmqc_json_to_rule(rule **out, const char *json, char *errbuf, uint64_t errlen);
RMQC_API int32_t rmqc_json_from_rule(const rule *src, char **out_json, char *errbuf, uint64_t errlen, int32_t pretty);
RMQC_API void rmqc_free_rule(rule *p);
RMQC_API void rmqc_destroy_rule(rule *p);

/* item_definition: decode, encode, free, destroy in place (one item, never its next). */
RMQC_API int32_t rmqc_json_to_item_definition(item_definition **out, const char *json, char *errbuf, uint64_t errlen);
RMQC_API int32_t rmqc_json_from_item_definition(const item_definition *src, char **out_json, char *errbuf,
                                                uint64_t errlen, int32_t pretty);
RMQC_API void rmqc_free_item_definition(item_definition *p);
RMQC_API void rmqc_destroy_item_definition(item_definition *p);

/* action: decode, encode, free (one action, never its next). */
RMQC_API int32_t rmqc_json_to_action(action **out, const char *json, char *errbuf, uint64_t errlen);
RMQC_API int32_t rmqc_json_from_action(const action *src, char **out_json, char *errbuf, uint64_t errlen,
                                       int32_t pretty);
RMQC_API void rmqc_free_action(action *p);

/* workflow: decode, encode, free (with its actions, never its next). */
RMQC_API int32_t rmqc_json_to_workflow(workflow **out, const char *json, char *errbuf, uint64_t errlen);
RMQC_API int32_t rmqc_json_from_workflow(const workflow *src, char **out_json, char *errbuf, uint64_t errlen,
                                         int32_t pretty);
RMQC_API void rmqc_free_workflow(workflow *p);

/* data_protection_policy: decode, encode, free and destroy in place (with
 * every workflow and action). */
RMQC_API int32_t rmqc_json_to_data_protection_policy(data_protection_policy **out, const char *json, char *errbuf,
                                                     uint64_t errlen);
RMQC_API int32_t rmqc_json_from_data_protection_policy(const data_protection_policy *src, char **out_json, char *errbuf,
                                                       uint64_t errlen, int32_t pretty);
RMQC_API void rmqc_free_data_protection_policy(data_protection_policy *p);
RMQC_API void rmqc_destroy_data_protection_policy(data_protection_policy *p);

/* The release routine of the VMware backup subtype, for a record the
 * caller built or embedded: releases what it owns (optional strings only
 * when flagged) and zero-fills it. NULL does nothing. */
RMQC_API void rmqc_destroy_actionBackupVmware(actionBackupVmware *p);

#ifdef __cplusplus
}
#endif

#endif /* JSONCODEC_H */
