// The code lists of the sample plant's data dictionary. Numbers 34 (case types) and 41
// (qualities) are fixed: the attribute catalogue reads them by number. Deliberate features:
// one disabled entry (fluid code "LS", still used by one run), one entry added by the plant
// (fluid code "BFW", index 10001), one list with an empty text (insulation purpose 1), three
// dependent lists (fluid system > fluid code, equipment class > subclass > type, instrument
// class > type) and nominal diameters as indices (5000 + 32 per inch).

#include <map>

#include "common/error.h"
#include "schema.h"

namespace tb::sampleplant {
namespace {

using E = CodeEntry;

CodeList Simple(int number, std::string key, std::string name, std::vector<std::string> texts) {
    CodeList list{number, std::move(key), std::move(name), {}, {}};
    int index = 1;
    for (auto& text : texts) list.entries.push_back(E{index++, text, text, 0, false});
    return list;
}

CodeList Listed(int number, std::string key, std::string name, std::vector<E> entries,
                std::string dependsOn = {}) {
    for (auto& entry : entries) {
        if (entry.shortText.empty()) entry.shortText = entry.text;
    }
    return CodeList{number, std::move(key), std::move(name), std::move(dependsOn),
                    std::move(entries)};
}

std::vector<CodeList> MakeLists() {
    std::vector<CodeList> lists;
    lists.push_back(Simple(1, "Boolean", "Boolean", {"False", "True"}));
    lists.push_back(
        Simple(2, "ItemStatus", "Item Status", {"Active", "Inactive", "Claimed", "Deleted"}));
    lists.push_back(Listed(3, "ModelItemType", "Model Item Type",
                           {{4, "PipeRun"},      {6, "SignalRun"},       {15, "Equipment"},
                            {20, "Nozzle"},      {28, "PipingPoint"},    {32, "PipingComp"},
                            {36, "OPC"},         {37, "Instrument"},     {42, "InstrLoop"},
                            {45, "Note"},        {47, "Package"},        {48, "System"},
                            {49, "SafetyClass"}, {58, "Vessel"},         {59, "Mechanical"},
                            {60, "Exchanger"},   {61, "EquipmentOther"}, {62, "EquipComponent"},
                            {168, "DuctRun"},    {169, "DuctingComp"}}));
    lists.push_back(Listed(4, "PlantItemType", "Plant Item Type",
                           {{4, "PipeRun"},
                            {5, "Instrument"},
                            {7, "SignalRun"},
                            {16, "Equipment"},
                            {21, "Nozzle"},
                            {30, "OPC"},
                            {35, "PipingComp"},
                            {43, "Package"},
                            {44, "System"},
                            {45, "SafetyClass"},
                            {46, "InstrLoop"},
                            {168, "DuctRun"},
                            {169, "DuctingComp"}}));
    lists.push_back(Simple(5, "RepresentationType", "Representation Type",
                           {"Symbol", "Connector", "Label", "Branch"}));
    lists.push_back(
        Simple(6, "PipeRunClass", "Pipe Run Class", {"Piping", "Heat Tracing", "Instrument"}));
    lists.push_back(Simple(7, "PipeRunType", "Pipe Run Type",
                           {"Primary Piping", "Secondary Piping", "Jacketed Pipe", "Heat Trace",
                            "Connect to Process", "Capillary Tubing"}));
    lists.push_back(Listed(8, "NominalDiameter", "Nominal Diameter",
                           {{5016, "1/2\"", "DN15"},
                            {5024, "3/4\"", "DN20"},
                            {5032, "1\"", "DN25"},
                            {5048, "1-1/2\"", "DN40"},
                            {5064, "2\"", "DN50"},
                            {5096, "3\"", "DN80"},
                            {5128, "4\"", "DN100"},
                            {5192, "6\"", "DN150"},
                            {5256, "8\"", "DN200"},
                            {5320, "10\"", "DN250"},
                            {5384, "12\"", "DN300"},
                            {5512, "16\"", "DN400"},
                            {5640, "20\"", "DN500"},
                            {5768, "24\"", "DN600"}}));
    lists.push_back(Simple(
        9, "FluidSystem", "Fluid System",
        {"Process", "Cooling Water", "Steam", "Instrument Air", "Nitrogen", "Flare", "Drains"}));
    lists.push_back(Listed(10, "OperFluidCode", "Fluid Code",
                           {{1, "P", "", 1},
                            {2, "PG", "", 1},
                            {3, "PL", "", 1},
                            {4, "CWS", "", 2},
                            {5, "CWR", "", 2},
                            {6, "LS", "", 3, true},
                            {7, "MS", "", 3},
                            {8, "HS", "", 3},
                            {9, "SC", "", 3},
                            {10, "IA", "", 4},
                            {11, "N", "", 5},
                            {12, "FL", "", 6},
                            {13, "DR", "", 7},
                            {10001, "BFW", "", 3}},
                           "FluidSystem"));
    lists.push_back(Simple(11, "PipingMaterialsClass", "Piping Materials Class",
                           {"A1A", "A3A", "B1A", "C1A", "S1A", "T1A"}));
    lists.push_back(Listed(12, "InsulPurpose", "Insulation Purpose",
                           {{1, "", ""},
                            {2, "Heat Conservation", "H"},
                            {3, "Cold Insulation", "C"},
                            {4, "Personnel Protection", "P"},
                            {5, "Acoustic", "A"}}));
    lists.push_back(Simple(13, "HTraceMedium", "Heat Tracing Medium",
                           {"None", "Steam", "Electric", "Hot Water"}));
    lists.push_back(
        Simple(14, "FlowDirection", "Flow Direction",
               {"End 1 is upstream", "End 2 is upstream", "Bidirectional", "Undefined"}));
    lists.push_back(Listed(15, "PipingCompType", "Piping Component Type",
                           {{1, "Gate Valve"},
                            {2, "Globe Valve"},
                            {3, "Ball Valve"},
                            {4, "Butterfly Valve"},
                            {5, "Check Valve"},
                            {6, "Plug Valve"},
                            {7, "Three Way Valve"},
                            {8, "Four Way Valve"},
                            {20, "Concentric Reducer"},
                            {21, "Eccentric Reducer"},
                            {30, "Y-Strainer"},
                            {31, "Spectacle Blind"},
                            {32, "Flame Arrestor"},
                            {33, "Steam Trap"}}));
    lists.push_back(
        Simple(16, "OperatorType", "Operator Type", {"Handwheel", "Lever", "Gear", "Chain Wheel"}));
    lists.push_back(Simple(17, "InstrumentClass", "Instrument Class",
                           {"Transmitter", "Local Indicator", "Controller", "Control Valve",
                            "Relief Device", "Primary Element", "Switch"}));
    lists.push_back(Listed(18, "InstrumentType", "Instrument Type",
                           {{1, "Flow Transmitter", "", 1},
                            {2, "Pressure Transmitter", "", 1},
                            {3, "Level Transmitter", "", 1},
                            {4, "Temperature Transmitter", "", 1},
                            {10, "Pressure Gauge", "", 2},
                            {11, "Temperature Gauge", "", 2},
                            {12, "Level Gauge", "", 2},
                            {20, "DCS Controller", "", 3},
                            {30, "Globe Control Valve", "", 4},
                            {31, "Butterfly Control Valve", "", 4},
                            {40, "Pressure Safety Valve", "", 5},
                            {50, "Orifice Plate", "", 6},
                            {51, "Thermowell", "", 6},
                            {52, "Magnetic Flowmeter", "", 6},
                            {60, "Level Switch", "", 7}},
                           "InstrumentClass"));
    lists.push_back(
        Simple(19, "MeasuredVariableCode", "Measured Variable", {"F", "L", "P", "T", "A", "H"}));
    lists.push_back(Simple(20, "LoopFunction", "Loop Function", {"F", "L", "P", "T"}));
    lists.push_back(Simple(21, "Class", "Equipment Class",
                           {"Vessel", "Pump", "Heat Exchanger", "Compressor", "Tank",
                            "Equipment Component", "Filter"}));
    lists.push_back(Listed(22, "EquipmentSubclass", "Equipment Subclass",
                           {{1, "Drum", "", 1},
                            {2, "Separator", "", 1},
                            {3, "Column", "", 1},
                            {10, "Centrifugal Pump", "", 2},
                            {11, "Reciprocating Pump", "", 2},
                            {20, "Shell and Tube Exchanger", "", 3},
                            {21, "Plate Exchanger", "", 3},
                            {22, "Air Cooler", "", 3},
                            {30, "Centrifugal Compressor", "", 4},
                            {40, "Atmospheric Tank", "", 5},
                            {50, "TEMA Exchanger Front Section", "", 6},
                            {51, "TEMA Exchanger Rear Section", "", 6},
                            {52, "TEMA Exchanger Shell", "", 6},
                            {60, "Basket Strainer", "", 7},
                            {61, "Cartridge Filter", "", 7}},
                           "Class"));
    lists.push_back(Listed(23, "EquipmentType", "Equipment Type",
                           {{1, "Horizontal Drum", "", 1},
                            {2, "Vertical Drum", "", 1},
                            {3, "Vertical Separator", "", 2},
                            {4, "Tray Column", "", 3},
                            {10, "Overhung Pump", "", 10},
                            {11, "Between Bearings Pump", "", 10},
                            {12, "Plunger Pump", "", 11},
                            {20, "TEMA AES", "", 20},
                            {21, "TEMA BEM", "", 20},
                            {22, "Gasketed Plate", "", 21},
                            {23, "Forced Draft Air Cooler", "", 22},
                            {30, "Single Stage Compressor", "", 30},
                            {40, "Cone Roof Tank", "", 40},
                            {41, "Floating Roof Tank", "", 40},
                            {50, "Channel Type A", "", 50},
                            {51, "Bonnet Type B", "", 50},
                            {52, "Floating Head Type S", "", 51},
                            {53, "U-Tube Type U", "", 51},
                            {54, "Shell Type E", "", 52},
                            {60, "Duplex Basket Strainer", "", 60},
                            {61, "Single Cartridge Filter", "", 61}},
                           "EquipmentSubclass"));
    lists.push_back(Simple(24, "NozzleType", "Nozzle Type",
                           {"Flanged Nozzle", "Welded Nozzle", "Manhole", "Instrument Nozzle"}));
    lists.push_back(Simple(25, "Rating", "Rating", {"150#", "300#", "600#", "900#", "1500#"}));
    lists.push_back(Simple(26, "FailureAction", "Failure Action",
                           {"Fail Open", "Fail Closed", "Fail Last Position", "Fail Locked"}));
    lists.push_back(Simple(27, "FailModeType", "Fail Mode Type", {"High", "Low"}));
    lists.push_back(
        Simple(28, "FunctionType", "Instrument Function",
               {"Indicate", "Control", "Record", "Alarm High", "Alarm Low", "Transmit", "Switch"}));
    lists.push_back(Simple(29, "EventType", "Event Type", {"Deleted", "Modified", "Created"}));
    lists.push_back(Simple(30, "Status", "Status",
                           {"New", "Checked", "Approved", "Issued for Construction", "As-Built"}));
    lists.push_back(
        Simple(31, "SupplyBy", "Supply By", {"Contractor", "Vendor", "Owner", "By Others"}));
    lists.push_back(Simple(32, "ConstructionStatus", "Construction Status",
                           {"New", "Existing", "Future", "To Be Removed"}));
    lists.push_back(Simple(33, "DocumentCategory", "Document Category",
                           {"Piping and Instrument Diagram", "Utility Flow Diagram"}));
    lists.push_back(Listed(34, "CaseType", "Case Type",
                           {{1, "Design"},
                            {2, "Operating"},
                            {3, "Alternate Design"},
                            {4, "Alternate Operating"},
                            {5, "Control"},
                            {6, "Test"},
                            {11, "Design (Tube Side)"},
                            {12, "Operating (Tube Side)"}}));
    lists.push_back(Listed(35, "DocumentType", "Document Type",
                           {{1, "Process P&ID", "", 1},
                            {2, "Utility P&ID", "", 1},
                            {3, "HVAC P&ID", "", 1},
                            {10, "Utility Flow Diagram", "", 2}},
                           "DocumentCategory"));
    lists.push_back(
        Listed(36, "CaseClass", "Case Class", {{24, "Process Case"}, {34, "Control Case"}}));
    lists.push_back(
        Simple(37, "PlantGroupType", "Plant Group Type", {"Plant", "Area", "Unit", "Section"}));
    lists.push_back(
        Simple(38, "LabelType", "Label Type", {"Line Number", "Flow Arrow", "Item Tag", "Size"}));
    lists.push_back(Simple(39, "SmartFrameType", "Smart Frame Type",
                           {"Auxiliary Graphic", "Border", "Title Block"}));
    lists.push_back(
        Simple(40, "NoteType", "Note Type", {"General Note", "Hold", "Reference Note"}));
    lists.push_back(Simple(41, "Quality", "Quality", {"Min", "Max", "Norm", "Base"}));
    lists.push_back(Simple(42, "OPCType", "Off-Page Connector Type",
                           {"Piping OPC", "Signal OPC", "Utility OPC"}));
    lists.push_back(Simple(43, "SignalType", "Signal Type",
                           {"Electric", "Pneumatic", "Software Link", "Capillary"}));
    lists.push_back(Simple(44, "DriverType", "Driver Type",
                           {"Electric Motor", "Steam Turbine", "Diesel Engine"}));
    lists.push_back(
        Simple(45, "TestMedium", "Test Medium", {"Water", "Air", "Nitrogen", "Service Fluid"}));
    lists.push_back(
        Simple(46, "SafetyIntegrityLevel", "Safety Integrity Level", {"SIL 1", "SIL 2", "SIL 3"}));
    lists.push_back(Simple(47, "DuctingCompType", "Ducting Component Type",
                           {"Fire Damper", "Volume Damper", "Grille", "Silencer"}));
    lists.push_back(
        Simple(48, "DuctRunType", "Duct Run Type", {"Supply Air", "Return Air", "Exhaust Air"}));
    lists.push_back(Simple(49, "PipingPointUsage", "Piping Point Usage",
                           {"Process", "Instrument Tap", "Vent", "Drain"}));
    lists.push_back(Listed(50, "PlantItemGroupType", "Plant Item Group Type",
                           {{6, "Loop"}, {7, "Package"}, {8, "Test System"}, {9, "Safety Class"}}));
    lists.push_back(Simple(51, "PlantItemGroupClass", "Plant Item Group Class",
                           {"Instrumentation", "Mechanical", "Testing", "Safety"}));
    return lists;
}

}  // namespace

const std::vector<CodeList>& CodeLists() {
    static const std::vector<CodeList> lists = MakeLists();
    return lists;
}

const CodeList& ListByKey(std::string_view key) {
    for (const auto& list : CodeLists()) {
        if (list.key == key) return list;
    }
    throw Error(kErrInternal, "Unknown code list '" + std::string(key) + "'", "ListByKey");
}

int CodeOf(std::string_view key, std::string_view text) {
    const CodeList& list = ListByKey(key);
    for (const auto& entry : list.entries) {
        if (entry.text == text) return entry.index;
    }
    throw Error(kErrInternal,
                "Code list '" + std::string(key) + "' has no entry '" + std::string(text) + "'",
                "CodeOf");
}

}  // namespace tb::sampleplant
