// The post-processors of the run on the tiny sample plant, read back through mdb-export: the
// connected items, the OPCs category, the run and label statistics, the duct runs and the drawing
// files, for the plant's deliberate edge cases.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "common/ini.h"
#include "common/text.h"
#include "support/sample_plant.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::Sandbox;

using Row = std::map<std::string, std::string>;
using Table = std::vector<Row>;

class PostProcessors : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        shared_.Run([] {
            box_ = new Sandbox;
            run_ = new test::ProcessResult(Extract(*box_, test::ShowcasePlant()));
        });
    }
    // A failed shared set-up fails each test instead of leaving them skipped.
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(shared_.Check()); }
    static inline tb::test::SharedSetUp shared_;
    static void TearDownTestSuite() {
        delete run_;
        delete box_;
        run_ = nullptr;
        box_ = nullptr;
    }

    // A run with duct runs on (and a client version that has them) and drawing files asked for.
    static test::ProcessResult Extract(const Sandbox& box, const fs::path& plant) {
        fs::create_directories(box.app() / "config");
        fs::copy_file(test::SourceDir() / "config" / "default", box.app() / "config" / "default",
                      fs::copy_options::overwrite_existing);
        test::WriteFile(box.app() / "tarnbrook.ini",
                        "[Settings]\r\nDuctRuns=1\r\nPIDVersion=09.00\r\n");
        const fs::path user = box.xdg() / "Morvanex" / "Tarnbrook";
        fs::create_directories(user);
        test::WriteFile(user / "config.ini", "[frmMain]\r\nchkExtractDrawingFiles=1\r\n");
        // The shipped attributes as the plant's configuration, with the piping label files.
        std::string config =
            ReplaceAll(test::ReadFile(test::SourceDir() / "config" / "default"), "[PlantA_", "[");
        config += "\n[Labels]\nPiping=Line Number.sym;Flow Direction.sym;Nominal Diameter.sym\n";
        test::WriteFile(box.root() / "attributes.ini", config);
        return box.Run({"/output", (box.root() / "x.mdb").string(), "/site",
                        (plant / "SmartPlantv4.ini").string(), "/plant", "PlantA", "/config",
                        (box.root() / "attributes.ini").string()});
    }

    static Table Export(const fs::path& mdb, const std::string& table) {
        const auto r =
            test::RunProcess("/usr/bin/mdb-export", {"-Q", "-d", "\t", mdb.string(), table},
                             {{"PATH", "/usr/bin:/bin"}});
        Table out;
        std::vector<std::string> header;
        for (const std::string& line : Split(r.output, "\n")) {
            if (line.empty()) continue;
            const std::vector<std::string> cells = Split(line, "\t");
            if (header.empty()) {
                header = cells;
                continue;
            }
            Row row;
            for (std::size_t i = 0; i < header.size() && i < cells.size(); ++i)
                row[header[i]] = cells[i];
            out.push_back(std::move(row));
        }
        return out;
    }
    static fs::path Mdb() { return box_->root() / "x.mdb"; }

    // The model ids of PID by tag, and a tag for ids (nozzles as "<equipment> <nozzle>").
    static std::map<std::string, std::string> Names() {
        std::map<std::string, std::string> names;
        for (const Row& r : Export(Mdb(), "PID"))
            if (!r.at("Tag").empty()) names.emplace(r.at("SP_ID"), r.at("Tag"));
        for (const Row& r : Export(Mdb(), "Eqp_Nozzle"))
            if (!r.at("Nozzle_sp_id").empty())
                names[r.at("Nozzle_sp_id")] =
                    r.at("Equipment_ItemTag") + " " + r.at("Nozzle_ItemTag");
        return names;
    }
    static std::string Of(const std::map<std::string, std::string>& names, const std::string& id) {
        const auto it = names.find(id);
        return it == names.end() ? (id.empty() ? "<null>" : "?") : it->second;
    }

    static Sandbox* box_;
    static test::ProcessResult* run_;
};

Sandbox* PostProcessors::box_ = nullptr;
test::ProcessResult* PostProcessors::run_ = nullptr;

TEST_F(PostProcessors, InstrumentsReachTheirItems) {
    ASSERT_EQ(run_->exitCode, 0) << run_->output;
    const auto names = Names();
    std::map<std::string, std::set<std::string>> reached;
    for (const Row& r : Export(Mdb(), "Instruments"))
        reached[r.at("Instrument_ItemTag")].insert(Of(names, r.at("Instrument_ConnectedItemID")));
    const std::map<std::string, std::string> expected = {
        {"PI-1102", "V-1101 N4"},   // through the vent valve of a run of type 2
        {"PSV-1101", "V-1101 N5"},  // a zero-length run to the nozzle
        {"PSV-1201", " N5"},        // the same on the rear head of E-1201, an untagged section
        {"LSH-1101", "V-1101 N6"},  // through the avoid item LT-1101
        {"TT-1103", "11003-P"},     // through the avoid item TE-1103
        {"FE-1101", "11003-P"},     // inline instruments get their run
        {"FV-1101", "11003-P"},    {"FT-1101", "11003-P"},  // on the inline instrument FE-1101
        {"TI-1201", "12001-P"},
    };
    for (const auto& [tag, item] : expected)
        EXPECT_EQ(reached[tag], std::set<std::string>{item}) << tag;
}

TEST_F(PostProcessors, NozzlesAndMultiRep) {
    ASSERT_EQ(run_->exitCode, 0) << run_->output;
    const auto names = Names();
    std::map<std::string, std::set<std::string>> pipes, multi;
    for (const Row& r : Export(Mdb(), "Eqp_Nozzle")) {
        const std::string nozzle = r.at("Equipment_ItemTag") + " " + r.at("Nozzle_ItemTag");
        pipes[nozzle].insert(Of(names, r.at("Nozzle_ConnectedItemID")));
        multi[r.at("Equipment_ItemTag")].insert(r.at("MultiRep"));
    }
    EXPECT_EQ(pipes["V-1101 N1"], std::set<std::string>{"11001-P"});
    EXPECT_EQ(pipes["V-1101 N4"], std::set<std::string>{"11007-P"});
    EXPECT_EQ(pipes["V-1101 N5"], std::set<std::string>{"11009-P"});
    EXPECT_EQ(pipes["V-1101 N7"], std::set<std::string>{"<null>"});  // a manhole has no pipe
    EXPECT_EQ(pipes["P-1101A N2"], std::set<std::string>{"11003-P"});
    // V-1101 stands on PID-11-01 and PID-12-01: every row of it says so.
    EXPECT_EQ(multi["V-1101"], std::set<std::string>{"True"});
    for (const char* one : {"P-1101A", "P-1101B", "E-1201", "T-1202", "F-1202"})
        EXPECT_EQ(multi[one], std::set<std::string>{"False"}) << one;
}

TEST_F(PostProcessors, OffPageConnectors) {
    ASSERT_EQ(run_->exitCode, 0) << run_->output;
    const auto names = Names();
    std::multiset<std::string> rows;
    for (const Row& r : Export(Mdb(), "OPCs")) {
        // The run of the connector's end, folded from the two ends, and the run's attributes.
        EXPECT_EQ(r.at("Plantitem_itemtag"), Of(names, r.at("Plantitem_sp_id")))
            << r.at("Opc_opctag");
        EXPECT_EQ(r.at("Piperun_sp_id"), r.at("Plantitem_sp_id")) << r.at("Opc_opctag");
        EXPECT_NE(r.at("ConnectedItemID"), r.at("Opc_sp_id"));
        rows.insert(r.at("Opc_opctag") + "@" + r.at("Drawing_Name") + ":" +
                    r.at("Plantitem_itemtag") + ":" + r.at("Piperun_operfluidcode"));
    }
    EXPECT_EQ(rows, (std::multiset<std::string>{
                        "OPC-11001@PID-11-01:11001-P:P", "OPC-1103@PID-11-01:11003-P:P",
                        "OPC-1103@PID-12-01:11003-P:P", "OPC-1202@PID-12-01:12001-P:P",
                        "OPC-1202@PID-12-02:12001-P:P", "FL-HDR@PID-11-01:11010-FL:FL",
                        "LS-HDR@PID-12-01:12002-LS:6", "SC-HDR@PID-12-01:12004-SC:SC"}));
    std::map<std::string, std::string> far;
    for (const Row& r : Export(Mdb(), "OPCs"))
        far[r.at("Opc_opctag") + "@" + r.at("Drawing_Name")] = Of(names, r.at("ConnectedItemID"));
    EXPECT_EQ(far["OPC-1202@PID-12-02"], "T-1202 N1");
    EXPECT_EQ(far["SC-HDR@PID-12-01"], "SP-12001");
}

TEST_F(PostProcessors, RunStatistics) {
    ASSERT_EQ(run_->exitCode, 0) << run_->output;
    std::map<std::string, std::set<std::string>> notConnected;
    std::map<std::string, std::string> labels;
    const auto names = Names();
    for (const Row& r : Export(Mdb(), "InlineComp_Prun")) {
        notConnected[r.at("PipeRun_ItemTag")].insert(r.at("NotConnectedRuns"));
        labels[Of(names, r.at("Piperun_sp_id")) + "@" + r.at("Drawing_Name")] =
            r.at("NumberOfLabels");
    }
    // 11002-P: two runs joined by the reducer, a third (the drain) on another drawing.
    EXPECT_EQ(notConnected["11002-P"], std::set<std::string>{"1"});
    // One tag continued by an off-page pair, a loop of one tag, a single run.
    for (const char* sound : {"11003-P", "12001-P", "11001-P", "12007-MS"})
        EXPECT_EQ(notConnected[sound], std::set<std::string>{"0"}) << sound;
    EXPECT_NE(run_->output.find("11002-P..."), std::string::npos);
    // Labels: counted per run; a zero-length stub without labels and instrument runs are Null,
    // one with labels keeps its count.
    EXPECT_EQ(labels["11001-P@PID-11-01"], "1");
    EXPECT_EQ(labels["11009-P@PID-11-01"], "");
    EXPECT_EQ(labels["12007-MS@PID-12-01"], "2");
    EXPECT_EQ(labels["12004-SC@PID-12-01"], "0");
}

TEST_F(PostProcessors, DuctRunsWithAndWithoutComponents) {
    ASSERT_EQ(run_->exitCode, 0) << run_->output;
    std::multiset<std::string> rows;
    for (const Row& r : Export(Mdb(), "DuctRuns"))
        rows.insert(r.at("DuctRun_ItemTag") + ":" + r.at("Ductingcomp_ductingcomptype"));
    EXPECT_EQ(rows, (std::multiset<std::string>{"D-1201:Fire Damper", "D-1201:Volume Damper",
                                                "D-1202:"}));
}

TEST_F(PostProcessors, DrawingFilesWithADuplicateBaseName) {
    ASSERT_EQ(run_->exitCode, 0) << run_->output;
    const std::string& out = run_->output;
    EXPECT_NE(
        out.find("Copying PID files to directory '" + (box_->root() / "igr").string() + "/'..."),
        std::string::npos)
        << out;
    EXPECT_NE(out.find("Drawing count is 3"), std::string::npos);
    // PID-12-02's file is also called PID-11-01.pid: two copies, one file, both counted.
    EXPECT_NE(out.find("Copying PID files done, 3 igr files copied"), std::string::npos);
    std::set<std::string> files;
    for (const auto& e : fs::directory_iterator(box_->root() / "igr"))
        files.insert(e.path().filename().string());
    EXPECT_EQ(files, (std::set<std::string>{"PID-11-01.igr", "PID-12-01.igr"}));
}

TEST_F(PostProcessors, EmptyPathAndMissingFile) {
    Sandbox box;
    const fs::path plant = box.root() / "plant";
    fs::copy(test::ShowcasePlant(), plant, fs::copy_options::recursive);
    IniWrite(plant / "SmartPlantv4.ini", "SITESCHEMA", std::string("DBSERVER"), plant.string());
    // The plant folders of the copy.
    test::RunProcess("/usr/bin/sqlite3",
                     {(plant / "TBSITE.db").string(), "UPDATE T_RootItem SET Path=replace(Path, '" +
                                                          (test::ShowcasePlant()).string() +
                                                          "', '" + plant.string() + "')"},
                     {{"PATH", "/usr/bin:/bin"}});
    test::RunProcess("/usr/bin/sqlite3",
                     {(plant / "PLANTAPID.db").string(),
                      "UPDATE T_Drawing SET Path=NULL WHERE Name='PID-12-01'"},
                     {{"PATH", "/usr/bin:/bin"}});
    fs::remove(plant / "PlantA" / "Area10" / "Unit12" / "U12-S1" / "PID-11-01.pid");
    const auto r = Extract(box, plant);
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_NE(r.output.find("Empty Drawing_Path found"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("Error: Copying file '"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("U12-S1/PID-11-01.pid' to '" +
                            (box.root() / "igr" / "PID-11-01.igr").string() + "'"),
              std::string::npos)
        << r.output;
    EXPECT_NE(r.output.find("Copying PID files done, 1 igr files copied"), std::string::npos)
        << r.output;
}

TEST_F(PostProcessors, TwoRunsGiveTheSameTables) {
    ASSERT_EQ(run_->exitCode, 0) << run_->output;
    Sandbox box;
    const auto again = Extract(box, test::ShowcasePlant());
    ASSERT_EQ(again.exitCode, 0) << again.output;
    for (const char* table : {"Eqp_Nozzle", "Instruments", "OPCs", "InlineComp_Prun", "DuctRuns"}) {
        const auto a = test::RunProcess("/usr/bin/mdb-export", {Mdb().string(), table},
                                        {{"PATH", "/usr/bin:/bin"}});
        const auto b =
            test::RunProcess("/usr/bin/mdb-export", {(box.root() / "x.mdb").string(), table},
                             {{"PATH", "/usr/bin:/bin"}});
        EXPECT_FALSE(a.output.empty()) << table;
        EXPECT_EQ(a.output, b.output) << table;
    }
}

}  // namespace
}  // namespace tb
