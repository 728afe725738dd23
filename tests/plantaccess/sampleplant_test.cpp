// The sample plant, as the generator writes it: resolution from its site ini to every schema, the
// child plant whose dictionary is its parent's, and copies of its tables by both paths.

#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "plant_fixture.h"
#include "plant_generator.h"
#include "plantaccess/ado.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"
#include "plantaccess/transfer.h"
#include "shell/run_state.h"
#include "support/sample_plant.h"

namespace tb::plantaccess::testing {
namespace {

class SamplePlantTest : public PlantAccessTest {
  protected:
    static void SetUpTestSuite() {
        shared_.Run([] { tb::test::ShowcasePlant(); });
    }
    // A failed shared set-up fails each test instead of leaving them skipped.
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(shared_.Check()); }
    static inline tb::test::SharedSetUp shared_;
    static fs::path PlantFolder() { return tb::test::ShowcasePlant(); }

    void Activate(const std::string& plant, const std::string& parent) {
        shell::CurrentRun().activeSite = (PlantFolder() / sampleplant::kSiteIni).string();
        shell::CurrentRun().activePlant = plant;
        shell::CurrentRun().activeParentPlant = parent;
        std::string p, u, pw, node;
        InitDBSettings(p, u, pw, false, node);
    }
    static std::int64_t Count(const ConnectionPtr& c, const std::string& table) {
        return AdoRead("SELECT count(*) FROM " + table, c)->Field(0).integer();
    }
};

std::set<std::string> Listing(const fs::path& folder) {
    std::set<std::string> out;
    for (const auto& e : fs::recursive_directory_iterator(folder))
        out.insert(e.path().string() + " " +
                   std::to_string(e.is_regular_file() ? e.file_size() : 0));
    return out;
}

TEST_F(SamplePlantTest, ParentAndChildResolveToTheirSchemas) {
    const std::set<std::string> before = Listing(PlantFolder());
    const struct {
        const char* plant;
        const char* parent;
        const char* data;
        const char* dictionary;
        const char* structure;
    } cases[] = {
        {sampleplant::kPlantName, sampleplant::kPlantName, "PLANTAPID", "PLANTAPIDD", "PLANTA"},
        {sampleplant::kChildPlantName, sampleplant::kPlantName, "PLANTA_PROJ1PID", "PLANTAPIDD",
         "PLANTA_PROJ1"},
        // Found by name alone when the parent plant is not known.
        {sampleplant::kChildPlantName, "", "PLANTA_PROJ1PID", "PLANTAPIDD", "PLANTA_PROJ1"},
    };
    for (const auto& c : cases) {
        Activate(c.plant, c.parent);
        const PlantSettings& s = Settings();
        EXPECT_EQ(s.dialect, Dialect::Sqlite);
        EXPECT_EQ(s.plantSchemaUser, c.data) << c.plant;
        EXPECT_EQ(s.dictionarySchemaUser, c.dictionary) << c.plant;
        EXPECT_EQ(s.plantGroupSchemaUser, c.structure) << c.plant;
        EXPECT_GT(Count(Connect2PIDDB(kPlantSchema).connection, "T_PlantItem"), 0) << c.plant;
        EXPECT_GT(Count(Connect2PIDDB(kDictionarySchema).connection, "CODELISTS"), 0) << c.plant;
        EXPECT_GT(Count(Connect2PIDDB(kPlantGroupSchema).connection, "T_PlantGroup"), 0) << c.plant;
        EXPECT_EQ(Count(Connect2PIDDB(kSiteSchema).connection,
                        std::string(sampleplant::kSiteUser) + ".T_DB_DATA"),
                  6);
        PlantConnection data = Connect2PIDDB(kPlantSchema);
        EXPECT_FALSE(GetActivaSiteSPID(data.connection, data.prefix).empty()) << c.plant;
    }
    EXPECT_EQ(Listing(PlantFolder()), before);  // nothing written, nothing made
}

TEST_F(SamplePlantTest, TablesCopyAlikeByBothPaths) {
    Activate(sampleplant::kPlantName, sampleplant::kPlantName);
    PlantConnection pc = Connect2PIDDB(kPlantSchema);
    store::Store st = store::Store::Create(dir.path() / "copy.store");
    const std::string driver = SqliteOdbcDriver();
    ConnectionPtr odbc;
    if (!driver.empty())
        odbc = OpenConnection("ODBC;DRIVER=" + driver + ";Database=" +
                              (PlantFolder() / "PLANTAPID.db").string() + ";NoCreat=1");
    for (const char* table :
         {"T_ModelItem", "T_PlantItem", "T_Representation", "T_Drawing", "T_PipeRun"}) {
        const std::string sql = "SELECT * FROM " + std::string(table);
        const TransferResult a = CopyQueryToStore(*pc.connection, sql, st, table);
        EXPECT_EQ(a.rows, Count(pc.connection, table)) << table;
        auto cursor = pc.connection->Query(sql);
        const TransferResult b = CopyCursorToStore(*cursor, st, std::string(table) + "_rows");
        ASSERT_EQ(a.columns.size(), b.columns.size()) << table;
        for (std::size_t i = 0; i < a.columns.size(); ++i)
            EXPECT_EQ(a.columns[i].type, b.columns[i].type) << table << "." << a.columns[i].name;
        const std::string except =
            "SELECT * FROM " + std::string(table) + " EXCEPT SELECT * FROM " + table + "_rows";
        EXPECT_EQ(st.QueryRows(except).size(), 0u) << table;
        if (!odbc) continue;
        const TransferResult c = CopyQueryToStore(*odbc, sql, st, std::string(table) + "_odbc");
        EXPECT_EQ(c.rows, a.rows) << table;
        // The driver reads TIMESTAMP through a date structure; every value arrives alike.
        const std::string odbcExcept =
            "SELECT * FROM " + std::string(table) + " EXCEPT SELECT * FROM " + table + "_odbc";
        EXPECT_EQ(st.QueryRows(odbcExcept).size(), 0u) << table;
    }
    // Ids and code-listed numbers are typed as the plant declares them.
    EXPECT_EQ(st.TypeOf("T_ModelItem", "SP_ID"), store::ColumnType::Text(32));
    EXPECT_EQ(st.TypeOf("T_PlantItem", "PlantItemType"), store::ColumnType::Long());
}

}  // namespace
}  // namespace tb::plantaccess::testing
