#pragma once
// Small helpers for the store tests: a result rendered as one text, errors rendered likewise.

#include <functional>
#include <string>

#include "common/error.h"
#include "store/store.h"

namespace tb::store::test {

// Rows as "a|b;c|d", Null as "<null>".
inline std::string Render(const Store& store, const std::string& sql) {
    std::string out;
    for (const Row& row : store.QueryRows(sql)) {
        if (!out.empty()) out += ';';
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (i) out += '|';
            out += row[i].isNull() ? "<null>" : row[i].ToText();
        }
    }
    return out;
}

// Runs `act`; "ok" or "error: <description>".
inline std::string Outcome(const std::function<void()>& act) {
    try {
        act();
        return "ok";
    } catch (const Error& e) {
        return "error: " + e.description();
    }
}

inline void Fill(Store& store, const std::string& table, const std::string& values) {
    store.Execute("INSERT INTO " + table + " VALUES " + values);
}

}  // namespace tb::store::test
