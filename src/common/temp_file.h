#pragma once
// Temporary names of this program, and new empty files under them. A temporary name says who made
// it: "<base>.tmp-<host>-<pid>-<random>", so that a later run can tell a leftover of a killed run
// (same host, process gone) from the work of a run that is still going, and removes only those.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tb {

// The marker between a base name and the maker's signature.
inline constexpr std::string_view kTempMarker = ".tmp-";

// This machine's name as temporary names carry it (characters other than letters, digits, "."
// and "-" become "_").
const std::string& TempHostName();

// "<base>.tmp-<host>-<pid>-<8 hex digits>" for this process; a new random part each call.
std::string TempName(std::string_view base);

// The parts of a name made by TempName; nullopt for any other name, exactly.
struct TempNameParts {
    std::string base;
    std::string host;
    long pid = 0;
};
std::optional<TempNameParts> ParseTempName(std::string_view name);

// True when `name` was made by TempName on this host by a process that no longer exists.
bool IsLeftoverName(std::string_view name);

// Removes the entries of `folder` whose names are leftovers (IsLeftoverName) and whose base
// `accept` takes (all when empty); folders go with everything in them. Each removal is logged.
// Returns what was removed. Errors are logged and passed over: clean-up never stops a run.
std::vector<std::filesystem::path> RemoveLeftovers(
    const std::filesystem::path& folder,
    const std::function<bool(std::string_view base)>& accept = {});

struct TempFile {
    std::filesystem::path path;
    int fd = -1;  // open for reading and writing; the caller closes it
};

// Creates TempName(target name) in the target's folder with the usual mode (0666 less the
// umask), never taking over an existing file. Raises error 75 naming the target when it cannot.
TempFile CreateTempBeside(const std::filesystem::path& target);

// A file written under a temporary name beside its target (CreateTempBeside) and renamed onto the
// target only when complete, so a failure or a cancel leaves the target as it was and no
// temporary file. Syncing and renaming are separate steps, so that several files can all be
// finished before the first of them replaces its target.
class AtomicFile {
  public:
    explicit AtomicFile(std::filesystem::path target);
    ~AtomicFile();  // removes the temporary file unless it was renamed
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    const std::filesystem::path& target() const { return target_; }
    const std::filesystem::path& temporary() const { return temp_; }
    // Open for reading and writing until CloseDescriptor or Sync; -1 after.
    int fd() const { return fd_; }
    bool renamed() const { return renamed_; }

    // For writers that open the file by its name themselves (SQLite, file copies).
    void CloseDescriptor() noexcept;
    // Syncs the data to disk (through a new descriptor when it was closed) and closes the
    // descriptor. Raises error 75 "<failure>: <reason>"; `failure` defaults to
    // "Cannot write <temporary>".
    void Sync(const std::string& failure = {});
    // Renames the file onto the target, replacing an old one. Raises error 75 "Cannot rename
    // <temporary> to <target>: <reason>".
    void Rename();
    // The same, the failure given in `ec`.
    void Rename(std::error_code& ec) noexcept;

  private:
    std::filesystem::path target_;
    std::filesystem::path temp_;
    int fd_ = -1;
    bool renamed_ = false;
};

// Makes TempName(name) as a new folder in `folder` (mode 0700 when `priv`, else 0777 less the
// umask) and returns its path. Raises error 75 naming the folder when it cannot.
std::filesystem::path CreateTempFolder(const std::filesystem::path& folder, std::string_view name,
                                       bool priv = false);

}  // namespace tb
