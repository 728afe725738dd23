// Temporary names, files renamed into place when complete, the removal of dead runs' leftovers,
// and the write guard's refusals.
#include "common/write_guard.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/error.h"
#include "common/temp_file.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;

TEST(TempNames, MadeNamesParseBackAndOthersDoNot) {
    const std::string made = TempName("x.tmp-y.mdb");
    const auto parts = ParseTempName(made);
    ASSERT_TRUE(parts) << made;
    EXPECT_EQ(parts->base, "x.tmp-y.mdb");
    EXPECT_EQ(parts->host, TempHostName());
    EXPECT_EQ(parts->pid, ::getpid());
    EXPECT_NE(TempName("a"), TempName("a"));

    struct Case {
        const char* name;
        const char* base;  // nullptr: not a temporary name
        const char* host;
    } cases[] = {
        {"x.mdb.tmp-build-host-1-42-0badf00d", "x.mdb", "build-host-1"},
        {"igr.tmp-h-7-00000000", "igr", "h"},
        {"x.mdb.tmp-h-42-0BADF00D", nullptr, nullptr},   // upper-case hex is not ours
        {"x.mdb.tmp-h-42-0badf00", nullptr, nullptr},    // seven digits
        {"x.mdb.tmp-h-042-0badf00d", nullptr, nullptr},  // a leading zero
        {"x.mdb.tmp-h-0-0badf00d", nullptr, nullptr},    // no process has id 0
        {"x.mdb.tmp--42-0badf00d", nullptr, nullptr},    // no host
        {"x.mdb.tmp-42-0badf00d", nullptr, nullptr},
        {".tmp-h-42-0badf00d", nullptr, nullptr},  // no base
        {"x.mdb.tmp-0badf00d", nullptr, nullptr},  // the old form, without host and pid
        {"x.mdb", nullptr, nullptr},
    };
    for (const Case& c : cases) {
        const auto p = ParseTempName(c.name);
        ASSERT_EQ(p.has_value(), c.base != nullptr) << c.name;
        if (p) {
            EXPECT_EQ(p->base, c.base) << c.name;
            EXPECT_EQ(p->host, c.host) << c.name;
        }
    }
}

TEST(TempNames, OnlyLeftoversOfEndedProcessesOnThisHostGo) {
    test::TempDir dir;
    const std::string host = TempHostName();
    const std::string dead = std::to_string(test::EndedProcessId());
    const std::string live = std::to_string(::getpid());
    const fs::path goneFile = dir.path() / ("a.mdb.tmp-" + host + "-" + dead + "-0badf00d");
    const fs::path goneFolder = dir.path() / ("igr.tmp-" + host + "-" + dead + "-0badf00d");
    const fs::path otherBase = dir.path() / ("b.mdb.tmp-" + host + "-" + dead + "-0badf00d");
    const fs::path liveFile = dir.path() / ("a.mdb.tmp-" + host + "-" + live + "-0badf00d");
    const fs::path otherHost = dir.path() / ("a.mdb.tmp-not" + host + "-" + dead + "-0badf00d");
    for (const fs::path& f : {goneFile, otherBase, liveFile, otherHost}) test::WriteFile(f, "x");
    fs::create_directories(goneFolder / "sub");
    test::WriteFile(goneFolder / "sub" / "f", "x");
    // A link under a leftover name goes as a link: what it points to stays.
    test::WriteFile(dir.path() / "target", "kept");
    const fs::path goneLink = dir.path() / ("igr.tmp-" + host + "-" + dead + "-0000000a");
    fs::create_directory_symlink(dir.path(), goneLink);

    const auto removed = RemoveLeftovers(
        dir.path(), [](std::string_view base) { return base == "a.mdb" || base == "igr"; });
    EXPECT_EQ(removed.size(), 3u);
    EXPECT_FALSE(fs::exists(goneFile));
    EXPECT_FALSE(fs::exists(goneFolder));
    EXPECT_FALSE(fs::exists(fs::symlink_status(goneLink)));
    for (const fs::path& f : {otherBase, liveFile, otherHost}) EXPECT_TRUE(fs::exists(f)) << f;
    EXPECT_EQ(test::ReadFile(dir.path() / "target"), "kept");
}

TEST(AtomicFile, TargetChangesOnlyByTheRenameAndNoTemporaryStays) {
    struct Case {
        const char* name;
        bool byName;        // written through a new descriptor, as SQLite and file copies do
        bool rename;        // synced and renamed; else dropped
        bool folderThere;   // the target is a folder: the rename fails
        const char* error;  // expected start of the failure, "" for none
    } cases[] = {
        {"dropped", false, false, false, ""},
        {"through its descriptor", false, true, false, ""},
        {"by name", true, true, false, ""},
        {"onto a folder", false, true, true, "Cannot rename "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        test::TempDir dir;
        const fs::path target = dir / "x.mdb";
        if (c.folderThere) {
            fs::create_directories(target / "inside");
        } else {
            test::WriteFile(target, "old");
        }
        std::string error;
        {
            AtomicFile file(target);
            EXPECT_EQ(file.temporary().parent_path(), target.parent_path());
            const auto parts = ParseTempName(file.temporary().filename().string());
            ASSERT_TRUE(parts);
            EXPECT_EQ(parts->base, "x.mdb");
            if (c.byName) {
                file.CloseDescriptor();
                test::WriteFile(file.temporary(), "new");
            } else {
                ASSERT_EQ(::write(file.fd(), "new", 3), 3);
            }
            try {
                if (c.rename) {
                    file.Sync();
                    file.Rename();
                }
            } catch (const Error& e) {
                error = e.description();
                EXPECT_NE(error.find(file.temporary().string() + " to " + target.string()),
                          std::string::npos);
            }
        }
        EXPECT_EQ(error.substr(0, std::string(c.error).size()), c.error);
        if (!c.folderThere) {
            EXPECT_EQ(test::ReadFile(target), c.rename ? "new" : "old");
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
    }
}

TEST(WriteGuard, RefusesWhatIsNotAPlainFileOrBelongsToTheRun) {
    test::TempDir dir;
    ClearRunPaths();
    const fs::path input = dir.path() / "plant.db";
    test::WriteFile(input, "plant");
    RegisterRunPath(input, RunPathRole::Input, "plant database");
    const fs::path log = dir.path() / "run.log";
    RegisterRunPath(log, RunPathRole::Log, "log file");  // not made yet: known by its path
    fs::create_directory(dir.path() / "folder");
    fs::create_symlink(input, dir.path() / "link.mdb");
    fs::create_symlink(dir.path() / "missing", dir.path() / "dangling.mdb");
    fs::create_directory(dir.path() / "ro");
    ::chmod((dir.path() / "ro").c_str(), 0555);

    struct Case {
        fs::path path;
        RunPathRole as;
        const char* reason;  // nullptr: may be written
    } cases[] = {
        {dir.path() / "x.mdb", RunPathRole::Output, nullptr},
        {input, RunPathRole::Output, "it is the plant database"},
        {dir.path() / "." / "plant.db", RunPathRole::Output, "it is the plant database"},
        {dir.path() / "link.mdb", RunPathRole::Output, "it is the plant database"},
        {dir.path() / "folder" / ".." / "run.log", RunPathRole::Output, "it is the log file"},
        {input, RunPathRole::Log, "it is the plant database"},
        {log, RunPathRole::Log, nullptr},
        {dir.path() / "folder", RunPathRole::Output, "it is a directory"},
        {"/dev/null", RunPathRole::Output, "it is a device"},
        {dir.path() / "dangling.mdb", RunPathRole::Output, "symbolic link to a missing file"},
        {dir.path() / "nowhere" / "x.mdb", RunPathRole::Output, "does not exist"},
        {dir.path() / "ro" / "x.mdb", RunPathRole::Output,
         ::geteuid() == 0 ? nullptr : "cannot be written"},
    };
    for (const Case& c : cases) {
        const auto why = WhyNotWritable(c.path, c.as);
        if (!c.reason) {
            EXPECT_FALSE(why) << c.path << ": " << why.value_or("");
            continue;
        }
        ASSERT_TRUE(why) << c.path;
        EXPECT_NE(why->find(c.reason), std::string::npos) << c.path << ": " << *why;
    }
    try {
        CheckWriteTarget(input, RunPathRole::Output, "the extract");
        ADD_FAILURE() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), kErrValidation);
        EXPECT_EQ(e.description(), "Cannot write the extract " + input.string() +
                                       ": it is the plant database " + input.string() + ".");
    }
    ::chmod((dir.path() / "ro").c_str(), 0755);
    ClearRunPaths();
}

TEST(WriteGuard, ALinkAtTheTargetIsFollowed) {
    test::TempDir dir;
    test::WriteFile(dir.path() / "real.mdb", "x");
    fs::create_symlink(dir.path() / "real.mdb", dir.path() / "link.mdb");
    EXPECT_EQ(ResolveWriteTarget(dir.path() / "link.mdb"), fs::canonical(dir.path() / "real.mdb"));
    EXPECT_EQ(ResolveWriteTarget(dir.path() / "new.mdb"), dir.path() / "new.mdb");
}

}  // namespace
}  // namespace tb
