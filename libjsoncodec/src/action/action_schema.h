// Actions: the record, its work-item filter and the action-kind union with
// its fifteen kinds.
#pragma once

#include "codec.h"
#include "jsoncodec.h"
#include "table.h"
#include "validators.h"

namespace jsoncodec {

extern const TypeDesc actionProbe_desc;
extern const TypeDesc actionExecute_desc;
extern const TypeDesc actionClone_desc;
extern const TypeDesc actionDiscover_desc;
extern const TypeDesc actionCheckConnectivity_desc;
extern const TypeDesc actionGenerateIndex_desc;
extern const TypeDesc actionBackupIndex_desc;
extern const TypeDesc actionExpire_desc;
extern const TypeDesc actionServerBackup_desc;
extern const TypeDesc actionAutoStage_desc;
extern const TypeDesc actionRecoverSpace_desc;
extern const TypeDesc actionExercise_desc;
extern const TypeDesc actionWEXCheckpointDiscover_desc;
extern const TypeDesc actionWEXCheckpointBackup_desc;
extern const TypeDesc actionsWrapper_desc;
extern const TypeDesc actionsWorkItemFilterWrapper_desc;
extern const TypeDesc action_desc;

JC_DECLARE_ROUTINES(actionProbe)
JC_DECLARE_ROUTINES(actionExecute)
JC_DECLARE_ROUTINES(actionClone)
JC_DECLARE_ROUTINES(actionDiscover)
JC_DECLARE_ROUTINES(actionCheckConnectivity)
JC_DECLARE_ROUTINES(actionGenerateIndex)
JC_DECLARE_ROUTINES(actionBackupIndex)
JC_DECLARE_ROUTINES(actionExpire)
JC_DECLARE_ROUTINES(actionServerBackup)
JC_DECLARE_ROUTINES(actionAutoStage)
JC_DECLARE_ROUTINES(actionRecoverSpace)
JC_DECLARE_ROUTINES(actionExercise)
JC_DECLARE_ROUTINES(actionWEXCheckpointDiscover)
JC_DECLARE_ROUTINES(actionWEXCheckpointBackup)
JC_DECLARE_ROUTINES(actionsWrapper)
JC_DECLARE_ROUTINES(actionsWorkItemFilterWrapper)
JC_DECLARE_ROUTINES(action)

}  // namespace jsoncodec
