// Connected items and the OPCs category, as SQLite statements on the store.

#include "extraction/connected_items.h"

#include "attributes/logged_trap.h"
#include "common/log.h"
#include "common/text.h"
#include "extraction/category_sql.h"
#include "extraction/output_model.h"
#include "extraction/post_process.h"
#include "shell/program_settings.h"
#include "store/catalog_ops.h"

namespace tb::extraction {
namespace {

using attributes::LoggedTrap;

std::string Lower(std::string_view s) {
    return ToLowerAscii(s);
}

// One branch of the connector-end unions: the connectors whose end `end` (1 or 2) stands on a
// row of `table`. CROSS JOIN keeps the small table outside: without statistics SQLite would scan
// every connector instead.
std::string EndsOf(std::string_view table, std::string_view id, char end, std::string_view select,
                   std::string_view extra = {}) {
    const std::string t = "[" + std::string(table) + "]";
    const std::string item = std::string("c.SP_CONNECTITEM") + end + "ID";
    return "SELECT " + std::string(select) + " FROM " + t + " CROSS JOIN PID ON " + t + ".[" +
           std::string(id) +
           "] = PID.SP_ID CROSS JOIN t_connector c ON PID.REPRESENTATION_ID = " + item + " WHERE " +
           item + " IS NOT NULL" + std::string(extra);
}

// Runs `u` with the target under alias "t" and the source under "s".
void Update(store::Store& st, std::string_view target, std::string source, std::string on,
            std::vector<store::Assignment> set, std::string where = {}) {
    st.UpdateFromJoin({.target = std::string(target),
                       .targetAlias = "t",
                       .source = std::move(source),
                       .on = std::move(on),
                       .set = std::move(set),
                       .where = std::move(where)});
}

// Runs UpdateFromChosenSql.
void UpdateFromChosen(store::Store& st, std::string_view target, std::string_view chosen,
                      std::string_view on, const std::vector<store::Assignment>& set) {
    st.ExecuteCount(UpdateFromChosenSql(target, chosen, on, set));
}

// Steps 4 to 16 of the Instruments chain: from the first neighbour to the item that counts.
void InstrumentChain(store::Store& st, ScratchTables& scratch, std::string_view nozzleRunType) {
    const std::string C = "Instrument_ConnectedItemID";
    scratch.Drop("tempID");
    if (st.TableExists("T_InlinecompIDs")) {
        // An inline instrument gets its own run; one connected to an inline instrument, that
        // instrument's run; one connected to a piping component, the component's run unless the
        // run is of type 2.
        Update(st, "Instruments", "T_InlinecompIDs s", "t.Instrument_sp_id = s.sp_instrumentid",
               {{C, "s.sp_piperunid"}});
        Update(st, "Instruments", "T_InlinecompIDs s", "t." + C + " = s.sp_instrumentid",
               {{C, "s.sp_piperunid"}});
        Update(st, "Instruments", "T_InlinecompIDs s", "t." + C + " = s.SP_PIPINGCOMPID",
               {{C, "s.sp_piperunid"}}, "s.PipeRunType <> 2");
        // Each piping component with the item at the far end of each of its connectors; a
        // component followed by another is replaced by what lies behind that one, twice.
        st.SelectInto(
            "SELECT * FROM (SELECT i.SP_PIPINGCOMPID, PID_1.SP_ID FROM T_InlinecompIDs i INNER "
            "JOIN PID ON "
            "i.SP_PIPINGCOMPID = PID.SP_ID INNER JOIN t_connector c ON PID.REPRESENTATION_ID = "
            "c.SP_CONNECTITEM1ID "
            "INNER JOIN PID AS PID_1 ON c.SP_CONNECTITEM2ID = PID_1.REPRESENTATION_ID UNION "
            "SELECT i.SP_PIPINGCOMPID, PID_1.SP_ID FROM T_InlinecompIDs i INNER JOIN PID ON "
            "i.SP_PIPINGCOMPID = PID.SP_ID INNER JOIN t_connector c ON PID.REPRESENTATION_ID = "
            "c.SP_CONNECTITEM2ID "
            "INNER JOIN PID AS PID_1 ON c.SP_CONNECTITEM1ID = PID_1.REPRESENTATION_ID) ORDER BY 1, "
            "2",
            scratch.Claim("tempID"));
        st.IndexColumn("SP_PIPINGCOMPID", "tempID");
        for (int round = 0; round < 2; ++round) {
            st.UpdateFromJoin(
                {.target = "tempID",
                 .targetAlias = "t1",
                 .source = "tempID t2 LEFT JOIN tempID t3 ON t2.sp_id = t3.sp_pipingcompid",
                 .on = "t1.sp_id = t2.sp_pipingcompid",
                 .set = {{"sp_id", "t2.sp_id"}},
                 .where = "t3.sp_pipingcompid IS NULL",
                 .order = "t2._rowid_"});
        }
        Update(st, "Instruments", "tempID s", "t." + C + " = s.SP_PIPINGCOMPID", {{C, "s.sp_id"}},
               "t.Instrument_sp_id <> s.sp_id");
        scratch.Drop("tempID");
    }
    // An instrument still without an item takes the item of the instrument at the avoid item of
    // its connector; of several, the greatest.
    auto avoid = [](char end) {
        const std::string e(1, end);
        return "SELECT i.Instrument_sp_id, i1.Instrument_ConnectedItemID FROM Instruments i CROSS "
               "JOIN PID ON "
               "i.Instrument_sp_id = PID.SP_ID CROSS JOIN t_connector c ON PID.REPRESENTATION_ID = "
               "c.SP_CONNECTITEM" +
               e + "ID CROSS JOIN PID AS PID_1 ON PID_1.REPRESENTATION_ID = c.SP_AVOIDITEM" + e +
               "ID CROSS JOIN Instruments i1 ON PID_1.SP_ID = i1.Instrument_sp_id WHERE "
               "i.Instrument_ConnectedItemID "
               "IS NULL AND i1.Instrument_ConnectedItemID IS NOT NULL";
    };
    UpdateFromChosen(st, "Instruments",
                     "SELECT Instrument_sp_id, max(Instrument_ConnectedItemID) AS " + C +
                         " FROM (" + avoid('2') + " UNION ALL " + avoid('1') +
                         ") GROUP BY Instrument_sp_id",
                     "t.Instrument_sp_id = m.Instrument_sp_id", {{C, "m." + C}});
    // A run of zero length (or of the configured type) between the instrument and a nozzle is
    // only a stub: the instrument counts as connected to the nozzle.
    if (!st.TableExists("t_piperun") || !st.TableExists("t_plantitem")) return;
    const std::string condition =
        "t_plantitem.PLANTITEMTYPE = 'Nozzle' AND (t_piperun.Piperun_sp_connectorszerolength = "
        "'True'" +
        (nozzleRunType.empty()
             ? std::string()
             : " OR t_piperun.Piperun_piperuntype = " + SqlLiteral(nozzleRunType)) +
        ")";
    auto branch = [&](char end) {
        return "SELECT PID.SP_ID, PID_1.SP_ID AS cid FROM t_piperun INNER JOIN PID ON "
               "t_piperun.Piperun_sp_id = "
               "PID.SP_ID INNER JOIN t_connector c ON PID.REPRESENTATION_ID = c.SP_ID INNER JOIN "
               "PID AS PID_1 ON "
               "PID_1.REPRESENTATION_ID = c.SP_CONNECTITEM" +
               std::string(1, end) +
               "ID INNER JOIN t_plantitem ON t_plantitem.SP_ID = PID_1.SP_ID WHERE " + condition;
    };
    UpdateFromChosen(st, "Instruments",
                     "SELECT SP_ID AS sp_id, max(cid) AS cid FROM (" + branch('1') + " UNION ALL " +
                         branch('2') + ") GROUP BY SP_ID",
                     "t." + C + " = m.sp_id", {{C, "m.cid"}});
}

}  // namespace

std::string UpdateFromChosenSql(std::string_view target, std::string_view chosen,
                                std::string_view on, const std::vector<store::Assignment>& set) {
    // Materialized first, so that a source that reads the target sees it as it was.
    std::string sql = "WITH m AS MATERIALIZED (" + std::string(chosen) + ") UPDATE " +
                      store::QuoteName(target) + " AS t SET ";
    for (std::size_t i = 0; i < set.size(); ++i)
        sql += (i ? ", " : "") + store::QuoteName(set[i].column) + " = " + set[i].expression;
    return sql + " FROM m WHERE " + std::string(on);
}

ConnectedItemColumns ConnectedItemColumnsOf(std::string_view table) {
    const std::string t = Lower(table);
    if (t == "eqp_nozzle") return {"Nozzle_ConnectedItemID", "Nozzle_sp_id"};
    if (t == "instruments") return {"Instrument_ConnectedItemID", "Instrument_sp_id"};
    if (t == "opcs") return {"ConnectedItemID", "Plantitem_SP_ID"};
    return {};
}

std::string ConnectedItemSql(std::string_view table) {
    const std::string t = Lower(table);
    const ConnectedItemColumns cols = ConnectedItemColumnsOf(table);
    const std::string C = "[" + cols.column + "]";
    if (t == "eqp_nozzle")
        return "SELECT obj.SP_ID AS sp_id, max(connector.SP_ID) AS " + C + " FROM (" +
               EndsOf(table, cols.idColumn, '1',
                      "c.SP_CONNECTITEM1ID AS object_id, c.SP_ID AS connector_id") +
               " UNION ALL " +
               EndsOf(table, cols.idColumn, '2',
                      "c.SP_CONNECTITEM2ID AS object_id, c.SP_ID AS connector_id") +
               ") c2 CROSS JOIN PID obj ON obj.REPRESENTATION_ID = c2.object_id CROSS JOIN PID "
               "connector ON "
               "connector.REPRESENTATION_ID = c2.connector_id GROUP BY obj.SP_ID";
    if (t == "instruments")
        return "SELECT c1.SP_ID AS sp_id, max(r.SP_ID) AS " + C + " FROM (" +
               EndsOf(table, cols.idColumn, '1',
                      "c.SP_CONNECTITEM1ID AS connected_rid, c.SP_CONNECTITEM2ID AS rid",
                      " AND c.Plantitemtype = 4") +
               " UNION ALL " +
               EndsOf(table, cols.idColumn, '2',
                      "c.SP_CONNECTITEM2ID AS connected_rid, c.SP_CONNECTITEM1ID AS rid",
                      " AND c.Plantitemtype = 4") +
               ") c2 CROSS JOIN PID c1 ON c1.REPRESENTATION_ID = c2.connected_rid CROSS JOIN PID r "
               "ON "
               "r.REPRESENTATION_ID = c2.rid GROUP BY c1.SP_ID";
    if (t == "opcs") {
        auto branch = [](char end) {
            return "SELECT PID.SP_ID, PID_1.SP_ID AS cid FROM opcs CROSS JOIN PID ON "
                   "opcs.Plantitem_SP_ID = PID.SP_ID "
                   "CROSS JOIN t_connector c ON PID.REPRESENTATION_ID = c.SP_ID CROSS JOIN PID AS "
                   "PID_1 ON "
                   "PID_1.REPRESENTATION_ID = c.SP_CONNECTITEM" +
                   std::string(1, end) + "ID WHERE PID_1.SP_ID <> opcs.Opc_sp_id";
        };
        return "SELECT t.sp_id, max(t.cid) AS " + C + " FROM (" + branch('1') + " UNION ALL " +
               branch('2') + ") t GROUP BY t.sp_id";
    }
    return {};
}

void AddConnectedItemID(store::Store& st, std::string_view table, std::string_view nozzleRunType) {
    const std::string name(table);
    ShowProgress("ConnectedItemID for " + name + "...");
    LoggedTrap("AddConnectedItemID", [&] {
        const ConnectedItemColumns cols = ConnectedItemColumnsOf(table);
        if (cols.column.empty() || !store::AdoColumnExists(st, table, cols.idColumn)) return;
        ScratchTables scratch(st);
        scratch.Claim("tempID");
        st.AddColumn(table, {cols.column, store::ColumnType::Text(64)});
        UpdateFromChosen(st, table, ConnectedItemSql(table), "t.[" + cols.idColumn + "] = m.sp_id",
                         {{cols.column, "m.[" + cols.column + "]"}});
        if (Lower(table) == "instruments") InstrumentChain(st, scratch, nozzleRunType);
    });
    LogLine("Done");
}

void AddConnectedItemID(store::Store& st, std::string_view table) {
    AddConnectedItemID(st, table, shell::ProgramSetting("Nozzle_PrunType", "", "Instr_Conn"));
}

void AddConnectedPiperunID(store::Store& st) {
    LoggedTrap("AddConnectedPiperunID", [&] {
        if (!st.ColumnExists("t_pipingpoint", "ConnectedPiperunID")) return;
        // Start ends first, then end ends: where both name a point, the end's run stays. Of several
        // runs at one end of a point, the greatest.
        for (const char* end : {"1", "2"}) {
            const std::string object = end == std::string("1") ? "startobject" : "endobject";
            UpdateFromChosen(
                st, "t_pipingpoint",
                "SELECT PID_1.SP_ID AS sp_plantitemid, jcat('', c." + object +
                    ") AS pointindex, max(PID.SP_ID) AS ConnectedPiperunID FROM t_connector c "
                    "INNER "
                    "JOIN PID ON c.SP_ID = PID.REPRESENTATION_ID INNER JOIN PID AS PID_1 ON "
                    "PID_1.REPRESENTATION_ID = c.SP_CONNECTITEM" +
                    end + "ID GROUP BY 1, 2",
                "t.sp_plantitemid = m.sp_plantitemid AND t.pointindex = m.pointindex",
                {{"ConnectedPiperunID", "m.ConnectedPiperunID"}});
        }
    });
}

std::string FoldedOpcColumns(const std::vector<std::string>& columns) {
    // The first end's form names the pair; its twin is taken with it.
    struct Pair {
        std::string twin, name;
    };
    auto pairOf = [&](const std::string& c) -> Pair {
        Pair p;
        if (IStartsWith(c, "Connector1_")) {
            p = {FindName(columns, "Connector2_" + c.substr(11)), "Plantitem_" + c.substr(11)};
        } else if (IEndsWith(c, "_1") && c.size() > 2) {
            p = {FindName(columns, c.substr(0, c.size() - 2) + "_2"), c.substr(0, c.size() - 2)};
        }
        if (p.twin.empty() || HasName(columns, p.name)) return {};
        return p;
    };
    std::vector<std::string> twins;
    for (const std::string& c : columns)
        if (const Pair p = pairOf(c); !p.twin.empty()) twins.push_back(p.twin);
    std::vector<std::string> list;
    for (const std::string& c : columns) {
        if (HasName(twins, c)) continue;
        const Pair p = pairOf(c);
        if (p.twin.empty()) {
            list.push_back(store::SqlName(c));
            continue;
        }
        const std::string A = store::SqlName(c), B = store::SqlName(p.twin);
        list.push_back("jcat(" + A + ", iif(" + A + " IS NULL, " + B + ", iif(" + B +
                       " IS NULL, '', jcat(', ', " + B + ")))) AS " + store::SqlName(p.name));
    }
    return Join(list, ", ");
}

void AddOPCs(store::Store& st, const AttributeKeys& keys, SharedJoinSources* shared) {
    LoggedTrap("AddOPCs", [&] {
        if (!st.TableExists("t_opc")) return;
        ScratchTables scratch(st);
        for (const char* t : {"temp0", "temp1", "temp2", "temp3", "temp", "temp_prun"})
            scratch.Claim(t);
        // The two ends of every connector on an off-page connector (only those rows survive the
        // join with t_opc below, so the others are not made at all).
        const std::string opcOnly = " AND PID.SP_ID IN (SELECT Opc_sp_id FROM t_opc)";
        st.SelectInto(
            "SELECT PID.Representation_ID AS RID_a, PID.SP_ID AS MID_a, c.SP_ID AS connector1 FROM "
            "PID, "
            "t_connector c WHERE c.SP_CONNECTITEM1ID = PID.Representation_ID" +
                opcOnly + " ORDER BY 1, 3",
            "temp0");
        st.SelectInto(
            "SELECT PID.Representation_ID AS RID_b, PID.SP_ID AS MID_b, c.SP_ID AS connector2 FROM "
            "PID, "
            "t_connector c WHERE c.SP_CONNECTITEM2ID = PID.Representation_ID" +
                opcOnly + " ORDER BY 1, 3",
            "temp1");
        JoinTable(st, "OUTER", {}, "temp0", "RID_a", "temp1", "RID_b", "temp2");
        scratch.Drop("temp0");
        scratch.Drop("temp1");
        st.ExecuteCount("UPDATE temp2 SET MID_a = MID_b WHERE MID_a IS NULL OR MID_a = ''");
        for (const char* c : {"RID_a", "RID_b", "MID_b"}) st.DropColumn("temp2", c);
        // The connectors' representations become their runs' model ids.
        for (const char* c : {"connector1", "connector2"})
            Update(st, "temp2", "PID s", std::string("t.") + c + " = s.Representation_ID",
                   {{c, "s.SP_ID"}}, std::string("NOT (t.") + c + " IS NULL OR t." + c + " = '')");
        TableGrower g(st, scratch, "OPCs", "AddOPCs", 3, shared);
        g.StartJoin("LEFT", "t_opc", "Opc_sp_id", "temp2", "MID_a");
        g.DropColumn("MID_a");
        // Each end's run: its plant item columns and its t_piperun columns, named per end.
        const std::string plantItems = GetSQL4AddCols4DiffTypes(keys, "t_plantitem", "OPCs", "",
                                                                TableColumns(st, "t_plantitem"));
        const std::string runs =
            GetSQL4AddCols4DiffTypes(keys, "t_piperun", "OPCs", "", TableColumns(st, "t_piperun"));
        for (const char* n : {"1", "2"}) {
            const std::string connector = std::string("Connector") + n,
                              left = std::string("connector") + n;
            if (!plantItems.empty() && st.TableExists("t_plantitem"))
                g.Extend(ReplaceAllI(plantItems, "AS [Plantitem_", "AS [" + connector + "_"), left,
                         connector + "_SP_ID", "LEFT", "t_plantitem", true);
            if (!runs.empty() && st.TableExists("t_piperun")) {
                // Read by the grown table until it is finished.
                const std::string prun = scratch.Claim(std::string("temp_prun") + n);
                st.SelectInto(runs, prun);
                RenameAllCols(st, prun, "", std::string("_") + n);
                g.ExtendTable(prun, left, std::string("Piperun_SP_ID_") + n, "LEFT", "t_piperun",
                              true);
            }
            // The run's cases; the connector column names the run whether or not t_piperun
            // columns are wanted.
            g.Cases(keys, "OPCs", left, std::string("_") + n);
        }
        g.Extend(GetSQL4AddCols4DiffTypes(keys, "t_modelitem", "OPCs", "",
                                          TableColumns(st, "t_modelitem")),
                 "Opc_SP_ID", "Modelitem_SP_ID", "LEFT", "t_modelitem");
        // The two ends folded into one column each.
        const std::string before = g.Current();
        scratch.Drop("temp2");
        g.Start("SELECT " + FoldedOpcColumns(TableColumns(st, before)) + " FROM [" + before + "]");
        scratch.Drop(before);
        g.Extend(GetSQL4OthersCols(keys, "OPCs", TableColumns(st, "PID")), "Opc_SP_ID",
                 "Others_SP_ID", "INNER", "PID", false, true);
        g.Extend(
            GetSQL4AddCols4DiffTypes(keys, "t_symbol", "OPCs", "", TableColumns(st, "t_symbol")),
            "Opc_SP_ID", "Symbol_SP_PLANTITEMID", "LEFT", "t_symbol");
        g.Finish();
    });
    AddConnectedItemID(st, "OPCs");
    LoggedTrap("AddOPCs", [&] {
        if (st.TableExists("OPCs")) AddID2Table(st, "OPCs");
    });
}

}  // namespace tb::extraction
