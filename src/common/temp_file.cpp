#include "common/temp_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>

#include "common/error.h"

namespace tb {

TempFile CreateTempBeside(const std::filesystem::path& target) {
    std::filesystem::path folder = target.parent_path();
    if (folder.empty()) folder = ".";
    // open() with O_EXCL rather than mkstemp, so that the file gets the mode of any document the
    // user saves.
    std::random_device device;
    TempFile file;
    for (int attempt = 0; attempt < 100 && file.fd < 0; ++attempt) {
        char suffix[16];
        std::snprintf(suffix, sizeof suffix, ".tmp-%08x", static_cast<unsigned>(device()));
        file.path = folder / (target.filename().string() + suffix);
        file.fd = ::open(file.path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file.fd < 0 && errno != EEXIST) break;
    }
    if (file.fd < 0) {
        const int err = errno;
        throw Error(kErrFileAccess, "Cannot create a temporary file beside " + target.string() +
                                        ": " + std::strerror(err));
    }
    return file;
}

}  // namespace tb
