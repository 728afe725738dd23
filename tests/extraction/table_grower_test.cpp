// The grown table gathers its joins into one statement: its rows, their order and its columns must
// be those of running each join into a table of its own, as JoinTable does.

#include <gtest/gtest.h>

#include "extraction/category_sql.h"
#include "extraction/post_process.h"
#include "store_fixture.h"

namespace tb::extraction {
namespace {

using test::MakeTable;
using test::Render;
using test::Shape;

TEST(ParseProjection, OnlyPlainColumnsOfOneTable) {
    using Columns = std::vector<std::pair<std::string, std::string>>;
    struct Case {
        const char* sql;
        const char* table;  // nullptr: not a projection
        Columns columns;
    } cases[] = {
        {"SELECT [ItemTag] AS [PipeRun_ItemTag],[SP_ID] FROM [t_plantitem]",
         "t_plantitem",
         {{"ItemTag", "PipeRun_ItemTag"}, {"SP_ID", "SP_ID"}}},
        {"SELECT [a b] AS [c] FROM [my table]", "my table", {{"a b", "c"}}},
        {"SELECT [a] FROM [t] WHERE [a] > 1", nullptr, {}},
        {"SELECT [SP_ID] AS [Others_SP_ID],[x] FROM [PID] GROUP BY [SP_ID],[x]", nullptr, {}},
        {"SELECT max([a]) AS [m] FROM [t]", nullptr, {}},
        {"SELECT * FROM [t]", nullptr, {}},
        {"SELECT [a] AS [x],[b] AS [X] FROM [t]", nullptr, {}},  // one name twice
        {"SELECT \"a]b\" FROM [t]", nullptr, {}},
        {"SELECT [a],[b] FROM [t], [u]", nullptr, {}},
        {"SELECT [] FROM [t]", nullptr, {}},
    };
    for (const Case& c : cases) {
        const auto p = ParseProjection(c.sql);
        ASSERT_EQ(p.has_value(), c.table != nullptr) << c.sql;
        if (!p) continue;
        EXPECT_EQ(p->table, c.table) << c.sql;
        EXPECT_EQ(p->columns, c.columns) << c.sql;
    }
}

class Grower : public ::testing::Test {
  protected:
    void SetUp() override {
        // Keys repeat, differ in case and are missing: joins multiply rows and leave gaps.
        MakeTable(st, "base", {"k", "v", "n:Long"},
                  "('a', 'x', 1), ('b', 'y', 2), ('A', NULL, 3), (NULL, 'x', 4), ('c', 'z', 5)");
        MakeTable(st, "r1", {"k", "w"}, "('a', 'w1'), ('B', 'w2'), ('a', 'w3'), ('d', 'w4')");
        MakeTable(st, "r2", {"k2", "z:Long"}, "('x', 10), ('y', 20), ('x', 30), ('q', 40)");
        MakeTable(st, "groups", {"g", "label"}, "('x', 'ex'), ('X', 'ex again'), ('y', 'why')");
    }

    // The rows and columns of a table in stored order.
    std::string Dump(const std::string& table) {
        return Shape(st, table) + "\n" +
               Render(st, "SELECT * FROM [" + table + "] ORDER BY _rowid_");
    }

    store::Store st = store::Store::InMemory();
};

TEST_F(Grower, OneStatementGivesWhatJoinsOneByOneGive) {
    struct Step {
        const char* kind;
        const char* right;  // a table, or a statement
        const char* leftKey;
        const char* rightKey;
        bool keepRightKey;
    };
    struct Case {
        const char* name;
        std::vector<Step> steps;
    } cases[] = {
        {"left joins, a projection and a grouped statement",
         {{"LEFT", "r1", "k", "k", false},
          {"INNER", "SELECT [k2] AS [vk],[z] FROM [r2]", "v", "vk", false},
          {"LEFT", "SELECT [k2], count(*) AS [cnt] FROM [r2] GROUP BY [k2]", "v", "k2", false}}},
        {"a right join first, its key kept",
         {{"RIGHT", "r1", "k", "k", true}, {"LEFT", "r2", "v", "k2", false}}},
        {"a full join between two others",
         {{"LEFT", "r2", "v", "k2", true},
          {"out", "SELECT [g] AS [k2],[label] FROM [groups]", "k2", "k2", false},
          {"LEFT", "r1", "k", "k", false}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // One by one, as the chains ran before.
        std::string left = "base";
        int n = 0;
        ScratchTables scratch(st);
        for (const Step& s : c.steps) {
            std::string right = s.right;
            if (right.starts_with("SELECT")) {
                right = scratch.Claim("old_right" + std::to_string(n));
                st.SelectInto(s.right, right);
            }
            const std::string target = scratch.Claim("old" + std::to_string(n++));
            const bool keyOnLeft = s.keepRightKey || st.ColumnExists(left, s.rightKey);
            JoinTable(st, s.kind, {}, left, s.leftKey, right, s.rightKey, target, !keyOnLeft);
            left = target;
        }
        // Gathered.
        {
            ScratchTables mine(st);
            TableGrower g(st, mine, "grown", "test", 100);
            g.StartTable("base");
            for (const Step& s : c.steps) {
                if (std::string_view(s.right).starts_with("SELECT"))
                    EXPECT_TRUE(
                        g.Extend(s.right, s.leftKey, s.rightKey, s.kind, "x", s.keepRightKey));
                else
                    EXPECT_TRUE(
                        g.ExtendTable(s.right, s.leftKey, s.rightKey, s.kind, "x", s.keepRightKey));
            }
            g.Finish();
        }
        EXPECT_EQ(Dump("grown"), Dump(left));
        EXPECT_EQ(
            Render(st,
                   "SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name LIKE 'temp%'"),
            "0");
        st.DropTable("grown");
    }
}

TEST_F(Grower, MoreJoinsThanOneStatementTakes) {
    // SQLite joins 64 tables at most: the grower runs what it has gathered and goes on.
    ScratchTables mine(st);
    TableGrower g(st, mine, "wide", "test");
    MakeTable(st, "u", {"k", "w"}, "('a', 'wa'), ('b', 'wb')");
    g.StartTable("base");
    for (int i = 0; i < 70; ++i)
        ASSERT_TRUE(g.Extend("SELECT [k] AS [k" + std::to_string(i) + "],[w] AS [w" +
                                 std::to_string(i) + "] FROM [u]",
                             "k", "k" + std::to_string(i), "LEFT", "u"));
    g.Finish();
    EXPECT_EQ(st.Columns("wide").size(), 3u + 70u);
    EXPECT_EQ(Render(st, "SELECT n, w0, w69 FROM wide ORDER BY _rowid_"),
              "1|wa|wa;2|wb|wb;3|wa|wa;4|<null>|<null>;5|<null>|<null>");
}

TEST_F(Grower, LeftOutColumnAndMissingKey) {
    ScratchTables mine(st);
    TableGrower g(st, mine, "out", "test");
    g.StartTable("base");
    EXPECT_FALSE(g.ExtendTable("r1", "no_such_column", "k", "LEFT", "r1"));
    EXPECT_FALSE(g.Extend("", "k", "k", "LEFT", "r1"));
    g.DropColumn("v");
    EXPECT_FALSE(g.HasColumn("v"));
    g.Finish();
    EXPECT_EQ(Shape(st, "out"), "k:Text(255),n:Long");
    // The start table is read where it stands and stays as it was.
    EXPECT_EQ(Shape(st, "base"), "k:Text(255),v:Text(255),n:Long");
}

}  // namespace
}  // namespace tb::extraction
