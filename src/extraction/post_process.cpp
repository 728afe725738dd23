// The scratch tables and the table growing of the post-processors.

#include "extraction/post_process.h"

#include "common/error.h"
#include "common/log.h"
#include "common/text.h"
#include "extraction/category_sql.h"
#include "extraction/column_alias.h"
#include "extraction/output_model.h"
#include "extraction/pid2mdb.h"

namespace tb::extraction {

ScratchTables::~ScratchTables() {
    for (auto it = names_.rbegin(); it != names_.rend(); ++it) {
        try {
            Drop(*it);
        } catch (const Error& e) {
            // A clean-up must not hide the error that is on its way out.
            LogLine("The scratch table " + *it + " could not be removed: " + e.description());
        }
    }
}

std::string ScratchTables::Claim(std::string table) {
    Drop(table);
    for (const std::string& name : names_)
        if (IEquals(name, table)) return table;
    names_.push_back(table);
    return table;
}

void ScratchTables::Drop(std::string_view table) {
    if (store_.TableExists(table)) store_.DropTable(table);
}

void CheckCancelled() {
    DoEvents();
    if (CancelRequested()) throw Error(kErrCancelled, "Cancelled.");
}

std::vector<std::string> TableColumns(const store::Store& store, std::string_view table) {
    std::vector<std::string> out;
    if (!store.TableExists(table)) return out;
    for (const store::ColumnDef& c : store.Columns(table)) out.push_back(c.name);
    return out;
}

TableGrower::TableGrower(store::Store& store, ScratchTables& scratch, std::string target, std::string routine,
                         int first)
    : store_(store), scratch_(scratch), target_(std::move(target)), routine_(std::move(routine)), n_(first) {}

std::string TableGrower::Next() {
    std::string name = n_ == 0 ? std::string("temp") : "temp" + std::to_string(n_);
    ++n_;
    return scratch_.Claim(std::move(name));
}

void TableGrower::Start(std::string_view select) {
    const std::string t = Next();
    store_.SelectInto(select, t);
    current_ = t;
}

void TableGrower::StartJoin(std::string_view kind, std::string_view left, std::string_view leftKey,
                            std::string_view right, std::string_view rightKey) {
    const std::string t = Next();
    JoinTable(store_, kind, {}, left, leftKey, right, rightKey, t);
    current_ = t;
}

bool TableGrower::Extend(std::string_view query, std::string_view leftKey, std::string_view rightKey,
                         std::string_view kind, std::string_view source, bool keepRightKey) {
    if (query.empty() || !store_.ColumnExists(current_, leftKey)) return false;
    const std::string right = Next();
    store_.SelectInto(query, right);
    ExtendTable(right, leftKey, rightKey, kind, source, keepRightKey);
    scratch_.Drop(right);
    return true;
}

bool TableGrower::ExtendTable(std::string_view table, std::string_view leftKey, std::string_view rightKey,
                              std::string_view kind, std::string_view source, bool keepRightKey) {
    if (!store_.TableExists(table) || !store_.ColumnExists(current_, leftKey)) return false;
    ShowProgress("Add data from " + std::string(source) + " to " + target_ + "...");
    JoinInto(table, leftKey, rightKey, kind, keepRightKey);
    CheckCancelled();
    return true;
}

void TableGrower::JoinInto(std::string_view right, std::string_view leftKey, std::string_view rightKey,
                           std::string_view kind, bool keepRightKey) {
    const std::string left = current_;
    const bool keyOnLeft = keepRightKey || store_.ColumnExists(left, rightKey);
    const std::string target = Next();
    // The right key goes (DropColumn of the right table's key), unless the left has it too.
    JoinTable(store_, kind, {}, left, leftKey, right, rightKey, target, !keyOnLeft);
    scratch_.Drop(left);
    current_ = target;
}

std::optional<CaseStep> CaseStepOfKey(const store::Store& store, const std::string& key) {
    const auto dot = key.find('.');
    if (dot == std::string::npos) return std::nullopt;
    const std::string table = key.substr(0, dot);
    CaseStep step;
    step.part = key.substr(dot + 1);
    const bool withQuality = IEquals(table, "T_CaseProcess") || IEquals(table, "T_CaseControl");
    if (!withQuality && !IEquals(table, "T_Case")) return std::nullopt;
    step.caseTable = CaseTableOfKey(step.part, withQuality);
    if (step.caseTable.empty() || !store.TableExists(step.caseTable)) return std::nullopt;
    const std::vector<std::string> caseColumns = TableColumns(store, step.caseTable);
    step.query = withQuality ? GetSQL4CaseProcess(step.part, {}, &caseColumns)
                             : GetSQL4TCase(step.part, {}, &caseColumns);
    if (step.query.empty()) return std::nullopt;
    return step;
}

void TableGrower::Cases(const AttributeKeys& keys, std::string_view category, std::string_view leftKey,
                        const std::string& columnSuffix) {
    for (const std::string& key : keys.Keys(category)) {
        const auto step = CaseStepOfKey(store_, key);
        if (!step || !store_.ColumnExists(current_, leftKey)) continue;
        // The query yields the id of the table it reads.
        const std::string rightKey = step->caseTable + "_SP_ID" + columnSuffix;
        const std::string right = Next();
        store_.SelectInto(step->query, right);
        if (!columnSuffix.empty()) RenameAllCols(store_, right, "", columnSuffix);
        ExtendTable(right, leftKey, rightKey, "LEFT", step->caseTable);
        scratch_.Drop(right);
    }
}

void TableGrower::PlantGroupColumns(const AttributeKeys& keys, std::string_view category, std::string_view leftKey,
                                    std::string_view suffix, bool ownerSide) {
    if (!store_.TableExists("T_PLANTGROUP") || !store_.TableExists("T_PlantItem") ||
        !store_.ColumnExists(current_, leftKey))
        return;
    std::vector<store::Assignment> set;
    for (const KeyedColumn& c :
         GetPlantGroupColumns4Side(keys, category, suffix, ownerSide, TableColumns(store_, "T_PLANTGROUP"))) {
        if (store_.ColumnExists(current_, c.alias)) {
            LogKeyLeftOut(c.key, category, "the column " + c.alias + " is already taken");
            continue;
        }
        store_.AddColumn(current_, {c.alias, store::ColumnType::Text(100)});
        set.push_back({c.alias, "g." + store::SqlName(c.column)});
    }
    if (set.empty()) return;
    store::JoinUpdate u;
    u.target = current_;
    u.targetAlias = "t";
    u.source = "T_PlantItem pi, T_PLANTGROUP g";
    u.on = "t." + store::SqlName(leftKey) + "=pi.sp_id AND pi.SP_PLANTGROUPID=g.sp_id";
    u.set = set;
    u.order = "pi._rowid_, g._rowid_";
    store_.UpdateFromJoin(u);
}

void TableGrower::Finish() {
    if (store_.TableExists(target_)) store_.DropTable(target_);
    store_.RenameTable(current_, target_);
    current_ = target_;
}

}  // namespace tb::extraction
