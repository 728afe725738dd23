#pragma once
// A new, empty file beside a target, under a name no one else holds, for writing a file whole
// before it is renamed onto its target.

#include <filesystem>

namespace tb {

struct TempFile {
    std::filesystem::path path;
    int fd = -1;  // open for reading and writing; the caller closes it
};

// Creates "<target name>.tmp-xxxxxxxx" in the target's folder with the usual mode (0666 less the
// umask), never taking over an existing file. Raises error 75 naming the target when it cannot.
TempFile CreateTempBeside(const std::filesystem::path& target);

}  // namespace tb
