// The post-processors on small stores made by hand: the folded OPC pairs, the run statistics and
// the scratch tables that must be gone whatever happens.

#include <gtest/gtest.h>

#include "common/error.h"
#include "common/log.h"
#include "extraction/connected_items.h"
#include "extraction/post_process.h"
#include "extraction/run_statistics.h"
#include "store_fixture.h"
#include "support/test_support.h"

namespace tb::extraction {
namespace {

using test::MakeTable;
using test::Render;

TEST(ConnectedItems, OtherTablesAndTablesWithoutIdAreLeftAlone) {
    store::Store st = store::Store::InMemory();
    MakeTable(st, "Plantitems", {"SP_ID"}, "('A')");
    MakeTable(st, "Eqp_Nozzle", {"Equipment_sp_id"}, "('E')");
    AddConnectedItemID(st, "Plantitems", "");
    AddConnectedItemID(st, "Eqp_Nozzle", "");
    EXPECT_FALSE(st.ColumnExists("Plantitems", "ConnectedItemID"));
    EXPECT_FALSE(st.ColumnExists("Eqp_Nozzle", "Nozzle_ConnectedItemID"));
    EXPECT_FALSE(st.TableExists("tempID"));
}

TEST(ConnectedItems, ScratchTableGoesAlsoAfterAnError) {
    store::Store st = store::Store::InMemory();
    // A tempID left behind, and no PID: the statement fails after the column is added.
    MakeTable(st, "tempID", {"x"});
    MakeTable(st, "Eqp_Nozzle", {"Nozzle_sp_id"}, "('N')");
    EXPECT_THROW(AddConnectedItemID(st, "Eqp_Nozzle", ""), Error);
    EXPECT_FALSE(st.TableExists("tempID"));
}

TEST(ConnectedItems, FoldedColumnNames) {
    struct Case {
        std::vector<std::string> columns;
        std::string list;
    } cases[] = {
        {{"Opc_sp_id", "Connector1_SP_ID", "Connector2_SP_ID"},
         "[Opc_sp_id], jcat([Connector1_SP_ID], iif([Connector1_SP_ID] IS NULL, "
         "[Connector2_SP_ID], "
         "iif([Connector2_SP_ID] IS NULL, '', jcat(', ', [Connector2_SP_ID])))) AS "
         "[Plantitem_SP_ID]"},
        // A form without its twin stays; so does a pair whose folded name is already taken.
        {{"Connector1_ItemTag", "Piperun_Size_1"}, "[Connector1_ItemTag], [Piperun_Size_1]"},
        {{"Piperun_Size_1", "Piperun_Size", "Piperun_Size_2"},
         "[Piperun_Size_1], [Piperun_Size], [Piperun_Size_2]"},
        {{"piperun_size_2", "Piperun_Size_1"},
         "jcat([Piperun_Size_1], iif([Piperun_Size_1] IS NULL, [piperun_size_2], "
         "iif([piperun_size_2] IS NULL, '', "
         "jcat(', ', [piperun_size_2])))) AS [Piperun_Size]"},
    };
    for (const Case& c : cases) EXPECT_EQ(FoldedOpcColumns(c.columns), c.list);
}

TEST(ConnectedItems, FoldedValues) {
    store::Store st = store::Store::InMemory();
    MakeTable(st, "t", {"Connector1_Tag", "Connector2_Tag"},
              "('A', 'B'), ('A', NULL), (NULL, 'B'), (NULL, NULL)");
    EXPECT_EQ(
        Render(st, "SELECT " + FoldedOpcColumns({"Connector1_Tag", "Connector2_Tag"}) + " FROM t"),
        "A, B;A;B;<null>");
}

// Three runs of one tag: two share a branch point, the third touches nothing of its tag. A second
// tag has two runs joined only by an off-page connector tag; a third tag has one run.
class NotConnected : public ::testing::Test {
  protected:
    void SetUp() override {
        MakeTable(st_, "InlineComp_Prun", {"Piperun_sp_id", "PipeRun_ITEMTAG", "PipeRun_Slave"},
                  "('R1','T-1',NULL),('R2','T-1',NULL),('R3','T-1','False'),('R4','T-2',NULL),('R5'"
                  ",'T-2',NULL),"
                  "('R6','T-3',NULL),('R7','T-4','TRUE'),('R8','T-4','True')");
        MakeTable(st_, "PID", {"SP_ID", "REPRESENTATION_ID"},
                  "('R1','c1'),('R2','c2'),('R3','c3'),('R4','c4'),('R5','c5'),('R6','c6'),('R7','"
                  "c7'),('R8','c8')");
        MakeTable(
            st_, "t_connector",
            {"SP_ID", "SP_CONNECTITEM1ID", "SP_CONNECTITEM2ID", "SP_AVOIDITEM1ID",
             "SP_AVOIDITEM2ID"},
            "('c1','n1','bp',NULL,NULL),('c2','bp','v9',NULL,NULL),('c3','n3',NULL,NULL,NULL),"
            "('c4','x4',NULL,NULL,NULL),('c5',NULL,'x5',NULL,NULL),('c6',NULL,NULL,NULL,NULL),"
            "('c7','n7',NULL,NULL,NULL),('c8','n8',NULL,NULL,NULL)");
        MakeTable(st_, "OPCs", {"Plantitem_SP_ID", "Opc_opctag"}, "('R4','OPC-9'),('R5','OPC-9')");
        MakeTable(st_, "t_piperun", {"Piperun_sp_id", "Piperun_piperunclass"},
                  "('R1','Piping'),('R2','Piping'),('R3','Piping'),('R4','Piping'),('R5','Piping'),"
                  "('R6','Piping'),"
                  "('R7','Piping'),('R8','Piping')");
    }
    tb::test::TempDir dir_;
    store::Store st_ = store::Store::Create(dir_.path() / "store.db");
};

TEST_F(NotConnected, CountsPerTag) {
    AddNotConnectedRuns(st_, dir_.path(), false);
    // T-1: R3 touches neither; T-2 joined by its off-page tag; T-3 alone; T-4 are slaves only.
    EXPECT_EQ(Render(st_, "SELECT Piperun_sp_id, NotConnectedRuns FROM InlineComp_Prun"),
              "R1|1;R2|1;R3|1;R4|0;R5|0;R6|0;R7|0;R8|0");
    EXPECT_FALSE(std::filesystem::exists(NotConnectedScratchFile(dir_.path())));
    EXPECT_EQ(st_.QueryRows("PRAGMA database_list").size(), 1u);
}

TEST_F(NotConnected, InstrumentRunsCountOnlyWhenAsked) {
    // R2 becomes an instrument run: R1 has nothing of its tag left to touch.
    st_.Execute("UPDATE t_piperun SET Piperun_piperunclass='Instrument' WHERE Piperun_sp_id='R2'");
    AddNotConnectedRuns(st_, dir_.path(), false);
    EXPECT_EQ(
        Render(st_,
               "SELECT NotConnectedRuns FROM InlineComp_Prun WHERE PipeRun_ITEMTAG='T-1' LIMIT 1"),
        "2");
    st_.DropColumn("InlineComp_Prun", "NotConnectedRuns");
    AddNotConnectedRuns(st_, dir_.path(), true);
    EXPECT_EQ(
        Render(st_,
               "SELECT NotConnectedRuns FROM InlineComp_Prun WHERE PipeRun_ITEMTAG='T-1' LIMIT 1"),
        "1");
}

TEST_F(NotConnected, MissingInputsAreNoFailure) {
    st_.DropTable("OPCs");
    AddNotConnectedRuns(st_, dir_.path(), false);
    EXPECT_FALSE(st_.ColumnExists("InlineComp_Prun", "NotConnectedRuns"));
    st_.DropColumn("InlineComp_Prun", "PipeRun_ITEMTAG");
    AddNotConnectedRuns(st_, dir_.path(), false);
    EXPECT_FALSE(st_.ColumnExists("InlineComp_Prun", "NotConnectedRuns"));
}

// Several component rows per run, a tag written in two cases, a run whose last t_piperun row is
// an instrument (an earlier row says piping), a run of Null class and one without t_piperun row.
TEST_F(NotConnected, RunsOnceEachWithTheirLastClass) {
    st_.Execute(
        "INSERT INTO InlineComp_Prun VALUES ('R1','T-1',NULL),('R3','t-1',NULL),('R9','T-5',NULL),"
        "('R10','T-5',NULL),('R11','T-5',NULL),('R12','T-5',NULL),('R13','T-5',NULL)");
    st_.Execute(
        "INSERT INTO PID VALUES "
        "('R9','c9'),('R10','c10'),('R11','c11'),('R12','c12'),('R13','c13')");
    st_.Execute(
        "INSERT INTO t_connector VALUES ('c9','a',NULL,NULL,NULL),('c10','b',NULL,NULL,NULL),"
        "('c11','c',NULL,NULL,NULL),('c12','d',NULL,NULL,NULL),('c13','A',NULL,NULL,NULL)");
    // R9 and R13 share an item that differs only in case; R10 was piping, then instrument; R11 has
    // a Null class; R12 has no t_piperun row.
    st_.Execute(
        "INSERT INTO t_piperun VALUES ('R9','Piping'),('R10','Piping'),('R10','Instrument'),"
        "('R11',NULL),('R13','PIPING')");
    AddNotConnectedRuns(st_, dir_.path(), false);
    EXPECT_EQ(Render(st_,
                     "SELECT DISTINCT Piperun_sp_id, NotConnectedRuns FROM InlineComp_Prun WHERE "
                     "PipeRun_ITEMTAG IN ('T-1','T-5')"),
              "R1|1;R2|1;R3|1;R9|1;R10|1;R11|1;R12|1;R13|1");
    EXPECT_FALSE(st_.TableExists("t_loose"));
    const NotConnectedInputs in = NotConnectedInputsOf(st_, false);
    EXPECT_EQ(GetNotConnectedRunCount(st_, "t-5", in), 1);
    EXPECT_EQ(GetNotConnectedRunCount(st_, "T-2", in), 0);
}

TEST(NotConnectedSql, WhatTheStatementReads) {
    NotConnectedInputs in;
    in.runClass = true;
    in.opcRun = true;
    const std::string all = NotConnectedRunsSql(in);
    EXPECT_NE(
        all.find(
            "Piperun_sp_id IN (SELECT Piperun_sp_id FROM t_piperun WHERE \"t_piperun\"._rowid_ IN "
            "(SELECT max(_rowid_) FROM \"t_piperun\" GROUP BY Piperun_sp_id) AND "
            "(lcase(Piperun_piperunclass) <> 'piping') IS NOT 1)"),
        std::string::npos)
        << all;
    // Off-page connectors without a tag column still make their run a neighbour row.
    EXPECT_NE(all.find("SELECT r.run, r.tag, NULL AS cid FROM runs r INNER JOIN OPCs o"),
              std::string::npos);
    EXPECT_EQ(all.find("PipeRun_Slave"), std::string::npos);
    in.slaveColumn = true;
    in.opcRun = false;
    in.runClass = false;
    const std::string none = NotConnectedRunsSql(in);
    EXPECT_NE(none.find("IS NOT NULL AND 0 GROUP BY"), std::string::npos) << none;
    EXPECT_EQ(none.find("OPCs"), std::string::npos);
    EXPECT_NE(none.find("WHERE lcase(jcat('', PipeRun_Slave)) <> 'true'"), std::string::npos);
    in.pipingOnly = false;
    EXPECT_EQ(NotConnectedRunsSql(in).find("t_piperun"), std::string::npos);
}

TEST(RunStatistics, LabelCountsAndTheirNulls) {
    tb::test::TempDir dir;
    store::Store st = store::Store::InMemory();
    // R1 two labels (one file name in other case), R2 none, R3 an instrument run, R4 a zero-length
    // stub without labels, R5 a zero-length stub with one label; a label of another file counts
    // not.
    MakeTable(st, "InlineComp_Prun", {"Piperun_sp_id"},
              "('R1'),('R1'),('R2'),('R3'),('R4'),('R5')");
    MakeTable(
        st, "PID", {"SP_ID", "REPRESENTATION_ID", "FileName"},
        "('R1','c1',NULL),('R2','c2',NULL),('R3','c3',NULL),('R4','c4',NULL),('R5','c5',NULL),"
        "('L1','l1','Line Number.sym'),('L2','l2','FLOW direction.SYM'),('L3','l3','Item Tag.sym'),"
        "('L4','l4','Line Number.sym'),('L5','l5','Line Number.sym')");
    MakeTable(st, "T_LABELPERSIST", {"SP_ID", "SP_REPRESENTATIONID"},
              "('l1','c1'),('l2','c1'),('l3','c2'),('l4','c3'),('l5','c5')");
    MakeTable(st, "t_piperun", {"Piperun_sp_id", "Piperun_piperunclass"}, "('R3','Instrument')");
    MakeTable(st, "t_connector", {"SP_ID", "ISZEROLENGTH:Long"}, "('c4',2),('c5',2),('c1',1)");
    const auto ini = dir.path() / "a.ini";
    tb::test::WriteFile(ini, "[Labels]\r\nPiping= Line Number.sym ;Flow Direction.sym;;\r\n");
    EXPECT_EQ(PipingLabelFiles(ini),
              (std::vector<std::string>{"line number.sym", "flow direction.sym"}));
    AddNumberOfLabels(st, ini);
    EXPECT_EQ(Render(st, "SELECT Piperun_sp_id, NumberOfLabels FROM InlineComp_Prun"),
              "R1|2;R1|2;R2|0;R3|<null>;R4|<null>;R5|1");
    EXPECT_FALSE(st.TableExists("T_LABELPERSIST2"));
    EXPECT_FALSE(st.TableExists("t_temp_labels"));
    // Without label files the column is not made.
    st.DropColumn("InlineComp_Prun", "NumberOfLabels");
    tb::test::WriteFile(ini, "[Labels]\r\n");
    AddNumberOfLabels(st, ini);
    EXPECT_FALSE(st.ColumnExists("InlineComp_Prun", "NumberOfLabels"));
}

TEST(RunStatistics, MultiRepComparesDrawingNamesWithoutCase) {
    store::Store st = store::Store::InMemory();
    MakeTable(st, "Eqp_Nozzle", {"Equipment_sp_id", "Drawing_Name"},
              "('E1','PID-1'),('E1','pid-1'),('E2','PID-1'),('E2','PID-2'),('E2',NULL),('E3',NULL),"
              "(NULL,'PID-1'),"
              "(NULL,'PID-2')");
    AddMultiRep(st);
    EXPECT_EQ(Render(st, "SELECT MultiRep FROM Eqp_Nozzle"),
              "False;False;True;True;True;False;False;False");
    EXPECT_FALSE(st.TableExists("tempMultiRep"));
}

TEST(PostProcess, ScratchTablesAreAbsentAtTheStartAndGoOnEveryPath) {
    store::Store st = store::Store::InMemory();
    MakeTable(st, "temp_prun", {"x"}, "('old')");
    try {
        ScratchTables scratch(st);
        scratch.Claim("temp_prun");
        EXPECT_FALSE(st.TableExists("temp_prun"));
        MakeTable(st, "temp_prun", {"y"});
        throw Error(kErrInternal, "on the way out");
    } catch (const Error&) {
    }
    EXPECT_FALSE(st.TableExists("temp_prun"));
}

}  // namespace
}  // namespace tb::extraction

namespace tb::extraction {
namespace {

using test::MakeTable;
using test::Render;

// Instruments and what they stand on, drawn by hand. Representation ids are "r" + the model id;
// connectors carry the model id of their run.
store::Store InstrumentPlant() {
    store::Store st = store::Store::InMemory();
    MakeTable(st, "Instruments", {"Instrument_sp_id"},
              "('I1'),('I2'),('I3'),('I4'),('I5'),('I6'),('I7'),('I8')");
    std::string pid;
    for (const char* item : {"I1", "I2", "I3", "I4", "I5", "I6", "I7", "I8", "V1", "V2", "V3", "W1",
                             "W2", "W3", "W4", "V9", "N", "N2", "N3"})
        pid += std::string(pid.empty() ? "" : ",") + "('" + item + "','r" + item + "')";
    // Runs: their connectors and branch points.
    pid +=
        ",('K1','rk1'),('K2','rk2'),('K3','rk3'),('K4','rk4'),('K5','rk5'),('K6','rk6'),('K7','rk7'"
        "),('K8','rk8'),"
        "('RZ','rBPZ'),('RZ','rkz'),('RT','rBPT'),('RT','rkt'),('K9','rk9'),('K10','rk10'),('K11','"
        "rk11'),"
        "('K12','rk12'),('K13','rk13'),('K14','rk14'),('K15','rk15')";
    MakeTable(st, "PID", {"SP_ID", "REPRESENTATION_ID"}, pid);
    MakeTable(st, "t_connector",
              {"SP_ID", "SP_CONNECTITEM1ID", "SP_CONNECTITEM2ID", "SP_AVOIDITEM1ID",
               "SP_AVOIDITEM2ID", "Plantitemtype:Long"},
              // I1 on V1 of the chain V1-V2-V3-N; I8 on W1 of the chain W1-W2-W3-W4-N.
              "('rk1','rI1','rV1',NULL,NULL,4),('rk2','rV1','rV2',NULL,NULL,4),('rk3','rV2','rV3',"
              "NULL,NULL,4),"
              "('rk4','rV3','rN',NULL,NULL,4),"
              "('rk9','rI8','rW1',NULL,NULL,4),('rk10','rW1','rW2',NULL,NULL,4),('rk11','rW2','rW3'"
              ",NULL,NULL,4),"
              "('rk12','rW3','rW4',NULL,NULL,4),('rk13','rW4','rN',NULL,NULL,4),"
              // I3 on the inline instrument I2; I4 on V9 of a run of type 1; I5 steps around I4.
              "('rk5','rI3','rI2',NULL,NULL,4),('rk6','rI4','rV9',NULL,NULL,4),('rk7','rX','rI5',"
              "NULL,'rI4',9),"
              // I6 on the branch point of the zero-length run RZ, which starts at the nozzle N2;
              // I7 the same on RT, a run of the configured type, at N3.
              "('rk8','rI6','rBPZ',NULL,NULL,4),('rkz','rN2',NULL,NULL,NULL,4),"
              "('rk14','rI7','rBPT',NULL,NULL,4),('rkt',NULL,'rN3',NULL,NULL,4)");
    MakeTable(
        st, "T_InlinecompIDs",
        {"sp_instrumentid", "sp_pipingcompid", "sp_piperunid", "PipeRunType:Long"},
        "(NULL,'V1','R',2),(NULL,'V2','R',2),(NULL,'V3','R',2),(NULL,'W1','R',2),(NULL,'W2','R',2),"
        "(NULL,'W3','R',2),(NULL,'W4','R',2),('I2',NULL,'R9',1),(NULL,'V9','R8',1)");
    MakeTable(st, "t_piperun",
              {"Piperun_sp_id", "Piperun_sp_connectorszerolength", "Piperun_piperuntype"},
              "('RZ','True','Process'),('RT','False','Stub')");
    MakeTable(st, "t_plantitem", {"SP_ID", "PLANTITEMTYPE"},
              "('N','Nozzle'),('N2','Nozzle'),('N3','Nozzle')");
    return st;
}

TEST(ConnectedItems, InstrumentChain) {
    struct Case {
        const char* runType;
        const char* expected;
    } cases[] = {
        // I1: three components resolve in two rounds; I8: four do not, it keeps its component.
        {"", "I1|N;I2|R9;I3|R9;I4|R8;I5|R8;I6|N2;I7|RT;I8|W1"},
        {"Stub", "I1|N;I2|R9;I3|R9;I4|R8;I5|R8;I6|N2;I7|N3;I8|W1"},
    };
    for (const Case& c : cases) {
        store::Store st = InstrumentPlant();
        AddConnectedItemID(st, "Instruments", c.runType);
        EXPECT_EQ(
            Render(st, "SELECT Instrument_sp_id, Instrument_ConnectedItemID FROM Instruments"),
            c.expected)
            << c.runType;
        EXPECT_FALSE(st.TableExists("tempID"));
    }
}

TEST(ConnectedItems, PipingPointsGetTheirRuns) {
    store::Store st = store::Store::InMemory();
    MakeTable(st, "PID", {"SP_ID", "REPRESENTATION_ID"},
              "('V','rV'),('R1','rk1'),('R2','rk2'),('R3','rk3')");
    // R1 starts at point 1 of V, R2 ends at point 2, R3 starts at point 2 too: the end wins there.
    MakeTable(
        st, "t_connector",
        {"SP_ID", "SP_CONNECTITEM1ID", "SP_CONNECTITEM2ID", "startobject:Long", "endobject:Long"},
        "('rk1','rV',NULL,1,NULL),('rk2',NULL,'rV',NULL,2),('rk3','rV',NULL,2,NULL)");
    MakeTable(st, "t_pipingpoint", {"sp_plantitemid", "pointindex:Long", "ConnectedPiperunID"},
              "('V',1,NULL),('V',2,NULL),('V',3,NULL)");
    AddConnectedPiperunID(st);
    EXPECT_EQ(Render(st, "SELECT pointindex, ConnectedPiperunID FROM t_pipingpoint"),
              "1|R1;2|R2;3|<null>");
    EXPECT_FALSE(st.TableExists("t_c_r"));
}

// Where several connectors lead from one item, the greatest id wins, whatever order the plant
// stores them in; the choice is made before the update and reads nothing of it.
TEST(ConnectedItems, SeveralConnectorsTheGreatestIdWins) {
    store::Store st = store::Store::InMemory();
    MakeTable(st, "Eqp_Nozzle", {"Nozzle_sp_id"}, "('N1'),('N2'),('N3'),('n1')");
    MakeTable(st, "PID", {"SP_ID", "REPRESENTATION_ID"},
              "('N1','rN1'),('N2','rN2'),('N3','rN3'),('K1','rk1'),('K2','rk2'),('K3','rk3'),('K4',"
              "'rk4')");
    // N1: rk2 on its end 1, rk1 and rk4 on end 2 (rk4 stored first); N2: rk3 only; N3: none.
    MakeTable(st, "t_connector", {"SP_ID", "SP_CONNECTITEM1ID", "SP_CONNECTITEM2ID"},
              "('rk4',NULL,'rN1'),('rk2','rN1',NULL),('rk1',NULL,'rN1'),('rk3','rN2',NULL)");
    AddConnectedItemID(st, "Eqp_Nozzle", "");
    EXPECT_EQ(Render(st, "SELECT Nozzle_sp_id, Nozzle_ConnectedItemID FROM Eqp_Nozzle"),
              "N1|K4;N2|K3;N3|<null>;n1|K4");
}

TEST(ConnectedItems, PipingPointOfTwoRunsTakesTheGreater) {
    store::Store st = store::Store::InMemory();
    MakeTable(st, "PID", {"SP_ID", "REPRESENTATION_ID"},
              "('V','rV'),('R1','rk1'),('R3','rk3'),('R2','rk2')");
    // R3 and R1 both start at point 1 (R3 stored first).
    MakeTable(
        st, "t_connector",
        {"SP_ID", "SP_CONNECTITEM1ID", "SP_CONNECTITEM2ID", "startobject:Long", "endobject:Long"},
        "('rk3','rV',NULL,1,NULL),('rk1','rV',NULL,1,NULL),('rk2',NULL,'rV',NULL,3)");
    MakeTable(st, "t_pipingpoint", {"sp_plantitemid", "pointindex:Long", "ConnectedPiperunID"},
              "('V',1,NULL),('V',2,NULL),('V',3,NULL)");
    AddConnectedPiperunID(st);
    EXPECT_EQ(Render(st, "SELECT pointindex, ConnectedPiperunID FROM t_pipingpoint"),
              "1|R3;2|<null>;3|R2");
}

TEST(ConnectedItems, UpdateFromRowsChosenBeforehand) {
    EXPECT_EQ(UpdateFromChosenSql("Instruments", "SELECT k, max(v) AS v FROM s GROUP BY k",
                                  "t.id = m.k", {{"A", "m.v"}, {"B", "NULL"}}),
              "WITH m AS MATERIALIZED (SELECT k, max(v) AS v FROM s GROUP BY k) UPDATE "
              "\"Instruments\" AS t SET "
              "\"A\" = m.v, \"B\" = NULL FROM m WHERE t.id = m.k");
    // One row per item: the statements group by the item and take the greatest id.
    for (const char* table : {"Eqp_Nozzle", "instruments", "OPCs"}) {
        const std::string sql = ConnectedItemSql(table);
        EXPECT_NE(sql.find(" GROUP BY "), std::string::npos) << table;
        EXPECT_EQ(sql.find("ORDER BY"), std::string::npos) << table;
        EXPECT_NE(sql.find("max("), std::string::npos) << table;
    }
    EXPECT_EQ(ConnectedItemSql("Plantitems"), "");
}

// A cancel names the routine once in the error's source (its trap adds the name).
TEST_F(NotConnected, CancelNamesTheRoutineOnce) {
    SetCancelRequested(true);
    try {
        AddNotConnectedRuns(st_, dir_.path(), false);
        ADD_FAILURE() << "no cancel";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), kErrCancelled);
        EXPECT_EQ(e.source(), "AddNotConnectedRuns");
    }
    SetCancelRequested(false);
}

}  // namespace
}  // namespace tb::extraction
