#pragma once
// The fixed rules of the attribute catalogue: which plant columns are offered, which columns are
// added by hand, the two sides of the two-sided categories and their key forms, the computed
// attributes, and whose case attributes a category offers. Pure text rules; the plant's own
// tables and dictionary come from plant_dictionary.h.

#include <string>
#include <string_view>
#include <vector>

namespace tb::attributes {

// False for id columns ("*SP_*ID" in upper case, but for SP_PartOfID and SP_DrawingID), design
// basis and source application columns, and the bookkeeping columns (ID, UpdateCount, ...).
bool IsNotExcludedColumn(std::string_view column);

// True for "*_SP_ID" columns, and for SP_ID when `tables` is not empty and `table` is neither
// T_ModelItem nor T_PlantItem, or when the category is Plantitems.
bool IsExcludedIdColumn(std::string_view column, std::string_view tables, std::string_view table,
                        std::string_view category = {});

// Both filters together: whether a column of a source table is offered.
bool IsOfferedColumn(std::string_view column, std::string_view tables, std::string_view table,
                     std::string_view category);

// Columns the extract computes for a source table, added to the plant's columns before they are
// filtered.
std::vector<std::string> HandAddedColumns(std::string_view table, std::string_view category);

// The source tables of a category as a comma list, in the order of GetCategoryTables; the
// optional ones (T_PlantItem, T_InstrFunction, and T_InlineComp of Instruments) only when
// `exists` says the plant has them.
template <class Exists>
std::string GetTables4Category(std::string_view category, Exists&& exists);
bool IsOptionalSourceTable(std::string_view category, std::string_view table);

// One side of a two-sided category: the text before the column and the suffix of the key.
struct Side {
    std::string_view textPrefix;  // "PipeRun_"
    std::string_view keySuffix;   // "_PipeRun"
};
// The sides of InlineComp_Prun, Eqp_Nozzle, Instruments and DuctRuns; none for the others.
const std::vector<Side>& CategorySides(std::string_view category);
// The tables whose columns come once per side instead of plain, lower case, comma list:
// "t_plantitem,t_modelitem,t_plantgroup,t_status" (Instruments also t_inlinecomp); empty for a
// category without sides.
std::string_view SideTables(std::string_view category);
bool IsSideTable(std::string_view category, std::string_view table);

// The group forms of plant item columns on every side ("Package_", "TestSystem_", and in
// Instruments "SafetyClass_").
std::vector<std::string_view> PlantItemGroupForms(std::string_view category);

// A computed attribute of the extract: its key, the name it is shown by, its group.
struct ComputedAttribute {
    std::string key;
    std::string name;
    std::string group;
};
std::vector<ComputedAttribute> ComputedAttributes(std::string_view category);

// The dictionary item whose case attributes a category offers: "PipeRun" for InlineComp_Prun and
// OPCs, "Equipment", "Instrument", "DuctRun"; empty for categories without case attributes.
struct CaseOwner {
    std::string_view item;        // dictionary item
    std::string_view textPrefix;  // "Piperun_"
    std::string_view keySuffix;   // "_Piperun"
};
CaseOwner CaseOwnerOf(std::string_view category);
// Whether the category offers case attributes at all; OPCs only when case attributes are on.
bool OffersCaseAttributes(std::string_view category, bool caseAttributesOn);

// Piping points are offered once for each point index 1..4.
inline constexpr int kPipingPoints = 4;
// "t_pipingpoint._<n>_<column>" and its text "End_<n>_<column>".
std::string PipingPointKey(int n, std::string_view column);
std::string PipingPointText(int n, std::string_view column);

// The node text: name + four blanks + "(" + display name + ")", or the name alone.
std::string ShownText(std::string_view name, std::string_view displayName);
// "Available attributes (" + count + ")".
std::string AvailableAttributesLabel(std::size_t count);

// The dictionary item a source table describes: the part behind "t_", else the table itself.
std::string ItemNameOfTable(std::string_view table);

// --- template definition ---

std::vector<std::string> CategorySourceTables(std::string_view category);

template <class Exists>
std::string GetTables4Category(std::string_view category, Exists&& exists) {
    std::string out;
    for (const std::string& table : CategorySourceTables(category)) {
        if (IsOptionalSourceTable(category, table) && !exists(table)) continue;
        if (!out.empty()) out += ',';
        out += table;
    }
    return out;
}

}  // namespace tb::attributes
