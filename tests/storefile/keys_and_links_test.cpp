// The store's indexes, counter keys and links in the written .mdb, and a table written apart
// into a file of its own and linked back.

#include <gtest/gtest.h>

#include "common/error.h"
#include "mdb/jet_file_parser.h"
#include "mdb/mdb_reader.h"
#include "mdb/structure_checker.h"
#include "store/store.h"
#include "storefile/store_file.h"
#include "storefile_test_util.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::storefile {
namespace {

using store::ColumnType;

std::string Problems(const fs::path& file) {
    std::string s;
    for (const auto& p : mdb::test::CheckJetStructure(tb::test::ReadFile(file))) s += p + "\n";
    return s;
}

struct Index {
    std::string name;
    std::uint8_t flags = 0;
    std::size_t columns = 0;
};

// The indexes of a table in the file: logical name, flags of its real index, column count.
std::vector<Index> IndexesOf(const fs::path& file, const std::string& table) {
    const mdb::test::JetFile f(tb::test::ReadFile(file));
    std::vector<std::string> problems;
    for (const auto& o : f.Catalog(problems)) {
        if (o.name != table || o.type != 1) continue;
        const auto tdef = f.ParseTdef(static_cast<std::uint32_t>(o.id) & 0xFFFFFF);
        std::vector<Index> out;
        for (std::size_t i = 0; i < tdef.realIndexes.size(); ++i)
            out.push_back({tdef.logicalIndexNames.at(i), tdef.realIndexes[i].flags,
                           tdef.realIndexes[i].columns.size()});
        return out;
    }
    ADD_FAILURE() << "no table " << table;
    return {};
}

store::Store Items() {
    store::Store s = store::Store::InMemory();
    s.CreateTable("Items", {{"Tag", ColumnType::Text(20)}, {"Note", ColumnType::Memo()}});
    s.Execute("INSERT INTO Items VALUES ('P-1', 'x'), ('P-2', NULL), ('p-1', 'y')");
    s.AddCounterId("Items");
    s.IndexColumn("Tag", "Items");
    s.IndexColumn("Note", "Items");
    s.CreateTable("_Glossary", {{"Table", ColumnType::Text(64)}, {"Column", ColumnType::Text(64)}});
    s.CreateIndex("_Glossary", "ID", {"Table", "Column"}, true, true);
    s.Execute("INSERT INTO _Glossary VALUES ('Items', 'Tag'), ('Items', 'Note')");
    return s;
}

TEST(StoreKeys, CounterKeysAndIndexesReachTheFile) {
    store::Store s = Items();
    tb::test::TempDir dir;
    tb::test::LogCapture log;
    WriteStoreFile(s, dir / "x.mdb");
    EXPECT_EQ(Problems(dir / "x.mdb"), "");

    const auto items = IndexesOf(dir / "x.mdb", "Items");
    ASSERT_EQ(items.size(), 2u) << "the Memo column's index is left out";
    EXPECT_EQ(items[0].name, "ID");
    EXPECT_EQ(items[0].flags, 0x89) << "primary key";
    EXPECT_EQ(items[1].name, "Tag");
    EXPECT_EQ(items[1].flags, 0x80);
    const auto glossary = IndexesOf(dir / "x.mdb", "_Glossary");
    ASSERT_EQ(glossary.size(), 1u);
    EXPECT_EQ(glossary[0].name, "ID");
    EXPECT_EQ(glossary[0].flags, 0x89);
    EXPECT_EQ(glossary[0].columns, 2u);
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0],
              "Index Note of table Items is not written: one of its columns is a Memo or OLE "
              "column.");
}

TEST(StoreKeys, ATableApartGoesToItsFileAndIsLinkedBack) {
    store::Store s = Items();
    tb::test::TempDir dir;
    const fs::path link = dir / "x_link.mdb";
    WriteTableApart(s, "items", link);
    EXPECT_TRUE(s.TableExists("Items")) << "the run goes on with the table";

    const WriteSummary summary = WriteStoreFile(s, dir / "x.mdb");
    EXPECT_EQ(summary.rows, 5u);
    EXPECT_EQ(Problems(dir / "x.mdb"), "");
    EXPECT_EQ(Problems(link), "");
    mdb::MdbReader extract(dir / "x.mdb");
    EXPECT_EQ(extract.TableNames(), std::vector<std::string>{"_Glossary"});
    mdb::MdbReader apart(link);
    EXPECT_EQ(apart.TableNames(), std::vector<std::string>{"Items"});
    EXPECT_EQ(apart.ForEachRow("Items", [](const mdb::Row&) {}), 3u);
    EXPECT_EQ(IndexesOf(link, "Items").size(), 2u);

    const mdb::test::JetFile f(tb::test::ReadFile(dir / "x.mdb"));
    std::vector<std::string> problems;
    int links = 0;
    for (const auto& o : f.Catalog(problems))
        if (o.type == 6 && o.name == "Items") ++links;
    EXPECT_EQ(links, 1);

    // A SQLite extract has no links: the table stays in it.
    WriteStoreFile(s, dir / "x.sqlite");
    const store::Connection back((dir / "x.sqlite").string(), SQLITE_OPEN_READONLY);
    EXPECT_EQ(store::QueryValue(back.get(), "SELECT count(*) FROM Items").integer(), 3);
}

}  // namespace
}  // namespace tb::storefile
