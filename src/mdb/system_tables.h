#pragma once
// The four system tables every Jet 4 database has (MSysObjects, MSysACEs, MSysQueries,
// MSysRelationships) as the Jet engine itself lays them out in a new, empty database: their
// definitions, pages, catalogue rows and access-control rows. Reproducing one real Jet-made
// set (owners, SIDs, rights) keeps the values consistent with each other.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "mdb/table_definition.h"
#include "mdb/table_model.h"

namespace tb::mdb::jet {

// Fixed pages of the layout.
inline constexpr std::uint32_t kGlobalMapPage = 1;
inline constexpr std::uint32_t kMapHolderPage = 6;
inline constexpr std::uint32_t kFirstFreePage = 16;  // user tables start here

struct SystemIndex {
    std::vector<TdefIndexColumn> columns;
    std::uint32_t unknown = 0;
    std::uint8_t flags = 0;
    std::uint32_t firstPage = 0;  // the empty database's root leaf
    std::array<std::uint8_t, 10> unusedSlotFlags{};
};

struct SystemTable {
    std::string name;
    std::uint32_t tdefPage = 0;
    std::uint32_t dataPage = 0;        // 0: no rows, no data page
    std::vector<TdefColumn> columns;   // in stored order (Jet sorts them by name)
    std::vector<SystemIndex> indexes;  // real indexes
    std::vector<TdefLogicalIndex> logicalIndexes;
};

// MSysObjects, MSysACEs, MSysQueries, MSysRelationships, in page order.
const std::vector<SystemTable>& SystemTables();

struct CatalogRow {
    std::int32_t id = 0;
    std::int32_t parentId = 0;
    std::string name;
    std::int16_t type = 0;
    Bytes owner;
    std::uint32_t flags = 0;
    // Linked tables: the other file, its provider string and the table's name there.
    std::string database;
    std::string connect;
    std::string foreignName;
};

struct AceRow {
    std::int32_t objectId = 0;
    Bytes sid;
    std::uint32_t acm = 0;
    bool inheritable = false;
};

inline constexpr std::int32_t kTablesContainerId = 0x0F000001;
inline constexpr std::int16_t kObjectTypeTable = 1;
inline constexpr std::int16_t kObjectTypeLinkedTable = 6;
// Objects without a definition page (linked tables) take ids counting up from here.
inline constexpr std::uint32_t kFirstSyntheticId = 0x80000001u;

// The catalogue rows and access-control rows of the empty database, in stored order.
const std::vector<CatalogRow>& SystemCatalogRows();
const std::vector<AceRow>& SystemAceRows();

// A new table is owned by the database's owner (the owner of MSysDb) and gets full rights for
// each SID that holds rights on the "Tables" container, as Jackcess-made tables do.
const Bytes& NewTableOwner();
std::vector<AceRow> NewTableAces(std::int32_t objectId);

// The catalogue row's values in MSysObjects column order.
Row CatalogValues(const CatalogRow& row, double now);
Row AceValues(const AceRow& row);

}  // namespace tb::mdb::jet
