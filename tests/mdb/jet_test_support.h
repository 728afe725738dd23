#pragma once
// Helpers of the Jet writer's tests: the corpus of Access-made files, the mdbtools command-line
// tools as outside readers, libmdb for what those tools cannot show ('' against Null), and
// writing a database in one call.

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mdb/jet_writer.h"
#include "mdb/table_model.h"

namespace tb::mdb::test {

namespace fs = std::filesystem;

struct ToolResult {
    int exitCode = -1;
    std::string out;
    std::string err;
};

// Runs an mdbtools program (mdb-export, ...) with LC_ALL=C.UTF-8; stdout and stderr apart.
ToolResult RunMdbTool(const std::string& tool, const std::vector<std::string>& args);
bool HaveMdbTools();

#define SKIP_WITHOUT_MDBTOOLS()                                                         \
    do {                                                                                \
        if (!::tb::mdb::test::HaveMdbTools()) GTEST_SKIP() << "mdbtools not installed"; \
    } while (0)

// Rows of mdb-export's CSV output (header included); quoted fields may hold line breaks.
std::vector<std::vector<std::string>> ParseCsv(const std::string& text);

// mdb-export of a table with ISO dates, hex binary and "<NULL>" for empty values; rows only.
std::vector<std::vector<std::string>> ExportTable(const fs::path& file, const std::string& table);

// Per row, per column: whether libmdb sees the value as Null (in stored order).
std::vector<std::vector<bool>> NullFlagsViaLibmdb(const fs::path& file, const std::string& table);

// A fixed clock for repeatable files: 2024-05-06 07:08:09.
WriterOptions FixedOptions();

struct TableData {
    TableDef def;
    std::vector<Row> rows;
    std::vector<IndexDef> indexes{};
};

// Writes the tables into `target` with FixedOptions() (or the given options) and runs the
// structure checker on the file, failing the test on any problem.
void WriteDatabase(const fs::path& target, const std::vector<TableData>& tables,
                   const WriterOptions& options = FixedOptions());

std::string ReadBytes(const fs::path& file);

// The structure checker's problems as one text, for assertion messages.
std::string StructureProblems(const fs::path& file);

}  // namespace tb::mdb::test
