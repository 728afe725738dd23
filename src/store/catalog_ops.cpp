#include "store/catalog_ops.h"

#include <algorithm>

#include "common/error.h"
#include "store/access_text.h"

namespace tb::store {

bool AdoTableExists(const Store& store, std::string_view table) {
    return Trap("AdoTableExists",
                [&] { return store.TableExists(table) || store.FindLink(table).has_value(); });
}

bool AdoColumnExists(const Store& store, std::string_view table, std::string_view column) {
    return Trap("AdoColumnExists", [&] { return store.ColumnExists(table, column); });
}

void AdoDeleteTable(Store& store, std::string_view table) {
    Trap("AdoDeleteTable", [&] {
        if (store.TableExists(table))
            store.DropTable(table);
        else
            store.DropLink(table);
    });
}

std::vector<std::string> AdoGetTableNames(const Store& store) {
    return Trap("AdoGetTableNames", [&] {
        std::vector<std::string> names = store.TableNames();
        for (const LinkDef& l : store.Links()) names.push_back(l.name);
        std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
            return CompareIgnoringCase(a, b) < 0;
        });
        return names;
    });
}

std::vector<std::string> AdoGetColumnNames(const Store& store, std::string_view table) {
    return Trap("AdoGetColumnNames", [&] {
        std::vector<std::string> names;
        if (!store.TableExists(table) && store.FindLink(table)) return names;
        for (const ColumnDef& c : store.Columns(table)) names.push_back(c.name);
        return names;
    });
}

void AdoRenameTable(Store& store, std::string_view oldName, std::string_view newName) {
    Trap("AdoRenameTable", [&] {
        if (store.TableExists(oldName))
            store.RenameTable(oldName, newName);
        else if (store.FindLink(oldName))
            store.RenameLink(oldName, newName);
    });
}

void MdbCreateLink(Store& store, std::string_view linkName, std::string_view remoteTable,
                   std::string_view remotePath, std::string_view password) {
    Trap("MdbCreateLink", [&] {
        store.CreateLink({std::string(linkName), std::string(remoteTable), std::string(remotePath),
                          std::string(password)});
    });
}

}  // namespace tb::store
