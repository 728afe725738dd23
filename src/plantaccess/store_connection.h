#pragma once
// A connection on the store that stands for an Access file (the extract, a kept extract, a plant
// copy). Statements are the store's SQLite texts; result fields take their ADO types from the
// store's catalogue where a column comes straight from a table.

#include <memory>
#include <string>

#include "plantaccess/connection.h"
#include "store/store.h"

namespace tb::plantaccess {

class StoreConnection : public Connection {
  public:
    static std::shared_ptr<StoreConnection> Open(std::string connectString,
                                                 std::shared_ptr<store::Store> store);

    ConnectionKind kind() const override { return ConnectionKind::Store; }
    bool IsOpen() const override { return store_ != nullptr; }
    // Lets go of the store; the store itself lives on while others hold it.
    void Close() override { store_.reset(); }
    std::unique_ptr<RowCursor> Run(std::string_view sql, const store::Row& params = {},
                                   std::int64_t* recordsAffected = nullptr) override;

    // Raises when closed.
    store::Store& store() const;
    const std::shared_ptr<store::Store>& storePtr() const { return store_; }

  private:
    StoreConnection(std::string connectString, std::shared_ptr<store::Store> store)
        : Connection(std::move(connectString)), store_(std::move(store)) {}

    std::shared_ptr<store::Store> store_;
};

// The ADO type of a catalogue type, and its defined size (characters of a Text column).
FieldInfo FieldFromColumnType(std::string name, const store::ColumnType& type);

}  // namespace tb::plantaccess
