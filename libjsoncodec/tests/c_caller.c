/* A C99 caller of the shared library, as a client program would use it:
 * decodes a rule and a policy and walks them, builds an action with both
 * union tags by hand and encodes it, and releases everything. The records
 * are laid out by the C compiler here and read by the library's C++, so
 * this also checks that both agree on every offset it touches. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "jsoncodec.h"

static const char rule_text[] =
    "{\"ruleName\":\"nightly\",\"ruleComment\":\"c\","
    "\"ruleItem_Definitions\":[{\"item_definitionOperator\":\"eq\",\"item_definitionValue\":\"v\"},{}],"
    "\"ruleMatchType\":\"all\"}";

static const char policy_text[] =
    "{\"policyName\":\"gold\",\"policyWorkflows\":["
    "{\"workflowName\":\"first\"},"
    "{\"workflowName\":\"second\",\"workflowActions\":["
    "{\"actionName\":\"probe\",\"actionSpecific\":{\"actions\":{\"actionType\":\"probe\"}},"
    "\"actionSchedulePeriod\":\"week\",\"actionScheduleActivity\":[]},"
    "{\"actionName\":\"vm\",\"actionSpecific\":{\"actions\":{\"actionType\":\"backup\","
    "\"actionBackupSubtypeSpecific\":{\"backupSubtypes\":{\"abBackupSubtype\":\"vmware\","
    "\"abvWexSaveType\":\"VMDK\"}},\"abDestinationStorageNode\":[\"sn1\",\"sn2\"],"
    "\"abRetentionPeriod\":\"1 month\",\"abOverrideRetentionPeriod\":false,"
    "\"abOverrideBackupSchedule\":true,\"abClientOverridesBehavior\":\"clientCanOverride\"}},"
    "\"actionSchedulePeriod\":\"month\",\"actionScheduleActivity\":[\"full\"],\"actionRetries\":3}]}]}";

static const char built_action[] =
    "{\"actionName\":\"vm\",\"actionSpecific\":{\"actions\":{\"actionType\":\"backup\","
    "\"actionBackupSubtypeSpecific\":{\"backupSubtypes\":{\"abBackupSubtype\":\"vmware\","
    "\"abvWexName\":\"wex1\"}},\"abDestinationStorageNode\":[],\"abRetentionPeriod\":\"1 week\","
    "\"abOverrideRetentionPeriod\":true,\"abOverrideBackupSchedule\":false,"
    "\"abClientOverridesBehavior\":\"legacyBackupRules\"}},"
    "\"actionSchedulePeriod\":\"reference\",\"actionScheduleActivity\":[],\"actionRetries\":-1}";

static int fail(const char *what, const char *detail) {
    fprintf(stderr, "%s: %s\n", what, detail);
    return 1;
}

static char *copy(const char *s) {
    char *p = malloc(strlen(s) + 1);
    if (p == NULL) abort();
    return strcpy(p, s);
}

static int rule_round_trip(void) {
    char err[256];
    rule *r = NULL;
    char *json = NULL;
    int32_t status = rmqc_json_to_rule(&r, rule_text, err, sizeof err);
    if (status != RMQC_OK) return fail("rmqc_json_to_rule", err);
    if (r == NULL || strcmp(r->ruleName, "nightly") != 0 || !r->ruleItem_Definitions_present ||
        r->ruleItem_Definitions == NULL || r->ruleItem_Definitions->next == NULL ||
        r->ruleItem_Definitions->next->next != NULL || r->ruleDataSourceType_present)
        return fail("rmqc_json_to_rule", "unexpected tree");

    status = rmqc_json_from_rule(r, &json, err, sizeof err, 0);
    if (status != RMQC_OK) return fail("rmqc_json_from_rule", err);
    if (strcmp(json, rule_text) != 0) return fail("rule round trip differs", json);
    free(json);
    rmqc_free_rule(r);
    return 0;
}

static int policy_walk(void) {
    char err[256];
    data_protection_policy *p = NULL;
    const workflow *second;
    const action *vm;
    const actionBackup *backup;
    char *json = NULL;
    if (rmqc_json_to_data_protection_policy(&p, policy_text, err, sizeof err) != RMQC_OK)
        return fail("rmqc_json_to_data_protection_policy", err);
    second = p->policyWorkflows->next;
    if (second == NULL || strcmp(second->workflowName, "second") != 0 || second->next != NULL)
        return fail("policy", "unexpected workflow list");
    if (second->workflowActions->actionSpecific.actions_type != RMQC_ACTION_PROBE)
        return fail("policy", "first action is not a probe");
    vm = second->workflowActions->next;
    backup = &vm->actionSpecific.actions.actionBackup;
    if (vm->actionSpecific.actions_type != RMQC_ACTION_BACKUP || vm->next != NULL || !vm->actionRetries_present ||
        vm->actionRetries != 3 || backup->abDestinationStorageNode_array_sz != 2 ||
        strcmp(backup->abDestinationStorageNode[1], "sn2") != 0 || backup->abOverrideBackupSchedule != 1 ||
        backup->actionBackupSubtypeSpecific.backupSubtypes_type != RMQC_BACKUP_SUBTYPE_VMWARE ||
        strcmp(backup->actionBackupSubtypeSpecific.backupSubtypes.actionBackupVmware.abvWexSaveType, "VMDK") != 0)
        return fail("policy", "unexpected backup action");
    if (rmqc_json_from_data_protection_policy(p, &json, err, sizeof err, 0) != RMQC_OK)
        return fail("rmqc_json_from_data_protection_policy", err);
    if (strcmp(json, policy_text) != 0) return fail("policy round trip differs", json);
    free(json);
    rmqc_destroy_data_protection_policy(p); /* leaves it zero-filled ... */
    if (p->policyName != NULL || p->policyWorkflows != NULL) return fail("policy", "not zero-filled");
    free(p); /* ... for the caller to free */
    return 0;
}

/* An action record built field by field, with the record and its strings
 * from malloc so that rmqc_free_action can release them. */
static int built_action_encodes(void) {
    char err[256];
    char *json = NULL;
    action *a = calloc(1, sizeof *a);
    actionBackup *backup;
    actionBackupVmware *vmware;
    actionBackupVmware spare;
    int32_t status;

    if (a == NULL) return fail("calloc", "no memory");
    backup = &a->actionSpecific.actions.actionBackup;
    vmware = &backup->actionBackupSubtypeSpecific.backupSubtypes.actionBackupVmware;
    a->actionName = copy("vm");
    a->actionSchedulePeriod = copy("reference");
    a->actionRetries = -1;
    a->actionRetries_present = 1;
    a->actionSpecific.actions_type = RMQC_ACTION_BACKUP;
    backup->actionType = copy("backup");
    backup->abRetentionPeriod = copy("1 week");
    backup->abOverrideRetentionPeriod = 1;
    backup->abClientOverridesBehavior = copy("legacyBackupRules");
    backup->actionBackupSubtypeSpecific.backupSubtypes_type = RMQC_BACKUP_SUBTYPE_VMWARE;
    vmware->abBackupSubtype = copy("vmware");
    vmware->abvWexName = copy("wex1");
    vmware->abvWexName_present = 1;

    status = rmqc_json_from_action(a, &json, err, sizeof err, 0);
    if (status != RMQC_OK) return fail("rmqc_json_from_action", err);
    if (strcmp(json, built_action) != 0) return fail("built action encodes as", json);
    free(json);

    /* A wrong tag is refused rather than read as another member. */
    a->actionSpecific.actions_type = 16;
    status = rmqc_json_from_action(a, &json, err, sizeof err, 0);
    if (status != RMQC_ERR_ENCODE ||
        strcmp(err, "<action>.actionSpecific.actions: JSON encode error. "
                    "Union type for property 'actions' is out of range [1..15].") != 0)
        return fail("tag 16", err);
    a->actionSpecific.actions_type = RMQC_ACTION_BACKUP;
    rmqc_free_action(a);

    /* The exported subtype release on a record of the caller's own. */
    memset(&spare, 0, sizeof spare);
    spare.abBackupSubtype = copy("vmware");
    spare.abvDestinationPool = copy("pool");
    spare.abvDestinationPool_present = 1;
    rmqc_destroy_actionBackupVmware(&spare);
    if (spare.abBackupSubtype != NULL || spare.abvDestinationPool != NULL) return fail("vmware", "not zero-filled");
    return 0;
}

int main(void) { return rule_round_trip() || policy_walk() || built_action_encodes(); }
