/* A C99 caller of the shared library, as a client program would use it:
 * decodes a policy and walks it by its fields (lists, presence flags, array
 * counts, both union tags), edits it in place with strings of its own from
 * malloc, encodes it, and releases it. The records are laid out by the C
 * compiler here and read by the library's C++, so this also checks that
 * both agree on every field it touches. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "jsoncodec.h"

#define BACKUP_HEAD                                                                                                \
    "{\"policyName\":\"gold\",\"policyWorkflows\":[{\"workflowName\":\"first\"},{\"workflowName\":\"second\","     \
    "\"workflowActions\":[{\"actionName\":\"probe\",\"actionSpecific\":{\"actions\":{\"actionType\":\"probe\"}},"  \
    "\"actionSchedulePeriod\":\"week\",\"actionScheduleActivity\":[]},{\"actionName\":\"vm\",\"actionSpecific\":{" \
    "\"actions\":{\"actionType\":\"backup\",\"actionBackupSubtypeSpecific\":{\"backupSubtypes\":{"                 \
    "\"abBackupSubtype\":\"vmware\","

static const char policy_text[] = BACKUP_HEAD
    "\"abvWexSaveType\":\"VMDK\"}},\"abDestinationStorageNode\":[\"sn1\",\"sn2\"],\"abRetentionPeriod\":\"1 month\","
    "\"abOverrideRetentionPeriod\":false,\"abOverrideBackupSchedule\":true,"
    "\"abClientOverridesBehavior\":\"clientCanOverride\"}},\"actionSchedulePeriod\":\"month\","
    "\"actionScheduleActivity\":[\"full\"],\"actionRetries\":3}]}]}";

static const char edited_text[] = BACKUP_HEAD
    "\"abvWexName\":\"wex1\",\"abvWexSaveType\":\"VMDK\"}},\"abDestinationStorageNode\":[\"sn1\"],"
    "\"abRetentionPeriod\":\"1 month\",\"abOverrideRetentionPeriod\":true,\"abOverrideBackupSchedule\":true,"
    "\"abClientOverridesBehavior\":\"clientCanOverride\"}},\"actionSchedulePeriod\":\"month\","
    "\"actionScheduleActivity\":[\"full\"]}]}]}";

#define EXPECT(condition)                                                       \
    if (!(condition)) {                                                         \
        fprintf(stderr, "c_caller.c:%d: %s (%s)\n", __LINE__, #condition, err); \
        return 1;                                                               \
    }

int main(void) {
    char err[256] = "";
    char *json = NULL;
    data_protection_policy *p = NULL;
    const workflow *second;
    action *vm;
    actionBackup *backup;
    actionBackupVmware *vmware;

    EXPECT(rmqc_json_to_data_protection_policy(&p, policy_text, err, sizeof err) == RMQC_OK);
    second = p->policyWorkflows->next;
    EXPECT(strcmp(second->workflowName, "second") == 0 && second->next == NULL && second->workflowActions_present);
    EXPECT(second->workflowActions->actionSpecific.actions_type == RMQC_ACTION_PROBE);
    vm = second->workflowActions->next;
    backup = &vm->actionSpecific.actions.actionBackup;
    vmware = &backup->actionBackupSubtypeSpecific.backupSubtypes.actionBackupVmware;
    EXPECT(vm->actionSpecific.actions_type == RMQC_ACTION_BACKUP && vm->next == NULL);
    EXPECT(vm->actionRetries_present && vm->actionRetries == 3 && backup->abOverrideBackupSchedule == 1);
    EXPECT(backup->abDestinationStorageNode_array_sz == 2 && strcmp(backup->abDestinationStorageNode[1], "sn2") == 0);
    EXPECT(backup->actionBackupSubtypeSpecific.backupSubtypes_type == RMQC_BACKUP_SUBTYPE_VMWARE);
    EXPECT(!vmware->abvWexName_present && vmware->abvWexSaveType_present &&
           strcmp(vmware->abvWexSaveType, "VMDK") == 0);
    EXPECT(rmqc_json_from_data_protection_policy(p, &json, err, sizeof err, 0) == RMQC_OK);
    EXPECT(strcmp(json, policy_text) == 0);
    free(json);

    /* A tag naming no kind is refused rather than read as another member. */
    vm->actionSpecific.actions_type = 16;
    EXPECT(rmqc_json_from_data_protection_policy(p, &json, err, sizeof err, 0) == RMQC_ERR_ENCODE);
    EXPECT(strstr(err,
                  ".workflowActions[1].actionSpecific.actions: JSON encode error. Union type for property "
                  "'actions' is out of range [1..15].") != NULL);
    vm->actionSpecific.actions_type = RMQC_ACTION_BACKUP;

    /* Edits the library must see, and later release with its own. */
    vm->actionRetries_present = 0;
    backup->abOverrideRetentionPeriod = 1;
    free(backup->abDestinationStorageNode[1]);
    backup->abDestinationStorageNode_array_sz = 1;
    vmware->abvWexName = malloc(5);
    EXPECT(vmware->abvWexName != NULL);
    strcpy(vmware->abvWexName, "wex1");
    vmware->abvWexName_present = 1;
    EXPECT(rmqc_json_from_data_protection_policy(p, &json, err, sizeof err, 0) == RMQC_OK);
    EXPECT(strcmp(json, edited_text) == 0);
    free(json);

    rmqc_destroy_data_protection_policy(p); /* leaves it zero-filled ... */
    EXPECT(p->policyName == NULL && p->policyWorkflows == NULL);
    free(p); /* ... for the caller to free */
    return 0;
}
