// The scratch tables and the table growing of the post-processors.

#include "extraction/post_process.h"

#include <algorithm>

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

namespace {

// "[name]" at `pos`, moving past it.
std::optional<std::string> Bracketed(std::string_view sql, std::size_t& pos) {
    if (pos >= sql.size() || sql[pos] != '[') return std::nullopt;
    const std::size_t end = sql.find(']', pos + 1);
    if (end == std::string_view::npos || end == pos + 1) return std::nullopt;
    std::string name(sql.substr(pos + 1, end - pos - 1));
    if (name.find('[') != std::string::npos) return std::nullopt;
    pos = end + 1;
    return name;
}

bool Word(std::string_view sql, std::size_t& pos, std::string_view word) {
    if (sql.substr(pos, word.size()) != word) return false;
    pos += word.size();
    return true;
}

}  // namespace

std::optional<Projection> ParseProjection(std::string_view sql) {
    std::size_t pos = 0;
    if (!Word(sql, pos, "SELECT ")) return std::nullopt;
    Projection p;
    for (;;) {
        const auto source = Bracketed(sql, pos);
        if (!source) return std::nullopt;
        std::optional<std::string> name = source;
        if (Word(sql, pos, " AS ") && !(name = Bracketed(sql, pos))) return std::nullopt;
        for (const auto& c : p.columns)
            if (IEquals(c.second, *name)) return std::nullopt;
        p.columns.emplace_back(*source, *name);
        if (Word(sql, pos, ",")) continue;
        if (!Word(sql, pos, " FROM ")) return std::nullopt;
        const auto table = Bracketed(sql, pos);
        if (!table || pos != sql.size()) return std::nullopt;
        p.table = *table;
        return p;
    }
}

namespace {
// A full join keeps each distinct row of both sides once (a union): it runs on tables.
bool IsFullJoin(std::string_view kind) {
    return IEquals(kind, "out") || IEquals(kind, "outer");
}
}  // namespace

std::string SharedJoinSources::TableFor(const std::string& query) {
    for (const auto& [q, table] : tables_)
        if (q == query) return table;
    const std::string table = scratch_.Claim("tempShared" + std::to_string(tables_.size() + 1));
    store_.SelectInto(query, table);
    tables_.emplace_back(query, table);
    return table;
}

TableGrower::TableGrower(store::Store& store, ScratchTables& scratch, std::string target,
                         std::string routine, int first, SharedJoinSources* shared)
    : store_(store),
      scratch_(scratch),
      shared_(shared),
      target_(std::move(target)),
      routine_(std::move(routine)),
      n_(first) {}

std::string TableGrower::Next() {
    std::string name = n_ == 0 ? std::string("temp") : "temp" + std::to_string(n_);
    ++n_;
    return scratch_.Claim(std::move(name));
}

void TableGrower::Reset(const std::string& base, bool owned) {
    current_ = base;
    owned_ = owned;
    narrowed_ = false;
    tables_ = 1;
    from_ = store::QuoteName(base) + " AS s0";
    order_ = {"s0._rowid_"};
    columns_.clear();
    for (const std::string& c : TableColumns(store_, base)) columns_.push_back({c, "s0", base, c});
}

void TableGrower::MakeRoom(int more) {
    // SQLite joins at most 64 tables in one statement.
    constexpr int kMaxTables = 48;
    if (tables_ + more > kMaxTables) Current();
    tables_ += more;
}

const TableGrower::Column* TableGrower::FindColumn(std::string_view name) const {
    for (const Column& c : columns_)
        if (IEquals(c.name, name)) return &c;
    return nullptr;
}

bool TableGrower::HasColumn(std::string_view column) const {
    return FindColumn(column) != nullptr;
}

std::string TableGrower::Select() const {
    std::vector<std::string> list;
    for (const Column& c : columns_)
        list.push_back(c.alias + "." + store::QuoteName(c.source) + " AS " +
                       store::QuoteName(c.name));
    // Row order as if each join had been run into a table of its own: by the rowid of the left
    // table, then of the right.
    return "SELECT " + Join(list, ", ") + " FROM " + from_ + " ORDER BY " + Join(order_, ", ");
}

void TableGrower::DropUsed() {
    for (const std::string& t : used_) scratch_.Drop(t);
    used_.clear();
}

const std::string& TableGrower::Current() {
    if (!owned_ || narrowed_ || order_.size() > 1) {
        const std::string t = Next();
        store_.SelectInto(Select(), t);
        if (owned_) scratch_.Drop(current_);
        Reset(t, true);
    }
    return current_;
}

void TableGrower::Start(std::string_view select) {
    const std::string t = Next();
    store_.SelectInto(select, t);
    Reset(t, true);
}

void TableGrower::StartTable(std::string_view table) {
    const auto found = store_.FindTable(table);
    if (!found)
        throw Error(store::kErrTableMissing,
                    routine_ + ": the table '" + std::string(table) + "' does not exist.");
    Reset(*found, false);
}

void TableGrower::StartJoin(std::string_view kind, std::string_view left, std::string_view leftKey,
                            std::string_view right, std::string_view rightKey) {
    StartTable(left);
    JoinStep(right, leftKey, rightKey, kind, true);
}

bool TableGrower::Extend(std::string_view query, std::string_view leftKey,
                         std::string_view rightKey, std::string_view kind, std::string_view source,
                         bool keepRightKey, bool shareable) {
    if (query.empty() || !HasColumn(leftKey)) return false;
    // Columns of one table under names of their own: that table is joined where it stands.
    if (const auto p = ParseProjection(query); p && !IsFullJoin(kind)) {
        if (const auto table = store_.FindTable(p->table)) {
            const std::vector<std::string> have = TableColumns(store_, *table);
            std::vector<std::pair<std::string, std::string>> columns;
            for (const auto& [column, name] : p->columns)
                if (const std::string found = FindName(have, column); !found.empty())
                    columns.emplace_back(found, name);
            if (columns.size() == p->columns.size()) {
                ShowProgress("Add data from " + std::string(source) + " to " + target_ + "...");
                JoinStep(*table, leftKey, rightKey, kind, keepRightKey, std::move(columns));
                CheckCancelled();
                return true;
            }
        }
    }
    std::string right;
    if (shareable && shared_) {
        right = shared_->TableFor(std::string(query));
    } else {
        right = Next();
        store_.SelectInto(query, right);
        used_.push_back(right);
    }
    return ExtendTable(right, leftKey, rightKey, kind, source, keepRightKey);
}

bool TableGrower::ExtendTable(std::string_view table, std::string_view leftKey,
                              std::string_view rightKey, std::string_view kind,
                              std::string_view source, bool keepRightKey) {
    if (!store_.TableExists(table) || !HasColumn(leftKey)) return false;
    ShowProgress("Add data from " + std::string(source) + " to " + target_ + "...");
    JoinStep(table, leftKey, rightKey, kind, keepRightKey);
    CheckCancelled();
    return true;
}

void TableGrower::JoinStep(std::string_view right, std::string_view leftKey,
                           std::string_view rightKey, std::string_view kind, bool keepRightKey,
                           std::vector<std::pair<std::string, std::string>> rightColumns) {
    const auto r = store_.FindTable(right);
    if (!r)
        throw Error(store::kErrTableMissing,
                    "JoinTable: the table '" + std::string(right) + "' does not exist.");
    // The right key goes, unless asked for or the left has a column of its name.
    const bool keyOnLeft = keepRightKey || HasColumn(rightKey);
    if (IsFullJoin(kind)) {
        const std::string left = Current();
        const std::string t = Next();
        JoinTable(store_, kind, {}, left, leftKey, *r, rightKey, t, !keyOnLeft);
        Reset(t, true);
        return;
    }
    const std::string k = ToUpperAscii(TrimBlanks(kind));
    if (k != "LEFT" && k != "RIGHT" && k != "INNER")
        throw Error(kErrInternal, "JoinTable: unknown join kind '" + std::string(kind) + "'.");
    if (rightColumns.empty())
        for (const std::string& c : TableColumns(store_, *r)) rightColumns.emplace_back(c, c);
    const auto key = std::find_if(rightColumns.begin(), rightColumns.end(),
                                  [&](const auto& c) { return IEquals(c.second, rightKey); });
    if (key == rightColumns.end())
        throw Error(kErrInternal, "JoinTable: the key '" + std::string(rightKey) +
                                      "' is no column of '" + *r + "'.");
    MakeRoom(1);
    const Column left = *FindColumn(leftKey);
    // SQLite probes the right table for each left row; a RIGHT join also the other way.
    store_.EnsureLookupIndex(*r, key->first);
    if (k == "RIGHT") store_.EnsureLookupIndex(left.table, left.source);
    const std::string alias = "s" + std::to_string(order_.size());
    from_ += " " + k + " JOIN " + store::QuoteName(*r) + " AS " + alias + " ON " + left.alias +
             "." + store::QuoteName(left.source) + "=" + alias + "." + store::QuoteName(key->first);
    order_.push_back(alias + "._rowid_");
    for (const auto& [source, name] : rightColumns) {
        if ((!keyOnLeft && IEquals(name, rightKey)) || HasColumn(name)) continue;
        columns_.push_back({name, alias, *r, source});
    }
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

void TableGrower::Cases(const AttributeKeys& keys, std::string_view category,
                        std::string_view leftKey, const std::string& columnSuffix) {
    for (const std::string& key : keys.Keys(category)) {
        const auto step = CaseStepOfKey(store_, key);
        if (!step || !HasColumn(leftKey)) continue;
        // The query yields the id of the table it reads.
        const std::string rightKey = step->caseTable + "_SP_ID" + columnSuffix;
        const std::string right = Next();
        store_.SelectInto(step->query, right);
        used_.push_back(right);
        if (!columnSuffix.empty()) RenameAllCols(store_, right, "", columnSuffix);
        ExtendTable(right, leftKey, rightKey, "LEFT", step->caseTable);
    }
}

void TableGrower::PlantGroupColumns(const AttributeKeys& keys, std::string_view category,
                                    std::string_view leftKey, std::string_view suffix,
                                    bool ownerSide) {
    const auto items = store_.FindTable("T_PlantItem");
    const auto groupTable = store_.FindTable("T_PLANTGROUP");
    if (!items || !groupTable || !HasColumn(leftKey)) return;
    const std::vector<std::string> itemColumns = TableColumns(store_, *items);
    const std::string itemId = FindName(itemColumns, "sp_id"),
                      itemGroup = FindName(itemColumns, "SP_PLANTGROUPID");
    if (itemId.empty() || itemGroup.empty() || !store_.ColumnExists(*groupTable, "sp_id")) return;
    store::ColumnType groupIdType = store_.TypeOf(*groupTable, "sp_id");
    static constexpr std::string_view kGroup = "PlantGroup_Key_SP_ID";
    std::vector<store::ColumnDef> defs;
    std::vector<std::pair<std::string, std::string>> columns;
    std::vector<std::string> values;
    for (const KeyedColumn& c : GetPlantGroupColumns4Side(keys, category, suffix, ownerSide,
                                                          TableColumns(store_, *groupTable))) {
        if (HasColumn(c.alias) ||
            std::any_of(columns.begin(), columns.end(),
                        [&](const auto& taken) { return IEquals(taken.second, c.alias); })) {
            LogKeyLeftOut(c.key, category, "the column " + c.alias + " is already taken");
            continue;
        }
        columns.emplace_back(c.alias, c.alias);
        defs.push_back({c.alias, store::ColumnType::Text(100)});
        values.push_back("g." + store::SqlName(c.column));
    }
    if (defs.empty() || HasColumn(kGroup)) return;
    // The columns are Text(100) whatever the group table holds, the last group row of an id wins.
    groupIdType.counter = false;
    defs.insert(defs.begin(), {std::string(kGroup), groupIdType});
    const std::string groups = Next();
    store_.CreateTable(groups, defs);
    used_.push_back(groups);
    std::string inner = "SELECT g.sp_id AS k";
    for (std::size_t i = 0; i < values.size(); ++i)
        inner += ", " + values[i] + " AS v" + std::to_string(i);
    inner +=
        ", row_number() OVER (PARTITION BY g.sp_id ORDER BY g._rowid_ DESC) AS match_rank FROM " +
        store::QuoteName(*groupTable) + " g";
    std::string list = "k";
    for (std::size_t i = 0; i < values.size(); ++i) list += ", v" + std::to_string(i);
    store_.ExecuteCount("INSERT INTO " + store::QuoteName(groups) + " SELECT " + list + " FROM (" +
                        inner + ") WHERE match_rank = 1");
    store_.EnsureLookupIndex(groups, kGroup);
    store_.EnsureLookupIndex(*items, itemId);
    MakeRoom(2);
    const Column left = *FindColumn(leftKey);
    const bool uniqueItems =
        store_
            .QueryValue("SELECT 1 FROM " + store::QuoteName(*items) + " GROUP BY " +
                        store::QuoteName(itemId) + " HAVING count(*) > 1 LIMIT 1")
            .isNull();
    if (uniqueItems) {
        // An item matches one plant item and that one group at most: two joins that add no rows.
        const std::string item = "s" + std::to_string(order_.size()), group = item + "g";
        from_ += " LEFT JOIN " + store::QuoteName(*items) + " AS " + item + " ON " + left.alias +
                 "." + store::QuoteName(left.source) + "=" + item + "." + store::QuoteName(itemId) +
                 " LEFT JOIN " + store::QuoteName(groups) + " AS " + group + " ON " + item + "." +
                 store::QuoteName(itemGroup) + "=" + group + "." + store::QuoteName(kGroup);
        // Keeps the aliases apart: the next join takes the next number.
        order_.push_back(item + "._rowid_");
        for (const auto& [source, name] : columns)
            columns_.push_back({name, group, groups, source});
        return;
    }
    // Several plant items of one id: the last of them, with its group, as one row per id.
    static constexpr std::string_view kItem = "PlantGroupItem_SP_ID";
    if (HasColumn(kItem)) return;
    store::ColumnType itemType = store_.TypeOf(*items, itemId);
    itemType.counter = false;
    std::vector<store::ColumnDef> byItem = defs;
    byItem.front() = {std::string(kItem), itemType};
    const std::string perItem = Next();
    store_.CreateTable(perItem, byItem);
    used_.push_back(perItem);
    inner = "SELECT pi." + store::QuoteName(itemId) + " AS k";
    list = "k";
    for (std::size_t i = 0; i < columns.size(); ++i) {
        inner += ", g." + store::QuoteName(columns[i].first) + " AS v" + std::to_string(i);
        list += ", v" + std::to_string(i);
    }
    inner += ", row_number() OVER (PARTITION BY pi." + store::QuoteName(itemId) +
             " ORDER BY pi._rowid_ DESC) AS match_rank FROM " + store::QuoteName(*items) + " pi, " +
             store::QuoteName(groups) + " g WHERE pi." + store::QuoteName(itemGroup) + "=g." +
             store::QuoteName(kGroup);
    store_.ExecuteCount("INSERT INTO " + store::QuoteName(perItem) + " SELECT " + list + " FROM (" +
                        inner + ") WHERE match_rank = 1");
    JoinStep(perItem, leftKey, kItem, "LEFT", false);
}

void TableGrower::DropColumn(std::string_view column) {
    std::erase_if(columns_, [&](const Column& c) { return IEquals(c.name, column); });
    narrowed_ = true;
}

void TableGrower::Finish() {
    Current();
    // Kept until now: a step may run the pending joins before it joins the table it just made.
    DropUsed();
    if (!IEquals(current_, target_)) {
        if (store_.TableExists(target_)) store_.DropTable(target_);
        store_.RenameTable(current_, target_);
    }
    Reset(target_, true);
}

}  // namespace tb::extraction
