#pragma once
// An extract as a file: the store written out as an Access (Jet 4) .mdb through our writer, or as
// a plain SQLite file for a target ending in ".sqlite"; and an .mdb loaded into a store through
// our reader. Both writes go to a temporary name beside the target and are renamed into place
// only when complete, so a failure never leaves a half-written target behind.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "mdb/jet_writer.h"
#include "store/store.h"

namespace tb::storefile {

namespace fs = std::filesystem;

// The table of a SQLite extract that records each column's Jet type (the store's catalogue
// name: "Text(50)", "Counter", "DateTime", ...), so that nothing of the catalogue is lost.
inline constexpr std::string_view kJetTypesTable = "__jet_types";

struct WriteOptions {
    mdb::WriterOptions jet;  // clock and identifiers of the .mdb writer (tests fix them)
};

struct WriteSummary {
    std::vector<std::string> tables;  // written, in the order written
    std::uint64_t rows = 0;
};

// True for a target the SQLite form is written to (".sqlite", ignoring case).
bool IsSqliteTarget(const fs::path& target);

// Writes every store table (internal "__tb_" tables left out) with its catalogue's Jet types:
// to a SQLite file when IsSqliteTarget(target), else to a Jet 4 .mdb. Rows stream from the store
// in stored order; memory does not grow with the row count. A value that does not fit its
// column's type raises a tb::Error naming table, row, column and value. In an .mdb every table
// gets the catalogue's indexes (the COUNTER key as primary key; an index the writer cannot
// write is left out with a log line), the store's links become linked tables, and each table
// marked by WriteTableApart goes into its own file, linked in. A SQLite file has no links or
// indexes: links are left out (a log line each), tables apart stay in the file.
// Every file (link files and the extract) is complete under its temporary name before the first
// is renamed onto its target, the extract last; a symbolic link at a target stays a link and
// the file it names is replaced. A cancel (checked before each table, every few thousand rows
// and before the renames) raises error 18 "Cancelled."; then, as after any failure, the
// temporary files are gone and the previous files are as they were.
WriteSummary WriteStoreFile(const store::Store& store, const fs::path& target,
                            const WriteOptions& options = {});

// Marks a store table to be written, when the store becomes an .mdb, into the Access file
// `linkFile` (made anew, with the table's indexes) and linked into the extract under its own
// name. The table stays in the store, so the run goes on working with it.
void WriteTableApart(const store::Store& store, std::string_view table, const fs::path& linkFile);

// Which tables of a file to load; empty: all of them.
using TableFilter = std::function<bool(const std::string& table)>;

// Loads the user tables of an .mdb into new store tables of the same names, with the matching
// catalogue types (a Counter stays a Counter where its values allow; see LoadMdbIntoStore in
// docs/decisions-storefile.md) and exact values (dates as the store's text). A table of that
// name already in the store raises. Raises a tb::Error naming the file when it is missing or
// not a readable Jet database. Returns the tables loaded, in the file's catalogue order.
std::vector<std::string> LoadMdbIntoStore(const fs::path& mdb, store::Store& store,
                                          const TableFilter& filter = {});

// The template of new extracts: "Templates/Template.mdb" in the application folder.
fs::path TemplateFile(const fs::path& applicationFolder);

// Carries the template's tables into a fresh store before a run fills it; the run passes
// platform::ApplicationFolder(). False (and nothing done) when there is no template: the
// extract then starts empty.
bool CarryInTemplate(const fs::path& applicationFolder, store::Store& store);

}  // namespace tb::storefile
