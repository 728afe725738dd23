#include "plantaccess/transfer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "common/error.h"
#include "common/log.h"
#include "common/text.h"
#include "plantaccess/sqlite_plant.h"
#include "store/access_text.h"
#include "store/bulk.h"
#include "store/sqlite.h"

namespace tb::plantaccess {

namespace {

using store::ColumnDef;
using store::ColumnType;
using store::JetType;

// How a value is stored: by the column's type, or kept as it comes (type decided afterwards).
enum class Target { Text, Long, Boolean, Double, Blob, Any };

Target TargetOf(const ColumnType& t) {
    if (t.jet == JetType::Boolean) return Target::Boolean;
    switch (t.storage()) {
        case store::Storage::Text:
            return Target::Text;
        case store::Storage::Integer:
            return Target::Long;
        case store::Storage::Real:
            return Target::Double;
        case store::Storage::Binary:
            return Target::Blob;
    }
    return Target::Any;
}

bool Fits32(std::int64_t v) {
    return v >= std::numeric_limits<std::int32_t>::min() &&
           v <= std::numeric_limits<std::int32_t>::max();
}

std::string OverflowText(std::string_view table, std::string_view column, std::string_view value) {
    return "Column '" + std::string(column) + "' of table '" + std::string(table) +
           "' holds whole numbers of 32 bits, but the plant gives the value " + std::string(value) +
           ".";
}

void CheckNames(const std::vector<FieldInfo>& fields, std::string_view table) {
    for (std::size_t i = 0; i < fields.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            if (IEquals(fields[i].name, fields[j].name))
                Raise("The query for table '" + std::string(table) + "' gives the column '" +
                      fields[i].name + "' twice.");
}

// The type of a column the source does not type, from its first value.
ColumnType GuessFromCell(const Cell& cell) {
    switch (cell.kind) {
        case CellKind::Integer:
            return Fits32(cell.integer) ? ColumnType::Long() : ColumnType::Double();
        case CellKind::Real:
            return ColumnType::Double();
        case CellKind::Blob:
            return ColumnType::OLE();
        default:
            return ColumnType::Text(255);
    }
}

// The type of a column whose values alone decide, from what arrived.
struct Seen {
    bool text = false, real = false, integer = false, blob = false, wide = false;
    std::size_t maxChars = 0;  // the longest text, in characters

    void Text(std::string_view t) {
        text = true;
        if (t.size() <= maxChars) return;  // never more characters than bytes
        std::size_t chars = 0;
        for (unsigned char c : t) chars += (c & 0xC0) != 0x80;
        maxChars = std::max(maxChars, chars);
    }
};

ColumnType FromSeen(const Seen& s) {
    if (s.text) return ColumnType::Text(255);
    if (s.blob) return ColumnType::OLE();
    if (s.real || s.wide) return ColumnType::Double();
    if (s.integer) return ColumnType::Long();
    return ColumnType::Text(255);
}

// --- the row loop ---

// Binds one value. `guessed`: the column's type came from its first value, so values that do not
// fit it are kept as they come and the type is put right afterwards (as the SQLite path does).
void BindCell(store::Statement& insert, int i, Target target, bool guessed, const Cell& cell,
              std::string& scratch, Seen& seen, std::string_view table, std::string_view column) {
    switch (cell.kind) {
        case CellKind::Null:
            insert.BindNull(i + 1);
            return;
        case CellKind::Text:
            if (!NeedsCleaning(cell.bytes)) {
                seen.Text(cell.bytes);
                insert.BindTextNoCopy(i + 1, cell.bytes);
            } else if (auto cleaned = CleanCopiedText(cell.bytes)) {
                scratch = std::move(*cleaned);
                seen.Text(scratch);
                insert.BindTextNoCopy(i + 1, scratch);
            } else {
                insert.BindNull(i + 1);
            }
            return;
        case CellKind::Integer:
            seen.integer = true;
            if (!Fits32(cell.integer)) seen.wide = true;
            switch (target) {
                case Target::Text:
                    scratch = std::to_string(cell.integer);
                    seen.Text(scratch);
                    insert.BindTextNoCopy(i + 1, scratch);
                    return;
                case Target::Long:
                    if (!Fits32(cell.integer) && !guessed)
                        throw Error(kErrOverflow,
                                    OverflowText(table, column, std::to_string(cell.integer)));
                    insert.BindInt(i + 1, cell.integer);
                    return;
                case Target::Boolean:
                    insert.BindInt(i + 1, cell.integer ? -1 : 0);
                    return;
                case Target::Double:
                    insert.BindDouble(i + 1, static_cast<double>(cell.integer));
                    return;
                default:
                    insert.BindInt(i + 1, cell.integer);
                    return;
            }
        case CellKind::Real:
            seen.real = true;
            switch (target) {
                case Target::Text:
                    scratch = store::FormatAccessNumber(cell.real);
                    seen.Text(scratch);
                    insert.BindTextNoCopy(i + 1, scratch);
                    return;
                case Target::Long: {
                    const double r = cell.real;
                    if (guessed) {
                        insert.BindDouble(i + 1, r);
                        return;
                    }
                    if (std::trunc(r) != r || r < std::numeric_limits<std::int32_t>::min() ||
                        r > std::numeric_limits<std::int32_t>::max())
                        throw Error(kErrOverflow,
                                    OverflowText(table, column, store::FormatAccessNumber(r)));
                    insert.BindInt(i + 1, static_cast<std::int64_t>(r));
                    return;
                }
                case Target::Boolean:
                    insert.BindInt(i + 1, cell.real != 0 ? -1 : 0);
                    return;
                default:
                    insert.BindDouble(i + 1, cell.real);
                    return;
            }
        case CellKind::Blob:
            seen.blob = true;
            insert.BindBlob(i + 1, cell.bytes.data(), cell.bytes.size());
            return;
    }
}

// Brings the catalogue in line with what arrived, from what the copy saw (no pass over the
// table): columns typed by their first value (or by none) that later values contradict, and text
// columns narrower than their longest value (Memo beyond 255 characters).
void FitCopiedTypes(store::Store& st, const std::string& table, const std::vector<ColumnDef>& made,
                    const std::vector<Target>& targets, const std::vector<bool>& guessed,
                    const std::vector<Seen>& seen) {
    bool textInNumbers = false;
    for (std::size_t i = 0; i < made.size(); ++i) {
        const ColumnType now = made[i].type;
        ColumnType wanted = now;
        if (guessed[i] && targets[i] == Target::Any)
            wanted = FromSeen(seen[i]);
        else if (guessed[i] && now.jet == JetType::Long && (seen[i].real || seen[i].wide))
            wanted = ColumnType::Double();
        if (wanted.jet == JetType::Text &&
            seen[i].maxChars > static_cast<std::size_t>(wanted.width))
            wanted = seen[i].maxChars > 255 ? ColumnType::Memo()
                                            : ColumnType::Text(static_cast<int>(seen[i].maxChars));
        const store::Storage storage = wanted.storage();
        textInNumbers |=
            seen[i].text && (storage == store::Storage::Integer || storage == store::Storage::Real);
        if (!(wanted == now)) st.AlterColumnType(table, made[i].name, wanted);
    }
    // Text where the plant declared numbers (only a SQLite plant can hold it): as the store does.
    if (textInNumbers) st.FitTypesToData(table);
}

TransferResult Finish(store::Store& st, const std::string& table, std::int64_t rows) {
    TransferResult result;
    result.rows = rows;
    result.columns = st.Columns(table);
    return result;
}

// --- the SQLite plant: INSERT INTO store.t SELECT ---

struct CopyContext {
    std::vector<Target> targets;
    std::vector<bool> guessed;  // the type came from the first value, not from the source
    std::vector<Seen> seen;
    const std::vector<std::string>* names = nullptr;
    std::string table;
    std::string error;
};

void SetError(sqlite3_context* ctx, CopyContext& c, std::string message) {
    c.error = std::move(message);
    sqlite3_result_error(ctx, c.error.c_str(), -1);
}

void ResultText(sqlite3_context* ctx, const std::string& text) {
    sqlite3_result_text(ctx, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

// tb_copy_cell(value, column): a value as the copy stores it in its column.
void CopyCell(sqlite3_context* ctx, int, sqlite3_value** argv) {
    auto& c = *static_cast<CopyContext*>(sqlite3_user_data(ctx));
    sqlite3_value* v = argv[0];
    const auto i = static_cast<std::size_t>(sqlite3_value_int(argv[1]));
    const Target target = c.targets[i];
    Seen& seen = c.seen[i];
    switch (sqlite3_value_type(v)) {
        case SQLITE_NULL:
            sqlite3_result_null(ctx);
            return;
        case SQLITE_TEXT: {
            const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(v));
            const std::string_view t(p ? p : "", static_cast<std::size_t>(sqlite3_value_bytes(v)));
            if (!NeedsCleaning(t)) {
                seen.Text(t);
                sqlite3_result_value(ctx, v);
            } else if (auto cleaned = CleanCopiedText(t)) {
                seen.Text(*cleaned);
                ResultText(ctx, *cleaned);
            } else {
                sqlite3_result_null(ctx);
            }
            return;
        }
        case SQLITE_INTEGER: {
            seen.integer = true;
            const std::int64_t n = sqlite3_value_int64(v);
            if (!Fits32(n)) seen.wide = true;
            if (target == Target::Text) {
                const std::string text = std::to_string(n);
                seen.Text(text);
                return ResultText(ctx, text);
            }
            if (target == Target::Boolean) return sqlite3_result_int64(ctx, n ? -1 : 0);
            if (target == Target::Long && !Fits32(n) && !c.guessed[i])
                return SetError(ctx, c, OverflowText(c.table, (*c.names)[i], std::to_string(n)));
            sqlite3_result_int64(ctx, n);
            return;
        }
        case SQLITE_FLOAT: {
            seen.real = true;
            const double r = sqlite3_value_double(v);
            if (target == Target::Text) {
                const std::string text = store::FormatAccessNumber(r);
                seen.Text(text);
                return ResultText(ctx, text);
            }
            if (target == Target::Boolean) return sqlite3_result_int64(ctx, r != 0 ? -1 : 0);
            if (target == Target::Long && !c.guessed[i]) {
                if (std::trunc(r) != r || r < std::numeric_limits<std::int32_t>::min() ||
                    r > std::numeric_limits<std::int32_t>::max())
                    return SetError(
                        ctx, c, OverflowText(c.table, (*c.names)[i], store::FormatAccessNumber(r)));
                return sqlite3_result_int64(ctx, static_cast<std::int64_t>(r));
            }
            sqlite3_result_double(ctx, r);
            return;
        }
        default:
            seen.blob = true;
            sqlite3_result_value(ctx, v);
            return;
    }
}

// No statement of the copy may read a store table: only the insert may touch the store.
struct ReadGuard {
    sqlite3* db;
    std::string schema;
    static int Authorize(void* self, int action, const char*, const char*, const char* database,
                         const char*) {
        const auto& g = *static_cast<ReadGuard*>(self);
        if (action == SQLITE_READ && database && IEquals(database, g.schema)) return SQLITE_DENY;
        return SQLITE_OK;
    }
    ReadGuard(sqlite3* d, std::string s) : db(d), schema(std::move(s)) {
        sqlite3_set_authorizer(db, &ReadGuard::Authorize, this);
    }
    ~ReadGuard() { sqlite3_set_authorizer(db, nullptr, nullptr); }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;
};

// Keeps the window alive during a long copy and stops the copy at a cancel (error 18).
int PumpEvents(void*) {
    DoEvents();
    return store::CancelProgress(nullptr);
}

std::string StripStatementEnd(std::string_view sql) {
    std::string_view s = TrimSpace(sql);
    while (!s.empty() && (s.back() == ';' || s.back() == ' ' || s.back() == '\t' ||
                          s.back() == '\r' || s.back() == '\n'))
        s.remove_suffix(1);
    return std::string(s);
}

TransferResult CopyFromSqlitePlant(const SqlitePlantConnection& plant, std::string_view sql,
                                   store::Store& st, std::string_view table) {
    store::Connection twin = plant.OpenWritableTwin();
    sqlite3* db = twin.get();
    const std::string body = StripStatementEnd(sql);

    std::vector<FieldInfo> fields;
    std::vector<ColumnDef> defs;
    CopyContext ctx;
    {
        store::Statement probe = PrepareOne(db, body, {});
        const int n = sqlite3_column_count(probe.get());
        if (n == 0) throw Error(kErrDatabase, "The statement gives no rows: " + body);
        bool unknown = false;
        for (int i = 0; i < n; ++i) {
            const char* name = sqlite3_column_name(probe.get(), i);
            const char* declared = sqlite3_column_decltype(probe.get(), i);
            fields.push_back(FieldFromDeclaration(name ? name : "", declared ? declared : ""));
            unknown |= fields.back().type == ado::kEmpty;
        }
        CheckNames(fields, table);
        // Columns the source does not type take the type of their first value; where that is Null
        // the values decide after the copy.
        const bool hasRow = unknown && probe.Step();
        for (int i = 0; i < n; ++i) {
            auto type = CopyColumnType(fields[static_cast<std::size_t>(i)]);
            bool guessed = false;
            Target target = Target::Any;
            if (type) {
                target = TargetOf(*type);
            } else if (hasRow && sqlite3_column_type(probe.get(), i) != SQLITE_NULL) {
                switch (sqlite3_column_type(probe.get(), i)) {
                    case SQLITE_INTEGER:
                        type = GuessFromCell(
                            {CellKind::Integer, sqlite3_column_int64(probe.get(), i), 0, {}});
                        break;
                    case SQLITE_FLOAT:
                        type = ColumnType::Double();
                        break;
                    case SQLITE_BLOB:
                        type = ColumnType::OLE();
                        break;
                    default:
                        type = ColumnType::Text(255);
                        break;
                }
                guessed = true;
                target = TargetOf(*type);
            } else {
                type = ColumnType::OLE();  // no affinity: every value stays as it comes
                guessed = true;
            }
            defs.push_back({fields[static_cast<std::size_t>(i)].name, *type});
            ctx.targets.push_back(target);
            ctx.guessed.push_back(guessed);
        }
    }
    ctx.seen.assign(defs.size(), Seen{});
    st.CreateTable(table, defs);
    const std::vector<ColumnDef> made = st.Columns(table);
    std::vector<std::string> names;
    for (const ColumnDef& d : made) names.push_back(d.name);
    ctx.names = &names;
    ctx.table = *st.FindTable(table);
    std::int64_t rows = 0;
    try {
        const std::string schema = IEquals(plant.schemaUser(), "store") ? "tb_store" : "store";
        store::StoreAttachment attached(db, st, schema);
        if (sqlite3_create_function_v2(db, "tb_copy_cell", 2, SQLITE_UTF8, &ctx, CopyCell, nullptr,
                                       nullptr, nullptr) != SQLITE_OK)
            store::RaiseSqliteError(db, "tb_copy_cell");
        std::string source = "WITH __tb_source(";
        std::string columns, values;
        for (std::size_t i = 0; i < names.size(); ++i) {
            source += (i ? ", c" : "c") + std::to_string(i);
            columns += (i ? ", " : "") + store::QuoteName(names[i]);
            values += std::string(i ? ", " : "") + "tb_copy_cell(c" + std::to_string(i) + ", " +
                      std::to_string(i) + ")";
        }
        const std::string insert = source + ") AS (" + body + ") INSERT INTO " +
                                   store::QuoteName(schema) + "." + store::QuoteName(ctx.table) +
                                   " (" + columns + ") SELECT " + values + " FROM __tb_source";
        ReadGuard guard(db, schema);
        sqlite3_progress_handler(db, 1000000, PumpEvents, nullptr);
        try {
            store::Transaction tx(db);
            store::Execute(db, insert);
            rows = sqlite3_changes64(db);
            tx.Commit();
        } catch (...) {
            sqlite3_progress_handler(db, 0, nullptr, nullptr);
            if (!ctx.error.empty()) throw Error(kErrOverflow, ctx.error);
            throw;
        }
        sqlite3_progress_handler(db, 0, nullptr, nullptr);
    } catch (...) {
        st.DropTable(ctx.table);
        throw;
    }
    FitCopiedTypes(st, ctx.table, made, ctx.targets, ctx.guessed, ctx.seen);
    return Finish(st, ctx.table, rows);
}

}  // namespace

std::optional<ColumnType> CopyColumnType(const FieldInfo& f) {
    switch (f.type) {
        case ado::kSmallInt:
        case ado::kInteger:
        case ado::kTinyInt:
        case ado::kUnsignedTinyInt:
        case ado::kUnsignedSmallInt:
        case ado::kUnsignedInt:
        case ado::kBigInt:
        case ado::kUnsignedBigInt:
            return ColumnType::Long();
        case ado::kNumeric:
        case ado::kDecimal:
        case ado::kVarNumeric:
            return (f.scale == 0 && f.precision > 0) ? ColumnType::Long() : ColumnType::Double();
        case ado::kSingle:
        case ado::kDouble:
        case ado::kCurrency:
            return ColumnType::Double();
        case ado::kBoolean:
            return ColumnType::Boolean();
        case ado::kDate:
        case ado::kDBDate:
        case ado::kDBTime:
        case ado::kDBTimeStamp:
            return ColumnType::DateTime();
        case ado::kBinary:
        case ado::kVarBinary:
        case ado::kLongVarBinary:
            return ColumnType::OLE();
        case ado::kEmpty:
            return std::nullopt;
        default:  // text of every kind, GUIDs, and what a driver calls by another name
            if (f.definedSize >= 1 && f.definedSize <= 255 && f.type != ado::kLongVarChar &&
                f.type != ado::kLongVarWChar)
                return ColumnType::Text(static_cast<int>(f.definedSize));
            return ColumnType::Text(255);
    }
}

bool NeedsCleaning(std::string_view text) {
    if (text.empty()) return true;
    // A plain loop: find_first_of looks each character up in the set with memchr.
    for (const char c : text)
        if (static_cast<unsigned char>(c) <= '\r' && (c == '\r' || c == '\n' || c == '\t'))
            return true;
    return false;
}

std::optional<std::string> CleanCopiedText(std::string_view text) {
    if (text.empty()) return std::nullopt;
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\r') {
            out += '\x03';
            if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
        } else if (c == '\n') {
            out += '\x03';
        } else if (c == '\t') {
            out += ' ';
        } else {
            out += c;
        }
    }
    return out;
}

TransferResult CopyCursorToStore(RowCursor& cursor, store::Store& st, std::string_view table) {
    return Trap("CopyToStore", [&] {
        const std::vector<FieldInfo>& fields = cursor.Fields();
        CheckNames(fields, table);
        bool hasRow = cursor.Next();
        std::vector<ColumnDef> defs;
        std::vector<Target> targets;
        std::vector<bool> guessed;
        for (std::size_t i = 0; i < fields.size(); ++i) {
            auto type = CopyColumnType(fields[i]);
            Target target = Target::Any;
            const bool guess = !type.has_value();
            const Cell first = hasRow ? cursor.Get(static_cast<int>(i)) : Cell{};
            if (type)
                target = TargetOf(*type);
            else if (first.kind != CellKind::Null)
                type = GuessFromCell(first), target = TargetOf(*type);
            else
                type = ColumnType::OLE();  // no affinity: the values decide afterwards
            defs.push_back({fields[i].name, *type});
            targets.push_back(target);
            guessed.push_back(guess);
        }
        st.CreateTable(table, defs);
        const std::string name = *st.FindTable(table);
        const std::vector<ColumnDef> made = st.Columns(name);
        std::vector<Seen> seen(fields.size());
        std::int64_t rows = 0;
        try {
            std::vector<std::string> names;
            std::string columns, marks;
            for (const ColumnDef& d : made) {
                columns += (names.empty() ? "" : ", ") + store::QuoteName(d.name);
                marks += names.empty() ? "?" : ", ?";
                names.push_back(d.name);
            }
            store::Transaction tx(st.handle());
            store::Statement insert(st.handle(), "INSERT INTO " + store::QuoteName(name) + " (" +
                                                     columns + ") VALUES (" + marks + ")");
            std::vector<std::string> scratch(fields.size());
            const int n = static_cast<int>(fields.size());
            for (; hasRow; hasRow = cursor.Next()) {
                for (int i = 0; i < n; ++i) {
                    const auto k = static_cast<std::size_t>(i);
                    BindCell(insert, i, targets[k], guessed[k], cursor.Get(i), scratch[k], seen[k],
                             name, names[k]);
                }
                insert.Run();
                if (++rows % 20000 == 0) {
                    DoEvents();
                    if (CancelRequested()) throw Error(kErrCancelled, "Cancelled.");
                }
            }
            insert = store::Statement();
            tx.Commit();
        } catch (...) {
            st.DropTable(name);
            throw;
        }
        FitCopiedTypes(st, name, made, targets, guessed, seen);
        return Finish(st, name, rows);
    });
}

TransferResult CopyRecordsetToStore(const Recordset& recordset, store::Store& st,
                                    std::string_view table) {
    auto cursor = recordset.Cursor();
    return CopyCursorToStore(*cursor, st, table);
}

TransferResult CopyQueryToStore(Connection& source, std::string_view sql, store::Store& st,
                                std::string_view table) {
    if (source.kind() == ConnectionKind::SqlitePlant && !st.path().empty())
        return Trap("CopyToStore", [&] {
            return CopyFromSqlitePlant(static_cast<const SqlitePlantConnection&>(source), sql, st,
                                       table);
        });
    auto cursor = source.Query(sql);
    return CopyCursorToStore(*cursor, st, table);
}

}  // namespace tb::plantaccess
