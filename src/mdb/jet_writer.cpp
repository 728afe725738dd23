#include "mdb/jet_writer.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <random>

#include "common/encoding.h"
#include "common/error.h"
#include "common/log.h"
#include "mdb/data_page.h"
#include "mdb/date_time.h"
#include "mdb/header_page.h"
#include "mdb/index_builder.h"
#include "mdb/jet_text.h"
#include "mdb/long_values.h"
#include "mdb/page_file.h"
#include "mdb/row_encoder.h"
#include "mdb/system_tables.h"
#include "mdb/table_definition.h"
#include "mdb/table_layout.h"
#include "mdb/usage_map.h"
#include "mdb/user_indexes.h"

namespace tb::mdb {

using namespace jet;

namespace {

// Usage-map rows of one holder page: 69 bytes and a 2-byte offset each.
constexpr std::size_t kMapRowsPerPage = (kPageSize - kDataHeaderSize) / (kMapRowSize + 2);
// Rows between progress lines when the source cannot say how many will come.
constexpr std::uint64_t kProgressEvery = 100000;

double SystemNow() {
    const std::time_t t = std::time(nullptr);
    std::tm tm{};
    ::localtime_r(&t, &tm);
    return MakeDateTime(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min,
                        tm.tm_sec)
        .days;
}

// Places usage-map rows on consecutive holder pages.
class MapRows {
  public:
    explicit MapRows(std::vector<std::uint32_t> pages) : pages_(std::move(pages)) {}

    RowPointer Add(const MapRow& row) {
        const std::size_t index = count_++;
        const std::size_t page = index / kMapRowsPerPage;
        if (page >= pages_.size()) throw Error(kErrInternal, "Too few usage-map pages reserved");
        if (page != current_) {
            if (current_ != kNone) flushed_.push_back(page_);
            page_.Reset(0);
            current_ = page;
        }
        const std::uint8_t number = page_.Add(row.data(), row.size());
        return {pages_[page], number};
    }

    void Write(PageFile& file) {
        if (current_ != kNone) flushed_.push_back(page_);
        for (std::size_t i = 0; i < flushed_.size(); ++i)
            file.Write(pages_[i], flushed_[i].bytes());
        flushed_.clear();
        current_ = kNone;
    }

  private:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    std::vector<std::uint32_t> pages_;
    std::size_t count_ = 0;
    std::size_t current_ = kNone;
    DataPage page_;
    std::vector<DataPage> flushed_;
};

PageSet OnePage(std::uint32_t page) {
    PageSet set;
    set.Add(page);
    return set;
}

void WriteDefinition(const TableDefinition& def, const std::vector<std::uint32_t>& pages,
                     PageFile& file) {
    const ByteVec bytes = EncodeTableDefinition(def);
    if (TdefPageCount(bytes.size()) != pages.size()) {
        throw Error(kErrInternal, "Table definition size changed while writing");
    }
    std::array<std::uint8_t, kPageSize> image{};
    for (std::size_t i = 0; i < pages.size(); ++i) {
        BuildTdefPage(bytes, i, i + 1 < pages.size() ? pages[i + 1] : 0, image.data());
        file.Write(pages[i], image.data());
    }
}

// Writes rows of a system table onto its first data page and further pages as needed; long
// values (the path of a linked table's file) go to pages of their column.
struct StoredLongValues {
    PageSet pages;
    bool open = false;
    std::uint32_t openPage = 0;
};

struct StoredRows {
    PageSet pages;
    std::vector<RowPointer> rows;
    bool lastHasRoom = false;
    std::vector<StoredLongValues> longValues;  // by long-value slot
};

StoredRows StoreSystemRows(const SystemTable& table, const std::vector<Row>& rows, PageFile& file) {
    const TableLayout layout = LayoutFromDefinition(table.name, table.columns);
    std::vector<LongValueColumn> longValues;
    longValues.reserve(layout.longValueColumns);
    for (std::size_t i = 0; i < layout.longValueColumns; ++i) longValues.emplace_back(file);
    RowEncoder encoder(layout, &longValues);
    StoredRows out;
    DataPage page(table.tdefPage);
    std::uint32_t number = table.dataPage;
    std::uint64_t n = 0;
    for (const Row& row : rows) {
        const ByteVec& bytes = encoder.Encode(row, ++n);
        if (!page.Fits(bytes.size())) {
            file.Write(number, page.bytes());
            out.pages.Add(number);
            number = file.Allocate();
            page.Reset(table.tdefPage);
        }
        out.rows.push_back({number, page.Add(bytes.data(), bytes.size())});
    }
    file.Write(number, page.bytes());  // the table's first page is written even when empty
    out.pages.Add(number);
    out.lastHasRoom = page.freeSpace() > 0;
    for (LongValueColumn& lv : longValues) {
        lv.Finish();
        out.longValues.push_back({lv.pages(), lv.hasOpenPage(), lv.openPage()});
    }
    return out;
}

}  // namespace

class JetWriter::Impl {
  public:
    Impl(std::filesystem::path target, WriterOptions options)
        : file_(std::move(target)), options_(std::move(options)) {
        if (!options_.now) options_.now = SystemNow;
        if (!options_.random) {
            options_.random = [] {
                static std::random_device device;
                return static_cast<std::uint32_t>(device());
            };
        }
        // Pages 0 to 15 hold the header, the global map and the system tables; they are
        // written by Finish() once the catalogue is known.
        while (file_.pageCount() < kFirstFreePage) file_.Allocate();
        for (const CatalogRow& row : SystemCatalogRows()) {
            if (row.parentId == kTablesContainerId) takenNames_.push_back(NameKey(row.name));
        }
    }

    void AddTable(const TableDef& def, RowSource& rows, const std::vector<IndexDef>& indexes);
    void AddLink(const LinkDef& link);
    void Finish();
    void Rename();

  private:
    struct UserTable {
        std::string name;
        std::uint32_t tdefPage = 0;
    };

    void CheckUsable() const {
        if (file_.finished())
            throw Error(kErrInternal,
                        "The database " + file_.target().string() + " is already complete.");
        if (failed_) {
            throw Error(kErrInternal, "An earlier error left the database " +
                                          file_.target().string() +
                                          " incomplete; it cannot be written further.");
        }
    }

    PageFile file_;
    WriterOptions options_;
    std::vector<UserTable> tables_;
    std::vector<LinkDef> links_;
    std::vector<ByteVec> takenNames_;  // keys of the names in the "Tables" container
    bool failed_ = false;

    // Claims a name in the "Tables" container; Access compares names ignoring case.
    void TakeName(const std::string& name);
};

void JetWriter::Impl::AddTable(const TableDef& def, RowSource& rows,
                               const std::vector<IndexDef>& indexDefs) {
    CheckUsable();
    try {
        const TableLayout layout = LayoutTable(def);
        UserIndexes indexes(layout, indexDefs);
        TakeName(def.name);
        file_.SetContext("table \"" + def.name + "\"");

        TableDefinition tdef;
        tdef.tableType = kTableUser;
        tdef.columns = DefinitionColumns(layout);
        tdef.varColumns = static_cast<std::uint16_t>(layout.varOrder.size());
        for (const ColumnLayout& c : layout.columns) {
            if (c.longValueSlot >= 0) tdef.longValues.push_back({c.number, {}, {}});
        }
        // The definition's first page names the owner of every data page; the rest of it and
        // the usage maps get their pages once the rows have said which indexes stay.
        std::vector<std::uint32_t> tdefPages{file_.Allocate()};
        const std::uint32_t owner = tdefPages.front();

        std::vector<LongValueColumn> longValues;
        longValues.reserve(layout.longValueColumns);
        for (std::size_t i = 0; i < layout.longValueColumns; ++i) longValues.emplace_back(file_);
        RowEncoder encoder(layout, &longValues);

        const std::int64_t hint = rows.RowCountHint();
        std::unique_ptr<ProgressMeter> meter;
        if (hint > 0) meter = std::make_unique<ProgressMeter>("Writing table " + def.name, hint);
        DataPage page(owner);
        PageSet dataPages;
        std::vector<std::uint32_t> dataPageNumbers;  // for the index entries, by ordinal
        std::uint32_t lastDataPage = 0;
        std::uint64_t count = 0;
        Row row;
        while (rows.Next(row)) {
            ++count;
            if (count > 0xFFFFFFFFu)
                Raise("The table \"" + def.name + "\" has more rows than Access counts.");
            const ByteVec& bytes = encoder.Encode(row, count);
            if (!page.Fits(bytes.size())) {
                lastDataPage = file_.Allocate();
                file_.Write(lastDataPage, page.bytes());
                dataPages.Add(lastDataPage);
                dataPageNumbers.push_back(lastDataPage);
                page.Reset(owner);
            }
            const std::uint8_t rowNumber = page.Add(bytes.data(), bytes.size());
            if (!indexes.empty())
                indexes.Add(bytes, row, static_cast<std::uint32_t>(dataPageNumbers.size()),
                            rowNumber, count);
            if (meter) {
                meter->Advance();
            } else if (count % kProgressEvery == 0) {
                ShowProgress("Writing table " + def.name + ": " + std::to_string(count) + " rows");
            }
        }
        // The last page is never empty unless the table is.
        const bool lastHasRoom = !page.empty() && page.freeSpace() > 0;
        if (!page.empty()) {
            lastDataPage = file_.Allocate();
            file_.Write(lastDataPage, page.bytes());
            dataPages.Add(lastDataPage);
            dataPageNumbers.push_back(lastDataPage);
        }
        for (LongValueColumn& lv : longValues) lv.Finish();
        if (!indexes.empty()) ShowProgress("Writing the indexes of table " + def.name + "...");
        const std::vector<UserIndexes::Written> trees =
            indexes.Write(dataPageNumbers, owner, file_);
        indexes.Describe(tdef);
        while (tdefPages.size() < TdefPageCount(EncodedTableDefinitionSize(tdef)))
            tdefPages.push_back(file_.Allocate());
        const std::size_t mapRowCount = 2 + 2 * tdef.longValues.size() + trees.size();
        std::vector<std::uint32_t> holderPages((mapRowCount + kMapRowsPerPage - 1) /
                                               kMapRowsPerPage);
        for (auto& p : holderPages) p = file_.Allocate();

        // Usage maps: the data pages, the page with room for more rows, then each long-value
        // column's pages and its page with room.
        MapRows maps(holderPages);
        tdef.ownedPages = maps.Add(BuildUsageMap(dataPages, file_));
        tdef.freePages =
            maps.Add(lastHasRoom ? BuildUsageMap(OnePage(lastDataPage), file_) : MapRow{});
        for (std::size_t i = 0; i < longValues.size(); ++i) {
            tdef.longValues[i].ownedPages = maps.Add(BuildUsageMap(longValues[i].pages(), file_));
            tdef.longValues[i].freePages =
                maps.Add(longValues[i].hasOpenPage()
                             ? BuildUsageMap(OnePage(longValues[i].openPage()), file_)
                             : MapRow{});
        }
        for (std::size_t i = 0; i < trees.size(); ++i) {
            tdef.realIndexes[i].usageMap = maps.Add(BuildUsageMap(trees[i].tree.pages, file_));
            tdef.realIndexes[i].rootPage = trees[i].tree.root;
            tdef.realIndexes[i].uniqueKeys = trees[i].uniqueKeys;
        }
        maps.Write(file_);

        tdef.rowCount = static_cast<std::uint32_t>(count);
        tdef.lastAutoNumber = encoder.lastAutoNumber();
        WriteDefinition(tdef, tdefPages, file_);
        tables_.push_back({def.name, owner});
        file_.SetContext({});
        if (!meter)
            ShowProgress("Writing table " + def.name + ": " + std::to_string(count) + " rows");
    } catch (...) {
        failed_ = true;
        throw;
    }
}

void JetWriter::Impl::TakeName(const std::string& name) {
    std::u16string units;
    Utf8ToUtf16Checked(name, units);
    ByteVec key;
    if (!AppendTextKey(units, key)) {
        Raise("The name of table \"" + name +
              "\" holds characters beyond Latin-1, which the catalogue index of this writer "
              "cannot sort yet.");
    }
    for (const ByteVec& taken : takenNames_) {
        if (taken == key) Raise("The database already has a table named \"" + name + "\".");
    }
    takenNames_.push_back(std::move(key));
}

void JetWriter::Impl::AddLink(const LinkDef& link) {
    CheckUsable();
    CheckObjectName(link.name, "linked table \"" + link.name + "\"");
    CheckObjectName(link.foreignName, "the table that \"" + link.name + "\" links to");
    if (link.database.empty()) Raise("The linked table \"" + link.name + "\" names no file.");
    TakeName(link.name);
    links_.push_back(link);
}

void JetWriter::Impl::Finish() {
    CheckUsable();
    try {
        file_.SetContext("the catalogue");
        const double now = options_.now();
        const std::vector<SystemTable>& system = SystemTables();

        // Catalogue and access-control rows: the system's own, then one set per table.
        std::vector<CatalogRow> catalog = SystemCatalogRows();
        std::vector<AceRow> aces = SystemAceRows();
        for (const UserTable& t : tables_) {
            const auto id = static_cast<std::int32_t>(t.tdefPage);
            catalog.push_back(
                {id, kTablesContainerId, t.name, kObjectTypeTable, NewTableOwner(), 0, {}, {}, {}});
            for (AceRow& ace : NewTableAces(id)) aces.push_back(std::move(ace));
        }
        for (std::size_t i = 0; i < links_.size(); ++i) {
            const LinkDef& l = links_[i];
            const auto id = static_cast<std::int32_t>(kFirstSyntheticId + i);
            catalog.push_back({id, kTablesContainerId, l.name, kObjectTypeLinkedTable,
                               NewTableOwner(), 0, l.database, l.connect, l.foreignName});
            for (AceRow& ace : NewTableAces(id)) aces.push_back(std::move(ace));
        }
        std::vector<Row> catalogValues;
        for (const CatalogRow& r : catalog) catalogValues.push_back(CatalogValues(r, now));
        std::vector<Row> aceValues;
        for (const AceRow& r : aces) aceValues.push_back(AceValues(r));

        std::vector<StoredRows> stored(system.size());
        stored[0] = StoreSystemRows(system[0], catalogValues, file_);
        stored[1] = StoreSystemRows(system[1], aceValues, file_);
        std::vector<std::uint32_t> rowCounts = {static_cast<std::uint32_t>(catalog.size()),
                                                static_cast<std::uint32_t>(aces.size()), 0, 0};

        // Index entries per system table and index.
        std::vector<std::vector<IndexEntries>> entries(system.size());
        for (std::size_t t = 0; t < system.size(); ++t) entries[t].resize(system[t].indexes.size());
        for (std::size_t i = 0; i < catalog.size(); ++i) {
            ByteVec parentName;
            AppendLongKey(catalog[i].parentId, parentName);
            std::u16string name;
            Utf8ToUtf16Checked(catalog[i].name, name);
            AppendTextKeyPart(name, parentName);
            entries[0][0].Add(parentName, stored[0].rows[i]);
            ByteVec id;
            AppendLongKey(catalog[i].id, id);
            entries[0][1].Add(id, stored[0].rows[i]);
        }
        for (std::size_t i = 0; i < aces.size(); ++i) {
            ByteVec objectId;
            AppendLongKey(aces[i].objectId, objectId);
            entries[1][0].Add(objectId, stored[1].rows[i]);
        }

        // The system tables' usage maps share page 6, in the order Jet keeps them.
        MapRows maps({kMapHolderPage});
        for (std::size_t t = 0; t < system.size(); ++t) {
            const SystemTable& sysTable = system[t];
            TableDefinition def;
            def.tableType = kTableSystem;
            def.rowCount = rowCounts[t];
            def.columns = sysTable.columns;
            for (const TdefColumn& c : sysTable.columns) {
                if ((c.flags & kColFixed) == 0) ++def.varColumns;
            }
            const PageSet& dataPages = stored[t].pages;
            def.ownedPages = maps.Add(BuildUsageMap(dataPages, file_));
            def.freePages = maps.Add(
                stored[t].lastHasRoom ? BuildUsageMap(OnePage(dataPages.last()), file_) : MapRow{});
            // Long-value maps are placed by column number but listed in stored order.
            std::vector<std::uint16_t> lvNumbers;
            for (const TdefColumn& c : sysTable.columns) {
                if (c.type == static_cast<std::uint8_t>(JetType::Memo) ||
                    c.type == static_cast<std::uint8_t>(JetType::OLE)) {
                    lvNumbers.push_back(c.number);
                }
            }
            std::vector<std::uint16_t> byNumber = lvNumbers;
            std::sort(byNumber.begin(), byNumber.end());
            std::vector<std::pair<RowPointer, RowPointer>> lvMaps;
            const TableLayout layout = LayoutFromDefinition(sysTable.name, sysTable.columns);
            for (std::uint16_t number : byNumber) {
                const auto slot = static_cast<std::size_t>(layout.columns[number].longValueSlot);
                const std::vector<StoredLongValues>& stores = stored[t].longValues;
                const bool used = slot < stores.size() && !stores[slot].pages.empty();
                const RowPointer owned =
                    maps.Add(used ? BuildUsageMap(stores[slot].pages, file_) : MapRow{});
                const RowPointer free = maps.Add(
                    used && stores[slot].open ? BuildUsageMap(OnePage(stores[slot].openPage), file_)
                                              : MapRow{});
                lvMaps.emplace_back(owned, free);
            }
            for (std::uint16_t number : lvNumbers) {
                const auto rank = static_cast<std::size_t>(
                    std::find(byNumber.begin(), byNumber.end(), number) - byNumber.begin());
                def.longValues.push_back({number, lvMaps[rank].first, lvMaps[rank].second});
            }
            for (std::size_t i = 0; i < sysTable.indexes.size(); ++i) {
                IndexEntries& list = entries[t][i];
                list.Sort();
                const BuiltIndex built =
                    WriteIndex(list, sysTable.tdefPage, sysTable.indexes[i].firstPage, file_);
                TdefRealIndex index;
                index.columns = sysTable.indexes[i].columns;
                index.usageMap = maps.Add(BuildUsageMap(built.pages, file_));
                index.rootPage = built.root;
                index.unknown = sysTable.indexes[i].unknown;
                index.flags = sysTable.indexes[i].flags;
                index.unusedSlotFlags = sysTable.indexes[i].unusedSlotFlags;
                index.uniqueKeys = list.CountDistinctKeys();
                def.realIndexes.push_back(std::move(index));
            }
            def.logicalIndexes = sysTable.logicalIndexes;
            WriteDefinition(def, {sysTable.tdefPage}, file_);
        }
        maps.Write(file_);

        // Page 1 last: the global map must see every page, its own bitmap pages included.
        DataPage global(kGlobalMapPage);
        const ByteVec globalMap = BuildGlobalUsageMap(file_);
        global.Add(globalMap.data(), globalMap.size());
        const MapRow empty{};
        global.Add(empty.data(), empty.size());
        file_.Write(kGlobalMapPage, global.bytes());

        std::array<std::uint8_t, kPageSize> header{};
        BuildHeaderPage(now, header.data());
        file_.Write(0, header.data());
        file_.Finish();
    } catch (...) {
        failed_ = true;
        throw;
    }
}

void JetWriter::Impl::Rename() {
    if (failed_ || !file_.finished())
        throw Error(kErrInternal, "The database " + file_.target().string() +
                                      " is not complete; it cannot replace its target.");
    file_.Rename();
}

JetWriter::JetWriter(std::filesystem::path target, WriterOptions options)
    : impl_(std::make_unique<Impl>(std::move(target), std::move(options))) {}

JetWriter::~JetWriter() = default;

void JetWriter::AddTable(const TableDef& def, RowSource& rows,
                         const std::vector<IndexDef>& indexes) {
    impl_->AddTable(def, rows, indexes);
}

void JetWriter::AddLink(const LinkDef& link) {
    impl_->AddLink(link);
}

void JetWriter::Finish() {
    impl_->Finish();
}

void JetWriter::Rename() {
    impl_->Rename();
}

void JetWriter::Commit() {
    impl_->Finish();
    impl_->Rename();
}

VectorRowSource::VectorRowSource(std::vector<Row> rows) : rows_(std::move(rows)) {}

bool VectorRowSource::Next(Row& row) {
    if (next_ >= rows_.size()) return false;
    row = rows_[next_++];
    return true;
}

std::int64_t VectorRowSource::RowCountHint() const {
    return static_cast<std::int64_t>(rows_.size() - next_);
}

}  // namespace tb::mdb
