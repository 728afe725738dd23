#pragma once
// The one place that decides whether this run may write a path. The run's inputs (plant files,
// site and configuration files, settings), its outputs and its log are registered as the run
// learns of them; every writer asks CheckWriteTarget before it makes or replaces a file, so that a
// path naming something the run reads, or something that is not a plain file, is refused before
// anything is written, with an error that names the path.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tb {

// Settings: the program's own ini files (user, general, plant, client): written by the run, never
// to be taken for its output or log.
enum class RunPathRole { Input, Output, Log, Settings };

// Records a path of this run: its real path (when it exists or its folder does) and its device
// and inode (when it exists). `what` names it in messages ("plant database", "site ini file").
void RegisterRunPath(const std::filesystem::path& path, RunPathRole role, std::string_view what);

// Forgets every registered path (tests; a new run in the same process).
void ClearRunPaths();

// What a registered path of another role than `as` the given path is, by device and inode or by
// real path: the registered `what` and path, e.g. "the plant database /p/PLANTAPID.db".
// A path is compared with the registered paths of every other role.
std::optional<std::string> ConflictingRunPath(const std::filesystem::path& path, RunPathRole as);

// Why `path` may not be written as `what` (empty when it may): its folder is missing or cannot be
// written; it is a directory, a device or another non-regular file (a symbolic link counts as
// what it points to); it is one of the run's paths of another role (ConflictingRunPath).
std::optional<std::string> WhyNotWritable(const std::filesystem::path& path, RunPathRole as);

// Raises error 1, "Cannot write <what> <path>: <reason>.", when WhyNotWritable gives a reason.
void CheckWriteTarget(const std::filesystem::path& path, RunPathRole as, std::string_view what);

// The file a write to `path` should replace: symbolic links are followed to the file they name
// (so a link to a shared extract keeps being a link), as ini writes follow them (FollowLinks);
// any other path as it stands, absolute.
std::filesystem::path ResolveWriteTarget(const std::filesystem::path& path);

}  // namespace tb
