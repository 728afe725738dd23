// The row counts that tools/sampleplant/README.md states are what the generator writes.

#include <gtest/gtest.h>

#include "plant_checks.h"

namespace tb::sampleplant::test {
namespace {

TEST(Readme, CountsOfTheTinyAndDefaultPresets) {
    EXPECT_EQ(ReadmeCounts("tiny"), PlantCounts(TinyPlant()));
    EXPECT_EQ(ReadmeCounts("default"), PlantCounts(DefaultPlant()));
}

}  // namespace
}  // namespace tb::sampleplant::test
