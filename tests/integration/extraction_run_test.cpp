// The extraction run end to end: the real program on the tiny sample plant, the extract read back
// through our reader and through mdbtools' mdb-export.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>

#include "common/ini.h"
#include "common/text.h"
#include "mdb/mdb_reader.h"
#include "plant_generator.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::Sandbox;

class ExtractionRun : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        plant_ = new test::TempDir;
        sampleplant::Options options;
        options.out = plant_->path() / "plant";
        options.drawings = sampleplant::kShowcaseDrawings;
        sampleplant::GeneratePlant(options);
    }
    static void TearDownTestSuite() {
        delete plant_;
        plant_ = nullptr;
    }

    // The shipped configuration in the sandbox's application folder.
    static void PrepareApp(const Sandbox& box) {
        fs::create_directories(box.app() / "config");
        fs::copy_file(test::SourceDir() / "config" / "default", box.app() / "config" / "default");
    }
    test::ProcessResult Extract(const Sandbox& box, std::vector<std::string> more = {}) const {
        PrepareApp(box);
        std::vector<std::string> args = {"/output", (box.root() / "x.mdb").string(), "/site",
                                         (plant_->path() / "plant" / "SmartPlantv4.ini").string(), "/plant", "PlantA"};
        args.insert(args.end(), more.begin(), more.end());
        return box.Run(args);
    }
    static std::map<std::string, std::uint64_t> Counts(const fs::path& mdb) {
        mdb::MdbReader reader(mdb);
        std::map<std::string, std::uint64_t> out;
        for (const std::string& t : reader.TableNames()) out[t] = reader.ForEachRow(t, [](const mdb::Row&) {});
        return out;
    }
    // One column of a table as mdb-export prints it, rows joined by ";".
    static std::string Export(const fs::path& mdb, const std::string& table) {
        const auto r = test::RunProcess("/usr/bin/mdb-export", {"-H", "-Q", "-d", "|", mdb.string(), table},
                                        {{"PATH", "/usr/bin:/bin"}});
        return r.output;
    }
    static std::vector<std::string> Header(const fs::path& mdb, const std::string& table) {
        const auto r = test::RunProcess("/usr/bin/mdb-export", {"-Q", "-d", "|", mdb.string(), table},
                                        {{"PATH", "/usr/bin:/bin"}});
        return Split(r.output.substr(0, r.output.find('\n')), "|");
    }

    static test::TempDir* plant_;
};

test::TempDir* ExtractionRun::plant_ = nullptr;

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
    const std::set<std::string> expected = {"Codelist_cp", "Drawings", "Eqp_Nozzle", "InlineComp_Prun",
                                            "Instruments", "ItemNotes", "OPCs", "PID", "Plantitems", "T_LABELPERSIST",
                                            "Task", "_Glossary", "_Info", "m_cp", "ATTRIBUTES_cp"};
    std::set<std::string> names;
    for (const auto& [t, n] : counts) names.insert(t);
    EXPECT_EQ(names, expected) << listing;

    // Task names the categories that exist.
    EXPECT_EQ(Export(mdb, "Task"), "Drawings\nInlineComp_Prun\nEqp_Nozzle\nPlantitems\nInstruments\nItemNotes\nOPCs\n");
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
    for (const char* column : {"SP_ID", "ItemTag", "PlantItemType", "Drawing_Name", "Quantity", "ID"})
        EXPECT_NE(std::find(items.begin(), items.end(), column), items.end()) << column << " of " << Join(items, ",");
    const std::string plantItems = Export(mdb, "Plantitems");
    EXPECT_NE(plantItems.find("V-1101"), std::string::npos);
    // V-1101 stands on two drawings: rows of both; its type is decoded.
    std::set<std::string> drawingsOfV1101;
    for (const std::string& line : Split(plantItems, "\n"))
        if (line.starts_with("V-1101|")) {
            EXPECT_NE(line.find("|Equipment|"), std::string::npos) << line;
            for (const char* d : {"PID-11-01", "PID-12-01"})
                if (line.find(std::string("|") + d + "|") != std::string::npos) drawingsOfV1101.insert(d);
        }
    EXPECT_EQ(drawingsOfV1101.size(), 2u);
    // _Info holds its one row with the application's name.
    EXPECT_EQ(counts.at("_Info"), 1u);
    EXPECT_NE(Export(mdb, "_Info").find("Tarnbrook"), std::string::npos);
    // No working table and nothing left in the plant folder or the temporary folder.
    for (const auto& e : fs::directory_iterator(box.temp())) EXPECT_EQ(e.path().filename(), "Tarnbrook");
}

TEST_F(ExtractionRun, FailuresLeaveNoExtract) {
    struct Case {
        const char* what;
        std::string config;  // contents of a /config file; empty: none
        std::vector<std::string> more;
        std::string message;
    } cases[] = {
                // A category section without keys: the plant counts as configured, with nothing.
        {"no attributes", "[General]\r\nAllLoops=0\r\n[Plantitems]\r\n", {}, "Please configure desired attributes for your project."},
        {"pbs finds nothing", {}, {"/pbs", "\\NoSuchArea"}, "Cannot find any plant group and drawing using PBS"},
        {"unit code finds nothing", {}, {"/unitcode", "99"}, "Cannot find any plant group using unitcode 99"},
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
            const bool kept = std::find(c.drawings.begin(), c.drawings.end(), name) != c.drawings.end();
            EXPECT_EQ(pid.find(std::string("|") + name + "|") != std::string::npos, kept) << c.what << " " << name;
        }
    }
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
        fs::copy(plant_->path() / "plant", plant, fs::copy_options::recursive);
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
