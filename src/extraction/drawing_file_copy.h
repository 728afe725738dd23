#pragma once
// The drawing file copy that the run calls when drawing files are asked for (CopyPid2Igr). It
// belongs to the graphics library, which builds on this one; the program installs it at start-up.

#include <filesystem>
#include <functional>

#include "store/store.h"

namespace tb::extraction {

// Copies the drawing files of the extract's PID table into the folder `igrFolder` (the run's
// staging folder, which replaces `shownFolder`, "igr" beside the extract, when the run succeeds;
// messages name that one).
using DrawingFileCopy = std::function<void(store::Store& extract, const std::filesystem::path& igrFolder,
                                           const std::filesystem::path& shownFolder, bool noCancel)>;

// An empty function removes it; the run then logs that drawing files are not produced.
void SetDrawingFileCopy(DrawingFileCopy copy);
const DrawingFileCopy& GetDrawingFileCopy();

}  // namespace tb::extraction
