// Integrity of the tiny and default plants: every reference resolves except the documented
// debris, connectors stay on their drawing, off-page pairs are mutual, code-listed values are
// in their lists, ids and texts have the forms a real plant has, files are complete.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/ini.h"
#include "plant_checks.h"
#include "support/test_support.h"

namespace tb::sampleplant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const GeneratedPlant& Tiny() {
    return TinyPlant();
}

const GeneratedPlant& Default() {
    return DefaultPlant();
}

struct PlantCase {
    const char* name;
    const GeneratedPlant& (*plant)();
    const char* dataUser;
    bool showcase;  // holds the deliberate debris of the hand-made drawings
};

class PlantData : public ::testing::TestWithParam<PlantCase> {
  protected:
    Db Open() const { return Db(GetParam().plant().File(GetParam().dataUser), true); }
};

TEST_P(PlantData, ReferencesResolveExceptTheDocumentedOrphans) {
    Db db = Open();
    const auto problems = UnresolvedReferences(db);
    if (GetParam().showcase) {
        // A label whose labelled representation is gone, and a symbol row left behind.
        ASSERT_EQ(problems.size(), 2u) << ::testing::PrintToString(problems);
        EXPECT_THAT(problems[0], StartsWith("T_Symbol.SP_ID=")) << problems[0];
        EXPECT_THAT(problems[1], StartsWith("T_LabelPersist.SP_RepresentationID=")) << problems[1];
    } else {
        EXPECT_THAT(problems, IsEmpty());
    }
}

TEST_P(PlantData, ConnectorEndsLieOnTheConnectorsDrawing) {
    Db db = Open();
    const auto problems = ForeignConnectorEnds(db);
    // The one exception: a connector on the deleted PID-11-02 ending on the feed drum's
    // symbol on PID-11-01.
    EXPECT_EQ(problems.size(), GetParam().showcase ? 1u : 0u) << ::testing::PrintToString(problems);
    if (GetParam().showcase) {
        EXPECT_EQ(Scalar(db,
                         "SELECT count(*) FROM T_Connector c JOIN T_Representation r ON "
                         "r.SP_ID = c.SP_ID JOIN T_Drawing d ON d.SP_ID = r.SP_DrawingID "
                         "JOIN T_Representation e ON e.SP_ID = c.SP_ConnectItem2ID "
                         "JOIN T_PlantItem p ON p.SP_ID = e.SP_ModelItemID "
                         "WHERE d.Name = 'PID-11-02' AND p.ItemTag = 'V-1101'"),
                  1);
    }
}

TEST_P(PlantData, ConnectorsPointAtRepresentationsNotModelItems) {
    Db db = Open();
    EXPECT_EQ(
        Scalar(db,
               "SELECT count(*) FROM T_Connector c WHERE c.SP_ConnectItem1ID IN "
               "(SELECT SP_ID FROM T_ModelItem) OR c.SP_ConnectItem2ID IN "
               "(SELECT SP_ID FROM T_ModelItem) OR c.SP_ID IN (SELECT SP_ID FROM T_ModelItem)"),
        0);
    // Every connector is the representation of a run (pipe, signal or duct).
    EXPECT_EQ(Scalar(db,
                     "SELECT count(*) FROM T_Connector c JOIN T_Representation r ON "
                     "r.SP_ID = c.SP_ID WHERE r.RepresentationType <> 2 OR r.SP_ModelItemID NOT IN "
                     "(SELECT SP_ID FROM T_PipeRun UNION SELECT SP_ID FROM T_SignalRun "
                     "UNION SELECT SP_ID FROM T_DuctRun)"),
              0);
}

TEST_P(PlantData, OffPageConnectorsPairBothWays) {
    Db db = Open();
    EXPECT_THAT(BrokenOpcPairs(db), IsEmpty());
    // Twice the pairs plus the open ends is the count of off-page connectors.
    const auto paired = Scalar(db, "SELECT count(*) FROM T_OPC WHERE SP_PairedWithID IS NOT NULL");
    const auto open = Scalar(db, "SELECT count(*) FROM T_OPC WHERE SP_PairedWithID IS NULL");
    EXPECT_EQ(paired % 2, 0);
    EXPECT_EQ(paired + open, Scalar(db, "SELECT count(*) FROM T_OPC"));
    EXPECT_GT(paired, 0);
    EXPECT_GT(open, 0);
}

TEST_P(PlantData, CodeListedValuesAreInTheirLists) {
    Db db = Open();
    EXPECT_THAT(ValuesOutsideLists(db, GetParam().plant().File("PLANTAPIDD")), IsEmpty());
}

TEST_P(PlantData, IdsAndTextsHaveThePlantsForms) {
    Db db = Open();
    EXPECT_THAT(MalformedIds(db), IsEmpty());
    EXPECT_THAT(EmptyTexts(db), IsEmpty());
}

TEST_P(PlantData, PipingTopologyIsConsistent) {
    Db db = Open();
    EXPECT_THAT(DanglingPointIndices(db), IsEmpty());
    EXPECT_THAT(InlineItemsOffTheirRun(db), IsEmpty());
    // A nozzle without its equipment id reaches the equipment through SP_PartOfID.
    EXPECT_EQ(Scalar(db,
                     "SELECT count(*) FROM T_Nozzle n JOIN T_PlantItem p ON p.SP_ID = n.SP_ID "
                     "WHERE n.SP_EquipmentID IS NULL AND p.SP_PartOfID IS NULL"),
              0);
    if (GetParam().showcase) {
        EXPECT_GT(Scalar(db, "SELECT count(*) FROM T_Nozzle WHERE SP_EquipmentID IS NULL"), 0);
    }
    // Subtype rows never lack their plant item, plant items never their model item.
    EXPECT_EQ(Scalar(db,
                     "SELECT count(*) FROM T_PlantItem WHERE SP_ID NOT IN (SELECT SP_ID FROM "
                     "T_ModelItem)"),
              0);
}

TEST_P(PlantData, PlantGroupsAreTheSameInBothSchemaKinds) {
    const GeneratedPlant& plant = GetParam().plant();
    const std::string structure =
        GetParam().dataUser == std::string("PLANTAPID") ? "PLANTA" : "PLANTA_PROJ1";
    Db db = Open();
    db.Exec("ATTACH DATABASE '" + plant.File(structure).string() + "' AS s");
    for (const char* table : {"T_PlantGroup", "T_Unit", "T_Area", "T_WSSite", "T_DrawingSite"}) {
        const std::string t = table;
        EXPECT_EQ(Scalar(db, "SELECT count(*) FROM (SELECT * FROM main." + t +
                                 " EXCEPT SELECT * FROM s." + t +
                                 ") UNION ALL SELECT count(*) FROM (SELECT * FROM s." + t +
                                 " EXCEPT SELECT * FROM main." + t + ")"),
                  0)
            << table;
    }
    // The active WorkShare site is found only in the plant structure.
    EXPECT_EQ(Scalar(db, "SELECT count(*) FROM main.T_ActiveWSSite"), 0);
    EXPECT_EQ(Scalar(db, "SELECT count(*) FROM s.T_ActiveWSSite"), 1);
}

INSTANTIATE_TEST_SUITE_P(Presets, PlantData,
                         ::testing::Values(PlantCase{"Tiny", &Tiny, "PLANTAPID", true},
                                           PlantCase{"Default", &Default, "PLANTAPID", true},
                                           PlantCase{"Child", &Tiny, "PLANTA_PROJ1PID", false}),
                         [](const auto& p) { return std::string(p.param.name); });

TEST(PlantFiles, EverySchemaFileOpensInTheSqliteShell) {
    for (const auto& file : fs::directory_iterator(Tiny().dir)) {
        if (file.path().extension() != ".db") continue;
        const auto run = tb::test::RunProcess(
            "/usr/bin/sqlite3", {file.path().string(), "PRAGMA integrity_check;"}, {});
        EXPECT_EQ(run.exitCode, 0) << file.path();
        EXPECT_EQ(run.output, "ok\n") << file.path();
    }
}

TEST(PlantFiles, SiteIniNamesTheSiteSchema) {
    const IniDocument ini = IniDocument::Load(Tiny().dir / kSiteIni);
    EXPECT_EQ(ini.Get("SITESCHEMA", "DBTYPE").value_or(""), "SQLITE");
    EXPECT_EQ(ini.Get("SITESCHEMA", "DBSERVER").value_or(""), Tiny().dir.string());
    EXPECT_EQ(ini.Get("SITESCHEMA", "UID").value_or(""), "TBSITE");
    EXPECT_EQ(ini.Get("SITESCHEMA", "DBAUSER").value_or(""), "TBADMIN");
    // Every schema that the site names has its file.
    Db site(Tiny().File("TBSITE"), true);
    Stmt users(site, "SELECT Username FROM T_DB_DATA");
    int rows = 0;
    while (users.Step()) {
        ++rows;
        EXPECT_TRUE(fs::exists(Tiny().File(users.Text(0)))) << users.Text(0);
    }
    EXPECT_EQ(rows, 6);
}

// Drawing files lie where T_Drawing.Path says, below the folder of the plant's root item.
std::vector<std::string> MissingDrawingFiles(const GeneratedPlant& plant, int& nullPaths) {
    Db site(plant.File("TBSITE"), true);
    const std::string folder = [&] {
        Stmt s(site, "SELECT Path FROM T_RootItem WHERE Name = 'PlantA'");
        s.Step();
        return s.Text(0);
    }();
    Db db(plant.File("PLANTAPID"), true);
    Stmt paths(db, "SELECT Name, Path FROM T_Drawing ORDER BY Name");
    std::vector<std::string> missing;
    nullPaths = 0;
    while (paths.Step()) {
        if (paths.IsNull(1)) {
            ++nullPaths;
            continue;
        }
        std::string relative = paths.Text(1);
        for (char& c : relative) c = c == '\\' ? '/' : c;
        if (!fs::exists(fs::path(folder) / relative.substr(1))) missing.push_back(paths.Text(0));
    }
    return missing;
}

TEST(PlantFiles, DrawingFilesAreWherePathsSay) {
    int nullPaths = 0;
    EXPECT_THAT(MissingDrawingFiles(Tiny(), nullPaths), IsEmpty());
    EXPECT_EQ(nullPaths, 0);
    // The default plant has one drawing whose file is missing and one without a path: the
    // first two generated sheets.
    EXPECT_THAT(MissingDrawingFiles(Default(), nullPaths), ElementsAre("PID-21-01"));
    EXPECT_EQ(nullPaths, 1);
    Db db(Default().File("PLANTAPID"), true);
    EXPECT_EQ(
        Scalar(db, "SELECT count(*) FROM T_Drawing WHERE Name = 'PID-21-02' AND Path IS NULL"), 1);
}

TEST(PlantFiles, TwoDrawingFilesShareABaseName) {
    const fs::path folder = Tiny().dir / "PlantA";
    EXPECT_TRUE(fs::exists(folder / "Area10/Unit11/PID-11-01.pid"));
    EXPECT_TRUE(fs::exists(folder / "Area10/Unit12/U12-S1/PID-11-01.pid"));
}

}  // namespace
}  // namespace tb::sampleplant::test
