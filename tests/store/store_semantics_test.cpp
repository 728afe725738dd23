// What the store means differently from plain SQLite: each case sets up a store, acts, and reads
// one result. A failing case names itself.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "store/store.h"
#include "store_test_util.h"

namespace tb::store::test {
namespace {

struct SemanticsCase {
    const char* name;
    std::function<void(Store&)> act;
    std::string query;     // read after act; empty when the case is about act's outcome
    std::string expected;  // the rendered result, or "error: <part of the description>"
};

void NamesTable(Store& s) {
    s.CreateTable("names", {{"n", ColumnType::Text(50)}});
    Fill(s, "names", "('Ärger'), ('STRASSE'), ('Weiß'), ('olé')");
}

void CodesTable(Store& s) {
    s.CreateTable("t", {{"code", ColumnType::Long()}});
    Fill(s, "t", "(1), (2), (3)");
    // The decode: the column turns to text first, then code-list texts replace the numbers.
    s.AlterColumnType("t", "code", ColumnType::Text(255));
    s.Execute("UPDATE t SET code = '01' WHERE code = '1'");
    s.Execute("UPDATE t SET code = '1.50' WHERE code = 2");
}

void UnionTables(Store& s) {
    s.CreateTable("t1", {{"a", ColumnType::Text(40)}, {"num", ColumnType::Long()}});
    s.CreateTable("t2", {{"b", ColumnType::Text(10)}, {"dbl", ColumnType::Double()}});
    Fill(s, "t1", "('x', 1)");
    Fill(s, "t2", "('y', 2.5)");
}

void JoinTables(Store& s) {
    s.CreateTable("target", {{"k", ColumnType::Text(10)}, {"v", ColumnType::Text(20)}});
    s.CreateTable("source", {{"k", ColumnType::Text(10)}, {"v", ColumnType::Text(20)}});
    Fill(s, "target", "('a', 'old a'), ('b', 'old b'), ('c', 'old c')");
    // Two rows match 'a' (one only ignoring case); the later one must win, whatever its value.
    Fill(s, "source", "('a', 'z first'), ('b', 'b only'), ('A', 'a last')");
}

void Counted(Store& s) {
    s.CreateTable("items", {{"name", ColumnType::Text(10)}});
    Fill(s, "items", "('zulu'), ('alpha'), ('mike')");
    s.Execute("DELETE FROM items WHERE name = 'alpha'");
    Fill(s, "items", "('bravo')");
    s.AddCounterId("items");
    Fill(s, "items (name)", "('yankee')");
}

std::vector<std::string> ManyColumns(int n) {
    std::vector<std::string> out;
    for (int i = 0; i < n; ++i) out.push_back("c" + std::to_string(i));
    return out;
}

void WideTable(Store& s, int columns) {
    std::vector<ColumnDef> defs;
    for (const std::string& c : ManyColumns(columns)) defs.push_back({c, ColumnType::Long()});
    s.CreateTable("wide", defs);
}

const std::vector<SemanticsCase>& Cases() {
    static const std::vector<SemanticsCase> cases = {
        // Decoded values stay the text they are.
        {"decoded text kept", CodesTable, "SELECT code, typeof(code) FROM t ORDER BY _rowid_",
         "01|text;1.50|text;3|text"},
        {"decoded text kept by SelectInto",
         [](Store& s) {
             CodesTable(s);
             s.SelectInto("SELECT code FROM t", "copy");
         },
         "SELECT code, typeof(code) FROM copy ORDER BY _rowid_", "01|text;1.50|text;3|text"},
        {"decoded column typed as text", CodesTable,
         "SELECT jet_type FROM __tb_columns WHERE table_name = 't'", "Text(255)"},

        // Text compares ignore case, for all of Unicode, whichever side the column is on.
        {"equal, column left", NamesTable, "SELECT n FROM names WHERE n = 'ärger'", "Ärger"},
        {"equal, column right", NamesTable, "SELECT n FROM names WHERE 'äRGER' = n", "Ärger"},
        {"not equal", NamesTable, "SELECT count(*) FROM names WHERE n <> 'OLÉ'", "3"},
        {"in list, full folding", NamesTable, "SELECT n FROM names WHERE n IN ('straße')",
         "STRASSE"},
        {"like, non-ASCII", NamesTable, "SELECT n FROM names WHERE n LIKE 'ÄR%' OR n LIKE '%É'",
         "Ärger;olé"},
        {"distinct and group by",
         [](Store& s) {
             NamesTable(s);
             Fill(s, "names", "('ärger'), ('OLÉ')");
         },
         "SELECT count(*) FROM (SELECT DISTINCT n FROM names) UNION ALL "
         "SELECT count(*) FROM (SELECT n FROM names GROUP BY n)",
         "4;4"},
        {"join key",
         [](Store& s) {
             NamesTable(s);
             s.CreateTable("other", {{"m", ColumnType::Text(50)}});
             Fill(s, "other", "('WEISS'), ('ÄRGER')");
         },
         "SELECT n FROM other JOIN names ON other.m = names.n ORDER BY n", "Weiß;Ärger"},
        // Folded texts in code point order: "ä" comes after "w", where Jet sorts it with "a".
        {"order by", NamesTable, "SELECT n FROM names ORDER BY n", "olé;STRASSE;Weiß;Ärger"},

        // SelectInto takes the widest type over the branches of a UNION, also in a subquery,
        // where SQLite reports the last branch only.
        {"union in a subquery",
         [](Store& s) {
             UnionTables(s);
             s.SelectInto(
                 "SELECT * FROM (SELECT a AS v, num AS n FROM t1 UNION SELECT b, dbl FROM t2) AS u",
                 "u");
         },
         "SELECT column_name, jet_type FROM __tb_columns WHERE table_name = 'u' ORDER BY "
         "column_name",
         "n|Double;v|Text(40)"},
        {"union at the top",
         [](Store& s) {
             UnionTables(s);
             s.SelectInto("SELECT b AS v FROM t2 UNION ALL SELECT a FROM t1 ORDER BY 1", "u");
         },
         "SELECT jet_type FROM __tb_columns WHERE table_name = 'u'", "Text(40)"},
        {"union of number and text",
         [](Store& s) {
             UnionTables(s);
             s.SelectInto("SELECT x FROM (SELECT b AS x FROM t2 UNION SELECT num FROM t1)", "u");
         },
         "SELECT x FROM u ORDER BY x", "1;y"},

        // Access's &.
        {"jcat",
         {},
         "SELECT jcat(NULL, NULL), jcat(NULL, 'a', NULL), jcat('', NULL), jcat(3.0), jcat(1e20), "
         "jcat(0.5), jcat(0.1 + 0.2), jcat('n', -7, 'x'), jcat(1e-5)",
         "<null>|a||3|1E+20|0.5|0.3|n-7x|1E-05"},

        // Updates over joins: the last matching row in insertion order wins; a LEFT join
        // writes Null where nothing matches.
        {"last matching row wins",
         [](Store& s) {
             JoinTables(s);
             s.UpdateFromJoin({"target",
                               "t",
                               "source AS s",
                               "t.k = s.k",
                               {{"v", "s.v"}},
                               "",
                               "",
                               false,
                               false,
                               {}});
         },
         "SELECT k, v FROM target ORDER BY k", "a|a last;b|b only;c|old c"},
        // A key asked to be unique that is not: the ranking stays.
        {"key not unique, last row still wins",
         [](Store& s) {
             JoinTables(s);
             s.UpdateFromJoin({"target",
                               "t",
                               "source AS s",
                               "t.k = s.k",
                               {{"v", "s.v"}},
                               "",
                               "",
                               false,
                               false,
                               {{"source", "k"}}});
         },
         "SELECT k, v FROM target ORDER BY k", "a|a last;b|b only;c|old c"},
        {"unique key, case ignored",
         [](Store& s) {
             JoinTables(s);
             s.Execute("DELETE FROM source WHERE v = 'z first'");
             s.UpdateFromJoin({"target",
                               "t",
                               "source AS s",
                               "t.k = s.k",
                               {{"v", "s.v"}},
                               "",
                               "",
                               false,
                               false,
                               {{"source", "k"}}});
         },
         "SELECT k, v FROM target ORDER BY k", "a|a last;b|b only;c|old c"},
        {"left join writes Null",
         [](Store& s) {
             JoinTables(s);
             s.UpdateFromJoin({"target",
                               "t",
                               "source AS s",
                               "t.k = s.k",
                               {{"v", "s.v"}},
                               "",
                               "",
                               true,
                               false,
                               {}});
         },
         "SELECT k, v FROM target ORDER BY k", "a|a last;b|b only;c|<null>"},

        // The COUNTER ID numbers rows in stored order, and later inserts go on from there.
        {"counter in stored order", Counted, "SELECT name, ID FROM items ORDER BY ID",
         "zulu|1;mike|2;bravo|3;yankee|4"},
        {"counter in the catalogue", Counted,
         "SELECT c.jet_type, i.index_name, i.is_primary FROM __tb_columns c JOIN __tb_indexes i "
         "ON i.table_name = c.table_name AND i.column_name = c.column_name WHERE c.table_name = "
         "'items'",
         "Counter|ID|1"},

        // A rename that changes only the case.
        {"rename, case only",
         [](Store& s) {
             s.CreateTable("PLANTITEMS", {{"SP_ID", ColumnType::Text(32)}});
             s.RenameTable("plantitems", "Plantitems");
         },
         "SELECT name FROM sqlite_schema WHERE type = 'table' AND name LIKE 'plantitems' UNION ALL "
         "SELECT table_name || '.' || column_name || ' ' || jet_type FROM __tb_columns",
         "Plantitems;Plantitems.SP_ID Text(32)"},

        // Access's limits, checked as tables and columns are made.
        {"255 columns", [](Store& s) { WideTable(s, 255); },
         "SELECT count(*) FROM pragma_table_info('wide')", "255"},
        {"256 columns", [](Store& s) { WideTable(s, 256); }, "",
         "error: Table 'wide' would have 256 columns; Access allows at most 255."},
        {"256th column added",
         [](Store& s) {
             WideTable(s, 255);
             s.AddColumn("wide", {"one_more", ColumnType::Long()});
         },
         "", "error: Table 'wide' would have 256 columns"},
        {"64-character name",
         [](Store& s) {
             s.CreateTable("t", {{std::string(64, 'x'), ColumnType::Long()}});
         },
         "", "ok"},
        {"65-character name",
         [](Store& s) {
             s.CreateTable("t", {{std::string(65, 'x'), ColumnType::Long()}});
         },
         "",
         "error: Column '" + std::string(65, 'x') + "' of table 't': the name is longer than 64"},
        {"dot in a column name",
         [](Store& s) {
             s.CreateTable("t", {{"a.b", ColumnType::Long()}});
         },
         "", "error: Column 'a.b' of table 't': the name holds '.'"},
        {"bracket in a table name",
         [](Store& s) {
             s.CreateTable("t[1]", {{"a", ColumnType::Long()}});
         },
         "", "error: Table 't[1]': the name holds '['"},
        {"bang in a renamed column",
         [](Store& s) {
             s.CreateTable("t", {{"a", ColumnType::Long()}});
             s.RenameColumn("t", "a", "a!");
         },
         "", "error: Column 'a!' of table 't': the name holds '!'"},
        {"limit in SelectInto", [](Store& s) { s.SelectInto("SELECT 1 AS [x.y]", "t"); }, "",
         "error: Column 'x.y' of table 't'"},
    };
    return cases;
}

TEST(StoreSemantics, AllCases) {
    for (const SemanticsCase& c : Cases()) {
        SCOPED_TRACE(c.name);
        Store store = Store::InMemory();
        const std::string outcome = Outcome([&] {
            if (c.act) c.act(store);
        });
        if (c.query.empty() || outcome != "ok") {
            if (c.expected.rfind("error:", 0) == 0)
                EXPECT_EQ(outcome.rfind(c.expected, 0), 0u) << outcome;
            else
                EXPECT_EQ(outcome, c.expected);
            continue;
        }
        EXPECT_EQ(Render(store, c.query), c.expected);
    }
}

}  // namespace
}  // namespace tb::store::test
