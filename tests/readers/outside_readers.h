#pragma once
// Independent readers of .mdb files for the tests: mdbtools' command-line programs and
// mdb-reader from npm (run with node through dump_mdb.mjs). They turn a file into tables of
// texts, and ExpectedText says what each reader shows for a value of our table model, so that
// our reader and both outside readers can be compared value by value.
//
// The two are not fully independent of each other (mdb-reader ports parts of mdbtools) and
// neither reads indexes: agreement is evidence, not proof.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "mdb/table_model.h"

namespace tb::readers {

namespace fs = std::filesystem;

enum class Reader { MdbTools, MdbReader };
const char* ReaderName(Reader reader);

// A value as a reader shows it; std::nullopt is Null.
using Cell = std::optional<std::string>;

struct OutsideColumn {
    std::string name;
    std::string type;  // the reader's own type text ("Text (50)", "text(50)", "long counter")
};

struct OutsideTable {
    std::string name;
    std::vector<OutsideColumn> columns;
    std::int64_t declaredRows = -1;  // the row count of the table definition
    std::vector<std::vector<Cell>> rows;
    std::string error;  // set when the reader could not read the table
};

// mdbtools' programs. Each raises std::runtime_error with the program's output when it fails.
namespace mdbtools {
// Why the programs cannot run, or empty.
std::string Unavailable();
std::vector<std::string> Tables(const fs::path& file, bool system = false);         // mdb-tables -1
std::vector<OutsideColumn> Schema(const fs::path& file, const std::string& table);  // mdb-schema
std::int64_t Count(const fs::path& file, const std::string& table);                 // mdb-count
// mdb-export: texts as printed (dates "yyyy-mm-dd hh:mm:ss", binary as upper-case hex).
std::vector<std::vector<Cell>> Export(const fs::path& file, const std::string& table);
// mdb-json: rows by column order of `columns`; numbers as printed, binary as hex.
std::vector<std::vector<Cell>> Json(const fs::path& file, const std::string& table,
                                    const std::vector<OutsideColumn>& columns);
// Linked tables (mdb-tables -t linkedtable).
std::vector<std::string> LinkedTables(const fs::path& file);
// The index and primary-key statements mdb-schema writes for a table (PostgreSQL form).
std::vector<std::string> IndexStatements(const fs::path& file, const std::string& table);
// Schema, count and export of one table.
OutsideTable Read(const fs::path& file, const std::string& table);
}  // namespace mdbtools

// mdb-reader through node. The package is installed on demand with `npm ci` in tests/readers.
namespace mdbreader {
// Why mdb-reader cannot run (no node, npm ci failed), or empty.
std::string Unavailable();
// Every user table (and the system tables with `system`) of the file.
std::vector<OutsideTable> ReadAll(const fs::path& file, bool system = false);
// The names of the file's linked tables.
std::vector<std::string> LinkedTables(const fs::path& file);
}  // namespace mdbreader

// What `reader` shows for `value` in `column`; `compare` is false where the reader cannot show
// it faithfully (mdbtools: dates before 1899-12-30; '' it prints as Null).
struct Expected {
    bool compare = true;
    Cell text;
};
Expected ExpectedText(Reader reader, const mdb::Column& column, const mdb::Value& value);
// The type text `reader` shows for a column of ours; Numeric needs its precision and scale.
std::string ExpectedType(Reader reader, const mdb::Column& column, int precision = 0,
                         int scale = 0);

// Our reader's view of one table, for comparisons.
struct OurTable {
    mdb::TableDef def;
    std::vector<std::pair<int, int>> numeric;  // precision and scale per column
    std::uint32_t declaredRows = 0;
    std::vector<mdb::Row> rows;
};
OurTable ReadOurs(const fs::path& file, const std::string& table);

// The differences between our table and an outside reader's, one line each, at most `limit`.
std::vector<std::string> Differences(Reader reader, const OurTable& ours,
                                     const OutsideTable& theirs, std::size_t limit = 20);

}  // namespace tb::readers
