// Replacing an extract: every file of it (the extract and its link files) is complete before the
// first one replaces its target. A failure or a cancel up to then leaves the previous files byte
// for byte and no temporary file; a symbolic link at a target stays a link.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/error.h"
#include "common/log.h"
#include "mdb/mdb_reader.h"
#include "store/store.h"
#include "storefile/store_file.h"
#include "storefile/store_rows.h"
#include "storefile_test_util.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::storefile {
namespace {

using store::ColumnType;

const char* const kForms[] = {"x.mdb", "x.sqlite"};
constexpr int kBigRows = 3 * static_cast<int>(kRowsBetweenCancelChecks) + 100;

// Apart (written into its own file in an .mdb), Big (rows enough for several cancel checks) and
// Last, written in that order.
store::Store ThreeTables(const fs::path& linkFile) {
    store::Store s = store::Store::InMemory();
    s.CreateTable("Apart", {{"Tag", ColumnType::Text(20)}});
    s.Execute("INSERT INTO Apart VALUES ('P-1'), ('P-2')");
    s.CreateTable("Big", {{"N", ColumnType::Long()}, {"Name", ColumnType::Text(20)}});
    s.Execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
              std::to_string(kBigRows) + ") INSERT INTO Big SELECT i, 'row ' || i FROM n");
    s.CreateTable("Last", {{"X", ColumnType::Long()}});
    s.Execute("INSERT INTO Last VALUES (1), (2)");
    WriteTableApart(s, "Apart", linkFile);
    return s;
}

// The file each linked table of an .mdb names (the catalogue's Database column).
std::vector<std::string> LinkedFiles(const fs::path& file) {
    const mdb::MdbReader reader(file);
    const mdb::TableDef def = reader.Table("MSysObjects");
    std::size_t type = 0;
    std::size_t database = 0;
    for (std::size_t i = 0; i < def.columns.size(); ++i) {
        if (def.columns[i].name == "Type") type = i;
        if (def.columns[i].name == "Database") database = i;
    }
    std::vector<std::string> out;
    reader.ForEachRow("MSysObjects", [&](const mdb::Row& r) {
        if (std::get<std::int64_t>(r[type]) == 6) out.push_back(std::get<std::string>(r[database]));
    });
    return out;
}

// The previous extract and link file, when the case has them.
void WritePrevious(const fs::path& dir, const std::string& form) {
    tb::test::WriteFile(dir / form, "previous extract");
    tb::test::WriteFile(dir / "x_link.mdb", "previous link file");
}

// What a failed or cancelled write must leave: the previous files as they were, or nothing.
void ExpectPreviousFiles(const fs::path& dir, const std::string& form, bool previous,
                         const std::string& what) {
    if (!previous) {
        EXPECT_TRUE(test::FilesIn(dir).empty()) << what;
        return;
    }
    EXPECT_EQ(test::FilesIn(dir), (std::vector<std::string>{form, "x_link.mdb"})) << what;
    EXPECT_EQ(tb::test::ReadFile(dir / form), "previous extract") << what;
    EXPECT_EQ(tb::test::ReadFile(dir / "x_link.mdb"), "previous link file") << what;
}

// Clears the cancel flag however a case ends.
struct CancelFlag {
    ~CancelFlag() { SetCancelRequested(false); }
};

TEST(CancelledWrite, StopsWithError18AndLeavesThePreviousFiles) {
    struct Moment {
        std::string what;
        std::string status;  // the flag is set when this progress text shows
    };
    const std::vector<Moment> moments = {
        {"before the first table", "Writing Apart..."},
        {"between two tables", "Writing table Big 100%"},
        {"inside a table", "Writing table Big 10%"},
        {"after the last table", "Writing table Last 100%"},
    };
    for (const char* form : kForms) {
        for (const Moment& m : moments) {
            for (const bool previous : {false, true}) {
                const std::string what =
                    std::string(form) + ", " + m.what + (previous ? ", over a previous one" : "");
                tb::test::TempDir dir;
                const store::Store s = ThreeTables(dir / "x_link.mdb");
                if (previous) WritePrevious(dir.path(), form);
                CancelFlag flag;
                tb::test::LogCapture log;
                log.onStatus = [&](const std::string& text) {
                    if (text == m.status) SetCancelRequested(true);
                };
                try {
                    WriteStoreFile(s, dir / form);
                    ADD_FAILURE() << what << ": not cancelled";
                } catch (const Error& e) {
                    EXPECT_EQ(e.number(), kErrCancelled) << what;
                    EXPECT_EQ(e.description(), "Cancelled.") << what;
                    EXPECT_EQ(e.source(), "WriteStoreFile") << what;
                }
                ExpectPreviousFiles(dir.path(), form, previous, what);
                if (m.what == "inside a table") {
                    for (const std::string& status : log.statuses)
                        EXPECT_NE(status, "Writing table Big 100%") << what;
                }
            }
        }
    }
}

// A table that fails after the link file is complete: the link file is not renamed either.
TEST(FailedWrite, AFailureAfterTheLinkFileKeepsThePreviousExtractAndLinkFile) {
    for (const char* form : kForms) {
        for (const bool previous : {false, true}) {
            const std::string what = std::string(form) + (previous ? ", over a previous one" : "");
            tb::test::TempDir dir;
            store::Store s = ThreeTables(dir / "x_link.mdb");
            s.CreateTable("Zebra", {{"N", ColumnType::Byte()}});
            s.Execute("INSERT INTO Zebra VALUES (300)");
            if (previous) WritePrevious(dir.path(), form);
            tb::test::LogCapture log;
            EXPECT_THROW(WriteStoreFile(s, dir / form), Error) << what;
            ExpectPreviousFiles(dir.path(), form, previous, what);

            // Once the write succeeds, both files are new.
            s.DropTable("Zebra");
            WriteStoreFile(s, dir / form);
            if (IsSqliteTarget(dir / form)) continue;
            EXPECT_EQ(test::FilesIn(dir.path()), (std::vector<std::string>{"x.mdb", "x_link.mdb"}))
                << what;
            EXPECT_EQ(mdb::MdbReader(dir / "x_link.mdb").TableNames(),
                      std::vector<std::string>{"Apart"})
                << what;
            EXPECT_EQ(mdb::MdbReader(dir / form).TableNames(),
                      (std::vector<std::string>{"Big", "Last"}))
                << what;
        }
    }
}

// A symbolic link at the extract or the link file (a shared copy elsewhere) stays a link; the
// file it names is replaced, and the extract's link keeps the path as given.
TEST(ReplacedFiles, ASymbolicLinkAtATargetStaysALink) {
    for (const char* form : kForms) {
        tb::test::TempDir dir;
        const fs::path out = dir / "out";
        const fs::path shared = dir / "shared";
        fs::create_directories(out);
        fs::create_directories(shared);
        const std::string sharedExtract = std::string("shared-") + form;
        tb::test::WriteFile(shared / sharedExtract, "previous extract");
        tb::test::WriteFile(shared / "shared_link.mdb", "previous link file");
        fs::create_symlink(shared / sharedExtract, out / form);
        fs::create_symlink(shared / "shared_link.mdb", out / "x_link.mdb");
        const store::Store s = ThreeTables(out / "x_link.mdb");
        tb::test::LogCapture log;
        WriteStoreFile(s, out / form);

        EXPECT_TRUE(fs::is_symlink(out / form)) << form;
        EXPECT_TRUE(fs::is_symlink(out / "x_link.mdb")) << form;
        EXPECT_EQ(test::FilesIn(out), (std::vector<std::string>{form, "x_link.mdb"})) << form;
        EXPECT_EQ(test::FilesIn(shared),
                  (std::vector<std::string>{sharedExtract, "shared_link.mdb"}))
            << form;
        if (IsSqliteTarget(out / form)) {
            const store::Connection back((shared / sharedExtract).string(), SQLITE_OPEN_READONLY);
            EXPECT_EQ(store::QueryValue(back.get(), "SELECT count(*) FROM Big").integer(),
                      kBigRows);
            EXPECT_EQ(tb::test::ReadFile(shared / "shared_link.mdb"), "previous link file");
            continue;
        }
        EXPECT_EQ(mdb::MdbReader(shared / "shared_link.mdb").TableNames(),
                  std::vector<std::string>{"Apart"});
        EXPECT_EQ(mdb::MdbReader(shared / sharedExtract).TableNames(),
                  (std::vector<std::string>{"Big", "Last"}));
        EXPECT_EQ(LinkedFiles(shared / sharedExtract),
                  std::vector<std::string>{(out / "x_link.mdb").string()});
    }
}

}  // namespace
}  // namespace tb::storefile
