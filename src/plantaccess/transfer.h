#pragma once
// Rows of a plant query into a new table of the store: the engine under Rs2Access.
//
// From a SQLite plant the store is attached to a second connection on the plant file (the plant
// stays "main" and read-only, and the store's schema may not be read by the statement), and one
// "INSERT INTO store.t SELECT ..." moves the rows inside SQLite. From ODBC (and from a recordset)
// rows are fetched in blocks and go through one prepared insert in one transaction.
//
// Types: integers and NUMERIC/DECIMAL with scale 0 become Long (a value outside 32 bits fails,
// naming table, column and value), other numbers Double, bit Boolean, dates DateTime (text
// "yyyy-mm-dd hh:mm:ss"), binary OLE, text of a declared width up to 255 Text(width), any other
// text Text(255) until a value is longer, then Memo. Values: '' becomes Null, a line break (CR LF,
// CR or LF) one character 3, a tab a blank.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plantaccess/connection.h"
#include "plantaccess/recordset.h"
#include "store/store.h"

namespace tb::plantaccess {

// VB's Overflow: a whole number that does not fit its column.
inline constexpr long kErrOverflow = 6;

struct TransferResult {
    std::int64_t rows = 0;
    std::vector<store::ColumnDef> columns;  // as the catalogue holds them afterwards
};

// The store type a plant field is copied as; nothing when the source does not tell the type (a
// SQLite expression): then the values decide.
std::optional<store::ColumnType> CopyColumnType(const FieldInfo& field);

// A text value as the copy stores it: nothing for '' (Null), line breaks as character 3, tabs as
// blanks.
std::optional<std::string> CleanCopiedText(std::string_view text);
// True when CleanCopiedText would change the text (or make it Null).
bool NeedsCleaning(std::string_view text);

// Runs `sql` on `source` and copies its rows into the new store table `table`. An empty result
// still makes the table with its columns. Must not run inside a transaction of the store.
TransferResult CopyQueryToStore(Connection& source, std::string_view sql, store::Store& store,
                                std::string_view table);
// The visible rows of a recordset.
TransferResult CopyRecordsetToStore(const Recordset& recordset, store::Store& store,
                                    std::string_view table);
// The rows of any cursor, through one prepared insert in one transaction.
TransferResult CopyCursorToStore(RowCursor& cursor, store::Store& store, std::string_view table);

}  // namespace tb::plantaccess
