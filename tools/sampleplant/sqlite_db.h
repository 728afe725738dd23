#pragma once
// Thin RAII wrappers over SQLite's C API for the generator: a connection and a prepared
// statement. Every failure becomes a tb::Error that names the file and the statement.

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tb::sampleplant {

class Db {
  public:
    // Opens (and creates when missing) a database file for writing.
    explicit Db(const std::filesystem::path& file, bool readOnly = false);
    ~Db();
    Db(const Db&) = delete;
    Db& operator=(const Db&) = delete;

    sqlite3* handle() const { return db_; }
    const std::filesystem::path& file() const { return file_; }

    void Exec(std::string_view sql);
    // The first column of the first row as a number; 0 when there is no row.
    std::int64_t QueryInt(std::string_view sql);
    // Closes now (before a rename); later calls fail.
    void Close();

    [[noreturn]] void Fail(std::string_view what, std::string_view sql) const;

  private:
    sqlite3* db_ = nullptr;
    std::filesystem::path file_;
};

class Stmt {
  public:
    Stmt(Db& db, std::string_view sql);
    ~Stmt();
    Stmt(const Stmt&) = delete;
    Stmt& operator=(const Stmt&) = delete;

    void BindNull(int index);
    void Bind(int index, std::int64_t value);
    void Bind(int index, double value);
    void Bind(int index, std::string_view text);
    void BindBlob(int index, const std::vector<std::uint8_t>& bytes);

    // True while a row is there; false at the end.
    bool Step();
    void Reset();

    int ColumnCount() const;
    std::string ColumnName(int index) const;
    bool IsNull(int index) const;
    std::int64_t Int(int index) const;
    double Real(int index) const;
    std::string Text(int index) const;

  private:
    Db& db_;
    sqlite3_stmt* stmt_ = nullptr;
    std::string sql_;
};

}  // namespace tb::sampleplant
