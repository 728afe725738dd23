// The store's helpers, each where a fault would hide: types, order, indexes and the catalogue
// after every reshaping, and the state after a failure.

#include <gtest/gtest.h>

#include <string>

#include "store/store.h"
#include "store_test_util.h"
#include "support/test_support.h"

namespace tb::store::test {
namespace {

std::string Types(const Store& s, const std::string& table) {
    std::string out;
    for (const ColumnDef& c : s.Columns(table))
        out += (out.empty() ? "" : ",") + c.name + ":" + c.type.Name();
    return out;
}

std::string IndexList(const Store& s, const std::string& table) {
    std::string out;
    for (const IndexDef& i : s.Indexes(table)) {
        out += (out.empty() ? "" : ";") + i.name + "(";
        for (std::size_t k = 0; k < i.columns.size(); ++k) out += (k ? "," : "") + i.columns[k];
        out += std::string(")") + (i.primary ? " pk" : "") + (i.unique ? " unique" : "");
    }
    return out;
}

TEST(SelectInto, TypesFromDataForExpressions) {
    Store s = Store::InMemory();
    s.CreateTable("t", {{"k", ColumnType::Text(8)}, {"n", ColumnType::Integer()}});
    Fill(s, "t", "('a', 1), ('A', 2), ('b', 3)");
    s.SelectInto(
        "SELECT k, count(*) AS cnt, sum(n) * 0.5 AS half, jcat('', max(n)) AS txt, "
        "NULL AS empty, 3000000000 AS big FROM t GROUP BY k ORDER BY k DESC",
        "g");
    EXPECT_EQ(Types(s, "g"),
              "k:Text(8),cnt:Long,half:Double,txt:Text(255),empty:Text(255),big:Double");
    // Grouped ignoring case, rows in the statement's order, text compares in the new table too.
    EXPECT_EQ(Render(s, "SELECT lcase(k), cnt, half, txt FROM g ORDER BY _rowid_"),
              "b|1|1.5|3;a|2|1.5|2");
    EXPECT_EQ(Render(s, "SELECT count(*) FROM g WHERE k = 'B' AND txt = '3'"), "1");
}

TEST(SelectInto, MixedExpressionBecomesTextAsAccessShowsIt) {
    Store s = Store::InMemory();
    s.SelectInto("SELECT 2.0 AS v UNION ALL SELECT 'x' UNION ALL SELECT 7", "m");
    EXPECT_EQ(Types(s, "m"), "v:Text(255)");
    EXPECT_EQ(Render(s, "SELECT v, typeof(v) FROM m ORDER BY _rowid_"), "2|text;x|text;7|text");
    EXPECT_EQ(Render(s, "SELECT count(*) FROM m WHERE v = 'X'"), "1");  // collation given
}

TEST(SelectInto, HintsCounterAndLongText) {
    Store s = Store::InMemory();
    s.CreateTable("t", {{"name", ColumnType::Text(5)}});
    s.AddCounterId("t");
    Fill(s, "t (name)", "('ab'), ('cd')");
    s.Execute("UPDATE t SET name = name || '" + std::string(300, 'x') + "' WHERE ID = 2");
    // Whoever writes rows by plain SQL fits the types; SelectInto trusts the copied column's.
    EXPECT_TRUE(s.FitTypesToData("t"));
    s.SelectInto("SELECT ID, name, ID * 2 AS twice FROM t", "u",
                 {{"twice", ColumnType::Integer()}});
    // A copied counter is a Long; the 305-character text made the column a Memo.
    EXPECT_EQ(Types(s, "u"), "ID:Long,name:Memo,twice:Integer");
}

TEST(SelectInto, Refusals) {
    Store s = Store::InMemory();
    s.CreateTable("t", {{"a", ColumnType::Long()}});
    EXPECT_EQ(Outcome([&] { s.SelectInto("SELECT a FROM t", "T"); }),
              "error: Table 'T' already exists.");
    EXPECT_EQ(Outcome([&] { s.SelectInto("SELECT a, a AS A FROM t", "u"); }),
              "error: Table 'u' would have the column 'A' twice.");
    EXPECT_FALSE(s.TableExists("u"));
}

TEST(AlterColumnType, ConvertsAsAccess) {
    Store s = Store::InMemory();
    s.CreateTable(
        "t", {{"d", ColumnType::Double()}, {"n", ColumnType::Long()}, {"x", ColumnType::Text(10)}});
    Fill(s, "t", "(3.0, 5, '12'), (0.5, NULL, ' 7'), (1e20, -1, '2.5')");
    s.IndexColumn("x", "t");
    s.AlterColumnType("t", "d", ColumnType::Text(3));
    // Numbers become the text Access shows; the width grows to the longest value.
    EXPECT_EQ(Render(s, "SELECT d FROM t ORDER BY _rowid_"), "3;0.5;1E+20");
    EXPECT_EQ(s.TypeOf("t", "d").Name(), "Text(5)");
    s.AlterColumnType("t", "x", ColumnType::Long());
    EXPECT_EQ(Render(s, "SELECT x, typeof(x) FROM t ORDER BY _rowid_"),
              "12|integer;7|integer;2|integer");
    s.AlterColumnType("t", "n", ColumnType::Boolean());
    EXPECT_EQ(Render(s, "SELECT n FROM t ORDER BY _rowid_"), "-1;<null>;-1");
    // The index on x survived two rebuilds.
    EXPECT_EQ(IndexList(s, "t"), "x(x)");
    EXPECT_EQ(
        Render(s, "SELECT count(*) FROM sqlite_schema WHERE type = 'index' AND tbl_name = 't'"),
        "1");
}

TEST(AlterColumnType, FailureLeavesTheTableAsItWas) {
    Store s = Store::InMemory();
    s.CreateTable("t", {{"code", ColumnType::Text(10)}});
    Fill(s, "t", "('1'), ('Valve'), ('70000')");
    EXPECT_EQ(
        Outcome([&] { s.AlterColumnType("t", "code", ColumnType::Long()); }),
        "error: Column 'code' of table 't' cannot become Long: the value 'Valve' is not a number.");
    EXPECT_EQ(Render(s, "SELECT code, typeof(code) FROM t ORDER BY _rowid_"),
              "1|text;Valve|text;70000|text");
    EXPECT_EQ(Types(s, "t"), "code:Text(10)");
    s.Execute("DELETE FROM t WHERE code = 'Valve'");
    EXPECT_EQ(Outcome([&] { s.AlterColumnType("t", "code", ColumnType::Integer()); }),
              "error: Column 'code' of table 't' cannot become Integer: the value 70000 is out of "
              "its range.");
}

TEST(FitTypesToData, TextArrivingInNumbersAndLongTexts) {
    Store s = Store::InMemory();
    s.CreateTable("t", {{"n", ColumnType::Long()}, {"s", ColumnType::Text(4)}});
    Fill(s, "t", "(1, 'ab'), (2, 'abc')");
    EXPECT_FALSE(s.FitTypesToData("t"));
    // Rows that came by plain SQL: a decode without the type change, a value over the width.
    s.Execute("UPDATE t SET n = 'Open' WHERE n = 1");
    s.Execute("UPDATE t SET s = 'abcdefg' WHERE s = 'abc'");
    EXPECT_TRUE(s.FitTypesToData("t"));
    EXPECT_EQ(Types(s, "t"), "n:Text(255),s:Text(7)");
    EXPECT_EQ(Render(s, "SELECT n, typeof(n) FROM t ORDER BY _rowid_"), "Open|text;2|text");
}

TEST(AlterColumnTypes, SeveralColumnsInOneGo) {
    Store s = Store::InMemory();
    s.CreateTable("t", {{"a", ColumnType::Long()},
                        {"b", ColumnType::Double()},
                        {"c", ColumnType::Text(3)},
                        {"d", ColumnType::Text(10)}});
    s.IndexColumn("a", "t");
    Fill(s, "t", "(3, 1.5, 'x', '12'), (NULL, 3.0, 'yy', NULL)");
    s.AlterColumnTypes(
        "t", {{"a", ColumnType::Text(255)}, {"b", ColumnType::Text(1)}, {"d", ColumnType::Long()}});
    // Numbers become text as Access shows them ("3" for a REAL 3.0), a width too small widens,
    // numeric text becomes a number; the untouched column and the index stay.
    EXPECT_EQ(Types(s, "t"), "a:Text(255),b:Text(3),c:Text(3),d:Long");
    EXPECT_EQ(Render(s, "SELECT a, b, typeof(b), c, d, typeof(d) FROM t ORDER BY _rowid_"),
              "3|1.5|text|x|12|integer;<null>|3|text|yy|<null>|null");
    EXPECT_EQ(IndexList(s, "t"), "a(a)");
    // A value that does not convert leaves every column as it was.
    EXPECT_EQ(Outcome([&] {
                  s.AlterColumnTypes("t", {{"b", ColumnType::Double()}, {"c", ColumnType::Long()}});
              }),
              "error: Column 'c' of table 't' cannot become Long: the value 'x' is not a number.");
    EXPECT_EQ(Types(s, "t"), "a:Text(255),b:Text(3),c:Text(3),d:Long");
    EXPECT_EQ(Render(s, "SELECT b, typeof(b) FROM t ORDER BY _rowid_"), "1.5|text;3|text");
}

TEST(FitTypesToData, OnlyTheNamedColumns) {
    Store s = Store::InMemory();
    s.CreateTable("t", {{"n", ColumnType::Long()},
                        {"m", ColumnType::Long()},
                        {"s", ColumnType::Text(2)},
                        {"u", ColumnType::Text(2)}});
    Fill(s, "t", "(1, 1, 'a', 'a')");
    s.Execute("UPDATE t SET n = 'Open', m = 'Shut', s = 'abc', u = 'abcd'");
    EXPECT_TRUE(s.FitTypesToData("t", {"N", "s"}));
    EXPECT_EQ(Types(s, "t"), "n:Text(255),m:Long,s:Text(3),u:Text(2)");
    EXPECT_FALSE(s.FitTypesToData("t", {"n", "s"}));
    EXPECT_TRUE(s.FitTypesToData("t"));
    EXPECT_EQ(Types(s, "t"), "n:Text(255),m:Text(255),s:Text(3),u:Text(4)");
}

// SelectInto scans only the columns whose values may not fit the type it gave them.
TEST(SelectInto, FitsWhatTheCatalogueDoesNotVouchFor) {
    Store s = Store::InMemory();
    s.CreateTable("t", {{"s", ColumnType::Text(4)}, {"n", ColumnType::Long()}});
    Fill(s, "t", "('abcd', 7)");
    s.Execute("CREATE TABLE plain (v varchar(2))");
    s.Execute("INSERT INTO plain VALUES ('long text')");
    // A hint too narrow, a union with a branch from a table the catalogue does not know, a union
    // whose second branch is an expression, and a column of that table alone.
    s.SelectInto("SELECT s AS h, s AS copy FROM t", "a", {{"h", ColumnType::Text(2)}});
    EXPECT_EQ(Types(s, "a"), "h:Text(4),copy:Text(4)");
    s.SelectInto("SELECT s AS x FROM t UNION ALL SELECT v FROM plain", "b");
    EXPECT_EQ(Types(s, "b"), "x:Text(9)");
    s.SelectInto("SELECT s AS x FROM t UNION ALL SELECT jcat(s, s, s) FROM t", "c");
    EXPECT_EQ(Types(s, "c"), "x:Text(12)");
    s.SelectInto("SELECT n AS x FROM t UNION ALL SELECT 'text' FROM t", "e");
    EXPECT_EQ(Types(s, "e"), "x:Text(255)");
    EXPECT_EQ(Render(s, "SELECT x, typeof(x) FROM e ORDER BY _rowid_"), "7|text;text|text");
    s.SelectInto("SELECT v FROM plain", "f");
    EXPECT_EQ(Types(s, "f"), "v:Text(9)");
}

TEST(Counter, DropAndOrder) {
    Store s = Store::InMemory();
    s.CreateTable("t", {{"v", ColumnType::Text(5)}, {"w", ColumnType::Long()}});
    Fill(s, "t", "('c', 1), ('a', 2), ('b', 3)");
    s.AddCounterId("t");
    EXPECT_EQ(Outcome([&] { s.AddCounterId("t", "id"); }),
              "error: Field 'ID' already exists in table 't'.");
    EXPECT_EQ(Outcome([&] { s.AddCounterId("t", "Other"); }),
              "error: Table 't' already has the counter column 'ID'.");
    // Dropping the counter keeps the stored order.
    s.DropColumn("t", "id");
    EXPECT_EQ(Types(s, "t"), "v:Text(5),w:Long");
    EXPECT_EQ(IndexList(s, "t"), "");
    Fill(s, "t", "('d', 4)");
    EXPECT_EQ(Render(s, "SELECT v FROM t ORDER BY _rowid_"), "c;a;b;d");
}

TEST(Indexes, NamesPerTableAndDroppedWithTheirColumn) {
    Store s = Store::InMemory();
    for (const char* t : {"PID", "T_LABELPERSIST"}) {
        s.CreateTable(
            t, {{"SP_ID", ColumnType::Text(32)}, {"Representation_ID", ColumnType::Text(32)}});
        s.IndexColumn("sp_id", t);  // same Jet name in both tables
    }
    s.IndexColumn("Representation_ID", "PID");
    EXPECT_EQ(s.IndexColumn("SP_ID", "PID").name, "SP_ID");  // asked again: the same index
    EXPECT_EQ(IndexList(s, "PID"), "Representation_ID(Representation_ID);SP_ID(SP_ID)");
    EXPECT_EQ(IndexList(s, "T_LABELPERSIST"), "SP_ID(SP_ID)");
    EXPECT_EQ(Outcome([&] { s.CreateIndex("PID", "SP_ID", {"Representation_ID"}, false, false); }),
              "error: Index 'SP_ID' already exists on table 'PID'.");

    // An index made by plain SQL goes with its column too.
    s.Execute("CREATE INDEX raw_ix ON PID(Representation_ID)");
    s.DropColumn("PID", "REPRESENTATION_ID");
    EXPECT_EQ(IndexList(s, "PID"), "SP_ID(SP_ID)");
    EXPECT_EQ(
        Render(s, "SELECT count(*) FROM sqlite_schema WHERE type = 'index' AND tbl_name = 'PID'"),
        "1");

    // A composite key with its Jet name, as _Glossary has it.
    s.CreateTable("_Glossary", {{"Table", ColumnType::Text(64)}, {"Column", ColumnType::Text(64)}});
    s.CreateIndex("_Glossary", "ID", {"Table", "Column"}, true, false);
    EXPECT_EQ(IndexList(s, "_Glossary"), "ID(Table,Column) pk unique");
    Fill(s, "_Glossary", "('PID', 'Tag')");
    EXPECT_NE(Outcome([&] { Fill(s, "_Glossary", "('pid', 'TAG')"); }),
              "ok");  // unique ignoring case
}

TEST(Rename, TablesAndColumnsKeepTheirCatalogue) {
    Store s = Store::InMemory();
    s.CreateTable("t_symbol", {{"sp_id", ColumnType::Text(32)}, {"Angle", ColumnType::Double()}});
    s.IndexColumn("sp_id", "t_symbol");
    s.RenameColumn("t_symbol", "SP_ID", "SP_ID");  // case only
    s.RenameColumn("t_symbol", "angle", "RotationAngle");
    s.RenameTable("T_SYMBOL", "Symbols");
    EXPECT_EQ(Types(s, "symbols"), "SP_ID:Text(32),RotationAngle:Double");
    EXPECT_EQ(IndexList(s, "Symbols"), "sp_id(SP_ID)");
    EXPECT_EQ(s.TableNames(), std::vector<std::string>{"Symbols"});
    s.CreateTable("other", {{"a", ColumnType::Long()}});
    EXPECT_EQ(Outcome([&] { s.RenameTable("other", "SYMBOLS"); }),
              "error: Table 'SYMBOLS' already exists.");
    EXPECT_EQ(Outcome([&] { s.RenameColumn("symbols", "sp_id", "rotationangle"); }),
              "error: Field 'rotationangle' already exists in table 'Symbols'.");
    EXPECT_EQ(Outcome([&] { s.RenameTable("missing", "x"); }),
              "error: Table 'missing' does not exist.");
}

TEST(Rename, NonAsciiCaseOnly) {
    Store s = Store::InMemory();
    s.CreateTable("MASSE", {{"Größe", ColumnType::Long()}});
    s.RenameTable("masse", "Maße");  // ß folds to ss: the same name to Jet, a case-only rename here
    s.RenameColumn("maße", "GRÖSSE", "größe");
    EXPECT_EQ(s.TableNames(), std::vector<std::string>{"Maße"});
    EXPECT_EQ(Types(s, "MASSE"), "größe:Long");
}

TEST(AdoptTable, PlainSqlTableTakesTheStoreForm) {
    Store s = Store::InMemory();
    s.Execute(
        "CREATE TABLE user_t (Name varchar(33), Qty LONG INTEGER, Note Memo, Made TIMESTAMP, x)");
    s.Execute("INSERT INTO user_t VALUES ('Pump', '00123', 'n', '2024-01-02 03:04:05', 1.5)");
    s.AdoptTable("USER_T");
    EXPECT_EQ(Types(s, "user_t"), "Name:Text(33),Qty:Long,Note:Memo,Made:DateTime,x:Double");
    EXPECT_EQ(Render(s, "SELECT count(*) FROM user_t WHERE name = 'PUMP' AND note = 'N'"), "1");
    EXPECT_EQ(Render(s, "SELECT Qty, typeof(Qty) FROM user_t"), "123|integer");
}

TEST(UpdateFromJoin, SeveralSourcesAndFilters) {
    Store s = Store::InMemory();
    s.CreateTable("t_connector",
                  {{"sp_id", ColumnType::Text(5)}, {"Plantitemtype", ColumnType::Long()}});
    s.CreateTable("pid",
                  {{"sp_id", ColumnType::Text(5)}, {"REPRESENTATION_ID", ColumnType::Text(5)}});
    s.CreateTable("t_plantitem",
                  {{"sp_id", ColumnType::Text(5)}, {"Plantitemtype", ColumnType::Long()}});
    Fill(s, "t_connector", "('r1', NULL), ('r2', NULL), ('r3', 9)");
    Fill(s, "pid", "('m1', 'R1'), ('m2', 'r2'), ('m9', 'r2')");
    Fill(s, "t_plantitem", "('m1', 4), ('m2', 5), ('m9', 6)");
    JoinUpdate u;
    u.target = "t_connector";
    u.source = "t_plantitem, pid";
    u.on = "t_connector.sp_id = pid.REPRESENTATION_ID AND pid.sp_id = t_plantitem.sp_id";
    u.set = {{"plantitemtype", "t_plantitem.Plantitemtype"}};
    u.order = "pid._rowid_";
    EXPECT_EQ(s.UpdateFromJoin(u), 2);
    EXPECT_EQ(Render(s, "SELECT sp_id, Plantitemtype FROM t_connector ORDER BY sp_id"),
              "r1|4;r2|6;r3|9");

    // A filter on the target keeps other rows as they are, also with a LEFT join.
    JoinUpdate l{"t_connector",
                 "c",
                 "pid AS p",
                 "c.sp_id = p.REPRESENTATION_ID",
                 {{"Plantitemtype", "length(p.sp_id)"}},
                 "c.sp_id <> 'r1'",
                 "",
                 true,
                 false,
                 {}};
    EXPECT_EQ(s.UpdateFromJoin(l), 2);
    EXPECT_EQ(Render(s, "SELECT sp_id, Plantitemtype FROM t_connector ORDER BY sp_id"),
              "r1|4;r2|2;r3|<null>");

    JoinUpdate bad = u;
    bad.order.clear();
    EXPECT_EQ(
        Outcome([&] { s.UpdateFromJoin(bad); }),
        "error: UpdateFromJoin on 't_connector': a source of several tables needs its order.");
}

// With a source of two tables the last row of the join in (a, b) order wins: every term of the
// order is reversed, not only the last.
TEST(UpdateFromJoin, LastRowOfATwoTableJoin) {
    Store s = Store::InMemory();
    s.CreateTable("target", {{"k", ColumnType::Text(5)}, {"v", ColumnType::Text(20)}});
    s.CreateTable("a", {{"k", ColumnType::Text(5)}, {"j", ColumnType::Text(5)}});
    s.CreateTable("b", {{"j", ColumnType::Text(5)}, {"v", ColumnType::Text(20)}});
    Fill(s, "target", "('x', NULL), ('y', NULL)");
    Fill(s, "a", "('x', '1'), ('x', '2'), ('y', '1')");
    Fill(s, "b", "('1', 'a1 b1'), ('1', 'a1 b2'), ('2', 'a2 b1')");
    JoinUpdate u;
    u.target = "target";
    u.targetAlias = "t";
    u.source = "a, b";
    u.on = "t.k = a.k AND a.j = b.j";
    u.set = {{"v", "b.v"}};
    u.order = "a._rowid_, b._rowid_";
    EXPECT_EQ(s.UpdateFromJoin(u), 2);
    EXPECT_EQ(Render(s, "SELECT k, v FROM target ORDER BY k"), "x|a2 b1;y|a1 b2");
}

// Values from another table may not fit the target's column: the column follows them, since a
// later copy of the table trusts the catalogue.
TEST(UpdateFromJoin, SetColumnsFitTheirNewValues) {
    Store s = Store::InMemory();
    s.CreateTable(
        "target",
        {{"k", ColumnType::Text(5)}, {"v", ColumnType::Text(3)}, {"n", ColumnType::Long()}});
    s.CreateTable(
        "src",
        {{"k", ColumnType::Text(5)}, {"v", ColumnType::Text(40)}, {"n", ColumnType::Text(10)}});
    Fill(s, "target", "('x', 'abc', 1)");
    Fill(s, "src", "('x', 'a longer value', 'n/a')");
    JoinUpdate u{"target", "t", "src", "t.k = src.k", {{"v", "src.v"}, {"n", "src.n"}},
                 "",       "",  false, false,         {}};
    EXPECT_EQ(s.UpdateFromJoin(u), 1);
    EXPECT_EQ(Types(s, "target"), "k:Text(5),v:Text(14),n:Text(255)");
}

TEST(UpdateFromJoin, OrderTermsAreEachReversed) {
    JoinUpdate u;
    u.target = "t";
    u.source = "a, b";
    u.on = "t.k = a.k";
    u.set = {{"v", "b.v"}};
    u.order = "a._rowid_, coalesce(b.x, ','), b.y DESC, b.z asc";
    const std::string sql = UpdateFromJoinSql(u);
    EXPECT_NE(sql.find("ORDER BY a._rowid_ DESC, coalesce(b.x, ',') DESC, b.y, b.z DESC)"),
              std::string::npos)
        << sql;
}

TEST(FirstLast, RowsOfEachGroupInInsertionOrder) {
    Store s = Store::InMemory();
    s.CreateTable("t_lastrevision",
                  {{"sp_drawingid", ColumnType::Text(5)}, {"rev", ColumnType::Text(5)}});
    Fill(s, "t_lastrevision", "('d1', 'C'), ('d2', 'A'), ('D1', 'A'), ('d1', 'B'), ('d2', 'Z')");
    const std::string first = FirstRowsFilter("t_lastrevision", "sp_drawingid");
    EXPECT_EQ(first,
              "\"t_lastrevision\"._rowid_ IN (SELECT min(_rowid_) FROM \"t_lastrevision\" GROUP BY "
              "sp_drawingid)");
    EXPECT_EQ(
        Render(s, "SELECT sp_drawingid, rev FROM t_lastrevision WHERE " + first + " ORDER BY 1"),
        "d1|C;d2|A");
    const std::string last = LastRowsFilter("t_lastrevision", "sp_drawingid", "rev <> 'z'", "r");
    EXPECT_EQ(Render(s, "SELECT sp_drawingid, rev FROM t_lastrevision r WHERE rev <> 'z' AND " +
                            last + " ORDER BY 1"),
              "d1|B;d2|A");
}

TEST(StoreFile, CreateReplacesAndOpenKeepsTheCatalogue) {
    tb::test::TempDir dir;
    const auto file = dir / "store.sqlite";
    {
        Store s = Store::Create(file);
        s.CreateTable("PID", {{"Tag", ColumnType::Text(40)}});
        s.IndexColumn("Tag", "PID");
        s.CreateLink({"Big", "PID", "/tmp/x_link.mdb", ""});
    }
    {
        Store s = Store::Open(file);
        EXPECT_EQ(Types(s, "pid"), "Tag:Text(40)");
        EXPECT_EQ(IndexList(s, "pid"), "Tag(Tag)");
        ASSERT_TRUE(s.FindLink("BIG").has_value());
        EXPECT_EQ(s.FindLink("BIG")->remotePath, "/tmp/x_link.mdb");
    }
    Store fresh = Store::Create(file);
    EXPECT_TRUE(fresh.TableNames().empty());
    EXPECT_EQ(Outcome([&] { Store::Open(dir / "missing.sqlite"); }),
              "error: The store '" + (dir / "missing.sqlite").string() + "' does not exist.");
}

}  // namespace
}  // namespace tb::store::test
