#include <gtest/gtest.h>

#include "common/error.h"
#include "extraction/category_sql.h"
#include "extraction/codelists.h"
#include "extraction/revisions.h"
#include "store_fixture.h"

namespace tb::extraction {
namespace {

using test::MakeTable;
using test::Render;
using test::Shape;

void MakeCodelists(store::Store& store) {
    MakeTable(store, "Codelist_cp",
              {"ATTRIBUTE_NAME", "CODELIST_NUMBER:Long", "CODELIST_INDEX:Long", "CODELIST_TEXT",
               "CODELIST_SHORT_TEXT", "CODELIST_CONSTRAINT:Long", "CODELIST_SORT_VALUE:Long"},
              "('FailureAction', 40, 1, 'Open', 'O', 0, 1), ('FailureAction', 40, 2, 'Close', 'C', "
              "0, 2), "
              "('PipeRunClass', 41, 1, 'Piping', NULL, 0, 1), ('piperunclass', 41, 2, "
              "'Instrument', NULL, 0, 2), "
              "('Insulation', 42, 1, NULL, NULL, 0, 1), ('Insulation', 42, 2, 'Hot', NULL, 0, 2), "
              "('Status', 43, 1, '', NULL, 0, 1)");
}

TEST(Codelists, FailureActionLowAndNoValueRows) {
    auto store = store::Store::InMemory();
    MakeCodelists(store);
    AddFailureActionLowRows(store);
    store.AddCounterId("Codelist_cp");
    AddNullToCodelist(store);
    // FailureActionLow has the texts of FailureAction; every list without an empty text gets its
    // "no value" row once (lists compare ignoring case), numbered on by the counter.
    EXPECT_EQ(Render(store,
                     "SELECT ATTRIBUTE_NAME, CODELIST_INDEX, CODELIST_TEXT, CODELIST_SHORT_TEXT, "
                     "ID FROM Codelist_cp "
                     "WHERE ID > 7 ORDER BY ID"),
              "FailureActionLow|1|Open|O|8;FailureActionLow|2|Close|C|9;"
              "FailureAction|-1|<null>|<null>|10;PipeRunClass|-1|<null>|<null>|11;FailureActionLow|"
              "-1|<null>|<null>|12");
    AddNullToCodelist(store);  // a second pass finds every list complete
    EXPECT_EQ(Render(store, "SELECT count(*) FROM Codelist_cp"), "12");
}

TEST(Codelists, DecodeUpdateSql) {
    EXPECT_EQ(DecodeUpdateSql("t", {{"Fluid", "FluidCode"}, {"O'x", "it's"}}),
              "UPDATE [t] SET [Fluid] = tb_decode(lcase('FluidCode'), [t].[Fluid]), "
              "[O'x] = tb_decode(lcase('it''s'), [t].[O'x])");
    EXPECT_THROW(DecodeUpdateSql("t", {}), Error);
}

TEST(Codelists, DecodeTable) {
    auto store = store::Store::InMemory();
    MakeTable(store, "Codelist_cp", {"ATTRIBUTE_NAME", "CODELIST_INDEX:Long", "CODELIST_TEXT"},
              "('FailureAction', 1, 'Open'), ('FailureAction', 2, 'Close'), "
              "('failureaction', 2, 'Closed again'), ('Insulation', 1, NULL), "
              "('Insulation', -1, NULL), ('Status', 1, 'A very long status text'), "
              "('Status', NULL, 'Unset'), ('Status', 3, ''), (NULL, 7.5, 'orphan')");
    MakeTable(store, "t", {"FailureAction:Double", "Insulation", "Status", "Other:Long"},
              "(1, '1', '1', 10), (2.0, '-1', NULL, 20), (7.5, 'x', NULL, 2), "
              "(NULL, NULL, '9', 1), (NULL, X'', '3', 0)");
    store.AlterColumnType("t", "Insulation", store::ColumnType::Text(10));
    store.AlterColumnType("t", "Status", store::ColumnType::Text(3));
    MakeDecodeLookup(store);
    DecodeTable(
        store, "T",
        {{"FailureAction", "FAILUREACTION"}, {"Insulation", "Insulation"}, {"Status", "status"}});
    DropDecodeLookup(store);
    // The number column became text (2.0 is the code "2"; the last row of a repeated index wins,
    // lists compare through lcase); a code whose text is Null gives Null; a Null code decodes
    // only through a row with a Null index; codes not listed stay; the undecoded column is left.
    EXPECT_EQ(Render(store, "SELECT * FROM t ORDER BY _rowid_"),
              "Open|<null>|A very long status text|10;Closed again|<null>|Unset|20;"
              "7.5|x|Unset|2;<null>|<null>|9|1;<null>|||0");
    // An empty text decodes to the empty text; an empty blob (no code) stays a blob.
    EXPECT_EQ(Render(store, "SELECT typeof(Insulation), typeof(Status) FROM t WHERE Other = 0"),
              "blob|text");
    EXPECT_EQ(Shape(store, "t"),
              "FailureAction:Text(255),Insulation:Text(10),Status:Text(23),Other:Long");
    EXPECT_EQ(Render(store, "SELECT count(*) FROM sqlite_schema WHERE name LIKE '__tb_decode%'"),
              "0");
}

TEST(Codelists, GlossaryOwners) {
    struct Case {
        const char* column;
        const char* table;
        GlossaryOwner want;
    } cases[] = {
        {"PipeRun_ItemTag", "InlineComp_Prun", {"PipeRun", "ItemTag"}},
        {"Drawing_Name", "PID", {"Representation", "Drawing.Name"}},
        {"DrawingNumber", "Plantitems", {"Representation", "Drawing.Number"}},
        {"SP_ID", "PID", {"", "SP_ID"}},
        {"SP_ID", "Plantitems", {"plantitem", "SP_ID"}},
        {"sp_plantgroup_name", "x", {"sp_plantgroup", "name"}},
        {"LoopDrawingName", "Instruments", {"instrument", "LoopDrawingName"}},
        {"Tag", "PID", {"", "Tag"}},
    };
    for (const auto& c : cases) EXPECT_EQ(GetGlossaryOwner(c.column, c.table), c.want) << c.column;
    EXPECT_EQ(GetGlossaryOwnerName("PIPERUN"), "Pipe Run");
    EXPECT_EQ(GetGlossaryOwnerName("instrloop"), "Instrument Loop");
    EXPECT_EQ(GetGlossaryOwnerName("nozzle"), "Nozzle");
}

// The attribute a column decodes as: drawing columns of PID and Drawings by their T_Drawing
// column, shortened or not; the plant item's and model item's own columns as they stand; any
// other column behind its owner prefix.
TEST(Codelists, DecodeAttributeName) {
    const DecodeColumns known{
        {"SP_ID", "PlantItemType", "Class"},
        {"SP_ID", "ModelItemType"},
        {"SP_ID", "Name", "ItemStatus", "DocumentCategory", "SP_ArePropertiesModified"}};
    struct Case {
        const char* table;
        const char* column;
        const char* want;
    } cases[] = {
        {"PID", "SP_ArePropertiesModified", "SP_ArePropertiesModified"},
        {"pid", "sp_arepropertiesmodified", "SP_ArePropertiesModified"},
        {"PID", "Drawing_DocumentCategory", "DocumentCategory"},
        {"PID", "PlantItemType", "PlantItemType"},
        {"PID", "ModelItemType", "ModelItemType"},
        {"PID", "Representation_ID", "ID"},
        {"Drawings", "SP_ArePropertiesModified", "SP_ArePropertiesModified"},
        {"Drawings", "Drawing_ItemStatus", "ItemStatus"},
        {"Drawings", "Drawing_NoOfVersions", "NoOfVersions"},
        // Outside PID and Drawings a column is no drawing column.
        {"t_piperun", "SP_ArePropertiesModified", "ArePropertiesModified"},
        {"t_piperun", "Piperun_ItemStatus", "ItemStatus"},
        {"t_plantitem", "Plantitem_Class", "Plantitem_Class"},
        {"t_equipment", "Class", "Class"},
        {"t_equipment", "Equipment_Class", "Class"},
        {"t_note", "Tag", "Tag"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(DecodeAttributeName(c.table, c.column, known), c.want)
            << c.table << "." << c.column;
}

TEST(Codelists, FillGlossary) {
    auto store = store::Store::InMemory();
    MakeTable(store, "Task", {"Name"}, "('Plantitems'), ('InlineComp_Prun'), (NULL), ('Missing')");
    MakeTable(store, "Plantitems",
              {"SP_ID", "ItemTag", "Modelitem_Description", "Symbol_Name", "Unknown"});
    MakeTable(store, "InlineComp_Prun",
              {"PipeRun_NominalDiameter", "PipeRun_ProcessDesign_Max_Pressure", "Inlinecomp_Tag",
               "PipeRun_PlantGroup"});
    MakeTable(store, "PID", {"SP_ID", "Drawing_Name"});
    MakeTable(
        store, "itemattributions_cp", {"NAME", "DISPLAYNAME"},
        "('ItemTag', 'Item Tag'), ('itemtag', 'Other'), ('MODELITEM.DESCRIPTION', 'Description'), "
        "('Name', 'Name'), ('NominalDiameter', 'Nominal Diameter'), ('processdesign.max.pressure', "
        "'Design Max Pressure'), ('Drawing.Name', 'Drawing Name'), ('Tag', 'Tag')");
    FillGlossary(store);
    EXPECT_EQ(
        Render(store, "SELECT [Table], [Column], PidDisplayName FROM _Glossary ORDER BY _rowid_"),
        "Plantitems|SP_ID|Plant Item SP ID;Plantitems|ItemTag|Plant Item Item Tag;"
        "Plantitems|Modelitem_Description|Model Item Description;Plantitems|Symbol_Name|Symbol "
        "Name;"
        "InlineComp_Prun|PipeRun_NominalDiameter|Pipe Run Nominal Diameter;"
        "InlineComp_Prun|PipeRun_ProcessDesign_Max_Pressure|Pipe Run Design Max Pressure;"
        "InlineComp_Prun|Inlinecomp_Tag|Inline Component "
        "Tag;InlineComp_Prun|PipeRun_PlantGroup|Pipe Run Plant Group;"
        "PID|SP_ID|SP ID;PID|Drawing_Name|Representation Drawing Name");
    ASSERT_EQ(store.Indexes("_Glossary").size(), 1u);
    EXPECT_TRUE(store.Indexes("_Glossary")[0].primary);

    // A second pass on a kept extract adds nothing for known columns, only the new one.
    store.AddColumn("PID", {"Tag", store::ColumnType::Text(40)});
    FillGlossary(store);
    EXPECT_EQ(Render(store, "SELECT count(*) FROM _Glossary"), "11");
    EXPECT_EQ(Render(store, "SELECT PidDisplayName FROM _Glossary WHERE [Column]='Tag'"), "Tag");
}

// Drawings D1 (three revisions), D2 (one), D3 (two, the newest with no minor number), D4 (none).
void MakeRevisionTables(store::Store& store) {
    MakeTable(store, "Drawings", {"Drawing_SP_ID", "Drawing_Name"},
              "('D1', 'P-1'), ('D2', 'P-2'), ('D3', 'P-3'), ('D4', 'P-4')");
    MakeTable(
        store, "T_Revision", {"Revision_SP_ID", "Revision_SP_DRAWINGID", "Revision_RevisionBy"},
        "('R11', 'D1', 'ann'), ('R12', 'D1', 'bob'), ('R13', 'D1', 'cy'), ('R21', 'D2', 'dee'), "
        "('R31', 'D3', 'eve'), ('R32', 'D3', 'fay')");
    // newest first within a drawing, as the plant read orders them
    MakeTable(store, "t_lastrevision",
              {"sp_id", "SP_MAJORREVISIONNUMBER", "SP_MINORREVISIONNUMBER", "sp_drawingid"},
              "('R13', 'C', '2', 'D1'), ('R12', 'B', '1', 'D1'), ('R11', 'A', '0', 'D1'), ('R21', "
              "'1', 'a', 'D2'), "
              "('R32', '2', NULL, 'D3'), ('R31', '1', 'b', 'D3')");
}

TEST(Revisions, RevisionNumbersOfDrawings) {
    auto store = store::Store::InMemory();
    MakeRevisionTables(store);
    AttributeKeys keys;
    keys.Set("Drawings",
             {"T_Drawing.Name", "T_Revision.RevisionBy", "Others.LastRevision",
              "Others.Last-1Revision", "Others.Last-2Revision", "Others.FirstRevision"});
    AddRevision2Drawings(store, keys);
    EXPECT_EQ(Shape(store, "Drawings"),
              "Drawing_SP_ID:Text(255),Drawing_Name:Text(255),Revision_SP_ID:Text(255),Revision_"
              "RevisionBy:Text(255),"
              "LastRevision:Text(255),Last-1Revision:Text(255),Last-2Revision:Text(255),"
              "FirstRevision:Text(255)");
    EXPECT_EQ(Render(store,
                     "SELECT Drawing_SP_ID, Revision_SP_ID, LastRevision, [Last-1Revision], "
                     "[Last-2Revision], "
                     "FirstRevision FROM Drawings ORDER BY _rowid_"),
              "D1|R11|C2|B1|A0|A0;D1|R12|C2|B1|A0|A0;D1|R13|C2|B1|A0|A0;"
              "D2|R21|1a|<null>|<null>|<null>;D3|R31|2|1b|<null>|<null>;D3|R32|2|1b|<null>|<null>;"
              "D4|<null>|<null>|<null>|<null>|<null>");
    for (const char* gone : {"t_lastrevision", "t_lastrevision2", "tempDrawings"})
        EXPECT_FALSE(store.TableExists(gone)) << gone;
}

TEST(Revisions, Last2AloneAndFirst) {
    auto store = store::Store::InMemory();
    MakeRevisionTables(store);
    store.DropTable("T_Revision");
    AttributeKeys keys;
    keys.Set("Drawings", {"Others.Last-2Revision", "Others.FirstRevision"});
    AddRevision2Drawings(store, keys);
    // Without Last-1 the newest two go before Last-2; the first revision is what is left.
    EXPECT_EQ(
        Render(
            store,
            "SELECT Drawing_SP_ID, [Last-2Revision], FirstRevision FROM Drawings ORDER BY _rowid_"),
        "D1|A0|A0;D2|<null>|<null>;D3|<null>|<null>;D4|<null>|<null>");
}

TEST(Revisions, ColumnsAndVersionAssociated) {
    AttributeKeys keys;
    keys.Set("Drawings", {"T_Revision.RevisionBy", "T_Revision.VersionAssociated",
                          "T_Revision.Gone", "T_Drawing.Name"});
    EXPECT_EQ(GetCols4Revision(keys, {"SP_ID", "SP_DRAWINGID", "REVISIONBY"}),
              (std::vector<std::string>{"RevisionBy", "SP_ID", "SP_DRAWINGID"}));
    keys.Set("Drawings", {"T_Revision.VersionAssociated"});
    EXPECT_EQ(GetCols4Revision(keys, {"SP_ID"}),
              (std::vector<std::string>{"SP_ID", "SP_DRAWINGID"}));
    keys.Set("Drawings", {"T_Drawing.Name"});
    EXPECT_TRUE(GetCols4Revision(keys, {"SP_ID"}).empty());
    EXPECT_FALSE(GetRevisionColumnFlags(keys).any());

    auto store = store::Store::InMemory();
    MakeTable(store, "T_Revision", {"Revision_SP_ID", "Revision_SP_DRAWINGID"},
              "('R1', 'D1'), ('R2', 'D1')");
    MakeTable(store, "t_drawingversion", {"sp_revisionid"}, "('r2'), ('R2')");
    AddVersionAssociated(store);
    EXPECT_EQ(Render(store, "SELECT Revision_SP_ID, VersionAssociated FROM T_Revision"),
              "R1|False;R2|True");
    EXPECT_EQ(
        Shape(store, "T_Revision"),
        "Revision_SP_ID:Text(255),Revision_SP_DRAWINGID:Text(255),VersionAssociated:Text(10)");
    EXPECT_FALSE(store.TableExists("t_drawingversion"));
}

TEST(Revisions, DrawingLastModified) {
    auto store = store::Store::InMemory();
    MakeTable(store, "PID", {"SP_ID", "Drawing_SP_ID"},
              "('A', 'D1'), ('B', 'D1'), ('C', 'D2'), ('E', NULL)");
    MakeTable(store, "Drawings", {"Drawing_SP_ID"}, "('D1'), ('D2'), ('D3')");
    // several rows for D1: the last one in stored order wins
    MakeTable(store, "t_history", {"sp_drawingid", "timestamp:DateTime", "actor"},
              "('D1', '2024-01-01 08:00:00', 'ann'), ('D2', '2024-01-02 09:00:00', 'bob'), "
              "('D1', '2024-03-01 10:00:00', 'cy')");
    AttributeKeys keys;
    keys.Set("Drawings", {"T_Drawing.LastModifiedDate"});
    AddDrawingLastModified(store, keys, true, true);
    EXPECT_EQ(Render(store, "SELECT * FROM PID ORDER BY _rowid_"),
              "A|D1|2024-03-01 10:00:00|cy;B|D1|2024-03-01 10:00:00|cy;C|D2|2024-01-02 "
              "09:00:00|bob;E|<null>|<null>|<null>");
    EXPECT_EQ(Shape(store, "PID"),
              "SP_ID:Text(255),Drawing_SP_ID:Text(255),Drawing_LastModifiedDate:DateTime,Drawing_"
              "LastModifiedUser:Text(40)");
    EXPECT_EQ(Shape(store, "Drawings"),
              "Drawing_SP_ID:Text(255),Drawing_LastModifiedDate:Text(50)");
    EXPECT_EQ(Render(store, "SELECT * FROM Drawings ORDER BY _rowid_"),
              "D1|2024-03-01 10:00:00;D2|2024-01-02 09:00:00;D3|<null>");
    EXPECT_FALSE(store.TableExists("t_history"));
    EXPECT_THROW(AddDrawingLastModified(store, keys, true, false), Error);  // no t_history
}

TEST(Revisions, LastHistoryEventsSql) {
    EXPECT_EQ(
        LastHistoryEventsSql("t_history", false, true),
        "SELECT g.[sp_modelitemid] AS [item], modified.[timestamp] AS [modified_timestamp], "
        "modified.[actor] AS [modified_actor] FROM (SELECT [sp_modelitemid], max(CASE WHEN "
        "[eventtype]=2 THEN _rowid_ END) AS [modified_row] FROM [t_history] WHERE [eventtype] "
        "IN (2) GROUP BY [sp_modelitemid]) AS g LEFT JOIN [t_history] AS modified ON "
        "modified._rowid_=g.[modified_row]");
}

void MakeHistory(store::Store& store) {
    MakeTable(store, "t_plantitem", {"sp_id", "name"},
              "('A', 'a'), ('B', 'b'), ('C', 'c'), ('A', 'a2')");
    // Stored ordered by timestamp; equal timestamps keep their stored order, and the last row of a
    // kind wins. C has no events; B only a modification; Z is no plant item.
    MakeTable(store, "t_history",
              {"sp_modelitemid", "timestamp:DateTime", "actor", "eventtype:Long"},
              "('A', '2024-01-01 08:00:00', 'ann', 3), ('B', '2024-01-01 09:00:00', 'bob', 2), "
              "('A', '2024-01-02 08:00:00', 'cy', 2), ('A', '2024-01-02 08:00:00', 'dee', 2), "
              "('A', '2024-01-03 08:00:00', 'eve', 1), ('A', '2024-01-03 08:00:00', 'fay', 3), "
              "('Z', '2024-01-04 08:00:00', 'gus', 2), ('A', '2024-01-05 08:00:00', "
              "'a-very-long-user-name-that-is-over-forty-chars', 2)");
}

TEST(Revisions, PlantItemHistoryAllColumns) {
    auto store = store::Store::InMemory();
    MakeHistory(store);
    HistoryFlags flags;
    flags.createdDate = flags.createdUser = flags.modifiedDate = flags.modifiedUser = true;
    AddPlantItemHistory(store, flags);
    EXPECT_EQ(Render(store, "SELECT * FROM t_plantitem ORDER BY _rowid_"),
              "A|a|2024-01-03 08:00:00|fay|2024-01-05 "
              "08:00:00|a-very-long-user-name-that-is-over-forty-chars;"
              "B|b|<null>|<null>|2024-01-01 09:00:00|bob;C|c|<null>|<null>|<null>|<null>;"
              "A|a2|2024-01-03 08:00:00|fay|2024-01-05 "
              "08:00:00|a-very-long-user-name-that-is-over-forty-chars");
    EXPECT_EQ(Shape(store, "t_plantitem"),
              "sp_id:Text(255),name:Text(255),CreatedDate:Text(50),CreatedUser:Text(40),"
              "LastModifiedDate:Text(50),LastModifiedUser:Text(46)");
    EXPECT_FALSE(store.TableExists("t_history"));
}

TEST(Revisions, PlantItemHistorySomeColumns) {
    auto store = store::Store::InMemory();
    MakeHistory(store);
    // Equal timestamps of one kind: the later stored row (dee) wins over cy.
    store.Execute("DELETE FROM t_history WHERE actor LIKE 'a-very%'");
    HistoryFlags flags;
    flags.createdDate = flags.modifiedUser = true;
    AddPlantItemHistory(store, flags);
    EXPECT_EQ(Render(store, "SELECT * FROM t_plantitem ORDER BY _rowid_"),
              "A|a|2024-01-03 08:00:00|dee;B|b|<null>|bob;C|c|<null>|<null>;A|a2|2024-01-03 "
              "08:00:00|dee");
    EXPECT_EQ(Shape(store, "t_plantitem"),
              "sp_id:Text(255),name:Text(255),CreatedDate:Text(50),LastModifiedUser:Text(40)");
}

}  // namespace
}  // namespace tb::extraction
