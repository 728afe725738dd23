#pragma once
// The Jet 4 table model shared by the writer and the reader: column types, typed values and
// rows. It is independent of the store; storefile maps between the two.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "common/jet_types.h"

namespace tb::mdb {

using tb::JetType;

struct Column {
    std::string name;
    JetType type = JetType::Text;
    int length = 255;         // Text: characters (at most 255); ignored for other types
    bool autoNumber = false;  // Counter
};

struct Null {
    bool operator==(const Null&) const = default;
};
struct Currency {  // the value times 10,000
    std::int64_t scaled = 0;
    bool operator==(const Currency&) const = default;
};
struct DateTime {  // days since 1899-12-30, the fraction is the time of day
    double days = 0;
    bool operator==(const DateTime&) const = default;
};
struct Guid {
    std::array<std::uint8_t, 16> bytes{};
    bool operator==(const Guid&) const = default;
};
using Bytes = std::vector<std::uint8_t>;

// Boolean: bool; Byte, Integer, Long, Counter: int64_t; Single, Double: double; Text, Memo:
// UTF-8 text; OLE, Binary: Bytes.
using Value =
    std::variant<Null, bool, std::int64_t, double, Currency, DateTime, std::string, Bytes, Guid>;
using Row = std::vector<Value>;

// An index of a table: its key columns in order, each ascending or descending. A primary key
// is unique and refuses Null; `ignoreNulls` leaves rows whose key is all Null out of the index.
struct IndexKeyColumn {
    std::string column;
    bool ascending = true;
};

struct IndexDef {
    std::string name;
    std::vector<IndexKeyColumn> columns;
    bool primary = false;
    bool unique = false;
    bool ignoreNulls = false;
};

struct TableDef {
    std::string name;
    std::vector<Column> columns;
};

// A table entry that links a table of another Access file.
struct LinkDef {
    std::string name;         // the name in this database
    std::string database;     // the other file's path
    std::string foreignName;  // the table's name there
    std::string connect;  // the link's provider string ("MS Access;Mode=1"); may hold a password
};

// Rows handed to the writer one at a time, so a table never has to sit in memory whole.
class RowSource {
  public:
    virtual ~RowSource() = default;
    // Fills `row` (one value per column) and returns true, or returns false at the end.
    virtual bool Next(Row& row) = 0;
    // The number of rows to come when the source knows it (for progress lines), else -1.
    virtual std::int64_t RowCountHint() const { return -1; }
};

}  // namespace tb::mdb
