#pragma once
// SQLite tells the origin of a result column (sqlite3_column_table_name and friends) for one
// branch of a UNION only: the first at the top level, the last inside a subquery. To learn the
// type of every branch, the statement is rewritten so that each branch in turn is the one SQLite
// reports; these texts are only prepared, never run.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tb::store {

// The statement once for every combination of branches of its compound selects (UNION [ALL],
// INTERSECT, EXCEPT). A compound at the top level is cut to the chosen branch; a compound in
// parentheses becomes "<first branch> UNION ALL <chosen branch>", which keeps the first branch's
// column names for the outer query. A trailing ORDER BY or LIMIT of a compound is dropped.
// Empty when there is no compound; nothing when there would be more than `cap` variants.
std::optional<std::vector<std::string>> CompoundVariants(std::string_view sql,
                                                         std::size_t cap = 64);

}  // namespace tb::store
