// A page filled to its last byte: each row needs its bytes and a two-byte offset slot, and a row
// that takes the last free bytes must leave the slots and the other rows as they were.

#include "mdb/data_page.h"

#include <gtest/gtest.h>

#include <vector>

namespace tb::mdb::jet {
namespace {

TEST(DataPage, RowsFitUpToTheLastFreeByte) {
    struct Case {
        const char* name;
        std::size_t firstRow;  // fills the page down to the free space asked about
    } cases[] = {{"empty page", 0},
                 {"page with one row", 100},
                 {"nearly full page", DataPage::kMaxRow - 40}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DataPage page(7);
        std::vector<std::uint8_t> first(c.firstRow, 0xA1);
        if (c.firstRow) page.Add(first.data(), first.size());
        const std::size_t free = page.freeSpace();
        // The slot takes two bytes: a row of free - 1 or free bytes would overwrite it.
        EXPECT_TRUE(page.Fits(free - 2));
        EXPECT_FALSE(page.Fits(free - 1));
        EXPECT_FALSE(page.Fits(free));
        std::vector<std::uint8_t> last(free - 2, 0xB2);
        const int number = page.Add(last.data(), last.size());
        EXPECT_EQ(page.freeSpace(), 0u);
        // Every slot points at its row, and every row still holds its own bytes.
        const std::uint8_t* bytes = page.bytes();
        auto slot = [&](int n) {
            return bytes[kDataHeaderSize + 2 * n] | bytes[kDataHeaderSize + 2 * n + 1] << 8;
        };
        const std::size_t lastAt = static_cast<std::size_t>(slot(number));
        EXPECT_EQ(lastAt, kPageSize - c.firstRow - last.size());
        EXPECT_EQ(lastAt, kDataHeaderSize + 2 * static_cast<std::size_t>(number + 1));
        for (std::size_t i = 0; i < last.size(); ++i) ASSERT_EQ(bytes[lastAt + i], 0xB2) << i;
        for (std::size_t i = 0; i < c.firstRow; ++i)
            ASSERT_EQ(bytes[kPageSize - c.firstRow + i], 0xA1) << i;
    }
}

}  // namespace
}  // namespace tb::mdb::jet
