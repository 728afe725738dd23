// The plant copy of a run: the plant tables the configuration needs go into working tables of the
// store, with PID (the drawings' representations), revisions, labels, drawings, connectors,
// symbols and the group tables.

#include "extraction/plant_copy.h"

#include <unordered_map>

#include "attributes/categories.h"
#include "common/error.h"
#include "common/log.h"
#include "common/text.h"
#include "extraction/big_plant.h"
#include "extraction/column_alias.h"
#include "extraction/output_model.h"
#include "extraction/revisions.h"
#include "plantaccess/session.h"

namespace tb::extraction {
namespace {

std::string Lower(std::string_view s) {
    return ToLowerAscii(s);
}

std::vector<std::string_view> AllOwnerSuffixes() {
    std::size_t n = 0;
    const OwnerSuffix* owners = OwnerSuffixes(n);
    std::vector<std::string_view> out;
    for (std::size_t i = 0; i < n; ++i) out.push_back(owners[i].suffix);
    return out;
}

// The id columns fetched with a copied table whatever is configured.
std::vector<std::string> IdColumns(const std::string& table, std::string_view category) {
    if (table == "t_inlinecomp") {
        if (IEquals(category, "DuctRuns")) return {"SP_ID", "SP_DUCTRUNID", "SP_DUCTINGCOMPID"};
        if (IEquals(category, "Instruments")) return {"SP_ID", "SP_INSTRUMENTID"};
        return {"SP_ID", "SP_PIPERUNID", "SP_PIPINGCOMPID", "SP_INSTRUMENTID"};
    }
    if (table == "t_nozzle") return {"SP_ID", "SP_EQUIPMENTID"};
    if (table == "t_instrument") return {"SP_ID", "SP_PIPERUNID"};
    return {"SP_ID"};
}

void AddIfMissing(std::vector<std::string>& columns, std::string_view column) {
    if (!HasName(columns, column)) columns.emplace_back(column);
}

// The copy steps, with the plant SQL they write alike and what they tell each other.
class PlantCopy {
  public:
    explicit PlantCopy(RunContext& run) : run_(run), st_(run.st()) {}

    // Steps 5 to 27.
    void CopyTables();
    // Step 29.
    void PlantGroups();

  private:
    // The copy step: progress, the statement with the selection clause, the rows into the store.
    void CopyStep(std::string_view table, std::string sql, std::string_view target,
                  bool withSelection = true, bool decode = true);
    std::string Clause(std::string_view table) const {
        return run_.selection.any() ? GetPartialWhereSql(table, run_.selection, run_.plant.dialect,
                                                         run_.plant.prefix)
                                    : std::string();
    }
    std::string T(std::string_view table) const { return run_.plant.Table(table); }
    std::string As() const { return std::string(AliasKeyword(run_.plant.dialect)); }
    // A column or alias in plant SQL, quoted when it is no plain name (PlantColumn).
    std::string Col(std::string_view name, const std::vector<std::string>& catalogue = {}) const {
        return run_.plant.Column(name, catalogue);
    }
    std::string ColumnList(const std::vector<std::string>& columns,
                           const std::vector<std::string>& catalogue) const {
        std::vector<std::string> out;
        for (const std::string& c : columns) out.push_back(Col(c, catalogue));
        return Join(out, ",");
    }
    std::vector<std::string> PlantColumns(std::string_view table) const {
        return GetAllDbColumns(run_.plant, table);
    }
    void Step(int n) { run_.EnterStep(n); }

    void AttributePass();
    void PlantItems();
    void History();
    void GroupTables();
    void ModelItems();
    void PipeRuns();
    void Status();
    void Pid();
    void ExcludeDrawings();
    void LabelPersist();
    void Drawings();
    void DrawingLastModified(const DrawingColumns& cols);
    void ViewerDrawings();
    void InlinecompIDs();
    void Cases();
    void Connectors();
    void Symbols();

    RunContext& run_;
    store::Store& st_;
    std::vector<std::string> copied_;
    bool symbolNames_ = false;
    PointColumns points_;
    std::vector<std::string> pointCatalogue_;
};

void PlantCopy::CopyStep(std::string_view table, std::string sql, std::string_view target,
                         bool withSelection, bool decode) {
    ShowProgress("Extracting " + std::string(table) + "...");
    if (withSelection) {
        const std::string clause = Clause(table);
        if (!clause.empty()) sql = AppendSelectionClause(sql, clause);
    }
    Rs2Access(*run_.plant.connection, sql, st_, target);
    // The ids are what the chains and updates join on.
    for (const std::string& column : run_.StoreColumns(target))
        if (IEndsWith(column, "sp_id")) st_.EnsureLookupIndex(target, column);
    if (decode && !HasName(run_.decodeList, target)) run_.decodeList.emplace_back(target);
    run_.CheckCancel();
}

void PlantCopy::AttributePass() {
    std::size_t keyCount = 0;
    const auto suffixes = AllOwnerSuffixes();
    for (const std::string& category : attributes::GetCategoryList(false)) {
        const auto& keys = run_.keys.Keys(category);
        if (keys.empty()) continue;
        keyCount += keys.size();
        for (const std::string& key : keys) {
            if (IStartsWith(key, "T_CaseProcess."))
                run_.caseProcess = true;
            else if (IStartsWith(key, "T_CaseControl."))
                run_.caseControl = true;
            else if (IStartsWith(key, "T_Case."))
                run_.caseAny = true;
        }
        for (const std::string& source : attributes::GetCategoryTables(category, false)) {
            const std::string table = Lower(source);
            if (table == "t_plantgroup") {
                run_.needPlantGroup = true;
                continue;
            }
            if (table == "t_pipingpoint" || table == "t_revision") continue;
            // t_instrloop comes with its members in the group step, under its plain names.
            static const std::string skip =
                ",t_modelitem,t_status,t_piperun,t_instrloop,t_symbol,t_instrfunction,";
            if (skip.find("," + table + ",") != std::string::npos) continue;
            const bool inlineAgain = table == "t_inlinecomp" && (IEquals(category, "Instruments") ||
                                                                 IEquals(category, "DuctRuns"));
            if (!inlineAgain && HasName(copied_, table)) continue;
            std::string target = source;
            std::vector<std::string> attrs = GetAttrs4Table(keys, table);
            if (table == "t_instrument" && IEquals(category, "Instruments"))
                target = "T_Instrument1";
            if (table == "t_inlinecomp" && IEquals(category, "Instruments")) {
                target = "T_Inlinecomp1";
                attrs = GetInstrumentAttrs(attrs);
            }
            if (table == "t_inlinecomp" && IEquals(category, "DuctRuns"))
                target = "T_InlinecompDuct";
            const std::vector<std::string> plantColumns = PlantColumns(source);
            const std::size_t configured = attrs.size();
            // The configured spelling of the key an attribute came from, for the log; made once,
            // on the first missing column, so that many of them stay linear.
            std::unordered_map<std::string, std::string> spelling;
            auto configuredKey = [&](const std::string& attr) {
                if (spelling.empty())
                    for (const std::string& key : keys) {
                        const auto dot = key.find('.');
                        if (dot == std::string::npos ||
                            !IEquals(std::string_view(key).substr(0, dot), table))
                            continue;
                        std::string part = key.substr(dot + 1);
                        if (IEquals(target, "T_Inlinecomp1"))
                            part = GetInstrumentAttrs({part}).front();
                        spelling.emplace(ToLowerAscii(part), key);
                    }
                const auto found = spelling.find(ToLowerAscii(attr));
                return found != spelling.end() ? found->second : source + "." + attr;
            };
            for (const std::string& id : IdColumns(table, category)) AddIfMissing(attrs, id);
            std::vector<std::string> entries, aliases;
            for (std::size_t i = 0; i < attrs.size(); ++i) {
                const std::string& attr = attrs[i];
                const std::string wanted = StripOwnerSuffixes(attr, suffixes);
                const std::string column = FindName(plantColumns, wanted);
                if (column.empty()) {
                    // The id columns are the run's own: only a configured key is worth a line.
                    if (i < configured) {
                        LogLine(MissingColumnLine(configuredKey(attr), category, source, wanted));
                        RememberKeyLeftOut(configuredKey(attr), category);
                    }
                    continue;
                }
                const std::string alias = GetColumnAlias(table + "." + attr);
                if (HasName(aliases, alias)) continue;
                aliases.push_back(alias);
                entries.push_back(T(table) + "." + Col(column) + As() + Col(alias));
            }
            if (entries.empty()) continue;
            CopyStep(table, "SELECT " + Join(entries, ",") + " FROM " + T(table), target);
            ShowProgress("Extracted.");
            if (IEquals(target, source) && table != "t_instrument") copied_.push_back(table);
        }
    }
    if (keyCount == 0) Raise("Please configure desired attributes for your project.");
}

void PlantCopy::PlantItems() {
    const std::vector<std::string> plantColumns = PlantColumns("t_plantitem");
    std::vector<std::string> columns =
        GetAllDefCols4T_Table(run_.keys, "T_PlantItem", plantColumns);
    for (const char* c : {"SP_PLANTGROUPID", "SP_ID", "Plantitemtype", "sp_partofid"})
        AddIfMissing(columns, c);
    CopyStep("t_plantitem",
             "SELECT " + ColumnList(columns, plantColumns) + " FROM " + T("t_plantitem"),
             "t_plantitem");
}

void PlantCopy::History() {
    const HistoryFlags flags = GetHistoryFlags(run_.keys);
    if (!flags.any()) return;
    // Ordered by time, so that the last matching row of an update is the newest event.
    std::string sql = "select sp_modelitemid, timestamp, actor, eventtype from " + T("t_history");
    if (const std::string clause = Clause("t_history"); !clause.empty())
        sql = AppendSelectionClause(sql, clause);
    CopyStep("t_history", sql + " ORDER BY timestamp", "t_history", false, false);
    AddPlantItemHistory(st_, flags);
}

void PlantCopy::GroupTables() {
    const std::vector<std::string> plantItemColumns = PlantColumns("t_plantitem");
    for (const char* table : {"T_Package", "T_System", "T_SafetyClass", "T_InstrLoop"}) {
        const std::string group =
            IEquals(table, "T_System") ? "TestSystem" : std::string(table).substr(2);
        std::vector<std::string> cols =
            GetDefCols4PackageOrSystem(run_.keys, group, plantItemColumns);
        std::vector<std::string> select;
        if (IEquals(table, "T_InstrLoop")) {
            // The loop's own plant item columns ("T_PlantItem.ItemTag_Instrloop") and its
            // t_instrloop columns, plain: the chain names them "InstrLoop_<col>".
            const auto& keys = run_.keys.Keys("Instruments");
            for (const std::string& attr : GetAttrs4Table(keys, "t_plantitem", "_Instrloop")) {
                if (!IEndsWith(attr, "_Instrloop")) continue;
                const std::string column =
                    FindName(plantItemColumns, StripSuffix(attr, "_Instrloop"));
                if (!column.empty()) AddIfMissing(cols, column);
            }
            std::vector<std::string> loopCols;
            const std::vector<std::string> loopColumns = PlantColumns("t_instrloop");
            for (const std::string& attr : GetAttrs4Table(keys, "t_instrloop")) {
                const std::string column =
                    FindName(loopColumns, StripOwnerSuffixes(attr, AllOwnerSuffixes()));
                if (!column.empty() && !HasName(cols, column) && !HasName(loopCols, column))
                    loopCols.push_back(column);
            }
            if (cols.empty() && loopCols.empty()) continue;
            AddIfMissing(cols, "SP_ID");
            for (const std::string& c : cols)
                select.push_back("a." + Col(c, plantItemColumns) + As() + Col(c, plantItemColumns));
            for (const std::string& c : loopCols) select.push_back("t." + Col(c) + As() + Col(c));
            select.push_back("b.SP_PLANTITEMID");
            CopyStep(table,
                     "SELECT " + Join(select, ",") + " FROM (" + T("t_plantitem") +
                         " a inner join " + T(table) + " t on a.SP_ID=t.SP_ID) left join " +
                         T("t_plantitemgroupjoin") + " b on t.SP_ID=b.SP_PLANTITEMGROUPID",
                     table, false);
            continue;
        }
        if (cols.empty()) continue;
        for (const std::string& c : cols)
            select.push_back("a." + Col(c, plantItemColumns) + As() + Col(c, plantItemColumns));
        select.push_back("b.SP_PLANTITEMID");
        CopyStep(table,
                 "SELECT " + Join(select, ",") + " FROM " + T("t_plantitem") + " a inner join " +
                     T(table) + " t on a.SP_ID=t.SP_ID inner join " + T("t_plantitemgroupjoin") +
                     " b on t.SP_ID=b.SP_PLANTITEMGROUPID",
                 table, false);
    }
}

void PlantCopy::ModelItems() {
    const std::vector<std::string> modelItemColumns = PlantColumns("t_modelitem");
    std::vector<std::string> columns =
        GetAllDefCols4T_Table(run_.keys, "T_ModelItem", modelItemColumns);
    AddIfMissing(columns, "SP_ID");
    AddIfMissing(columns, "Description");
    // End points are model items outside the selection.
    CopyStep("t_modelitem",
             "SELECT " + ColumnList(columns, modelItemColumns) + " FROM " + T("t_modelitem"),
             "t_modelitem", !run_.pointDescription);

    // Step 11.
    run_.step = 11;
    if (run_.failureAction || run_.failureActionLow)
        CopyStep(
            "t_instrfailmode",
            "SELECT SP_ID,FailureAction,sp_instrumentid,failmodetype FROM " + T("t_instrfailmode"),
            "t_instrfailmode");
    const std::vector<std::string> functionCatalogue = PlantColumns("t_instrfunction");
    std::vector<std::string> functionColumns =
        GetAllDefCols4T_Table(run_.keys, "T_InstrFunction", functionCatalogue);
    if (!functionColumns.empty()) {
        AddIfMissing(functionColumns, "SP_INSTRUMENTID");
        AddIfMissing(functionColumns, "SP_ID");
        CopyStep("T_InstrFunction",
                 "SELECT " + ColumnList(functionColumns, functionCatalogue) + " FROM " +
                     T("T_InstrFunction"),
                 "T_InstrFunction");
    }

    // Step 12.
    run_.step = 12;
    if (!points_.columns.empty())
        CopyStep("t_pipingpoint",
                 "SELECT " + ColumnList(points_.columns, pointCatalogue_) + " FROM " +
                     T("t_pipingpoint"),
                 "t_pipingpoint");
}

void PlantCopy::PipeRuns() {
    const std::vector<std::string> runColumns = PlantColumns("t_piperun");
    std::vector<std::string> columns = GetAllDefCols4T_Table(run_.keys, "T_PipeRun", runColumns);
    if (columns.empty() && run_.keys.Keys("InlineComp_Prun").empty()) return;
    AddIfMissing(columns, "SP_ID");
    if (run_.keys.Has("InlineComp_Prun", "Others.NotConnectedRuns") ||
        run_.keys.Has("InlineComp_Prun", "Others.NumberOfLabels"))
        AddIfMissing(columns, "PipeRunClass");
    AddIfMissing(columns, "PipeRunType");
    AddIfMissing(columns, "sp_connectorszerolength");
    std::vector<std::string> entries;
    for (const std::string& c : columns)
        entries.push_back(T("t_piperun") + "." + Col(c, runColumns) + As() +
                          Col(GetColumnAlias("t_piperun." + c)));
    CopyStep("t_piperun",
             "SELECT " + Join(entries, ",") + " FROM " + T("t_piperun") + " WHERE PIPERUNCLASS<>2",
             "t_piperun");
}

// t_status comes whole. A plant column that Access cannot name stays in the plant (no key can ask
// for it either), so that a column nobody configured cannot fail the run.
void PlantCopy::Status() {
    std::vector<std::string> columns;
    bool all = true;
    for (const std::string& c : PlantColumns("t_status")) {
        if (const std::string bad = ForbiddenInAccessName(c); !bad.empty()) {
            all = false;
            LogLine("The column " + c + " of t_status is not copied: Access does not allow " + bad +
                    " in a column name.");
            continue;
        }
        columns.push_back(Col(c));
    }
    CopyStep("t_status",
             "SELECT " + (all ? std::string("*") : Join(columns, ",")) + " FROM " + T("t_status"),
             "t_status");
}

void PlantCopy::Pid() {
    ShowProgress("Extracting t_drawing, t_representation...");
    const Dialect d = run_.plant.dialect;
    run_.plantDrawingColumns = PlantColumns("t_drawing");
    const DrawingSql drawing =
        GetSQL4TDrawing(run_.keys, attributes::GetCategoryList(true), run_.plantDrawingColumns, d);
    symbolNames_ = drawing.symbolNames;
    std::string sql =
        "SELECT t_representation.SP_MODELITEMID" + As() + "SP_ID,t_representation.SP_ID" + As() +
        "Representation_ID," + drawing.columns + "," + GraphicIdExpression(d, run_.viewerMode) +
        As() + "GraphicID," + NumberAsText(d, "t_plantitem.PlantItemType") + As() +
        "PlantItemType," + NumberAsText(d, "t_modelitem.ModelItemType") + As() + "ModelItemType,";
    if (run_.viewerMode)
        sql +=
            NumberAsText(d, "t_representation.REPRESENTATIONTYPE") + As() + "REPRESENTATIONTYPE,";
    sql += "t_plantitem.itemtag" + As() + "Tag";
    if (run_.keys.Has("Plantitems", "Others.SP_MODELITEMTIMESTAMP"))
        sql += ",t_representation.SP_MODELITEMTIMESTAMP";
    sql += " FROM (((" + T("t_representation") + " left join " + T("t_drawing") +
           " on t_representation.SP_DrawingID = t_drawing.SP_ID) left join " + T("t_plantitem") +
           " on t_representation.SP_MODELITEMID=t_plantitem.sp_id) left join " + T("t_modelitem") +
           " on t_representation.SP_MODELITEMID=t_modelitem.sp_id) WHERE t_drawing.itemstatus=1";
    if (run_.bigPlant) CreateAndLinkPidTable(st_, run_.args.mdbFile);
    ShowProgress("Extracting PID...");
    const std::string clause = Clause("t_drawing");
    if (!clause.empty()) sql = AppendSelectionClause(sql, clause);
    Rs2Access(*run_.plant.connection, sql, st_, "PID");
    for (const char* c : {"PlantItemType", "ModelItemType"})
        if (!st_.TypeOf("PID", c).isText())
            st_.AlterColumnType("PID", c, store::ColumnType::Text(255));
    IndexColumn(st_, "SP_ID", "PID");
    IndexColumn(st_, "Representation_ID", "PID");
    run_.decodeList.emplace_back("PID");
    run_.CheckCancel();
}

void PlantCopy::ExcludeDrawings() {
    if (run_.args.excludedDrawings.empty()) return;
    ShowProgress("Exclude drawings: " + run_.args.excludedDrawings);
    for (const std::string& raw : Split(run_.args.excludedDrawings, ";")) {
        const std::string pattern(TrimBlanks(raw));
        if (pattern.empty()) continue;
        const std::string like = ReplaceAll(ReplaceAll(pattern, "*", "%"), "?", "_");
        st_.ExecuteCount("DELETE FROM [PID] WHERE lcase(DRAWING_NAME) LIKE lcase(?1)",
                         {store::Value(like)});
    }
}

void PlantCopy::LabelPersist() {
    ShowProgress("Extracting T_LABELPERSIST...");
    std::string sql = "SELECT T_LABELPERSIST.SP_ID" + As() +
                      "SP_ID,T_LABELPERSIST.SP_REPRESENTATIONID" + As() +
                      "SP_REPRESENTATIONID,t_representation.REPRESENTATIONTYPE" + As() +
                      "REPRESENTATIONTYPE,T_LABELPERSIST.LABELTYPE" + As() + "LABELTYPE FROM " +
                      T("T_LABELPERSIST") + " inner join " + T("t_representation") +
                      " on T_LABELPERSIST.SP_ID=t_representation.SP_ID";
    const std::string clause = Clause("t_drawing");
    if (!clause.empty())
        sql += " WHERE t_representation.SP_DRAWINGID in (select t_drawing.SP_ID from " +
               T("t_drawing") + " where " + clause + ")";
    Rs2Access(*run_.plant.connection, sql, st_, "T_LABELPERSIST");
    IndexTable(st_, "T_LABELPERSIST", {"SP_ID", "SP_REPRESENTATIONID"});
    if (run_.viewerMode && !plantaccess::UseCopyPlantDatabase())
        Rs2Access(
            *run_.plant.connection,
            "SELECT SP_ID, PLANTITEMGROUPTYPE, PLANTITEMGROUPCLASS from " + T("T_PLANTITEMGROUP"),
            st_, "T_PLANTITEMGROUP");
    run_.CheckCancel();
}

void PlantCopy::Drawings() {
    // The viewer form keeps its drawings in t_drawing (step 27) instead.
    if (run_.viewerMode) return;
    const std::vector<std::string> drawingColumns = PlantColumns("t_drawing");
    const DrawingColumns cols = GetCols4Drawings(run_.keys, drawingColumns);
    // The drawing dates go into PID whatever Drawings holds: Others columns of every category
    // read them there.
    if (run_.keys.Keys("Drawings").empty()) {
        DrawingLastModified(cols);
        return;
    }
    std::vector<std::string> entries;
    for (const AliasedColumn& c : cols.columns)
        entries.push_back(Col(c.column, drawingColumns) + As() + Col(c.alias));
    std::string sql =
        "select " + Join(entries, ",") + " from " + T("T_Drawing") + " WHERE itemstatus=1";
    std::string clause = Clause("t_drawing");
    if (!clause.empty()) {
        if (IFind(clause, "t_representation") != std::string::npos)
            clause = "sp_id in (SELECT distinct sp_drawingid from " + T("t_representation") +
                     " WHERE " + clause + ")";
        sql = AppendSelectionClause(sql, clause);
    }
    ShowProgress("Extracting Drawings...");
    Rs2Access(*run_.plant.connection, sql, st_, "Drawings");
    // A configured drawing attribute with a code list shows its text, as in every other category.
    run_.decodeList.emplace_back("Drawings");
    DrawingLastModified(cols);
    // A plant copy has neither drawing versions nor smart frames to count.
    if (plantaccess::UseCopyPlantDatabase()) {
        run_.CheckCancel();
        return;
    }
    const DrawingCountFlags counts = GetDrawingCountFlags(run_.keys);
    struct Count {
        bool wanted;
        const char* column;
        const char* helper;
        std::string sql;
    } list[] = {
        {counts.noOfVersions, "Drawing_NoOfVersions", "t_drawingversion",
         "select sp_drawingid, count(sp_drawingid)" + As() + "NoOfVersions from " +
             T("t_drawingversion") + " group by sp_drawingid"},
        {counts.noOfAuxGraphic, "Drawing_NoOfAuxGraphic", "t_smartframe",
         "select sp_drawingid, count(sp_drawingid)" + As() + "NoOfAuxGraphic from " +
             T("t_smartframe") + " where sp_smartframetype = 1 group by sp_drawingid"},
    };
    for (const Count& c : list) {
        if (!c.wanted) continue;
        Rs2Access(*run_.plant.connection, c.sql, st_, c.helper);
        st_.AddColumn("Drawings", {c.column, store::ColumnType::Long()});
        st_.UpdateFromJoin(
            {.target = "Drawings",
             .source = std::string(c.helper) + " h",
             .on = "Drawings.drawing_sp_id=h.sp_drawingid",
             .set = {{c.column, std::string("h.") + (IEquals(c.helper, "t_drawingversion")
                                                         ? "NoOfVersions"
                                                         : "NoOfAuxGraphic")}}});
        st_.DropTable(c.helper);
    }
    run_.CheckCancel();
}

void PlantCopy::DrawingLastModified(const DrawingColumns& cols) {
    if (!cols.modifiedDate && !cols.modifiedUser) return;
    std::string history = "select sp_drawingid";
    if (cols.modifiedDate) history += ", timestamp";
    if (cols.modifiedUser) history += ", actor";
    history += " from " + T("t_history") +
               " WHERE NOT sp_drawingid IS NULL AND eventtype=2 ORDER BY timestamp";
    Rs2Access(*run_.plant.connection, history, st_, "t_history");
    AddDrawingLastModified(st_, run_.keys, cols.modifiedDate, cols.modifiedUser);
}

void PlantCopy::ViewerDrawings() {
    std::string sql = "select sp_id, name, path from " + T("T_Drawing") + " WHERE itemstatus=1";
    if (const std::string clause = Clause("t_drawing"); !clause.empty())
        sql = AppendSelectionClause(sql, clause);
    Rs2Access(*run_.plant.connection, sql, st_, "t_drawing");
    Rs2Access(*run_.plant.connection,
              "select sp_drawingid, timestamp from " + T("t_history") +
                  " WHERE NOT sp_drawingid IS NULL AND eventtype=2 ORDER BY timestamp",
              st_, "t_history2");
    AddDrawingLastModified2(st_);
    run_.CheckCancel();
}

void PlantCopy::InlinecompIDs() {
    if (!st_.TableExists("t_piperun")) return;
    CopyStep("t_inlinecomp",
             "select sp_instrumentid, sp_pipingcompid, sp_piperunid from " + T("t_inlinecomp"),
             "T_InlinecompIDs", true, false);
    st_.AddColumn("T_InlinecompIDs", {"PipeRunType", store::ColumnType::Long()});
    st_.UpdateFromJoin({.target = "T_InlinecompIDs",
                        .source = "t_PipeRun p",
                        .on = "T_InlinecompIDs.SP_PIPERUNID=p.Piperun_sp_id",
                        .set = {{"PipeRunType", "p.Piperun_piperuntype"}}});
}

void PlantCopy::Cases() {
    auto configured = [&](std::string_view table, const std::vector<std::string>& plantColumns) {
        std::vector<std::string> out;
        for (const std::string& category : attributes::AllCategoryNames())
            for (const std::string& key : run_.keys.Keys(category)) {
                const auto dot = key.find('.');
                if (dot == std::string::npos) continue;
                const std::string owner = key.substr(0, dot);
                if (!IEquals(owner, "T_CaseProcess") && !IEquals(owner, "T_CaseControl") &&
                    !IEquals(owner, "T_Case"))
                    continue;
                const std::string part = key.substr(dot + 1);
                auto parsed = attributes::ParseCaseProcessKey(part);
                if (!parsed) parsed = attributes::ParseCaseKey(part);
                if (!parsed) continue;
                const std::string column = FindName(plantColumns, parsed->column);
                const std::string qualified = std::string(table) + "." + Col(column);
                if (!column.empty() && !HasName(out, qualified)) out.push_back(qualified);
            }
        return out;
    };
    const std::vector<std::string> caseColumns = PlantColumns("t_case");
    if (run_.caseProcess || run_.caseAny) {
        ShowProgress("Extracting case...");
        std::vector<std::string> cols = configured("t_caseprocess", PlantColumns("t_caseprocess"));
        for (const std::string& c : configured("t_case", caseColumns)) AddIfMissing(cols, c);
        std::string sql =
            "SELECT t_case.SP_MODELITEMID" + As() + "SP_ID, t_case.CASETYPE,t_caseprocess.QUALITY";
        for (const std::string& c : cols) sql += "," + c;
        sql += " FROM " + T("t_case") + " left join " + T("t_caseprocess") +
               " on t_case.SP_ID=t_caseprocess.SP_CASEID WHERE t_case.CASECLASS=24";
        Rs2Access(*run_.plant.connection, sql, st_, "T_CaseProcess");
    }
    if (run_.caseControl || run_.caseAny) {
        std::vector<std::string> cols = configured("t_casecontrol", PlantColumns("t_casecontrol"));
        for (const std::string& c : configured("t_case", caseColumns)) AddIfMissing(cols, c);
        std::string sql =
            "SELECT t_case.SP_MODELITEMID" + As() + "SP_ID, t_case.CASETYPE,t_casecontrol.QUALITY";
        for (const std::string& c : cols) sql += "," + c;
        sql += " FROM " + T("t_case") + " left join " + T("t_casecontrol") +
               " on t_case.SP_ID=t_casecontrol.SP_CASEID WHERE t_case.CASECLASS=34";
        Rs2Access(*run_.plant.connection, sql, st_, "T_CaseControl");
    }
    run_.CheckCancel();
}

void PlantCopy::Connectors() {
    ShowProgress("Extracting t_connector...");
    std::string sql =
        "SELECT "
        "sp_id,sp_connectitem1id,SP_AVOIDITEM1ID,sp_connectitem2id,SP_AVOIDITEM2ID,STARTOBJECT,"
        "ENDOBJECT, ISZEROLENGTH FROM " +
        T("t_connector");
    const std::string clause = Clause("t_connector");
    if (!clause.empty()) {
        sql = AppendSelectionClause(sql, clause);
        sql += " UNION " + ReplaceAllI(sql, "sp_connectitem1id in ", "sp_connectitem2id in ");
    }
    Rs2Access(*run_.plant.connection, sql, st_, "t_connector");
    IndexTable(st_, "t_connector", {"sp_id", "sp_connectitem1id", "sp_connectitem2id"});
    st_.AddColumn("t_connector", {"Plantitemtype", store::ColumnType::Long()});
    store::JoinUpdate u;
    u.target = "t_connector";
    u.source = "pid b, t_plantitem p";
    u.on = "t_connector.sp_id=b.REPRESENTATION_ID AND b.sp_id=p.sp_id";
    u.set = {{"Plantitemtype", "p.Plantitemtype"}};
    u.order = "b._rowid_, p._rowid_";
    st_.UpdateFromJoin(u);
    run_.CheckCancel();
}

void PlantCopy::Symbols() {
    const Dialect d = run_.plant.dialect;
    if (symbolNames_) {
        std::string sql = "select sp_id, " + FileNameExpression(d, "filename") + As() +
                          "Name from " + T("t_representation") + " WHERE not filename is null";
        const std::string clause = Clause("t_representation");
        if (!clause.empty()) sql = AppendSelectionClause(sql, clause);
        Rs2Access(*run_.plant.connection, sql, st_, "t_symbol_name");
    }
    const std::vector<std::string> symbolColumns = PlantColumns("t_symbol");
    std::vector<std::string> columns = GetAllDefCols4T_Table(run_.keys, "T_Symbol", symbolColumns);
    auto addPlantItemId = [&] {
        st_.AddColumn("t_symbol", {"sp_plantitemid", store::ColumnType::Text(33)});
        store::JoinUpdate u;
        u.target = "t_symbol";
        u.targetAlias = "a";
        u.source = "pid b";
        u.on = "a.sp_id=b.REPRESENTATION_ID";
        u.set = {{"sp_plantitemid", "b.sp_id"}};
        u.uniqueKeys = {{"pid", "REPRESENTATION_ID"}};
        st_.UpdateFromJoin(u);
    };
    if (!columns.empty()) {
        AddIfMissing(columns, "SP_ID");
        CopyStep("t_symbol",
                 "SELECT " + ColumnList(columns, symbolColumns) + " FROM " + T("t_symbol"),
                 "t_symbol");
        addPlantItemId();
        if (st_.ColumnExists("t_symbol", "ROTATIONANGLE"))
            st_.Execute(
                "UPDATE t_symbol SET ROTATIONANGLE=round(ROTATIONANGLE/3.1415926535897932*180, 3) "
                "WHERE NOT ROTATIONANGLE IS NULL");
        if (symbolNames_) {
            st_.AddColumn("t_symbol", {"Name", store::ColumnType::Text(255)});
            st_.UpdateFromJoin({.target = "t_symbol",
                                .source = "t_symbol_name n",
                                .on = "t_symbol.sp_id=n.sp_id",
                                .set = {{"Name", "\"left\"(n.[name], len(n.[name])-4)"}},
                                .where = "len(n.[name])>4"});
        }
    } else if (symbolNames_) {
        st_.SelectInto("SELECT * FROM t_symbol_name", "t_symbol");
        addPlantItemId();
    }
    if (st_.TableExists("t_symbol_name")) st_.DropTable("t_symbol_name");
    run_.CheckCancel();
}

void PlantCopy::PlantGroups() {
    const bool drawingGroups = !GetAttrs4Table(run_.keys.Keys("Drawings"), "t_plantgroup").empty();
    if (!run_.needPlantGroup && !drawingGroups) return;
    const bool unitCode = HasName(PlantColumns("t_unit"), "UnitCode");
    std::string sql = "SELECT a.SP_ID,a.PARENTID,a.NAME" + As() + "PlantGroup";
    if (unitCode) sql += ", b.UnitCode";
    sql += " FROM " + T("T_PLANTGROUP") + " a";
    if (unitCode) sql += " left join " + T("T_Unit") + " b on a.sp_id=b.sp_id";
    ShowProgress("Extracting T_PLANTGROUP...");
    Rs2Access(*run_.plant.connection, sql, st_, "T_PLANTGROUP");
    st_.AddColumn("T_PLANTGROUP", {"ParentPlantGroup", store::ColumnType::Text(100)});
    st_.UpdateFromJoin({.target = "T_PLANTGROUP",
                        .targetAlias = "a",
                        .source = "T_PLANTGROUP b",
                        .on = "a.parentid=b.sp_id",
                        .set = {{"ParentPlantGroup", "b.PlantGroup"}},
                        .leftJoin = true});
    if (unitCode) {
        st_.UpdateFromJoin({.target = "T_PLANTGROUP",
                            .targetAlias = "g",
                            .source = "T_PLANTGROUP p",
                            .on = "g.PARENTID=p.SP_ID",
                            .set = {{"UnitCode", "p.UNITCODE"}},
                            .where = "g.unitcode IS NULL"});
    }
    run_.CheckCancel();
}
void PlantCopy::CopyTables() {
    // Step 5 and the flags it needs.
    Step(5);
    LeaveOutKeysAccessCannotName(run_.keys);
    pointCatalogue_ = PlantColumns("t_pipingpoint");
    points_ = GetPointColumns(run_.keys, pointCatalogue_);
    run_.pointDescription = points_.descriptionInline || points_.descriptionInstr;
    run_.connectedPiperunID = points_.connectedPiperunID;
    for (const char* category : {"Instruments", "InlineComp_Prun"}) {
        if (run_.keys.Has(category, "T_InstrFailMode.FailureAction_Instrument"))
            run_.failureAction = true;
        if (run_.keys.Has(category, "T_InstrFailMode.FailureActionLow_Instrument"))
            run_.failureActionLow = true;
    }
    AttributePass();
    Step(6);
    if (run_.viewerMode && !plantaccess::UseCopyPlantDatabase())
        LogLine(
            "GetTemplatePathFromDB: the drawing templates of the viewer form are not read in this "
            "version.");
    Step(7);
    PlantItems();
    Step(8);
    History();
    Step(9);
    GroupTables();
    Step(10);
    ModelItems();
    Step(13);
    PipeRuns();
    Step(14);
    if (!plantaccess::UseCopyPlantDatabase()) Status();
    Step(15);
    if (run_.keys.AnyLike("plantitems", "*plantitemgroup_revisionnumber"))
        CopyStep("T_AREABREAKATTRIBUTE",
                 "select SP_PARENTID,Value" + As() + "PlantItemGroup_RevisionNumber from " +
                     T("T_AREABREAKATTRIBUTE") + " where name='Revision.RevisionNumber'",
                 "T_AREABREAKATTRIBUTE", false, false);
    Step(17);
    Pid();
    Step(18);
    ExcludeDrawings();
    Step(19);
    if (!plantaccess::UseCopyPlantDatabase()) {
        ShowProgress("Extracting T_Revision...");
        ExtractTRevision(run_.plant, st_, run_.keys);
    }
    Step(20);
    LabelPersist();
    Step(21);
    if (run_.extractFromTo) {
        LogLine(
            "From-To relations are not produced in this version: the run goes on without them.");
        run_.extractFromTo = false;
    }
    Step(22);
    Drawings();
    Step(23);
    InlinecompIDs();
    Step(24);
    Cases();
    Step(25);
    Connectors();
    Step(26);
    Symbols();
    Step(27);
    if (run_.viewerMode) ViewerDrawings();
}

}  // namespace

void CopyPlantTables(RunContext& run) {
    PlantCopy(run).CopyTables();
}

void CopyPlantGroups(RunContext& run) {
    run.EnterStep(29);
    PlantCopy(run).PlantGroups();
}

}  // namespace tb::extraction
