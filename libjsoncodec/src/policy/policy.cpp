// Workflows and the data protection policy, with their exports. A policy
// owns its chain of workflows, each workflow its chain of actions.
#include "action_schema.h"
#include "exports.h"
#include "notification_schema.h"
#include "policy_schema.h"

namespace jsoncodec {

namespace {

constexpr FieldDesc workflow_fields[] = {
    JC_STRING(workflow, workflowName, REQUIRED),
    JC_STRING_ARRAY(workflow, synthesisRoot, OPTIONAL),
    JC_LIST(workflow, workflowActions, OPTIONAL, action, action_desc),
    JC_BOOLEAN(workflow, workflowAutostartEnabled, OPTIONAL),
    JC_STRING(workflow, workflowComment, OPTIONAL),
    JC_RECORD_POINTER(workflow, workflowCompletionNotification, OPTIONAL, policyNotification, policyNotification_desc),
    JC_STRING(workflow, workflowDescription, OPTIONAL),
    JC_BOOLEAN(workflow, workflowEnabled, OPTIONAL),
    JC_STRING(workflow, workflowEndtime, OPTIONAL),
    JC_STRING_ARRAY(workflow, workflowGroups, OPTIONAL),
    JC_STRING(workflow, workflowInterval, OPTIONAL),
    JC_STRING(workflow, workflowNewName, OPTIONAL),
    JC_STRING(workflow, workflowNextstart, OPTIONAL),
    JC_STRING(workflow, workflowRestartWindow, OPTIONAL),
    JC_STRING(workflow, workflowStarttime, OPTIONAL),
};

}  // namespace

extern constexpr TypeDesc workflow_desc = JC_LIST_ELEMENT_TYPE(workflow, workflow_fields);

namespace {

constexpr FieldDesc data_protection_policy_fields[] = {
    JC_STRING(data_protection_policy, policyName, REQUIRED),
    JC_BOOLEAN(data_protection_policy, policyAllowManualSaves, OPTIONAL),
    JC_BOOLEAN(data_protection_policy, policyApplyEntireWorkflow, OPTIONAL),
    JC_STRING(data_protection_policy, policyComment, OPTIONAL),
    JC_BOOLEAN(data_protection_policy, policyProtectionEnable, OPTIONAL),
    JC_STRING(data_protection_policy, policyProtectionPeriod, OPTIONAL),
    JC_RECORD_POINTER(data_protection_policy, policySummaryNotification, OPTIONAL, policyNotification,
                      policyNotification_desc),
    JC_LIST(data_protection_policy, policyWorkflows, OPTIONAL, workflow, workflow_desc),
};

}  // namespace

extern constexpr TypeDesc data_protection_policy_desc = JC_TYPE(data_protection_policy, data_protection_policy_fields);

JC_DEFINE_ROUTINES(workflow, workflow_desc)
JC_DEFINE_CODEC_ROUTINES(data_protection_policy, data_protection_policy_desc)

}  // namespace jsoncodec

JSONCODEC_ROOT_EXPORTS(workflow, jsoncodec::workflow_desc)
JSONCODEC_ROOT_EXPORTS(data_protection_policy, jsoncodec::data_protection_policy_desc)
JSONCODEC_DESTROY_EXPORT(data_protection_policy, jsoncodec::data_protection_policy_desc)
