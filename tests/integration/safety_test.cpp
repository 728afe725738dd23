// The program as a hostile or unlucky user meets it: paths that name its inputs, things that are
// not files at the target, failed, cancelled and killed runs, names that try to leave their
// folders. Each case runs the built program in a sandbox and checks what it must never touch.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <set>

#include "common/temp_file.h"
#include "common/text.h"
#include "plant_generator.h"
#include "store/sqlite.h"
#include "support/sample_plant.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::Sandbox;
using test::WriteFile;

// Every regular file under a folder as its size and a hash of its bytes, keyed by the path below
// the folder (short enough to print when a test fails). What lies under a temporary name of a run
// is left out: TempNames() looks at that.
std::map<std::string, std::string> Snapshot(const fs::path& folder) {
    std::map<std::string, std::string> out;
    if (!fs::exists(folder)) return out;
    for (auto it = fs::recursive_directory_iterator(folder);
         it != fs::recursive_directory_iterator(); ++it) {
        const auto& e = *it;
        if (ParseTempName(e.path().filename().string())) {
            it.disable_recursion_pending();
            continue;
        }
        if (e.is_regular_file()) {
            const std::string bytes = ReadFile(e.path());
            out[fs::relative(e.path(), folder).string()] =
                std::to_string(bytes.size()) + ":" +
                std::to_string(std::hash<std::string>{}(bytes));
        }
    }
    return out;
}

// The paths whose state differs between two snapshots, with both states ("-" for absent).
std::string Changes(const std::map<std::string, std::string>& now,
                    const std::map<std::string, std::string>& was) {
    std::string out;
    std::set<std::string> keys;
    for (const auto& kv : now) keys.insert(kv.first);
    for (const auto& kv : was) keys.insert(kv.first);
    for (const std::string& k : keys) {
        const auto a = now.find(k), b = was.find(k);
        const std::string x = a == now.end() ? "-" : a->second,
                          y = b == was.end() ? "-" : b->second;
        if (x != y) out += k + ": " + y + " -> " + x + "\n";
    }
    return out;
}

// Names in a folder that a run made as temporary names.
std::vector<std::string> TempNames(const fs::path& folder) {
    std::vector<std::string> out;
    if (!fs::exists(folder)) return out;
    for (const auto& e : fs::directory_iterator(folder))
        if (ParseTempName(e.path().filename().string()))
            out.push_back(e.path().filename().string());
    return out;
}

bool AnyFileNamed(const fs::path& folder, const std::string& name) {
    for (const auto& e : fs::recursive_directory_iterator(folder))
        if (e.path().filename() == name) return true;
    return false;
}

class Safety : public ::testing::Test {
  protected:
    static fs::path Plant() { return test::ShowcasePlant(); }

    // The shipped configuration in the application folder, the program ini, and the window's
    // drawing files box when asked.
    static void Prepare(const Sandbox& box, const std::string& programIni = {},
                        bool drawingFiles = false) {
        fs::create_directories(box.app() / "config");
        fs::copy_file(test::SourceDir() / "config" / "default", box.app() / "config" / "default",
                      fs::copy_options::overwrite_existing);
        WriteFile(box.app() / "tarnbrook.ini", "[Settings]\r\n" + programIni);
        const fs::path user = box.xdg() / "Morvanex" / "Tarnbrook";
        fs::create_directories(user);
        WriteFile(user / "config.ini", std::string("[frmMain]\r\nchkExtractDrawingFiles=") +
                                           (drawingFiles ? "1" : "0") + "\r\n");
    }
    static std::vector<std::string> Args(const fs::path& plant, const fs::path& output,
                                         std::vector<std::string> more = {}) {
        std::vector<std::string> args = {"/output", output.string(), "/site",
                                         (plant / "SmartPlantv4.ini").string()};
        if (std::find(more.begin(), more.end(), "/plant") == more.end())
            more.insert(more.end(), {"/plant", "PlantA"});
        args.insert(args.end(), more.begin(), more.end());
        return args;
    }
    static test::ProcessResult Extract(const Sandbox& box, const fs::path& output,
                                       std::vector<std::string> more = {},
                                       const std::string& signalWhen = {}, int signal = SIGINT) {
        return box.Run(Args(Plant(), output, std::move(more)), signalWhen, signal);
    }
};

// --- inputs are never the target ---

TEST_F(Safety, OutputNamingAnInputOrANonFileIsRefusedUntouched) {
    struct Case {
        const char* name;
        std::function<fs::path(const Sandbox&)> output;
        const char* reason;
    };
    const Case cases[] = {
        {"plant database", [](const Sandbox&) { return Plant() / "PLANTAPID.db"; },
         "it is the plant database"},
        {"site ini", [](const Sandbox&) { return Plant() / "SmartPlantv4.ini"; },
         "it is the site ini file"},
        {"config file", [](const Sandbox& b) { return b.root() / "attributes.ini"; },
         "it is the attribute configuration file"},
        {"program ini", [](const Sandbox& b) { return b.app() / "tarnbrook.ini"; },
         "it is the program ini file"},
        {"user settings",
         [](const Sandbox& b) { return b.xdg() / "Morvanex" / "Tarnbrook" / "config.ini"; },
         "it is the user configuration file"},
        {"a link to the plant database",
         [](const Sandbox& b) {
             fs::create_symlink(Plant() / "PLANTAPIDD.db", b.root() / "link.mdb");
             return b.root() / "link.mdb";
         },
         "it is the plant database"},
        {"empty directory",
         [](const Sandbox& b) {
             fs::create_directory(b.root() / "folder.mdb");
             return b.root() / "folder.mdb";
         },
         "it is a directory"},
    };
    const auto plantBefore = Snapshot(Plant());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Sandbox box;
        Prepare(box);
        std::string config =
            ReplaceAll(ReadFile(test::SourceDir() / "config" / "default"), "[PlantA_", "[");
        WriteFile(box.root() / "attributes.ini", config);
        const fs::path output = c.output(box);
        const bool wasDir = fs::is_directory(output);
        const auto before = Snapshot(box.root());
        const auto r = Extract(box, output, {"/config", (box.root() / "attributes.ini").string()});
        EXPECT_EQ(r.exitCode, 1) << r.output;
        EXPECT_NE(r.output.find("Cannot write the extract " + output.string() + ": " + c.reason),
                  std::string::npos)
            << r.output;
        EXPECT_EQ(fs::is_directory(output), wasDir);
        // The run's own settings and logs may change; all else is as it was.
        const auto ours = [](const auto& kv) {
            return kv.first.starts_with("temp/") ||
                   kv.first.starts_with("config/Morvanex/Tarnbrook/registry");
        };
        auto after = Snapshot(box.root());
        std::erase_if(after, ours);
        auto expected = before;
        std::erase_if(expected, ours);
        EXPECT_EQ(Changes(after, expected), "");
    }
    EXPECT_EQ(Changes(Snapshot(Plant()), plantBefore), "");
}

TEST_F(Safety, DeviceNodeAtTheTargetStaysADevice) {
    if (::geteuid() != 0) GTEST_SKIP() << "making a device node needs root";
    Sandbox box;
    Prepare(box);
    const fs::path node = box.root() / "full.mdb";
    // The same device as /dev/full, made in the sandbox: a fault here never hits the system's node.
    ASSERT_EQ(::mknod(node.c_str(), S_IFCHR | 0666, ::makedev(1, 7)), 0);
    const auto r = Extract(box, node);
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_NE(r.output.find("it is a device"), std::string::npos) << r.output;
    struct stat st {};
    ASSERT_EQ(::lstat(node.c_str(), &st), 0);
    EXPECT_TRUE(S_ISCHR(st.st_mode));
}

// --- the target is kept when a run fails ---

TEST_F(Safety, FailedRunsKeepThePreviousExtractLinkFileAndDrawings) {
    Sandbox box;
    Prepare(box, "BigPlant=1\r\n", true);
    const fs::path output = box.root() / "out" / "x.mdb";
    fs::create_directories(output.parent_path());
    const auto first = Extract(box, output);
    ASSERT_EQ(first.exitCode, 0) << first.output;
    ASSERT_TRUE(fs::exists(box.root() / "out" / "x_link.mdb"));
    ASSERT_TRUE(fs::is_directory(box.root() / "out" / "igr"));
    const auto before = Snapshot(output.parent_path());
    ASSERT_FALSE(before.empty());

    WriteFile(box.root() / "random.ini", std::string("\x01\xfe\x93garbage\x00\x7f", 12));
    struct Case {
        const char* name;
        std::vector<std::string> more;
        const char* signalWhen;
        const char* expected;
    };
    const Case cases[] = {
        {"unknown plant", {"/plant", "NoSuchPlant"}, "", "NoSuchPlant"},
        {"config of random bytes",
         {"/config", (box.root() / "random.ini").string()},
         "",
         "holds no attribute configuration"},
        {"cancel during the chains", {}, "Add data from", "Cancelled."},
        {"cancel during the drawing copy", {}, "Copying PID files", "Cancelled."},
        {"cancel while the file is written", {}, "Writing table InlineComp_Prun", "Cancelled."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto r = Extract(box, output, c.more, c.signalWhen);
        EXPECT_EQ(r.exitCode, 1) << r.output;
        EXPECT_NE(r.output.find(c.expected), std::string::npos) << r.output;
        EXPECT_EQ(Changes(Snapshot(output.parent_path()), before), "");
        EXPECT_EQ(TempNames(output.parent_path()), std::vector<std::string>{});
    }
    EXPECT_TRUE(fs::is_empty(box.temp()) || TempNames(box.temp()).empty());
}

// A run killed anywhere leaves the previous extract byte-identical; the next run removes what the
// killed one left and succeeds.
TEST_F(Safety, KilledRunsLeaveThePreviousExtractAndTheirLeftoversGo) {
    test::TempDir big;
    sampleplant::Options options;
    options.out = big.path() / "plant";
    options.drawings = sampleplant::kDefaultDrawings;
    sampleplant::GeneratePlant(options);

    Sandbox box;
    Prepare(box, "BigPlant=1\r\n", true);
    const fs::path output = box.root() / "out" / "x.mdb";
    fs::create_directories(output.parent_path());
    auto run = [&](const std::string& killWhen) {
        return box.Run(Args(options.out, output), killWhen, SIGKILL);
    };
    const auto first = run({});
    ASSERT_EQ(first.exitCode, 0) << first.output;
    auto previous = Snapshot(output.parent_path());

    const char* points[] = {"Extracting t_piperun", "Add data from t_plantitem to Instruments",
                            "Copying PID files", "Writing table PID 10%",
                            "Writing table InlineComp_Prun"};
    for (const char* point : points) {
        SCOPED_TRACE(point);
        const auto killed = run(point);
        ASSERT_EQ(killed.exitCode, -1) << "the run ended before it was killed:\n" << killed.output;
        EXPECT_EQ(Changes(Snapshot(output.parent_path()), previous), "");

        const auto next = run({});
        ASSERT_EQ(next.exitCode, 0) << next.output;
        EXPECT_EQ(TempNames(output.parent_path()), std::vector<std::string>{});
        EXPECT_EQ(TempNames(box.temp()), std::vector<std::string>{});
        // What the killed run left was there, and the next run says it removed it.
        EXPECT_NE(next.output.find("Removed the leftover " + box.temp().string() + "/tb.tmp-"),
                  std::string::npos)
            << next.output;
        previous = Snapshot(output.parent_path());
    }
}

TEST_F(Safety, OnlyLeftoversOfEndedRunsOnThisHostAreRemoved) {
    Sandbox box;
    Prepare(box, {}, true);
    const fs::path out = box.root();
    const std::string host = TempHostName();
    const std::string dead = std::to_string(test::EndedProcessId());
    const std::string live = std::to_string(::getpid());
    const std::vector<fs::path> gone = {out / ("x.mdb.tmp-" + host + "-" + dead + "-0badf00d"),
                                        out / ("igr.tmp-" + host + "-" + dead + "-00c0ffee"),
                                        box.temp() / ("tb.tmp-" + host + "-" + dead + "-deadbeef")};
    const std::vector<fs::path> kept = {out / ("x.mdb.tmp-" + host + "-" + live + "-0badf00d"),
                                        out / ("x.mdb.tmp-otherhost-" + dead + "-0badf00d"),
                                        out / ("notes.txt.tmp-" + host + "-" + dead + "-0badf00d"),
                                        out / ("x.mdb.tmp-" + host + "-" + dead + "-0BADF00D"),
                                        out / ("x.mdb.tmp-" + host + "-" + dead)};
    WriteFile(gone[0], "part");
    fs::create_directory(gone[1]);
    WriteFile(gone[1] / "a.igr", "drawing");
    fs::create_directory(gone[2]);
    WriteFile(gone[2] / "store.db", "store");
    for (const fs::path& k : kept) WriteFile(k, "not ours to remove");

    const auto r = Extract(box, out / "x.mdb");
    ASSERT_EQ(r.exitCode, 0) << r.output;
    for (const fs::path& g : gone) {
        EXPECT_FALSE(fs::exists(g)) << g;
        EXPECT_NE(r.output.find("Removed the leftover " + g.string()), std::string::npos)
            << r.output;
    }
    for (const fs::path& k : kept) EXPECT_EQ(ReadFile(k), "not ours to remove") << k;
}

TEST_F(Safety, KeepFailedStoreKeepsTheStoreWhereTheLogSays) {
    Sandbox box;
    Prepare(box, "KeepFailedStore=1\r\n");
    const auto r = Extract(box, box.root() / "x.mdb", {}, "Add data from");
    ASSERT_EQ(r.exitCode, 1) << r.output;
    const std::string line = "The store of the failed run stays in ";
    const auto at = r.output.find(line);
    ASSERT_NE(at, std::string::npos) << r.output;
    const std::string kept =
        r.output.substr(at + line.size(), r.output.find_first_of("\r\n", at) - at - line.size());
    EXPECT_TRUE(kept.starts_with((box.temp() / "Tarnbrook" / "failed-").string())) << kept;
    EXPECT_TRUE(fs::is_regular_file(kept)) << kept;
    EXPECT_GT(fs::file_size(kept), 0u);
}

// --- the log is safe ---

TEST_F(Safety, LogNeverLandsOnTheRunsFilesAndIsPrivate) {
    Sandbox box;
    Prepare(box);
    const fs::path output = box.root() / "x.mdb";
    const auto first = Extract(box, output, {"/log", (box.root() / "run.log").string()});
    ASSERT_EQ(first.exitCode, 0) << first.output;
    struct stat st {};
    ASSERT_EQ(::stat((box.root() / "run.log").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u) << "the log lists the environment";
    const auto before = Snapshot(box.root());
    const auto plantBefore = Snapshot(Plant());
    fs::create_directory(box.root() / "logs");
    struct Case {
        fs::path log;
        const char* reason;
    } cases[] = {
        {Plant() / "PLANTAPID.db", "it is the plant database"},
        {Plant() / "SmartPlantv4.ini", "it is the site ini file"},
        {output, "it is the extract"},
        {box.root() / "logs", "it is a directory"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.log.string());
        const auto r = Extract(box, output, {"/log", c.log.string()});
        EXPECT_EQ(r.exitCode, 1) << r.output;
        EXPECT_NE(r.output.find("Cannot write the log file " + c.log.string() + ": " + c.reason),
                  std::string::npos)
            << r.output;
        auto now = Snapshot(box.root());
        std::erase_if(now, [](const auto& kv) { return kv.first.starts_with("temp/"); });
        auto expected = before;
        std::erase_if(expected, [](const auto& kv) { return kv.first.starts_with("temp/"); });
        EXPECT_EQ(Changes(now, expected), "");
        EXPECT_EQ(Changes(Snapshot(Plant()), plantBefore), "");
    }
    // The refusal itself is logged under the default name, made for this run only.
    bool found = false;
    for (const auto& e : fs::directory_iterator(box.temp() / "Tarnbrook"))
        if (ReadFile(e.path()).find("Cannot write the log file " +
                                    (box.root() / "logs").string()) != std::string::npos)
            found = true;
    EXPECT_TRUE(found);
}

// --- settings files are changed in place ---

TEST_F(Safety, ReadOnlyAndLinkedSettingsFilesAreKept) {
    Sandbox box;
    Prepare(box);
    // A read-only client ini that the run would point at the site and plant, and a plant ini that
    // is a link to a shared file.
    const fs::path manager = box.home() / "SmartplantManager.INI";
    const std::string managerText =
        "[SmartPlant Manager]\r\nSiteServer=elsewhere.ini\r\nActivePlant=Other\r\n";
    WriteFile(manager, managerText);
    ::chmod(manager.c_str(), 0444);
    const fs::path shared = box.root() / "central" / "PlantA.ini";
    fs::create_directories(shared.parent_path());
    const fs::path user = box.xdg() / "Morvanex" / "Tarnbrook";
    fs::create_symlink(shared, user / "PlantA.ini");
    const auto r = Extract(box, box.root() / "x.mdb");
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(ReadFile(manager), managerText);
    EXPECT_FALSE(fs::exists(box.home() / "SmartplantManager.INI.bk"));
    EXPECT_TRUE(fs::is_symlink(user / "PlantA.ini"));
    EXPECT_NE(ReadFile(shared).find("[InlineComp_Prun]"), std::string::npos)
        << "the plant's configuration went into the shared file";
}

// --- names that try to leave their folders ---

TEST_F(Safety, PlantNamesAreConfinedAndUnknownPlantsLeaveNoSettings) {
    struct Case {
        const char* plant;
        const char* message;
        const char* file;  // a settings file that must not appear anywhere in the sandbox
    };
    const Case cases[] = {
        {"../../../victim", "The plant name '../../../victim' is not a plain name", "victim.ini"},
        {"..", "The plant name '..' is not a plain name", "..ini"},
        {"a\\b", "The plant name 'a\\b' is not a plain name", "a\\b.ini"},
        {"NoSuchPlant", "NoSuchPlant", "NoSuchPlant.ini"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.plant);
        Sandbox box;
        Prepare(box);
        const auto r = Extract(box, box.root() / "x.mdb", {"/plant", c.plant});
        EXPECT_EQ(r.exitCode, 1) << r.output;
        EXPECT_NE(r.output.find(c.message), std::string::npos) << r.output;
        EXPECT_FALSE(AnyFileNamed(box.root(), c.file));
        EXPECT_FALSE(AnyFileNamed(box.root(), ".ini"));
        EXPECT_FALSE(fs::exists(box.root() / "x.mdb"));
    }
}

TEST_F(Safety, DrawingPathsThatLeaveThePlantFolderAreNotCopied) {
    Sandbox box;
    Prepare(box, {}, true);
    // A plant of its own (its site names its folder and its plant folder), with one drawing
    // whose path climbs out of the plant folder to a file beside it.
    sampleplant::Options options;
    options.out = box.root() / "plant";
    options.drawings = sampleplant::kShowcaseDrawings;
    sampleplant::GeneratePlant(options);
    WriteFile(box.root() / "secret.txt", "not for the extract");
    {
        store::Connection plant((options.out / "PLANTAPID.db").string(), SQLITE_OPEN_READWRITE);
        store::Execute(plant.get(),
                       "UPDATE T_Drawing SET Path = '\\..\\..\\secret.txt' "
                       "WHERE Path LIKE '%PID-12-01.pid'");
    }
    fs::create_directories(box.root() / "out");
    const auto r = box.Run(Args(options.out, box.root() / "out" / "x.mdb"));
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_NE(r.output.find("Drawing path '\\..\\..\\secret.txt' leaves the plant folder"),
              std::string::npos)
        << r.output;
    for (const auto& e : fs::directory_iterator(box.root() / "out" / "igr"))
        EXPECT_NE(ReadFile(e.path()), "not for the extract") << e.path();
    EXPECT_FALSE(fs::exists(box.root() / "out" / "igr" / "secret.igr"));
}

// --- the /config file is read, never written ---

TEST_F(Safety, ConfigFileIsReadNeverWritten) {
    Sandbox box;
    Prepare(box);
    // No "General" section: the run takes AllLoops=0 in memory.
    const std::string config =
        ReplaceAll(ReadFile(test::SourceDir() / "config" / "default"), "[PlantA_", "[");
    const fs::path file = box.root() / "attributes.ini";
    WriteFile(file, config);
    ::chmod(file.c_str(), 0640);
    const auto r = Extract(box, box.root() / "x.mdb", {"/config", file.string()});
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(ReadFile(file), config);
    struct stat st {};
    ASSERT_EQ(::stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);

    WriteFile(file, "[General]\r\nAllLoops=0\r\n[Unrelated]\r\nx=1\r\n");
    const auto bad = Extract(box, box.root() / "y.mdb", {"/config", file.string()});
    EXPECT_EQ(bad.exitCode, 1) << bad.output;
    EXPECT_NE(bad.output.find("Config Ini " + file.string() + " holds no attribute configuration"),
              std::string::npos)
        << bad.output;
    EXPECT_EQ(ReadFile(file), "[General]\r\nAllLoops=0\r\n[Unrelated]\r\nx=1\r\n");
    EXPECT_FALSE(fs::exists(box.root() / "y.mdb"));
}

TEST_F(Safety, TempMessageNamesTheVariableThatGaveTheFolder) {
    Sandbox box;
    Prepare(box);
    box.env().erase("TEMP");
    box.env()["TMPDIR"] = (box.root() / "missing").string();
    const auto r = Extract(box, box.root() / "x.mdb");
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_NE(r.output.find("TMPDIR directory " + (box.root() / "missing").string() + " not found"),
              std::string::npos)
        << r.output;
    EXPECT_EQ(r.output.find("TEMP directory"), std::string::npos) << r.output;
}

}  // namespace
}  // namespace tb
