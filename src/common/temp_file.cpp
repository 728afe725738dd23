#include "common/temp_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <random>

#include "common/error.h"
#include "common/log.h"

namespace tb {
namespace {

namespace fs = std::filesystem;

std::string RandomHex() {
    static thread_local std::random_device device;
    char buf[16];
    std::snprintf(buf, sizeof buf, "%08x", static_cast<unsigned>(device()));
    return buf;
}

bool IsHex(std::string_view s) {
    return s.size() == 8 && s.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

bool ProcessGone(long pid) {
    if (pid <= 0) return false;
    return ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH;
}

}  // namespace

const std::string& TempHostName() {
    static const std::string host = [] {
        char buf[256] = {};
        if (::gethostname(buf, sizeof buf - 1) != 0 || !buf[0]) return std::string("localhost");
        std::string h(buf);
        for (char& c : h)
            if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-') c = '_';
        return h;
    }();
    return host;
}

std::string TempName(std::string_view base) {
    return std::string(base) + std::string(kTempMarker) + TempHostName() + "-" +
           std::to_string(::getpid()) + "-" + RandomHex();
}

std::optional<TempNameParts> ParseTempName(std::string_view name) {
    const auto marker = name.rfind(kTempMarker);
    if (marker == std::string_view::npos || marker == 0) return std::nullopt;
    const std::string_view sig = name.substr(marker + kTempMarker.size());
    // Host names hold "-", so the signature is read from its right end.
    const auto r = sig.rfind('-');
    if (r == std::string_view::npos || !IsHex(sig.substr(r + 1))) return std::nullopt;
    const auto p = sig.rfind('-', r - 1);
    if (p == std::string_view::npos || p == 0 || r == 0) return std::nullopt;
    const std::string_view pidText = sig.substr(p + 1, r - p - 1);
    long pid = 0;
    const auto [end, ec] = std::from_chars(pidText.data(), pidText.data() + pidText.size(), pid);
    if (ec != std::errc() || end != pidText.data() + pidText.size() || pid <= 0 ||
        pidText.front() == '0')
        return std::nullopt;
    return TempNameParts{std::string(name.substr(0, marker)), std::string(sig.substr(0, p)), pid};
}

bool IsLeftoverName(std::string_view name) {
    const auto parts = ParseTempName(name);
    return parts && parts->host == TempHostName() && ProcessGone(parts->pid);
}

std::vector<fs::path> RemoveLeftovers(const fs::path& folder,
                                      const std::function<bool(std::string_view)>& accept) {
    std::vector<fs::path> removed;
    std::error_code ec;
    fs::directory_iterator it(folder, ec), end;
    for (; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        const auto parts = ParseTempName(name);
        if (!parts || !IsLeftoverName(name)) continue;
        if (accept && !accept(parts->base)) continue;
        std::error_code rec;
        // A symbolic link under such a name is removed as a link, never followed.
        if (it->is_directory(rec) && !it->is_symlink(rec))
            fs::remove_all(it->path(), rec);
        else
            fs::remove(it->path(), rec);
        if (rec) {
            LogLine("The leftover " + it->path().string() +
                    " of an ended run cannot be removed: " + rec.message());
            continue;
        }
        LogLine("Removed the leftover " + it->path().string() + " of an ended run (process " +
                std::to_string(parts->pid) + ")");
        removed.push_back(it->path());
    }
    return removed;
}

TempFile CreateTempBeside(const fs::path& target) {
    fs::path folder = target.parent_path();
    if (folder.empty()) folder = ".";
    // open() with O_EXCL rather than mkstemp, so that the file gets the mode of any document the
    // user saves.
    TempFile file;
    for (int attempt = 0; attempt < 100 && file.fd < 0; ++attempt) {
        file.path = folder / TempName(target.filename().string());
        file.fd =
            ::open(file.path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
        if (file.fd < 0 && errno != EEXIST) break;
    }
    if (file.fd < 0) {
        const int err = errno;
        throw Error(kErrFileAccess, "Cannot create a temporary file beside " + target.string() +
                                        ": " + std::strerror(err));
    }
    return file;
}

AtomicFile::AtomicFile(fs::path target) : target_(std::move(target)) {
    const TempFile file = CreateTempBeside(target_);
    temp_ = file.path;
    fd_ = file.fd;
}

AtomicFile::~AtomicFile() {
    CloseDescriptor();
    if (!renamed_) ::unlink(temp_.c_str());
}

void AtomicFile::CloseDescriptor() noexcept {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

void AtomicFile::Sync(const std::string& failure) {
    if (fd_ < 0) fd_ = ::open(temp_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0 || ::fsync(fd_) != 0) {
        const int err = errno;
        throw Error(kErrFileAccess, (failure.empty() ? "Cannot write " + temp_.string() : failure) +
                                        ": " + std::strerror(err));
    }
    CloseDescriptor();
}

void AtomicFile::Rename() {
    std::error_code ec;
    Rename(ec);
    if (ec) {
        throw Error(kErrFileAccess, "Cannot rename " + temp_.string() + " to " + target_.string() +
                                        ": " + ec.message());
    }
}

void AtomicFile::Rename(std::error_code& ec) noexcept {
    ec.clear();
    if (::rename(temp_.c_str(), target_.c_str()) != 0) {
        ec.assign(errno, std::generic_category());
        return;
    }
    renamed_ = true;
}

fs::path CreateTempFolder(const fs::path& folder, std::string_view name, bool priv) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        fs::path path = folder / TempName(name);
        if (::mkdir(path.c_str(), priv ? 0700 : 0777) == 0) return path;
        if (errno != EEXIST) break;
    }
    const int err = errno;
    throw Error(kErrFileAccess,
                "Cannot create a folder in " + folder.string() + ": " + std::strerror(err));
}

}  // namespace tb
