// Keys outside the shipped configuration that the category chains place: every plant group side,
// the instruments' inline component columns and the item timestamp, on the tiny sample plant,
// with values read by hand from its plant files.
#include <gtest/gtest.h>

#include <map>

#include "common/text.h"
#include "support/sample_plant.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::Sandbox;

constexpr const char* kConfig =
    "[General]\r\nAllLoops=0\r\n"
    "[InlineComp_Prun]\r\nT_PlantItem.ItemTag_PipeRun=\r\nT_PlantItem.ItemTag_InlineComp=\r\n"
    "t_plantgroup.PlantGroup_InlineComp=\r\nt_plantgroup.UnitCode_PipeRun=\r\nt_plantgroup."
    "ParentPlantGroup=\r\n"
    "t_instrfunction.FunctionType_Instrument=\r\nT_InstrFailMode.FailureAction_Instrument=\r\n"
    "T_InstrFailMode.FailureActionLow_Instrument=\r\n"
    "[Eqp_Nozzle]\r\nT_PlantItem.ItemTag_Equipment=\r\nT_PlantItem.ItemTag_Nozzle=\r\n"
    "t_plantgroup.PlantGroup_Nozzle=\r\nt_plantgroup.PlantGroup_Equipment=\r\n"
    "[Plantitems]\r\nT_PlantItem.ItemTag=\r\nOthers.SP_MODELITEMTIMESTAMP=\r\n"
    "[Instruments]\r\nT_PlantItem.ItemTag_Instrument=\r\nT_PlantItem.ItemTag_Instrloop=\r\n"
    "t_inlinecomp.NominalDiameter_Instrument=\r\nt_inlinecomp.NominalDiameter_Instrloop=\r\n"
    "t_plantgroup.PlantGroup_Instrloop=\r\n"
    "[ItemNotes]\r\nT_Note.NoteText=\r\nt_plantgroup.PlantGroup=\r\nOthers.SP_MODELITEMTIMESTAMP="
    "\r\n"
    "[DuctRuns]\r\nT_PlantItem.ItemTag_DuctRun=\r\nt_plantgroup.PlantGroup_DuctRun=\r\n"
    "t_plantgroup.UnitCode_InlineComp=\r\n";

// A table as mdb-export prints it: the header and the rows, split at "|".
struct Table {
    std::vector<std::string> header;
    std::vector<std::vector<std::string>> rows;
    std::size_t Column(std::string_view name) const {
        for (std::size_t i = 0; i < header.size(); ++i)
            if (IEquals(header[i], name)) return i;
        return header.size();
    }
};

class ChainKeys : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        shared_.Run([] {
            box_ = new Sandbox;
            fs::create_directories(box_->app() / "config");
            fs::copy_file(test::SourceDir() / "config" / "default",
                          box_->app() / "config" / "default");
            // DuctRuns are built only with the setting and a client version that has them.
            test::WriteFile(box_->app() / "tarnbrook.ini",
                            "[Settings]\r\nDuctRuns=1\r\nPIDVersion=09.00\r\n");
            test::WriteFile(box_->root() / "c.ini", kConfig);
            run_ = new test::ProcessResult(
                box_->Run({"/output", Mdb().string(), "/site",
                           (test::ShowcasePlant() / "SmartPlantv4.ini").string(), "/plant",
                           "PlantA", "/config", (box_->root() / "c.ini").string()}));
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
    static fs::path Mdb() { return box_->root() / "x.mdb"; }
    static Table Read(const std::string& table) {
        const auto r =
            test::RunProcess("/usr/bin/mdb-export", {"-Q", "-d", "|", Mdb().string(), table},
                             {{"PATH", "/usr/bin:/bin"}});
        Table out;
        for (const std::string& line : Split(r.output, "\n")) {
            if (line.empty()) continue;
            if (out.header.empty())
                out.header = Split(line, "|");
            else
                out.rows.push_back(Split(line, "|"));
        }
        return out;
    }

    static Sandbox* box_;
    static test::ProcessResult* run_;
};

Sandbox* ChainKeys::box_ = nullptr;
test::ProcessResult* ChainKeys::run_ = nullptr;

// Each row whose `by` column holds `item` holds `value` in `column`; at least one such row.
TEST_F(ChainKeys, ColumnsAndValues) {
    ASSERT_EQ(run_->exitCode, 0) << run_->output;
    struct Case {
        const char* table;
        const char* by;
        const char* item;
        const char* column;
        const char* value;
    } cases[] = {
        // Inline instruments: their own t_inlinecomp row, decoded; others have none. A loop is no
        // inline component.
        {"Instruments", "Instrument_ItemTag", "FE-1101", "Instrument_NominalDiameter", "3\""},
        {"Instruments", "Instrument_ItemTag", "PSV-1201", "Instrument_NominalDiameter", "1\""},
        {"Instruments", "Instrument_ItemTag", "TT-1103", "Instrument_NominalDiameter", ""},
        {"Instruments", "Instrument_ItemTag", "FE-1101", "Instrloop_NominalDiameter", ""},
        // The loop's own plant group.
        {"Instruments", "Instrument_ItemTag", "FE-1101", "Instrloop_PlantGroup", "Unit11"},
        // N7 of V-1101 stands in Unit12, its vessel in Unit11: each side reads its own item.
        {"Eqp_Nozzle", "Nozzle_ItemTag", "N7", "Nozzle_PlantGroup", "Unit12"},
        {"Eqp_Nozzle", "Nozzle_ItemTag", "N7", "Equipment_PlantGroup", "Unit11"},
        // The component's group; a key without a suffix is the run's.
        {"InlineComp_Prun", "InlineComp_ItemTag", "FE-1101", "InlineComp_PlantGroup", "Unit11"},
        {"InlineComp_Prun", "InlineComp_ItemTag", "FE-1101", "PipeRun_UnitCode", "11"},
        {"InlineComp_Prun", "InlineComp_ItemTag", "FE-1101", "ParentPlantGroup", "Area10"},
        // An inline instrument's failure modes and function, by the component's own reference to
        // its instrument; FE-1101 has no failure modes, and no inline instrument a function.
        {"InlineComp_Prun", "InlineComp_ItemTag", "FV-1101", "Instrument_FailureAction",
         "Fail Closed"},
        {"InlineComp_Prun", "InlineComp_ItemTag", "FV-1101", "Instrument_FailureActionLow",
         "Fail Last Position"},
        {"InlineComp_Prun", "InlineComp_ItemTag", "FE-1101", "Instrument_FailureAction", ""},
        {"InlineComp_Prun", "InlineComp_ItemTag", "FV-1101", "Instrument_FunctionType", ""},
        {"DuctRuns", "DuctRun_ItemTag", "D-1201", "DuctRun_PlantGroup", "Unit12"},
        {"DuctRuns", "DuctRun_ItemTag", "D-1201", "InlineComp_UnitCode", "12"},
        // The greatest timestamp of the item's three representations.
        {"Plantitems", "ItemTag", "V-1101", "SP_MODELITEMTIMESTAMP", "2021-01-25 10:02:20"},
        {"Plantitems", "ItemTag", "P-1101A", "SP_MODELITEMTIMESTAMP", "2021-01-05 10:01:48"},
    };
    std::map<std::string, Table> tables;
    for (const Case& c : cases) {
        if (!tables.count(c.table)) tables[c.table] = Read(c.table);
        const Table& t = tables[c.table];
        const std::size_t by = t.Column(c.by), column = t.Column(c.column);
        if (column == t.header.size() || by == t.header.size()) {
            ADD_FAILURE() << c.table << " lacks " << c.column << " or " << c.by << ": "
                          << Join(t.header, ",");
            continue;
        }
        std::size_t matched = 0;
        for (const auto& row : t.rows) {
            if (row.size() != t.header.size() || row[by] != c.item) continue;
            ++matched;
            EXPECT_EQ(row[column], c.value) << c.table << " " << c.item << " " << c.column;
        }
        EXPECT_GT(matched, 0u) << c.table << " has no row of " << c.item;
    }
}

// The timestamp folds an item's representations: one row per plant item in use (107 on the
// three drawings in use), V-1101 once.
TEST_F(ChainKeys, OneRowPerPlantItem) {
    ASSERT_EQ(run_->exitCode, 0) << run_->output;
    const Table items = Read("Plantitems");
    EXPECT_EQ(items.rows.size(), 107u);
    const std::size_t tag = items.Column("ItemTag");
    ASSERT_LT(tag, items.header.size());
    std::size_t v1101 = 0;
    for (const auto& row : items.rows) v1101 += row.at(tag) == "V-1101";
    EXPECT_EQ(v1101, 1u);
}

// Keys no step of a chain takes are named in the log, with category and reason; the others not.
TEST_F(ChainKeys, UnplacedKeysAreLogged) {
    ASSERT_EQ(run_->exitCode, 0) << run_->output;
    for (const char* line : {"The attribute t_plantgroup.PlantGroup of ItemNotes is left out: no "
                             "step of ItemNotes reads t_plantgroup.",
                             "The attribute Others.SP_MODELITEMTIMESTAMP of ItemNotes is left out: "
                             "only Plantitems takes it."})
        EXPECT_NE(run_->output.find(line), std::string::npos) << line << "\n" << run_->output;
    std::size_t count = 0;
    for (std::size_t at = 0; (at = run_->output.find("The attribute ", at)) != std::string::npos;
         ++at)
        ++count;
    EXPECT_EQ(count, 2u) << run_->output;
}

// Keys the run cannot place, each named once with its reason; a key whose column another key
// made stays out, and the first key's values stand.
TEST_F(ChainKeys, LeftOutKeysAreNamedOnce) {
    test::WriteFile(
        box_->root() / "left.ini",
        "[General]\r\nAllLoops=0\r\n"
        "[InlineComp_Prun]\r\nT_PlantItem.ItemTag_PipeRun=\r\nOthers.NotConnectedRuns=\r\n"
        "Others.NumberOfLabels=\r\nOthers.LastRevision=\r\n"
        "[Instruments]\r\nT_PlantItem.ItemTag_Instrument=\r\nt_instrument.NominalDiameter=\r\n"
        "t_inlinecomp.NominalDiameter_Instrument=\r\nt_status.Status_Instrloop=\r\n"
        "T_PlantItem.CreatedDate_Instrloop=\r\n"
        "[Plantitems]\r\nT_PlantItem.ItemTag=\r\nt_status.PlantItemGroup_RevisionNumber=\r\n"
        "[ItemNotes]\r\nT_Note.NoteText=\r\nt_status.PlantItemGroup_RevisionNumber=\r\n"
        "[DuctRuns]\r\nT_PlantItem.ItemTag_DuctRun=\r\nT_PlantItem.Package_Name_DuctRun=\r\n"
        "t_status.Status_InlineComp=\r\nOthers.Quantity=\r\n"
        "[Drawings]\r\nT_Drawing.Name=\r\nT_Revision.SP_DrawingID=\r\nT_Revision.SP_"
        "MajorRevisionNumber=\r\n");
    const fs::path mdb = box_->root() / "left.mdb";
    const auto r = box_->Run({"/output", mdb.string(), "/site",
                              (test::ShowcasePlant() / "SmartPlantv4.ini").string(), "/plant",
                              "PlantA", "/config", (box_->root() / "left.ini").string()});
    ASSERT_EQ(r.exitCode, 0) << r.output;
    const char* lines[] = {
        "The attribute Others.NotConnectedRuns of InlineComp_Prun is left out: it counts the OPCs, "
        "and the "
        "category OPCs is not built.",
        "The attribute Others.NumberOfLabels of InlineComp_Prun is left out: no piping label file "
        "is named in the "
        "configuration (Labels, Piping).",
        "The attribute Others.LastRevision of InlineComp_Prun is left out: the revision columns "
        "are computed for "
        "Drawings only.",
        "The attribute t_inlinecomp.NominalDiameter_Instrument of Instruments is left out: its "
        "column "
        "Instrument_NominalDiameter is already made by t_instrument.NominalDiameter.",
        "The attribute t_status.Status_Instrloop of Instruments is left out: t_status is read for "
        "the side "
        "_Instrument only.",
        "The attribute T_PlantItem.CreatedDate_Instrloop of Instruments is left out: the history "
        "columns are made "
        "for the side _Instrument only.",
        "The attribute t_status.PlantItemGroup_RevisionNumber of ItemNotes is left out: "
        "PlantItemGroup_RevisionNumber "
        "is added to Plantitems only.",
        "The attribute T_PlantItem.Package_Name_DuctRun of DuctRuns is left out: no step of "
        "DuctRuns reads the group "
        "tables.",
        "The attribute t_status.Status_InlineComp of DuctRuns is left out: the status of DuctRuns' "
        "components is "
        "joined on a piping key.",
        "The attribute Others.Quantity of DuctRuns is left out: Quantity is added to the chains' "
        "categories and "
        "Drawings only.",
        "The attribute T_Revision.SP_DrawingID of Drawings is left out: the revisions are joined "
        "on it, and the join "
        "drops it; Drawing_SP_ID holds the same id.",
    };
    for (const char* line : lines)
        EXPECT_NE(r.output.find(line), std::string::npos) << line << "\n" << r.output;
    std::size_t count = 0;
    for (std::size_t at = 0; (at = r.output.find("The attribute ", at)) != std::string::npos; ++at)
        ++count;
    EXPECT_EQ(count, std::size(lines)) << r.output;

    // The instrument's own nominal diameter stands; PSV-1201's inline row agrees, FE-1101 has none.
    const auto e =
        test::RunProcess("/usr/bin/mdb-export", {"-Q", "-d", "|", mdb.string(), "Instruments"},
                         {{"PATH", "/usr/bin:/bin"}});
    const std::vector<std::string> rows = Split(e.output, "\n");
    ASSERT_FALSE(rows.empty());
    const std::vector<std::string> header = Split(rows[0], "|");
    std::size_t tag = header.size(), diameter = header.size();
    for (std::size_t i = 0; i < header.size(); ++i) {
        if (IEquals(header[i], "Instrument_ItemTag")) tag = i;
        if (IEquals(header[i], "Instrument_NominalDiameter")) diameter = i;
    }
    ASSERT_LT(tag, header.size());
    ASSERT_LT(diameter, header.size());
    std::map<std::string, std::string> byTag;
    for (std::size_t i = 1; i < rows.size(); ++i)
        if (const auto f = Split(rows[i], "|"); f.size() == header.size())
            byTag[f[tag]] = f[diameter];
    EXPECT_EQ(byTag["PSV-1201"], "1\"");
    EXPECT_EQ(byTag["FE-1101"], "");
}

}  // namespace
}  // namespace tb
