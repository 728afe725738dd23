#include "storefile/store_rows.h"

#include "common/error.h"
#include "common/log.h"
#include "common/text.h"

namespace tb::storefile {

namespace {

// SELECT of the columns in stored (rowid) order. A rowid alias that a column's name hides is
// passed over; a table without rowid is read in its key order.
std::string SelectSql(const store::Store& store, const std::string& table,
                      const std::vector<store::ColumnDef>& columns) {
    std::string sql = "SELECT ";
    for (std::size_t i = 0; i < columns.size(); ++i)
        sql += (i ? ", " : "") + store::QuoteName(columns[i].name);
    sql += " FROM " + store::QuoteName(table);
    const store::Value withoutRowid = store.QueryValue(
        "SELECT wr FROM pragma_table_list WHERE name = ?1 AND schema = 'main'", {table});
    if (withoutRowid.isInteger() && withoutRowid.integer() != 0) return sql;
    for (std::string_view alias : {"_rowid_", "rowid", "oid"}) {
        bool hidden = false;
        for (const store::ColumnDef& c : columns) hidden = hidden || IEquals(c.name, alias);
        if (!hidden) return sql + " ORDER BY " + std::string(alias);
    }
    return sql;  // a plain scan of a rowid table is in rowid order too
}

}  // namespace

void CheckCancel() {
    if (CancelRequested()) throw Error(kErrCancelled, "Cancelled.");
}

StoreTableSource::StoreTableSource(const store::Store& store, const std::string& table)
    : columns_(store.Columns(table)) {
    def_.name = table;
    for (const store::ColumnDef& c : columns_) {
        def_.columns.push_back(JetColumn(c));
        converters_.emplace_back(table, c);
    }
    count_ = store.QueryValue("SELECT count(*) FROM " + store::QuoteName(table)).integer();
    select_ = store.Prepare(SelectSql(store, table, columns_));
}

bool StoreTableSource::Next(mdb::Row& row) {
    if (rows_ % kRowsBetweenCancelChecks == 0 && rows_ > 0) CheckCancel();
    if (!select_.Step()) return false;
    ++rows_;
    row.resize(converters_.size());
    sqlite3_stmt* stmt = select_.get();
    for (std::size_t i = 0; i < converters_.size(); ++i)
        converters_[i].Convert(stmt, static_cast<int>(i), rows_, row[i]);
    return true;
}

}  // namespace tb::storefile
