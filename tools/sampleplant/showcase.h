#pragma once
// The hand-made part of every sample plant (alone it is the `tiny` preset): four drawings in
// Area10 that hold every edge case the extraction, From-To tracing and the drawing file copy
// must meet, placed where tests can name them. README.md lists them.

#include "plant_builder.h"

namespace tb::sampleplant {

void AddShowcase(PlantBuilder& b, const Group& root);

}  // namespace tb::sampleplant
