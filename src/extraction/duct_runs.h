#pragma once
// The DuctRuns category: every duct run with its inline components (one row per component, one
// row for a run without any), with the run's and the component's configured attributes.

#include "extraction/attribute_keys.h"
#include "store/store.h"

namespace tb::extraction {

// Builds "DuctRuns" from T_InlinecompDuct, t_ductrun and t_ductingcomp, extended by t_plantitem
// and t_modelitem per side, Others (rows without a representation drop out), the cases, the plant
// group and t_status; ends with the counter ID. Without T_InlinecompDuct nothing is made.
void AddDuctRuns(store::Store& store, const AttributeKeys& keys, bool copyPlant);

}  // namespace tb::extraction
