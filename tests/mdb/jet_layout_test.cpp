// Layouts at the edges: definitions over several pages, reference usage maps, pages filled to
// the byte and to 255 rows, rows at the size limit, a catalogue whose indexes need node pages,
// and a file whose global map no longer fits page 1.

#include <gtest/gtest.h>

#include "common/error.h"
#include "mdb/date_time.h"
#include "mdb/jet_file_parser.h"
#include "mdb/jet_test_support.h"
#include "mdb/jet_writer.h"
#include "support/test_support.h"

namespace tb::mdb::test {
namespace {

using tb::test::TempDir;

std::string Repeat(std::string_view unit, std::size_t times) {
    std::string s;
    for (std::size_t i = 0; i < times; ++i) s += unit;
    return s;
}

// The parsed definition of the table named `name`.
ParsedTdef Definition(const JetFile& file, const std::string& name) {
    std::vector<std::string> problems;
    for (const CatalogObject& o : file.Catalog(problems)) {
        if (o.name == name) return file.ParseTdef(static_cast<std::uint32_t>(o.id) & 0xFFFFFF);
    }
    ADD_FAILURE() << "no table " << name;
    return {};
}

std::vector<std::uint32_t> DataPages(const JetFile& file, const ParsedTdef& tdef) {
    std::vector<std::string> problems;
    return file.MapPages(*file.RowBytes(tdef.ownedMap), problems);
}

TEST(JetLayout, TwoHundredFiftyFiveColumnsSpanSeveralDefinitionPages) {
    const JetType cycle[] = {JetType::Boolean, JetType::Byte,     JetType::Integer,
                             JetType::Long,    JetType::Currency, JetType::Single,
                             JetType::Double,  JetType::DateTime, JetType::Text,
                             JetType::Memo,    JetType::OLE,      JetType::GUID};
    TableData t{{"Wide", {}}, {}};
    t.rows.resize(2);  // filled in place: moving rows of variants upsets g++ 12's warnings
    Row& full = t.rows[0];
    Row& empty = t.rows[1];
    for (int i = 0; i < 255; ++i) {
        const JetType type = cycle[i % 12];
        t.def.columns.push_back(
            {"Column with a rather long name, number " + std::to_string(i), type, 20});
        switch (type) {
            case JetType::Boolean:
                full.push_back(true);
                break;
            case JetType::Currency:
                full.push_back(Currency{i * 10000});
                break;
            case JetType::Single:
            case JetType::Double:
                full.push_back(i + 0.5);
                break;
            case JetType::DateTime:
                full.push_back(MakeDateTime(2000, 1, 1 + i % 28));
                break;
            case JetType::Text:
            case JetType::Memo:
                full.push_back("v" + std::to_string(i));
                break;
            case JetType::OLE:
                full.push_back(Bytes{static_cast<std::uint8_t>(i)});
                break;
            case JetType::GUID:
                full.push_back(Guid{});
                break;
            default:
                full.push_back(std::int64_t{i % 100});
                break;
        }
    }
    empty.resize(255);  // all Null
    TempDir dir;
    WriteDatabase(dir / "wide.mdb", {t});
    const JetFile file(ReadBytes(dir / "wide.mdb"));
    const ParsedTdef tdef = Definition(file, "Wide");
    EXPECT_EQ(tdef.columns.size(), 255u);
    EXPECT_GE(tdef.pages.size(), 5u);

    SKIP_WITHOUT_MDBTOOLS();
    const std::string schema = RunMdbTool("mdb-schema", {(dir / "wide.mdb").string()}).out;
    EXPECT_NE(schema.find("[Column with a rather long name, number 254]"), std::string::npos);
    const auto rows = ExportTable(dir / "wide.mdb", "Wide");
    ASSERT_EQ(rows.size(), 2u);
    ASSERT_EQ(rows[0].size(), 255u);
    EXPECT_EQ(rows[0][3], "3");
    EXPECT_EQ(rows[0][248], "v248");
    EXPECT_EQ(rows[0][249], "v249");
    EXPECT_EQ(rows[1][0], "0");
    EXPECT_EQ(rows[1][254], "<NULL>");
}

TEST(JetLayout, ATableOfMoreThan512PagesGetsAReferenceMap) {
    TableData t{{"Big",
                 {{"N", JetType::Long},
                  {"A", JetType::Text, 255},
                  {"B", JetType::Text, 255},
                  {"C", JetType::Text, 255},
                  {"D", JetType::Text, 255}}},
                {}};
    for (int i = 0; i < 1300; ++i) {
        const std::string text = Repeat("ж", 240) + std::to_string(i);
        t.rows.push_back({std::int64_t{i}, text, text, text, text});
    }
    TempDir dir;
    WriteDatabase(dir / "big.mdb", {t});
    const JetFile file(ReadBytes(dir / "big.mdb"));
    const ParsedTdef tdef = Definition(file, "Big");
    EXPECT_EQ((*file.RowBytes(tdef.ownedMap))[0], 0x01) << "a reference map";
    EXPECT_GT(DataPages(file, tdef).size(), 512u);

    SKIP_WITHOUT_MDBTOOLS();
    EXPECT_EQ(RunMdbTool("mdb-count", {(dir / "big.mdb").string(), "Big"}).out, "1300\n");
    const auto rows = ExportTable(dir / "big.mdb", "Big");
    ASSERT_EQ(rows.size(), 1300u);
    EXPECT_EQ(rows[1299][0], "1299");
    EXPECT_EQ(rows[1299][4], Repeat("ж", 240) + "1299");
}

TEST(JetLayout, RowsFillAPageToTheLastByte) {
    // A row of one compressed text of 144 characters takes 155 bytes and 2 for its offset:
    // 26 of them fill the 4082 bytes of a data page exactly.
    TableData t{{"Exact", {{"T", JetType::Text, 255}}}, {}};
    for (int i = 0; i < 27; ++i)
        t.rows.push_back({std::string(144, static_cast<char>('a' + i % 26))});
    TempDir dir;
    WriteDatabase(dir / "exact.mdb", {t});
    const JetFile file(ReadBytes(dir / "exact.mdb"));
    const auto pages = DataPages(file, Definition(file, "Exact"));
    ASSERT_EQ(pages.size(), 2u);
    EXPECT_EQ(Le16(file.Page(pages[0]) + 2), 0) << "free space of the full page";
    EXPECT_EQ(Le16(file.Page(pages[0]) + 12), 26);
    EXPECT_EQ(Le16(file.Page(pages[1]) + 12), 1);
    SKIP_WITHOUT_MDBTOOLS();
    EXPECT_EQ(ExportTable(dir / "exact.mdb", "Exact").size(), 27u);
}

TEST(JetLayout, APageHoldsAtMost255Rows) {
    TableData t{{"Tiny", {{"B", JetType::Byte}}}, {}};
    for (int i = 0; i < 600; ++i) t.rows.push_back({std::int64_t{i % 256}});
    TempDir dir;
    WriteDatabase(dir / "tiny.mdb", {t});
    const JetFile file(ReadBytes(dir / "tiny.mdb"));
    std::vector<int> counts;
    for (std::uint32_t p : DataPages(file, Definition(file, "Tiny")))
        counts.push_back(Le16(file.Page(p) + 12));
    EXPECT_EQ(counts, (std::vector<int>{255, 255, 90}));
    SKIP_WITHOUT_MDBTOOLS();
    const auto rows = ExportTable(dir / "tiny.mdb", "Tiny");
    ASSERT_EQ(rows.size(), 600u);
    EXPECT_EQ(rows[599][0], std::to_string(599 % 256));
}

TEST(JetLayout, ARowMayTakeExactly4060Bytes) {
    // Nine text columns: seven of 255 Cyrillic characters (510 bytes each) and two compressed
    // Latin ones (2 bytes of mark and one a character); with the 2-byte column count, the end
    // offset, nine offsets, the offset count and 2 bytes of null mask, 255 + 205 characters
    // make 4060 bytes.
    auto table = [](std::size_t last) {
        TableData t{{"Limit", {}}, {}};
        Row row;
        for (int i = 0; i < 9; ++i)
            t.def.columns.push_back({"C" + std::to_string(i), JetType::Text, 255});
        for (int i = 0; i < 7; ++i) row.push_back(Repeat("ж", 255));
        row.push_back(std::string(255, 'x'));
        row.push_back(std::string(last, 'y'));
        t.rows.push_back(row);
        return t;
    };
    TempDir dir;
    WriteDatabase(dir / "limit.mdb", {table(205)});
    const JetFile file(ReadBytes(dir / "limit.mdb"));
    const auto pages = DataPages(file, Definition(file, "Limit"));
    ASSERT_EQ(pages.size(), 1u);
    EXPECT_EQ(file.RowBytes(pages[0], 0)->size(), 4060u);
    try {
        WriteDatabase(dir / "over.mdb", {table(206)});
        FAIL() << "a row of 4061 bytes was written";
    } catch (const Error& e) {
        EXPECT_NE(e.description().find("\"Limit\""), std::string::npos) << e.description();
        EXPECT_NE(e.description().find("4061"), std::string::npos) << e.description();
    }
    SKIP_WITHOUT_MDBTOOLS();
    const auto rows = ExportTable(dir / "limit.mdb", "Limit");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0][8], std::string(205, 'y'));
}

TEST(JetLayout, ManyTablesGiveTheCatalogueIndexesNodePages) {
    // A big table first, so that the catalogue's further pages lie beyond page 512 and its maps
    // become reference maps too.
    std::vector<TableData> tables;
    TableData big{{"Big", {{"A", JetType::Text, 255}}}, {}};
    for (int i = 0; i < 3000; ++i) big.rows.push_back({Repeat("ж", 250)});
    tables.push_back(big);
    const std::vector<std::string> special = {"Pipe-Run",   "Owner's list", "Größe", "Ærø",
                                              "with space", "under_score",  "ÉCOLE", "école2"};
    std::vector<std::string> names;
    for (const auto& s : special) names.push_back(s);
    for (int i = 0; i < 150; ++i)
        names.push_back("Category table number " + std::to_string(i) + " with a longer name");
    for (const auto& n : names)
        tables.push_back({{n, {{"ID", JetType::Long}}}, {{std::int64_t{1}}}});
    TempDir dir;
    WriteDatabase(dir / "many.mdb", tables);
    const JetFile file(ReadBytes(dir / "many.mdb"));
    const ParsedTdef catalog = file.ParseTdef(2);
    EXPECT_GT(DataPages(file, catalog).size(), 1u);
    EXPECT_EQ((*file.RowBytes(catalog.ownedMap))[0], 0x01) << "a reference map";
    // The name index of the catalogue and the object index of the access-control rows outgrow
    // a page; the catalogue's Id index (9 bytes an entry) does not.
    EXPECT_EQ(file.Page(catalog.realIndexes[0].rootPage)[0], 0x03) << "a node page at the root";
    EXPECT_EQ(file.Page(file.ParseTdef(3).realIndexes[0].rootPage)[0], 0x03)
        << "a node page at the root";
    SKIP_WITHOUT_MDBTOOLS();
    std::string expected = "Big\n";
    for (const auto& n : names) expected += n + "\n";
    EXPECT_EQ(RunMdbTool("mdb-tables", {"-1", (dir / "many.mdb").string()}).out, expected);
    EXPECT_EQ(RunMdbTool("mdb-count", {(dir / "many.mdb").string(), "Ærø"}).out, "1\n");
}

// Rows made as they are asked for, so that the test does not hold the table in memory.
class RepeatingRows : public RowSource {
  public:
    RepeatingRows(Row row, std::int64_t count) : row_(std::move(row)), left_(count) {}
    bool Next(Row& row) override {
        if (left_ <= 0) return false;
        --left_;
        row = row_;
        return true;
    }

  private:
    Row row_;
    std::int64_t left_;
};

TEST(JetLayout, ALargeFileKeepsItsGlobalMapInBitmapPages) {
    // Beyond 32,000 pages (125 MB) the global map no longer fits page 1 inline. Each row puts
    // a memo of 3,400 bytes on a page of its own.
    TempDir dir;
    {
        JetWriter writer(dir / "huge.mdb", FixedOptions());
        RepeatingRows rows({Repeat("ж", 255), Repeat("ж", 1700)}, 30000);
        writer.AddTable({"Huge", {{"A", JetType::Text, 255}, {"B", JetType::Memo}}}, rows);
        writer.Commit();
    }
    const JetFile file(ReadBytes(dir / "huge.mdb"));
    EXPECT_GT(file.pageCount(), 32000u);
    EXPECT_EQ((*file.RowBytes(1, 0))[0], 0x01) << "a reference map on page 1";
    EXPECT_EQ(StructureProblems(dir / "huge.mdb"), "");
    SKIP_WITHOUT_MDBTOOLS();
    EXPECT_EQ(RunMdbTool("mdb-count", {(dir / "huge.mdb").string(), "Huge"}).out, "30000\n");
}

}  // namespace
}  // namespace tb::mdb::test
