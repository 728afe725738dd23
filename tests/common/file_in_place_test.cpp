// Ini writes go into the file in place: links, owner and mode stay, a read-only file is refused,
// and a write cut short by a dead process is finished at the next read or write.
#include "common/file_in_place.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>

#include "common/ini.h"
#include "common/log.h"
#include "common/temp_file.h"
#include "common/unique_fd.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::TempDir;
using test::WriteFile;

const std::string kOld = "[S]\r\nK=old\r\n";
const std::string kNew = "[S]\r\nK=new\r\n";

bool Write(const fs::path& file) {
    return IniWrite(file, "S", std::string("K"), std::string("new"));
}

struct stat Stat(const fs::path& p) {
    struct stat st {};
    ::lstat(p.c_str(), &st);
    return st;
}

// Names in the folder other than the listed ones: what a write left behind.
std::vector<std::string> Strays(const fs::path& folder, std::vector<std::string> expected) {
    std::vector<std::string> out;
    for (const auto& e : fs::directory_iterator(folder)) {
        const std::string name = e.path().filename().string();
        if (std::find(expected.begin(), expected.end(), name) == expected.end())
            out.push_back(name);
    }
    return out;
}

// A process id that is not running any more.
long DeadPid() {
    const pid_t pid = ::fork();
    if (pid == 0) ::_exit(0);
    ::waitpid(pid, nullptr, 0);
    return pid;
}

TEST(IniInPlace, WhatIsAtTheName) {
    struct Case {
        const char* name;
        // Makes what the write meets at dir/"ini"; returns the file that holds the bytes.
        std::function<fs::path(const fs::path& dir)> setup;
        bool written;
        bool linkStays;
    } cases[] = {
        {"plain file",
         [](const fs::path& d) {
             WriteFile(d / "ini", kOld);
             return d / "ini";
         },
         true, false},
        {"read-only file",
         [](const fs::path& d) {
             WriteFile(d / "ini", kOld);
             fs::permissions(d / "ini", fs::perms(0444));
             return d / "ini";
         },
         false, false},
        {"link to a file elsewhere",
         [](const fs::path& d) {
             WriteFile(d / "central" / "plant.ini", kOld);
             fs::create_symlink(d / "central" / "plant.ini", d / "ini");
             return d / "central" / "plant.ini";
         },
         true, true},
        {"relative link to a link",
         [](const fs::path& d) {
             WriteFile(d / "central" / "plant.ini", kOld);
             fs::create_symlink("plant.ini", d / "central" / "hop");
             fs::create_symlink("central/hop", d / "ini");
             return d / "central" / "plant.ini";
         },
         true, true},
        {"link to a read-only file",
         [](const fs::path& d) {
             WriteFile(d / "central" / "plant.ini", kOld);
             fs::permissions(d / "central" / "plant.ini", fs::perms(0444));
             fs::create_symlink(d / "central" / "plant.ini", d / "ini");
             return d / "central" / "plant.ini";
         },
         false, true},
        {"link to a file not made yet",
         [](const fs::path& d) {
             fs::create_directories(d / "central");
             fs::create_symlink(d / "central" / "plant.ini", d / "ini");
             return d / "central" / "plant.ini";
         },
         true, true},
        {"hard link",
         [](const fs::path& d) {
             WriteFile(d / "other", kOld);
             fs::create_hard_link(d / "other", d / "ini");
             return d / "other";
         },
         true, false},
    };
    for (const auto& c : cases) {
        TempDir dir;
        const fs::path holder = c.setup(dir.path());
        const std::string before = fs::exists(holder) ? ReadFile(holder) : std::string();
        const auto ino = Stat(holder).st_ino;
        EXPECT_EQ(Write(dir / "ini"), c.written) << c.name;
        EXPECT_EQ(ReadFile(holder), c.written ? kNew : before) << c.name;
        if (c.written && !before.empty()) {
            EXPECT_EQ(Stat(holder).st_ino, ino) << c.name;
        }
        EXPECT_EQ(fs::is_symlink(dir / "ini"), c.linkStays) << c.name;
        EXPECT_EQ(Strays(holder.parent_path(), {"ini", "other", "plant.ini", "hop", "central"}),
                  std::vector<std::string>{})
            << c.name;
    }
}

TEST(IniInPlace, OwnerGroupAndModeStay) {
    TempDir dir;
    const fs::path file = dir / "plant.ini";
    WriteFile(file, kOld);
    fs::permissions(file, fs::perms(0640));
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::chown(file.c_str(), 12345, 23456), 0);
    }
    ASSERT_TRUE(Write(file));
    const struct stat st = Stat(file);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    if (root) {
        EXPECT_EQ(st.st_uid, 12345u);
        EXPECT_EQ(st.st_gid, 23456u);
    }
    EXPECT_EQ(ReadFile(file), kNew);
}

TEST(IniInPlace, NewFileIsMadeWholeWithTheUsualMode) {
    TempDir dir;
    const mode_t old = ::umask(027);
    const bool written = Write(dir / "new.ini");
    ::umask(old);
    ASSERT_TRUE(written);
    EXPECT_EQ(Stat(dir / "new.ini").st_mode & 07777, 0640u);
    EXPECT_EQ(Strays(dir.path(), {"new.ini"}), std::vector<std::string>{});
}

TEST(IniInPlace, DeadWritersCopyIsFinishedAtTheNextReadOrWrite) {
    struct Case {
        const char* name;
        bool throughLink;
        // The next access, given the name the program knows the file by.
        std::function<void(const fs::path& file)> next;
        std::string expected;  // in the file afterwards
    } cases[] = {
        {"read", false, [](const fs::path& f) { EXPECT_EQ(IniRead(f, "S", "K"), "new"); }, kNew},
        {"read through a link", true,
         [](const fs::path& f) { EXPECT_EQ(IniRead(f, "s", "k"), "new"); }, kNew},
        {"write", false,
         [](const fs::path& f) {
             EXPECT_TRUE(IniWrite(f, "S", std::string("L"), std::string("2")));
         },
         kNew + "L=2\r\n"},
    };
    for (const auto& c : cases) {
        TempDir dir;
        const fs::path real = dir / "central" / "plant.ini";
        WriteFile(real, "[S]\r\nK=ol");  // as a copy cut short leaves it
        WriteFile(real.string() + ".tb-new", kNew);
        const fs::path name = c.throughLink ? dir / "plant.ini" : real;
        if (c.throughLink) fs::create_symlink(real, name);
        tb::test::LogCapture log;
        c.next(name);
        EXPECT_EQ(ReadFile(real), c.expected) << c.name;
        EXPECT_FALSE(fs::exists(real.string() + ".tb-new")) << c.name;
        ASSERT_EQ(log.lines.size(), 1u) << c.name;
        EXPECT_EQ(log.lines[0], "Finished the interrupted write of " + real.string() + " from " +
                                    real.string() + ".tb-new")
            << c.name;
    }
}

TEST(IniInPlace, SaveFinishesADeadWritersCopyBeforeItsOwn) {
    TempDir dir;
    const fs::path file = dir / "plant.ini";
    WriteFile(file, kOld);
    IniDocument doc = IniDocument::Load(file);
    WriteFile(file.string() + ".tb-new", kNew);
    doc.Set("S", "M", "3");
    tb::test::LogCapture log;
    ASSERT_TRUE(doc.Save(file));
    EXPECT_EQ(ReadFile(file), kOld + "M=3\r\n");
    EXPECT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(Strays(dir.path(), {"plant.ini"}), std::vector<std::string>{});
}

TEST(IniInPlace, LiveWritersCopyIsLeftAlone) {
    TempDir dir;
    const fs::path file = dir / "plant.ini";
    const fs::path pending = file.string() + ".tb-new";
    WriteFile(file, kOld);
    WriteFile(pending, kNew);
    {
        // Held as the writer holds it while it copies.
        UniqueFd held(::open(pending.c_str(), O_RDWR));
        ASSERT_EQ(::flock(held.get(), LOCK_EX), 0);
        EXPECT_EQ(IniRead(file, "S", "K"), "old");
        EXPECT_TRUE(fs::exists(pending));
    }
    EXPECT_EQ(IniRead(file, "S", "K"), "new");
    EXPECT_FALSE(fs::exists(pending));
}

TEST(IniInPlace, DeadWritersTemporaryIsNotTakenForAComplete) {
    TempDir dir;
    const fs::path file = dir / "plant.ini";
    WriteFile(file, kOld);
    // Cut short before its rename to ".tb-new": complete-looking bytes, but no promise they are.
    const std::string leftover =
        "plant.ini.tmp-" + TempHostName() + "-" + std::to_string(DeadPid()) + "-0badf00d";
    ASSERT_TRUE(ParseTempName(leftover).has_value());
    WriteFile(dir / leftover, kNew);
    EXPECT_EQ(IniRead(file, "S", "K"), "old");
    EXPECT_EQ(ReadFile(file), kOld);
    EXPECT_TRUE(fs::exists(dir / leftover));
    // A write removes it as the leftover of an ended run.
    ASSERT_TRUE(IniWrite(file, "S", std::string("K"), std::string("x")));
    EXPECT_EQ(IniRead(file, "S", "K"), "x");
    EXPECT_EQ(Strays(dir.path(), {"plant.ini"}), std::vector<std::string>{});
}

TEST(IniInPlace, ReadersNeverSeeAHalfCopy) {
    TempDir dir;
    const fs::path file = dir / "plant.ini";
    // Of different lengths, so that a copy seen half way shows as neither.
    const std::string a = "[S]\r\n" + std::string(200000, 'a') + "\r\n";
    const std::string b = "[S]\r\n" + std::string(150000, 'b') + "\r\n";
    WriteFile(file, a);
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        for (int i = 0; !stop; ++i) {
            WriteFileInPlace(file, i % 2 ? a : b);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    int wrong = 0;
    for (int i = 0; i < 1000; ++i) {
        const auto read = ReadFileCompleted(file);
        if (!read || (*read != a && *read != b)) ++wrong;
    }
    stop = true;
    writer.join();
    EXPECT_EQ(wrong, 0);
}

TEST(IniInPlace, AKilledWriterNeverLeavesAHalfFile) {
    TempDir dir;
    const fs::path file = dir / "plant.ini";
    const std::string a = "[S]\r\n" + std::string(3000000, 'a') + "\r\n";
    const std::string b = "[S]\r\n" + std::string(2000000, 'b') + "\r\n";
    WriteFile(file, a);
    int recovered = 0;
    for (int round = 0; round < 20; ++round) {
        const pid_t writer = ::fork();
        if (writer == 0) {
            for (int i = 0;; ++i) WriteFileInPlace(file, i % 2 ? a : b);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5 + round * 3));
        ::kill(writer, SIGKILL);
        ::waitpid(writer, nullptr, 0);
        recovered += fs::exists(file.string() + ".tb-new");
        const auto read = ReadFileCompleted(file);
        ASSERT_TRUE(read && (*read == a || *read == b)) << "round " << round;
        EXPECT_FALSE(fs::exists(file.string() + ".tb-new")) << "round " << round;
    }
    // Most kills fall into a copy; the test means nothing if none did.
    EXPECT_GT(recovered, 0);
}

}  // namespace
}  // namespace tb
