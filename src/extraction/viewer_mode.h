#pragma once
// The viewer form of an extract. A process-wide flag that Main clears at its start and no path of
// this program sets; the run keeps its branches so that a viewer product can switch them on: PID
// carries the representation type and the bare graphic OID, the drawings stand in `t_drawing`,
// and the category tables get representation columns.

#include "store/store.h"

namespace tb::extraction {

bool SorrelwickMode();
void SetSorrelwickMode(bool on);

// PLANTITEMGROUPTYPE and PLANTITEMGROUPCLASS of Plantitems from T_PLANTITEMGROUP; PlantItemType
// from PID when Plantitems lacks it.
void SorrelwickAddPLANTITEMGROUPAtt(store::Store& store);

// REPRESENTATIONTYPE and FileName of each row's item, and of its owner (the run of an inline
// component, the equipment of a nozzle), from PID.
void AddRepresentationCols(store::Store& store);

}  // namespace tb::extraction
