// One database of every column type and the hard cases, written by our writer and read back
// equal by our reader, by mdbtools and by mdb-reader.

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <map>

#include "mdb/jet_writer.h"
#include "mdb/mdb_reader.h"
#include "readers/outside_readers.h"
#include "support/test_support.h"

namespace tb::readers {
namespace {

using mdb::Bytes;
using mdb::Column;
using mdb::Currency;
using mdb::DateTime;
using mdb::Guid;
using mdb::JetType;
using mdb::Null;
using mdb::Row;
using mdb::TableDef;
using mdb::Value;

struct Table {
    TableDef def;
    std::vector<Row> rows;      // as written
    std::vector<Row> expected;  // as they must read back
};

std::string Repeat(std::string_view unit, std::size_t n) {
    std::string s;
    for (std::size_t i = 0; i < n; ++i) s += unit;
    return s;
}

// Text of n characters cycling through `alphabet` (UTF-8, one code point per entry).
std::string Cycle(const std::vector<std::string>& alphabet, std::size_t n) {
    std::string s;
    for (std::size_t i = 0; i < n; ++i) s += alphabet[i % alphabet.size()];
    return s;
}

Bytes Pattern(std::size_t n) {
    Bytes b(n);
    for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<std::uint8_t>(i * 7 + 3);
    return b;
}

const std::vector<std::string> kLatin = {"a", "B", "\xC3\xA4", "\xC3\x9F",
                                         " ", "z", "9",        "\xC3\xA9"};
const std::vector<std::string> kGreek = {"\xCE\xA9", "\xCE\xBC", "\xCE\xAD", "\xCE\xB3",
                                         "\xCE\xB1"};                    // Ωμέγα
const std::vector<std::string> kHan = {"\xE6\xB1\x89", "\xE5\xAD\x97"};  // 汉字

// Every type, Null in each, '' against Null, limits, dates before 1899 and with fractions.
Table AllTypes() {
    Table t;
    t.def = {"AllTypes",
             {{"Id", JetType::Long, 255, true},
              {"Flag", JetType::Boolean},
              {"B", JetType::Byte},
              {"I", JetType::Integer},
              {"L", JetType::Long},
              {"C", JetType::Currency},
              {"S", JetType::Single},
              {"D", JetType::Double},
              {"T", JetType::DateTime},
              {"Txt", JetType::Text, 255},
              {"Short", JetType::Text, 1},
              {"M", JetType::Memo},
              {"O", JetType::OLE},
              {"G", JetType::GUID},
              {"Bin", JetType::Binary, 255}}};
    const Null n;
    const Guid g1{{0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66, 0x88, 0x99, 0xAA, 0xBB, 0xCC,
                   0xDD, 0xEE, 0xFF}};
    const Guid g0{};
    auto I = [](std::int64_t v) { return Value(v); };
    t.rows = {
        // Null in every column (the Counter numbers itself, a Boolean has no Null)
        {n, n, n, n, n, n, n, n, n, n, n, n, n, n, n},
        // '' and empty data, which are not Null
        {n, false, I(0), I(0), I(0), Currency{0}, 0.0, 0.0, DateTime{0}, std::string(),
         std::string(), std::string(), Bytes{}, g0, Bytes{}},
        // lower limits
        {n, true, I(0), I(-32768), I(INT32_MIN), Currency{INT64_MIN}, -double(FLT_MAX), -DBL_MAX,
         DateTime{-657434}, Cycle(kLatin, 255), "x", "short", Bytes{0}, g1, Bytes{0, 1, 0}},
        // upper limits
        {n, true, I(255), I(32767), I(INT32_MAX), Currency{INT64_MAX}, double(FLT_MAX), DBL_MAX,
         DateTime{2958465 + 86399 / 86400.0}, Cycle(kGreek, 255), "\xE6\xB1\x89", Cycle(kHan, 3000),
         Pattern(255), g1, Pattern(255)},
        // small and awkward numbers
        {n, false, I(1), I(-1), I(-1), Currency{-1}, 0.1, 0.1 + 0.2, DateTime{27293.123456789},
         "quote ' \" comma , semicolon ; tab \t line\r\nbreak", "'", "line 1\r\nline 2",
         Bytes{0xFF, 0xFE, 0x00}, g0, Bytes{0x41}},
        {n, true, I(128), I(1000), I(123456789), Currency{1}, double(1e-30f), 5e-324,
         DateTime{-1.25}, "mixed \xC3\xA4 and \xE2\x82\xAC and \xF0\x9F\x98\x80", "\xC3\x9F",
         "\xF0\x9F\x98\x80 emoji", Pattern(1), g1, n},
        {n, false, I(2), I(2), I(2), Currency{123456789}, -0.0, -0.0, DateTime{-36522.75},
         Repeat("-", 255), " ", Repeat("'-", 500), Pattern(64), g0, Bytes{0}},
        {n, false, I(3), I(3), I(3), Currency{-50000}, 3.4028234e38, 1.0 / 3, DateTime{0.5},
         "trailing blank ", "\xCE\xA9", Repeat("x", 62), Pattern(65), g1, Pattern(2)},
        {I(1000), true, I(4), I(4), I(4), Currency{5}, 1.5, 1e300, DateTime{-0.25},
         "after a set Id", n, n, n, n, n},
        {n, false, I(5), I(5), I(5), Currency{7}, 2.5, -1e-300, DateTime{36526.999999}, "next Id",
         "a", "\xE2\x82\xAC", Bytes{1, 2, 3}, g0, Bytes{1, 2, 3}},
    };
    t.expected = t.rows;
    std::int64_t next = 1;
    for (auto& row : t.expected) {
        if (std::holds_alternative<Null>(row[0])) row[0] = next;
        next = std::get<std::int64_t>(row[0]) + 1;
        if (std::holds_alternative<Null>(row[1])) row[1] = false;
        if (const auto* s = std::get_if<double>(&row[6])) row[6] = double(float(*s));
    }
    return t;
}

// Memos and OLE objects at the sizes where the storage changes: inline up to 64 bytes, one
// LVAL row up to 4076, then chains of 4072-byte pieces. Memos of more than 1024 characters are
// stored uncompressed, 2 bytes a character; shorter Latin ones 2 + 1 byte a character.
Table LongValues() {
    Table t;
    t.def = {"LongValues",
             {{"Id", JetType::Long},
              {"What", JetType::Text, 40},
              {"M", JetType::Memo},
              {"O", JetType::OLE}}};
    std::int64_t id = 0;
    auto add = [&](std::string what, Value memo, Value ole) {
        t.rows.push_back({++id, std::move(what), std::move(memo), std::move(ole)});
    };
    for (std::size_t bytes : {63, 64, 65, 4071, 4072, 4073, 4075, 4076, 4077, 4078, 8144, 8145,
                              8148, 8149, 12216, 12217, 40000})
        add("OLE " + std::to_string(bytes), Null{}, Pattern(bytes));
    for (std::size_t chars : {61, 62, 63, 1024})  // compressed: 2 + chars bytes
        add("compressed memo " + std::to_string(chars), Cycle(kLatin, chars), Null{});
    for (std::size_t chars : {32, 33, 2036, 2037, 2038, 2039, 4072, 4073, 20000})
        add("memo " + std::to_string(chars) + " chars", Cycle(kGreek, chars), Null{});
    add("long Latin memo", Cycle(kLatin, 1025), Null{});  // too long to compress
    add("both", Cycle(kHan, 5000), Pattern(9000));
    t.expected = t.rows;
    return t;
}

// 255 columns: the table definition spans several pages.
Table Wide() {
    Table t;
    t.def.name = "Wide255";
    for (int i = 0; i < 255; ++i)
        t.def.columns.push_back(
            i % 3 == 0
                ? Column{"L" + std::to_string(i), JetType::Long}
                : Column{"Column with a long name number " + std::to_string(i), JetType::Text, 10});
    for (int r = 0; r < 3; ++r) {
        Row row(255);
        for (int i = 0; i < 255; ++i) {
            auto& v = row[static_cast<std::size_t>(i)];
            if (i % 3 == 0)
                v = std::int64_t{r * 1000 + i};
            else if ((i + r) % 7 != 0)
                v = std::to_string(r) + ":" + std::to_string(i);
        }
        t.rows.push_back(std::move(row));
    }
    t.expected = t.rows;
    return t;
}

// A row close to the 4,060-byte limit: 7 x 510 + 466 bytes of uncompressed text.
Table NearLimit() {
    Table t;
    t.def.name = "NearLimit";
    Row row;
    for (int i = 0; i < 8; ++i) {
        t.def.columns.push_back({"T" + std::to_string(i), JetType::Text, 255});
        row.push_back(Cycle(kGreek, i < 7 ? 255 : 233));
    }
    t.rows = {row, row};
    t.expected = t.rows;
    return t;
}

// Rows of 155 bytes (2 count, 1 Byte, 145 text, 6 variable-column trailer, 1 null mask) cost
// 157 with their offset, so 26 fill the 4,082 free bytes of a page exactly; tiny rows run into
// the 255 rows a page may hold.
Table PageFill() {
    Table t;
    t.def = {"PageFill", {{"Text", JetType::Text, 200}, {"N", JetType::Byte}}};
    for (int i = 0; i < 27 * 3; ++i)
        t.rows.push_back({Repeat("p", 142) + std::to_string(i % 10),  // 2 + 143 bytes compressed
                          std::int64_t{i % 256}});
    for (int i = 0; i < 600; ++i) t.rows.push_back({Null{}, std::int64_t{i % 256}});
    t.expected = t.rows;
    return t;
}

// More than 512 data pages: inline usage maps with start 0 cannot describe them.
Table Big() {
    Table t;
    t.def = {"Big",
             {{"Id", JetType::Long, 255, true},
              {"Text", JetType::Text, 255},
              {"When", JetType::DateTime},
              {"Amount", JetType::Currency}}};
    for (int i = 0; i < 14000; ++i)
        t.rows.push_back({Null{}, Cycle(kLatin, 150 + i % 100) + std::to_string(i),
                          DateTime{40000 + i / 7.0}, Currency{i * 12345LL - 5000000}});
    t.expected = t.rows;
    for (std::size_t i = 0; i < t.expected.size(); ++i)
        t.expected[i][0] = static_cast<std::int64_t>(i + 1);
    return t;
}

class RoundTrip : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        shared_.Run([] {
            dir_ = new test::TempDir;
            file_ = (*dir_ / "roundtrip.mdb").string();
            tables_ = {AllTypes(), LongValues(), Wide(), NearLimit(), PageFill(), Big()};
            mdb::JetWriter writer(file_);
            for (auto& t : tables_) {
                mdb::VectorRowSource source(t.rows);
                writer.AddTable(t.def, source);
            }
            writer.Commit();
        });
    }
    // A failed shared set-up fails each test instead of leaving them skipped.
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(shared_.Check()); }
    static inline tb::test::SharedSetUp shared_;
    static void TearDownTestSuite() {
        delete dir_;
        dir_ = nullptr;
    }

    static test::TempDir* dir_;
    static std::string file_;
    static std::vector<Table> tables_;
};

test::TempDir* RoundTrip::dir_ = nullptr;
std::string RoundTrip::file_;
std::vector<Table> RoundTrip::tables_;

std::string Describe(const Value& v) {
    if (std::holds_alternative<Null>(v)) return "Null";
    if (const auto* s = std::get_if<std::string>(&v)) return "\"" + s->substr(0, 80) + "\"";
    if (const auto* i = std::get_if<std::int64_t>(&v)) return std::to_string(*i);
    if (const auto* d = std::get_if<double>(&v)) return std::to_string(*d);
    if (const auto* b = std::get_if<Bytes>(&v)) return std::to_string(b->size()) + " bytes";
    return "a value of type index " + std::to_string(v.index());
}

void ExpectOurReaderReadsBack(const std::string& file, const std::vector<Table>& tables) {
    const mdb::MdbReader reader(file);
    std::vector<std::string> names;
    for (const auto& t : tables) names.push_back(t.def.name);
    EXPECT_EQ(reader.TableNames(), names);
    for (const auto& t : tables) {
        const TableDef def = reader.Table(t.def.name);
        ASSERT_EQ(def.columns.size(), t.def.columns.size()) << t.def.name;
        for (std::size_t i = 0; i < def.columns.size(); ++i) {
            EXPECT_EQ(def.columns[i].name, t.def.columns[i].name);
            EXPECT_EQ(def.columns[i].type, t.def.columns[i].type) << def.columns[i].name;
            EXPECT_EQ(def.columns[i].autoNumber, t.def.columns[i].autoNumber)
                << def.columns[i].name;
            if (def.columns[i].type == JetType::Text) {
                EXPECT_EQ(def.columns[i].length, t.def.columns[i].length) << def.columns[i].name;
            }
        }
        EXPECT_EQ(reader.DeclaredRowCount(t.def.name), t.expected.size()) << t.def.name;
        std::size_t r = 0;
        int failures = 0;
        reader.ForEachRow(t.def.name, [&](const Row& row) {
            ASSERT_LT(r, t.expected.size()) << t.def.name << ": more rows than written";
            for (std::size_t i = 0; i < row.size() && failures < 20; ++i) {
                if (row[i] == t.expected[r][i]) continue;
                ++failures;
                ADD_FAILURE() << t.def.name << " row " << r << " " << t.def.columns[i].name
                              << ": read " << Describe(row[i]) << ", wrote "
                              << Describe(t.expected[r][i]);
            }
            ++r;
        });
        EXPECT_EQ(r, t.expected.size()) << t.def.name;
    }
}

TEST_F(RoundTrip, OurReaderReadsBackEveryValue) {
    ExpectOurReaderReadsBack(file_, tables_);
}

TEST_F(RoundTrip, OurReaderReadsTheSameUnderAGermanLocale) {
    const std::string saved = std::setlocale(LC_ALL, nullptr);
    if (!std::setlocale(LC_ALL, "de_DE.UTF-8"))
        GTEST_SKIP() << "locale de_DE.UTF-8 is not installed (locale-gen or localedef makes it)";
    ExpectOurReaderReadsBack(file_, tables_);
    std::setlocale(LC_ALL, saved.c_str());
}

// The file really holds the hard cases: a table of more than 512 data pages, a page filled to
// the last byte, a page of 255 rows, a table definition over several pages, long-value pages.
TEST_F(RoundTrip, HardCasesAreInTheFile) {
    const mdb::MdbReader reader(file_);
    std::map<std::string, std::uint32_t> tdef;  // the catalogue: Id is the definition's page
    const mdb::TableDef catalogue = reader.Table("MSysObjects");
    std::size_t idCol = 0, nameCol = 0;
    for (std::size_t i = 0; i < catalogue.columns.size(); ++i) {
        if (catalogue.columns[i].name == "Id") idCol = i;
        if (catalogue.columns[i].name == "Name") nameCol = i;
    }
    reader.ForEachRow("MSysObjects", [&](const Row& r) {
        tdef[std::get<std::string>(r[nameCol])] =
            static_cast<std::uint32_t>(std::get<std::int64_t>(r[idCol]) & 0xFFFFFF);
    });
    const std::string bytes = test::ReadFile(file_);
    ASSERT_EQ(bytes.size() % 4096, 0u);
    auto u16 = [&](std::size_t at) {
        return static_cast<unsigned>(static_cast<unsigned char>(bytes[at]) |
                                     static_cast<unsigned char>(bytes[at + 1]) << 8);
    };
    auto u32 = [&](std::size_t at) { return u16(at) | u16(at + 2) << 16; };
    std::map<std::uint32_t, int> dataPages;
    int fullPages = 0, pagesOf255 = 0, lvalPages = 0;
    for (std::size_t page = 1; page < bytes.size() / 4096; ++page) {
        const std::size_t at = page * 4096;
        if (bytes[at] != 0x01) continue;
        const std::uint32_t owner = u32(at + 4);
        if (owner == 0x4C41564Cu) {  // "LVAL"
            ++lvalPages;
            continue;
        }
        ++dataPages[owner];
        if (owner == tdef.at("PageFill") && u16(at + 2) == 0 && u16(at + 12) == 26) ++fullPages;
        if (u16(at + 12) == 255) ++pagesOf255;
    }
    EXPECT_GT(dataPages[tdef.at("Big")], 512);
    EXPECT_GE(fullPages, 3);
    EXPECT_GE(pagesOf255, 1);
    EXPECT_GT(lvalPages, 10);
    EXPECT_NE(u32(tdef.at("Wide255") * 4096 + 4), 0u) << "Wide255 fits one definition page";
}

TEST_F(RoundTrip, MdbToolsReadsTheSameValues) {
    if (const auto why = mdbtools::Unavailable(); !why.empty()) GTEST_SKIP() << why;
    const mdb::MdbReader reader(file_);
    EXPECT_EQ(mdbtools::Tables(file_), reader.TableNames());
    for (const auto& t : tables_) {
        const OutsideTable theirs = mdbtools::Read(file_, t.def.name);
        EXPECT_EQ(theirs.declaredRows, static_cast<std::int64_t>(t.expected.size()));
        for (const auto& d : Differences(Reader::MdbTools, ReadOurs(file_, t.def.name), theirs))
            ADD_FAILURE() << d;
    }
}

TEST_F(RoundTrip, MdbJsonPrintsWhatMdbExportPrints) {
    if (const auto why = mdbtools::Unavailable(); !why.empty()) GTEST_SKIP() << why;
    for (const auto& t : tables_) {
        const auto columns = mdbtools::Schema(file_, t.def.name);
        const auto json = mdbtools::Json(file_, t.def.name, columns);
        const auto exported = mdbtools::Export(file_, t.def.name);
        ASSERT_EQ(json.size(), t.expected.size()) << t.def.name;
        ASSERT_EQ(exported.size(), t.expected.size()) << t.def.name;
        int failures = 0;
        for (std::size_t r = 0; r < json.size() && failures < 20; ++r)
            for (std::size_t i = 0; i < columns.size(); ++i)
                if (json[r][i] != exported[r][i] && ++failures < 20)
                    ADD_FAILURE() << t.def.name << " row " << r << " " << columns[i].name;
    }
}

TEST_F(RoundTrip, MdbReaderReadsTheSameValues) {
    if (const auto why = mdbreader::Unavailable(); !why.empty()) GTEST_SKIP() << why;
    const auto tables = mdbreader::ReadAll(file_);
    ASSERT_EQ(tables.size(), tables_.size());
    for (std::size_t i = 0; i < tables.size(); ++i) {
        EXPECT_EQ(tables[i].name, tables_[i].def.name);
        EXPECT_EQ(tables[i].rows.size(), tables_[i].expected.size()) << tables[i].name;
        for (const auto& d :
             Differences(Reader::MdbReader, ReadOurs(file_, tables[i].name), tables[i]))
            ADD_FAILURE() << d;
    }
}

}  // namespace
}  // namespace tb::readers
