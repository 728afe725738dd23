// The extraction run end to end: the real program on the tiny sample plant, the extract read back
// through our reader and through mdbtools' mdb-export.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>

#include "common/ini.h"
#include "common/text.h"
#include "mdb/mdb_reader.h"
#include "support/sample_plant.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::Sandbox;

class ExtractionRun : public ::testing::Test {
  protected:
    // The shipped configuration in the sandbox's application folder.
    static void PrepareApp(const Sandbox& box) {
        fs::create_directories(box.app() / "config");
        fs::copy_file(test::SourceDir() / "config" / "default", box.app() / "config" / "default");
    }
    test::ProcessResult Extract(const Sandbox& box, std::vector<std::string> more = {}) const {
        PrepareApp(box);
        std::vector<std::string> args = {"/output", (box.root() / "x.mdb").string(), "/site",
                                         (test::ShowcasePlant() / "SmartPlantv4.ini").string()};
        if (std::find(more.begin(), more.end(), "/plant") == more.end())
            args.insert(args.end(), {"/plant", "PlantA"});
        args.insert(args.end(), more.begin(), more.end());
        return box.Run(args);
    }
    static std::map<std::string, std::uint64_t> Counts(const fs::path& mdb) {
        mdb::MdbReader reader(mdb);
        std::map<std::string, std::uint64_t> out;
        for (const std::string& t : reader.TableNames())
            out[t] = reader.ForEachRow(t, [](const mdb::Row&) {});
        return out;
    }
    // One column of a table as mdb-export prints it, rows joined by ";".
    static std::string Export(const fs::path& mdb, const std::string& table) {
        const auto r =
            test::RunProcess("/usr/bin/mdb-export", {"-H", "-Q", "-d", "|", mdb.string(), table},
                             {{"PATH", "/usr/bin:/bin"}});
        return r.output;
    }
    static std::vector<std::string> Header(const fs::path& mdb, const std::string& table) {
        const auto r =
            test::RunProcess("/usr/bin/mdb-export", {"-Q", "-d", "|", mdb.string(), table},
                             {{"PATH", "/usr/bin:/bin"}});
        return Split(r.output.substr(0, r.output.find('\n')), "|");
    }
};

TEST_F(ExtractionRun, TinyPlantTableByTable) {
    Sandbox box;
    const auto r = Extract(box);
    ASSERT_EQ(r.exitCode, 0) << r.output;
    const fs::path mdb = box.root() / "x.mdb";
    EXPECT_NE(r.output.find(mdb.string() + " extracted"), std::string::npos) << r.output;
    const auto counts = Counts(mdb);
    std::string listing;
    for (const auto& [t, n] : counts) listing += t + "=" + std::to_string(n) + " ";
    // The categories of the default configuration that this version builds, the closing tables,
    // and the kept working tables; nothing else.
    const std::set<std::string> expected = {
        "Codelist_cp", "Drawings", "Eqp_Nozzle",   "InlineComp_Prun", "Instruments", "ItemNotes",
        "OPCs",        "PID",      "Plantitems",   "T_LABELPERSIST",  "Task",        "_Glossary",
        "_Info",       "m_cp",     "ATTRIBUTES_cp"};
    std::set<std::string> names;
    for (const auto& [t, n] : counts) names.insert(t);
    EXPECT_EQ(names, expected) << listing;

    // Task names the categories that exist.
    EXPECT_EQ(Export(mdb, "Task"),
              "Drawings\nInlineComp_Prun\nEqp_Nozzle\nPlantitems\nInstruments\nItemNotes\nOPCs\n");
    // PID: the representations of the three drawings in use (the deleted one is left out); the
    // graphic id is the drawing's name, "_" and the graphic OID.
    EXPECT_GT(counts.at("PID"), 100u);
    const std::string pid = Export(mdb, "PID");
    EXPECT_EQ(pid.find("PID-11-02"), std::string::npos);
    const auto pidHeader = Header(mdb, "PID");
    EXPECT_NE(std::find(pidHeader.begin(), pidHeader.end(), "GraphicID"), pidHeader.end());
    EXPECT_NE(pid.find("PID-11-01_101"), std::string::npos);
    // Drawings: the three drawings in use (the default configuration has no revision columns,
    // so there is one row per drawing).
    EXPECT_EQ(counts.at("Drawings"), 3u) << listing;
    // Plantitems: configured and fixed columns, decoded plant item types.
    const auto items = Header(mdb, "Plantitems");
    for (const char* column :
         {"SP_ID", "ItemTag", "PlantItemType", "Drawing_Name", "Quantity", "ID"})
        EXPECT_NE(std::find(items.begin(), items.end(), column), items.end())
            << column << " of " << Join(items, ",");
    const std::string plantItems = Export(mdb, "Plantitems");
    EXPECT_NE(plantItems.find("V-1101"), std::string::npos);
    // V-1101 stands on two drawings: rows of both; its type is decoded.
    std::set<std::string> drawingsOfV1101;
    for (const std::string& line : Split(plantItems, "\n"))
        if (line.starts_with("V-1101|")) {
            EXPECT_NE(line.find("|Equipment|"), std::string::npos) << line;
            for (const char* d : {"PID-11-01", "PID-12-01"})
                if (line.find(std::string("|") + d + "|") != std::string::npos)
                    drawingsOfV1101.insert(d);
        }
    EXPECT_EQ(drawingsOfV1101.size(), 2u);
    // Without "AllLoops" a loop without instruments has no row.
    EXPECT_EQ(Export(mdb, "Instruments").find("|P-1199|"), std::string::npos);
    // _Info holds its one row with the application's name.
    EXPECT_EQ(counts.at("_Info"), 1u);
    EXPECT_NE(Export(mdb, "_Info").find("Tarnbrook"), std::string::npos);
    // No working table and nothing left in the plant folder or the temporary folder.
    for (const auto& e : fs::directory_iterator(box.temp()))
        EXPECT_EQ(e.path().filename(), "Tarnbrook");
}

TEST_F(ExtractionRun, FailuresLeaveNoExtract) {
    struct Case {
        const char* what;
        std::string config;  // contents of a /config file; empty: none
        std::vector<std::string> more;
        std::string message;
    } cases[] = {
        // A category section without keys: the plant counts as configured, with nothing.
        {"no attributes",
         "[General]\r\nAllLoops=0\r\n[Plantitems]\r\n",
         {},
         "Please configure desired attributes for your project."},
        {"pbs finds nothing",
         {},
         {"/pbs", "\\NoSuchArea"},
         "Cannot find any plant group and drawing using PBS"},
        {"unit code finds nothing",
         {},
         {"/unitcode", "99"},
         "Cannot find any plant group using unitcode 99"},
        {"name finds nothing", {}, {"/name", "PID-99-99"}, "Cannot find any drawing using name"},
    };
    for (const Case& c : cases) {
        Sandbox box;
        std::vector<std::string> more = c.more;
        if (!c.config.empty()) {
            test::WriteFile(box.root() / "c.ini", c.config);
            more.insert(more.end(), {"/config", (box.root() / "c.ini").string()});
        }
        const auto r = Extract(box, more);
        EXPECT_EQ(r.exitCode, 1) << c.what << "\n" << r.output;
        EXPECT_NE(r.output.find(c.message), std::string::npos) << c.what << "\n" << r.output;
        EXPECT_FALSE(fs::exists(box.root() / "x.mdb")) << c.what;
    }
}

TEST_F(ExtractionRun, SelectionRestrictsTheExtract) {
    struct Case {
        const char* what;
        std::vector<std::string> more;
        std::vector<std::string> drawings;  // the drawing names PID keeps
    } cases[] = {
        {"name", {"/name", "PID-12-01"}, {"PID-12-01"}},
        {"unit code", {"/unitcode", "11"}, {"PID-11-01"}},
        {"pbs of a unit and below", {"/pbs", "Area10\\Unit12*"}, {"PID-12-01", "PID-12-02"}},
        {"exclude", {"/exclude", "*-12-*"}, {"PID-11-01"}},
    };
    for (const Case& c : cases) {
        Sandbox box;
        const auto r = Extract(box, c.more);
        ASSERT_EQ(r.exitCode, 0) << c.what << "\n" << r.output;
        const std::string pid = Export(box.root() / "x.mdb", "PID");
        for (const char* name : {"PID-11-01", "PID-12-01", "PID-12-02"}) {
            const bool kept =
                std::find(c.drawings.begin(), c.drawings.end(), name) != c.drawings.end();
            EXPECT_EQ(pid.find(std::string("|") + name + "|") != std::string::npos, kept)
                << c.what << " " << name;
        }
    }
}

// Columns that depend on the configuration: revisions of the drawings, case values, and loops
// without instruments with "AllLoops" on.
TEST_F(ExtractionRun, ConfiguredColumns) {
    Sandbox box;
    // The shipped configuration with the plant's prefix taken off its sections, plus revisions.
    std::string config = ReadFile(test::SourceDir() / "config" / "default");
    for (std::size_t at; (at = config.find("[PlantA_")) != std::string::npos;)
        config.erase(at + 1, 7);
    const std::string revisions =
        "T_Revision.SP_MajorRevisionNumber=\r\nOthers.Last-1Revision=\r\n"
        "Others.Last-2Revision=\r\n";
    config.insert(config.find("Others.FirstRevision="), revisions);
    config = "[General]\r\nAllLoops=1\r\n" + config;
    test::WriteFile(box.root() / "c.ini", config);
    const auto r = Extract(box, {"/config", (box.root() / "c.ini").string()});
    ASSERT_EQ(r.exitCode, 0) << r.output;
    const fs::path mdb = box.root() / "x.mdb";

    // One row per revision; last, last but one, last but two and first revision per drawing, newest
    // first by revision date (PID-11-01: A/0, B without minor number, 0/1).
    const auto drawingHeader = Header(mdb, "Drawings");
    auto column = [](const std::vector<std::string>& header, const std::string& name) {
        const auto it = std::find(header.begin(), header.end(), name);
        EXPECT_NE(it, header.end()) << name << " in " << Join(header, ",");
        return static_cast<std::size_t>(it - header.begin());
    };
    std::map<std::string, std::string> revisionsOf;
    int rows = 0;
    for (const std::string& line : Split(Export(mdb, "Drawings"), "\n")) {
        if (line.empty()) continue;
        ++rows;
        const auto f = Split(line, "|");
        revisionsOf[f[column(drawingHeader, "Drawing_Name")]] =
            f[column(drawingHeader, "LastRevision")] + "," +
            f[column(drawingHeader, "Last-1Revision")] + "," +
            f[column(drawingHeader, "Last-2Revision")] + "," +
            f[column(drawingHeader, "FirstRevision")];
    }
    EXPECT_EQ(rows, 5);  // 3 + 1 revisions, and PID-12-02 without any
    EXPECT_EQ(revisionsOf["PID-11-01"], "01,B,A0,A0");
    EXPECT_EQ(revisionsOf["PID-12-01"], "A0,,,");  // the first revision went with the removals
    EXPECT_EQ(revisionsOf["PID-12-02"], ",,,");

    // Case values of runs and of a control valve.
    struct Expect {
        const char* table;
        const char* key;  // a text the row holds
        const char* columnName;
        const char* value;
    } expects[] = {
        {"InlineComp_Prun", "|FE-1101|", "PipeRun_ProcessDesign_Max_Pressure",
         "16.0 barg"},  // on 11003-P
        {"Instruments", "|FV-1101|", "Instrument_ControlCase_Max_SetPoint", "12.0 barg"},
        // A loop without instruments is a row of its own.
        {"Instruments", "|P-1199|", "InstrLoop_ItemTag", "P-1199"},
    };
    for (const Expect& e : expects) {
        const auto header = Header(mdb, e.table);
        const std::size_t at = column(header, e.columnName);
        bool found = false;
        for (const std::string& line : Split(Export(mdb, e.table), "\n"))
            if (line.find(e.key) != std::string::npos) {
                found = true;
                EXPECT_EQ(Split(line, "|")[at], e.value) << e.table << " " << e.key;
            }
        EXPECT_TRUE(found) << e.table << " " << e.key;
    }
}

// Ctrl+C during a run: the run ends at its next test of the cancel flag, with exit code 1, no
// extract and no store left behind.
TEST_F(ExtractionRun, InterruptCancelsTheRun) {
    Sandbox box;
    PrepareApp(box);
    const auto r =
        box.Run({"/output", (box.root() / "x.mdb").string(), "/site",
                 (test::ShowcasePlant() / "SmartPlantv4.ini").string(), "/plant", "PlantA"},
                "Extracting t_plantitem...");
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_NE(r.output.find("Cancelled."), std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("extracted"), std::string::npos) << r.output;
    EXPECT_FALSE(fs::exists(box.root() / "x.mdb"));
    for (const auto& e : fs::directory_iterator(box.temp()))
        EXPECT_EQ(e.path().filename(), "Tarnbrook");
}

// The as-built name of a child plant is its parent's.
TEST_F(ExtractionRun, AsBuiltNameOfAChildPlant) {
    Sandbox box;
    const auto r = Extract(box, {"/plant", "PlantA_Proj1", "/parentplant", "PlantA"});
    ASSERT_EQ(r.exitCode, 0) << r.output;
    const auto header = Header(box.root() / "x.mdb", "_Info");
    const auto values = Split(Export(box.root() / "x.mdb", "_Info"), "|");
    ASSERT_EQ(header.back(), "AsBuilt_Name");
    EXPECT_EQ(values.back(), "PlantA\n");
    EXPECT_NE(Export(box.root() / "x.mdb", "_Info").find("|PlantA_Proj1|"), std::string::npos);
}

}  // namespace
}  // namespace tb

namespace tb {
namespace {

// A plant that cannot be opened, and a plant that lacks a table the run reads: exit code 1, the
// cause on the console, no extract, and nothing new in the plant's folder.
TEST_F(ExtractionRun, BrokenPlantsLeaveNoExtract) {
    struct Case {
        const char* what;
        std::function<void(const fs::path& plant)> damage;
        std::string message;
    } cases[] = {
        {"no plant files",
         [](const fs::path& plant) {
             for (const auto& e : fs::directory_iterator(plant))
                 if (e.path().extension() == ".db") fs::remove(e.path());
         },
         "does not exist."},
        {"missing plant table",
         [](const fs::path& plant) {
             test::RunProcess("/usr/bin/sqlite3",
                              {(plant / "PLANTAPID.db").string(), "DROP TABLE T_Nozzle"},
                              {{"PATH", "/usr/bin:/bin"}});
         },
         "T_Nozzle"},
    };
    for (const Case& c : cases) {
        Sandbox box;
        PrepareApp(box);
        const fs::path plant = box.root() / "plant";
        fs::copy(test::ShowcasePlant(), plant, fs::copy_options::recursive);
        IniWrite(plant / "SmartPlantv4.ini", "SITESCHEMA", std::string("DBSERVER"), plant.string());
        c.damage(plant);
        std::set<fs::path> before;
        for (const auto& e : fs::recursive_directory_iterator(plant)) before.insert(e.path());
        const auto r = box.Run({"/output", (box.root() / "x.mdb").string(), "/site",
                                (plant / "SmartPlantv4.ini").string(), "/plant", "PlantA"});
        EXPECT_EQ(r.exitCode, 1) << c.what << "\n" << r.output;
        EXPECT_NE(r.output.find(c.message), std::string::npos) << c.what << "\n" << r.output;
        EXPECT_FALSE(fs::exists(box.root() / "x.mdb")) << c.what;
        std::set<fs::path> after;
        for (const auto& e : fs::recursive_directory_iterator(plant)) after.insert(e.path());
        EXPECT_EQ(before, after) << c.what;
    }
}

}  // namespace
}  // namespace tb
