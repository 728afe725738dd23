// Windows paths of plant data as local paths.
#include "platform/path_map.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace tb::platform {
namespace {

TEST(PathMap, Rules) {
    const std::vector<PathMapRule> rules = {
        {"\\\\server\\share", "/mnt/share"},
        {"\\\\Server\\Share\\Plants", "/srv/plants/"},
        {"C:", "/c"},
    };
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        {"\\\\SERVER\\share\\PlantA\\a.pid", "/mnt/share/PlantA/a.pid"},
        {"\\\\server\\share\\plants\\PlantA", "/srv/plants/PlantA"},  // the longest prefix wins
        {"//server/share", "/mnt/share"},
        {"\\\\server\\shared\\x", "//server/shared/x"},  // a prefix ends at a separator
        {"c:\\Plants\\P", "/c/Plants/P"},
        {"\\Area10\\Unit11\\PID-11-01.pid", "/Area10/Unit11/PID-11-01.pid"},
        {"/srv/PlantA/", "/srv/PlantA/"},
        {"", ""},
    };
    for (const Case& c : cases) EXPECT_EQ(MapWindowsPath(c.in, rules), c.out) << c.in;
}

TEST(PathMap, NamesFoundIgnoringCase) {
    test::TempDir dir;
    std::filesystem::create_directories(dir.path() / "Area10" / "Unit11");
    test::WriteFile(dir.path() / "Area10" / "Unit11" / "PID-11-01.pid", "x");
    EXPECT_EQ(ResolveIgnoringCase(dir.path() / "AREA10" / "unit11" / "pid-11-01.PID"),
              dir.path() / "Area10" / "Unit11" / "PID-11-01.pid");
    // A part that is not there stays as written, and so does the rest.
    EXPECT_EQ(ResolveIgnoringCase(dir.path() / "area10" / "Unit99" / "A.pid"),
              dir.path() / "Area10" / "Unit99" / "A.pid");
}

}  // namespace
}  // namespace tb::platform
