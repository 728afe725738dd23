// The plant-side statements of the extraction, the site resolution, the catalogue, the
// selection look-ups and the drawing tree, in their Oracle form (which the embedded plant
// uses), run on the tiny plant: every table and column they name must be there, and the rows
// they find must be the ones the plant was built with.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "plant_checks.h"

namespace tb::sampleplant::test {
namespace {

const GeneratedPlant& Tiny() {
    return TinyPlant();
}

// Oracle's CONCAT: Null counts as ''.
void Concat(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    std::string out;
    for (int i = 0; i < argc; ++i) {
        const auto* text = sqlite3_value_text(argv[i]);
        if (text) out += reinterpret_cast<const char*>(text);
    }
    sqlite3_result_text(ctx, out.c_str(), static_cast<int>(out.size()), SQLITE_TRANSIENT);
}

// Oracle's INSTR with a start; a negative start searches backwards from the end.
void Instr3(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const auto* s = sqlite3_value_text(argv[0]);
    const auto* sub = sqlite3_value_text(argv[1]);
    if (!s || !sub) return sqlite3_result_null(ctx);
    const std::string text(reinterpret_cast<const char*>(s));
    const std::string needle(reinterpret_cast<const char*>(sub));
    const long start = sqlite3_value_int(argv[2]);
    std::size_t pos = std::string::npos;
    if (start < 0) {
        pos = text.rfind(needle, text.size() + static_cast<std::size_t>(start + 1) - 1);
    } else {
        pos = text.find(needle, static_cast<std::size_t>(start > 0 ? start - 1 : 0));
    }
    sqlite3_result_int64(ctx, pos == std::string::npos ? 0 : static_cast<sqlite3_int64>(pos + 1));
}

void Lower(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const auto* s = sqlite3_value_text(argv[0]);
    if (!s) return sqlite3_result_null(ctx);
    std::string out(reinterpret_cast<const char*>(s));
    for (char& c : out) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    sqlite3_result_text(ctx, out.c_str(), static_cast<int>(out.size()), SQLITE_TRANSIENT);
}

void Register(Db& db) {
    sqlite3_create_function(db.handle(), "concat", -1, SQLITE_UTF8, nullptr, Concat, nullptr,
                            nullptr);
    sqlite3_create_function(db.handle(), "instr", 3, SQLITE_UTF8, nullptr, Instr3, nullptr,
                            nullptr);
    sqlite3_create_function(db.handle(), "lcase", 1, SQLITE_UTF8, nullptr, Lower, nullptr, nullptr);
}

std::int64_t Rows(Db& db, const std::string& sql) {
    return Scalar(db, "SELECT count(*) FROM (" + sql + ")");
}

struct Statement {
    const char* what;
    const char* sql;
    std::int64_t rows;  // -1: any number, the statement only has to run
};

// Ids of the showcase, by name.
#define D1 "(select sp_id from t_drawing where name='PID-11-01')"

const Statement kPlantStatements[] = {
    {"PID (representations on active drawings)",
     "SELECT t_representation.SP_MODELITEMID SP_ID, t_representation.SP_ID Representation_ID, "
     "T_Drawing.Name Drawing_Name, T_Drawing.Path Drawing_Path, T_Drawing.SP_ID Drawing_SP_ID, "
     "CONCAT(t_representation.instockpile,'') Instockpile, "
     "substr(t_representation.FILENAME,instr(t_representation.FILENAME,'\\',-1)+1) FileName, "
     "CONCAT(CONCAT(t_drawing.name,  '_'), GraphicOID) GraphicID, "
     "CONCAT(t_plantitem.PlantItemType,'') PlantItemType, CONCAT(t_modelitem.ModelItemType,'') "
     "ModelItemType, "
     "t_plantitem.itemtag Tag, t_representation.SP_MODELITEMTIMESTAMP "
     "FROM (((t_representation left join t_drawing on t_representation.SP_DrawingID = "
     "t_drawing.SP_ID) "
     "left join t_plantitem on t_representation.SP_MODELITEMID=t_plantitem.sp_id) "
     "left join t_modelitem on t_representation.SP_MODELITEMID=t_modelitem.sp_id) WHERE "
     "t_drawing.itemstatus=1",
     -1},
    {"selection by drawing id",
     "SELECT sp_id FROM t_piperun WHERE PIPERUNCLASS<>2 AND sp_id in (select sp_modelitemid from "
     "t_representation "
     "where sp_drawingid in (select sp_id from t_drawing WHERE SP_ID IN " D1 "))",
     17},
    {"plant items",
     "SELECT SP_PLANTGROUPID, SP_ID, Plantitemtype, sp_partofid, ItemTag FROM t_plantitem", -1},
    {"history", "select sp_modelitemid, timestamp, actor, eventtype from t_history", -1},
    {"groups with members",
     "SELECT a.ItemTag, a.Name, b.SP_PLANTITEMID FROM t_plantitem a inner join T_Package t on "
     "a.SP_ID=t.SP_ID "
     "inner join t_plantitemgroupjoin b on t.SP_ID=b.SP_PLANTITEMGROUPID",
     2},
    {"loops with members (the empty loop too)",
     "SELECT a.ItemTag, t.LoopFunction, b.SP_PLANTITEMID FROM (t_plantitem a inner join "
     "T_InstrLoop t on "
     "a.SP_ID=t.SP_ID) left join t_plantitemgroupjoin b on t.SP_ID=b.SP_PLANTITEMGROUPID",
     10},
    {"fail modes", "SELECT SP_ID,FailureAction,sp_instrumentid,failmodetype FROM t_instrfailmode",
     2},
    {"instrument functions", "SELECT SP_ID, SP_INSTRUMENTID, FunctionType FROM T_InstrFunction",
     -1},
    {"piping points",
     "SELECT SP_ID, SP_PLANTITEMID, POINTINDEX, NominalDiameter FROM t_pipingpoint", -1},
    {"pipe runs",
     "SELECT SP_ID, PipeRunClass, PipeRunType, sp_connectorszerolength FROM t_piperun WHERE "
     "PIPERUNCLASS<>2",
     -1},
    {"status", "SELECT * FROM t_status", -1},
    {"area breaks",
     "select SP_PARENTID,Value PlantItemGroup_RevisionNumber from T_AREABREAKATTRIBUTE where "
     "name='Revision.RevisionNumber'",
     2},
    {"revisions, newest first",
     "select sp_id, SP_MAJORREVISIONNUMBER, SP_MINORREVISIONNUMBER, sp_drawingid from t_revision "
     "order by "
     "sp_drawingid, sp_revisiondate desc",
     5},
    {"labels",
     "SELECT T_LABELPERSIST.SP_ID, T_LABELPERSIST.SP_REPRESENTATIONID, "
     "t_representation.REPRESENTATIONTYPE, "
     "T_LABELPERSIST.LABELTYPE FROM T_LABELPERSIST, t_representation WHERE "
     "T_LABELPERSIST.SP_ID=t_representation.SP_ID",
     -1},
    {"relationships",
     "SELECT SP_ITEM1ID,SP_ITEM2ID FROM t_relationship WHERE not SP_ITEM1ID is null and not "
     "SP_ITEM2ID is null",
     -1},
    {"drawings",
     "select SP_ID, Name, DrawingNumber, Title, SP_PLANTGROUPID from T_Drawing WHERE itemstatus=1",
     3},
    {"drawing modifications",
     "select sp_drawingid, timestamp, actor from t_history WHERE NOT sp_drawingid IS NULL AND "
     "eventtype=2",
     -1},
    {"versions per drawing",
     "select sp_drawingid, count(sp_drawingid) NoOfVersions from t_drawingversion group by "
     "sp_drawingid",
     2},
    {"auxiliary graphics per drawing",
     "select sp_drawingid, count(sp_drawingid) NoOfAuxGraphic from t_smartframe where "
     "sp_smartframetype = 1 group by sp_drawingid",
     1},
    {"inline components", "select sp_instrumentid, sp_pipingcompid, sp_piperunid from t_inlinecomp",
     -1},
    {"process cases",
     "SELECT t_case.SP_MODELITEMID SP_ID, t_case.CASETYPE,t_caseprocess.QUALITY, "
     "t_caseprocess.Pressure FROM t_case "
     "left join t_caseprocess on t_case.SP_ID=t_caseprocess.SP_CASEID WHERE t_case.CASECLASS=24",
     15},
    {"control cases",
     "SELECT t_case.SP_MODELITEMID SP_ID, t_case.CASETYPE,t_casecontrol.QUALITY, "
     "t_casecontrol.SetPoint FROM t_case "
     "left join t_casecontrol on t_case.SP_ID=t_casecontrol.SP_CASEID WHERE t_case.CASECLASS=34",
     2},
    {"connectors of a selection, either end",
     "SELECT "
     "sp_id,sp_connectitem1id,SP_AVOIDITEM1ID,sp_connectitem2id,SP_AVOIDITEM2ID,STARTOBJECT,"
     "ENDOBJECT, "
     "ISZEROLENGTH FROM t_connector WHERE sp_connectitem1id in (select sp_id from t_representation "
     "where sp_drawingid "
     "in (select sp_id from t_drawing WHERE SP_ID IN " D1
     ")) UNION SELECT sp_id,sp_connectitem1id,SP_AVOIDITEM1ID,"
     "sp_connectitem2id,SP_AVOIDITEM2ID,STARTOBJECT,ENDOBJECT, ISZEROLENGTH FROM t_connector WHERE "
     "sp_connectitem2id "
     "in (select sp_id from t_representation where sp_drawingid in (select sp_id from t_drawing "
     "WHERE SP_ID IN " D1 "))",
     -1},
    {"symbol names",
     "select sp_id, substr(filename,instr(filename,'\\',-1)+1) Name from t_representation WHERE "
     "not filename is null",
     -1},
    {"symbols", "SELECT SP_ID, ROTATIONANGLE, XCoordinate FROM t_symbol", -1},
    {"plant groups with unit codes",
     "SELECT a.SP_ID,a.PARENTID,a.NAME PlantGroup, b.UnitCode FROM T_PLANTGROUP a left join T_Unit "
     "b on a.sp_id=b.sp_id",
     5},
    {"unit code probe", "SELECT UnitCode from t_unit where 1=0", 0},
    {"drawing tree groups", "SELECT SP_ID,PARENTID,NAME,DEPTH FROM T_PLANTGROUP ORDER BY DEPTH ASC",
     5},
    {"WorkShare sites", "SELECT SP_ID FROM T_WSSITE", 2},
    {"drawings of a site",
     "select sp_drawingid from T_DRAWINGSITE where SP_WSSITEID=(SELECT SP_ID FROM T_WSSITE "
     "WHERE SiteType='Host')",
     3},
    {"drawing tree drawings",
     "SELECT SP_ID,SP_PLANTGROUPID,DRAWINGNUMBER,NAME FROM T_DRAWING where ItemStatus=1", 3},
    {"/pbs group pattern", "SELECT SP_ID FROM T_PLANTGROUP where dir_path like '\\Area10\\%'", 3},
    {"/pbs drawing pattern", "SELECT SP_ID FROM T_DRAWING where path like '\\Area10\\Unit12\\%'",
     2},
    {"/unitcode", "SELECT SP_ID FROM T_Unit where UnitCode in ('11','12')", 2},
    {"/name", "SELECT SP_ID FROM t_drawing where Name in ('PID-11-01','PID-12-02')", 2},
    {"drawing versions",
     "select r.SP_MAJORREVISIONNUMBER, r.SP_MINORREVISIONNUMBER,v.SP_REVISIONID,v.sp_id, "
     "v.sp_drawingid, d.name, d.path "
     "from t_revision r, T_DRAWINGVERSION v, t_drawing d where r.sp_id=v.SP_REVISIONID and "
     "d.sp_id=v.sp_drawingid",
     2},
    {"version storage",
     "select sp_id, sp_drawingid, SP_REVISIONID, SP_STORAGE from T_DRAWINGVERSION", 3},
    {"catalogue: structures of the case tables",
     "SELECT * FROM t_caseprocess WHERE 1=0 UNION ALL SELECT * FROM t_caseprocess WHERE 1=0", 0},
    {"empty attribute probe", "select 1 from t_piperun where not InsulThick is null LIMIT 1", 1},
    {"empty attribute probe on a column never filled",
     "select 1 from t_modelitem where not SP_DesignBasisUID is null LIMIT 1", 0},
    {"case attribute probe",
     "select 1 from t_caseprocess, t_case where t_caseprocess.SP_CASEID=t_case.SP_ID AND "
     "t_case.CASECLASS=24 AND "
     "not t_caseprocess.Pressure is null AND t_caseprocess.quality=2 AND t_case.CASETYPE=1 LIMIT 1",
     1},
    {"active WorkShare site in the plant data (empty: the structure has it)",
     "SELECT SP_WSSITEID FROM T_ACTIVEWSSITE", 0},
};

TEST(Statements, PlantDataStatementsRunAndFindThePlant) {
    Db db(Tiny().File("PLANTAPID"), true);
    Register(db);
    for (const auto& s : kPlantStatements) {
        SCOPED_TRACE(s.what);
        std::int64_t rows = -2;
        try {
            rows = Rows(db, s.sql);
        } catch (const std::exception& e) {
            ADD_FAILURE() << e.what();
            continue;
        }
        if (s.rows >= 0) {
            EXPECT_EQ(rows, s.rows);
        }
    }
    // PID holds every representation of the three active drawings; the file name is the part
    // behind the last backslash, or the whole name when there is none.
    EXPECT_EQ(
        Rows(db, kPlantStatements[0].sql),
        Scalar(db,
               "SELECT count(*) FROM T_Representation WHERE SP_DrawingID IN (SELECT SP_ID FROM "
               "T_Drawing WHERE ItemStatus = 1)"));
    Stmt names(
        db,
        "SELECT DISTINCT substr(FILENAME,instr(FILENAME,'\\',-1)+1) FROM T_Representation WHERE "
        "FILENAME IN ('Y-Strainer Custom.sym', '\\Piping\\Valves\\2 Way Common\\Gate Valve.sym') "
        "ORDER BY 1");
    ASSERT_TRUE(names.Step());
    EXPECT_EQ(names.Text(0), "Gate Valve.sym");
    ASSERT_TRUE(names.Step());
    EXPECT_EQ(names.Text(0), "Y-Strainer Custom.sym");
}

TEST(Statements, PlantStructureServesTheActiveSite) {
    Db db(Tiny().File("PLANTA"), true);
    EXPECT_EQ(Rows(db, "SELECT SP_WSSITEID FROM T_ACTIVEWSSITE"), 1);
    EXPECT_EQ(
        Rows(db, "SELECT name as PlantGroup, name as ParentPlantGroup FROM t_plantgroup WHERE 1=0"),
        0);
    EXPECT_EQ(
        Rows(db,
             "select sp_drawingid from T_DRAWINGSITE where SP_WSSITEID=(SELECT SP_WSSITEID FROM "
             "T_ACTIVEWSSITE)"),
        3);
}

TEST(Statements, DictionaryStatementsRun) {
    Db db(Tiny().File("PLANTAPIDD"), true);
    Register(db);
    const std::string codelists =
        "SELECT DISTINCT ATTRIBUTE_NAME, CODELIST_NUMBER, CODELIST_INDEX, "
        "CODELIST_TEXT,CODELIST_SHORT_TEXT, "
        "CODELIST_CONSTRAINT, CODELIST_SORT_VALUE FROM ATTRIBUTES,CODELISTS WHERE "
        "ATTRIBUTES.ATTRIBUTE_DATATYPE = "
        "CONCAT('C',CODELISTS.CODELIST_NUMBER) AND ATTRIBUTE_CODELISTED='T' AND "
        "CODELIST_ENTRY_DISABLED=0";
    EXPECT_GT(Rows(db, codelists), 200);
    // The disabled fluid code never reaches the decode table; the "no value" list keeps its row.
    EXPECT_EQ(Rows(db, codelists + " AND ATTRIBUTE_NAME='OperFluidCode' AND CODELIST_TEXT='LS'"),
              0);
    EXPECT_EQ(Rows(db, codelists + " AND ATTRIBUTE_NAME='InsulPurpose' AND CODELIST_TEXT IS NULL"),
              1);
    EXPECT_EQ(
        Rows(db, codelists + " AND ATTRIBUTE_NAME='PlantItemType' AND CODELIST_TEXT='Nozzle'"), 1);
    EXPECT_EQ(
        Rows(db,
             codelists + " AND ATTRIBUTE_NAME='SP_ConnectorsZeroLength' AND CODELIST_TEXT='True'"),
        1);
    EXPECT_EQ(
        Rows(db,
             "SELECT entities.entity_name,uniqueatts.unique_name FROM entities,uniqueatts WHERE "
             "entities.entity_number=uniqueatts.entity_number AND uniqueatts.calculationprogid "
             "='SmartPlantHyperDesc.SPForeignCalc'"),
        4);
    EXPECT_GT(
        Rows(db, "SELECT distinct ATTRIBUTE_NUMBER, ATTRIBUTE_NAME, DEPENDSONID FROM ATTRIBUTES"),
        200);
    EXPECT_GT(Rows(db, "SELECT NAME,DISPLAYNAME FROM itemattributions group by NAME,DISPLAYNAME"),
              200);
    // The catalogue's copies.
    EXPECT_EQ(
        Rows(db,
             "SELECT CODELIST_INDEX,CODELIST_NUMBER,CODELIST_ENTRY_DISABLED FROM CODELISTS WHERE "
             "CODELIST_NUMBER IN (34,41) AND CODELIST_ENTRY_DISABLED=0"),
        12);
    EXPECT_EQ(
        Rows(db,
             "SELECT CODELIST_INDEX FROM CODELISTS WHERE CODELIST_NUMBER=34 AND CODELIST_INDEX IN "
             "(1,2,3,4,6,11,12,13,14,16,5) AND CODELIST_INDEX<>5 AND CODELIST_ENTRY_DISABLED=0"),
        7);
    EXPECT_GT(Rows(db,
                   "SELECT itemid,NAME,DISPLAYNAME FROM itemattributions group by "
                   "itemid,NAME,DISPLAYNAME"),
              200);
    EXPECT_GT(Rows(db, "SELECT id,NAME FROM item"), 30);
    EXPECT_EQ(Rows(db, "SELECT NAME FROM FILTEREDRELATIONSHIP WHERE ITEMID=37 AND SPCREATE='T'"),
              3);
    EXPECT_GT(Rows(db,
                   "select lcase(name) as n, displayname, itemid from itemattributions where (not "
                   "displayname "
                   "is null and not name like '%.%') or name like 'Process%.%' or name like "
                   "'ControlCase%.%' "
                   "order by lcase(name)"),
              200);
    EXPECT_GT(Rows(db, "SELECT Name from itemattributions where itemid=35 group by name"), 20);
    EXPECT_EQ(Rows(db, "SELECT ColumnName FROM Attributes WHERE lcase(TableName)='t_piperun'"), 16);
}

// The site resolution, with the site file attached under the site schema user's name as the
// plant access layer does.
class SiteStatements : public ::testing::Test {
  protected:
    void SetUp() override {
        db_ = std::make_unique<Db>(":memory:");
        db_->Exec("ATTACH DATABASE '" + Tiny().File("TBSITE").string() + "' AS TBSITE");
    }
    std::vector<std::string> SchemaRows(const std::string& byName) {
        const std::string p = "TBSITE.";
        const std::string sql = "SELECT SP_schema_type,Username,data_base,dbserver FROM " + p +
                                "T_DB_DATA WHERE SP_RootItemID IN (SELECT SP_ID FROM " + p +
                                "T_RootItem WHERE Lower(name)='" + byName +
                                "') UNION SELECT SP_schema_type,Username,data_base,dbserver FROM " +
                                p +
                                "T_DB_DATA WHERE UPPER(SP_schema_type)='SPPIDDATA_DICTIONARY' AND "
                                "SP_RootItemID IN (SELECT "
                                "SP_PARENTROOTITEMID FROM " +
                                p + "T_RootItem WHERE Lower(name)='" + byName + "')";
        std::vector<std::string> rows;
        Stmt s(*db_, sql + " ORDER BY 1");
        while (s.Step())
            rows.push_back(s.Text(0) + "=" + s.Text(1) + (s.IsNull(3) ? "" : " @server"));
        return rows;
    }
    std::unique_ptr<Db> db_;
};

TEST_F(SiteStatements, ParentPlantHasAllItsSchemas) {
    EXPECT_EQ(SchemaRows("planta"),
              (std::vector<std::string>{"SPAPLANT=PLANTA", "SPAPLANTDATA_DICTIONARY=PLANTAD",
                                        "SPPID=PLANTAPID", "SPPIDDATA_DICTIONARY=PLANTAPIDD"}));
}

TEST_F(SiteStatements, ChildPlantTakesTheDictionaryOfItsParent) {
    EXPECT_EQ(
        SchemaRows("planta_proj1"),
        (std::vector<std::string>{"SPAPLANT=PLANTA_PROJ1 @server", "SPPID=PLANTA_PROJ1PID @server",
                                  "SPPIDDATA_DICTIONARY=PLANTAPIDD"}));
}

TEST_F(SiteStatements, RootItemOfAChildAndTheAsBuiltName) {
    EXPECT_EQ(Rows(*db_,
                   "SELECT SP_ID FROM TBSITE.T_RootItem WHERE Lower(name)='planta_proj1' and "
                   "SP_PARENTROOTITEMID "
                   "in (SELECT SP_ID FROM TBSITE.T_RootItem WHERE Lower(name)='planta')"),
              1);
    Stmt s(*db_,
           "select name from TBSITE.T_ROOTITEM where SP_ID in (select SP_PARENTROOTITEMID from "
           "TBSITE.T_ROOTITEM where lower(name) ='planta_proj1')");
    ASSERT_TRUE(s.Step());
    EXPECT_EQ(s.Text(0), "PlantA");
}

}  // namespace
}  // namespace tb::sampleplant::test
