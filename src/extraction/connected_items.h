#pragma once
// Connected items: connector geometry turned into plain id columns inside the extract. Which
// item a nozzle's pipe is (Eqp_Nozzle.Nozzle_ConnectedItemID), which run, nozzle or item an
// instrument is on (Instruments.Instrument_ConnectedItemID), what lies on an off-page connector's
// run (OPCs.ConnectedItemID), the run at each piping point (t_pipingpoint.ConnectedPiperunID), and
// the OPCs category itself.
//
// Where several connectors match one item, the greatest of the ids they lead to wins (the last
// row when the rows are ordered by item and id), so every run of the same plant gives the same
// answer. The choice is made once per item by a grouped statement, and the update reads it.

#include <string>
#include <string_view>
#include <vector>

#include "extraction/attribute_keys.h"
#include "extraction/post_process.h"
#include "store/store.h"

namespace tb::extraction {

// The SQLite text of the SELECT of the connected item chosen for each item of "Eqp_Nozzle",
// "Instruments" or "OPCs" (any case): columns sp_id and the new column, one row per sp_id, the
// greatest id where several match; empty for any other table.
std::string ConnectedItemSql(std::string_view table);

// "WITH m AS MATERIALIZED (<chosen>) UPDATE <target> AS t SET ... FROM m WHERE <on>": the update of
// `target` (alias t) from rows chosen beforehand (alias m, at most one matching each target row).
// The chosen rows are made in full before any row is written, so they may read the target.
std::string UpdateFromChosenSql(std::string_view target, std::string_view chosen,
                                std::string_view on, const std::vector<store::Assignment>& set);

// The new column of `table` ("Nozzle_ConnectedItemID", "Instrument_ConnectedItemID",
// "ConnectedItemID") and the table's id column; empty for any other table.
struct ConnectedItemColumns {
    std::string column;
    std::string idColumn;
};
ConnectedItemColumns ConnectedItemColumnsOf(std::string_view table);

// Adds the connected item column to "Eqp_Nozzle", "Instruments" or "OPCs". A table without its id
// column is left alone; any other table only gets the progress line. For Instruments the chain of
// inline instruments, piping components (two rounds), avoid items and zero-length runs follows;
// `nozzleRunType` is the program ini's "Nozzle_PrunType" (empty: only zero-length runs).
void AddConnectedItemID(store::Store& store, std::string_view table,
                        std::string_view nozzleRunType);
// The same with "Nozzle_PrunType" read from section "Instr_Conn" of the program ini.
void AddConnectedItemID(store::Store& store, std::string_view table);

// t_pipingpoint.ConnectedPiperunID (the column is there): the run whose connector starts, then
// the run whose connector ends, at the piping point.
void AddConnectedPiperunID(store::Store& store);

// The folded column list of the OPCs table: for every "Connector1_<x>" with a "Connector2_<x>",
// "Plantitem_<x>" holding both ends' values (the first, ", ", the second; either alone when the
// other is Null); likewise "<x>_1" with "<x>_2" into "<x>". Other columns stay as they are.
std::string FoldedOpcColumns(const std::vector<std::string>& columns);

// Builds the table "OPCs" (one row per off-page connector with the two connectors' runs and their
// attributes, folded) and adds its ConnectedItemID and its counter ID. Nothing happens without
// t_opc.
// `shared`: the grouped PID rows the category chains made, when they are still there.
void AddOPCs(store::Store& store, const AttributeKeys& keys, SharedJoinSources* shared = nullptr);

}  // namespace tb::extraction
