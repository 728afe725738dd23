#pragma once
// The embedded sample plant: one SQLite file per schema, "<folder>/<schema user>.db". A plant
// connection opens its schema file read-only as "main" and once more under the schema user's
// name, so that both "T_DB_DATA" and the Oracle form "UID.T_DB_DATA" resolve. Files are never
// created or written: a missing one is an error that names it.

#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "plantaccess/connection.h"
#include "store/sqlite.h"

namespace tb::plantaccess {

// The schema file of a user in a folder; a file whose name differs only in case counts.
std::filesystem::path PlantSchemaFile(const std::filesystem::path& folder,
                                      std::string_view schemaUser);
// "file:<path>?mode=ro" with the characters a URI path cannot hold escaped.
std::string ReadOnlyUri(const std::filesystem::path& file);

// A RowCursor over a prepared SQLite statement; cells are read in place. Shared by the plant and
// the store connections.
class SqliteCursor : public RowCursor {
  public:
    // `owner` is kept alive as long as the cursor. The first step has not been made.
    SqliteCursor(std::shared_ptr<Connection> owner, store::Statement statement);
    const std::vector<FieldInfo>& Fields() const override { return fields_; }
    bool Next() override;
    Cell Get(int column) const override;
    sqlite3_stmt* statement() const { return statement_.get(); }

  protected:
    std::vector<FieldInfo> fields_;

  private:
    std::shared_ptr<Connection> owner_;
    store::Statement statement_;
    bool done_ = false;
};

// Prepares exactly one statement (a second one in the text is an error) and binds `params`.
store::Statement PrepareOne(sqlite3* db, std::string_view sql, const store::Row& params);

class SqlitePlantConnection : public Connection {
  public:
    static std::shared_ptr<SqlitePlantConnection> Open(std::string connectString,
                                                       const std::filesystem::path& folder,
                                                       const std::string& schemaUser);
    ~SqlitePlantConnection() override;

    ConnectionKind kind() const override { return ConnectionKind::SqlitePlant; }
    bool IsOpen() const override { return db_ != nullptr; }
    void Close() override;
    std::unique_ptr<RowCursor> Run(std::string_view sql, const store::Row& params = {},
                                   std::int64_t* recordsAffected = nullptr) override;

    sqlite3* handle() const { return db_; }
    const std::filesystem::path& file() const { return file_; }
    const std::string& schemaUser() const { return schemaUser_; }

    // A second connection to the same schema that can have a store attached for writing: the
    // plant file stays read-only (mode=ro), only the attached store can change. Used by the bulk
    // transfer.
    store::Connection OpenWritableTwin() const;

  private:
    SqlitePlantConnection(std::string connectString, std::filesystem::path file,
                          std::string schemaUser);
    void Setup(sqlite3* db) const;

    sqlite3* db_ = nullptr;
    std::filesystem::path file_;
    std::string schemaUser_;
};

}  // namespace tb::plantaccess
