// A store table of every type with the hard values, written to .mdb and .sqlite and read back:
// through our reader, through mdbtools' mdb-export, through the sqlite3 C API, and loaded back
// into a store. Each case is one row that sets one column; the others stay Null.

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "mdb/date_time.h"
#include "mdb/jet_writer.h"
#include "store/bulk.h"
#include "store/store.h"
#include "storefile/column_mapping.h"
#include "storefile/store_file.h"
#include "storefile_test_util.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::storefile {
namespace {

using store::ColumnType;
using test::Field;
using Blob = std::vector<std::uint8_t>;

const std::vector<store::ColumnDef> kColumns = {
    {"ID", ColumnType::Counter()}, {"Txt", ColumnType::Text(255)}, {"Short", ColumnType::Text(10)},
    {"Note", ColumnType::Memo()},  {"B", ColumnType::Byte()},      {"I", ColumnType::Integer()},
    {"L", ColumnType::Long()},     {"S", ColumnType::Single()},    {"D", ColumnType::Double()},
    {"C", ColumnType::Currency()}, {"T", ColumnType::DateTime()},  {"F", ColumnType::Boolean()},
    {"O", ColumnType::OLE()},      {"G", ColumnType::Guid()},
};

std::string Repeat(const std::string& piece, int n) {
    std::string s;
    for (int i = 0; i < n; ++i) s += piece;
    return s;
}

const std::string kLatin255 = Repeat("é", 255);
const std::string kGreekEmoji10 = "Ωμέγα 😀😀";  // 10 UTF-16 units: the emoji count two each
const std::string kLongMemo = Repeat("Größe 日本 ", 1200);
const std::string kQuoted = "a \"b\", c\r\nd";
const Blob kBigBlob = [] {
    Blob b(100000);
    for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<std::uint8_t>(i * 7);
    return b;
}();
const mdb::Guid kGuid = {{0x40, 0xFC, 0x29, 0x6B, 0x47, 0xCA, 0x67, 0x10, 0xB3, 0x1D, 0x00, 0xDD,
                          0x01, 0x06, 0x62, 0xDA}};
const char* const kGuidText = "{6B29FC40-CA47-1067-B31D-00DD010662DA}";
// mdbtools prints the last two groups without their dash.
const std::string kGuidMdbTools = "{6B29FC40-CA47-1067-B31D00DD010662DA}";

constexpr double kCurMax = 922337203685477.5807;  // the nearest double, .625
constexpr double kCurMin = -922337203685477.5808;

struct Case {
    std::string column;  // empty: a row of nothing but Nulls
    store::Value stored;
    mdb::Value read;                       // our reader's value
    std::optional<Field> exported;         // mdb-export's text; nullopt: not compared
    std::optional<store::Value> sqlite;    // the SQLite file's value when it differs from `stored`
    std::optional<store::Value> reloaded;  // the value loaded back when it differs from `stored`
};

Field Text(std::string s) {
    return Field(std::move(s));
}
// mdb-export prints '' as it prints Null: nothing.
const Field kNothing = std::nullopt;
// Binary as mdb-export prints it in hex mode; it shows a GUID as the hex of its text.
Field Hex(const Blob& bytes) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    for (std::uint8_t b : bytes) {
        out += kDigits[b >> 4];
        out += kDigits[b & 15];
    }
    return out;
}
Field Hex(const std::string& text) {
    return Hex(Blob(text.begin(), text.end()));
}

const std::vector<Case>& Cases() {
    static const std::vector<Case> cases = {
        {"", {}, mdb::Null{}, kNothing, {}, {}},
        // Text: '' against Null, the 255-character limit, text beyond Latin-1 and the BMP.
        {"Txt", "", std::string(), kNothing, {}, {}},
        {"Txt", kLatin255, kLatin255, Text(kLatin255), {}, {}},
        {"Txt", kQuoted, kQuoted, Text(kQuoted), {}, {}},
        // mdb-export prints a surrogate pair as "??".
        {"Short", kGreekEmoji10, kGreekEmoji10, Text("Ωμέγα ????"), {}, {}},
        {"Short", "日本語", std::string("日本語"), Text("日本語"), {}, {}},
        {"Note", "", std::string(), kNothing, {}, {}},
        {"Note", kLongMemo, kLongMemo, Text(kLongMemo), {}, {}},
        {"Note", kLatin255 + kLatin255, kLatin255 + kLatin255, Text(kLatin255 + kLatin255), {}, {}},
        // Whole numbers at their limits; a fraction rounds half to even as Jet's CLng does.
        {"B", 0, std::int64_t{0}, Text("0"), {}, {}},
        {"B", 255, std::int64_t{255}, Text("255"), {}, {}},
        {"I", -32768, std::int64_t{-32768}, Text("-32768"), {}, {}},
        {"I", 32767, std::int64_t{32767}, Text("32767"), {}, {}},
        {"L", std::int64_t{INT32_MIN}, std::int64_t{INT32_MIN}, Text("-2147483648"), {}, {}},
        {"L", std::int64_t{INT32_MAX}, std::int64_t{INT32_MAX}, Text("2147483647"), {}, {}},
        {"L", 2.5, std::int64_t{2}, Text("2"), store::Value(std::int64_t{2}),
         store::Value(std::int64_t{2})},
        {"L", 3.5, std::int64_t{4}, Text("4"), store::Value(std::int64_t{4}),
         store::Value(std::int64_t{4})},
        // Floating point: a Single keeps a float's precision.
        {"S", 1.5, 1.5, Text("1.5"), {}, {}},
        {"S",
         0.1,
         static_cast<double>(0.1f),
         Text("0.1"),
         {},
         store::Value(static_cast<double>(0.1f))},
        {"S", -3.4028234663852886e38, -3.4028234663852886e38, Text("-3.4028235e+38"), {}, {}},
        {"D", 0.1, 0.1, Text("0.1"), {}, {}},
        {"D",
         -1.7976931348623157e308,
         -1.7976931348623157e308,
         Text("-1.797693134862316e+308"),
         {},
         {}},
        {"D",
         4.9406564584124654e-324,
         4.9406564584124654e-324,
         Text("4.940656458412465e-324"),
         {},
         {}},
        // Currency: exact to four decimals; its limits from the nearest doubles.
        {"C", 12.3456, mdb::Currency{123456}, Text("12.3456"), {}, {}},
        {"C", -0.0001, mdb::Currency{-1}, Text("-0.0001"), {}, {}},
        {"C", kCurMax, mdb::Currency{INT64_MAX}, Text("922337203685477.5807"), {}, {}},
        {"C", kCurMin, mdb::Currency{INT64_MIN}, Text("-922337203685477.5808"), {}, {}},
        // Dates: before 1899 with a time (Jet adds the time away from zero), the range's ends, and
        // a date without a time, which becomes the store's full form. mdb-export shows no date
        // before 1900 or in the year 9999.
        {"T", "1899-12-29 06:00:00", mdb::DateTime{-1.25}, std::nullopt, {}, {}},
        {"T",
         "1800-06-15 12:34:56",
         mdb::MakeDateTime(1800, 6, 15, 12, 34, 56),
         std::nullopt,
         {},
         {}},
        {"T", "0100-01-01 00:00:00", mdb::DateTime{-657434.0}, std::nullopt, {}, {}},
        {"T",
         "9999-12-31 23:59:59",
         mdb::MakeDateTime(9999, 12, 31, 23, 59, 59),
         std::nullopt,
         {},
         {}},
        {"T",
         "2024-02-29 13:14:15",
         mdb::MakeDateTime(2024, 2, 29, 13, 14, 15),
         Text("2024-02-29 13:14:15"),
         {},
         {}},
        {"T", "2024-03-01", mdb::MakeDateTime(2024, 3, 1), Text("2024-03-01 00:00:00"),
         store::Value("2024-03-01 00:00:00"), store::Value("2024-03-01 00:00:00")},
        // Booleans: the store keeps -1/0, Jet a bit, the SQLite file 1/0. Null has no place in Jet.
        {"F", -1, true, Text("1"), store::Value(1), {}},
        {"F", 1, true, Text("1"), store::Value(1), store::Value(-1)},
        {"F", 0, false, Text("0"), {}, {}},
        // OLE: empty, small and long; GUIDs in either text form.
        {"O", Blob{}, mdb::Bytes{}, Text(""), {}, {}},
        {"O",
         Blob{0x00, 0xFF, 0x10},
         mdb::Bytes{0x00, 0xFF, 0x10},
         Hex(Blob{0x00, 0xFF, 0x10}),
         {},
         {}},
        {"O", kBigBlob, kBigBlob, Hex(kBigBlob), {}, {}},
        {"G", kGuidText, kGuid, Hex(kGuidMdbTools), {}, {}},
        {"G", "6b29fc40-ca47-1067-b31d-00dd010662da", kGuid, Hex(kGuidMdbTools),
         store::Value(kGuidText), store::Value(kGuidText)},
    };
    return cases;
}

int ColumnIndex(const std::string& name) {
    for (std::size_t i = 0; i < kColumns.size(); ++i)
        if (kColumns[i].name == name) return static_cast<int>(i);
    return -1;
}

bool IsBoolean(std::size_t column) {
    return kColumns[column].type.jet == mdb::JetType::Boolean;
}

// What each column of case row `c` holds in the store's form, ID left out.
store::Value StoredAt(const Case& c, std::size_t column) {
    if (static_cast<int>(column) == ColumnIndex(c.column)) return c.stored;
    return {};
}

std::string Describe(const Case& c, std::size_t row) {
    return "row " + std::to_string(row + 1) + " (" + (c.column.empty() ? "all Null" : c.column) +
           ")";
}

store::Store MakeStore() {
    store::Store s = store::Store::InMemory();
    s.CreateTable("AllTypes", kColumns);
    std::vector<std::string> names;
    for (std::size_t i = 1; i < kColumns.size(); ++i) names.push_back(kColumns[i].name);
    store::BulkInsert bulk(s, "AllTypes", names);
    for (const Case& c : Cases()) {
        for (std::size_t i = 1; i < kColumns.size(); ++i)
            bulk.SetValue(static_cast<int>(i - 1), StoredAt(c, i));
        bulk.Insert();
    }
    bulk.Commit();
    // A second table and a table of the store's own, which never reaches a file.
    s.CreateTable("Second", {{"Name", ColumnType::Text(20)}});
    s.Execute("INSERT INTO Second VALUES ('one'), ('two'), (NULL)");
    s.Execute("CREATE TABLE __tb_scratch (x TEXT)");
    return s;
}

mdb::WriterOptions FixedClock() {
    mdb::WriterOptions o;
    o.now = [] { return mdb::MakeDateTime(2024, 5, 6, 7, 8, 9).days; };
    o.random = [] { return 42u; };
    return o;
}

class RoundTrip : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        shared_.Run([] {
            dir_ = new tb::test::TempDir();
            store_ = new store::Store(MakeStore());
            WriteOptions options;
            options.jet = FixedClock();
            WriteStoreFile(*store_, *dir_ / "extract.mdb", options);
            WriteStoreFile(*store_, *dir_ / "extract.sqlite", options);
        });
    }
    // A failed shared set-up fails each test instead of leaving them skipped.
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(shared_.Check()); }
    static inline tb::test::SharedSetUp shared_;
    static void TearDownTestSuite() {
        delete store_;
        delete dir_;
    }
    static fs::path Mdb() { return *dir_ / "extract.mdb"; }
    static fs::path Sqlite() { return *dir_ / "extract.sqlite"; }
    static tb::test::TempDir* dir_;
    static store::Store* store_;
};

tb::test::TempDir* RoundTrip::dir_ = nullptr;
store::Store* RoundTrip::store_ = nullptr;

TEST_F(RoundTrip, OnlyTheFilesRemainBesideTheTarget) {
    EXPECT_EQ(test::FilesIn(dir_->path()),
              (std::vector<std::string>{"extract.mdb", "extract.sqlite"}));
}

TEST_F(RoundTrip, OurReaderSeesTheCatalogueTypesAndEveryValue) {
    const mdb::MdbReader reader(Mdb());
    EXPECT_EQ(reader.TableNames(), (std::vector<std::string>{"AllTypes", "Second"}));
    const mdb::TableDef def = reader.Table("AllTypes");
    ASSERT_EQ(def.columns.size(), kColumns.size());
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
        EXPECT_EQ(def.columns[i].name, kColumns[i].name);
        EXPECT_EQ(StoreType(def.columns[i]), kColumns[i].type) << kColumns[i].name;
    }
    const auto rows = test::ReadRows(Mdb(), "AllTypes");
    ASSERT_EQ(rows.size(), Cases().size());
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const Case& c = Cases()[r];
        EXPECT_EQ(rows[r][0], mdb::Value(static_cast<std::int64_t>(r + 1)))
            << "counter of " << Describe(c, r);
        for (std::size_t i = 1; i < kColumns.size(); ++i) {
            mdb::Value expected = mdb::Null{};
            if (static_cast<int>(i) == ColumnIndex(c.column))
                expected = c.read;
            else if (IsBoolean(i))
                expected = false;
            EXPECT_EQ(rows[r][i], expected) << Describe(c, r) << ", column " << kColumns[i].name;
        }
    }
    EXPECT_EQ(test::ReadRows(Mdb(), "Second").size(), 3u);
}

TEST_F(RoundTrip, MdbExportAgrees) {
    SKIP_WITHOUT_MDBTOOLS();
    const auto rows = test::MdbExport(Mdb(), "AllTypes");
    ASSERT_EQ(rows.size(), Cases().size());
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const Case& c = Cases()[r];
        ASSERT_EQ(rows[r].size(), kColumns.size()) << Describe(c, r);
        EXPECT_EQ(rows[r][0], Field(std::to_string(r + 1)));
        for (std::size_t i = 1; i < kColumns.size(); ++i) {
            if (static_cast<int>(i) == ColumnIndex(c.column)) {
                if (c.exported) {
                    EXPECT_EQ(rows[r][i], *c.exported) << Describe(c, r);
                }
            } else {
                EXPECT_EQ(rows[r][i], IsBoolean(i) ? Field("0") : kNothing)
                    << Describe(c, r) << ", " << kColumns[i].name;
            }
        }
    }
}

TEST_F(RoundTrip, SqliteFileHoldsTheValuesAndTheJetTypes) {
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open_v2(Sqlite().c_str(), &raw, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    // Plain sqlite3: none of the store's collations or functions.
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> guard(raw, sqlite3_close);

    EXPECT_EQ(
        store::QueryRows(raw, "SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name"),
        (std::vector<store::Row>{{"AllTypes"}, {"Second"}, {std::string(kJetTypesTable)}}));
    std::vector<store::Row> types;
    for (std::size_t i = 0; i < kColumns.size(); ++i)
        types.push_back(
            {kColumns[i].name, static_cast<std::int64_t>(i + 1), kColumns[i].type.Name()});
    EXPECT_EQ(store::QueryRows(raw,
                               "SELECT column_name, position, jet_type FROM __jet_types "
                               "WHERE table_name = 'AllTypes' ORDER BY position"),
              types);
    EXPECT_EQ(
        store::QueryRows(raw, "SELECT group_concat(type, ',') FROM pragma_table_info('AllTypes')"),
        (std::vector<store::Row>{
            {"INTEGER,TEXT,TEXT,TEXT,INTEGER,INTEGER,INTEGER,REAL,REAL,REAL,TEXT,"
             "INTEGER,BLOB,TEXT"}}));

    const auto rows = store::QueryRows(raw, "SELECT * FROM AllTypes ORDER BY rowid");
    ASSERT_EQ(rows.size(), Cases().size());
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const Case& c = Cases()[r];
        EXPECT_EQ(rows[r][0], store::Value(static_cast<std::int64_t>(r + 1)));
        for (std::size_t i = 1; i < kColumns.size(); ++i) {
            store::Value expected = StoredAt(c, i);
            if (static_cast<int>(i) == ColumnIndex(c.column) && c.sqlite) expected = *c.sqlite;
            if (IsBoolean(i) && expected.isNull()) expected = 0;
            EXPECT_EQ(rows[r][i], expected) << Describe(c, r) << ", column " << kColumns[i].name;
        }
    }
    // Text compares ignore case with SQLite's own NOCASE.
    EXPECT_EQ(store::QueryValue(raw, "SELECT count(*) FROM Second WHERE Name = 'ONE'"),
              store::Value(1));
}

TEST_F(RoundTrip, LoadedBackIntoAStoreWithTheSameTypesAndValues) {
    store::Store loaded = store::Store::InMemory();
    EXPECT_EQ(LoadMdbIntoStore(Mdb(), loaded), (std::vector<std::string>{"AllTypes", "Second"}));
    EXPECT_EQ(loaded.TableNames(), (std::vector<std::string>{"AllTypes", "Second"}));
    const auto columns = loaded.Columns("AllTypes");
    ASSERT_EQ(columns.size(), kColumns.size());
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
        EXPECT_EQ(columns[i].name, kColumns[i].name);
        EXPECT_EQ(columns[i].type, kColumns[i].type)
            << kColumns[i].name << " is " << columns[i].type.Name();
    }
    const auto rows = loaded.QueryRows("SELECT * FROM AllTypes ORDER BY rowid");
    ASSERT_EQ(rows.size(), Cases().size());
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const Case& c = Cases()[r];
        EXPECT_EQ(rows[r][0], store::Value(static_cast<std::int64_t>(r + 1)));
        for (std::size_t i = 1; i < kColumns.size(); ++i) {
            store::Value expected = StoredAt(c, i);
            if (static_cast<int>(i) == ColumnIndex(c.column) && c.reloaded) expected = *c.reloaded;
            if (IsBoolean(i) && expected.isNull()) expected = 0;
            EXPECT_EQ(rows[r][i], expected) << Describe(c, r) << ", column " << kColumns[i].name;
        }
    }
    // The counter goes on numbering after the loaded rows.
    loaded.Execute("INSERT INTO AllTypes (Txt) VALUES ('next')");
    EXPECT_EQ(loaded.QueryValue("SELECT ID FROM AllTypes WHERE Txt = 'next'"),
              store::Value(static_cast<std::int64_t>(Cases().size() + 1)));
}

TEST_F(RoundTrip, ProgressNamesEachTableAndTheStoresOwnTablesStayOut) {
    tb::test::LogCapture log;
    tb::test::TempDir dir;
    const WriteSummary summary = WriteStoreFile(*store_, dir / "again.mdb");
    EXPECT_EQ(summary.tables, (std::vector<std::string>{"AllTypes", "Second"}));
    EXPECT_EQ(summary.rows, Cases().size() + 3);
    EXPECT_NE(std::find(log.statuses.begin(), log.statuses.end(), "Writing AllTypes..."),
              log.statuses.end());
    EXPECT_NE(std::find(log.statuses.begin(), log.statuses.end(), "Writing Second..."),
              log.statuses.end());
    for (const std::string& s : log.statuses) EXPECT_EQ(s.find("__tb_"), std::string::npos) << s;
    const mdb::MdbReader reader(dir / "again.mdb");
    for (const std::string& t : reader.TableNames(true)) EXPECT_NE(t.rfind("__tb_", 0), 0u) << t;
}

}  // namespace
}  // namespace tb::storefile
