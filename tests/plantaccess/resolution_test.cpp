// Site and plant resolution end to end on a small SQLite site: the embedded plant's dialect for
// real, Oracle's password paths against stand-in servers, and SQL Server's texts through the
// SQLite ODBC driver.

#include "plantaccess/resolution.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "common/error.h"
#include "common/ini.h"
#include "plant_fixture.h"
#include "plantaccess/ado.h"
#include "plantaccess/connect_string.h"
#include "plantaccess/session.h"
#include "plantaccess/sqlite_plant.h"
#include "shell/passwords.h"
#include "shell/run_state.h"

namespace tb::plantaccess::testing {
namespace {

std::string WhoAmI(const ConnectionPtr& c, std::string_view prefix = {}) {
    auto rs = AdoRead("SELECT name FROM " + std::string(prefix) + "T_WHOAMI", c);
    return GetDBvalue(rs->Field("NAME"));
}

std::set<std::string> FilesIn(const fs::path& folder) {
    std::set<std::string> out;
    std::error_code ec;
    for (const auto& e : fs::recursive_directory_iterator(folder, ec))
        out.insert(e.path().string());
    return out;
}

class ResolutionTest : public PlantAccessTest {
  protected:
    void SetUp() override {
        PlantAccessTest::SetUp();
        site = MakeSqliteSite(dir.path());
    }
    void Activate(std::string plant, std::string parent = {}) {
        shell::CurrentRun().activeSite = site.siteIni.string();
        shell::CurrentRun().activePlant = plant;
        shell::CurrentRun().activeParentPlant = parent.empty() ? plant : parent;
    }
    void Resolve() {
        std::string plant, user, password, node;
        InitDBSettings(plant, user, password, false, node);
    }
    SiteFixture site;
};

TEST_F(ResolutionTest, SqlitePlantEveryKindOpensItsOwnSchema) {
    Activate("PlantA");
    Resolve();
    const PlantSettings& s = Settings();
    EXPECT_EQ(s.dialect, Dialect::Sqlite);
    EXPECT_TRUE(IsOracle());
    EXPECT_EQ(s.sessionPlantName, "PlantA");
    const std::string folder = site.dbFolder.lexically_normal().string();
    EXPECT_EQ(s.siteConnectString,
              "Provider=SQLite;Data Source=" + folder + ";User Id=SITEUSER;Password=;");
    EXPECT_EQ(s.plantConnectString,
              "Provider=SQLite;Data Source=" + folder + ";User Id=plantapid;Password=;");
    EXPECT_EQ(s.adminConnectString, s.siteConnectString);
    EXPECT_EQ(s.replicaSchemaUser, "");

    const struct {
        int kind;
        bool force;
        const char* expected;
    } cases[] = {{kPlantSchema, false, "plantapid"},
                 {kDictionarySchema, false, "plantapidd"},
                 {kPlantGroupSchema, false, "planta"},
                 {3, true, "planta"}};
    for (const auto& c : cases) {
        PlantConnection pc = Connect2PIDDB(c.kind, true, c.force);
        EXPECT_EQ(WhoAmI(pc.connection), c.expected) << c.kind;
        EXPECT_EQ(pc.prefix, "") << c.kind;
        EXPECT_EQ(Settings().lastSchemaPrefix, c.expected) << c.kind;
        // The Oracle form with the schema user resolves too.
        EXPECT_EQ(WhoAmI(pc.connection, std::string(c.expected) + "."), c.expected) << c.kind;
        CloseAdoConnection(pc.connection);
    }
    // The site is read with the site user's prefix, as the site statements write it.
    PlantConnection siteConnection = Connect2PIDDB(kSiteSchema);
    auto rs = AdoRead("SELECT count(*) AS n FROM SITEUSER.T_DB_DATA", siteConnection.connection);
    EXPECT_EQ(GetDBvalue(rs->Field("n")), "15");
    // Nothing is written to a plant.
    EXPECT_THROW(siteConnection.connection->Execute("DELETE FROM T_DB_DATA"), Error);
}

TEST_F(ResolutionTest, SchemaRowsOfChildByNameAndReplica) {
    const struct {
        const char* plant;
        const char* parent;
        const char* plantUser;
        const char* dictionary;
        const char* group;
        const char* replica;
    } cases[] = {
        // The child's dictionary row is its parent's.
        {"ChildB", "PlantA", "childbpid", "plantapidd", "childb", ""},
        // The parent plant gives C_OLD, which has no schemas: the plant is found again by name.
        {"PlantC", "Ghost", "plantcpid", "plantcpidd", "plantc", ""},
        {"PlantR", "", "plantrpid", "plantrpidd", "plantr", "plantrrep"},
        // Names compare in lower case, for every letter.
        {"Anlage Süd", "", "suedpid", "suedpidd", "sued", ""},
    };
    for (const auto& c : cases) {
        Activate(c.plant, c.parent);
        Resolve();
        const PlantSettings& s = Settings();
        EXPECT_EQ(s.plantSchemaUser, c.plantUser) << c.plant;
        EXPECT_EQ(s.dictionarySchemaUser, c.dictionary) << c.plant;
        EXPECT_EQ(s.plantGroupSchemaUser, c.group) << c.plant;
        EXPECT_EQ(s.replicaSchemaUser, c.replica) << c.plant;
        EXPECT_EQ(WhoAmI(Connect2PIDDB(kDictionarySchema).connection), c.dictionary) << c.plant;
    }
    EXPECT_TRUE(Logged("REPSPAPLANT found"));
    Activate("PlantR");
    Resolve();
    // The replica stands in for the plant structure unless the plant group is forced.
    EXPECT_EQ(WhoAmI(Connect2PIDDB(kPlantGroupSchema).connection), "plantrrep");
    EXPECT_EQ(WhoAmI(Connect2PIDDB(kPlantGroupSchema, true, true).connection), "plantr");
}

TEST_F(ResolutionTest, RootIdWithoutSchemasFallsBackToTheName) {
    Activate("PlantC", "Ghost");
    Resolve();
    // The last statement read was the one by name.
    EXPECT_NE(SessionLastSql().find("Lower(name)='plantc'"), std::string::npos);
    EXPECT_EQ(SessionLastSql().find("SP_RootItemID ="), std::string::npos);
    EXPECT_EQ(Settings().plantSchemaUser, "plantcpid");

    PlantConnection siteConnection = Connect2PIDDB(kSiteSchema);
    EXPECT_EQ(GetRootItemId(siteConnection.connection, "SITEUSER", "Ghost", "PlantC"), "C_OLD");
    EXPECT_EQ(GetRootItemId(siteConnection.connection, "SITEUSER", "PlantA", "PlantC"), "");
    // An error is logged, not raised.
    EXPECT_EQ(GetRootItemId(siteConnection.connection, "NOSCHEMA", "Ghost", "PlantC"), "");
    EXPECT_TRUE(Logged("GetRootItemId:AdoRead:no such table: NOSCHEMA.T_RootItem")) << AllLog();
}

TEST_F(ResolutionTest, ServersOfSchemaRows) {
    // An empty or missing dbserver takes the site's; a schema's own server is its own folder.
    Activate("Anlage Süd");
    Resolve();
    EXPECT_NE(Settings().plantConnectString.find("Data Source=" + site.db2Folder.string() + ";"),
              std::string::npos);
    EXPECT_EQ(WhoAmI(Connect2PIDDB(kPlantSchema).connection), "suedpid");
    Activate("PlantA");
    Resolve();
    EXPECT_NE(Settings().dictionaryConnectString.find(
                  "Data Source=" + site.dbFolder.lexically_normal().string() + ";"),
              std::string::npos);
}

TEST_F(ResolutionTest, ActivePlantFromTheManagerIni) {
    tb::test::WriteFile(home() / "SmartplantManager.INI",
                        "[SmartPlant Manager]\r\nSiteServer=" + site.siteIni.string() +
                            "\r\nActivePlant=ChildB\r\nActiveParentPlant=PlantA\r\n");
    EXPECT_EQ(GetActiveParentPlant(), "PlantA");
    std::string plant, node;
    PIDReadBegin(plant, node);
    EXPECT_EQ(plant, "ChildB");
    EXPECT_EQ(node, site.siteIni.string());
    // Main's values come first.
    shell::CurrentRun().activePlant = "PlantA";
    PIDReadBegin(plant, node);
    EXPECT_EQ(plant, "PlantA");
    EXPECT_EQ(node, site.siteIni.string());
    // Connect2PIDDB resolves by itself when nothing is resolved yet.
    EXPECT_EQ(WhoAmI(Connect2PIDDB(kPlantSchema).connection), "plantapid");
}

TEST_F(ResolutionTest, DbTypeSpellings) {
    const struct {
        const char* dbType;
        Dialect dialect;
    } cases[] = {{"ORACLE", Dialect::Oracle},    {"oracle", Dialect::Oracle},
                 {"Oracle", Dialect::Oracle},    {"SQLITE", Dialect::Sqlite},
                 {"sqlite", Dialect::Sqlite},    {"SQLSERVER", Dialect::SqlServer},
                 {"", Dialect::SqlServer},       {"MSSQL", Dialect::SqlServer},
                 {"ORACLE ", Dialect::SqlServer}};
    for (const auto& c : cases) EXPECT_EQ(DialectOfDbType(c.dbType), c.dialect) << c.dbType;
    // And as the site ini writes it.
    site = MakeSqliteSite(dir.path() / "lower", "sqlite");
    Activate("PlantA");
    Resolve();
    EXPECT_EQ(Settings().dialect, Dialect::Sqlite);
}

TEST_F(ResolutionTest, FailuresNameTheirCauseAndCreateNoFile) {
    // No site.
    {
        std::string plant, user, password, node;
        try {
            InitDBSettings(plant, user, password, false, node);
            FAIL() << "no error";
        } catch (const Error& e) {
            EXPECT_EQ(e.number(), 1);
            EXPECT_EQ(e.description(),
                      "Site node is not defined in SmartPlant P&ID Drawing Manager.");
            EXPECT_EQ(e.source(), "InitDBSettings:2");
        }
    }
    const std::set<std::string> before = FilesIn(dir.path());
    // A wrong DBSERVER.
    site = MakeSqliteSite(dir.path() / "wrong", "SQLITE", "/nowhere/at/all");
    const std::set<std::string> withWrongSite = FilesIn(dir.path());
    Activate("PlantA");
    try {
        Resolve();
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_NE(e.description().find("/nowhere/at/all/SITEUSER.db' does not exist"),
                  std::string::npos)
            << e.description();
        EXPECT_EQ(e.source().rfind("InitDBSettings:6", 0), 0u) << e.source();
    }
    EXPECT_FALSE(fs::exists("/nowhere"));
    EXPECT_EQ(FilesIn(dir.path()), withWrongSite);

    // A plant the site does not know.
    site = MakeSqliteSite(dir.path() / "right");
    const std::set<std::string> withRightSite = FilesIn(dir.path());
    Activate("NoSuchPlant");
    Resolve();
    EXPECT_TRUE(Logged("No schema of plant 'NoSuchPlant' is listed in T_DB_DATA"));
    try {
        Connect2PIDDB(kPlantSchema);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_NE(e.description().find("Plant 'NoSuchPlant' has no plant data (SPPID) schema"),
                  std::string::npos)
            << e.description();
    }
    EXPECT_EQ(FilesIn(dir.path()), withRightSite);
    (void)before;
}

TEST_F(ResolutionTest, ActiveWorkShareSite) {
    Activate("PlantA");
    Resolve();
    PlantConnection pc = Connect2PIDDB(kPlantSchema);
    EXPECT_EQ(GetActivaSiteSPID(pc.connection, pc.prefix), "WS-A");
    // None in the plant data: the plant structure's.
    Activate("ChildB", "PlantA");
    Resolve();
    pc = Connect2PIDDB(kPlantSchema);
    EXPECT_EQ(GetActivaSiteSPID(pc.connection, pc.prefix), "WS-B-GROUP");
}

TEST_F(ResolutionTest, PlantCopyStandsInForThePlant) {
    Activate("PlantA");
    Resolve();
    auto copy = SqlitePlantConnection::Open("copy", site.dbFolder, "planta");
    SetSessionConnection(copy, "/x/copy.mdb");
    SetUseCopyPlantDatabase(true);
    EXPECT_EQ(CurrentDialect(), Dialect::AccessCopy);
    EXPECT_EQ(Connect2PIDDB(kPlantSchema).connection, copy);
    EXPECT_EQ(Connect2PIDDB(kDictionarySchema).connection, copy);
}

// --- Oracle, against stand-in servers: logins checked by a table, statements run on the site file.

// A connection that records what it is asked and passes reads to the site file.
class FakeOracleConnection : public Connection {
  public:
    FakeOracleConnection(std::string cs, ConnectionPtr inner, std::vector<std::string>& statements)
        : Connection(std::move(cs)), inner_(std::move(inner)), statements_(statements) {}
    ConnectionKind kind() const override { return ConnectionKind::Odbc; }
    bool IsOpen() const override { return inner_ && inner_->IsOpen(); }
    void Close() override {
        if (inner_) inner_->Close();
    }
    std::unique_ptr<RowCursor> Run(std::string_view sql, const store::Row& params,
                                   std::int64_t* affected) override {
        statements_.emplace_back(sql);
        if (sql.rfind("ALTER SESSION", 0) == 0) return nullptr;
        return inner_->Run(sql, params, affected);
    }

  private:
    ConnectionPtr inner_;
    std::vector<std::string>& statements_;
};

class OracleTest : public ResolutionTest {
  protected:
    void SetUp() override {
        ResolutionTest::SetUp();
        site = MakeSqliteSite(dir.path() / "ora", "oracle", "ORCL");
        Activate("PlantA");
        SetConnectionOpenerForTests([this](const std::string& cs) -> ConnectionPtr {
            const ConnectParts p = ParseConnectString(cs);
            logins.push_back(p.server + "|" + p.user + "|" + p.password);
            const auto ok = accepted.find(p.server + "|" + p.user);
            if (ok == accepted.end() || ok->second != p.password)
                throw Error(kErrDatabase, "ORA-01017: invalid username/password; logon denied");
            return std::make_shared<FakeOracleConnection>(
                cs, SqlitePlantConnection::Open(cs, site.dbFolder, "SITEUSER"), statements);
        });
        accepted["ORCL|admin"] = "s3cret";
        shell::SaveStoredPassword(GeneralIni(), "DB", "Password", "s3cret");
    }
    void ResolveSued() {
        Activate("Anlage Süd");
        Resolve();
    }
    std::map<std::string, std::string> accepted;
    std::vector<std::string> logins;
    std::vector<std::string> statements;
};

TEST_F(OracleTest, PlantOnTheSiteServerUsesTheAdministrator) {
    Resolve();
    const PlantSettings& s = Settings();
    EXPECT_EQ(s.siteConnectString,
              "Provider=OraOLEDB.Oracle;Data Source=ORCL;User Id=admin;Password=s3cret;");
    EXPECT_EQ(s.plantConnectString, s.siteConnectString);
    EXPECT_EQ(s.replicaConnectString, s.siteConnectString);
    EXPECT_EQ(s.adminConnectString, s.siteConnectString);
    ASSERT_FALSE(statements.empty());
    EXPECT_EQ(statements[0], "ALTER SESSION SET CURRENT_SCHEMA=SITEUSER");
    EXPECT_NE(statements[1].find("FROM SITEUSER.T_RootItem"), std::string::npos) << statements[1];

    statements.clear();
    PlantConnection pc = Connect2PIDDB(kDictionarySchema);
    EXPECT_EQ(pc.prefix, "");
    EXPECT_EQ(statements, std::vector<std::string>{"ALTER SESSION SET CURRENT_SCHEMA=plantapidd"});
    // Without alterSession nothing is run.
    statements.clear();
    Connect2PIDDB(kPlantSchema, false);
    EXPECT_TRUE(statements.empty());

    // The MSDAORA switch changes the provider.
    tb::test::WriteFile(ProgramIni(), "[Settings]\r\nMSDAORA=1\r\n");
    Resolve();
    EXPECT_EQ(Settings().plantConnectString,
              "Provider=MSDAORA;Data Source=ORCL;User Id=admin;Password=s3cret;");
    // The password never reached the log.
    EXPECT_EQ(AllLog().find("s3cret"), std::string::npos);
}

TEST_F(OracleTest, OwnServerFirstGuess) {
    const std::string db2 = site.db2Folder.string();
    accepted[db2 + "|suedpid"] = "suedpid";
    ResolveSued();
    const PlantSettings& s = Settings();
    EXPECT_EQ(s.plantConnectString,
              "Provider=OraOLEDB.Oracle;Data Source=" + db2 + ";User Id=suedpid;Password=suedpid;");
    EXPECT_EQ(s.dictionaryConnectString, "Provider=OraOLEDB.Oracle;Data Source=" + db2 +
                                             ";User Id=suedpidd;Password=suedpidd;");
    // No REPSPAPLANT: the replica string has an empty user, on the site's server.
    EXPECT_EQ(s.replicaConnectString,
              "Provider=OraOLEDB.Oracle;Data Source=ORCL;User Id=;Password=;");
}

TEST_F(OracleTest, FailedFirstGuessIsRememberedAndStoredPasswordsServe) {
    const std::string db2 = site.db2Folder.string();
    accepted[db2 + "|suedpid"] = "pw-plant";
    accepted[db2 + "|suedpidd"] = "pw-dict";
    SaveSchemaPasswords("suedpid", "pw-plant", "suedpidd", "pw-dict", "sued", "pw-group", "", "");
    ResolveSued();
    EXPECT_EQ(IniRead(GeneralIni(), "PWD", "suedpid.guess"), "0");
    EXPECT_EQ(Settings().plantGroupConnectString,
              "Provider=OraOLEDB.Oracle;Data Source=" + db2 + ";User Id=sued;Password=pw-group;");
    const auto guesses = [&] {
        int n = 0;
        for (const std::string& l : logins) n += l == db2 + "|suedpid|suedpid";
        return n;
    };
    EXPECT_EQ(guesses(), 1);
    logins.clear();
    ResolveSued();
    EXPECT_EQ(guesses(), 0);  // not tried again
    EXPECT_EQ(AllLog().find("pw-"), std::string::npos);
}

TEST_F(OracleTest, WithoutPasswordsTheRunEndsNamingTheUsers) {
    // A value without the mark is no password.
    IniWrite(GeneralIni(), "PWD", std::string("suedpidd"), std::string("plain"));
    try {
        ResolveSued();
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), 1);
        EXPECT_EQ(e.description(),
                  "The passwords of the schema users suedpid, suedpidd, sued are missing, and this "
                  "version has "
                  "no password dialog to ask for them.");
    }
    // Stored passwords that do not log in.
    SaveSchemaPasswords("suedpid", "wrong", "suedpidd", "wrong", "sued", "x", "", "");
    try {
        ResolveSued();
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_NE(e.description().find(
                      "stored passwords of the schema users suedpid, suedpidd do not log in"),
                  std::string::npos)
            << e.description();
    }
}

TEST_F(OracleTest, PasswordDialog) {
    const std::string db2 = site.db2Folder.string();
    std::array<std::string, 4> shown;
    SetSchemaPasswordDialog([&](const std::array<std::string, 4>& users) {
        shown = users;
        return false;
    });
    try {
        ResolveSued();
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.description(), "Canceled by user");
    }
    EXPECT_EQ(shown, (std::array<std::string, 4>{"suedpid", "suedpidd", "sued", ""}));
    SetSchemaPasswordDialog([&](const std::array<std::string, 4>& users) {
        SaveSchemaPasswords(users[0], "typed1", users[1], "typed2", users[2], "", users[3], "");
        return true;
    });
    ResolveSued();  // the strings are built, not tested
    EXPECT_EQ(Settings().dictionaryConnectString,
              "Provider=OraOLEDB.Oracle;Data Source=" + db2 + ";User Id=suedpidd;Password=typed2;");
    EXPECT_EQ(GetStoredSchemaPassword("suedpid"), "typed1");
    EXPECT_EQ(GetStoredSchemaPassword("sued"), "");
}

TEST_F(OracleTest, AdministratorCredentials) {
    const std::string digest = shell::PasswordKeyForSite(site.siteIni.string());
    // The site's own key wins over "Password"; its user over DBAUSER.
    accepted["ORCL|boss"] = "own";
    IniWrite(GeneralIni(), "DB", digest + "_user", std::string("boss"));
    shell::SaveStoredPassword(GeneralIni(), "DB", digest, "own");
    std::string plant, user, password, node;
    InitDBSettings(plant, user, password, false, node);
    EXPECT_EQ(user, "boss");
    EXPECT_EQ(password, "own");
    // credentialsOnly: the values, and no database touched.
    logins.clear();
    InitDBSettings(plant, user, password, true, node);
    EXPECT_TRUE(logins.empty());
    // Nothing stored.
    IniWrite(GeneralIni(), "DB", std::nullopt, std::nullopt);
    try {
        InitDBSettings(plant, user, password, false, node);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.description(), "Database password is empty. Please define it in the settings.");
    }
    // A client of version 07.01.00.0339 or later: the site's own administrator password.
    tb::test::WriteFile(ProgramIni(), "[Settings]\r\nPIDVersion=07.01.00.0339\r\n");
    shell::SaveStoredPassword(GeneralIni(), "DB", digest + "_site", "s3cret");
    EXPECT_TRUE(UseSiteSysPassword());
    InitDBSettings(plant, user, password, false, node);
    EXPECT_EQ(user, "admin");
    EXPECT_EQ(password, "s3cret");
    tb::test::WriteFile(ProgramIni(), "[Settings]\r\nPIDVersion=09.00\r\nDatabaseConfig=1\r\n");
    EXPECT_FALSE(UseSiteSysPassword());
    tb::test::WriteFile(ProgramIni(), "[Settings]\r\nPIDVersion=07.01.00.0338\r\n");
    EXPECT_FALSE(UseSiteSysPassword());
}

// --- SQL Server texts through a real ODBC driver: the SQLite one stands in for the server.

TEST_F(ResolutionTest, SqlServerThroughOdbcWithTheSslRetry) {
    const std::string driver = SqliteOdbcDriver();
    if (driver.empty()) GTEST_SKIP() << "libsqliteodbc is not installed";
    site = MakeSqliteSite(dir.path() / "mss", "SQLSERVER", (dir.path() / "mss" / "db").string(),
                          "SQLSERVER_DBNAME=SITEUSER\r\n");
    // The primary driver fails as an SSL failure does; the fallback reaches the files.
    tb::test::WriteFile(
        ProgramIni(),
        "[ODBC]\r\nSqlServer=Driver=/nonexistent/libssl-gone.so;Database={server}/{database}.db\r\n"
        "SqlServerFallback=Driver=" +
            driver + ";Database={server}/{database}.db;NoCreat=1\r\n");
    shell::SaveStoredPassword(GeneralIni(), "DB", "Password", "pw");
    Activate("ChildB", "PlantA");
    Resolve();
    const PlantSettings& s = Settings();
    EXPECT_FALSE(IsOracle());
    const std::string folder = site.dbFolder.string();
    EXPECT_EQ(s.siteConnectString,
              "Provider=SQLNCLI11;Server=" + folder + ";Database=SITEUSER;Uid=admin;Pwd=pw;");
    EXPECT_EQ(s.dictionaryConnectString,
              "Provider=SQLNCLI11;Server=" + folder + ";Database=plantapidd;Uid=admin;Pwd=pw;");
    PlantConnection pc = Connect2PIDDB(kPlantSchema);
    EXPECT_EQ(pc.prefix, "childbpid.");
    EXPECT_EQ(pc.connection->kind(), ConnectionKind::Odbc);
    EXPECT_EQ(WhoAmI(pc.connection), "childbpid");
    EXPECT_EQ(Settings().lastSchemaPrefix, "");

    // A failure that is not about SSL is raised as it is, without a retry.
    tb::test::WriteFile(ProgramIni(),
                        "[ODBC]\r\nSqlServer=Driver=/nonexistent/libgone.so;Database={server}\r\n");
    try {
        Resolve();
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_NE(e.description().find("libgone.so"), std::string::npos) << e.description();
        EXPECT_EQ(e.source(), "InitDBSettings:6");
    }
}

}  // namespace
}  // namespace tb::plantaccess::testing
