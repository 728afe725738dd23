#pragma once
// Between the store's columns and values and the Jet table model: which Jet column a catalogue
// type becomes, how a stored value becomes the writer's value (checked against the column, so
// that both file forms refuse the same values with the same message), and back.

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "mdb/table_model.h"
#include "store/store.h"

namespace tb::storefile {

// The Jet column of a store column. Numeric becomes Double (the writer has no Decimal; the
// store keeps Numeric values as REAL anyway); Binary keeps its 255 bytes.
mdb::Column JetColumn(const store::ColumnDef& column);

// The catalogue type of a Jet column read from a file.
store::ColumnType StoreType(const mdb::Column& column);

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (upper case) from the 16 stored bytes, whose first
// three groups are little-endian as in a Windows GUID; and back (braces optional, any case).
std::string GuidToText(const mdb::Guid& guid);
std::optional<mdb::Guid> GuidFromText(std::string_view text);

// Currency from a stored REAL: the value times 10,000, rounded half to even. The doubles nearest
// to Currency's limits (which a REAL cannot hold exactly) give the limits themselves. Nothing
// when the value lies outside Currency.
std::optional<std::int64_t> CurrencyFromDouble(double value);

// Converts the stored values of one column into the writer's values.
class ValueConverter {
  public:
    ValueConverter(std::string table, store::ColumnDef column);

    // The value of column `index` of the current row of `stmt` into `out` (reusing its storage).
    // Raises a tb::Error naming table, row, column and value when it does not fit the column.
    void Convert(sqlite3_stmt* stmt, int index, std::uint64_t rowNumber, mdb::Value& out) const;

    const store::ColumnDef& column() const { return column_; }

  private:
    [[noreturn]] void Fail(std::uint64_t rowNumber, const std::string& problem) const;
    void ConvertText(sqlite3_stmt* stmt, int index, int kind, std::uint64_t row,
                     mdb::Value& out) const;
    void ConvertWhole(sqlite3_stmt* stmt, int index, int kind, std::uint64_t row,
                      mdb::Value& out) const;
    void ConvertDate(sqlite3_stmt* stmt, int index, int kind, std::uint64_t row,
                     mdb::Value& out) const;

    std::string table_;
    store::ColumnDef column_;
    mdb::JetType jet_;
    std::int64_t low_ = 0, high_ = 0;  // range of the whole-number types
};

// A value read from a file as the store keeps it: Booleans -1/0, Currency and Numeric as REAL,
// dates as text "yyyy-mm-dd hh:mm:ss", GUIDs as text, OLE and Binary as BLOB.
store::Value StoreValue(const mdb::Value& value, mdb::JetType type);

}  // namespace tb::storefile
