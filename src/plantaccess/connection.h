#pragma once
// The connections of the plant access layer: one interface over the ODBC connections to Oracle and
// SQL Server, the SQLite plant files and the store that stands for an Access file. Rows come out
// of a statement through a forward cursor whose cells are read in place (no copy per cell), which
// is what the recordsets and the bulk transfer into the store are built on.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/sqlite.h"

namespace tb::plantaccess {

// ADO's DataTypeEnum: the field types that callers test.
namespace ado {
inline constexpr int kEmpty = 0;  // the source does not tell (a SQLite expression)
inline constexpr int kSmallInt = 2;
inline constexpr int kInteger = 3;
inline constexpr int kSingle = 4;
inline constexpr int kDouble = 5;
inline constexpr int kCurrency = 6;
inline constexpr int kDate = 7;
inline constexpr int kBSTR = 8;
inline constexpr int kBoolean = 11;
inline constexpr int kDecimal = 14;
inline constexpr int kTinyInt = 16;
inline constexpr int kUnsignedTinyInt = 17;
inline constexpr int kUnsignedSmallInt = 18;
inline constexpr int kUnsignedInt = 19;
inline constexpr int kBigInt = 20;
inline constexpr int kUnsignedBigInt = 21;
inline constexpr int kGUID = 72;
inline constexpr int kBinary = 128;
inline constexpr int kChar = 129;
inline constexpr int kWChar = 130;
inline constexpr int kNumeric = 131;
inline constexpr int kDBDate = 133;
inline constexpr int kDBTime = 134;
inline constexpr int kDBTimeStamp = 135;
inline constexpr int kVarNumeric = 139;
inline constexpr int kVarChar = 200;
inline constexpr int kLongVarChar = 201;
inline constexpr int kVarWChar = 202;
inline constexpr int kLongVarWChar = 203;
inline constexpr int kVarBinary = 204;
inline constexpr int kLongVarBinary = 205;
}  // namespace ado

// adGUID counts as a string; adBigInt (20) is in neither group, its unsigned twin is a number.
bool IsAdoDataTypeString(int type);
bool IsAdoDataTypeNumeric(int type);
struct FieldInfo {
    std::string name;
    int type = ado::kEmpty;
    std::int64_t definedSize = 0;  // characters of text, bytes of binary; 0: not told or unlimited
    int precision = 0;
    int scale = 0;
};

// A field with the ADO type of a SQLite declaration ("VARCHAR(40)", "INTEGER", "NUMERIC(10,2)",
// "TIMESTAMP"), its size, precision and scale; kEmpty for none. A NUMERIC without a scale tells
// no scale (precision 0).
FieldInfo FieldFromDeclaration(std::string name, std::string_view declaration);

enum class CellKind { Null, Integer, Real, Text, Blob };

// One value of the current row, read in place: `bytes` stays valid until the cursor moves.
struct Cell {
    CellKind kind = CellKind::Null;
    std::int64_t integer = 0;
    double real = 0;
    std::string_view bytes;  // Text (UTF-8) and Blob
};

store::Value ToValue(const Cell& cell);

class RowCursor {
  public:
    virtual ~RowCursor() = default;
    virtual const std::vector<FieldInfo>& Fields() const = 0;
    // Moves to the next row; false at the end.
    virtual bool Next() = 0;
    virtual Cell Get(int column) const = 0;
};

enum class ConnectionKind { Odbc, SqlitePlant, Store };

// Connections are made shared (std::make_shared) and keep themselves alive for their cursors. A
// cursor must be used up or dropped before the next statement runs on its connection.
class Connection : public std::enable_shared_from_this<Connection> {
  public:
    virtual ~Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    virtual ConnectionKind kind() const = 0;
    // The string it was opened with, in the form the caller knows. Holds a password: never log it
    // unscrubbed.
    const std::string& connectString() const { return connectString_; }
    virtual bool IsOpen() const = 0;
    // Closing twice is no error.
    virtual void Close() = 0;

    // Runs one statement, with `?` parameters bound from `params`. A statement that yields rows
    // gives a cursor; any other gives nullptr and the number of rows it changed in
    // `recordsAffected` (-1 when the engine does not tell).
    virtual std::unique_ptr<RowCursor> Run(std::string_view sql, const store::Row& params = {},
                                           std::int64_t* recordsAffected = nullptr) = 0;
    // A statement that must yield rows.
    std::unique_ptr<RowCursor> Query(std::string_view sql, const store::Row& params = {});
    // A statement run for its effect; returns the rows changed.
    std::int64_t Execute(std::string_view sql, const store::Row& params = {});

  protected:
    explicit Connection(std::string connectString) : connectString_(std::move(connectString)) {}

  private:
    std::string connectString_;
};

using ConnectionPtr = std::shared_ptr<Connection>;

// Whether a failed statement failed because a table it names does not exist, as each engine says
// it: SQLite "no such table", Oracle ORA-00942, SQL Server "Invalid object name" (state 42S02).
bool IsMissingTableError(const std::exception& error);

}  // namespace tb::plantaccess
