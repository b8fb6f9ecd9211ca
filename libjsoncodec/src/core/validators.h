// Enum checks shared by several record types, by name.
#pragma once

#include <cstdint>

#include "codec.h"

namespace jsoncodec {

// "week", "month", "reference": the schedule periods of actions and of the
// SQL tier-2 settings of proxy backups.
extern const EnumDesc schedule_period;

// Check `text` against the schedule periods; `path` is the node that names
// the property. A mismatch is reported with 202 (decoding) or 203
// (encoding), which is returned; a match returns 0.
int32_t validate_schedule_period_decode(const char *text, char *errbuf, uint64_t errlen, path_node *path);
int32_t validate_schedule_period_encode(const char *text, char *errbuf, uint64_t errlen, path_node *path);

}  // namespace jsoncodec
