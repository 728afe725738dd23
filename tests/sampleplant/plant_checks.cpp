#include "plant_checks.h"

#include <unistd.h>

#include <stdexcept>

#include "support/test_support.h"

namespace tb::sampleplant::test {
namespace {

std::vector<std::string> Strings(Db& db, const std::string& sql) {
    std::vector<std::string> out;
    Stmt stmt(db, sql);
    while (stmt.Step()) out.push_back(stmt.Text(0));
    return out;
}

std::vector<std::string> Tables(Db& db) {
    return Strings(db, "SELECT name FROM sqlite_master WHERE type='table' ORDER BY name");
}

struct ColumnInfo {
    std::string name;
    std::string type;
};

std::vector<ColumnInfo> Columns(Db& db, const std::string& table) {
    std::vector<ColumnInfo> out;
    Stmt stmt(db, "PRAGMA table_info(" + table + ")");
    while (stmt.Step()) out.push_back({stmt.Text(1), stmt.Text(2)});
    return out;
}

bool IsIdColumn(const std::string& name) {
    return name.size() >= 5 && name.rfind("SP_", 0) == 0 && name.substr(name.size() - 2) == "ID";
}

}  // namespace

GeneratedPlant::GeneratedPlant(int drawings, std::uint64_t seed) {
    static int counter = 0;
    dir = fs::temp_directory_path() /
          ("tbplant-" + std::to_string(::getpid()) + "-" + std::to_string(++counter));
    fs::remove_all(dir);
    Options options;
    options.out = dir;
    options.drawings = drawings;
    options.seed = seed;
    result = GeneratePlant(options);
}

GeneratedPlant::~GeneratedPlant() {
    std::error_code ec;
    fs::remove_all(dir, ec);
}

const GeneratedPlant& TinyPlant() {
    static const GeneratedPlant plant(kShowcaseDrawings);
    return plant;
}

const GeneratedPlant& DefaultPlant() {
    static const GeneratedPlant plant(kDefaultDrawings);
    return plant;
}

std::map<std::pair<std::string, std::string>, std::int64_t> ReadmeCounts(
    const std::string& column) {
    const std::string text =
        tb::test::ReadFile(tb::test::SourceDir() / "tools/sampleplant/README.md");
    const auto begin = text.find("<!-- counts:begin -->");
    const auto end = text.find("<!-- counts:end -->");
    if (begin == std::string::npos || end == std::string::npos) {
        throw std::runtime_error("README.md has no counts table");
    }
    std::map<std::pair<std::string, std::string>, std::int64_t> counts;
    int index = -1;
    std::size_t pos = begin;
    while (pos < end) {
        const auto eol = text.find('\n', pos);
        const std::string line = text.substr(pos, eol - pos);
        pos = eol + 1;
        if (line.rfind("| ", 0) != 0) continue;
        std::vector<std::string> cells;
        std::size_t start = 2;
        for (std::size_t bar; (bar = line.find(" |", start)) != std::string::npos;
             start = bar + 3) {
            cells.push_back(line.substr(start, bar - start));
        }
        if (index < 0) {
            for (std::size_t i = 0; i < cells.size(); ++i) {
                if (cells[i].rfind(column, 0) == 0) index = static_cast<int>(i);
            }
            if (index < 0) throw std::runtime_error("README.md has no column " + column);
            continue;
        }
        if (cells.size() <= static_cast<std::size_t>(index) || cells[0] == "all files") continue;
        counts[{cells[0], cells[1]}] = std::stoll(cells[static_cast<std::size_t>(index)]);
    }
    return counts;
}

std::map<std::pair<std::string, std::string>, std::int64_t> PlantCounts(
    const GeneratedPlant& plant) {
    std::map<std::pair<std::string, std::string>, std::int64_t> counts;
    for (const auto& entry : fs::directory_iterator(plant.dir)) {
        if (entry.path().extension() != ".db") continue;
        for (const auto& [table, rows] : CountRows(entry.path())) {
            counts[{entry.path().filename().string(), table}] = rows;
        }
    }
    return counts;
}

const std::vector<Reference>& PlantDataReferences() {
    static const std::vector<Reference> refs = {
        {"T_PlantItem", "SP_ID", "T_ModelItem", "SP_ID"},
        {"T_PlantItem", "SP_PlantGroupID", "T_PlantGroup", "SP_ID"},
        {"T_PlantItem", "SP_PartOfID", "T_PlantItem", "SP_ID"},
        {"T_Representation", "SP_ModelItemID", "T_ModelItem", "SP_ID"},
        {"T_Representation", "SP_DrawingID", "T_Drawing", "SP_ID"},
        {"T_Connector", "SP_ID", "T_Representation", "SP_ID"},
        {"T_Connector", "SP_ConnectItem1ID", "T_Representation", "SP_ID"},
        {"T_Connector", "SP_ConnectItem2ID", "T_Representation", "SP_ID"},
        {"T_Connector", "SP_AvoidItem1ID", "T_Representation", "SP_ID"},
        {"T_Connector", "SP_AvoidItem2ID", "T_Representation", "SP_ID"},
        {"T_ConnectorVertex", "SP_ConnectorID", "T_Connector", "SP_ID"},
        {"T_Symbol", "SP_ID", "T_Representation", "SP_ID"},
        {"T_LabelPersist", "SP_ID", "T_Representation", "SP_ID"},
        {"T_LabelPersist", "SP_RepresentationID", "T_Representation", "SP_ID"},
        {"T_Relationship", "SP_DrawingID", "T_Drawing", "SP_ID"},
        {"T_Relationship", "SP_Item1ID", "T_Representation", "SP_ID"},
        {"T_Relationship", "SP_Item2ID", "T_Representation", "SP_ID"},
        {"T_Inconsistency", "SP_RelationshipID", "T_Relationship", "SP_ID"},
        {"T_Drawing", "SP_PlantGroupID", "T_PlantGroup", "SP_ID"},
        {"T_GlobalDrawing", "SP_DrawingID", "T_Drawing", "SP_ID"},
        {"T_DrawingSite", "SP_DrawingID", "T_Drawing", "SP_ID"},
        {"T_DrawingSite", "SP_WSSiteID", "T_WSSite", "SP_ID"},
        {"T_Revision", "SP_DrawingID", "T_Drawing", "SP_ID"},
        {"T_DrawingVersion", "SP_DrawingID", "T_Drawing", "SP_ID"},
        {"T_DrawingVersion", "SP_RevisionID", "T_Revision", "SP_ID"},
        {"T_SmartFrame", "SP_DrawingID", "T_Drawing", "SP_ID"},
        {"T_SmartFrameStorage", "SP_SmartFrameID", "T_SmartFrame", "SP_ID"},
        {"T_PipeRun", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_SignalRun", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_InlineComp", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_InlineComp", "SP_PipeRunID", "T_PipeRun", "SP_ID"},
        {"T_InlineComp", "SP_PipingCompID", "T_PipingComp", "SP_ID"},
        {"T_InlineComp", "SP_InstrumentID", "T_Instrument", "SP_ID"},
        {"T_InlineComp", "SP_DuctRunID", "T_DuctRun", "SP_ID"},
        {"T_InlineComp", "SP_DuctingCompID", "T_DuctingComp", "SP_ID"},
        {"T_PipingComp", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_Instrument", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_Instrument", "SP_PipeRunID", "T_PipeRun", "SP_ID"},
        {"T_InstrLoop", "SP_ID", "T_PlantItemGroup", "SP_ID"},
        {"T_InstrFunction", "SP_InstrumentID", "T_Instrument", "SP_ID"},
        {"T_InstrFailMode", "SP_InstrumentID", "T_Instrument", "SP_ID"},
        {"T_PlantItemGroup", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_PlantItemGroupJoin", "SP_PlantItemGroupID", "T_PlantItemGroup", "SP_ID"},
        {"T_PlantItemGroupJoin", "SP_PlantItemID", "T_PlantItem", "SP_ID"},
        {"T_Package", "SP_ID", "T_PlantItemGroup", "SP_ID"},
        {"T_System", "SP_ID", "T_PlantItemGroup", "SP_ID"},
        {"T_SafetyClass", "SP_ID", "T_PlantItemGroup", "SP_ID"},
        {"T_Equipment", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_Vessel", "SP_ID", "T_Equipment", "SP_ID"},
        {"T_Mechanical", "SP_ID", "T_Equipment", "SP_ID"},
        {"T_Exchanger", "SP_ID", "T_Equipment", "SP_ID"},
        {"T_EquipmentOther", "SP_ID", "T_Equipment", "SP_ID"},
        {"T_EquipComponent", "SP_ID", "T_Equipment", "SP_ID"},
        {"T_Nozzle", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_Nozzle", "SP_EquipmentID", "T_Equipment", "SP_ID"},
        {"T_PipingPoint", "SP_ID", "T_ModelItem", "SP_ID"},
        {"T_PipingPoint", "SP_PlantItemID", "T_PlantItem", "SP_ID"},
        {"T_Note", "SP_ID", "T_ModelItem", "SP_ID"},
        {"T_OPC", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_OPC", "SP_PairedWithID", "T_OPC", "SP_ID"},
        {"T_Status", "SP_ModelItemID", "T_ModelItem", "SP_ID"},
        {"T_History", "SP_ModelItemID", "T_ModelItem", "SP_ID"},
        {"T_History", "SP_DrawingID", "T_Drawing", "SP_ID"},
        {"T_AreaBreakAttribute", "SP_ParentID", "T_PlantItem", "SP_ID"},
        {"T_Case", "SP_ModelItemID", "T_ModelItem", "SP_ID"},
        {"T_CaseProcess", "SP_CaseID", "T_Case", "SP_ID"},
        {"T_CaseControl", "SP_CaseID", "T_Case", "SP_ID"},
        {"T_DuctRun", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_DuctingComp", "SP_ID", "T_PlantItem", "SP_ID"},
        {"T_Unit", "SP_ID", "T_PlantGroup", "SP_ID"},
        {"T_Area", "SP_ID", "T_PlantGroup", "SP_ID"},
        {"T_ActiveWSSite", "SP_WSSiteID", "T_WSSite", "SP_ID"},
    };
    return refs;
}

std::vector<std::string> UnresolvedReferences(Db& db) {
    std::vector<std::string> problems;
    for (const auto& r : PlantDataReferences()) {
        const std::string sql = "SELECT a." + r.column + " FROM " + r.table + " a WHERE a." +
                                r.column + " IS NOT NULL AND NOT EXISTS (SELECT 1 FROM " +
                                r.target + " b WHERE b." + r.targetColumn + " = a." + r.column +
                                ") ORDER BY 1";
        for (const auto& value : Strings(db, sql)) {
            problems.push_back(r.table + "." + r.column + "=" + value);
        }
    }
    // Plant groups: the root's parent is '-1', every other parent a group.
    for (const auto& value :
         Strings(db,
                 "SELECT ParentID FROM T_PlantGroup a WHERE ParentID <> '-1' AND NOT EXISTS "
                 "(SELECT 1 FROM T_PlantGroup b WHERE b.SP_ID = a.ParentID)")) {
        problems.push_back("T_PlantGroup.ParentID=" + value);
    }
    return problems;
}

std::vector<std::string> ForeignConnectorEnds(Db& db) {
    return Strings(
        db,
        "SELECT c.SP_ID || ' end ' || e.SP_ID FROM T_Connector c "
        "JOIN T_Representation rc ON rc.SP_ID = c.SP_ID "
        "JOIN T_Representation e ON e.SP_ID IN (c.SP_ConnectItem1ID, c.SP_ConnectItem2ID) "
        "WHERE e.SP_DrawingID IS NOT rc.SP_DrawingID ORDER BY 1");
}

std::vector<std::string> BrokenOpcPairs(Db& db) {
    return Strings(db,
                   "SELECT o.OPCTag || ' ' || o.SP_ID FROM T_OPC o "
                   "LEFT JOIN T_OPC m ON m.SP_ID = o.SP_PairedWithID "
                   "LEFT JOIN T_Representation ro ON ro.SP_ModelItemID = o.SP_ID "
                   "LEFT JOIN T_Representation rm ON rm.SP_ModelItemID = m.SP_ID "
                   "WHERE o.SP_PairedWithID IS NOT NULL AND (m.SP_ID IS NULL "
                   "OR m.SP_PairedWithID IS NOT o.SP_ID OR m.OPCTag IS NOT o.OPCTag "
                   "OR ro.SP_DrawingID = rm.SP_DrawingID) ORDER BY 1");
}

std::vector<std::string> ValuesOutsideLists(Db& plant, const fs::path& dictionary) {
    plant.Exec("ATTACH DATABASE '" + dictionary.string() + "' AS dict");
    std::vector<std::string> problems;
    std::vector<std::pair<std::string, std::string>> coded;
    {
        Stmt stmt(
            plant,
            "SELECT TABLENAME, COLUMNNAME, substr(ATTRIBUTE_DATATYPE, 2) FROM dict.ATTRIBUTES "
            "WHERE ATTRIBUTE_CODELISTED = 'T' ORDER BY ATTRIBUTE_NUMBER");
        while (stmt.Step()) {
            coded.push_back({stmt.Text(0) + "." + stmt.Text(1), stmt.Text(2)});
        }
    }
    for (const auto& [column, list] : coded) {
        const auto dot = column.find('.');
        const std::string table = column.substr(0, dot);
        const std::string name = column.substr(dot + 1);
        for (const auto& value :
             Strings(plant, "SELECT DISTINCT " + name + " FROM main." + table + " WHERE " + name +
                                " IS NOT NULL AND " + name +
                                " NOT IN (SELECT CODELIST_INDEX FROM dict.CODELISTS WHERE "
                                "CODELIST_NUMBER = " +
                                list + ")")) {
            problems.push_back(column + "=" + value);
        }
    }
    plant.Exec("DETACH DATABASE dict");
    return problems;
}

std::vector<std::string> MalformedIds(Db& db) {
    std::vector<std::string> problems;
    for (const auto& table : Tables(db)) {
        for (const auto& column : Columns(db, table)) {
            if (!IsIdColumn(column.name)) continue;
            for (const auto& value : Strings(
                     db, "SELECT " + column.name + " FROM " + table + " WHERE " + column.name +
                             " IS NOT NULL AND (typeof(" + column.name + ") <> 'text' OR length(" +
                             column.name + ") <> 32 OR " + column.name + " GLOB '*[^0-9A-F]*')")) {
                problems.push_back(table + "." + column.name + "=" + value);
            }
        }
    }
    return problems;
}

std::vector<std::string> EmptyTexts(Db& db) {
    std::vector<std::string> problems;
    for (const auto& table : Tables(db)) {
        for (const auto& column : Columns(db, table)) {
            if (Scalar(db, "SELECT count(*) FROM " + table + " WHERE " + column.name + " = ''") >
                0) {
                problems.push_back(table + "." + column.name);
            }
        }
    }
    return problems;
}

std::vector<std::string> DanglingPointIndices(Db& db) {
    std::vector<std::string> problems;
    for (const auto& [item, point] : {std::pair{"SP_ConnectItem1ID", "StartObject"},
                                      std::pair{"SP_ConnectItem2ID", "EndObject"}}) {
        for (const auto& value :
             Strings(db, std::string("SELECT c.SP_ID || ' ") + point + "=' || c." + point +
                             " FROM T_Connector c JOIN T_Representation r ON r.SP_ID = c." + item +
                             " WHERE c." + point +
                             " IS NOT NULL AND NOT EXISTS (SELECT 1 FROM T_PipingPoint p WHERE "
                             "p.SP_PlantItemID = r.SP_ModelItemID AND p.PointIndex = c." +
                             point + ")")) {
            problems.push_back(value);
        }
    }
    return problems;
}

std::vector<std::string> InlineItemsOffTheirRun(Db& db) {
    return Strings(db,
                   "SELECT i.SP_ID FROM T_InlineComp i JOIN T_Representation s ON "
                   "s.SP_ModelItemID = i.SP_ID WHERE NOT EXISTS (SELECT 1 FROM T_Connector c "
                   "JOIN T_Representation rc ON rc.SP_ID = c.SP_ID WHERE rc.SP_ModelItemID = "
                   "coalesce(i.SP_PipeRunID, i.SP_DuctRunID) AND s.SP_ID IN (c.SP_ConnectItem1ID, "
                   "c.SP_ConnectItem2ID)) ORDER BY 1");
}

std::map<std::string, std::int64_t> CountRows(const fs::path& file) {
    Db db(file, true);
    std::map<std::string, std::int64_t> counts;
    for (const auto& table : Tables(db))
        counts[table] = Scalar(db, "SELECT count(*) FROM " + table);
    return counts;
}

std::int64_t Scalar(Db& db, const std::string& sql) {
    return db.QueryInt(sql);
}

}  // namespace tb::sampleplant::test
