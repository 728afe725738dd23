#pragma once
// The table definition (TDEF) as stored: a 63-byte header, column blocks, column names, index
// blocks and the long-value column blocks, continued on further pages when longer than one.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "mdb/jet_format.h"

namespace tb::mdb::jet {

struct TdefColumn {
    std::uint8_t type = 0;
    std::uint16_t number = 0;
    std::uint16_t varIndex = 0;  // fixed columns: the number of variable columns before them
    std::uint16_t position = 0;  // Access writes the column's place here (0 in system tables)
    std::uint8_t flags = 0;
    std::uint8_t extFlags = 0;
    std::uint16_t fixedOffset = 0;
    std::uint16_t length = 0;
    std::u16string name;
};

struct TdefIndexColumn {
    std::uint16_t column = 0;
    std::uint8_t flags = 0x01;  // ascending
};

// A "real" index: the B-tree and the columns of its key.
struct TdefRealIndex {
    std::vector<TdefIndexColumn> columns;
    RowPointer usageMap;
    std::uint32_t rootPage = 0;
    std::uint32_t unknown = 0;  // four bytes with no known meaning
    std::uint8_t flags = 0;
    std::array<std::uint8_t, 10> unusedSlotFlags{};  // leftovers Jet keeps in unused key slots
    std::uint32_t uniqueKeys = 0;
};

// A "logical" index: the named index of the table, pointing to a real index.
struct TdefLogicalIndex {
    std::uint32_t number = 0;
    std::uint32_t realIndex = 0;
    std::uint8_t cascadeUpdates = 4;
    std::uint8_t cascadeDeletes = 4;
    std::uint8_t kind = 0;  // 1 primary key
    std::u16string name;
};

struct TdefLongValue {
    std::uint16_t column = 0;
    RowPointer ownedPages;
    RowPointer freePages;
};

struct TableDefinition {
    std::uint8_t tableType = kTableUser;
    std::uint32_t rowCount = 0;
    std::uint32_t lastAutoNumber = 0;
    std::uint16_t varColumns = 0;
    RowPointer ownedPages;
    RowPointer freePages;
    std::vector<TdefColumn> columns;  // in the order they are stored
    std::vector<TdefRealIndex> realIndexes;
    std::vector<TdefLogicalIndex> logicalIndexes;
    std::vector<TdefLongValue> longValues;
};

// The definition's bytes as one sequence (the first page's header included, the continuation
// pages' headers not), with its length filled in.
ByteVec EncodeTableDefinition(const TableDefinition& def);
std::size_t EncodedTableDefinitionSize(const TableDefinition& def);

std::size_t TdefPageCount(std::size_t definitionSize);
// Builds page `index` of the definition; `nextPage` is the following page or 0.
void BuildTdefPage(const ByteVec& definition, std::size_t index, std::uint32_t nextPage,
                   std::uint8_t* page);

}  // namespace tb::mdb::jet
