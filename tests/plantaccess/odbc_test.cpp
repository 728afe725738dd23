// The ODBC path against a real driver: Debian's SQLite ODBC driver, loaded by its path.

#include "plantaccess/odbc.h"

#include <gtest/gtest.h>

#include "common/error.h"
#include "plant_fixture.h"
#include "plantaccess/ado.h"
#include "plantaccess/session.h"

namespace tb::plantaccess::testing {
namespace {

class OdbcTest : public PlantAccessTest {
  protected:
    void SetUp() override {
        PlantAccessTest::SetUp();
        driver = SqliteOdbcDriver();
        if (driver.empty()) GTEST_SKIP() << "libsqliteodbc is not installed";
        file = dir.path() / "odbc.db";
        longText = std::string(5000, 'x') + "é";
        hugeText.reserve(70000);
        for (int i = 0; i < 7000; ++i) hugeText += "0123456789";
        hugeText += "ü";
        MakeDb(
            file,
            "CREATE TABLE t(id INTEGER, name VARCHAR(40), note TEXT, qty FLOAT, amount "
            "NUMERIC(10,2),"
            " created TIMESTAMP, data BLOB);"
            "INSERT INTO t VALUES(1, 'héllo wörld', '" +
                longText +
                "', 1.5, 12.25, '2024-01-02 03:04:05', x'00FF10');"
                "INSERT INTO t VALUES(2, NULL, NULL, NULL, NULL, NULL, NULL);"
                "INSERT INTO t VALUES(3, '', '" +
                hugeText +
                "', -0.25, 0, '1999-12-31 23:59:59', x'');"
                "CREATE TABLE big(i INTEGER, s VARCHAR(20));"
                "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)"
                " INSERT INTO big SELECT i, 'row ' || i FROM n;"
                "CREATE TABLE narrow(v VARCHAR(5)); INSERT INTO narrow VALUES('abcdefghijklmnop');"
                "CREATE TABLE w(a INTEGER, b VARCHAR(40), c FLOAT);");
        odbc = "ODBC;DRIVER=" + driver + ";Database=" + file.string() + ";NoCreat=1";
    }
    ConnectionPtr Open() { return OpenConnection(odbc); }

    std::string driver;
    fs::path file;
    std::string odbc;
    std::string longText, hugeText;
};

TEST_F(OdbcTest, ReadsValuesOfEveryKind) {
    ConnectionPtr c = Open();
    EXPECT_EQ(c->kind(), ConnectionKind::Odbc);
    auto rs = AdoRead("SELECT id, name, note, qty, amount, created, data FROM t ORDER BY id", c);
    ASSERT_EQ(rs->RecordCount(), 3);
    const auto& f = rs->Fields();
    EXPECT_EQ(f[1].name, "name");
    EXPECT_TRUE(IsAdoDataTypeString(f[1].type));
    EXPECT_EQ(f[1].definedSize, 40);
    EXPECT_TRUE(IsAdoDataTypeNumeric(f[0].type));
    EXPECT_TRUE(IsAdoDataTypeNumeric(f[3].type));

    EXPECT_EQ(rs->Field("ID").integer(), 1);
    EXPECT_EQ(rs->Field("Name").text(), "héllo wörld");
    EXPECT_EQ(rs->Field("note").text(), longText);  // a long column, through SQLGetData
    EXPECT_EQ(rs->Field("qty").real(), 1.5);
    EXPECT_EQ(rs->Field("amount").ToDouble(), 12.25);
    EXPECT_EQ(rs->Field("created").text(), "2024-01-02 03:04:05");
    EXPECT_EQ(rs->Field("data").blob(), (store::Blob{0x00, 0xFF, 0x10}));

    rs->MoveNext();  // nulls
    for (int i = 1; i < 7; ++i) {
        EXPECT_TRUE(rs->Field(i).isNull()) << i;
        EXPECT_EQ(GetDBvalue(rs->Field(i)), "") << i;
    }
    rs->MoveNext();
    EXPECT_EQ(rs->Field("name").text(), "");        // an empty text stays empty when read
    EXPECT_EQ(rs->Field("note").text(), hugeText);  // more than one chunk
    EXPECT_EQ(rs->Field("qty").real(), -0.25);
    EXPECT_EQ(GetDBvalue(rs->Field("amount")), "0");
    rs->MoveNext();
    EXPECT_TRUE(rs->Eof());
}

TEST_F(OdbcTest, BlocksOfRows) {
    ConnectionPtr c = Open();
    for (int perFetch : {1, 7, 1024}) {
        std::static_pointer_cast<OdbcConnection>(c)->SetMaxRowsPerFetch(perFetch);
        auto cursor = c->Query("SELECT i, s FROM big ORDER BY i");
        std::int64_t n = 0;
        bool ordered = true;
        while (cursor->Next()) {
            ++n;
            const Cell i = cursor->Get(0);
            const Cell s = cursor->Get(1);
            ordered &= i.integer == n && s.bytes == "row " + std::to_string(n);
        }
        EXPECT_EQ(n, 5000) << perFetch;
        EXPECT_TRUE(ordered) << perFetch;
    }
}

TEST_F(OdbcTest, ParametersAndRecordsAffected) {
    ConnectionPtr c = Open();
    EXPECT_EQ(c->Execute("INSERT INTO w VALUES(?, ?, ?)",
                         {store::Value(7), store::Value("Süd 'x'"), store::Value(2.5)}),
              1);
    EXPECT_EQ(c->Execute("INSERT INTO w VALUES(?, ?, ?)",
                         {store::Value(8), store::Value(nullptr), store::Value(nullptr)}),
              1);
    auto cursor = c->Query("SELECT a, c FROM w WHERE b = ?", {store::Value("Süd 'x'")});
    ASSERT_TRUE(cursor->Next());
    EXPECT_EQ(cursor->Get(0).integer, 7);
    EXPECT_EQ(cursor->Get(1).real, 2.5);
    cursor.reset();
    std::int64_t affected = -1;
    AdoWrite("UPDATE w SET c = 1", c, &affected);
    EXPECT_EQ(affected, 2);
    AdoWrite("DELETE FROM w WHERE a = 99", c, &affected);
    EXPECT_EQ(affected, 0);
}

TEST_F(OdbcTest, DiagnosticsBecomeErrorsWithTheDriversText) {
    ConnectionPtr c = Open();
    try {
        AdoRead("SELEC id FROM t", c);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), kErrDatabase);
        EXPECT_NE(e.description().find("syntax error"), std::string::npos) << e.description();
        EXPECT_EQ(e.source(), "AdoRead");
    }
    EXPECT_EQ(SessionLastSql(), "SELEC id FROM t");
    EXPECT_TRUE(Logged("SELEC id FROM t"));
    // A value longer than the width the driver declared is an error, not a cut value.
    try {
        AdoRead("SELECT v FROM narrow", c);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_NE(e.description().find("column 'v' longer than the 5 characters"),
                  std::string::npos)
            << e.description();
    }
    // The password never shows, not even where the driver manager repeats it.
    try {
        OpenConnection("ODBC;DRIVER=/nonexistent/hunter22.so;UID=me;PWD=hunter22");
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.description().find("hunter22"), std::string::npos) << e.description();
        EXPECT_NE(e.description().find("****"), std::string::npos) << e.description();
    }
    c->Close();
    EXPECT_THROW(c->Query("SELECT 1"), Error);
}

TEST_F(OdbcTest, TestConnectionOpensAndClosesWithoutCreatingFiles) {
    EXPECT_TRUE(TestConnection(odbc));
    const fs::path missing = dir.path() / "missing.db";
    EXPECT_FALSE(
        TestConnection("ODBC;DRIVER=" + driver + ";Database=" + missing.string() + ";NoCreat=1"));
    EXPECT_FALSE(fs::exists(missing));
    EXPECT_FALSE(TestConnection("Provider=Nobody;"));
}

}  // namespace
}  // namespace tb::plantaccess::testing
