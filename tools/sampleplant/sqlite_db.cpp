#include "sqlite_db.h"

#include "common/error.h"

namespace tb::sampleplant {

Db::Db(const std::filesystem::path& file, bool readOnly) : file_(file) {
    const int flags =
        readOnly ? SQLITE_OPEN_READONLY : (SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    const int rc = sqlite3_open_v2(file.c_str(), &db_, flags, nullptr);
    if (rc != SQLITE_OK) {
        std::string message = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
        sqlite3_close(db_);
        db_ = nullptr;
        throw Error(kErrDatabase, "Cannot open '" + file.string() + "': " + message, "Db");
    }
}

Db::~Db() {
    Close();
}

void Db::Close() {
    if (db_) {
        sqlite3_close_v2(db_);
        db_ = nullptr;
    }
}

void Db::Fail(std::string_view what, std::string_view sql) const {
    std::string message = db_ ? sqlite3_errmsg(db_) : "database is closed";
    std::string text = std::string(what) + " failed in '" + file_.string() + "': " + message;
    if (!sql.empty()) text += " (" + std::string(sql) + ")";
    throw Error(kErrDatabase, text, "Db");
}

void Db::Exec(std::string_view sql) {
    const std::string text(sql);
    if (!db_ || sqlite3_exec(db_, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail("Statement", sql);
    }
}

std::int64_t Db::QueryInt(std::string_view sql) {
    Stmt stmt(*this, sql);
    return stmt.Step() && !stmt.IsNull(0) ? stmt.Int(0) : 0;
}

Stmt::Stmt(Db& db, std::string_view sql) : db_(db), sql_(sql) {
    if (!db.handle() || sqlite3_prepare_v2(db.handle(), sql_.c_str(), static_cast<int>(sql_.size()),
                                           &stmt_, nullptr) != SQLITE_OK) {
        db.Fail("Prepare", sql_);
    }
}

Stmt::~Stmt() {
    sqlite3_finalize(stmt_);
}

void Stmt::BindNull(int index) {
    if (sqlite3_bind_null(stmt_, index) != SQLITE_OK) db_.Fail("Bind", sql_);
}

void Stmt::Bind(int index, std::int64_t value) {
    if (sqlite3_bind_int64(stmt_, index, value) != SQLITE_OK) db_.Fail("Bind", sql_);
}

void Stmt::Bind(int index, double value) {
    if (sqlite3_bind_double(stmt_, index, value) != SQLITE_OK) db_.Fail("Bind", sql_);
}

void Stmt::Bind(int index, std::string_view text) {
    if (sqlite3_bind_text(stmt_, index, text.data(), static_cast<int>(text.size()),
                          SQLITE_TRANSIENT) != SQLITE_OK) {
        db_.Fail("Bind", sql_);
    }
}

void Stmt::BindBlob(int index, const std::vector<std::uint8_t>& bytes) {
    if (sqlite3_bind_blob(stmt_, index, bytes.data(), static_cast<int>(bytes.size()),
                          SQLITE_TRANSIENT) != SQLITE_OK) {
        db_.Fail("Bind", sql_);
    }
}

bool Stmt::Step() {
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    db_.Fail("Step", sql_);
}

void Stmt::Reset() {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
}

int Stmt::ColumnCount() const {
    return sqlite3_column_count(stmt_);
}

std::string Stmt::ColumnName(int index) const {
    const char* name = sqlite3_column_name(stmt_, index);
    return name ? name : "";
}

bool Stmt::IsNull(int index) const {
    return sqlite3_column_type(stmt_, index) == SQLITE_NULL;
}

std::int64_t Stmt::Int(int index) const {
    return sqlite3_column_int64(stmt_, index);
}

double Stmt::Real(int index) const {
    return sqlite3_column_double(stmt_, index);
}

std::string Stmt::Text(int index) const {
    const auto* text = sqlite3_column_text(stmt_, index);
    return text ? std::string(reinterpret_cast<const char*>(text),
                              static_cast<std::size_t>(sqlite3_column_bytes(stmt_, index)))
                : std::string();
}

}  // namespace tb::sampleplant
