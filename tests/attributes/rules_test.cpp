// The catalogue's rules where a hand-made plant shows them best: the column filters, the probe
// texts of every dialect, disabled code list entries, the item lists of equipment and instruments,
// missing tables, and suppression driven through a connection in the SQL Server form.

#include <gtest/gtest.h>

#include <map>

#include "attributes/catalogue_rules.h"
#include "attributes/empty_attributes.h"
#include "attributes_fixture.h"
#include "common/text.h"

namespace tb::attributes::testing {
namespace {

using plantaccess::Dialect;

TEST(CatalogueRules, ColumnFilters) {
    const std::map<std::string, bool> offered = {
        {"SP_PARTOFID", true},          {"sp_DrawingID", true}, {"SP_ArePropertiesModified", true},
        {"Identifier", true},           {"SP_ID", false},       {"SP_PlantGroupID", false},
        {"UPDATECOUNT", false},         {"Dir_Path", false},    {"xSP_yDesignBasisUIDz", false},
        {"SP_SourceApplication", false}};
    for (const auto& [column, expected] : offered)
        EXPECT_EQ(IsNotExcludedColumn(column), expected) << column;
    // SP_ID passes the id filter only for model and plant items outside Plantitems.
    EXPECT_TRUE(IsExcludedIdColumn("Nozzle_SP_ID", "", "t_nozzle", "Eqp_Nozzle"));
    EXPECT_FALSE(IsExcludedIdColumn("SP_ID", "t_plantitem", "t_modelitem", "InlineComp_Prun"));
    EXPECT_FALSE(IsExcludedIdColumn("SP_ID", "t_plantitem", "T_PLANTITEM", "Eqp_Nozzle"));
    EXPECT_TRUE(IsExcludedIdColumn("SP_ID", "t_plantitem", "t_vessel", "Eqp_Nozzle"));
    EXPECT_FALSE(IsExcludedIdColumn("SP_ID", "", "t_vessel", "Eqp_Nozzle"));
    EXPECT_TRUE(IsExcludedIdColumn("SP_ID", "", "t_modelitem", "Plantitems"));
    // Optional source tables only when the plant has them.
    EXPECT_EQ(GetTables4Category("Instruments", [](std::string_view) { return false; }),
              "T_Instrument,T_ModelItem,T_InstrLoop,T_PlantGroup,T_Status,T_PipingPoint");
    EXPECT_EQ(GetTables4Category("DuctRuns", [](std::string_view) { return false; }),
              "T_DuctRun,T_DuctingComp,T_InlineComp,T_ModelItem,T_PlantGroup,T_Status");
}

TEST(EmptyProbes, TextsOfEveryDialect) {
    EXPECT_EQ(EmptyColumnProbeSql(Dialect::SqlServer, "PID.", "T_PipeRun", "Schedule"),
              "select  TOP 1 1 from PID.T_PipeRun where not Schedule is null");
    EXPECT_EQ(EmptyColumnProbeSql(Dialect::Oracle, "", "T_PipeRun", "Schedule"),
              "select 1 from T_PipeRun where not Schedule is null and ROWNUM <2");
    EXPECT_EQ(EmptyColumnProbeSql(Dialect::Sqlite, "", "T_PipeRun", "Schedule"),
              "select 1 from T_PipeRun where not Schedule is null LIMIT 1");
    EXPECT_EQ(EmptyColumnProbeSql(Dialect::AccessCopy, "", "T_PipeRun", "Schedule"),
              "select 1 from T_PipeRun where not Schedule is null LIMIT 1");
    EXPECT_EQ(EmptyCaseProbeSql(Dialect::SqlServer, "PID.", 1, 2, "Pressure"),
              "select  TOP 1 1 from PID.T_CaseProcess, PID.t_case where "
              "PID.T_CaseProcess.SP_CASEID=PID.t_case.SP_ID "
              "AND PID.t_case.CASECLASS=24 AND not PID.T_CaseProcess.Pressure is null AND "
              "PID.T_CaseProcess.quality=2 AND PID.t_case.CASETYPE=1");
    EXPECT_EQ(
        EmptyCaseProbeSql(Dialect::Oracle, "", 11, 1, "Temperature"),
        "select 1 from T_CaseProcess, t_case where T_CaseProcess.SP_CASEID=t_case.SP_ID AND "
        "t_case.CASECLASS=24 "
        "AND not T_CaseProcess.Temperature is null AND ROWNUM <2 AND T_CaseProcess.quality=1 AND "
        "t_case.CASETYPE=11");
    // Control cases: class 34, no quality term.
    EXPECT_EQ(
        EmptyCaseProbeSql(Dialect::Sqlite, "", 5, 1, "SetPoint"),
        "select 1 from T_CaseControl, t_case where T_CaseControl.SP_CASEID=t_case.SP_ID AND "
        "t_case.CASECLASS=34 AND not T_CaseControl.SetPoint is null AND t_case.CASETYPE=5 LIMIT 1");
    // A column that is no plain name is quoted in the dialect's way.
    EXPECT_EQ(EmptyColumnProbeSql(Dialect::SqlServer, "PID.", "T_Equipment", "Evil]Col"),
              "select  TOP 1 1 from PID.T_Equipment where not [Evil]]Col] is null");
    EXPECT_EQ(EmptyColumnProbeSql(Dialect::Oracle, "", "T_Equipment", "Evil\"Col"),
              "select 1 from T_Equipment where not \"Evil\"\"Col\" is null and ROWNUM <2");
    EXPECT_EQ(EmptyColumnProbeSql(Dialect::Sqlite, "", "T_Equipment", "Evil Col"),
              "select 1 from T_Equipment where not \"Evil Col\" is null LIMIT 1");
    EXPECT_EQ(EmptyCaseProbeSql(Dialect::SqlServer, "PID.", 1, 2, "Case'Val"),
              "select  TOP 1 1 from PID.T_CaseProcess, PID.t_case where "
              "PID.T_CaseProcess.SP_CASEID=PID.t_case.SP_ID "
              "AND PID.t_case.CASECLASS=24 AND not PID.T_CaseProcess.[Case'Val] is null AND "
              "PID.T_CaseProcess.quality=2 AND PID.t_case.CASETYPE=1");
    EXPECT_EQ(TableListSql(Dialect::SqlServer, "PLANT'PID."),
              "SELECT TABLE_NAME FROM INFORMATION_SCHEMA.TABLES WHERE TABLE_SCHEMA='PLANT''PID'");
}

class HandMadePlant : public ::testing::Test {
  protected:
    void SetUp() override {
        d.enabledCaseTypes = {1, 2, 3, 4, 5, 6, 11, 12, 13, 14, 16};
        d.enabledQualities = {1, 2, 3, 4};
        d.caseProcessColumns = {"SP_ID", "SP_CaseID", "Quality", "Pressure"};
        d.caseControlColumns = {"SP_ID", "SP_CaseID", "Quality", "SetPoint"};
        d.caseColumns = {"SP_ID",     "SP_ModelItemID", "CaseType",
                         "CaseClass", "UpdateCount",    "Phase"};
        d.plantGroupColumns = {"PlantGroup"};
        d.instrumentFunctions = {"ProcessDesign", "ControlCase"};
        tables = {{"T_PipeRun", {"SP_ID", "NominalDiameter"}},
                  {"T_PipingComp", {"SP_ID", "PipingCompType"}},
                  {"T_ModelItem", {"SP_ID", "Description"}},
                  {"T_PlantItem", {"SP_ID", "ItemTag", "SP_PartOfID"}},
                  {"T_Status", {"SP_ID", "Status"}},
                  {"T_PipingPoint", {"SP_ID", "PointIndex"}},
                  {"T_Instrument", {"SP_ID", "IsInline"}},
                  {"T_Vessel", {"SP_ID", "VolumeRating"}},
                  {"T_Symbol", {"SP_ID", "name"}},
                  {"T_Drawing", {"SP_ID", "Name", "NoOfVersions"}}};
        d.SetColumnReader(
            [this](std::string_view table) -> std::optional<std::vector<std::string>> {
                for (const auto& [name, columns] : tables)
                    if (IEquals(name, table)) return columns;
                return std::nullopt;
            });
        d.AddItem(1, "PipeRun");
        d.AddItem(2, "Vessel");
        d.AddItem(kEquipmentItem, "Equipment");
        d.AddItem(kInstrumentItem, "Instrument");
        d.AddAttribution(1, "NominalDiameter", "Nominal Diameter");
        d.AddAttribution(1, "ProcessDesign.Max.Pressure", "Design Max Pressure");
        d.AddAttribution(kEquipmentItem, "VolumeRating",
                         "Volume");  // the vessel has none of its own
        d.AddAttribution(kEquipmentItem, "ProcessDesign", "Design Case");
        d.AddAttribution(kEquipmentItem, "ProcessTest", std::nullopt);
    }
    std::vector<CatalogueEntry> Catalogue(std::string_view category,
                                          EmptyAttributeCheck* check = nullptr) {
        CatalogueOptions options;
        options.caseAttributesOn = false;
        options.emptyCheck = check;
        return GetAttributeCatalogue(category, d, options);
    }
    PlantDictionary d;
    std::map<std::string, std::vector<std::string>> tables;
};

TEST_F(HandMadePlant, CaseNamesFollowTheCodeLists) {
    const std::set<std::string> all = {"ProcessDesign",
                                       "ProcessOperating",
                                       "ProcessAlternateDesign",
                                       "ProcessAlternateOperating",
                                       "ProcessTest",
                                       "ProcessDesignTube",
                                       "ProcessOperatingTube",
                                       "ProcessAlternateDesignTube",
                                       "ProcessAlternateOperatingTube",
                                       "ProcessTestTube",
                                       "ControlCase"};
    EXPECT_EQ(CaseNamesOf(Catalogue("InlineComp_Prun")), all);
    EXPECT_EQ(FindCatalogueEntry(Catalogue("InlineComp_Prun"),
                                 "T_CaseProcess.ProcessDesign_Max_Pressure_Piperun")
                  ->text,
              "Piperun_ProcessDesign.Max.Pressure    (Design Max Pressure)");
    EXPECT_EQ(Keys(Catalogue("DuctRuns"), "T_Case.").size(),
              all.size());  // header column Phase, every case
    // Index 3 and quality Min disabled; case 5 is never looked up.
    d.enabledCaseTypes.erase(3);
    d.enabledCaseTypes.erase(5);
    d.enabledQualities.erase(1);
    auto c = Catalogue("InlineComp_Prun");
    std::set<std::string> without = all;
    without.erase("ProcessAlternateDesign");
    EXPECT_EQ(CaseNamesOf(c), without);
    EXPECT_FALSE(Has(c, "T_CaseProcess.ProcessDesign_Min_Pressure_Piperun"));
    EXPECT_TRUE(Has(c, "T_CaseControl.ControlCase_Max_SetPoint_Piperun"));
}

TEST_F(HandMadePlant, ItemListsAndDisplayNames) {
    const auto eqp = Catalogue("Eqp_Nozzle");
    EXPECT_EQ(CaseNamesOf(eqp), (std::set<std::string>{"ProcessDesign", "ProcessTest"}));
    EXPECT_EQ(FindCatalogueEntry(eqp, "t_vessel.VolumeRating")->displayName, "Volume");
    EXPECT_EQ(CaseNamesOf(Catalogue("Instruments")),
              (std::set<std::string>{"ProcessDesign", "ControlCase"}));
    // Without the dictionary's lists, every case name stays.
    d.instrumentFunctions.clear();
    EXPECT_EQ(CaseNamesOf(Catalogue("Instruments")).size(), 11u);
}

TEST_F(HandMadePlant, MissingTablesAndRepeatedNames) {
    tables.erase("T_PlantItem");
    tables.erase("T_PipingPoint");
    auto c = Catalogue("InlineComp_Prun");
    EXPECT_TRUE(Keys(c, "t_pipingpoint.").empty());
    EXPECT_TRUE(Keys(c, "t_plantitem.").empty());  // not even its computed columns
    EXPECT_FALSE(Keys(c, "t_modelitem.").empty());
    // A plant column named like a computed one is offered once, in the plant's spelling.
    EXPECT_EQ(Keys(Catalogue("Plantitems"), "t_symbol."), (std::set<std::string>{"t_symbol.name"}));
    EXPECT_EQ(Keys(Catalogue("Drawings"), "t_drawing.NoOfVersions").size(), 1u);
}

TEST_F(HandMadePlant, SuppressionAsksEachQuestionOnce) {
    auto connection = std::make_shared<ScriptedConnection>();
    EmptyAttributeCheck check(connection, Dialect::SqlServer, "PID.");
    check.SetColumnLister(
        [this](std::string_view t) { return d.Columns(t).value_or(std::vector<std::string>{}); });
    connection->filled = {
        "not NominalDiameter is null", "not ItemTag is null", "not Name is null",
        ".Pressure is null AND PID.T_CaseProcess.quality=2 AND PID.t_case.CASETYPE=1$"};
    const auto c = Catalogue("InlineComp_Prun", &check);
    EXPECT_TRUE(Has(c, "t_piperun.NominalDiameter"));
    EXPECT_FALSE(Has(c, "t_pipingcomp.PipingCompType"));
    EXPECT_TRUE(Has(c, "t_plantitem.ItemTag_PipeRun"));
    EXPECT_FALSE(Has(c, "t_plantitem.SP_PartOfID_PipeRun"));
    EXPECT_TRUE(Has(c, "Others.Drawing_Name"));
    // Computed columns, plant groups and case headers are never probed.
    for (const char* key : {"t_plantitem.CreatedDate_PipeRun", "t_plantgroup.PlantGroup_PipeRun",
                            "Others.Drawing_LastModifiedDate", "T_Case.ProcessTest_Phase_Piperun"})
        EXPECT_TRUE(Has(c, key)) << key;
    EXPECT_EQ(Keys(c, "T_CaseProcess."),
              (std::set<std::string>{"T_CaseProcess.ProcessDesign_Max_Pressure_Piperun"}));
    EXPECT_TRUE(Keys(c, "T_CaseControl.").empty());
    for (const auto& s : connection->statements)
        EXPECT_TRUE(s.starts_with("select  TOP 1 1 from PID.")) << s;
    // A second visit asks nothing.
    const std::size_t asked = connection->statements.size();
    EXPECT_EQ(Catalogue("InlineComp_Prun", &check).size(), c.size());
    EXPECT_EQ(connection->statements.size(), asked);
}

}  // namespace
}  // namespace tb::attributes::testing
