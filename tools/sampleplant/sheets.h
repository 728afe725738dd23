#pragma once
// The generated part of a sample plant: process units of up to ten sheets each, every sheet a
// vessel with pumps (and sometimes an exchanger or a strainer), its lines, valves, loops and
// relief, chained to the next sheet of its unit by off-page connectors.

#include <cstdint>

#include "plant_builder.h"

namespace tb::sampleplant {

// `count` sheets under `root`, in areas of five units; the first area is numbered
// `firstArea` (Area20 for 2). `markDebris` gives the first sheet a file that is missing from
// the plant folder and the second sheet no path at all.
void AddProcessSheets(PlantBuilder& b, const Group& root, int count, std::uint64_t seed,
                      int firstArea, bool markDebris);

}  // namespace tb::sampleplant
