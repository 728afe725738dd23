#pragma once
// Empty attribute suppression: with "Do not display attributes without a value" ticked, the
// catalogue leaves out every attribute that has no value anywhere in the plant. One quick
// existence probe per column (the database stops at the first filled row), its answers cached
// per table for as long as the check lives.

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "plantaccess/connection.h"
#include "plantaccess/dialect.h"

namespace tb::attributes {

// "select 1 from <prefix><table> where not <column> is null", with " TOP 1 " behind SELECT on SQL
// Server, " and ROWNUM <2" at the end on Oracle, " LIMIT 1" at the end on the SQLite plant and on
// a plant copy (a store). A column that is no plain name is quoted (plantaccess::SqlName); give
// it as the plant's catalogue spells it.
std::string EmptyColumnProbeSql(plantaccess::Dialect dialect, std::string_view prefix,
                                std::string_view table, std::string_view column);
// The probe of a case attribute: T_CaseProcess (class 24, with its quality) or, for case type 5,
// T_CaseControl (class 34, without quality), joined to t_case by SP_CASEID.
std::string EmptyCaseProbeSql(plantaccess::Dialect dialect, std::string_view prefix, int caseType,
                              int quality, std::string_view column);

class EmptyAttributeCheck {
  public:
    // The table's columns to probe; the default reads them from the plant table.
    using ColumnLister = std::function<std::vector<std::string>(std::string_view table)>;

    // Opens the plant data schema on first use (Connect2PIDDB, schema kind 0), with its prefix
    // and the session's dialect.
    EmptyAttributeCheck();
    // Probes through a connection the caller opened.
    EmptyAttributeCheck(plantaccess::ConnectionPtr connection, plantaccess::Dialect dialect,
                        std::string prefix);
    ~EmptyAttributeCheck();
    EmptyAttributeCheck(const EmptyAttributeCheck&) = delete;
    EmptyAttributeCheck& operator=(const EmptyAttributeCheck&) = delete;

    void SetColumnLister(ColumnLister lister) { lister_ = std::move(lister); }

    // Probes every column of `table` but SP_ID, once: the plant table's own columns, or for
    // T_CaseProcess and T_Case the columns given. A failing probe is logged under
    // "CheckEmptyAttributes" and raised, and nothing is cached for the table.
    void CheckEmptyAttributes(std::string_view table, const std::vector<std::string>& columns);
    // `columns` without the empty columns of `table`, in their order.
    std::vector<std::string> IgnoreEmptyColumns(std::string_view table,
                                                const std::vector<std::string>& columns);
    // True when a case attribute ("T_CaseProcess.ProcessDesign_Max_Pressure_Piperun",
    // "T_CaseControl.ControlCase_Max_SetPoint_Instrument", or the part behind the table) has no
    // value in the plant; cached. A key that does not decode as a case value (the case header
    // attributes of T_Case) is never empty.
    bool IsCaseProcessAttributeEmpty(std::string_view name);

    // The cache entry of a lower-cased table: ",col1,col2," or "" when it has no empty column.
    // False, with `result` left empty, when the table was not probed.
    bool GetItem(std::string_view key, std::string& result) const;

    // Lets go of the connection (a connection of the caller stays open).
    void Close();

  private:
    void Open();

    plantaccess::ConnectionPtr connection_;
    plantaccess::Dialect dialect_ = plantaccess::Dialect::SqlServer;
    std::string prefix_;
    bool ownsConnection_ = false;
    ColumnLister lister_;
    std::map<std::string, std::string> emptyColumnCache_;  // EmptyColumnCache
    std::map<std::string, bool> caseCache_;
};

}  // namespace tb::attributes
