#include "mdb/system_tables.h"

namespace tb::mdb::jet {

namespace {

constexpr std::uint8_t kFixedSys = 0x13;  // fixed, updatable, system
constexpr std::uint8_t kVarSys = 0x12;
constexpr std::uint8_t kSidSys = 0x32;

TdefColumn Col(const char* name, JetType type, std::uint16_t number, std::uint16_t varIndex,
               std::uint8_t flags, std::uint16_t fixedOffset, std::uint16_t length) {
    TdefColumn c;
    c.type = static_cast<std::uint8_t>(type);
    c.number = number;
    c.varIndex = varIndex;
    c.position = 0;
    c.flags = flags;
    c.fixedOffset = fixedOffset;
    c.length = length;
    for (const char* p = name; *p; ++p) c.name.push_back(static_cast<char16_t>(*p));
    return c;
}

TdefLogicalIndex Logical(std::uint32_t number, std::uint32_t real, std::uint8_t kind,
                         const char* name) {
    TdefLogicalIndex l;
    l.number = number;
    l.realIndex = real;
    l.kind = kind;
    for (const char* p = name; *p; ++p) l.name.push_back(static_cast<char16_t>(*p));
    return l;
}

// Variable columns of the Jet-made definitions carry leftover values in the fixed-offset
// field, and indexes leftover bytes in their unused key slots and in four unknown bytes; they
// are kept as Jet wrote them, so that our empty database matches Jet's byte for byte.
std::vector<SystemTable> MakeSystemTables() {
    using T = JetType;
    std::vector<SystemTable> tables(4);

    SystemTable& objects = tables[0];
    objects.name = "MSysObjects";
    objects.tdefPage = 2;
    objects.dataPage = 14;
    objects.columns = {
        Col("Connect", T::Memo, 9, 3, kVarSys, 0, 0),
        Col("Database", T::Memo, 8, 2, kVarSys, 0, 0),
        Col("DateCreate", T::DateTime, 4, 1, kFixedSys, 10, 8),
        Col("DateUpdate", T::DateTime, 5, 1, kFixedSys, 18, 8),
        Col("Flags", T::Long, 7, 2, kFixedSys, 26, 4),
        Col("ForeignName", T::Text, 10, 4, kVarSys, 68, 510),
        Col("Id", T::Long, 0, 0, kFixedSys, 0, 4),
        Col("Lv", T::OLE, 13, 7, kVarSys, 0, 0),
        Col("LvExtra", T::OLE, 16, 10, kVarSys, 1028, 0),
        Col("LvModule", T::OLE, 15, 9, kVarSys, 65535, 0),
        Col("LvProp", T::OLE, 14, 8, kVarSys, 24832, 0),
        Col("Name", T::Text, 2, 0, kVarSys, 100, 510),
        Col("Owner", T::Binary, 6, 1, kSidSys, 256, 510),
        Col("ParentId", T::Long, 1, 0, kFixedSys, 4, 4),
        Col("RmtInfoLong", T::OLE, 12, 6, kVarSys, 0, 0),
        Col("RmtInfoShort", T::Binary, 11, 5, kVarSys, 106, 510),
        Col("Type", T::Integer, 3, 1, kFixedSys, 8, 2),
    };
    objects.indexes = {{{{1, 1}, {2, 1}}, 0, 0x81, 7, {0, 0, 0, 0x6E, 0, 0x69, 0, 0, 0, 0}},
                       {{{0, 1}}, 0, 0x81, 8, {}}};
    objects.logicalIndexes = {Logical(1, 1, 1, "Id"), Logical(0, 0, 0, "ParentIdName")};

    SystemTable& aces = tables[1];
    aces.name = "MSysACEs";
    aces.tdefPage = 3;
    aces.dataPage = 15;
    aces.columns = {
        Col("ACM", T::Long, 2, 1, kFixedSys, 4, 4),
        Col("FInheritable", T::Boolean, 3, 1, kFixedSys, 0, 1),
        Col("ObjectId", T::Long, 0, 0, kFixedSys, 0, 4),
        Col("SID", T::Binary, 1, 0, kSidSys, 7, 510),
    };
    aces.indexes = {{{{0, 1}}, 0x00740041, 0x88, 9, {0, 0, 0, 0x09, 0, 0, 0, 0x04, 0x12, 0}}};
    aces.logicalIndexes = {Logical(0, 0, 0, "ObjectId")};

    SystemTable& queries = tables[2];
    queries.name = "MSysQueries";
    queries.tdefPage = 4;
    queries.columns = {
        Col("Attribute", T::Byte, 1, 0, kFixedSys, 4, 1),
        Col("Expression", T::Memo, 5, 3, kVarSys, 1024, 0),
        Col("Flag", T::Integer, 6, 4, kFixedSys, 5, 2),
        Col("LvExtra", T::Long, 7, 4, kFixedSys, 7, 4),
        Col("Name1", T::Text, 3, 1, kVarSys, 65024, 510),
        Col("Name2", T::Text, 4, 2, kVarSys, 65024, 510),
        Col("ObjectId", T::Long, 0, 0, kFixedSys, 0, 4),
        Col("Order", T::Binary, 2, 0, kVarSys, 65024, 510),
    };
    queries.indexes = {
        {{{0, 1}, {1, 1}, {2, 1}}, 0x00640065, 0x81, 10, {0, 0, 0, 0, 0x6E, 0, 0x7A, 0, 0x66, 0}}};
    queries.logicalIndexes = {Logical(0, 0, 1, "ObjectIdAttribute")};

    SystemTable& relationships = tables[3];
    relationships.name = "MSysRelationships";
    relationships.tdefPage = 5;
    relationships.columns = {
        Col("ccolumn", T::Long, 2, 1, kFixedSys, 4, 4),
        Col("grbit", T::Long, 1, 1, kFixedSys, 0, 4),
        Col("icolumn", T::Long, 3, 1, kFixedSys, 8, 4),
        Col("szColumn", T::Text, 5, 2, kVarSys, 0, 510),
        Col("szObject", T::Text, 4, 1, kVarSys, 0, 510),
        Col("szReferencedColumn", T::Text, 7, 4, kVarSys, 0, 510),
        Col("szReferencedObject", T::Text, 6, 3, kVarSys, 0, 510),
        Col("szRelationship", T::Text, 0, 0, kVarSys, 0, 510),
    };
    relationships.indexes = {
        {{{0, 1}}, 0, 0x82, 11, {}}, {{{4, 1}}, 0, 0x82, 12, {}}, {{{6, 1}}, 0, 0x82, 13, {}}};
    relationships.logicalIndexes = {Logical(1, 1, 0, "szObject"),
                                    Logical(2, 2, 0, "szReferencedObject"),
                                    Logical(0, 0, 0, "szRelationship")};
    return tables;
}

const Bytes kOwnerSystem = {0x65, 0x89};
const Bytes kOwnerDatabase = {0x64, 0x8B};
constexpr std::uint32_t kSystemObjectFlag = 0x80000000u;
constexpr std::uint32_t kFullAccess = 0x000FFFFF;

}  // namespace

const std::vector<SystemTable>& SystemTables() {
    static const std::vector<SystemTable> tables = MakeSystemTables();
    return tables;
}

const std::vector<CatalogRow>& SystemCatalogRows() {
    static const std::vector<CatalogRow> rows = {
        {0x0F000001, 0x0F000000, "Tables", 3, kOwnerSystem, kSystemObjectFlag, {}, {}, {}},
        {0x0F000002, 0x0F000000, "Databases", 3, kOwnerSystem, kSystemObjectFlag, {}, {}, {}},
        {0x0F000003, 0x0F000000, "Relationships", 3, kOwnerSystem, kSystemObjectFlag, {}, {}, {}},
        {0x10000000, 0x0F000002, "MSysDb", 2, kOwnerDatabase, kSystemObjectFlag, {}, {}, {}},
        {2,
         kTablesContainerId,
         "MSysObjects",
         kObjectTypeTable,
         kOwnerSystem,
         kSystemObjectFlag,
         {},
         {},
         {}},
        {3,
         kTablesContainerId,
         "MSysACEs",
         kObjectTypeTable,
         kOwnerSystem,
         kSystemObjectFlag,
         {},
         {},
         {}},
        {4,
         kTablesContainerId,
         "MSysQueries",
         kObjectTypeTable,
         kOwnerSystem,
         kSystemObjectFlag,
         {},
         {},
         {}},
        {5,
         kTablesContainerId,
         "MSysRelationships",
         kObjectTypeTable,
         kOwnerSystem,
         kSystemObjectFlag,
         {},
         {},
         {}},
    };
    return rows;
}

const std::vector<AceRow>& SystemAceRows() {
    static const std::vector<AceRow> rows = {
        {0x00000002, {0x64, 0x8B}, 0x00060000, false},
        {0x00000003, {0x64, 0x8B}, 0x00060000, false},
        {0x00000004, {0x64, 0x8B}, 0x00060000, false},
        {0x00000005, {0x64, 0x8B}, 0x000E0000, false},
        {0x0F000001, {0x65, 0x8E}, 0x000F00FE, true},
        {0x0F000001, {0x64, 0x8B}, 0x00060001, false},
        {0x0F000003, {0x65, 0x8E}, 0x000F00FE, true},
        {0x0F000003, {0x64, 0x8B}, 0x00060001, false},
        {0x0F000002, {0x64, 0x8B}, 0x00060000, false},
        {0x10000000, {0x64, 0x8B}, 0x0006000E, false},
        {0x10000000, {0x65, 0x8B}, 0x0000000E, false},
        {0x00000004, {0x65, 0x8B}, 0x00000014, false},
        {0x00000005, {0x65, 0x8B}, 0x00000014, false},
        {0x00000002, {0x65, 0x8B}, 0x00000014, false},
        {0x0F000001, {0x65, 0x8B}, 0x000FFEFF, true},
        {0x0F000003, {0x65, 0x8B}, 0x000FFFFF, true},
    };
    return rows;
}

const Bytes& NewTableOwner() {
    return kOwnerDatabase;
}

std::vector<AceRow> NewTableAces(std::int32_t objectId) {
    // The container's SIDs in the order its ObjectId index lists them (by row position).
    std::vector<AceRow> out;
    for (const AceRow& r : SystemAceRows()) {
        if (r.objectId == kTablesContainerId) out.push_back({objectId, r.sid, kFullAccess, false});
    }
    return out;
}

Row CatalogValues(const CatalogRow& r, double now) {
    Row row(17, Value{Null{}});
    row[0] = std::int64_t{r.id};
    row[1] = std::int64_t{r.parentId};
    row[2] = r.name;
    row[3] = std::int64_t{r.type};
    row[4] = DateTime{now};
    row[5] = DateTime{now};
    row[6] = r.owner;
    row[7] = std::int64_t{static_cast<std::int32_t>(r.flags)};
    if (!r.database.empty()) row[8] = r.database;
    if (!r.connect.empty()) row[9] = r.connect;
    if (!r.foreignName.empty()) row[10] = r.foreignName;
    return row;
}

Row AceValues(const AceRow& r) {
    Row row(4, Value{Null{}});
    row[0] = std::int64_t{r.objectId};
    row[1] = r.sid;
    row[2] = std::int64_t{static_cast<std::int32_t>(r.acm)};
    row[3] = r.inheritable;
    return row;
}

}  // namespace tb::mdb::jet
