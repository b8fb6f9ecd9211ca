// Selection rules and their item definitions.
#pragma once

#include "codec.h"
#include "jsoncodec.h"
#include "table.h"

namespace jsoncodec {

extern const TypeDesc item_definition_desc;
extern const TypeDesc rule_desc;

JC_DECLARE_CODEC_ROUTINES(item_definition)
JC_DECLARE_CODEC_ROUTINES(rule)

}  // namespace jsoncodec
