// Workflows and the data protection policy that holds them.
#pragma once

#include "codec.h"
#include "jsoncodec.h"
#include "table.h"

namespace jsoncodec {

extern const TypeDesc workflow_desc;
extern const TypeDesc data_protection_policy_desc;

JC_DECLARE_ROUTINES(workflow)
// The policy's release routine is the export rmqc_destroy_data_protection_policy.
JC_DECLARE_CODEC_ROUTINES(data_protection_policy)

}  // namespace jsoncodec
