#pragma once
// The database sessions: the one door through which the system reads and writes databases, under
// the names and error contracts the system has always used. Behind them stand ODBC (Oracle, SQL
// Server), the SQLite plant files, and the store that stands for an Access file.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "plantaccess/connection.h"
#include "plantaccess/recordset.h"
#include "store/store.h"

namespace tb::plantaccess {

// ADO's error for a statement run without a usable connection.
inline constexpr long kErrNoConnection = 3709;
inline constexpr long kErrNoProvider = 3706;

// Opens a connection from a string in any form the resolution builds (see connect_string.h).
// Raises the engine's error; the message never holds the password.
ConnectionPtr OpenConnection(const std::string& connectString);
// Tests stand in for database servers that cannot run here: while an opener is set, every
// connection string goes to it instead. nullptr removes it.
using ConnectionOpener = std::function<ConnectionPtr(const std::string& connectString)>;
void SetConnectionOpenerForTests(ConnectionOpener opener);

// Runs `sql` and returns every row as a disconnected recordset. An empty connection means the
// session connection. The lock and cursor arguments are kept for the callers' sake: every read is
// client-side, static and disconnected. On failure the statement is logged on a line of its own
// and the error is raised with "AdoRead" in its source; SessionLastSql holds `sql` either way.
std::unique_ptr<Recordset> AdoRead(std::string_view sql, const ConnectionPtr& connection = nullptr,
                                   int lockType = 3, bool disconnect = true, int cursorType = 3);

// Runs `sql` for its effect, on `connection` or the session connection; returns the rows of a
// statement that yields some, else nullptr. A failed statement is always logged; then:
// raiseOnError: raised; else unless silent: "<source>:<description>" logged; nullptr returned.
std::unique_ptr<Recordset> AdoWrite(std::string_view sql, const ConnectionPtr& connection = nullptr,
                                    std::int64_t* recordsAffected = nullptr,
                                    bool raiseOnError = true, bool silent = false);

// The same on a connection that must be given; errors go to the caller, nothing is logged.
void MDBWrite(std::string_view sql, const ConnectionPtr& connection,
              std::int64_t* recordsAffected = nullptr);

// True when a connection with the string opens; it is closed again. Never raises.
bool TestConnection(const std::string& connectString);

// Closes and releases. With the wait, polls (100 ms steps, pumping events, at most 60 s) while the
// lock file of the string's "data source=" part exists. Never raises.
void CloseAdoConnection(ConnectionPtr& connection, bool waitForLockFile = false);
// Closes and releases; with createNew a fresh (closed) recordset takes its place. Never raises.
void CloseAdoRecordset(std::unique_ptr<Recordset>& recordset, bool createNew = false);

// The lock file of an Access connection string: folder + base name + ".ldb" of the text behind
// "data source=" (found ignoring case, cut with its case kept) up to the next ";"; empty when the
// string has none.
std::filesystem::path LockFileOf(std::string_view connectString);

// --- The stores that stand for Access files ---

// Opens the Access file at `path`: the store registered for it, else one the loader makes (and
// registers). The connection string is the Jet form ("Microsoft.ACE.OLEDB.12.0" when the program
// ini's "ACE" switch is 1). Raises with "Connect2MDB" in the source.
ConnectionPtr Connect2MDB(const std::filesystem::path& path, std::string_view password = {});

// Makes an empty store for the Access file at `path`, replacing any registered one. Engine 0 picks
// 4 or 5 from the registry's Office keys (5 when none). Logs as the system always has when
// verbose; tells false on failure, never raises.
bool CreateAccessDatabase(const std::filesystem::path& path, int engineType = 0,
                          std::string_view password = {}, bool verbose = true);

// Compacts the store registered for `path` (VACUUM). Logs "Compacting database '<path>'..." (also
// as status when verbose), then the outcome; tells false on failure, never raises.
bool CompactDatabase(const std::filesystem::path& path, int engineType = 0, bool verbose = false);

void RegisterMdbStore(const std::filesystem::path& path, std::shared_ptr<store::Store> store);
std::shared_ptr<store::Store> FindMdbStore(const std::filesystem::path& path);
void ForgetMdbStore(const std::filesystem::path& path);
void ForgetAllMdbStores();

// Loads an existing Access file into a store (the extract-file library installs its reader).
using MdbStoreLoader =
    std::function<std::shared_ptr<store::Store>(const std::filesystem::path& path)>;
void SetMdbStoreLoader(MdbStoreLoader loader);
// Makes the store for a new Access file; by default a store file in the session's temporary
// folder.
using MdbStoreCreator =
    std::function<std::shared_ptr<store::Store>(const std::filesystem::path& path)>;
void SetMdbStoreCreator(MdbStoreCreator creator);

// The Jet engine type CreateAccessDatabase picks for engine 0.
int AccessEngineTypeFromRegistry();

}  // namespace tb::plantaccess
