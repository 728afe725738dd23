#pragma once
// What the post-processors of the run share: scratch tables that are gone at the start of a step
// and on every way out of it, and the growing of a table by a chain of joins with added columns.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "extraction/attribute_keys.h"
#include "store/store.h"

namespace tb::extraction {

// Scratch tables of one step. Each is dropped when it is claimed (a crashed earlier run may have
// left it) and again when the guard goes, whatever way the step ends.
class ScratchTables {
  public:
    explicit ScratchTables(store::Store& store) : store_(store) {}
    ~ScratchTables();
    ScratchTables(const ScratchTables&) = delete;
    ScratchTables& operator=(const ScratchTables&) = delete;

    // Drops `table` if it is there and remembers it for the clean-up; returns the name.
    std::string Claim(std::string table);
    // Drops `table` now, when it is there.
    void Drop(std::string_view table);

  private:
    store::Store& store_;
    std::vector<std::string> names_;
};

// Leaves the step with "Cancelled." when the user asked for it; lets the window breathe first.
// The error names no routine: the trap of the routine that checks adds its name, once.
void CheckCancelled();

// Statements whose rows several chains join alike (the grouped "Others" columns of PID): each is
// run once into a table of its own, kept until the guard goes.
class SharedJoinSources {
  public:
    explicit SharedJoinSources(store::Store& store) : store_(store), scratch_(store) {}
    // The table holding the rows of `query`, made on first use.
    std::string TableFor(const std::string& query);

  private:
    store::Store& store_;
    ScratchTables scratch_;
    std::vector<std::pair<std::string, std::string>> tables_;  // query, table
};

// A table grown by left (or other) joins with the rows of added queries. The joins are not run one
// by one: they gather into one statement, run when the table is needed (Current, Finish), whose
// rows and column order are those of running each join into a table of its own in turn. Queries
// are run into scratch tables "temp<n>" (claimed from `scratch`). Each step reports "Add data from
// <source> to <target>...", and a cancel leaves at once.
class TableGrower {
  public:
    // The working tables are "temp" (first 0), then "temp<first + 1>", ... or "temp<first>", ...
    TableGrower(store::Store& store, ScratchTables& scratch, std::string target,
                std::string routine, int first = 0, SharedJoinSources* shared = nullptr);

    // The grown table as it stands, run into a working table if joins are pending.
    const std::string& Current();
    bool HasColumn(std::string_view column) const;
    store::Store& st() const { return store_; }
    // The first working table, from a statement or from a join of two tables.
    void Start(std::string_view select);
    // The table itself as the start, read where it stands: it must stay as it is until Finish.
    void StartTable(std::string_view table);
    void StartJoin(std::string_view kind, std::string_view left, std::string_view leftKey,
                   std::string_view right, std::string_view rightKey);
    // Joins the rows of `query` on current.leftKey = query.rightKey. Passed over (false) when the
    // query is empty or the current table lacks the left key. The right key stays only when
    // `keepRightKey`. With `shareable`, the rows come from the shared sources when there are any.
    bool Extend(std::string_view query, std::string_view leftKey, std::string_view rightKey,
                std::string_view kind, std::string_view source, bool keepRightKey = false,
                bool shareable = false);
    // The same with the rows of a table made beforehand, which must stay as it is until Finish.
    bool ExtendTable(std::string_view table, std::string_view leftKey, std::string_view rightKey,
                     std::string_view kind, std::string_view source, bool keepRightKey = false);
    // The case attributes of `category` on the item `leftKey` names; with `columnSuffix`, every
    // column they bring carries it (the two ends of an off-page connector).
    void Cases(const AttributeKeys& keys, std::string_view category, std::string_view leftKey,
               const std::string& columnSuffix = {});
    // The category's T_PlantGroup keys of one side (GetPlantGroupColumns4Side) as Text(100)
    // columns named by their alias, from the plant group of the plant item `leftKey` names (the
    // last match in table order). A key whose name the table already has is left out with a log
    // line.
    void PlantGroupColumns(const AttributeKeys& keys, std::string_view category,
                           std::string_view leftKey, std::string_view suffix, bool ownerSide);
    // Leaves a column out of the grown table.
    void DropColumn(std::string_view column);
    // Runs the table under the target name (an old table of that name goes first).
    void Finish();

  private:
    struct Column {
        std::string name;
        std::string alias;   // of the joined table it comes from
        std::string table;   // that table
        std::string source;  // the column of that table
    };
    std::string Next();
    void Reset(const std::string& base, bool owned);
    // Runs the pending joins first when `more` tables would pass SQLite's limit for one statement.
    void MakeRoom(int more);
    // Joins `right` (whose columns are `rightColumns`, each a source column and its name).
    void JoinStep(std::string_view right, std::string_view leftKey, std::string_view rightKey,
                  std::string_view kind, bool keepRightKey,
                  std::vector<std::pair<std::string, std::string>> rightColumns = {});
    const Column* FindColumn(std::string_view name) const;
    std::string Select() const;
    void DropUsed();

    store::Store& store_;
    ScratchTables& scratch_;
    SharedJoinSources* shared_;
    std::string target_;
    std::string routine_;
    std::string current_;             // the base table of the pending joins
    bool owned_ = false;              // the base is a working table of this grower
    bool narrowed_ = false;           // a column of the base is left out
    int tables_ = 1;                  // in the pending statement
    std::string from_;                // the base and its pending joins
    std::vector<std::string> order_;  // rowid of each joined table, in join order
    std::vector<Column> columns_;
    std::vector<std::string> used_;  // working tables the pending joins read
    int n_ = 0;
};

// One configured case attribute ("T_CaseProcess.<part>", "T_CaseControl.<part>", "T_Case.<part>"):
// the working case table it reads and the query of its columns.
struct CaseStep {
    std::string part;       // the key behind the table name
    std::string caseTable;  // the query yields "<caseTable>_SP_ID"
    std::string query;
};
// None when the key is no case key, its table is missing or the query is empty.
std::optional<CaseStep> CaseStepOfKey(const store::Store& store, const std::string& key);

// A statement that only names columns of one table, "SELECT [a] AS [b],[c] FROM [t]": the table
// and each column with its name in the result. None for any other statement.
struct Projection {
    std::string table;
    std::vector<std::pair<std::string, std::string>> columns;  // source, name
};
std::optional<Projection> ParseProjection(std::string_view sql);

// The store table's column names in table order (none when it is missing).
std::vector<std::string> TableColumns(const store::Store& store, std::string_view table);

}  // namespace tb::extraction
