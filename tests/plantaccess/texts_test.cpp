// The texts this layer sends and builds, as exact strings: the Oracle and SQL Server statements and
// connection strings cannot run here, so their words are what is checked.

#include <gtest/gtest.h>

#include "common/error.h"
#include "plant_fixture.h"
#include "plantaccess/ado.h"
#include "plantaccess/connect_string.h"
#include "plantaccess/connection.h"
#include "plantaccess/dialect.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"
#include "plantaccess/transfer.h"
#include "store/sqlite.h"

namespace tb::plantaccess::testing {
namespace {

TEST(Texts, SchemaRowStatements) {
    EXPECT_EQ(SchemaRowsSql("SITE.", "1A2B", "ignored"),
              "SELECT SP_schema_type,Username,data_base,dbserver FROM SITE.T_DB_DATA WHERE "
              "SP_RootItemID ='1A2B' "
              "UNION SELECT SP_schema_type,Username,data_base,dbserver FROM SITE.T_DB_DATA WHERE "
              "UPPER(SP_schema_type)='SPPIDDATA_DICTIONARY' AND SP_RootItemID IN (SELECT "
              "SP_PARENTROOTITEMID "
              "FROM SITE.T_RootItem WHERE SP_ID ='1A2B')");
    EXPECT_EQ(SchemaRowsSql("", "", "O'Brien Süd"),
              "SELECT SP_schema_type,Username,data_base,dbserver FROM T_DB_DATA WHERE "
              "SP_RootItemID IN (SELECT "
              "SP_ID FROM T_RootItem WHERE Lower(name)='o''brien süd') UNION SELECT "
              "SP_schema_type,Username,data_base,dbserver FROM T_DB_DATA WHERE "
              "UPPER(SP_schema_type)='SPPIDDATA_DICTIONARY' AND SP_RootItemID IN (SELECT "
              "SP_PARENTROOTITEMID "
              "FROM T_RootItem WHERE Lower(name)='o''brien süd')");
    EXPECT_EQ(
        RootItemIdSql("SITE.", "Parent", "Child'X"),
        "SELECT SP_ID FROM SITE.T_RootItem WHERE Lower(name)='child''x' and SP_PARENTROOTITEMID in "
        "(SELECT SP_ID FROM SITE.T_RootItem WHERE Lower(name)='parent')");
    EXPECT_EQ(AlterSessionSql("PLANTPID"), "ALTER SESSION SET CURRENT_SCHEMA=PLANTPID");
}

TEST(Texts, DialectPieces) {
    // The quick existence query, built with every dialect's pieces in one text.
    const struct {
        Dialect d;
        const char* probe;
    } cases[] = {
        {Dialect::Oracle, "select 1 from t where not c is null AND ROWNUM <2"},
        {Dialect::SqlServer, "select  TOP 1 1 from pid.t where not c is null"},
        {Dialect::AccessCopy, "select 1 from t where not c is null"},
        {Dialect::Sqlite, "select 1 from t where not c is null LIMIT 1"},
    };
    for (const auto& c : cases) {
        const std::string probe = "select " + std::string(TopOne(c.d)) + "1 from " +
                                  GetFullTableName(c.d, "pid.", "t") + " where not c is null" +
                                  RowNumBelow2(c.d, "AND") + std::string(LimitOne(c.d));
        EXPECT_EQ(probe, c.probe) << DialectName(c.d);
    }
    EXPECT_TRUE(NeedsAlterSession(Dialect::Oracle));
    EXPECT_FALSE(NeedsAlterSession(Dialect::Sqlite));
    EXPECT_EQ(OrgColumnName("Plantitem_itemtag"), "Org_Plantitem_itemtag");
}

TEST(Texts, NamesQuotedByDialect) {
    // Oracle, SQL Server, the SQLite plant, a plant copy.
    const struct {
        const char* name;
        const char* oracle;
        const char* server;
        const char* sqlite;  // the SQLite plant and a plant copy alike
    } cases[] = {
        {"ItemTag", "ItemTag", "ItemTag", "ItemTag"},
        {"SP_ID", "SP_ID", "SP_ID", "SP_ID"},
        {"A$B", "A$B", "A$B", "A$B"},
        {"A#B", "A#B", "A#B", "\"A#B\""},  // SQLite reads "#" as the start of a parameter
        {"_x", "\"_x\"", "_x", "_x"},      // Oracle wants a letter first
        {"1abc", "\"1abc\"", "[1abc]", "\"1abc\""},
        {"Evil\"Col", "\"Evil\"\"Col\"", "[Evil\"Col]", "\"Evil\"\"Col\""},
        {"Evil]Col", "\"Evil]Col\"", "[Evil]]Col]", "\"Evil]Col\""},
        {"Evil'Col", "\"Evil'Col\"", "[Evil'Col]", "\"Evil'Col\""},
        {"Evil Col", "\"Evil Col\"", "[Evil Col]", "\"Evil Col\""},
        {"Größe", "\"Größe\"", "[Größe]", "\"Größe\""},
        {"", "\"\"", "[]", "\"\""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SqlName(Dialect::Oracle, c.name), c.oracle) << c.name;
        EXPECT_EQ(SqlName(Dialect::SqlServer, c.name), c.server) << c.name;
        EXPECT_EQ(SqlName(Dialect::Sqlite, c.name), c.sqlite) << c.name;
        EXPECT_EQ(SqlName(Dialect::AccessCopy, c.name), c.sqlite) << c.name;
    }
    EXPECT_EQ(AlterSessionSql("PLANT-A"), "ALTER SESSION SET CURRENT_SCHEMA=\"PLANT-A\"");
}

// The quoted names read back the columns they name on SQLite (the plant's, and the store's form).
TEST(Texts, QuotedNamesRunOnSqlite) {
    store::Connection db(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    const std::vector<std::string> names = {"Evil\"Col", "Evil]Col", "Evil'Col", "Evil Col",
                                            "A#B",       "1abc",     "plain"};
    std::string create = "CREATE TABLE t (";
    for (std::size_t i = 0; i < names.size(); ++i)
        create += (i ? ", " : "") + store::QuoteName(names[i]);
    store::Execute(db.get(), create + ")");
    std::string values;
    for (std::size_t i = 0; i < names.size(); ++i) values += (i ? ", " : "") + std::to_string(i);
    store::Execute(db.get(), "INSERT INTO t VALUES (" + values + ")");
    for (std::size_t i = 0; i < names.size(); ++i) {
        for (const std::string& sql : {"SELECT t." + SqlName(Dialect::Sqlite, names[i]) + " FROM t",
                                       "SELECT " + store::SqlName(names[i]) + " FROM t"})
            EXPECT_EQ(store::QueryValue(db.get(), sql), store::Value(static_cast<int>(i))) << sql;
    }
    EXPECT_EQ(store::SqlName("Evil\"Col"), "[Evil\"Col]");
    EXPECT_EQ(store::SqlName("Evil]Col"), "\"Evil]Col\"");
}

TEST(Texts, SessionDialectFollowsTheResolutionAndThePlantCopy) {
    ResetSession();
    EXPECT_FALSE(IsOracle());  // nothing resolved: SQL Server
    Settings().dialect = Dialect::SqlServer;
    EXPECT_EQ(ActiveWsSiteSql("plantpid."), "SELECT SP_WSSITEID FROM plantpid.T_ACTIVEWSSITE");
    Settings().dialect = Dialect::Oracle;
    EXPECT_EQ(ActiveWsSiteSql(""), "SELECT SP_WSSITEID FROM T_ACTIVEWSSITE");
    SetUseCopyPlantDatabase(true);
    EXPECT_EQ(CurrentDialect(), Dialect::AccessCopy);
    EXPECT_TRUE(IsOracle());  // the resolved flag stands
    EXPECT_EQ(GetFullTableName("x.", "T_A"), "T_A");
    ResetSession();
}

TEST(Texts, ConnectionStrings) {
    EXPECT_EQ(OracleConnectString(kOracleProvider, "ORCL", "admin", "pw"),
              "Provider=OraOLEDB.Oracle;Data Source=ORCL;User Id=admin;Password=pw;");
    EXPECT_EQ(SqlServerConnectString(kSqlServerDriverPair, "host\\inst", "site", "sa", "pw"),
              "Driver={SQL Server};Server=host\\inst;Database=site;Uid=sa;Pwd=pw;");
    EXPECT_EQ(SqlServerConnectString(kSqlServerProviderPair, "host", "site", "sa", "pw"),
              "Provider=SQLNCLI11;Server=host;Database=site;Uid=sa;Pwd=pw;");
    EXPECT_EQ(
        AccessConnectString(kJetProvider, "/tmp/a.mdb", ""),
        "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/tmp/a.mdb;Jet OLEDB:Database Password=;");
}

TEST(Texts, ParsingConnectionStrings) {
    const struct {
        const char* text;
        ConnectTarget target;
        const char* server;
        const char* database;
        const char* user;
        const char* password;
    } cases[] = {
        {"Provider=OraOLEDB.Oracle;Data Source=ORCL;User Id=a;Password=b;", ConnectTarget::Oracle,
         "ORCL", "", "a", "b"},
        {"Provider=MSDAORA;Data Source=ORCL;User Id=a;Password=b;", ConnectTarget::OracleFallback,
         "ORCL", "", "a", "b"},
        {"Driver={SQL Server};Server=h;Database=d;Uid=u;Pwd=p;", ConnectTarget::SqlServer, "h", "d",
         "u", "p"},
        {"Provider=SQLNCLI11;Server=h;Database=d;Uid=u;Pwd=p;", ConnectTarget::SqlServerFallback,
         "h", "d", "u", "p"},
        {"Provider=SQLite;Data Source=/srv/db;User Id=pid;Password=;", ConnectTarget::Sqlite,
         "/srv/db", "", "pid", ""},
        {"Provider=Microsoft.ACE.OLEDB.12.0;Data Source=/x.mdb;Jet OLEDB:Database Password=z;",
         ConnectTarget::Access, "/x.mdb", "", "", "z"},
        // A password that holds the separator keeps it.
        {"Driver={SQL Server};Server=h;Database=d;Uid=u;Pwd=a;b;c;", ConnectTarget::SqlServer, "h",
         "d", "u", "a;b;c"},
        {"provider=oraoledb.oracle;data source=X;user id=u;password=p", ConnectTarget::Oracle, "X",
         "", "u", "p"},
        {"Provider=Nothing;", ConnectTarget::Unknown, "", "", "", ""},
    };
    for (const auto& c : cases) {
        const ConnectParts p = ParseConnectString(c.text);
        EXPECT_EQ(p.target, c.target) << c.text;
        EXPECT_EQ(p.server, c.server) << c.text;
        EXPECT_EQ(p.database, c.database) << c.text;
        EXPECT_EQ(p.user, c.user) << c.text;
        EXPECT_EQ(p.password, c.password) << c.text;
    }
    const ConnectParts odbc = ParseConnectString("ODBC;DRIVER=/x.so;Database=/y.db");
    EXPECT_EQ(odbc.target, ConnectTarget::Odbc);
    EXPECT_EQ(odbc.odbc, "DRIVER=/x.so;Database=/y.db");
}

TEST(Texts, OdbcFormsFromTemplates) {
    const OdbcTemplates t = DefaultOdbcTemplates();
    EXPECT_EQ(
        OdbcConnectString(
            ParseConnectString("Provider=OraOLEDB.Oracle;Data Source=ORCL;User Id=a;Password=b;"),
            t),
        "Driver={Oracle};Dbq=ORCL;Uid=a;Pwd=b;");
    EXPECT_EQ(OdbcConnectString(
                  ParseConnectString("Driver={SQL Server};Server=h;Database=d;Uid=u;Pwd=p;"), t),
              "Driver={ODBC Driver 18 for SQL Server};Server=h;Database=d;Uid=u;Pwd=p;");
    EXPECT_EQ(OdbcConnectString(
                  ParseConnectString("Provider=SQLNCLI11;Server=h;Database=d;Uid=u;Pwd=p;"), t),
              "Driver={ODBC Driver 18 for SQL "
              "Server};Server=h;Database=d;Uid=u;Pwd=p;TrustServerCertificate=yes;");
    // Values that ODBC would misread go in braces; a slot's text inside a value is not filled
    // again.
    EXPECT_EQ(
        OdbcConnectString(
            ParseConnectString("Driver={SQL Server};Server=h;Database=d;Uid={user};Pwd=a}b;c ;"),
            t),
        "Driver={ODBC Driver 18 for SQL Server};Server=h;Database=d;Uid={{user}}};Pwd={a}}b;c };");
    EXPECT_THROW(
        OdbcConnectString(ParseConnectString("Provider=SQLite;Data Source=/x;User Id=u;"), t),
        Error);
}

class OdbcTemplateFileTest : public PlantAccessTest {};

TEST_F(OdbcTemplateFileTest, ProgramIniReplacesTemplatesOneByOne) {
    tb::test::WriteFile(ProgramIni(),
                        "[ODBC]\r\nOracle=DSN=ora;UID={user};PWD={password}\r\nSqlServer=\r\n");
    const OdbcTemplates t = ReadOdbcTemplates();
    EXPECT_EQ(t.oracle, "DSN=ora;UID={user};PWD={password}");
    EXPECT_EQ(t.oracleFallback, DefaultOdbcTemplates().oracleFallback);
    EXPECT_EQ(t.sqlServer, DefaultOdbcTemplates().sqlServer);  // blank keeps the default
}

TEST(Texts, SecretsAreScrubbed) {
    const struct {
        const char* text;
        const char* secret;
        const char* scrubbed;
    } cases[] = {
        {"Provider=X;User Id=a;Password=top;", "", "Provider=X;User Id=a;Password=****;"},
        {"Uid=u;Pwd=top", "", "Uid=u;Pwd=****"},
        {"UID=u;PWD={to;p}}x};DSN=y", "", "UID=u;PWD=****;DSN=y"},
        {"Jet OLEDB:Database Password=z;", "", "Jet OLEDB:Database Password=****;"},
        {"Cannot log in as scott with tiger", "tiger", "Cannot log in as scott with ****"},
        {"short pw ab stays", "ab", "short pw ab stays"},
        {"Pwd=", "", "Pwd=****"},
    };
    for (const auto& c : cases) EXPECT_EQ(ScrubSecrets(c.text, c.secret), c.scrubbed) << c.text;
}

TEST(Texts, AdoTypeGroups) {
    for (int t : {8, 129, 201, 203, 200, 202, 130, 72}) EXPECT_TRUE(IsAdoDataTypeString(t)) << t;
    for (int t : {6, 14, 5, 3, 131, 4, 2, 16, 21, 19, 18, 17, 139})
        EXPECT_TRUE(IsAdoDataTypeNumeric(t)) << t;
    // adBigInt is in neither group; its unsigned twin is a number; a GUID is no number.
    EXPECT_FALSE(IsAdoDataTypeNumeric(20));
    EXPECT_FALSE(IsAdoDataTypeString(20));
    EXPECT_FALSE(IsAdoDataTypeNumeric(72));
    EXPECT_FALSE(IsAdoDataTypeString(11));
}

TEST(Texts, LockFiles) {
    const struct {
        const char* text;
        const char* lock;
    } cases[] = {
        {"Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/Data/Plant A.mdb;Jet OLEDB:Database "
         "Password=;",
         "/Data/Plant A.ldb"},
        {"provider=x;DATA SOURCE=/Tmp/X.MDB", "/Tmp/X.ldb"},
        {"Provider=x;Server=h;", ""},
        {"Data Source=;", ""},
        {"", ""},
    };
    for (const auto& c : cases) EXPECT_EQ(LockFileOf(c.text).string(), c.lock) << c.text;
}

TEST(Texts, FieldsOfSqliteDeclarations) {
    const struct {
        const char* declared;
        int type;
        std::int64_t size;
        int precision;
        int scale;
    } cases[] = {
        {"varchar2 ( 40 )", ado::kVarWChar, 40, 0, 0},  // case and blanks as SQLite keeps them
        {"TEXT", ado::kVarWChar, 0, 0, 0},              // no width: unknown
        {"NUMBER(12, 3)", ado::kNumeric, 0, 12, 3},
        {"NUMERIC(10)", ado::kNumeric, 0, 10, 0},
        {"NUMERIC", ado::kNumeric, 0, 0, 0},  // no precision told
        {"", ado::kEmpty, 0, 0, 0},           // an expression
        {"WHATEVER", ado::kEmpty, 0, 0, 0},
    };
    for (const auto& c : cases) {
        const FieldInfo f = FieldFromDeclaration("c", c.declared);
        EXPECT_EQ(f.type, c.type) << c.declared;
        EXPECT_EQ(f.definedSize, c.size) << c.declared;
        EXPECT_EQ(f.precision, c.precision) << c.declared;
        EXPECT_EQ(f.scale, c.scale) << c.declared;
    }
}

}  // namespace
}  // namespace tb::plantaccess::testing
