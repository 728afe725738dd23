#pragma once
// RAII over the SQLite C interface (connections, statements, savepoints) and the typed value that
// travels in and out of the store. Every failure becomes a tb::Error naming the statement.

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tb::store {

using Blob = std::vector<std::uint8_t>;

// One SQLite value: Null, integer, real, text (UTF-8) or blob.
class Value {
  public:
    Value() = default;
    Value(std::nullptr_t) {}
    Value(int v) : v_(std::int64_t{v}) {}
    Value(std::int64_t v) : v_(v) {}
    Value(double v) : v_(v) {}
    Value(std::string v) : v_(std::move(v)) {}
    Value(std::string_view v) : v_(std::string(v)) {}
    Value(const char* v) : v_(std::string(v)) {}
    Value(Blob v) : v_(std::move(v)) {}

    bool isNull() const { return v_.index() == 0; }
    bool isInteger() const { return v_.index() == 1; }
    bool isReal() const { return v_.index() == 2; }
    bool isText() const { return v_.index() == 3; }
    bool isBlob() const { return v_.index() == 4; }

    // The payload; asking for the wrong kind raises.
    std::int64_t integer() const;
    double real() const;
    const std::string& text() const;
    const Blob& blob() const;

    // As Access shows the value in text: Null gives "", 3.0 gives "3", 1E+20 stays "1E+20".
    std::string ToText() const;
    // Integers and reals as a double, numeric text parsed; anything else raises.
    double ToDouble() const;

    bool operator==(const Value&) const = default;

  private:
    std::variant<std::monostate, std::int64_t, double, std::string, Blob> v_;
};

using Row = std::vector<Value>;

// Raises the connection's last error as a tb::Error that names the statement; a statement that
// StopOnCancel interrupted raises error 18, "Cancelled.", as the run's own cancel checks do.
[[noreturn]] void RaiseSqliteError(sqlite3* db, std::string_view sql);

// Makes every statement on the connection (its attached databases included) stop within a few
// milliseconds once the user asks the run to stop (CancelRequested), so that a cancel lands inside
// a long statement too. Replaces any progress handler the connection had.
void StopOnCancel(sqlite3* db);
// The progress handler StopOnCancel installs, for a handler that does more: nonzero on a cancel.
int CancelProgress(void*);

// "name" with embedded quotes doubled: the way the store's own helpers write names.
std::string QuoteName(std::string_view name);
// A name in the run's statements on the store: "[name]", as Access writes it and as the run's
// texts read, or, for a name that holds "]" (which SQLite's brackets cannot hold), QuoteName's
// form. Every table or column name that comes from the plant or the attribute configuration
// enters store SQL through this or QuoteName.
std::string SqlName(std::string_view name);

class Statement {
  public:
    Statement() = default;
    Statement(sqlite3* db, std::string_view sql);
    ~Statement();
    Statement(Statement&& other) noexcept;
    Statement& operator=(Statement&& other) noexcept;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    sqlite3_stmt* get() const { return stmt_; }
    const std::string& sql() const { return sql_; }

    // Parameters are numbered from 1.
    Statement& Bind(int index, const Value& value);
    Statement& BindNull(int index);
    Statement& BindInt(int index, std::int64_t value);
    Statement& BindDouble(int index, double value);
    Statement& BindText(int index, std::string_view value);
    // The text is not copied: it must stay alive until the next Step() has returned.
    Statement& BindTextNoCopy(int index, std::string_view value);
    Statement& BindBlob(int index, const void* data, std::size_t size);

    // Advances: true when a row is there, false at the end.
    bool Step();
    // Steps to the end and resets, ready for the next bindings.
    void Run();
    void Reset();

    int ColumnCount() const;
    std::string ColumnName(int column) const;
    // Columns are numbered from 0.
    Value Get(int column) const;
    bool IsNull(int column) const;
    std::int64_t GetInt(int column) const;
    std::string GetText(int column) const;  // Null gives ""

  private:
    sqlite3_stmt* stmt_ = nullptr;
    std::string sql_;
};

// An owned connection.
class Connection {
  public:
    Connection() = default;
    // Opens with sqlite3_open_v2; raises naming the file.
    Connection(const std::string& filename, int flags);
    ~Connection();
    Connection(Connection&& other) noexcept;
    Connection& operator=(Connection&& other) noexcept;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    sqlite3* get() const { return db_; }
    explicit operator bool() const { return db_ != nullptr; }

  private:
    sqlite3* db_ = nullptr;
};

// Runs one or more statements without results.
void Execute(sqlite3* db, std::string_view sql);
// Runs one statement with the given parameters; returns the number of rows it changed.
std::int64_t ExecuteCount(sqlite3* db, std::string_view sql, const Row& params = {});
// The first column of the first row, or Null when there is no row.
Value QueryValue(sqlite3* db, std::string_view sql, const Row& params = {});
std::vector<Row> QueryRows(sqlite3* db, std::string_view sql, const Row& params = {});

// A savepoint: rolled back when it goes out of scope without Commit(). Nests freely, so a
// helper can open one whether or not its caller holds a transaction.
class Transaction {
  public:
    explicit Transaction(sqlite3* db);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void Commit();

  private:
    sqlite3* db_;
    std::string name_;
    bool open_ = true;
};

}  // namespace tb::store
