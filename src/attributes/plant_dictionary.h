#pragma once
// What the attribute catalogue reads of a plant: the case code lists, the display names and items
// of the data dictionary, the instrument functions, the structure of the case tables and of the
// plant groups, and the columns of the source tables. It is read once and kept in memory for as
// long as the attribute dialog (or a tool) needs it, so that building the lists does not ask the
// plant again and again.

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plantaccess/connection.h"
#include "plantaccess/dialect.h"

namespace tb::attributes {

// Code list 34: case types; 41: case qualities.
inline constexpr int kCaseTypeList = 34;
inline constexpr int kQualityList = 41;
// Dictionary items with a meaning of their own: equipment and instrument.
inline constexpr int kEquipmentItem = 35;
inline constexpr int kInstrumentItem = 37;

// The statements, as they are sent; `db` is the prefix of the schema's connection ("" or
// "<schema user>.").
std::string CodeListsSql(std::string_view db);
std::string ItemAttributionsSql(std::string_view db);
std::string ItemSql(std::string_view db);
std::string FilteredRelationshipSql(std::string_view db);
std::string StructureSql(std::string_view db, std::string_view table);  // SELECT * ... WHERE 1=0
std::string PlantGroupStructureSql(std::string_view db);
// The tables of the connection's schema: Oracle's current schema, the SQL Server schema of the
// prefix, the SQLite plant file.
std::string TableListSql(plantaccess::Dialect dialect, std::string_view prefix);

class PlantDictionary {
  public:
    // Reads the current plant (resolving it when needed): the dictionary schema, the plant data
    // schema and the plant structure schema, or the open copy while a plant copy stands in for
    // the plant. Errors are logged under "PrepareMDB" and raised.
    static PlantDictionary Load();

    // False for a plant copy: the case names are not checked against code list 34.
    bool codeListLookup = true;
    // Enabled entries of code list 34 (the statement leaves out disabled ones) and of list 41.
    std::set<int> enabledCaseTypes;
    std::set<int> enabledQualities;
    // FILTEREDRELATIONSHIP names of the instrument item that the plant creates.
    std::vector<std::string> instrumentFunctions;
    // Columns of t_caseprocess, t_casecontrol and t_case, in the plant's order.
    std::vector<std::string> caseProcessColumns;
    std::vector<std::string> caseControlColumns;
    std::vector<std::string> caseColumns;
    // What the extract's plant group table offers: PlantGroup, ParentPlantGroup and, when the
    // plant's T_Unit has one, UnitCode.
    std::vector<std::string> plantGroupColumns;

    // One row of itemattributions (grouped) and of item.
    void AddAttribution(int itemId, std::string name, std::optional<std::string> displayName);
    void AddItem(int id, std::string name);

    // The item id of a name, ignoring case.
    std::optional<int> ItemId(std::string_view itemName) const;
    // The display name of an attribute of an item, ignoring case; "" when the dictionary has none.
    // Dotted names are found only for cases ("Process...", "ControlCase..."), as the dialog reads
    // them.
    std::string DisplayName(std::string_view name, int itemId) const;
    // The display name an equipment attribute has under the equipment item (any name form).
    std::string EquipmentDisplayName(std::string_view name) const;
    // Every attribute name of an item (the equipment's case list), ignoring case.
    bool ItemHasName(int itemId, std::string_view name) const;
    bool ItemHasNames(int itemId) const;

    // Columns of a plant data table in the plant's order; nothing when the plant lacks the table.
    // Read on first use through the reader and kept.
    using ColumnReader =
        std::function<std::optional<std::vector<std::string>>(std::string_view table)>;
    void SetColumnReader(ColumnReader reader) { reader_ = std::move(reader); }
    void SetColumns(std::string_view table, std::optional<std::vector<std::string>> columns);
    const std::optional<std::vector<std::string>>& Columns(std::string_view table);
    bool HasTable(std::string_view table) { return Columns(table).has_value(); }

  private:
    struct Attribution {
        int itemId = 0;
        std::string name;
        std::optional<std::string> displayName;
    };
    std::vector<Attribution> attributions_;
    std::map<std::string, int> items_;  // lower-cased name
    // (lower-cased name, item) -> display name, after the dialog's filter.
    std::map<std::pair<std::string, int>, std::string> displayNames_;
    std::set<std::pair<std::string, int>> itemNames_;
    std::set<int> itemsWithNames_;
    std::map<std::string, std::optional<std::vector<std::string>>> columns_;  // lower-cased table
    ColumnReader reader_;
};

// The names of the fields of "SELECT * FROM <table> WHERE 1=0", in order.
std::vector<std::string> ReadColumnNames(const plantaccess::ConnectionPtr& connection,
                                         std::string_view sql);
// The lower-cased names of the tables of a connection's schema.
std::set<std::string> ReadTableNames(const plantaccess::ConnectionPtr& connection,
                                     plantaccess::Dialect dialect, std::string_view prefix);

}  // namespace tb::attributes
