// The catalogue of every category on the sample plant, checked against the rules (exclusions,
// sides, piping points, computed and case attributes, display names, the shipped default
// configuration); the empty attribute probes run for real and compared with the plant's own
// counts; a plant copy in a store.

#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "attributes/catalogue_rules.h"
#include "attributes/categories.h"
#include "attributes/empty_attributes.h"
#include "attributes_fixture.h"
#include "common/error.h"
#include "common/ini.h"
#include "common/text.h"
#include "plant_generator.h"
#include "plantaccess/ado.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"
#include "plantaccess/store_connection.h"
#include "shell/settings.h"

namespace tb::attributes::testing {
namespace {

class SamplePlantCatalogue : public AttributesTest {
  protected:
    void SetUp() override {
        AttributesTest::SetUp();
        Activate(sampleplant::kPlantName);
        dictionary = std::make_unique<PlantDictionary>(PlantDictionary::Load());
    }
    std::vector<CatalogueEntry> Catalogue(std::string_view category, bool caseOn = false) {
        CatalogueOptions options;
        options.caseAttributesOn = caseOn;
        return GetAttributeCatalogue(category, *dictionary, options);
    }
    // What the plant itself counts.
    static std::int64_t Count(const std::string& sql) {
        return plantaccess::AdoRead(
                   sql, plantaccess::Connect2PIDDB(plantaccess::kPlantSchema).connection)
            ->Field(0)
            .integer();
    }
    std::unique_ptr<PlantDictionary> dictionary;
};

TEST_F(SamplePlantCatalogue, NoExcludedColumnAndEveryKeyOnce) {
    EXPECT_EQ(dictionary->enabledCaseTypes,
              (std::set<int>{1, 2, 3, 4, 5, 6, 11, 12}));  // as generated
    for (const auto& category : AllCategoryNames()) {
        std::set<std::string> keys;
        for (const auto& e : Catalogue(category, true)) {
            const std::string k = ToLowerAscii(e.key);
            EXPECT_TRUE(keys.insert(k).second) << "twice: " << e.key;
            for (const char* banned :
                 {"updatecount", "designbasisuid", "sp_plantgroupid", "sp_modelitemid",
                  "sp_equipmentid", "sp_caseid", "dir_path", "parentid", "_sp_id"})
                EXPECT_EQ(k.find(banned), std::string::npos) << category << ": " << e.key;
            EXPECT_FALSE(k.ends_with(".sp_id")) << e.key;
        }
        EXPECT_GT(keys.size(), 30u) << category;
    }
    EXPECT_TRUE(Has(Catalogue("Plantitems"), "t_plantitem.SP_PartOfID"));
}

TEST_F(SamplePlantCatalogue, SidesPipingPointsAndFunctions) {
    struct Case {
        const char* category;
        std::vector<std::pair<const char*, const char*>> sides;  // key suffix, text prefix
        std::vector<const char*> columns;                        // of side tables
    } cases[] = {
        {"InlineComp_Prun",
         {{"_PipeRun", "PipeRun_"}, {"_InlineComp", "InlineComp_"}},
         {"t_modelitem.Description", "t_plantitem.CreatedDate",
          "t_status.PlantItemGroup_RevisionNumber", "t_plantgroup.UnitCode",
          "t_plantitem.Package_ItemTag", "t_plantitem.TestSystem_Name"}},
        {"Eqp_Nozzle",
         {{"_Equipment", "Equipment_"}, {"_Nozzle", "Nozzle_"}},
         {"t_plantitem.ItemTag", "t_status.StatusDate", "t_plantgroup.PlantGroup",
          "t_plantitem.Package_Name"}},
        {"Instruments",
         {{"_Instrument", "Instrument_"}, {"_Instrloop", "Instrloop_"}},
         {"t_plantitem.Name", "t_inlinecomp.NominalDiameter", "t_plantitem.SafetyClass_ItemTag"}},
        {"DuctRuns",
         {{"_DuctRun", "DuctRun_"}, {"_InlineComp", "InlineComp_"}},
         {"t_modelitem.ItemTypeName", "t_plantgroup.ParentPlantGroup",
          "t_plantitem.TestSystem_ItemTag"}},
    };
    for (const auto& c : cases) {
        const auto entries = Catalogue(c.category);
        for (const std::string column : c.columns) {
            EXPECT_FALSE(Has(entries, column)) << c.category << ": plain " << column;
            for (const auto& [suffix, prefix] : c.sides) {
                const auto* e = FindCatalogueEntry(entries, column + suffix);
                ASSERT_NE(e, nullptr) << c.category << ": " << column << suffix;
                EXPECT_EQ(e->name, prefix + column.substr(column.find('.') + 1));
            }
        }
        EXPECT_EQ(Has(entries, std::string("t_plantitem.SafetyClass_ItemTag") + c.sides[0].first),
                  IEquals(c.category, "Instruments"));
    }
    for (const char* category : {"InlineComp_Prun", "Instruments"}) {
        const auto entries = Catalogue(category);
        EXPECT_EQ(Keys(entries, "t_instrfunction."),
                  (std::set<std::string>{"t_instrfunction.FunctionType_Instrument"}));
        for (int n = 1; n <= 4; ++n)
            EXPECT_EQ(FindCatalogueEntry(entries, PipingPointKey(n, "ConnectedPiperunID"))->name,
                      "End_" + std::to_string(n) + "_ConnectedPiperunID");
        EXPECT_EQ(Keys(entries, "t_pipingpoint.").size(),
                  4u * 6u);  // four plant columns, two computed
    }
    // Tables that are no side tables stay plain.
    EXPECT_TRUE(Has(Catalogue("InlineComp_Prun"), "t_inlinecomp.NominalDiameter"));
    EXPECT_TRUE(Has(Catalogue("OPCs"), "t_plantitem.ItemTag"));
}

TEST_F(SamplePlantCatalogue, OthersAndComputedAttributes) {
    const std::map<std::string, std::set<std::string>> computed = {
        {"Drawings", {}},
        {"DuctRuns", {"INSTOCKPILE"}},
        {"InlineComp_Prun",
         {"NotConnectedRuns", "NumberOfLabels", "INSTOCKPILE", "FailureAction",
          "FailureActionLow"}},
        {"Eqp_Nozzle", {"MultiRep", "INSTOCKPILE"}},
        {"Plantitems", {"FileName", "SP_MODELITEMTIMESTAMP", "INSTOCKPILE"}},
        {"Instruments", {"LoopDrawingName", "INSTOCKPILE", "FailureAction", "FailureActionLow"}},
        {"ItemNotes", {"INSTOCKPILE"}},
        {"OPCs", {"INSTOCKPILE"}},
    };
    for (const auto& [category, extra] : computed) {
        const auto entries = Catalogue(category);
        std::set<std::string> found;
        for (const auto& e : entries)
            if ((e.group == "Others" && !IStartsWith(e.key, "Others.Drawing_")) ||
                e.group == "T_InstrFailMode")
                found.insert(e.name);
        std::set<std::string> expected = extra;
        expected.insert(
            {"FirstRevision", "Last-2Revision", "Last-1Revision", "LastRevision", "Quantity"});
        EXPECT_EQ(found, expected) << category;
        const bool drawings = category == "Drawings";
        EXPECT_EQ(Has(entries, "Others.Drawing_Name"), !drawings) << category;
        EXPECT_EQ(Has(entries, "Others.Drawing_LastModifiedDate"), !drawings) << category;
        EXPECT_FALSE(Has(entries, "Others.Drawing_SP_ID") ||
                     Has(entries, "Others.Drawing_NoOfVersions"))
            << category;
    }
    EXPECT_TRUE(Has(Catalogue("Instruments"), "T_InstrFailMode.FailureActionLow_Instrument"));
    const auto drawings = Catalogue("Drawings");
    for (const char* key :
         {"t_drawing.LastModifiedUser", "t_drawing.NoOfAuxGraphic", "t_revision.VersionAssociated",
          "t_plantgroup.PlantGroup", "t_plantgroup.ParentPlantGroup", "t_plantgroup.UnitCode"})
        EXPECT_TRUE(Has(drawings, key)) << key;
}

TEST_F(SamplePlantCatalogue, CaseAttributesOfEachOwner) {
    // List 34 of the sample plant lacks 13, 14 and 16.
    const std::set<std::string> listed = {
        "ProcessDesign", "ProcessOperating",  "ProcessAlternateDesign", "ProcessAlternateOperating",
        "ProcessTest",   "ProcessDesignTube", "ProcessOperatingTube",   "ControlCase"};
    std::set<std::string> equipment = listed;
    equipment.erase("ControlCase");  // the equipment item lists no control case
    const std::map<std::string, std::pair<std::string, std::set<std::string>>> cases = {
        {"InlineComp_Prun", {"_Piperun", listed}},
        {"DuctRuns", {"_Ductrun", listed}},
        {"Eqp_Nozzle", {"_Equipment", equipment}},
        {"Instruments", {"_Instrument", {"ProcessDesign", "ProcessOperating", "ControlCase"}}},
        {"Plantitems", {"", {}}},
        {"ItemNotes", {"", {}}},
        {"Drawings", {"", {}}},
        {"OPCs", {"", {}}}};
    for (const auto& [category, expected] : cases) {
        const auto entries = Catalogue(category);
        EXPECT_EQ(CaseNamesOf(entries), expected.second) << category;
        for (const auto& e : entries) {
            if (!IStartsWith(e.key, "T_Case")) continue;
            EXPECT_TRUE(IEndsWith(e.key, expected.first)) << e.key;
            // Each key decodes as the extraction decodes it, to Min or Max.
            const auto k = ParseCaseProcessKey(e.key.substr(e.key.find('.') + 1));
            ASSERT_TRUE(k) << e.key;
            EXPECT_TRUE(k->quality == 1 || k->quality == 2) << e.key;
            EXPECT_EQ(k->caseType == 5, IStartsWith(e.key, "T_CaseControl.")) << e.key;
        }
    }
    EXPECT_EQ(FindCatalogueEntry(Catalogue("Eqp_Nozzle"),
                                 "T_CaseProcess.ProcessDesignTube_Min_Temperature_Equipment")
                  ->text,
              "Equipment_ProcessDesignTube.Min.Temperature    (Design Tube Min Temperature)");
    EXPECT_EQ(FindCatalogueEntry(Catalogue("Instruments"),
                                 "T_CaseControl.ControlCase_Max_SetPoint_Instrument")
                  ->displayName,
              "Control Max Set Point");
    // OPCs: when the configuration holds a case attribute somewhere.
    EXPECT_EQ(CaseNamesOf(Catalogue("OPCs", true)), listed);
    const fs::path ini = dir / "user" / "PlantA.ini";
    shell::SetAttributeConfigFile(ini);
    IniWrite(ini, "Eqp_Nozzle", std::string("t_plantitem.ItemTag_Equipment"), std::string());
    EXPECT_TRUE(CaseNamesOf(GetAttributeCatalogue("OPCs", *dictionary)).empty());
    IniWrite(ini, "Instruments", std::string("t_case.ControlCase_Phase_Instrument"), std::string());
    EXPECT_EQ(CaseNamesOf(GetAttributeCatalogue("OPCs", *dictionary)), listed);
}

TEST_F(SamplePlantCatalogue, DisplayNamesAndTheDefaultConfiguration) {
    const auto piping = Catalogue("InlineComp_Prun");
    const std::map<std::string, std::string> texts = {
        {"t_piperun.NominalDiameter", "NominalDiameter    (Nominal Diameter)"},
        {"t_plantitem.ItemTag_PipeRun", "PipeRun_ItemTag    (Item Tag)"},
        {"t_modelitem.SP_IsTypical_PipeRun",
         "PipeRun_SP_IsTypical"},  // described without display name
        {"t_plantitem.CreatedDate_PipeRun", "PipeRun_CreatedDate"},
        {"Others.Drawing_DrawingNumber", "Drawing_DrawingNumber    (Drawing Number)"},
        {"t_pipingpoint._2_NominalDiameter", "End_2_NominalDiameter    (Nominal Diameter)"},
        {"T_CaseProcess.ProcessDesign_Max_Pressure_Piperun",
         "Piperun_ProcessDesign.Max.Pressure    (Design Max Pressure)"}};
    for (const auto& [key, text] : texts)
        EXPECT_EQ(FindCatalogueEntry(piping, key)->text, text) << key;

    // Every key of the shipped configuration is one the catalogue offers.
    const IniDocument defaults = IniDocument::Load(tb::test::SourceDir() / "config" / "default");
    std::size_t checked = 0;
    for (const auto& category : AllCategoryNames()) {
        const auto entries = Catalogue(category);
        for (const auto& [key, value] : defaults.Entries("PlantA_" + category)) {
            if (IEquals(key, "T_Nozzle.SP_ID"))
                continue;  // written beside nozzle keys, never chosen
            EXPECT_TRUE(Has(entries, key)) << category << ": " << key;
            ++checked;
        }
    }
    EXPECT_GT(checked, 100u);
}

TEST_F(SamplePlantCatalogue, EmptyColumnsAreThoseWithoutValues) {
    EmptyAttributeCheck check;
    std::size_t emptyColumns = 0;
    for (const std::string table :
         {"T_PipeRun", "T_ModelItem", "T_PlantItem", "T_Drawing", "T_Nozzle"}) {
        const auto columns = *dictionary->Columns(table);
        std::vector<std::string> expected;
        for (const auto& c : columns)
            if (IEquals(c, "SP_ID") || Count("SELECT count(" + c + ") FROM " + table) > 0)
                expected.push_back(c);
        EXPECT_EQ(check.IgnoreEmptyColumns(table, columns), expected) << table;
        emptyColumns += columns.size() - expected.size();
    }
    EXPECT_GT(emptyColumns, 0u);
    CatalogueOptions options;
    options.caseAttributesOn = false;
    options.emptyCheck = &check;
    const auto suppressed = GetAttributeCatalogue("InlineComp_Prun", *dictionary, options);
    EXPECT_EQ(Has(suppressed, "t_modelitem.Remarks_PipeRun"),
              Count("SELECT count(Remarks) FROM T_ModelItem") > 0);

    // Case attributes, against the plant's values of that case type, class and quality.
    std::size_t empty = 0, filled = 0;
    for (const auto& e : Catalogue("Instruments")) {
        if (!IStartsWith(e.key, "T_CaseProcess.") && !IStartsWith(e.key, "T_CaseControl."))
            continue;
        const auto k = *ParseCaseProcessKey(e.key.substr(e.key.find('.') + 1));
        const bool control = k.caseType == 5;
        const bool none =
            Count(std::string("SELECT count(*) FROM t_case c JOIN ") +
                  (control ? "T_CaseControl" : "T_CaseProcess") +
                  " v ON v.SP_CaseID = c.SP_ID WHERE " +
                  (control ? "c.CaseClass = 34"
                           : "c.CaseClass = 24 AND v.Quality = " + std::to_string(k.quality)) +
                  " AND c.CaseType = " + std::to_string(k.caseType) + " AND v." + k.column +
                  " IS NOT NULL") == 0;
        EXPECT_EQ(check.IsCaseProcessAttributeEmpty(e.key), none) << e.key;
        (none ? empty : filled)++;
    }
    EXPECT_GT(empty, 0u);
    EXPECT_GT(filled, 0u);
}

TEST_F(SamplePlantCatalogue, AFailingProbeRaisesAndCachesNothing) {
    EmptyAttributeCheck check;
    check.SetColumnLister([](std::string_view) {
        return std::vector<std::string>{"SP_ID", "Schedule", "NoSuchColumn"};
    });
    try {
        check.CheckEmptyAttributes("T_PipeRun", {});
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_NE(e.source().find("CheckEmptyAttributes"), std::string::npos) << e.source();
    }
    std::string cached;
    EXPECT_FALSE(check.GetItem("t_piperun", cached));
    EXPECT_TRUE(log.Has("select 1 from T_PipeRun where not NoSuchColumn is null LIMIT 1"));
    EXPECT_THROW(
        check.IsCaseProcessAttributeEmpty("T_CaseProcess.ProcessDesign_Max_NoSuchColumn_Piperun"),
        Error);
    EXPECT_FALSE(check.IsCaseProcessAttributeEmpty(
        "T_Case.ProcessDesign_Phase_Piperun"));  // a header: not probed
    // A table without rows: every column empty. One without empty columns: cached as "".
    Activate(sampleplant::kChildPlantName);
    EmptyAttributeCheck child;
    EXPECT_EQ(child.IgnoreEmptyColumns("T_Exchanger", {"SP_ID", "HeatDuty"}),
              std::vector<std::string>{"SP_ID"});
    ASSERT_TRUE(child.GetItem("t_exchanger", cached));
    EXPECT_EQ(cached, ",heatduty,temadesignation,");
    child.CheckEmptyAttributes("T_OPC", {});
    ASSERT_TRUE(child.GetItem("t_opc", cached));
    EXPECT_EQ(cached, "");
}

// A plant copy stands in for the plant: a store with some of its tables and no code lists.
TEST_F(SamplePlantCatalogue, APlantCopyOffersEveryCase) {
    auto copy = std::make_shared<store::Store>(store::Store::InMemory());
    copy->Execute("CREATE TABLE T_PipeRun (SP_ID TEXT, NominalDiameter TEXT, TagSuffix TEXT)");
    copy->Execute(
        "CREATE TABLE T_CaseProcess (SP_ID TEXT, SP_CaseID TEXT, Quality INTEGER, Pressure REAL)");
    copy->Execute("CREATE TABLE T_Case (SP_ID TEXT, CaseType INTEGER, CaseClass INTEGER)");
    for (const char* t : {"T_PipeRun", "T_CaseProcess", "T_Case"}) copy->AdoptTable(t);
    copy->Execute("INSERT INTO T_PipeRun VALUES ('1', '5064', NULL)");
    plantaccess::ResetSession();
    plantaccess::SetSessionConnection(plantaccess::StoreConnection::Open("copy", copy), "copy.mdb");
    plantaccess::SetUseCopyPlantDatabase(true);
    PlantDictionary d = PlantDictionary::Load();
    EmptyAttributeCheck check;  // probes the copy, which is the session's connection
    CatalogueOptions options;
    options.caseAttributesOn = false;
    EXPECT_EQ(CaseNamesOf(GetAttributeCatalogue("InlineComp_Prun", d, options)).size(),
              CaseNames().size() - 1);
    options.emptyCheck = &check;
    const auto entries = GetAttributeCatalogue("InlineComp_Prun", d, options);
    EXPECT_EQ(Keys(entries, "t_piperun."), std::set<std::string>{"t_piperun.NominalDiameter"});
    EXPECT_TRUE(CaseNamesOf(entries).empty());
    check.Close();
    EXPECT_TRUE(plantaccess::SessionConnection()->IsOpen());
}

}  // namespace
}  // namespace tb::attributes::testing
