#include "mdb/mdb_reader.h"

// mdbtools.h includes <glib.h> inside extern "C"; glib's C++ templates must be seen first.
#include <glib.h>
#include <mdbtools.h>

#include <array>
#include <cstring>
#include <optional>
#include <system_error>

#include "common/encoding.h"
#include "common/error.h"
#include "common/log.h"
#include "common/text.h"

namespace tb::mdb {

namespace {

constexpr int kLongValueHeader = 12;                 // length and kind, row pointer, 4 unused bytes
constexpr std::uint32_t kMaxLongValue = 0x3FFFFFFF;  // the length field has 30 bits

struct HandleClose {
    void operator()(MdbHandle* h) const { mdb_close(h); }
};
using HandlePtr = std::unique_ptr<MdbHandle, HandleClose>;

struct TableFree {
    void operator()(MdbTableDef* t) const { mdb_free_tabledef(t); }
};
using TablePtr = std::unique_ptr<MdbTableDef, TableFree>;

std::uint16_t U16(const unsigned char* p) {
    return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}

std::uint32_t U32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

std::uint64_t U64(const unsigned char* p) {
    return static_cast<std::uint64_t>(U32(p)) | static_cast<std::uint64_t>(U32(p + 4)) << 32;
}

double F64(const unsigned char* p) {
    const std::uint64_t bits = U64(p);
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

float F32(const unsigned char* p) {
    const std::uint32_t bits = U32(p);
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

// Jet 4 text: UTF-16LE, or "Unicode compressed" (FF FE, then runs of one-byte characters and of
// two-byte characters, each 00 byte switching between the two).
std::string DecodeText(const unsigned char* p, std::size_t n) {
    std::u16string units;
    if (n >= 2 && p[0] == 0xFF && p[1] == 0xFE) {
        units.reserve(n);
        bool compressed = true;
        for (std::size_t i = 2; i < n;) {
            if (p[i] == 0) {
                compressed = !compressed;
                ++i;
            } else if (compressed) {
                units.push_back(p[i++]);
            } else if (i + 1 < n) {
                units.push_back(static_cast<char16_t>(U16(p + i)));
                i += 2;
            } else {
                break;  // an odd trailing byte carries no character
            }
        }
    } else {
        units.reserve(n / 2);
        for (std::size_t i = 0; i + 1 < n; i += 2)
            units.push_back(static_cast<char16_t>(U16(p + i)));
    }
    return Utf16ToUtf8(units);
}

// Decimal: a sign byte, then the unscaled magnitude as four little-endian 32-bit groups stored
// most significant group last-but-one-first (bytes 13..16 are the lowest group).
std::string DecodeNumeric(const unsigned char* p, int scale) {
    std::array<std::uint32_t, 4> limbs{};  // limbs[0] most significant
    for (int g = 0; g < 4; ++g) limbs[3 - g] = U32(p + 1 + 12 - 4 * g);
    std::string digits;
    for (;;) {
        std::uint64_t rem = 0;
        bool nonZero = false;
        for (auto& limb : limbs) {
            const std::uint64_t cur = rem << 32 | limb;
            limb = static_cast<std::uint32_t>(cur / 10);
            rem = cur % 10;
            nonZero = nonZero || limb != 0;
        }
        digits.insert(digits.begin(), static_cast<char>('0' + rem));
        if (!nonZero) break;
    }
    if (scale > 0) {
        if (static_cast<int>(digits.size()) <= scale)
            digits.insert(0, static_cast<std::size_t>(scale + 1) - digits.size(), '0');
        digits.insert(digits.size() - static_cast<std::size_t>(scale), ".");
    }
    if (p[0] & 0x80) digits.insert(digits.begin(), '-');
    return digits;
}

std::optional<JetType> ToJetType(int code) {
    switch (code) {
        case MDB_BOOL:
            return JetType::Boolean;
        case MDB_BYTE:
            return JetType::Byte;
        case MDB_INT:
            return JetType::Integer;
        case MDB_LONGINT:
            return JetType::Long;
        case MDB_MONEY:
            return JetType::Currency;
        case MDB_FLOAT:
            return JetType::Single;
        case MDB_DOUBLE:
            return JetType::Double;
        case MDB_DATETIME:
            return JetType::DateTime;
        case MDB_BINARY:
            return JetType::Binary;
        case MDB_TEXT:
            return JetType::Text;
        case MDB_OLE:
            return JetType::OLE;
        case MDB_MEMO:
            return JetType::Memo;
        case MDB_REPID:
            return JetType::GUID;
        case MDB_NUMERIC:
            return JetType::Numeric;
        default:
            return std::nullopt;
    }
}

std::string Quoted(std::string_view s) {
    return "\"" + std::string(s) + "\"";
}

MdbColumn* ColumnAt(MdbTableDef* t, unsigned i) {
    return static_cast<MdbColumn*>(g_ptr_array_index(t->columns, i));
}

// The columns of a table read by libmdb, checked against the table model.
TableDef BuildDef(const std::filesystem::path& file, MdbTableDef* t) {
    TableDef def;
    def.name = t->name;
    def.columns.reserve(t->num_cols);
    for (unsigned i = 0; i < t->num_cols; ++i) {
        const MdbColumn* c = ColumnAt(t, i);
        const auto type = ToJetType(c->col_type);
        if (!type)
            throw Error(kErrDatabase, "Column " + Quoted(c->name) + " of table " +
                                          Quoted(def.name) + " in " + file.string() +
                                          " has the column type " + std::to_string(c->col_type) +
                                          ", which cannot be read");
        Column col;
        col.name = c->name;
        col.type = *type;
        if (col.type == JetType::Text) col.length = c->col_size / 2;  // stored as UTF-16 bytes
        col.autoNumber = col.type == JetType::Long && c->is_long_auto;
        def.columns.push_back(std::move(col));
    }
    return def;
}

}  // namespace

// ---------------------------------------------------------------------------------------------

struct MdbReader::Impl {
    std::filesystem::path file;
    HandlePtr mdb;

    MdbCatalogEntry* Find(std::string_view name) const {
        MdbCatalogEntry* caseless = nullptr;
        for (unsigned i = 0; i < mdb->num_catalog; ++i) {
            auto* e = static_cast<MdbCatalogEntry*>(g_ptr_array_index(mdb->catalog, i));
            if (e->object_type != MDB_TABLE) continue;
            if (name == e->object_name) return e;
            if (!caseless && IEquals(name, e->object_name)) caseless = e;
        }
        return caseless;
    }

    MdbCatalogEntry* Require(std::string_view name) const {
        if (auto* e = Find(name)) return e;
        throw Error(kErrDatabase, "Table " + Quoted(name) + " not found in " + file.string());
    }

    // A table definition with its columns, read through the given handle's catalogue entry.
    TablePtr Open(MdbCatalogEntry* e) const {
        TablePtr t(mdb_read_table(e));
        if (!t || !mdb_read_columns(t.get()))
            throw Error(kErrDatabase, "The definition of table " + Quoted(e->object_name) + " in " +
                                          file.string() + " cannot be read");
        return t;
    }
};

MdbReader::MdbReader(const std::filesystem::path& file) : impl_(std::make_unique<Impl>()) {
    impl_->file = file;
    std::error_code ec;
    if (!std::filesystem::is_regular_file(file, ec))
        throw Error(kErrFileNotFound, "File not found: " + file.string(), "MdbReader");
    // libmdb converts names with iconv into the charset MDBICONV names; we need UTF-8.
    if (const char* cs = std::getenv("MDBICONV");
        cs && !IEquals(cs, "UTF-8") && !IEquals(cs, "UTF8"))
        throw Error(kErrInternal,
                    "MDBICONV=" + std::string(cs) + " is set; " + file.string() +
                        " can only be read with UTF-8 names",
                    "MdbReader");
    // An explicit folder part keeps libmdb from searching MDBPATH.
    const std::string path = file.has_parent_path() ? file.string() : "./" + file.string();
    impl_->mdb.reset(mdb_open(path.c_str(), MDB_NOFLAGS));  // read-only
    if (!impl_->mdb || !mdb_read_catalog(impl_->mdb.get(), MDB_TABLE))
        throw Error(kErrDatabase, "Not a readable Access database: " + file.string(), "MdbReader");
}

MdbReader::~MdbReader() = default;
MdbReader::MdbReader(MdbReader&&) noexcept = default;
MdbReader& MdbReader::operator=(MdbReader&&) noexcept = default;

const std::filesystem::path& MdbReader::file() const {
    return impl_->file;
}

std::vector<std::string> MdbReader::TableNames(bool includeSystem) const {
    std::vector<std::string> names;
    MdbHandle* mdb = impl_->mdb.get();
    for (unsigned i = 0; i < mdb->num_catalog; ++i) {
        auto* e = static_cast<MdbCatalogEntry*>(g_ptr_array_index(mdb->catalog, i));
        if (e->object_type != MDB_TABLE) continue;
        if (!includeSystem && mdb_is_system_table(e)) continue;
        names.emplace_back(e->object_name);
    }
    return names;
}

bool MdbReader::HasTable(std::string_view name) const {
    return impl_->Find(name) != nullptr;
}

TableDef MdbReader::Table(std::string_view name) const {
    const TablePtr t = impl_->Open(impl_->Require(name));
    return BuildDef(impl_->file, t.get());
}

std::uint32_t MdbReader::DeclaredRowCount(std::string_view name) const {
    TablePtr t(mdb_read_table(impl_->Require(name)));
    if (!t)
        throw Error(kErrDatabase, "The definition of table " + Quoted(name) + " in " +
                                      impl_->file.string() + " cannot be read");
    return t->num_rows;
}

std::pair<int, int> MdbReader::NumericPrecisionScale(std::string_view table,
                                                     std::string_view column) const {
    const TablePtr t = impl_->Open(impl_->Require(table));
    for (unsigned i = 0; i < t->num_cols; ++i) {
        const MdbColumn* c = ColumnAt(t.get(), i);
        if (!IEquals(column, c->name)) continue;
        if (c->col_type != MDB_NUMERIC) return {0, 0};
        // libmdb's names are swapped: its col_scale holds byte 11 of the column entry, which is
        // the precision, and col_prec byte 12, the scale.
        return {c->col_scale, c->col_prec};
    }
    throw Error(kErrDatabase, "Column " + Quoted(column) + " not found in table " + Quoted(table) +
                                  " of " + impl_->file.string());
}

// ---------------------------------------------------------------------------------------------

struct TableCursor::Impl {
    std::filesystem::path file;
    HandlePtr mdb;  // a clone of the reader's handle: own page buffers, shared file
    TablePtr table;
    TableDef def;
    std::vector<int> scales;  // per column, for Numeric
    std::vector<MdbField> fields;
    std::vector<unsigned char> longValue;
    std::uint64_t delivered = 0;
    bool finished = false;  // libmdb would start over on the last page when asked again

    [[noreturn]] void Broken(std::size_t col, std::string_view what) const {
        throw Error(kErrDatabase, "Column " + Quoted(def.columns[col].name) + " of table " +
                                      Quoted(def.name) + " in " + file.string() + ": " +
                                      std::string(what));
    }

    // Memo and OLE data: inline after the 12-byte header, in one LVAL row, or in a chain of LVAL
    // rows that each start with the row pointer of the next.
    const std::vector<unsigned char>& ReadLongValue(std::size_t col, const unsigned char* p,
                                                    int size) {
        longValue.clear();
        if (size == 0) return longValue;
        if (size < kLongValueHeader) Broken(col, "long value header is cut short");
        const std::uint32_t head = U32(p);
        const std::uint32_t length = head & kMaxLongValue;
        const std::uint32_t kind = head & 0xC0000000u;
        if (kind == 0x80000000u) {
            const auto inlineSize = static_cast<std::uint32_t>(size - kLongValueHeader);
            if (inlineSize < length) Broken(col, "inline long value is cut short");
            longValue.assign(p + kLongValueHeader, p + kLongValueHeader + length);
            return longValue;
        }
        MdbHandle* h = mdb.get();
        longValue.reserve(length);
        auto pgRow = static_cast<int>(U32(p + 4));
        const bool single = kind == 0x40000000u;
        if (!single && kind != 0) Broken(col, "unknown long value kind");
        while (longValue.size() < length) {
            void* buf = nullptr;
            int off = 0;
            std::size_t len = 0;
            if (pgRow == 0 || mdb_find_pg_row(h, pgRow, &buf, &off, &len) != 0)
                Broken(col, "long value row " + std::to_string(pgRow >> 8) + ":" +
                                std::to_string(pgRow & 0xFF) + " cannot be read");
            const auto* row = static_cast<const unsigned char*>(buf) + off;
            if (!single) {
                if (len < 4) Broken(col, "long value chain row is cut short");
                pgRow = static_cast<int>(U32(row));
                row += 4;
                len -= 4;
            }
            const std::size_t take = std::min<std::size_t>(len, length - longValue.size());
            longValue.insert(longValue.end(), row, row + take);
            if (single) break;
        }
        if (longValue.size() < length) Broken(col, "long value is shorter than its length");
        return longValue;
    }

    Value Decode(std::size_t i, const MdbField& f) {
        const Column& col = def.columns[i];
        if (col.type == JetType::Boolean) return !f.is_null;  // the null bit is the value
        if (f.is_null) return Null{};
        const auto* p = static_cast<const unsigned char*>(f.value);
        auto need = [&](int n) {
            if (f.siz < n) Broken(i, "value is cut short");
        };
        switch (col.type) {
            case JetType::Byte:
                need(1);
                return static_cast<std::int64_t>(p[0]);
            case JetType::Integer:
                need(2);
                return static_cast<std::int64_t>(static_cast<std::int16_t>(U16(p)));
            case JetType::Long:
                need(4);
                return static_cast<std::int64_t>(static_cast<std::int32_t>(U32(p)));
            case JetType::Currency:
                need(8);
                return Currency{static_cast<std::int64_t>(U64(p))};
            case JetType::Single:
                need(4);
                return static_cast<double>(F32(p));
            case JetType::Double:
                need(8);
                return F64(p);
            case JetType::DateTime:
                need(8);
                return DateTime{F64(p)};
            case JetType::GUID: {
                need(16);
                Guid g;
                std::memcpy(g.bytes.data(), p, g.bytes.size());
                return g;
            }
            case JetType::Numeric:
                need(17);
                return DecodeNumeric(p, scales[i]);
            case JetType::Text:
                return DecodeText(p, static_cast<std::size_t>(f.siz));
            case JetType::Binary:
                return Bytes(p, p + f.siz);
            case JetType::Memo: {
                const auto& v = ReadLongValue(i, p, f.siz);
                return DecodeText(v.data(), v.size());
            }
            case JetType::OLE:
                return Bytes(ReadLongValue(i, p, f.siz));
            case JetType::Boolean:
                break;
        }
        Broken(i, "unexpected column type");
    }
};

TableCursor::TableCursor(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
TableCursor::~TableCursor() = default;
TableCursor::TableCursor(TableCursor&&) noexcept = default;
TableCursor& TableCursor::operator=(TableCursor&&) noexcept = default;

const TableDef& TableCursor::def() const {
    return impl_->def;
}

bool TableCursor::Next(Row& row) {
    Impl& c = *impl_;
    MdbTableDef* t = c.table.get();
    // No column is bound, so libmdb formats nothing; it finds the next live row on its page.
    if (c.finished) return false;
    if (!mdb_fetch_row(t)) {
        c.finished = true;
        // libmdb passes over rows it cannot take apart; say so rather than lose them unseen.
        if (c.delivered != t->num_rows)
            LogLine("Table " + Quoted(c.def.name) + " in " + c.file.string() + ": " +
                    std::to_string(c.delivered) + " rows read, its definition states " +
                    std::to_string(t->num_rows));
        return false;
    }
    MdbHandle* h = c.mdb.get();
    int start = 0;
    std::size_t size = 0;
    if (mdb_find_row(h, static_cast<int>(t->cur_row) - 1, &start, &size) != 0 ||
        mdb_crack_row(t, start & 0x1FFF, size, c.fields.data()) < 0)
        throw Error(kErrDatabase, "A row of table " + Quoted(c.def.name) + " in " +
                                      c.file.string() + " cannot be read");
    row.resize(c.def.columns.size());
    for (std::size_t i = 0; i < row.size(); ++i) row[i] = c.Decode(i, c.fields[i]);
    ++c.delivered;
    return true;
}

std::int64_t TableCursor::RowCountHint() const {
    return impl_->table->num_rows;
}

TableCursor MdbReader::Rows(std::string_view name) const {
    MdbCatalogEntry* entry = impl_->Require(name);
    auto c = std::make_unique<TableCursor::Impl>();
    c->file = impl_->file;
    c->mdb.reset(mdb_clone_handle(impl_->mdb.get()));
    MdbHandle* h = c->mdb.get();
    MdbCatalogEntry* own = nullptr;
    for (unsigned i = 0; i < h->num_catalog && !own; ++i) {
        auto* e = static_cast<MdbCatalogEntry*>(g_ptr_array_index(h->catalog, i));
        if (e->table_pg == entry->table_pg && e->object_type == MDB_TABLE) own = e;
    }
    if (!own)
        throw Error(kErrInternal, "Table " + Quoted(name) + " vanished from the catalogue copy");
    c->table = impl_->Open(own);
    c->def = BuildDef(c->file, c->table.get());
    c->fields.resize(c->def.columns.size());
    c->scales.resize(c->def.columns.size());
    for (unsigned i = 0; i < c->table->num_cols; ++i)
        c->scales[i] = ColumnAt(c->table.get(), i)->col_prec;  // the scale; see above
    mdb_rewind_table(c->table.get());
    return TableCursor(std::move(c));
}

std::uint64_t MdbReader::ForEachRow(std::string_view name,
                                    const std::function<void(const Row&)>& fn) const {
    TableCursor cursor = Rows(name);
    Row row;
    std::uint64_t n = 0;
    while (cursor.Next(row)) {
        fn(row);
        ++n;
    }
    return n;
}

}  // namespace tb::mdb
