// The action record: the action-kind union, the work-item filter and the
// action itself, with the action exports.
#include "action_schema.h"
#include "backup_schema.h"
#include "exports.h"
#include "notification_schema.h"

namespace jsoncodec {

namespace {

#define JC_ACTION_KIND(A) JC_UNION_MEMBER(actionsWrapper, actions, A, A##_desc)

// Trial order, fixed; a member's tag is its position plus one, and callers
// building records rely on the numbers.
JC_UNION_MEMBERS(action_kinds, JC_ACTION_KIND(actionBackup), JC_ACTION_KIND(actionProbe), JC_ACTION_KIND(actionExecute),
                 JC_ACTION_KIND(actionClone), JC_ACTION_KIND(actionDiscover), JC_ACTION_KIND(actionCheckConnectivity),
                 JC_ACTION_KIND(actionGenerateIndex), JC_ACTION_KIND(actionBackupIndex), JC_ACTION_KIND(actionExpire),
                 JC_ACTION_KIND(actionServerBackup), JC_ACTION_KIND(actionAutoStage),
                 JC_ACTION_KIND(actionRecoverSpace), JC_ACTION_KIND(actionExercise),
                 JC_ACTION_KIND(actionWEXCheckpointDiscover), JC_ACTION_KIND(actionWEXCheckpointBackup));

#undef JC_ACTION_KIND

constexpr FieldDesc actionsWrapper_fields[] = {
    JC_UNION(actionsWrapper, actions, action_kinds),
};

constexpr FieldDesc actionsWorkItemFilterWrapper_fields[] = {
    JC_STRING_ARRAY(actionsWorkItemFilterWrapper, actionWorkItemFilterClient, OPTIONAL),
    JC_BOOLEAN(actionsWorkItemFilterWrapper, actionWorkItemFilterClientExclude, OPTIONAL),
    JC_STRING_ARRAY(actionsWorkItemFilterWrapper, actionWorkItemFilterLevel, OPTIONAL),
    JC_BOOLEAN(actionsWorkItemFilterWrapper, actionWorkItemFilterLevelExclude, OPTIONAL),
    JC_STRING_ARRAY(actionsWorkItemFilterWrapper, actionWorkItemFilterSavesetType, OPTIONAL),
    JC_BOOLEAN(actionsWorkItemFilterWrapper, actionWorkItemFilterSavesetTypeExclude, OPTIONAL),
    JC_STRING(actionsWorkItemFilterWrapper, actionWorkItemFilterTimeRangeEnd, OPTIONAL),
    JC_BOOLEAN(actionsWorkItemFilterWrapper, actionWorkItemFilterTimeRangeExclude, OPTIONAL),
    JC_STRING(actionsWorkItemFilterWrapper, actionWorkItemFilterTimeRangeStart, OPTIONAL),
};

}  // namespace

extern constexpr TypeDesc actionsWrapper_desc = JC_TYPE(actionsWrapper, actionsWrapper_fields);
extern constexpr TypeDesc actionsWorkItemFilterWrapper_desc =
    JC_TYPE(actionsWorkItemFilterWrapper, actionsWorkItemFilterWrapper_fields);

namespace {

JC_ENUM_VALUES(failure_impact, "continue", "abort action", "abort workflow");

constexpr FieldDesc action_fields[] = {
    JC_STRING(action, actionName, REQUIRED),
    JC_RECORD(action, actionSpecific, REQUIRED, actionsWrapper, actionsWrapper_desc),
    JC_ENUM(action, actionSchedulePeriod, REQUIRED, schedule_period),
    JC_STRING_ARRAY(action, actionScheduleActivity, REQUIRED),
    JC_STRING(action, actionComment, OPTIONAL),
    JC_RECORD_POINTER(action, actionCompletionNotification, OPTIONAL, policyNotification, policyNotification_desc),
    JC_BOOLEAN(action, actionConcurrent, OPTIONAL),
    JC_STRING_ARRAY(action, actionCustomTags, OPTIONAL),
    JC_STRING(action, actionDrivenBy, OPTIONAL),
    JC_BOOLEAN(action, actionEnabled, OPTIONAL),
    JC_ENUM(action, actionFailureImpact, OPTIONAL, failure_impact),
    JC_STRING(action, actionHardLimit, OPTIONAL),
    JC_INTEGER(action, actionInactivityTimeout, OPTIONAL),
    JC_STRING(action, actionNewName, OPTIONAL),
    JC_INTEGER(action, actionParallelism, OPTIONAL),
    JC_INTEGER(action, actionRetries, OPTIONAL),
    JC_INTEGER(action, actionRetryDelay, OPTIONAL),
    JC_STRING(action, actionScheduleComment, OPTIONAL),
    JC_STRING_ARRAY(action, actionScheduleOverride, OPTIONAL),
    JC_STRING(action, actionSoftLimit, OPTIONAL),
    JC_STRING(action, actionStarttime, OPTIONAL),
    JC_RECORD(action, actionWorkItemFilter, OPTIONAL, actionsWorkItemFilterWrapper, actionsWorkItemFilterWrapper_desc),
};

}  // namespace

extern constexpr TypeDesc action_desc = JC_LIST_ELEMENT_TYPE(action, action_fields);

JC_DEFINE_ROUTINES(actionsWrapper, actionsWrapper_desc)
JC_DEFINE_ROUTINES(actionsWorkItemFilterWrapper, actionsWorkItemFilterWrapper_desc)
JC_DEFINE_ROUTINES(action, action_desc)

}  // namespace jsoncodec

JSONCODEC_ROOT_EXPORTS(action, jsoncodec::action_desc)
