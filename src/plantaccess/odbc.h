#pragma once
// ODBC through unixODBC, for Oracle and SQL Server. Everything goes through the wide (UTF-16)
// calls, so text is the same whatever the process locale; results are fetched in blocks of rows
// into column-wise buffers, and long columns (text over 4,000 characters, LOBs) through
// SQLGetData. A driver's diagnostics become a tb::Error with the driver's text, scrubbed of the
// password.

#include <memory>
#include <string>
#include <string_view>

#include "plantaccess/connection.h"

namespace tb::plantaccess {

// Columns wider than this are read with SQLGetData instead of a bound buffer.
inline constexpr std::int64_t kLongColumnChars = 4000;

class OdbcConnection : public Connection {
  public:
    // Connects with `odbcString` (no prompt). `connectString` is what the caller knows the
    // connection by; `password` is scrubbed from every message.
    static std::shared_ptr<OdbcConnection> Open(std::string connectString,
                                                const std::string& odbcString,
                                                std::string password = {});
    ~OdbcConnection() override;

    ConnectionKind kind() const override { return ConnectionKind::Odbc; }
    bool IsOpen() const override;
    void Close() override;
    std::unique_ptr<RowCursor> Run(std::string_view sql, const store::Row& params = {},
                                   std::int64_t* recordsAffected = nullptr) override;

    // The rows fetched per round trip when no long column forces single rows (tests, bench).
    void SetMaxRowsPerFetch(int rows) { maxRowsPerFetch_ = rows < 1 ? 1 : rows; }
    // The driver allows SQLGetData on a block of rows (SQL_GD_BLOCK).
    bool getDataOnBlocks() const { return getDataBlock_; }
    bool getDataAnyColumn() const { return getDataAnyColumn_; }
    const std::string& secret() const { return password_; }

    struct Handles;

  private:
    OdbcConnection(std::string connectString, std::string password);

    std::unique_ptr<Handles> handles_;
    std::string password_;
    int maxRowsPerFetch_ = 1024;
    bool getDataBlock_ = false;
    bool getDataAnyColumn_ = false;
};

}  // namespace tb::plantaccess
