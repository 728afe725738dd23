#include "store/sqlite.h"

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <utility>

#include "common/error.h"
#include "common/log.h"
#include "common/text.h"
#include "store/access_text.h"

namespace tb::store {

namespace {

// Long statements are cut in error messages; the head names what failed.
std::string Excerpt(std::string_view sql) {
    constexpr std::size_t kMax = 400;
    if (sql.size() <= kMax) return std::string(sql);
    return std::string(sql.substr(0, kMax)) + "...";
}

[[noreturn]] void WrongKind(const char* wanted) {
    throw Error(kErrInternal, std::string("Value is not ") + wanted + ".");
}

}  // namespace

std::int64_t Value::integer() const {
    if (!isInteger()) WrongKind("an integer");
    return std::get<std::int64_t>(v_);
}

double Value::real() const {
    if (!isReal()) WrongKind("a real");
    return std::get<double>(v_);
}

const std::string& Value::text() const {
    if (!isText()) WrongKind("a text");
    return std::get<std::string>(v_);
}

const Blob& Value::blob() const {
    if (!isBlob()) WrongKind("a blob");
    return std::get<Blob>(v_);
}

std::string Value::ToText() const {
    switch (v_.index()) {
        case 1:
            return std::to_string(std::get<std::int64_t>(v_));
        case 2:
            return FormatAccessNumber(std::get<double>(v_));
        case 3:
            return std::get<std::string>(v_);
        case 4: {
            const Blob& b = std::get<Blob>(v_);
            return std::string(b.begin(), b.end());
        }
        default:
            return {};
    }
}

double Value::ToDouble() const {
    if (isInteger()) return static_cast<double>(integer());
    if (isReal()) return real();
    if (isText()) {
        double d = 0;
        const std::string& t = text();
        const auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), d);
        if (ec == std::errc() && end == t.data() + t.size() && !t.empty()) return d;
        throw Error(kErrValidation, "'" + t + "' is not a number.");
    }
    WrongKind("a number");
}

namespace {

[[noreturn]] void Raise(int rc, std::string message, std::string_view sql) {
    // Only our progress handler interrupts, and only on a cancel; the flag is checked again so that
    // an interruption from anywhere else stays a database error.
    if ((rc & 0xff) == SQLITE_INTERRUPT && CancelRequested())
        throw Error(kErrCancelled, "Cancelled.");
    if (!sql.empty()) message += " (statement: " + Excerpt(sql) + ")";
    throw Error(kErrDatabase, message);
}

// Virtual machine steps between two looks at the cancel flag: a few microseconds of work, so the
// look costs nothing measurable and a cancel lands within milliseconds.
constexpr int kStepsBetweenCancelChecks = 10000;

}  // namespace

void RaiseSqliteError(sqlite3* db, std::string_view sql) {
    if (!db) Raise(SQLITE_NOMEM, "out of memory", sql);
    Raise(sqlite3_errcode(db), sqlite3_errmsg(db), sql);
}

int CancelProgress(void*) {
    return CancelRequested() ? 1 : 0;
}

void StopOnCancel(sqlite3* db) {
    sqlite3_progress_handler(db, kStepsBetweenCancelChecks, CancelProgress, nullptr);
}

std::string QuoteName(std::string_view name) {
    return QuoteIdentifier(name, '"', '"');
}

std::string SqlName(std::string_view name) {
    if (name.find(']') != std::string_view::npos) return QuoteName(name);
    return "[" + std::string(name) + "]";
}

// --- Statement ---

Statement::Statement(sqlite3* db, std::string_view sql) : sql_(sql) {
    const char* tail = nullptr;
    if (sqlite3_prepare_v2(db, sql_.data(), static_cast<int>(sql_.size()), &stmt_, &tail) !=
        SQLITE_OK) {
        sqlite3_finalize(stmt_);
        stmt_ = nullptr;
        RaiseSqliteError(db, sql_);
    }
    if (!stmt_) throw Error(kErrInternal, "Empty statement: " + Excerpt(sql_));
}

Statement::~Statement() {
    sqlite3_finalize(stmt_);
}

Statement::Statement(Statement&& other) noexcept
    : stmt_(std::exchange(other.stmt_, nullptr)), sql_(std::move(other.sql_)) {}

Statement& Statement::operator=(Statement&& other) noexcept {
    if (this != &other) {
        sqlite3_finalize(stmt_);
        stmt_ = std::exchange(other.stmt_, nullptr);
        sql_ = std::move(other.sql_);
    }
    return *this;
}

namespace {
void CheckBind(sqlite3_stmt* stmt, int rc, const std::string& sql) {
    if (rc != SQLITE_OK) RaiseSqliteError(sqlite3_db_handle(stmt), sql);
}
}  // namespace

Statement& Statement::Bind(int index, const Value& value) {
    if (value.isNull()) return BindNull(index);
    if (value.isInteger()) return BindInt(index, value.integer());
    if (value.isReal()) return BindDouble(index, value.real());
    if (value.isText()) return BindText(index, value.text());
    return BindBlob(index, value.blob().data(), value.blob().size());
}

Statement& Statement::BindNull(int index) {
    CheckBind(stmt_, sqlite3_bind_null(stmt_, index), sql_);
    return *this;
}

Statement& Statement::BindInt(int index, std::int64_t value) {
    CheckBind(stmt_, sqlite3_bind_int64(stmt_, index, value), sql_);
    return *this;
}

Statement& Statement::BindDouble(int index, double value) {
    CheckBind(stmt_, sqlite3_bind_double(stmt_, index, value), sql_);
    return *this;
}

Statement& Statement::BindText(int index, std::string_view value) {
    CheckBind(stmt_,
              sqlite3_bind_text64(stmt_, index, value.data(), value.size(), SQLITE_TRANSIENT,
                                  SQLITE_UTF8),
              sql_);
    return *this;
}

Statement& Statement::BindTextNoCopy(int index, std::string_view value) {
    CheckBind(
        stmt_,
        sqlite3_bind_text64(stmt_, index, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8),
        sql_);
    return *this;
}

Statement& Statement::BindBlob(int index, const void* data, std::size_t size) {
    // A zero-length blob must still be a blob, not Null.
    static const char kEmpty = 0;
    CheckBind(stmt_,
              sqlite3_bind_blob64(stmt_, index, size ? data : &kEmpty, size, SQLITE_TRANSIENT),
              sql_);
    return *this;
}

bool Statement::Step() {
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    sqlite3* db = sqlite3_db_handle(stmt_);
    std::string message = sqlite3_errmsg(db);
    sqlite3_reset(stmt_);
    Raise(rc, std::move(message), sql_);
}

void Statement::Run() {
    while (Step()) {
    }
    Reset();
}

void Statement::Reset() {
    sqlite3_reset(stmt_);
}

int Statement::ColumnCount() const {
    return sqlite3_column_count(stmt_);
}

std::string Statement::ColumnName(int column) const {
    const char* name = sqlite3_column_name(stmt_, column);
    return name ? name : "";
}

Value Statement::Get(int column) const {
    switch (sqlite3_column_type(stmt_, column)) {
        case SQLITE_INTEGER:
            return Value(static_cast<std::int64_t>(sqlite3_column_int64(stmt_, column)));
        case SQLITE_FLOAT:
            return Value(sqlite3_column_double(stmt_, column));
        case SQLITE_TEXT: {
            const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
            return Value(
                std::string(p, static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column))));
        }
        case SQLITE_BLOB: {
            const auto* p = static_cast<const std::uint8_t*>(sqlite3_column_blob(stmt_, column));
            const auto n = static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column));
            return Value(Blob(p, p + n));
        }
        default:
            return Value();
    }
}

bool Statement::IsNull(int column) const {
    return sqlite3_column_type(stmt_, column) == SQLITE_NULL;
}

std::int64_t Statement::GetInt(int column) const {
    return sqlite3_column_int64(stmt_, column);
}

std::string Statement::GetText(int column) const {
    const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
    if (!p) return {};
    return std::string(p, static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column)));
}

// --- Connection ---

Connection::Connection(const std::string& filename, int flags) {
    if (sqlite3_open_v2(filename.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
        std::string message = db_ ? sqlite3_errmsg(db_) : "out of memory";
        sqlite3_close_v2(db_);
        db_ = nullptr;
        throw Error(kErrFileAccess, "Cannot open the database '" + filename + "': " + message);
    }
    sqlite3_extended_result_codes(db_, 1);
    // Diagnosis of slow runs: TARNBROOK_SLOW_SQL_MS=<n> logs every statement that takes longer.
    if (const char* ms = std::getenv("TARNBROOK_SLOW_SQL_MS"); ms && *ms) {
        static std::int64_t thresholdNs = 0;
        thresholdNs = std::strtoll(ms, nullptr, 10) * 1000000;
        sqlite3_trace_v2(
            db_, SQLITE_TRACE_PROFILE,
            [](unsigned, void*, void* stmt, void* ns) -> int {
                const auto elapsed = *static_cast<sqlite3_int64*>(ns);
                if (elapsed >= thresholdNs) {
                    std::string sql = sqlite3_sql(static_cast<sqlite3_stmt*>(stmt));
                    if (sql.size() > 4000) sql = sql.substr(0, 4000) + "...";
                    LogLine("Slow statement (" + std::to_string(elapsed / 1000000) +
                            " ms): " + sql);
                }
                return 0;
            },
            nullptr);
    }
}

Connection::~Connection() {
    sqlite3_close_v2(db_);
}

Connection::Connection(Connection&& other) noexcept : db_(std::exchange(other.db_, nullptr)) {}

Connection& Connection::operator=(Connection&& other) noexcept {
    if (this != &other) {
        sqlite3_close_v2(db_);
        db_ = std::exchange(other.db_, nullptr);
    }
    return *this;
}

// --- free helpers ---

void Execute(sqlite3* db, std::string_view sql) {
    std::string text(sql);
    char* message = nullptr;
    if (const int rc = sqlite3_exec(db, text.c_str(), nullptr, nullptr, &message);
        rc != SQLITE_OK) {
        std::string m = message ? message : sqlite3_errmsg(db);
        sqlite3_free(message);
        Raise(rc, std::move(m), sql);
    }
}

namespace {
Statement PrepareWith(sqlite3* db, std::string_view sql, const Row& params) {
    Statement st(db, sql);
    for (std::size_t i = 0; i < params.size(); ++i) st.Bind(static_cast<int>(i + 1), params[i]);
    return st;
}
}  // namespace

std::int64_t ExecuteCount(sqlite3* db, std::string_view sql, const Row& params) {
    Statement st = PrepareWith(db, sql, params);
    st.Run();
    return sqlite3_changes64(db);
}

Value QueryValue(sqlite3* db, std::string_view sql, const Row& params) {
    Statement st = PrepareWith(db, sql, params);
    if (!st.Step()) return Value();
    return st.Get(0);
}

std::vector<Row> QueryRows(sqlite3* db, std::string_view sql, const Row& params) {
    Statement st = PrepareWith(db, sql, params);
    std::vector<Row> rows;
    const int n = st.ColumnCount();
    while (st.Step()) {
        Row row;
        row.reserve(static_cast<std::size_t>(n));
        for (int i = 0; i < n; ++i) row.push_back(st.Get(i));
        rows.push_back(std::move(row));
    }
    return rows;
}

// --- Transaction ---

Transaction::Transaction(sqlite3* db) : db_(db) {
    static std::atomic<unsigned> counter{0};
    name_ = "tb_sp" + std::to_string(++counter);
    Execute(db_, "SAVEPOINT " + name_);
}

Transaction::~Transaction() {
    if (!open_) return;
    // Errors are dropped here: the error that brought us here is the one to report.
    sqlite3_exec(db_, ("ROLLBACK TO " + name_ + "; RELEASE " + name_).c_str(), nullptr, nullptr,
                 nullptr);
}

void Transaction::Commit() {
    if (!open_) return;
    Execute(db_, "RELEASE " + name_);
    open_ = false;
}

}  // namespace tb::store
