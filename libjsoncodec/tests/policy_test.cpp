// Policies and workflows through the exported functions: a whole document
// each way, faults deep inside the two lists named with their indexes, and
// what each release routine frees. The sanitizer build checks that failed
// decodes release their partial trees.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "jsoncodec.h"
#include "root_calls.h"

namespace {

using Calls = JSONCODEC_ROOT_CALLS(data_protection_policy);
using Decoded = Calls::Decoded;
constexpr auto decode = Calls::decode;

// Compact text of a policy, or the diagnostic line when encoding fails.
std::string encode(const data_protection_policy *p) { return Calls::encode(p).text; }

std::string act(const std::string &name, const std::string &kind = R"({"actionType":"probe"})",
                const std::string &more = "") {
    return R"({"actionName":")" + name + R"(","actionSpecific":{"actions":)" + kind +
           R"(},"actionSchedulePeriod":"week","actionScheduleActivity":[])" + more + "}";
}

// Every property of an action, a workflow and a policy, in declared order.
const std::string full_action =
    R"({"actionName":"a2","actionSpecific":{"actions":{"actionType":"backup index"}},"actionSchedulePeriod":"month",)"
    R"("actionScheduleActivity":["full","incr","skip"],"actionComment":"c","actionCompletionNotification":)"
    R"({"policyCompletionNotificationExecuteOn":"failure","policyCompletionNotificationAction":"mail"},)"
    R"("actionConcurrent":true,"actionCustomTags":["t"],"actionDrivenBy":"any text at all","actionEnabled":false,)"
    R"("actionFailureImpact":"abort workflow","actionHardLimit":"02:00","actionInactivityTimeout":30,)"
    R"("actionNewName":"b","actionParallelism":-9223372036854775808,"actionRetries":9223372036854775807,)"
    R"("actionRetryDelay":0,"actionScheduleComment":"sc","actionScheduleOverride":["o1","o2"],)"
    R"("actionSoftLimit":"01:00","actionStarttime":"21:00","actionWorkItemFilter":{)"
    R"("actionWorkItemFilterClient":["c1"],"actionWorkItemFilterClientExclude":true,)"
    R"("actionWorkItemFilterLevel":["Full"],"actionWorkItemFilterLevelExclude":false,)"
    R"("actionWorkItemFilterSavesetType":["any text"],"actionWorkItemFilterSavesetTypeExclude":true,)"
    R"("actionWorkItemFilterTimeRangeEnd":"e","actionWorkItemFilterTimeRangeExclude":false,)"
    R"("actionWorkItemFilterTimeRangeStart":"s"}})";

const std::string full_policy =
    R"({"policyName":"Gold","policyAllowManualSaves":true,"policyApplyEntireWorkflow":false,"policyComment":"c",)"
    R"("policyProtectionEnable":true,"policyProtectionPeriod":"1 year","policySummaryNotification":)"
    R"({"policyCompletionNotificationExecuteOn":"completion","policyCompletionNotificationAction":"mail -s x"},)"
    R"("policyWorkflows":[{"workflowName":"w1","workflowActions":[]},{"workflowName":"w2","synthesisRoot":["/a"],)"
    R"("workflowActions":[)" +
    act("a1") + "," + full_action + "," + act("a3", R"({"actionType":"clone"})") +
    R"(],"workflowAutostartEnabled":false,"workflowComment":"wc","workflowCompletionNotification":)"
    R"({"policyCompletionNotificationExecuteOn":"ignore","policyCompletionNotificationAction":""},)"
    R"("workflowDescription":"d","workflowEnabled":true,"workflowEndtime":"e","workflowGroups":["g1","g2"],)"
    R"("workflowInterval":"24:00","workflowNewName":"w3","workflowNextstart":"n","workflowRestartWindow":"12:00",)"
    R"("workflowStarttime":"21:00"}]})";

TEST(PolicyRoundTrip, WholeDocumentComesBackUnchangedWithBothListsInOrder) {
    Decoded d = decode(full_policy);
    ASSERT_EQ(d.status, 0) << d.line;
    const workflow *w1 = d.tree->policyWorkflows;
    ASSERT_NE(w1, nullptr);
    EXPECT_EQ(w1->workflowActions_present, 1);
    EXPECT_EQ(w1->workflowActions, nullptr);
    const workflow *w2 = w1->next;
    ASSERT_NE(w2, nullptr);
    EXPECT_EQ(w2->next, nullptr);
    const action *a = w2->workflowActions;
    for (const char *name : {"a1", "a2", "a3"}) {
        ASSERT_NE(a, nullptr);
        EXPECT_STREQ(a->actionName, name);
        a = a->next;
    }
    EXPECT_EQ(a, nullptr);
    EXPECT_EQ(encode(d.tree), full_policy);

    for (const char *minimal : {R"({"policyName":"p"})", R"({"policyName":"p","policyWorkflows":[]})",
                                R"({"policyName":"p","policyWorkflows":[{"workflowName":"w"}]})"}) {
        SCOPED_TRACE(minimal);
        Decoded m = decode(minimal);
        ASSERT_EQ(m.status, 0) << m.line;
        EXPECT_EQ(encode(m.tree), minimal);
    }
}

TEST(PolicyDecode, FaultsDeepInsideTheListsNameEveryIndex) {
    const std::string dec = ": JSON decode error. ";
    const std::string second = "<data_protection_policy>.policyWorkflows[1].";
    auto policy = [](const std::string &workflows) {
        return R"({"policyName":"p","policyWorkflows":[{"workflowName":"w1"},)" + workflows + "]}";
    };
    auto wf = [](const std::string &actions, const std::string &more = "") {
        return R"({"workflowName":"w2","workflowActions":[)" + actions + "]" + more + "}";
    };
    const std::pair<std::string, std::string> cases[] = {
        {R"({"policyName":"p","policySummaryNotification":{"policyCompletionNotificationExecuteOn":"Completion",)"
         R"("policyCompletionNotificationAction":"a"}})",
         "<data_protection_policy>.policySummaryNotification.policyCompletionNotificationExecuteOn" + dec +
             "String based enum fails to match one of: [ 'completion', 'failure', 'ignore' ]. "},
        {policy(wf("", R"(,"workflowCompletionNotification":{"policyCompletionNotificationExecuteOn":"failure"})")),
         second + "workflowCompletionNotification.policyCompletionNotificationAction" + dec +
             "Required property 'policyCompletionNotificationAction' is missing which violates the schema."},
        {policy(wf(act("a", R"({"actionType":"probe"})", R"(,"actionRetries":3.0)"))),
         second + "workflowActions[0].actionRetries" + dec +
             "Expected property to be an integer as specified in schema."},
        {policy(wf(act("a") + "," + act("b") + "," + act("c", R"({"actionType":"discover"})"))),
         second + "workflowActions[2].actionSpecific.actions" + dec +
             "No match for union, closest failure: <actionDiscover>.adDiscoverType: JSON decode error. Required "
             "property 'adDiscoverType' is missing which violates the schema."},
    };
    for (const auto &[json, line] : cases) Calls::expect_refused(json, line);

    char buf[512];
    workflow *w = nullptr;
    EXPECT_EQ(
        rmqc_json_to_workflow(&w, wf(act("a") + "," + act("b") + R"(,{"actionName":5})").c_str(), buf, sizeof buf),
        202);
    EXPECT_STREQ(buf,
                 "<workflow>.workflowActions[2].actionName: JSON decode error. Expected a string as specified in "
                 "schema.");
    EXPECT_EQ(w, nullptr);
}

TEST(PolicyRelease, DestroyEmptiesACallerOwnedRecordAndMayBeRepeated) {
    Decoded d = decode(full_policy);
    ASSERT_EQ(d.status, 0) << d.line;
    data_protection_policy mine = *d.tree;
    std::free(d.tree);
    d.tree = nullptr;
    rmqc_destroy_data_protection_policy(&mine);
    static const data_protection_policy zero{};  // static: padding bytes are zero too
    EXPECT_EQ(std::memcmp(&mine, &zero, sizeof mine), 0);
    rmqc_destroy_data_protection_policy(&mine);
    EXPECT_EQ(std::memcmp(&mine, &zero, sizeof mine), 0);
}

TEST(PolicyRelease, ElementReleasesDoNotFollowNext) {
    Decoded d = decode(full_policy);
    ASSERT_EQ(d.status, 0) << d.line;
    workflow *first = d.tree->policyWorkflows;
    d.tree->policyWorkflows = first->next;
    rmqc_free_workflow(first);

    workflow *w2 = d.tree->policyWorkflows;
    action *head = w2->workflowActions;
    w2->workflowActions = head->next;
    rmqc_free_action(head);
    ASSERT_NE(w2->workflowActions, nullptr);
    EXPECT_STREQ(w2->workflowActions->actionName, "a2");
    EXPECT_STREQ(w2->workflowActions->next->actionName, "a3");

    // What remains is intact and still released with the policy.
    std::string text = encode(d.tree);
    EXPECT_NE(text.find(R"("policyWorkflows":[{"workflowName":"w2",)"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("workflowActions":[{"actionName":"a2",)"), std::string::npos) << text;
}

}  // namespace
