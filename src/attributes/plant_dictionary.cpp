#include "attributes/plant_dictionary.h"

#include <charconv>
#include <memory>

#include "attributes/logged_trap.h"
#include "common/text.h"
#include "plantaccess/ado.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"
#include "plantaccess/store_connection.h"

namespace tb::attributes {

using namespace plantaccess;

std::string CodeListsSql(std::string_view db) {
    return "SELECT CODELIST_INDEX,CODELIST_NUMBER,CODELIST_ENTRY_DISABLED FROM " + std::string(db) +
           "CODELISTS WHERE CODELIST_NUMBER IN (34,41) AND CODELIST_ENTRY_DISABLED=0";
}

std::string ItemAttributionsSql(std::string_view db) {
    return "SELECT itemid,NAME,DISPLAYNAME FROM " + std::string(db) +
           "itemattributions group by itemid,NAME,DISPLAYNAME";
}

std::string ItemSql(std::string_view db) {
    return "SELECT id,NAME FROM " + std::string(db) + "item";
}

std::string FilteredRelationshipSql(std::string_view db) {
    return "SELECT NAME FROM " + std::string(db) +
           "FILTEREDRELATIONSHIP WHERE ITEMID=37 AND SPCREATE='T'";
}

std::string StructureSql(std::string_view db, std::string_view table) {
    return "SELECT * FROM " + std::string(db) + std::string(table) + " WHERE 1=0";
}

std::string PlantGroupStructureSql(std::string_view db) {
    return "SELECT name as PlantGroup, name as ParentPlantGroup FROM " + std::string(db) +
           "t_plantgroup WHERE 1=0";
}

std::string TableListSql(Dialect dialect, std::string_view prefix) {
    switch (dialect) {
        case Dialect::Oracle:
            return "SELECT OBJECT_NAME FROM ALL_OBJECTS WHERE OBJECT_TYPE IN ('TABLE','VIEW') AND "
                   "OWNER=SYS_CONTEXT('USERENV','CURRENT_SCHEMA')";
        case Dialect::SqlServer: {
            std::string_view schema = prefix;
            if (!schema.empty() && schema.back() == '.') schema.remove_suffix(1);
            return "SELECT TABLE_NAME FROM INFORMATION_SCHEMA.TABLES WHERE TABLE_SCHEMA=" +
                   SqlLiteral(schema);
        }
        case Dialect::AccessCopy:
        case Dialect::Sqlite:
            break;
    }
    return "SELECT name FROM sqlite_master WHERE type IN ('table','view')";
}

namespace {

std::optional<int> IntOf(const store::Value& v) {
    if (v.isInteger()) return static_cast<int>(v.integer());
    if (v.isReal()) return static_cast<int>(v.real());
    if (v.isText()) {
        const std::string_view t = TrimSpace(v.text());
        int out = 0;
        const auto r = std::from_chars(t.data(), t.data() + t.size(), out);
        if (r.ec == std::errc() && r.ptr == t.data() + t.size()) return out;
    }
    return std::nullopt;
}

std::optional<std::string> TextOf(const store::Value& v) {
    if (v.isNull()) return std::nullopt;
    std::string t = v.ToText();
    if (t.empty()) return std::nullopt;
    return t;
}

bool IsCaseDictionaryName(std::string_view name) {
    return Like(name, "Process*.*", true) || Like(name, "ControlCase*.*", true);
}

}  // namespace

void PlantDictionary::AddAttribution(int itemId, std::string name,
                                     std::optional<std::string> displayName) {
    if (displayName && displayName->empty()) displayName.reset();
    const std::string lower = ToLowerAscii(name);
    // The dialog's reading: plain names with a display name, and every dotted case name.
    const bool plain = name.find('.') == std::string::npos;
    if ((displayName && plain) || IsCaseDictionaryName(name))
        displayNames_.emplace(std::make_pair(lower, itemId), displayName.value_or(""));
    itemNames_.emplace(lower, itemId);
    itemsWithNames_.insert(itemId);
    attributions_.push_back({itemId, std::move(name), std::move(displayName)});
}

void PlantDictionary::AddItem(int id, std::string name) {
    items_.emplace(ToLowerAscii(name), id);
}

std::optional<int> PlantDictionary::ItemId(std::string_view itemName) const {
    const auto it = items_.find(ToLowerAscii(itemName));
    if (it == items_.end()) return std::nullopt;
    return it->second;
}

std::string PlantDictionary::DisplayName(std::string_view name, int itemId) const {
    const auto it = displayNames_.find({ToLowerAscii(name), itemId});
    return it == displayNames_.end() ? std::string() : it->second;
}

std::string PlantDictionary::EquipmentDisplayName(std::string_view name) const {
    const std::string lower = ToLowerAscii(name);
    for (const auto& a : attributions_)
        if (a.itemId == kEquipmentItem && a.displayName && ToLowerAscii(a.name) == lower)
            return *a.displayName;
    return {};
}

bool PlantDictionary::ItemHasName(int itemId, std::string_view name) const {
    return itemNames_.count({ToLowerAscii(name), itemId}) > 0;
}

bool PlantDictionary::ItemHasNames(int itemId) const {
    return itemsWithNames_.count(itemId) > 0;
}

void PlantDictionary::SetColumns(std::string_view table,
                                 std::optional<std::vector<std::string>> columns) {
    columns_[ToLowerAscii(table)] = std::move(columns);
}

const std::optional<std::vector<std::string>>& PlantDictionary::Columns(std::string_view table) {
    const std::string key = ToLowerAscii(table);
    auto it = columns_.find(key);
    if (it == columns_.end()) {
        std::optional<std::vector<std::string>> read;
        if (reader_) read = reader_(table);
        it = columns_.emplace(key, std::move(read)).first;
    }
    return it->second;
}

std::vector<std::string> ReadColumnNames(const ConnectionPtr& connection, std::string_view sql) {
    auto rs = AdoRead(sql, connection);
    std::vector<std::string> out;
    for (const auto& f : rs->Fields()) out.push_back(f.name);
    return out;
}

std::set<std::string> ReadTableNames(const ConnectionPtr& connection, Dialect dialect,
                                     std::string_view prefix) {
    std::set<std::string> out;
    // A plant copy is a store: its catalogue knows the tables (and hides the store's own).
    if (const auto* copy = dynamic_cast<const StoreConnection*>(connection.get())) {
        for (const auto& t : copy->store().TableNames()) out.insert(ToLowerAscii(t));
        return out;
    }
    auto rs = AdoRead(TableListSql(dialect, prefix), connection);
    for (; !rs->Eof(); rs->MoveNext()) out.insert(ToLowerAscii(rs->Field(0).ToText()));
    return out;
}

PlantDictionary PlantDictionary::Load() {
    return LoggedTrap("PrepareMDB", [] {
        PlantDictionary d;
        const bool copy = UseCopyPlantDatabase();
        d.codeListLookup = !copy;

        // Dictionary schema. A plant copy may lack any of these tables; it then has no case code
        // lists to check against, no display names and no instrument functions.
        const PlantConnection dict = Connect2PIDDB(kDictionarySchema);
        const Dialect dialect = CurrentDialect();  // known once the plant is resolved
        const std::set<std::string> dictTables =
            copy ? ReadTableNames(dict.connection, dialect, dict.prefix) : std::set<std::string>{};
        auto dictHas = [&](const char* table) { return !copy || dictTables.count(table) > 0; };
        if (dictHas("codelists")) {
            auto rs = AdoRead(CodeListsSql(dict.prefix), dict.connection);
            for (; !rs->Eof(); rs->MoveNext()) {
                const auto number = IntOf(rs->Field("CODELIST_NUMBER"));
                const auto index = IntOf(rs->Field("CODELIST_INDEX"));
                if (!number || !index) continue;
                if (*number == kCaseTypeList) d.enabledCaseTypes.insert(*index);
                if (*number == kQualityList) d.enabledQualities.insert(*index);
            }
        }
        if (dictHas("itemattributions")) {
            auto rs = AdoRead(ItemAttributionsSql(dict.prefix), dict.connection);
            for (; !rs->Eof(); rs->MoveNext()) {
                const auto item = IntOf(rs->Field("itemid"));
                const auto name = TextOf(rs->Field("NAME"));
                if (item && name) d.AddAttribution(*item, *name, TextOf(rs->Field("DISPLAYNAME")));
            }
        }
        if (dictHas("item")) {
            auto rs = AdoRead(ItemSql(dict.prefix), dict.connection);
            for (; !rs->Eof(); rs->MoveNext()) {
                const auto id = IntOf(rs->Field("id"));
                const auto name = TextOf(rs->Field("NAME"));
                if (id && name) d.AddItem(*id, *name);
            }
        }
        if (dictHas("filteredrelationship")) {
            auto rs = AdoRead(FilteredRelationshipSql(dict.prefix), dict.connection);
            for (; !rs->Eof(); rs->MoveNext())
                if (auto name = TextOf(rs->Field("NAME"))) d.instrumentFunctions.push_back(*name);
        }

        // Plant data schema: the case tables' structure, and the source tables on demand.
        const PlantConnection plant = Connect2PIDDB(kPlantSchema);
        const auto plantTables = std::make_shared<std::set<std::string>>(
            ReadTableNames(plant.connection, dialect, plant.prefix));
        auto structure = [&](const char* table) {
            return plantTables->count(table)
                       ? ReadColumnNames(plant.connection, StructureSql(plant.prefix, table))
                       : std::vector<std::string>{};
        };
        d.caseProcessColumns = structure("t_caseprocess");
        d.caseControlColumns = structure("t_casecontrol");
        d.caseColumns = structure("t_case");
        d.SetColumnReader([connection = plant.connection, prefix = plant.prefix, plantTables](
                              std::string_view table) -> std::optional<std::vector<std::string>> {
            if (!plantTables->count(ToLowerAscii(table))) return std::nullopt;
            return ReadColumnNames(connection, StructureSql(prefix, table));
        });

        // Plant structure schema: the plant groups as the extract names them.
        const PlantConnection groups = Connect2PIDDB(kPlantGroupSchema);
        const std::set<std::string> groupTables =
            copy ? *plantTables : ReadTableNames(groups.connection, dialect, groups.prefix);
        if (groupTables.count("t_plantgroup")) {
            d.plantGroupColumns =
                ReadColumnNames(groups.connection, PlantGroupStructureSql(groups.prefix));
            // The run fills UnitCode from T_Unit, so it is offered only where T_Unit has it.
            if (groupTables.count("t_unit")) {
                for (const auto& c :
                     ReadColumnNames(groups.connection, StructureSql(groups.prefix, "t_unit")))
                    if (IEquals(c, "UnitCode")) d.plantGroupColumns.push_back("UnitCode");
            }
        }
        return d;
    });
}

}  // namespace tb::attributes
