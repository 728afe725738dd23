#include "plantaccess/odbc.h"

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "common/encoding.h"
#include "common/error.h"
#include "plantaccess/connect_string.h"

namespace tb::plantaccess {
namespace {

// Memory for one block of rows; fewer rows when rows are wide.
constexpr std::size_t kBlockBytes = 4u << 20;
// Bound binary columns up to this size; longer ones through SQLGetData.
constexpr SQLULEN kMaxBoundBinary = 8000;
// The chunk SQLGetData reads long values in.
constexpr std::size_t kChunkBytes = 64u << 10;

SQLWCHAR* W(std::u16string& text) {
    return reinterpret_cast<SQLWCHAR*>(text.data());
}

// The driver's UTF-16 text appended to `out` as UTF-8; a lone surrogate becomes U+FFFD.
void AppendUtf8(const SQLWCHAR* units, std::size_t count, std::string& out) {
    static_assert(sizeof(SQLWCHAR) == sizeof(char16_t));
    AppendUtf16AsUtf8(std::u16string_view(reinterpret_cast<const char16_t*>(units), count), out);
}

std::string Narrow(const SQLWCHAR* units, std::size_t count) {
    std::string out;
    AppendUtf8(units, count, out);
    return out;
}

class Handle {
  public:
    Handle() = default;
    Handle(SQLSMALLINT type, SQLHANDLE parent) : type_(type) {
        if (!SQL_SUCCEEDED(SQLAllocHandle(type, parent, &h_))) {
            h_ = SQL_NULL_HANDLE;
            throw Error(kErrDatabase, "The ODBC driver manager cannot allocate a handle.");
        }
    }
    ~Handle() { Free(); }
    Handle(Handle&& o) noexcept : type_(o.type_), h_(o.h_) { o.h_ = SQL_NULL_HANDLE; }
    Handle& operator=(Handle&& o) noexcept {
        if (this != &o) {
            Free();
            type_ = o.type_;
            h_ = o.h_;
            o.h_ = SQL_NULL_HANDLE;
        }
        return *this;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    SQLHANDLE get() const { return h_; }
    SQLSMALLINT type() const { return type_; }
    void Free() {
        if (h_ != SQL_NULL_HANDLE) SQLFreeHandle(type_, h_);
        h_ = SQL_NULL_HANDLE;
    }

  private:
    SQLSMALLINT type_ = 0;
    SQLHANDLE h_ = SQL_NULL_HANDLE;
};

struct Diagnostic {
    std::string state;
    std::string text;
};

std::vector<Diagnostic> Diagnostics(SQLSMALLINT type, SQLHANDLE h) {
    std::vector<Diagnostic> out;
    for (SQLSMALLINT i = 1; i < 64; ++i) {
        SQLWCHAR state[6] = {};
        SQLINTEGER native = 0;
        SQLSMALLINT length = 0;
        std::vector<SQLWCHAR> message(1024);
        SQLRETURN rc = SQLGetDiagRecW(type, h, i, state, &native, message.data(),
                                      static_cast<SQLSMALLINT>(message.size()), &length);
        if (rc == SQL_SUCCESS_WITH_INFO && length >= static_cast<SQLSMALLINT>(message.size())) {
            message.resize(static_cast<std::size_t>(length) + 1);
            rc = SQLGetDiagRecW(type, h, i, state, &native, message.data(),
                                static_cast<SQLSMALLINT>(message.size()), &length);
        }
        if (!SQL_SUCCEEDED(rc)) break;
        const std::size_t n = std::min<std::size_t>(
            static_cast<std::size_t>(std::max<SQLSMALLINT>(length, 0)), message.size() - 1);
        out.push_back({Narrow(state, 5), Narrow(message.data(), n)});
    }
    return out;
}

[[noreturn]] void RaiseOdbc(SQLSMALLINT type, SQLHANDLE h, std::string_view what,
                            std::string_view secret) {
    std::string text;
    for (const Diagnostic& d : Diagnostics(type, h)) {
        if (!text.empty()) text += " ";
        text += d.text;
    }
    if (text.empty()) text = std::string(what) + " failed without a message from the driver.";
    throw Error(kErrDatabase, ScrubSecrets(text, secret));
}

void Check(SQLRETURN rc, const Handle& h, std::string_view what, std::string_view secret) {
    if (!SQL_SUCCEEDED(rc)) RaiseOdbc(h.type(), h.get(), what, secret);
}

// One environment for all connections, freed with the last of them.
std::shared_ptr<Handle> Environment() {
    static std::weak_ptr<Handle> cached;
    if (auto env = cached.lock()) return env;
    auto env = std::make_shared<Handle>(static_cast<SQLSMALLINT>(SQL_HANDLE_ENV),
                                        static_cast<SQLHANDLE>(nullptr));
    SQLSetEnvAttr(env->get(), SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    cached = env;
    return env;
}

int AdoTypeOf(SQLSMALLINT sqlType) {
    switch (sqlType) {
        case SQL_CHAR:
            return ado::kChar;
        case SQL_VARCHAR:
            return ado::kVarChar;
        case SQL_LONGVARCHAR:
            return ado::kLongVarChar;
        case SQL_WCHAR:
            return ado::kWChar;
        case SQL_WVARCHAR:
            return ado::kVarWChar;
        case SQL_WLONGVARCHAR:
            return ado::kLongVarWChar;
        case SQL_DECIMAL:
            return ado::kDecimal;
        case SQL_NUMERIC:
            return ado::kNumeric;
        case SQL_SMALLINT:
            return ado::kSmallInt;
        case SQL_INTEGER:
            return ado::kInteger;
        case SQL_REAL:
            return ado::kSingle;
        case SQL_FLOAT:
        case SQL_DOUBLE:
            return ado::kDouble;
        case SQL_BIT:
            return ado::kBoolean;
        case SQL_TINYINT:
            return ado::kTinyInt;
        case SQL_BIGINT:
            return ado::kBigInt;
        case SQL_BINARY:
            return ado::kBinary;
        case SQL_VARBINARY:
            return ado::kVarBinary;
        case SQL_LONGVARBINARY:
            return ado::kLongVarBinary;
        case SQL_TYPE_DATE:
        case SQL_DATE:
            return ado::kDBDate;
        case SQL_TYPE_TIME:
        case SQL_TIME:
            return ado::kDBTime;
        case SQL_TYPE_TIMESTAMP:
        case SQL_TIMESTAMP:
            return ado::kDBTimeStamp;
        case SQL_GUID:
            return ado::kGUID;
        default:
            return ado::kVarWChar;  // anything else is read as text
    }
}

enum class Fetch { Int, Bool, Double, Numeric, Timestamp, Time, Text, Binary };

struct Column {
    Fetch fetch = Fetch::Text;
    SQLSMALLINT cType = SQL_C_WCHAR;
    SQLLEN width = 0;    // bytes of one element
    bool long_ = false;  // read in chunks by SQLGetData
    bool bound = false;
    std::vector<unsigned char> data;
    std::vector<SQLLEN> ind;
    std::string longData;  // long columns: the value (UTF-8 or bytes)
    bool longNull = true;
    mutable std::string scratch;
};

std::string FormatTimestamp(const SQL_TIMESTAMP_STRUCT& t) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "%04d-%02u-%02u %02u:%02u:%02u", static_cast<int>(t.year),
                  static_cast<unsigned>(t.month), static_cast<unsigned>(t.day),
                  static_cast<unsigned>(t.hour), static_cast<unsigned>(t.minute),
                  static_cast<unsigned>(t.second));
    return buf;
}

std::string FormatTime(const SQL_TIME_STRUCT& t) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "1899-12-30 %02u:%02u:%02u", static_cast<unsigned>(t.hour),
                  static_cast<unsigned>(t.minute), static_cast<unsigned>(t.second));
    return buf;
}

// A decimal number as the driver writes it: whole numbers as integers, the rest as doubles.
Cell ParseNumber(std::string_view text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.remove_suffix(1);
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    Cell cell;
    if (text.find_first_of(".eE") == std::string_view::npos) {
        std::int64_t v = 0;
        const auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
        if (ec == std::errc() && p == text.data() + text.size()) {
            cell.kind = CellKind::Integer;
            cell.integer = v;
            return cell;
        }
    }
    double d = 0;
    const auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), d);
    if (ec != std::errc() || p != text.data() + text.size())
        throw Error(kErrDatabase, "The driver gave the number '" + std::string(text) +
                                      "', which cannot be read.");
    cell.kind = CellKind::Real;
    cell.real = d;
    return cell;
}

// Buffers of bound parameters. They stay put as long as the statement lives (the cursor keeps
// them), whatever a driver reads when.
struct Parameters {
    std::vector<std::u16string> texts;
    std::vector<std::int64_t> ints;
    std::vector<double> reals;
    std::vector<SQLLEN> ind;

    void Bind(const Handle& stmt, const store::Row& params, std::string_view secret) {
        texts.reserve(params.size());
        ints.reserve(params.size());
        reals.reserve(params.size());
        ind.assign(params.size(), 0);
        for (std::size_t i = 0; i < params.size(); ++i) {
            const store::Value& v = params[i];
            const auto n = static_cast<SQLUSMALLINT>(i + 1);
            SQLRETURN rc;
            if (v.isNull()) {
                ind[i] = SQL_NULL_DATA;
                rc = SQLBindParameter(stmt.get(), n, SQL_PARAM_INPUT, SQL_C_WCHAR, SQL_WVARCHAR, 1,
                                      0, nullptr, 0, &ind[i]);
            } else if (v.isInteger()) {
                ints.push_back(v.integer());
                rc = SQLBindParameter(stmt.get(), n, SQL_PARAM_INPUT, SQL_C_SBIGINT, SQL_BIGINT, 0,
                                      0, &ints.back(), 0, &ind[i]);
            } else if (v.isReal()) {
                reals.push_back(v.real());
                rc = SQLBindParameter(stmt.get(), n, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 0,
                                      0, &reals.back(), 0, &ind[i]);
            } else if (v.isText()) {
                texts.push_back(Utf8ToUtf16(v.text()));
                std::u16string& t = texts.back();
                ind[i] = static_cast<SQLLEN>(t.size() * sizeof(SQLWCHAR));
                const SQLULEN size = std::max<SQLULEN>(t.size(), 1);
                rc = SQLBindParameter(
                    stmt.get(), n, SQL_PARAM_INPUT, SQL_C_WCHAR,
                    size > static_cast<SQLULEN>(kLongColumnChars) ? SQL_WLONGVARCHAR : SQL_WVARCHAR,
                    size, 0, W(t), ind[i], &ind[i]);
            } else {
                const store::Blob& b = v.blob();
                ind[i] = static_cast<SQLLEN>(b.size());
                const SQLULEN size = std::max<SQLULEN>(b.size(), 1);
                rc =
                    SQLBindParameter(stmt.get(), n, SQL_PARAM_INPUT, SQL_C_BINARY,
                                     size > kMaxBoundBinary ? SQL_LONGVARBINARY : SQL_VARBINARY,
                                     size, 0, const_cast<std::uint8_t*>(b.data()), ind[i], &ind[i]);
            }
            Check(rc, stmt, "BindParameter", secret);
        }
    }
};

class OdbcCursor : public RowCursor {
  public:
    OdbcCursor(std::shared_ptr<OdbcConnection> owner, Handle stmt, Parameters params,
               SQLSMALLINT columns, int maxRows)
        : owner_(std::move(owner)), params_(std::move(params)), stmt_(std::move(stmt)) {
        Describe(columns);
        Bind(maxRows);
    }
    ~OdbcCursor() override {
        if (stmt_.get() != SQL_NULL_HANDLE) SQLCloseCursor(stmt_.get());
    }

    const std::vector<FieldInfo>& Fields() const override { return fields_; }

    bool Next() override {
        for (;;) {
            if (next_ < fetched_) {
                const std::size_t r = next_++;
                if (status_[r] == SQL_ROW_NOROW) continue;
                if (status_[r] == SQL_ROW_ERROR)
                    RaiseOdbc(SQL_HANDLE_STMT, stmt_.get(), "Fetch", owner_->secret());
                current_ = r;
                return true;
            }
            if (done_) return false;
            rowsFetched_ = 0;
            const SQLRETURN rc = SQLFetch(stmt_.get());
            if (rc == SQL_NO_DATA) {
                done_ = true;
                return false;
            }
            Check(rc, stmt_, "Fetch", owner_->secret());
            fetched_ = static_cast<std::size_t>(rowsFetched_);
            if (rows_ == 1 && fetched_ == 0) fetched_ = 1;  // drivers that leave the count alone
            next_ = 0;
            if (rc == SQL_SUCCESS_WITH_INFO) CheckTruncation();
            if (hasUnbound_) ReadUnbound();
        }
    }

    Cell Get(int column) const override {
        const Column& c = columns_.at(static_cast<std::size_t>(column));
        Cell cell;
        if (c.long_) {
            if (c.longNull) return cell;
            cell.kind = c.fetch == Fetch::Binary ? CellKind::Blob : CellKind::Text;
            cell.bytes = c.longData;
            return cell;
        }
        const std::size_t r = c.bound ? current_ : 0;
        const SQLLEN ind = c.ind[r];
        if (ind == SQL_NULL_DATA) return cell;
        const unsigned char* p = c.data.data() + r * static_cast<std::size_t>(c.width);
        switch (c.fetch) {
            case Fetch::Int:
                cell.kind = CellKind::Integer;
                std::memcpy(&cell.integer, p, sizeof cell.integer);
                break;
            case Fetch::Bool:
                cell.kind = CellKind::Integer;
                cell.integer = *p ? -1 : 0;  // Jet's true
                break;
            case Fetch::Double:
                cell.kind = CellKind::Real;
                std::memcpy(&cell.real, p, sizeof cell.real);
                break;
            case Fetch::Numeric:
                return ParseNumber(std::string_view(reinterpret_cast<const char*>(p),
                                                    std::strlen(reinterpret_cast<const char*>(p))));
            case Fetch::Timestamp: {
                SQL_TIMESTAMP_STRUCT t;
                std::memcpy(&t, p, sizeof t);
                c.scratch = FormatTimestamp(t);
                cell.kind = CellKind::Text;
                cell.bytes = c.scratch;
                break;
            }
            case Fetch::Time: {
                SQL_TIME_STRUCT t;
                std::memcpy(&t, p, sizeof t);
                c.scratch = FormatTime(t);
                cell.kind = CellKind::Text;
                cell.bytes = c.scratch;
                break;
            }
            case Fetch::Text: {
                c.scratch.clear();
                const std::size_t units = static_cast<std::size_t>(ind) / sizeof(SQLWCHAR);
                const auto* w = reinterpret_cast<const SQLWCHAR*>(p);
                AppendUtf8(w, units, c.scratch);
                cell.kind = CellKind::Text;
                cell.bytes = c.scratch;
                break;
            }
            case Fetch::Binary:
                cell.kind = CellKind::Blob;
                cell.bytes = std::string_view(reinterpret_cast<const char*>(p),
                                              static_cast<std::size_t>(ind));
                break;
        }
        return cell;
    }

  private:
    void Describe(SQLSMALLINT count) {
        for (SQLSMALLINT i = 1; i <= count; ++i) {
            std::vector<SQLWCHAR> name(256);
            SQLSMALLINT nameLength = 0, sqlType = 0, digits = 0, nullable = 0;
            SQLULEN size = 0;
            SQLRETURN rc = SQLDescribeColW(stmt_.get(), static_cast<SQLUSMALLINT>(i), name.data(),
                                           static_cast<SQLSMALLINT>(name.size()), &nameLength,
                                           &sqlType, &size, &digits, &nullable);
            if (SQL_SUCCEEDED(rc) && nameLength >= static_cast<SQLSMALLINT>(name.size())) {
                name.resize(static_cast<std::size_t>(nameLength) + 1);
                rc = SQLDescribeColW(stmt_.get(), static_cast<SQLUSMALLINT>(i), name.data(),
                                     static_cast<SQLSMALLINT>(name.size()), &nameLength, &sqlType,
                                     &size, &digits, &nullable);
            }
            Check(rc, stmt_, "Describe", owner_->secret());
            FieldInfo f;
            f.name = Narrow(name.data(), std::min<std::size_t>(static_cast<std::size_t>(nameLength),
                                                               name.size() - 1));
            f.type = AdoTypeOf(sqlType);
            Column c;
            switch (sqlType) {
                case SQL_BIT:
                    c.fetch = Fetch::Bool, c.cType = SQL_C_BIT, c.width = 1;
                    break;
                case SQL_TINYINT:
                case SQL_SMALLINT:
                case SQL_INTEGER:
                case SQL_BIGINT:
                    c.fetch = Fetch::Int, c.cType = SQL_C_SBIGINT, c.width = 8;
                    break;
                case SQL_REAL:
                case SQL_FLOAT:
                case SQL_DOUBLE:
                    c.fetch = Fetch::Double, c.cType = SQL_C_DOUBLE, c.width = 8;
                    break;
                case SQL_DECIMAL:
                case SQL_NUMERIC:
                    f.precision = static_cast<int>(size);
                    f.scale = digits;
                    c.fetch = Fetch::Numeric, c.cType = SQL_C_CHAR;
                    c.width = std::max<SQLLEN>(static_cast<SQLLEN>(size) + 8, 48);
                    break;
                case SQL_TYPE_DATE:
                case SQL_DATE:
                case SQL_TYPE_TIMESTAMP:
                case SQL_TIMESTAMP:
                    c.fetch = Fetch::Timestamp, c.cType = SQL_C_TYPE_TIMESTAMP;
                    c.width = sizeof(SQL_TIMESTAMP_STRUCT);
                    break;
                case SQL_TYPE_TIME:
                case SQL_TIME:
                    c.fetch = Fetch::Time, c.cType = SQL_C_TYPE_TIME,
                    c.width = sizeof(SQL_TIME_STRUCT);
                    break;
                case SQL_BINARY:
                case SQL_VARBINARY:
                case SQL_LONGVARBINARY:
                    c.fetch = Fetch::Binary, c.cType = SQL_C_BINARY;
                    f.definedSize = static_cast<std::int64_t>(size);
                    if (sqlType == SQL_LONGVARBINARY || size == 0 || size > kMaxBoundBinary)
                        c.long_ = true;
                    else
                        c.width = static_cast<SQLLEN>(size);
                    break;
                default:
                    c.fetch = Fetch::Text, c.cType = SQL_C_WCHAR;
                    f.definedSize = static_cast<std::int64_t>(size);
                    if (sqlType == SQL_LONGVARCHAR || sqlType == SQL_WLONGVARCHAR || size == 0 ||
                        size > static_cast<SQLULEN>(kLongColumnChars)) {
                        c.long_ = true;
                        if (f.type == ado::kVarChar) f.type = ado::kLongVarChar;
                        if (f.type == ado::kVarWChar || f.type == ado::kWChar)
                            f.type = ado::kLongVarWChar;
                    } else {
                        // Room for characters outside the BMP (two units each) and the terminator.
                        c.width = static_cast<SQLLEN>((2 * size + 1) * sizeof(SQLWCHAR));
                    }
                    break;
            }
            fields_.push_back(std::move(f));
            columns_.push_back(std::move(c));
        }
    }

    void Bind(int maxRows) {
        // Without SQLGetData on any column, the columns after a long one are read by it too.
        bool afterLong = false;
        std::size_t rowBytes = 0;
        for (Column& c : columns_) {
            if (c.long_) afterLong = true;
            c.bound = !c.long_ && !(afterLong && !owner_->getDataAnyColumn());
            if (c.long_)
                hasUnbound_ = true;
            else if (!c.bound)
                hasUnbound_ = true;
            if (c.bound) rowBytes += static_cast<std::size_t>(c.width) + sizeof(SQLLEN);
        }
        rows_ = 1;
        if (!hasUnbound_ && rowBytes > 0)
            rows_ = std::clamp<std::size_t>(kBlockBytes / rowBytes, 1,
                                            static_cast<std::size_t>(maxRows));
        SQLHSTMT h = stmt_.get();
        SQLSetStmtAttr(h, SQL_ATTR_ROW_BIND_TYPE, reinterpret_cast<SQLPOINTER>(SQL_BIND_BY_COLUMN),
                       0);
        if (rows_ > 1) {
            const SQLRETURN rc =
                SQLSetStmtAttr(h, SQL_ATTR_ROW_ARRAY_SIZE, reinterpret_cast<SQLPOINTER>(rows_), 0);
            SQLULEN actual = 1;
            if (!SQL_SUCCEEDED(rc) ||
                !SQL_SUCCEEDED(SQLGetStmtAttr(h, SQL_ATTR_ROW_ARRAY_SIZE, &actual, 0, nullptr)))
                actual = 1;
            rows_ = std::max<SQLULEN>(actual, 1);
        }
        status_.assign(rows_, SQL_ROW_SUCCESS);
        SQLSetStmtAttr(h, SQL_ATTR_ROWS_FETCHED_PTR, &rowsFetched_, 0);
        SQLSetStmtAttr(h, SQL_ATTR_ROW_STATUS_PTR, status_.data(), 0);
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            Column& c = columns_[i];
            if (c.long_) continue;
            const std::size_t n = c.bound ? rows_ : 1;
            c.data.assign(n * static_cast<std::size_t>(c.width), 0);
            c.ind.assign(n, SQL_NULL_DATA);
            if (!c.bound) continue;
            Check(SQLBindCol(h, static_cast<SQLUSMALLINT>(i + 1), c.cType, c.data.data(), c.width,
                             c.ind.data()),
                  stmt_, "Bind", owner_->secret());
        }
    }

    void CheckTruncation() const {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const Column& c = columns_[i];
            if (!c.bound || (c.fetch != Fetch::Text && c.fetch != Fetch::Binary)) continue;
            const SQLLEN room =
                c.fetch == Fetch::Text ? c.width - static_cast<SQLLEN>(sizeof(SQLWCHAR)) : c.width;
            for (std::size_t r = 0; r < fetched_; ++r) {
                const SQLLEN ind = c.ind[r];
                if (ind == SQL_NO_TOTAL || ind > room)
                    throw Error(kErrDatabase, "The driver gave a value of column '" +
                                                  fields_[i].name + "' longer than the " +
                                                  std::to_string(fields_[i].definedSize) +
                                                  " characters it declared for the column.");
            }
        }
    }

    // The unbound columns of the current (single) row, in column order as SQLGetData wants.
    void ReadUnbound() {
        std::vector<unsigned char> chunk(kChunkBytes);
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            Column& c = columns_[i];
            if (c.bound) continue;
            const SQLUSMALLINT col = static_cast<SQLUSMALLINT>(i + 1);
            if (!c.long_) {
                Check(SQLGetData(stmt_.get(), col, c.cType, c.data.data(), c.width, c.ind.data()),
                      stmt_, "GetData", owner_->secret());
                continue;
            }
            c.longData.clear();
            c.longNull = false;
            std::u16string units;
            const bool text = c.fetch == Fetch::Text;
            for (;;) {
                SQLLEN ind = 0;
                const SQLRETURN rc = SQLGetData(stmt_.get(), col, c.cType, chunk.data(),
                                                static_cast<SQLLEN>(chunk.size()), &ind);
                if (rc == SQL_NO_DATA) break;
                Check(rc, stmt_, "GetData", owner_->secret());
                if (ind == SQL_NULL_DATA) {
                    c.longNull = true;
                    break;
                }
                // A full chunk (more to come) holds its room less the terminator of text.
                std::size_t got = text ? chunk.size() - sizeof(SQLWCHAR) : chunk.size();
                if (rc == SQL_SUCCESS && ind != SQL_NO_TOTAL)
                    got = std::min(got, static_cast<std::size_t>(ind));
                if (text) {
                    const auto* w = reinterpret_cast<const char16_t*>(chunk.data());
                    units.append(w, got / sizeof(SQLWCHAR));
                } else {
                    c.longData.append(reinterpret_cast<const char*>(chunk.data()), got);
                }
                if (rc == SQL_SUCCESS) break;
            }
            if (text && !c.longNull)
                AppendUtf8(reinterpret_cast<const SQLWCHAR*>(units.data()), units.size(),
                           c.longData);
        }
    }

    std::shared_ptr<OdbcConnection> owner_;
    Parameters params_;  // before the statement, which goes first
    Handle stmt_;
    std::vector<FieldInfo> fields_;
    std::vector<Column> columns_;
    std::vector<SQLUSMALLINT> status_;
    SQLULEN rowsFetched_ = 0;
    std::size_t rows_ = 1;
    std::size_t fetched_ = 0;
    std::size_t next_ = 0;
    std::size_t current_ = 0;
    bool done_ = false;
    bool hasUnbound_ = false;
};

}  // namespace

struct OdbcConnection::Handles {
    std::shared_ptr<Handle> env;
    Handle dbc;
    bool connected = false;
};

OdbcConnection::OdbcConnection(std::string connectString, std::string password)
    : Connection(std::move(connectString)), password_(std::move(password)) {}

OdbcConnection::~OdbcConnection() {
    Close();
}

std::shared_ptr<OdbcConnection> OdbcConnection::Open(std::string connectString,
                                                     const std::string& odbcString,
                                                     std::string password) {
    std::shared_ptr<OdbcConnection> c(
        new OdbcConnection(std::move(connectString), std::move(password)));
    c->handles_ = std::make_unique<Handles>();
    Handles& h = *c->handles_;
    h.env = Environment();
    h.dbc = Handle(SQL_HANDLE_DBC, h.env->get());
    std::u16string wide = Utf8ToUtf16(odbcString);
    std::vector<SQLWCHAR> completed(1024);
    SQLSMALLINT completedLength = 0;
    const SQLRETURN rc = SQLDriverConnectW(h.dbc.get(), nullptr, W(wide), SQL_NTS, completed.data(),
                                           static_cast<SQLSMALLINT>(completed.size()),
                                           &completedLength, SQL_DRIVER_NOPROMPT);
    // The string may name its own password (a pass-through string): scrub that one as well.
    const std::string secret =
        c->password_.empty() ? ParseConnectString(odbcString).password : c->password_;
    if (!SQL_SUCCEEDED(rc)) RaiseOdbc(SQL_HANDLE_DBC, h.dbc.get(), "Connect", secret);
    h.connected = true;
    if (c->password_.empty()) c->password_ = secret;
    SQLUINTEGER extensions = 0;
    if (SQL_SUCCEEDED(SQLGetInfo(h.dbc.get(), SQL_GETDATA_EXTENSIONS, &extensions,
                                 sizeof extensions, nullptr))) {
        c->getDataBlock_ = (extensions & SQL_GD_BLOCK) != 0;
        c->getDataAnyColumn_ = (extensions & SQL_GD_ANY_COLUMN) != 0;
    }
    return c;
}

bool OdbcConnection::IsOpen() const {
    return handles_ && handles_->connected;
}

void OdbcConnection::Close() {
    if (!handles_) return;
    if (handles_->connected) SQLDisconnect(handles_->dbc.get());
    handles_->connected = false;
    handles_->dbc.Free();
    handles_->env.reset();
    handles_.reset();
}

std::unique_ptr<RowCursor> OdbcConnection::Run(std::string_view sql, const store::Row& params,
                                               std::int64_t* recordsAffected) {
    if (!IsOpen()) throw Error(kErrDatabase, "The connection is closed.");
    auto self = std::static_pointer_cast<OdbcConnection>(shared_from_this());
    Handle stmt(SQL_HANDLE_STMT, handles_->dbc.get());
    std::u16string wide = Utf8ToUtf16(sql);
    Parameters bound;
    SQLRETURN rc;
    if (params.empty()) {
        rc = SQLExecDirectW(stmt.get(), W(wide), static_cast<SQLINTEGER>(wide.size()));
    } else {
        Check(SQLPrepareW(stmt.get(), W(wide), static_cast<SQLINTEGER>(wide.size())), stmt,
              "Prepare", password_);
        bound.Bind(stmt, params, password_);
        rc = SQLExecute(stmt.get());
    }
    if (rc != SQL_NO_DATA) Check(rc, stmt, "Execute", password_);
    SQLSMALLINT columns = 0;
    if (rc != SQL_NO_DATA)
        Check(SQLNumResultCols(stmt.get(), &columns), stmt, "Execute", password_);
    if (columns > 0)
        return std::make_unique<OdbcCursor>(self, std::move(stmt), std::move(bound), columns,
                                            maxRowsPerFetch_);
    if (recordsAffected) {
        SQLLEN count = -1;
        if (rc == SQL_NO_DATA)
            count = 0;
        else if (!SQL_SUCCEEDED(SQLRowCount(stmt.get(), &count)))
            count = -1;
        *recordsAffected = count;
    }
    return nullptr;
}

}  // namespace tb::plantaccess
