// Indexes the store makes for its own joins: without them SQLite compares every pair of rows
// where it cannot build an automatic index (a RIGHT join, an update over a join of three tables).

#include <atomic>

#include "common/error.h"
#include "common/text.h"
#include "store/sqlite.h"
#include "store/store.h"

namespace tb::store {

void Store::EnsureLookupIndex(std::string_view table, std::string_view column) {
    Trap("EnsureLookupIndex", [&] {
        const std::string t = RequireTable(table, {});
        const std::string c = RequireColumn(t, column, {});
        for (const Row& r : QueryRows("SELECT ii.name FROM pragma_index_list(?1) AS il, "
                                      "pragma_index_info(il.name) AS ii WHERE ii.seqno = 0",
                                      {t}))
            if (IEquals(r[0].text(), c)) return;
        // Index names are global in SQLite and survive a rename of their table: take a free one.
        static std::atomic<std::uint64_t> sequence{0};
        std::string name;
        do {
            name = std::string(kInternalPrefix) + "lookup" + std::to_string(++sequence);
        } while (!QueryValue("SELECT 1 FROM sqlite_master WHERE name = ?1", {name}).isNull());
        Execute("CREATE INDEX " + QuoteName(name) + " ON " + QuoteName(t) + "(" + QuoteName(c) +
                ")");
    });
}

}  // namespace tb::store
