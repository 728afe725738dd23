#include "common/write_guard.h"

#include <sys/stat.h>
#include <unistd.h>

#include <mutex>
#include <vector>

#include "common/error.h"
#include "common/file_in_place.h"

namespace tb {
namespace {

namespace fs = std::filesystem;

struct RunPath {
    fs::path path;  // as registered, absolute
    fs::path real;  // weakly canonical
    bool hasId = false;
    dev_t dev = 0;
    ino_t ino = 0;
    RunPathRole role = RunPathRole::Input;
    std::string what;
};

std::mutex gMutex;
std::vector<RunPath> gPaths;

fs::path RealPath(const fs::path& p) {
    std::error_code ec;
    fs::path real = fs::weakly_canonical(fs::absolute(p, ec), ec);
    return ec ? fs::absolute(p, ec) : real;
}

bool Conflicts(RunPathRole registered, RunPathRole as) {
    return registered != as;
}

}  // namespace

void RegisterRunPath(const fs::path& path, RunPathRole role, std::string_view what) {
    if (path.empty()) return;
    std::error_code ec;
    RunPath r;
    r.path = fs::absolute(path, ec);
    r.real = RealPath(path);
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) {
        r.hasId = true;
        r.dev = st.st_dev;
        r.ino = st.st_ino;
    }
    r.role = role;
    r.what = what;
    std::lock_guard lock(gMutex);
    gPaths.push_back(std::move(r));
}

void ClearRunPaths() {
    std::lock_guard lock(gMutex);
    gPaths.clear();
}

std::optional<std::string> ConflictingRunPath(const fs::path& path, RunPathRole as) {
    const fs::path real = RealPath(path);
    struct stat st {};
    const bool exists = ::stat(path.c_str(), &st) == 0;
    std::lock_guard lock(gMutex);
    for (const RunPath& r : gPaths) {
        if (!Conflicts(r.role, as)) continue;
        const bool same =
            (exists && r.hasId && r.dev == st.st_dev && r.ino == st.st_ino) || r.real == real;
        if (same) return "the " + r.what + " " + r.path.string();
    }
    return std::nullopt;
}

std::optional<std::string> WhyNotWritable(const fs::path& path, RunPathRole as) {
    std::error_code ec;
    const fs::path target = fs::absolute(path, ec);
    const fs::path folder = target.parent_path();
    const auto status = fs::status(target, ec);  // follows links
    if (fs::exists(status)) {
        if (fs::is_directory(status)) return std::string("it is a directory");
        if (!fs::is_regular_file(status))
            return std::string("it is a device or another file that is not a plain file");
    } else if (fs::is_symlink(fs::symlink_status(target, ec))) {
        return std::string("it is a symbolic link to a missing file");
    }
    if (!fs::is_directory(folder, ec)) return "its folder " + folder.string() + " does not exist";
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        return "its folder " + folder.string() + " cannot be written";
    if (auto other = ConflictingRunPath(target, as)) return "it is " + *other;
    return std::nullopt;
}

void CheckWriteTarget(const fs::path& path, RunPathRole as, std::string_view what) {
    if (auto why = WhyNotWritable(path, as))
        Raise("Cannot write " + std::string(what) + " " + path.string() + ": " + *why + ".");
}

fs::path ResolveWriteTarget(const fs::path& path) {
    return FollowLinks(path);
}

}  // namespace tb
