// A plant of 2,000 drawings: the integrity checks hold at size, and the README's counts for it
// are what the generator writes. Slow: run in the normal build only.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plant_checks.h"

namespace tb::sampleplant::test {
namespace {

using ::testing::IsEmpty;

// One test: CTest runs each test in a process of its own, and the plant takes half a minute.
TEST(LargePlant, CountsAndIntegrity) {
    const GeneratedPlant plant(2000);
    EXPECT_EQ(ReadmeCounts("2,000"), PlantCounts(plant));
    Db db(plant.File("PLANTAPID"), true);
    EXPECT_EQ(UnresolvedReferences(db).size(), 2u);  // the showcase's two orphans
    EXPECT_EQ(ForeignConnectorEnds(db).size(), 1u);  // and its one foreign connector end
    EXPECT_THAT(BrokenOpcPairs(db), IsEmpty());
    EXPECT_THAT(ValuesOutsideLists(db, plant.File("PLANTAPIDD")), IsEmpty());
    EXPECT_THAT(MalformedIds(db), IsEmpty());
    EXPECT_THAT(EmptyTexts(db), IsEmpty());
    EXPECT_THAT(DanglingPointIndices(db), IsEmpty());
    EXPECT_THAT(InlineItemsOffTheirRun(db), IsEmpty());
    EXPECT_EQ(Scalar(db, "SELECT count(*) FROM T_Drawing"), 2000);
    // Generated sheets pair only within their unit; the showcase's two pairs cross units.
    EXPECT_EQ(Scalar(db,
                     "SELECT count(*) FROM T_OPC a JOIN T_OPC b ON b.SP_ID = a.SP_PairedWithID "
                     "JOIN T_Representation ra ON ra.SP_ModelItemID = a.SP_ID "
                     "JOIN T_Representation rb ON rb.SP_ModelItemID = b.SP_ID "
                     "JOIN T_Drawing da ON da.SP_ID = ra.SP_DrawingID "
                     "JOIN T_Drawing db ON db.SP_ID = rb.SP_DrawingID "
                     "WHERE da.SP_PlantGroupID <> db.SP_PlantGroupID"),
              4);
}

}  // namespace
}  // namespace tb::sampleplant::test
