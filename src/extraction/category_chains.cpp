// The category tables of a run: each grows by a chain of two-table joins inside the store; then
// the working tables go, and Task, the glossary, the user's columns and _Info are written.

#include "extraction/category_chains.h"

#include <filesystem>

#include "attributes/categories.h"
#include "common/error.h"
#include "common/ini.h"
#include "common/log.h"
#include "common/text.h"
#include "extraction/codelists.h"
#include "extraction/column_alias.h"
#include "extraction/connected_items.h"
#include "extraction/duct_runs.h"
#include "extraction/output_model.h"
#include "extraction/post_process.h"
#include "extraction/revisions.h"
#include "extraction/run_context.h"
#include "extraction/run_statistics.h"
#include "extraction/viewer_mode.h"
#include "graphics/drawing_files.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"
#include "shell/settings.h"

namespace tb::extraction {
namespace {

namespace fs = std::filesystem;

// One category's working table, "temp<n>", grown step by step.
class Chain {
  public:
    Chain(RunContext& run, std::string category)
        : run_(run),
          st_(run.st()),
          category_(std::move(category)),
          grower_(st_, scratch_, category_, "", 0, run.sharedSources) {}

    void Start(const std::string& select) {
        grower_.Start(select);
        started_ = true;
    }

    // The table itself as the start (it stays as it is until Finish).
    void StartTable(const std::string& table) {
        grower_.StartTable(table);
        started_ = true;
    }

    // A join step with the category's columns of a working table (GetSQL4AddCols4DiffTypes).
    bool Add(std::string_view source, std::string_view suffix, std::string_view leftKey,
             std::string_view rightKey, std::string_view kind = "LEFT") {
        if (!st_.TableExists(source)) return false;
        const std::string query = GetSQL4AddCols4DiffTypes(run_.keys, source, category_, suffix,
                                                           run_.StoreColumns(source));
        if (query.empty()) return false;
        if (started_) LogKeysOfTakenColumns(source, suffix);
        return AddSql(query, leftKey, rightKey, kind, source);
    }

    // The join keeps the left table's column of a name both sides have: a key of `source` whose
    // column another configured key has made already is named in the log.
    void LogKeysOfTakenColumns(std::string_view source, std::string_view suffix) {
        const std::vector<std::string>& keys = run_.keys.Keys(category_);
        for (const std::string& key : keys) {
            if (!IStartsWith(key, std::string(source) + ".") ||
                (!suffix.empty() && !IEndsWith(key, suffix)))
                continue;
            const std::string column = GetColumnAlias(key);
            if (!grower_.HasColumn(column)) continue;
            if (const std::string other = KeyOfSameColumn(keys, key); !other.empty())
                LogKeyLeftOut(key, category_,
                              "its column " + column + " is already made by " + other);
        }
    }

    // A join step with the rows of a statement.
    bool AddSql(const std::string& query, std::string_view leftKey, std::string_view rightKey,
                std::string_view kind, std::string_view source) {
        // The grouped PID rows are alike in several chains: made once.
        return started_ && grower_.Extend(query, leftKey, rightKey, kind, source, false,
                                          IEquals(source, "PID"));
    }

    // A join step with a whole table.
    // The start joins keep the right key: runs without components keep their id.
    bool AddTable(std::string_view table, std::string_view leftKey, std::string_view rightKey,
                  std::string_view kind = "LEFT", bool keepRightKey = false) {
        return started_ && grower_.ExtendTable(table, leftKey, rightKey, kind, table, keepRightKey);
    }

    void Finish() { grower_.Finish(); }

    // The category's T_PlantGroup columns of one side ("t_plantgroup.UnitCode_PipeRun" ->
    // PipeRun_UnitCode), from the plant group of the side's plant item, which `leftKey` names.
    // Keys without a suffix go to the owner's side.
    void PlantGroupColumns(std::string_view leftKey, std::string_view suffix, bool ownerSide) {
        if (started_) grower_.PlantGroupColumns(run_.keys, category_, leftKey, suffix, ownerSide);
    }

    // The group tables' columns of an owner (T_Package, T_System, T_SafetyClass).
    void GroupTables(const std::vector<const char*>& tables, std::string_view suffix,
                     std::string_view leftKey) {
        for (const char* table : tables) {
            if (!st_.TableExists(table)) continue;
            const std::string cols =
                GetColsOfGroupTable(run_.keys, category_, table, suffix, run_.StoreColumns(table));
            if (cols.empty()) continue;
            AddSql("SELECT [SP_PLANTITEMID]," + cols + " FROM [" + table + "]", leftKey,
                   "SP_PLANTITEMID", "LEFT", table);
        }
    }

    // The case attributes of the category, each on the id of its owner.
    void Cases() {
        std::size_t count = 0;
        const OwnerSuffix* owners = OwnerSuffixes(count);
        for (const std::string& key : run_.keys.Keys(category_)) {
            const auto step = CaseStepOfKey(st_, key);
            if (!step) continue;
            std::string leftKey = "SP_ID";
            for (std::size_t i = 0; i < count; ++i)
                if (IEndsWith(step->part, owners[i].suffix))
                    leftKey = std::string(owners[i].prefix) + "SP_ID";
            // The query yields the id of the table it reads, whatever the chain text names.
            AddSql(step->query, leftKey, step->caseTable + "_SP_ID", "LEFT", step->caseTable);
        }
    }

    // Piping point columns "End_<n>_<col>" of the item `leftKey` names.
    void PointColumns(std::string_view leftKey) {
        if (!st_.TableExists("t_pipingpoint") || !st_.ColumnExists(category_, leftKey)) return;
        const std::vector<std::string> pointColumns = run_.StoreColumns("t_pipingpoint");
        for (int index = 1; index <= 9; ++index) {
            const auto cols = GetPointColumns4Category(run_.keys, category_, index, pointColumns);
            if (cols.empty()) continue;
            std::vector<store::Assignment> set;
            for (const AliasedColumn& c : cols) {
                if (!st_.ColumnExists(category_, c.alias))
                    st_.AddColumn(category_, {c.alias, store::ColumnType::Text(255)});
                set.push_back({c.alias, "b." + store::SqlName(c.column)});
            }
            st_.UpdateFromJoin({.target = category_,
                                .targetAlias = "a",
                                .source = "t_pipingpoint b",
                                .on = "a.[" + std::string(leftKey) + "]=b.SP_PLANTITEMID",
                                .set = set,
                                .where = "b.POINTINDEX=" + std::to_string(index)});
        }
    }

    // Instrument_FailureAction and Instrument_FailureActionLow from t_instrfailmode.
    void FailureColumns(std::string_view leftKey) {
        if (!st_.TableExists("t_instrfailmode") || !st_.ColumnExists(category_, leftKey)) return;
        struct F {
            const char* key;
            const char* column;
            const char* mode;
        } list[] = {
            {"T_InstrFailMode.FailureAction_Instrument", "Instrument_FailureAction", "High"},
            {"T_InstrFailMode.FailureActionLow_Instrument", "Instrument_FailureActionLow", "Low"}};
        for (const F& f : list) {
            if (!run_.keys.Has(category_, f.key)) continue;
            st_.AddColumn(category_, {f.column, store::ColumnType::Text(80)});
            st_.UpdateFromJoin({.target = category_,
                                .targetAlias = "a",
                                .source = "t_instrfailmode f",
                                .on = "a.[" + std::string(leftKey) + "]=f.sp_instrumentid",
                                .set = {{f.column, "f.FailureAction"}},
                                .where = std::string("f.FailModeType='") + f.mode + "'"});
        }
    }

  private:
    RunContext& run_;
    store::Store& st_;
    std::string category_;
    ScratchTables scratch_{st_};
    TableGrower grower_;
    bool started_ = false;
};

void LogNotProduced(const std::string& what) {
    LogLine(what + " is not produced in this version of Tarnbrook.");
}

// One line for each key of a built category that no step of its chain takes.
void LogUnplacedKeys(const RunContext& run, const std::string& category) {
    if (!run.st().TableExists(category)) return;
    for (const std::string& key : run.keys.Keys(category))
        if (const std::string reason = UnplacedKeyReason(category, key); !reason.empty())
            LogKeyLeftOut(key, category, reason);
}

// The last word on the keys of each built category: one whose column (by the name rule) is not
// in its table and that no step has named gets a line, so that no configured key goes silently.
void LogKeysWithoutColumn(const RunContext& run) {
    for (const std::string& category : attributes::AllCategoryNames()) {
        if (!run.st().TableExists(category)) continue;
        for (const std::string& key : run.keys.Keys(category)) {
            if (KeyLeftOut(key, category)) continue;
            const std::string column = ColumnOfKey(category, key);
            if (run.st().ColumnExists(category, column)) continue;
            std::string reason = UnbuiltKeyReason(category, key);
            if (reason.empty()) reason = "no step of the run makes its column " + column;
            LogKeyLeftOut(key, category, reason);
        }
    }
}

void Completion(RunContext& run, const std::string& category) {
    AddID2Table(run.st(), category);
    AddQuantityColumn(run.st(), category, run.keys);
    LogUnplacedKeys(run, category);
}

void InlineCompPrun(RunContext& run) {
    store::Store& st = run.st();
    if (!st.TableExists("t_inlinecomp")) return;
    run.step = 32;
    ShowProgress("Preparing InlineComp_prun...");
    Chain c(run, "InlineComp_Prun");
    c.StartTable("t_inlinecomp");
    if (st.TableExists("t_piperun")) {
        const std::vector<std::string> runColumns = run.StoreColumns("t_piperun");
        if (!GetSQL4AddCols4DiffTypes(run.keys, "t_piperun", "OPCs", "", runColumns).empty()) {
            const std::string query =
                GetSQL4AddCols4DiffTypes(run.keys, "t_piperun", "InlineComp_Prun", "", runColumns);
            st.SelectInto(query.empty() ? "SELECT [Piperun_sp_id] FROM [t_piperun]" : query,
                          "temp_piperun");
            c.AddTable("temp_piperun", "inlineComp_SP_piperunid", "piperun_SP_ID", "RIGHT", true);
        } else {
            c.AddTable("t_piperun", "inlineComp_SP_piperunid", "piperun_SP_ID", "RIGHT", true);
        }
    }
    c.AddTable("t_pipingcomp", "inlineComp_SP_PIPINGCOMPID", "pipingcomp_SP_ID");
    c.AddTable("t_instrument", "inlineComp_SP_INSTRUMENTID", "instrument_SP_ID");
    for (const char* suffix : {"_PipeRun", "_InlineComp"}) {
        const std::string left = IEquals(suffix, "_PipeRun") ? "piperun_sp_id" : "inlineComp_SP_Id";
        const std::string prefix = std::string(suffix).substr(1);
        c.Add("t_plantitem", suffix, left, prefix + "_SP_ID");
        c.GroupTables({"T_Package", "T_System"}, suffix, left);
        c.Add("t_modelitem", suffix, left, prefix + "_SP_ID");
    }
    // Runs without components keep their own id on the left.
    c.AddSql(GetSQL4OthersCols(run.keys, "InlineComp_Prun", run.StoreColumns("PID")),
             "piperun_sp_id", "Others_SP_ID", "INNER", "PID");
    c.Cases();
    c.PlantGroupColumns("piperun_sp_id", "_PipeRun", true);
    c.PlantGroupColumns("inlineComp_SP_Id", "_InlineComp", false);
    if (!plantaccess::UseCopyPlantDatabase())
        for (const char* suffix : {"_PipeRun", "_InlineComp"}) {
            const std::string left =
                IEquals(suffix, "_PipeRun") ? "piperun_sp_id" : "inlineComp_SP_Id";
            c.Add("t_status", suffix, left, std::string(suffix).substr(1) + "_SP_MODELITEMID");
        }
    // The t_instrument join drops its key instrument_SP_ID; the component's own reference
    // to its instrument holds the same id and stays.
    c.Add("T_InstrFunction", "_Instrument", "inlineComp_SP_INSTRUMENTID", "SP_INSTRUMENTID");
    c.Finish();
    if (st.TableExists("temp_piperun")) st.DropTable("temp_piperun");
    c.FailureColumns("inlineComp_SP_INSTRUMENTID");
    c.PointColumns("Inlinecomp_sp_id");
    StringTable(st, "InlineComp_Prun");
    Completion(run, "InlineComp_Prun");
}

void EqpNozzle(RunContext& run) {
    store::Store& st = run.st();
    run.step = 34;
    const bool equipment = st.TableExists("t_equipment"), nozzle = st.TableExists("t_nozzle");
    if (!equipment && !nozzle) return;
    ShowProgress("Preparing Eqp_Nozzle...");
    if (nozzle && st.TableExists("t_plantitem")) {
        // A nozzle's equipment from its part-of link where the nozzle names none.
        st.UpdateFromJoin({.target = "t_nozzle",
                           .source = "t_plantitem p",
                           .on = "t_nozzle.Nozzle_sp_id=p.sp_id",
                           .set = {{"Nozzle_sp_equipmentid", "p.sp_partofid"}},
                           .where = "len(jcat('', t_nozzle.Nozzle_sp_equipmentid))=0"});
    }
    Chain c(run, "Eqp_Nozzle");
    c.StartTable(equipment ? "t_equipment" : "t_nozzle");
    if (equipment && nozzle)
        c.AddTable("t_nozzle", "Equipment_SP_ID", "nozzle_SP_EQUIPMENTID", "LEFT", true);
    for (const char* t :
         {"t_vessel", "t_mechanical", "t_exchanger", "t_equipmentother", "t_equipcomponent"}) {
        const std::string name(t);
        std::string prefix = name.substr(2);
        prefix[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(prefix[0])));
        c.AddTable(name, "Equipment_SP_ID", prefix + "_sp_id");
    }
    for (const char* suffix : {"_Nozzle", "_Equipment"}) {
        const std::string prefix = std::string(suffix).substr(1), left = prefix + "_SP_ID";
        c.Add("t_plantitem", suffix, left, left);
        c.GroupTables({"T_Package", "T_System"}, suffix, left);
        c.Add("t_modelitem", suffix, left, left);
    }
    c.AddSql(GetSQL4OthersCols(run.keys, "Eqp_Nozzle", run.StoreColumns("PID")),
             equipment ? "Equipment_SP_ID" : "Nozzle_SP_ID", "Others_SP_ID", "INNER", "PID");
    c.Cases();
    c.PlantGroupColumns("Equipment_SP_ID", "_Equipment", true);
    c.PlantGroupColumns("Nozzle_SP_ID", "_Nozzle", false);
    if (!plantaccess::UseCopyPlantDatabase())
        for (const char* suffix : {"_Nozzle", "_Equipment"}) {
            const std::string prefix = std::string(suffix).substr(1);
            c.Add("t_status", suffix, prefix + "_SP_ID", prefix + "_SP_MODELITEMID");
        }
    c.Finish();
    AddConnectedItemID(st, "Eqp_Nozzle");
    if (run.keys.Has("Eqp_Nozzle", "Others.MultiRep")) AddMultiRep(st);
    Completion(run, "Eqp_Nozzle");
}

void Plantitems(RunContext& run) {
    store::Store& st = run.st();
    run.step = 35;
    if (!st.TableExists("t_plantitem")) return;
    const std::string start = GetSQL4AddCols4DiffTypes(run.keys, "t_plantitem", "Plantitems", "",
                                                       run.StoreColumns("t_plantitem"));
    if (start.empty() || run.keys.Keys("Plantitems").empty()) return;
    ShowProgress("Preparing Plantitems...");
    Chain c(run, "Plantitems");
    c.Start(start);
    c.Add("t_modelitem", "", "SP_ID", "Modelitem_sp_id");
    c.AddSql(GetSQL4OthersCols(run.keys, "Plantitems", run.StoreColumns("PID")), "SP_ID",
             "Others_SP_ID", "INNER", "PID");
    if (const std::string timestamps = GetSQL4ModelItemTimestamp(run.StoreColumns("PID"));
        !timestamps.empty()) {
        c.AddSql(timestamps, "SP_ID", "Ts_SP_ID", "LEFT", "PID");
        st.DropColumn("PID", kModelItemTimestamp);
    }
    c.PlantGroupColumns("SP_ID", "", true);
    if (!plantaccess::UseCopyPlantDatabase())
        c.Add("t_status", "", "SP_ID", "Status_sp_modelitemid");
    // The symbol columns come after the area break's revision when there is one.
    const bool areaBreaks = st.TableExists("T_AREABREAKATTRIBUTE");
    if (!areaBreaks && st.TableExists("t_symbol"))
        c.Add("t_symbol", "", "SP_ID", "Symbol_sp_plantitemid");
    c.Finish();
    if (areaBreaks) {
        st.AddColumn("Plantitems", {"PlantItemGroup_RevisionNumber", store::ColumnType::Text(100)});
        st.UpdateFromJoin(
            {.target = "Plantitems",
             .targetAlias = "a",
             .source = "T_AREABREAKATTRIBUTE b",
             .on = "a.SP_ID=b.SP_PARENTID",
             .set = {{"PlantItemGroup_RevisionNumber", "b.PlantItemGroup_RevisionNumber"}}});
    }
    if (areaBreaks && st.TableExists("t_symbol")) {
        Chain s(run, "Plantitems");
        s.StartTable("Plantitems");
        s.Add("t_symbol", "", "SP_ID", "Symbol_sp_plantitemid");
        s.Finish();
    }
    if (run.viewerMode && !plantaccess::UseCopyPlantDatabase()) SorrelwickAddPLANTITEMGROUPAtt(st);
    Completion(run, "Plantitems");
}

void Instruments(RunContext& run) {
    store::Store& st = run.st();
    run.step = 36;
    if (!st.TableExists("T_Instrument1")) {
        LogLine("Instruments does not exist.");
        return;
    }
    ShowProgress("Preparing Instruments...");
    Chain c(run, "Instruments");
    c.StartTable("T_Instrument1");
    if (st.TableExists("T_InstrLoop")) {
        for (const std::string& column : run.StoreColumns("T_InstrLoop"))
            if (!IEquals(column, "SP_PLANTITEMID"))
                RenameColumn(st, "T_InstrLoop", column, "InstrLoop_" + column);
        const bool allLoops = IniFlag(run.attributeIni, "General", "AllLoops", "0");
        c.AddTable("T_InstrLoop", "Instrument_SP_ID", "SP_PLANTITEMID", allLoops ? "out" : "LEFT");
    }
    c.Add("t_plantitem", "_Instrument", "Instrument_SP_ID", "Instrument_SP_ID");
    c.GroupTables({"T_Package", "T_System", "T_SafetyClass"}, "_Instrument", "Instrument_SP_ID");
    c.Add("t_modelitem", "_Instrument", "Instrument_SP_ID", "Instrument_SP_ID");
    c.Add("t_modelitem", "_Instrloop", "InstrLoop_SP_ID", "Instrloop_SP_ID");
    // Instruments' own copy of t_inlinecomp stands in for it from here on; InlineComp_Prun's,
    // which its chain has read, stays as T_Inlinecomp0.
    if (st.TableExists("T_Inlinecomp1")) {
        if (st.TableExists("t_inlinecomp")) {
            if (st.TableExists("T_Inlinecomp0")) st.DropTable("T_Inlinecomp0");
            st.RenameTable("t_inlinecomp", "T_Inlinecomp0");
        }
        st.RenameTable("T_Inlinecomp1", "T_Inlinecomp");
        // An inline instrument's row names it in SP_INSTRUMENTID; a loop is no inline
        // component, so its side's columns stay empty.
        c.Add("t_inlinecomp", "_Instrument", "Instrument_SP_ID", "Instrument_SP_INSTRUMENTID");
        c.Add("t_inlinecomp", "_Instrloop", "InstrLoop_SP_ID", "Instrloop_SP_INSTRUMENTID");
    }
    c.AddSql(GetSQL4OthersCols(run.keys, "Instruments", run.StoreColumns("PID")),
             "Instrument_SP_ID", "Others_SP_ID", "LEFT", "PID");
    c.Cases();
    c.PlantGroupColumns("Instrument_SP_ID", "_Instrument", true);
    c.PlantGroupColumns("InstrLoop_SP_ID", "_Instrloop", false);
    if (!plantaccess::UseCopyPlantDatabase())
        c.Add("t_status", "_Instrument", "Instrument_SP_ID", "Instrument_SP_MODELITEMID");
    c.Add("T_InstrFunction", "_Instrument", "Instrument_SP_ID", "SP_INSTRUMENTID");
    c.Finish();
    AddConnectedItemID(st, "Instruments");
    c.FailureColumns("Instrument_SP_ID");
    c.PointColumns("Instrument_SP_ID");
    if (run.keys.Has("Instruments", "Others.LoopDrawingName") &&
        st.ColumnExists("Instruments", "InstrLoop_SP_ID")) {
        st.AddColumn("Instruments", {"LoopDrawingName", store::ColumnType::Text(255)});
        st.UpdateFromJoin({.target = "Instruments",
                           .targetAlias = "a",
                           .source = "PID b",
                           .on = "a.InstrLoop_SP_ID=b.SP_ID",
                           .set = {{"LoopDrawingName", "b.Drawing_Name"}}});
    }
    Completion(run, "Instruments");
}

void ItemNotes(RunContext& run) {
    store::Store& st = run.st();
    run.step = 37;
    if (!st.TableExists("t_note")) return;
    ShowProgress("Preparing ItemNotes...");
    Chain c(run, "ItemNotes");
    c.StartTable("t_note");
    c.Add("t_modelitem", "", "Note_SP_ID", "Modelitem_sp_id");
    c.AddSql(GetSQL4OthersCols(run.keys, "ItemNotes", run.StoreColumns("PID")), "Note_SP_ID",
             "Others_SP_ID", "INNER", "PID");
    c.Add("t_symbol", "", "Note_SP_ID", "Symbol_sp_plantitemid");
    if (!plantaccess::UseCopyPlantDatabase())
        c.Add("t_status", "", "Note_SP_ID", "Status_sp_modelitemid");
    c.Finish();
    Completion(run, "ItemNotes");
}

void DrawingsCategory(RunContext& run) {
    store::Store& st = run.st();
    run.step = 39;
    if (!st.TableExists("Drawings")) return;
    AddRevision2Drawings(st, run.keys);
    AddQuantityColumn(st, "Drawings", run.keys);
    AddID2Table(st, "Drawings");
    if (!st.TableExists("T_PLANTGROUP") || !st.ColumnExists("Drawings", "Drawing_SP_PLANTGROUPID"))
        return;
    const std::vector<std::string> groupColumns = run.StoreColumns("T_PLANTGROUP");
    std::vector<store::Assignment> set;
    for (const std::string& key : run.keys.Keys("Drawings")) {
        if (!IStartsWith(key, "t_plantgroup.")) continue;
        const std::string column = FindName(groupColumns, key.substr(13)),
                          alias = GetColumnAlias(key);
        if (column.empty() || st.ColumnExists("Drawings", alias)) continue;
        st.AddColumn("Drawings", {alias, store::ColumnType::Text(100)});
        set.push_back({alias, "g." + store::SqlName(column)});
    }
    if (set.empty()) return;
    st.UpdateFromJoin({.target = "Drawings",
                       .source = "T_PLANTGROUP g",
                       .on = "Drawings.Drawing_SP_PLANTGROUPID=g.sp_id",
                       .set = set});
}

void ClearWorkingTables(RunContext& run) {
    store::Store& st = run.st();
    run.step = 40;
    const std::vector<std::string> categories = attributes::AllCategoryNames();
    if (run.deleteTempTables) {
        static const std::vector<std::string> keep = {"pid",           "m_cp",
                                                      "Codelist_cp",   "T_LABELPERSIST",
                                                      "attributes_cp", "itemattributions_cp",
                                                      "_Info",         "t_drawing"};
        for (const std::string& table : st.TableNames())
            if (!HasName(categories, table) && !HasName(keep, table)) st.DropTable(table);
    }
    ShowProgress("Purging data...");
    for (const std::string& category : categories) {
        if (!st.TableExists(category)) continue;
        for (const store::ColumnDef& c : st.Columns(category)) {
            // Only text columns: the counter ID is a number and matches "*id" too.
            if (!c.type.isText() || !(Like(c.name, "*id", true) || Like(c.name, "*sp_*id", true)))
                continue;
            const std::string column = store::SqlName(c.name);
            st.ExecuteCount("UPDATE " + store::SqlName(category) + " SET " + column +
                            " = NULL WHERE " + column + "=''");
        }
    }
    ShowProgress("Done");
}

// The run's ini copy: what a later run needs to repeat this one. The attribute configuration,
// the saved options of frmMain, the site and plant of this run (section "SmartPlant Manager") and
// the run's parameters; for each category in Task, its configured keys.
std::string SaveRunParameters(RunContext& run, const std::vector<std::string>& tasks) {
    // Made in memory: the configuration may be a read-only /config file, and a copy of it
    // would be read-only too.
    IniDocument copy = IniDocument::Load(run.attributeIni);
    const IniDocument user = IniDocument::Load(shell::GetUserConfigFile());
    copy.RemoveSection("frmMain");
    for (const auto& [key, value] : user.Entries("frmMain")) copy.Set("frmMain", key, value);
    // Main's site and plant, else the client's: the plant this run read.
    std::string plant, site;
    plantaccess::PIDReadBegin(plant, site);
    copy.Set("SmartPlant Manager", "SiteServer", site);
    copy.Set("SmartPlant Manager", "ActivePlant", plant);
    copy.Set("SmartPlant Manager", "ActiveParentPlant", plantaccess::GetActiveParentPlant());
    auto ids = [](const std::string& list) { return ReplaceAll(list, "'", "."); };
    copy.Set("Parameters", "PlantGroupIDs", ids(run.args.plantGroupIDs));
    copy.Set("Parameters", "DrawingIDs", ids(run.args.drawingIDs));
    // An ini value holds no line break: the extract's marker, character 3, stands for one.
    copy.Set("Parameters", "SelectFilter", LineBreaksAsMarker(run.args.selectFilter));
    copy.Set("Parameters", "LoadAssociatedDrawings", run.args.loadAssociatedDrawings ? "1" : "0");
    copy.Set("Parameters", "ExtractDrawingFiles", run.args.extractDrawingFiles ? "1" : "0");
    // As asked, not as the run cleared it for lack of data: a repeat asks the same.
    copy.Set("Parameters", "ExtractFromTo", run.args.extractFromTo ? "1" : "0");
    // SaveExtractedAttributes: the configured keys of every category the extract holds.
    for (const std::string& task : tasks)
        for (const std::string& key : run.keys.Keys(task)) copy.Set("Extracted_" + task, key, "");
    return copy.Serialize();
}

}  // namespace

void BuildCategories(RunContext& run) {
    store::Store& st = run.st();
    {
        SharedJoinSources shared(st);
        run.sharedSources = &shared;
        InlineCompPrun(run);
        run.step = 33;
        if (run.ductRuns) {
            AddDuctRuns(st, run.keys, plantaccess::UseCopyPlantDatabase());
            LogUnplacedKeys(run, "DuctRuns");
        }
        EqpNozzle(run);
        Plantitems(run);
        Instruments(run);
        ItemNotes(run);
        run.sharedSources = nullptr;
        run.step = 38;
        if (run.keys.AnyLike("OPCs", "t_opc.*")) AddOPCs(st, run.keys, &shared);
    }
    if (run.keys.Has("InlineComp_Prun", "Others.NotConnectedRuns")) AddNotConnectedRuns(st);
    if (run.keys.Has("InlineComp_Prun", "Others.NumberOfLabels"))
        AddNumberOfLabels(st, run.attributeIni);
    DrawingsCategory(run);
    LogKeysWithoutColumn(run);
    ClearWorkingTables(run);

    // Step 41.
    run.step = 41;
    std::vector<std::string> tasks;
    if (st.TableExists("Task")) st.DropTable("Task");
    st.CreateTable("Task", {{"Name", store::ColumnType::Text(255)}});
    for (const std::string& category : attributes::AllCategoryNames())
        if (auto found = st.FindTable(category)) {
            tasks.push_back(*found);
            st.ExecuteCount("INSERT INTO [Task] ([Name]) VALUES (?1)", {store::Value(*found)});
        }

    // Step 42.
    run.step = 42;
    if (run.viewerMode) AddRepresentationCols(st);

    // Step 43.
    run.step = 43;
    if (!plantaccess::UseCopyPlantDatabase()) {
        if (st.TableExists("Codelist_cp")) AddNullToCodelist(st);
        ShowProgress("Display names...");
        if (st.TableExists("itemattributions_cp")) {
            FillGlossary(st);
            st.DropTable("itemattributions_cp");
        }
        if (run.args.extractDrawingFiles) {
            run.igrStaging = MakeIgrStaging(run.targets.igr);
            graphics::CopyPid2IgrInto(st, run.igrStaging, run.targets.igr, false);
            // The copy stops at a cancel without raising; the run ends here.
            run.CheckCancel();
        }
        ExtendUserColumns(st, run.attributeIni, false);
    }

    // Step 44.
    run.step = 44;
    ExtractInfo info = CurrentExtractInfo("Tarnbrook");
    info.project = plantaccess::SessionProjectName().empty() ? shell::CurrentPlantName()
                                                             : plantaccess::SessionProjectName();
    if (plantaccess::UseCopyPlantDatabase()) {
        info.asBuiltName = info.project;
    } else {
        // An as-built child plant reports its parent's name, which the site schema knows.
        const plantaccess::PlantConnection site =
            plantaccess::Connect2PIDDB(plantaccess::kSiteSchema);
        info.asBuiltName =
            GetAsBuiltName({site.connection, run.plant.dialect, site.prefix}, info.project);
    }
    if (ManualInfoWanted(shell::GetUserConfigFile())) {
        info.withManualInfo = true;
        info.manual = ReadManualInfo(run.attributeIni);
    }
    CreateInfoTable(st, info);
    SetInfoSettings(st, SaveRunParameters(run, tasks));

    // Step 45.
    run.step = 45;
    if (run.drawingAttributes && run.args.extractDrawingFiles)
        LogNotProduced("The attributes in the drawing files");
    Compact(run.args.mdbFile);
}

}  // namespace tb::extraction
