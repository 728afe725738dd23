#pragma once
// The extraction run: a plant (or a selection of its drawings) into one extract. The plant is
// read table by table into working tables of a fresh store; the category tables grow by joins
// inside the store; at the end the store is written to the target as .mdb (or .sqlite) in one
// piece. A run that fails or is cancelled leaves no extract at the target.

#include <filesystem>
#include <string>

#include "common/error.h"

namespace tb::extraction {

struct PID2MDBArguments {
    std::filesystem::path mdbFile;  // MdbFile
    std::string plantGroupIDs;      // PlantGroupIDs: quoted comma list; empty means all
    std::string drawingIDs;         // DrawingIDs
    std::string selectFilter;       // SelectFilter
    bool loadAssociatedDrawings = false;
    bool extractDrawingFiles = false;
    bool extractFromTo = false;
    bool keepExistingMdb = false;
    std::string excludedDrawings;  // ";"-separated name patterns with * and ?
};

// Raises on failure with "PID2MDB:<step>" in the source; a cancel raises "Cancelled." after the
// log says so.
void PID2MDB(const PID2MDBArguments& arguments);

// The error number of a cancelled run.
using tb::kErrCancelled;

}  // namespace tb::extraction
