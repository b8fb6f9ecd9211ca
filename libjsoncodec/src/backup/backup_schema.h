// The backup action, its subtype union and the five backup subtypes, with
// the schedule-period check that the proxy subtype shares with actions.
#pragma once

#include "codec.h"
#include "jsoncodec.h"
#include "table.h"

namespace jsoncodec {

// "week", "month", "reference": the schedule periods of actions and of the
// SQL tier-2 settings.
extern const EnumDesc schedule_period;
// "clientCanNotOverride", "clientCanOverride", "legacyBackupRules": what the
// clients of a backup may override, for the action and its SQL tier 2.
extern const EnumDesc client_overrides;

// Check `text` against the schedule periods; `path` is the node that names
// the property. A mismatch is reported with 202 (decoding) or 203
// (encoding), which is returned; a match returns 0.
int32_t validate_schedule_period_decode(const char *text, char *errbuf, uint64_t errlen, path_node *path);
int32_t validate_schedule_period_encode(const char *text, char *errbuf, uint64_t errlen, path_node *path);

extern const TypeDesc kestrelSQLTier2Properties_desc;
extern const TypeDesc actionBackupTraditional_desc;
extern const TypeDesc actionBackupSnapshot_desc;
extern const TypeDesc actionBackupArchive_desc;
extern const TypeDesc actionBackupVmware_desc;
extern const TypeDesc actionBackupKestrel_desc;
extern const TypeDesc actionBackupSubtypeWrapper_desc;
extern const TypeDesc actionBackup_desc;

JC_DECLARE_ROUTINES(kestrelSQLTier2Properties)
JC_DECLARE_ROUTINES(actionBackupTraditional)
JC_DECLARE_ROUTINES(actionBackupSnapshot)
JC_DECLARE_ROUTINES(actionBackupArchive)
JC_DECLARE_CODEC_ROUTINES(actionBackupVmware)  // released by rmqc_destroy_actionBackupVmware
JC_DECLARE_ROUTINES(actionBackupKestrel)
JC_DECLARE_ROUTINES(actionBackupSubtypeWrapper)
JC_DECLARE_ROUTINES(actionBackup)

}  // namespace jsoncodec
