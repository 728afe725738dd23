#pragma once
// Index keys and the bulk building of an index B-tree: sorted entries packed into leaf pages,
// chained left to right, with node levels above them until one page, the root, remains.

#include <cstdint>
#include <string_view>
#include <vector>

#include "mdb/jet_format.h"
#include "mdb/table_model.h"
#include "mdb/usage_map.h"

namespace tb::mdb {
class PageFile;
}

namespace tb::mdb::jet {

// A column's value as its row stores it, which is what its key is made from: the fixed-area
// bytes (little-endian) of a fixed column, the value of a Boolean, the characters of a Text.
struct StoredKeyValue {
    bool null = true;  // Booleans are never Null
    const std::uint8_t* fixed = nullptr;
    bool boolean = false;
    std::u16string_view text;
};

// Whether a column of the type can be part of a key this writer builds.
bool IsIndexableType(JetType type);

// Appends one column's part of a key: a flag byte (ascending 7F, Null 00; descending 80, Null
// FF), then the value's bytes, which sort as the values do (all inverted for descending).
// False when a text holds a character beyond U+00FF, which the General sort order of this
// writer does not cover.
bool AppendKeyColumn(JetType type, bool ascending, const StoredKeyValue& value, ByteVec& key);

// Ascending key parts of the catalogue's indexes.
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
