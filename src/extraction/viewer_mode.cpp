#include "extraction/viewer_mode.h"

#include <atomic>
#include <string>

#include "common/error.h"

namespace tb::extraction {
namespace {

std::atomic<bool> gSorrelwick{false};

// Adds `column` (Text(255)) to `table` when missing and fills it from the source on a key.
void FillFrom(store::Store& store, const std::string& table, const std::string& column,
              const std::string& source, const std::string& sourceColumn, const std::string& key,
              const std::string& sourceKey) {
    if (!store.ColumnExists(table, column))
        store.AddColumn(table, {column, store::ColumnType::Text(255)});
    store.UpdateFromJoin({.target = table,
                          .source = "[" + source + "] b",
                          .on = "[" + table + "].[" + key + "]=b.[" + sourceKey + "]",
                          .set = {{column, "b.[" + sourceColumn + "]"}}});
}

}  // namespace

bool SorrelwickMode() {
    return gSorrelwick.load();
}
void SetSorrelwickMode(bool on) {
    gSorrelwick.store(on);
}

void SorrelwickAddPLANTITEMGROUPAtt(store::Store& store) {
    Trap("SorrelwickAddPLANTITEMGROUPAtt", [&] {
        if (!store.TableExists("Plantitems")) return;
        if (store.TableExists("T_PLANTITEMGROUP"))
            for (const char* c : {"PLANTITEMGROUPTYPE", "PLANTITEMGROUPCLASS"})
                FillFrom(store, "Plantitems", c, "T_PLANTITEMGROUP", c, "sp_id", "sp_id");
        if (!store.ColumnExists("Plantitems", "PlantItemType"))
            FillFrom(store, "Plantitems", "PlantItemType", "PID", "PlantItemType", "sp_id",
                     "sp_id");
    });
}

void AddRepresentationCols(store::Store& store) {
    Trap("AddRepresentationCols", [&] {
        struct Owner {
            const char* table;
            const char* itemKey;   // the row's own item
            const char* owner;     // the prefix of the owner's columns
            const char* ownerKey;  // the owner's id
        } owners[] = {{"InlineComp_Prun", "InlineComp_SP_ID", "Piperun", "Piperun_SP_ID"},
                      {"Eqp_Nozzle", "Nozzle_SP_ID", "Equipment", "Equipment_SP_ID"}};
        for (const Owner& o : owners) {
            const auto table = store.FindTable(o.table);
            if (!table) continue;
            for (const char* c : {"REPRESENTATIONTYPE", "FileName"}) {
                if (!store.ColumnExists("PID", c)) continue;
                if (store.ColumnExists(*table, o.itemKey))
                    FillFrom(store, *table, c, "PID", c, o.itemKey, "SP_ID");
                if (store.ColumnExists(*table, o.ownerKey))
                    FillFrom(store, *table, std::string(o.owner) + "_" + c, "PID", c, o.ownerKey,
                             "SP_ID");
            }
        }
    });
}

}  // namespace tb::extraction
