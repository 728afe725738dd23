// LoadMdbIntoStore and the template carry-in: the user tables of an .mdb, read through our
// reader, into new store tables with the matching catalogue types.

#include <system_error>

#include "common/error.h"
#include "common/log.h"
#include "common/text.h"
#include "mdb/mdb_reader.h"
#include "store/bulk.h"
#include "storefile/column_mapping.h"
#include "storefile/store_file.h"

namespace tb::storefile {

namespace {

// Fills a new table from the file; false when its counter column turned out to hold a value
// twice (the store's counter is the rowid), with the table left empty.
bool LoadRows(const mdb::MdbReader& reader, const mdb::TableDef& def,
              const std::vector<store::ColumnDef>& columns, store::Store& store) {
    store.CreateTable(def.name, columns);
    std::vector<std::string> names;
    bool counter = false;
    for (const store::ColumnDef& c : columns) {
        names.push_back(c.name);
        counter = counter || c.type.counter;
    }
    store::BulkInsert bulk(store, def.name, names);
    ProgressMeter meter("Loading table " + def.name, reader.DeclaredRowCount(def.name));
    mdb::TableCursor cursor = reader.Rows(def.name);
    mdb::Row row;
    while (cursor.Next(row)) {
        for (std::size_t i = 0; i < row.size(); ++i)
            bulk.SetValue(static_cast<int>(i), StoreValue(row[i], def.columns[i].type));
        try {
            bulk.Insert();
        } catch (const Error&) {
            if (counter && sqlite3_extended_errcode(store.handle()) == SQLITE_CONSTRAINT_PRIMARYKEY)
                return false;  // the bulk insert takes its rows back
            throw;
        }
        meter.Advance();
    }
    bulk.Commit();
    return true;
}

void LoadTable(const mdb::MdbReader& reader, const std::string& name, store::Store& store) {
    const mdb::TableDef def = reader.Table(name);
    std::vector<store::ColumnDef> columns;
    bool counter = false;
    for (const mdb::Column& c : def.columns) {
        store::ColumnType type = StoreType(c);
        // The store has one counter per table (its rowid); Jet has one auto-number too.
        if (type.counter && counter) type = store::ColumnType::Long();
        counter = counter || type.counter;
        columns.push_back({c.name, type});
    }
    if (LoadRows(reader, def, columns, store)) return;
    store.DropTable(def.name);
    for (store::ColumnDef& c : columns)
        if (c.type.counter) {
            LogLine("Table " + def.name + ": the auto-number column " + c.name +
                    " holds a value twice; it is loaded as a Long.");
            c.type = store::ColumnType::Long();
        }
    LoadRows(reader, def, columns, store);
}

}  // namespace

std::vector<std::string> LoadMdbIntoStore(const fs::path& file, store::Store& store,
                                          const TableFilter& filter) {
    return Trap("LoadMdbIntoStore", [&] {
        const mdb::MdbReader reader(file);  // raises naming the file when missing or unreadable
        std::vector<std::string> loaded;
        for (const std::string& name : reader.TableNames()) {
            if (filter && !filter(name)) continue;
            if (IStartsWith(name, store::kInternalPrefix)) {
                LogLine("Table " + name + " of " + file.string() +
                        " is not loaded: its name is reserved for the store's own tables.");
                continue;
            }
            ShowProgress("Loading " + name + "...");
            try {
                LoadTable(reader, name, store);
            } catch (const Error& e) {
                throw Error(e.number(),
                            "Table '" + name + "' of " + file.string() + ": " + e.description(),
                            e.source());
            }
            loaded.push_back(name);
        }
        return loaded;
    });
}

fs::path TemplateFile(const fs::path& applicationFolder) {
    return applicationFolder / "Templates" / "Template.mdb";
}

bool CarryInTemplate(const fs::path& applicationFolder, store::Store& store) {
    return Trap("CarryInTemplate", [&] {
        const fs::path file = TemplateFile(applicationFolder);
        std::error_code ec;
        if (!fs::is_regular_file(file, ec)) return false;
        LogLine("Taking the tables of the template " + file.string() + " into the extract.");
        LoadMdbIntoStore(file, store);
        return true;
    });
}

}  // namespace tb::storefile
