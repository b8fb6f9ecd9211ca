// The completion notification that actions, workflows and policies hold
// through an owned pointer. A leaf record: it contains nothing else.
#pragma once

#include "codec.h"
#include "jsoncodec.h"
#include "table.h"

namespace jsoncodec {

extern const TypeDesc policyNotification_desc;

JC_DECLARE_CODEC_ROUTINES(policyNotification)

}  // namespace jsoncodec
