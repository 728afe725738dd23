// A cancel (SIGTERM) that arrives while one long SQLite statement runs, in the plant copy or in the
// store, ends the run within about a second with the cancel error, and the previous extract stays.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

#include "common/text.h"
#include "plant_generator.h"
#include "support/sample_plant.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::Sandbox;
using test::WriteFile;

// The cancel lands within milliseconds; the bound is wide so that a busy machine never fails it.
constexpr std::chrono::seconds kBound{3};

double Seconds(std::chrono::steady_clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

fs::path Generate(const fs::path& folder, int drawings) {
    sampleplant::Options options;
    options.out = folder;
    options.drawings = drawings;
    sampleplant::GeneratePlant(options);
    return folder;
}

// The shipped attributes as the run's configuration file, with `more` appended.
void Prepare(const Sandbox& box, const std::string& more = {}) {
    fs::create_directories(box.app() / "config");
    fs::copy_file(test::SourceDir() / "config" / "default", box.app() / "config" / "default",
                  fs::copy_options::overwrite_existing);
    WriteFile(box.app() / "tarnbrook.ini", "[Settings]\r\n");
    const std::string config =
        ReplaceAll(ReadFile(test::SourceDir() / "config" / "default"), "[PlantA_", "[");
    WriteFile(box.root() / "attributes.ini", config + more);
}

std::vector<std::string> Args(const Sandbox& box, const fs::path& plant, const fs::path& output) {
    return {"/output", output.string(), "/site",   (plant / "SmartPlantv4.ini").string(),
            "/plant",  "PlantA",        "/config", (box.root() / "attributes.ini").string()};
}

// What a run cancelled inside a statement must show: the cancel error (not a database error of
// the interrupted statement), exit code 1, the previous extract untouched, an end within the bound.
void ExpectCancelled(const test::ProcessResult& r, const fs::path& output,
                     const std::string& previous, const char* what) {
    std::printf("[ cancel   ] %s: %.3f s from the signal to the end of the run\n", what,
                Seconds(r.signalToExit));
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_NE(r.output.find("Cancelled."), std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("interrupted"), std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("Tables written"), std::string::npos) << r.output;
    EXPECT_GT(r.signalToExit, std::chrono::steady_clock::duration::zero());
    EXPECT_LT(r.signalToExit, kBound) << Seconds(r.signalToExit) << " s\n" << r.output;
    EXPECT_EQ(ReadFile(output), previous);
}

// The longest statement of a 2,000-drawing run: the P&ID rows copied from the plant into the store.
TEST(CancelInStatement, EndsTheLongestStatementOfATwoThousandDrawingRun) {
    test::TempDir plants;
    const fs::path small = test::ShowcasePlant();
    const fs::path big = Generate(plants / "big", 2000);
    Sandbox box;
    Prepare(box);
    const fs::path output = box.root() / "x.mdb";
    const auto first = box.Run(Args(box, small, output));
    ASSERT_EQ(first.exitCode, 0) << first.output;
    const std::string previous = ReadFile(output);

    const auto r = box.Run(Args(box, big, output), "Extracting PID...", SIGTERM);
    ExpectCancelled(r, output, previous, "2,000 drawings, copy of the P&ID rows");
}

// A statement of the user's that would run for a minute stops at once, and the cancel is not
// taken for a failed user statement that the run logs and goes past.
TEST(CancelInStatement, EndsAMinuteLongUserStatementInTheStore) {
    const fs::path plant = test::ShowcasePlant();
    Sandbox box;
    Prepare(box);
    const fs::path output = box.root() / "x.mdb";
    const auto first = box.Run(Args(box, plant, output));
    ASSERT_EQ(first.exitCode, 0) << first.output;
    const std::string previous = ReadFile(output);

    Prepare(box,
            "\r\n[SQL]\r\n1=SELECT count(*) FROM (WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL "
            "SELECT i + 1 FROM n "
            "WHERE i < 400000000) SELECT i FROM n)\r\n2=ALTER TABLE Drawings ADD COLUMN "
            "AfterTheCancel TEXT(10)\r\n");
    const auto r = box.Run(Args(box, plant, output), "Executing 'SELECT count(*)", SIGTERM);
    ExpectCancelled(r, output, previous, "user statement");
    EXPECT_EQ(r.output.find("ExtendUserColumns:"), std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("AfterTheCancel"), std::string::npos) << r.output;
}

}  // namespace
}  // namespace tb
