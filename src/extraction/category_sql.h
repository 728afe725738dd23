#pragma once
// The category SQL builders: from the configured attribute keys of a category to column lists,
// aliases and the SQLite text of the store's join steps. They only build text; the run executes
// it. Every output name comes from GetColumnAlias. Store statements name tables and columns in
// brackets, which SQLite reads as quoted names.
//
// A "key" below is the part of an attribute key behind the table ("ItemTag_PipeRun" of
// "T_PlantItem.ItemTag_PipeRun") unless a routine says otherwise. Column lists of tables (the
// catalogue check) are the columns of the table the statement reads, compared ignoring case.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "extraction/attribute_keys.h"
#include "extraction/column_alias.h"
#include "extraction/plant_sql.h"
#include "store/store.h"

namespace tb::extraction {

// A column read under an output name.
struct AliasedColumn {
    std::string column;
    std::string alias;
    bool operator==(const AliasedColumn&) const = default;
};

// The keys of `table` (the part before the first "." compared ignoring case), without the table
// name, in the keys' order. With a suffix, only keys whose text behind the last "_" occurs in the
// suffix (ignoring case). With `columns`, a key whose column (owner suffix taken off) the table
// lacks is left out.
std::vector<std::string> GetAttrs4Table(const std::vector<std::string>& keys,
                                        std::string_view table, std::string_view suffix = {},
                                        const std::vector<std::string>* columns = nullptr);

// The key with every owner suffix of `suffixes` at its end taken off (ignoring case), once each.
std::string StripOwnerSuffixes(std::string_view key, const std::vector<std::string_view>& suffixes);

// Columns of a plant table named by any category (owner suffixes taken off), that the table has
// (`tableColumns`), each once, in the order of the categories and their keys. One common copy of
// the table serves every category.
std::vector<std::string> GetAllDefCols4T_Table(const AttributeKeys& keys, std::string_view table,
                                               const std::vector<std::string>& tableColumns);

// The query of one join step of a category chain: the category's columns of a store working
// table under their aliases, with the table's key column. `tableColumns` are the store table's
// columns. Empty when the category wants nothing of the table (Plantitems always wants SP_ID).
std::string GetSQL4AddCols4DiffTypes(const AttributeKeys& keys, std::string_view table,
                                     std::string_view category, std::string_view suffix,
                                     const std::vector<std::string>& tableColumns);

// The query of a category's "Others" step on PID: "SELECT ... FROM [PID] GROUP BY ...", always
// with "SP_ID AS Others_SP_ID"; keys whose (shortened) name PID lacks are left out, and so is
// SP_MODELITEMTIMESTAMP, which differs between an item's representations (the Plantitems chain
// takes its greatest value in a step of its own, GetSQL4ModelItemTimestamp). When the
// category takes drawing columns of PID, Drawing_SP_ID comes with them, so that the rows per
// drawing keep their drawing's id.
std::string GetSQL4OthersCols(const AttributeKeys& keys, std::string_view category,
                              const std::vector<std::string>& pidColumns);

// The PID column of "Others.SP_MODELITEMTIMESTAMP".
inline constexpr std::string_view kModelItemTimestamp = "SP_MODELITEMTIMESTAMP";
// Each item's greatest SP_MODELITEMTIMESTAMP over its representations in PID, keyed by
// "Ts_SP_ID"; empty when PID lacks the column (`pidColumns`).
std::string GetSQL4ModelItemTimestamp(const std::vector<std::string>& pidColumns);

// --- Plant statements ---

// The selection of a run: plant group and drawing ids (comma lists of quoted ids), or a filter
// statement that yields item ids, or, with loadAssociatedDrawings, drawing ids.
struct Selection {
    std::string plantGroupIDs;
    std::string drawingIDs;
    std::string selectFilter;
    bool loadAssociatedDrawings = false;
    bool any() const {
        return !plantGroupIDs.empty() || !drawingIDs.empty() || !selectFilter.empty();
    }
};

// The condition that restricts a plant table (named in any case) to the selection; empty when
// nothing is selected or the table is not restricted. Plant groups and drawings together select
// their union. The subqueries name t_representation and t_drawing with the schema's prefix.
std::string GetPartialWhereSql(std::string_view table, const Selection& selection, Dialect dialect,
                               std::string_view prefix);
// The statement with the condition behind " WHERE ", or behind " AND " when it has a WHERE.
std::string AppendSelectionClause(std::string_view sql, std::string_view clause);

// The drawing columns of the PID statement: over the categories, the "T_Drawing." keys and the
// "Others.Drawing_" keys ("DrawingName" counts as Name, "DrawingPath" as Path), always Name, Path,
// SP_ID, Instockpile and FileName. FileName is the file name of t_representation.FILENAME,
// Instockpile t_representation.instockpile as text, every other column "T_Drawing.<col>" under
// ShortenAlias("Drawing_<col>"); a column the plant's T_Drawing lacks (`drawingColumns`; an empty
// list checks nothing) is left out. symbolNames tells whether a category wants the symbol's Name (a
// "T_Symbol.Name" key).
struct DrawingSql {
    std::string columns;
    bool symbolNames = false;
};
DrawingSql GetSQL4TDrawing(const AttributeKeys& keys, const std::vector<std::string>& categories,
                           const std::vector<std::string>& drawingColumns, Dialect dialect);

// The columns of the Drawings category: its "T_Drawing." keys that the plant's T_Drawing has
// (`drawingColumns`), each with the alias ShortenAlias("Drawing_" + column), then SP_ID and,
// when plant group columns are wanted ("T_PlantGroup." keys), SP_PLANTGROUPID. The two flags of
// the drawings' last change are set when any category holds a key like "*drawing*lastmodifieddate*"
// or "*drawing*lastmodifieduser*".
struct DrawingColumns {
    std::vector<AliasedColumn> columns;
    bool plantGroups = false;
    bool modifiedDate = false;
    bool modifiedUser = false;
};
DrawingColumns GetCols4Drawings(const AttributeKeys& keys,
                                const std::vector<std::string>& drawingColumns);

// The columns of a group's own plant item that the categories want: keys of T_PlantItem that
// start with "<group>_" (group "Package", "TestSystem", "SafetyClass" or "InstrLoop"; "InstrLoop"
// reads the category Instruments only, the others InlineComp_Prun, Eqp_Nozzle and Instruments),
// the group prefix and the category's owner suffixes taken off. Columns that `columns` lacks are
// dropped (the step that copies the group reads them from t_plantitem); SP_ID is added when any
// stand.
std::vector<std::string> GetDefCols4PackageOrSystem(const AttributeKeys& keys,
                                                    std::string_view group,
                                                    const std::vector<std::string>& columns);

// The select list of a group table (T_Package, T_System, T_SafetyClass) for one owner of a
// category: "[col] AS [alias]" for each wanted column the store's group table has
// (`groupColumns`), the alias by GetColumnAlias of the key ("PipeRun_Package_Name"), and the
// group's SP_ID as "<owner>_<group>_SP_ID". Empty when nothing is wanted.
std::string GetColsOfGroupTable(const AttributeKeys& keys, std::string_view category,
                                std::string_view table, std::string_view suffix,
                                const std::vector<std::string>& groupColumns);

// The plant group columns a category wants on one side (owner suffix "_PipeRun", "_Nozzle"...,
// empty for a category without sides): each "t_plantgroup.<col><suffix>" key, and on the
// owner's side (`ownerSide`) each key without any owner suffix too, whose column the store's
// T_PLANTGROUP has (`groupColumns`), with the alias GetColumnAlias gives the key
// ("PipeRun_UnitCode", "PlantGroup"). Keys stay in their order; an alias comes once.
struct KeyedColumn {
    std::string key;  // the whole attribute key
    std::string column;
    std::string alias;
    bool operator==(const KeyedColumn&) const = default;
};
std::vector<KeyedColumn> GetPlantGroupColumns4Side(const AttributeKeys& keys,
                                                   std::string_view category,
                                                   std::string_view suffix, bool ownerSide,
                                                   const std::vector<std::string>& groupColumns);

// Why no step of a category chain (InlineComp_Prun, Eqp_Nozzle, Plantitems, Instruments,
// ItemNotes, DuctRuns) can place a key, as the end of a log line ("no step of ItemNotes reads
// T_PlantGroup"); empty when a step takes it. Looks at the key's table and owner suffix only:
// whether the plant has the column is not asked here.
std::string UnplacedKeyReason(std::string_view category, std::string_view key);

// Why the run never makes the column of a key that the catalogue offers for a category: the
// column is computed, joined or read for other categories or sides only ("the revision columns
// are computed for Drawings only"); empty when nothing rules it out. Every category, Drawings and
// OPCs too.
std::string UnbuiltKeyReason(std::string_view category, std::string_view key);

// The column a key gives in its category table: its alias, with Plantitems' own t_plantitem
// columns unaliased, the computed PlantItemGroup_RevisionNumber and VersionAssociated under their
// names, and the aliases of drawing columns and of "Others" shortened.
std::string ColumnOfKey(std::string_view category, std::string_view key);

// Another of `keys` (a category's) whose column is that of `key`, ignoring case; empty if none.
std::string KeyOfSameColumn(const std::vector<std::string>& keys, std::string_view key);

// The keys with "_Instrument" and "_Instrloop" taken off, without repeats.
std::vector<std::string> GetInstrumentAttrs(const std::vector<std::string>& keys);

// The case queries of one case key ("ProcessDesign_Max_Pressure_PipeRun"): the value of one case
// type (and quality) per model item, from the store's T_CaseProcess or, for the control case,
// T_CaseControl: "SELECT [SP_ID] AS [<table>_SP_ID],[<col>] AS [<alias>] FROM [<table>] WHERE
// casetype=<c> AND quality=<q>". With an owner suffix, a key of another owner gives no query;
// with `caseColumns`, a column the case table lacks gives none. A key that does not decode gives
// none. T_Case keys have no quality; their rows repeat for every quality of the case, so that
// query is DISTINCT.
std::string GetSQL4CaseProcess(std::string_view key, std::string_view owner = {},
                               const std::vector<std::string>* caseColumns = nullptr);
std::string GetSQL4TCase(std::string_view key, std::string_view owner = {},
                         const std::vector<std::string>* caseColumns = nullptr);
// "T_CaseControl" for the control case (5), else "T_CaseProcess"; empty for no case key.
std::string CaseTableOfKey(std::string_view key, bool withQuality);

// The history columns of t_plantitem wanted by any category ("t_plantitem.createddate*",
// "t_plantitem.createduser*", "t_plantitem.lastmodifieddate*", "t_plantitem.lastmodifieduser*").
struct HistoryFlags {
    bool createdDate = false;
    bool createdUser = false;
    bool modifiedDate = false;
    bool modifiedUser = false;
    bool any() const { return createdDate || createdUser || modifiedDate || modifiedUser; }
};
HistoryFlags GetHistoryFlags(const AttributeKeys& keys);

// The drawing counts wanted by the Drawings category ("t_drawing.noofversions",
// "t_drawing.noofauxgraphic").
struct DrawingCountFlags {
    bool noOfVersions = false;
    bool noOfAuxGraphic = false;
};
DrawingCountFlags GetDrawingCountFlags(const AttributeKeys& keys);

// The piping point columns to copy from the plant's t_pipingpoint: SP_ID, SP_PLANTITEMID,
// POINTINDEX and every column named by a "T_PipingPoint._<n>_<column>" key of InlineComp_Prun or
// Instruments that the plant table has (`pointColumns`), except the computed Description and
// ConnectedPiperunID. Empty when neither category has a piping point key. The flag tells whether
// ConnectedPiperunID is wanted.
struct PointColumns {
    std::vector<std::string> columns;
    bool connectedPiperunID = false;
    bool descriptionInline = false;  // "T_PipingPoint._<n>_Description" in InlineComp_Prun
    bool descriptionInstr = false;   // ... in Instruments
};
PointColumns GetPointColumns(const AttributeKeys& keys,
                             const std::vector<std::string>& pointColumns);

// The columns of piping point `pointIndex` that a category wants: the store's t_pipingpoint
// column and its alias ("End_1_Size"), for each key "T_PipingPoint._<pointIndex>_<column>" whose
// column the store table has (`pointColumns`, Description and ConnectedPiperunID included once
// made).
std::vector<AliasedColumn> GetPointColumns4Category(const AttributeKeys& keys,
                                                    std::string_view category, int pointIndex,
                                                    const std::vector<std::string>& pointColumns);

// --- Joins and the user's SQL, run in the store ---

// The SQLite text of a join into a new table. The column list is explicit: every left column,
// then every right column whose name the left does not already have (ignoring case), so a right
// key of the left key's name is simply not taken. `kind` is "LEFT", "RIGHT" or "INNER"; "out" (or
// "outer") is a LEFT join united with a RIGHT join. Rows come in the order of the left table,
// then of the right. With a key list the join is the grouped form: the keys (from the left), then
// the other columns of both, "FROM <left>, <right> WHERE <left>.<k>=<right>.<k> AND ... GROUP BY"
// every column.
std::string JoinTableSql(std::string_view kind, const std::vector<std::string>& keyList,
                         std::string_view left, const std::vector<std::string>& leftColumns,
                         std::string_view leftKey, std::string_view right,
                         const std::vector<std::string>& rightColumns, std::string_view rightKey);
// Runs the join on the store's tables into `target`. With omitRightKey the right key is not
// taken: the same table as a later DropColumn of it, without rewriting the table once more.
void JoinTable(store::Store& store, std::string_view kind, const std::vector<std::string>& keyList,
               std::string_view left, std::string_view leftKey, std::string_view right,
               std::string_view rightKey, std::string_view target, bool omitRightKey = false);

// Runs the user's Access statements of section "SQL" of the attribute configuration, values in
// key order, each translated to the store's SQL. A failing statement is logged with its text and
// the next one runs. Tables and columns the statements made are taken into the store's catalogue.
// Nothing runs in a drawing version run.
void ExtendUserColumns(store::Store& store, const std::filesystem::path& attributeIni,
                       bool drawingVersionRun);

}  // namespace tb::extraction
