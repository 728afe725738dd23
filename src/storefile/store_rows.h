#pragma once
// The rows of one store table as the writer's RowSource: a prepared SELECT in stored order,
// one row in memory at a time, each value converted and checked against its column.

#include <cstdint>
#include <string>
#include <vector>

#include "mdb/table_model.h"
#include "store/store.h"
#include "storefile/column_mapping.h"

namespace tb::storefile {

// Rows between two looks at the cancel flag while a table is written.
inline constexpr std::uint64_t kRowsBetweenCancelChecks = 4096;

// Raises error 18, "Cancelled.", when the user asked the run to stop (Ctrl+C, SIGTERM, the
// window's Cancel).
void CheckCancel();

// Rows of a store table; every kRowsBetweenCancelChecks rows it sees a cancel (CheckCancel), so
// both file forms stop inside a long table.
class StoreTableSource : public mdb::RowSource {
  public:
    StoreTableSource(const store::Store& store, const std::string& table);

    // The table with its Jet columns, for the .mdb writer.
    const mdb::TableDef& def() const { return def_; }
    // The store's columns with their catalogue types.
    const std::vector<store::ColumnDef>& columns() const { return columns_; }

    bool Next(mdb::Row& row) override;
    std::int64_t RowCountHint() const override { return count_ - static_cast<std::int64_t>(rows_); }
    std::uint64_t rowsRead() const { return rows_; }

  private:
    std::vector<store::ColumnDef> columns_;
    mdb::TableDef def_;
    std::vector<ValueConverter> converters_;
    store::Statement select_;
    std::int64_t count_ = 0;
    std::uint64_t rows_ = 0;
};

}  // namespace tb::storefile
