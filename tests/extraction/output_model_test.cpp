#include "extraction/output_model.h"

#include <gtest/gtest.h>

#include "common/error.h"
#include "common/log.h"
#include "extraction/category_sql.h"
#include "store_fixture.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::extraction {
namespace {

using test::MakeTable;
using test::Render;
using test::Shape;

TEST(OutputModel, StringTableTurnsNumbersIntoText) {
    auto store = store::Store::InMemory();
    MakeTable(
        store, "t_instrument",
        {"SP_ID", "InstrumentType:Long", "Pressure:Double", "SP_PressureSI:Double", "CaseType:Long",
         "ID:Long"},
        "('A', 3, 2.5, 250000.0, 1, 7), ('B', NULL, 3.0, NULL, 2, 8), ('C', 12, 1e20, 1.0, 3, 9)");
    store.IndexColumn("SP_ID", "t_instrument");
    StringTable(store, "t_instrument", "casetype, Nothing");
    EXPECT_EQ(Shape(store, "t_instrument"),
              "SP_ID:Text(255),InstrumentType:Text(255),Pressure:Text(255),SP_PressureSI:Double,"
              "CaseType:Long,ID:Long");
    EXPECT_EQ(
        Render(store, "SELECT * FROM t_instrument ORDER BY _rowid_"),
        "A|3|2.5|250000|1|7;B||3|<null>|2|8;C|12|1E+20|1|3|9");  // Null & '' is '', as in Access
    EXPECT_EQ(Render(store, "SELECT typeof(Pressure) FROM t_instrument LIMIT 1"), "text");
    ASSERT_EQ(store.Indexes("t_instrument").size(), 1u);  // the index stays
    EXPECT_FALSE(store.TableExists("t_instrument_t"));
}

TEST(OutputModel, StringTableWithoutNumbersLeavesTheTable) {
    auto store = store::Store::InMemory();
    MakeTable(store, "T_CaseProcess", {"SP_ID", "CASETYPE:Long", "Pressure"},
              "('A', 1, '10'), ('B', 2, NULL)");
    const std::string before = Render(store, "SELECT * FROM T_CaseProcess");
    StringTable(store, "T_CaseProcess", "CASETYPE,QUALITY,CASECLASS");
    EXPECT_EQ(Shape(store, "T_CaseProcess"), "SP_ID:Text(255),CASETYPE:Long,Pressure:Text(255)");
    EXPECT_EQ(Render(store, "SELECT * FROM T_CaseProcess"), before);
    EXPECT_THROW(StringTable(store, "Missing"), Error);
}

TEST(OutputModel, IdQuantityIndexesAndRenames) {
    auto store = store::Store::InMemory();
    MakeTable(store, "Plantitems", {"SP_ID", "ItemTag"}, "('B', 'P-2'), ('A', 'P-1')");
    AttributeKeys keys;
    keys.Set("Plantitems", {"T_PlantItem.ItemTag", "others.quantity"});
    AddQuantityColumn(store, "ItemNotes", keys);  // not configured there: nothing happens
    AddQuantityColumn(store, "Plantitems", keys);
    // the second addition fails, is logged, and the update runs
    AddQuantityColumn(store, "Plantitems", keys);
    AddID2Table(store, "plantitems");
    EXPECT_EQ(Shape(store, "Plantitems"),
              "SP_ID:Text(255),ItemTag:Text(255),Quantity:Long,ID:Counter");
    EXPECT_EQ(Render(store, "SELECT SP_ID, Quantity, ID FROM Plantitems ORDER BY ID"),
              "B|1|1;A|1|2");

    IndexTable(store, "Plantitems", {"sp_id", "NoSuchColumn", "ItemTag"});
    EXPECT_EQ(store.Indexes("Plantitems").size(), 3u);  // two and the key

    RenameAllCols(store, "Plantitems", "X_", "_1");
    EXPECT_EQ(Shape(store, "Plantitems"),
              "X_SP_ID_1:Text(255),X_ItemTag_1:Text(255),X_Quantity_1:Long,X_ID_1:Counter");
    DropColumn(store, "Plantitems", "x_itemtag_1");
    RenameColumn(store, "Plantitems", "X_SP_ID_1", "SP_ID");
    EXPECT_EQ(Shape(store, "Plantitems"), "SP_ID:Text(255),X_Quantity_1:Long,X_ID_1:Counter");
}

TEST(OutputModel, InfoTable) {
    auto store = store::Store::InMemory();
    ExtractInfo info;
    info.application = "Tarnbrook";
    info.version = "0.1.0";
    info.domainName = "host1";
    info.userName = "anna";
    info.project = "PlantA";
    info.asBuiltName = "AsBuiltA";
    info.time = std::chrono::system_clock::from_time_t(1700000000);  // 2023-11-14 22:13:20 UTC
    info.withManualInfo = true;
    info.manual = {"1.5", "R2", "", "two\r\nlines\nhere", "d"};
    info.settings = "[Plantitems]\r\nT_PlantItem.ItemTag=\r\n";
    CreateInfoTable(store, info);
    EXPECT_EQ(Shape(store, "_Info"),
              "Application:Text(255),Version:Text(255),Domain_Name:Text(255),User_Name:Text(255),"
              "Project:Text(255),"
              "Extract_UTC:DateTime,Expiration_date:DateTime,Extract_Revision:Text(255),Extract_"
              "Version:Text(255),"
              "Info:Text(255),Description:Text(255),Settings:OLE,AsBuilt_Name:Text(255)");
    EXPECT_EQ(Render(store,
                     "SELECT Application, Version, Domain_Name, User_Name, Project, Extract_UTC, "
                     "Expiration_date, "
                     "Extract_Revision, Extract_Version, Info, Description, length(Settings), "
                     "AsBuilt_Name FROM _Info"),
              "Tarnbrook|0.1.0|host1|anna|PlantA|2023-11-14 22:13:20|2023-11-16 "
              "10:13:20|R2|<null>|two\\nlines\\nhere|d|"
              "36|AsBuiltA");

    // Without manual info the five stay Null; a second call replaces the table.
    info.withManualInfo = false;
    info.settings.clear();
    CreateInfoTable(store, info);
    EXPECT_EQ(
        Render(store, "SELECT count(*), Expiration_date, Extract_Revision, Settings FROM _Info"),
        "1|<null>|<null>|<null>");
    SetInfoSettings(store, "[X]");
    EXPECT_EQ(Render(store, "SELECT CAST(Settings AS TEXT) FROM _Info"), "[X]");

    info.withManualInfo = true;
    info.manual.expiringDate = "soon";
    CreateInfoTable(store, info);
    EXPECT_EQ(Render(store, "SELECT Expiration_date FROM _Info"), "<null>");
}

TEST(OutputModel, ConvertDate2Text) {
    auto store = store::Store::InMemory();
    MakeTable(store, "t_plantitem", {"SP_ID", "CreatedDate:DateTime"},
              "('A', '2024-02-29 10:00:00')");
    ConvertDate2Text(store, "t_plantitem", "CreatedDate");
    EXPECT_EQ(Shape(store, "t_plantitem"), "SP_ID:Text(255),CreatedDate:Text(50)");
    EXPECT_EQ(Render(store, "SELECT CreatedDate FROM t_plantitem"), "2024-02-29 10:00:00");
}

TEST(OutputModel, JoinTableTakesRepeatedNamesOnce) {
    auto store = store::Store::InMemory();
    MakeTable(store, "temp0", {"InlineComp_SP_ID", "Piperun_SP_ID", "Tag"},
              "('I1', 'R1', 'left'), ('I2', 'R2', 'left'), ('I3', NULL, 'left')");
    MakeTable(store, "temp1", {"PIPERUN_SP_ID", "TAG", "PipeRun_ItemTag"},
              "('R1', 'right', 'P-1'), ('R2', 'right', 'P-2a'), ('R2', 'right', 'P-2b')");
    JoinTable(store, "LEFT", {}, "temp0", "piperun_sp_id", "temp1", "PipeRun_SP_ID", "temp2");
    EXPECT_EQ(Shape(store, "temp2"),
              "InlineComp_SP_ID:Text(255),Piperun_SP_ID:Text(255),Tag:Text(255),"
              "PipeRun_ItemTag:Text(255)");
    EXPECT_EQ(Render(store, "SELECT * FROM temp2 ORDER BY _rowid_"),
              "I1|R1|left|P-1;I2|R2|left|P-2a;I2|R2|left|P-2b;I3|<null>|left|<null>");

    // A right join keeps the right rows that match nothing; the outer join keeps both sides.
    JoinTable(store, "RIGHT", {}, "temp0", "Piperun_SP_ID", "temp1", "PipeRun_SP_ID", "temp3");
    EXPECT_EQ(Render(store, "SELECT count(*) FROM temp3"), "3");
    MakeTable(store, "loops", {"SP_PLANTITEMID", "InstrLoop_Name"}, "('I1', 'L1'), ('X', 'L2')");
    JoinTable(store, "out", {}, "temp0", "InlineComp_SP_ID", "loops", "SP_PLANTITEMID", "temp4");
    EXPECT_EQ(Render(store, "SELECT InlineComp_SP_ID, InstrLoop_Name FROM temp4 ORDER BY 2, 1"),
              "I2|<null>;I3|<null>;I1|L1;<null>|L2");
    EXPECT_THROW(JoinTable(store, "LEFT", {}, "temp0", "x", "nothing", "y", "temp5"), Error);
}

TEST(OutputModel, ExtendUserColumns) {
    tb::test::TempDir dir;
    tb::test::WriteFile(
        dir / "PlantA.ini",
        "[SQL]\r\n1=ALTER TABLE Plantitems ADD COLUMN Remark TEXT(50)\r\n2=   \r\n"
        "3=UPDATE Plantitems SET Remark = ItemTag & \"-\" & Qty WHERE ItemTag like \"p%\"\r\n"
        "4=UPDATE Nowhere SET x=1\r\n5=UPDATE Plantitems SET Qty = 'many' WHERE Remark = "
        "'P-1-2'\r\n");
    auto store = store::Store::InMemory();
    MakeTable(store, "Plantitems", {"SP_ID", "ItemTag", "Qty:Long"},
              "('A', 'P-1', 2), ('B', 'Q-2', 3)");
    tb::test::LogCapture log;
    ExtendUserColumns(store, dir / "PlantA.ini", true);  // a drawing version run runs nothing
    EXPECT_EQ(log.LinesText(), "");
    ExtendUserColumns(store, dir / "PlantA.ini", false);
    SetLogSink(nullptr);
    const std::string logged = log.LinesText();
    EXPECT_NE(logged.find("5 SQL statements found\n"), std::string::npos) << logged;
    EXPECT_NE(
        logged.find(
            "Executing 'UPDATE Nowhere SET x=1'...\nUPDATE Nowhere SET x=1\nExtendUserColumns:"),
        std::string::npos)
        << logged;
    EXPECT_NE(logged.find("1 records affected"), std::string::npos);
    // The user's column came into the catalogue with its width and compares ignoring case; the
    // number column that took a text became text.
    EXPECT_EQ(Shape(store, "Plantitems"),
              "SP_ID:Text(255),ItemTag:Text(255),Qty:Text(255),Remark:Text(50)");
    EXPECT_EQ(Render(store, "SELECT SP_ID, Qty, Remark FROM Plantitems WHERE Remark = 'p-1-2'"),
              "A|many|P-1-2");
}

TEST(OutputModel, LineBreaksAsMarker) {
    struct Case {
        std::string in, out;
    } cases[] = {
        {"a\r\nb",
         "a\x03"
         "b"},
        {"a\rb\nc",
         "a\x03"
         "b\x03"
         "c"},
        {"\r\n\r\n", "\x03\x03"},
        {"\n\r", "\x03\x03"},
        {"plain\ttext", "plain\ttext"},
        {"", ""},
    };
    for (const Case& c : cases) EXPECT_EQ(LineBreaksAsMarker(c.in), c.out) << c.in;
}

}  // namespace
}  // namespace tb::extraction
