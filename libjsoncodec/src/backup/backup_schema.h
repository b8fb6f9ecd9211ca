// The backup action, its subtype union and the five backup subtypes.
#pragma once

#include "codec.h"
#include "jsoncodec.h"
#include "table.h"
#include "validators.h"

namespace jsoncodec {

// "clientCanNotOverride", "clientCanOverride", "legacyBackupRules": what the
// clients of a backup may override, for the action and its SQL tier 2.
extern const EnumDesc client_overrides;

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
