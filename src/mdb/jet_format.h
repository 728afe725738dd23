#pragma once
// Constants and byte helpers of the Jet 4 page format, shared by the writer's parts (and by the
// tests' structure checker). Integers are little-endian except inside index entries.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace tb::mdb::jet {

inline constexpr std::size_t kPageSize = 4096;
// Jet 4 files stop at 2 GB.
inline constexpr std::uint32_t kMaxPages = 0x80000000u / kPageSize;

enum PageType : std::uint8_t {
    kPageHeader = 0x00,
    kPageData = 0x01,
    kPageTdef = 0x02,
    kPageIndexNode = 0x03,
    kPageIndexLeaf = 0x04,
    kPageUsageBitmap = 0x05,
};

// Data pages: 01 01, u16 free space, u32 owner, u32 0, u16 row count, u16 row offsets.
inline constexpr std::size_t kDataHeaderSize = 14;
inline constexpr std::size_t kDataFreeOffset = 2;
inline constexpr std::size_t kDataOwnerOffset = 4;
inline constexpr std::size_t kDataRowCountOffset = 12;
inline constexpr int kMaxRowsPerPage = 255;
inline constexpr std::size_t kMaxRowSize = 4060;
inline constexpr std::uint16_t kRowDeletedFlag = 0x8000;
inline constexpr std::uint16_t kRowOverflowFlag = 0x4000;
inline constexpr std::uint16_t kRowOffsetMask = 0x1FFF;
// The owner field of long-value pages.
inline constexpr std::uint32_t kLvalOwner = 0x4C41564C;  // "LVAL"

// Table definitions.
inline constexpr std::uint32_t kTdefMagic = 1625;
inline constexpr std::uint32_t kIndexMagic = 1923;
inline constexpr std::size_t kTdefHeaderSize = 63;
inline constexpr std::size_t kTdefContinuationHeader = 8;
inline constexpr std::size_t kTdefColumnSize = 25;
inline constexpr std::size_t kTdefRealIndexSize = 12;
inline constexpr std::size_t kTdefIndexColumnsSize = 52;
inline constexpr std::size_t kTdefLogicalIndexSize = 28;
inline constexpr std::size_t kTdefLongValueSize = 10;
inline constexpr std::uint8_t kTableUser = 0x4E;
inline constexpr std::uint8_t kTableSystem = 0x53;

// Column flags in a table definition.
inline constexpr std::uint8_t kColFixed = 0x01;
inline constexpr std::uint8_t kColUpdatable = 0x02;
inline constexpr std::uint8_t kColAutoLong = 0x04;
inline constexpr std::uint8_t kColExtCompressedUnicode = 0x01;

// Usage maps: a 69-byte row, inline (type 0: start page + 512-bit map) or reference (type 1:
// pointers to bitmap pages of 4092 bytes each).
inline constexpr std::size_t kMapRowSize = 69;
inline constexpr std::uint32_t kInlineMapPages = (kMapRowSize - 5) * 8;
inline constexpr std::size_t kReferenceSlots = (kMapRowSize - 1) / 4;
inline constexpr std::uint32_t kPagesPerBitmapPage = (kPageSize - 4) * 8;

// Long values (Memo, OLE): a 12-byte descriptor in the row.
inline constexpr std::size_t kLongValueDescriptorSize = 12;
inline constexpr std::size_t kMaxInlineLongValue = 64;
inline constexpr std::size_t kMaxSingleLongValueRow = 4076;
inline constexpr std::size_t kLongValueChunk = 4072;  // data per row of a chain
inline constexpr std::uint32_t kLongValueInline = 0x80000000u;
inline constexpr std::uint32_t kLongValueSingle = 0x40000000u;
inline constexpr std::uint32_t kLongValueLengthMask = 0x3FFFFFFFu;
inline constexpr std::size_t kMaxCompressedMemoChars = 1024;

// Index pages: header, entry-end bitmask, entries from 0x1E0.
inline constexpr std::size_t kIndexPrevOffset = 12;
inline constexpr std::size_t kIndexNextOffset = 16;
inline constexpr std::size_t kIndexTailOffset = 20;
inline constexpr std::size_t kIndexPrefixOffset = 24;
inline constexpr std::size_t kIndexMaskOffset = 27;
inline constexpr std::size_t kIndexMaskSize = 453;
inline constexpr std::size_t kIndexEntriesOffset = 0x1E0;
inline constexpr std::size_t kIndexEntrySpace = kPageSize - kIndexEntriesOffset;

// Limits of names and tables.
inline constexpr int kMaxColumns = 255;
inline constexpr std::size_t kMaxNameChars = 64;
inline constexpr int kMaxTextChars = 255;

inline void Put16(std::uint8_t* p, std::uint16_t v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
}
inline void Put32(std::uint8_t* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}
inline void Put64(std::uint8_t* p, std::uint64_t v) {
    for (int i = 0; i < 8; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}
inline void PutDouble(std::uint8_t* p, double v) {
    std::uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    Put64(p, bits);
}
inline std::uint16_t Get16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
inline std::uint32_t Get32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

// A row's address: the page and the row number on it. In table definitions and long-value
// descriptors it is stored as one u32, row in the low byte.
struct RowPointer {
    std::uint32_t page = 0;
    std::uint8_t row = 0;
    std::uint32_t Encoded() const { return (page << 8) | row; }
    static RowPointer Decode(std::uint32_t v) {
        return {v >> 8, static_cast<std::uint8_t>(v & 0xFF)};
    }
    bool operator==(const RowPointer&) const = default;
};

using ByteVec = std::vector<std::uint8_t>;

inline void Append16(ByteVec& out, std::uint16_t v) {
    out.push_back(static_cast<std::uint8_t>(v));
    out.push_back(static_cast<std::uint8_t>(v >> 8));
}
inline void Append32(ByteVec& out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

}  // namespace tb::mdb::jet
