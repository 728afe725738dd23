#pragma once
// Helpers of the storefile tests: the Jet corpus, mdbtools' mdb-export as an outside reader,
// and rows of our reader.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "mdb/mdb_reader.h"

namespace tb::storefile::test {

namespace fs = std::filesystem;

// $TARNBROOK_JET_CORPUS, else ../shared/jet4-corpus beside the sources; empty when neither is
// there.
fs::path JetCorpus();

#define SKIP_WITHOUT_CORPUS()                                                               \
    do {                                                                                    \
        if (::tb::storefile::test::JetCorpus().empty())                                     \
            GTEST_SKIP()                                                                    \
                << "no Jet corpus: set TARNBROOK_JET_CORPUS to the folder of Access files"; \
    } while (0)

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
