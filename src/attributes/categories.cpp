#include "attributes/categories.h"

#include "common/text.h"
#include "shell/program_settings.h"

namespace tb::attributes {

const std::vector<std::string>& AllCategoryNames() {
    static const std::vector<std::string> names = {"Drawings",   "DuctRuns",   "InlineComp_Prun",
                                                   "Eqp_Nozzle", "Plantitems", "Instruments",
                                                   "ItemNotes",  "OPCs"};
    return names;
}

std::vector<std::string> GetCategoryList(bool withDrawings) {
    std::vector<std::string> out;
    if (withDrawings) out.emplace_back("Drawings");
    if (shell::ProgramFlag("DuctRuns") && shell::GetSPPIDVersionNumber() > "07.00")
        out.emplace_back("DuctRuns");
    for (const char* c :
         {"InlineComp_Prun", "Eqp_Nozzle", "Plantitems", "Instruments", "ItemNotes", "OPCs"})
        out.emplace_back(c);
    return out;
}

std::vector<std::string> GetCategoryTables(std::string_view category, bool withPlantItem) {
    // "*" marks where T_PlantItem stands when asked for.
    struct Entry {
        std::string_view category;
        std::string_view tables;
    };
    static constexpr Entry kTables[] = {
        {"InlineComp_Prun",
         "T_PipeRun,T_PipingComp,T_InlineComp,T_Instrument,T_ModelItem,T_PlantGroup,T_Status,"
         "T_PipingPoint,*,T_InstrFunction"},
        {"Eqp_Nozzle",
         "T_Nozzle,T_Equipment,T_Vessel,T_Mechanical,T_Exchanger,T_EquipmentOther,"
         "T_EquipComponent,T_ModelItem,T_PlantGroup,T_Status,*"},
        {"Plantitems", "T_ModelItem,T_PlantGroup,T_Status,T_Symbol,*"},
        {"Instruments",
         "T_Instrument,T_ModelItem,T_InstrLoop,T_PlantGroup,T_Status,T_PipingPoint,*,"
         "T_InlineComp,T_InstrFunction"},
        {"ItemNotes", "T_Note,T_ModelItem,T_Symbol,T_Status"},
        {"OPCs", "T_Opc,T_ModelItem,T_PipeRun,T_Symbol,*"},
        {"Drawings", "T_Drawing,T_PlantGroup,T_Revision"},
        {"Others", "T_Drawing"},
        {"DuctRuns", "T_DuctRun,T_DuctingComp,T_InlineComp,T_ModelItem,T_PlantGroup,T_Status,*"},
    };
    std::vector<std::string> out;
    for (const auto& e : kTables) {
        if (!IEquals(e.category, category)) continue;
        for (auto& t : Split(e.tables, ",")) {
            if (t != "*")
                out.push_back(t);
            else if (withPlantItem)
                out.emplace_back("T_PlantItem");
        }
    }
    return out;
}

const std::vector<CaseName>& CaseNames() {
    static const std::vector<CaseName> names = {
        {"ProcessDesign", 1},
        {"ProcessOperating", 2},
        {"ProcessAlternateDesign", 3},
        {"ProcessAlternateOperating", 4},
        {"ProcessTest", 6},
        {"ProcessDesignTube", 11},
        {"ProcessOperatingTube", 12},
        {"ProcessAlternateDesignTube", 13},
        {"ProcessAlternateOperatingTube", 14},
        {"ProcessTestTube", 16},
        {"ControlCase", 5},
    };
    return names;
}

const std::vector<std::string_view>& QualityNames() {
    static const std::vector<std::string_view> names = {"Min", "Max", "Norm", "Base"};
    return names;
}

namespace {

// Replaces the first "<case name>_" by "<number>_", ignoring case.
std::string NumberTheCase(std::string_view column) {
    for (const auto& c : CaseNames()) {
        const std::string token = std::string(c.name) + "_";
        if (const auto at = IFind(column, token); at != std::string_view::npos)
            return std::string(column.substr(0, at)) + std::to_string(c.index) + "_" +
                   std::string(column.substr(at + token.size()));
    }
    return std::string(column);
}

std::string WithoutOwners(std::string column) {
    for (const char* owner : {"_Piperun", "_Equipment", "_Instrument", "_Ductrun"})
        column = ReplaceAllI(column, owner, "");
    return column;
}

bool IsNumber(const std::string& text) {
    return !text.empty() && text.size() <= 9 &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

std::optional<CaseKey> ParseCaseProcessKey(std::string_view columnPart) {
    std::string text = NumberTheCase(columnPart);
    // The first "_<Quality>_" in the text becomes "_<number>_".
    std::size_t best = std::string::npos;
    std::size_t bestLen = 0;
    int bestNumber = 0;
    for (std::size_t q = 0; q < QualityNames().size(); ++q) {
        const std::string token = "_" + std::string(QualityNames()[q]) + "_";
        const auto at = IFind(text, token);
        if (at < best) {
            best = at;
            bestLen = token.size();
            bestNumber = static_cast<int>(q) + 1;
        }
    }
    if (best != std::string::npos)
        text = text.substr(0, best) + "_" + std::to_string(bestNumber) + "_" +
               text.substr(best + bestLen);
    const auto parts = Split(text, "_");
    if (parts.size() < 3 || !IsNumber(parts[0]) || !IsNumber(parts[1])) return std::nullopt;
    CaseKey key;
    key.caseType = std::stoi(parts[0]);
    key.quality = std::stoi(parts[1]);
    key.column = WithoutOwners(Join({parts.begin() + 2, parts.end()}, "_"));
    return key;
}

std::optional<CaseKey> ParseCaseKey(std::string_view columnPart) {
    const auto parts = Split(NumberTheCase(columnPart), "_");
    if (parts.size() < 2 || !IsNumber(parts[0])) return std::nullopt;
    CaseKey key;
    key.caseType = std::stoi(parts[0]);
    key.column = WithoutOwners(Join({parts.begin() + 1, parts.end()}, "_"));
    return key;
}

}  // namespace tb::attributes
