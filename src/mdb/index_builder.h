#pragma once
// Index keys and the bulk building of an index B-tree: sorted entries packed into leaf pages,
// chained left to right, with node levels above them until one page, the root, remains.

#include <cstdint>
#include <string_view>
#include <vector>

#include "mdb/jet_format.h"
#include "mdb/usage_map.h"

namespace tb::mdb {
class PageFile;
}

namespace tb::mdb::jet {

// Ascending key parts: a flag byte (7F for a value, 00 for Null), then the value's bytes.
void AppendLongKey(std::int32_t value, ByteVec& key);
// False when the text holds a character the key encoding does not cover (beyond U+00FF).
bool AppendTextKeyPart(std::u16string_view text, ByteVec& key);
void AppendNullKey(ByteVec& key);

struct IndexEntry {
    ByteVec bytes;  // the key, then the row's page (3 bytes big-endian) and row number
    std::size_t keySize = 0;
};

IndexEntry MakeIndexEntry(ByteVec key, RowPointer row);

// Sorts entries as Jet does, by their whole bytes (equal keys by row position).
void SortIndexEntries(std::vector<IndexEntry>& entries);
// The number of distinct keys among sorted entries (the definition records it).
std::uint32_t CountDistinctKeys(const std::vector<IndexEntry>& sorted);

struct BuiltIndex {
    std::uint32_t root = 0;
    PageSet pages;
};

// Writes the B-tree of sorted entries: the first leaf goes to `firstPage` (allocated already,
// so an empty index keeps its place), further pages are allocated from `file`.
BuiltIndex WriteIndex(const std::vector<IndexEntry>& sorted, std::uint32_t tdefPage,
                      std::uint32_t firstPage, PageFile& file);

}  // namespace tb::mdb::jet
