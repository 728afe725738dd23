// The installed program: `cmake --install` into a fresh prefix, then an extraction from there with
// no TARNBROOK_HOME, so the program has to find its application folder under <prefix>/share.
#include <gtest/gtest.h>

#include "support/sample_plant.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;

TEST(Install, ExtractsFromAnyPrefix) {
    test::TempDir dir;
    const fs::path prefix = dir / "prefix with space";
    const auto install = test::RunProcess(
        "/usr/bin/cmake", {"--install", test::BuildDir().string(), "--prefix", prefix.string()},
        {{"PATH", "/usr/bin:/bin"}});
    ASSERT_EQ(install.exitCode, 0) << install.output;
    for (const char* file : {"bin/tarnbrook", "bin/tarnbrook-attributes",
                             "bin/tarnbrook-sampleplant", "share/tarnbrook/config/default"})
        EXPECT_TRUE(fs::is_regular_file(prefix / file)) << file;

    fs::create_directories(dir / "home");
    fs::create_directories(dir / "temp");
    const fs::path mdb = dir / "x.mdb";
    const auto run = test::RunProcess(
        prefix / "bin" / "tarnbrook",
        {"/output", mdb.string(), "/site", (test::ShowcasePlant() / "SmartPlantv4.ini").string(),
         "/plant", "PlantA"},
        {{"PATH", "/usr/bin:/bin"},
         {"HOME", (dir / "home").string()},
         {"XDG_CONFIG_HOME", (dir / "home" / ".config").string()},
         {"TEMP", (dir / "temp").string()}},
        dir.path());
    ASSERT_EQ(run.exitCode, 0) << run.output;
    EXPECT_TRUE(fs::is_regular_file(mdb));
    // The shipped configuration was found: the categories it asks for are built.
    EXPECT_NE(run.output.find("Preparing Plantitems..."), std::string::npos) << run.output;
}

}  // namespace
}  // namespace tb
