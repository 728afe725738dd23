// WriteStoreFile: the store's tables into an .mdb through our Jet writer, or into a plain SQLite
// file. Both forms read the rows through StoreTableSource, so they refuse the same values with the
// same messages.

#include <algorithm>
#include <memory>
#include <string>

#include "common/error.h"
#include "common/log.h"
#include "common/temp_file.h"
#include "common/text.h"
#include "common/write_guard.h"
#include "mdb/date_time.h"
#include "storefile/store_file.h"
#include "storefile/store_rows.h"

namespace tb::storefile {

namespace {

// The catalogue's indexes of a table as the writer takes them, all ascending: the COUNTER key
// is the primary key.
std::vector<mdb::IndexDef> JetIndexes(const store::Store& store, const std::string& table,
                                      const mdb::TableDef& def) {
    std::vector<mdb::IndexDef> out;
    for (const store::IndexDef& ix : store.Indexes(table)) {
        mdb::IndexDef d{ix.name, {}, ix.primary, ix.unique || ix.primary, false};
        bool indexable = true;
        for (const std::string& c : ix.columns) {
            d.columns.push_back({c, true});
            for (const mdb::Column& col : def.columns)
                if (IEquals(col.name, c) &&
                    (col.type == mdb::JetType::Memo || col.type == mdb::JetType::OLE))
                    indexable = false;
        }
        // A text column that grew past 255 characters became a Memo, which Jet 4 cannot index.
        if (!indexable) {
            LogLine("Index " + ix.name + " of table " + table +
                    " is not written: one of its columns is a Memo or OLE column.");
            continue;
        }
        out.push_back(std::move(d));
    }
    return out;
}

// Tables in the order written: the store's user tables, never its own bookkeeping.
std::vector<std::string> TablesToWrite(const store::Store& store) {
    std::vector<std::string> out;
    for (std::string& t : store.TableNames())
        if (!IStartsWith(t, store::kInternalPrefix)) out.push_back(std::move(t));
    return out;
}

void LogSkippedLinks(const store::Store& store) {
    // The password of a link is never logged.
    for (const store::LinkDef& link : store.Links())
        LogLine("Link " + link.name + " (table " + link.remoteTable + " of " + link.remotePath +
                ") is not written: a SQLite extract has no linked tables.");
}

// --- .mdb ---

// The tables WriteTableApart marked, with their files.
constexpr std::string_view kApartTable = "__tb_tables_apart";

std::vector<std::pair<std::string, fs::path>> TablesApart(const store::Store& store) {
    std::vector<std::pair<std::string, fs::path>> out;
    if (store.QueryValue("SELECT 1 FROM sqlite_schema WHERE name = ?1", {std::string(kApartTable)})
            .isNull())
        return out;
    for (const store::Row& r : store.QueryRows("SELECT table_name, file FROM " +
                                               store::QuoteName(kApartTable) + " ORDER BY rowid"))
        if (const auto t = store.FindTable(r[0].text())) out.emplace_back(*t, r[1].text());
    return out;
}

// Writes one table with its indexes through the writer.
void WriteTable(const store::Store& store, const std::string& table, mdb::JetWriter& writer,
                WriteSummary& summary) {
    ShowProgress("Writing " + table + "...");
    StoreTableSource rows(store, table);
    writer.AddTable(rows.def(), rows, JetIndexes(store, table, rows.def()));
    summary.tables.push_back(table);
    summary.rows += rows.rowsRead();
}

// The provider string Access keeps with a link to an Access file; the password only when
// there is one.
std::string LinkConnect(const std::string& password) {
    return password.empty() ? std::string() : "MS Access;PWD=" + password;
}

// Every file of the extract is finished under its temporary name before any of them replaces
// its target (the link files, then the extract last), so a failure or a cancel up to the renames
// leaves the previous extract and link files as they were, and no temporary file.
WriteSummary WriteMdb(const store::Store& store, const fs::path& target,
                      const WriteOptions& options) {
    WriteSummary summary;
    const auto apart = TablesApart(store);
    mdb::JetWriter writer(target, options.jet);  // removes its temporary file unless renamed
    std::vector<std::unique_ptr<mdb::JetWriter>> linkWriters;
    for (const auto& [table, file] : apart) {
        CheckCancel();
        LogLine("Writing table " + table + " into " + file.string() + ", linked into " +
                target.string());
        // The link keeps the path as given; the file written is the one a symbolic link names.
        mdb::JetWriter& linkWriter = *linkWriters.emplace_back(
            std::make_unique<mdb::JetWriter>(ResolveWriteTarget(file), options.jet));
        WriteTable(store, table, linkWriter, summary);
        linkWriter.Finish();
        writer.AddLink({table, file.string(), table, {}});
    }
    for (const std::string& table : TablesToWrite(store)) {
        const bool isApart = std::any_of(apart.begin(), apart.end(),
                                         [&](const auto& a) { return a.first == table; });
        if (isApart) continue;
        CheckCancel();
        WriteTable(store, table, writer, summary);
    }
    for (const store::LinkDef& link : store.Links())
        writer.AddLink({link.name, link.remotePath, link.remoteTable, LinkConnect(link.password)});
    writer.Finish();
    CheckCancel();  // the last moment at which nothing has been replaced
    for (const auto& linkWriter : linkWriters) linkWriter->Rename();
    writer.Rename();
    return summary;
}

// --- .sqlite ---

// Declarations every SQLite reader understands; text compares ignore (ASCII) case with the
// built-in NOCASE, so the file needs no collation of ours.
std::string SqliteDeclaration(const store::ColumnType& type) {
    switch (type.jet) {
        case mdb::JetType::Text:
        case mdb::JetType::Memo:
            return "TEXT COLLATE NOCASE";
        case mdb::JetType::DateTime:
        case mdb::JetType::GUID:
            return "TEXT";
        case mdb::JetType::Boolean:
        case mdb::JetType::Byte:
        case mdb::JetType::Integer:
        case mdb::JetType::Long:
            return "INTEGER";
        case mdb::JetType::Single:
        case mdb::JetType::Double:
        case mdb::JetType::Currency:
        case mdb::JetType::Numeric:
            return "REAL";
        case mdb::JetType::OLE:
        case mdb::JetType::Binary:
            return "BLOB";
    }
    return "BLOB";
}

// Binds a checked value as the SQLite file keeps it: Booleans 1/0, Currency as REAL, dates as
// ISO text, GUIDs as their "{...}" text. `scratch` holds converted text until the step.
void BindValue(store::Statement& insert, int index, const mdb::Value& value, std::string& scratch) {
    std::visit(
        [&](const auto& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, mdb::Null>) {
                insert.BindNull(index);
            } else if constexpr (std::is_same_v<T, bool>) {
                insert.BindInt(index, v ? 1 : 0);
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                insert.BindInt(index, v);
            } else if constexpr (std::is_same_v<T, double>) {
                insert.BindDouble(index, v);
            } else if constexpr (std::is_same_v<T, mdb::Currency>) {
                insert.BindDouble(index, static_cast<double>(v.scaled) / 10000.0);
            } else if constexpr (std::is_same_v<T, mdb::DateTime>) {
                insert.BindText(index, mdb::DateTimeToText(v));
            } else if constexpr (std::is_same_v<T, std::string>) {
                insert.BindTextNoCopy(index, v);
            } else if constexpr (std::is_same_v<T, mdb::Bytes>) {
                insert.BindBlob(index, v.data(), v.size());
            } else {
                scratch = GuidToText(v);
                insert.BindText(index, scratch);
            }
        },
        value);
}

void WriteSqliteTable(sqlite3* out, const store::Store& store, const std::string& table,
                      store::Statement& recordType, WriteSummary& summary) {
    StoreTableSource rows(store, table);
    store::Transaction tx(out);
    std::string create = "CREATE TABLE " + store::QuoteName(table) + " (";
    std::string insertSql = "INSERT INTO " + store::QuoteName(table) + " VALUES (";
    for (std::size_t i = 0; i < rows.columns().size(); ++i) {
        const store::ColumnDef& c = rows.columns()[i];
        create += (i ? ", " : "") + store::QuoteName(c.name) + " " + SqliteDeclaration(c.type);
        insertSql += i ? ", ?" : "?";
        recordType.BindText(1, table).BindText(2, c.name).BindInt(3,
                                                                  static_cast<std::int64_t>(i + 1));
        recordType.BindText(4, c.type.Name()).Run();
    }
    store::Execute(out, create + ")");
    store::Statement insert(out, insertSql + ")");

    ProgressMeter meter("Writing table " + table, static_cast<std::uint64_t>(rows.RowCountHint()));
    mdb::Row row;
    std::string scratch;
    while (rows.Next(row)) {
        for (std::size_t i = 0; i < row.size(); ++i)
            BindValue(insert, static_cast<int>(i + 1), row[i], scratch);
        insert.Run();
        meter.Advance();
    }
    tx.Commit();
    summary.tables.push_back(table);
    summary.rows += rows.rowsRead();
}

WriteSummary WriteSqlite(const store::Store& store, const fs::path& target) {
    const std::vector<std::string> tables = TablesToWrite(store);
    for (const std::string& t : tables)
        if (IEquals(t, kJetTypesTable))
            Raise("The table '" + t +
                  "' cannot be written to a SQLite extract: the file keeps its column "
                  "types under that name.");

    AtomicFile file(target);  // removed unless renamed onto the target
    // SQLite opens the file by name; ours is closed now, as closing it while SQLite has the file
    // open would drop SQLite's locks.
    file.CloseDescriptor();
    WriteSummary summary;
    try {
        store::Connection out(file.temporary().string(),
                              SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX);
        // The file is discarded on any failure: no journal on disk, no syncs until it is complete.
        store::Execute(
            out.get(),
            "PRAGMA journal_mode=MEMORY; PRAGMA synchronous=OFF; PRAGMA page_size=4096;");
        store::Execute(out.get(), "CREATE TABLE " + store::QuoteName(kJetTypesTable) +
                                      " (table_name TEXT NOT NULL, column_name TEXT NOT NULL, "
                                      "position INTEGER NOT NULL, jet_type TEXT NOT NULL, "
                                      "PRIMARY KEY (table_name, column_name))");
        store::Statement recordType(
            out.get(), "INSERT INTO " + store::QuoteName(kJetTypesTable) + " VALUES (?, ?, ?, ?)");
        for (const std::string& table : tables) {
            CheckCancel();
            ShowProgress("Writing " + table + "...");
            WriteSqliteTable(out.get(), store, table, recordType, summary);
        }
    } catch (const Error& e) {
        // SQLite's own messages (a full disk, a vanished file) do not say which file.
        if (e.number() != kErrDatabase) throw;
        throw Error(e.number(), "Writing " + target.string() + ": " + e.description(), e.source());
    }  // the connection is closed before the rename
    CheckCancel();
    file.Sync("Cannot complete " + target.string());
    file.Rename();
    return summary;
}

}  // namespace

void WriteTableApart(const store::Store& store, std::string_view table, const fs::path& linkFile) {
    Trap("WriteTableApart", [&] {
        store.Execute("CREATE TABLE IF NOT EXISTS " + store::QuoteName(kApartTable) +
                      " (table_name TEXT NOT NULL PRIMARY KEY COLLATE NOCASE, file TEXT NOT NULL)");
        store.ExecuteCount(
            "INSERT OR REPLACE INTO " + store::QuoteName(kApartTable) + " VALUES (?1, ?2)",
            {std::string(table), linkFile.string()});
    });
}

bool IsSqliteTarget(const fs::path& target) {
    return IEquals(target.extension().string(), ".sqlite");
}

WriteSummary WriteStoreFile(const store::Store& store, const fs::path& target,
                            const WriteOptions& options) {
    return Trap("WriteStoreFile", [&] {
        // A symbolic link at the target stays a link: the file it names is replaced.
        const fs::path file = ResolveWriteTarget(target);
        if (!IsSqliteTarget(target)) return WriteMdb(store, file, options);
        LogSkippedLinks(store);
        return WriteSqlite(store, file);
    });
}

}  // namespace tb::storefile
