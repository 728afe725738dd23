#include <gtest/gtest.h>

#include "extraction/access_sql.h"
#include "extraction/column_alias.h"

namespace tb::extraction {
namespace {

TEST(ColumnAlias, Rules) {
    struct Case {
        const char* key;
        const char* hint;
        const char* alias;
    } cases[] = {
        {"t_drawing.name", "", "Drawing_name"},
        {"T_Drawing.DateCreated", "", "Drawing_datecreated"},
        {"Others.Quantity", "", "Quantity"},
        {"Others.Drawing_Name", "", "Drawing_Name"},
        {"Others", "", ""},
        {"T_ModelItem.ItemTag_PipeRun", "", "PipeRun_ItemTag"},
        {"t_plantitem.Package_Name_PipeRun", "", "PipeRun_Package_Name"},
        {"T_Nozzle.NominalDiameter_NOZZLE", "", "Nozzle_NominalDiameter"},
        {"t_plantgroup.Name_Equipment", "", "Equipment_Name"},  // the owner rule comes first
        {"T_InstrLoop.Name_Instrloop", "", "Instrloop_Name"},
        {"t_ductrun.Tag_DuctRun", "", "DuctRun_Tag"},
        {"t_plantitem.ItemTag_InlineComp", "", "InlineComp_ItemTag"},
        {"T_Instrument.TagSuffix_Instrument", "", "Instrument_TagSuffix"},
        {"t_plantgroup.Name", "", "Name"},
        {"T_PipingPoint._1_Size", "", "End_1_Size"},
        {"t_pipingpoint._2_PipingPointDescription", "", "End_2_Description"},
        {"T_PlantItem.ItemTag", "", "Plantitem_itemtag"},
        {"T_PlantItem.ItemTag", "ItemTag", "Plantitem_ItemTag"},
        {"T_PlantItem.ItemTag", "PLANTITEM", "PLANTITEM_itemtag"},
        {"T_PlantItem.ItemTag", "nothing", "Plantitem_itemtag"},
    };
    for (const auto& c : cases) EXPECT_EQ(GetColumnAlias(c.key, c.hint), c.alias) << c.key;
}

TEST(ColumnAlias, ShortenAndStrip) {
    EXPECT_EQ(ShortenAlias("Drawing_name"), "Drawing_name");
    EXPECT_EQ(ShortenAlias("Drawing_ThisIsAVeryLongColumnName"), "ThisIsAVeryLongColumnName");
    EXPECT_EQ(ShortenAlias(std::string(31, 'x')), std::string(31, 'x'));  // no "_" to cut at
    EXPECT_EQ(ShortenAlias("a_" + std::string(29, 'x')), std::string(29, 'x'));
    EXPECT_EQ(ShortenAlias("a_" + std::string(28, 'x')), "a_" + std::string(28, 'x'));  // 30 stay
    EXPECT_EQ(StripSuffix("ItemTag_PipeRun", "_piperun"), "ItemTag");
    EXPECT_EQ(StripSuffix("ItemTag_PipeRun", "_PipeRun", "_X"), "ItemTag_X");
    EXPECT_EQ(StripSuffix("PipeRun_ItemTag", "_PipeRun"), "PipeRun_ItemTag");
}

// A drawing alias names its T_Drawing column again, shortened or not, in the plant's spelling.
TEST(ColumnAlias, DrawingColumnOfAlias) {
    const std::vector<std::string> drawing = {"SP_ID", "Name", "DocumentCategory",
                                              "SP_ArePropertiesModified"};
    EXPECT_EQ(DrawingColumnOfAlias("SP_ArePropertiesModified", drawing),
              "SP_ArePropertiesModified");
    EXPECT_EQ(DrawingColumnOfAlias("sp_arepropertiesmodified", drawing),
              "SP_ArePropertiesModified");
    EXPECT_EQ(DrawingColumnOfAlias("Drawing_DocumentCategory", drawing), "DocumentCategory");
    EXPECT_EQ(DrawingColumnOfAlias("Drawing_SP_ID", drawing), "SP_ID");
    // An alias of 30 characters or less keeps its "Drawing_": the bare column is no drawing alias.
    EXPECT_EQ(DrawingColumnOfAlias("SP_ID", drawing), "");
    EXPECT_EQ(DrawingColumnOfAlias("DocumentCategory", drawing), "");
    EXPECT_EQ(DrawingColumnOfAlias("Drawing_ArePropertiesModified", drawing), "");
    EXPECT_EQ(DrawingColumnOfAlias("Drawing_Name", {}), "");
}

TEST(AccessSql, Translation) {
    struct Case {
        const char* access;
        const char* sqlite;
    } cases[] = {
        {"update t set a = b & c", "update t set a = jcat(b, c)"},
        {"select a & ' ' & b as x from t", "select jcat(a, ' ', b) as x from t"},
        {"select x + 1 & y from t", "select jcat(x + 1, y) from t"},
        {"select * from t where a & b = 'xy' and c=1",
         "select * from t where jcat(a, b) = 'xy' and c=1"},
        {"select lcase(a & b), iif(a is null, b & '', a) from t",
         "select lcase(jcat(a, b)), iif(a is null, jcat(b, ''), a) from t"},
        {"select \"O'Brien\" & [Item Tag] from t", "select jcat('O''Brien', [Item Tag]) from t"},
        {"select * from t where d > #2024-01-31#", "select * from t where d > '2024-01-31'"},
        {"select distinctrow a from t", "select DISTINCT a from t"},
        {"select 'a&b' from t", "select 'a&b' from t"},
        {"update InlineComp_Prun a, Codes b set a.PipeRun_Fluid = b.Text where a.PipeRun_FluidCode "
         "= b.Code;",
         "update InlineComp_Prun AS a set PipeRun_Fluid = b.Text FROM Codes b WHERE "
         "(a.PipeRun_FluidCode = b.Code)"},
        {"UPDATE Plantitems INNER JOIN t2 ON Plantitems.SP_ID = t2.SP_ID SET Plantitems.Remark = "
         "t2.Remark & '!', [Plantitems].[Flag]=1",
         "UPDATE Plantitems SET Remark = jcat(t2.Remark, '!'), [Flag]=1 FROM t2 WHERE "
         "(Plantitems.SP_ID = t2.SP_ID)"},
        {"UPDATE a INNER JOIN b ON a.k=b.k SET a.x=b.y WHERE b.z>1",
         "UPDATE a SET x=b.y FROM b WHERE (a.k=b.k) AND (b.z>1)"},
        {"update t set x = 1 where y = 2", "update t set x = 1 where y = 2"},
        {"select (a & b) & c from t", "select jcat((jcat(a, b)), c) from t"},
        {"select left(a & b, 3), Right (c, 1) from t left join u on t.k = u.k",
         "select \"left\"(jcat(a, b), 3), \"Right\" (c, 1) from t left join u on t.k = u.k"},
    };
    for (const auto& c : cases) EXPECT_EQ(TranslateAccessSql(c.access), c.sqlite) << c.access;
}

}  // namespace
}  // namespace tb::extraction
