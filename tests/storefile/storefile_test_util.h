#pragma once
// Helpers of the storefile tests: mdbtools' mdb-export as an outside reader, and rows of our
// reader.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "mdb/mdb_reader.h"

namespace tb::storefile::test {

namespace fs = std::filesystem;

#define SKIP_WITHOUT_MDBTOOLS()                                \
    do {                                                       \
        if (!::tb::storefile::test::HaveMdbExport())           \
            GTEST_SKIP() << "mdbtools' mdb-export is missing"; \
    } while (0)

bool HaveMdbExport();

// A field of mdb-export's CSV: nullopt where it printed nothing (Null, and also '': mdb-export
// prints both alike).
using Field = std::optional<std::string>;

// The rows of a table as mdb-export prints them (no header): dates "yyyy-mm-dd hh:mm:ss",
// binary as hex, Booleans 1/0. Standard error is left out.
std::vector<std::vector<Field>> MdbExport(const fs::path& file, const std::string& table);

// Every row of a table through our reader.
std::vector<mdb::Row> ReadRows(const fs::path& file, const std::string& table);

// The names of the files in a folder, sorted.
std::vector<std::string> FilesIn(const fs::path& folder);

}  // namespace tb::storefile::test
