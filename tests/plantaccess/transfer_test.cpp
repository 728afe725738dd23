// The copy of plant rows into the store: the value and type rules, the SQLite path (the store
// attached to the plant connection) and the row path (ODBC, recordsets), which must agree.

#include "plantaccess/transfer.h"

#include <gtest/gtest.h>

#include "common/error.h"
#include "common/log.h"
#include "plant_fixture.h"
#include "plantaccess/ado.h"
#include "plantaccess/sqlite_plant.h"

namespace tb::plantaccess::testing {
namespace {

using store::ColumnType;

TEST(CopyRules, TextValues) {
    const struct {
        const char* in;
        std::optional<std::string> out;
    } cases[] = {
        {"", std::nullopt},
        {"plain", "plain"},
        {"a\r\nb",
         "a\x03"
         "b"},
        {"a\rb\nc",
         "a\x03"
         "b\x03"
         "c"},
        {"\r\n\r\n", "\x03\x03"},
        {"\n\r", "\x03\x03"},
        {"x\ty", "x y"},
        {" ", " "},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CleanCopiedText(c.in), c.out) << c.in;
        EXPECT_EQ(NeedsCleaning(c.in), CleanCopiedText(c.in) != std::optional<std::string>(c.in))
            << c.in;
    }
}

TEST(CopyRules, ColumnTypes) {
    // The edges of the rules; the common types are checked on real copies below.
    const struct {
        FieldInfo field;
        std::optional<ColumnType> type;
    } cases[] = {
        {{"a", ado::kBigInt, 0, 0, 0}, ColumnType::Long()},  // checked against 32 bits
        {{"a", ado::kDecimal, 0, 11, 0}, ColumnType::Long()},
        {{"a", ado::kNumeric, 0, 0, 0}, ColumnType::Double()},  // no precision told
        {{"a", ado::kCurrency, 0, 0, 0}, ColumnType::Double()},
        {{"a", ado::kBoolean, 0, 0, 0}, ColumnType::Boolean()},
        {{"a", ado::kChar, 255, 0, 0}, ColumnType::Text(255)},
        {{"a", ado::kVarChar, 256, 0, 0}, ColumnType::Text(255)},  // Memo once a value is longer
        {{"a", ado::kLongVarWChar, 100, 0, 0}, ColumnType::Text(255)},
        {{"a", ado::kGUID, 36, 0, 0}, ColumnType::Text(36)},
        {{"a", ado::kEmpty, 0, 0, 0}, std::nullopt},
    };
    for (const auto& c : cases) EXPECT_EQ(CopyColumnType(c.field), c.type) << c.field.type;
}

class TransferTest : public PlantAccessTest {
  protected:
    void SetUp() override {
        PlantAccessTest::SetUp();
        plantFolder = dir.path() / "plant";
        std::string longText(300, 'm');
        MakeDb(plantFolder / "PID.db",
               "CREATE TABLE T_X(SP_ID VARCHAR(32), N INTEGER, Whole NUMERIC(10,0), Amount "
               "NUMERIC(10,2), "
               "F FLOAT, Short VARCHAR(40), Free TEXT, Note TEXT, Made TIMESTAMP, Raw BLOB);"
               "INSERT INTO T_X VALUES('A', 1, 7, 1.25, 0.5, 'line1\r\nline2', 'x', '" +
                   longText +
                   "', '2024-05-06 07:08:09', x'0102');"
                   "INSERT INTO T_X VALUES('B', -2147483648, 2147483647, -3, 1e20, '', "
                   "'tab\there', NULL, NULL, NULL);"
                   "INSERT INTO T_X VALUES('C', NULL, NULL, NULL, NULL, 'a\rb\nc', NULL, 'short', "
                   "NULL, x'');"
                   "CREATE TABLE T_BIG(SP_ID VARCHAR(32), N INTEGER);"
                   "INSERT INTO T_BIG VALUES('A', 1), ('B', 3000000000);"
                   "CREATE TABLE T_Y(V VARCHAR(10)); INSERT INTO T_Y VALUES('plant');"
                   "CREATE TABLE T_ODD(N INTEGER); INSERT INTO T_ODD VALUES(1), ('n/a');"
                   "CREATE TABLE T_E(K VARCHAR(10), N INTEGER);"
                   "INSERT INTO T_E VALUES('k1', NULL), ('k2', 2), ('k3', 3);");
        plant = SqlitePlantConnection::Open("plant", plantFolder, "PID");
        storeFile = dir.path() / "work.store";
        st = std::make_shared<store::Store>(store::Store::Create(storeFile));
    }
    ColumnType TypeOf(std::string_view table, std::string_view column) {
        return st->TypeOf(table, column);
    }
    std::vector<std::string> Column(std::string_view table, std::string_view column) {
        std::vector<std::string> out;
        for (const store::Row& r : st->QueryRows("SELECT " + std::string(column) + " FROM " +
                                                 std::string(table) + " ORDER BY rowid"))
            out.push_back(r[0].isNull() ? "<null>" : r[0].ToText());
        return out;
    }
    // Copies with the SQLite path, then with the row path into "<table>_rows", and checks they
    // agree.
    TransferResult CopyBothWays(std::string_view sql, const std::string& table) {
        const TransferResult a = CopyQueryToStore(*plant, sql, *st, table);
        auto cursor = plant->Query(sql);
        const TransferResult b = CopyCursorToStore(*cursor, *st, table + "_rows");
        EXPECT_EQ(a.rows, b.rows) << sql;
        EXPECT_EQ(a.columns.size(), b.columns.size()) << sql;
        for (std::size_t i = 0; i < a.columns.size() && i < b.columns.size(); ++i) {
            EXPECT_EQ(a.columns[i].type, b.columns[i].type) << sql << " " << a.columns[i].name;
            const std::string q = "SELECT quote(" + store::QuoteName(a.columns[i].name) + ") FROM ";
            EXPECT_EQ(st->QueryRows(q + table + " ORDER BY rowid"),
                      st->QueryRows(q + table + "_rows ORDER BY rowid"))
                << sql << " " << a.columns[i].name;
        }
        return a;
    }

    fs::path plantFolder;
    std::shared_ptr<SqlitePlantConnection> plant;
    fs::path storeFile;
    std::shared_ptr<store::Store> st;
};

TEST_F(TransferTest, TypesAndValuesOfPlainColumns) {
    const TransferResult r = CopyBothWays("SELECT * FROM T_X", "T_X");
    EXPECT_EQ(r.rows, 3);
    const struct {
        const char* column;
        ColumnType type;
        std::vector<std::string> values;
    } cases[] = {
        {"SP_ID", ColumnType::Text(32), {"A", "B", "C"}},
        {"N", ColumnType::Long(), {"1", "-2147483648", "<null>"}},
        {"Whole", ColumnType::Long(), {"7", "2147483647", "<null>"}},
        {"Amount", ColumnType::Double(), {"1.25", "-3", "<null>"}},
        {"F", ColumnType::Double(), {"0.5", "1E+20", "<null>"}},
        {"Short",
         ColumnType::Text(40),
         {"line1\x03line2", "<null>",
          "a\x03"
          "b\x03"
          "c"}},
        {"Free", ColumnType::Text(255), {"x", "tab here", "<null>"}},
        {"Note", ColumnType::Memo(), {std::string(300, 'm'), "<null>", "short"}},
        {"Made", ColumnType::DateTime(), {"2024-05-06 07:08:09", "<null>", "<null>"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(TypeOf("T_X", c.column), c.type)
            << c.column << " " << TypeOf("T_X", c.column).Name();
        EXPECT_EQ(Column("T_X", c.column), c.values) << c.column;
    }
    EXPECT_EQ(TypeOf("T_X", "Raw"), ColumnType::OLE());
    EXPECT_EQ(st->QueryValue("SELECT typeof(Whole) FROM T_X WHERE SP_ID = 'A'").text(), "integer");
    // Text where the plant declared numbers (a SQLite plant can hold it) makes the column text.
    CopyBothWays("SELECT N FROM T_ODD", "T_ODD");
    EXPECT_TRUE(TypeOf("T_ODD", "N").isText());
    EXPECT_EQ(Column("T_ODD", "N"), (std::vector<std::string>{"1", "n/a"}));
    // Text compares of the copied table ignore case, as every store table's do.
    EXPECT_EQ(st->QueryValue("SELECT count(*) FROM T_X WHERE SP_ID = 'a'").integer(), 1);
}

TEST_F(TransferTest, WholeNumbersBeyond32BitsFailNamingTableColumnAndValue) {
    auto rowPath = [&] {
        auto cursor = plant->Query("SELECT * FROM T_BIG");
        CopyCursorToStore(*cursor, *st, "T_BIG");
    };
    auto sqlitePath = [&] { CopyQueryToStore(*plant, "SELECT * FROM T_BIG", *st, "T_BIG"); };
    for (const auto& copy : {std::function<void()>(rowPath), std::function<void()>(sqlitePath)}) {
        try {
            copy();
            FAIL() << "no error";
        } catch (const Error& e) {
            EXPECT_EQ(e.number(), kErrOverflow);
            EXPECT_NE(e.description().find("Column 'N' of table 'T_BIG'"), std::string::npos)
                << e.description();
            EXPECT_NE(e.description().find("3000000000"), std::string::npos) << e.description();
        }
        EXPECT_FALSE(st->TableExists("T_BIG"));  // no half table is left
    }
}

TEST_F(TransferTest, ExpressionsTakeTheirTypesFromTheirValues) {
    CopyBothWays(
        "SELECT CONCAT(K, '_x') AS G, N * 2 AS D, NULL AS Z, CASE WHEN K = 'k1' THEN 1 ELSE 1.5 "
        "END AS Mixed, "
        "N AS Late FROM (SELECT K, N FROM T_E ORDER BY K)",
        "T_EXPR");
    EXPECT_EQ(TypeOf("T_EXPR", "G"), ColumnType::Text(255));
    EXPECT_EQ(TypeOf("T_EXPR", "Z"), ColumnType::Text(255));
    EXPECT_EQ(TypeOf("T_EXPR", "Mixed"), ColumnType::Double());
    EXPECT_EQ(Column("T_EXPR", "Mixed"), (std::vector<std::string>{"1", "1.5", "1.5"}));
    EXPECT_EQ(Column("T_EXPR", "G"), (std::vector<std::string>{"k1_x", "k2_x", "k3_x"}));
    // The plain column keeps its declared type even behind a subquery.
    EXPECT_EQ(TypeOf("T_EXPR", "Late"), ColumnType::Long());
}

TEST_F(TransferTest, OrderAndEmptyResults) {
    CopyQueryToStore(*plant, "SELECT K FROM T_E ORDER BY K DESC", *st, "T_ORDER");
    EXPECT_EQ(Column("T_ORDER", "K"), (std::vector<std::string>{"k3", "k2", "k1"}));
    const TransferResult empty = CopyBothWays("SELECT K, N FROM T_E WHERE 1 = 0;  ", "T_EMPTY");
    EXPECT_EQ(empty.rows, 0);
    ASSERT_EQ(empty.columns.size(), 2u);
    EXPECT_EQ(empty.columns[0].type, ColumnType::Text(10));
    EXPECT_THROW(CopyQueryToStore(*plant, "SELECT K, K FROM T_E", *st, "T_TWICE"), Error);
}

TEST_F(TransferTest, PlantStatementsNeverReadStoreTables) {
    // The store holds a table of a plant table's name, and one the plant lacks.
    st->CreateTable("T_Y", {{"V", ColumnType::Text(10)}});
    st->Execute("INSERT INTO T_Y VALUES('store')");
    st->CreateTable("T_ONLY", {{"V", ColumnType::Text(10)}});
    CopyQueryToStore(*plant, "SELECT V FROM T_Y", *st, "T_Y_COPY");
    EXPECT_EQ(Column("T_Y_COPY", "V"), (std::vector<std::string>{"plant"}));
    for (const char* sql :
         {"SELECT V FROM T_ONLY", "SELECT count(*) AS n FROM T_ONLY", "SELECT V FROM store.T_Y"}) {
        EXPECT_THROW(CopyQueryToStore(*plant, sql, *st, "T_BAD"), Error) << sql;
        EXPECT_FALSE(st->TableExists("T_BAD")) << sql;
    }
    // A target with the plant table's own name is filled from the plant.
    st->DropTable("T_Y");
    CopyQueryToStore(*plant, "SELECT V FROM T_Y", *st, "T_Y");
    EXPECT_EQ(Column("T_Y", "V"), (std::vector<std::string>{"plant"}));
    // The plant file is as it was.
    EXPECT_EQ(GetDBvalue(AdoRead("SELECT count(*) FROM T_Y", plant)->Field(0)), "1");
}

TEST_F(TransferTest, ACancelStopsBothPathsAndLeavesNoTable) {
    const std::string sql =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 200000) SELECT i "
        "AS N FROM n";
    auto rowPath = [&] {
        auto cursor = plant->Query(sql);
        CopyCursorToStore(*cursor, *st, "T_N");
    };
    auto sqlitePath = [&] { CopyQueryToStore(*plant, sql, *st, "T_N"); };
    struct Cancel {  // the flag is the process's: cleared whatever happens
        Cancel() { SetCancelRequested(true); }
        ~Cancel() { SetCancelRequested(false); }
    };
    {
        Cancel cancel;
        for (const auto& copy :
             {std::function<void()>(rowPath), std::function<void()>(sqlitePath)}) {
            try {
                copy();
                ADD_FAILURE() << "no error";
            } catch (const Error& e) {
                EXPECT_EQ(e.number(), kErrCancelled) << e.description();
                EXPECT_EQ(e.description(), "Cancelled.");
            }
            EXPECT_FALSE(st->TableExists("T_N"));
        }
    }
    EXPECT_EQ(CopyQueryToStore(*plant, sql, *st, "T_N").rows, 200000);
}

TEST_F(TransferTest, StoresInMemoryAndRecordsets) {
    store::Store memory = store::Store::InMemory();
    CopyQueryToStore(*plant, "SELECT SP_ID, Short FROM T_X", memory, "T_X");
    EXPECT_EQ(memory.TypeOf("T_X", "Short"), ColumnType::Text(40));
    EXPECT_EQ(memory.QueryValue("SELECT count(*) FROM T_X WHERE Short IS NULL").integer(), 1);

    auto rs = AdoRead("SELECT K, N FROM T_E ORDER BY K", plant);
    rs->Filter("K<>'k2'");
    const TransferResult r = CopyRecordsetToStore(*rs, *st, "T_FILTERED");
    EXPECT_EQ(r.rows, 2);
    EXPECT_EQ(Column("T_FILTERED", "K"), (std::vector<std::string>{"k1", "k3"}));
}

TEST_F(TransferTest, OdbcPathAgreesWithTheSqlitePath) {
    const std::string driver = SqliteOdbcDriver();
    if (driver.empty()) GTEST_SKIP() << "libsqliteodbc is not installed";
    ConnectionPtr odbc = OpenConnection(
        "ODBC;DRIVER=" + driver + ";Database=" + (plantFolder / "PID.db").string() + ";NoCreat=1");
    const std::string sql = "SELECT SP_ID, N, Amount, F, Short, Free, Note, Made FROM T_X";
    CopyQueryToStore(*plant, sql, *st, "VIA_SQLITE");
    const TransferResult r = CopyQueryToStore(*odbc, sql, *st, "VIA_ODBC");
    EXPECT_EQ(r.rows, 3);
    for (const char* column : {"SP_ID", "N", "Amount", "F", "Short", "Free", "Note", "Made"}) {
        EXPECT_EQ(Column("VIA_ODBC", column), Column("VIA_SQLITE", column)) << column;
        EXPECT_EQ(TypeOf("VIA_ODBC", column), TypeOf("VIA_SQLITE", column)) << column;
    }
    try {
        CopyQueryToStore(*odbc, "SELECT * FROM T_BIG", *st, "T_BIG");
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), kErrOverflow);
    }
}

}  // namespace
}  // namespace tb::plantaccess::testing
