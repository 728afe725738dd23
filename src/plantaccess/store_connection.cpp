#include "plantaccess/store_connection.h"

#include "common/error.h"
#include "plantaccess/sqlite_plant.h"

namespace tb::plantaccess {

namespace {

// Fields typed by the catalogue where SQLite tells the origin of a column.
class StoreCursor : public SqliteCursor {
  public:
    StoreCursor(std::shared_ptr<Connection> owner, store::Statement st, const store::Store& store)
        : SqliteCursor(std::move(owner), std::move(st)) {
        sqlite3_stmt* s = statement();
        for (std::size_t i = 0; i < fields_.size(); ++i) {
            const char* table = sqlite3_column_table_name(s, static_cast<int>(i));
            const char* column = sqlite3_column_origin_name(s, static_cast<int>(i));
            const char* database = sqlite3_column_database_name(s, static_cast<int>(i));
            if (!table || !column || (database && std::string_view(database) != "main")) continue;
            if (!store.TableExists(table)) continue;
            try {
                fields_[i] = FieldFromColumnType(fields_[i].name, store.TypeOf(table, column));
            } catch (const Error&) {
                // Not in the catalogue: the declaration stands.
            }
        }
    }
};

}  // namespace

FieldInfo FieldFromColumnType(std::string name, const store::ColumnType& type) {
    using store::JetType;
    FieldInfo f;
    f.name = std::move(name);
    switch (type.jet) {
        case JetType::Text:
            f.type = ado::kVarWChar, f.definedSize = type.width;
            break;
        case JetType::Memo:
            f.type = ado::kLongVarWChar;
            break;
        case JetType::Byte:
            f.type = ado::kUnsignedTinyInt;
            break;
        case JetType::Integer:
            f.type = ado::kSmallInt;
            break;
        case JetType::Long:
            f.type = ado::kInteger;
            break;
        case JetType::Single:
            f.type = ado::kSingle;
            break;
        case JetType::Double:
            f.type = ado::kDouble;
            break;
        case JetType::Currency:
            f.type = ado::kCurrency;
            break;
        case JetType::DateTime:
            f.type = ado::kDate;
            break;
        case JetType::Boolean:
            f.type = ado::kBoolean;
            break;
        case JetType::OLE:
            f.type = ado::kLongVarBinary;
            break;
        case JetType::Binary:
            f.type = ado::kVarBinary;
            break;
        case JetType::GUID:
            f.type = ado::kGUID;
            break;
        case JetType::Numeric:
            f.type = ado::kNumeric;
            break;
        default:
            f.type = ado::kVarWChar;
            break;
    }
    return f;
}

std::shared_ptr<StoreConnection> StoreConnection::Open(std::string connectString,
                                                       std::shared_ptr<store::Store> store) {
    if (!store) throw Error(kErrInternal, "No store to connect to.");
    return std::shared_ptr<StoreConnection>(
        new StoreConnection(std::move(connectString), std::move(store)));
}

store::Store& StoreConnection::store() const {
    if (!store_) throw Error(kErrDatabase, "The connection is closed.");
    return *store_;
}

std::unique_ptr<RowCursor> StoreConnection::Run(std::string_view sql, const store::Row& params,
                                                std::int64_t* recordsAffected) {
    store::Store& s = store();
    store::Statement st = PrepareOne(s.handle(), sql, params);
    if (sqlite3_column_count(st.get()) > 0)
        return std::make_unique<StoreCursor>(shared_from_this(), std::move(st), s);
    st.Run();
    if (recordsAffected) *recordsAffected = sqlite3_changes64(s.handle());
    return nullptr;
}

}  // namespace tb::plantaccess
