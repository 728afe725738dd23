// Round trips through mdbtools' command-line tools (mdb-tables, mdb-schema, mdb-count,
// mdb-export, mdb-json), with libmdb for '' against Null and the test parser for what mdbtools
// cannot show (dates before 1899, the stored form of values). One database holds every type and
// the hard cases; the structure checker runs on it.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "common/error.h"
#include "mdb/date_time.h"
#include "mdb/jet_file_parser.h"
#include "mdb/jet_test_support.h"
#include "support/test_support.h"

namespace tb::mdb::test {
namespace {

using tb::test::TempDir;

// How a value comes back from mdb-export: the exact text, or a number within a tolerance.
struct Expect {
    std::string text;
    double tolerance = -1;  // >= 0: compare as numbers, relative
};

struct Case {
    Value value;
    Expect exported;
};

struct TypeCases {
    std::string table;
    Column column;
    std::vector<Case> cases;
};

const std::string kNull = "<NULL>";

Guid SomeGuid() {
    Guid g;
    for (int i = 0; i < 16; ++i)
        g.bytes[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i * 17);
    return g;
}

std::string Repeat(std::string_view unit, std::size_t times) {
    std::string s;
    for (std::size_t i = 0; i < times; ++i) s += unit;
    return s;
}

std::string HexOf(const Bytes& b) {
    static const char* digits = "0123456789ABCDEF";
    std::string s;
    for (std::uint8_t c : b) {
        s += digits[c >> 4];
        s += digits[c & 15];
    }
    return s;
}

Bytes Pattern(std::size_t n) {
    Bytes b(n);
    for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<std::uint8_t>(i * 7 + 3);
    return b;
}

Bytes NonZero(std::size_t n) {
    Bytes b(n);
    for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<std::uint8_t>(1 + i * 7 % 255);
    return b;
}

// Text of n characters: Latin-1 (compressible) or Cyrillic (two bytes a character).
std::string Latin(std::size_t n) {
    return Repeat("é", n);
}
std::string Cyrillic(std::size_t n) {
    return Repeat("ж", n);
}

std::vector<TypeCases> AllTypeCases() {
    const double maxSingle = std::numeric_limits<float>::max();
    const auto i64min = std::numeric_limits<std::int64_t>::min();
    const auto i64max = std::numeric_limits<std::int64_t>::max();
    return {
        {"TBoolean", {"V", JetType::Boolean}, {{true, {"1"}}, {false, {"0"}}, {Null{}, {"0"}}}},
        {"TByte",
         {"V", JetType::Byte},
         {{std::int64_t{0}, {"0"}}, {std::int64_t{255}, {"255"}}, {Null{}, {kNull}}}},
        {"TInteger",
         {"V", JetType::Integer},
         {{std::int64_t{-32768}, {"-32768"}}, {std::int64_t{32767}, {"32767"}}, {Null{}, {kNull}}}},
        {"TLong",
         {"V", JetType::Long},
         {{std::int64_t{-2147483648LL}, {"-2147483648"}},
          {std::int64_t{2147483647}, {"2147483647"}},
          {3.0, {"3"}},
          {Null{}, {kNull}}}},
        {"TCurrency",
         {"V", JetType::Currency},
         {{Currency{i64min}, {"-922337203685477.5808"}},
          {Currency{i64max}, {"922337203685477.5807"}},
          {Currency{-12345}, {"-1.2345"}},
          {std::int64_t{42}, {"42.0000"}},
          {0.1, {"0.1000"}},
          {Null{}, {kNull}}}},
        {"TSingle",
         {"V", JetType::Single},
         {{maxSingle, {"3.4028235e38", 1e-7}},
          {-1.5e-7, {"-1.5e-7", 1e-7}},
          {0.0, {"0", 0}},
          {Null{}, {kNull}}}},
        {"TDouble",
         {"V", JetType::Double},
         {{std::numeric_limits<double>::max(), {"1.7976931348623157e308", 1e-15}},
          {std::numeric_limits<double>::denorm_min(), {"4.9406564584124654e-324", 1e-15}},
          {-0.1, {"-0.1", 1e-15}},
          {std::int64_t{1} << 53, {"9007199254740992", 0}},
          {Null{}, {kNull}}}},
        {"TDateTime",
         {"V", JetType::DateTime},
         {{MakeDateTime(2024, 2, 29, 23, 59, 59), {"2024-02-29 23:59:59"}},
          {MakeDateTime(1899, 12, 30), {"1899-12-30 00:00:00"}},
          {MakeDateTime(1899, 12, 30, 12, 0, 1), {"1899-12-30 12:00:01"}},
          {std::string("2001-09-09 01:46:40"), {"2001-09-09 01:46:40"}},
          {Null{}, {kNull}}}},
        {"TText",
         {"V", JetType::Text, 255},
         {{std::string("plain"), {"plain"}},
          {std::string("ab"), {"ab"}},
          {std::string("quote \" comma , line\nbreak"), {"quote \" comma , line\nbreak"}},
          {Latin(255), {Latin(255)}},
          {Cyrillic(255), {Cyrillic(255)}},
          {std::string("日本語 ελληνικά €"), {"日本語 ελληνικά €"}},
          // mdbtools converts from UCS-2, so a surrogate pair comes out as two '?'; the stored
          // UTF-16 is checked with the test parser below.
          {std::string("emoji 😀"), {"emoji ??"}},
          {std::string(""), {kNull}},  // '' and Null print alike; libmdb tells them apart below
          {Null{}, {kNull}}}},
        {"TMemo",
         {"V", JetType::Memo},
         {{std::string("short"), {"short"}},
          {Latin(62), {Latin(62)}},            // 64 bytes compressed: inline
          {Latin(63), {Latin(63)}},            // 65 bytes: out of the row
          {Latin(1024), {Latin(1024)}},        // the longest compressed memo
          {Latin(1025), {Latin(1025)}},        // stored as UTF-16
          {Cyrillic(2036), {Cyrillic(2036)}},  // 4072 bytes: one row
          {Cyrillic(2038), {Cyrillic(2038)}},  // 4076 bytes: the largest single row
          {Cyrillic(2039), {Cyrillic(2039)}},  // 4078 bytes: a chain of two
          {Cyrillic(20000), {Cyrillic(20000)}},
          {std::string(""), {kNull}},
          {Null{}, {kNull}}}},
        {"TOle",
         {"V", JetType::OLE},
         {{Pattern(64), {HexOf(Pattern(64))}},
          {Pattern(65), {HexOf(Pattern(65))}},
          {Pattern(4072), {HexOf(Pattern(4072))}},
          {Pattern(4073), {HexOf(Pattern(4073))}},
          {Pattern(4076), {HexOf(Pattern(4076))}},
          {Pattern(4077), {HexOf(Pattern(4077))}},
          {Pattern(8144), {HexOf(Pattern(8144))}},
          {Pattern(8145), {HexOf(Pattern(8145))}},
          {Bytes{}, {""}},
          {Null{}, {kNull}}}},
        // mdbtools reads Binary (not OLE) values only up to their first zero byte.
        {"TBinary",
         {"V", JetType::Binary, 255},
         {{NonZero(255), {HexOf(NonZero(255))}}, {Null{}, {kNull}}}},
        {"TGuid",
         {"V", JetType::GUID},
         // mdbtools leaves out the dash before the last group.
         {{SomeGuid(), {"{33221100-5544-7766-8899AABBCCDDEEFF}"}}, {Null{}, {kNull}}}},
        {"TCounter",
         {"V", JetType::Long, 0, true},
         {{Null{}, {"1"}},
          {std::int64_t{10}, {"10"}},
          {Null{}, {"11"}},
          {std::int64_t{5}, {"5"}},
          {Null{}, {"12"}}}},
    };
}

std::string FromHex(const std::string& hex) {
    std::string s;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        s += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return s;
}

class JetRoundTrip : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        shared_.Run([] {
            dir_ = new TempDir;
            file_ = new fs::path(dir_->path() / "all.mdb");
            std::vector<TableData> tables;
            for (const TypeCases& t : AllTypeCases()) {
                TableData data{{t.table, {{"ID", JetType::Long}, t.column}}, {}};
                for (std::size_t i = 0; i < t.cases.size(); ++i) {
                    data.rows.push_back({std::int64_t(i), t.cases[i].value});
                }
                tables.push_back(std::move(data));
            }
            WriteDatabase(*file_, tables);
        });
    }
    // A failed shared set-up fails each test instead of leaving them skipped.
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(shared_.Check()); }
    static inline tb::test::SharedSetUp shared_;
    static void TearDownTestSuite() {
        delete file_;
        delete dir_;
    }
    static TempDir* dir_;
    static fs::path* file_;
};
TempDir* JetRoundTrip::dir_ = nullptr;
fs::path* JetRoundTrip::file_ = nullptr;

TEST_F(JetRoundTrip, TheFileIsSound) {
    EXPECT_EQ(StructureProblems(*file_), "");
}

TEST_F(JetRoundTrip, MdbToolsListCountAndDescribeEveryTable) {
    SKIP_WITHOUT_MDBTOOLS();
    std::string names;
    for (const TypeCases& t : AllTypeCases()) names += t.table + "\n";
    EXPECT_EQ(RunMdbTool("mdb-tables", {"-1", file_->string()}).out, names);
    const std::string schema = RunMdbTool("mdb-schema", {file_->string()}).out;
    for (const char* declaration :
         {"[V]\t\t\tBoolean NOT NULL", "[V]\t\t\tByte", "[V]\t\t\tInteger", "[V]\t\t\tLong Integer",
          "[V]\t\t\tCurrency", "[V]\t\t\tSingle", "[V]\t\t\tDouble", "[V]\t\t\tDateTime",
          "[V]\t\t\tText (255)", "[V]\t\t\tMemo/Hyperlink", "[V]\t\t\tOLE", "[V]\t\t\tBinary",
          "[V]\t\t\tReplication ID"}) {
        EXPECT_NE(schema.find(declaration), std::string::npos) << declaration;
    }
    for (const TypeCases& t : AllTypeCases()) {
        EXPECT_EQ(RunMdbTool("mdb-count", {file_->string(), t.table}).out,
                  std::to_string(t.cases.size()) + "\n")
            << t.table;
    }
}

TEST_F(JetRoundTrip, MdbExportReadsEveryValueBack) {
    SKIP_WITHOUT_MDBTOOLS();
    for (const TypeCases& t : AllTypeCases()) {
        SCOPED_TRACE(t.table);
        const auto rows = ExportTable(*file_, t.table);
        ASSERT_EQ(rows.size(), t.cases.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            SCOPED_TRACE("row " + std::to_string(i));
            ASSERT_EQ(rows[i].size(), 2u);
            EXPECT_EQ(rows[i][0], std::to_string(i));
            std::string got = rows[i][1];
            const Expect& want = t.cases[i].exported;
            if (t.column.type == JetType::GUID && got != kNull) got = FromHex(got);
            if (want.tolerance >= 0 && got != kNull) {
                // mdbtools prints 16 digits, so the largest double may read back past its range.
                const long double a = std::strtold(got.c_str(), nullptr);
                const long double b = std::strtold(want.text.c_str(), nullptr);
                EXPECT_LE(std::fabs(a - b), want.tolerance * std::fabs(b))
                    << got << " vs " << want.text;
            } else {
                EXPECT_EQ(got.size(), want.text.size());
                EXPECT_TRUE(got == want.text)
                    << got.substr(0, 80) << " vs " << want.text.substr(0, 80);
            }
        }
    }
}

TEST_F(JetRoundTrip, MdbJsonReadsTheTextTables) {
    SKIP_WITHOUT_MDBTOOLS();
    const ToolResult r = RunMdbTool("mdb-json", {file_->string(), "TText"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    // One object a line; escapes as mdb-json writes them.
    EXPECT_NE(r.out.find("\"V\":\"quote \\\" comma , line\\u000abreak\""), std::string::npos);
    EXPECT_NE(r.out.find("日本語 ελληνικά €"), std::string::npos);
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 9);
}

TEST_F(JetRoundTrip, LibmdbTellsEmptyFromNull) {
    SKIP_WITHOUT_MDBTOOLS();
    for (const char* table : {"TText", "TMemo", "TOle"}) {
        SCOPED_TRACE(table);
        const TypeCases* cases = nullptr;
        const auto all = AllTypeCases();
        for (const auto& t : all) {
            if (t.table == table) cases = &t;
        }
        const auto flags = NullFlagsViaLibmdb(*file_, table);
        ASSERT_EQ(flags.size(), cases->cases.size());
        for (std::size_t i = 0; i < flags.size(); ++i) {
            ASSERT_EQ(flags[i].size(), 2u);
            EXPECT_EQ(flags[i][1], std::holds_alternative<Null>(cases->cases[i].value))
                << "row " << i;
        }
    }
}

// What mdbtools cannot show: dates before 1899-12-30 (it prints them as day 0 of 1900), and
// the form values are stored in. The test parser reads them.
TEST(JetStoredForm, DatesKeepAccessesNegativeConvention) {
    struct D {
        int y, mo, d, h, mi, s;
        double stored;
    };
    const std::vector<D> dates = {
        {1899, 12, 29, 6, 0, 0, -1.25},  // the day counts back, the time forward
        {1899, 12, 30, 6, 0, 0, 0.25},   {1800, 1, 1, 0, 0, 0, -36522.0},
        {100, 1, 1, 0, 0, 0, -657434.0}, {9999, 12, 31, 23, 59, 59, 2958465.0 + 86399.0 / 86400.0},
        {2000, 1, 1, 12, 0, 0, 36526.5},
    };
    TempDir dir;
    TableData t{{"Dates", {{"V", JetType::DateTime}}}, {}};
    for (const D& d : dates) t.rows.push_back({MakeDateTime(d.y, d.mo, d.d, d.h, d.mi, d.s)});
    WriteDatabase(dir / "d.mdb", {t});
    JetFile file(ReadBytes(dir / "d.mdb"));
    std::vector<std::string> problems;
    const auto catalog = file.Catalog(problems);
    const ParsedTdef tdef = file.ParseTdef(static_cast<std::uint32_t>(catalog.back().id));
    const auto rows = file.TableRows(tdef, problems);
    ASSERT_EQ(rows.size(), dates.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        double v;
        std::memcpy(&v, rows[i].raw[0].data(), sizeof v);
        EXPECT_DOUBLE_EQ(v, dates[i].stored) << i;
        // And back to the same text.
        char text[32];
        std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", dates[i].y, dates[i].mo,
                      dates[i].d, dates[i].h, dates[i].mi, dates[i].s);
        EXPECT_EQ(DateTimeToText(DateTime{v}), text);
    }
    EXPECT_TRUE(problems.empty());
}

struct StoredText {
    std::string text;
    bool compressed;
};

TEST(JetStoredForm, TextIsCompressedWhenEveryCharacterFitsOneByte) {
    const std::vector<StoredText> cases = {
        {"abc", true},
        {"ab", false},  // two characters gain nothing from the FF FE mark
        {"Grüße", true},
        {"price €", false},  // € lies beyond U+00FF
        {Latin(255), true},
        {Cyrillic(3), false},
        {"emoji 😀", false},
        // U+0000 switches a compressed text back to two bytes a character: it stays plain.
        {std::string("ab\0cd", 5), false},
    };
    TempDir dir;
    TableData t{{"Texts", {{"V", JetType::Text, 255}}}, {}};
    for (const auto& c : cases) t.rows.push_back({c.text});
    WriteDatabase(dir / "t.mdb", {t});
    JetFile file(ReadBytes(dir / "t.mdb"));
    std::vector<std::string> problems;
    const auto catalog = file.Catalog(problems);
    const ParsedTdef tdef = file.ParseTdef(static_cast<std::uint32_t>(catalog.back().id));
    const auto rows = file.TableRows(tdef, problems);
    ASSERT_EQ(rows.size(), cases.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Bytes8& raw = rows[i].raw[0];
        const bool compressed = raw.size() >= 2 && raw[0] == 0xFF && raw[1] == 0xFE;
        EXPECT_EQ(compressed, cases[i].compressed) << cases[i].text;
        EXPECT_EQ(DecodeJetText(raw), cases[i].text);
    }
}

// The kind of each long value: in the row, one LVAL row, or a chain.
TEST(JetStoredForm, LongValuesGoWhereTheirSizeSays) {
    struct L {
        std::size_t bytes;
        std::uint32_t kind;
        std::size_t chainRows;
    };
    const std::vector<L> cases = {
        {0, 0x80000000u, 0}, {64, 0x80000000u, 0}, {65, 0x40000000u, 0}, {4076, 0x40000000u, 0},
        {4077, 0, 2},        {8144, 0, 2},         {8145, 0, 3},
    };
    TempDir dir;
    TableData t{{"Blobs", {{"V", JetType::OLE}}}, {}};
    for (const auto& c : cases) t.rows.push_back({Pattern(c.bytes)});
    WriteDatabase(dir / "b.mdb", {t});
    JetFile file(ReadBytes(dir / "b.mdb"));
    std::vector<std::string> problems;
    const auto catalog = file.Catalog(problems);
    const ParsedTdef tdef = file.ParseTdef(static_cast<std::uint32_t>(catalog.back().id));
    const auto rows = file.TableRows(tdef, problems);
    ASSERT_EQ(rows.size(), cases.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Bytes8& d = rows[i].raw[0];
        EXPECT_EQ(Le32(d.data()) & 0xC0000000u, cases[i].kind) << cases[i].bytes;
        std::string problem;
        std::vector<std::uint32_t> pages;
        const auto value = file.LongValue(d, problem, &pages);
        ASSERT_TRUE(value) << problem;
        EXPECT_TRUE(*value == Pattern(cases[i].bytes));
        if (cases[i].chainRows) {
            EXPECT_EQ(pages.size(), cases[i].chainRows);
        }
    }
}

}  // namespace
}  // namespace tb::mdb::test
