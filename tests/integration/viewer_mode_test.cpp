// The viewer form of an extract: no command line sets it, so the run is driven in-process with the
// flag on, on the tiny sample plant.
#include "extraction/viewer_mode.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "app/main.h"
#include "common/text.h"
#include "mdb/mdb_reader.h"
#include "support/sample_plant.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> ColumnNames(const mdb::MdbReader& reader, const std::string& table) {
    std::vector<std::string> out;
    for (const mdb::Column& c : reader.Table(table).columns) out.push_back(c.name);
    return out;
}

bool Has(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

TEST(ViewerMode, RunGivesTheViewerForm) {
    test::TempDir dir;
    for (const char* sub : {"home", "xdg", "temp", "app/config"}) fs::create_directories(dir / sub);
    fs::copy_file(test::SourceDir() / "config" / "default", dir / "app" / "config" / "default");
    for (const auto& [name, sub] : {std::pair{"HOME", "home"},
                                    {"XDG_CONFIG_HOME", "xdg"},
                                    {"TEMP", "temp"},
                                    {"TARNBROOK_HOME", "app"}})
        ::setenv(name, (dir / sub).c_str(), 1);

    extraction::SetSorrelwickMode(true);
    const fs::path mdb = dir / "v.mdb";
    const int exit =
        app::RunMain({"/output", mdb.string(), "/site",
                      (test::ShowcasePlant() / "SmartPlantv4.ini").string(), "/plant", "PlantA"},
                     app::DefaultEngines());
    extraction::SetSorrelwickMode(false);
    ASSERT_EQ(exit, 0);

    mdb::MdbReader reader(mdb);
    // The drawings stand in t_drawing with their last change, not in a Drawings category.
    EXPECT_FALSE(reader.HasTable("Drawings"));
    ASSERT_TRUE(reader.HasTable("t_drawing"));
    // The plant's own spelling of the column names.
    EXPECT_EQ(Join(ColumnNames(reader, "t_drawing"), ","), "SP_ID,Name,Path,LastModifiedDate");
    EXPECT_EQ(reader.ForEachRow("t_drawing", [](const mdb::Row&) {}), 3u);
    // PID: the representation type and the bare graphic OID.
    const auto pid = ColumnNames(reader, "PID");
    ASSERT_TRUE(Has(pid, "REPRESENTATIONTYPE")) << Join(pid, ",");
    const auto graphic = std::find(pid.begin(), pid.end(), "GraphicID") - pid.begin();
    reader.ForEachRow("PID", [&](const mdb::Row& row) {
        const auto* text = std::get_if<std::string>(&row[static_cast<std::size_t>(graphic)]);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(text->find("PID-"), std::string::npos) << *text;
    });
    // Group attributes on Plantitems, representation columns on the two categories with owners.
    const auto items = ColumnNames(reader, "Plantitems");
    EXPECT_TRUE(Has(items, "PLANTITEMGROUPTYPE") && Has(items, "PLANTITEMGROUPCLASS"))
        << Join(items, ",");
    for (const auto& [table, owner] :
         {std::pair{"InlineComp_Prun", "Piperun"}, {"Eqp_Nozzle", "Equipment"}}) {
        const auto cols = ColumnNames(reader, table);
        for (const std::string& c :
             {std::string("REPRESENTATIONTYPE"), std::string(owner) + "_REPRESENTATIONTYPE"})
            EXPECT_TRUE(Has(cols, c)) << table << ": " << c;
    }
}

}  // namespace
}  // namespace tb
