#pragma once
// The session state of the plant access layer, process-wide and read without locks (the program
// runs on one thread): the default connection and its file, the project name, the last statement
// read, the plant-copy switch, and the plant settings that the resolution fills.

#include <string>

#include "plantaccess/connection.h"
#include "plantaccess/dialect.h"

namespace tb::plantaccess {

// What the resolution of a site and plant leaves behind; a new resolution overwrites it all.
struct PlantSettings {
    Dialect dialect = Dialect::SqlServer;
    std::string sessionPlantName;  // SessionPlantName
    std::string siteNode;          // the site ini the settings came from
    std::string siteServer;        // the site ini's DBSERVER (absolute for the SQLite plant)
    std::string siteConnectString;
    std::string siteSchemaUser;
    std::string adminConnectString;
    std::string plantConnectString;
    std::string plantSchemaUser;
    std::string dictionaryConnectString;
    std::string dictionarySchemaUser;
    std::string plantGroupConnectString;
    std::string plantGroupSchemaUser;
    std::string replicaConnectString;
    std::string replicaSchemaUser;
    std::string lastConnectString;  // LastConnectString
    std::string lastSchemaPrefix;   // LastSchemaPrefix
    // SQL Server: the first pair of every string of this run, "Driver={SQL Server}" or, after an
    // SSL failure, "Provider=SQLNCLI11".
    std::string sqlServerFirstPair;
};

PlantSettings& Settings();

// True for Oracle and the SQLite plant. The dialect of plant SQL: AccessCopy while a plant copy
// stands in for the plant (UseCopyPlantDatabase), else the resolved one.
bool IsOracle();
Dialect CurrentDialect();

// The default connection (as a rule the open extract) and the path of its file, set as a pair.
void SetSessionConnection(ConnectionPtr connection, std::string path);
const ConnectionPtr& GetSessionConnection();
inline const ConnectionPtr& SessionConnection() {
    return GetSessionConnection();
}
const std::string& SessionDatabasePath();

const std::string& SessionProjectName();
void SetSessionProjectName(std::string name);

// The statement of the last AdoRead, whatever its outcome.
const std::string& SessionLastSql();
void SetSessionLastSql(std::string sql);

bool UseCopyPlantDatabase();
void SetUseCopyPlantDatabase(bool value);

// Clears everything above (tests; a change of plant clears the plant settings itself).
void ResetSession();

}  // namespace tb::plantaccess
