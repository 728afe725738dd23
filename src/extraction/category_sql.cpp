#include "extraction/category_sql.h"

#include <charconv>
#include <optional>

#include "attributes/catalogue_rules.h"
#include "attributes/categories.h"
#include "common/text.h"
#include "extraction/column_alias.h"

namespace tb::extraction {
namespace {

// Names in the store's SQL come from the plant and the configuration.
std::string Bracket(std::string_view name) {
    return store::SqlName(name);
}

std::string Entry(std::string_view column, std::string_view alias) {
    return Bracket(column) + " AS " + Bracket(alias);
}

// The owner suffixes a column of a plant table may carry in any category.
const std::vector<std::string_view>& AllOwnerSuffixes() {
    static const std::vector<std::string_view> list = {"_InlineComp", "_PipeRun",    "_Equipment",
                                                       "_Nozzle",     "_Instrument", "_Instrloop",
                                                       "_DuctRun"};
    return list;
}

// The owner suffixes of one category's sides, as the group attributes carry them.
std::vector<std::string_view> CategorySuffixes(std::string_view category) {
    if (IEquals(category, "InlineComp_Prun")) return {"_InlineComp", "_PipeRun"};
    if (IEquals(category, "Eqp_Nozzle")) return {"_Equipment", "_Nozzle"};
    if (IEquals(category, "Instruments")) return {"_Instrument"};
    return {};
}

// The one owner suffix at the end of a key taken off.
std::string StripOneOwnerSuffix(std::string_view key) {
    std::size_t n = 0;
    const OwnerSuffix* owners = OwnerSuffixes(n);
    for (std::size_t i = 0; i < n; ++i)
        if (IEndsWith(key, owners[i].suffix)) return StripSuffix(key, owners[i].suffix);
    return std::string(key);
}

// The working name of a group table: the name without "T_"; T_System is "TestSystem".
std::string GroupName(std::string_view table) {
    std::string name(IStartsWith(table, "T_") ? table.substr(2) : table);
    if (IEquals(name, "System")) name = "TestSystem";
    return name;
}

struct PointKey {
    int index = 0;
    std::string column;
};

// "_<n>_<column>" of a piping point key.
std::optional<PointKey> ParsePointKey(std::string_view attr) {
    if (attr.size() < 4 || attr[0] != '_') return std::nullopt;
    const auto underscore = attr.find('_', 1);
    if (underscore == std::string_view::npos || underscore == 1 || underscore + 1 >= attr.size())
        return std::nullopt;
    PointKey out;
    const auto* first = attr.data() + 1;
    const auto* last = attr.data() + underscore;
    const auto r = std::from_chars(first, last, out.index);
    if (r.ec != std::errc() || r.ptr != last) return std::nullopt;
    out.column = std::string(attr.substr(underscore + 1));
    return out;
}

std::string CaseQuery(std::string_view key, std::string_view owner,
                      const std::vector<std::string>* caseColumns, bool withQuality) {
    if (!owner.empty() && !IEndsWith(key, owner)) return {};
    const auto ck =
        withQuality ? attributes::ParseCaseProcessKey(key) : attributes::ParseCaseKey(key);
    if (!ck || ck->column.empty()) return {};
    std::string column = ck->column;
    if (caseColumns) {
        column = FindName(*caseColumns, ck->column);
        if (column.empty()) return {};
    }
    const std::string table = ck->caseType == 5 ? "T_CaseControl" : "T_CaseProcess";
    std::string sql = withQuality ? "SELECT " : "SELECT DISTINCT ";
    sql += Entry("SP_ID", table + "_SP_ID") + "," +
           Entry(column, GetColumnAlias(table + "." + std::string(key))) + " FROM " +
           Bracket(table) + " WHERE casetype=" + std::to_string(ck->caseType);
    if (withQuality) sql += " AND quality=" + std::to_string(ck->quality);
    return sql;
}

}  // namespace

std::string GetPartialWhereSql(std::string_view table, const Selection& sel, Dialect dialect,
                               std::string_view prefix) {
    if (!sel.any()) return {};
    const std::string t = ToLowerAscii(table);
    const std::string drawingIds = sel.drawingIDs;
    if (t == "t_representation" || t == "t_relationship")
        return drawingIds.empty() ? std::string() : "SP_DrawingID IN (" + drawingIds + ")";

    enum class Shape { Ids, AssociatedDrawings, Items } shape = Shape::Ids;
    if (!sel.selectFilter.empty())
        shape = sel.loadAssociatedDrawings ? Shape::AssociatedDrawings : Shape::Items;
    const std::string& filter = sel.selectFilter;
    const std::string representation =
        plantaccess::GetFullTableName(dialect, prefix, "t_representation");
    const std::string drawing = plantaccess::GetFullTableName(dialect, prefix, "t_drawing");

    // The plant groups or drawings of the first shape; both together are their union.
    auto core = [&](std::string_view qualifier) {
        std::vector<std::string> parts;
        if (!sel.plantGroupIDs.empty())
            parts.push_back(std::string(qualifier) + "SP_PLANTGROUPID IN (" + sel.plantGroupIDs +
                            ")");
        if (!drawingIds.empty())
            parts.push_back(std::string(qualifier) + "SP_ID IN (" + drawingIds + ")");
        return parts.size() == 2 ? "(" + parts[0] + " OR " + parts[1] + ")" : parts.at(0);
    };
    if (t == "t_drawing") {
        switch (shape) {
            case Shape::Ids:
                return core("t_drawing.");
            case Shape::AssociatedDrawings:
                return "t_drawing.sp_id in (" + filter + ")";
            case Shape::Items:
                return "t_representation.SP_MODELITEMID in (" + filter + ")";
        }
    }
    // <R>: the representations of the selected drawings.
    const std::string r = shape == Shape::Ids
                              ? representation + " where sp_drawingid in (select sp_id from " +
                                    drawing + " WHERE " + core("") + ")"
                              : representation + " where sp_drawingid in (" + filter + ")";
    auto form = [&](std::string_view column, std::string_view picked) {
        if (shape == Shape::Items) return std::string(column) + " in (" + filter + ")";
        return std::string(column) + " in (select " + std::string(picked) + " from " + r + ")";
    };
    static const std::string modelItemTables =
        ",t_inlinecomp,t_piperun,t_pipingcomp,t_plantitem,t_modelitem,t_equipment,t_nozzle,t_"
        "vessel,t_mechanical,"
        "t_equipcomponent,t_heatexchanger,t_instrument,t_note,t_opc,";
    if (modelItemTables.find("," + t + ",") != std::string::npos)
        return form("sp_id", "sp_modelitemid");
    if (t == "t_casecontrol" || t == "t_caseprocess")
        return form("t_case.sp_modelitemid", "sp_modelitemid");
    if (t == "t_history" || t == "t_status") return form("sp_modelitemid", "sp_modelitemid");
    if (t == "t_pipingpoint") return form("SP_PLANTITEMID", "sp_modelitemid");
    if (t == "t_instrfunction" || t == "t_instrfailmode")
        return form("sp_instrumentid", "sp_modelitemid");
    if (t == "t_connector") return form("sp_connectitem1id", "sp_id");
    if (t == "t_symbol") return form("sp_id", "sp_id");
    return {};
}

std::string AppendSelectionClause(std::string_view sql, std::string_view clause) {
    if (clause.empty()) return std::string(sql);
    return std::string(sql) + (IFind(sql, " WHERE ") == std::string::npos ? " WHERE " : " AND ") +
           std::string(clause);
}

DrawingSql GetSQL4TDrawing(const AttributeKeys& keys, const std::vector<std::string>& categories,
                           const std::vector<std::string>& drawingColumns, Dialect dialect) {
    DrawingSql out;
    std::vector<std::string> names;
    auto add = [&](std::string name) {
        if (IEquals(name, "drawingname")) name = "Name";
        if (IEquals(name, "drawingpath")) name = "Path";
        if (!name.empty() && !HasName(names, name)) names.push_back(std::move(name));
    };
    for (const std::string& category : categories) {
        for (const std::string& key : keys.Keys(category)) {
            const auto dot = key.find('.');
            if (dot == std::string::npos) continue;
            const std::string_view table = std::string_view(key).substr(0, dot);
            const std::string column = key.substr(dot + 1);
            if (IEquals(table, "T_Symbol")) {
                if (IEquals(column, "Name")) out.symbolNames = true;
            } else if (IEquals(table, "T_Drawing")) {
                add(column);
            } else if (IEquals(table, "Others")) {
                if (IStartsWith(column, "Drawing_"))
                    add(column.substr(8));
                else if (IEquals(column, "FileName") || IEquals(column, "Instockpile") ||
                         IEquals(column, "DrawingName") || IEquals(column, "DrawingPath"))
                    add(column);
            }
        }
    }
    for (const char* always : {"Name", "Path", "SP_ID", "Instockpile", "FileName"}) add(always);

    const std::string_view as = AliasKeyword(dialect);
    std::vector<std::string> entries;
    for (const std::string& name : names) {
        if (IEquals(name, "FileName")) {
            entries.push_back(FileNameExpression(dialect, "t_representation.FILENAME") +
                              std::string(as) + "FileName");
        } else if (IEquals(name, "Instockpile")) {
            entries.push_back(InstockpileAsText(dialect) + std::string(as) + "Instockpile");
        } else if (drawingColumns.empty() || HasName(drawingColumns, name)) {
            entries.push_back("T_Drawing." + PlantColumn(dialect, name, drawingColumns) +
                              std::string(as) +
                              PlantColumn(dialect, ShortenAlias("Drawing_" + name)));
        }
    }
    out.columns = Join(entries, ",");
    return out;
}

std::vector<std::string> GetAttrs4Table(const std::vector<std::string>& keys,
                                        std::string_view table, std::string_view suffix,
                                        const std::vector<std::string>* columns) {
    std::vector<std::string> out;
    for (const std::string& key : keys) {
        const auto dot = key.find('.');
        if (dot == std::string::npos || !IEquals(std::string_view(key).substr(0, dot), table))
            continue;
        if (!suffix.empty()) {
            const auto underscore = key.rfind('_');
            const std::string_view tail = underscore == std::string::npos
                                              ? std::string_view(key)
                                              : std::string_view(key).substr(underscore + 1);
            if (IFind(suffix, tail) == std::string::npos) continue;
        }
        std::string column = key.substr(dot + 1);
        if (columns && !HasName(*columns, StripOneOwnerSuffix(column))) continue;
        out.push_back(std::move(column));
    }
    return out;
}

std::string StripOwnerSuffixes(std::string_view key,
                               const std::vector<std::string_view>& suffixes) {
    std::string out(key);
    for (std::string_view s : suffixes) out = StripSuffix(out, s);
    return out;
}

std::vector<std::string> GetAllDefCols4T_Table(const AttributeKeys& keys, std::string_view table,
                                               const std::vector<std::string>& tableColumns) {
    std::vector<std::string> out;
    for (const std::string& category : attributes::GetCategoryList(true)) {
        for (const std::string& attr : GetAttrs4Table(keys.Keys(category), table)) {
            std::string column = StripOwnerSuffixes(attr, AllOwnerSuffixes());
            if (HasName(tableColumns, column) && !HasName(out, column))
                out.push_back(std::move(column));
        }
    }
    return out;
}

std::string GetSQL4AddCols4DiffTypes(const AttributeKeys& keys, std::string_view table,
                                     std::string_view category, std::string_view suffix,
                                     const std::vector<std::string>& tableColumns) {
    std::vector<std::string> attrs = GetAttrs4Table(keys.Keys(category), table, suffix);
    if (attrs.empty()) {
        if (!IEquals(category, "Plantitems")) return {};
        attrs.emplace_back("SP_ID");
    }
    // The column the chain joins on; SP_INSTRUMENTID of t_instrfunction keeps its plain name.
    // An inline instrument's row of t_inlinecomp names the instrument in SP_INSTRUMENTID.
    std::string keyColumn = "SP_ID";
    if (IEquals(table, "t_status"))
        keyColumn = "SP_MODELITEMID";
    else if (IEquals(table, "t_symbol"))
        keyColumn = "SP_PLANTITEMID";
    else if (IEquals(table, "t_instrfunction") || IEquals(table, "t_inlinecomp"))
        keyColumn = "SP_INSTRUMENTID";
    const bool plainKey = IEquals(table, "t_instrfunction");
    const std::string keyAttr = plainKey ? keyColumn : keyColumn + std::string(suffix);
    if (!HasName(attrs, keyAttr)) attrs.push_back(keyAttr);

    const bool startOfChain = IEquals(category, "Plantitems") && IEquals(table, "t_plantitem");
    // t_piperun and t_inlinecomp were copied under their aliases: their columns are named by them.
    const bool aliasedCopy = IEquals(table, "t_piperun") || IEquals(table, "t_inlinecomp");
    std::vector<std::string> names, entries;
    for (const std::string& attr : attrs) {
        const bool isPlainKey = plainKey && IEquals(attr, keyColumn);
        if (!suffix.empty() && !isPlainKey && !IEndsWith(attr, suffix)) continue;
        const std::string column = StripSuffix(attr, suffix);
        const std::string alias = GetColumnAlias(std::string(table) + "." + attr);
        const std::string stored =
            aliasedCopy ? GetColumnAlias(std::string(table) + "." + column) : column;
        std::string name, entry;
        if (isPlainKey || startOfChain) {
            name = column;
            entry = Bracket(column);
        } else if (aliasedCopy && stored == alias) {
            name = alias;
            entry = Bracket(alias);
        } else {
            name = alias;
            entry = Entry(stored, alias);
        }
        const bool isKey = IEquals(attr, keyAttr);
        if (!isKey && !HasName(tableColumns, stored)) continue;
        if (HasName(names, name)) continue;
        names.push_back(name);
        entries.push_back(std::move(entry));
    }
    return "SELECT " + Join(entries, ",") + " FROM " + Bracket(table);
}

std::string GetSQL4OthersCols(const AttributeKeys& keys, std::string_view category,
                              const std::vector<std::string>& pidColumns) {
    std::vector<std::string> columns = {"[SP_ID]"}, seen;
    bool drawingColumns = false, drawingId = false;
    for (const std::string& attr : GetAttrs4Table(keys.Keys(category), "Others")) {
        const std::string column =
            FindName(pidColumns, ShortenAlias(GetColumnAlias("Others." + attr)));
        if (column.empty() || IEquals(column, "SP_ID") || HasName(seen, column)) continue;
        // Representations of one item differ in their timestamp: grouped by it, an item would
        // get a row per timestamp. The Plantitems chain takes its greatest value instead.
        if (IEquals(column, kModelItemTimestamp)) continue;
        seen.push_back(column);
        columns.push_back(Bracket(column));
        if (IStartsWith(column, "Drawing_")) drawingColumns = true;
        if (IEquals(column, "Drawing_SP_ID")) drawingId = true;
    }
    if (drawingColumns && !drawingId) {
        const std::string column = FindName(pidColumns, "Drawing_SP_ID");
        if (!column.empty()) columns.push_back(Bracket(column));
    }
    std::vector<std::string> select = columns;
    select[0] = "[SP_ID] AS [Others_SP_ID]";
    return "SELECT " + Join(select, ",") + " FROM [PID] GROUP BY " + Join(columns, ",");
}

std::string GetSQL4ModelItemTimestamp(const std::vector<std::string>& pidColumns) {
    const std::string column = FindName(pidColumns, kModelItemTimestamp);
    if (column.empty()) return {};
    return "SELECT [SP_ID] AS [Ts_SP_ID],max(" + Bracket(column) + ") AS " + Bracket(column) +
           " FROM [PID] GROUP BY [SP_ID]";
}

DrawingColumns GetCols4Drawings(const AttributeKeys& keys,
                                const std::vector<std::string>& drawingColumns) {
    DrawingColumns out;
    auto add = [&](const std::string& column) {
        for (const AliasedColumn& c : out.columns)
            if (IEquals(c.column, column)) return;
        out.columns.push_back({column, ShortenAlias("Drawing_" + column)});
    };
    for (const std::string& key : keys.Keys("Drawings")) {
        const auto dot = key.find('.');
        if (dot == std::string::npos) continue;
        const std::string_view table = std::string_view(key).substr(0, dot);
        if (IEquals(table, "T_PlantGroup")) out.plantGroups = true;
        if (!IEquals(table, "T_Drawing")) continue;
        const std::string column = key.substr(dot + 1);
        if (HasName(drawingColumns, column)) add(column);
    }
    add("SP_ID");
    if (out.plantGroups) add("SP_PLANTGROUPID");
    out.modifiedDate = keys.AnyLike("*drawing*lastmodifieddate*");
    out.modifiedUser = keys.AnyLike("*drawing*lastmodifieduser*");
    return out;
}

std::vector<std::string> GetDefCols4PackageOrSystem(const AttributeKeys& keys,
                                                    std::string_view group,
                                                    const std::vector<std::string>& columns) {
    const std::vector<std::string> categories =
        IEquals(group, "instrloop")
            ? std::vector<std::string>{"Instruments"}
            : std::vector<std::string>{"InlineComp_Prun", "Eqp_Nozzle", "Instruments"};
    const std::string prefix = std::string(group) + "_";
    std::vector<std::string> out;
    for (const std::string& category : categories) {
        for (const std::string& attr : GetAttrs4Table(keys.Keys(category), "T_Plantitem")) {
            if (!IStartsWith(attr, prefix)) continue;
            std::string column =
                StripOwnerSuffixes(attr.substr(prefix.size()), CategorySuffixes(category));
            if (HasName(columns, column) && !HasName(out, column)) out.push_back(std::move(column));
        }
    }
    if (!out.empty() && !HasName(out, "SP_ID")) out.emplace_back("SP_ID");
    return out;
}

std::string GetColsOfGroupTable(const AttributeKeys& keys, std::string_view category,
                                std::string_view table, std::string_view suffix,
                                const std::vector<std::string>& groupColumns) {
    const std::string group = GroupName(table);
    const std::string prefix = group + "_";
    std::vector<std::string> aliases, entries;
    auto add = [&](const std::string& column, const std::string& alias) {
        if (HasName(aliases, alias)) return;
        aliases.push_back(alias);
        entries.push_back(Entry(column, alias));
    };
    bool idTaken = false;
    for (const std::string& attr : GetAttrs4Table(keys.Keys(category), "T_PlantItem", suffix)) {
        if (!IStartsWith(attr, prefix) || !IEndsWith(attr, suffix)) continue;
        const std::string column =
            FindName(groupColumns, StripSuffix(attr.substr(prefix.size()), suffix));
        if (column.empty()) continue;
        if (IEquals(column, "SP_ID")) idTaken = true;
        add(column, GetColumnAlias("T_PlantItem." + attr));
    }
    if (!entries.empty() && !idTaken) {
        const std::string id = FindName(groupColumns, "SP_ID");
        if (!id.empty())
            add(id, GetColumnAlias("T_PlantItem." + prefix + "SP_ID" + std::string(suffix)));
    }
    return Join(entries, ",");
}

std::vector<KeyedColumn> GetPlantGroupColumns4Side(const AttributeKeys& keys,
                                                   std::string_view category,
                                                   std::string_view suffix, bool ownerSide,
                                                   const std::vector<std::string>& groupColumns) {
    std::vector<KeyedColumn> out;
    constexpr std::string_view table = "t_plantgroup.";
    for (const std::string& key : keys.Keys(category)) {
        if (!IStartsWith(key, table)) continue;
        const std::string attr = key.substr(table.size());
        const std::string plain = StripOneOwnerSuffix(attr);
        const bool suffixed = plain.size() != attr.size();
        std::string column;
        if (suffixed && !suffix.empty() && IEndsWith(attr, suffix))
            column = FindName(groupColumns, StripSuffix(attr, suffix));
        else if (!suffixed && ownerSide)
            column = FindName(groupColumns, attr);
        if (column.empty()) continue;
        KeyedColumn c{key, column, GetColumnAlias(key)};
        bool seen = false;
        for (const KeyedColumn& o : out) seen = seen || IEquals(o.alias, c.alias);
        if (!seen) out.push_back(std::move(c));
    }
    return out;
}

std::string UnbuiltKeyReason(std::string_view category, std::string_view key) {
    const auto dot = key.find('.');
    if (dot == std::string_view::npos) return {};
    const std::string_view table = key.substr(0, dot);
    const std::string_view column = key.substr(dot + 1);
    const auto is = [&](std::string_view t, std::string_view pattern) {
        return IEquals(table, t) && Like(column, pattern, true);
    };
    if (is("Others", "*Revision") && !IEquals(category, "Drawings") &&
        (IEquals(column, "FirstRevision") || IEquals(column, "Last-1Revision") ||
         IEquals(column, "Last-2Revision") || IEquals(column, "LastRevision")))
        return "the revision columns are computed for Drawings only";
    if (is("Others", "Quantity") && (IEquals(category, "DuctRuns") || IEquals(category, "OPCs")))
        return "Quantity is added to the chains' categories and Drawings only";
    if (is("t_status", "PlantItemGroup_RevisionNumber*") && !IEquals(category, "Plantitems"))
        return "PlantItemGroup_RevisionNumber is added to Plantitems only";
    const bool groupForm = is("t_plantitem", "Package_*") || is("t_plantitem", "TestSystem_*") ||
                           is("t_plantitem", "SafetyClass_*");
    if (IEquals(category, "DuctRuns")) {
        if (groupForm) return "no step of DuctRuns reads the group tables";
        // The component side's status is joined on the piping run key, which a duct component
        // has none of.
        if (is("t_status", "*_InlineComp"))
            return "the status of DuctRuns' components is joined on a piping key";
    }
    if (IEquals(category, "Instruments") && IEndsWith(column, "_Instrloop")) {
        if (groupForm) return "the group tables are read for the side _Instrument only";
        if (IEquals(table, "t_status")) return "t_status is read for the side _Instrument only";
        // A loop's plant item columns are read from the plant, which keeps no history columns.
        if (is("t_plantitem", "Created*") || is("t_plantitem", "LastModified*"))
            return "the history columns are made for the side _Instrument only";
    }
    if (IEquals(category, "Drawings") && is("T_Revision", "SP_DrawingID"))
        return "the revisions are joined on it, and the join drops it; Drawing_SP_ID holds the "
               "same id";
    return {};
}

std::string ColumnOfKey(std::string_view category, std::string_view key) {
    const auto dot = key.find('.');
    if (dot == std::string_view::npos) return std::string(key);
    const std::string_view table = key.substr(0, dot), column = key.substr(dot + 1);
    if (IEquals(category, "Plantitems") && IEquals(table, "t_plantitem"))
        return std::string(column);
    if ((IEquals(table, "t_status") && IEquals(column, "PlantItemGroup_RevisionNumber")) ||
        (IEquals(table, "t_revision") && IEquals(column, "VersionAssociated")))
        return std::string(column);
    const std::string alias = GetColumnAlias(key);
    if (IStartsWith(alias, "Drawing_") || IEquals(table, "Others")) return ShortenAlias(alias);
    return alias;
}

std::string KeyOfSameColumn(const std::vector<std::string>& keys, std::string_view key) {
    const std::string alias = GetColumnAlias(key);
    for (const std::string& other : keys)
        if (!IEquals(other, key) && IEquals(GetColumnAlias(other), alias)) return other;
    return {};
}

std::string UnplacedKeyReason(std::string_view category, std::string_view key) {
    const auto dot = key.find('.');
    if (dot == std::string_view::npos) return "it names no table";
    if (std::string reason = UnbuiltKeyReason(category, key); !reason.empty()) return reason;
    const std::string_view table = key.substr(0, dot);
    const std::string_view column = key.substr(dot + 1);
    const auto& sides = attributes::CategorySides(category);
    // The tables a chain reads: the category's own, PID's columns, and for the categories with
    // an owner the case values (and the instruments' failure modes).
    std::vector<std::string> tables = attributes::GetCategoryTables(category, true);
    tables.emplace_back("Others");
    if (!sides.empty())
        for (const char* t : {"T_CaseProcess", "T_CaseControl", "T_Case"}) tables.emplace_back(t);
    if (IEquals(category, "InlineComp_Prun") || IEquals(category, "Instruments"))
        tables.emplace_back("T_InstrFailMode");
    if (!HasName(tables, table))
        return "no step of " + std::string(category) + " reads " + std::string(table);

    if (IEquals(table, "Others") && IEquals(column, kModelItemTimestamp) &&
        !IEquals(category, "Plantitems"))
        return "only Plantitems takes it";
    std::size_t n = 0;
    const OwnerSuffix* owners = OwnerSuffixes(n);
    std::string_view suffix;
    for (std::size_t i = 0; i < n && suffix.empty(); ++i)
        if (IEndsWith(column, owners[i].suffix))
            suffix = column.substr(column.size() - owners[i].suffix.size());
    if (IEquals(table, "T_InstrFunction") && !IEquals(suffix, "_Instrument"))
        return "instrument functions are read for the side _Instrument only";
    const bool sideTable =
        attributes::IsSideTable(category, table) ||
        (sides.empty() && (IEquals(table, "T_PlantItem") || IEquals(table, "T_ModelItem") ||
                           IEquals(table, "T_Status") || IEquals(table, "T_PlantGroup")));
    if (!sideTable) return {};
    if (sides.empty())
        return suffix.empty() ? std::string()
                              : std::string(category) + " has no side " + std::string(suffix);
    std::vector<std::string> names;
    for (const attributes::Side& side : sides) {
        if (IEquals(suffix, side.keySuffix)) return {};
        names.emplace_back(side.keySuffix);
    }
    // A plant group key without a suffix is the owner's.
    if (suffix.empty() && IEquals(table, "T_PlantGroup")) return {};
    return "it names none of the sides " + Join(names, ", ");
}

std::vector<std::string> GetInstrumentAttrs(const std::vector<std::string>& keys) {
    std::vector<std::string> out;
    for (const std::string& key : keys) {
        std::string k = StripOwnerSuffixes(key, {"_Instrument", "_Instrloop"});
        if (!HasName(out, k)) out.push_back(std::move(k));
    }
    return out;
}

std::string GetSQL4CaseProcess(std::string_view key, std::string_view owner,
                               const std::vector<std::string>* caseColumns) {
    return CaseQuery(key, owner, caseColumns, true);
}

std::string GetSQL4TCase(std::string_view key, std::string_view owner,
                         const std::vector<std::string>* caseColumns) {
    return CaseQuery(key, owner, caseColumns, false);
}

std::string CaseTableOfKey(std::string_view key, bool withQuality) {
    const auto ck =
        withQuality ? attributes::ParseCaseProcessKey(key) : attributes::ParseCaseKey(key);
    if (!ck) return {};
    return ck->caseType == 5 ? "T_CaseControl" : "T_CaseProcess";
}

HistoryFlags GetHistoryFlags(const AttributeKeys& keys) {
    HistoryFlags f;
    f.createdDate = keys.AnyLike("t_plantitem.createddate*");
    f.createdUser = keys.AnyLike("t_plantitem.createduser*");
    f.modifiedDate = keys.AnyLike("t_plantitem.lastmodifieddate*");
    f.modifiedUser = keys.AnyLike("t_plantitem.lastmodifieduser*");
    return f;
}

DrawingCountFlags GetDrawingCountFlags(const AttributeKeys& keys) {
    return {keys.Has("Drawings", "t_drawing.noofversions"),
            keys.Has("Drawings", "t_drawing.noofauxgraphic")};
}

PointColumns GetPointColumns(const AttributeKeys& keys,
                             const std::vector<std::string>& pointColumns) {
    PointColumns out;
    std::vector<std::string> wanted;
    bool any = false;
    for (const char* category : {"InlineComp_Prun", "Instruments"}) {
        for (const std::string& attr : GetAttrs4Table(keys.Keys(category), "T_PipingPoint")) {
            const auto pk = ParsePointKey(attr);
            if (!pk) continue;
            any = true;
            if (IEquals(pk->column, "Description")) {
                (IEquals(category, "Instruments") ? out.descriptionInstr : out.descriptionInline) =
                    true;
            } else if (IEquals(pk->column, "ConnectedPiperunID")) {
                out.connectedPiperunID = true;
            } else if (HasName(pointColumns, pk->column) && !HasName(wanted, pk->column)) {
                wanted.push_back(pk->column);
            }
        }
    }
    if (!any) return out;
    for (const char* base : {"SP_ID", "SP_PLANTITEMID", "POINTINDEX"})
        if (!HasName(wanted, base)) out.columns.emplace_back(base);
    for (std::string& c : wanted) out.columns.push_back(std::move(c));
    return out;
}

std::vector<AliasedColumn> GetPointColumns4Category(const AttributeKeys& keys,
                                                    std::string_view category, int pointIndex,
                                                    const std::vector<std::string>& pointColumns) {
    std::vector<AliasedColumn> out;
    for (const std::string& attr : GetAttrs4Table(keys.Keys(category), "T_PipingPoint")) {
        const auto pk = ParsePointKey(attr);
        if (!pk || pk->index != pointIndex) continue;
        const std::string column = FindName(pointColumns, pk->column);
        if (column.empty()) continue;
        AliasedColumn c{column, GetColumnAlias("T_PipingPoint." + attr)};
        bool seen = false;
        for (const AliasedColumn& o : out) seen = seen || IEquals(o.alias, c.alias);
        if (!seen) out.push_back(std::move(c));
    }
    return out;
}

}  // namespace tb::extraction
