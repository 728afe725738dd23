// Our reader, mdbtools and mdb-reader agree on the Access-made files of the corpus: table names,
// column names and types, row counts and every value.

#include <gtest/gtest.h>

#include "mdb/mdb_reader.h"
#include "readers/outside_readers.h"
#include "support/test_support.h"

namespace tb::readers {
namespace {

// Jet 4 files of the corpus (the .accdb is another format).
const char* const kFiles[] = {
    "adox_jet4.mdb",
    "emptyJet4.mdb",
    "empty.mdb",
    "empty2003.mdb",
    "testV2000.mdb",
    "test2V2000.mdb",
    "indexTestV2000.mdb",
    "compIndexTestV2000.mdb",
    "bigIndexTestV2000.mdb",
    "fixedNumericTestV2000.mdb",
    "fixedTextTestV2000.mdb",
    "overflowTestV2000.mdb",
    "queryTestV2000.mdb",
    "testIndexPropertiesV2000.mdb",
    "testPromotionV2000.mdb",
    "V2000_with-password.mdb",
};

class CorpusFile : public ::testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        TB_CORPUS_FILE_OR_SKIP(file, GetParam());
        file_ = file;
    }
    fs::path file_;
};

void ExpectNoDifferences(const std::vector<std::string>& diffs) {
    for (const auto& d : diffs) ADD_FAILURE() << d;
}

TEST_P(CorpusFile, MdbToolsAgreesWithOurReader) {
    if (const auto why = mdbtools::Unavailable(); !why.empty()) GTEST_SKIP() << why;
    const mdb::MdbReader reader(file_);
    EXPECT_EQ(mdbtools::Tables(file_), reader.TableNames());
    EXPECT_EQ(mdbtools::Tables(file_, true), reader.TableNames(true));
    for (const auto& name : reader.TableNames()) {
        const OurTable ours = ReadOurs(file_, name);
        ExpectNoDifferences(Differences(Reader::MdbTools, ours, mdbtools::Read(file_, name)));
    }
}

TEST_P(CorpusFile, MdbReaderAgreesWithOurReader) {
    if (const auto why = mdbreader::Unavailable(); !why.empty()) GTEST_SKIP() << why;
    const mdb::MdbReader reader(file_);
    const auto tables = mdbreader::ReadAll(file_);
    std::vector<std::string> names;
    for (const auto& t : tables) names.push_back(t.name);
    EXPECT_EQ(names, reader.TableNames());
    for (const auto& t : tables) {
        if (!reader.HasTable(t.name)) continue;
        ExpectNoDifferences(Differences(Reader::MdbReader, ReadOurs(file_, t.name), t));
    }
}

// mdb-json and mdb-export are two printers over the same library: a parser slip on either side
// shows up here.
TEST_P(CorpusFile, MdbJsonAgreesWithMdbExport) {
    if (const auto why = mdbtools::Unavailable(); !why.empty()) GTEST_SKIP() << why;
    for (const auto& name : mdbtools::Tables(file_)) {
        const auto columns = mdbtools::Schema(file_, name);
        const auto exported = mdbtools::Export(file_, name);
        const auto json = mdbtools::Json(file_, name, columns);
        ASSERT_EQ(json.size(), exported.size()) << name;
        for (std::size_t r = 0; r < json.size(); ++r)
            for (std::size_t i = 0; i < columns.size(); ++i)
                EXPECT_EQ(json[r][i], exported[r][i])
                    << name << " row " << r << " " << columns[i].name;
    }
}

INSTANTIATE_TEST_SUITE_P(Jet4, CorpusFile, ::testing::ValuesIn(kFiles), [](const auto& param) {
    std::string name = param.param;
    for (auto& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
});

// The comparison itself must see a changed value: a harness that always agrees proves nothing.
TEST(OutsideReaderHarness, DifferencesReportAChangedValue) {
    OurTable ours;
    ours.def = {"T", {{"A", mdb::JetType::Text, 10}, {"B", mdb::JetType::Double}}};
    ours.numeric = {{0, 0}, {0, 0}};
    ours.declaredRows = 1;
    ours.rows = {{std::string("x"), 0.1}};
    OutsideTable theirs{"T", {{"A", "text(10)"}, {"B", "double"}}, 1, {{"x", "0.1"}}, {}};
    EXPECT_TRUE(Differences(Reader::MdbReader, ours, theirs).empty());
    theirs.rows[0][1] = "0.30000000000000004";
    EXPECT_EQ(Differences(Reader::MdbReader, ours, theirs).size(), 1u);
    theirs.rows.push_back(theirs.rows[0]);
    EXPECT_EQ(Differences(Reader::MdbReader, ours, theirs).size(), 2u);  // and the row count
}

TEST(OutsideReaderHarness, ExpectedTextFollowsEachReader) {
    using mdb::JetType;
    struct Case {
        mdb::Column column;
        mdb::Value value;
        Cell tools;
        Cell reader;
    };
    const std::vector<Case> cases = {
        {{"t", JetType::Text, 10}, std::string(), std::nullopt, ""},
        {{"t", JetType::Text, 10},
         "a\xF0\x9F\x98\x80\xC3\xA4",
         "a??\xC3\xA4",
         "a\xF0\x9F\x98\x80\xC3\xA4"},
        {{"o", JetType::OLE}, mdb::Bytes{}, "", ""},
        {{"b", JetType::Binary}, mdb::Bytes{}, std::nullopt, ""},
        {{"d", JetType::Double}, 0.1, "0.1", "0.1"},
        {{"d", JetType::Double}, 1.0 / 3, "0.3333333333333333", "0.3333333333333333"},
        {{"d", JetType::Double}, 0.1 + 0.2, "0.3", "0.30000000000000004"},
        {{"s", JetType::Single}, static_cast<double>(0.1f), "0.1", "0.10000000149011612"},
        {{"c", JetType::Currency},
         mdb::Currency{INT64_MIN},
         "-922337203685477.5808",
         "-922337203685477.5808"},
        {{"c", JetType::Currency}, mdb::Currency{-5}, "-0.0005", "-0.0005"},
        {{"w", JetType::DateTime}, mdb::DateTime{27293.5}, "1974-09-21 12:00:00", "148996800000"},
        {{"b", JetType::Binary}, mdb::Bytes{0x41, 0x00, 0x42}, "41", "410042"},
        {{"o", JetType::OLE}, mdb::Bytes{0x41, 0x00, 0x42}, "410042", "410042"},
        {{"g", JetType::GUID},
         mdb::Guid{{0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66, 0x88, 0x99, 0xAA, 0xBB, 0xCC,
                    0xDD, 0xEE, 0xFF}},
         "7B30303131323233332D343435352D363637372D383839394141424243434444454546467D",
         "00112233-4455-6677-8899-aabbccddeeff"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ExpectedText(Reader::MdbTools, c.column, c.value).text, c.tools) << c.column.name;
        EXPECT_EQ(ExpectedText(Reader::MdbReader, c.column, c.value).text, c.reader)
            << c.column.name;
    }
    EXPECT_FALSE(
        ExpectedText(Reader::MdbTools, {"w", JetType::DateTime}, mdb::DateTime{-1.5}).compare);
}

}  // namespace
}  // namespace tb::readers
