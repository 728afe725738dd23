// User indexes and primary keys: key bytes against those Access wrote (derived from the corpus
// files named in each case), the sort order of every key type in both directions, the indexes
// of written tables through the structure checker, and the refusals.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "common/encoding.h"
#include "common/error.h"
#include "common/log.h"
#include "mdb/date_time.h"
#include "mdb/index_builder.h"
#include "mdb/jet_file_parser.h"
#include "mdb/jet_test_support.h"
#include "mdb/jet_text.h"
#include "mdb/structure_checker.h"
#include "mdb/user_indexes.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::mdb::test {
namespace {

using jet::ByteVec;
using tb::test::TempDir;

// The key of one column as the writer makes it, from the value's stored bytes.
ByteVec Key(JetType type, bool ascending, const Value& value) {
    jet::StoredKeyValue v;
    std::uint8_t fixed[8] = {};
    std::u16string units;
    v.null = std::holds_alternative<Null>(value);
    if (const auto* b = std::get_if<bool>(&value)) v.boolean = *b;
    if (const auto* i = std::get_if<std::int64_t>(&value))
        jet::Put64(fixed, static_cast<std::uint64_t>(*i));
    if (const auto* c = std::get_if<Currency>(&value))
        jet::Put64(fixed, static_cast<std::uint64_t>(c->scaled));
    if (const auto* d = std::get_if<double>(&value)) {
        if (type == JetType::Single) {
            const float f = static_cast<float>(*d);
            std::uint32_t bits;
            std::memcpy(&bits, &f, 4);
            jet::Put32(fixed, bits);
        } else {
            jet::PutDouble(fixed, *d);
        }
    }
    if (const auto* t = std::get_if<DateTime>(&value)) jet::PutDouble(fixed, t->days);
    if (const auto* s = std::get_if<std::string>(&value)) {
        Utf8ToUtf16Checked(*s, units);
        v.text = units;
    }
    v.fixed = fixed;
    ByteVec key;
    EXPECT_TRUE(jet::AppendKeyColumn(type, ascending, v, key));
    return key;
}

ByteVec Entry(ByteVec key, std::uint32_t page, std::uint8_t row) {
    return jet::MakeIndexEntry(key, {page, row});
}

struct GoldenEntry {
    std::string where;
    JetType type;
    bool ascending;
    Value value;
    std::uint32_t page;
    std::uint8_t row;
    ByteVec bytes;
};

// Leaf entries as they stand in the corpus files (key, then page and row).
TEST(UserIndexKeys, ReproduceTheEntriesAccessWrote) {
    const std::vector<GoldenEntry> cases = {
        // testV2000.mdb, Table1: primary key on text column A (page 28), index on B (page 26).
        {"testV2000 A 'a'",
         JetType::Text,
         true,
         std::string("a"),
         27,
         1,
         {0x7F, 0x4A, 0x01, 0x00, 0x00, 0x00, 0x1B, 0x01}},
        {"testV2000 A 'abcdefg'",
         JetType::Text,
         true,
         std::string("abcdefg"),
         27,
         0,
         {0x7F, 0x4A, 0x4C, 0x4D, 0x4F, 0x51, 0x53, 0x55, 0x01, 0x00, 0x00, 0x00, 0x1B, 0x00}},
        {"testV2000 B 'hijklmnop'",
         JetType::Text,
         true,
         std::string("hijklmnop"),
         27,
         0,
         {0x7F, 0x57, 0x59, 0x5B, 0x5C, 0x5E, 0x60, 0x62, 0x64, 0x66, 0x01, 0x00, 0x00, 0x00, 0x1B,
          0x00}},
        // fixedTextTestV2000.mdb, users: texts with blanks and a hyphen, a date.
        {"fixedTextTestV2000 'Core User'",
         JetType::Text,
         true,
         std::string("Core User"),
         23,
         0,
         {0x7F, 0x4D, 0x64, 0x69, 0x51, 0x07, 0x6F, 0x6B, 0x51, 0x69, 0x01, 0x00, 0x00, 0x00, 0x17,
          0x00}},
        {"fixedTextTestV2000 '-1'",
         JetType::Text,
         true,
         std::string("-1"),
         23,
         1,
         {0x7F, 0x38, 0x01, 0x01, 0x01, 0x01, 0x80, 0x07, 0x06, 0x82, 0x00, 0x00, 0x00, 0x17,
          0x01}},
        {"fixedTextTestV2000 d_stamp_ 2009-10-22 03:57:13",
         JetType::DateTime,
         true,
         MakeDateTime(2009, 10, 22, 3, 57, 13),
         23,
         1,
         {0x7F, 0xC0, 0xE3, 0x95, 0x85, 0x45, 0x7F, 0xCF, 0x74, 0x00, 0x00, 0x17, 0x01}},
        {"fixedTextTestV2000 d_stamp_ 2009-11-05 23:41:28",
         JetType::DateTime,
         true,
         MakeDateTime(2009, 11, 5, 23, 41, 28),
         23,
         0,
         {0x7F, 0xC0, 0xE3, 0x97, 0x5F, 0x96, 0x90, 0xE0, 0x85, 0x00, 0x00, 0x17, 0x00}},
        {"fixedTextTestV2000 primary key 2",
         JetType::Long,
         true,
         std::int64_t{2},
         23,
         1,
         {0x7F, 0x80, 0x00, 0x00, 0x02, 0x00, 0x00, 0x17, 0x01}},
        // compIndexTestV2000.mdb, Table1: descending Long CD_AGENTE, leaves 32 and 33.
        {"compIndexTestV2000 4813",
         JetType::Long,
         false,
         std::int64_t{4813},
         20,
         56,
         {0x80, 0x7F, 0xFF, 0xED, 0x32, 0x00, 0x00, 0x14, 0x38}},
        {"compIndexTestV2000 4812",
         JetType::Long,
         false,
         std::int64_t{4812},
         20,
         55,
         {0x80, 0x7F, 0xFF, 0xED, 0x33, 0x00, 0x00, 0x14, 0x37}},
        {"compIndexTestV2000 4645",
         JetType::Long,
         false,
         std::int64_t{4645},
         19,
         106,
         {0x80, 0x7F, 0xFF, 0xED, 0xDA, 0x00, 0x00, 0x13, 0x6A}},
        {"compIndexTestV2000 2852",
         JetType::Long,
         false,
         std::int64_t{2852},
         18,
         59,
         {0x80, 0x7F, 0xFF, 0xF4, 0xDB, 0x00, 0x00, 0x12, 0x3B}},
        {"compIndexTestV2000 27",
         JetType::Long,
         false,
         std::int64_t{27},
         17,
         1,
         {0x80, 0x7F, 0xFF, 0xFF, 0xE4, 0x00, 0x00, 0x11, 0x01}},
        {"compIndexTestV2000 Null sorts last",
         JetType::Long,
         false,
         Null{},
         20,
         57,
         {0xFF, 0x00, 0x00, 0x14, 0x39}},
    };
    for (const GoldenEntry& c : cases) {
        EXPECT_EQ(Entry(Key(c.type, c.ascending, c.value), c.page, c.row), c.bytes) << c.where;
    }
}

// compIndexTestV2000.mdb: the root (page 29) is a node whose one entry names leaf 32 by that
// leaf's last entry (value 19, page 17 row 0); leaf 33, the last child, stands in the tail.
TEST(UserIndexKeys, NodeEntriesNameTheLastEntryOfTheirChild) {
    TempDir dir;
    // Enough descending Long keys for two leaves: the root must become a node.
    TableData t{{"T", {{"CD", JetType::Long}}}, {}};
    for (int i = 0; i < 1000; ++i) t.rows.push_back({std::int64_t{i * 7 % 1000}});
    JetWriter writer(dir / "n.mdb", FixedOptions());
    VectorRowSource rows(t.rows);
    writer.AddTable(t.def, rows, {{"CD", {{"CD", false}}, false, true, false}});
    writer.Commit();
    const JetFile file(ReadBytes(dir / "n.mdb"));
    std::vector<std::string> problems;
    const ParsedTdef tdef =
        file.ParseTdef(static_cast<std::uint32_t>(file.Catalog(problems).back().id));
    const std::uint8_t* root = file.Page(tdef.realIndexes.at(0).rootPage);
    ASSERT_EQ(root[0], 0x03) << "the root of 1000 keys is a node";
    EXPECT_NE(Le32(root + 20), 0u) << "the last child stands in the tail field";
    // Keys below 1000 share their first bytes (80 7F FF): the leaves store them once.
    EXPECT_GE(Le16(file.Page(Le32(root + 20)) + 24), 3u) << "prefix compression";
    EXPECT_EQ(tdef.realIndexes[0].uniqueKeys, 1000u);
    EXPECT_EQ(StructureProblems(dir / "n.mdb"), "");

    const ByteVec golden = {0x80, 0x7F, 0xFF, 0xFF, 0xEC, 0x00, 0x00,
                            0x11, 0x00, 0x00, 0x00, 0x00, 0x20};
    ByteVec node = Entry(Key(JetType::Long, false, std::int64_t{19}), 17, 0);
    for (std::uint8_t b : {0x00, 0x00, 0x00, 0x20}) node.push_back(b);
    EXPECT_EQ(node, golden);
}

// Without corpus keys for most types, the property that matters: keys sort as the values do,
// Null first ascending and last descending, and descending reverses the order exactly.
TEST(UserIndexKeys, SortAsTheValuesInBothDirections) {
    struct Case {
        JetType type;
        std::vector<Value> ascending;  // strictly increasing values
    };
    const std::vector<Case> cases = {
        {JetType::Byte,
         {std::int64_t{0}, std::int64_t{1}, std::int64_t{127}, std::int64_t{128},
          std::int64_t{255}}},
        {JetType::Integer,
         {std::int64_t{-32768}, std::int64_t{-1}, std::int64_t{0}, std::int64_t{1},
          std::int64_t{32767}}},
        {JetType::Long,
         {std::int64_t{INT32_MIN}, std::int64_t{-256}, std::int64_t{0}, std::int64_t{255},
          std::int64_t{INT32_MAX}}},
        {JetType::Currency,
         {Currency{INT64_MIN}, Currency{-10000}, Currency{0}, Currency{1}, Currency{INT64_MAX}}},
        {JetType::Single, {-1e30, -1.5, -1e-30, 0.0, 1e-30, 2.5, 1e30}},
        {JetType::Double, {-1e300, -2.0, -1.0, -1e-300, 0.0, 1e-300, 1.0, 2.0, 1e300}},
        {JetType::DateTime,
         {DateTime{-657434.0}, DateTime{-1.25}, DateTime{0}, DateTime{0.5}, DateTime{45000.75}}},
        {JetType::Boolean, {true, false}},  // Access sorts True (-1) before False (0)
        {JetType::Text,
         {std::string(""), std::string(" !"), std::string("0"), std::string("9"), std::string("a"),
          std::string("AB"), std::string("abc"), std::string("b"), std::string("é"),
          std::string("f"), std::string("z"), std::string("zz")}},
    };
    for (const Case& c : cases) {
        std::vector<Value> values = c.ascending;
        if (c.type != JetType::Boolean) values.insert(values.begin(), Null{});
        for (std::size_t i = 1; i < values.size(); ++i) {
            const std::string what = "type " + std::to_string(static_cast<int>(c.type)) +
                                     ", values " + std::to_string(i - 1) + " and " +
                                     std::to_string(i);
            EXPECT_LT(Key(c.type, true, values[i - 1]), Key(c.type, true, values[i])) << what;
            EXPECT_GT(Key(c.type, false, values[i - 1]), Key(c.type, false, values[i])) << what;
        }
    }
}

// A table with every indexable type, a primary key, a descending and a two-column index, a
// unique one and one that ignores Nulls; enough rows for node pages.
TEST(UserIndexes, WrittenTablesPassTheCheckerWithEveryKeyRebuilt) {
    TempDir dir;
    TableData t{{"Items",
                 {{"ID", JetType::Long, 0, true},
                  {"Tag", JetType::Text, 40},
                  {"Size", JetType::Byte},
                  {"Count", JetType::Integer},
                  {"Price", JetType::Currency},
                  {"Weight", JetType::Single},
                  {"Length", JetType::Double},
                  {"Made", JetType::DateTime},
                  {"Active", JetType::Boolean},
                  {"Notes", JetType::Memo}}},
                {}};
    const int n = 6000;
    for (int i = 0; i < n; ++i) {
        const bool gap = i % 11 == 0;
        t.rows.push_back(
            {Null{}, gap ? Value{Null{}} : Value{"P-" + std::to_string(i % 1500) + " é'x"},
             std::int64_t{i % 256}, std::int64_t{i % 700 - 350},
             Currency{(i % 97) * 12345 - 500000}, gap ? Value{Null{}} : Value{i * 0.25 - 100},
             i / 3.0 - 1000, DateTime{40000.0 + i / 7.0}, i % 3 == 0, std::string("n")});
    }
    t.indexes = {
        {"Tag", {{"Tag", true}}, false, false, false},
        {"ID", {{"ID", true}}, true, true, false},
        {"SizeCount", {{"Size", true}, {"Count", false}}, false, false, false},
        {"Made", {{"Made", false}}, false, true, false},
        {"Weight", {{"Weight", true}}, false, false, true},
        {"Money", {{"Price", true}, {"Length", false}, {"Active", true}}, false, false, false},
    };
    WriteDatabase(dir / "user_indexes.mdb", {t});  // kept with TB_KEEP_JET_FILES

    std::size_t keys = 0;
    const auto problems = CheckJetStructure(ReadBytes(dir / "user_indexes.mdb"), {}, &keys);
    std::string text;
    for (const auto& p : problems) text += p + "\n";
    EXPECT_EQ(text, "");
    // MSysObjects: two indexes over 9 rows; MSysACEs: one over 16 rows and 3 for the table.
    const std::size_t catalogue = 2 * 9 + 19;
    EXPECT_EQ(keys, catalogue + 5 * n + (n - n / 11 - 1)) << "every entry rebuilt from its row";

    const JetFile file(ReadBytes(dir / "user_indexes.mdb"));
    std::vector<std::string> catalogProblems;
    const ParsedTdef tdef =
        file.ParseTdef(static_cast<std::uint32_t>(file.Catalog(catalogProblems).back().id));
    ASSERT_EQ(tdef.realIndexes.size(), 6u);
    EXPECT_EQ(tdef.logicalIndexNames.front(), "ID") << "the primary key comes first";
    EXPECT_EQ(tdef.realIndexes[0].flags, 0x89) << "primary key: unique, required";
    EXPECT_EQ(tdef.realIndexes[1].flags, 0x80);
    EXPECT_EQ(tdef.realIndexes[3].flags, 0x81);
    EXPECT_EQ(tdef.realIndexes[4].flags, 0x82);
    EXPECT_EQ(tdef.realIndexes[0].uniqueKeys, static_cast<std::uint32_t>(n));
    EXPECT_EQ(tdef.realIndexes[1].uniqueKeys, 1501u) << "1500 tags and Null";
    EXPECT_EQ(tdef.realIndexes[2].columns.at(1).second, 0x00) << "Count descending";
}

// Long text keys that differ early (little shared prefix) fill leaves and nodes quickly: three
// levels from a few thousand rows.
TEST(UserIndexes, LongKeysMakeATreeOfThreeLevels) {
    TempDir dir;
    TableData t{{"Long", {{"Text", JetType::Text, 255}}}, {}};
    for (int i = 0; i < 3000; ++i)
        t.rows.push_back({std::to_string((i * 7919) % 3000) + std::string(120, 'k')});
    t.indexes = {{"Text", {{"Text", true}}, false, true, false}};
    WriteDatabase(dir / "deep.mdb", {t});
    const JetFile file(ReadBytes(dir / "deep.mdb"));
    std::vector<std::string> problems;
    const ParsedTdef tdef =
        file.ParseTdef(static_cast<std::uint32_t>(file.Catalog(problems).back().id));
    const std::uint8_t* root = file.Page(tdef.realIndexes.at(0).rootPage);
    ASSERT_EQ(root[0], 0x03);
    EXPECT_EQ(file.Page(Le32(root + 20))[0], 0x03) << "the root's children are nodes";
    EXPECT_EQ(tdef.realIndexes[0].uniqueKeys, 3000u);
}

TEST(UserIndexes, EmptyTablesKeepAnEmptyLeaf) {
    TempDir dir;
    JetWriter writer(dir / "e.mdb", FixedOptions());
    VectorRowSource rows({});
    writer.AddTable({"Empty", {{"ID", JetType::Long, 0, true}, {"Name", JetType::Text, 20}}}, rows,
                    {{"PrimaryKey", {{"ID", true}}, true, true, false},
                     {"Name", {{"Name", true}}, false, false, false}});
    writer.Commit();
    EXPECT_EQ(StructureProblems(dir / "e.mdb"), "");
}

// The logical index names of the table the file lists last.
std::vector<std::string> IndexNames(const fs::path& file) {
    const JetFile f(ReadBytes(file));
    std::vector<std::string> problems;
    return f.ParseTdef(static_cast<std::uint32_t>(f.Catalog(problems).back().id)).logicalIndexNames;
}

// An index whose keys cannot be written is left out with a log line naming table, index and
// value; the rows, the other index and the file stay sound.
TEST(UserIndexes, AnIndexWhoseKeysCannotBeWrittenIsLeftOut) {
    const TableDef def{"Attributes",
                       {{"ID", JetType::Long, 0, true},
                        {"Name", JetType::Text, 255},
                        {"Other", JetType::Text, 255}}};
    const std::string hyphens(255, '-');
    auto rowsOf = [](std::vector<std::pair<Value, Value>> texts) {
        std::vector<Row> rows;
        for (auto& [a, b] : texts) rows.push_back({Null{}, a, b});
        return rows;
    };
    const Value none = Null{};
    struct Case {
        std::string what;
        IndexDef index;
        std::vector<Row> rows;
        std::string line;  // the log line's text after "Index <name> of table Attributes is not
                           // written: "; empty when the index is kept
    };
    const IndexDef name{"Name", {{"Name", true}}, false, false, false};
    const std::vector<Case> cases = {
        {"a Greek letter", name,
         rowsOf({{std::string("Pressure"), none}, {std::string("ΔPressure"), none}}),
         "the value 'ΔPressure' of column Name (row 2) holds 'Δ' (U+0394), whose place in the "
         "Access sort order is not known."},
        {"Cyrillic in the second column of a key, descending",
         {"NameOther", {{"Name", true}, {"Other", false}}, false, false, false},
         rowsOf({{std::string("Pump"), std::string("Насос")}}),
         "the value 'Насос' of column Other (row 1) holds 'Н' (U+041D), whose place in the Access "
         "sort order is not known."},
        {"a character beyond the 16-bit range", name, rowsOf({{std::string("pump 😀"), none}}),
         "the value 'pump 😀' of column Name (row 1) holds '😀' (U+1F600), whose place in the "
         "Access sort order is not known."},
        {"Latin-1, accents, hyphens and controls have their codes", name,
         rowsOf(
             {{std::string("é'x-ÿ\x7f"), none}, {std::string("Æ ß \xC2\x80"), none}, {none, none}}),
         ""},
        {"a key too long for a page",
         {"NameOther", {{"Name", true}, {"Other", true}}, false, false, false},
         rowsOf({{std::string("a"), std::string("b")}, {hyphens, hyphens}}),
         "its key in row 2 takes 2052 bytes, more than the " + std::to_string(jet::kMaxKeySize) +
             " an index page can hold twice."},
        {"a unique key twice",
         {"Name", {{"Name", true}}, false, true, false},
         rowsOf({{std::string("Pump"), none}, {std::string("PUMP "), none}}),
         "it is unique but holds the same key twice (key bytes 7F 66 6F 60 66 01 00; Access "
         "compares text ignoring case and trailing blanks)."},
        {"Null in the primary key",
         {"Name", {{"Name", true}}, true, true, false},
         rowsOf({{std::string("a"), none}, {none, none}}),
         "its key column Name is Null in row 2, and a primary key takes no Null."},
    };
    for (const Case& c : cases) {
        TempDir dir;
        tb::test::LogCapture log;
        WriteDatabase(dir / "i.mdb",
                      {{def, c.rows, {{"ByID", {{"ID", true}}, false, false, false}, c.index}}});
        if (c.line.empty()) {
            EXPECT_TRUE(log.lines.empty()) << c.what;
            EXPECT_EQ(IndexNames(dir / "i.mdb").size(), 2u) << c.what;
        } else {
            EXPECT_EQ(log.lines,
                      std::vector<std::string>{"Index " + c.index.name +
                                               " of table Attributes is not written: " + c.line})
                << c.what;
            EXPECT_EQ(IndexNames(dir / "i.mdb"), std::vector<std::string>{"ByID"}) << c.what;
        }
        const auto rows = ExportTable(dir / "i.mdb", "Attributes");
        EXPECT_EQ(rows.size(), c.rows.size()) << c.what;
    }
}

// Leaving indexes out shrinks a definition of several pages; no page is left over.
TEST(UserIndexes, LeftOutIndexesLeaveNoPagesBehind) {
    TableData t{{"Many", {{"Greek", JetType::Text, 20}}}, {}, {}};
    t.rows = {{std::string("α")}, {std::string("β")}};
    for (int i = 0; i < 60; ++i)
        t.indexes.push_back(
            {"An index with a long name over Greek text, number " + std::to_string(i),
             {{"Greek", i % 2 == 0}},
             false,
             false,
             false});
    TempDir dir;
    tb::test::LogCapture log;
    WriteDatabase(dir / "many.mdb", {t});  // runs the structure checker
    EXPECT_EQ(log.lines.size(), 60u);
    EXPECT_TRUE(IndexNames(dir / "many.mdb").empty());
}

TEST(UserIndexes, RefuseWhatAccessCannotHold) {
    const TableDef def{
        "T",
        {{"ID", JetType::Long, 0, true}, {"Name", JetType::Text, 20}, {"Memo", JetType::Memo}}};
    struct Case {
        std::string what;
        std::vector<IndexDef> indexes;
        std::vector<Row> rows;
        std::string message;
    };
    const std::vector<Row> two = {{Null{}, std::string("a"), Null{}},
                                  {Null{}, std::string("b"), Null{}}};
    const std::vector<Case> cases = {
        {"unknown column",
         {{"X", {{"Nope", true}}, false, false, false}},
         two,
         "\"Nope\", which the table does not have"},
        {"memo column", {{"M", {{"Memo", true}}, false, false, false}}, two, "cannot be indexed"},
        {"two primary keys",
         {{"A", {{"ID", true}}, true, true, false}, {"B", {{"Name", true}}, true, true, false}},
         two,
         "two primary keys"},
        {"same name twice",
         {{"A", {{"ID", true}}, false, false, false}, {"a", {{"Name", true}}, false, false, false}},
         two,
         "two indexes named"},
        {"column twice", {{"A", {{"ID", true}, {"id", false}}, false, false, false}}, two, "twice"},
        {"bad name", {{"A.B", {{"ID", true}}, false, false, false}}, two, "may not hold"},
    };
    for (const Case& c : cases) {
        TempDir dir;
        JetWriter writer(dir / "r.mdb", FixedOptions());
        VectorRowSource rows(c.rows);
        try {
            writer.AddTable(def, rows, c.indexes);
            writer.Commit();
            ADD_FAILURE() << c.what << ": no error";
        } catch (const Error& e) {
            EXPECT_NE(e.description().find(c.message), std::string::npos)
                << c.what << ": " << e.description();
            EXPECT_NE(e.description().find("\"T\""), std::string::npos)
                << c.what << " names the table";
        }
        EXPECT_FALSE(fs::exists(dir / "r.mdb")) << c.what;
    }
}

}  // namespace
}  // namespace tb::mdb::test
