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

// The entries of one index, packed in one buffer: each entry is the key, then the row's page
// (3 bytes big-endian) and row number. A table's keys wait here until its rows are out, so an
// entry costs its bytes and eight more, nothing per allocation.
class IndexEntries {
  public:
    void Add(const ByteVec& key, RowPointer row);

    std::size_t size() const { return refs_.size(); }
    bool empty() const { return refs_.empty(); }
    // Entry i in the current order (insertion order until Sort()).
    const std::uint8_t* data(std::size_t i) const { return bytes_.data() + refs_[i].offset; }
    std::size_t entrySize(std::size_t i) const { return refs_[i].size; }
    std::size_t keySize(std::size_t i) const { return refs_[i].size - 4u; }
    ByteVec Entry(std::size_t i) const { return ByteVec(data(i), data(i) + entrySize(i)); }

    // Replaces each entry's page p by pages[p] (entries made before the page numbers were
    // known carry the page's ordinal).
    void MapPages(const std::vector<std::uint32_t>& pages);
    // Sorts as Jet does, by the whole bytes of each entry (equal keys by row position). Rows
    // that arrive in key order (a counter key) cost one pass.
    void Sort();
    // The number of distinct keys among sorted entries (the definition records it).
    std::uint32_t CountDistinctKeys() const;
    // The first entry (in sorted order) whose key equals the previous one's, or size().
    std::size_t FirstDuplicate() const;
    void Clear();

  private:
    struct Ref {
        std::uint32_t offset;
        std::uint16_t size;
    };
    bool Less(const Ref& a, const Ref& b) const;
    bool SameKey(const Ref& a, const Ref& b) const;

    ByteVec bytes_;
    std::vector<Ref> refs_;
};

// The bytes of one entry: the key, the row's page (3 bytes big-endian) and row number.
ByteVec MakeIndexEntry(const ByteVec& key, RowPointer row);

struct BuiltIndex {
    std::uint32_t root = 0;
    PageSet pages;
};

// Writes the B-tree of sorted entries: the first leaf goes to `firstPage` (allocated already,
// so an empty index keeps its place), further pages are allocated from `file`. With `compress`
// each page stores its entries after the first without the prefix they all share; the Jet
// engine writes the catalogue's small pages without.
BuiltIndex WriteIndex(const IndexEntries& sorted, std::uint32_t tdefPage, std::uint32_t firstPage,
                      PageFile& file, bool compress = false);

}  // namespace tb::mdb::jet
