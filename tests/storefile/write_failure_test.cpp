// Writes that fail leave nothing behind: no target, no temporary file, an old target untouched.
// Values that do not fit their column are refused with a message naming table, row, column and
// value, the same in both file forms.

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "common/error.h"
#include "mdb/mdb_reader.h"
#include "store/store.h"
#include "storefile/store_file.h"
#include "storefile_test_util.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::storefile {
namespace {

using store::ColumnType;

const char* const kForms[] = {"extract.mdb", "extract.sqlite"};

// Runs the write; the error's description, or "ok".
std::string Outcome(const store::Store& store, const fs::path& target) {
    try {
        WriteStoreFile(store, target);
        return "ok";
    } catch (const Error& e) {
        return e.description();
    }
}

struct BadValue {
    ColumnType type;
    std::string literal;  // SQL of the value, stored as plain SQL stores it
    std::string problem;  // the message after the column
};

const std::vector<BadValue>& BadValues() {
    static const std::vector<BadValue> cases = {
        {ColumnType::Text(3), "'abcd'",
         "the text 'abcd' has 4 characters, more than the 3 of the column."},
        {ColumnType::Text(3), "'ab😀'",
         "the text 'ab😀' has 4 characters, more than the 3 of the column."},
        {ColumnType::Text(10), "CAST(X'41FF' AS TEXT)", "the text 'A\xFF' is not valid UTF-8."},
        {ColumnType::Memo(), "X'00FF'", "the value 2 bytes of binary data is not text."},
        {ColumnType::Byte(), "256", "the value 256 lies outside 0 to 255."},
        {ColumnType::Byte(), "-1", "the value -1 lies outside 0 to 255."},
        {ColumnType::Integer(), "32767.5", "the value 32767.5 lies outside -32768 to 32767."},
        {ColumnType::Long(), "2147483648",
         "the value 2147483648 lies outside -2147483648 to 2147483647."},
        {ColumnType::Long(), "'abc'", "the value 'abc' is not a whole number."},
        {ColumnType::Single(), "1e39", "the value 1E+39 does not fit a Single."},
        {ColumnType::Double(), "'x'", "the value 'x' is not a number."},
        {ColumnType::Double(), "9e999",
         "the value " + store::Value(std::numeric_limits<double>::infinity()).ToText() +
             " is not a finite number."},
        {ColumnType::Currency(), "1e300", "the value 1E+300 lies outside Currency."},
        {ColumnType::DateTime(), "'2024-13-01'",
         "the value '2024-13-01' is not a date of the form yyyy-mm-dd hh:mm:ss (years 100 to "
         "9999)."},
        {ColumnType::DateTime(), "'31.12.2024'",
         "the value '31.12.2024' is not a date of the form yyyy-mm-dd hh:mm:ss (years 100 to "
         "9999)."},
        {ColumnType::DateTime(), "'0099-12-31 23:59:59'",
         "the value '0099-12-31 23:59:59' is not a date of the form yyyy-mm-dd hh:mm:ss (years 100 "
         "to "
         "9999)."},
        {ColumnType::Boolean(), "'yes'", "the value 'yes' is not a Boolean."},
        {ColumnType::Guid(), "'{6B29FC40-CA47-1067-B31D-00DD010662D}'",
         "the value '{6B29FC40-CA47-1067-B31D-00DD010662D}' is not a GUID."},
        {ColumnType::Binary(), "zeroblob(256)",
         "the value has 256 bytes, more than the 255 of the column."},
    };
    return cases;
}

TEST(WriteFailure, AValueThatDoesNotFitItsColumnFailsTheWholeFileInBothForms) {
    for (const BadValue& c : BadValues()) {
        store::Store s = store::Store::InMemory();
        // A table written completely before the failing one.
        s.CreateTable("AGood", {{"X", ColumnType::Long()}});
        s.Execute("INSERT INTO AGood VALUES (1), (2)");
        s.CreateTable("Bad", {{"V", c.type}});
        s.Execute("INSERT INTO Bad VALUES (NULL), (" + c.literal + ")");
        for (const char* form : kForms) {
            tb::test::TempDir dir;
            EXPECT_EQ(Outcome(s, dir / form),
                      "Table \"Bad\", row 2, column \"V\" (" + c.type.Name() + "): " + c.problem)
                << form << ", " << c.literal;
            EXPECT_TRUE(test::FilesIn(dir.path()).empty()) << form << ", " << c.literal;
        }
    }
}

TEST(WriteFailure, TheWritersOwnLimitsLeaveNothingEither) {
    // Twenty full Text(255) columns of Greek text: far beyond Jet's 4,060 bytes a row.
    store::Store s = store::Store::InMemory();
    std::vector<store::ColumnDef> columns;
    std::string values;
    std::string greek;
    for (int i = 0; i < 255; ++i) greek += "Ω";
    for (int i = 0; i < 20; ++i) {
        columns.push_back({"C" + std::to_string(i), ColumnType::Text(255)});
        values += (i ? ", '" : "'") + greek + "'";
    }
    s.CreateTable("Wide", columns);
    s.Execute("INSERT INTO Wide VALUES (" + values + ")");
    tb::test::TempDir dir;
    const std::string outcome = Outcome(s, dir / "extract.mdb");
    EXPECT_NE(outcome.find("Table \"Wide\", row 1"), std::string::npos) << outcome;
    EXPECT_TRUE(test::FilesIn(dir.path()).empty());
    // The SQLite form has no row limit.
    EXPECT_EQ(Outcome(s, dir / "extract.sqlite"), "ok");
}

TEST(WriteFailure, ATargetFolderThatDisappearsLeavesNoFile) {
    store::Store s = store::Store::InMemory();
    s.CreateTable("First", {{"X", ColumnType::Memo()}});
    s.Execute("INSERT INTO First VALUES ('a'), ('b')");
    s.CreateTable("Second", {{"X", ColumnType::Long()}});
    s.Execute("INSERT INTO Second VALUES (1)");
    for (const char* form : kForms) {
        tb::test::TempDir dir;
        const fs::path folder = dir / "out";
        fs::create_directories(folder);
        tb::test::LogCapture log;
        log.onStatus = [&](const std::string& text) {
            if (text == "Writing Second...") fs::remove_all(folder);
        };
        const std::string outcome = Outcome(s, folder / form);
        EXPECT_NE(outcome, "ok") << form;
        EXPECT_NE(outcome.find((folder / form).string()), std::string::npos) << outcome;
        EXPECT_FALSE(fs::exists(folder)) << form;
        EXPECT_TRUE(test::FilesIn(dir.path()).empty()) << form;
    }
}

TEST(WriteFailure, AMissingTargetFolderIsNamed) {
    store::Store s = store::Store::InMemory();
    s.CreateTable("T", {{"X", ColumnType::Long()}});
    for (const char* form : kForms) {
        tb::test::TempDir dir;
        const fs::path target = dir / "missing" / form;
        const std::string outcome = Outcome(s, target);
        EXPECT_NE(outcome.find(target.string()), std::string::npos) << outcome;
        EXPECT_TRUE(test::FilesIn(dir.path()).empty()) << form;
    }
}

TEST(WriteFailure, AnOldTargetStaysUntouchedWhenTheWriteFails) {
    store::Store s = store::Store::InMemory();
    s.CreateTable("T", {{"X", ColumnType::Byte()}});
    s.Execute("INSERT INTO T VALUES (300)");
    for (const char* form : kForms) {
        tb::test::TempDir dir;
        tb::test::WriteFile(dir / form, "old extract");
        EXPECT_NE(Outcome(s, dir / form), "ok");
        EXPECT_EQ(tb::test::ReadFile(dir / form), "old extract") << form;
        EXPECT_EQ(test::FilesIn(dir.path()), std::vector<std::string>{form});
    }
}

TEST(WriteFailure, TheSqliteFormKeepsItsTypeTableNameForItself) {
    store::Store s = store::Store::InMemory();
    s.CreateTable("__JET_TYPES", {{"X", ColumnType::Long()}});
    tb::test::TempDir dir;
    EXPECT_EQ(
        Outcome(s, dir / "extract.sqlite"),
        "The table '__JET_TYPES' cannot be written to a SQLite extract: the file keeps its column "
        "types under that name.");
    EXPECT_TRUE(test::FilesIn(dir.path()).empty());
    EXPECT_EQ(Outcome(s, dir / "extract.mdb"), "ok");
}

// --- what is not written ---

TEST(WriteStoreFile, LinksAreLeftOutOfSqliteOnlyAndTheirPasswordsNeverShow) {
    store::Store s = store::Store::InMemory();
    s.CreateTable("T", {{"X", ColumnType::Long()}});
    s.CreateLink({"PID", "PID", "/srv/PlantA_link.mdb", "s3cret"});
    for (const char* form : kForms) {
        tb::test::TempDir dir;
        tb::test::LogCapture log;
        WriteStoreFile(s, dir / form);
        if (IsSqliteTarget(dir / form)) {
            ASSERT_EQ(log.lines.size(), 1u) << form;
            EXPECT_EQ(log.lines[0],
                      "Link PID (table PID of /srv/PlantA_link.mdb) is not written: a SQLite "
                      "extract has no linked tables.");
        } else {
            EXPECT_TRUE(log.lines.empty()) << form;
        }
        for (const auto& texts : {log.lines, log.statuses})
            for (const std::string& t : texts) EXPECT_EQ(t.find("s3cret"), std::string::npos) << t;
    }
}

TEST(WriteStoreFile, TheFormFollowsTheExtension) {
    store::Store s = store::Store::InMemory();
    s.CreateTable("T", {{"X", ColumnType::Long()}});
    const std::string sqliteMagic("SQLite format 3\0", 16);
    const std::string jetMagic = std::string("\x00\x01\x00\x00Standard Jet DB", 19);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"a.sqlite", sqliteMagic}, {"b.SQLite", sqliteMagic}, {"c.mdb", jetMagic},
        {"d.MDB", jetMagic},       {"e", jetMagic},           {"f.sqlite.mdb", jetMagic},
    };
    tb::test::TempDir dir;
    for (const auto& [name, magic] : cases) {
        WriteStoreFile(s, dir / name);
        EXPECT_EQ(tb::test::ReadFile(dir / name).substr(0, magic.size()), magic) << name;
    }
}

TEST(WriteStoreFile, AnEmptyStoreGivesAFileWithoutTables) {
    const store::Store s = store::Store::InMemory();
    tb::test::TempDir dir;
    EXPECT_TRUE(WriteStoreFile(s, dir / "empty.mdb").tables.empty());
    EXPECT_TRUE(mdb::MdbReader(dir / "empty.mdb").TableNames().empty());
    EXPECT_TRUE(WriteStoreFile(s, dir / "empty.sqlite").tables.empty());
}

}  // namespace
}  // namespace tb::storefile
