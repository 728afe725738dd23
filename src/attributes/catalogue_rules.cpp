#include "attributes/catalogue_rules.h"

#include "attributes/categories.h"
#include "common/text.h"

namespace tb::attributes {

namespace {

// Whether ",<lower-cased name>," stands in a comma list that is wrapped in commas.
bool InList(std::string_view wrappedList, std::string_view name) {
    return wrappedList.find("," + ToLowerAscii(name) + ",") != std::string_view::npos;
}

}  // namespace

bool IsNotExcludedColumn(std::string_view column) {
    const std::string upper = ToUpperAscii(column);
    if (Like(upper, "*SP_*ID") && !InList(",sp_partofid,sp_drawingid,", column)) return false;
    const std::string lower = ToLowerAscii(column);
    if (Like(lower, "*sp_*designbasisuid*") || Like(lower, "*sp_*sourceapplication*")) return false;
    return !InList(
        ",id,updatecount,isreducing,expansionqualifier,isowner,updatecount,dir_path,"
        "parentid,userdefined,",
        column);
}

bool IsExcludedIdColumn(std::string_view column, std::string_view tables, std::string_view table,
                        std::string_view category) {
    const std::string upper = ToUpperAscii(column);
    if (Like(upper, "*_SP_ID")) return true;
    if (upper != "SP_ID") return false;
    if (!tables.empty() && !InList(",t_modelitem,t_plantitem,", table)) return true;
    return IEquals(category, "Plantitems");
}

bool IsOfferedColumn(std::string_view column, std::string_view tables, std::string_view table,
                     std::string_view category) {
    return IsNotExcludedColumn(column) && !IsExcludedIdColumn(column, tables, table, category);
}

std::vector<std::string> HandAddedColumns(std::string_view table, std::string_view category) {
    const std::string t = ToLowerAscii(table);
    if (t == "t_pipingpoint") return {"Description", "ConnectedPiperunID"};
    if (t == "t_symbol") return {"Name"};
    if (t == "t_plantitem")
        return {"CreatedDate", "CreatedUser", "LastModifiedDate", "LastModifiedUser"};
    if (t == "t_drawing" && IEquals(category, "Drawings"))
        return {"LastModifiedDate", "LastModifiedUser", "NoOfVersions", "NoOfAuxGraphic"};
    if (t == "t_revision") return {"VersionAssociated"};
    if (t == "t_status") return {"PlantItemGroup_RevisionNumber"};
    return {};
}

std::vector<std::string> CategorySourceTables(std::string_view category) {
    return GetCategoryTables(category, true);
}

bool IsOptionalSourceTable(std::string_view category, std::string_view table) {
    return IEquals(table, "T_PlantItem") || IEquals(table, "T_InstrFunction") ||
           (IEquals(table, "T_InlineComp") && IEquals(category, "Instruments"));
}

const std::vector<Side>& CategorySides(std::string_view category) {
    static const std::vector<Side> none;
    static const std::vector<Side> piping = {{"PipeRun_", "_PipeRun"},
                                             {"InlineComp_", "_InlineComp"}};
    static const std::vector<Side> equipment = {{"Equipment_", "_Equipment"},
                                                {"Nozzle_", "_Nozzle"}};
    static const std::vector<Side> instruments = {{"Instrument_", "_Instrument"},
                                                  {"Instrloop_", "_Instrloop"}};
    static const std::vector<Side> ducts = {{"DuctRun_", "_DuctRun"},
                                            {"InlineComp_", "_InlineComp"}};
    if (IEquals(category, "InlineComp_Prun")) return piping;
    if (IEquals(category, "Eqp_Nozzle")) return equipment;
    if (IEquals(category, "Instruments")) return instruments;
    if (IEquals(category, "DuctRuns")) return ducts;
    return none;
}

std::string_view SideTables(std::string_view category) {
    if (IEquals(category, "Instruments"))
        return "t_plantitem,t_modelitem,t_plantgroup,t_status,t_inlinecomp";
    if (CategorySides(category).empty()) return {};
    return "t_plantitem,t_modelitem,t_plantgroup,t_status";
}

bool IsSideTable(std::string_view category, std::string_view table) {
    const std::string_view list = SideTables(category);
    return !list.empty() && InList("," + std::string(list) + ",", table);
}

std::vector<std::string_view> PlantItemGroupForms(std::string_view category) {
    if (IEquals(category, "Instruments")) return {"Package_", "TestSystem_", "SafetyClass_"};
    return {"Package_", "TestSystem_"};
}

std::vector<ComputedAttribute> ComputedAttributes(std::string_view category) {
    std::vector<ComputedAttribute> out;
    auto others = [&](const char* name) {
        out.push_back({"Others." + std::string(name), name, "Others"});
    };
    for (const char* name :
         {"FirstRevision", "Last-2Revision", "Last-1Revision", "LastRevision", "Quantity"})
        others(name);
    if (IEquals(category, "InlineComp_Prun")) {
        others("NotConnectedRuns");
        others("NumberOfLabels");
    }
    if (IEquals(category, "Eqp_Nozzle")) others("MultiRep");
    if (IEquals(category, "Plantitems")) {
        others("FileName");
        others("SP_MODELITEMTIMESTAMP");
    }
    if (IEquals(category, "Instruments")) others("LoopDrawingName");
    if (!IEquals(category, "Drawings")) others("INSTOCKPILE");
    if (IEquals(category, "Instruments") || IEquals(category, "InlineComp_Prun")) {
        for (const char* name : {"FailureAction", "FailureActionLow"})
            out.push_back(
                {"T_InstrFailMode." + std::string(name) + "_Instrument", name, "T_InstrFailMode"});
    }
    return out;
}

CaseOwner CaseOwnerOf(std::string_view category) {
    if (IEquals(category, "InlineComp_Prun") || IEquals(category, "OPCs"))
        return {"PipeRun", "Piperun_", "_Piperun"};
    if (IEquals(category, "Eqp_Nozzle")) return {"Equipment", "Equipment_", "_Equipment"};
    if (IEquals(category, "Instruments")) return {"Instrument", "Instrument_", "_Instrument"};
    if (IEquals(category, "DuctRuns")) return {"DuctRun", "Ductrun_", "_Ductrun"};
    return {};
}

bool OffersCaseAttributes(std::string_view category, bool caseAttributesOn) {
    if (IEquals(category, "OPCs")) return caseAttributesOn;
    return !CaseOwnerOf(category).item.empty();
}

std::string PipingPointKey(int n, std::string_view column) {
    return "t_pipingpoint._" + std::to_string(n) + "_" + std::string(column);
}

std::string PipingPointText(int n, std::string_view column) {
    return "End_" + std::to_string(n) + "_" + std::string(column);
}

std::string ShownText(std::string_view name, std::string_view displayName) {
    if (displayName.empty()) return std::string(name);
    return std::string(name) + "    (" + std::string(displayName) + ")";
}

std::string AvailableAttributesLabel(std::size_t count) {
    return "Available attributes (" + std::to_string(count) + ")";
}

std::string ItemNameOfTable(std::string_view table) {
    if (IStartsWith(table, "t_")) return std::string(table.substr(2));
    return std::string(table);
}

}  // namespace tb::attributes
