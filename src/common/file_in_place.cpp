#include "common/file_in_place.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

#include "common/error.h"
#include "common/log.h"
#include "common/temp_file.h"
#include "common/unique_fd.h"

namespace tb {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// A writer waits this long for another writer of the same file; a reader waits less and then
// reads anyway.
constexpr auto kWriterWait = 10s;
constexpr auto kReaderWait = 2s;

enum class LockResult { Taken, Busy, Unsupported };

LockResult LockWithin(int fd, int operation, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        if (::flock(fd, operation | LOCK_NB) == 0) return LockResult::Taken;
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK) return LockResult::Unsupported;
        if (std::chrono::steady_clock::now() >= deadline) return LockResult::Busy;
        std::this_thread::sleep_for(2ms);
    }
}

fs::path PendingName(const fs::path& target) {
    return target.string() + std::string(kPendingWriteSuffix);
}

bool WriteAllAt(int fd, std::string_view bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n =
            ::pwrite(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

std::optional<std::string> ReadAll(int fd) {
    std::string bytes;
    char buf[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::nullopt;
        if (n == 0) return bytes;
        bytes.append(buf, static_cast<std::size_t>(n));
    }
}

// Replaces the whole content of an open file and makes it durable.
bool OverwriteContent(int fd, std::string_view bytes) {
    return WriteAllAt(fd, bytes) && ::ftruncate(fd, static_cast<off_t>(bytes.size())) == 0 &&
           ::fsync(fd) == 0;
}

// A rename is durable only once its folder is synced.
void SyncFolder(const fs::path& folder) {
    UniqueFd dir(::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir) ::fsync(dir.get());
}

// Windows refuses writes to a file with the read-only attribute, whoever asks; a file without any
// write permission bit stands for it, so that root too leaves it alone.
bool IsReadOnly(const struct stat& st) {
    return (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

// The target, open for writing, when it exists and may be written.
enum class OpenResult { Opened, Missing, Refused };
OpenResult OpenTarget(const fs::path& target, UniqueFd& fd, mode_t* mode = nullptr) {
    // O_NONBLOCK so that a FIFO at the name cannot hang us; it is refused below.
    fd.reset(::open(target.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd) return errno == ENOENT ? OpenResult::Missing : OpenResult::Refused;
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode) || IsReadOnly(st))
        return OpenResult::Refused;
    if (mode) *mode = st.st_mode & 0777;
    return OpenResult::Opened;
}

// With the target open and locked by the caller: copies a ".tb-new" that no live writer holds.
bool FinishPending(const fs::path& target, int targetFd) {
    const fs::path pending = PendingName(target);
    // Opened for writing because on NFS an exclusive lock needs it; a link there is not ours.
    UniqueFd fd(::open(pending.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd) return false;
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
    // Held by its writer while it works; where flock is not supported we cannot tell a live
    // writer from a dead one and leave the file alone.
    if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) return false;
    // A writer that just finished has removed the name; a new one may have put another file there.
    struct stat now {};
    if (::lstat(pending.c_str(), &now) != 0 || now.st_dev != st.st_dev || now.st_ino != st.st_ino)
        return false;
    const auto bytes = ReadAll(fd.get());
    if (!bytes) return false;
    if (!OverwriteContent(targetFd, *bytes)) {
        LogLine("The interrupted write of " + target.string() + " cannot be finished from " +
                pending.string());
        return false;
    }
    ::unlink(pending.c_str());
    LogLine("Finished the interrupted write of " + target.string() + " from " + pending.string());
    return true;
}

// A file that is not there yet is written whole and renamed into place: no one can see it half.
bool CreateWhole(const fs::path& target, std::string_view bytes, bool& appeared) {
    appeared = false;
    TempFile temp;
    try {
        temp = CreateTempBeside(target);
    } catch (const Error&) {
        return false;
    }
    UniqueFd fd(temp.fd);
    if (!WriteAllAt(fd.get(), bytes) || ::fsync(fd.get()) != 0) {
        ::unlink(temp.path.c_str());
        return false;
    }
    // Never over a file that another process made meanwhile: that one is written in place.
    if (::renameat2(AT_FDCWD, temp.path.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) != 0) {
        const int err = errno;
        if (err == EEXIST) appeared = true;
        if (err != EINVAL || ::rename(temp.path.c_str(), target.c_str()) != 0) {
            ::unlink(temp.path.c_str());
            return false;
        }
    }
    SyncFolder(target.parent_path());
    return true;
}

}  // namespace

fs::path FollowLinks(const fs::path& file) {
    std::error_code ec;
    fs::path p = fs::absolute(file, ec);
    if (ec) return file;
    // As many hops as the kernel allows; a loop ends here and fails at the open.
    for (int hop = 0; hop < 40; ++hop) {
        if (!fs::is_symlink(fs::symlink_status(p, ec))) break;
        const fs::path next = fs::read_symlink(p, ec);
        if (ec) break;
        p = next.is_absolute() ? next : p.parent_path() / next;
    }
    return p;
}

bool RecoverPendingWrite(const fs::path& file) {
    const fs::path target = FollowLinks(file);
    struct stat st {};
    if (::lstat(PendingName(target).c_str(), &st) != 0) return false;
    UniqueFd fd;
    if (OpenTarget(target, fd) != OpenResult::Opened) return false;
    if (LockWithin(fd.get(), LOCK_EX, kWriterWait) == LockResult::Busy) return false;
    return FinishPending(target, fd.get());
}

std::optional<std::string> ReadFileCompleted(const fs::path& file) {
    RecoverPendingWrite(file);
    UniqueFd fd(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!fd) return std::nullopt;
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    // A writer that takes longer than the wait is not waited for: the read goes on.
    LockWithin(fd.get(), LOCK_SH, kReaderWait);
    return ReadAll(fd.get());
}

bool WriteFileInPlace(const fs::path& file, std::string_view bytes) {
    const fs::path target = FollowLinks(file);
    UniqueFd fd;
    mode_t mode = 0600;
    switch (OpenTarget(target, fd, &mode)) {
        case OpenResult::Refused:
            return false;
        case OpenResult::Missing: {
            bool appeared = false;
            if (CreateWhole(target, bytes, appeared)) return true;
            if (!appeared || OpenTarget(target, fd, &mode) != OpenResult::Opened) return false;
            break;
        }
        case OpenResult::Opened:
            break;
    }
    if (LockWithin(fd.get(), LOCK_EX, kWriterWait) == LockResult::Busy) return false;
    FinishPending(target, fd.get());
    const fs::path folder = target.parent_path();
    const std::string name = target.filename().string();
    RemoveLeftovers(folder, [&](std::string_view base) { return base == name; });

    TempFile temp;
    try {
        temp = CreateTempBeside(target);
    } catch (const Error&) {
        // The file may be written but its folder may not (a shared file in a folder of its
        // owner's): the write goes into the file without the safety copy.
        return OverwriteContent(fd.get(), bytes);
    }
    UniqueFd pendingFd(temp.fd);
    // The copy is as private as the file (General.ini holds passwords).
    ::fchmod(pendingFd.get(), mode);
    // Locked before it gets its ".tb-new" name, so that no reader ever takes it for a leftover.
    ::flock(pendingFd.get(), LOCK_EX | LOCK_NB);
    const fs::path pending = PendingName(target);
    if (!WriteAllAt(pendingFd.get(), bytes) || ::fsync(pendingFd.get()) != 0 ||
        ::rename(temp.path.c_str(), pending.c_str()) != 0) {
        ::unlink(temp.path.c_str());
        return false;
    }
    SyncFolder(folder);
    // When the copy fails half way the complete ".tb-new" stays; it is copied at the next read
    // or write, once this process has let go of it.
    if (!OverwriteContent(fd.get(), bytes)) return false;
    ::unlink(pending.c_str());
    return true;
}

}  // namespace tb
