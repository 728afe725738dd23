#include "plantaccess/ado.h"

#include <chrono>
#include <map>
#include <system_error>
#include <thread>

#include "common/error.h"
#include "common/ini.h"
#include "common/log.h"
#include "common/text.h"
#include "plantaccess/connect_string.h"
#include "plantaccess/odbc.h"
#include "plantaccess/session.h"
#include "plantaccess/sqlite_plant.h"
#include "plantaccess/store_connection.h"
#include "platform/platform.h"
#include "shell/program_settings.h"
#include "shell/settings.h"

namespace tb::plantaccess {

namespace fs = std::filesystem;

namespace {

ConnectionOpener& Opener() {
    static ConnectionOpener opener;
    return opener;
}

struct MdbStores {
    std::map<std::string, std::shared_ptr<store::Store>> byPath;
    MdbStoreLoader loader;
    MdbStoreCreator creator;
};

MdbStores& Stores() {
    static MdbStores stores;
    return stores;
}

std::string PathKey(const fs::path& path) {
    std::error_code ec;
    fs::path p = fs::weakly_canonical(fs::absolute(path, ec), ec);
    if (ec) p = fs::absolute(path).lexically_normal();
    return p.string();
}

std::shared_ptr<store::Store> DefaultCreator(const fs::path& path) {
    static int counter = 0;
    fs::path folder = shell::SessionTempFolder();
    if (folder.empty()) folder = shell::TempFolderInit();
    const fs::path file =
        folder / (path.stem().string() + "-" + std::to_string(++counter) + ".store");
    return std::make_shared<store::Store>(store::Store::Create(file));
}

std::shared_ptr<store::Store> StoreForMdb(const fs::path& path) {
    if (auto found = FindMdbStore(path)) return found;
    std::error_code ec;
    const bool exists = fs::is_regular_file(path, ec);
    if (!exists) throw Error(kErrDatabase, "Could not find file '" + path.string() + "'.");
    if (!Stores().loader)
        throw Error(kErrDatabase,
                    "The Access file '" + path.string() +
                        "' cannot be opened: no reader of Access files is installed.");
    auto loaded = Stores().loader(path);
    RegisterMdbStore(path, loaded);
    return loaded;
}

ConnectionPtr OpenAccess(const std::string& connectString, const ConnectParts& parts) {
    return StoreConnection::Open(connectString, StoreForMdb(parts.server));
}

ConnectionPtr Resolve(const ConnectionPtr& connection) {
    const ConnectionPtr& c = connection ? connection : SessionConnection();
    if (!c || !c->IsOpen())
        throw Error(kErrNoConnection,
                    "The connection cannot be used to perform this operation. It "
                    "is either closed or invalid in this context.");
    return c;
}

}  // namespace

void SetConnectionOpenerForTests(ConnectionOpener opener) {
    Opener() = std::move(opener);
}

ConnectionPtr OpenConnection(const std::string& connectString) {
    if (Opener()) return Opener()(connectString);
    const ConnectParts parts = ParseConnectString(connectString);
    switch (parts.target) {
        case ConnectTarget::Sqlite:
            return SqlitePlantConnection::Open(connectString, parts.server, parts.user);
        case ConnectTarget::Access:
            return OpenAccess(connectString, parts);
        case ConnectTarget::Oracle:
        case ConnectTarget::OracleFallback:
        case ConnectTarget::SqlServer:
        case ConnectTarget::SqlServerFallback:
        case ConnectTarget::Odbc:
            return OdbcConnection::Open(
                connectString, OdbcConnectString(parts, ReadOdbcTemplates()), parts.password);
        case ConnectTarget::Unknown:
            break;
    }
    throw Error(kErrNoProvider, "Provider cannot be found. It may not be properly installed.");
}

std::unique_ptr<Recordset> AdoRead(std::string_view sql, const ConnectionPtr& connection, int, bool,
                                   int) {
    std::unique_ptr<Recordset> rs;
    try {
        const ConnectionPtr c = Resolve(connection);
        auto cursor = c->Query(sql);
        rs = Recordset::Read(*cursor);
        SetSessionLastSql(std::string(sql));
        return rs;
    } catch (...) {
        LogLine(sql);
        CloseAdoRecordset(rs, false);
        SetSessionLastSql(std::string(sql));
        RethrowChained("AdoRead");
    }
}

std::unique_ptr<Recordset> AdoWrite(std::string_view sql, const ConnectionPtr& connection,
                                    std::int64_t* recordsAffected, bool raiseOnError, bool silent) {
    try {
        const ConnectionPtr c = Resolve(connection);
        std::int64_t affected = -1;
        auto cursor = c->Run(sql, {}, &affected);
        if (recordsAffected) *recordsAffected = affected;
        if (cursor) return Recordset::Read(*cursor);
        return nullptr;
    } catch (...) {
        LogLine(sql);
        try {
            RethrowChained("AdoWrite");
        } catch (const Error& e) {
            if (raiseOnError || e.number() == kErrCancelled) throw;  // a cancel is never swallowed
            if (!silent) LogLine(e.source() + ":" + e.description());
        }
        return nullptr;
    }
}

void MDBWrite(std::string_view sql, const ConnectionPtr& connection,
              std::int64_t* recordsAffected) {
    Trap("MDBWrite", [&] {
        if (!connection || !connection->IsOpen())
            throw Error(kErrNoConnection,
                        "The connection cannot be used to perform this operation. "
                        "It is either closed or invalid in this context.");
        std::int64_t affected = -1;
        connection->Run(sql, {}, &affected);
        if (recordsAffected) *recordsAffected = affected;
    });
}

bool TestConnection(const std::string& connectString) {
    try {
        ConnectionPtr c = OpenConnection(connectString);
        c->Close();
        return true;
    } catch (...) {
        return false;
    }
}

fs::path LockFileOf(std::string_view connectString) {
    constexpr std::string_view kKey = "data source=";
    const std::string lower = ToLowerAscii(connectString);
    const auto at = lower.find(kKey);
    if (at == std::string::npos) return {};
    const std::size_t start = at + kKey.size();
    const auto end = connectString.find(';', start);
    const std::string_view file = connectString.substr(
        start, end == std::string_view::npos ? std::string_view::npos : end - start);
    if (file.empty()) return {};
    const fs::path p(file);
    return p.parent_path() / (p.stem().string() + ".ldb");
}

void CloseAdoConnection(ConnectionPtr& connection, bool waitForLockFile) {
    std::string connectString;
    try {
        if (connection) {
            connectString = connection->connectString();
            if (connection->IsOpen()) connection->Close();
        }
    } catch (...) {
    }
    connection.reset();
    if (!waitForLockFile) return;
    const fs::path lock = LockFileOf(connectString);
    if (lock.empty()) return;
    std::error_code ec;
    for (int waited = 0; fs::exists(lock, ec) && waited < 60000; waited += 100) {
        DoEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

void CloseAdoRecordset(std::unique_ptr<Recordset>& recordset, bool createNew) {
    if (recordset && recordset->State() == 1) recordset->Close();
    recordset.reset();
    if (createNew) recordset = std::make_unique<Recordset>();
}

ConnectionPtr Connect2MDB(const fs::path& path, std::string_view password) {
    return Trap("Connect2MDB", [&]() -> ConnectionPtr {
        const bool useAce = shell::ProgramFlag("ACE");
        const std::string cs =
            AccessConnectString(useAce ? kAceProvider : kJetProvider, path.string(), password);
        return StoreConnection::Open(cs, StoreForMdb(path));
    });
}

int AccessEngineTypeFromRegistry() {
    const IniDocument registry = IniDocument::Load(platform::RegistryFile());
    for (int n = 5; n <= 11; ++n) {
        const std::string key =
            "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Office\\" + std::to_string(n) + ".0\\Access";
        if (registry.HasSection(key)) return n < 9 ? 4 : 5;
    }
    return 5;
}

bool CreateAccessDatabase(const fs::path& path, int engineType, std::string_view, bool verbose) {
    const int engine = engineType == 0 ? AccessEngineTypeFromRegistry() : engineType;
    if (verbose) LogLine("Creating new Access database: '" + path.string() + "'...");
    try {
        auto made = Stores().creator ? Stores().creator(path) : DefaultCreator(path);
        if (!made) throw Error(kErrDatabase, "No store was made for '" + path.string() + "'.");
        RegisterMdbStore(path, std::move(made));
        if (verbose)
            LogLine(std::string("Access ") + (engine == 5 ? "2000" : "97") +
                    " database created successfully");
        return true;
    } catch (const std::exception& e) {
        if (verbose) LogLine(std::string("Creating Access database failed: ") + e.what());
        return false;
    }
}

bool CompactDatabase(const fs::path& path, int, bool verbose) {
    const std::string line = "Compacting database '" + path.string() + "'...";
    if (verbose)
        ShowStatus(line);
    else
        LogLine(line);
    try {
        const auto s = FindMdbStore(path);
        if (!s) throw Error(kErrDatabase, "Could not find file '" + path.string() + "'.");
        s->Execute("VACUUM");
        LogLine("Database compacted successfully");
        return true;
    } catch (const std::exception& e) {
        LogLine(std::string("Compacting database failed: ") + e.what());
        return false;
    }
}

void RegisterMdbStore(const fs::path& path, std::shared_ptr<store::Store> s) {
    Stores().byPath[PathKey(path)] = std::move(s);
}

std::shared_ptr<store::Store> FindMdbStore(const fs::path& path) {
    const auto it = Stores().byPath.find(PathKey(path));
    return it == Stores().byPath.end() ? nullptr : it->second;
}

void ForgetMdbStore(const fs::path& path) {
    Stores().byPath.erase(PathKey(path));
}
void ForgetAllMdbStores() {
    Stores().byPath.clear();
}
void SetMdbStoreLoader(MdbStoreLoader loader) {
    Stores().loader = std::move(loader);
}
void SetMdbStoreCreator(MdbStoreCreator creator) {
    Stores().creator = std::move(creator);
}

}  // namespace tb::plantaccess
