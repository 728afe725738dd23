// The edge cases of the hand-made drawings, where README.md says they sit: each row is a
// question to the tiny plant and its answer as stated by hand.

#include <gtest/gtest.h>

#include "plant_checks.h"

namespace tb::sampleplant::test {
namespace {

const GeneratedPlant& Tiny() {
    return TinyPlant();
}

struct EdgeCase {
    const char* what;
    const char* sql;
    std::int64_t expected;
};

// Ids of items by tag, reused below.
#define TAG(t) "(SELECT SP_ID FROM T_PlantItem WHERE ItemTag = '" t "')"
#define DRAWING(n) "(SELECT SP_ID FROM T_Drawing WHERE Name = '" n "')"

const EdgeCase kEdgeCases[] = {
    {"drawings in all", "SELECT count(*) FROM T_Drawing", 4},
    {"the deleted drawing",
     "SELECT count(*) FROM T_Drawing WHERE ItemStatus = 4 AND Name = 'PID-11-02'", 1},
    {"revisions of PID-11-01",
     "SELECT count(*) FROM T_Revision WHERE SP_DrawingID = " DRAWING("PID-11-01"), 3},
    {"its revision without minor number",
     "SELECT count(*) FROM T_Revision WHERE SP_DrawingID = " DRAWING(
         "PID-11-01") " AND SP_MajorRevisionNumber = 'B' AND SP_MinorRevisionNumber IS NULL",
     1},
    {"revisions of PID-12-01",
     "SELECT count(*) FROM T_Revision WHERE SP_DrawingID = " DRAWING("PID-12-01"), 1},
    {"revisions of PID-12-02",
     "SELECT count(*) FROM T_Revision WHERE SP_DrawingID = " DRAWING("PID-12-02"), 0},
    {"versions of PID-11-01, one tied to revision A",
     "SELECT count(*) || '/' || count(v.SP_RevisionID) FROM T_DrawingVersion v WHERE SP_DrawingID "
     "= " DRAWING("PID-11-01"),
     0},  // checked as text below
    {"auxiliary graphics of PID-11-01",
     "SELECT count(*) FROM T_SmartFrame WHERE SP_SmartFrameType = 1 AND SP_DrawingID = " DRAWING(
         "PID-11-01"),
     2},
    {"runs of 11002-P", "SELECT count(*) FROM T_PlantItem WHERE ItemTag = '11002-P'", 3},
    {"11002-P runs that touch through the reducer",
     "SELECT count(DISTINCT r.SP_ModelItemID) FROM T_Connector c JOIN T_Representation r ON "
     "r.SP_ID = c.SP_ID "
     "JOIN T_Representation e ON e.SP_ID IN (c.SP_ConnectItem1ID, c.SP_ConnectItem2ID) "
     "JOIN T_PipingComp p ON p.SP_ID = e.SP_ModelItemID WHERE p.PipingCompType = 20",
     2},
    {"runs of 11003-P (main line, its bypass, its continuation)",
     "SELECT count(*) FROM T_PlantItem WHERE ItemTag = '11003-P'", 3},
    {"off-page connectors", "SELECT count(*) FROM T_OPC", 8},
    {"paired off-page connectors", "SELECT count(*) FROM T_OPC WHERE SP_PairedWithID IS NOT NULL",
     4},
    {"pairs share their tag",
     "SELECT count(*) FROM T_OPC a JOIN T_OPC b ON b.SP_ID = a.SP_PairedWithID WHERE a.OPCTag = "
     "b.OPCTag",
     4},
    {"runs of class 2 (steam tracing)", "SELECT count(*) FROM T_PipeRun WHERE PipeRunClass = 2", 1},
    {"runs of class Instrument", "SELECT count(*) FROM T_PipeRun WHERE PipeRunClass = 3", 7},
    {"runs of type Secondary Piping (2)", "SELECT count(*) FROM T_PipeRun WHERE PipeRunType = 2",
     4},
    {"zero-length runs and their connectors",
     "SELECT count(*) FROM T_PipeRun p JOIN T_Representation r ON r.SP_ModelItemID = p.SP_ID "
     "JOIN T_Connector c ON c.SP_ID = r.SP_ID WHERE p.SP_ConnectorsZeroLength = 2 AND "
     "c.IsZeroLength = 2",
     2},
    {"labels on the zero-length stub of PSV-1201",
     "SELECT count(*) FROM T_LabelPersist l JOIN T_Representation r ON r.SP_ID = "
     "l.SP_RepresentationID "
     "WHERE r.SP_ModelItemID = " TAG("12007-MS"),
     2},
    {"labels on the zero-length stub of PSV-1101",
     "SELECT count(*) FROM T_LabelPersist l JOIN T_Representation r ON r.SP_ID = "
     "l.SP_RepresentationID "
     "WHERE r.SP_ModelItemID = " TAG("11009-P"),
     0},
    {"the loop without instruments",
     "SELECT count(*) FROM T_PlantItemGroupJoin WHERE SP_PlantItemGroupID = " TAG("P-1199"), 0},
    {"members of loop F-1101",
     "SELECT count(*) FROM T_PlantItemGroupJoin WHERE SP_PlantItemGroupID = " TAG("F-1101"), 4},
    {"drawings the feed drum is drawn on",
     "SELECT count(DISTINCT SP_DrawingID) FROM T_Representation WHERE RepresentationType = 1 AND "
     "SP_ModelItemID = " TAG("V-1101"),
     2},
    {"drawings the feed drum's nozzles are drawn on",
     "SELECT count(DISTINCT r.SP_DrawingID) FROM T_Representation r JOIN T_PlantItem p ON p.SP_ID "
     "= r.SP_ModelItemID "
     "WHERE p.SP_PartOfID = " TAG("V-1101"),
     2},
    {"nozzles tied to their equipment through SP_PartOfID only",
     "SELECT count(*) FROM T_Nozzle n JOIN T_PlantItem p ON p.SP_ID = n.SP_ID WHERE "
     "n.SP_EquipmentID IS NULL "
     "AND p.SP_PartOfID = " TAG("V-1101"),
     1},
    {"tube nozzles on the untagged front section",
     "SELECT count(*) FROM T_Nozzle n JOIN T_PlantItem e ON e.SP_ID = n.SP_EquipmentID JOIN "
     "T_Equipment q ON "
     "q.SP_ID = e.SP_ID WHERE e.ItemTag IS NULL AND q.EquipmentSubclass = 50",
     2},
    {"symbol files without a folder",
     "SELECT count(*) FROM T_Representation WHERE instr(FileName, '\\') = 0", 1},
    {"piping points numbered up to 4", "SELECT max(PointIndex) FROM T_PipingPoint", 4},
    {"connectors that step around an instrument",
     "SELECT count(*) FROM T_Connector WHERE SP_AvoidItem2ID IS NOT NULL", 2},
    {"connectors with both ends open and one vertex",
     "SELECT count(*) FROM T_Connector c WHERE c.SP_ConnectItem1ID IS NULL AND c.SP_ConnectItem2ID "
     "IS NULL "
     "AND (SELECT count(*) FROM T_ConnectorVertex v WHERE v.SP_ConnectorID = c.SP_ID) = 1",
     1},
    {"valve in the drawing stockpile",
     "SELECT count(*) FROM T_Representation r JOIN T_PipingComp p ON p.SP_ID = r.SP_ModelItemID "
     "WHERE r.InStockpile = 2 "
     "AND p.SP_ID NOT IN (SELECT SP_ID FROM T_InlineComp)",
     1},
    {"instrument in the plant stockpile (never drawn)",
     "SELECT count(*) FROM T_PlantItem WHERE ItemTag = 'PT-1199' AND SP_ID NOT IN (SELECT "
     "SP_ModelItemID FROM T_Representation)",
     1},
    {"ghost vessel: deleted, never drawn",
     "SELECT count(*) FROM T_ModelItem m JOIN T_Equipment e ON e.SP_ID = m.SP_ID WHERE "
     "m.ItemStatus = 4 "
     "AND m.SP_ID NOT IN (SELECT SP_ModelItemID FROM T_Representation)",
     1},
    {"runs with the disabled fluid code LS",
     "SELECT count(*) FROM T_PipeRun WHERE OperFluidCode = 6", 1},
    {"runs with the insulation entry of empty text",
     "SELECT count(*) FROM T_PipeRun WHERE InsulPurpose = 1", 1},
    {"modifications of 11003-P's main run, stored out of time order",
     "SELECT count(*) FROM T_History WHERE EventType = 2 AND SP_ModelItemID = (SELECT p.SP_ID FROM "
     "T_PlantItem p "
     "JOIN T_Representation r ON r.SP_ModelItemID = p.SP_ID WHERE p.ItemTag = '11003-P' AND "
     "r.SP_DrawingID = " DRAWING("PID-11-01") " GROUP BY p.SP_ID ORDER BY count(*) DESC LIMIT 1)",
     4},
    {"...of which one was stored after a later one",
     "SELECT count(*) > 0 FROM T_History a JOIN T_History b ON b.SP_ModelItemID = a.SP_ModelItemID "
     "WHERE a.EventType = 2 AND b.EventType = 2 AND a.rowid < b.rowid AND a.Timestamp > "
     "b.Timestamp "
     "AND a.SP_ModelItemID IN (SELECT SP_ID FROM T_PlantItem WHERE ItemTag = '11003-P')",
     1},
    {"duct runs", "SELECT count(*) FROM T_DuctRun", 2},
    {"components of D-1201",
     "SELECT count(*) FROM T_InlineComp WHERE SP_DuctRunID = " TAG("D-1201"), 2},
    {"components of D-1202",
     "SELECT count(*) FROM T_InlineComp WHERE SP_DuctRunID = " TAG("D-1202"), 0},
    {"drawings of the satellite site",
     "SELECT count(*) FROM T_DrawingSite s JOIN T_WSSite w ON w.SP_ID = s.SP_WSSiteID WHERE "
     "w.SiteType = 'Satellite'",
     1},
    {"inconsistencies, one approved",
     "SELECT count(*) * 10 + sum(IsApproved = 2) FROM T_Inconsistency", 21},
    {"a note longer than 255 characters",
     "SELECT count(*) FROM T_Note WHERE length(NoteText) > 255", 1},
    {"a note with a line break and a tab",
     "SELECT count(*) FROM T_Note WHERE instr(NoteText, char(13, 10)) > 0 AND instr(NoteText, "
     "char(9)) > 0",
     1},
    {"text beyond ASCII",
     "SELECT count(*) FROM T_Drawing WHERE Description LIKE '%Vorw"
     "\xC3\xA4"
     "rmer%'",
     1},
    {"an actor with an apostrophe", "SELECT count(*) > 0 FROM T_History WHERE Actor = 'o''brien'",
     1},
    {"control valve fail modes, high and low",
     "SELECT count(*) FROM T_InstrFailMode WHERE SP_InstrumentID = " TAG("FV-1101"), 2},
    {"process and control case classes",
     "SELECT count(DISTINCT CaseClass) * 100 + sum(CaseClass = 34) FROM T_Case", 201},
    {"a tube-side design case", "SELECT count(*) FROM T_Case WHERE CaseType = 11", 1},
    {"area break revision numbers",
     "SELECT count(*) FROM T_AreaBreakAttribute WHERE Name = 'Revision.RevisionNumber'", 2},
    {"a valve into a run of another tag without relationship rows",
     "SELECT count(*) FROM T_Connector c JOIN T_Representation r ON r.SP_ID = c.SP_ID WHERE "
     "r.SP_ModelItemID = " TAG(
         "12004-SC") " AND c.SP_ID NOT IN (SELECT SP_Item1ID FROM T_Relationship)",
     1},
};

TEST(Showcase, EdgeCasesSitWhereDocumented) {
    Db db(Tiny().File("PLANTAPID"), true);
    for (const auto& c : kEdgeCases) {
        if (std::string(c.what).rfind("versions of", 0) == 0) {
            Stmt s(db, c.sql);
            ASSERT_TRUE(s.Step());
            EXPECT_EQ(s.Text(0), "2/1") << c.what;
            continue;
        }
        EXPECT_EQ(Scalar(db, c.sql), c.expected) << c.what;
    }
}

TEST(Showcase, SectionInheritsItsUnitCode) {
    Db db(Tiny().File("PLANTA"), true);
    EXPECT_EQ(
        Scalar(db,
               "SELECT count(*) FROM T_PlantGroup g JOIN T_PlantGroup p ON p.SP_ID = g.ParentID "
               "JOIN T_Unit u ON u.SP_ID = p.SP_ID WHERE g.Name = 'U12-S1' AND u.UnitCode = '12' "
               "AND g.SP_ID NOT IN (SELECT SP_ID FROM T_Unit) AND g.Depth = 3 "
               "AND g.Dir_Path = '\\Area10\\Unit12\\U12-S1'"),
        1);
}

TEST(Showcase, DictionaryHasTheListsTheExtractionReads) {
    Db db(Tiny().File("PLANTAPIDD"), true);
    struct Expect {
        const char* what;
        const char* sql;
        std::int64_t expected;
    };
    const Expect cases[] = {
        {"case types are list 34",
         "SELECT count(*) FROM ATTRIBUTES WHERE ATTRIBUTE_NAME = 'CaseType' AND ATTRIBUTE_DATATYPE "
         "= 'C34'",
         1},
        {"qualities are list 41",
         "SELECT count(*) FROM ATTRIBUTES WHERE ATTRIBUTE_NAME = 'Quality' AND ATTRIBUTE_DATATYPE "
         "= 'C41'",
         2},
        {"list 34 lacks the tube cases 13, 14, 16",
         "SELECT count(*) FROM CODELISTS WHERE CODELIST_NUMBER = 34 AND CODELIST_INDEX IN (13, 14, "
         "16)",
         0},
        {"exactly one disabled entry",
         "SELECT count(*) FROM CODELISTS WHERE CODELIST_ENTRY_DISABLED = 1", 1},
        {"exactly one entry without text",
         "SELECT count(*) FROM CODELISTS WHERE CODELIST_TEXT IS NULL", 1},
        {"an entry the plant added", "SELECT count(*) FROM CODELISTS WHERE CODELIST_INDEX = 10001",
         1},
        {"nominal diameter 2\" is index 5064",
         "SELECT count(*) FROM CODELISTS c JOIN ATTRIBUTES a ON a.ATTRIBUTE_DATATYPE = 'C' || "
         "c.CODELIST_NUMBER "
         "WHERE a.ATTRIBUTE_NAME = 'NominalDiameter' AND c.CODELIST_INDEX = 5064 AND "
         "c.CODELIST_TEXT = '2\"' "
         "AND a.TABLENAME = 'T_PipeRun'",
         1},
        {"subclass depends on class",
         "SELECT count(*) FROM ATTRIBUTES s JOIN ATTRIBUTES c ON c.ATTRIBUTE_NUMBER = "
         "s.DEPENDSONID "
         "WHERE s.ATTRIBUTE_NAME = 'EquipmentSubclass' AND c.ATTRIBUTE_NAME = 'Class'",
         1},
        {"booleans: 1 False, 2 True",
         "SELECT count(*) FROM CODELISTS WHERE CODELIST_NUMBER = 1 AND ((CODELIST_INDEX = 1 AND "
         "CODELIST_TEXT = 'False') "
         "OR (CODELIST_INDEX = 2 AND CODELIST_TEXT = 'True'))",
         2},
        {"equipment is item 35, instrument 37",
         "SELECT count(*) FROM ITEM WHERE (ID = 35 AND NAME = 'Equipment') OR (ID = 37 AND NAME = "
         "'Instrument')",
         2},
        {"equipment display names",
         "SELECT count(*) > 5 FROM ITEMATTRIBUTIONS WHERE ITEMID = 35 AND DISPLAYNAME IS NOT NULL",
         1},
        {"dotted case names",
         "SELECT count(*) FROM ITEMATTRIBUTIONS WHERE NAME = 'ProcessDesign.Max.Pressure'", 4},
        {"instrument relations the catalogue reads",
         "SELECT count(*) FROM FILTEREDRELATIONSHIP WHERE ITEMID = 37 AND SPCREATE = 'T'", 3},
        {"foreign calculated attributes",
         "SELECT count(*) FROM ENTITIES e JOIN UNIQUEATTS u ON u.ENTITY_NUMBER = e.ENTITY_NUMBER "
         "WHERE u.CALCULATIONPROGID = 'SmartPlantHyperDesc.SPForeignCalc'",
         4},
    };
    for (const auto& c : cases) EXPECT_EQ(Scalar(db, c.sql), c.expected) << c.what;
}

}  // namespace
}  // namespace tb::sampleplant::test
