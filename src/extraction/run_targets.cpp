#include "extraction/run_targets.h"

#include <cstdio>

#include "common/error.h"
#include "common/log.h"
#include "common/temp_file.h"
#include "common/write_guard.h"
#include "extraction/big_plant.h"

namespace tb::extraction {

namespace fs = std::filesystem;

RunTargets PrepareRunTargets(const fs::path& output, bool bigPlant, bool drawingFiles) {
    RunTargets t;
    // Checked where a link at the target leads, named as the user gave it.
    t.extract = ResolveWriteTarget(output);
    if (auto why = WhyNotWritable(t.extract, RunPathRole::Output))
        Raise("Cannot write the extract " + output.string() + ": " + *why + ".");
    RegisterRunPath(t.extract, RunPathRole::Output, "extract");
    if (bigPlant) {
        // Beside the extract as the user named it: that is where the run's link points.
        t.linkFile = ResolveWriteTarget(PidLinkFile(fs::absolute(output)));
        CheckWriteTarget(t.linkFile, RunPathRole::Output, "the link file");
        RegisterRunPath(t.linkFile, RunPathRole::Output, "link file");
    }
    if (drawingFiles) {
        t.igr = ResolveWriteTarget(t.extract.parent_path() / "igr");
        std::error_code ec;
        const auto status = fs::status(t.igr, ec);
        if (fs::exists(status) && !fs::is_directory(status))
            Raise("Cannot write the drawing files into " + t.igr.string() +
                  ": it is not a folder.");
        if (auto other = ConflictingRunPath(t.igr, RunPathRole::Output))
            Raise("Cannot write the drawing files into " + t.igr.string() + ": it is " + *other +
                  ".");
    }
    const std::string names[] = {t.extract.filename().string(), t.linkFile.filename().string(),
                                 t.igr.empty() ? std::string() : t.igr.filename().string()};
    RemoveLeftovers(t.extract.parent_path(), [&](std::string_view base) {
        for (const std::string& n : names)
            if (!n.empty() && base == n) return true;
        return false;
    });
    if (!t.igr.empty() && t.igr.parent_path() != t.extract.parent_path())
        RemoveLeftovers(t.igr.parent_path(), [&](std::string_view base) { return base == "igr"; });
    return t;
}

fs::path MakeIgrStaging(const fs::path& igr) {
    return CreateTempFolder(igr.parent_path(), igr.filename().string());
}

void CommitIgr(const fs::path& staging, const fs::path& igr) {
    std::error_code ec;
    fs::path aside;
    if (fs::exists(fs::symlink_status(igr, ec))) {
        // A temporary name of this process: should the run be killed between the two renames,
        // the next run removes it like any leftover.
        aside = igr.parent_path() / TempName(igr.filename().string());
        fs::rename(igr, aside, ec);
        if (ec) Raise("Cannot replace the folder " + igr.string() + ": " + ec.message());
    }
    fs::rename(staging, igr, ec);
    if (ec) {
        std::error_code back;
        if (!aside.empty()) fs::rename(aside, igr, back);
        Raise("Cannot rename " + staging.string() + " to " + igr.string() + ": " + ec.message());
    }
    if (!aside.empty()) fs::remove_all(aside, ec);
}

}  // namespace tb::extraction
