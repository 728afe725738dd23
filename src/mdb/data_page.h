#pragma once
// A data page being filled: rows packed downward from the end of the page, their offsets
// upward after the 14-byte header. Used for table rows, long values and usage-map rows alike.

#include <array>
#include <cstdint>

#include "mdb/jet_format.h"

namespace tb::mdb::jet {

class DataPage {
  public:
    explicit DataPage(std::uint32_t owner = 0) { Reset(owner); }
    void Reset(std::uint32_t owner);

    bool Fits(std::size_t rowSize) const { return rows_ < kMaxRowsPerPage && rowSize + 2 <= free_; }
    // Adds a row that Fits() and returns its number on the page.
    std::uint8_t Add(const std::uint8_t* row, std::size_t size);
    // Reserves room for a row and returns where to write it.
    std::uint8_t* AddSpace(std::size_t size, std::uint8_t& rowNumber);

    int rows() const { return rows_; }
    bool empty() const { return rows_ == 0; }
    std::size_t freeSpace() const { return free_; }
    const std::uint8_t* bytes() const { return bytes_.data(); }

    // The largest row an empty page takes.
    static constexpr std::size_t kMaxRow = kPageSize - kDataHeaderSize - 2;

  private:
    std::array<std::uint8_t, kPageSize> bytes_{};
    int rows_ = 0;
    std::size_t free_ = 0;
    std::size_t top_ = kPageSize;  // start of the lowest row
};

}  // namespace tb::mdb::jet
