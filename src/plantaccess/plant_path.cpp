// GetPlantPath: the plant's folder from the site schema.

#include "plantaccess/plant_path.h"

#include "common/text.h"
#include "plantaccess/ado.h"
#include "plantaccess/dialect.h"
#include "plantaccess/recordset.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"
#include "platform/path_map.h"
#include "store/access_text.h"

namespace tb::plantaccess {

std::string PlantPathSql(std::string_view table, std::string_view plantName) {
    return "SELECT Path FROM " + std::string(table) +
           " WHERE Lower(Name)=" + SqlLiteral(store::ToLowerUnicode(plantName)) +
           " AND NOT Path IS NULL";
}

std::string GetPlantPathText() {
    if (UseCopyPlantDatabase()) return {};
    const PlantConnection site = Connect2PIDDB(kSiteSchema);
    // The site's tables go by the site schema user on Oracle (and the embedded plant, which
    // attaches the site file under that name), by the connection's prefix on SQL Server.
    const std::string table = IsOracle() ? Settings().siteSchemaUser + ".T_RootItem"
                                         : GetFullTableName(site.prefix, "T_RootItem");
    auto rs =
        AdoRead(PlantPathSql(table, Settings().sessionPlantName), site.connection, 3, true, 3);
    std::string path;
    if (!rs->Eof()) path = GetDBvalue(rs->Field("Path"));
    CloseAdoRecordset(rs);
    return path;
}

std::string GetPlantPath() {
    const std::string text(TrimSpace(GetPlantPathText()));
    if (text.empty()) return {};
    std::string local = platform::LocalPath(text).string();
    if (local.back() != '/') local += '/';
    return local;
}

}  // namespace tb::plantaccess
