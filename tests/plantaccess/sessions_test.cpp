// Database sessions: the read and write contracts, the disconnected recordset, and the stores that
// stand for Access files.

#include <gtest/gtest.h>

#include <thread>

#include "common/error.h"
#include "common/ini.h"
#include "plant_fixture.h"
#include "plantaccess/ado.h"
#include "plantaccess/connection.h"
#include "plantaccess/session.h"
#include "plantaccess/store_connection.h"
#include "platform/platform.h"

namespace tb::plantaccess::testing {
namespace {

class SessionsTest : public PlantAccessTest {
  protected:
    void SetUp() override {
        PlantAccessTest::SetUp();
        extract = dir.path() / "out" / "Extract.mdb";
        ASSERT_TRUE(CreateAccessDatabase(extract));
        session = Connect2MDB(extract);
        SetSessionProjectName("Extract");
        SetSessionConnection(session, extract.string());
        store::Store& s = static_cast<StoreConnection&>(*session).store();
        s.CreateTable("Items", {{"SP_ID", store::ColumnType::Text(32)},
                                {"Kind", store::ColumnType::Text(40)},
                                {"Size", store::ColumnType::Long()},
                                {"Note", store::ColumnType::Memo()},
                                {"Weight", store::ColumnType::Double()},
                                {"Made", store::ColumnType::DateTime()}});
        s.Execute(
            "INSERT INTO Items VALUES('A1','Valve',2,NULL,1.5,'2024-01-02 00:00:00'),"
            "('A2','valve',3,'n',NULL,NULL),('A3','Pump',10,NULL,2,NULL),('B''4','Tank',NULL,NULL,"
            "0,NULL)");
    }
    fs::path extract;
    ConnectionPtr session;
};

TEST_F(SessionsTest, AdoReadUsesTheSessionConnectionAndTypesFromTheCatalogue) {
    auto rs = AdoRead("SELECT SP_ID, Kind, Size, Note, Weight, Made, Size * 2 AS twice FROM Items");
    EXPECT_EQ(SessionLastSql(),
              "SELECT SP_ID, Kind, Size, Note, Weight, Made, Size * 2 AS twice FROM Items");
    EXPECT_EQ(rs->RecordCount(), 4);
    const auto& f = rs->Fields();
    EXPECT_EQ(f[1].type, ado::kVarWChar);
    EXPECT_EQ(f[1].definedSize, 40);
    EXPECT_EQ(f[2].type, ado::kInteger);
    EXPECT_EQ(f[3].type, ado::kLongVarWChar);
    EXPECT_EQ(f[4].type, ado::kDouble);
    EXPECT_EQ(f[5].type, ado::kDate);
    EXPECT_EQ(f[6].type, ado::kInteger);  // an expression: from its values
    EXPECT_EQ(SessionDatabasePath(), extract.string());
    EXPECT_EQ(SessionProjectName(), "Extract");
}

TEST_F(SessionsTest, AdoReadFailureContract) {
    try {
        AdoRead("SELECT x FROM Nowhere");
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.source(), "AdoRead");
        EXPECT_NE(e.description().find("no such table: Nowhere"), std::string::npos)
            << e.description();
    }
    EXPECT_EQ(SessionLastSql(), "SELECT x FROM Nowhere");
    ASSERT_FALSE(log.all.empty());
    EXPECT_EQ(log.all.back(), "SELECT x FROM Nowhere");  // the statement on its own line
    // Without a connection to use.
    SetSessionConnection(nullptr, "");
    try {
        AdoRead("SELECT 1");
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), kErrNoConnection);
    }
}

TEST_F(SessionsTest, AdoWriteContract) {
    const struct {
        bool raise;
        bool silent;
        bool raised;
        bool detailLogged;
    } cases[] = {{true, false, true, false},
                 {true, true, true, false},
                 {false, false, false, true},
                 {false, true, false, false}};
    for (const auto& c : cases) {
        log.all.clear();
        bool raised = false;
        try {
            EXPECT_EQ(AdoWrite("UPDATE Nowhere SET x = 1", nullptr, nullptr, c.raise, c.silent),
                      nullptr);
        } catch (const Error& e) {
            raised = true;
            EXPECT_EQ(e.source(), "AdoWrite");
        }
        EXPECT_EQ(raised, c.raised) << c.raise << c.silent;
        ASSERT_FALSE(log.all.empty());
        EXPECT_EQ(log.all[0], "UPDATE Nowhere SET x = 1") << c.raise << c.silent;
        EXPECT_EQ(log.all.size(), c.detailLogged ? 2u : 1u) << c.raise << c.silent;
        if (c.detailLogged) {
            EXPECT_EQ(log.all[1].rfind("AdoWrite:no such table: Nowhere", 0), 0u) << log.all[1];
        }
    }
    std::int64_t affected = -1;
    EXPECT_EQ(AdoWrite("UPDATE Items SET Size = 1 WHERE Kind = 'VALVE'", session, &affected),
              nullptr);
    EXPECT_EQ(affected, 2);  // the store compares text ignoring case
    auto rows = AdoWrite("SELECT count(*) FROM Items", session);
    ASSERT_NE(rows, nullptr);
    EXPECT_EQ(GetDBvalue(rows->Field(0)), "4");

    // MDBWrite: to the caller, unlogged.
    log.all.clear();
    try {
        MDBWrite("DELETE FROM Nowhere", session);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.source(), "MDBWrite");
    }
    EXPECT_TRUE(log.all.empty());
    EXPECT_THROW(MDBWrite("DELETE FROM Items", nullptr), Error);
    MDBWrite("DELETE FROM Items WHERE SP_ID = 'A3'", session, &affected);
    EXPECT_EQ(affected, 1);
}

TEST_F(SessionsTest, RecordsetFieldsAndWalking) {
    auto rs = AdoRead("SELECT SP_ID, Kind, Size, Note FROM Items ORDER BY SP_ID");
    EXPECT_FALSE(rs->Bof());
    EXPECT_EQ(rs->Field("sp_id").text(), "A1");
    EXPECT_EQ(rs->Field("KIND").text(), "Valve");
    std::vector<std::string> ids;
    for (rs->MoveFirst(); !rs->Eof(); rs->MoveNext()) ids.push_back(GetDBvalue(rs->Field(0)));
    EXPECT_EQ(ids, (std::vector<std::string>{"A1", "A2", "A3", "B'4"}));
    EXPECT_THROW(rs->MoveNext(), Error);
    try {
        rs->Field("SP_ID");
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), kErrNoCurrentRecord);
    }
    rs->MoveFirst();
    try {
        rs->Field("Missing");
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), kErrItemNotFound);
    }
    EXPECT_EQ(GetDBvalue(rs->Field("Note")), "");  // Null reads as empty
    EXPECT_EQ(GetDBvalue(store::Value(0)), "0");
    EXPECT_EQ(GetDBvalue(store::Value(2.50)), "2.5");

    CloseAdoRecordset(rs, true);
    ASSERT_NE(rs, nullptr);
    EXPECT_EQ(rs->State(), 0);
    CloseAdoRecordset(rs);
    EXPECT_EQ(rs, nullptr);
    CloseAdoRecordset(rs);  // nothing there: no error
}

TEST_F(SessionsTest, RecordsetFilter) {
    auto rs = AdoRead("SELECT SP_ID, Kind, Size, Weight FROM Items ORDER BY SP_ID");
    const struct {
        const char* filter;
        std::vector<std::string> ids;
    } cases[] = {
        {"Kind='Valve'", {"A1", "A2"}},  // text compares ignore case
        {"kind = 'PUMP'", {"A3"}},
        {"SP_ID='B''4'", {"B'4"}},
        {"Kind<>'Valve'", {"A3", "B'4"}},
        {"Size>=3", {"A2", "A3"}},
        {"Size=3 OR Kind='Tank'", {"A2", "B'4"}},
        {"Kind='Valve' AND Size=2 OR SP_ID='A3'", {"A1", "A3"}},
        {"Kind LIKE 'p*'", {"A3"}},
        {"[Weight] = 0", {"B'4"}},
        {"Size=99", {}},
        {"", {"A1", "A2", "A3", "B'4"}},
    };
    for (const auto& c : cases) {
        rs->Filter(c.filter);
        EXPECT_EQ(rs->RecordCount(), static_cast<std::int64_t>(c.ids.size())) << c.filter;
        std::vector<std::string> ids;
        for (; !rs->Eof(); rs->MoveNext()) ids.push_back(GetDBvalue(rs->Field("SP_ID")));
        EXPECT_EQ(ids, c.ids) << c.filter;
    }
    for (const char* bad : {"Nope='x'", "Kind='x", "Kind 'x'", "Kind=x"}) {
        try {
            rs->Filter(bad);
            FAIL() << bad;
        } catch (const Error& e) {
            EXPECT_EQ(e.number(), kErrBadArguments) << bad;
        }
    }
}

TEST_F(SessionsTest, ClosingConnections) {
    ConnectionPtr none;
    CloseAdoConnection(none, true);  // nothing there: no error, no wait
    ConnectionPtr c = Connect2MDB(extract);
    EXPECT_EQ(c->connectString(), "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" +
                                      extract.string() + ";Jet OLEDB:Database Password=;");
    // The wait lasts while the lock file is there.
    const fs::path lock = extract.parent_path() / "Extract.ldb";
    tb::test::WriteFile(lock, "");
    std::thread remover([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        fs::remove(lock);
    });
    CloseAdoConnection(c, true);
    remover.join();
    EXPECT_EQ(c, nullptr);
    EXPECT_FALSE(fs::exists(lock));
    // The store lives on for the next connection.
    auto rs = AdoRead("SELECT count(*) FROM Items", Connect2MDB(extract));
    EXPECT_EQ(GetDBvalue(rs->Field(0)), "4");
    // The extraction's provider follows the program ini.
    tb::test::WriteFile(ProgramIni(), "[Settings]\r\nACE=1\r\n");
    EXPECT_EQ(Connect2MDB(extract)->connectString().rfind("Provider=Microsoft.ACE.OLEDB.12.0;", 0),
              0u);
    // An Access string opens the same store.
    EXPECT_EQ(
        OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + extract.string() + ";")
            ->kind(),
        ConnectionKind::Store);
}

TEST_F(SessionsTest, AccessFilesWithoutAStore) {
    const fs::path missing = dir.path() / "missing.mdb";
    try {
        Connect2MDB(missing);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.description(), "Could not find file '" + missing.string() + "'.");
        EXPECT_EQ(e.source(), "Connect2MDB");
    }
    const fs::path kept = dir.path() / "kept.mdb";
    tb::test::WriteFile(kept, "not read here");
    EXPECT_THROW(Connect2MDB(kept), Error);
    int loads = 0;
    SetMdbStoreLoader([&](const fs::path&) {
        ++loads;
        return std::make_shared<store::Store>(store::Store::InMemory());
    });
    Connect2MDB(kept);
    Connect2MDB(kept);
    EXPECT_EQ(loads, 1);
    EXPECT_NE(FindMdbStore(kept), nullptr);
}

TEST_F(SessionsTest, CreateAndCompactKeepTheirLogLines) {
    log.all.clear();
    const fs::path other = dir.path() / "other.mdb";
    EXPECT_TRUE(CreateAccessDatabase(other, 0, "", true));
    EXPECT_EQ(log.all,
              (std::vector<std::string>{"Creating new Access database: '" + other.string() + "'...",
                                        "Access 2000 database created successfully"}));
    platform::RegistryWrite("HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Office\\8.0\\Access", "x",
                            "1");
    EXPECT_EQ(AccessEngineTypeFromRegistry(), 4);
    log.all.clear();
    EXPECT_TRUE(CreateAccessDatabase(other, 0, "", true));
    EXPECT_EQ(log.all.back(), "Access 97 database created successfully");
    log.all.clear();
    EXPECT_TRUE(CreateAccessDatabase(other, 5, "", false));
    EXPECT_TRUE(log.all.empty());
    SetMdbStoreCreator([](const fs::path&) -> std::shared_ptr<store::Store> {
        throw Error(kErrFileAccess, "disk full");
    });
    EXPECT_FALSE(CreateAccessDatabase(other, 5, "", true));
    EXPECT_EQ(log.all.back(), "Creating Access database failed: disk full");

    log.all.clear();
    EXPECT_TRUE(CompactDatabase(extract));
    EXPECT_EQ(log.all,
              (std::vector<std::string>{"Compacting database '" + extract.string() + "'...",
                                        "Database compacted successfully"}));
    EXPECT_FALSE(CompactDatabase(dir.path() / "none.mdb"));
    EXPECT_EQ(log.all.back().rfind("Compacting database failed: Could not find file", 0), 0u);
}

// Only the engines' words for a missing table count; a missing column, a lock or a login do not.
TEST(MissingTable, EngineMessages) {
    struct Case {
        const char* message;
        bool missingTable;
    } cases[] = {
        {"no such table: T_Unit (statement: SELECT SP_ID FROM T_Unit WHERE 1=0)", true},
        {"ORA-00942: table or view does not exist", true},
        {"[Microsoft][ODBC Driver 18 for SQL Server][SQL Server]Invalid object name 'dbo.T_Unit'.",
         true},
        {"no such column: UnitCode", false},
        {"database is locked", false},
        {"ORA-01017: invalid username/password; logon denied", false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(IsMissingTableError(Error(kErrDatabase, c.message)), c.missingTable) << c.message;
}

}  // namespace
}  // namespace tb::plantaccess::testing
