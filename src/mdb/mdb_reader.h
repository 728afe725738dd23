#pragma once
// Reading Access (Jet 4) files through mdbtools' libmdb. libmdb finds tables, columns and rows;
// every value is decoded here from its stored bytes, so results are exact and do not depend on
// the process locale (libmdb would format numbers and dates through printf and strftime).

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mdb/table_model.h"

namespace tb::mdb {

class TableCursor;

// An .mdb file opened read-only. Table names are found ignoring ASCII case, as Jet does.
class MdbReader {
  public:
    // Raises tb::Error naming the file when it is missing or is not a readable Jet database.
    explicit MdbReader(const std::filesystem::path& file);
    ~MdbReader();
    MdbReader(MdbReader&&) noexcept;
    MdbReader& operator=(MdbReader&&) noexcept;

    const std::filesystem::path& file() const;

    // User tables in catalogue order; with includeSystem also the MSys tables.
    std::vector<std::string> TableNames(bool includeSystem = false) const;
    bool HasTable(std::string_view name) const;

    // Columns in column-number order with their Jet types: a Counter is Long with autoNumber,
    // Text has its length in characters. Raises when the table is missing or has a column type
    // outside the table model.
    TableDef Table(std::string_view name) const;
    // The row count the table definition states (what mdb-count prints); the rows themselves
    // are what Rows() yields.
    std::uint32_t DeclaredRowCount(std::string_view name) const;
    // Precision and scale of a Numeric (Decimal) column; {0, 0} for other types.
    std::pair<int, int> NumericPrecisionScale(std::string_view table,
                                              std::string_view column) const;

    // Streams the rows of a table: one row in memory at a time. The cursor holds its own libmdb
    // handle, so several cursors and schema calls can be interleaved.
    TableCursor Rows(std::string_view name) const;
    // Calls fn for every row in stored order; returns the number of rows.
    std::uint64_t ForEachRow(std::string_view name,
                             const std::function<void(const Row&)>& fn) const;

    struct Impl;

  private:
    std::unique_ptr<Impl> impl_;
};

// Rows of one table, in stored order. Also a RowSource, so a table can be handed to a writer.
// Values by column type: Boolean bool (never Null); Byte, Integer, Long int64_t; Currency
// Currency; Single, Double double; DateTime DateTime (the stored days; jet_writer.h turns them
// into text); Text, Memo UTF-8
// std::string; Numeric the exact decimal as std::string ("-12.3400", '.' always); Binary, OLE
// Bytes; GUID Guid (the 16 stored bytes). Null and '' are told apart.
class TableCursor : public RowSource {
  public:
    ~TableCursor() override;
    TableCursor(TableCursor&&) noexcept;
    TableCursor& operator=(TableCursor&&) noexcept;

    const TableDef& def() const;
    bool Next(Row& row) override;
    // The row count the table definition states.
    std::int64_t RowCountHint() const override;

    struct Impl;

  private:
    friend class MdbReader;
    explicit TableCursor(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace tb::mdb
