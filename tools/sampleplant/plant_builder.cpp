#include "plant_builder.h"

#include <charconv>
#include <map>

#include "common/error.h"
#include "zip_storage.h"

namespace tb::sampleplant {
namespace {

constexpr double kQuarterTurn = 1.5707963267948966;  // radians

// Days since 1970-01-01 of a civil date (proleptic Gregorian).
long DaysFromCivil(long y, unsigned m, unsigned d) {
    y -= m <= 2;
    const long era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<long>(doe) - 719468;
}

void CivilFromDays(long z, long& y, unsigned& m, unsigned& d) {
    z += 719468;
    const long era = (z >= 0 ? z : z - 146096) / 146097;
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    y = static_cast<long>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y += m <= 2;
}

const long kBaseDay = DaysFromCivil(2021, 1, 4);

std::string Pad(long v, int width) {
    std::string s = std::to_string(v);
    while (static_cast<int>(s.size()) < width) s.insert(s.begin(), '0');
    return s;
}

// Symbol files of the catalogue, by the code-list text of what they show.
std::string SymbolFor(const std::string& what) {
    static const std::map<std::string, std::string> symbols = {
        {"Gate Valve", "\\Piping\\Valves\\2 Way Common\\Gate Valve.sym"},
        {"Globe Valve", "\\Piping\\Valves\\2 Way Common\\Globe Valve.sym"},
        {"Ball Valve", "\\Piping\\Valves\\2 Way Common\\Ball Valve.sym"},
        {"Butterfly Valve", "\\Piping\\Valves\\2 Way Common\\Butterfly Valve.sym"},
        {"Check Valve", "\\Piping\\Valves\\Check Valves\\Swing Check Valve.sym"},
        {"Plug Valve", "\\Piping\\Valves\\2 Way Common\\Plug Valve.sym"},
        {"Three Way Valve", "\\Piping\\Valves\\3 Way Common\\Three Way Ball Valve.sym"},
        {"Four Way Valve", "\\Piping\\Valves\\4 Way Common\\Four Way Plug Valve.sym"},
        {"Concentric Reducer", "\\Piping\\Fittings\\Reducers\\Concentric Reducer.sym"},
        {"Eccentric Reducer", "\\Piping\\Fittings\\Reducers\\Eccentric Reducer.sym"},
        {"Y-Strainer", "\\Piping\\Specialty Items\\Y-Strainer.sym"},
        {"Spectacle Blind", "\\Piping\\Fittings\\Blinds\\Spectacle Blind.sym"},
        {"Flame Arrestor", "\\Piping\\Specialty Items\\Flame Arrestor.sym"},
        {"Steam Trap", "\\Piping\\Specialty Items\\Steam Trap.sym"},
        {"Transmitter", "\\Instrumentation\\Off-Line\\Discrete Field Mounted.sym"},
        {"Local Indicator", "\\Instrumentation\\Off-Line\\Discrete Field Mounted.sym"},
        {"Controller", "\\Instrumentation\\Off-Line\\Shared Display DCS.sym"},
        {"Switch", "\\Instrumentation\\Off-Line\\Discrete Field Mounted.sym"},
        {"Control Valve", "\\Instrumentation\\In-Line\\Control Valves\\Globe Control Valve.sym"},
        {"Relief Device", "\\Instrumentation\\In-Line\\Relief Devices\\Pressure Safety Valve.sym"},
        {"Primary Element", "\\Instrumentation\\In-Line\\Primary Elements\\Orifice Plate.sym"},
        {"Nozzle", "\\Equipment Components\\Nozzles\\Flanged Nozzle.sym"},
        {"Manhole", "\\Equipment Components\\Nozzles\\Manhole.sym"},
        {"Piping OPC", "\\Piping\\Piping OPC\\Off-Page Connector.sym"},
        {"Utility OPC", "\\Piping\\Piping OPC\\Utility Connector.sym"},
        {"Signal OPC", "\\Instrumentation\\Signal OPC\\Signal Off-Page Connector.sym"},
        {"Note", "\\Design\\Annotation\\Notes\\Note.sym"},
        {"Line Number", "\\Piping\\Labels - Pipe Run\\Line Number.sym"},
        {"Flow Arrow", "\\Piping\\Labels - Pipe Run\\Flow Direction.sym"},
        {"Item Tag", "\\Equipment\\Labels\\Equipment Tag.sym"},
        {"Size", "\\Piping\\Labels - Pipe Run\\Nominal Diameter.sym"},
        {"Fire Damper", "\\HVAC\\Dampers\\Fire Damper.sym"},
        {"Volume Damper", "\\HVAC\\Dampers\\Volume Damper.sym"},
        {"Grille", "\\HVAC\\Terminals\\Grille.sym"},
        {"Silencer", "\\HVAC\\Specialties\\Silencer.sym"},
    };
    const auto it = symbols.find(what);
    if (it == symbols.end()) {
        throw Error(kErrInternal, "No symbol for '" + what + "'", "SymbolFor");
    }
    return it->second;
}

int CaseTypeIndex(const std::string& caseName) {
    static const std::map<std::string, std::string> texts = {
        {"ProcessDesign", "Design"},
        {"ProcessOperating", "Operating"},
        {"ProcessAlternateDesign", "Alternate Design"},
        {"ProcessAlternateOperating", "Alternate Operating"},
        {"ProcessTest", "Test"},
        {"ProcessDesignTube", "Design (Tube Side)"},
        {"ProcessOperatingTube", "Operating (Tube Side)"},
        {"ControlCase", "Control"},
    };
    const auto it = texts.find(caseName);
    if (it == texts.end()) throw Error(kErrInternal, "Unknown case " + caseName, "CaseTypeIndex");
    return CodeOf("CaseType", it->second);
}

const char* const kPointNames[] = {"", "Inlet", "Outlet", "Tapping", "Drain"};

}  // namespace

std::string Timestamp(int day, int seconds) {
    long y = 0;
    unsigned m = 0;
    unsigned d = 0;
    CivilFromDays(kBaseDay + day + seconds / 86400, y, m, d);
    const int s = seconds % 86400;
    return Pad(y, 4) + "-" + Pad(m, 2) + "-" + Pad(d, 2) + " " + Pad(s / 3600, 2) + ":" +
           Pad(s / 60 % 60, 2) + ":" + Pad(s % 60, 2);
}

std::pair<std::uint16_t, std::uint16_t> DosDateTime(int day, int seconds) {
    long y = 0;
    unsigned m = 0;
    unsigned d = 0;
    CivilFromDays(kBaseDay + day, y, m, d);
    const auto date = static_cast<std::uint16_t>(((y - 1980) << 9) | (m << 5) | d);
    const int s = seconds % 86400;
    const auto time =
        static_cast<std::uint16_t>(((s / 3600) << 11) | ((s / 60 % 60) << 5) | (s % 60 / 2));
    return {date, time};
}

std::string Fixed(double value, int decimals) {
    char buffer[64];
    const auto result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    return std::string(buffer, result.ptr);
}

Stop At(const Placed& placed, int point) {
    return Stop{placed.rep, placed.hasPoints ? point : 0, placed.x, placed.y, {}};
}

Stop Open(double x, double y) {
    return Stop{{}, 0, x, y, {}};
}

PlantBuilder::PlantBuilder(FileWriter& data, FileWriter& structure, std::uint64_t seed)
    : data_(data), structure_(structure), ids_(Rng(seed).Fork(0x1D5)) {}

std::string PlantBuilder::NewId() {
    return HexId(ids_);
}

std::string PlantBuilder::Actor(int n) const {
    static const char* const kActors[] = {"jsmith", "a.kowalski", "m.m\xC3\xBCller", "o'brien",
                                          "PLANTADMIN"};
    return kActors[static_cast<unsigned>(n) % 5];
}

// ---------------------------------------------------------------- plant structure

Group PlantBuilder::AddRootGroup(const std::string& name, const std::string& description) {
    Group g{NewId(), name, "\\", 0, {}};
    for (FileWriter* f : {&data_, &structure_}) {
        f->Row("T_PlantGroup")("SP_ID", g.id)("ParentID", "-1")("Name", name)(
             "Description", description)("PlantGroupType", CodeOf("PlantGroupType", "Plant"))(
             "Dir_Path", g.dirPath)("Depth", 0)("UpdateCount", 1)
            .Add();
    }
    return g;
}

Group PlantBuilder::AddGroup(const Group& parent, const std::string& name, const std::string& type,
                             const std::string& description, const std::string& code) {
    Group g{NewId(), name, (parent.depth == 0 ? "" : parent.dirPath) + "\\" + name,
            parent.depth + 1, parent.unitCode};
    if (type == "Unit") g.unitCode = code;
    for (FileWriter* f : {&data_, &structure_}) {
        f->Row("T_PlantGroup")("SP_ID", g.id)("ParentID", parent.id)("Name", name)(
             "Description", description)("PlantGroupType", CodeOf("PlantGroupType", type))(
             "Dir_Path", g.dirPath)("Depth", g.depth)("UpdateCount", 1)
            .Add();
        if (type == "Unit") f->Row("T_Unit")("SP_ID", g.id)("UnitCode", code).Add();
        if (type == "Area") f->Row("T_Area")("SP_ID", g.id)("AreaCode", code).Add();
    }
    return g;
}

void PlantBuilder::AddSites() {
    sites_ = {NewId(), NewId()};
    const char* const names[] = {"TB-HOST", "TB-SATELLITE"};
    const char* const types[] = {"Host", "Satellite"};
    for (FileWriter* f : {&data_, &structure_}) {
        for (int i = 0; i < 2; ++i) {
            f->Row("T_WSSite")("SP_ID", sites_[i])("Name", names[i])(
                 "Description", std::string(types[i]) + " site of the plant")("SiteType", types[i])
                .Add();
        }
    }
    // The plant data schema keeps the table empty: the active site is found in the plant
    // structure, as the drawing list falls back to it.
    structure_.Row("T_ActiveWSSite")("SP_WSSiteID", sites_[0]).Add();
}

// ---------------------------------------------------------------- drawings

Drawing PlantBuilder::AddDrawing(const DrawingSpec& spec) {
    Drawing d;
    d.id = NewId();
    d.name = spec.name;
    d.groupId = spec.group->id;
    d.unitCode = spec.group->unitCode;
    d.day = spec.day;
    d.active = spec.itemStatus == 1;
    if (!spec.pathOverride.empty()) {
        d.path = spec.pathOverride;
    } else if (!spec.fileName.empty()) {
        d.path = spec.group->dirPath + "\\" + spec.fileName;
    }
    const int docType = CodeOf("DocumentType", spec.documentType);
    const int category = spec.documentType == "Utility Flow Diagram" ? 2 : 1;
    data_
        .Row("T_Drawing")("SP_ID", d.id)("Name", spec.name)("DrawingNumber", spec.number)(
            "Title", spec.title)("Description", spec.description)("Path", d.path)(
            "Template", "\\Templates\\P&ID A1 Wide.pid")(
            "DateCreated", Timestamp(spec.day, 8 * 3600))("DocumentCategory", category)(
            "DocumentType", docType)("SP_PlantGroupID", d.groupId)("ItemStatus", spec.itemStatus)(
            "ApprovedBy", Actor(spec.day + 4))("Responsibility", spec.responsibility)(
            "SP_ArePropertiesModified", 1)(
            "LastPublishTime", spec.day % 3 == 0 ? Timestamp(spec.day + 40, 17 * 3600) : "")(
            "UpdateCount", 1 + spec.day % 4)
        .Add();
    data_
        .Row("T_GlobalDrawing")("SP_ID", NewId())("SP_DrawingID", d.id)("Name", spec.name)(
            "DrawingNumber", spec.number)("Title", spec.title)("Description", spec.description)(
            "Path", d.path)
        .Add();
    if (!sites_.empty()) {
        const std::string siteRow = NewId();
        for (FileWriter* f : {&data_, &structure_}) {
            f->Row("T_DrawingSite")("SP_ID", siteRow)("SP_DrawingID", d.id)(
                 "SP_WSSiteID", sites_[spec.satelliteSite ? 1 : 0])("Name", spec.name)(
                 "DrawingNumber", spec.number)("Title", spec.title)("Description", spec.description)
                .Add();
        }
    }
    if (!d.path.empty() && spec.writeFile) {
        files_.emplace_back(d.path, "Tarnbrook sample plant drawing\r\nName: " + spec.name +
                                        "\r\nSP_ID: " + d.id + "\r\n");
    }
    return d;
}

void PlantBuilder::AddRevision(const Drawing& d, const std::string& major, const std::string& minor,
                               int day, bool nullDate) {
    revisionSequence_ = lastRevisionDrawing_ == d.id ? revisionSequence_ + 1 : 1;
    const int sequence = revisionSequence_;
    static const char* const kPurposes[] = {"Issued for Review", "Issued for Approval",
                                            "Issued for Design", "Issued for Construction"};
    lastRevision_ = NewId();
    lastRevisionDrawing_ = d.id;
    data_
        .Row("T_Revision")("SP_ID", lastRevision_)("SP_DrawingID", d.id)(
            "SP_MajorRevisionNumber", major)("SP_MinorRevisionNumber", minor)(
            "SP_RevisionDate", nullDate ? "" : Timestamp(day, 15 * 3600))(
            "SP_SequenceInGroup", sequence)("RevisionBy", Actor(day))("CheckedBy", Actor(day + 1))(
            "ApprovedBy", Actor(day + 2))("RevisionDescription", kPurposes[(sequence - 1) % 4])
        .Add();
}

void PlantBuilder::AddVersion(const Drawing& d, int number, int day, bool withRevision) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<Drawing SP_ID=\"" + d.id +
                      "\" Name=\"" + XmlEscape(d.name) + "\" Version=\"" + std::to_string(number) +
                      "\">\r\n";
    for (const auto& [item, type] : d.items) {
        xml += "  <Representation ModelItem=\"" + item + "\" Type=\"" + type + "\"/>\r\n";
    }
    xml += "</Drawing>\r\n";
    const auto [date, time] = DosDateTime(day, 16 * 3600);
    const bool tied = withRevision && lastRevisionDrawing_ == d.id;
    data_
        .Row("T_DrawingVersion")("SP_ID", NewId())("SP_DrawingID", d.id)(
            "SP_RevisionID", tied ? lastRevision_ : "")("VersionNumber", number)(
            "DateCreated", Timestamp(day, 16 * 3600))("SP_Storage",
                                                      MakeZip({{"Drawing.xml", xml}}, date, time))
        .Add();
}

void PlantBuilder::AddFrames(const Drawing& d, int auxGraphics) {
    for (int i = 0; i <= auxGraphics; ++i) {
        const bool border = i == 0;
        const std::string frame = NewId();
        const std::string name = border ? "Border" : "Detail " + std::to_string(i);
        data_
            .Row("T_SmartFrame")("SP_ID", frame)("SP_DrawingID", d.id)(
                "SP_SmartFrameType",
                CodeOf("SmartFrameType", border ? "Border" : "Auxiliary Graphic"))("Name", name)
            .Add();
        const auto [date, time] = DosDateTime(d.day, 9 * 3600);
        data_
            .Row("T_SmartFrameStorage")("SP_ID", NewId())("SP_SmartFrameID", frame)(
                "SP_Storage",
                MakeZip({{"Frame.xml", "<Frame Name=\"" + XmlEscape(name) + "\"/>\r\n"}}, date,
                        time))
            .Add();
    }
}

void PlantBuilder::AddDrawingHistory(const Drawing& d, int modifications) {
    data_
        .Row("T_History")("SP_ID", NewId())("SP_DrawingID", d.id)(
            "Timestamp", Timestamp(d.day, 8 * 3600))("Actor", Actor(d.day))(
            "EventType", CodeOf("EventType", "Created"))
        .Add();
    for (int k = 1; k <= modifications; ++k) {
        data_
            .Row("T_History")("SP_ID", NewId())("SP_DrawingID", d.id)(
                "Timestamp", Timestamp(d.day + 9 * k, 14 * 3600 + 60 * k))(
                "Actor", Actor(d.day + k))("EventType", CodeOf("EventType", "Modified"))
            .Add();
    }
}

// ---------------------------------------------------------------- low-level rows

void PlantBuilder::AddModelItem(const std::string& id, const std::string& type,
                                const std::string& description, int itemStatus) {
    data_
        .Row("T_ModelItem")("SP_ID", id)("ItemTypeName", type)(
            "ModelItemType", CodeOf("ModelItemType", type))("Description", description)(
            "ItemStatus", itemStatus)("SP_IsTypical", 1)("UpdateCount", 1)
        .Add();
}

void PlantBuilder::AddPlantItem(const std::string& id, const std::string& type,
                                const std::string& tag, const std::string& groupId,
                                const std::string& partOf, const std::string& name,
                                const std::string& supplyBy) {
    auto row = data_.Row("T_PlantItem");
    row("SP_ID", id)("ItemTag", tag)("PlantItemType", CodeOf("PlantItemType", type))(
        "SP_PlantGroupID", groupId)("SP_PartOfID", partOf)("Name", name)(
        "ConstructionStatus", CodeOf("ConstructionStatus", "New"))("UpdateCount", 1);
    if (!supplyBy.empty()) row("SupplyBy", CodeOf("SupplyBy", supplyBy));
    row.Add();
}

std::string PlantBuilder::AddRep(Drawing& d, const std::string& item, const std::string& repType,
                                 const std::string& fileName, bool stockpile) {
    const std::string rep = NewId();
    const int oid = d.nextOid++;
    data_
        .Row("T_Representation")("SP_ID", rep)("SP_ModelItemID", item)("SP_DrawingID", d.id)(
            "RepresentationType", CodeOf("RepresentationType", repType))("GraphicOID", oid)(
            "FileName", fileName)("InStockpile", stockpile ? 2 : 1)("ItemStatus", 1)(
            "SP_ModelItemTimestamp", Timestamp(d.day + 1, 10 * 3600 + oid))("UpdateCount", 1)
        .Add();
    d.items.emplace_back(item, repType);
    return rep;
}

void PlantBuilder::AddSymbolRow(const std::string& rep, double x, double y, int quarterTurns) {
    data_
        .Row("T_Symbol")("SP_ID", rep)("XCoordinate", x)("YCoordinate", y)(
            "RotationAngle", quarterTurns * kQuarterTurn)("IsMirrored", 1)
        .Add();
}

void PlantBuilder::AddConnectorRow(const std::string& rep, const Stop& a, const Stop& b,
                                   bool zeroLength, int vertices) {
    auto row = data_.Row("T_Connector");
    row("SP_ID", rep)("SP_ConnectItem1ID", a.rep)("SP_ConnectItem2ID", b.rep)(
        "SP_AvoidItem1ID", a.avoid)("SP_AvoidItem2ID", b.avoid)("IsZeroLength", zeroLength ? 2 : 1);
    if (a.point) row("StartObject", a.point);
    if (b.point) row("EndObject", b.point);
    row.Add();
    if (vertices < 0) vertices = (a.x != b.x && a.y != b.y) ? 3 : 2;
    if (zeroLength) vertices = 2;
    const double xs[] = {a.x, b.x, b.x};
    const double ys[] = {a.y, a.y, b.y};
    for (int i = 0; i < vertices; ++i) {
        const bool last = i == vertices - 1 && vertices > 1;
        data_
            .Row("T_ConnectorVertex")("SP_ID", NewId())("SP_ConnectorID", rep)("OrderIndex", i + 1)(
                "XCoordinate", last ? b.x : xs[i])("YCoordinate", last ? b.y : ys[i])
            .Add();
    }
}

std::string PlantBuilder::AddRelationship(const Drawing& d, const std::string& rep1,
                                          const std::string& rep2) {
    const std::string id = NewId();
    data_
        .Row("T_Relationship")("SP_ID", id)("SP_DrawingID", d.id)("SP_Item1ID", rep1)(
            "SP_Item2ID", rep2)("Item1Location", 1)("Item2Location", 2)("IsBinary", 2)(
            "GraphicOID", relationshipOid_++)
        .Add();
    return id;
}

void PlantBuilder::AddInconsistency(const Drawing& d, const std::string& rep1,
                                    const std::string& rep2, const std::string& type,
                                    bool approved) {
    data_
        .Row("T_Inconsistency")("SP_ID", NewId())(
            "SP_RelationshipID", AddRelationship(d, rep1, rep2))("InconsistencyType", type)(
            "IsApproved", approved ? 2 : 1)("Description", type + " between connected items")
        .Add();
}

void PlantBuilder::AddItemHistory(Drawing& d, const std::string& item) {
    const int n = d.ordinal++;
    const int created = d.day + n % 5;
    data_
        .Row("T_History")("SP_ID", NewId())("SP_ModelItemID", item)("SP_DrawingID", d.id)(
            "Timestamp", Timestamp(created, 9 * 3600 + 37 * n))("Actor", Actor(n))(
            "EventType", CodeOf("EventType", "Created"))
        .Add();
    for (int k = 1; k <= n % 3; ++k) {
        data_
            .Row("T_History")("SP_ID", NewId())("SP_ModelItemID", item)("SP_DrawingID", d.id)(
                "Timestamp", Timestamp(created + 10 * k + n % 7, 13 * 3600 + 41 * n))(
                "Actor", Actor(n + k))("EventType", CodeOf("EventType", "Modified"))
            .Add();
    }
    if (n % 4 == 0) {
        static const char* const kStatus[] = {"New", "Checked", "Approved",
                                              "Issued for Construction"};
        AddStatus(item, kStatus[(n / 4) % 4], created + 20);
    }
}

void PlantBuilder::AddPipingPoints(const std::string& item, int count, const std::string& size,
                                   const std::string& size2, const std::string& usage) {
    for (int i = 1; i <= count; ++i) {
        const std::string id = NewId();
        AddModelItem(id, "PipingPoint", kPointNames[i]);
        std::string pointSize = size;
        std::string pointUsage = usage;
        if (i == 2 && !size2.empty()) pointSize = size2;
        if (i == 3) {
            pointSize = "1/2\"";
            pointUsage = "Instrument Tap";
        }
        if (i == 4) {
            pointSize = "3/4\"";
            pointUsage = "Drain";
        }
        auto row = data_.Row("T_PipingPoint");
        row("SP_ID", id)("SP_PlantItemID", item)("PointIndex", i)(
            "PipingPointUsage", CodeOf("PipingPointUsage", pointUsage));
        if (!pointSize.empty()) row("NominalDiameter", CodeOf("NominalDiameter", pointSize));
        if (i <= 2) row("FlowDirection", i);
        row.Add();
    }
}

// ---------------------------------------------------------------- equipment

Placed PlantBuilder::AddEquipment(Drawing& d, const Group& g, const EquipSpec& spec, double x,
                                  double y) {
    const std::string id = NewId();
    std::string type = spec.subtable.substr(2);
    AddModelItem(id, type, spec.description, spec.itemStatus);
    const std::string tag = spec.tagged ? spec.prefix + "-" + spec.seq + spec.suffix : "";
    AddPlantItem(id, "Equipment", tag, g.id, spec.partOf, spec.description, spec.supplyBy);
    auto row = data_.Row("T_Equipment");
    row("SP_ID", id)("Class", CodeOf("Class", spec.cls))(
        "EquipmentSubclass", CodeOf("EquipmentSubclass", spec.subclass))(
        "EquipmentType", CodeOf("EquipmentType", spec.type))("MaterialOfConstClass", spec.material);
    if (spec.tagged)
        row("TagPrefix", spec.prefix)("TagSequenceNo", spec.seq)("TagSuffix", spec.suffix);
    row.Add();
    auto sub = data_.Row(spec.subtable);
    sub("SP_ID", id);
    for (const auto& [column, value] : spec.subText) sub(column, value);
    if (!spec.driver.empty()) sub("DriverType", CodeOf("DriverType", spec.driver));
    sub.Add();
    Placed placed{id, {}, x, y};
    if (!spec.symbol.empty()) {
        placed.rep = AddRep(d, id, "Symbol", spec.symbol);
        AddSymbolRow(placed.rep, x, y, 0);
    }
    AddItemHistory(d, id);
    return placed;
}

std::string PlantBuilder::DrawAgain(Drawing& d, const std::string& item, const std::string& symbol,
                                    double x, double y) {
    const std::string rep = AddRep(d, item, "Symbol", symbol);
    AddSymbolRow(rep, x, y, 0);
    return rep;
}

Placed PlantBuilder::AddNozzle(Drawing& d, const Group& g, const NozzleSpec& spec, double x,
                               double y, int quarterTurns) {
    const std::string id = NewId();
    AddModelItem(id, "Nozzle", spec.type == "Manhole" ? "Manhole" : "");
    AddPlantItem(id, "Nozzle", "N" + spec.seq, g.id, spec.equipment);
    auto row = data_.Row("T_Nozzle");
    row("SP_ID", id)("SP_EquipmentID", spec.linkEquipmentId ? spec.equipment : "")(
        "NozzleType", CodeOf("NozzleType", spec.type))("NominalDiameter",
                                                       CodeOf("NominalDiameter", spec.size))(
        "Rating", CodeOf("Rating", spec.rating))("TagPrefix", "N")("TagSequenceNo", spec.seq);
    if (!spec.flow.empty()) row("FlowDirection", CodeOf("FlowDirection", spec.flow));
    row.Add();
    Placed placed{id, {}, x, y};
    placed.rep = AddRep(d, id, "Symbol", SymbolFor(spec.type == "Manhole" ? "Manhole" : "Nozzle"));
    AddSymbolRow(placed.rep, x, y, quarterTurns);
    AddPipingPoints(id, 1, spec.size, {}, spec.usage);
    if (!spec.equipmentRep.empty()) AddRelationship(d, placed.rep, spec.equipmentRep);
    AddItemHistory(d, id);
    return placed;
}

// ---------------------------------------------------------------- piping

Run PlantBuilder::AddRun(Drawing& d, const Group& g, const RunSpec& spec) {
    Run run{NewId(), spec.tag, spec.size};
    if (run.tag.empty() && !spec.seq.empty()) {
        run.tag = g.unitCode + spec.seq + spec.suffix + "-" + spec.fluid;
    }
    AddModelItem(run.id, "PipeRun", spec.description);
    AddPlantItem(run.id, "PipeRun", run.tag, g.id);
    auto row = data_.Row("T_PipeRun");
    row("SP_ID", run.id)("PipeRunClass", CodeOf("PipeRunClass", spec.cls))(
        "PipeRunType", CodeOf("PipeRunType", spec.type))("NominalDiameter",
                                                         CodeOf("NominalDiameter", spec.size))(
        "OperFluidCode", CodeOf("OperFluidCode", spec.fluid))(
        "FluidSystem", CodeOf("FluidSystem", spec.fluidSystem))(
        "PipingMaterialsClass", CodeOf("PipingMaterialsClass", spec.spec))(
        "TagSequenceNo", spec.seq)("TagSuffix", spec.suffix)("InsulThick", spec.insulThick)(
        "HTraceMedium", CodeOf("HTraceMedium", spec.trace))("FlowDirection",
                                                            CodeOf("FlowDirection", spec.flow))(
        "SP_ConnectorsZeroLength", spec.zeroLength ? 2 : 1)("Slave", spec.slave ? 2 : 1)(
        "Schedule", spec.spec == "S1A" ? "10S" : "40");
    if (spec.insulation == "none") {
        row("InsulPurpose", 1);  // the entry with an empty text
    } else if (!spec.insulation.empty()) {
        row("InsulPurpose", CodeOf("InsulPurpose", spec.insulation));
    }
    row.Add();
    AddItemHistory(d, run.id);
    return run;
}

std::vector<std::string> PlantBuilder::Route(Drawing& d, const Run& run,
                                             const std::vector<Stop>& stops, bool zeroLength,
                                             bool relate) {
    std::vector<std::string> reps;
    for (std::size_t i = 0; i + 1 < stops.size(); ++i) {
        const std::string rep = AddRep(d, run.id, "Connector", "");
        AddConnectorRow(rep, stops[i], stops[i + 1], zeroLength, -1);
        if (relate && !stops[i].rep.empty()) AddRelationship(d, rep, stops[i].rep);
        if (relate && !stops[i + 1].rep.empty()) AddRelationship(d, rep, stops[i + 1].rep);
        reps.push_back(rep);
    }
    return reps;
}

std::vector<std::string> PlantBuilder::RouteThrough(Drawing& d, const Run& run, const Stop& start,
                                                    const std::vector<Placed>& inlines,
                                                    const Stop& end, bool zeroLength) {
    std::vector<Stop> stops{start};
    std::vector<std::string> reps;
    for (const auto& item : inlines) {
        stops.push_back(At(item, item.hasPoints ? 1 : 0));
        for (auto& rep : Route(d, run, stops, zeroLength)) reps.push_back(std::move(rep));
        stops = {At(item, item.hasPoints ? 2 : 0)};
    }
    stops.push_back(end);
    for (auto& rep : Route(d, run, stops, zeroLength)) reps.push_back(std::move(rep));
    return reps;
}

Placed PlantBuilder::AddBranchPoint(Drawing& d, const Run& run, double x, double y) {
    return Placed{run.id, AddRep(d, run.id, "Branch", ""), x, y, false};
}

Placed PlantBuilder::AddPipingComp(Drawing& d, const Group& g, const Run* run, const CompSpec& spec,
                                   double x, double y, int quarterTurns) {
    const std::string id = NewId();
    AddModelItem(id, "PipingComp", spec.type);
    std::string tag;
    if (!spec.tagSeq.empty()) tag = (spec.specialty ? "SP-" : "HV-") + d.unitCode + spec.tagSeq;
    AddPlantItem(id, "PipingComp", tag, g.id, {}, {}, "Contractor");
    auto row = data_.Row("T_PipingComp");
    row("SP_ID", id)("PipingCompType", CodeOf("PipingCompType", spec.type))(
        "NominalDiameter", CodeOf("NominalDiameter", spec.size))(
        "PipingMaterialsClass", CodeOf("PipingMaterialsClass", spec.spec))(
        "TagSequenceNo", spec.tagSeq)("SP_IsSpecialtyItem", spec.specialty ? 2 : 1)(
        "Rating", CodeOf("Rating", spec.rating));
    if (!spec.operatorType.empty()) row("OperatorType", CodeOf("OperatorType", spec.operatorType));
    row.Add();
    if (run) {
        data_
            .Row("T_InlineComp")("SP_ID", id)("SP_PipeRunID", run->id)("SP_PipingCompID", id)(
                "NominalDiameter", CodeOf("NominalDiameter", spec.size))
            .Add();
    }
    Placed placed{id, {}, x, y};
    placed.rep = AddRep(d, id, "Symbol", spec.symbol.empty() ? SymbolFor(spec.type) : spec.symbol,
                        spec.stockpile);
    AddSymbolRow(placed.rep, x, y, quarterTurns);
    AddPipingPoints(id, spec.points, spec.size, spec.size2, "Process");
    AddItemHistory(d, id);
    return placed;
}

Placed PlantBuilder::AddInstrument(Drawing* d, const Group& g, const InstrSpec& spec,
                                   const Run* run, double x, double y) {
    const std::string id = NewId();
    AddModelItem(id, "Instrument", spec.description);
    const std::string tag =
        spec.mv + spec.modifier + "-" + spec.seq + spec.loopSuffix + spec.suffix;
    AddPlantItem(id, "Instrument", tag, g.id, {}, {}, spec.isInline ? "Vendor" : "Contractor");
    auto row = data_.Row("T_Instrument");
    row("SP_ID", id)("SP_PipeRunID", run ? run->id : "")("MeasuredVariableCode",
                                                         CodeOf("MeasuredVariableCode", spec.mv))(
        "InstrumentTypeModifier", spec.modifier)("TagSequenceNo", spec.seq)(
        "TagSuffix", spec.suffix)("LoopTagSuffix", spec.loopSuffix)(
        "InstrumentClass", CodeOf("InstrumentClass", spec.cls))(
        "InstrumentType", CodeOf("InstrumentType", spec.type))("IsInline", spec.isInline ? 2 : 1)(
        "CalibratedRange", spec.range);
    if (!spec.size.empty()) row("NominalDiameter", CodeOf("NominalDiameter", spec.size));
    row.Add();
    if (run) {
        data_
            .Row("T_InlineComp")("SP_ID", id)("SP_PipeRunID", run->id)("SP_InstrumentID", id)(
                "NominalDiameter",
                CodeOf("NominalDiameter", spec.size.empty() ? run->size : spec.size))
            .Add();
        AddPipingPoints(id, spec.points, spec.size.empty() ? run->size : spec.size, {}, "Process");
    }
    for (const auto& function : spec.functions) {
        data_
            .Row("T_InstrFunction")("SP_ID", NewId())("SP_InstrumentID", id)(
                "FunctionType", CodeOf("FunctionType", function))
            .Add();
    }
    for (const auto& [action, mode] : spec.failModes) {
        data_
            .Row("T_InstrFailMode")("SP_ID", NewId())("SP_InstrumentID", id)(
                "FailureAction", CodeOf("FailureAction", action))("FailModeType",
                                                                  CodeOf("FailModeType", mode))
            .Add();
    }
    Placed placed{id, {}, x, y};
    if (d) {
        placed.rep =
            AddRep(*d, id, "Symbol", spec.symbol.empty() ? SymbolFor(spec.cls) : spec.symbol);
        AddSymbolRow(placed.rep, x, y, 0);
        AddItemHistory(*d, id);
    } else {
        data_
            .Row("T_History")("SP_ID", NewId())("SP_ModelItemID", id)(
                "Timestamp", Timestamp(30, 11 * 3600))("Actor", Actor(0))(
                "EventType", CodeOf("EventType", "Created"))
            .Add();
    }
    return placed;
}

std::string PlantBuilder::AddSignal(Drawing& d, const Group& g, const Stop& from, const Stop& to,
                                    const std::string& type) {
    const std::string id = NewId();
    AddModelItem(id, "SignalRun", "");
    AddPlantItem(id, "SignalRun", "", g.id);
    data_.Row("T_SignalRun")("SP_ID", id)("SignalType", CodeOf("SignalType", type)).Add();
    const std::string rep = AddRep(d, id, "Connector", "");
    AddConnectorRow(rep, from, to, false, -1);
    return id;
}

Placed PlantBuilder::AddOPC(Drawing& d, const Group& g, const std::string& id,
                            const std::string& tag, const std::string& pairedWith,
                            const std::string& type, double x, double y) {
    AddModelItem(id, "OPC", "Off-page connector " + tag);
    AddPlantItem(id, "OPC", "", g.id);
    data_
        .Row("T_OPC")("SP_ID", id)("OPCTag", tag)("SP_PairedWithID", pairedWith)(
            "OPCType", CodeOf("OPCType", type))
        .Add();
    Placed placed{id, AddRep(d, id, "Symbol", SymbolFor(type)), x, y, false};
    AddSymbolRow(placed.rep, x, y, x < 0.4 ? 0 : 2);
    AddItemHistory(d, id);
    return placed;
}

Placed PlantBuilder::AddNote(Drawing& d, const std::string& text, const std::string& type, double x,
                             double y) {
    const std::string id = NewId();
    AddModelItem(id, "Note", "");
    data_.Row("T_Note")("SP_ID", id)("NoteText", text)("NoteType", CodeOf("NoteType", type)).Add();
    Placed placed{id, AddRep(d, id, "Symbol", SymbolFor("Note")), x, y};
    AddSymbolRow(placed.rep, x, y, 0);
    AddItemHistory(d, id);
    return placed;
}

void PlantBuilder::AddLabel(Drawing& d, const std::string& item, const std::string& labelledRep,
                            const std::string& type, double x, double y) {
    const std::string rep = AddRep(d, item, "Label", SymbolFor(type));
    AddSymbolRow(rep, x, y, 0);
    data_
        .Row("T_LabelPersist")("SP_ID", rep)("SP_RepresentationID", labelledRep)(
            "LabelType", CodeOf("LabelType", type))
        .Add();
}

// ---------------------------------------------------------------- groups

std::string PlantBuilder::AddLoop(Drawing& d, const Group& g, const std::string& function,
                                  const std::string& seq, const std::vector<std::string>& members,
                                  const std::string& description) {
    const std::string id = NewId();
    AddModelItem(id, "InstrLoop", description);
    AddPlantItem(id, "InstrLoop", function + "-" + seq, g.id);
    data_
        .Row("T_PlantItemGroup")("SP_ID", id)("PlantItemGroupType",
                                              CodeOf("PlantItemGroupType", "Loop"))(
            "PlantItemGroupClass", CodeOf("PlantItemGroupClass", "Instrumentation"))
        .Add();
    data_
        .Row("T_InstrLoop")("SP_ID", id)("LoopFunction", CodeOf("LoopFunction", function))(
            "TagSequenceNo", seq)
        .Add();
    for (const auto& member : members) {
        data_
            .Row("T_PlantItemGroupJoin")("SP_ID", NewId())("SP_PlantItemGroupID", id)(
                "SP_PlantItemID", member)
            .Add();
    }
    AddItemHistory(d, id);
    return id;
}

std::string PlantBuilder::AddItemGroup(Drawing& d, const Group& g, const std::string& kind,
                                       const std::string& tag, const std::string& name,
                                       const std::vector<std::string>& members) {
    const std::string id = NewId();
    AddModelItem(id, kind, name);
    AddPlantItem(id, kind, tag, g.id, {}, name);
    std::string groupType = kind == "Package"  ? "Package"
                            : kind == "System" ? "Test System"
                                               : "Safety Class";
    std::string groupClass = kind == "Package"  ? "Mechanical"
                             : kind == "System" ? "Testing"
                                                : "Safety";
    data_
        .Row("T_PlantItemGroup")("SP_ID", id)("PlantItemGroupType",
                                              CodeOf("PlantItemGroupType", groupType))(
            "PlantItemGroupClass", CodeOf("PlantItemGroupClass", groupClass))
        .Add();
    if (kind == "Package") {
        data_.Row("T_Package")("SP_ID", id)("VendorName", "Calder Pumps Ltd.")("PackageNumber", tag)
            .Add();
    } else if (kind == "System") {
        data_
            .Row("T_System")("SP_ID", id)("TestMedium", CodeOf("TestMedium", "Water"))(
                "TestPressure", "15.0 barg")
            .Add();
    } else {
        data_
            .Row("T_SafetyClass")("SP_ID", id)("SafetyIntegrityLevel",
                                               CodeOf("SafetyIntegrityLevel", "SIL 2"))
            .Add();
    }
    for (const auto& member : members) {
        data_
            .Row("T_PlantItemGroupJoin")("SP_ID", NewId())("SP_PlantItemGroupID", id)(
                "SP_PlantItemID", member)
            .Add();
    }
    AddItemHistory(d, id);
    return id;
}

// ---------------------------------------------------------------- process data

void PlantBuilder::AddProcessCase(const std::string& item, const std::string& caseType,
                                  const std::vector<CaseValues>& values) {
    const std::string caseId = NewId();
    data_
        .Row("T_Case")("SP_ID", caseId)("SP_ModelItemID", item)(
            "CaseType", CaseTypeIndex(caseType))("CaseClass", CodeOf("CaseClass", "Process Case"))(
            "UpdateCount", 1)
        .Add();
    for (const auto& v : values) {
        auto row = data_.Row("T_CaseProcess");
        row("SP_ID", NewId())("SP_CaseID", caseId)("Quality", CodeOf("Quality", v.quality))(
            "Pressure", Fixed(v.pressureBarg, 1) + " barg")("SP_PressureSI",
                                                            v.pressureBarg * 100000.0 + 101325.0)(
            "Temperature", Fixed(v.temperatureC, 0) + " degC")("SP_TemperatureSI",
                                                               v.temperatureC + 273.15);
        if (v.flowKgH > 0) {
            row("MassFlowRate", Fixed(v.flowKgH, 0) + " kg/h")("SP_MassFlowRateSI",
                                                               v.flowKgH / 3600.0);
        }
        row.Add();
    }
}

void PlantBuilder::AddControlCase(const std::string& item,
                                  const std::vector<CaseValues>& setPoints) {
    const std::string caseId = NewId();
    data_
        .Row("T_Case")("SP_ID", caseId)("SP_ModelItemID", item)("CaseType",
                                                                CaseTypeIndex("ControlCase"))(
            "CaseClass", CodeOf("CaseClass", "Control Case"))("UpdateCount", 1)
        .Add();
    for (const auto& v : setPoints) {
        data_
            .Row("T_CaseControl")("SP_ID", NewId())("SP_CaseID", caseId)(
                "Quality", CodeOf("Quality", v.quality))("SetPoint",
                                                         Fixed(v.pressureBarg, 1) + " barg")(
                "SP_SetPointSI", v.pressureBarg * 100000.0 + 101325.0)("ValveCv",
                                                                       v.flowKgH / 1000.0)
            .Add();
    }
}

void PlantBuilder::AddStatus(const std::string& item, const std::string& status, int day) {
    data_
        .Row("T_Status")("SP_ID", NewId())("SP_ModelItemID", item)(
            "Status", CodeOf("Status", status))("StatusDate", Timestamp(day, 12 * 3600))
        .Add();
}

void PlantBuilder::AddModification(const std::string& item, const Drawing& d, int day, int seconds,
                                   const std::string& actor) {
    data_
        .Row("T_History")("SP_ID", NewId())("SP_ModelItemID", item)("SP_DrawingID", d.id)(
            "Timestamp", Timestamp(day, seconds))("Actor", actor)("EventType",
                                                                  CodeOf("EventType", "Modified"))
        .Add();
}

void PlantBuilder::AddAreaBreak(const std::string& parent, const std::string& name,
                                const std::string& value) {
    data_
        .Row("T_AreaBreakAttribute")("SP_ID", NewId())("SP_ParentID", parent)("Name", name)("Value",
                                                                                            value)
        .Add();
}

// ---------------------------------------------------------------- HVAC

Placed PlantBuilder::AddDuctRun(Drawing& d, const Group& g, const std::string& tag,
                                const std::string& type, const std::string& size) {
    const std::string id = NewId();
    AddModelItem(id, "DuctRun", type + " duct");
    AddPlantItem(id, "DuctRun", tag, g.id);
    data_
        .Row("T_DuctRun")("SP_ID", id)("DuctRunType", CodeOf("DuctRunType", type))(
            "DuctSize", size)("AirFlowRate", "2400 m3/h")
        .Add();
    AddItemHistory(d, id);
    return Placed{id, {}, 0, 0};
}

Placed PlantBuilder::AddDuctingComp(Drawing& d, const Group& g, const std::string& ductRun,
                                    const std::string& type, double x, double y) {
    const std::string id = NewId();
    AddModelItem(id, "DuctingComp", type);
    AddPlantItem(id, "DuctingComp", "", g.id);
    data_.Row("T_DuctingComp")("SP_ID", id)("DuctingCompType", CodeOf("DuctingCompType", type))
        .Add();
    data_.Row("T_InlineComp")("SP_ID", id)("SP_DuctRunID", ductRun)("SP_DuctingCompID", id).Add();
    // Ducting components carry no piping points: their connectors name no point index.
    Placed placed{id, AddRep(d, id, "Symbol", SymbolFor(type)), x, y, false};
    AddSymbolRow(placed.rep, x, y, 0);
    AddItemHistory(d, id);
    return placed;
}

}  // namespace tb::sampleplant
