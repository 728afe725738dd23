#include "plant_fixture.h"

#include <cstdlib>

#include "plantaccess/ado.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"
#include "shell/run_state.h"
#include "shell/settings.h"
#include "store/sqlite.h"

namespace tb::plantaccess::testing {

namespace {
constexpr const char* kVariables[] = {"HOME", "XDG_CONFIG_HOME", "TEMP", "TMPDIR",
                                      "TARNBROOK_HOME"};
}

void PlantAccessTest::SetUp() {
    for (const char* name : kVariables)
        if (const char* v = std::getenv(name)) saved_.emplace_back(name, v);
    for (const char* sub : {"home", "xdg", "temp", "app"}) fs::create_directories(dir.path() / sub);
    setenv("HOME", home().c_str(), 1);
    setenv("XDG_CONFIG_HOME", (dir.path() / "xdg").c_str(), 1);
    setenv("TEMP", (dir.path() / "temp").c_str(), 1);
    setenv("TARNBROOK_HOME", app().c_str(), 1);
    shell::ResetSettingsForTests();
    shell::CurrentRun() = shell::RunState{};
    ResetSession();
    ForgetAllMdbStores();
    SetConnectionOpenerForTests(nullptr);
    SetSchemaPasswordDialog(nullptr);
    SetLogSink(&log);
}

void PlantAccessTest::TearDown() {
    SetLogSink(nullptr);
    ResetSession();
    ForgetAllMdbStores();
    SetConnectionOpenerForTests(nullptr);
    SetSchemaPasswordDialog(nullptr);
    SetMdbStoreLoader(nullptr);
    SetMdbStoreCreator(nullptr);
    shell::CurrentRun() = shell::RunState{};
    shell::ResetSettingsForTests();
    for (const char* name : kVariables) unsetenv(name);
    for (const auto& [name, value] : saved_) setenv(name.c_str(), value.c_str(), 1);
}

fs::path PlantAccessTest::GeneralIni() const {
    return shell::GetGeneralFile();
}

std::string PlantAccessTest::AllLog() const {
    std::string all;
    for (const std::string& l : log.all) all += l + "\n";
    return all;
}

void MakeDb(const fs::path& file, std::string_view sql) {
    fs::create_directories(file.parent_path());
    store::Connection db(file.string(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    store::Execute(db.get(), "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; BEGIN");
    store::Execute(db.get(), sql);
    store::Execute(db.get(), "COMMIT");
}

namespace {

void SchemaFile(const fs::path& folder, const std::string& user, std::string_view activeSite = {}) {
    std::string sql = "CREATE TABLE T_WHOAMI(name VARCHAR(40)); INSERT INTO T_WHOAMI VALUES('" +
                      user + "'); CREATE TABLE T_ACTIVEWSSITE(SP_WSSITEID VARCHAR(32));";
    if (!activeSite.empty())
        sql += "INSERT INTO T_ACTIVEWSSITE VALUES('" + std::string(activeSite) + "');";
    MakeDb(folder / (user + ".db"), sql);
}

}  // namespace

SiteFixture MakeSqliteSite(const fs::path& root, std::string_view dbType, std::string_view dbServer,
                           std::string_view extraIni) {
    SiteFixture f;
    f.siteIni = root / "site" / "SmartPlantv4.ini";
    f.dbFolder = root / "db";
    f.db2Folder = root / "db2";
    fs::create_directories(f.siteIni.parent_path());
    tb::test::WriteFile(f.siteIni, "[SITESCHEMA]\r\nDBSERVER=" + std::string(dbServer) +
                                       "\r\nUID=SITEUSER\r\nDBTYPE=" + std::string(dbType) +
                                       "\r\nDBAUSER=admin\r\n" + std::string(extraIni));
    const std::string db2 = f.db2Folder.string();
    MakeDb(f.dbFolder / "SITEUSER.db",
           "CREATE TABLE T_RootItem(SP_ID VARCHAR(32), Name VARCHAR(100), SP_ParentRootItemID "
           "VARCHAR(32));"
           "INSERT INTO T_RootItem "
           "VALUES('A1','PlantA',NULL),('B1','ChildB','A1'),('G1','Ghost',NULL),('C_OLD','PlantC','"
           "G1'),"
           "('C_NEW','PLANTC',NULL),('R1','PlantR',NULL),('S1','ANLAGE SÜD',NULL);"
           "CREATE TABLE T_DB_DATA(SP_ID VARCHAR(32), SP_RootItemID VARCHAR(32), SP_Schema_Type "
           "VARCHAR(40),"
           " Username VARCHAR(40), Data_Base VARCHAR(100), DBServer VARCHAR(255));"
           "INSERT INTO T_DB_DATA VALUES"
           "('1','A1','SPPID','plantapid','plantapid',NULL),"
           "('2','A1','SPPIDDATA_DICTIONARY','plantapidd','plantapidd',''),"
           "('3','A1','SPAPLANT','planta','planta',NULL),"
           "('4','B1','SPPID','childbpid','childbpid',NULL),"
           "('5','B1','SPAPLANT','childb','childb',NULL),"
           "('6','C_NEW','SPPID','plantcpid','plantcpid',NULL),"
           "('7','C_NEW','SPPIDDATA_DICTIONARY','plantcpidd','plantcpidd',NULL),"
           "('8','C_NEW','SPAPLANT','plantc','plantc',NULL),"
           "('9','R1','SPPID','plantrpid','plantrpid',NULL),"
           "('10','R1','SPPIDDATA_DICTIONARY','plantrpidd','plantrpidd',NULL),"
           "('11','R1','SPAPLANT','plantr','plantr',NULL),"
           "('12','R1','REPSPAPLANT','plantrrep','plantrrep',NULL),"
           "('13','S1','SPPID','suedpid','suedpid','" +
               db2 +
               "'),"
               "('14','S1','SPPIDDATA_DICTIONARY','suedpidd','suedpidd','" +
               db2 +
               "'),"
               "('15','S1','SPAPLANT','sued','sued','" +
               db2 + "');");
    SchemaFile(f.dbFolder, "plantapid", "WS-A");
    SchemaFile(f.dbFolder, "plantapidd");
    SchemaFile(f.dbFolder, "planta");
    SchemaFile(f.dbFolder, "childbpid");
    SchemaFile(f.dbFolder, "childb", "WS-B-GROUP");
    SchemaFile(f.dbFolder, "plantcpid");
    SchemaFile(f.dbFolder, "plantcpidd");
    SchemaFile(f.dbFolder, "plantc");
    SchemaFile(f.dbFolder, "plantrpid");
    SchemaFile(f.dbFolder, "plantrpidd");
    SchemaFile(f.dbFolder, "plantr");
    SchemaFile(f.dbFolder, "plantrrep");
    SchemaFile(f.db2Folder, "suedpid");
    SchemaFile(f.db2Folder, "suedpidd");
    SchemaFile(f.db2Folder, "sued");
    return f;
}

std::string SqliteOdbcDriver() {
    const fs::path driver = "/usr/lib/x86_64-linux-gnu/odbc/libsqlite3odbc.so";
    std::error_code ec;
    return fs::exists(driver, ec) ? driver.string() : std::string();
}

}  // namespace tb::plantaccess::testing
