#pragma once
// Site and plant resolution: from a site ini file and a plant name to the connection strings of
// the plant's schemas, kept process-wide (session.h), and a connection on any of them on demand.
//
// The plant client's data source stands in as follows: the plant and site of this run come from
// Main (/plant, /site, /parentplant) and else from "SmartplantManager.INI" in the home folder; the
// root item id is looked up in T_RootItem by name; the administrator's credentials come from
// General.ini; the site's own administrator password (SysPwd) is General.ini section "DB", key
// digest + "_site".

#include <array>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "plantaccess/connection.h"

namespace tb::plantaccess {

// Schema kinds of Connect2PIDDB.
inline constexpr int kSiteSchema = -1;
inline constexpr int kPlantSchema = 0;       // SPPID
inline constexpr int kDictionarySchema = 1;  // SPPIDDATA_DICTIONARY
inline constexpr int kPlantGroupSchema = 2;  // SPAPLANT (or REPSPAPLANT), also 3

// The plant and site node of this run. forceNew makes no difference here: the values are read
// anew at every call.
// Registers the site ini and, for the embedded plant, every plant database file of its folder
// as inputs of the run (the write guard then refuses them as output or log). Anything unreadable
// is passed over: resolution reports it later with its own messages.
void RegisterSiteInputs(const std::filesystem::path& siteIni);

void PIDReadBegin(std::string& plantName, std::string& siteNode, bool forceNew = false);

// The plant and site of a resolution, as PIDReadBegin gives them, and the administrator's
// credentials it found.
struct PlantLogin {
    std::string plantName;
    std::string siteNode;
    std::string adminUser;
    std::string adminPassword;
};

// Resolves the plant's schemas and fills the plant settings; they change only when it succeeds.
// With credentialsOnly the stored-credentials path ends once they are read, without touching a
// database. Raises with "InitDBSettings:<step>" in the source, after logging the error.
PlantLogin ResolvePlantSettings(bool credentialsOnly = false);

// The same with the values as out parameters, which keep what was reached when it fails.
void InitDBSettings(std::string& plantName, std::string& adminUser, std::string& adminPassword,
                    bool credentialsOnly, std::string& siteNode);

// The SP_ID of plant `plantName` below `parentPlant`; empty when there is none or on an error
// (which is logged, not raised).
std::string GetRootItemId(const ConnectionPtr& connection, std::string_view schemaUser,
                          std::string_view parentPlant, std::string_view plantName);

// Opens a connection on a schema of the current plant (resolving it first when nothing is
// resolved yet). prefixOut receives what GetFullTableName needs: "<schema user>." on SQL Server,
// empty elsewhere. While a plant copy stands in, the session connection is returned.
ConnectionPtr Connect2PIDDB(std::string& plantName, int schemaKind, std::string& plantNameOut,
                            bool alterSession, bool copyPlantName, bool& isOracleOut,
                            std::string& prefixOut, bool forcePlantGroup = false);
struct PlantConnection {
    ConnectionPtr connection;
    std::string prefix;
};
PlantConnection Connect2PIDDB(int schemaKind, bool alterSession = true,
                              bool forcePlantGroup = false);

// The id of the active WorkShare site, read through `connection`, else through the plant
// structure schema; empty when neither has one.
std::string GetActivaSiteSPID(const ConnectionPtr& connection, std::string_view prefix);

// Main's parent plant, else "ActiveParentPlant" of section "SmartPlant Manager" in
// "SmartplantManager.INI"; empty by default.
std::string GetActiveParentPlant();

// General.ini section "PWD": only an enciphered value counts.
std::string GetStoredSchemaPassword(std::string_view user);
// Stores each pair with both parts given; a user without password loses the stored one.
void SaveSchemaPasswords(std::string_view user1, std::string_view password1, std::string_view user2,
                         std::string_view password2, std::string_view user3,
                         std::string_view password3, std::string_view user4,
                         std::string_view password4);

// The site's own administrator password is used when the client version text is not below
// "07.01.00.0339" and the program ini's "DatabaseConfig" is not "1".
bool UseSiteSysPassword();
// The program ini's "MSDAORA" switch: the Oracle provider "MSDAORA" instead of "OraOLEDB.Oracle".
bool UseMsdaora();

// The password dialog: shows the four schema users (the fourth may be empty), stores what is
// typed through SaveSchemaPasswords and tells whether the user confirmed. The window installs it;
// without one, a resolution that needs it ends with an error naming the users whose passwords are
// missing.
using SchemaPasswordDialog = std::function<bool(const std::array<std::string, 4>& users)>;
void SetSchemaPasswordDialog(SchemaPasswordDialog dialog);

// The statements of the resolution, as they are sent (prefix "" or "<UID>.").
std::string SchemaRowsSql(std::string_view prefix, std::string_view rootItemId,
                          std::string_view plantName);
std::string RootItemIdSql(std::string_view prefix, std::string_view parentPlant,
                          std::string_view plantName);
std::string ActiveWsSiteSql(std::string_view prefix);

}  // namespace tb::plantaccess
