#include "storefile/temp_target.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/error.h"
#include "common/temp_file.h"

namespace tb::storefile {

TempTarget::TempTarget(std::filesystem::path target) : target_(std::move(target)) {
    const TempFile file = CreateTempBeside(target_);
    temp_ = file.path;
    ::close(file.fd);
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
