// The writer as a whole: the empty database against the Jet engine's own, repeatable bytes,
// the temporary file, and the structure of what it writes.

#include "mdb/jet_writer.h"

#include <gtest/gtest.h>

#include <cstring>

#include "common/error.h"
#include "common/log.h"
#include "mdb/date_time.h"
#include "mdb/header_page.h"
#include "mdb/jet_file_parser.h"
#include "mdb/jet_test_support.h"
#include "mdb/structure_checker.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::mdb::test {
namespace {

using tb::test::TempDir;

double HeaderDate(const std::string& file) {
    std::vector<std::uint8_t> page(file.begin(), file.begin() + 4096);
    jet::ToggleHeaderMask(page.data());
    double d;
    std::memcpy(&d, page.data() + 0x72, sizeof d);
    return d;
}

// Offsets in the file of the two date columns of each catalogue row on page 14.
std::vector<std::size_t> CatalogueDateBytes(const std::string& file) {
    std::vector<std::size_t> out;
    JetFile f(file);
    for (const auto& [offset, size] : f.RowSlots(14)) {
        const std::size_t row = 14 * 4096 + (offset & 0x1FFF);
        for (std::size_t i = 12; i < 28; ++i) out.push_back(row + i);  // DateCreate, DateUpdate
    }
    return out;
}

TEST(JetWriterEmpty, MatchesTheJetEnginesEmptyDatabasePageByPage) {
    TB_CORPUS_FILE_OR_SKIP(file, "adox_jet4.mdb");
    const std::string jet = ReadBytes(file);
    TempDir dir;
    WriterOptions options;
    const double created = HeaderDate(jet);
    options.now = [created] { return created; };
    JetWriter writer(dir / "empty.mdb", options);
    writer.Commit();
    const std::string ours = ReadBytes(dir / "empty.mdb");
    ASSERT_EQ(ours.size(), jet.size());

    // Jet stamps its catalogue rows a moment after the header; those bytes may differ.
    std::vector<bool> allowed(ours.size(), false);
    for (std::size_t i : CatalogueDateBytes(jet)) allowed[i] = true;
    std::string differences;
    for (std::size_t i = 0; i < ours.size(); ++i) {
        if (ours[i] != jet[i] && !allowed[i]) {
            differences +=
                "page " + std::to_string(i / 4096) + " offset " + std::to_string(i % 4096) + "\n";
        }
    }
    EXPECT_EQ(differences, "");
}

TEST(JetWriterEmpty, IsSoundAndHasOnlyTheSystemTables) {
    TempDir dir;
    WriteDatabase(dir / "empty.mdb", {});
    SKIP_WITHOUT_MDBTOOLS();
    EXPECT_EQ(RunMdbTool("mdb-tables", {"-1", (dir / "empty.mdb").string()}).out, "");
    EXPECT_EQ(RunMdbTool("mdb-tables", {"-1", "-S", (dir / "empty.mdb").string()}).out,
              "MSysObjects\nMSysACEs\nMSysQueries\nMSysRelationships\n");
}

std::vector<TableData> SampleTables() {
    TableData people{{"People",
                      {{"ID", JetType::Long, 0, true},
                       {"Name", JetType::Text, 40},
                       {"Born", JetType::DateTime},
                       {"Notes", JetType::Memo}}},
                     {}};
    for (int i = 0; i < 300; ++i) {
        people.rows.push_back({Null{}, "Person " + std::to_string(i),
                               MakeDateTime(1950 + i % 50, 1 + i % 12, 1 + i % 28),
                               std::string(static_cast<std::size_t>(i * 37 % 5000),
                                           static_cast<char>('a' + i % 26))});
    }
    TableData empty{{"Nothing", {{"X", JetType::Integer}}}, {}};
    return {people, empty};
}

TEST(JetWriterOutput, IsTheSameForTheSameInputAndClock) {
    TempDir dir;
    WriteDatabase(dir / "a.mdb", SampleTables());
    WriteDatabase(dir / "b.mdb", SampleTables());
    const std::string a = ReadBytes(dir / "a.mdb");
    EXPECT_TRUE(a == ReadBytes(dir / "b.mdb"));
    // Another clock changes the dates, nothing else of the layout.
    WriterOptions later = FixedOptions();
    later.now = [] { return MakeDateTime(2030, 1, 1).days; };
    WriteDatabase(dir / "c.mdb", SampleTables(), later);
    const std::string c = ReadBytes(dir / "c.mdb");
    ASSERT_EQ(a.size(), c.size());
    EXPECT_FALSE(a == c);
}

// A source that cannot say how many rows will come.
class CountingRows : public RowSource {
  public:
    explicit CountingRows(int n) : left_(n) {}
    bool Next(Row& row) override {
        if (left_-- <= 0) return false;
        row = {std::int64_t{left_}};
        return true;
    }

  private:
    int left_;
};

TEST(JetWriterProgress, IsReportedInStepsOrByRowCount) {
    tb::test::LogCapture log;  // progress reports go to the status lines
    TempDir dir;
    JetWriter writer(dir / "x.mdb", FixedOptions());
    std::vector<Row> rows(1000, Row{std::int64_t{1}});
    VectorRowSource known(rows);
    writer.AddTable({"Known", {{"N", JetType::Long}}}, known);
    EXPECT_EQ(log.statuses.size(), 10u);
    EXPECT_EQ(log.statuses.back(), "Writing table Known 100%");
    log.statuses.clear();
    CountingRows unknown(250000);
    writer.AddTable({"Unknown", {{"N", JetType::Long}}}, unknown);
    EXPECT_EQ(log.statuses, (std::vector<std::string>{"Writing table Unknown: 100000 rows",
                                                      "Writing table Unknown: 200000 rows",
                                                      "Writing table Unknown: 250000 rows"}));
    writer.Commit();
}

TEST(JetWriterFile, NothingAppearsWithoutCommit) {
    TempDir dir;
    {
        JetWriter writer(dir / "x.mdb", FixedOptions());
        TableData t = SampleTables()[0];
        VectorRowSource rows(t.rows);
        writer.AddTable(t.def, rows);
    }
    EXPECT_TRUE(fs::is_empty(dir.path()));
}

TEST(JetWriterFile, AFailedTableLeavesTheOldTargetAndNoTemporaryFile) {
    TempDir dir;
    tb::test::WriteFile(dir / "x.mdb", "old");
    {
        JetWriter writer(dir / "x.mdb", FixedOptions());
        TableDef def{"T", {{"A", JetType::Text, 3}}};
        VectorRowSource rows({{std::string("four")}});
        EXPECT_THROW(writer.AddTable(def, rows), Error);
        // The writer refuses to go on from a half-written table.
        VectorRowSource none({});
        EXPECT_THROW(writer.AddTable({"U", {{"A", JetType::Long}}}, none), Error);
        EXPECT_THROW(writer.Commit(), Error);
    }
    EXPECT_EQ(ReadBytes(dir / "x.mdb"), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
}

TEST(JetWriterFile, CommitReplacesTheTarget) {
    TempDir dir;
    tb::test::WriteFile(dir / "x.mdb", "old");
    WriteDatabase(dir / "x.mdb", SampleTables());
    EXPECT_GT(fs::file_size(dir / "x.mdb"), 4096u * 16);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
}

// A finished file waits under its temporary name, complete on disk, until Rename(); a writer
// that goes without renaming takes it along.
TEST(JetWriterFile, AFinishedFileReplacesTheTargetOnlyWhenRenamed) {
    for (const bool rename : {false, true}) {
        TempDir dir;
        tb::test::WriteFile(dir / "x.mdb", "old");
        {
            JetWriter writer(dir / "x.mdb", FixedOptions());
            writer.Finish();
            EXPECT_THROW(writer.Finish(), Error) << "complete already";
            EXPECT_EQ(ReadBytes(dir / "x.mdb"), "old");
            ASSERT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()),
                      2);
            for (const auto& e : fs::directory_iterator(dir.path())) {
                if (e.path().filename() == "x.mdb") continue;
                EXPECT_EQ(StructureProblems(e.path()), "") << "complete before the rename";
            }
            if (rename) writer.Rename();
        }
        EXPECT_EQ(ReadBytes(dir / "x.mdb") == "old", !rename);
        EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
    }
}

TEST(JetWriterFile, AMissingFolderIsAClearError) {
    TempDir dir;
    try {
        JetWriter writer(dir / "no" / "such" / "x.mdb");
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_NE(e.description().find("x.mdb"), std::string::npos) << e.description();
    }
}

}  // namespace
}  // namespace tb::mdb::test
