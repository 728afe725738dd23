#pragma once
// The catalogue operations of the database sessions, acting on the store that stands for the
// Access file. Names compare ignoring case; a linked table counts as a table, as in Jet's
// catalogue; internal tables are never seen.

#include <string>
#include <string_view>
#include <vector>

#include "store/store.h"

namespace tb::store {

bool AdoTableExists(const Store& store, std::string_view table);
// False when the table is missing. The columns of a link are not known here: false.
bool AdoColumnExists(const Store& store, std::string_view table, std::string_view column);
// Removes a table or a link; a missing one raises (as the catalogue's Delete does).
void AdoDeleteTable(Store& store, std::string_view table);
// Tables and links, sorted ignoring case.
std::vector<std::string> AdoGetTableNames(const Store& store);
// The columns in table order; a link gives none; a missing table raises.
std::vector<std::string> AdoGetColumnNames(const Store& store, std::string_view table);
// Renames the first table (or link) whose name matches `oldName` ignoring case. A missing table is
// no error: nothing is renamed. A rename that only changes the case works.
void AdoRenameTable(Store& store, std::string_view oldName, std::string_view newName);
// Records `linkName` as a link to `remoteTable` of the Access file `remotePath`, for the writer.
void MdbCreateLink(Store& store, std::string_view linkName, std::string_view remoteTable,
                   std::string_view remotePath, std::string_view password);

}  // namespace tb::store
