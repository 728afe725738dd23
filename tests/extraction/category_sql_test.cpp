#include "extraction/category_sql.h"

#include <gtest/gtest.h>

#include "common/error.h"

namespace tb::extraction {
namespace {

using Names = std::vector<std::string>;

AttributeKeys Keys(std::initializer_list<std::pair<const char*, Names>> categories) {
    AttributeKeys k;
    for (const auto& [category, keys] : categories) k.Set(category, keys);
    return k;
}

TEST(CategorySql, GetAttrs4Table) {
    const Names keys = {"T_PlantItem.ItemTag",
                        "t_plantitem.ItemTag_PipeRun",
                        "T_ModelItem.Description",
                        "T_PlantItem.Name_InlineComp",
                        "T_PlantItem.Unknown_PipeRun",
                        "T_PlantItemX.A",
                        "Others.Quantity"};
    const Names plantItem = {"SP_ID", "ItemTag", "Name"};
    struct Case {
        const char* table;
        const char* suffix;
        const Names* columns;
        Names want;
    } cases[] = {
        {"t_plantitem",
         "",
         nullptr,
         {"ItemTag", "ItemTag_PipeRun", "Name_InlineComp", "Unknown_PipeRun"}},
        {"T_PLANTITEM", "_PipeRun", nullptr, {"ItemTag_PipeRun", "Unknown_PipeRun"}},
        {"t_plantitem",
         "_PipeRun,_InlineComp",
         nullptr,
         {"ItemTag_PipeRun", "Name_InlineComp", "Unknown_PipeRun"}},
        // the catalogue check looks at the column without its owner suffix
        {"t_plantitem", "", &plantItem, {"ItemTag", "ItemTag_PipeRun", "Name_InlineComp"}},
        {"Others", "", nullptr, {"Quantity"}},
        {"t_drawing", "", nullptr, {}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(GetAttrs4Table(keys, c.table, c.suffix, c.columns), c.want)
            << c.table << c.suffix;
}

TEST(CategorySql, GetAllDefCols4T_Table) {
    const auto keys =
        Keys({{"InlineComp_Prun", {"T_PlantItem.ItemTag_PipeRun", "T_PlantItem.Name_InlineComp"}},
              {"Plantitems", {"T_PlantItem.itemtag", "T_PlantItem.SupplyBy", "T_PlantItem.Gone"}},
              {"Eqp_Nozzle", {"T_PlantItem.Name_Nozzle", "T_ModelItem.Description"}}});
    EXPECT_EQ(GetAllDefCols4T_Table(keys, "t_plantitem", {"SP_ID", "ITEMTAG", "NAME", "SUPPLYBY"}),
              (Names{"ItemTag", "Name", "SupplyBy"}));
    EXPECT_EQ(GetAllDefCols4T_Table(keys, "t_modelitem", {}), Names{});
}

TEST(CategorySql, GetSQL4AddCols4DiffTypes) {
    const auto keys = Keys({
        {"InlineComp_Prun",
         {"T_PlantItem.ItemTag_PipeRun", "T_PlantItem.ItemTag_InlineComp",
          "T_PipeRun.NominalDiameter", "T_Status.Status_PipeRun",
          "T_InstrFunction.FunctionType_Instrument", "T_PipingComp.PipingCompType",
          "T_PlantItem.Missing_PipeRun"}},
        {"Plantitems", {"T_PlantItem.ItemTag", "T_Symbol.XCoordinate"}},
        {"ItemNotes", {"T_Note.NoteText"}},
        {"Instruments",
         {"t_inlinecomp.NominalDiameter_Instrument", "t_inlinecomp.NominalDiameter_Instrloop",
          "t_inlinecomp.Gone_Instrument"}},
    });
    const Names plantItem = {"SP_ID", "ItemTag", "Name"};
    struct Case {
        const char* table;
        const char* category;
        const char* suffix;
        Names columns;
        const char* sql;
    } cases[] = {
        {"t_plantitem", "InlineComp_Prun", "_PipeRun", plantItem,
         "SELECT [ItemTag] AS [PipeRun_ItemTag],[SP_ID] AS [PipeRun_SP_ID] FROM [t_plantitem]"},
        {"t_plantitem", "InlineComp_Prun", "_InlineComp", plantItem,
         "SELECT [ItemTag] AS [InlineComp_ItemTag],[SP_ID] AS [InlineComp_SP_ID] FROM "
         "[t_plantitem]"},
        // the start of the Plantitems chain keeps plain names
        {"t_plantitem", "Plantitems", "", plantItem, "SELECT [ItemTag],[SP_ID] FROM [t_plantitem]"},
        {"t_plantitem", "ItemNotes", "", plantItem, ""},
        // t_piperun was copied under its aliases
        {"t_piperun",
         "InlineComp_Prun",
         "",
         {"Piperun_nominaldiameter", "Piperun_sp_id"},
         "SELECT [Piperun_nominaldiameter],[Piperun_sp_id] FROM [t_piperun]"},
        {"t_status",
         "InlineComp_Prun",
         "_PipeRun",
         {"SP_MODELITEMID", "Status"},
         "SELECT [Status] AS [PipeRun_Status],[SP_MODELITEMID] AS [PipeRun_SP_MODELITEMID] FROM "
         "[t_status]"},
        {"t_symbol",
         "Plantitems",
         "",
         {"SP_PLANTITEMID", "XCoordinate"},
         "SELECT [XCoordinate] AS [Symbol_xcoordinate],[SP_PLANTITEMID] AS [Symbol_sp_plantitemid] "
         "FROM [t_symbol]"},
        {"t_instrfunction",
         "InlineComp_Prun",
         "_Instrument",
         {"SP_INSTRUMENTID", "FunctionType"},
         "SELECT [FunctionType] AS [Instrument_FunctionType],[SP_INSTRUMENTID] FROM "
         "[t_instrfunction]"},
        {"t_pipingcomp",
         "InlineComp_Prun",
         "",
         {"SP_ID", "PipingCompType"},
         "SELECT [PipingCompType] AS [Pipingcomp_pipingcomptype],[SP_ID] AS [Pipingcomp_sp_id] "
         "FROM [t_pipingcomp]"},
        // Instruments' copy of t_inlinecomp holds aliased columns; an inline instrument's row
        // names it in SP_INSTRUMENTID
        {"t_inlinecomp",
         "Instruments",
         "_Instrument",
         {"Inlinecomp_sp_id", "Inlinecomp_sp_instrumentid", "Inlinecomp_nominaldiameter"},
         "SELECT [Inlinecomp_nominaldiameter] AS [Instrument_NominalDiameter],"
         "[Inlinecomp_sp_instrumentid] AS [Instrument_SP_INSTRUMENTID] FROM [t_inlinecomp]"},
        {"t_inlinecomp",
         "Instruments",
         "_Instrloop",
         {"Inlinecomp_sp_id", "Inlinecomp_sp_instrumentid", "Inlinecomp_nominaldiameter"},
         "SELECT [Inlinecomp_nominaldiameter] AS [Instrloop_NominalDiameter],"
         "[Inlinecomp_sp_instrumentid] AS [Instrloop_SP_INSTRUMENTID] FROM [t_inlinecomp]"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(GetSQL4AddCols4DiffTypes(keys, c.table, c.category, c.suffix, c.columns), c.sql)
            << c.table << " " << c.category << c.suffix;
}

TEST(CategorySql, GetSQL4OthersCols) {
    const Names pid = {"SP_ID",         "Representation_ID", "Drawing_Name",
                       "Drawing_SP_ID", "Instockpile",       "FileName"};
    const auto keys =
        Keys({{"Plantitems", {"Others.Drawing_Name", "Others.Quantity", "Others.FileName"}},
              {"ItemNotes", {"Others.Instockpile", "Others.Drawing_SP_ID", "Others.Drawing_Name"}},
              {"OPCs", {}}});
    EXPECT_EQ(
        GetSQL4OthersCols(keys, "Plantitems", pid),
        "SELECT [SP_ID] AS [Others_SP_ID],[Drawing_Name],[FileName],[Drawing_SP_ID] FROM [PID] "
        "GROUP BY [SP_ID],[Drawing_Name],[FileName],[Drawing_SP_ID]");
    EXPECT_EQ(
        GetSQL4OthersCols(keys, "ItemNotes", pid),
        "SELECT [SP_ID] AS [Others_SP_ID],[Instockpile],[Drawing_SP_ID],[Drawing_Name] FROM [PID] "
        "GROUP BY [SP_ID],[Instockpile],[Drawing_SP_ID],[Drawing_Name]");
    EXPECT_EQ(GetSQL4OthersCols(keys, "OPCs", pid),
              "SELECT [SP_ID] AS [Others_SP_ID] FROM [PID] GROUP BY [SP_ID]");
}

// An item's representations differ in their timestamp: grouping by it would give a row per
// representation, so only the step of its own reads it, as the greatest.
TEST(CategorySql, ModelItemTimestampIsNoGroupColumn) {
    const Names pid = {"SP_ID", "Drawing_Name", "SP_MODELITEMTIMESTAMP"};
    const auto keys =
        Keys({{"Plantitems", {"Others.SP_MODELITEMTIMESTAMP", "Others.Drawing_Name"}}});
    EXPECT_EQ(GetSQL4OthersCols(keys, "Plantitems", pid),
              "SELECT [SP_ID] AS [Others_SP_ID],[Drawing_Name] FROM [PID] GROUP BY "
              "[SP_ID],[Drawing_Name]");
    EXPECT_EQ(GetSQL4ModelItemTimestamp(pid),
              "SELECT [SP_ID] AS [Ts_SP_ID],max([SP_MODELITEMTIMESTAMP]) AS "
              "[SP_MODELITEMTIMESTAMP] FROM [PID] GROUP BY [SP_ID]");
    EXPECT_EQ(GetSQL4ModelItemTimestamp({"SP_ID", "Drawing_Name"}), "");
}

TEST(CategorySql, GetPlantGroupColumns4Side) {
    const Names group = {"SP_ID", "PlantGroup", "UnitCode", "ParentPlantGroup"};
    const auto keys = Keys({
        {"InlineComp_Prun",
         {"t_plantgroup.UnitCode_PipeRun", "T_PlantGroup.PlantGroup_InlineComp",
          "t_plantgroup.ParentPlantGroup", "t_plantgroup.UnitCode_Nozzle",
          "t_plantgroup.Gone_PipeRun", "T_PlantItem.ItemTag_PipeRun"}},
        {"Plantitems", {"t_plantgroup.PlantGroup", "t_plantgroup.UnitCode_PipeRun"}},
    });
    using C = std::vector<KeyedColumn>;
    struct Case {
        const char* category;
        const char* suffix;
        bool owner;
        C want;
    } cases[] = {
        // the owner's side takes the keys without a suffix too
        {"InlineComp_Prun",
         "_PipeRun",
         true,
         {{"t_plantgroup.UnitCode_PipeRun", "UnitCode", "PipeRun_UnitCode"},
          {"t_plantgroup.ParentPlantGroup", "ParentPlantGroup", "ParentPlantGroup"}}},
        {"InlineComp_Prun",
         "_InlineComp",
         false,
         {{"T_PlantGroup.PlantGroup_InlineComp", "PlantGroup", "InlineComp_PlantGroup"}}},
        {"Plantitems", "", true, {{"t_plantgroup.PlantGroup", "PlantGroup", "PlantGroup"}}},
        {"ItemNotes", "", true, {}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(GetPlantGroupColumns4Side(keys, c.category, c.suffix, c.owner, group), c.want)
            << c.category << c.suffix;
}

TEST(CategorySql, UnplacedKeyReason) {
    struct Case {
        const char* category;
        const char* key;
        const char* reason;
    } cases[] = {
        {"InlineComp_Prun", "T_PlantItem.ItemTag_PipeRun", ""},
        {"InlineComp_Prun", "t_plantgroup.UnitCode", ""},
        {"Instruments", "t_inlinecomp.NominalDiameter_Instrloop", ""},
        {"Plantitems", "Others.SP_MODELITEMTIMESTAMP", ""},
        {"InlineComp_Prun", "T_PlantItem.ItemTag",
         "it names none of the sides _PipeRun, _InlineComp"},
        {"Eqp_Nozzle", "t_plantgroup.UnitCode_PipeRun",
         "it names none of the sides _Equipment, _Nozzle"},
        {"Instruments", "t_inlinecomp.NominalDiameter",
         "it names none of the sides _Instrument, _Instrloop"},
        {"InlineComp_Prun", "T_InstrFunction.FunctionType",
         "instrument functions are read for the side _Instrument only"},
        {"Plantitems", "t_plantgroup.UnitCode_PipeRun", "Plantitems has no side _PipeRun"},
        {"ItemNotes", "t_plantgroup.PlantGroup", "no step of ItemNotes reads t_plantgroup"},
        {"Plantitems", "T_Case.ProcessDesign_Name", "no step of Plantitems reads T_Case"},
        {"Eqp_Nozzle", "Others.SP_MODELITEMTIMESTAMP", "only Plantitems takes it"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(UnplacedKeyReason(c.category, c.key), c.reason) << c.category << " " << c.key;
}

TEST(CategorySql, UnbuiltKeyReason) {
    struct Case {
        const char* category;
        const char* key;
        const char* reason;
    } cases[] = {
        {"Drawings", "Others.LastRevision", ""},
        {"Eqp_Nozzle", "Others.Last-1Revision",
         "the revision columns are computed for Drawings only"},
        {"OPCs", "Others.FirstRevision", "the revision columns are computed for Drawings only"},
        {"Eqp_Nozzle", "Others.Quantity", ""},
        {"OPCs", "others.quantity",
         "Quantity is added to the chains' categories and Drawings only"},
        {"Plantitems", "t_status.PlantItemGroup_RevisionNumber", ""},
        {"ItemNotes", "t_status.PlantItemGroup_RevisionNumber",
         "PlantItemGroup_RevisionNumber is added to Plantitems only"},
        {"Eqp_Nozzle", "t_status.PlantItemGroup_RevisionNumber_Nozzle",
         "PlantItemGroup_RevisionNumber is added to Plantitems only"},
        {"DuctRuns", "t_status.Status_DuctRun", ""},
        {"DuctRuns", "t_status.Status_InlineComp",
         "the status of DuctRuns' components is joined on a piping key"},
        {"DuctRuns", "t_plantitem.TestSystem_Name_DuctRun",
         "no step of DuctRuns reads the group tables"},
        {"InlineComp_Prun", "t_plantitem.Package_Name_PipeRun", ""},
        {"Instruments", "t_plantitem.SafetyClass_Name_Instrument", ""},
        {"Instruments", "t_plantitem.SafetyClass_Name_Instrloop",
         "the group tables are read for the side _Instrument only"},
        {"Instruments", "t_status.Status_Instrloop",
         "t_status is read for the side _Instrument only"},
        {"Instruments", "t_plantitem.LastModifiedUser_Instrloop",
         "the history columns are made for the side _Instrument only"},
        {"Instruments", "t_plantitem.ItemTag_Instrloop", ""},
        {"Drawings", "T_Revision.SP_DrawingID",
         "the revisions are joined on it, and the join drops it; Drawing_SP_ID holds the same id"},
        {"Drawings", "T_Revision.SP_MajorRevisionNumber", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(UnbuiltKeyReason(c.category, c.key), c.reason) << c.category << " " << c.key;
    // The chains' own check gives the same reasons.
    EXPECT_EQ(UnplacedKeyReason("ItemNotes", "t_status.PlantItemGroup_RevisionNumber"),
              "PlantItemGroup_RevisionNumber is added to Plantitems only");
}

TEST(CategorySql, ColumnOfKeyAndSharedColumns) {
    struct Case {
        const char* category;
        const char* key;
        const char* column;
    } cases[] = {
        {"Plantitems", "t_plantitem.ItemTag", "ItemTag"},
        {"Plantitems", "t_status.PlantItemGroup_RevisionNumber", "PlantItemGroup_RevisionNumber"},
        {"Drawings", "t_revision.VersionAssociated", "VersionAssociated"},
        {"InlineComp_Prun", "t_plantitem.ItemTag_PipeRun", "PipeRun_ItemTag"},
        {"Instruments", "t_inlinecomp.NominalDiameter_Instrument", "Instrument_NominalDiameter"},
        {"InlineComp_Prun", "Others.Quantity", "Quantity"},
    };
    for (const auto& c : cases) EXPECT_EQ(ColumnOfKey(c.category, c.key), c.column) << c.key;
    const std::vector<std::string> keys = {"t_instrument.NominalDiameter", "t_instrument.ItemTag",
                                           "t_inlinecomp.NominalDiameter_Instrument",
                                           "t_inlinecomp.NominalDiameter_Instrloop"};
    EXPECT_EQ(KeyOfSameColumn(keys, "t_inlinecomp.NominalDiameter_Instrument"),
              "t_instrument.NominalDiameter");
    EXPECT_EQ(KeyOfSameColumn(keys, "t_instrument.NominalDiameter"),
              "t_inlinecomp.NominalDiameter_Instrument");
    EXPECT_EQ(KeyOfSameColumn(keys, "t_inlinecomp.NominalDiameter_Instrloop"), "");
}

TEST(CategorySql, DrawingColumnsAndFlags) {
    const auto keys =
        Keys({{"Drawings",
               {"T_Drawing.Name", "T_Drawing.Title", "T_Drawing.LastModifiedDate",
                "T_Drawing.AVeryLongDrawingColumnNameIndeed", "T_PlantGroup.Name",
                "t_drawing.NoOfVersions", "Others.LastRevision"}},
              {"Plantitems", {"Others.Drawing_LastModifiedUser", "t_plantitem.CreatedDate"}}});
    const DrawingColumns d = GetCols4Drawings(
        keys, {"SP_ID", "NAME", "TITLE", "AVERYLONGDRAWINGCOLUMNNAMEINDEED", "SP_PLANTGROUPID"});
    EXPECT_EQ(d.columns,
              (std::vector<AliasedColumn>{
                  {"Name", "Drawing_Name"},
                  {"Title", "Drawing_Title"},
                  {"AVeryLongDrawingColumnNameIndeed", "AVeryLongDrawingColumnNameIndeed"},
                  {"SP_ID", "Drawing_SP_ID"},
                  {"SP_PLANTGROUPID", "Drawing_SP_PLANTGROUPID"}}));
    EXPECT_TRUE(d.plantGroups);
    EXPECT_TRUE(d.modifiedDate);
    EXPECT_TRUE(d.modifiedUser);

    const HistoryFlags h = GetHistoryFlags(keys);
    EXPECT_TRUE(h.createdDate);
    EXPECT_FALSE(h.createdUser || h.modifiedDate || h.modifiedUser);
    const DrawingCountFlags c = GetDrawingCountFlags(keys);
    EXPECT_TRUE(c.noOfVersions);
    EXPECT_FALSE(c.noOfAuxGraphic);
}

TEST(CategorySql, GroupColumns) {
    const auto keys =
        Keys({{"InlineComp_Prun",
               {"T_PlantItem.Package_Name_PipeRun", "T_PlantItem.Package_Name_InlineComp",
                "T_PlantItem.TestSystem_Name_PipeRun", "T_PlantItem.Package_Nothing_PipeRun"}},
              {"Instruments", {"T_PlantItem.SafetyClass_Description_Instrument"}},
              {"Eqp_Nozzle", {"T_PlantItem.Package_SupplyBy_Equipment"}}});
    const Names plantItem = {"SP_ID", "Name", "SupplyBy", "Description"};
    EXPECT_EQ(GetDefCols4PackageOrSystem(keys, "Package", plantItem),
              (Names{"Name", "SupplyBy", "SP_ID"}));
    EXPECT_EQ(GetDefCols4PackageOrSystem(keys, "TestSystem", plantItem), (Names{"Name", "SP_ID"}));
    EXPECT_EQ(GetDefCols4PackageOrSystem(keys, "SafetyClass", plantItem),
              (Names{"Description", "SP_ID"}));
    EXPECT_EQ(GetDefCols4PackageOrSystem(keys, "InstrLoop", plantItem), Names{});

    const Names package = {"Name", "SupplyBy", "SP_ID", "SP_PLANTITEMID"};
    EXPECT_EQ(GetColsOfGroupTable(keys, "InlineComp_Prun", "T_Package", "_PipeRun", package),
              "[Name] AS [PipeRun_Package_Name],[SP_ID] AS [PipeRun_Package_SP_ID]");
    EXPECT_EQ(
        GetColsOfGroupTable(keys, "InlineComp_Prun", "T_System", "_PipeRun", {"Name", "SP_ID"}),
        "[Name] AS [PipeRun_TestSystem_Name],[SP_ID] AS [PipeRun_TestSystem_SP_ID]");
    EXPECT_EQ(
        GetColsOfGroupTable(keys, "InlineComp_Prun", "T_System", "_InlineComp", {"Name", "SP_ID"}),
        "");
    EXPECT_EQ(GetInstrumentAttrs({"Tag_Instrument", "Tag_Instrloop", "Type", "type_INSTRUMENT"}),
              (Names{"Tag", "Type"}));
}

TEST(CategorySql, CaseQueries) {
    struct Case {
        const char* key;
        const char* owner;
        bool process;
        const char* sql;
    } cases[] = {
        {"ProcessDesign_Max_Pressure_PipeRun", "_PipeRun", true,
         "SELECT [SP_ID] AS [T_CaseProcess_SP_ID],[Pressure] AS "
         "[PipeRun_ProcessDesign_Max_Pressure] "
         "FROM [T_CaseProcess] WHERE casetype=1 AND quality=2"},
        {"ControlCase_Min_SetPoint_Instrument", "", true,
         "SELECT [SP_ID] AS [T_CaseControl_SP_ID],[SetPoint] AS "
         "[Instrument_ControlCase_Min_SetPoint] "
         "FROM [T_CaseControl] WHERE casetype=5 AND quality=1"},
        {"ProcessDesign_Max_Pressure_PipeRun", "_Equipment", true, ""},  // another owner
        {"Pressure_PipeRun", "", true, ""},                              // no case key
        {"ProcessOperatingTube_Description_Equipment", "_Equipment", false,
         "SELECT DISTINCT [SP_ID] AS [T_CaseProcess_SP_ID],[Description] AS "
         "[Equipment_ProcessOperatingTube_Description] "
         "FROM [T_CaseProcess] WHERE casetype=12"},
        {"ControlCase_Remark", "", false,
         "SELECT DISTINCT [SP_ID] AS [T_CaseControl_SP_ID],[Remark] AS "
         "[Casecontrol_controlcase_remark] "
         "FROM [T_CaseControl] WHERE casetype=5"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.process ? GetSQL4CaseProcess(c.key, c.owner) : GetSQL4TCase(c.key, c.owner),
                  c.sql)
            << c.key;
    const Names columns = {"SP_ID", "PRESSURE"};
    EXPECT_EQ(GetSQL4CaseProcess("ProcessDesign_Max_Temperature_PipeRun", "", &columns), "");
    EXPECT_EQ(CaseTableOfKey("ControlCase_Min_SetPoint", true), "T_CaseControl");
}

TEST(CategorySql, PointColumns) {
    const auto keys =
        Keys({{"InlineComp_Prun",
               {"T_PipingPoint._1_NominalDiameter", "T_PipingPoint._2_NominalDiameter",
                "T_PipingPoint._1_Description", "T_PipingPoint._2_Unknown"}},
              {"Instruments", {"T_PipingPoint._1_ConnectedPiperunID", "T_PipingPoint._3_Usage"}}});
    const PointColumns p = GetPointColumns(
        keys, {"SP_ID", "SP_PLANTITEMID", "POINTINDEX", "NOMINALDIAMETER", "USAGE"});
    EXPECT_EQ(p.columns,
              (Names{"SP_ID", "SP_PLANTITEMID", "POINTINDEX", "NominalDiameter", "Usage"}));
    EXPECT_TRUE(p.connectedPiperunID);
    EXPECT_TRUE(p.descriptionInline);
    EXPECT_FALSE(p.descriptionInstr);
    EXPECT_TRUE(
        GetPointColumns(Keys({{"Instruments", {"T_Instrument.Tag"}}}), {"SP_ID"}).columns.empty());

    const Names store = {"SP_ID",           "SP_PLANTITEMID", "POINTINDEX",
                         "NominalDiameter", "Description",    "Usage"};
    EXPECT_EQ(GetPointColumns4Category(keys, "InlineComp_Prun", 1, store),
              (std::vector<AliasedColumn>{{"NominalDiameter", "End_1_NominalDiameter"},
                                          {"Description", "End_1_Description"}}));
    EXPECT_EQ(GetPointColumns4Category(keys, "InlineComp_Prun", 2, store),
              (std::vector<AliasedColumn>{{"NominalDiameter", "End_2_NominalDiameter"}}));
    EXPECT_TRUE(GetPointColumns4Category(keys, "Instruments", 1, store).empty());
}

TEST(CategorySql, JoinTableSql) {
    const Names left = {"InlineComp_SP_ID", "Piperun_SP_ID"},
                right = {"PipeRun_SP_ID", "PipeRun_ItemTag"};
    EXPECT_EQ(
        JoinTableSql("LEFT", {}, "temp0", left, "piperun_sp_id", "temp1", right, "PipeRun_SP_ID"),
        "SELECT [temp0].[InlineComp_SP_ID] AS [InlineComp_SP_ID], [temp0].[Piperun_SP_ID] AS "
        "[Piperun_SP_ID], "
        "[temp1].[PipeRun_ItemTag] AS [PipeRun_ItemTag] FROM [temp0] LEFT JOIN [temp1] "
        "ON [temp0].[piperun_sp_id]=[temp1].[PipeRun_SP_ID] ORDER BY [temp0]._rowid_, "
        "[temp1]._rowid_");
    EXPECT_EQ(
        JoinTableSql("out", {}, "a", {"x"}, "x", "b", {"y"}, "y"),
        "SELECT [a].[x] AS [x], [b].[y] AS [y] FROM [a] LEFT JOIN [b] ON [a].[x]=[b].[y] UNION "
        "SELECT [a].[x] AS [x], [b].[y] AS [y] FROM [a] RIGHT JOIN [b] ON [a].[x]=[b].[y]");
    EXPECT_EQ(
        JoinTableSql("", {"k"}, "a", {"v", "K"}, "", "b", {"k", "w"}, ""),
        "SELECT [a].[K] AS [K], [a].[v] AS [v], [b].[w] AS [w] FROM [a], [b] WHERE [a].[K]=[b].[K] "
        "GROUP BY [a].[K], [a].[v], [b].[w]");
    EXPECT_THROW(JoinTableSql("CROSS", {}, "a", {"x"}, "x", "b", {"y"}, "y"), Error);
}

}  // namespace
}  // namespace tb::extraction
