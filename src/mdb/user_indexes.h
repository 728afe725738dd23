#pragma once
// The indexes of one user table while the table is written: checked against the table's
// columns first, their keys collected row by row, their B-trees built once the rows are out.
// An index whose keys cannot be written (a character without a known sort code, a key too long
// for a page, a repeated unique key, a Null in the primary key) is left out of the table with a
// log line naming table, index and value: the data matters more than an index over it.

#include <cstdint>
#include <string>
#include <vector>

#include "mdb/index_builder.h"
#include "mdb/table_definition.h"
#include "mdb/table_layout.h"
#include "mdb/table_model.h"

namespace tb::mdb {
class PageFile;
}

namespace tb::mdb::jet {

// Index flags of a table definition.
inline constexpr std::uint8_t kIndexUnique = 0x01;
inline constexpr std::uint8_t kIndexIgnoreNulls = 0x02;
inline constexpr std::uint8_t kIndexRequired = 0x08;
inline constexpr std::uint8_t kIndexAccess2000 = 0x80;  // set by Access 2000 and later on all
inline constexpr std::uint8_t kLogicalPrimaryKey = 1;
inline constexpr std::size_t kMaxIndexColumns = 10;
// A node page must hold two entries (key, row pointer, child page) for the tree to narrow.
inline constexpr std::size_t kMaxKeySize = kIndexEntrySpace / 2 - 8;

class UserIndexes {
  public:
    // Checks the indexes against the table (names, columns, types, one primary key at most);
    // throws tb::Error naming table and index.
    UserIndexes(const TableLayout& layout, const std::vector<IndexDef>& indexes);

    // Whether no index is kept (rows then need no keys), and how many are.
    bool empty() const { return kept_ == 0; }
    std::size_t size() const { return kept_; }

    // The index blocks of the definition for the kept indexes, in the order Write returned
    // them, without usage maps, roots and counts (those come from Write).
    void Describe(TableDefinition& tdef) const;

    // Records the keys of one row: `encoded` is the row as stored, `row` its values.
    // `pageOrdinal` counts the table's data pages from 0 (their numbers are known later).
    void Add(const ByteVec& encoded, const Row& row, std::uint32_t pageOrdinal,
             std::uint8_t rowNumber, std::uint64_t rowCount);

    struct Written {
        BuiltIndex tree;
        std::uint32_t uniqueKeys = 0;
    };
    // Sorts the keys and writes the B-tree of each kept index; `dataPages[ordinal]` is the number
    // of each data page. A unique index that holds a key twice is left out here.
    std::vector<Written> Write(const std::vector<std::uint32_t>& dataPages, std::uint32_t tdefPage,
                               PageFile& file);

  private:
    struct KeyColumn {
        const ColumnLayout* column = nullptr;
        bool ascending = true;
    };
    struct Index {
        IndexDef def;
        std::vector<KeyColumn> columns;
        std::uint8_t flags = kIndexAccess2000;
        IndexEntries entries;
        bool leftOut = false;
    };

    // Drops the index with a log line saying why.
    void LeaveOut(Index& index, const std::string& why);

    const TableLayout& layout_;
    std::size_t maskSize_ = 0;
    std::vector<Index> indexes_;
    std::size_t kept_ = 0;
    std::u16string units_;
    ByteVec key_;
};

}  // namespace tb::mdb::jet
