// Loading .mdb files into a store: errors that name the file, the table filter, counters, the
// template carry-in, and round trips of the Access-made corpus files through a store.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "common/error.h"
#include "mdb/jet_writer.h"
#include "mdb/mdb_reader.h"
#include "store/store.h"
#include "storefile/column_mapping.h"
#include "storefile/store_file.h"
#include "storefile_test_util.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::storefile {
namespace {

using store::ColumnType;

struct FileTable {
    mdb::TableDef def;
    std::vector<mdb::Row> rows;
};

void WriteMdb(const fs::path& target, const std::vector<FileTable>& tables) {
    mdb::JetWriter writer(target);
    for (const FileTable& t : tables) {
        mdb::VectorRowSource rows(t.rows);
        writer.AddTable(t.def, rows);
    }
    writer.Commit();
}

std::string LoadError(const fs::path& file, store::Store& s) {
    try {
        LoadMdbIntoStore(file, s);
        return "ok";
    } catch (const Error& e) {
        return e.description();
    }
}

TEST(LoadMdbIntoStore, AMissingOrBrokenFileIsNamed) {
    tb::test::TempDir dir;
    tb::test::WriteFile(dir / "garbage.mdb", std::string(8192, 'x'));
    tb::test::WriteFile(dir / "empty.mdb", "");
    for (const char* name : {"missing.mdb", "garbage.mdb", "empty.mdb"}) {
        store::Store s = store::Store::InMemory();
        const std::string error = LoadError(dir / name, s);
        EXPECT_NE(error.find((dir / name).string()), std::string::npos) << error;
        EXPECT_TRUE(s.TableNames().empty());
    }
}

TEST(LoadMdbIntoStore, TheFilterPicksTablesAndATakenNameIsRefused) {
    tb::test::TempDir dir;
    const mdb::TableDef a{"Alpha", {{"X", mdb::JetType::Long}}};
    const mdb::TableDef b{"Beta", {{"Y", mdb::JetType::Text, 20}}};
    WriteMdb(dir / "two.mdb", {{a, {{std::int64_t{1}}}}, {b, {{std::string("b")}}}});

    store::Store s = store::Store::InMemory();
    EXPECT_EQ(
        LoadMdbIntoStore(dir / "two.mdb", s, [](const std::string& t) { return t == "Beta"; }),
        std::vector<std::string>{"Beta"});
    EXPECT_EQ(s.TableNames(), std::vector<std::string>{"Beta"});
    EXPECT_EQ(s.TypeOf("Beta", "Y"), ColumnType::Text(20));

    const std::string error = LoadError(dir / "two.mdb", s);
    EXPECT_NE(error.find("Table 'Beta' of " + (dir / "two.mdb").string()), std::string::npos)
        << error;
    EXPECT_NE(error.find("already exists"), std::string::npos) << error;
}

TEST(LoadMdbIntoStore, CountersStayCountersUnlessAValueRepeats) {
    tb::test::TempDir dir;
    const auto counterTable = [](std::string name) {
        return mdb::TableDef{
            std::move(name),
            {{"ID", mdb::JetType::Long, 0, true}, {"Tag", mdb::JetType::Text, 10}}};
    };
    const auto row = [](std::int64_t id, const char* tag) {
        return mdb::Row{id, std::string(tag)};
    };
    WriteMdb(dir / "counters.mdb",
             {{counterTable("Once"), {row(5, "a"), row(3, "b"), row(10, "c")}},
              {counterTable("Twice"), {row(1, "a"), row(1, "b"), row(2, "c")}}});

    store::Store s = store::Store::InMemory();
    tb::test::LogCapture log;
    LoadMdbIntoStore(dir / "counters.mdb", s);
    // The store's counter is the rowid: the rows come in counter order, and new rows go on from
    // the highest.
    EXPECT_EQ(s.TypeOf("Once", "ID"), ColumnType::Counter());
    EXPECT_EQ(s.QueryRows("SELECT ID, Tag FROM Once ORDER BY rowid"),
              (std::vector<store::Row>{{3, "b"}, {5, "a"}, {10, "c"}}));
    s.Execute("INSERT INTO Once (Tag) VALUES ('d')");
    EXPECT_EQ(s.QueryValue("SELECT ID FROM Once WHERE Tag = 'd'"), store::Value(11));
    // A repeated value cannot be a rowid: the column becomes a Long, rows in file order.
    EXPECT_EQ(s.TypeOf("Twice", "ID"), ColumnType::Long());
    EXPECT_EQ(s.QueryRows("SELECT ID, Tag FROM Twice ORDER BY rowid"),
              (std::vector<store::Row>{{1, "a"}, {1, "b"}, {2, "c"}}));
    EXPECT_EQ(log.lines,
              std::vector<std::string>{
                  "Table Twice: the auto-number column ID holds a value twice; it is loaded "
                  "as a Long."});
}

TEST(LoadMdbIntoStore, ATableNamedLikeTheStoresOwnIsPassedOver) {
    tb::test::TempDir dir;
    WriteMdb(dir / "odd.mdb", {{{"__tb_columns", {{"X", mdb::JetType::Long}}}, {{std::int64_t{1}}}},
                               {{"Plain", {{"X", mdb::JetType::Long}}}, {{std::int64_t{2}}}}});
    store::Store s = store::Store::InMemory();
    tb::test::LogCapture log;
    EXPECT_EQ(LoadMdbIntoStore(dir / "odd.mdb", s), std::vector<std::string>{"Plain"});
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_NE(log.lines[0].find("__tb_columns"), std::string::npos);
    // The store's catalogue is intact.
    EXPECT_EQ(s.TypeOf("Plain", "X"), ColumnType::Long());
}

TEST(CarryInTemplate, TheTemplatesTablesComeIntoTheStore) {
    tb::test::TempDir app;
    store::Store none = store::Store::InMemory();
    EXPECT_FALSE(CarryInTemplate(app.path(), none));
    EXPECT_TRUE(none.TableNames().empty());

    store::Store source = store::Store::InMemory();
    source.CreateTable("ReportSettings",
                       {{"Key", ColumnType::Text(50)}, {"Value", ColumnType::Memo()}});
    source.Execute("INSERT INTO ReportSettings VALUES ('Title', 'Plant A')");
    fs::create_directories(app / "Templates");
    WriteStoreFile(source, TemplateFile(app.path()));
    EXPECT_EQ(TemplateFile(app.path()), app / "Templates" / "Template.mdb");

    store::Store run = store::Store::InMemory();
    EXPECT_TRUE(CarryInTemplate(app.path(), run));
    const auto columns = run.Columns("ReportSettings");
    ASSERT_EQ(columns.size(), 2u);
    EXPECT_EQ(columns[0].name, "Key");
    EXPECT_EQ(columns[0].type, ColumnType::Text(50));
    EXPECT_EQ(columns[1].type, ColumnType::Memo());
    EXPECT_EQ(run.QueryRows("SELECT * FROM ReportSettings"),
              (std::vector<store::Row>{{"Title", "Plant A"}}));
}

// --- the Access-made corpus through a store and back ---

struct CorpusFile {
    std::string name;
    bool numeric = false;  // has Decimal columns, which come back as Double
};

const std::vector<CorpusFile> kCorpus = {
    {"testV2000.mdb"},          {"test2V2000.mdb"},         {"overflowTestV2000.mdb"},
    {"indexTestV2000.mdb"},     {"compIndexTestV2000.mdb"}, {"bigIndexTestV2000.mdb"},
    {"testPromotionV2000.mdb"}, {"fixedTextTestV2000.mdb"}, {"fixedNumericTestV2000.mdb", true},
    {"queryTestV2000.mdb"},
};

// A Decimal read as its exact text compares with the Double written for it.
bool SameValue(const mdb::Value& original, const mdb::Value& copy, mdb::JetType type) {
    if (type == mdb::JetType::Numeric && !std::holds_alternative<mdb::Null>(original)) {
        const auto* d = std::get_if<double>(&copy);
        return d && *d == std::stod(std::get<std::string>(original));
    }
    return original == copy;
}

TEST(CorpusRoundTrip, AccessFilesThroughAStoreReadBackEqual) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    for (const CorpusFile& f : kCorpus) {
        SCOPED_TRACE(f.name);
        const fs::path original = corpus / f.name;
        if (!fs::exists(original)) {
            ADD_FAILURE() << "missing from the corpus";
            continue;
        }
        store::Store s = store::Store::InMemory();
        const std::vector<std::string> tables = LoadMdbIntoStore(original, s);
        tb::test::TempDir dir;
        WriteStoreFile(s, dir / "copy.mdb");
        WriteStoreFile(s, dir / "copy.sqlite");

        const mdb::MdbReader a(original), b(dir / "copy.mdb");
        EXPECT_EQ(tables, a.TableNames());
        std::vector<std::string> inOriginal = a.TableNames(), inCopy = b.TableNames();
        std::sort(inOriginal.begin(), inOriginal.end());
        std::sort(inCopy.begin(), inCopy.end());
        EXPECT_EQ(inCopy, inOriginal);
        for (const std::string& table : a.TableNames()) {
            SCOPED_TRACE(table);
            const mdb::TableDef da = a.Table(table), db = b.Table(table);
            ASSERT_EQ(da.columns.size(), db.columns.size());
            for (std::size_t i = 0; i < da.columns.size(); ++i) {
                mdb::Column expected = da.columns[i];
                if (expected.type == mdb::JetType::Numeric) expected.type = mdb::JetType::Double;
                if (expected.type != mdb::JetType::Text) expected.length = db.columns[i].length;
                EXPECT_EQ(db.columns[i].name, expected.name);
                EXPECT_EQ(db.columns[i].type, expected.type) << expected.name;
                EXPECT_EQ(db.columns[i].length, expected.length) << expected.name;
                EXPECT_EQ(db.columns[i].autoNumber, expected.autoNumber) << expected.name;
            }
            const auto ra = test::ReadRows(original, table),
                       rb = test::ReadRows(dir / "copy.mdb", table);
            ASSERT_EQ(ra.size(), rb.size());
            EXPECT_EQ(b.DeclaredRowCount(table), ra.size());
            std::size_t differences = 0;
            for (std::size_t r = 0; r < ra.size() && differences < 5; ++r)
                for (std::size_t i = 0; i < da.columns.size(); ++i)
                    if (!SameValue(ra[r][i], rb[r][i], da.columns[i].type)) {
                        ADD_FAILURE() << "row " << r + 1 << ", column " << da.columns[i].name;
                        ++differences;
                    }
            if (!f.numeric && test::HaveMdbExport()) {
                EXPECT_EQ(test::MdbExport(original, table),
                          test::MdbExport(dir / "copy.mdb", table));
            }
            EXPECT_EQ(
                store::QueryValue(s.handle(), "SELECT count(*) FROM " + store::QuoteName(table)),
                store::Value(static_cast<std::int64_t>(ra.size())));
        }
    }
}

}  // namespace
}  // namespace tb::storefile
