#pragma once
// A test-only structure checker for Jet 4 files. The outside readers follow usage maps and
// ignore indexes, so this is the oracle for what they cannot see: every page owned once and the
// global map agreeing, row offsets and free space consistent, definition lengths adding up,
// long values reachable and owned by their column, indexes sorted with one entry per row.

#include <string>
#include <vector>

namespace tb::mdb::test {

struct CheckOptions {
    // Our files use every page; Access files keep free and stale pages, which must then be
    // marked free in the global map.
    bool everyPageOwned = true;
    // Re-encode the keys of the catalogue's indexes (Long and Text columns) from the rows.
    bool checkCatalogKeys = true;
    // Check that every row decodes with the table's column count (Access keeps older rows with
    // fewer columns after a column was added).
    bool rowsHaveAllColumns = true;
};

// The problems found, empty when the file is sound.
std::vector<std::string> CheckJetStructure(const std::string& fileBytes, const CheckOptions& options = {});

}  // namespace tb::mdb::test
