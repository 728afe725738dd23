// config/default, the attribute configuration that ships with the program: one section per
// category, and every key names a column the sample plant has, a computed attribute or a case
// value, in a table of that category.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "common/ini.h"
#include "common/text.h"
#include "plant_checks.h"
#include "support/test_support.h"

namespace tb::sampleplant::test {
namespace {

const std::vector<std::string> kCategories = {"Drawings",   "DuctRuns",   "InlineComp_Prun",
                                              "Eqp_Nozzle", "Plantitems", "Instruments",
                                              "ItemNotes",  "OPCs"};

// Source tables of each category (the catalogue's list), lower case.
const std::map<std::string, std::set<std::string>> kTables = {
    {"Drawings", {"t_drawing", "t_plantgroup", "t_revision"}},
    {"DuctRuns",
     {"t_ductrun", "t_ductingcomp", "t_inlinecomp", "t_modelitem", "t_plantgroup", "t_status",
      "t_plantitem"}},
    {"InlineComp_Prun",
     {"t_piperun", "t_pipingcomp", "t_inlinecomp", "t_instrument", "t_modelitem", "t_plantgroup",
      "t_status", "t_pipingpoint", "t_plantitem", "t_instrfunction", "t_instrfailmode",
      "t_caseprocess", "t_casecontrol", "t_case"}},
    {"Eqp_Nozzle",
     {"t_nozzle", "t_equipment", "t_vessel", "t_mechanical", "t_exchanger", "t_equipmentother",
      "t_equipcomponent", "t_modelitem", "t_plantgroup", "t_status", "t_plantitem", "t_caseprocess",
      "t_casecontrol", "t_case"}},
    {"Plantitems", {"t_modelitem", "t_plantgroup", "t_status", "t_symbol", "t_plantitem"}},
    {"Instruments",
     {"t_instrument", "t_modelitem", "t_instrloop", "t_plantgroup", "t_status", "t_pipingpoint",
      "t_plantitem", "t_inlinecomp", "t_instrfunction", "t_instrfailmode", "t_caseprocess",
      "t_casecontrol", "t_case"}},
    {"ItemNotes", {"t_note", "t_modelitem", "t_symbol", "t_status"}},
    {"OPCs", {"t_opc", "t_modelitem", "t_piperun", "t_symbol", "t_plantitem"}},
};

// Columns the extraction computes, per table (lower case).
const std::map<std::string, std::set<std::string>> kComputed = {
    {"t_plantitem", {"createddate", "createduser", "lastmodifieddate", "lastmodifieduser"}},
    {"t_drawing", {"lastmodifieddate", "lastmodifieduser", "noofversions", "noofauxgraphic"}},
    {"t_plantgroup", {"plantgroup", "parentplantgroup", "unitcode"}},
    {"t_symbol", {"name"}},
    {"t_pipingpoint", {"description", "connectedpiperunid"}},
    {"t_instrfailmode", {"failureactionlow"}},
    {"t_revision", {"versionassociated"}},
};

const std::set<std::string> kOthers = {
    "FirstRevision", "Last-2Revision",   "Last-1Revision", "LastRevision",
    "Quantity",      "NotConnectedRuns", "NumberOfLabels", "MultiRep",
    "FileName",      "LoopDrawingName",  "INSTOCKPILE",    "SP_MODELITEMTIMESTAMP"};

std::set<std::string> PlantColumns(Db& db, const std::string& table) {
    std::set<std::string> columns;
    Stmt s(db, "SELECT name FROM pragma_table_info('" + table + "')");
    while (s.Step()) columns.insert(ToLowerAscii(s.Text(0)));
    return columns;
}

std::string ActualTable(Db& db, const std::string& lower) {
    Stmt s(db, "SELECT name FROM sqlite_master WHERE type='table' AND lower(name)='" + lower + "'");
    return s.Step() ? s.Text(0) : "";
}

std::string StripOwner(std::string key) {
    for (const char* suffix : {"_nozzle", "_equipment", "_piperun", "_ductrun", "_inlinecomp",
                               "_instrument", "_instrloop"}) {
        if (IEndsWith(key, suffix)) return key.substr(0, key.size() - std::string(suffix).size());
    }
    return key;
}

// Empty when the key fits the plant and the category, else why not.
std::string Check(Db& db, const std::string& category, const std::string& key) {
    const auto dot = key.find('.');
    if (dot == std::string::npos) return "no table part";
    const std::string table = ToLowerAscii(key.substr(0, dot));
    std::string column = key.substr(dot + 1);
    if (table == "others") {
        if (kOthers.count(column)) return "";
        if (column.rfind("Drawing_", 0) == 0 &&
            PlantColumns(db, "T_Drawing").count(ToLowerAscii(column.substr(8)))) {
            return "";
        }
        return "unknown Others attribute";
    }
    if (!kTables.at(category).count(table)) return "table not in the category";
    if (table == "t_caseprocess" || table == "t_casecontrol") {
        const auto parts = Split(StripOwner(column), "_");
        if (parts.size() != 3) return "not <case>_<quality>_<column>";
        const std::set<std::string> qualities = {"Min", "Max", "Norm", "Base"};
        if (!qualities.count(parts[1])) return "unknown quality";
        if ((table == "t_casecontrol") != (parts[0] == "ControlCase"))
            return "case in the wrong table";
        return PlantColumns(db, ActualTable(db, table)).count(ToLowerAscii(parts[2]))
                   ? ""
                   : "no such case column";
    }
    if (table == "t_pipingpoint") {
        if (column.size() < 4 || column[0] != '_' || column[1] < '1' || column[1] > '4' ||
            column[2] != '_') {
            return "not _<n>_<column>";
        }
        column = column.substr(3);
    } else {
        column = StripOwner(column);
    }
    const std::string actual = ActualTable(db, table);
    if (actual.empty()) return "no such table";
    const std::string lower = ToLowerAscii(column);
    if (PlantColumns(db, actual).count(lower)) return "";
    const auto computed = kComputed.find(table);
    if (computed != kComputed.end() && computed->second.count(lower)) return "";
    return "no such column";
}

TEST(DefaultConfiguration, OneSectionPerCategoryInTheProgramsOrder) {
    const IniDocument ini = IniDocument::Load(tb::test::SourceDir() / "config/default");
    std::vector<std::string> expected;
    for (const auto& category : kCategories) expected.push_back("PlantA_" + category);
    // Then the label files that the label counts look for, all symbols of the sample plant.
    expected.push_back("PlantA_Labels");
    EXPECT_EQ(ini.SectionNames(), expected);
}

TEST(DefaultConfiguration, EveryKeyFitsTheSamplePlant) {
    const IniDocument ini = IniDocument::Load(tb::test::SourceDir() / "config/default");
    Db db(TinyPlant().File("PLANTAPID"), true);
    int keys = 0;
    for (const auto& category : kCategories) {
        for (const auto& [key, value] : ini.Entries("PlantA_" + category)) {
            ++keys;
            EXPECT_EQ(value, "") << key;
            EXPECT_EQ(Check(db, category, key), "") << category << ": " << key;
        }
    }
    EXPECT_GT(keys, 100);
}

TEST(DefaultConfiguration, NozzleKeysBringTheNozzleId) {
    // As the attribute dialog saves it: T_Nozzle.SP_ID right after the first nozzle key.
    const IniDocument ini = IniDocument::Load(tb::test::SourceDir() / "config/default");
    const auto keys = ini.Keys("PlantA_Eqp_Nozzle");
    const auto first = std::find_if(keys.begin(), keys.end(),
                                    [](const std::string& k) { return IEndsWith(k, "_nozzle"); });
    ASSERT_NE(first, keys.end());
    ASSERT_NE(first + 1, keys.end());
    EXPECT_EQ(*(first + 1), "T_Nozzle.SP_ID");
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "T_Nozzle.SP_ID"), 1);
}

TEST(DefaultConfiguration, KeyCheckRejectsWhatDoesNotFit) {
    Db db(TinyPlant().File("PLANTAPID"), true);
    const std::pair<const char*, const char*> bad[] = {
        {"InlineComp_Prun", "t_piperun.NominalDiameterr"},
        {"InlineComp_Prun", "t_nozzle.NominalDiameter"},
        {"Instruments", "T_CaseProcess.ProcessDesign_Maximum_Pressure_Instrument"},
        {"Instruments", "T_CaseProcess.ControlCase_Max_SetPoint_Instrument"},
        {"Instruments", "t_pipingpoint._5_NominalDiameter"},
        {"Plantitems", "Others.Drawing_Colour"},
    };
    for (const auto& [category, key] : bad) EXPECT_NE(Check(db, category, key), "") << key;
}

}  // namespace
}  // namespace tb::sampleplant::test
