// The drawing file copy on a plant folder made by hand.
#include "graphics/drawing_files.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace tb::graphics {
namespace {

namespace fs = std::filesystem;

TEST(DrawingFiles, Names) {
    struct Case {
        const char* path;
        const char* base;
    } cases[] = {
        {"\\Area10\\Unit11\\PID-11-01.pid", "PID-11-01"},
        {"/a/b/c.d.pid", "c.d"},
        {"PID 1.PID", "PID 1"},
        {"noext", "noext"},
        {"\\Area10\\.pid", ".pid"},
    };
    for (const Case& c : cases) EXPECT_EQ(DrawingBaseName(c.path), c.base) << c.path;
    test::TempDir dir;
    fs::create_directories(dir.path() / "PlantA" / "Area10");
    test::WriteFile(dir.path() / "PlantA" / "Area10" / "P.pid", "x");
    const std::string plant = (dir.path() / "PlantA").string();
    for (const std::string& folder : {plant, plant + "/"})
        for (const char* path : {"\\AREA10\\p.pid", "Area10\\P.pid"})
            EXPECT_EQ(DrawingSourcePath(folder, path), dir.path() / "PlantA" / "Area10" / "P.pid")
                << folder << " " << path;
}

TEST(DrawingFiles, PathsThatLeaveThePlantFolderAreRefused) {
    test::TempDir dir;
    fs::create_directories(dir.path() / "PlantA" / "Area10");
    fs::create_directories(dir.path() / "PlantAB");
    const std::string plant = (dir.path() / "PlantA").string();
    struct Case {
        const char* path;
        bool inside;
    } cases[] = {
        {"\\Area10\\P.pid", true},
        {"Area10/../Area10/P.pid", true},
        {"\\..\\..\\..\\secret.txt", false},
        {"Area10\\..\\..\\PlantAB\\x.pid", false},
        {"../PlantAB/x.pid", false},
        {"..", false},
        {"\\", false},  // the plant folder itself
    };
    for (const std::string& folder : {plant, plant + "/"})
        for (const Case& c : cases)
            EXPECT_EQ(ConfinedDrawingSource(folder, c.path).has_value(), c.inside)
                << folder << " " << c.path;
}

class Copy : public ::testing::Test {
  protected:
    void SetUp() override {
        plant_ = dir_.path() / "PlantA";
        fs::create_directories(plant_ / "Area10" / "Unit11");
        fs::create_directories(plant_ / "Area10" / "Unit12");
        test::WriteFile(plant_ / "Area10" / "Unit11" / "PID-1.pid", "one");
        test::WriteFile(plant_ / "Area10" / "Unit12" / "PID-1.pid", "two");
        test::WriteFile(plant_ / "Area10" / "Unit12" / "PID_2.pid", "three");
        st_.CreateTable("PID", {{"Drawing_Path", store::ColumnType::Text(255)}});
    }
    test::TempDir dir_;
    fs::path plant_;
    store::Store st_ = store::Store::InMemory();
};

TEST_F(Copy, DuplicatesEmptyAndMissing) {
    st_.Execute(
        "INSERT INTO PID VALUES ('\\Area10\\Unit11\\PID-1.pid'), ('\\Area10\\Unit11\\PID-1.pid'), "
        "('\\Area10\\Unit12\\PID-1.pid'), (NULL), (NULL), ('\\Area10\\Unit12\\Gone.pid'), "
        "('\\Area10\\Unit12\\PID_2.pid')");
    const fs::path extract = dir_.path() / "out" / "x.mdb";
    fs::create_directories(extract.parent_path());
    const CopyResult r = CopyPid2Igr(st_, extract, true, plant_.string() + "/");
    // Four distinct paths and the Null: one empty path, one missing file; the two files of one
    // base name end as one .igr, both counted.
    EXPECT_EQ(r.drawings, 5);
    EXPECT_EQ(r.copied, 3);
    const fs::path igr = extract.parent_path() / "igr";
    std::vector<std::string> files;
    for (const auto& e : fs::directory_iterator(igr)) files.push_back(e.path().filename().string());
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files, (std::vector<std::string>{"PID-1.igr", "PID_2.igr"}));
    EXPECT_EQ(test::ReadFile(igr / "PID-1.igr"),
              "two");  // grouped in path order: the later copy wins
}

TEST_F(Copy, EnsureIgr) {
    st_.Execute("INSERT INTO PID VALUES ('\\Area10\\Unit12\\PID_2.pid'), (NULL)");
    const fs::path igr = dir_.path() / "deep" / "igr";
    EnsureIgr(st_, igr / "pid_2.igr", plant_.string() + "/");
    EXPECT_EQ(test::ReadFile(igr / "pid_2.igr"), "three");
    // "_" in the name matches any character, as in Access.
    EnsureIgr(st_, igr / "PI__2.igr", plant_.string() + "/");
    EXPECT_EQ(test::ReadFile(igr / "PI__2.igr"), "three");
    // An existing file stays; an unknown name gives no file.
    test::WriteFile(igr / "PI__2.igr", "mine");
    EnsureIgr(st_, igr / "PI__2.igr", plant_.string() + "/");
    EXPECT_EQ(test::ReadFile(igr / "PI__2.igr"), "mine");
    EnsureIgr(st_, igr / "nothing.igr", plant_.string() + "/");
    EXPECT_FALSE(fs::exists(igr / "nothing.igr"));
}

}  // namespace
}  // namespace tb::graphics
