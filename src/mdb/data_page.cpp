#include "mdb/data_page.h"

#include <cstring>

namespace tb::mdb::jet {

void DataPage::Reset(std::uint32_t owner) {
    bytes_.fill(0);
    bytes_[0] = kPageData;
    bytes_[1] = 0x01;
    Put32(bytes_.data() + kDataOwnerOffset, owner);
    rows_ = 0;
    top_ = kPageSize;
    free_ = kPageSize - kDataHeaderSize;
    Put16(bytes_.data() + kDataFreeOffset, static_cast<std::uint16_t>(free_));
}

std::uint8_t* DataPage::AddSpace(std::size_t size, std::uint8_t& rowNumber) {
    top_ -= size;
    free_ -= size + 2;
    Put16(bytes_.data() + kDataHeaderSize + 2 * static_cast<std::size_t>(rows_),
          static_cast<std::uint16_t>(top_));
    rowNumber = static_cast<std::uint8_t>(rows_++);
    Put16(bytes_.data() + kDataRowCountOffset, static_cast<std::uint16_t>(rows_));
    Put16(bytes_.data() + kDataFreeOffset, static_cast<std::uint16_t>(free_));
    return bytes_.data() + top_;
}

std::uint8_t DataPage::Add(const std::uint8_t* row, std::size_t size) {
    std::uint8_t number = 0;
    std::uint8_t* at = AddSpace(size, number);
    if (size > 0) std::memcpy(at, row, size);
    return number;
}

}  // namespace tb::mdb::jet
