#pragma once
// The drawing file copy that the run calls when drawing files are asked for (CopyPid2Igr). It
// belongs to the graphics library, which builds on this one; the program installs it at start-up.

#include <filesystem>
#include <functional>

#include "store/store.h"

namespace tb::extraction {

// Copies the drawing files of the extract's PID table beside `extractPath`.
using DrawingFileCopy =
    std::function<void(store::Store& extract, const std::filesystem::path& extractPath, bool noCancel)>;

// An empty function removes it; the run then logs that drawing files are not produced.
void SetDrawingFileCopy(DrawingFileCopy copy);
const DrawingFileCopy& GetDrawingFileCopy();

}  // namespace tb::extraction
