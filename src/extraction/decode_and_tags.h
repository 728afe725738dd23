#pragma once
// The decode of a run (coded values become the texts of their code lists) and the preparation of
// the tags that the category chains read.

#include "extraction/run_context.h"

namespace tb::extraction {

// Step 28: the code lists of the plant's data dictionary into the store.
void ReadCodeLists(RunContext& run);

// Step 30: the coded columns of the copied tables show their code list texts.
void DecodeCodeLists(RunContext& run);

// Step 31: the OPC tags in PID, and the piping points' descriptions and connected runs.
void PrepareTags(RunContext& run);

}  // namespace tb::extraction
