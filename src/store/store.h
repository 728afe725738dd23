#pragma once
// The extract store: a SQLite working database that stands for the Access file of a run. Columns
// are declared only TEXT, INTEGER, REAL or BLOB, so SQLite never rewrites a value; the Jet type of
// every column lives in the store's catalogue, which the writer reads. Text compares ignore case
// (collation JETNOCASE on every text column), and the helpers here do what Jet's DDL does and
// SQLite's does not. Internal tables are named "__tb_..." and are never written out.
//
// Names are looked up ignoring case, as Jet does; every helper finds the stored spelling first.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/jet_type.h"
#include "store/sqlite.h"

namespace tb::store {

// Tables of the store's own bookkeeping start with this; they are never written out.
inline constexpr std::string_view kInternalPrefix = "__tb_";

// Jet's limits, checked as tables and columns are made so that a run fails early.
inline constexpr int kMaxColumns = 255;
inline constexpr int kMaxNameLength = 64;

// Error numbers as ADO reports them for a missing table and a missing column.
inline constexpr long kErrTableMissing = -2147217865;
inline constexpr long kErrColumnMissing = -2147217904;
inline constexpr long kErrTypeMismatch = 13;

struct ColumnDef {
    std::string name;
    ColumnType type;
};

struct IndexDef {
    std::string table;
    std::string name;  // the Jet name, unique within its table
    std::vector<std::string> columns;
    bool primary = false;
    bool unique = false;
    std::string sqliteName;  // SQLite's (global) name; empty for a counter key, which is the rowid
};

// A table of the extract that is a link to a table of another Access file.
struct LinkDef {
    std::string name;
    std::string remoteTable;
    std::string remotePath;
    std::string password;  // for the link's connect string; never logged
};

// One assignment of an update: column of the target = SQL expression.
struct Assignment {
    std::string column;
    std::string expression;
};

// An UPDATE over a join with Jet's outcome made definite: where several source rows match a
// target row, the last of them in insertion order wins; with `leftJoin`, target rows that match
// nothing get the expressions over Null (Null for plain columns).
struct JoinUpdate {
    std::string target{};  // the table updated
    std::string
        targetAlias{};  // the name `on`, `where` and the expressions use for it; empty: target
    // FROM text of the other side: "pid AS b", "t_plantitem p, pid b". A LEFT join takes one table
    // or one subquery.
    std::string source{};
    std::string on{};  // the join condition
    std::vector<Assignment> set{};
    std::string where{};  // further condition on the joined rows; empty for none
    // The insertion order of the source rows, "a._rowid_, b._rowid_" for a join; the last row in
    // that order wins. Empty: "<alias>._rowid_" of a one-table source.
    std::string order{};
    bool leftJoin = false;
    // Each target row matches one source row at most (a source grouped by the joined column):
    // the update needs no ranking of matches.
    bool oneMatch = false;
    // Source columns (table, column) that `on` matches, each on its own table: when none of
    // them holds a value twice (case ignored), each target row matches one source row at most.
    std::vector<std::pair<std::string, std::string>> uniqueKeys{};
};

// Types given for SelectInto's result columns, by name, in place of those of the sources.
using TypeHints = std::vector<ColumnDef>;

class Store {
  public:
    // A new store in the file `file`; an old file of that name is removed first.
    static Store Create(const std::filesystem::path& file);
    // A store file made earlier (kept after a failed run, or handed over by another step).
    static Store Open(const std::filesystem::path& file);
    // A store in memory (tests; work that needs no file). It cannot be attached elsewhere.
    static Store InMemory();

    Store(Store&&) noexcept = default;
    Store& operator=(Store&&) noexcept = default;
    ~Store() = default;

    sqlite3* handle() const { return db_.get(); }
    // The store's file; empty for a store in memory.
    const std::filesystem::path& path() const { return path_; }

    // --- SQL on the store connection ---
    void Execute(std::string_view sql) const;
    std::int64_t ExecuteCount(std::string_view sql, const Row& params = {}) const;
    Statement Prepare(std::string_view sql) const;
    Value QueryValue(std::string_view sql, const Row& params = {}) const;
    std::vector<Row> QueryRows(std::string_view sql, const Row& params = {}) const;

    // --- Tables and columns (internal tables are never found) ---
    // The stored spelling of a table's name, looked up ignoring case.
    std::optional<std::string> FindTable(std::string_view name) const;
    std::optional<std::string> FindColumn(std::string_view table, std::string_view column) const;
    bool TableExists(std::string_view name) const { return FindTable(name).has_value(); }
    bool ColumnExists(std::string_view table, std::string_view column) const {
        return FindColumn(table, column).has_value();
    }
    // Store tables, sorted ignoring case; links are apart (Links()).
    std::vector<std::string> TableNames() const;
    // The columns in table order with their catalogue types. Raises for a missing table.
    std::vector<ColumnDef> Columns(std::string_view table) const;
    ColumnType TypeOf(std::string_view table, std::string_view column) const;

    // --- Making and reshaping tables ---
    void CreateTable(std::string_view name, const std::vector<ColumnDef>& columns);
    // A Counter column goes through AddCounterId.
    // With `everyRow`, every row holds that number in the new column.
    void AddColumn(std::string_view table, const ColumnDef& column,
                   std::optional<std::int64_t> everyRow = {});
    void DropTable(std::string_view name);
    // SELECT ... INTO: creates `target` from the statement's result. Each column's type comes
    // from the catalogue types of its sources (the widest over every branch of a UNION), else
    // from the data; `hints` name types outright. The rows keep the statement's order.
    void SelectInto(std::string_view select, std::string_view target, const TypeHints& hints = {});
    // Jet's "ADD COLUMN [ID] COUNTER CONSTRAINT [ID] PRIMARY KEY": the rows are numbered 1..n in
    // stored order and later inserts continue the numbering. The key's index has the column's name.
    void AddCounterId(std::string_view table, std::string_view column = "ID");
    // Changes a column's type, converting its values as Jet does (numbers to text as Access shows
    // them). Values that do not convert raise an error naming table, column and value. A text
    // width too small for the values widens to fit.
    void AlterColumnType(std::string_view table, std::string_view column, const ColumnType& type);
    // AlterColumnType for several columns of one table, with a single rebuild for all of them.
    void AlterColumnTypes(std::string_view table, const std::vector<ColumnDef>& columns);
    // A rename that changes only the case goes through a temporary name.
    void RenameTable(std::string_view oldName, std::string_view newName);
    void RenameColumn(std::string_view table, std::string_view oldName, std::string_view newName);
    // Drops the column's indexes first, as SQLite refuses to drop an indexed column.
    void DropColumn(std::string_view table, std::string_view column);

    // --- Indexes (SQLite's names are global; Jet's are per table and kept in the catalogue) ---
    // One index on one column; the Jet name defaults to the column's name. Asking again for an
    // index that is already there returns it.
    IndexDef IndexColumn(std::string_view column, std::string_view table,
                         std::string_view jetName = {});
    // A lookup index of the store's own on a join key, unless an index already leads with the
    // column. It speeds the run's joins and is never written out (it is not in the catalogue).
    void EnsureLookupIndex(std::string_view table, std::string_view column);
    IndexDef CreateIndex(std::string_view table, std::string_view jetName,
                         const std::vector<std::string>& columns, bool primary, bool unique);
    std::vector<IndexDef> Indexes(std::string_view table) const;

    // --- Linked tables: recorded only, for the writer to emit ---
    void CreateLink(const LinkDef& link);
    std::optional<LinkDef> FindLink(std::string_view name) const;
    std::vector<LinkDef> Links() const;
    void DropLink(std::string_view name);
    void RenameLink(std::string_view oldName, std::string_view newName);

    // --- Types and data ---
    // Brings the catalogue in line with the values: a Text(n) column holding longer values widens
    // (Memo beyond 255 characters); a number column holding text becomes text. True when
    // anything changed. Call after rows arrive by SQL the store did not see.
    bool FitTypesToData(std::string_view table);
    // The same for the named columns only: those whose values an expression or plain SQL made.
    bool FitTypesToData(std::string_view table, const std::vector<std::string>& columns);
    // Takes a table made by plain SQL into the catalogue: types from the declarations (Jet's DDL
    // names are understood), text columns given the collation, declarations reduced to the four.
    void AdoptTable(std::string_view table);

    // Runs a JoinUpdate and fits the set columns to their new values; returns the number of
    // target rows written.
    std::int64_t UpdateFromJoin(const JoinUpdate& update);

  private:
    Store(Connection db, std::filesystem::path path);
    void Setup();

    struct RebuildColumn {
        std::string name;
        ColumnType type;
        std::string expression;  // over the old table; empty: a counter numbered anew
    };
    // Rewrites the table with new declarations, keeping rowids (stored order) and indexes.
    void Rebuild(const std::string& table, const std::vector<RebuildColumn>& columns);
    std::string RequireTable(std::string_view name, std::string_view routine) const;
    std::string RequireColumn(const std::string& table, std::string_view column,
                              std::string_view routine) const;
    void CheckNewTableName(std::string_view name, std::string_view routine) const;
    void SetCatalogType(std::string_view table, std::string_view column,
                        const ColumnType& type) const;
    std::optional<ColumnType> CatalogType(std::string_view table, std::string_view column) const;
    // Converts the values of the columns (stored names) to their new types: one rebuild for all
    // whose storage changes, then Jet's checks; sets the catalogue.
    void ConvertValues(const std::string& table, const std::vector<ColumnDef>& changes);
    void ChangeTypes(std::string_view table, const std::vector<ColumnDef>& columns);
    bool FitColumns(const std::string& table, const std::vector<ColumnDef>& columns);

    Connection db_;
    std::filesystem::path path_;
};

// The first character of `name` that Jet does not allow in a name (. ! ` [ ] or a control
// character); none when it holds none.
std::optional<char> ForbiddenNameCharacter(std::string_view name);

// Checks a table or column name against Jet's rules (64 characters, no . ! ` [ ], no control
// characters, no leading blank); raises a tb::Error naming it. `table` is empty for a table name.
void CheckAccessName(std::string_view table, std::string_view column);

// The "first()"/"last()" of Access: the first or last row of each group in insertion order,
// as a condition for the outer query's WHERE:
//   "<qualifier>.rowid IN (SELECT min(rowid) FROM <table> WHERE <where> GROUP BY <groupBy>)".
// The outer query must repeat `where` itself. `qualifier` defaults to the table.
std::string FirstRowsFilter(std::string_view table, std::string_view groupBy,
                            std::string_view where = {}, std::string_view qualifier = {});
std::string LastRowsFilter(std::string_view table, std::string_view groupBy,
                           std::string_view where = {}, std::string_view qualifier = {});

// The SQLite text that UpdateFromJoin runs.
std::string UpdateFromJoinSql(const JoinUpdate& update);

}  // namespace tb::store
