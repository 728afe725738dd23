#include "store/bulk.h"

#include "common/error.h"
#include "store/sql_functions.h"

namespace tb::store {

namespace {

std::vector<std::string> InsertColumns(const Store& store, const std::string& table,
                                       std::vector<std::string> columns) {
    if (columns.empty()) {
        for (const ColumnDef& c : store.Columns(table))
            if (!c.type.counter) columns.push_back(c.name);
        return columns;
    }
    for (std::string& c : columns) {
        const auto found = store.FindColumn(table, c);
        if (!found)
            throw Error(kErrColumnMissing,
                        "Column '" + c + "' does not exist in table '" + table + "'.");
        c = *found;
    }
    return columns;
}

std::string InsertSql(const std::string& table, const std::vector<std::string>& columns) {
    std::string sql = "INSERT INTO " + QuoteName(table) + " (";
    std::string marks;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        sql += (i ? ", " : "") + QuoteName(columns[i]);
        marks += i ? ", ?" : "?";
    }
    return sql + ") VALUES (" + marks + ")";
}

std::string TableOf(const Store& store, std::string_view table) {
    const auto t = store.FindTable(table);
    if (!t)
        throw Error(kErrTableMissing, "Table '" + std::string(table) + "' does not exist.",
                    "BulkInsert");
    return *t;
}

}  // namespace

BulkInsert::BulkInsert(Store& store, std::string_view table, std::vector<std::string> columns)
    : store_(store),
      table_(TableOf(store, table)),
      columns_(InsertColumns(store, table_, std::move(columns))),
      tx_(store.handle()),
      insert_(store.handle(), InsertSql(table_, columns_)) {}

void BulkInsert::Insert() {
    try {
        insert_.Run();
    } catch (...) {
        RethrowChained("BulkInsert(" + table_ + ")");
    }
    ++rows_;
}

void BulkInsert::Commit() {
    if (committed_) return;
    insert_ = Statement();
    tx_.Commit();
    committed_ = true;
    store_.FitTypesToData(table_);
}

StoreAttachment::StoreAttachment(sqlite3* other, const Store& store, std::string_view schema)
    : other_(other), schema_(schema) {
    Trap("AttachStore", [&] {
        if (store.path().empty())
            throw Error(kErrInternal,
                        "A store in memory cannot be attached to another connection.");
        // Registering again while the connection has statements open would fail: only what is
        // missing is registered.
        if (QueryValue(other_,
                       "SELECT count(*) FROM pragma_collation_list WHERE name = ?1 COLLATE NOCASE",
                       {kTextCollation})
                .integer() == 0)
            RegisterCollation(other_);
        if (QueryValue(other_, "SELECT count(*) FROM pragma_function_list WHERE name = 'jcat'")
                .integer() == 0)
            RegisterFunctions(other_);
        ExecuteCount(other_, "ATTACH DATABASE ?1 AS " + QuoteName(schema_),
                     {store.path().string()});
        try {
            Execute(other_, "PRAGMA " + QuoteName(schema_) + ".journal_mode=MEMORY; PRAGMA " +
                                QuoteName(schema_) + ".synchronous=OFF");
        } catch (...) {
            sqlite3_exec(other_, ("DETACH DATABASE " + QuoteName(schema_)).c_str(), nullptr,
                         nullptr, nullptr);
            throw;
        }
    });
}

StoreAttachment::~StoreAttachment() {
    // An error here would hide the one that ended the transfer, if any.
    sqlite3_exec(other_, ("DETACH DATABASE " + QuoteName(schema_)).c_str(), nullptr, nullptr,
                 nullptr);
}

}  // namespace tb::store
