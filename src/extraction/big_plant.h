#pragma once
// "BigPlant": the table PID in an Access file of its own beside the extract, linked into it, so
// that its rows do not weigh on the extract.

#include <filesystem>

#include "store/store.h"

namespace tb::extraction {

// The link file of an extract: its folder, its base name + "_link.mdb".
std::filesystem::path PidLinkFile(const std::filesystem::path& extract);

// Puts PID into the link file of `extract` and links it back as "PID". An old link file goes
// first. The run keeps working on PID in the store; the two files are written when the store
// becomes the extract, PID with its indexes on SP_ID and Representation_ID.
void CreateAndLinkPidTable(store::Store& store, const std::filesystem::path& extract);

}  // namespace tb::extraction
