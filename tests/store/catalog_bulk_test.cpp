// The catalogue operations of the sessions on the store, and rows moving in bulk: a prepared
// insert in one transaction, and the store attached to a plant connection.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/bulk.h"
#include "store/catalog_ops.h"
#include "store/sql_functions.h"
#include "store/store.h"
#include "store_test_util.h"
#include "support/test_support.h"

namespace tb::store::test {
namespace {

using Names = std::vector<std::string>;

TEST(CatalogOps, TablesLinksAndCase) {
    Store s = Store::InMemory();
    s.CreateTable("Plantitems",
                  {{"SP_ID", ColumnType::Text(32)}, {"ItemTag", ColumnType::Text(40)}});
    s.CreateTable("_Info", {{"Application", ColumnType::Text(255)}});
    MdbCreateLink(s, "PID", "PID", "/srv/out/PlantA_link.mdb", "");

    EXPECT_EQ(AdoGetTableNames(s),
              (Names{"_Info", "PID", "Plantitems"}));  // internal tables unseen
    EXPECT_TRUE(AdoTableExists(s, "PLANTITEMS"));
    EXPECT_TRUE(AdoTableExists(s, "pid"));
    EXPECT_FALSE(AdoTableExists(s, "__tb_columns"));
    EXPECT_TRUE(AdoColumnExists(s, "plantitems", "itemtag"));
    EXPECT_FALSE(AdoColumnExists(s, "plantitems", "Tag"));
    EXPECT_FALSE(AdoColumnExists(s, "missing", "Tag"));
    EXPECT_EQ(AdoGetColumnNames(s, "PLANTITEMS"), (Names{"SP_ID", "ItemTag"}));
    EXPECT_EQ(AdoGetColumnNames(s, "PID"), Names{});

    // "PLANTITEMS" renames the table stored as "Plantitems"; a missing table is no error.
    AdoRenameTable(s, "PLANTITEMS", "PlantItems");
    AdoRenameTable(s, "NoSuchTable", "Other");
    AdoRenameTable(s, "pid", "PID_Link");
    EXPECT_EQ(AdoGetTableNames(s), (Names{"_Info", "PID_Link", "PlantItems"}));

    AdoDeleteTable(s, "pid_link");
    AdoDeleteTable(s, "_INFO");
    EXPECT_EQ(AdoGetTableNames(s), (Names{"PlantItems"}));
    EXPECT_EQ(Outcome([&] { AdoDeleteTable(s, "_Info"); }), "error: Table '_Info' does not exist.");
    EXPECT_EQ(Outcome([&] { MdbCreateLink(s, "plantitems", "PID", "/x.mdb", ""); }),
              "error: Table 'plantitems' already exists.");
}

TEST(CatalogOps, LinkKeepsItsPasswordOutOfTheNameList) {
    Store s = Store::InMemory();
    MdbCreateLink(s, "PID", "PID", "/srv/x_link.mdb", "secret");
    const auto link = s.FindLink("pid");
    ASSERT_TRUE(link.has_value());
    EXPECT_EQ(link->remoteTable, "PID");
    EXPECT_EQ(link->password, "secret");
    EXPECT_EQ(Outcome([&] {
                  s.CreateTable("PID", {{"a", ColumnType::Long()}});
              }),
              "error: Table 'PID' already exists.");
}

TEST(BulkInsert, OneTransactionAndTypesFitted) {
    Store s = Store::InMemory();
    s.CreateTable("t_plantitem", {{"SP_ID", ColumnType::Text(32)},
                                  {"Type", ColumnType::Long()},
                                  {"Descr", ColumnType::Text(20)},
                                  {"Size", ColumnType::Double()}});
    s.AddCounterId("t_plantitem");
    {
        BulkInsert bulk(s, "T_PLANTITEM");
        EXPECT_EQ(bulk.columns(),
                  (Names{"SP_ID", "Type", "Descr", "Size"}));  // the counter numbers itself
        const std::string longText(300, 'd');
        for (int i = 0; i < 1000; ++i) {
            const std::string id = "id" + std::to_string(i);
            bulk.SetTextNoCopy(0, id);
            bulk.SetInt(1, i % 7);
            if (i == 500)
                bulk.SetText(2, longText);
            else
                bulk.SetNull(2);
            bulk.SetDouble(3, i / 4.0);
            bulk.Insert();
        }
        EXPECT_EQ(bulk.rows(), 1000);
        bulk.Commit();
    }
    EXPECT_EQ(Render(s, "SELECT count(*), max(ID), sum(Type) FROM t_plantitem"), "1000|1000|2997");
    EXPECT_EQ(s.TypeOf("t_plantitem", "Descr").Name(), "Memo");
    EXPECT_EQ(Render(s, "SELECT SP_ID FROM t_plantitem WHERE ID = 501"), "id500");

    // Without Commit the rows go again.
    {
        BulkInsert bulk(s, "t_plantitem", {"sp_id"});
        bulk.SetText(0, "lost");
        bulk.Insert();
    }
    EXPECT_EQ(Render(s, "SELECT count(*) FROM t_plantitem WHERE SP_ID = 'lost'"), "0");
    EXPECT_EQ(Outcome([&] { BulkInsert b(s, "t_plantitem", {"nope"}); }),
              "error: Column 'nope' does not exist in table 't_plantitem'.");
}

TEST(StoreAttachment, RowsMoveFromAPlantTableOfTheSameName) {
    tb::test::TempDir dir;
    Store store = Store::Create(dir / "store.sqlite");
    store.CreateTable("T_Drawing",
                      {{"SP_ID", ColumnType::Text(32)}, {"Name", ColumnType::Text(10)}});
    store.IndexColumn("Name", "T_Drawing");  // writing it from the plant needs the collation there
    Fill(store, "T_Drawing", "('kept', 'Kept')");

    // A plant connection with a table of the same name: the plant stays main, so unqualified names
    // are the plant's and only "st." reaches the store.
    Connection plant(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    RegisterFunctions(plant.get());  // as every plant connection does
    Execute(plant.get(),
            "CREATE TABLE T_DRAWING (SP_ID TEXT, NAME TEXT); "
            "INSERT INTO T_DRAWING VALUES ('d1', 'P&ID-1'), ('d2', 'Ärger plan 2')");
    // A statement left open on the plant connection must not stop the attachment.
    Statement open(plant.get(), "SELECT SP_ID FROM T_DRAWING");
    ASSERT_TRUE(open.Step());
    {
        StoreAttachment attached(plant.get(), store, "st");
        EXPECT_EQ(
            ExecuteCount(
                plant.get(),
                "INSERT INTO st.T_Drawing (SP_ID, Name) SELECT SP_ID, lcase(NAME) FROM T_DRAWING"),
            2);
        EXPECT_EQ(QueryValue(plant.get(), "SELECT count(*) FROM T_DRAWING").integer(), 2);
    }
    open.Reset();
    EXPECT_TRUE(store.FitTypesToData("t_drawing"));
    EXPECT_EQ(store.TypeOf("T_Drawing", "Name").Name(), "Text(12)");
    EXPECT_EQ(
        Render(
            store,
            "SELECT SP_ID FROM T_Drawing WHERE Name = 'ÄRGER PLAN 2' OR Name = 'KEPT' ORDER BY 1"),
        "d2;kept");
    EXPECT_EQ(Render(store, "PRAGMA integrity_check"), "ok");

    Store memory = Store::InMemory();
    EXPECT_EQ(Outcome([&] { StoreAttachment a(plant.get(), memory, "st"); }),
              "error: A store in memory cannot be attached to another connection.");
}

}  // namespace
}  // namespace tb::store::test
