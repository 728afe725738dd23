// The reader against Access-made files of the corpus; expected values were checked with
// mdb-export, mdb-json and mdb-reader. tests/readers compares every corpus table with both.

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "common/error.h"
#include "common/log.h"
#include "common/md5.h"
#include "mdb/mdb_reader.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::mdb {
namespace {

namespace fs = std::filesystem;

std::vector<Row> ReadAll(const MdbReader& reader, std::string_view table) {
    std::vector<Row> rows;
    reader.ForEachRow(table, [&](const Row& r) { rows.push_back(r); });
    return rows;
}

std::string Show(const Value& v) {
    struct {
        std::string operator()(Null) const { return "Null"; }
        std::string operator()(bool b) const { return b ? "true" : "false"; }
        std::string operator()(std::int64_t i) const { return std::to_string(i); }
        std::string operator()(double d) const { return "double " + std::to_string(d); }
        std::string operator()(Currency c) const { return "currency " + std::to_string(c.scaled); }
        std::string operator()(DateTime d) const { return "date " + std::to_string(d.days); }
        std::string operator()(const std::string& s) const { return '"' + s + '"'; }
        std::string operator()(const Bytes& b) const { return std::to_string(b.size()) + " bytes"; }
        std::string operator()(const Guid&) const { return "guid"; }
    } visitor;
    return std::visit(visitor, v);
}

std::string Md5(const Value& v) {
    if (const auto* s = std::get_if<std::string>(&v)) return CMD5::DigestStrToHexStr(*s);
    if (const auto* b = std::get_if<Bytes>(&v))
        return CMD5::DigestStrToHexStr(std::string(b->begin(), b->end()));
    return "not text or bytes: " + Show(v);
}

std::int64_t I(std::int64_t v) {
    return v;
}

// --- table names --------------------------------------------------------------------------------

struct NamesCase {
    const char* file;
    std::vector<std::string> tables;
};

TEST(MdbReaderCorpus, UserTableNamesInCatalogueOrder) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    const std::vector<NamesCase> cases = {
        {"testV2000.mdb", {"Table1", "Table2", "Table3", "Table4"}},
        {"fixedNumericTestV2000.mdb", {"test"}},
        {"test2V2000.mdb", {"MSP_PROJECTS"}},
        {"empty.mdb", {}},
        {"adox_jet4.mdb", {}},
        {"indexTestV2000.mdb", {"Table1", "Table2", "Table3"}},
    };
    for (const auto& c : cases) {
        MdbReader reader(corpus / c.file);
        EXPECT_EQ(reader.TableNames(), c.tables) << c.file;
    }
}

TEST(MdbReaderCorpus, SystemTablesOnlyOnRequest) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    MdbReader reader(corpus / "adox_jet4.mdb");
    const std::vector<std::string> expected = {"MSysObjects", "MSysACEs", "MSysQueries",
                                               "MSysRelationships"};
    EXPECT_EQ(reader.TableNames(true), expected);
    EXPECT_TRUE(reader.HasTable("msysobjects"));
    EXPECT_EQ(ReadAll(reader, "MSysObjects").size(), 8u);  // the Jet-made catalogue
}

// --- schemas ------------------------------------------------------------------------------------

struct ColumnCase {
    const char* file;
    const char* table;
    std::vector<Column> columns;
};

TEST(MdbReaderCorpus, ColumnsWithJetTypes) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    using T = JetType;
    const std::vector<ColumnCase> cases = {
        {"testV2000.mdb",
         "Table1",
         {{"A", T::Text, 50},
          {"B", T::Text, 100},
          {"C", T::Byte},
          {"D", T::Integer},
          {"E", T::Long},
          {"F", T::Double},
          {"G", T::DateTime},
          {"H", T::Currency},
          {"I", T::Boolean}}},
        {"testV2000.mdb", "Table3", {{"a", T::Long, 255, true}, {"b", T::Text, 50}}},
        {"testV2000.mdb", "Table4", {{"name", T::Text, 50}, {"data", T::GUID}}},
        {"fixedNumericTestV2000.mdb",
         "test",
         {{"col1", T::Memo},
          {"col2", T::Numeric},
          {"col3", T::Numeric},
          {"col4", T::Numeric},
          {"col5", T::Numeric},
          {"col6", T::Numeric},
          {"col7", T::Numeric}}},
    };
    for (const auto& c : cases) {
        MdbReader reader(corpus / c.file);
        const TableDef def = reader.Table(c.table);
        EXPECT_EQ(def.name, c.table);
        ASSERT_EQ(def.columns.size(), c.columns.size()) << c.file << " " << c.table;
        for (std::size_t i = 0; i < c.columns.size(); ++i) {
            const Column& got = def.columns[i];
            const Column& want = c.columns[i];
            const std::string where = std::string(c.file) + " " + c.table + "." + want.name;
            EXPECT_EQ(got.name, want.name) << where;
            EXPECT_EQ(got.type, want.type) << where;
            EXPECT_EQ(got.autoNumber, want.autoNumber) << where;
            if (want.type == T::Text) {
                EXPECT_EQ(got.length, want.length) << where;
            }
        }
    }
}

TEST(MdbReaderCorpus, WideTableAndNumericPrecision) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    MdbReader wide(corpus / "test2V2000.mdb");
    const TableDef def = wide.Table("msp_projects");  // names ignore case
    EXPECT_EQ(def.name, "MSP_PROJECTS");
    ASSERT_EQ(def.columns.size(), 74u);
    EXPECT_EQ(def.columns[49].name, "PROJ_PROJECT");
    EXPECT_EQ(def.columns[49].length, 203);
    EXPECT_EQ(def.columns[73].name, "RESERVED_BINARY_DATA");
    EXPECT_EQ(def.columns[73].type, JetType::OLE);

    MdbReader numeric(corpus / "fixedNumericTestV2000.mdb");
    EXPECT_EQ(numeric.NumericPrecisionScale("test", "col2"), std::make_pair(18, 0));
    EXPECT_EQ(numeric.NumericPrecisionScale("test", "col1"), std::make_pair(0, 0));
}

// --- rows ---------------------------------------------------------------------------------------

struct RowsCase {
    const char* file;
    const char* table;
    std::vector<Row> rows;
};

TEST(MdbReaderCorpus, RowsDecodedFromTheirBytes) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    const std::vector<RowsCase> cases = {
        {"testV2000.mdb",
         "Table1",
         {{"abcdefg", "hijklmnop", I(2), I(222), I(333333333), 444.555, DateTime{27293},
           Currency{35000}, true},
          {"a", "b", I(0), I(0), I(0), 0.0, DateTime{29932}, Currency{0}, false}}},
        {"fixedNumericTestV2000.mdb", "test", {{"some data", "1", "0", "0", "4", "-1", "1"}}},
        {"V2000_with-password.mdb", "Table1", {{I(1), "One"}, {I(2), "Two"}, {I(3), "Three"}}},
        {"testV2000.mdb", "Table2", {}},
    };
    for (const auto& c : cases) {
        MdbReader reader(corpus / c.file);
        const auto rows = ReadAll(reader, c.table);
        ASSERT_EQ(rows.size(), c.rows.size()) << c.file << " " << c.table;
        for (std::size_t r = 0; r < rows.size(); ++r) {
            ASSERT_EQ(rows[r].size(), c.rows[r].size()) << c.file << " row " << r;
            for (std::size_t i = 0; i < rows[r].size(); ++i)
                EXPECT_EQ(rows[r][i], c.rows[r][i])
                    << c.file << " " << c.table << " row " << r << " column " << i << ": got "
                    << Show(rows[r][i]) << ", want " << Show(c.rows[r][i]);
        }
    }
}

TEST(MdbReaderCorpus, WideRowWithMemoChainedOleAndNulls) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    MdbReader reader(corpus / "test2V2000.mdb");
    const TableDef def = reader.Table("MSP_PROJECTS");
    const auto rows = ReadAll(reader, "MSP_PROJECTS");
    ASSERT_EQ(rows.size(), 1u);
    const Row& row = rows[0];
    auto at = [&](std::string_view name) -> const Value& {
        for (std::size_t i = 0; i < def.columns.size(); ++i)
            if (def.columns[i].name == name) return row[i];
        throw std::runtime_error("no column " + std::string(name));
    };
    const std::vector<std::pair<const char*, Value>> cells = {
        {"PROJ_ID", I(1)},
        {"PROJ_NAME", "Project1"},
        {"PROJ_PROP_CATEGORY", Null{}},
        {"PROJ_OPT_CURRENCY_SYMBOL", "\xC2\xA3"},  // the pound sign, a compressed character
        {"PROJ_OPT_CALC_ACT_COSTS", true},
        {"PROJ_OPT_MULT_CRITICAL_PATHS", false},
        {"PROJ_OPT_DEF_OVT_RATE", 0.0},
        {"PROJ_DATA_SOURCE", "Z:\\temp\\Project1.mpd"},
        {"PROJ_TYPE", Null{}},
        {"PROJ_CHECKEDOUTDATE", Null{}},
    };
    for (const auto& [name, want] : cells)
        EXPECT_EQ(at(name), want) << name << ": got " << Show(at(name));
    // 2006-02-03 22:11:05 and 17:00:00
    EXPECT_NEAR(std::get<DateTime>(at("PROJ_CREATION_DATE_EX")).days, 38751 + 79865 / 86400.0,
                1e-9);
    EXPECT_NEAR(std::get<DateTime>(at("PROJ_OPT_DEF_FINISH_TIME")).days, 38751 + 17 / 24.0, 1e-9);
    // A memo of 348 characters in an LVAL row, and an OLE object of 22,970 bytes in a chain.
    EXPECT_EQ(std::get<std::string>(at("PROJ_PROP_AUTHOR")).size(), 348u);
    EXPECT_EQ(Md5(at("PROJ_PROP_AUTHOR")), "dac1e26584a04e90169909ae140449ad");
    EXPECT_EQ(std::get<Bytes>(at("RESERVED_BINARY_DATA")).size(), 22970u);
    EXPECT_EQ(Md5(at("RESERVED_BINARY_DATA")), "c90c305ecaa92bf90c02839a41c77615");
}

TEST(MdbReaderCorpus, DeclaredCountsMatchTheRowsOfEveryTable) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    int tables = 0;
    for (const auto& entry : fs::directory_iterator(corpus)) {
        if (entry.path().extension() != ".mdb") continue;
        MdbReader reader(entry.path());
        auto names = reader.TableNames();
        names.push_back("MSysObjects");  // other system tables may hold types outside the model
        for (const auto& name : names) {
            std::uint64_t rows = 0;
            for (auto cursor = reader.Rows(name);;) {
                Row r;
                if (!cursor.Next(r)) break;
                ++rows;
            }
            EXPECT_EQ(rows, reader.DeclaredRowCount(name)) << entry.path() << " " << name;
            ++tables;
        }
    }
    EXPECT_GE(tables, 40);  // every corpus file takes part
}

TEST(MdbReaderCorpus, CursorsAndSchemaCallsInterleave) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    MdbReader reader(corpus / "compIndexTestV2000.mdb");
    const auto all = ReadAll(reader, "Table1");
    ASSERT_EQ(all.size(), 512u);  // several data pages
    TableCursor a = reader.Rows("Table1");
    TableCursor b = reader.Rows("Table1");
    Row ra, rb;
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_TRUE(a.Next(ra));
        if (i % 2 == 0) {
            ASSERT_TRUE(b.Next(rb));
            EXPECT_EQ(rb, all[i / 2]);
        }
        EXPECT_EQ(reader.Table("Table1").columns.size(), 3u);
        EXPECT_EQ(ra, all[i]) << "row " << i;
    }
    EXPECT_FALSE(a.Next(ra));
    EXPECT_FALSE(a.Next(ra));  // stays at the end
}

// A count in the table definition that the rows do not bear out is logged, not passed over.
TEST(MdbReaderCorpus, RowsDifferingFromTheDeclaredCountAreLogged) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    test::TempDir dir;
    std::string bytes = test::ReadFile(corpus / "testV2000.mdb");
    std::int64_t tdefPage = -1;
    {
        MdbReader reader(corpus / "testV2000.mdb");
        EXPECT_EQ(reader.Rows("Table1").RowCountHint(), 2);
        reader.ForEachRow("MSysObjects", [&](const Row& r) {
            if (r[2] == Value("Table1")) tdefPage = std::get<std::int64_t>(r[0]) & 0xFFFFFF;
        });
    }
    ASSERT_GT(tdefPage, 2);
    bytes[static_cast<std::size_t>(tdefPage) * 4096 + 16] = 5;  // the row count
    test::WriteFile(dir / "counted.mdb", bytes);
    MdbReader reader(dir / "counted.mdb");
    tb::test::LogCapture sink;
    const auto rows = ReadAll(reader, "Table1");
    SetLogSink(nullptr);
    EXPECT_EQ(rows.size(), 2u);
    ASSERT_EQ(sink.lines.size(), 1u);
    EXPECT_NE(sink.lines[0].find("2 rows read, its definition states 5"), std::string::npos)
        << sink.lines[0];
    EXPECT_NE(sink.lines[0].find("counted.mdb"), std::string::npos) << sink.lines[0];
}

// --- errors -------------------------------------------------------------------------------------

TEST(MdbReader, MissingFileNamesTheFile) {
    test::TempDir dir;
    try {
        MdbReader reader(dir / "nothing.mdb");
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), kErrFileNotFound);
        EXPECT_NE(e.description().find("nothing.mdb"), std::string::npos) << e.description();
    }
}

TEST(MdbReader, NonDatabaseFilesRaiseNamingTheFile) {
    test::TempDir dir;
    const std::vector<std::pair<const char*, std::string>> files = {
        {"empty.mdb", ""},
        {"text.mdb", "Name,Value\r\nA,1\r\n"},
        {"zeros.mdb", std::string(8192, '\0')},
        {"header-only.mdb",
         std::string("\0\1\0\0Standard Jet DB\0\1", 21) + std::string(4075, '\0')},
    };
    for (const auto& [name, bytes] : files) {
        test::WriteFile(dir / name, bytes);
        try {
            MdbReader reader(dir / name);
            FAIL() << name << ": no error";
        } catch (const Error& e) {
            EXPECT_NE(e.description().find(name), std::string::npos) << e.description();
        }
    }
}

TEST(MdbReaderCorpus, TruncatedFileRaisesNamingTheFile) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    test::TempDir dir;
    const std::string bytes = test::ReadFile(corpus / "testV2000.mdb");
    test::WriteFile(dir / "cut.mdb", bytes.substr(0, 4096 * 3));  // the catalogue's pages are gone
    try {
        MdbReader reader(dir / "cut.mdb");
        for (const auto& name : reader.TableNames()) ReadAll(reader, name);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_NE(e.description().find("cut.mdb"), std::string::npos) << e.description();
    }
}

TEST(MdbReaderCorpus, MissingTableNamesTableAndFile) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    MdbReader reader(corpus / "testV2000.mdb");
    EXPECT_FALSE(reader.HasTable("Table9"));
    for (auto call : {+[](const MdbReader& r) { r.Table("Table9"); },
                      +[](const MdbReader& r) { r.Rows("Table9"); },
                      +[](const MdbReader& r) { r.DeclaredRowCount("Table9"); }}) {
        try {
            call(reader);
            FAIL() << "no error";
        } catch (const Error& e) {
            EXPECT_NE(e.description().find("\"Table9\""), std::string::npos) << e.description();
            EXPECT_NE(e.description().find("testV2000.mdb"), std::string::npos) << e.description();
        }
    }
}

// --- locale ----------------------------------------------------------------------------------
// libmdb's own formatting would write "444,555" and two-digit years under a German locale.

struct Snapshot {
    std::vector<TableDef> defs;
    std::vector<std::vector<Row>> rows;
};

Snapshot ReadEverything(const fs::path& corpus) {
    Snapshot s;
    for (const char* file : {"testV2000.mdb", "test2V2000.mdb", "fixedNumericTestV2000.mdb",
                             "fixedTextTestV2000.mdb"}) {
        MdbReader reader(corpus / file);
        for (const auto& name : reader.TableNames()) {
            s.defs.push_back(reader.Table(name));
            auto& rows = s.rows.emplace_back();
            reader.ForEachRow(name, [&](const Row& r) { rows.push_back(r); });
        }
    }
    return s;
}

// Restores the locale the test found.
class LocaleGuard {
  public:
    LocaleGuard() : saved_(std::setlocale(LC_ALL, nullptr)) {}
    ~LocaleGuard() { std::setlocale(LC_ALL, saved_.c_str()); }

  private:
    std::string saved_;
};

TEST(MdbReaderLocale, GermanLocaleGivesTheSameValues) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    LocaleGuard guard;
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
    const Snapshot plain = ReadEverything(corpus);

    if (!std::setlocale(LC_ALL, "de_DE.UTF-8"))
        GTEST_SKIP() << "locale de_DE.UTF-8 is not installed (locale-gen or localedef makes it)";
    char probe[16];
    std::snprintf(probe, sizeof probe, "%.1f", 1.5);
    ASSERT_STREQ(probe, "1,5");  // the locale is really in force
    const Snapshot german = ReadEverything(corpus);

    ASSERT_EQ(german.rows.size(), plain.rows.size());
    for (std::size_t t = 0; t < plain.rows.size(); ++t) {
        EXPECT_EQ(german.defs[t].name, plain.defs[t].name);
        EXPECT_EQ(german.rows[t], plain.rows[t]) << plain.defs[t].name;
    }
}

}  // namespace
}  // namespace tb::mdb
