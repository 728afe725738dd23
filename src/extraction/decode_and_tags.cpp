// The decode of a run: coded values of the working tables become their code list texts, read from
// the plant's data dictionary; then the tags of PID and the piping points are prepared.

#include "extraction/decode_and_tags.h"

#include "common/log.h"
#include "common/text.h"
#include "extraction/codelists.h"
#include "extraction/connected_items.h"
#include "extraction/output_model.h"
#include "plantaccess/resolution.h"

namespace tb::extraction {

void ReadCodeLists(RunContext& run) {
    run.EnterStep(28);
    ShowProgress("Extracting data from PIDD...");
    const plantaccess::PlantConnection dictionary =
        plantaccess::Connect2PIDDB(plantaccess::kDictionarySchema);
    run.codelists = ExtractCodelists({dictionary.connection, run.plant.dialect, dictionary.prefix},
                                     run.st(), run.failureActionLow);
}

void DecodeCodeLists(RunContext& run) {
    run.EnterStep(30);
    if (!run.codelists) return;
    store::Store& st = run.st();
    ShowProgress("Decoding...");
    AddID2Table(st, "Codelist_cp");
    const DecodeColumns known{run.StoreColumns("t_plantitem"), run.StoreColumns("t_modelitem"),
                              run.plantDrawingColumns};
    for (const char* table : {"t_instrument", "t_instrument1", "PID"})
        if (st.TableExists(table)) StringTable(st, table);
    for (const char* table : {"T_CaseProcess", "T_CaseControl"})
        if (st.TableExists(table)) StringTable(st, table, "CASETYPE,QUALITY,CASECLASS");
    Compact(run.args.mdbFile);
    std::vector<std::string> listed;
    for (const store::Row& r :
         st.QueryRows("SELECT ATTRIBUTE_NAME FROM [Codelist_cp] GROUP BY ATTRIBUTE_NAME"))
        if (!r[0].isNull()) listed.push_back(r[0].ToText());
    std::vector<std::string> tables = run.decodeList;
    for (const char* t : {"T_CaseProcess", "T_CaseControl"})
        if (st.TableExists(t) && !HasName(tables, t)) tables.emplace_back(t);
    MakeDecodeLookup(st);
    for (const std::string& table : tables) {
        if (!st.TableExists(table)) continue;
        std::vector<DecodedColumn> coded;
        for (const store::ColumnDef& column : st.Columns(table)) {
            const std::string& col = column.name;
            if (IEquals(col, "CASETYPE") || IEquals(col, "QUALITY") || IEquals(col, "CASECLASS"))
                continue;
            std::string name = DecodeAttributeName(table, col, known);
            if (HasName(listed, name)) coded.push_back({col, std::move(name)});
        }
        DecodeTable(st, table, coded);
        run.CheckCancel();
    }
    DropDecodeLookup(st);
}

void PrepareTags(RunContext& run) {
    run.EnterStep(31);
    store::Store& st = run.st();
    ShowProgress("Preparing Tag...");
    if (st.TableExists("t_opc") && st.ColumnExists("t_opc", "Opc_opctag")) {
        st.UpdateFromJoin({.target = "pid",
                           .targetAlias = "p",
                           .source = "t_opc t",
                           .on = "p.sp_id=t.opc_sp_id",
                           .set = {{"tag", "t.Opc_opctag"}}});
    }
    if (st.TableExists("t_pipingpoint")) {
        if (run.pointDescription) {
            st.AddColumn("t_pipingpoint", {"Description", store::ColumnType::Text(240)});
            st.UpdateFromJoin({.target = "t_pipingpoint",
                               .targetAlias = "a",
                               .source = "t_modelitem b",
                               .on = "a.sp_id=b.sp_id",
                               .set = {{"description", "b.description"}},
                               .leftJoin = true});
        }
        if (run.connectedPiperunID) {
            st.AddColumn("t_pipingpoint", {"ConnectedPiperunID", store::ColumnType::Text(40)});
            AddConnectedPiperunID(st);
        }
    }
    if (run.bigPlant) Compact(run.args.mdbFile);
}

}  // namespace tb::extraction
