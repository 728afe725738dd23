#pragma once
// The category tables of a run, grown inside the store from the working tables, and the closing
// tables (Task, the glossary, _Info).

#include "extraction/run_context.h"

namespace tb::extraction {

// Steps 32 to 45: the category chains and the closing tables.
void BuildCategories(RunContext& run);

}  // namespace tb::extraction
