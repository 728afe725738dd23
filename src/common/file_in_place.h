#pragma once
// Files the user owns (ini files) are changed in place: their own bytes are replaced, so that a
// symbolic link to a shared file stays a link, and owner, group, mode and hard links are kept.
//
// A crash in the middle must not leave a half file. The new bytes are first written and synced
// under a temporary name, which is then renamed to "<file>.tb-new": a ".tb-new" is therefore
// always complete. Then they are copied over the file, and the ".tb-new" is removed. The writer
// holds an exclusive flock on its ".tb-new" for as long as it exists, so that a ".tb-new" whose
// lock can be taken was left by a process that died: the next read or write of the file copies
// it over the file first. Writers of one file take turns by an exclusive flock on the file, and
// readers take a shared one, so a reader never sees a copy half done.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tb {

inline constexpr std::string_view kPendingWriteSuffix = ".tb-new";

// Replaces the content of `file` (following symbolic links) by `bytes`. A missing file is made
// whole under a temporary name and renamed into place, with mode 0666 less the umask. False, and
// nothing changed, when the file cannot be written: it has no write permission bit at all (also
// for root, as a read-only file is on Windows), it is not a plain file, or its folder is missing.
bool WriteFileInPlace(const std::filesystem::path& file, std::string_view bytes);

// The content of `file`, after a write that a dead process left half done has been finished;
// nullopt when the file is missing, not a plain file or cannot be read.
std::optional<std::string> ReadFileCompleted(const std::filesystem::path& file);

// Finishes the write of a dead process: copies a complete "<file>.tb-new" over the file, removes
// it and logs that. True when one was copied.
bool RecoverPendingWrite(const std::filesystem::path& file);

// Where a write of `file` lands: symbolic links followed, also to a file that does not exist yet.
std::filesystem::path FollowLinks(const std::filesystem::path& file);

}  // namespace tb
