#include "plantaccess/resolution.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "common/error.h"
#include "common/ini.h"
#include "common/log.h"
#include "common/text.h"
#include "common/write_guard.h"
#include "plantaccess/ado.h"
#include "plantaccess/connect_string.h"
#include "plantaccess/session.h"
#include "platform/platform.h"
#include "shell/manager_ini.h"
#include "shell/passwords.h"
#include "shell/program_settings.h"
#include "shell/run_state.h"
#include "shell/settings.h"
#include "store/access_text.h"

namespace tb::plantaccess {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kManagerSection = "SmartPlant Manager";
constexpr std::string_view kSchemaColumns =
    "SELECT SP_schema_type,Username,data_base,dbserver FROM ";

SchemaPasswordDialog& Dialog() {
    static SchemaPasswordDialog dialog;
    return dialog;
}

std::string ManagerIniValue(std::string_view key) {
    return IniRead(shell::ManagerIniFile(), kManagerSection, key);
}

// The plant client's root item id of the active plant. Without the client there is none: the
// resolution finds the plant by its parent or by its name in T_RootItem instead.
std::string InitSP_RootItemID() {
    return {};
}

// The site's administrator password as the site holds it.
std::string SiteSysPwd(std::string_view siteNode) {
    return shell::ReadStoredPassword(shell::GetGeneralFile(), "DB",
                                     shell::PasswordKeyForSite(siteNode) + "_site", true)
        .value_or("");
}

// A folder of SQLite plant files as the site names it: Windows separators become "/", and a
// relative folder is taken from the site ini's folder.
std::string SqliteFolder(std::string server, const fs::path& siteIni) {
    server = ReplaceAll(server, "\\", "/");
    if (TrimSpace(server).empty()) return server;
    fs::path p(server);
    if (p.is_relative()) p = fs::absolute(siteIni).parent_path() / p;
    return p.lexically_normal().string();
}

struct SchemaRow {
    std::string database;
    std::string user;
    std::string server;
};

std::string KindName(int kind) {
    switch (kind) {
        case kPlantSchema:
            return "plant data (SPPID)";
        case kDictionarySchema:
            return "data dictionary (SPPIDDATA_DICTIONARY)";
        default:
            return "plant structure (SPAPLANT)";
    }
}

}  // namespace

std::string SchemaRowsSql(std::string_view p, std::string_view rootItemId,
                          std::string_view plantName) {
    const std::string prefix(p);
    if (!rootItemId.empty()) {
        const std::string r = SqlLiteral(rootItemId);
        return std::string(kSchemaColumns) + prefix + "T_DB_DATA WHERE SP_RootItemID =" + r +
               " UNION " + std::string(kSchemaColumns) + prefix +
               "T_DB_DATA WHERE UPPER(SP_schema_type)='SPPIDDATA_DICTIONARY' AND SP_RootItemID IN "
               "(SELECT SP_PARENTROOTITEMID FROM " +
               prefix + "T_RootItem WHERE SP_ID =" + r + ")";
    }
    const std::string n = SqlLiteral(store::ToLowerUnicode(plantName));
    return std::string(kSchemaColumns) + prefix +
           "T_DB_DATA WHERE SP_RootItemID IN (SELECT SP_ID FROM " + prefix +
           "T_RootItem WHERE Lower(name)=" + n + ")" + " UNION " + std::string(kSchemaColumns) +
           prefix +
           "T_DB_DATA WHERE UPPER(SP_schema_type)='SPPIDDATA_DICTIONARY' AND SP_RootItemID IN "
           "(SELECT SP_PARENTROOTITEMID FROM " +
           prefix + "T_RootItem WHERE Lower(name)=" + n + ")";
}

std::string RootItemIdSql(std::string_view p, std::string_view parentPlant,
                          std::string_view plantName) {
    const std::string prefix(p);
    return "SELECT SP_ID FROM " + prefix +
           "T_RootItem WHERE Lower(name)=" + SqlLiteral(store::ToLowerUnicode(plantName)) +
           " and SP_PARENTROOTITEMID in " + "(SELECT SP_ID FROM " + prefix +
           "T_RootItem WHERE Lower(name)=" + SqlLiteral(store::ToLowerUnicode(parentPlant)) + ")";
}

std::string ActiveWsSiteSql(std::string_view prefix) {
    return "SELECT SP_WSSITEID FROM " + GetFullTableName(prefix, "T_ACTIVEWSSITE");
}

void RegisterSiteInputs(const fs::path& siteIni) {
    if (siteIni.empty()) return;
    RegisterRunPath(siteIni, RunPathRole::Input, "site ini file");
    const IniDocument ini = IniDocument::Load(siteIni);
    if (DialectOfDbType(ini.Get("SITESCHEMA", "DBTYPE").value_or("ORACLE")) != Dialect::Sqlite)
        return;
    const std::string folder =
        SqliteFolder(ini.Get("SITESCHEMA", "DBSERVER").value_or(""), siteIni);
    std::error_code ec;
    fs::directory_iterator it(folder.empty() ? fs::path(".") : fs::path(folder), ec), end;
    for (; !ec && it != end; it.increment(ec))
        if (IEquals(it->path().extension().string(), ".db"))
            RegisterRunPath(it->path(), RunPathRole::Input, "plant database");
}

void PIDReadBegin(std::string& plantName, std::string& siteNode, bool) {
    const shell::RunState& run = shell::CurrentRun();
    plantName = run.activePlant.empty() ? ManagerIniValue("ActivePlant") : run.activePlant;
    siteNode = run.activeSite.empty() ? ManagerIniValue("SiteServer") : run.activeSite;
}

std::string GetActiveParentPlant() {
    const shell::RunState& run = shell::CurrentRun();
    return run.activeParentPlant.empty() ? ManagerIniValue("ActiveParentPlant")
                                         : run.activeParentPlant;
}

bool UseSiteSysPassword() {
    return shell::GetSPPIDVersionNumber() >= std::string("07.01.00.0339") &&
           shell::ProgramSetting("DatabaseConfig", "0") != "1";
}

bool UseMsdaora() {
    return shell::ProgramFlag("MSDAORA");
}

std::string GetStoredSchemaPassword(std::string_view user) {
    if (user.empty()) return {};
    return shell::ReadStoredPassword(shell::GetGeneralFile(), "PWD", user, false).value_or("");
}

void SaveSchemaPasswords(std::string_view user1, std::string_view password1, std::string_view user2,
                         std::string_view password2, std::string_view user3,
                         std::string_view password3, std::string_view user4,
                         std::string_view password4) {
    const fs::path general = shell::GetGeneralFile();
    const std::pair<std::string_view, std::string_view> pairs[] = {
        {user1, password1}, {user2, password2}, {user3, password3}, {user4, password4}};
    for (const auto& [user, password] : pairs) {
        if (user.empty()) continue;
        shell::SaveStoredPassword(general, "PWD", user, password);  // an empty one deletes the key
    }
}

void SetSchemaPasswordDialog(SchemaPasswordDialog dialog) {
    Dialog() = std::move(dialog);
}

std::string GetRootItemId(const ConnectionPtr& connection, std::string_view schemaUser,
                          std::string_view parentPlant, std::string_view plantName) {
    const std::string prefix =
        IsOracle() ? SqlName(CurrentDialect(), schemaUser) + "." : std::string();
    try {
        auto rs = AdoRead(RootItemIdSql(prefix, parentPlant, plantName), connection, 3, true, 3);
        std::string id;
        if (rs->RecordCount() > 0) id = GetDBvalue(rs->Field("SP_ID"));
        CloseAdoRecordset(rs);
        return id;
    } catch (const Error& e) {
        LogLine(ChainSource("GetRootItemId", 0, e.source()) + ":" + e.description());
        return {};
    }
}

void InitDBSettings(std::string& plantName, std::string& adminUser, std::string& adminPassword,
                    bool credentialsOnly, std::string& siteNode) {
    int step = 1;
    ConnectionPtr site;
    std::unique_ptr<Recordset> rs;
    const Dialect before = Settings().dialect;
    try {
        PIDReadBegin(plantName, siteNode, false);
        PlantSettings next;
        next.sessionPlantName = plantName;
        std::string rootItemId = InitSP_RootItemID();

        step = 2;
        if (TrimSpace(siteNode).empty())
            Raise("Site node is not defined in SmartPlant P&ID Drawing Manager.");
        const auto siteIni = platform::FindFileIgnoringCase(siteNode);
        if (!siteIni) Raise("Site Ini " + siteNode + " does not exist.");
        const IniDocument ini = IniDocument::Load(*siteIni);
        const auto siteValue = [&](std::string_view key, std::string_view fallback = {}) {
            return ini.Get("SITESCHEMA", key).value_or(std::string(fallback));
        };
        next.siteNode = siteNode;
        const Dialect dialect = DialectOfDbType(siteValue("DBTYPE", "ORACLE"));

        step = 3;
        const std::string provider(UseMsdaora() ? kMsdaoraProvider : kOracleProvider);

        step = 4;
        const std::string dbaUser = siteValue("DBAUSER");
        if (dialect == Dialect::Sqlite) {
            // The embedded plant has no accounts.
            adminUser = dbaUser;
            adminPassword.clear();
            if (credentialsOnly) return;
        } else if (UseSiteSysPassword()) {
            adminUser = dbaUser;
            adminPassword = SiteSysPwd(siteNode);
        } else {
            const fs::path general = shell::GetGeneralFile();
            const std::string digest = shell::PasswordKeyForSite(siteNode);
            adminUser = IniRead(general, "DB", digest + "_user");
            if (adminUser.empty()) adminUser = dbaUser;
            adminPassword = shell::ReadStoredPassword(general, "DB", digest, true).value_or("");
            if (adminPassword.empty())
                adminPassword =
                    shell::ReadStoredPassword(general, "DB", "Password", true).value_or("");
            if (adminPassword.empty() && !credentialsOnly)
                Raise("Database password is empty. Please define it in the settings.");
            if (credentialsOnly) return;
        }

        step = 5;
        next.dialect = dialect;
        std::string dbServer = siteValue("DBSERVER");
        const std::string uid = siteValue("UID");
        if (dialect == Dialect::Sqlite) dbServer = SqliteFolder(dbServer, *siteIni);
        next.siteServer = dbServer;
        next.siteSchemaUser = uid;

        step = 6;
        if (dialect == Dialect::Oracle) {
            next.siteConnectString =
                OracleConnectString(provider, dbServer, adminUser, adminPassword);
            site = OpenConnection(next.siteConnectString);
            site->Execute(AlterSessionSql(uid));
        } else if (dialect == Dialect::Sqlite) {
            next.siteConnectString = OracleConnectString(kSqliteProvider, dbServer, uid, "");
            site = OpenConnection(next.siteConnectString);
        } else {
            const std::string dbName = siteValue("SQLSERVER_DBNAME");
            next.sqlServerFirstPair = std::string(kSqlServerDriverPair);
            next.siteConnectString = SqlServerConnectString(next.sqlServerFirstPair, dbServer,
                                                            dbName, adminUser, adminPassword);
            try {
                site = OpenConnection(next.siteConnectString);
            } catch (const Error& e) {
                if (IFind(e.description(), "SSL") == std::string::npos)
                    throw Error(e.number(), e.description());
                next.sqlServerFirstPair = std::string(kSqlServerProviderPair);
                next.siteConnectString = SqlServerConnectString(next.sqlServerFirstPair, dbServer,
                                                                dbName, adminUser, adminPassword);
                site = OpenConnection(next.siteConnectString);
            }
        }
        // GetRootItemId and the statements below speak the dialect being resolved.
        Settings().dialect = dialect;

        step = 7;
        if (rootItemId.empty()) {
            const std::string parent = GetActiveParentPlant();
            if (!parent.empty()) rootItemId = GetRootItemId(site, uid, parent, plantName);
        }

        step = 8;
        const std::string p =
            UsesOracleTexts(dialect) ? SqlName(dialect, uid) + "." : std::string();
        rs = AdoRead(SchemaRowsSql(p, rootItemId, plantName), site, 3, true, 3);
        if (rs->RecordCount() == 0 && !rootItemId.empty()) {
            rootItemId.clear();
            CloseAdoRecordset(rs);
            rs = AdoRead(SchemaRowsSql(p, rootItemId, plantName), site, 3, true, 3);
        }
        if (rs->RecordCount() == 0)
            LogLine("No schema of plant '" + plantName + "' is listed in T_DB_DATA of the site " +
                    siteNode);

        step = 9;
        SchemaRow rows[4];
        constexpr std::string_view kKinds[4] = {"SPPID", "SPPIDDATA_DICTIONARY", "SPAPLANT",
                                                "REPSPAPLANT"};
        for (int k = 0; k < 4; ++k) {
            rs->Filter("SP_schema_type='" + std::string(kKinds[k]) + "'");
            if (rs->RecordCount() == 0) continue;
            rows[k].database = GetDBvalue(rs->Field("data_base"));
            rows[k].user = GetDBvalue(rs->Field("UserName"));
            rows[k].server = GetDBvalue(rs->Field("dbserver"));
            if (k == 3) LogLine("REPSPAPLANT found");
        }

        step = 10;
        for (SchemaRow& r : rows) {
            if (r.server.empty())
                r.server = dbServer;
            else if (dialect == Dialect::Sqlite)
                r.server = SqliteFolder(r.server, *siteIni);
        }
        SchemaRow& plant = rows[0];
        SchemaRow& dictionary = rows[1];
        SchemaRow& group = rows[2];
        SchemaRow& replica = rows[3];
        next.plantSchemaUser = plant.user;
        next.dictionarySchemaUser = dictionary.user;
        next.plantGroupSchemaUser = group.user;
        next.replicaSchemaUser = replica.user;

        step = 11;
        if (dialect == Dialect::SqlServer) {
            const auto build = [&](const SchemaRow& r) {
                return SqlServerConnectString(next.sqlServerFirstPair, r.server, r.database,
                                              adminUser, adminPassword);
            };
            next.adminConnectString = build(plant);
            next.plantConnectString = build(plant);
            next.dictionaryConnectString = build(dictionary);
            next.plantGroupConnectString = build(group);
            next.replicaConnectString = build(replica);
        } else if (dialect == Dialect::Sqlite) {
            // Each schema is a file of its own user: the string alone says which.
            const auto build = [&](const SchemaRow& r) {
                return OracleConnectString(kSqliteProvider, r.server, r.user, "");
            };
            next.adminConnectString = next.siteConnectString;
            next.plantConnectString = build(plant);
            next.dictionaryConnectString = build(dictionary);
            next.plantGroupConnectString = build(group);
            next.replicaConnectString = build(replica);
        } else {
            next.adminConnectString = next.siteConnectString;
            const auto build = [&](const SchemaRow& r, std::string_view user,
                                   std::string_view password) {
                return OracleConnectString(provider, r.server, user, password);
            };
            const auto buildAll = [&](std::string_view pw1, std::string_view pw2,
                                      std::string_view pw3, std::string_view pw4, bool ownUsers) {
                next.plantConnectString = build(plant, ownUsers ? plant.user : adminUser, pw1);
                next.dictionaryConnectString =
                    build(dictionary, ownUsers ? dictionary.user : adminUser, pw2);
                next.plantGroupConnectString = build(group, ownUsers ? group.user : adminUser, pw3);
                next.replicaConnectString =
                    build(replica, ownUsers ? replica.user : adminUser, pw4);
            };
            if (IEquals(plant.server, dbServer)) {
                buildAll(adminPassword, adminPassword, adminPassword, adminPassword, false);
            } else {
                // The plant lies on a database of its own, where each schema user logs in itself.
                const fs::path general = shell::GetGeneralFile();
                const std::string guessKey = plant.user + ".guess";
                bool resolved = false;
                if (IniRead(general, "PWD", guessKey) != "0") {
                    next.plantConnectString = build(plant, plant.user, plant.user);
                    if (TestConnection(next.plantConnectString)) {
                        buildAll(plant.user, dictionary.user, group.user, replica.user, true);
                        resolved = true;
                    } else {
                        // Not again: a scheduled run must not lock the account by guessing.
                        IniWrite(general, "PWD", guessKey, std::string("0"));
                        LogLine("The schema user " + plant.user +
                                " does not log in with its own name as password; this is not tried "
                                "again.");
                    }
                }
                if (!resolved) {
                    std::string pw[4] = {GetStoredSchemaPassword(plant.user),
                                         GetStoredSchemaPassword(dictionary.user),
                                         GetStoredSchemaPassword(group.user),
                                         GetStoredSchemaPassword(replica.user)};
                    if (!pw[0].empty() && !pw[1].empty()) {
                        next.plantConnectString = build(plant, plant.user, pw[0]);
                        next.dictionaryConnectString = build(dictionary, dictionary.user, pw[1]);
                        if (TestConnection(next.plantConnectString) &&
                            TestConnection(next.dictionaryConnectString)) {
                            buildAll(pw[0], pw[1], pw[2], pw[3], true);
                            resolved = true;
                        }
                    }
                    if (!resolved) {
                        const std::array<std::string, 4> users = {plant.user, dictionary.user,
                                                                  group.user, replica.user};
                        if (!Dialog()) {
                            std::vector<std::string> missing, stored;
                            for (int k = 0; k < 4; ++k) {
                                if (users[k].empty()) continue;
                                if (pw[k].empty())
                                    missing.push_back(users[k]);
                                else if (k < 2)
                                    stored.push_back(users[k]);
                            }
                            if (!missing.empty())
                                Raise("The passwords of the schema users " + Join(missing, ", ") +
                                      " are missing, and this version has no password dialog to "
                                      "ask for them.");
                            Raise("The stored passwords of the schema users " + Join(stored, ", ") +
                                  " do not log in, and this version has no password dialog to ask "
                                  "for others.");
                        }
                        if (!Dialog()(users)) Raise("Canceled by user");
                        buildAll(GetStoredSchemaPassword(plant.user),
                                 GetStoredSchemaPassword(dictionary.user),
                                 GetStoredSchemaPassword(group.user),
                                 GetStoredSchemaPassword(replica.user), true);
                    }
                }
            }
        }

        step = 12;
        CloseAdoRecordset(rs);
        CloseAdoConnection(site, false);
        Settings() = std::move(next);
    } catch (...) {
        CloseAdoRecordset(rs);
        CloseAdoConnection(site, false);
        Settings().dialect = before;  // the settings stay those of the last resolution
        try {
            RethrowChained("InitDBSettings", step);
        } catch (const Error& e) {
            LogLine(e.source() + ":" + e.description());
            throw;
        }
    }
}

ConnectionPtr Connect2PIDDB(std::string& plantName, int schemaKind, std::string& plantNameOut,
                            bool alterSession, bool copyPlantName, bool& isOracleOut,
                            std::string& prefixOut, bool forcePlantGroup) {
    int step = 1;
    ConnectionPtr c;
    try {
        if (UseCopyPlantDatabase()) return SessionConnection();

        step = 2;
        plantName = Settings().sessionPlantName;
        prefixOut.clear();
        if (Settings().plantConnectString.empty()) {
            std::string user, password, siteNode;
            InitDBSettings(plantName, user, password, false, siteNode);
        }

        step = 3;
        const PlantSettings& s = Settings();
        std::string connectString, schemaUser;
        switch (schemaKind) {
            case kSiteSchema:
                connectString = s.siteConnectString, schemaUser = s.siteSchemaUser;
                break;
            case kPlantSchema:
                connectString = s.plantConnectString, schemaUser = s.plantSchemaUser;
                break;
            case kDictionarySchema:
                connectString = s.dictionaryConnectString, schemaUser = s.dictionarySchemaUser;
                break;
            case 2:
            case 3:
                if (!s.replicaSchemaUser.empty() && !forcePlantGroup)
                    connectString = s.replicaConnectString, schemaUser = s.replicaSchemaUser;
                else
                    connectString = s.plantGroupConnectString, schemaUser = s.plantGroupSchemaUser;
                break;
            default:
                break;
        }
        if (s.dialect == Dialect::Sqlite && schemaKind >= kPlantSchema && schemaKind <= 3 &&
            schemaUser.empty())
            Raise("Plant '" + s.sessionPlantName + "' has no " + KindName(schemaKind) +
                  " schema in T_DB_DATA of the site " + s.siteNode + ".");

        step = 4;
        c = OpenConnection(connectString);
        Settings().lastConnectString = connectString;
        Settings().lastSchemaPrefix = UsesOracleTexts(s.dialect) ? schemaUser : std::string();

        step = 5;
        if (UsesOracleTexts(s.dialect)) {
            if (alterSession && NeedsAlterSession(s.dialect))
                c->Execute(AlterSessionSql(schemaUser));
            if (copyPlantName) plantNameOut = plantName;
        } else {
            prefixOut = SqlName(s.dialect, schemaUser) + ".";
        }

        step = 6;
        isOracleOut = IsOracle();
        return c;
    } catch (...) {
        if (c) c->Close();
        RethrowChained("Connect2PIDDB", step);
    }
}

PlantConnection Connect2PIDDB(int schemaKind, bool alterSession, bool forcePlantGroup) {
    std::string plantName, plantNameOut, prefix;
    bool isOracle = false;
    PlantConnection out;
    out.connection = Connect2PIDDB(plantName, schemaKind, plantNameOut, alterSession, false,
                                   isOracle, prefix, forcePlantGroup);
    out.prefix = prefix;
    return out;
}

std::string GetActivaSiteSPID(const ConnectionPtr& connection, std::string_view prefix) {
    return Trap("GetActivaSiteSPID", [&] {
        const std::string sql = ActiveWsSiteSql(prefix);
        auto rs = AdoRead(sql, connection, 3, true, 3);
        if (rs->RecordCount() > 0) return GetDBvalue(rs->Field(0));
        CloseAdoRecordset(rs);
        PlantConnection group = Connect2PIDDB(kPlantGroupSchema, true, true);
        std::string id;
        try {
            rs = AdoRead(sql, group.connection, 3, true, 3);
            if (rs->RecordCount() > 0) id = GetDBvalue(rs->Field(0));
        } catch (...) {
            CloseAdoConnection(group.connection);
            throw;
        }
        CloseAdoRecordset(rs);
        CloseAdoConnection(group.connection);
        return id;
    });
}

}  // namespace tb::plantaccess
