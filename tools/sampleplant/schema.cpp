// The tables of the sample plant. Column names and their case follow the plant database as
// the extraction reads it; ids are VARCHAR(32), code-listed columns INTEGER.

#include "schema.h"

#include <cctype>

#include "common/error.h"

namespace tb::sampleplant {
namespace {

ColumnDef Id(std::string name) {
    return {std::move(name), Ty::Id, 32, {}};
}
ColumnDef Txt(std::string name, int width) {
    return {std::move(name), Ty::Text, width, {}};
}
ColumnDef Int(std::string name) {
    return {std::move(name), Ty::Int, 0, {}};
}
ColumnDef Real(std::string name) {
    return {std::move(name), Ty::Real, 0, {}};
}
ColumnDef Date(std::string name) {
    return {std::move(name), Ty::Date, 0, {}};
}
ColumnDef Blob(std::string name) {
    return {std::move(name), Ty::Blob, 0, {}};
}
ColumnDef Code(std::string name, std::string list = {}) {
    if (list.empty()) list = name;
    return {std::move(name), Ty::Code, 0, std::move(list)};
}
ColumnDef Bool(std::string name) {
    return Code(std::move(name), "Boolean");
}

TableDef T(std::string name, std::string item, std::vector<ColumnDef> columns) {
    return TableDef{std::move(name), std::move(columns), std::move(item)};
}

// Tables shared by the plant data and the plant structure schema: the plant groups (both
// schema kinds read them) and the WorkShare sites.
std::vector<TableDef> SharedStructureTables() {
    return {
        T("T_PlantGroup", "PlantGroup",
          {Id("SP_ID"), Txt("ParentID", 32), Txt("Name", 100), Txt("Description", 240),
           Code("PlantGroupType"), Txt("Dir_Path", 255), Int("Depth"), Int("UpdateCount")}),
        T("T_Area", "Area", {Id("SP_ID"), Txt("AreaCode", 20)}),
        T("T_Unit", "Unit", {Id("SP_ID"), Txt("UnitCode", 20)}),
        T("T_WSSite", "",
          {Id("SP_ID"), Txt("Name", 100), Txt("Description", 240), Txt("SiteType", 20)}),
        T("T_ActiveWSSite", "", {Id("SP_WSSiteID")}),
        T("T_DrawingSite", "",
          {Id("SP_ID"), Id("SP_DrawingID"), Id("SP_WSSiteID"), Txt("Name", 100),
           Txt("DrawingNumber", 100), Txt("Title", 240), Txt("Description", 240)}),
    };
}

}  // namespace

const ColumnDef* TableDef::Find(std::string_view column) const {
    for (const auto& c : columns) {
        if (c.name == column) return &c;
    }
    return nullptr;
}

std::vector<TableDef> SiteTables() {
    return {
        T("T_DB_DATA", "",
          {Id("SP_ID"), Id("SP_RootItemID"), Txt("SP_Schema_Type", 40), Txt("Username", 40),
           Txt("Data_Base", 100), Txt("DBServer", 255)}),
        T("T_RootItem", "",
          {Id("SP_ID"), Txt("Name", 100), Txt("Description", 240), Txt("Path", 255),
           Txt("PlantGroupTypeName", 40), Date("DateCreated"), Id("SP_ParentRootItemID")}),
    };
}

std::vector<TableDef> PlantStructureTables() {
    return SharedStructureTables();
}

std::vector<TableDef> PlantDataTables() {
    std::vector<TableDef> tables = {
        T("T_ModelItem", "ModelItem",
          {Id("SP_ID"), Txt("ItemTypeName", 40), Code("ModelItemType"), Txt("Description", 240),
           Code("ItemStatus"), Bool("SP_IsTypical"), Txt("Remarks", 240), Id("SP_DesignBasisUID"),
           Int("UpdateCount")}),
        T("T_PlantItem", "PlantItem",
          {Id("SP_ID"), Txt("ItemTag", 100), Code("PlantItemType"), Id("SP_PlantGroupID"),
           Id("SP_PartOfID"), Txt("Name", 100), Code("SupplyBy"), Code("ConstructionStatus"),
           Int("UpdateCount")}),
        T("T_Representation", "Representation",
          {Id("SP_ID"), Id("SP_ModelItemID"), Id("SP_DrawingID"), Code("RepresentationType"),
           Int("GraphicOID"), Txt("FileName", 255), Bool("InStockpile"), Code("ItemStatus"),
           Date("SP_ModelItemTimestamp"), Int("UpdateCount")}),
        T("T_Connector", "Connector",
          {Id("SP_ID"), Id("SP_ConnectItem1ID"), Id("SP_ConnectItem2ID"), Id("SP_AvoidItem1ID"),
           Id("SP_AvoidItem2ID"), Int("StartObject"), Int("EndObject"), Bool("IsZeroLength")}),
        T("T_ConnectorVertex", "",
          {Id("SP_ID"), Id("SP_ConnectorID"), Int("OrderIndex"), Real("XCoordinate"),
           Real("YCoordinate")}),
        T("T_Symbol", "Symbol",
          {Id("SP_ID"), Real("XCoordinate"), Real("YCoordinate"), Real("RotationAngle"),
           Bool("IsMirrored")}),
        T("T_LabelPersist", "LabelPersist",
          {Id("SP_ID"), Id("SP_RepresentationID"), Code("LabelType")}),
        T("T_Relationship", "Relationship",
          {Id("SP_ID"), Id("SP_DrawingID"), Id("SP_Item1ID"), Id("SP_Item2ID"),
           Int("Item1Location"), Int("Item2Location"), Bool("IsBinary"), Int("GraphicOID")}),
        T("T_Inconsistency", "",
          {Id("SP_ID"), Id("SP_RelationshipID"), Txt("InconsistencyType", 100), Bool("IsApproved"),
           Txt("Description", 240)}),
        T("T_Drawing", "Drawing",
          {Id("SP_ID"), Txt("Name", 100), Txt("DrawingNumber", 100), Txt("Title", 240),
           Txt("Description", 240), Txt("Path", 255), Txt("Template", 255), Date("DateCreated"),
           Code("DocumentCategory"), Code("DocumentType"), Id("SP_PlantGroupID"),
           Code("ItemStatus"), Txt("ApprovedBy", 40), Txt("Responsibility", 40),
           Bool("SP_ArePropertiesModified"), Date("LastPublishTime"), Int("UpdateCount")}),
        T("T_GlobalDrawing", "",
          {Id("SP_ID"), Id("SP_DrawingID"), Txt("Name", 100), Txt("DrawingNumber", 100),
           Txt("Title", 240), Txt("Description", 240), Txt("Path", 255)}),
        T("T_Revision", "Revision",
          {Id("SP_ID"), Id("SP_DrawingID"), Txt("SP_MajorRevisionNumber", 10),
           Txt("SP_MinorRevisionNumber", 10), Date("SP_RevisionDate"), Int("SP_SequenceInGroup"),
           Txt("RevisionBy", 40), Txt("CheckedBy", 40), Txt("ApprovedBy", 40),
           Txt("RevisionDescription", 240)}),
        T("T_DrawingVersion", "",
          {Id("SP_ID"), Id("SP_DrawingID"), Id("SP_RevisionID"), Int("VersionNumber"),
           Date("DateCreated"), Blob("SP_Storage")}),
        T("T_SmartFrame", "",
          {Id("SP_ID"), Id("SP_DrawingID"), Code("SP_SmartFrameType", "SmartFrameType"),
           Txt("Name", 100)}),
        T("T_SmartFrameStorage", "", {Id("SP_ID"), Id("SP_SmartFrameID"), Blob("SP_Storage")}),
        T("T_PipeRun", "PipeRun",
          {Id("SP_ID"), Code("PipeRunClass"), Code("PipeRunType"), Code("NominalDiameter"),
           Code("OperFluidCode"), Code("FluidSystem"), Code("PipingMaterialsClass"),
           Txt("TagSequenceNo", 20), Txt("TagSuffix", 10), Code("InsulPurpose"),
           Txt("InsulThick", 20), Code("HTraceMedium"), Code("FlowDirection"),
           Bool("SP_ConnectorsZeroLength"), Bool("Slave"), Txt("Schedule", 20)}),
        T("T_SignalRun", "SignalRun", {Id("SP_ID"), Code("SignalType")}),
        T("T_InlineComp", "InlineComp",
          {Id("SP_ID"), Id("SP_PipeRunID"), Id("SP_PipingCompID"), Id("SP_InstrumentID"),
           Id("SP_DuctRunID"), Id("SP_DuctingCompID"), Code("NominalDiameter")}),
        T("T_PipingComp", "PipingComp",
          {Id("SP_ID"), Code("PipingCompType"), Code("NominalDiameter"),
           Code("PipingMaterialsClass"), Code("OperatorType"), Txt("TagSequenceNo", 20),
           Bool("SP_IsSpecialtyItem"), Code("Rating")}),
        T("T_Instrument", "Instrument",
          {Id("SP_ID"), Id("SP_PipeRunID"), Code("MeasuredVariableCode"),
           Txt("InstrumentTypeModifier", 10), Txt("TagSequenceNo", 20), Txt("TagSuffix", 10),
           Txt("LoopTagSuffix", 10), Code("InstrumentClass"), Code("InstrumentType"),
           Bool("IsInline"), Code("NominalDiameter"), Txt("CalibratedRange", 40)}),
        T("T_InstrLoop", "InstrLoop",
          {Id("SP_ID"), Code("LoopFunction"), Txt("TagSequenceNo", 20), Txt("TagSuffix", 10)}),
        T("T_InstrFunction", "InstrFunction",
          {Id("SP_ID"), Id("SP_InstrumentID"), Code("FunctionType")}),
        T("T_InstrFailMode", "InstrFailMode",
          {Id("SP_ID"), Id("SP_InstrumentID"), Code("FailureAction"), Code("FailModeType")}),
        T("T_PlantItemGroup", "PlantItemGroup",
          {Id("SP_ID"), Code("PlantItemGroupType"), Code("PlantItemGroupClass")}),
        T("T_PlantItemGroupJoin", "",
          {Id("SP_ID"), Id("SP_PlantItemGroupID"), Id("SP_PlantItemID")}),
        T("T_Package", "Package", {Id("SP_ID"), Txt("VendorName", 100), Txt("PackageNumber", 40)}),
        T("T_System", "System", {Id("SP_ID"), Code("TestMedium"), Txt("TestPressure", 40)}),
        T("T_SafetyClass", "SafetyClass", {Id("SP_ID"), Code("SafetyIntegrityLevel")}),
        T("T_Equipment", "Equipment",
          {Id("SP_ID"), Txt("TagPrefix", 10), Txt("TagSequenceNo", 20), Txt("TagSuffix", 10),
           Code("Class"), Code("EquipmentSubclass"), Code("EquipmentType"),
           Txt("MaterialOfConstClass", 40)}),
        T("T_Vessel", "Vessel",
          {Id("SP_ID"), Txt("DiameterInternal", 40), Txt("LengthTanToTan", 40),
           Txt("VolumeRating", 40)}),
        T("T_Mechanical", "Mechanical", {Id("SP_ID"), Code("DriverType"), Txt("RatedPower", 40)}),
        T("T_Exchanger", "Exchanger",
          {Id("SP_ID"), Txt("HeatDuty", 40), Txt("TemaDesignation", 10)}),
        T("T_EquipmentOther", "EquipmentOther", {Id("SP_ID"), Txt("MeshSize", 40)}),
        T("T_EquipComponent", "EquipComponent", {Id("SP_ID"), Txt("SectionName", 40)}),
        T("T_Nozzle", "Nozzle",
          {Id("SP_ID"), Id("SP_EquipmentID"), Code("NozzleType"), Code("NominalDiameter"),
           Code("Rating"), Code("FlowDirection"), Txt("TagPrefix", 10), Txt("TagSequenceNo", 20)}),
        T("T_PipingPoint", "PipingPoint",
          {Id("SP_ID"), Id("SP_PlantItemID"), Int("PointIndex"), Code("NominalDiameter"),
           Code("PipingPointUsage"), Code("FlowDirection")}),
        T("T_Note", "Note", {Id("SP_ID"), Txt("NoteText", 2000), Code("NoteType")}),
        T("T_OPC", "OPC", {Id("SP_ID"), Txt("OPCTag", 40), Id("SP_PairedWithID"), Code("OPCType")}),
        T("T_Status", "Status",
          {Id("SP_ID"), Id("SP_ModelItemID"), Code("Status"), Date("StatusDate")}),
        T("T_History", "History",
          {Id("SP_ID"), Id("SP_ModelItemID"), Id("SP_DrawingID"), Date("Timestamp"),
           Txt("Actor", 40), Code("EventType")}),
        T("T_AreaBreakAttribute", "",
          {Id("SP_ID"), Id("SP_ParentID"), Txt("Name", 100), Txt("Value", 100)}),
        T("T_Case", "Case",
          {Id("SP_ID"), Id("SP_ModelItemID"), Code("CaseType"), Code("CaseClass"),
           Int("UpdateCount")}),
        T("T_CaseProcess", "CaseProcess",
          {Id("SP_ID"), Id("SP_CaseID"), Code("Quality"), Txt("Pressure", 40),
           Real("SP_PressureSI"), Txt("Temperature", 40), Real("SP_TemperatureSI"),
           Txt("MassFlowRate", 40), Real("SP_MassFlowRateSI")}),
        T("T_CaseControl", "CaseControl",
          {Id("SP_ID"), Id("SP_CaseID"), Code("Quality"), Txt("SetPoint", 40),
           Real("SP_SetPointSI"), Real("ValveCv")}),
        T("T_DuctRun", "DuctRun",
          {Id("SP_ID"), Code("DuctRunType"), Txt("DuctSize", 40), Txt("AirFlowRate", 40)}),
        T("T_DuctingComp", "DuctingComp", {Id("SP_ID"), Code("DuctingCompType")}),
    };
    for (auto& t : SharedStructureTables()) tables.push_back(std::move(t));
    return tables;
}

std::vector<TableDef> PidDictionaryTables() {
    return {
        T("ATTRIBUTES", "",
          {Int("ATTRIBUTE_NUMBER"), Txt("ATTRIBUTE_NAME", 64), Txt("ATTRIBUTE_DATATYPE", 20),
           Txt("ATTRIBUTE_CODELISTED", 1), Int("DEPENDSONID"), Int("ENTITY_NUMBER"),
           Txt("TABLENAME", 64), Txt("COLUMNNAME", 64)}),
        T("CODELISTS", "",
          {Int("CODELIST_NUMBER"), Int("CODELIST_INDEX"), Txt("CODELIST_TEXT", 255),
           Txt("CODELIST_SHORT_TEXT", 40), Int("CODELIST_CONSTRAINT"), Int("CODELIST_SORT_VALUE"),
           Int("CODELIST_ENTRY_DISABLED")}),
        T("ENUMERATIONS", "", {Int("ID"), Txt("NAME", 100), Txt("DESCRIPTION", 240)}),
        T("ENTITIES", "",
          {Int("ENTITY_NUMBER"), Txt("ENTITY_NAME", 64), Txt("ENTITY_TABLENAME", 64)}),
        T("UNIQUEATTS", "",
          {Int("ENTITY_NUMBER"), Txt("UNIQUE_NAME", 64), Txt("CALCULATIONPROGID", 100)}),
        T("ITEM", "", {Int("ID"), Txt("NAME", 64)}),
        T("ITEMATTRIBUTIONS", "", {Int("ITEMID"), Txt("NAME", 100), Txt("DISPLAYNAME", 100)}),
        T("FILTEREDRELATIONSHIP", "", {Int("ITEMID"), Txt("NAME", 100), Txt("SPCREATE", 1)}),
    };
}

std::vector<TableDef> PlantDictionaryTables() {
    std::vector<TableDef> tables = PidDictionaryTables();
    tables.resize(3);  // the plant structure's dictionary: attributes and code lists only
    return tables;
}

std::string DeclaredType(const ColumnDef& column) {
    switch (column.type) {
        case Ty::Id:
        case Ty::Text:
            return "VARCHAR(" + std::to_string(column.width) + ")";
        case Ty::Int:
        case Ty::Code:
            return "INTEGER";
        case Ty::Real:
            return "FLOAT";
        case Ty::Date:
            return "TIMESTAMP";
        case Ty::Blob:
            return "BLOB";
    }
    throw Error(kErrInternal, "Unknown column type of " + column.name, "DeclaredType");
}

std::string CreateTableSql(const TableDef& table) {
    std::string sql = "CREATE TABLE " + table.name + " (";
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        if (i) sql += ", ";
        sql += table.columns[i].name + " " + DeclaredType(table.columns[i]);
        if (table.columns[i].name == "SP_ID") sql += " NOT NULL";
    }
    return sql + ")";
}

std::string DisplayName(std::string_view column) {
    std::string_view name = column;
    if (name.size() > 3 && (name.substr(0, 3) == "SP_" || name.substr(0, 3) == "sp_")) {
        name.remove_prefix(3);
    }
    std::string out;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (c == '_') {
            if (!out.empty() && out.back() != ' ') out += ' ';
            continue;
        }
        const bool upper = std::isupper(static_cast<unsigned char>(c)) != 0;
        if (upper && i > 0 && !out.empty() && out.back() != ' ') {
            const bool prevLower = std::islower(static_cast<unsigned char>(name[i - 1])) != 0 ||
                                   std::isdigit(static_cast<unsigned char>(name[i - 1])) != 0;
            const bool nextLower =
                i + 1 < name.size() && std::islower(static_cast<unsigned char>(name[i + 1])) != 0;
            const bool prevUpper = std::isupper(static_cast<unsigned char>(name[i - 1])) != 0;
            if (prevLower || (prevUpper && nextLower)) out += ' ';
        }
        out += c;
    }
    return out;
}

}  // namespace tb::sampleplant
