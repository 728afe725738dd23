#pragma once
// A disconnected, client-side recordset: the whole result of a statement held in memory, so the
// connection can close while the rows are walked. Fields are found by name ignoring case; Filter
// narrows the visible rows with the criteria forms the system uses ("SP_schema_type='SPPID'",
// joined by AND or OR); RecordCount counts the visible rows.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plantaccess/connection.h"
#include "store/sqlite.h"

namespace tb::plantaccess {

// ADO's error numbers for a field that is not there, no current row, and a bad filter.
inline constexpr long kErrItemNotFound = 3265;
inline constexpr long kErrNoCurrentRecord = 3021;
inline constexpr long kErrBadArguments = 3001;

class Recordset {
  public:
    // A closed recordset.
    Recordset() = default;
    Recordset(std::vector<FieldInfo> fields, std::vector<store::Row> rows);
    // Reads every row. A field whose type the source did not tell takes it from its values.
    static std::unique_ptr<Recordset> Read(RowCursor& cursor);

    // 1 open, 0 closed (adStateOpen, adStateClosed).
    int State() const { return open_ ? 1 : 0; }
    void Close();

    const std::vector<FieldInfo>& Fields() const { return fields_; }
    std::optional<int> FindField(std::string_view name) const;

    std::int64_t RecordCount() const { return static_cast<std::int64_t>(visible_.size()); }
    bool Eof() const { return pos_ >= visible_.size(); }
    bool Bof() const { return visible_.empty() || before_; }
    void MoveFirst();
    void MoveNext();
    void MovePrevious();
    void MoveLast();

    // The current row's value of a field (by name ignoring case, or by position).
    const store::Value& Field(std::string_view name) const;
    const store::Value& Field(int index) const;
    const store::Row& CurrentRow() const;

    // "" shows every row; otherwise clauses "<field> <op> <literal>" with op one of = <> < > <= >=
    // LIKE, literals in single quotes ('' for a quote) or numbers, joined by AND (binding first)
    // and OR. Text compares ignore case, as ADO's do. Moves to the first visible row.
    void Filter(std::string_view criteria);
    const std::string& filter() const { return filter_; }

    // The visible rows as a cursor (for the copy into the store); valid while the recordset is.
    std::unique_ptr<RowCursor> Cursor() const;

  private:
    void RequireOpen() const;

    std::vector<FieldInfo> fields_;
    std::vector<store::Row> rows_;
    std::vector<std::size_t> visible_;
    std::size_t pos_ = 0;
    bool before_ = false;
    bool open_ = false;
    std::string filter_;
};

// A field's value with Null turned into the empty value: "" as text; anything else as Access shows
// it ("0" stays "0").
std::string GetDBvalue(const store::Value& value);

}  // namespace tb::plantaccess
