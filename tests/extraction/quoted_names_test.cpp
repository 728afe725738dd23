// Plant columns and configured keys whose names are not plain identifiers: quoted in plant SQL with
// the catalogue's spelling, bracketed (or double-quoted) in the store's SQL, and left out of the
// run when Access cannot name their column.
#include <gtest/gtest.h>

#include "common/log.h"
#include "extraction/attribute_keys.h"
#include "extraction/category_sql.h"
#include "extraction/plant_sql.h"
#include "support/log_capture.h"

namespace tb::extraction {
namespace {

using Names = std::vector<std::string>;

AttributeKeys Keys(std::initializer_list<std::pair<const char*, Names>> categories) {
    AttributeKeys k;
    for (const auto& [category, keys] : categories) k.Set(category, keys);
    return k;
}

TEST(QuotedNames, PlantColumnsTakeTheCatalogueSpellingWhenQuoted) {
    const struct {
        Dialect dialect;
        const char* name;
        Names catalogue;
        const char* expected;
    } cases[] = {
        // A plain name keeps the key's spelling: today's statements stay as they are.
        {Dialect::Oracle, "itemtag", {"ITEMTAG"}, "itemtag"},
        {Dialect::Oracle, "evil col", {"SP_ID", "Evil Col"}, "\"Evil Col\""},
        {Dialect::Oracle, "Evil\"Col", {}, "\"Evil\"\"Col\""},
        {Dialect::SqlServer, "evil]col", {"Evil]Col"}, "[Evil]]Col]"},
        {Dialect::Sqlite, "Evil'Col", {"EVIL'COL"}, "\"EVIL'COL\""},
        {Dialect::AccessCopy, "A B", {"x"}, "\"A B\""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PlantColumn(c.dialect, c.name, c.catalogue), c.expected)
            << plantaccess::DialectName(c.dialect) << " " << c.name;
}

TEST(QuotedNames, DrawingColumnsOfThePidStatement) {
    const AttributeKeys keys =
        Keys({{"Plantitems", {"Others.Drawing_sheet title", "Others.Drawing_Evil\"Col"}}});
    const Names drawing = {"SP_ID", "NAME", "PATH", "Sheet Title", "Evil\"Col"};
    const struct {
        Dialect dialect;
        const char* entries;
    } cases[] = {
        {Dialect::Oracle,
         "T_Drawing.\"Sheet Title\" \"Drawing_sheet title\","
         "T_Drawing.\"Evil\"\"Col\" \"Drawing_Evil\"\"Col\",T_Drawing.Name Drawing_Name,"},
        {Dialect::SqlServer,
         "T_Drawing.[Sheet Title] AS [Drawing_sheet title],"
         "T_Drawing.[Evil\"Col] AS [Drawing_Evil\"Col],T_Drawing.Name AS Drawing_Name,"},
        {Dialect::Sqlite,
         "T_Drawing.\"Sheet Title\" \"Drawing_sheet title\","
         "T_Drawing.\"Evil\"\"Col\" \"Drawing_Evil\"\"Col\",T_Drawing.Name Drawing_Name,"},
    };
    for (const auto& c : cases) {
        const std::string columns =
            GetSQL4TDrawing(keys, {"Plantitems"}, drawing, c.dialect).columns;
        EXPECT_TRUE(columns.starts_with(c.entries)) << plantaccess::DialectName(c.dialect) << "\n"
                                                    << columns;
    }
}

TEST(QuotedNames, StoreTextsOfTheChains) {
    const AttributeKeys keys = Keys(
        {{"Eqp_Nozzle",
          {"t_plantitem.Odd Tag_Equipment", "t_plantitem.It's_Equipment",
           "T_CaseProcess.ProcessDesign_Max_Case\"Val_Equipment", "Others.Drawing_Sheet Title"}}});
    EXPECT_EQ(GetSQL4AddCols4DiffTypes(keys, "t_plantitem", "Eqp_Nozzle", "_Equipment",
                                       {"SP_ID", "Odd Tag", "It's"}),
              "SELECT [Odd Tag] AS [Equipment_Odd Tag],[It's] AS [Equipment_It's],[SP_ID] AS "
              "[Equipment_SP_ID] "
              "FROM [t_plantitem]");
    EXPECT_EQ(GetSQL4CaseProcess("ProcessDesign_Max_Case\"Val_Equipment"),
              "SELECT [SP_ID] AS [T_CaseProcess_SP_ID],[Case\"Val] AS "
              "[Equipment_ProcessDesign_Max_Case\"Val] FROM "
              "[T_CaseProcess] WHERE casetype=1 AND quality=2");
    EXPECT_EQ(
        GetSQL4OthersCols(keys, "Eqp_Nozzle", {"SP_ID", "Drawing_Sheet Title", "Drawing_SP_ID"}),
        "SELECT [SP_ID] AS [Others_SP_ID],[Drawing_Sheet Title],[Drawing_SP_ID] FROM [PID] "
        "GROUP BY [SP_ID],[Drawing_Sheet Title],[Drawing_SP_ID]");
    // SQLite's brackets cannot hold "]": such a name goes in double quotes.
    EXPECT_EQ(
        JoinTableSql("LEFT", {}, "a", {"k", "x]y"}, "k", "b", {"k2"}, "k2"),
        "SELECT [a].[k] AS [k], [a].\"x]y\" AS \"x]y\", [b].[k2] AS [k2] FROM [a] LEFT JOIN [b] "
        "ON [a].[k]=[b].[k2] ORDER BY [a]._rowid_, [b]._rowid_");
}

TEST(QuotedNames, KeysAccessCannotNameAreLeftOutWithOneLineEach) {
    const struct {
        const char* key;
        const char* what;  // empty: kept
    } cases[] = {
        {"t_equipment.Evil\"Col", ""},
        {"t_equipment.Evil'Col", ""},
        {"t_equipment.Evil Col", ""},
        {"t_equipment.Evil]Col", "']'"},
        {"t_equipment.Evil[Col", "'['"},
        {"t_equipment.Evil.Col", "'.'"},
        {"t_equipment.Evil!Col", "'!'"},
        {"t_equipment.Evil`Col", "'`'"},
        {"t_equipment.Evil\tCol", "a control character"},
        {"Others.Drawing_A.B", "'.'"},
        {"T_CaseProcess.ProcessDesign_Max_Evil]Col_Equipment", "']'"},
    };
    Names all, kept, expectedLines;
    for (const auto& c : cases) {
        all.emplace_back(c.key);
        if (*c.what)
            expectedLines.push_back(std::string("The attribute ") + c.key +
                                    " is left out: Access does not allow " + c.what +
                                    " in a column name.");
        else
            kept.emplace_back(c.key);
    }
    // A key in two categories is named once.
    AttributeKeys keys = Keys({{"Eqp_Nozzle", all},
                               {"Plantitems", {"T_PlantItem.A]B", "T_PlantItem.ItemTag"}},
                               {"Instruments", {"t_plantitem.a]b"}}});
    expectedLines.push_back(
        "The attribute T_PlantItem.A]B is left out: Access does not allow ']' in a column name.");
    tb::test::LogCapture log;
    const Names leftOut = LeaveOutKeysAccessCannotName(keys);
    EXPECT_EQ(log.lines, expectedLines);
    EXPECT_EQ(leftOut.size(), expectedLines.size());
    EXPECT_EQ(keys.Keys("Eqp_Nozzle"), kept);
    EXPECT_EQ(keys.Keys("Plantitems"), Names{"T_PlantItem.ItemTag"});
    EXPECT_TRUE(keys.Keys("Instruments").empty());
}

}  // namespace
}  // namespace tb::extraction
