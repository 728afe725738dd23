#pragma once
// Moving many rows into the store fast: one prepared insert inside one transaction per table,
// and the store attached to another SQLite connection so that "INSERT INTO store.t SELECT ..."
// moves rows without passing through our loops.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/sqlite.h"
#include "store/store.h"

namespace tb::store {

// Rows into one existing table. The transaction ends with Commit(); an object that goes without
// it takes its rows back with it.
class BulkInsert {
  public:
    // `columns` empty: every column in table order except a counter, which numbers itself.
    BulkInsert(Store& store, std::string_view table, std::vector<std::string> columns = {});
    BulkInsert(const BulkInsert&) = delete;
    BulkInsert& operator=(const BulkInsert&) = delete;

    const std::vector<std::string>& columns() const { return columns_; }
    std::int64_t rows() const { return rows_; }

    // Columns are numbered from 0 in the order of columns(); each row sets every column.
    void SetNull(int column) { insert_.BindNull(column + 1); }
    void SetInt(int column, std::int64_t value) { insert_.BindInt(column + 1, value); }
    void SetDouble(int column, double value) { insert_.BindDouble(column + 1, value); }
    void SetText(int column, std::string_view value) { insert_.BindText(column + 1, value); }
    // Not copied: the text must stay alive until Insert() has returned.
    void SetTextNoCopy(int column, std::string_view value) {
        insert_.BindTextNoCopy(column + 1, value);
    }
    void SetValue(int column, const Value& value) { insert_.Bind(column + 1, value); }
    void Insert();
    // Commits, then brings the catalogue in line with what arrived (text widths).
    void Commit();

  private:
    Store& store_;
    std::string table_;
    std::vector<std::string> columns_;
    Transaction tx_;
    Statement insert_;
    std::int64_t rows_ = 0;
    bool committed_ = false;
};

// The store's file attached to another connection (a plant connection) under `schema`, for as
// long as the object lives. The collation and the functions are registered there, so store
// tables can be written from that connection. The store connection must hold no open statement
// or transaction meanwhile; call Store::FitTypesToData on the tables filled this way afterwards.
class StoreAttachment {
  public:
    StoreAttachment(sqlite3* other, const Store& store, std::string_view schema);
    ~StoreAttachment();
    StoreAttachment(const StoreAttachment&) = delete;
    StoreAttachment& operator=(const StoreAttachment&) = delete;
    const std::string& schema() const { return schema_; }

  private:
    sqlite3* other_;
    std::string schema_;
};

}  // namespace tb::store
