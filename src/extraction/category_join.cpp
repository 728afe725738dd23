// The two category routines that run SQL in the store: the join of two working tables and the
// user's own statements.

#include <sqlite3.h>

#include "common/error.h"
#include "common/ini.h"
#include "common/log.h"
#include "common/text.h"
#include "extraction/access_sql.h"
#include "extraction/category_sql.h"
#include "store/sql_functions.h"
#include "store/sqlite.h"

namespace tb::extraction {
namespace {

// Names in the store's SQL come from the plant and the configuration.
std::string Bracket(std::string_view name) {
    return store::SqlName(name);
}

std::string Qualified(std::string_view table, std::string_view column) {
    return Bracket(table) + "." + Bracket(column);
}

std::vector<std::string> ColumnNames(const store::Store& store, std::string_view table) {
    std::vector<std::string> out;
    for (const store::ColumnDef& c : store.Columns(table)) out.push_back(c.name);
    return out;
}

// Whether a table holds columns the store did not declare itself (made by the user's SQL): a
// declaration other than the store's four, or text without the store's collation.
bool NeedsAdoption(const store::Store& store, const std::string& table) {
    for (const store::Row& r :
         store.QueryRows("SELECT name, type FROM pragma_table_info(?1)", {table})) {
        const std::string& name = r[0].text();
        const std::string type = r[1].ToText();
        if (!IEquals(type, "TEXT") && !IEquals(type, "INTEGER") && !IEquals(type, "REAL") &&
            !IEquals(type, "BLOB"))
            return true;
        if (IEquals(type, "TEXT")) {
            const char* collation = nullptr;
            if (sqlite3_table_column_metadata(store.handle(), "main", table.c_str(), name.c_str(),
                                              nullptr, &collation, nullptr, nullptr,
                                              nullptr) != SQLITE_OK ||
                !collation || !IEquals(collation, store::kTextCollation))
                return true;
        }
    }
    return false;
}

}  // namespace

std::string JoinTableSql(std::string_view kind, const std::vector<std::string>& keyList,
                         std::string_view left, const std::vector<std::string>& leftColumns,
                         std::string_view leftKey, std::string_view right,
                         const std::vector<std::string>& rightColumns, std::string_view rightKey) {
    std::vector<std::string> taken, select, expressions;
    auto take = [&](std::string_view table, const std::string& column) {
        if (HasName(taken, column)) return;
        taken.push_back(column);
        expressions.push_back(Qualified(table, column));
        select.push_back(expressions.back() + " AS " + Bracket(column));
    };
    if (!keyList.empty()) {
        std::vector<std::string> keys;
        for (const std::string& k : keyList) {
            const std::string key = FindName(leftColumns, TrimBlanks(k));
            if (key.empty())
                throw Error(kErrInternal, "JoinTable: the key '" + k + "' is no column of '" +
                                              std::string(left) + "'.");
            keys.push_back(key);
            take(left, key);
        }
        for (const std::string& c : leftColumns) take(left, c);
        for (const std::string& c : rightColumns) take(right, c);
        std::vector<std::string> conditions;
        for (const std::string& k : keys)
            conditions.push_back(Qualified(left, k) + "=" + Qualified(right, k));
        return "SELECT " + Join(select, ", ") + " FROM " + Bracket(left) + ", " + Bracket(right) +
               " WHERE " + Join(conditions, " AND ") + " GROUP BY " + Join(expressions, ", ");
    }
    for (const std::string& c : leftColumns) take(left, c);
    for (const std::string& c : rightColumns) take(right, c);
    const std::string list = Join(select, ", ");
    const std::string on = " ON " + Qualified(left, leftKey) + "=" + Qualified(right, rightKey);
    if (IEquals(kind, "out") || IEquals(kind, "outer"))
        return "SELECT " + list + " FROM " + Bracket(left) + " LEFT JOIN " + Bracket(right) + on +
               " UNION SELECT " + list + " FROM " + Bracket(left) + " RIGHT JOIN " +
               Bracket(right) + on;
    const std::string k = ToUpperAscii(TrimBlanks(kind));
    if (k != "LEFT" && k != "RIGHT" && k != "INNER")
        throw Error(kErrInternal, "JoinTable: unknown join kind '" + std::string(kind) + "'.");
    return "SELECT " + list + " FROM " + Bracket(left) + " " + k + " JOIN " + Bracket(right) + on +
           " ORDER BY " + Bracket(left) + "._rowid_, " + Bracket(right) + "._rowid_";
}

void JoinTable(store::Store& store, std::string_view kind, const std::vector<std::string>& keyList,
               std::string_view left, std::string_view leftKey, std::string_view right,
               std::string_view rightKey, std::string_view target, bool omitRightKey) {
    Trap("JoinTable", [&] {
        const auto l = store.FindTable(left);
        const auto r = store.FindTable(right);
        if (!l || !r)
            throw Error(
                store::kErrTableMissing,
                "JoinTable: the table '" + std::string(l ? right : left) + "' does not exist.");
        if (keyList.empty()) {
            // SQLite probes the right table for each left row; a RIGHT or full join also the other
            // way.
            if (store.ColumnExists(*r, rightKey)) store.EnsureLookupIndex(*r, rightKey);
            if (!IEquals(kind, "LEFT") && !IEquals(kind, "INNER") &&
                store.ColumnExists(*l, leftKey))
                store.EnsureLookupIndex(*l, leftKey);
        }
        std::vector<std::string> rightColumns = ColumnNames(store, *r);
        if (omitRightKey)
            std::erase_if(rightColumns, [&](const std::string& c) { return IEquals(c, rightKey); });
        store.SelectInto(JoinTableSql(kind, keyList, *l, ColumnNames(store, *l), leftKey, *r,
                                      rightColumns, rightKey),
                         target);
    });
}

void ExtendUserColumns(store::Store& store, const std::filesystem::path& attributeIni,
                       bool drawingVersionRun) {
    if (drawingVersionRun) return;
    const auto entries = IniDocument::Load(attributeIni).Entries("SQL");
    LogLine(std::to_string(entries.size()) + " SQL statements found");
    bool ran = false;
    for (const auto& entry : entries) {
        const std::string sql(TrimSpace(entry.second));
        if (sql.empty()) continue;
        LogLine("Executing '" + sql + "'...");
        try {
            const auto before = sqlite3_total_changes64(store.handle());
            store.Execute(TranslateAccessSql(sql));
            LogLine(std::to_string(sqlite3_total_changes64(store.handle()) - before) +
                    " records affected");
            ran = true;
            for (const std::string& t : store.TableNames())
                if (NeedsAdoption(store, t)) store.AdoptTable(t);
        } catch (const Error& e) {
            if (e.number() == kErrCancelled) throw;  // a cancel inside the statement ends the run
            LogLine(sql);
            LogLine("ExtendUserColumns:" + e.description());
        }
    }
    if (!ran) return;
    for (const std::string& t : store.TableNames()) {
        try {
            store.FitTypesToData(t);
        } catch (const Error& e) {
            if (e.number() == kErrCancelled) throw;
            LogLine("ExtendUserColumns:" + e.description());
        }
    }
}

}  // namespace tb::extraction
