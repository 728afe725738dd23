#include "extraction/attribute_keys.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace tb::extraction {
namespace {

// A key written twice in its section (in any case) is one attribute; other categories keep theirs.
TEST(AttributeKeys, RepeatedKeysAreReadOnce) {
    test::TempDir dir;
    test::WriteFile(dir.path() / "c.ini",
                    "[Plantitems]\r\nT_PlantItem.ItemTag=\r\nT_ModelItem.Description=\r\nt_plantitem.ITEMTAG=\r\n"
                    "T_PlantItem.ItemTag=\r\n[Instruments]\r\nT_PlantItem.ItemTag_Instrument=\r\n"
                    "T_PlantItem.ItemTag_Instrument=\r\n[OPCs]\r\nT_PlantItem.ItemTag=\r\n");
    const AttributeKeys keys = AttributeKeys::Load(dir.path() / "c.ini");
    EXPECT_EQ(keys.Keys("Plantitems"), (std::vector<std::string>{"T_PlantItem.ItemTag", "T_ModelItem.Description"}));
    EXPECT_EQ(keys.Keys("Instruments"), (std::vector<std::string>{"T_PlantItem.ItemTag_Instrument"}));
    EXPECT_EQ(keys.Keys("OPCs"), (std::vector<std::string>{"T_PlantItem.ItemTag"}));
    EXPECT_EQ(keys.Count(), 4u);
}

}  // namespace
}  // namespace tb::extraction
