// The completion notification: on which outcome it fires, and its action.
#include "notification_schema.h"

namespace jsoncodec {

namespace {

JC_ENUM_VALUES(execute_on, "completion", "failure", "ignore");

constexpr FieldDesc policyNotification_fields[] = {
    JC_ENUM(policyNotification, policyCompletionNotificationExecuteOn, REQUIRED, execute_on),
    JC_STRING(policyNotification, policyCompletionNotificationAction, REQUIRED),
};

}  // namespace

extern constexpr TypeDesc policyNotification_desc = JC_TYPE(policyNotification, policyNotification_fields);

JC_DEFINE_CODEC_ROUTINES(policyNotification, policyNotification_desc)

}  // namespace jsoncodec
