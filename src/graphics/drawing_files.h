#pragma once
// The drawing files of an extract: each drawing's ".pid" file copied into the folder "igr"
// beside the extract as "<base name>.igr", the name the viewer and the graphic editor read.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "store/store.h"

namespace tb::graphics {

// The folder "igr/" beside the extract (its folder part; the working directory when it has
// none), made when it is missing.
std::filesystem::path GetIgrFolder(const std::filesystem::path& extractPath);
// The same for the session's extract.
std::filesystem::path GetIgrFolder();

// The base name of a drawing path of the plant, split at "\" and "/", without its extension.
std::string DrawingBaseName(std::string_view drawingPath);

// The plant's drawing file of a PID Drawing_Path: the plant folder (ending with a separator)
// joined with the path (a path that starts with a separator takes the folder without its last
// one), as a local path.
std::filesystem::path DrawingSourcePath(std::string_view plantFolder, std::string_view drawingPath);

// The source of a drawing path when it lies inside the plant folder after mapping (".." taken
// lexically); nullopt when the path leaves it.
std::optional<std::filesystem::path> ConfinedDrawingSource(std::string_view plantFolder,
                                                           std::string_view drawingPath);

// The counts of a copy run.
struct CopyResult {
    int drawings = 0;  // distinct Drawing_Path values
    int copied = 0;    // files that stand at their target afterwards
};

// Copies every drawing file named by PID.Drawing_Path from `plantFolder` into the igr folder
// beside `extractPath`, overwriting; each file is written under a temporary name and renamed when
// complete. Failures are logged and the loop goes on; unless `noCancel`, the user's cancel ends
// it. Other errors are logged under "CopyPid2Igr" and end the routine without raising.
CopyResult CopyPid2Igr(store::Store& extract, const std::filesystem::path& extractPath,
                       bool noCancel, const std::string& plantFolder);
// The same with the plant folder of GetPlantPath, which is kept for EnsureIgr.
void CopyPid2Igr(store::Store& extract, const std::filesystem::path& extractPath, bool noCancel);

// The same into the folder `igrFolder` itself (a run's staging folder), named in the messages as
// `shownFolder` (the folder it becomes). A drawing path that leaves the plant folder is not
// copied, with a status line.
CopyResult CopyPid2IgrInto(store::Store& extract, const std::filesystem::path& igrFolder,
                           const std::filesystem::path& shownFolder, bool noCancel,
                           const std::string& plantFolder);
void CopyPid2IgrInto(store::Store& extract, const std::filesystem::path& igrFolder,
                     const std::filesystem::path& shownFolder, bool noCancel);

// Fetches one drawing's ".igr" file on demand: nothing for an empty path or an existing file;
// else the first PID.Drawing_Path whose name is like "%<base name>.pid" is copied to `igrPath`.
// Errors are logged under "EnsureIgr"; the caller then finds no file.
void EnsureIgr(store::Store& extract, const std::filesystem::path& igrPath,
               const std::string& plantFolder);
// The same with the plant folder kept by CopyPid2Igr (GetPlantPath when there is none).
void EnsureIgr(store::Store& extract, const std::filesystem::path& igrPath);

}  // namespace tb::graphics
