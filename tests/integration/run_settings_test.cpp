// Hand-written configurations on the tiny plant: the drawing dates of Others without the Drawings
// category, the run's ini copy in _Info.Settings, a key whose plant column is missing, and the
// code-listed drawing attributes shown as their texts.
#include <gtest/gtest.h>

#include <map>

#include "common/ini.h"
#include "common/text.h"
#include "mdb/mdb_reader.h"
#include "support/sample_plant.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::Sandbox;

class RunSettings : public ::testing::Test {
  protected:
    static fs::path Site() { return test::ShowcasePlant() / "SmartPlantv4.ini"; }

    // A run with `config` as its /config file.
    static test::ProcessResult Extract(const Sandbox& box, const std::string& config,
                                       std::vector<std::string> more = {}) {
        fs::create_directories(box.app() / "config");
        fs::copy_file(test::SourceDir() / "config" / "default", box.app() / "config" / "default");
        test::WriteFile(box.root() / "c.ini", config);
        std::vector<std::string> args = {"/output", (box.root() / "x.mdb").string(),
                                         "/site",   Site().string(),
                                         "/config", (box.root() / "c.ini").string()};
        if (std::find(more.begin(), more.end(), "/plant") == more.end())
            args.insert(args.end(), {"/plant", "PlantA"});
        args.insert(args.end(), more.begin(), more.end());
        return box.Run(args);
    }
    // A table as header name -> column of values, rows in stored order (mdb-export).
    static std::map<std::string, std::vector<std::string>> Columns(const fs::path& mdb,
                                                                   const std::string& table) {
        const auto r =
            test::RunProcess("/usr/bin/mdb-export", {"-Q", "-d", "|", mdb.string(), table},
                             {{"PATH", "/usr/bin:/bin"}});
        std::map<std::string, std::vector<std::string>> out;
        const auto lines = Split(r.output, "\n");
        if (lines.empty()) return out;
        const auto header = Split(lines[0], "|");
        for (std::size_t i = 1; i < lines.size(); ++i) {
            if (lines[i].empty()) continue;
            const auto cells = Split(lines[i], "|");
            for (std::size_t c = 0; c < header.size() && c < cells.size(); ++c)
                out[header[c]].push_back(cells[c]);
        }
        return out;
    }
    // The value of `column` in the row where `keyColumn` is `key` and `whereColumn` is `where`.
    static std::string Cell(const std::map<std::string, std::vector<std::string>>& t,
                            const std::string& keyColumn, const std::string& key,
                            const std::string& whereColumn, const std::string& where,
                            const std::string& column) {
        if (!t.count(keyColumn) || !t.count(whereColumn) || !t.count(column)) return "<no column>";
        for (std::size_t i = 0; i < t.at(keyColumn).size(); ++i)
            if (t.at(keyColumn)[i] == key && t.at(whereColumn)[i] == where) return t.at(column)[i];
        return "<no row>";
    }
    static std::string InfoSettings(const fs::path& mdb) {
        std::string settings;
        mdb::MdbReader reader(mdb);
        const auto def = reader.Table("_Info");
        std::size_t at = 0;
        while (at < def.columns.size() && def.columns[at].name != "Settings") ++at;
        reader.ForEachRow("_Info", [&](const mdb::Row& row) {
            if (const auto* bytes = std::get_if<mdb::Bytes>(&row.at(at)))
                settings.assign(bytes->begin(), bytes->end());
        });
        return settings;
    }
};

// Others.Drawing_LastModifiedDate/User come from each drawing's newest change in t_history
// (PID-11-01: 2021-04-04 10:00:00 by o'brien; PID-12-01: 2021-02-19 13:21:52 by PLANTADMIN),
// whether or not the Drawings category has keys. V-1101 stands on both drawings.
TEST_F(RunSettings, DrawingDatesOfOthersWithoutDrawings) {
    const std::string items = "[Plantitems]\r\nT_PlantItem.ItemTag=\r\nOthers.Drawing_Name=\r\n";
    struct Case {
        const char* what;
        std::string config;
        std::string date1101, user1101, date1201, user1201;  // "<no column>" where none is wanted
        bool drawingsTable;
    } cases[] = {
        {"date and user, no Drawings",
         items + "Others.Drawing_LastModifiedDate=\r\nOthers.Drawing_LastModifiedUser=\r\n",
         "2021-04-04 10:00:00", "o'brien", "2021-02-19 13:21:52", "PLANTADMIN", false},
        {"user only, no Drawings", items + "Others.Drawing_LastModifiedUser=\r\n", "<no column>",
         "o'brien", "<no column>", "PLANTADMIN", false},
        {"date only, no Drawings", items + "Others.Drawing_LastModifiedDate=\r\n",
         "2021-04-04 10:00:00", "<no column>", "2021-02-19 13:21:52", "<no column>", false},
        {"with Drawings as well",
         items + "Others.Drawing_LastModifiedDate=\r\nOthers.Drawing_LastModifiedUser=\r\n["
                 "Drawings]\r\n"
                 "T_Drawing.Name=\r\n",
         "2021-04-04 10:00:00", "o'brien", "2021-02-19 13:21:52", "PLANTADMIN", true},
    };
    for (const Case& c : cases) {
        Sandbox box;
        const auto r = Extract(box, c.config);
        ASSERT_EQ(r.exitCode, 0) << c.what << "\n" << r.output;
        const fs::path mdb = box.root() / "x.mdb";
        const auto t = Columns(mdb, "Plantitems");
        auto cell = [&](const char* drawing, const char* column) {
            return Cell(t, "ItemTag", "V-1101", "Drawing_Name", drawing, column);
        };
        EXPECT_EQ(cell("PID-11-01", "Drawing_LastModifiedDate"), c.date1101) << c.what;
        EXPECT_EQ(cell("PID-11-01", "Drawing_LastModifiedUser"), c.user1101) << c.what;
        EXPECT_EQ(cell("PID-12-01", "Drawing_LastModifiedDate"), c.date1201) << c.what;
        EXPECT_EQ(cell("PID-12-01", "Drawing_LastModifiedUser"), c.user1201) << c.what;
        EXPECT_EQ(mdb::MdbReader(mdb).HasTable("Drawings"), c.drawingsTable) << c.what;
    }
}

// The run's ini copy holds what a re-extraction needs: the configuration, the saved options of
// frmMain, the site and plant of the run, and its parameters as they were asked.
TEST_F(RunSettings, InfoSettingsHoldTheRun) {
    Sandbox box;
    const fs::path userConfig = box.xdg() / "Morvanex" / "Tarnbrook" / "config.ini";
    fs::create_directories(userConfig.parent_path());
    // chkFromTo asks for From-To, which this version clears for lack of tracing.
    test::WriteFile(
        userConfig,
        "[frmMain]\r\nchkFromTo=1\r\nchkExtractDrawingFiles=0\r\ntxtOutputFile=/srv/out.mdb\r\n"
        "[General]\r\nLastProject=PlantA_Proj1\r\n");
    const auto r =
        Extract(box, "[Plantitems]\r\nT_PlantItem.ItemTag=\r\n",
                {"/plant", "PlantA_Proj1", "/parentplant", "PlantA", "/name", "PID-11-01"});
    ASSERT_EQ(r.exitCode, 0) << r.output;
    ASSERT_NE(r.output.find("ExtractFromTo=1"), std::string::npos) << r.output;
    const IniDocument settings = IniDocument::Parse(InfoSettings(box.root() / "x.mdb"));
    struct Expect {
        const char* section;
        const char* key;
        std::string value;
    } expects[] = {
        {"Plantitems", "T_PlantItem.ItemTag", ""},
        {"Extracted_Plantitems", "T_PlantItem.ItemTag", ""},
        {"frmMain", "chkFromTo", "1"},
        {"frmMain", "chkExtractDrawingFiles", "0"},
        {"frmMain", "txtOutputFile", "/srv/out.mdb"},
        {"SmartPlant Manager", "SiteServer", Site().string()},
        {"SmartPlant Manager", "ActivePlant", "PlantA_Proj1"},
        {"SmartPlant Manager", "ActiveParentPlant", "PlantA"},
        {"Parameters", "PlantGroupIDs", ""},
        {"Parameters", "SelectFilter", ""},
        {"Parameters", "LoadAssociatedDrawings", "0"},
        {"Parameters", "ExtractDrawingFiles", "0"},
        // As asked, not as the run cleared it.
        {"Parameters", "ExtractFromTo", "1"},
    };
    for (const Expect& e : expects)
        EXPECT_EQ(settings.Get(e.section, e.key).value_or("<missing>"), e.value)
            << e.section << "/" << e.key;
    // Only frmMain of the user's file: other sections stay out.
    EXPECT_FALSE(settings.Get("General", "LastProject").has_value());
    // One drawing id, its quotes stored as ".".
    const std::string ids = settings.Get("Parameters", "DrawingIDs").value_or("");
    ASSERT_GE(ids.size(), 3u) << ids;
    EXPECT_EQ(ids.front(), '.');
    EXPECT_EQ(ids.back(), '.');
    EXPECT_EQ(ids.find(','), std::string::npos) << ids;
    EXPECT_EQ(ids.find('\''), std::string::npos) << ids;
}

// A key whose column the plant table lacks: one line naming key, category, table and column; the
// run goes on and the other keys of the table are there.
TEST_F(RunSettings, KeyWithoutPlantColumnIsLogged) {
    Sandbox box;
    const auto r = Extract(
        box,
        "[Eqp_Nozzle]\r\nT_PlantItem.ItemTag_Equipment=\r\nT_Equipment.NoSuchColumn_Equipment=\r\n"
        "t_nozzle.NoSuchColumn_Nozzle=\r\nT_Nozzle.SP_ID=\r\n[Instruments]\r\n"
        "T_PlantItem.ItemTag_Instrument=\r\nT_InlineComp.NoSuchColumn_Instrument=\r\n");
    ASSERT_EQ(r.exitCode, 0) << r.output;
    for (const char* line : {"The attribute T_Equipment.NoSuchColumn_Equipment of Eqp_Nozzle is "
                             "left out: the plant table T_Equipment "
                             "has no column NoSuchColumn.",
                             // The key as configured, whatever the table's spelling.
                             "The attribute t_nozzle.NoSuchColumn_Nozzle of Eqp_Nozzle is left "
                             "out: the plant table T_Nozzle has no "
                             "column NoSuchColumn.",
                             "The attribute T_InlineComp.NoSuchColumn_Instrument of Instruments is "
                             "left out: the plant table "
                             "T_InlineComp has no column NoSuchColumn."})
        EXPECT_NE(r.output.find(line), std::string::npos) << line << "\n" << r.output;
    // The id columns the run adds itself are never reported, nor are keys it can place.
    EXPECT_EQ(r.output.find("SP_EQUIPMENTID"), std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("ItemTag_Equipment of"), std::string::npos) << r.output;
    const auto t = Columns(box.root() / "x.mdb", "Eqp_Nozzle");
    EXPECT_TRUE(t.count("Equipment_ItemTag")) << r.output;
    for (const auto& [name, values] : t)
        EXPECT_EQ(IFind(name, "NoSuch"), std::string::npos) << name;
}

// Code-listed drawing attributes show their code list texts wherever they land: the Drawings
// table, PID, and the Others columns of a category, under an alias shortened past its "Drawing_"
// (SP_ArePropertiesModified) or not. The three active drawings are P&IDs (DocumentCategory 1,
// DocumentType 1), active (ItemStatus 1), SP_ArePropertiesModified 1 ("False" in the Boolean
// list); UpdateCount, a number without a code list, stays a number (1, 1, 2).
TEST_F(RunSettings, CodeListedDrawingAttributesAreDecoded) {
    Sandbox box;
    const auto r =
        Extract(box,
                "[Drawings]\r\nT_Drawing.Name=\r\nT_Drawing.DocumentCategory=\r\n"
                "T_Drawing.DocumentType=\r\nT_Drawing.ItemStatus=\r\n"
                "T_Drawing.SP_ArePropertiesModified=\r\nT_Drawing.UpdateCount=\r\n"
                "[Plantitems]\r\nT_PlantItem.ItemTag=\r\nOthers.Drawing_Name=\r\n"
                "Others.Drawing_DocumentCategory=\r\nOthers.Drawing_SP_ArePropertiesModified=\r\n");
    ASSERT_EQ(r.exitCode, 0) << r.output;
    const fs::path mdb = box.root() / "x.mdb";
    const auto drawings = Columns(mdb, "Drawings");
    const auto items = Columns(mdb, "Plantitems");
    const auto pid = Columns(mdb, "PID");
    struct Case {
        const std::map<std::string, std::vector<std::string>>* table;
        const char* keyColumn;
        const char* key;
        const char* column;
        const char* want;
    } cases[] = {
        {&drawings, "Drawing_Name", "PID-11-01", "Drawing_DocumentCategory",
         "Piping and Instrument Diagram"},
        {&drawings, "Drawing_Name", "PID-11-01", "Drawing_DocumentType", "Process P&ID"},
        {&drawings, "Drawing_Name", "PID-11-01", "Drawing_ItemStatus", "Active"},
        {&drawings, "Drawing_Name", "PID-11-01", "SP_ArePropertiesModified", "False"},
        {&drawings, "Drawing_Name", "PID-11-01", "Drawing_UpdateCount", "1"},
        {&drawings, "Drawing_Name", "PID-12-01", "Drawing_ItemStatus", "Active"},
        {&drawings, "Drawing_Name", "PID-12-02", "SP_ArePropertiesModified", "False"},
        {&drawings, "Drawing_Name", "PID-12-02", "Drawing_UpdateCount", "2"},
        {&pid, "Tag", "V-1101", "SP_ArePropertiesModified", "False"},
        {&pid, "Tag", "V-1101", "Drawing_DocumentCategory", "Piping and Instrument Diagram"},
        {&items, "ItemTag", "V-1101", "SP_ArePropertiesModified", "False"},
        {&items, "ItemTag", "V-1101", "Drawing_DocumentCategory", "Piping and Instrument Diagram"},
        {&items, "ItemTag", "E-1201", "SP_ArePropertiesModified", "False"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Cell(*c.table, c.keyColumn, c.key, c.keyColumn, c.key, c.column), c.want)
            << c.key << " " << c.column;
    // Every row of the three drawings and of the items on them, not only those named above.
    for (const auto* t : {&drawings, &items, &pid}) {
        ASSERT_TRUE(t->count("SP_ArePropertiesModified"));
        for (const std::string& v : t->at("SP_ArePropertiesModified")) EXPECT_EQ(v, "False");
    }
    EXPECT_EQ(drawings.at("Drawing_Name").size(), 3u);
}

}  // namespace
}  // namespace tb
