// The routines that read the plant, run on the sample plant: code lists, revisions, the as-built
// name, the PID texts of the SQLite plant and the copy with its renames.

#include "support/sample_plant.h"

#include <gtest/gtest.h>

#include "common/error.h"
#include "extraction/category_sql.h"
#include "extraction/codelists.h"
#include "extraction/output_model.h"
#include "extraction/revisions.h"
#include "plantaccess/session.h"
#include "plantaccess/sqlite_plant.h"
#include "store_fixture.h"
#include "support/test_support.h"

namespace tb::extraction {
namespace {

using test::Render;
using test::Shape;

class SamplePlant : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        shared_.Run([] { tb::test::ShowcasePlant(); });
    }
    // A failed shared set-up fails each test instead of leaving them skipped.
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(shared_.Check()); }
    static inline tb::test::SharedSetUp shared_;
    void TearDown() override { plantaccess::ResetSession(); }

    static PlantSchema Schema(const std::string& user) {
        return {plantaccess::SqlitePlantConnection::Open(user, tb::test::ShowcasePlant(), user),
                Dialect::Sqlite, ""};
    }
    // The store the copies go into: a file, as a run has one.
    store::Store& Store() {
        if (!store_)
            store_ = std::make_unique<store::Store>(store::Store::Create(dir_ / "store.db"));
        return *store_;
    }

    tb::test::TempDir dir_;
    std::unique_ptr<store::Store> store_;
};

TEST_F(SamplePlant, CodeLists) {
    store::Store& st = Store();
    ASSERT_TRUE(ExtractCodelists(Schema("PLANTAPIDD"), st, true));
    EXPECT_EQ(
        Shape(st, "Codelist_cp"),
        "ATTRIBUTE_NAME:Text(64),CODELIST_NUMBER:Long,CODELIST_INDEX:Long,CODELIST_TEXT:Text(255),"
        "CODELIST_SHORT_TEXT:Text(40),CODELIST_CONSTRAINT:Long,CODELIST_SORT_VALUE:Long");
    // The disabled entry "LS" of the fluid codes is not there; the list itself is.
    EXPECT_EQ(
        Render(st,
               "SELECT count(*) FROM Codelist_cp WHERE CODELIST_NUMBER=10 AND CODELIST_INDEX=6"),
        "0");
    EXPECT_NE(Render(st, "SELECT count(*) FROM Codelist_cp WHERE ATTRIBUTE_NAME='OperFluidCode'"),
              "0");
    // FailureActionLow decodes with the texts of FailureAction.
    EXPECT_EQ(Render(st,
                     "SELECT group_concat(CODELIST_INDEX || '=' || CODELIST_TEXT) FROM Codelist_cp "
                     "WHERE ATTRIBUTE_NAME='FailureActionLow'"),
              Render(st,
                     "SELECT group_concat(CODELIST_INDEX || '=' || CODELIST_TEXT) FROM Codelist_cp "
                     "WHERE ATTRIBUTE_NAME='FailureAction'"));
    EXPECT_EQ(st.Indexes("Codelist_cp").size(), 2u);
    EXPECT_EQ(Shape(st, "m_cp"), "entity_name:Text(64),unique_name:Text(64)");
    EXPECT_NE(Render(st, "SELECT count(*) FROM m_cp"), "0");
    EXPECT_EQ(st.Indexes("ATTRIBUTES_cp").size(), 2u);
    EXPECT_NE(Render(st, "SELECT count(*) FROM itemattributions_cp"), "0");

    // The "no value" rows: every list but the one that has an entry without text (insulation, 12).
    AddID2Table(st, "Codelist_cp");
    AddNullToCodelist(st);
    EXPECT_EQ(Render(st,
                     "SELECT count(*) FROM Codelist_cp c WHERE CODELIST_INDEX=-1 AND EXISTS "
                     "(SELECT 1 FROM Codelist_cp d WHERE d.ATTRIBUTE_NAME=c.ATTRIBUTE_NAME AND "
                     "d.CODELIST_NUMBER=12)"),
              "0");
    EXPECT_EQ(
        Render(st,
               "SELECT count(DISTINCT ATTRIBUTE_NAME) FROM Codelist_cp WHERE CODELIST_INDEX<>-1"),
        Render(st,
               "SELECT count(*) + (SELECT count(DISTINCT ATTRIBUTE_NAME) FROM Codelist_cp "
               "WHERE CODELIST_NUMBER=12) FROM Codelist_cp WHERE CODELIST_INDEX=-1"));
    EXPECT_EQ(Render(st,
                     "SELECT CODELIST_TEXT IS NULL, ID > 300 FROM Codelist_cp WHERE "
                     "CODELIST_INDEX=-1 LIMIT 1"),
              "1|1");
}

TEST_F(SamplePlant, Revisions) {
    store::Store& st = Store();
    const PlantSchema plant = Schema("PLANTAPID");
    AttributeKeys keys;
    keys.Set("Drawings", {"T_Drawing.Name", "T_Revision.RevisionBy", "T_Revision.VersionAssociated",
                          "Others.LastRevision", "Others.Last-1Revision", "Others.FirstRevision"});
    Rs2Access(*plant.connection,
              "SELECT sp_id Drawing_SP_ID, name Drawing_Name FROM t_drawing ORDER BY name", st,
              "Drawings");
    ExtractTRevision(plant, st, keys);
    EXPECT_EQ(Shape(st, "T_Revision"),
              "Revision_RevisionBy:Text(40),Revision_SP_ID:Text(32),"
              "Revision_SP_DRAWINGID:Text(32),VersionAssociated:Text(10)");
    // newest first within a drawing, as the plant ordered them; the empty minor number is Null
    EXPECT_EQ(
        Render(
            st,
            "SELECT SP_MAJORREVISIONNUMBER, SP_MINORREVISIONNUMBER FROM t_lastrevision l "
            "JOIN Drawings d ON d.Drawing_SP_ID = l.sp_drawingid WHERE d.Drawing_Name='PID-11-01' "
            "ORDER BY l._rowid_"),
        "0|1;B|<null>;A|0");

    AddRevision2Drawings(st, keys);
    // PID-11-01 has three revisions (one without a minor number), PID-12-01 one, PID-11-02 one,
    // PID-12-02 none.
    EXPECT_EQ(
        Render(st,
               "SELECT Drawing_Name, count(*), LastRevision, [Last-1Revision], FirstRevision, "
               "group_concat(VersionAssociated) FROM Drawings GROUP BY Drawing_Name ORDER BY "
               "Drawing_Name"),
        "PID-11-01|3|01|B|A0|True,False,False;PID-11-02|1|A0|<null>|<null>|False;"
        "PID-12-01|1|A0|<null>|<null>|True;PID-12-02|1|<null>|<null>|<null>|<null>");
    EXPECT_FALSE(st.TableExists("t_lastrevision"));
    EXPECT_FALSE(st.TableExists("t_drawingversion"));
}

TEST_F(SamplePlant, AsBuiltNameAndColumns) {
    const PlantSchema site = Schema("TBSITE");
    EXPECT_EQ(GetAsBuiltName(site, "PLANTA_PROJ1"), "PlantA");
    EXPECT_EQ(GetAsBuiltName(site, "PlantA"), "PlantA");
    const PlantSchema plant = Schema("PLANTAPID");
    const std::string columns = GetAllDbColumns2Str(plant, "t_revision");
    EXPECT_EQ(columns.substr(0, 43), "SP_ID,SP_DrawingID,SP_MajorRevisionNumber,S");
    EXPECT_THROW(GetAllDbColumns(plant, "t_nothing"), Error);

    // The rename list gives the columns the run's spelling, by position, a change of case too.
    store::Store& st = Store();
    Rs2Access(*plant.connection, "SELECT sp_id, name FROM t_drawing", st, "t_drawing",
              "SP_Id\rName");
    EXPECT_EQ(Shape(st, "t_drawing"), "SP_Id:Text(32),Name:Text(100)");
    EXPECT_THROW(Rs2Access(*plant.connection, "SELECT nothing FROM t_drawing", st, "t_drawing"),
                 Error);
    EXPECT_EQ(plantaccess::SessionLastSql(), "SELECT nothing FROM t_drawing");
}

TEST_F(SamplePlant, PidTextsOfTheSqlitePlant) {
    store::Store& st = Store();
    const PlantSchema plant = Schema("PLANTAPID");
    AttributeKeys keys;
    keys.Set("Plantitems", {"Others.Drawing_Title"});
    const DrawingSql drawing =
        GetSQL4TDrawing(keys, {"Plantitems"}, GetAllDbColumns(plant, "t_drawing"), plant.dialect);
    Selection selection;
    selection.drawingIDs = "'nothing'";
    const std::string as(AliasKeyword(plant.dialect));
    std::string sql = "SELECT t_representation.SP_MODELITEMID" + as +
                      "SP_ID,t_representation.SP_ID" + as + "Representation_ID," + drawing.columns +
                      "," + GraphicIdExpression(plant.dialect, false) + as + "GraphicID," +
                      NumberAsText(plant.dialect, "t_plantitem.PlantItemType") + as +
                      "PlantItemType FROM ((t_representation left join t_drawing on "
                      "t_representation.SP_DrawingID = "
                      "t_drawing.SP_ID) left join t_plantitem on "
                      "t_representation.SP_MODELITEMID=t_plantitem.sp_id) "
                      "WHERE t_drawing.itemstatus=1";
    Rs2Access(*plant.connection, sql, st, "PID", "SP_ID\rRepresentation_ID");
    EXPECT_EQ(Shape(st, "PID").substr(0, 65),
              "SP_ID:Text(32),Representation_ID:Text(32),Drawing_Title:Text(240)");
    // the file name behind the last "\", the graphic id as text, the type as text for the decode (a
    // note has no plant item: Null)
    EXPECT_EQ(
        Render(st,
               "SELECT count(*) FROM PID WHERE FileName LIKE '%\\%' OR GraphicID NOT LIKE "
               "Drawing_Name || '_%' "
               "OR typeof(PlantItemType) NOT IN ('text', 'null') OR typeof(Instockpile) <> 'text'"),
        "0");
    EXPECT_NE(Render(st, "SELECT count(*) FROM PID WHERE FileName LIKE '%.sym'"), "0");

    // With a selection that matches nothing the table is still made, with its columns.
    Rs2Access(*plant.connection,
              AppendSelectionClause(
                  sql, GetPartialWhereSql("t_drawing", selection, plant.dialect, plant.prefix)),
              st, "PID");
    EXPECT_EQ(Render(st, "SELECT count(*) FROM PID"), "0");
    EXPECT_TRUE(st.ColumnExists("PID", "GraphicID"));
}

}  // namespace
}  // namespace tb::extraction
