// The structure checker itself: it passes the Jet engine's and Access's own files, and it finds
// each kind of damage planted in a file of ours. Golden index keys from Access-made files check
// the key encodings that the checker uses.

#include "mdb/structure_checker.h"

#include <gtest/gtest.h>

#include <functional>

#include "common/encoding.h"
#include "mdb/index_builder.h"
#include "mdb/jet_file_parser.h"
#include "mdb/jet_test_support.h"
#include "mdb/jet_text.h"
#include "support/test_support.h"

namespace tb::mdb::test {
namespace {

using tb::test::TempDir;

std::string Join(const std::vector<std::string>& lines) {
    std::string s;
    for (const auto& l : lines) s += l + "\n";
    return s;
}

TEST(StructureChecker, PassesTheJetEnginesFilesStrictly) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    for (const char* name : {"adox_jet4.mdb", "emptyJet4.mdb"}) {
        EXPECT_EQ(Join(CheckJetStructure(ReadBytes(corpus / name))), "") << name;
    }
}

TEST(StructureChecker, PassesAccessMadeFilesAndReproducesTheirIndexKeys) {
    TB_CORPUS_FILE_OR_SKIP(corpus, "");
    int files = 0;
    std::size_t total = 0;
    for (const auto& entry : fs::directory_iterator(corpus)) {
        if (entry.path().extension() != ".mdb") continue;
        ++files;
        std::size_t keys = 0;
        const auto problems =
            CheckJetStructure(ReadBytes(entry.path()), CheckOptions::ForAccessFiles(), &keys);
        EXPECT_EQ(Join(problems), "") << entry.path().filename();
        EXPECT_GE(keys, 32u) << entry.path().filename();  // at least the catalogue's own entries
        total += keys;
    }
    EXPECT_GE(files, 10);
    RecordProperty("keys_rebuilt", static_cast<int>(total));
    // Every entry of the 16 files: the descending Long keys of compIndexTestV2000 and the date
    // keys of fixedTextTestV2000 included; only the GUID keys are left out.
    if (files == 16) {
        EXPECT_EQ(total, 2542u);
    }
}

struct GoldenKey {
    std::string what;
    std::function<void(jet::ByteVec&)> encode;
    std::vector<std::uint8_t> bytes;
};

jet::ByteVec Text(const std::string& utf8) {
    std::u16string units;
    Utf8ToUtf16Checked(utf8, units);
    jet::ByteVec key;
    jet::AppendTextKeyPart(units, key);
    return key;
}

// Keys seen in index pages of the corpus files.
TEST(IndexKeys, MatchThoseAccessWrote) {
    const std::vector<GoldenKey> cases = {
        {"Tables (adox_jet4 page 7)",
         [](auto& k) { k = Text("Tables"); },
         {0x7F, 0x6D, 0x4A, 0x4C, 0x5E, 0x51, 0x6B, 0x01, 0x00}},
        {"MSysACEs (adox_jet4 page 7)",
         [](auto& k) { k = Text("MSysACEs"); },
         {0x7F, 0x60, 0x6B, 0x76, 0x6B, 0x4A, 0x4D, 0x51, 0x6B, 0x01, 0x00}},
        {"abcdefg (testV2000 primary key)",
         [](auto& k) { k = Text("abcdefg"); },
         {0x7F, 0x4A, 0x4C, 0x4D, 0x4F, 0x51, 0x53, 0x55, 0x01, 0x00}},
        {"-1: a hyphen is an unprintable code (fixedTextTestV2000 page 25)",
         [](auto& k) { k = Text("-1"); },
         {0x7F, 0x38, 0x01, 0x01, 0x01, 0x01, 0x80, 0x07, 0x06, 0x82, 0x00}},
        {"trailing blanks do not count",
         [](auto& k) { k = Text("Tables  "); },
         {0x7F, 0x6D, 0x4A, 0x4C, 0x5E, 0x51, 0x6B, 0x01, 0x00}},
        {"case does not count",
         [](auto& k) { k = Text("TABLES"); },
         {0x7F, 0x6D, 0x4A, 0x4C, 0x5E, 0x51, 0x6B, 0x01, 0x00}},
        {"Long 0x0F000000 (adox_jet4 page 7)",
         [](auto& k) { jet::AppendLongKey(0x0F000000, k); },
         {0x7F, 0x8F, 0x00, 0x00, 0x00}},
        {"Long 2 (adox_jet4 page 8)",
         [](auto& k) { jet::AppendLongKey(2, k); },
         {0x7F, 0x80, 0x00, 0x00, 0x02}},
        {"Long -1", [](auto& k) { jet::AppendLongKey(-1, k); }, {0x7F, 0x7F, 0xFF, 0xFF, 0xFF}},
        {"Null", [](auto& k) { jet::AppendNullKey(k); }, {0x00}},
    };
    for (const GoldenKey& c : cases) {
        jet::ByteVec key;
        c.encode(key);
        EXPECT_EQ(key, c.bytes) << c.what;
    }
    jet::ByteVec key;
    EXPECT_FALSE(jet::AppendTextKeyPart(u"Таблица", key))
        << "beyond U+00FF the sort table is unknown";
}

// A damage planted in a file of ours and the problem the checker must report.
struct Damage {
    std::string what;
    std::function<void(std::string& bytes, const JetFile& file)> plant;
    std::string expected;
};

std::uint32_t UserTdef(const JetFile& file) {
    std::vector<std::string> problems;
    return static_cast<std::uint32_t>(file.Catalog(problems).back().id);
}

std::size_t RowOffset(const JetFile& file, std::uint32_t page, std::uint8_t row) {
    return std::size_t{page} * 4096 + (file.RowSlots(page)[row].first & 0x1FFF);
}

std::uint32_t FirstDataPage(const JetFile& file, std::uint32_t tdef) {
    std::vector<std::string> problems;
    return file.MapPages(*file.RowBytes(file.ParseTdef(tdef).ownedMap), problems).front();
}

std::vector<Damage> Damages() {
    return {
        {"row count", [](std::string& b, const JetFile& f) { b[UserTdef(f) * 4096 + 16] += 1; },
         "the definition counts"},
        {"definition length",
         [](std::string& b, const JetFile& f) { b[UserTdef(f) * 4096 + 8] += 2; }, "add up"},
        {"free space of a data page",
         [](std::string& b, const JetFile& f) { b[FirstDataPage(f, UserTdef(f)) * 4096 + 2] -= 1; },
         "bytes free"},
        {"a data page left out of its map",
         [](std::string& b, const JetFile& f) {
             const std::uint32_t map = f.ParseTdef(UserTdef(f)).ownedMap;
             const std::size_t at = RowOffset(f, map >> 8, map & 0xFF);
             for (std::size_t i = 5; i < 69; ++i) b[at + i] = 0;
         },
         "has no owner"},
        {"a used page marked free",
         [](std::string& b, const JetFile& f) {
             const std::size_t at = RowOffset(f, 1, 0);
             const std::uint32_t page = FirstDataPage(f, UserTdef(f));
             b[at + 5 + page / 8] = static_cast<char>(b[at + 5 + page / 8] | (1 << (page % 8)));
         },
         "marked free in the global map"},
        {"two maps claim one page",
         [](std::string& b, const JetFile& f) {
             // The user table's free-space map row is copied over a long-value map row.
             const ParsedTdef t = f.ParseTdef(UserTdef(f));
             const std::size_t from = RowOffset(f, t.ownedMap >> 8, t.ownedMap & 0xFF);
             const std::size_t to =
                 RowOffset(f, t.longValues[0].ownedMap >> 8, t.longValues[0].ownedMap & 0xFF);
             b.replace(to, 69, b.substr(from, 69));
         },
         "and by"},
        {"row offsets out of order",
         [](std::string& b, const JetFile& f) {
             const std::size_t page = FirstDataPage(f, UserTdef(f)) * std::size_t{4096};
             const std::string first = b.substr(page + 14, 2);
             b.replace(page + 14, 2, b.substr(page + 16, 2));
             b.replace(page + 16, 2, first);
         },
         "not below the previous row"},
        {"a catalogue name changed under its index",
         [](std::string& b, const JetFile& f) {
             std::vector<std::string> problems;
             const CatalogObject o = f.Catalog(problems).back();
             const std::size_t row = RowOffset(f, o.page, o.row);
             const std::size_t at = b.find("People", row);  // the name, compressed or not
             b[at == std::string::npos ? b.find('P', row + 32) : at] = 'Q';
         },
         "does not hold the row's key"},
        {"catalogue index entries out of order",
         [](std::string& b, const JetFile& f) {
             // Entries 0 and 1 of the Id index leaf (9 bytes each) change places.
             const std::size_t leaf =
                 f.ParseTdef(2).realIndexes[1].rootPage * std::size_t{4096} + 0x1E0;
             const std::string first = b.substr(leaf, 9);
             b.replace(leaf, 9, b.substr(leaf + 9, 9));
             b.replace(leaf + 9, 9, first);
         },
         "out of order"},
        {"distinct-key count", [](std::string& b, const JetFile&) { b[2 * 4096 + 63 + 4] += 1; },
         "distinct keys"},
        {"long-value length",
         [](std::string& b, const JetFile& f) {
             // The memo of the first row points to a single LVAL row; its length grows by one.
             const std::uint32_t page = FirstDataPage(f, UserTdef(f));
             const std::size_t row = RowOffset(f, page, 0);
             const auto bytes = *f.RowBytes(page, 0);
             // From the end: null mask (1 byte), offset count, Name's offset, Notes' offset, end.
             const std::size_t memo = Le16(&bytes[bytes.size() - 1 - 2 - 2 - 2]);
             const std::size_t eod = Le16(&bytes[bytes.size() - 1 - 2 - 2 - 2 - 2]);
             ASSERT_LT(memo, eod);
             b[row + memo] += 1;
         },
         "described as"},
    };
}

TEST(StructureChecker, FindsEveryKindOfPlantedDamage) {
    TempDir dir;
    TableData people{{"People", {{"Name", JetType::Text, 40}, {"Notes", JetType::Memo}}}, {}};
    for (int i = 0; i < 40; ++i)
        people.rows.push_back({"Person " + std::to_string(i), std::string(500 + i, 'n')});
    WriteDatabase(dir / "p.mdb", {people});
    const std::string sound = ReadBytes(dir / "p.mdb");
    ASSERT_EQ(Join(CheckJetStructure(sound)), "");
    const JetFile file(sound);
    for (const Damage& d : Damages()) {
        SCOPED_TRACE(d.what);
        std::string bytes = sound;
        d.plant(bytes, file);
        ASSERT_NE(bytes, sound);
        const std::string problems = Join(CheckJetStructure(bytes));
        EXPECT_NE(problems.find(d.expected), std::string::npos) << problems;
    }
}

}  // namespace
}  // namespace tb::mdb::test
