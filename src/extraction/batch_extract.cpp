#include "extraction/batch_extract.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "attributes/config_file.h"
#include "common/error.h"
#include "common/log.h"
#include "common/text.h"
#include "common/write_guard.h"
#include "extraction/attribute_keys.h"
#include "extraction/pid2mdb.h"
#include "extraction/plant_sql.h"
#include "plantaccess/ado.h"
#include "plantaccess/connection.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"
#include "shell/settings.h"

namespace tb::extraction {
namespace {

namespace fs = std::filesystem;

// The plant schema of one look-up: resolved once and opened once, whatever the number of
// patterns or codes it reads.
struct LookupPlant {
    plantaccess::PlantConnection plant;

    LookupPlant() {
        plantaccess::ResolvePlantSettings();
        plant = plantaccess::Connect2PIDDB(plantaccess::kPlantSchema);
    }
    std::string Table(std::string_view table) const {
        return plantaccess::GetFullTableName(plant.prefix, table);
    }

    // The ids a statement gives, each once, in the order read.
    void CollectIds(const std::string& sql, std::vector<std::string>& ids) const {
        auto rows = plantaccess::AdoRead(sql, plant.connection);
        for (; !rows->Eof(); rows->MoveNext()) {
            const std::string id = plantaccess::GetDBvalue(rows->Field(0));
            if (!id.empty() && !HasName(ids, id)) ids.push_back(id);
        }
    }
};

std::string QuotedList(const std::vector<std::string>& ids) {
    std::string out;
    for (const std::string& id : ids) out += (out.empty() ? "" : ",") + SqlLiteral(id);
    return out;
}

std::string IdsByList(const LookupPlant& lookup, std::string_view table, std::string_view column,
                      const std::string& values) {
    const std::string sql = IdsByListSql(lookup.Table(table), column, values);
    if (sql.empty()) return {};
    std::vector<std::string> ids;
    lookup.CollectIds(sql, ids);
    return QuotedList(ids);
}

}  // namespace

void GetPlantGroupAndDrawingIDsFromPBS(const std::string& pbs, std::string& plantGroupIDs,
                                       std::string& drawingIDs) {
    Trap("GetPlantGroupAndDrawingIDsFromPBS", [&] {
        const LookupPlant lookup;
        std::vector<std::string> groupIds, drawingIds;
        for (const PbsPattern& p :
             PbsPatternsSql(pbs, lookup.Table("T_PLANTGROUP"), lookup.Table("T_DRAWING")))
            lookup.CollectIds(p.sql, p.drawing ? drawingIds : groupIds);
        plantGroupIDs = QuotedList(groupIds);
        drawingIDs = QuotedList(drawingIds);
    });
}

std::string GetPlantGroupIDsFromUnitCode(const std::string& unitcode) {
    return Trap("GetPlantGroupIDsFromUnitCode", [&]() -> std::string {
        const LookupPlant lookup;
        const std::string table = lookup.Table("T_Unit");
        try {
            lookup.plant.connection->Query("SELECT SP_ID FROM " + table + " WHERE 1=0");
        } catch (const Error& e) {
            // Only a plant without the table has no unit codes; any other failure is one.
            if (!plantaccess::IsMissingTableError(e)) throw;
            ShowStatus("T_Unit does not exist in the database");
            return {};
        }
        return IdsByList(lookup, "T_Unit", "UnitCode", unitcode);
    });
}

std::string GetDrawingIDsFromNames(const std::string& name) {
    return Trap("GetDrawingIDsFromNames", [&] {
        const LookupPlant lookup;
        return IdsByList(lookup, "t_drawing", "Name", name);
    });
}

void CheckPlantName(const std::string& plant) {
    if (TrimBlanks(plant).empty())
        Raise(
            "No plant is named: give one with /plant, or make one active in SmartPlant P&ID "
            "Drawing Manager.");
    // The name becomes the file name of the plant's settings: it must not lead elsewhere.
    const bool plain = plant != "." && plant != ".." &&
                       plant.find_first_of("/\\") == std::string::npos &&
                       std::none_of(plant.begin(), plant.end(),
                                    [](char c) { return static_cast<unsigned char>(c) < 0x20; });
    if (!plain) Raise("The plant name '" + plant + "' is not a plain name: it cannot name a file.");
}

void ExtractActivePlant2MDB(const std::string& output, bool extractDrawingFiles, bool fromTo,
                            const std::string& plantGroupIDs, const std::string& drawingIDs,
                            const std::string& exclude) {
    Trap("ExtractActivePlant2MDB", [&] {
        std::string plant, site;
        plantaccess::PIDReadBegin(plant, site);
        CheckPlantName(plant);
        shell::SetCurrentPlantName(plant);
        RegisterRunPath(shell::GetPlantFile(plant), RunPathRole::Settings, "plant settings file");
        // The plant is resolved before its settings file is made, so that a wrong name leaves no
        // file behind. The old extract and its "igr" stay until the new ones are complete.
        std::string user, password;
        plantaccess::InitDBSettings(plant, user, password, false, site);
        plantaccess::Connect2PIDDB(plantaccess::kPlantSchema);
        attributes::InitProjectConfig(plant);
        const fs::path target = fs::absolute(output);
        plantaccess::ForgetMdbStore(target);
        PID2MDBArguments args;
        args.mdbFile = target;
        args.plantGroupIDs = plantGroupIDs;
        args.drawingIDs = drawingIDs;
        args.extractDrawingFiles = extractDrawingFiles;
        args.extractFromTo = fromTo;
        args.excludedDrawings = exclude;
        PID2MDB(args);
    });
}

}  // namespace tb::extraction
