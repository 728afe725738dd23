// The DuctRuns category.

#include "extraction/duct_runs.h"

#include "attributes/logged_trap.h"
#include "common/log.h"
#include "extraction/category_sql.h"
#include "extraction/output_model.h"
#include "extraction/post_process.h"

namespace tb::extraction {

void AddDuctRuns(store::Store& st, const AttributeKeys& keys, bool copyPlant) {
    ShowProgress("Preparing DuctRuns...");
    if (!st.TableExists("T_InlinecompDuct") || !st.TableExists("t_ductrun")) return;
    attributes::LoggedTrap("AddDuctRuns", [&] {
        ScratchTables scratch(st);
        TableGrower g(st, scratch, "DuctRuns", "AddDuctRuns");
        // Every duct run stays, with or without components.
        g.StartJoin("RIGHT", "T_InlinecompDuct", "InlineComp_SP_ductrunid", "t_ductrun",
                    "ductrun_SP_ID");
        g.ExtendTable("t_ductingcomp", "inlineComp_SP_DuctingCOMPID", "ductingcomp_SP_ID", "LEFT",
                      "t_ductingcomp");
        struct Side {
            const char* suffix;
            const char* key;
        };
        const Side sides[] = {{"_DuctRun", "ductrun_sp_id"}, {"_InlineComp", "inlineComp_SP_Id"}};
        for (const char* table : {"t_plantitem", "t_modelitem"})
            for (const Side& side : sides) {
                if (!st.TableExists(table)) continue;
                const std::string prefix = std::string(side.suffix).substr(1);
                g.Extend(GetSQL4AddCols4DiffTypes(keys, table, "DuctRuns", side.suffix,
                                                  TableColumns(st, table)),
                         side.key, prefix + "_SP_ID", "LEFT", table);
            }
        // Only duct runs with a representation in the selection stay.
        g.Extend(GetSQL4OthersCols(keys, "DuctRuns", TableColumns(st, "PID")), "ductrun_sp_id",
                 "Others_SP_ID", "INNER", "PID");
        g.Cases(keys, "DuctRuns", "ductrun_sp_id");
        g.PlantGroupColumns(keys, "DuctRuns", "ductrun_sp_id", "_DuctRun", true);
        g.PlantGroupColumns(keys, "DuctRuns", "inlineComp_SP_Id", "_InlineComp", false);
        if (!copyPlant && st.TableExists("t_status")) {
            // The component side names the piping key, as the Windows product does: a duct
            // component has none, so that side adds nothing.
            const Side statusSides[] = {{"_DuctRun", "ductrun_sp_id"},
                                        {"_InlineComp", "inlineComp_SP_piperunid"}};
            for (const Side& side : statusSides) {
                const std::string prefix = std::string(side.suffix).substr(1);
                g.Extend(GetSQL4AddCols4DiffTypes(keys, "t_status", "DuctRuns", side.suffix,
                                                  TableColumns(st, "t_status")),
                         side.key, prefix + "_SP_MODELITEMID", "LEFT", "t_status");
            }
        }
        g.Finish();
        AddID2Table(st, "DuctRuns");
    });
}

}  // namespace tb::extraction
