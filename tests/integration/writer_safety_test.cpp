// The final write of a run, end to end on the tiny sample plant: an index that cannot be written
// does not fail the run, and an interrupt while the .mdb is written leaves no extract, no
// temporary file and a previous extract as it was.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <set>

#include "mdb/jet_file_parser.h"
#include "mdb/mdb_reader.h"
#include "mdb/structure_checker.h"
#include "plant_generator.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::Sandbox;

// A tiny plant of its own, whose dictionary the test then changes.
class WriterSafety : public ::testing::Test {
  protected:
    void SetUp() override {
        sampleplant::Options options;
        options.out = plant_.path() / "plant";
        options.drawings = sampleplant::kShowcaseDrawings;
        sampleplant::GeneratePlant(options);
    }

    // Runs SQL on the plant's P&ID dictionary (PLANTAPIDD.db, where ATTRIBUTES_cp comes from).
    void ChangeDictionary(const std::string& sql) const {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open((plant_.path() / "plant" / "PLANTAPIDD.db").c_str(), &db),
                  SQLITE_OK);
        char* message = nullptr;
        const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
        EXPECT_EQ(rc, SQLITE_OK) << (message ? message : "");
        sqlite3_free(message);
        sqlite3_close(db);
    }

    test::ProcessResult Extract(const Sandbox& box, const std::string& interruptWhen = {}) const {
        fs::create_directories(box.app() / "config");
        fs::copy_file(test::SourceDir() / "config" / "default", box.app() / "config" / "default",
                      fs::copy_options::overwrite_existing);
        return box.Run(
            {"/output", (box.root() / "x.mdb").string(), "/site",
             (plant_.path() / "plant" / "SmartPlantv4.ini").string(), "/plant", "PlantA"},
            interruptWhen);
    }

    // The names in the sandbox's root that belong to the extract (x.mdb and its temporaries).
    static std::set<std::string> ExtractFiles(const Sandbox& box) {
        std::set<std::string> out;
        for (const auto& e : fs::directory_iterator(box.root()))
            if (e.path().filename().string().starts_with("x."))
                out.insert(e.path().filename().string());
        return out;
    }

    test::TempDir plant_;
};

// Half a million more dictionary attributes with long names.
const std::string kManyAttributes =
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500000) "
    "INSERT INTO ATTRIBUTES SELECT 500000 + i, printf('Filler attribute with a long name, number "
    "%d', i), 'String', 'F', NULL, 9999, 'T_None', 'F' FROM n";

// A dictionary attribute named with a Greek letter: ATTRIBUTES_cp's index on the name is left
// out with a line naming table, index and value; the rest of the extract is whole and sound.
TEST_F(WriterSafety, AnAttributeNameBeyondLatin1LeavesOnlyItsIndexOut) {
    ChangeDictionary(
        "INSERT INTO ATTRIBUTES VALUES (99001, 'ΔPressure', 'String', 'F', NULL, 21, "
        "'T_ModelItem', "
        "'DeltaPressure')");
    Sandbox box;
    const auto r = Extract(box);
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_NE(r.output.find("Index ATTRIBUTE_NAME of table ATTRIBUTES_cp is not written: the value "
                            "'ΔPressure' of column ATTRIBUTE_NAME (row "),
              std::string::npos)
        << r.output;
    EXPECT_NE(
        r.output.find(") holds 'Δ' (U+0394), whose place in the Access sort order is not known."),
        std::string::npos)
        << r.output;

    const fs::path mdb = box.root() / "x.mdb";
    std::string problems;
    for (const std::string& p : mdb::test::CheckJetStructure(test::ReadFile(mdb)))
        problems += p + "\n";
    EXPECT_EQ(problems, "");
    bool found = false;
    mdb::MdbReader(mdb).ForEachRow("ATTRIBUTES_cp", [&](const mdb::Row& row) {
        found = found || (std::holds_alternative<std::string>(row[1]) &&
                          std::get<std::string>(row[1]) == "ΔPressure");
    });
    EXPECT_TRUE(found);
    const mdb::test::JetFile file(test::ReadFile(mdb));
    std::vector<std::string> catalogProblems;
    for (const auto& o : file.Catalog(catalogProblems)) {
        if (o.name != "ATTRIBUTES_cp") continue;
        EXPECT_EQ(file.ParseTdef(static_cast<std::uint32_t>(o.id) & 0xFFFFFF).logicalIndexNames,
                  std::vector<std::string>{"ATTRIBUTE_NUMBER"});
    }
}

// Ctrl+C while the .mdb is written: exit 1, "Cancelled.", no temporary file beside the target,
// and no extract, or the previous one byte for byte. Half a million dictionary attributes make
// writing ATTRIBUTES_cp take a good part of a second, so the interrupt surely comes while that
// table is written.
void ExpectInterruptedWrite(const test::ProcessResult& r) {
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_NE(r.output.find("Cancelled."), std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("extracted"), std::string::npos) << r.output;
}

TEST_F(WriterSafety, AnInterruptWhileTheMdbIsWrittenLeavesNoExtract) {
    ChangeDictionary(kManyAttributes);
    Sandbox box;
    ExpectInterruptedWrite(Extract(box, "Writing ATTRIBUTES_cp..."));
    EXPECT_TRUE(ExtractFiles(box).empty());
}

TEST_F(WriterSafety, AnInterruptWhileTheMdbIsWrittenKeepsThePreviousExtract) {
    ChangeDictionary(kManyAttributes);
    Sandbox box;
    ASSERT_EQ(Extract(box).exitCode, 0);
    const std::string before = test::ReadFile(box.root() / "x.mdb");
    ExpectInterruptedWrite(Extract(box, "Writing ATTRIBUTES_cp..."));
    EXPECT_EQ(ExtractFiles(box), std::set<std::string>{"x.mdb"});
    EXPECT_TRUE(test::ReadFile(box.root() / "x.mdb") == before) << "the previous extract changed";
}

}  // namespace
}  // namespace tb
