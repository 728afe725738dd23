#pragma once
// A test-only structure checker for Jet 4 files. The outside readers follow usage maps and
// ignore indexes, so this is the oracle for what they cannot see: every page owned once and the
// global map agreeing, row offsets and free space consistent, definition lengths adding up,
// long values reachable and owned by their column, indexes sorted with one entry per row.

#include <string>
#include <vector>

namespace tb::mdb::test {

struct CheckOptions {
    // Our files use every page, each long-value page holds values and no page is left unowned.
    // Access files keep free and stale pages (and pages of deleted objects marked used).
    bool everyPageOwned = true;
    // Distinct-key counts, the variable-column count and the row counts of system tables are
    // exact; Access lets them go stale.
    bool exactCounts = true;
    // Every row carries the table's full column count (Access keeps older rows shorter after a
    // column was added).
    bool rowsHaveAllColumns = true;
    // Re-encode the keys of the catalogue's indexes (Long and Text columns) from the rows.
    bool checkCatalogKeys = true;
    // Re-encode the keys of every index where the encoding is known (numbers, dates, Booleans
    // and Latin-1 text, either direction).
    bool checkAllKeys = true;

    static CheckOptions ForAccessFiles() { return {false, false, false, true, true}; }
};

// The problems found, empty when the file is sound. `keysChecked` receives the number of index
// entries whose key was rebuilt from the row and compared.
std::vector<std::string> CheckJetStructure(std::string fileBytes, const CheckOptions& options = {},
                                           std::size_t* keysChecked = nullptr);

}  // namespace tb::mdb::test
