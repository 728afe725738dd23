#include "extraction/attribute_keys.h"

#include <gtest/gtest.h>

#include "common/log.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::extraction {
namespace {

// A key named once as left out is not named again in its category, in any case; a run forgets.
TEST(AttributeKeys, KeysLeftOutAreNamedOnce) {
    test::LogCapture log;
    ForgetKeysLeftOut();
    LogKeyLeftOut("Others.Quantity", "OPCs", "a reason");
    LogKeyLeftOut("others.quantity", "opcs", "another reason");
    LogKeyLeftOut("Others.Quantity", "DuctRuns", "a reason");
    RememberKeyLeftOut("T_Note.Missing", "ItemNotes");
    EXPECT_TRUE(KeyLeftOut("t_note.missing", "ItemNotes"));
    EXPECT_FALSE(KeyLeftOut("T_Note.Missing", "Plantitems"));
    EXPECT_EQ(log.lines, (std::vector<std::string>{
                             "The attribute Others.Quantity of OPCs is left out: a reason.",
                             "The attribute Others.Quantity of DuctRuns is left out: a reason."}));
    ForgetKeysLeftOut();
    EXPECT_FALSE(KeyLeftOut("Others.Quantity", "OPCs"));
    SetLogSink(nullptr);
}

// A key written twice in its section (in any case) is one attribute; other categories keep theirs.
TEST(AttributeKeys, RepeatedKeysAreReadOnce) {
    test::TempDir dir;
    test::WriteFile(dir.path() / "c.ini",
                    "[Plantitems]\r\nT_PlantItem.ItemTag=\r\nT_ModelItem.Description=\r\nt_"
                    "plantitem.ITEMTAG=\r\n"
                    "T_PlantItem.ItemTag=\r\n[Instruments]\r\nT_PlantItem.ItemTag_Instrument=\r\n"
                    "T_PlantItem.ItemTag_Instrument=\r\n[OPCs]\r\nT_PlantItem.ItemTag=\r\n");
    const AttributeKeys keys = AttributeKeys::Load(dir.path() / "c.ini");
    EXPECT_EQ(keys.Keys("Plantitems"),
              (std::vector<std::string>{"T_PlantItem.ItemTag", "T_ModelItem.Description"}));
    EXPECT_EQ(keys.Keys("Instruments"),
              (std::vector<std::string>{"T_PlantItem.ItemTag_Instrument"}));
    EXPECT_EQ(keys.Keys("OPCs"), (std::vector<std::string>{"T_PlantItem.ItemTag"}));
    EXPECT_EQ(keys.Count(), 4u);
}

}  // namespace
}  // namespace tb::extraction
