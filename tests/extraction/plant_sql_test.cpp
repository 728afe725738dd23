#include "extraction/plant_sql.h"

#include <gtest/gtest.h>

#include "extraction/category_sql.h"

namespace tb::extraction {
namespace {

TEST(PlantSql, DialectTexts) {
    struct Case {
        Dialect dialect;
        const char* alias;
        const char* fileName;
        const char* graphicId;
        const char* graphicIdViewer;
        const char* number;
        const char* instockpile;
    } cases[] = {
        {Dialect::Oracle, " ",
         "substr(t_representation.FILENAME,instr(t_representation.FILENAME,'\\',-1)+1)",
         "CONCAT(CONCAT(t_drawing.name,  '_'), GraphicOID)", "CONCAT('', GraphicOID)",
         "CONCAT(t_plantitem.PlantItemType,'')", "CONCAT(t_representation.instockpile,'')"},
        {Dialect::SqlServer, " AS ",
         "right(t_representation.FILENAME,charindex('\\',REVERSE(t_representation.FILENAME))-1)",
         "t_drawing.name + '_' + CAST(GraphicOID AS varchar(10))",
         "CAST(GraphicOID AS varchar(10))", "'' + CAST(t_plantitem.PlantItemType AS varchar(50))",
         "str(t_representation.instockpile) + ''"},
        // the SQLite plant speaks Oracle
        {Dialect::Sqlite, " ",
         "substr(t_representation.FILENAME,instr(t_representation.FILENAME,'\\',-1)+1)",
         "CONCAT(CONCAT(t_drawing.name,  '_'), GraphicOID)", "CONCAT('', GraphicOID)",
         "CONCAT(t_plantitem.PlantItemType,'')", "CONCAT(t_representation.instockpile,'')"},
        // a plant copy is a store
        {Dialect::AccessCopy, " AS ", "t_representation.FILENAME",
         "jcat(t_drawing.name, '_', GraphicOID)", "jcat('', GraphicOID)",
         "jcat('', t_plantitem.PlantItemType)", "jcat(t_representation.instockpile, '')"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(plantaccess::DialectName(c.dialect)));
        EXPECT_EQ(AliasKeyword(c.dialect), c.alias);
        EXPECT_EQ(FileNameExpression(c.dialect, "t_representation.FILENAME"), c.fileName);
        EXPECT_EQ(GraphicIdExpression(c.dialect, false), c.graphicId);
        EXPECT_EQ(GraphicIdExpression(c.dialect, true), c.graphicIdViewer);
        EXPECT_EQ(NumberAsText(c.dialect, "t_plantitem.PlantItemType"), c.number);
        EXPECT_EQ(InstockpileAsText(c.dialect), c.instockpile);
    }
}

TEST(PlantSql, DictionaryStatements) {
    EXPECT_EQ(CodelistSql(Dialect::Oracle, ""),
              "SELECT DISTINCT ATTRIBUTE_NAME, CODELIST_NUMBER, CODELIST_INDEX, "
              "CODELIST_TEXT,CODELIST_SHORT_TEXT, "
              "CODELIST_CONSTRAINT, CODELIST_SORT_VALUE FROM ATTRIBUTES,CODELISTS WHERE "
              "ATTRIBUTES.ATTRIBUTE_DATATYPE = "
              "CONCAT('C',CODELISTS.CODELIST_NUMBER) AND ATTRIBUTE_CODELISTED='T' AND "
              "CODELIST_ENTRY_DISABLED=0");
    EXPECT_EQ(
        CodelistSql(Dialect::SqlServer, "PLANTAPIDD."),
        "SELECT DISTINCT ATTRIBUTE_NAME, CODELIST_NUMBER, CODELIST_INDEX, "
        "CODELIST_TEXT,CODELIST_SHORT_TEXT, "
        "CODELIST_CONSTRAINT, CODELIST_SORT_VALUE FROM PLANTAPIDD.ATTRIBUTES,PLANTAPIDD.CODELISTS "
        "WHERE "
        "ATTRIBUTES.ATTRIBUTE_DATATYPE = 'C' + rtrim(ltrim(str(CODELISTS.CODELIST_NUMBER))) AND "
        "ATTRIBUTE_CODELISTED='T' AND CODELIST_ENTRY_DISABLED=0");
    EXPECT_EQ(AttributesSql(Dialect::Oracle, "D."),
              "SELECT distinct ATTRIBUTE_NUMBER, ATTRIBUTE_NAME, DEPENDSONID FROM ATTRIBUTES");
    EXPECT_EQ(AsBuiltNameSql(Dialect::SqlServer, "SITE.", "Anlage Süd's"),
              "select name from SITE.T_ROOTITEM where SP_ID in (select SP_PARENTROOTITEMID from "
              "SITE.T_ROOTITEM "
              "where Lower(name) ='anlage süd''s')");
}

TEST(PlantSql, GetPartialWhereSql) {
    const std::string pg = "'PG1'", dw = "'D1','D2'", filter = "select sp_id from x";
    const Selection both{pg, dw, "", false}, groups{pg, "", "", false}, drawings{"", dw, "", false},
        associated{pg, dw, filter, true}, items{"", "", filter, false};
    // <R> of the first shape with plant groups and drawings
    const std::string r1 =
        "t_representation where sp_drawingid in (select sp_id from t_drawing WHERE "
        "(SP_PLANTGROUPID IN ('PG1') OR SP_ID IN ('D1','D2')))";
    const std::string r2 = "t_representation where sp_drawingid in (select sp_id from x)";
    struct Case {
        const char* table;
        const Selection* selection;
        std::string want;
    } cases[] = {
        {"T_InlineComp", &both, "sp_id in (select sp_modelitemid from " + r1 + ")"},
        {"t_note", &associated, "sp_id in (select sp_modelitemid from " + r2 + ")"},
        {"t_heatexchanger", &items, "sp_id in (select sp_id from x)"},
        {"t_exchanger", &both, ""},  // not in the list: not restricted
        {"t_caseprocess", &both,
         "t_case.sp_modelitemid in (select sp_modelitemid from " + r1 + ")"},
        {"t_casecontrol", &items, "t_case.sp_modelitemid in (select sp_id from x)"},
        {"t_drawing", &both,
         "(t_drawing.SP_PLANTGROUPID IN ('PG1') OR t_drawing.SP_ID IN ('D1','D2'))"},
        {"t_drawing", &groups, "t_drawing.SP_PLANTGROUPID IN ('PG1')"},
        {"t_drawing", &drawings, "t_drawing.SP_ID IN ('D1','D2')"},
        {"t_drawing", &associated, "t_drawing.sp_id in (select sp_id from x)"},
        {"t_drawing", &items, "t_representation.SP_MODELITEMID in (select sp_id from x)"},
        {"t_representation", &both, "SP_DrawingID IN ('D1','D2')"},
        {"t_relationship", &items, ""},
        {"t_representation", &groups, ""},
        {"T_History", &groups,
         "sp_modelitemid in (select sp_modelitemid from t_representation where sp_drawingid in "
         "(select sp_id from "
         "t_drawing WHERE SP_PLANTGROUPID IN ('PG1')))"},
        {"t_status", &items, "sp_modelitemid in (select sp_id from x)"},
        {"t_pipingpoint", &associated, "SP_PLANTITEMID in (select sp_modelitemid from " + r2 + ")"},
        {"t_instrfailmode", &both, "sp_instrumentid in (select sp_modelitemid from " + r1 + ")"},
        {"t_instrfunction", &items, "sp_instrumentid in (select sp_id from x)"},
        {"t_connector", &both, "sp_connectitem1id in (select sp_id from " + r1 + ")"},
        {"t_symbol", &associated, "sp_id in (select sp_id from " + r2 + ")"},
        {"t_revision", &both, ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(GetPartialWhereSql(c.table, *c.selection, Dialect::Oracle, "PID."), c.want)
            << c.table;
    EXPECT_EQ(
        GetPartialWhereSql("t_symbol", drawings, Dialect::SqlServer, "PID."),
        "sp_id in (select sp_id from PID.t_representation where sp_drawingid in (select sp_id from "
        "PID.t_drawing WHERE SP_ID IN ('D1','D2')))");
    EXPECT_EQ(GetPartialWhereSql("t_inlinecomp", Selection{}, Dialect::Oracle, ""), "");

    EXPECT_EQ(
        AppendSelectionClause("SELECT a FROM t_piperun WHERE PIPERUNCLASS<>2", "sp_id in (x)"),
        "SELECT a FROM t_piperun WHERE PIPERUNCLASS<>2 AND sp_id in (x)");
    EXPECT_EQ(AppendSelectionClause("SELECT a FROM t", "sp_id in (x)"),
              "SELECT a FROM t WHERE sp_id in (x)");
    EXPECT_EQ(AppendSelectionClause("SELECT a FROM t", ""), "SELECT a FROM t");
}

TEST(PlantSql, GetSQL4TDrawing) {
    AttributeKeys keys;
    keys.Set("Plantitems", {"Others.Drawing_Title", "Others.Quantity", "T_Symbol.Name",
                            "Others.DrawingName", "Others.Drawing_LastModifiedDate"});
    keys.Set("ItemNotes", {"Others.Drawing_AVeryLongDrawingAttributeName", "Others.FileName"});
    const std::vector<std::string> categories = {"Plantitems", "ItemNotes"};
    const std::vector<std::string> drawing = {"SP_ID", "NAME", "PATH", "TITLE",
                                              "AVERYLONGDRAWINGATTRIBUTENAME"};
    const DrawingSql oracle = GetSQL4TDrawing(keys, categories, drawing, Dialect::Oracle);
    EXPECT_EQ(
        oracle.columns,
        "T_Drawing.Title Drawing_Title,T_Drawing.Name Drawing_Name,"
        "T_Drawing.AVeryLongDrawingAttributeName AVeryLongDrawingAttributeName,"
        "substr(t_representation.FILENAME,instr(t_representation.FILENAME,'\\',-1)+1) FileName,"
        "T_Drawing.Path Drawing_Path,T_Drawing.SP_ID "
        "Drawing_SP_ID,CONCAT(t_representation.instockpile,'') Instockpile");
    EXPECT_TRUE(oracle.symbolNames);
    const DrawingSql server = GetSQL4TDrawing(keys, {"ItemNotes"}, drawing, Dialect::SqlServer);
    EXPECT_EQ(server.columns,
              "T_Drawing.AVeryLongDrawingAttributeName AS AVeryLongDrawingAttributeName,"
              "right(t_representation.FILENAME,charindex('\\',REVERSE(t_representation.FILENAME))-"
              "1) AS FileName,"
              "T_Drawing.Name AS Drawing_Name,T_Drawing.Path AS Drawing_Path,T_Drawing.SP_ID AS "
              "Drawing_SP_ID,"
              "str(t_representation.instockpile) + '' AS Instockpile");
    EXPECT_FALSE(server.symbolNames);
}

// The selection look-ups: one statement per /pbs pattern, kinds told by the trailing "*".
TEST(PlantSql, SelectionLookUps) {
    struct Case {
        const char* pbs;
        std::vector<std::pair<bool, std::string>> statements;  // drawing?, text
    } cases[] = {
        {"Area10\\Unit12*", {{true, "SELECT SP_ID FROM D where path like '\\Area10\\Unit12%'"}}},
        // "\*" ends a plant group pattern; blanks and empty entries go.
        {" \\Area10\\* ; ;Unit11",
         {{false, "SELECT SP_ID FROM G where dir_path like '\\Area10\\%'"},
          {false, "SELECT SP_ID FROM G where dir_path like '\\Unit11'"}}},
        {"O'Neil*", {{true, "SELECT SP_ID FROM D where path like '\\O''Neil%'"}}},
        {"", {}},
    };
    for (const Case& c : cases) {
        std::vector<std::pair<bool, std::string>> got;
        for (const PbsPattern& p : PbsPatternsSql(c.pbs, "G", "D"))
            got.emplace_back(p.drawing, p.sql);
        EXPECT_EQ(got, c.statements) << c.pbs;
    }
    EXPECT_EQ(IdsByListSql("PLANTAPID.T_Unit", "UnitCode", " 11; 1'2 ;;"),
              "SELECT SP_ID FROM PLANTAPID.T_Unit where UnitCode in ('11','1''2')");
    EXPECT_EQ(IdsByListSql("T_Unit", "UnitCode", " ; "), "");
}

}  // namespace
}  // namespace tb::extraction
