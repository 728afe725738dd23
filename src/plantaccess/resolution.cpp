#include "plantaccess/resolution.h"

#include <array>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "common/error.h"
#include "common/ini.h"
#include "common/log.h"
#include "common/scope_exit.h"
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

namespace {

// The SITESCHEMA section of the site ini.
struct SiteSchema {
    fs::path ini;
    Dialect dialect = Dialect::Oracle;
    std::string dbaUser;
    std::string dbServer;
    std::string uid;
    std::string sqlServerDbName;
};

SiteSchema ReadSiteSchema(const std::string& siteNode) {
    if (TrimSpace(siteNode).empty())
        Raise("Site node is not defined in SmartPlant P&ID Drawing Manager.");
    const auto siteIni = platform::FindFileIgnoringCase(siteNode);
    if (!siteIni) Raise("Site Ini " + siteNode + " does not exist.");
    const IniDocument ini = IniDocument::Load(*siteIni);
    const auto siteValue = [&](std::string_view key, std::string_view fallback = {}) {
        return ini.Get("SITESCHEMA", key).value_or(std::string(fallback));
    };
    return {.ini = *siteIni,
            .dialect = DialectOfDbType(siteValue("DBTYPE", "ORACLE")),
            .dbaUser = siteValue("DBAUSER"),
            .dbServer = siteValue("DBSERVER"),
            .uid = siteValue("UID"),
            .sqlServerDbName = siteValue("SQLSERVER_DBNAME")};
}

// Where the administrator's credentials came from.
enum class AdminSource { EmbeddedPlant, SitePassword, StoredSettings };

struct AdminLogin {
    std::string user;
    std::string password;
    AdminSource source = AdminSource::StoredSettings;
};

AdminLogin ReadAdminLogin(const SiteSchema& schema, const std::string& siteNode) {
    // The embedded plant has no accounts.
    if (schema.dialect == Dialect::Sqlite)
        return {schema.dbaUser, std::string(), AdminSource::EmbeddedPlant};
    if (UseSiteSysPassword())
        return {schema.dbaUser, SiteSysPwd(siteNode), AdminSource::SitePassword};
    const fs::path general = shell::GetGeneralFile();
    const std::string digest = shell::PasswordKeyForSite(siteNode);
    AdminLogin admin;
    admin.user = IniRead(general, "DB", digest + "_user");
    if (admin.user.empty()) admin.user = schema.dbaUser;
    admin.password = shell::ReadStoredPassword(general, "DB", digest, true).value_or("");
    if (admin.password.empty())
        admin.password = shell::ReadStoredPassword(general, "DB", "Password", true).value_or("");
    return admin;
}

// Opens the site's connection into `site` and puts its string (and SQL Server's first pair) into
// `next`.
void OpenSite(ConnectionPtr& site, PlantSettings& next, const SiteSchema& schema,
              std::string_view provider, const std::string& dbServer, const AdminLogin& admin) {
    if (schema.dialect == Dialect::Oracle) {
        next.siteConnectString =
            OracleConnectString(provider, dbServer, admin.user, admin.password);
        site = OpenConnection(next.siteConnectString);
        site->Execute(AlterSessionSql(schema.uid));
    } else if (schema.dialect == Dialect::Sqlite) {
        next.siteConnectString = OracleConnectString(kSqliteProvider, dbServer, schema.uid, "");
        site = OpenConnection(next.siteConnectString);
    } else {
        const std::string& dbName = schema.sqlServerDbName;
        next.sqlServerFirstPair = std::string(kSqlServerDriverPair);
        next.siteConnectString = SqlServerConnectString(next.sqlServerFirstPair, dbServer, dbName,
                                                        admin.user, admin.password);
        try {
            site = OpenConnection(next.siteConnectString);
        } catch (const Error& e) {
            if (IFind(e.description(), "SSL") == std::string::npos)
                throw Error(e.number(), e.description());
            next.sqlServerFirstPair = std::string(kSqlServerProviderPair);
            next.siteConnectString = SqlServerConnectString(next.sqlServerFirstPair, dbServer,
                                                            dbName, admin.user, admin.password);
            site = OpenConnection(next.siteConnectString);
        }
    }
}

// The rows of T_DB_DATA for the plant: by its root item id, else by its name.
std::unique_ptr<Recordset> ReadSchemaRows(const ConnectionPtr& site, Dialect dialect,
                                          const std::string& uid, std::string rootItemId,
                                          const std::string& plantName,
                                          const std::string& siteNode) {
    const std::string p = UsesOracleTexts(dialect) ? SqlName(dialect, uid) + "." : std::string();
    std::unique_ptr<Recordset> rs =
        AdoRead(SchemaRowsSql(p, rootItemId, plantName), site, 3, true, 3);
    if (rs->RecordCount() == 0 && !rootItemId.empty()) {
        rootItemId.clear();
        CloseAdoRecordset(rs);
        rs = AdoRead(SchemaRowsSql(p, rootItemId, plantName), site, 3, true, 3);
    }
    if (rs->RecordCount() == 0)
        LogLine("No schema of plant '" + plantName + "' is listed in T_DB_DATA of the site " +
                siteNode);
    return rs;
}

// The plant's four schemas: SPPID, SPPIDDATA_DICTIONARY, SPAPLANT and REPSPAPLANT.
using PlantSchemaRows = std::array<SchemaRow, 4>;

PlantSchemaRows SchemaRowsByKind(Recordset& rs) {
    PlantSchemaRows rows;
    constexpr std::string_view kKinds[4] = {"SPPID", "SPPIDDATA_DICTIONARY", "SPAPLANT",
                                            "REPSPAPLANT"};
    for (int k = 0; k < 4; ++k) {
        rs.Filter("SP_schema_type='" + std::string(kKinds[k]) + "'");
        if (rs.RecordCount() == 0) continue;
        rows[k].database = GetDBvalue(rs.Field("data_base"));
        rows[k].user = GetDBvalue(rs.Field("UserName"));
        rows[k].server = GetDBvalue(rs.Field("dbserver"));
        if (k == 3) LogLine("REPSPAPLANT found");
    }
    return rows;
}

// A plant on a database of its own, where each schema user logs in itself: with its own name as
// password (tried once), else with the stored passwords, else with what the dialog asks for.
void OwnUserConnectStrings(PlantSettings& next, const PlantSchemaRows& rows,
                           std::string_view provider) {
    const SchemaRow& plant = rows[0];
    const SchemaRow& dictionary = rows[1];
    const SchemaRow& group = rows[2];
    const SchemaRow& replica = rows[3];
    const auto build = [&](const SchemaRow& r, std::string_view password) {
        return OracleConnectString(provider, r.server, r.user, password);
    };
    const auto buildAll = [&](std::string_view pw1, std::string_view pw2, std::string_view pw3,
                              std::string_view pw4) {
        next.plantConnectString = build(plant, pw1);
        next.dictionaryConnectString = build(dictionary, pw2);
        next.plantGroupConnectString = build(group, pw3);
        next.replicaConnectString = build(replica, pw4);
    };
    const fs::path general = shell::GetGeneralFile();
    const std::string guessKey = plant.user + ".guess";
    if (IniRead(general, "PWD", guessKey) != "0") {
        next.plantConnectString = build(plant, plant.user);
        if (TestConnection(next.plantConnectString)) {
            buildAll(plant.user, dictionary.user, group.user, replica.user);
            return;
        }
        // Not again: a scheduled run must not lock the account by guessing.
        IniWrite(general, "PWD", guessKey, std::string("0"));
        LogLine("The schema user " + plant.user +
                " does not log in with its own name as password; this is not tried again.");
    }
    std::string pw[4] = {
        GetStoredSchemaPassword(plant.user), GetStoredSchemaPassword(dictionary.user),
        GetStoredSchemaPassword(group.user), GetStoredSchemaPassword(replica.user)};
    if (!pw[0].empty() && !pw[1].empty()) {
        next.plantConnectString = build(plant, pw[0]);
        next.dictionaryConnectString = build(dictionary, pw[1]);
        if (TestConnection(next.plantConnectString) &&
            TestConnection(next.dictionaryConnectString)) {
            buildAll(pw[0], pw[1], pw[2], pw[3]);
            return;
        }
    }
    const std::array<std::string, 4> users = {plant.user, dictionary.user, group.user,
                                              replica.user};
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
                  " are missing, and this version has no password dialog to ask for them.");
        Raise("The stored passwords of the schema users " + Join(stored, ", ") +
              " do not log in, and this version has no password dialog to ask for others.");
    }
    if (!Dialog()(users)) Raise("Canceled by user");
    buildAll(GetStoredSchemaPassword(plant.user), GetStoredSchemaPassword(dictionary.user),
             GetStoredSchemaPassword(group.user), GetStoredSchemaPassword(replica.user));
}

// The connect strings of the plant's schemas.
void SchemaConnectStrings(PlantSettings& next, const PlantSchemaRows& rows, Dialect dialect,
                          std::string_view provider, const std::string& dbServer,
                          const AdminLogin& admin) {
    const SchemaRow& plant = rows[0];
    const SchemaRow& dictionary = rows[1];
    const SchemaRow& group = rows[2];
    const SchemaRow& replica = rows[3];
    if (dialect == Dialect::SqlServer) {
        const auto build = [&](const SchemaRow& r) {
            return SqlServerConnectString(next.sqlServerFirstPair, r.server, r.database, admin.user,
                                          admin.password);
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
        if (IEquals(plant.server, dbServer)) {
            const auto build = [&](const SchemaRow& r) {
                return OracleConnectString(provider, r.server, admin.user, admin.password);
            };
            next.plantConnectString = build(plant);
            next.dictionaryConnectString = build(dictionary);
            next.plantGroupConnectString = build(group);
            next.replicaConnectString = build(replica);
        } else {
            OwnUserConnectStrings(next, rows, provider);
        }
    }
}

// The resolution. `login` holds what it has reached, after a failure too; the plant settings
// change only when it succeeds.
void ResolveInto(PlantLogin& login, bool credentialsOnly) {
    int step = 1;
    try {
        // From step 6 the settings speak the dialect being resolved; a failure puts back the one
        // before, so that the settings stay those of the last resolution.
        const Dialect before = Settings().dialect;
        bool resolved = false;
        const ScopeExit restoreDialect([&] {
            if (!resolved) Settings().dialect = before;
        });
        ConnectionPtr site;
        const ScopeExit closeSite([&] { CloseAdoConnection(site, false); });
        std::unique_ptr<Recordset> rs;
        const ScopeExit closeRows([&] { CloseAdoRecordset(rs); });

        PIDReadBegin(login.plantName, login.siteNode, false);
        PlantSettings next;
        next.sessionPlantName = login.plantName;
        std::string rootItemId = InitSP_RootItemID();

        step = 2;
        const SiteSchema schema = ReadSiteSchema(login.siteNode);
        next.siteNode = login.siteNode;
        const Dialect dialect = schema.dialect;

        step = 3;
        const std::string provider(UseMsdaora() ? kMsdaoraProvider : kOracleProvider);

        step = 4;
        const AdminLogin admin = ReadAdminLogin(schema, login.siteNode);
        login.adminUser = admin.user;
        login.adminPassword = admin.password;
        if (admin.source == AdminSource::StoredSettings && admin.password.empty() &&
            !credentialsOnly)
            Raise("Database password is empty. Please define it in the settings.");
        // Stored credentials are all that credentialsOnly asks for; the site's own password
        // goes on to the site.
        if (credentialsOnly && admin.source != AdminSource::SitePassword) return;

        step = 5;
        next.dialect = dialect;
        std::string dbServer = schema.dbServer;
        if (dialect == Dialect::Sqlite) dbServer = SqliteFolder(dbServer, schema.ini);
        next.siteServer = dbServer;
        next.siteSchemaUser = schema.uid;

        step = 6;
        OpenSite(site, next, schema, provider, dbServer, admin);
        // GetRootItemId and the statements below speak the dialect being resolved.
        Settings().dialect = dialect;

        step = 7;
        if (rootItemId.empty()) {
            const std::string parent = GetActiveParentPlant();
            if (!parent.empty())
                rootItemId = GetRootItemId(site, schema.uid, parent, login.plantName);
        }

        step = 8;
        rs = ReadSchemaRows(site, dialect, schema.uid, rootItemId, login.plantName, login.siteNode);

        step = 9;
        PlantSchemaRows rows = SchemaRowsByKind(*rs);

        step = 10;
        for (SchemaRow& r : rows) {
            if (r.server.empty())
                r.server = dbServer;
            else if (dialect == Dialect::Sqlite)
                r.server = SqliteFolder(r.server, schema.ini);
        }
        next.plantSchemaUser = rows[0].user;
        next.dictionarySchemaUser = rows[1].user;
        next.plantGroupSchemaUser = rows[2].user;
        next.replicaSchemaUser = rows[3].user;

        step = 11;
        SchemaConnectStrings(next, rows, dialect, provider, dbServer, admin);

        step = 12;
        CloseAdoRecordset(rs);
        CloseAdoConnection(site, false);
        Settings() = std::move(next);
        resolved = true;
    } catch (...) {
        try {
            RethrowChained("InitDBSettings", step);
        } catch (const Error& e) {
            LogLine(e.source() + ":" + e.description());
            throw;
        }
    }
}

}  // namespace

PlantLogin ResolvePlantSettings(bool credentialsOnly) {
    PlantLogin login;
    ResolveInto(login, credentialsOnly);
    return login;
}

void InitDBSettings(std::string& plantName, std::string& adminUser, std::string& adminPassword,
                    bool credentialsOnly, std::string& siteNode) {
    PlantLogin login{plantName, siteNode, adminUser, adminPassword};
    // The caller sees what the resolution reached, after a failure too.
    const ScopeExit giveBack([&] {
        plantName = std::move(login.plantName);
        siteNode = std::move(login.siteNode);
        adminUser = std::move(login.adminUser);
        adminPassword = std::move(login.adminPassword);
    });
    ResolveInto(login, credentialsOnly);
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
