#include "attributes/empty_attributes.h"

#include "attributes/categories.h"
#include "attributes/logged_trap.h"
#include "attributes/plant_dictionary.h"
#include "common/text.h"
#include "plantaccess/ado.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"

namespace tb::attributes {

using namespace plantaccess;

namespace {

// The plant copy is a store, which reads SQLite text.
std::string_view LimitOf(Dialect dialect) {
    return dialect == Dialect::AccessCopy ? std::string_view(" LIMIT 1") : LimitOne(dialect);
}

constexpr int kProcessCaseClass = 24;
constexpr int kControlCaseClass = 34;
constexpr int kControlCaseType = 5;

}  // namespace

std::string EmptyColumnProbeSql(Dialect dialect, std::string_view prefix, std::string_view table,
                                std::string_view column) {
    return "select " + std::string(TopOne(dialect)) + "1 from " + std::string(prefix) +
           std::string(table) + " where not " + SqlName(dialect, column) + " is null" +
           RowNumBelow2(dialect, "and") + std::string(LimitOf(dialect));
}

std::string EmptyCaseProbeSql(Dialect dialect, std::string_view prefix, int caseType, int quality,
                              std::string_view column) {
    const bool control = caseType == kControlCaseType;
    const std::string p(prefix);
    const std::string a = p + (control ? "T_CaseControl" : "T_CaseProcess");
    const std::string b = p + "t_case";
    std::string sql = "select " + std::string(TopOne(dialect)) + "1 from " + a + ", " + b +
                      " where " + a + ".SP_CASEID=" + b + ".SP_ID AND " + b + ".CASECLASS=" +
                      std::to_string(control ? kControlCaseClass : kProcessCaseClass) +
                      " AND not " + a + "." + SqlName(dialect, column) + " is null" +
                      RowNumBelow2(dialect, "AND");
    if (!control) sql += " AND " + a + ".quality=" + std::to_string(quality);
    sql += " AND " + b + ".CASETYPE=" + std::to_string(caseType);
    return sql + std::string(LimitOf(dialect));
}

EmptyAttributeCheck::EmptyAttributeCheck() = default;

EmptyAttributeCheck::EmptyAttributeCheck(ConnectionPtr connection, Dialect dialect,
                                         std::string prefix)
    : connection_(std::move(connection)), dialect_(dialect), prefix_(std::move(prefix)) {}

EmptyAttributeCheck::~EmptyAttributeCheck() {
    Close();
}

void EmptyAttributeCheck::Open() {
    if (connection_) return;
    PlantConnection plant = Connect2PIDDB(kPlantSchema);
    connection_ = std::move(plant.connection);
    prefix_ = std::move(plant.prefix);
    dialect_ = CurrentDialect();
    // While a plant copy stands in, the connection is the session's and stays open.
    ownsConnection_ = connection_ != SessionConnection();
}

void EmptyAttributeCheck::Close() {
    if (connection_ && ownsConnection_) CloseAdoConnection(connection_);
    connection_.reset();
    ownsConnection_ = false;
}

void EmptyAttributeCheck::CheckEmptyAttributes(std::string_view table,
                                               const std::vector<std::string>& columns) {
    LoggedTrap("CheckEmptyAttributes", [&] {
        const std::string key = ToLowerAscii(table);
        if (emptyColumnCache_.count(key)) return;
        Open();
        const std::string upper = ToUpperAscii(table);
        std::vector<std::string> probed;
        if (upper == "T_CASEPROCESS" || upper == "T_CASE")
            probed = columns;
        else if (lister_)
            probed = lister_(table);
        else
            probed = ReadColumnNames(connection_, StructureSql(prefix_, table));
        std::string empty;
        for (const auto& column : probed) {
            if (IEquals(column, "SP_ID")) continue;
            auto rs = AdoRead(EmptyColumnProbeSql(dialect_, prefix_, table, column), connection_, 3,
                              true, 3);
            if (rs->RecordCount() == 0) empty += ToLowerAscii(column) + ",";
            CloseAdoRecordset(rs);
        }
        emptyColumnCache_[key] = empty.empty() ? std::string() : "," + empty;
    });
}

std::vector<std::string> EmptyAttributeCheck::IgnoreEmptyColumns(
    std::string_view table, const std::vector<std::string>& columns) {
    CheckEmptyAttributes(table, columns);
    std::string list;
    GetItem(ToLowerAscii(table), list);
    if (TrimBlanks(list).empty()) return columns;
    std::vector<std::string> kept;
    for (const auto& column : columns)
        if (list.find("," + ToLowerAscii(column) + ",") == std::string::npos)
            kept.push_back(column);
    return kept;
}

bool EmptyAttributeCheck::IsCaseProcessAttributeEmpty(std::string_view name) {
    return LoggedTrap("IsCaseProcessAttributeEmpty", [&] {
        std::string_view part = name;
        if (const auto dot = part.find('.'); dot != std::string_view::npos)
            part = part.substr(dot + 1);
        const auto decoded = ParseCaseProcessKey(part);
        if (!decoded || decoded->column.empty()) return false;
        const std::string key = std::to_string(decoded->caseType) + "." +
                                std::to_string(decoded->quality) + "." +
                                ToLowerAscii(decoded->column);
        if (const auto it = caseCache_.find(key); it != caseCache_.end()) return it->second;
        Open();
        auto rs = AdoRead(EmptyCaseProbeSql(dialect_, prefix_, decoded->caseType, decoded->quality,
                                            decoded->column),
                          connection_, 3, true, 3);
        const bool empty = rs->RecordCount() == 0;
        CloseAdoRecordset(rs);
        caseCache_[key] = empty;
        return empty;
    });
}

bool EmptyAttributeCheck::GetItem(std::string_view key, std::string& result) const {
    const auto it = emptyColumnCache_.find(std::string(key));
    if (it == emptyColumnCache_.end()) return false;
    result = it->second;
    return true;
}

}  // namespace tb::attributes
