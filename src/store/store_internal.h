#pragma once
// Shared between the store's source files; not part of its interface.

#include <string>
#include <string_view>

#include "common/error.h"
#include "store/store.h"

namespace tb::store {

// The rowid under the name least likely to be a column of a plant table.
inline constexpr std::string_view kRowid = "_rowid_";

bool IsInternalName(std::string_view name);
// Removes catalogue rows of a table that is gone (or never was).
void ForgetTable(const Store& store, std::string_view table);

inline void CheckColumnCount(std::string_view table, std::size_t count) {
    if (count > static_cast<std::size_t>(kMaxColumns))
        Raise("Table '" + std::string(table) + "' would have " + std::to_string(count) +
              " columns; Access allows at most " + std::to_string(kMaxColumns) + ".");
}

}  // namespace tb::store
