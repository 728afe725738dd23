#pragma once
// The files a run makes beside its target (the extract, the BigPlant link file, the folder "igr"),
// checked before anything is written and replaced only when the run succeeds: a run that fails,
// is cancelled or is killed leaves what was at the target as it was.

#include <filesystem>

namespace tb::extraction {

struct RunTargets {
    std::filesystem::path extract;   // where the extract goes (a link at the target followed)
    std::filesystem::path linkFile;  // "<name>_link.mdb" beside it, with BigPlant; else empty
    std::filesystem::path igr;       // the folder "igr" beside it, with drawing files; else empty
};

// Works out the targets of a run and checks each through the write guard: error 1 naming the
// path when one may not be written (a missing or read-only folder, a directory or device at the
// target, a run's input or its log; "igr" must be a folder when it exists). Then removes the
// leftovers of killed runs beside the target (temporary names of these three, from this host,
// whose process is gone).
RunTargets PrepareRunTargets(const std::filesystem::path& output, bool bigPlant, bool drawingFiles);

// A new, empty "igr.tmp-..." folder beside `igr` for the run's drawing files.
std::filesystem::path MakeIgrStaging(const std::filesystem::path& igr);

// Puts the staging folder in the place of `igr`: the old folder is moved aside, the new one
// renamed in, the old one removed. On failure the old folder is put back and the error raised.
void CommitIgr(const std::filesystem::path& staging, const std::filesystem::path& igr);

}  // namespace tb::extraction
