// Extracts of the tiny sample plant, made by the program: their indexes and primary keys pass the
// structure checker and show in mdb-schema, their tables read the same in our reader, mdbtools
// and mdb-reader; with BigPlant on, PID lives in the link file and the extract links it.

#include <gtest/gtest.h>

#include <algorithm>

#include "common/text.h"
#include "mdb/jet_file_parser.h"
#include "mdb/mdb_reader.h"
#include "mdb/structure_checker.h"
#include "readers/outside_readers.h"
#include "support/sample_plant.h"
#include "support/test_support.h"

namespace tb::readers {
namespace {

using test::Sandbox;

std::string Joined(const std::vector<std::string>& lines) {
    std::string s;
    for (const auto& l : lines) s += l + "\n";
    return s;
}

class SamplePlantExtract : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        shared_.Run([] { test::ShowcasePlant(); });
    }
    // A failed shared set-up fails each test instead of leaving them skipped.
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(shared_.Check()); }
    static inline tb::test::SharedSetUp shared_;

    // Runs the extraction into <sandbox>/x.mdb; `bigPlant` switches BigPlant on in the
    // program's ini.
    static fs::path Extract(const Sandbox& box, bool bigPlant) {
        fs::create_directories(box.app() / "config");
        fs::copy_file(test::SourceDir() / "config" / "default", box.app() / "config" / "default");
        if (bigPlant) test::WriteFile(box.app() / "tarnbrook.ini", "[Settings]\r\nBigPlant=1\r\n");
        const fs::path mdb = box.root() / "x.mdb";
        const auto r =
            box.Run({"/output", mdb.string(), "/site",
                     (test::ShowcasePlant() / "SmartPlantv4.ini").string(), "/plant", "PlantA"});
        EXPECT_EQ(r.exitCode, 0) << r.output;
        return mdb;
    }

    static std::size_t CheckStructure(const fs::path& file) {
        std::size_t keys = 0;
        const auto problems = mdb::test::CheckJetStructure(test::ReadFile(file), {}, &keys);
        EXPECT_EQ(Joined(problems), "") << file;
        return keys;
    }
};

// Lines of mdb-schema's index statements that contain `text`.
std::size_t Count(const std::vector<std::string>& lines, const std::string& text) {
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const auto& l) {
        return l.find(text) != std::string::npos;
    }));
}

TEST_F(SamplePlantExtract, IndexesAndKeysPassTheCheckerAndShowInMdbSchema) {
    if (const auto why = mdbtools::Unavailable(); !why.empty()) GTEST_SKIP() << why;
    Sandbox box;
    const fs::path mdb = Extract(box, false);
    ASSERT_TRUE(fs::exists(mdb));
    EXPECT_GT(CheckStructure(mdb), 1000u) << "every key rebuilt from its row";

    const auto pid = mdbtools::IndexStatements(mdb, "PID");
    EXPECT_EQ(Count(pid, "CREATE INDEX"), 2u) << Joined(pid);
    EXPECT_EQ(Count(pid, "(\"sp_id\")"), 1u) << Joined(pid);
    EXPECT_EQ(Count(pid, "(\"representation_id\")"), 1u) << Joined(pid);
    // Category tables: the COUNTER ID is the primary key.
    for (const char* table : {"Plantitems", "Drawings", "Codelist_cp"}) {
        const auto lines = mdbtools::IndexStatements(mdb, table);
        EXPECT_EQ(Count(lines, "PRIMARY KEY (\"id\")"), 1u) << table << "\n" << Joined(lines);
    }
    const auto glossary = mdbtools::IndexStatements(mdb, "_Glossary");
    EXPECT_EQ(Count(glossary, "PRIMARY KEY (\"table\", \"column\")"), 1u) << Joined(glossary);
    const auto codelists = mdbtools::IndexStatements(mdb, "Codelist_cp");
    EXPECT_EQ(Count(codelists, "CREATE INDEX"), 2u) << Joined(codelists);
    const auto labels = mdbtools::IndexStatements(mdb, "T_LABELPERSIST");
    EXPECT_EQ(Count(labels, "CREATE INDEX"), 2u) << Joined(labels);
}

TEST_F(SamplePlantExtract, ReadsTheSameInEveryReader) {
    if (const auto why = mdbtools::Unavailable(); !why.empty()) GTEST_SKIP() << why;
    if (const auto why = mdbreader::Unavailable(); !why.empty()) GTEST_SKIP() << why;
    Sandbox box;
    const fs::path mdb = Extract(box, false);
    ASSERT_TRUE(fs::exists(mdb));
    const auto tables = mdbreader::ReadAll(mdb);
    EXPECT_GE(tables.size(), 10u);
    for (const OutsideTable& t : tables) {
        SCOPED_TRACE(t.name);
        EXPECT_EQ(t.error, "");
        const OurTable ours = ReadOurs(mdb, t.name);
        EXPECT_EQ(Joined(Differences(Reader::MdbReader, ours, t)), "");
        EXPECT_EQ(Joined(Differences(Reader::MdbTools, ours, mdbtools::Read(mdb, t.name))), "");
    }
}

TEST_F(SamplePlantExtract, BigPlantKeepsPidInTheLinkFileLinkedIntoTheExtract) {
    if (const auto why = mdbtools::Unavailable(); !why.empty()) GTEST_SKIP() << why;
    Sandbox normalBox, bigBox;
    const fs::path normal = Extract(normalBox, false);
    const fs::path big = Extract(bigBox, true);
    const fs::path link = bigBox.root() / "x_link.mdb";
    ASSERT_TRUE(fs::exists(big));
    ASSERT_TRUE(fs::exists(link));
    CheckStructure(big);
    CheckStructure(link);

    // The extract has no table PID of its own, but a linked table of that name.
    const auto tables = mdbtools::Tables(big);
    EXPECT_EQ(std::count(tables.begin(), tables.end(), "PID"), 0) << Joined(tables);
    EXPECT_EQ(Joined(mdbtools::LinkedTables(big)), "PID\n");
    if (mdbreader::Unavailable().empty()) {
        EXPECT_EQ(Joined(mdbreader::LinkedTables(big)), "PID\n");
    }

    // Its catalogue row: type 6, the link file's path as the database, PID as the foreign name.
    const std::vector<OutsideColumn> columns = {
        {"Name", ""}, {"Type", ""}, {"Database", ""}, {"ForeignName", ""}, {"Connect", ""}};
    int links = 0;
    for (const auto& row : mdbtools::Json(big, "MSysObjects", columns)) {
        if (row.at(0) != std::optional<std::string>("PID")) continue;
        ++links;
        EXPECT_EQ(row.at(1), std::optional<std::string>("6"));
        EXPECT_EQ(row.at(2), std::optional<std::string>(link.string()));
        EXPECT_EQ(row.at(3), std::optional<std::string>("PID"));
        EXPECT_EQ(row.at(4), std::nullopt) << "no password, no provider string";
    }
    EXPECT_EQ(links, 1);

    // The link file holds PID with its indexes, the same rows as a normal extract's PID.
    EXPECT_EQ(Joined(mdbtools::Tables(link)), "PID\n");
    const OutsideTable linked = mdbtools::Read(link, "PID");
    const OutsideTable inExtract = mdbtools::Read(normal, "PID");
    EXPECT_EQ(linked.rows, inExtract.rows);
    EXPECT_GT(linked.rows.size(), 100u);
    EXPECT_EQ(Count(mdbtools::IndexStatements(link, "PID"), "CREATE INDEX"), 2u);
    // The other tables are the same in both extracts.
    auto others = mdbtools::Tables(normal);
    others.erase(std::remove(others.begin(), others.end(), "PID"), others.end());
    EXPECT_EQ(Joined(mdbtools::Tables(big)), Joined(others));
}

}  // namespace
}  // namespace tb::readers
