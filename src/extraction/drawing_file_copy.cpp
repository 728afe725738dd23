#include "extraction/drawing_file_copy.h"

namespace tb::extraction {
namespace {

DrawingFileCopy& Installed() {
    static DrawingFileCopy copy;
    return copy;
}

}  // namespace

void SetDrawingFileCopy(DrawingFileCopy copy) { Installed() = std::move(copy); }

const DrawingFileCopy& GetDrawingFileCopy() { return Installed(); }

}  // namespace tb::extraction
