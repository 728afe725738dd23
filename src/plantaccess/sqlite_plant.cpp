#include "plantaccess/sqlite_plant.h"

#include <cstring>
#include <system_error>

#include "common/error.h"
#include "common/text.h"
#include "platform/platform.h"
#include "store/access_text.h"
#include "store/sql_functions.h"

namespace tb::plantaccess {

namespace fs = std::filesystem;

namespace {

// Oracle's LOWER and UPPER know every letter; SQLite's built-in ones only ASCII.
template <std::string (*Convert)(std::string_view)>
void UnicodeCase(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        sqlite3_result_null(ctx);
        return;
    }
    const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(argv[0]));
    const std::string out = Convert(
        std::string_view(p ? p : "", static_cast<std::size_t>(sqlite3_value_bytes(argv[0]))));
    sqlite3_result_text(ctx, out.data(), static_cast<int>(out.size()), SQLITE_TRANSIENT);
}

}  // namespace

fs::path PlantSchemaFile(const fs::path& folder, std::string_view schemaUser) {
    const fs::path exact = folder / (std::string(schemaUser) + ".db");
    if (auto found = platform::FindFileIgnoringCase(exact)) return *found;
    return exact;
}

std::string ReadOnlyUri(const fs::path& file) {
    std::string out = "file:";
    for (unsigned char c : fs::absolute(file).string()) {
        if (c == '%' || c == '?' || c == '#' || c < 0x20) {
            char buf[4];
            std::snprintf(buf, sizeof buf, "%%%02X", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "?mode=ro";
}

store::Statement PrepareOne(sqlite3* db, std::string_view sql, const store::Row& params) {
    store::Statement st(db, sql);
    const char* prepared = sqlite3_sql(st.get());
    const std::size_t used = prepared ? std::strlen(prepared) : sql.size();
    if (used < sql.size()) {
        const std::string_view rest = TrimSpace(sql.substr(used));
        if (!rest.empty() && rest.find_first_not_of("; \t\r\n") != std::string_view::npos)
            throw Error(kErrDatabase, "Only one statement can run at a time: " + std::string(sql));
    }
    for (std::size_t i = 0; i < params.size(); ++i) st.Bind(static_cast<int>(i + 1), params[i]);
    return st;
}

SqliteCursor::SqliteCursor(std::shared_ptr<Connection> owner, store::Statement statement)
    : owner_(std::move(owner)), statement_(std::move(statement)) {
    sqlite3_stmt* st = statement_.get();
    const int n = sqlite3_column_count(st);
    for (int i = 0; i < n; ++i) {
        const char* name = sqlite3_column_name(st, i);
        const char* declared = sqlite3_column_decltype(st, i);
        fields_.push_back(FieldFromDeclaration(name ? name : "", declared ? declared : ""));
    }
}

bool SqliteCursor::Next() {
    if (done_) return false;
    sqlite3_stmt* st = statement_.get();
    const int rc = sqlite3_step(st);
    if (rc == SQLITE_ROW) return true;
    done_ = true;
    if (rc == SQLITE_DONE) return false;
    store::RaiseSqliteError(sqlite3_db_handle(st), statement_.sql());
}

Cell SqliteCursor::Get(int column) const {
    sqlite3_stmt* st = statement_.get();
    Cell cell;
    switch (sqlite3_column_type(st, column)) {
        case SQLITE_INTEGER:
            cell.kind = CellKind::Integer;
            cell.integer = sqlite3_column_int64(st, column);
            break;
        case SQLITE_FLOAT:
            cell.kind = CellKind::Real;
            cell.real = sqlite3_column_double(st, column);
            break;
        case SQLITE_TEXT: {
            const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(st, column));
            cell.kind = CellKind::Text;
            cell.bytes = std::string_view(
                p ? p : "", static_cast<std::size_t>(sqlite3_column_bytes(st, column)));
            break;
        }
        case SQLITE_BLOB: {
            const auto* p = static_cast<const char*>(sqlite3_column_blob(st, column));
            cell.kind = CellKind::Blob;
            cell.bytes = std::string_view(
                p ? p : "", static_cast<std::size_t>(sqlite3_column_bytes(st, column)));
            break;
        }
        default:
            break;
    }
    return cell;
}

SqlitePlantConnection::SqlitePlantConnection(std::string connectString, fs::path file,
                                             std::string schemaUser)
    : Connection(std::move(connectString)),
      file_(std::move(file)),
      schemaUser_(std::move(schemaUser)) {}

SqlitePlantConnection::~SqlitePlantConnection() {
    Close();
}

void SqlitePlantConnection::Setup(sqlite3* db) const {
    sqlite3_busy_timeout(db, 5000);
    store::RegisterFunctions(db);
    sqlite3_create_function_v2(db, "lower", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                               UnicodeCase<store::ToLowerUnicode>, nullptr, nullptr, nullptr);
    sqlite3_create_function_v2(db, "upper", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                               UnicodeCase<store::ToUpperUnicode>, nullptr, nullptr, nullptr);
    // Touch the schema now, so that a file that is not a database fails here, naming the file.
    if (sqlite3_exec(db, "SELECT count(*) FROM sqlite_schema", nullptr, nullptr, nullptr) !=
        SQLITE_OK)
        throw Error(kErrDatabase, "The plant database file '" + file_.string() +
                                      "' cannot be read: " + sqlite3_errmsg(db));
    if (!IEquals(schemaUser_, "main") && !IEquals(schemaUser_, "temp"))
        store::ExecuteCount(db, "ATTACH DATABASE ?1 AS " + store::QuoteName(schemaUser_),
                            {ReadOnlyUri(file_)});
}

std::shared_ptr<SqlitePlantConnection> SqlitePlantConnection::Open(std::string connectString,
                                                                   const fs::path& folder,
                                                                   const std::string& schemaUser) {
    if (TrimSpace(schemaUser).empty())
        throw Error(kErrDatabase,
                    "No schema user is given for the plant connection in the folder '" +
                        folder.string() + "'.");
    const fs::path file = PlantSchemaFile(folder, schemaUser);
    std::error_code ec;
    if (!fs::is_regular_file(file, ec))
        throw Error(kErrDatabase,
                    "The plant database file '" + file.string() + "' does not exist.");
    std::shared_ptr<SqlitePlantConnection> c(
        new SqlitePlantConnection(std::move(connectString), file, schemaUser));
    if (sqlite3_open_v2(ReadOnlyUri(file).c_str(), &c->db_,
                        SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK) {
        const std::string why = c->db_ ? sqlite3_errmsg(c->db_) : "out of memory";
        throw Error(kErrDatabase,
                    "The plant database file '" + file.string() + "' cannot be opened: " + why);
    }
    c->Setup(c->db_);
    return c;
}

store::Connection SqlitePlantConnection::OpenWritableTwin() const {
    store::Connection twin(ReadOnlyUri(file_),
                           SQLITE_OPEN_READWRITE | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX);
    Setup(twin.get());
    return twin;
}

void SqlitePlantConnection::Close() {
    if (db_) sqlite3_close_v2(db_);
    db_ = nullptr;
}

std::unique_ptr<RowCursor> SqlitePlantConnection::Run(std::string_view sql,
                                                      const store::Row& params,
                                                      std::int64_t* recordsAffected) {
    if (!db_) throw Error(kErrDatabase, "The connection is closed.");
    store::Statement st = PrepareOne(db_, sql, params);
    if (sqlite3_column_count(st.get()) > 0)
        return std::make_unique<SqliteCursor>(shared_from_this(), std::move(st));
    st.Run();
    if (recordsAffected) *recordsAffected = sqlite3_changes64(db_);
    return nullptr;
}

}  // namespace tb::plantaccess
