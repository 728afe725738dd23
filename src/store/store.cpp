#include "store/store.h"

#include <algorithm>
#include <system_error>

#include "common/error.h"
#include "common/text.h"
#include "store/access_text.h"
#include "store/sql_functions.h"
#include "store/store_internal.h"

namespace tb::store {

namespace {

constexpr std::string_view kCatalogSql = R"(
CREATE TABLE IF NOT EXISTS __tb_columns(
    table_name TEXT NOT NULL COLLATE JETNOCASE,
    column_name TEXT NOT NULL COLLATE JETNOCASE,
    jet_type TEXT NOT NULL,
    PRIMARY KEY(table_name, column_name)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS __tb_indexes(
    table_name TEXT NOT NULL COLLATE JETNOCASE,
    index_name TEXT NOT NULL COLLATE JETNOCASE,
    position INTEGER NOT NULL,
    column_name TEXT NOT NULL COLLATE JETNOCASE,
    sqlite_name TEXT NOT NULL,
    is_primary INTEGER NOT NULL,
    is_unique INTEGER NOT NULL,
    PRIMARY KEY(table_name, index_name, position)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS __tb_links(
    link_name TEXT NOT NULL PRIMARY KEY COLLATE JETNOCASE,
    remote_table TEXT NOT NULL,
    remote_path TEXT NOT NULL,
    password TEXT NOT NULL) WITHOUT ROWID;
)";

// Store tables: not ours, not SQLite's.
constexpr std::string_view kUserTables =
    "type = 'table' AND lower(substr(name, 1, 5)) <> '__tb_' AND lower(substr(name, 1, 7)) <> "
    "'sqlite_'";

std::string SelectUserTables(std::string_view extra) {
    return "SELECT name FROM sqlite_schema WHERE " + std::string(kUserTables) + std::string(extra);
}

}  // namespace

bool IsInternalName(std::string_view name) {
    return IStartsWith(name, kInternalPrefix);
}

void CheckAccessName(std::string_view table, std::string_view column) {
    const bool isTable = column.empty();
    const std::string_view name = isTable ? table : column;
    if (IsInternalName(name)) return;
    const std::string what =
        isTable ? "Table '" + std::string(table) + "'"
                : "Column '" + std::string(column) + "' of table '" + std::string(table) + "'";
    if (TrimSpace(name).empty()) Raise(what + ": the name is empty.");
    if (name.front() == ' ')
        Raise(what + ": the name starts with a blank, which Access does not allow.");
    if (CodePointCount(name) > static_cast<std::size_t>(kMaxNameLength))
        Raise(what + ": the name is longer than " + std::to_string(kMaxNameLength) +
              " characters, which Access does not allow.");
    if (const auto c = ForbiddenNameCharacter(name)) {
        if (static_cast<unsigned char>(*c) < 0x20)
            Raise(what + ": the name holds a control character, which Access does not allow.");
        Raise(what + ": the name holds '" + std::string(1, *c) +
              "', which Access does not allow in names.");
    }
}

std::optional<char> ForbiddenNameCharacter(std::string_view name) {
    for (char c : name)
        if (c == '.' || c == '!' || c == '`' || c == '[' || c == ']' ||
            static_cast<unsigned char>(c) < 0x20)
            return c;
    return std::nullopt;
}

// --- opening ---

Store::Store(Connection db, std::filesystem::path path)
    : db_(std::move(db)), path_(std::move(path)) {
    Setup();
}

Store Store::Create(const std::filesystem::path& file) {
    return Trap("Store::Create", [&] {
        std::error_code ec;
        for (const char* suffix : {"", "-journal", "-wal", "-shm"})
            std::filesystem::remove(file.string() + suffix, ec);
        Connection db(file.string(),
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX);
        return Store(std::move(db), file);
    });
}

Store Store::Open(const std::filesystem::path& file) {
    return Trap("Store::Open", [&] {
        if (!std::filesystem::exists(file))
            throw Error(kErrFileNotFound, "The store '" + file.string() + "' does not exist.");
        Connection db(file.string(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX);
        return Store(std::move(db), file);
    });
}

Store Store::InMemory() {
    Connection db(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX);
    return Store(std::move(db), {});
}

void Store::Setup() {
    sqlite3* db = handle();
    RegisterStoreSql(db);
    sqlite3_busy_timeout(db, 5000);
    StopOnCancel(db);
    // A working file: a crash loses the run anyway, so no journal on disk and no syncs. The
    // journal stays in memory so that a failed helper still rolls back.
    tb::store::Execute(db,
                       "PRAGMA journal_mode=MEMORY; PRAGMA synchronous=OFF; "
                       "PRAGMA cache_size=-65536; PRAGMA foreign_keys=OFF;");
    tb::store::Execute(db, kCatalogSql);
}

// --- SQL ---

void Store::Execute(std::string_view sql) const {
    tb::store::Execute(handle(), sql);
}

std::int64_t Store::ExecuteCount(std::string_view sql, const Row& params) const {
    return tb::store::ExecuteCount(handle(), sql, params);
}

Statement Store::Prepare(std::string_view sql) const {
    return Statement(handle(), sql);
}

Value Store::QueryValue(std::string_view sql, const Row& params) const {
    return tb::store::QueryValue(handle(), sql, params);
}

std::vector<Row> Store::QueryRows(std::string_view sql, const Row& params) const {
    return tb::store::QueryRows(handle(), sql, params);
}

// --- names ---

std::optional<std::string> Store::FindTable(std::string_view name) const {
    if (IsInternalName(name)) return std::nullopt;
    const Value v = QueryValue(SelectUserTables(" AND name = ?1 COLLATE JETNOCASE"), {name});
    if (v.isNull()) return std::nullopt;
    return v.text();
}

std::optional<std::string> Store::FindColumn(std::string_view table,
                                             std::string_view column) const {
    const auto t = FindTable(table);
    if (!t) return std::nullopt;
    const Value v = QueryValue(
        "SELECT name FROM pragma_table_info(?1) WHERE name = ?2 COLLATE JETNOCASE", {*t, column});
    if (v.isNull()) return std::nullopt;
    return v.text();
}

std::vector<std::string> Store::TableNames() const {
    std::vector<std::string> out;
    for (const Row& r : QueryRows(SelectUserTables(" ORDER BY name COLLATE JETNOCASE")))
        out.push_back(r[0].text());
    return out;
}

std::string Store::RequireTable(std::string_view name, std::string_view routine) const {
    const auto t = FindTable(name);
    if (!t)
        throw Error(kErrTableMissing, "Table '" + std::string(name) + "' does not exist.",
                    std::string(routine));
    return *t;
}

std::string Store::RequireColumn(const std::string& table, std::string_view column,
                                 std::string_view routine) const {
    const auto c = FindColumn(table, column);
    if (!c)
        throw Error(kErrColumnMissing,
                    "Column '" + std::string(column) + "' does not exist in table '" + table + "'.",
                    std::string(routine));
    return *c;
}

void Store::CheckNewTableName(std::string_view name, std::string_view) const {
    if (IStartsWith(name, "sqlite_"))
        Raise("Table '" + std::string(name) + "': the name is reserved.");
    CheckAccessName(name, {});
    if (FindTable(name) || FindLink(name))
        Raise("Table '" + std::string(name) + "' already exists.");
}

// --- catalogue ---

void Store::SetCatalogType(std::string_view table, std::string_view column,
                           const ColumnType& type) const {
    ExecuteCount(
        "INSERT OR REPLACE INTO __tb_columns(table_name, column_name, jet_type) VALUES(?1, ?2, ?3)",
        {table, column, type.Name()});
}

std::optional<ColumnType> Store::CatalogType(std::string_view table,
                                             std::string_view column) const {
    const Value v =
        QueryValue("SELECT jet_type FROM __tb_columns WHERE table_name = ?1 AND column_name = ?2",
                   {table, column});
    if (v.isNull()) return std::nullopt;
    return ColumnType::FromName(v.text());
}

void ForgetTable(const Store& store, std::string_view table) {
    store.ExecuteCount("DELETE FROM __tb_columns WHERE table_name = ?1", {table});
    store.ExecuteCount("DELETE FROM __tb_indexes WHERE table_name = ?1", {table});
}

std::vector<ColumnDef> Store::Columns(std::string_view table) const {
    const std::string t = RequireTable(table, "Columns");
    std::vector<ColumnDef> out;
    for (const Row& r :
         QueryRows("SELECT p.name, p.type, c.jet_type FROM pragma_table_info(?1) AS p "
                   "LEFT JOIN __tb_columns AS c ON c.table_name = ?1 AND c.column_name = p.name "
                   "ORDER BY p.cid",
                   {t})) {
        ColumnDef d{r[0].text(), ColumnType::Text()};
        std::optional<ColumnType> type;
        if (!r[2].isNull()) type = ColumnType::FromName(r[2].text());
        if (!type) type = ColumnType::FromDeclaration(r[1].ToText());
        if (type) d.type = *type;
        out.push_back(std::move(d));
    }
    return out;
}

ColumnType Store::TypeOf(std::string_view table, std::string_view column) const {
    const std::string t = RequireTable(table, "TypeOf");
    const std::string c = RequireColumn(t, column, "TypeOf");
    for (const ColumnDef& d : Columns(t))
        if (d.name == c) return d.type;
    return ColumnType::Text();
}

// --- making tables ---

void Store::CreateTable(std::string_view name, const std::vector<ColumnDef>& columns) {
    Trap("CreateTable", [&] {
        CheckNewTableName(name, "CreateTable");
        if (columns.empty()) Raise("Table '" + std::string(name) + "' needs at least one column.");
        CheckColumnCount(name, columns.size());
        std::string sql = "CREATE TABLE " + QuoteName(name) + " (";
        int counters = 0;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const ColumnDef& c = columns[i];
            CheckAccessName(name, c.name);
            for (std::size_t j = 0; j < i; ++j)
                if (CompareIgnoringCase(columns[j].name, c.name) == 0)
                    Raise("Table '" + std::string(name) + "' has the column '" + c.name +
                          "' twice.");
            if (c.type.counter && ++counters > 1)
                Raise("Table '" + std::string(name) + "' has more than one counter column.");
            if (i) sql += ", ";
            sql += QuoteName(c.name) + " " + Declaration(c.type);
        }
        sql += ")";
        Transaction tx(handle());
        ForgetTable(*this, name);
        Execute(sql);
        for (const ColumnDef& c : columns) SetCatalogType(name, c.name, c.type);
        tx.Commit();
    });
}

void Store::AddColumn(std::string_view table, const ColumnDef& column,
                      std::optional<std::int64_t> everyRow) {
    Trap("AddColumn", [&] {
        if (column.type.counter) return AddCounterId(table, column.name);
        if (everyRow && column.type.storage() != Storage::Integer)
            Raise("AddColumn: a number for every row needs a number column.");
        const std::string t = RequireTable(table, {});
        CheckAccessName(t, column.name);
        if (FindColumn(t, column.name))
            Raise("Field '" + column.name + "' already exists in table '" + t + "'.");
        CheckColumnCount(t, Columns(t).size() + 1);
        Transaction tx(handle());
        // A default fills the rows without writing them.
        Execute("ALTER TABLE " + QuoteName(t) + " ADD COLUMN " + QuoteName(column.name) + " " +
                Declaration(column.type) +
                (everyRow ? " DEFAULT " + std::to_string(*everyRow) : ""));
        SetCatalogType(t, column.name, column.type);
        tx.Commit();
    });
}

void Store::DropTable(std::string_view name) {
    Trap("DropTable", [&] {
        const std::string t = RequireTable(name, {});
        Transaction tx(handle());
        Execute("DROP TABLE " + QuoteName(t));
        ForgetTable(*this, t);
        tx.Commit();
    });
}

void Store::RenameTable(std::string_view oldName, std::string_view newName) {
    Trap("RenameTable", [&] {
        const std::string t = RequireTable(oldName, {});
        if (t == newName) return;
        const bool caseOnly = CompareIgnoringCase(t, newName) == 0;
        if (!caseOnly)
            CheckNewTableName(newName, {});
        else
            CheckAccessName(newName, {});
        Transaction tx(handle());
        if (caseOnly) {
            // SQLite sees the two spellings as one name and refuses the rename.
            const std::string tmp = std::string(kInternalPrefix) + "rename";
            Execute("ALTER TABLE " + QuoteName(t) + " RENAME TO " + QuoteName(tmp));
            Execute("ALTER TABLE " + QuoteName(tmp) + " RENAME TO " + QuoteName(newName));
        } else {
            ForgetTable(*this, newName);
            Execute("ALTER TABLE " + QuoteName(t) + " RENAME TO " + QuoteName(newName));
        }
        ExecuteCount("UPDATE __tb_columns SET table_name = ?2 WHERE table_name = ?1", {t, newName});
        ExecuteCount("UPDATE __tb_indexes SET table_name = ?2 WHERE table_name = ?1", {t, newName});
        tx.Commit();
    });
}

void Store::RenameColumn(std::string_view table, std::string_view oldName,
                         std::string_view newName) {
    Trap("RenameColumn", [&] {
        const std::string t = RequireTable(table, {});
        const std::string c = RequireColumn(t, oldName, {});
        if (c == newName) return;
        CheckAccessName(t, newName);
        if (CompareIgnoringCase(c, newName) != 0 && FindColumn(t, newName))
            Raise("Field '" + std::string(newName) + "' already exists in table '" + t + "'.");
        Transaction tx(handle());
        Execute("ALTER TABLE " + QuoteName(t) + " RENAME COLUMN " + QuoteName(c) + " TO " +
                QuoteName(newName));
        ExecuteCount(
            "UPDATE __tb_columns SET column_name = ?3 WHERE table_name = ?1 AND column_name = ?2",
            {t, c, newName});
        ExecuteCount(
            "UPDATE __tb_indexes SET column_name = ?3 WHERE table_name = ?1 AND column_name = ?2",
            {t, c, newName});
        tx.Commit();
    });
}

void Store::DropColumn(std::string_view table, std::string_view column) {
    Trap("DropColumn", [&] {
        const std::string t = RequireTable(table, {});
        const std::string c = RequireColumn(t, column, {});
        const ColumnType type = TypeOf(t, c);
        Transaction tx(handle());
        // Every index that holds the column goes, ours and any made by plain SQL.
        for (const Row& r : QueryRows("SELECT DISTINCT index_name FROM __tb_indexes "
                                      "WHERE table_name = ?1 AND column_name = ?2",
                                      {t, c})) {
            for (const Row& s :
                 QueryRows("SELECT DISTINCT sqlite_name FROM __tb_indexes WHERE "
                           "table_name = ?1 AND index_name = ?2 AND sqlite_name <> ''",
                           {t, r[0]}))
                Execute("DROP INDEX IF EXISTS " + QuoteName(s[0].text()));
            ExecuteCount("DELETE FROM __tb_indexes WHERE table_name = ?1 AND index_name = ?2",
                         {t, r[0]});
        }
        for (const Row& r : QueryRows("SELECT DISTINCT il.name FROM pragma_index_list(?1) AS il, "
                                      "pragma_index_info(il.name) AS ii "
                                      "WHERE il.origin = 'c' AND ii.name = ?2 COLLATE NOCASE",
                                      {t, c}))
            Execute("DROP INDEX " + QuoteName(r[0].text()));
        if (type.counter) {
            // The counter is the rowid: SQLite cannot drop it in place.
            std::vector<RebuildColumn> keep;
            for (const ColumnDef& d : Columns(t))
                if (d.name != c) keep.push_back({d.name, d.type, QuoteName(d.name)});
            if (keep.empty()) Raise("Table '" + t + "' cannot lose its only column '" + c + "'.");
            Rebuild(t, keep);
        } else {
            Execute("ALTER TABLE " + QuoteName(t) + " DROP COLUMN " + QuoteName(c));
        }
        ExecuteCount("DELETE FROM __tb_columns WHERE table_name = ?1 AND column_name = ?2", {t, c});
        tx.Commit();
    });
}

// --- indexes ---

IndexDef Store::IndexColumn(std::string_view column, std::string_view table,
                            std::string_view jetName) {
    return Trap("IndexColumn", [&] {
        const std::string t = RequireTable(table, {});
        const std::string c = RequireColumn(t, column, {});
        return CreateIndex(t, jetName.empty() ? std::string_view(c) : jetName, {c}, false, false);
    });
}

IndexDef Store::CreateIndex(std::string_view table, std::string_view jetName,
                            const std::vector<std::string>& columns, bool primary, bool unique) {
    return Trap("CreateIndex", [&] {
        const std::string t = RequireTable(table, {});
        if (columns.empty())
            Raise("Index '" + std::string(jetName) + "' of table '" + t + "' has no column.");
        IndexDef def{t, std::string(jetName), {}, primary, unique || primary, {}};
        for (const std::string& c : columns) def.columns.push_back(RequireColumn(t, c, {}));
        if (def.name.empty()) def.name = def.columns[0];

        for (const IndexDef& old : Indexes(t)) {
            if (CompareIgnoringCase(old.name, def.name) == 0) {
                const bool same = old.columns.size() == def.columns.size() &&
                                  std::equal(old.columns.begin(), old.columns.end(),
                                             def.columns.begin(), [](const auto& a, const auto& b) {
                                                 return CompareIgnoringCase(a, b) == 0;
                                             });
                if (same && old.primary == def.primary && old.unique == def.unique) return old;
                Raise("Index '" + def.name + "' already exists on table '" + t + "'.");
            }
            if (primary && old.primary)
                Raise("Table '" + t + "' already has a primary key ('" + old.name + "').");
        }

        // SQLite's index names are one name space for the whole file.
        const std::string base = std::string(kInternalPrefix) + "ix_" + t + "_" + def.name;
        def.sqliteName = base;
        for (int n = 2; !QueryValue("SELECT 1 FROM sqlite_schema WHERE name = ?1 COLLATE NOCASE",
                                    {def.sqliteName})
                             .isNull();
             ++n)
            def.sqliteName = base + "_" + std::to_string(n);

        std::string sql = std::string("CREATE ") + (def.unique ? "UNIQUE " : "") + "INDEX " +
                          QuoteName(def.sqliteName) + " ON " + QuoteName(t) + " (";
        for (std::size_t i = 0; i < def.columns.size(); ++i)
            sql += (i ? ", " : "") + QuoteName(def.columns[i]);
        sql += ")";
        Transaction tx(handle());
        Execute(sql);
        for (std::size_t i = 0; i < def.columns.size(); ++i)
            ExecuteCount("INSERT INTO __tb_indexes VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)",
                         {t, def.name, static_cast<std::int64_t>(i), def.columns[i], def.sqliteName,
                          def.primary ? 1 : 0, def.unique ? 1 : 0});
        tx.Commit();
        return def;
    });
}

std::vector<IndexDef> Store::Indexes(std::string_view table) const {
    const std::string t = RequireTable(table, "Indexes");
    std::vector<IndexDef> out;
    for (const Row& r :
         QueryRows("SELECT index_name, column_name, sqlite_name, is_primary, is_unique "
                   "FROM __tb_indexes WHERE table_name = ?1 ORDER BY index_name, position",
                   {t})) {
        if (out.empty() || out.back().name != r[0].text())
            out.push_back(
                {t, r[0].text(), {}, r[3].integer() != 0, r[4].integer() != 0, r[2].text()});
        out.back().columns.push_back(r[1].text());
    }
    return out;
}

// --- links ---

void Store::CreateLink(const LinkDef& link) {
    Trap("MdbCreateLink", [&] {
        CheckNewTableName(link.name, {});
        if (link.remoteTable.empty() || link.remotePath.empty())
            Raise("The link '" + link.name + "' needs a remote table and a file.");
        ExecuteCount("INSERT INTO __tb_links VALUES(?1, ?2, ?3, ?4)",
                     {link.name, link.remoteTable, link.remotePath, link.password});
    });
}

std::optional<LinkDef> Store::FindLink(std::string_view name) const {
    const auto rows = QueryRows(
        "SELECT link_name, remote_table, remote_path, password FROM __tb_links "
        "WHERE link_name = ?1",
        {name});
    if (rows.empty()) return std::nullopt;
    return LinkDef{rows[0][0].text(), rows[0][1].text(), rows[0][2].text(), rows[0][3].text()};
}

std::vector<LinkDef> Store::Links() const {
    std::vector<LinkDef> out;
    for (const Row& r :
         QueryRows("SELECT link_name, remote_table, remote_path, password FROM __tb_links "
                   "ORDER BY link_name"))
        out.push_back({r[0].text(), r[1].text(), r[2].text(), r[3].text()});
    return out;
}

void Store::DropLink(std::string_view name) {
    if (ExecuteCount("DELETE FROM __tb_links WHERE link_name = ?1", {name}) == 0)
        throw Error(kErrTableMissing, "Table '" + std::string(name) + "' does not exist.",
                    "DropLink");
}

void Store::RenameLink(std::string_view oldName, std::string_view newName) {
    Trap("RenameLink", [&] {
        const auto link = FindLink(oldName);
        if (!link)
            throw Error(kErrTableMissing, "Table '" + std::string(oldName) + "' does not exist.");
        if (CompareIgnoringCase(link->name, newName) != 0)
            CheckNewTableName(newName, {});
        else
            CheckAccessName(newName, {});
        ExecuteCount("UPDATE __tb_links SET link_name = ?2 WHERE link_name = ?1",
                     {link->name, newName});
    });
}

// --- first() and last() ---

namespace {
std::string GroupRowsFilter(const char* pick, std::string_view table, std::string_view groupBy,
                            std::string_view where, std::string_view qualifier) {
    std::string out = (qualifier.empty() ? QuoteName(table) : std::string(qualifier)) + "." +
                      std::string(kRowid) + " IN (SELECT " + pick + "(" + std::string(kRowid) +
                      ") FROM " + QuoteName(table);
    if (!where.empty()) out += " WHERE " + std::string(where);
    out += " GROUP BY " + std::string(groupBy) + ")";
    return out;
}
}  // namespace

std::string FirstRowsFilter(std::string_view table, std::string_view groupBy,
                            std::string_view where, std::string_view qualifier) {
    return GroupRowsFilter("min", table, groupBy, where, qualifier);
}

std::string LastRowsFilter(std::string_view table, std::string_view groupBy, std::string_view where,
                           std::string_view qualifier) {
    return GroupRowsFilter("max", table, groupBy, where, qualifier);
}

}  // namespace tb::store
