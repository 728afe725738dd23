#pragma once
// Store fixtures for the extraction tests: tables made from a compact description and results
// rendered as one text.

#include <string>
#include <vector>

#include "store/store.h"

namespace tb::extraction::test {

// Rows as "a|b;c|d", Null as "<null>".
inline std::string Render(const store::Store& store, const std::string& sql) {
    std::string out;
    for (const store::Row& row : store.QueryRows(sql)) {
        if (!out.empty()) out += ';';
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (i) out += '|';
            out += row[i].isNull() ? "<null>" : row[i].ToText();
        }
    }
    return out;
}

// The columns of a table as "name:Type,...".
inline std::string Shape(const store::Store& store, const std::string& table) {
    std::string out;
    for (const store::ColumnDef& c : store.Columns(table)) {
        if (!out.empty()) out += ',';
        out += c.name + ":" + c.type.Name();
    }
    return out;
}

// A table of text columns (a column "name:Long" or "name:Double" takes that type) with rows given
// as SQL value lists: "('a', 1), ('b', NULL)".
inline void MakeTable(store::Store& store, const std::string& name,
                      const std::vector<std::string>& columns, const std::string& rows = {}) {
    std::vector<store::ColumnDef> defs;
    for (const std::string& c : columns) {
        const auto colon = c.find(':');
        if (colon == std::string::npos) {
            defs.push_back({c, store::ColumnType::Text(255)});
        } else {
            defs.push_back({c.substr(0, colon), *store::ColumnType::FromName(c.substr(colon + 1))});
        }
    }
    store.CreateTable(name, defs);
    if (!rows.empty()) store.Execute("INSERT INTO [" + name + "] VALUES " + rows);
}

}  // namespace tb::extraction::test
