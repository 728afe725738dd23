#pragma once
// The plant copy of a run: the plant tables the configuration needs become working tables of the
// store, for the decode and the category chains to read.

#include "extraction/run_context.h"

namespace tb::extraction {

// Steps 5 to 27: the configured columns of the plant tables, PID, the revisions, labels,
// drawings, cases, connectors and symbols.
void CopyPlantTables(RunContext& run);

// Step 29: the plant groups with their parents and unit codes, when a category asks for them.
void CopyPlantGroups(RunContext& run);

}  // namespace tb::extraction
