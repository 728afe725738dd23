// tarnbrook-attributes on the sample plant: what it prints and how it fails.

#include <gtest/gtest.h>

#include "attributes_fixture.h"
#include "plant_generator.h"
#include "support/sample_plant.h"

namespace tb::attributes::testing {
namespace {

TEST_F(AttributesTest, ToolPrintsTheCatalogue) {
    const std::map<std::string, std::string> env = {{"HOME", (dir / "home").string()},
                                                    {"XDG_CONFIG_HOME", (dir / "xdg").string()}};
    auto run = [&](std::vector<std::string> args) {
        args.insert(args.begin(),
                    {"--site", (tb::test::ShowcasePlant() / sampleplant::kSiteIni).string()});
        return tb::test::RunProcess(tb::test::BuildDir() / "tarnbrook-attributes", args, env,
                                    dir.path());
    };
    auto r = run({"--plant", "PlantA"});
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_TRUE(r.output.starts_with("[Drawings] ")) << r.output;
    EXPECT_NE(r.output.find("\n[OPCs] "), std::string::npos);
    EXPECT_NE(
        r.output.find(
            "\nT_PipeRun\tt_piperun.NominalDiameter\tNominalDiameter    (Nominal Diameter)\n"),
        std::string::npos);
    r = run({"--plant", "PlantA", "--category", "ductruns", "--keys", "--empty"});
    EXPECT_TRUE(r.output.starts_with("[DuctRuns] ")) << r.output;
    EXPECT_NE(r.output.find("\nt_plantitem.ItemTag_DuctRun\n"), std::string::npos);
    r = run({"--plant", "NoSuchPlant"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.output.find("NoSuchPlant"), std::string::npos) << r.output;
}

}  // namespace
}  // namespace tb::attributes::testing
