#include "dictionary.h"

#include <map>
#include <set>
#include <string>
#include <tuple>

namespace tb::sampleplant {
namespace {

// Entity numbers of a real plant where they are known; the rest are numbered from 200.
const std::map<std::string, int>& KnownEntities() {
    static const std::map<std::string, int> known = {
        {"T_ConnectorVertex", 1},
        {"T_PipeRun", 4},
        {"T_Representation", 8},
        {"T_Connector", 9},
        {"T_Symbol", 12},
        {"T_Equipment", 15},
        {"T_Nozzle", 20},
        {"T_ModelItem", 21},
        {"T_PlantItem", 26},
        {"T_History", 27},
        {"T_PipingPoint", 28},
        {"T_PipingComp", 32},
        {"T_OPC", 36},
        {"T_Instrument", 37},
        {"T_Relationship", 50},
        {"T_Inconsistency", 51},
        {"T_Vessel", 58},
        {"T_Drawing", 99},
        {"T_SmartFrame", 163},
        {"T_Revision", 166},
    };
    return known;
}

std::map<std::string, int> EntityNumbers(const std::vector<TableDef>& tables) {
    std::map<std::string, int> numbers;
    int next = 200;
    for (const auto& t : tables) {
        const auto it = KnownEntities().find(t.name);
        numbers[t.name] = it != KnownEntities().end() ? it->second : next++;
    }
    return numbers;
}

std::string DataType(const ColumnDef& c) {
    switch (c.type) {
        case Ty::Code:
            return "C" + std::to_string(ListByKey(c.list).number);
        case Ty::Int:
            return "Integer";
        case Ty::Real:
            return "Double";
        case Ty::Date:
            return "DateTime";
        case Ty::Blob:
            return "Binary";
        default:
            return "String";
    }
}

void WriteAttributesAndLists(FileWriter& f, const std::vector<TableDef>& described) {
    const auto entities = EntityNumbers(described);
    std::set<std::string> usedLists;
    int number = 1001;
    for (const auto& t : described) {
        std::map<std::string, int> numbersByList;  // list key -> attribute number in this table
        const int first = number;
        for (const auto& c : t.columns) {
            if (c.type == Ty::Code) numbersByList[c.list] = number;
            ++number;
        }
        number = first;
        for (const auto& c : t.columns) {
            auto row = f.Row("ATTRIBUTES");
            row("ATTRIBUTE_NUMBER", number++)("ATTRIBUTE_NAME", c.name)(
                "ATTRIBUTE_DATATYPE", DataType(c))("ATTRIBUTE_CODELISTED",
                                                   c.type == Ty::Code ? "T" : "F")(
                "ENTITY_NUMBER", entities.at(t.name))("TABLENAME", t.name)("COLUMNNAME", c.name);
            if (c.type == Ty::Code) {
                usedLists.insert(c.list);
                const std::string& parent = ListByKey(c.list).dependsOn;
                const auto it = numbersByList.find(parent);
                if (!parent.empty() && it != numbersByList.end()) row("DEPENDSONID", it->second);
            }
            row.Add();
        }
    }
    for (const auto& list : CodeLists()) {
        if (!usedLists.count(list.key)) continue;
        f.Row("ENUMERATIONS")("ID", list.number)("NAME", list.name)("DESCRIPTION",
                                                                    "Select list " + list.name)
            .Add();
        int sort = 0;
        for (const auto& e : list.entries) {
            auto row = f.Row("CODELISTS");
            row("CODELIST_NUMBER", list.number)("CODELIST_INDEX", e.index)("CODELIST_TEXT", e.text)(
                "CODELIST_SHORT_TEXT", e.shortText)("CODELIST_SORT_VALUE", ++sort)(
                "CODELIST_ENTRY_DISABLED", e.disabled ? 1 : 0);
            if (e.constraint) row("CODELIST_CONSTRAINT", e.constraint);
            row.Add();
        }
    }
}

bool Internal(const std::string& column) {
    return column == "UpdateCount" || column == "SP_IsTypical";
}

}  // namespace

void WritePlantDictionary(FileWriter& f, const std::vector<TableDef>& described) {
    WriteAttributesAndLists(f, described);
}

void WritePidDictionary(FileWriter& f, const std::vector<TableDef>& described) {
    WriteAttributesAndLists(f, described);
    const auto entities = EntityNumbers(described);
    for (const auto& t : described) {
        f.Row("ENTITIES")("ENTITY_NUMBER", entities.at(t.name))("ENTITY_NAME", t.name.substr(2))(
             "ENTITY_TABLENAME", t.name)
            .Add();
    }
    const char* const kForeign = "SmartPlantHyperDesc.SPForeignCalc";
    const std::pair<const char*, const char*> uniques[] = {{"T_ModelItem", "HyperDescription"},
                                                           {"T_PipeRun", "LineListReference"},
                                                           {"T_Drawing", "DocumentLink"},
                                                           {"T_Equipment", "DatasheetLink"}};
    for (const auto& [table, name] : uniques) {
        f.Row("UNIQUEATTS")("ENTITY_NUMBER", entities.at(table))("UNIQUE_NAME", name)(
             "CALCULATIONPROGID", kForeign)
            .Add();
    }
    f.Row("UNIQUEATTS")("ENTITY_NUMBER", entities.at("T_PlantItem"))("UNIQUE_NAME", "ItemTag")(
         "CALCULATIONPROGID", "ItemTag.ItemTagFunc")
        .Add();
    f.Row("UNIQUEATTS")("ENTITY_NUMBER", entities.at("T_Instrument"))("UNIQUE_NAME", "LoopTag")(
         "CALCULATIONPROGID", "SPInstrCalc.LoopTag")
        .Add();

    // Items: named after their tables; equipment is 35 and instrument 37.
    std::map<std::string, int> items;
    int next = 1;
    for (const auto& t : described) {
        if (t.item.empty()) continue;
        int id = t.item == "Equipment" ? 35 : t.item == "Instrument" ? 37 : 0;
        if (!id) {
            while (next == 35 || next == 37) ++next;
            id = next++;
        }
        items[t.item] = id;
        f.Row("ITEM")("ID", id)("NAME", t.item).Add();
    }
    for (const auto& t : described) {
        if (t.item.empty()) continue;
        for (const auto& c : t.columns) {
            if (c.type == Ty::Id) continue;
            f.Row("ITEMATTRIBUTIONS")("ITEMID", items.at(t.item))("NAME", c.name)(
                 "DISPLAYNAME", Internal(c.name) ? "" : DisplayName(c.name))
                .Add();
        }
    }
    // Drawing properties as a representation sees them, and the group properties of a
    // plant item, both in the dotted form the glossary looks up.
    for (const auto& t : described) {
        if (t.name != "T_Drawing") continue;
        for (const auto& c : t.columns) {
            if (c.type == Ty::Id || Internal(c.name)) continue;
            f.Row("ITEMATTRIBUTIONS")("ITEMID", items.at("Representation"))(
                 "NAME", "Drawing." + c.name)("DISPLAYNAME", "Drawing " + DisplayName(c.name))
                .Add();
        }
    }
    for (const char* group : {"Package", "TestSystem", "SafetyClass"}) {
        for (const char* column : {"ItemTag", "Name"}) {
            f.Row("ITEMATTRIBUTIONS")("ITEMID", items.at("PlantItem"))(
                 "NAME", std::string(group) + "." + column)(
                 "DISPLAYNAME", DisplayName(group) + " " + DisplayName(column))
                .Add();
        }
    }
    // Case properties: "<case>.<quality>.<column>" per item that carries cases.
    const std::pair<const char*, const char*> cases[] = {
        {"ProcessDesign", "Design"},
        {"ProcessOperating", "Operating"},
        {"ProcessAlternateDesign", "Alternate Design"},
        {"ProcessAlternateOperating", "Alternate Operating"},
        {"ProcessTest", "Test"},
        {"ProcessDesignTube", "Design Tube"},
        {"ProcessOperatingTube", "Operating Tube"},
    };
    const char* const qualities[] = {"Min", "Max", "Norm"};
    const TableDef* caseProcess = nullptr;
    const TableDef* caseControl = nullptr;
    for (const auto& t : described) {
        if (t.name == "T_CaseProcess") caseProcess = &t;
        if (t.name == "T_CaseControl") caseControl = &t;
    }
    for (const char* item : {"PipeRun", "Equipment", "Instrument", "DuctRun"}) {
        for (const auto& [name, display] : cases) {
            f.Row("ITEMATTRIBUTIONS")("ITEMID", items.at(item))("NAME", name)(
                 "DISPLAYNAME", std::string(display) + " Case")
                .Add();
            for (const char* quality : qualities) {
                for (const auto& c : caseProcess->columns) {
                    if (c.type == Ty::Id || c.name == "Quality") continue;
                    f.Row("ITEMATTRIBUTIONS")("ITEMID", items.at(item))(
                         "NAME", std::string(name) + "." + quality + "." + c.name)(
                         "DISPLAYNAME",
                         std::string(display) + " " + quality + " " + DisplayName(c.name))
                        .Add();
                }
            }
        }
    }
    f.Row("ITEMATTRIBUTIONS")("ITEMID", 37)("NAME", "ControlCase")("DISPLAYNAME", "Control Case")
        .Add();
    for (const char* quality : qualities) {
        for (const auto& c : caseControl->columns) {
            if (c.type == Ty::Id || c.name == "Quality") continue;
            f.Row("ITEMATTRIBUTIONS")("ITEMID", 37)(
                 "NAME", std::string("ControlCase.") + quality + "." + c.name)(
                 "DISPLAYNAME", std::string("Control ") + quality + " " + DisplayName(c.name))
                .Add();
        }
    }
    const std::tuple<int, const char*, const char*> relations[] = {
        {37, "ProcessDesign", "T"},     {37, "ProcessOperating", "T"}, {37, "ControlCase", "T"},
        {37, "InstrLoop", "F"},         {37, "PipeRun", "F"},          {35, "ProcessDesign", "T"},
        {35, "ProcessDesignTube", "T"}, {35, "Nozzle", "F"},
    };
    for (const auto& [itemId, name, create] : relations) {
        f.Row("FILTEREDRELATIONSHIP")("ITEMID", itemId)("NAME", name)("SPCREATE", create).Add();
    }
}

}  // namespace tb::sampleplant
