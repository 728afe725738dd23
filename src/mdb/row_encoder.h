#pragma once
// Encodes one row of a table in the Jet 4 row format: column count, fixed area, variable data,
// variable offsets (reversed) and the null mask, in which Booleans keep their value.

#include <cstdint>
#include <string>
#include <vector>

#include "mdb/long_values.h"
#include "mdb/table_layout.h"
#include "mdb/table_model.h"

namespace tb::mdb::jet {

class RowEncoder {
  public:
    // `longValues` holds one column store per Memo/OLE column (by long-value slot); it may be
    // empty when the table has none.
    RowEncoder(const TableLayout& layout, std::vector<LongValueColumn>* longValues);

    // Encodes the row (one value per column); throws tb::Error naming table, column and value
    // when a value does not fit its column or the row passes 4,060 bytes. `rowNumber` (from 1)
    // is for messages.
    const ByteVec& Encode(const Row& row, std::uint64_t rowNumber);

    // The highest auto-number written so far (Null in a Counter column takes the next one).
    std::uint32_t lastAutoNumber() const { return lastAutoNumber_; }

  private:
    [[noreturn]] void Fail(const ColumnLayout& column, const std::string& problem) const;
    void EncodeFixed(const ColumnLayout& column, const Value& value, std::uint8_t* at);
    void EncodeLongValue(const ColumnLayout& column, const Value& value, long& budget);

    const TableLayout& layout_;
    std::vector<LongValueColumn>* longValues_;
    std::uint64_t rowNumber_ = 0;
    std::uint32_t lastAutoNumber_ = 0;
    std::size_t maskSize_ = 0;
    std::size_t longValueCount_ = 0;
    ByteVec out_;
    ByteVec mask_;
    ByteVec payload_;
    std::vector<std::uint16_t> offsets_;
    std::u16string units_;
};

}  // namespace tb::mdb::jet
