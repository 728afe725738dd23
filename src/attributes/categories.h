#pragma once
// The categories of the extract (one table family each) and the plant tables they are made of.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tb::attributes {

// In the order the run walks them: "Drawings" (only when asked), "DuctRuns" (when the switch is
// on and the client version is above "07.00"), "InlineComp_Prun", "Eqp_Nozzle", "Plantitems",
// "Instruments", "ItemNotes", "OPCs".
std::vector<std::string> GetCategoryList(bool withDrawings);

// Every category name the configuration file may hold, whatever the switches say.
const std::vector<std::string>& AllCategoryNames();

// The source tables of a category; T_PlantItem only with the flag. Unknown categories give none.
std::vector<std::string> GetCategoryTables(std::string_view category, bool withPlantItem);

// A case attribute decoded from its key. CaseType and quality are code list numbers (lists 34 and
// 41); the column has the owner suffixes taken out.
struct CaseKey {
    int caseType = 0;
    int quality = 0;  // 0 for T_Case keys, which have none
    std::string column;
};

// "ProcessDesign_Max_Temperature_Piperun" -> {1, 2, "Temperature"}; nullopt when it is no case key.
std::optional<CaseKey> ParseCaseProcessKey(std::string_view columnPart);
// "ControlCase_SetPoint_Instrument" -> {5, 0, "SetPoint"}.
std::optional<CaseKey> ParseCaseKey(std::string_view columnPart);

// The case names with their code list 34 numbers, and the quality names of list 41.
struct CaseName {
    std::string_view name;
    int index;
};
const std::vector<CaseName>& CaseNames();
const std::vector<std::string_view>& QualityNames();  // Min, Max, Norm, Base = 1..4

}  // namespace tb::attributes
