// Plant columns whose names are no plain identifiers, end to end: columns holding '"', "'" and
// blanks, added to the tables of the tiny sample plant and configured in every kind of key, reach
// the extract as columns with their values; a key whose column Access cannot name ("]") is left
// out with its log line, and the run succeeds.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "common/text.h"
#include "mdb/mdb_reader.h"
#include "plant_generator.h"
#include "store/sqlite.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::Sandbox;

// One hostile plant column, its configured key and where the extract shows it. The column's
// values are `prefix` and the row's SP_ID, so that a value in the wrong column shows.
struct Hostile {
    const char* table;
    const char* column;
    const char* prefix;
    const char* category;
    const char* key;
    const char* extractTable;
    const char* extractColumn;
};

const Hostile kHostile[] = {
    // Plain columns of a category's own table, copied under their aliases.
    {"T_Equipment", "Evil\"Col", "dq-", "Eqp_Nozzle", "t_equipment.Evil\"Col", "Eqp_Nozzle",
     "Equipment_evil\"col"},
    {"T_Equipment", "Evil'Col", "sq-", "Eqp_Nozzle", "t_equipment.Evil'Col", "Eqp_Nozzle",
     "Equipment_evil'col"},
    {"T_Equipment", "Evil Col", "bl-", "Eqp_Nozzle", "t_equipment.Evil Col", "Eqp_Nozzle",
     "Equipment_evil col"},
    {"T_Instrument", "Ins'Col", "ic-", "Instruments", "t_instrument.Ins'Col", "Instruments",
     "Instrument_ins'col"},
    {"T_Note", "Note\"Kind", "nk-", "ItemNotes", "t_note.Note\"Kind", "ItemNotes",
     "Note_note\"kind"},
    // The common copies of t_plantitem and t_modelitem, taken by owner in the join steps.
    {"T_PlantItem", "Odd\"Tag", "ot-", "Plantitems", "t_plantitem.Odd\"Tag", "Plantitems",
     "Odd\"Tag"},
    {"T_PlantItem", "Odd\"Tag", "ot-", "Eqp_Nozzle", "t_plantitem.Odd\"Tag_Equipment", "Eqp_Nozzle",
     "Equipment_Odd\"Tag"},
    {"T_PlantItem", "Odd\"Tag", "ot-", "Instruments", "t_plantitem.Odd\"Tag_Instrument",
     "Instruments", "Instrument_Odd\"Tag"},
    {"T_ModelItem", "Mod'Desc", "md-", "Eqp_Nozzle", "t_modelitem.Mod'Desc_Equipment", "Eqp_Nozzle",
     "Equipment_Mod'Desc"},
    // t_piperun is copied under its aliases; piping points, cases, status and symbols.
    {"T_PipeRun", "Run\"Class", "rc-", "InlineComp_Prun", "t_piperun.Run\"Class", "InlineComp_Prun",
     "Piperun_run\"class"},
    {"T_PipingPoint", "Pt\"X", "px-", "InlineComp_Prun", "T_PipingPoint._1_Pt\"X",
     "InlineComp_Prun", "End_1_Pt\"X"},
    {"T_CaseProcess", "Case\"Val", "cv-", "Eqp_Nozzle",
     "T_CaseProcess.ProcessDesign_Max_Case\"Val_Equipment", "Eqp_Nozzle",
     "Equipment_ProcessDesign_Max_Case\"Val"},
    {"T_Status", "Stat'Col", "sc-", "Plantitems", "t_status.Stat'Col", "Plantitems",
     "Status_stat'col"},
    {"T_Symbol", "Sym Col", "sy-", "Plantitems", "t_symbol.Sym Col", "Plantitems",
     "Symbol_sym col"},
    // Drawing columns: through PID for the items, directly for the Drawings, and revisions.
    {"T_Drawing", "Sheet Title", "st-", "Plantitems", "Others.Drawing_Sheet Title", "Plantitems",
     "Drawing_Sheet Title"},
    {"T_Drawing", "Sheet Title", "st-", "Drawings", "t_drawing.Sheet Title", "Drawings",
     "Drawing_Sheet Title"},
    {"T_Revision", "Rev Note", "rn-", "Drawings", "T_Revision.Rev Note", "Drawings",
     "Revision_Rev Note"},
};

class HostileNames : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        shared_.Run([] {
            plant_ = new test::TempDir;
            sampleplant::Options options;
            options.out = plant_->path() / "plant";
            options.drawings = sampleplant::kShowcaseDrawings;
            sampleplant::GeneratePlant(options);

            store::Connection pid((options.out / "PLANTAPID.db").string(), SQLITE_OPEN_READWRITE);
            std::set<std::string> added;
            auto add = [&](const std::string& table, const std::string& column,
                           const std::string& type, const std::string& value) {
                if (!added.insert(table + "." + column).second) return;
                const std::string c = store::QuoteName(column);
                store::Execute(pid.get(), "ALTER TABLE " + table + " ADD COLUMN " + c + " " + type +
                                              "; UPDATE " + table + " SET " + c + " = " + value);
            };
            for (const Hostile& h : kHostile)
                add(h.table, h.column, "VARCHAR(40)", SqlLiteral(h.prefix) + " || SP_ID");
            // A column Access cannot name: configured, it is left out; in t_status, which is copied
            // whole, it stays behind.
            add("T_Equipment", "Evil]Col", "VARCHAR(40)", "'br-' || SP_ID");
            add("T_Status", "Stat]X", "VARCHAR(40)", "'sx'");
            // A code-listed column: its numbers become the texts of the equipment types.
            add("T_Equipment", "Coded Type", "INTEGER", "EquipmentType");
            store::Connection dictionary((options.out / "PLANTAPIDD.db").string(),
                                         SQLITE_OPEN_READWRITE);
            store::Execute(
                dictionary.get(),
                "INSERT INTO ATTRIBUTES (ATTRIBUTE_NUMBER, ATTRIBUTE_NAME, ATTRIBUTE_DATATYPE, "
                "ATTRIBUTE_CODELISTED, ENTITY_NUMBER, TABLENAME, COLUMNNAME) SELECT 9901, 'Coded "
                "Type', "
                "ATTRIBUTE_DATATYPE, 'T', ENTITY_NUMBER, TABLENAME, 'Coded Type' FROM ATTRIBUTES "
                "WHERE ATTRIBUTE_NAME = 'EquipmentType'");
        });
    }
    // A failed shared set-up fails each test instead of leaving them skipped.
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(shared_.Check()); }
    static inline tb::test::SharedSetUp shared_;
    static void TearDownTestSuite() {
        delete plant_;
        plant_ = nullptr;
    }

    static fs::path SiteIni() { return plant_->path() / "plant" / "SmartPlantv4.ini"; }

    // The shipped configuration without the plant's prefix on its sections, with the hostile keys
    // added to their categories.
    static std::string Configuration() {
        std::map<std::string, std::vector<std::string>> extra;
        for (const Hostile& h : kHostile) extra[h.category].emplace_back(h.key);
        extra["Eqp_Nozzle"].emplace_back("t_equipment.Evil]Col");
        extra["Eqp_Nozzle"].emplace_back("t_equipment.Coded Type");
        std::string out = "[General]\r\nAllLoops=0\r\n";
        std::string section;
        auto flush = [&] {
            for (const std::string& key : extra[section]) out += key + "=\r\n";
        };
        for (std::string line :
             Split(test::ReadFile(test::SourceDir() / "config" / "default"), "\n")) {
            line = std::string(TrimSpace(line));
            if (line.empty()) continue;
            if (line.front() == '[') {
                flush();
                section = line.substr(1, line.size() - 2);
                if (section.starts_with("PlantA_")) section.erase(0, 7);
                out += "[" + section + "]\r\n";
                continue;
            }
            out += line + "\r\n";
        }
        flush();
        return out;
    }

    static test::TempDir* plant_;
};

test::TempDir* HostileNames::plant_ = nullptr;

// The text values of one column of an extract table; Null is left out.
std::vector<std::string> TextColumn(const mdb::MdbReader& reader, const std::string& table,
                                    const std::string& column) {
    const mdb::TableDef def = reader.Table(table);
    std::size_t at = def.columns.size();
    for (std::size_t i = 0; i < def.columns.size(); ++i)
        if (def.columns[i].name == column) at = i;
    std::vector<std::string> out;
    if (at == def.columns.size()) return out;
    reader.ForEachRow(table, [&](const mdb::Row& row) {
        if (const auto* text = std::get_if<std::string>(&row[at])) out.push_back(*text);
    });
    return out;
}

std::string ColumnNames(const mdb::MdbReader& reader, const std::string& table) {
    std::vector<std::string> names;
    for (const auto& c : reader.Table(table).columns) names.push_back(c.name);
    return Join(names, ",");
}

TEST_F(HostileNames, ReachTheExtractWithTheirValues) {
    Sandbox box;
    fs::create_directories(box.app() / "config");
    fs::copy_file(test::SourceDir() / "config" / "default", box.app() / "config" / "default");
    test::WriteFile(box.root() / "c.ini", Configuration());
    const fs::path mdb = box.root() / "x.mdb";
    const auto r = box.Run({"/output", mdb.string(), "/site", SiteIni().string(), "/plant",
                            "PlantA", "/config", (box.root() / "c.ini").string()});
    ASSERT_EQ(r.exitCode, 0) << r.output;

    // One line for the key, one for the column of t_status nobody asked for.
    const std::string leftOut =
        "The attribute t_equipment.Evil]Col is left out: Access does not allow ']' in a column "
        "name.";
    const auto first = r.output.find(leftOut);
    EXPECT_NE(first, std::string::npos) << r.output;
    EXPECT_EQ(r.output.find(leftOut, first + 1), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("The column Stat]X of t_status is not copied: Access does not allow "
                            "']' in a column name."),
              std::string::npos)
        << r.output;

    const mdb::MdbReader reader(mdb);
    for (const Hostile& h : kHostile) {
        SCOPED_TRACE(std::string(h.key) + " in " + h.extractTable);
        const std::vector<std::string> values = TextColumn(reader, h.extractTable, h.extractColumn);
        ASSERT_FALSE(values.empty()) << ColumnNames(reader, h.extractTable);
        for (const std::string& v : values) EXPECT_TRUE(v.starts_with(h.prefix)) << v;
    }
    for (const std::string& table : reader.TableNames())
        EXPECT_EQ(ColumnNames(reader, table).find("]"), std::string::npos) << table;

    // The code-listed column decodes as its twin does.
    const auto coded = TextColumn(reader, "Eqp_Nozzle", "Equipment_coded type");
    EXPECT_EQ(coded, TextColumn(reader, "Eqp_Nozzle", "Equipment_equipmenttype"));
    ASSERT_FALSE(coded.empty());
    EXPECT_NE(std::find(coded.begin(), coded.end(), "Horizontal Drum"), coded.end());
}

// The attribute catalogue offers such columns, and the check for empty attributes probes them.
TEST_F(HostileNames, TheCatalogueOffersThem) {
    Sandbox box;
    auto env = box.env();
    const auto r = test::RunProcess(test::BuildDir() / "tarnbrook-attributes",
                                    {"--site", SiteIni().string(), "--plant", "PlantA",
                                     "--category", "Eqp_Nozzle", "--keys", "--empty"},
                                    env, box.root());
    ASSERT_EQ(r.exitCode, 0) << r.output;
    for (const char* key : {"t_equipment.Evil\"Col", "t_equipment.Evil'Col", "t_equipment.Evil Col",
                            "t_modelitem.Mod'Desc_Equipment", "t_plantitem.Odd\"Tag_Equipment"})
        EXPECT_NE(r.output.find(std::string(key) + "\n"), std::string::npos) << key << "\n"
                                                                             << r.output;
}

}  // namespace
}  // namespace tb
