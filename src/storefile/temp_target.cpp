#include "storefile/temp_target.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>

#include "common/error.h"

namespace tb::storefile {

TempTarget::TempTarget(std::filesystem::path target) : target_(std::move(target)) {
    std::filesystem::path folder = target_.parent_path();
    if (folder.empty()) folder = ".";
    std::random_device device;
    int fd = -1;
    for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
        char suffix[16];
        std::snprintf(suffix, sizeof suffix, ".tmp-%08x", static_cast<unsigned>(device()));
        temp_ = folder / (target_.filename().string() + suffix);
        // O_EXCL: never take over a file someone else is writing.
        fd = ::open(temp_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) break;
    }
    if (fd < 0) {
        const int err = errno;
        temp_.clear();
        throw Error(kErrFileAccess, "Cannot create a temporary file beside " + target_.string() +
                                        ": " + std::strerror(err));
    }
    ::close(fd);
}

TempTarget::~TempTarget() {
    if (!committed_ && !temp_.empty()) ::unlink(temp_.c_str());
}

void TempTarget::Commit() {
    const int fd = ::open(temp_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || ::fsync(fd) != 0) {
        const int err = errno;
        if (fd >= 0) ::close(fd);
        throw Error(kErrFileAccess,
                    "Cannot complete " + target_.string() + ": " + std::strerror(err));
    }
    ::close(fd);
    if (::rename(temp_.c_str(), target_.c_str()) != 0) {
        const int err = errno;
        throw Error(kErrFileAccess, "Cannot rename " + temp_.string() + " to " + target_.string() +
                                        ": " + std::strerror(err));
    }
    committed_ = true;
}

}  // namespace tb::storefile
