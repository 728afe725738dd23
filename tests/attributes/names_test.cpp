// The dictionary's attribute names: read from the extract's copy or from the plant's dictionary,
// found ignoring case; any other name passes back as it came.

#include <gtest/gtest.h>

#include "attributes/attribute_names.h"
#include "attributes_fixture.h"
#include "common/error.h"
#include "plant_generator.h"
#include "plantaccess/session.h"
#include "plantaccess/store_connection.h"

namespace tb::attributes::testing {
namespace {

TEST_F(AttributesTest, AttributeNamesFoundIgnoringCase) {
    auto look = [](std::string_view name) {
        bool found = true;
        std::string out = GetAttNameFromDB(name, found);
        return out + (found ? " found" : " not found");
    };
    // The session's extract with ATTRIBUTES_cp holding `names` (no table for nullptr).
    auto extract = [](const std::vector<const char*>* names) {
        auto st = std::make_shared<store::Store>(store::Store::InMemory());
        if (names) {
            st->CreateTable("ATTRIBUTES_cp", {{"ATTRIBUTE_NAME", store::ColumnType::Text(80)}});
            for (const char* name : *names)
                st->ExecuteCount("INSERT INTO ATTRIBUTES_cp VALUES (?)", {name});
        }
        plantaccess::SetSessionConnection(plantaccess::StoreConnection::Open("extract", st),
                                          "extract.mdb");
    };
    EXPECT_EQ(look("ItemTag"), "ItemTag not found");  // nothing read yet
    std::vector<const char*> names = {"ItemTag", "NominalDiameter", "ItemTag"};
    extract(&names);
    InitAttributeNames();
    EXPECT_EQ(look("itemtag"), "ItemTag found");
    EXPECT_EQ(look("NOMINALDIAMETER"), "NominalDiameter found");
    EXPECT_EQ(look("Nominal"), "Nominal not found");
    // Reading again replaces the names; an empty table leaves none; a missing one raises.
    names.clear();
    extract(&names);
    InitAttributeNames();
    EXPECT_EQ(look("itemtag"), "itemtag not found");
    extract(nullptr);
    EXPECT_THROW(InitAttributeNames(), Error);
    EXPECT_TRUE(log.Has("InitAttributeNames"));
    // Where there is no extract: the plant's dictionary.
    Activate(sampleplant::kPlantName);
    InitAttributeNamesFromDictionary();
    EXPECT_EQ(look("sp_pressuresi"), "SP_PressureSI found");
}

}  // namespace
}  // namespace tb::attributes::testing
