#include "storefile/column_mapping.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "common/encoding.h"
#include "common/error.h"
#include "mdb/date_time.h"

namespace tb::storefile {

namespace {

using mdb::JetType;

// Access dates run from the year 100 to 9999.
constexpr double kFirstDay = -657434.0;
constexpr double kAfterLastDay = 2958466.0;

// Currency's limits as the nearest doubles (a REAL cannot hold the four decimals of either).
constexpr double kCurrencyMax = 922337203685477.5807;
constexpr double kCurrencyMin = -922337203685477.5808;

// The value as a message shows it: text quoted and cut short, numbers as Access shows them.
std::string Shown(sqlite3_stmt* stmt, int index) {
    switch (sqlite3_column_type(stmt, index)) {
        case SQLITE_INTEGER:
            return std::to_string(static_cast<std::int64_t>(sqlite3_column_int64(stmt, index)));
        case SQLITE_FLOAT:
            return store::Value(sqlite3_column_double(stmt, index)).ToText();
        case SQLITE_BLOB:
            return std::to_string(sqlite3_column_bytes(stmt, index)) + " bytes of binary data";
        case SQLITE_NULL:
            return "Null";
        default: {
            const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt, index));
            std::string text(p ? p : "",
                             static_cast<std::size_t>(sqlite3_column_bytes(stmt, index)));
            if (text.size() > 40) {
                std::size_t cut = 40;  // not inside a UTF-8 sequence
                while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
                text = text.substr(0, cut) + "...";
            }
            return "'" + text + "'";
        }
    }
}

std::string_view TextOf(sqlite3_stmt* stmt, int index) {
    const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt, index));
    return {p ? p : "", static_cast<std::size_t>(sqlite3_column_bytes(stmt, index))};
}

// Characters as Jet counts them: UTF-16 units. Nothing for text that is not UTF-8.
std::optional<std::size_t> Utf16Units(std::string_view text) {
    if (!IsValidUtf8(text)) return std::nullopt;
    std::size_t units = 0;
    for (unsigned char c : text) {
        if ((c & 0xC0) != 0x80) ++units;  // a lead byte
        if (c >= 0xF0) ++units;           // beyond the BMP: a surrogate pair
    }
    return units;
}

template <class T>
T& Slot(mdb::Value& out) {
    if (auto* p = std::get_if<T>(&out)) return *p;
    return out.emplace<T>();
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Positions of the 16 bytes in the text form, in text order: the first three groups are the
// little-endian fields of a Windows GUID, so their bytes print reversed.
constexpr int kTextOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

}  // namespace

mdb::Column JetColumn(const store::ColumnDef& column) {
    mdb::Column c;
    c.name = column.name;
    c.type = column.type.jet == JetType::Numeric ? JetType::Double : column.type.jet;
    c.length = column.type.jet == JetType::Text ? column.type.width : 255;
    c.autoNumber = column.type.counter;
    return c;
}

store::ColumnType StoreType(const mdb::Column& column) {
    switch (column.type) {
        case JetType::Text:
            return store::ColumnType::Text(std::clamp(column.length, 1, 255));
        case JetType::Long:
            return column.autoNumber ? store::ColumnType::Counter() : store::ColumnType::Long();
        default:
            return {column.type, 0, false};
    }
}

std::string GuidToText(const mdb::Guid& guid) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out = "{";
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) out += '-';
        const std::uint8_t b = guid.bytes[static_cast<std::size_t>(kTextOrder[i])];
        out += kHex[b >> 4];
        out += kHex[b & 15];
    }
    return out + "}";
}

std::optional<mdb::Guid> GuidFromText(std::string_view text) {
    if (text.size() == 38 && text.front() == '{' && text.back() == '}') text = text.substr(1, 36);
    if (text.size() != 36) return std::nullopt;
    mdb::Guid guid;
    std::size_t pos = 0;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            if (text[pos] != '-') return std::nullopt;
            ++pos;
        }
        const int hi = HexDigit(text[pos]), lo = HexDigit(text[pos + 1]);
        if (hi < 0 || lo < 0) return std::nullopt;
        guid.bytes[static_cast<std::size_t>(kTextOrder[i])] =
            static_cast<std::uint8_t>(hi * 16 + lo);
        pos += 2;
    }
    return guid;
}

std::optional<std::int64_t> CurrencyFromDouble(double value) {
    if (!std::isfinite(value)) return std::nullopt;
    if (value == kCurrencyMax) return std::numeric_limits<std::int64_t>::max();
    if (value == kCurrencyMin) return std::numeric_limits<std::int64_t>::min();
    // Long double keeps the product exact enough for the rounding of the fourth decimal.
    const long double scaled = std::nearbyint(static_cast<long double>(value) * 10000.0L);
    if (scaled > 9223372036854775807.0L || scaled < -9223372036854775808.0L) return std::nullopt;
    return static_cast<std::int64_t>(scaled);
}

// --- ValueConverter ---

ValueConverter::ValueConverter(std::string table, store::ColumnDef column)
    : table_(std::move(table)), column_(std::move(column)), jet_(column_.type.jet) {
    low_ = JetFacts(jet_).low;
    high_ = JetFacts(jet_).high;
}

void ValueConverter::Fail(std::uint64_t rowNumber, const std::string& problem) const {
    Raise("Table \"" + table_ + "\", row " + std::to_string(rowNumber) + ", column \"" +
          column_.name + "\" (" + column_.type.Name() + "): " + problem);
}

void ValueConverter::Convert(sqlite3_stmt* stmt, int index, std::uint64_t row,
                             mdb::Value& out) const {
    const int kind = sqlite3_column_type(stmt, index);
    if (kind == SQLITE_NULL) {
        // Jet has no Null Boolean: the null-mask bit is the value itself.
        if (jet_ == JetType::Boolean)
            out = false;
        else
            out = mdb::Null{};
        return;
    }
    switch (jet_) {
        case JetType::Text:
        case JetType::Memo:
            return ConvertText(stmt, index, kind, row, out);
        case JetType::Byte:
        case JetType::Integer:
        case JetType::Long:
            return ConvertWhole(stmt, index, kind, row, out);
        case JetType::DateTime:
            return ConvertDate(stmt, index, kind, row, out);
        case JetType::Boolean:
            if (kind == SQLITE_INTEGER)
                out = sqlite3_column_int64(stmt, index) != 0;
            else if (kind == SQLITE_FLOAT)
                out = sqlite3_column_double(stmt, index) != 0.0;
            else
                Fail(row, "the value " + Shown(stmt, index) + " is not a Boolean.");
            return;
        case JetType::Single:
        case JetType::Double:
        case JetType::Numeric: {
            if (kind != SQLITE_INTEGER && kind != SQLITE_FLOAT)
                Fail(row, "the value " + Shown(stmt, index) + " is not a number.");
            const double d = sqlite3_column_double(stmt, index);
            if (!std::isfinite(d))
                Fail(row, "the value " + Shown(stmt, index) + " is not a finite number.");
            if (jet_ == JetType::Single && std::fabs(d) > FLT_MAX)
                Fail(row, "the value " + Shown(stmt, index) + " does not fit a Single.");
            out = d;
            return;
        }
        case JetType::Currency: {
            std::optional<std::int64_t> scaled;
            if (kind == SQLITE_INTEGER) {
                const std::int64_t n = sqlite3_column_int64(stmt, index);
                if (n <= std::numeric_limits<std::int64_t>::max() / 10000 &&
                    n >= std::numeric_limits<std::int64_t>::min() / 10000)
                    scaled = n * 10000;
            } else if (kind == SQLITE_FLOAT) {
                scaled = CurrencyFromDouble(sqlite3_column_double(stmt, index));
            } else {
                Fail(row, "the value " + Shown(stmt, index) + " is not a number.");
            }
            if (!scaled) Fail(row, "the value " + Shown(stmt, index) + " lies outside Currency.");
            out = mdb::Currency{*scaled};
            return;
        }
        case JetType::OLE:
        case JetType::Binary: {
            if (kind != SQLITE_BLOB && kind != SQLITE_TEXT)
                Fail(row, "the value " + Shown(stmt, index) + " is not binary data.");
            const auto* p = static_cast<const std::uint8_t*>(sqlite3_column_blob(stmt, index));
            const auto n = static_cast<std::size_t>(sqlite3_column_bytes(stmt, index));
            if (jet_ == JetType::Binary && n > 255)
                Fail(row, "the value has " + std::to_string(n) +
                              " bytes, more than the 255 of the column.");
            Slot<mdb::Bytes>(out).assign(p, p + n);
            return;
        }
        case JetType::GUID: {
            if (kind == SQLITE_BLOB && sqlite3_column_bytes(stmt, index) == 16) {
                mdb::Guid g;
                std::memcpy(g.bytes.data(), sqlite3_column_blob(stmt, index), 16);
                out = g;
                return;
            }
            const auto g = kind == SQLITE_TEXT ? GuidFromText(TextOf(stmt, index)) : std::nullopt;
            if (!g) Fail(row, "the value " + Shown(stmt, index) + " is not a GUID.");
            out = *g;
            return;
        }
    }
    Fail(row, "the column's type cannot be written.");
}

void ValueConverter::ConvertText(sqlite3_stmt* stmt, int index, int kind, std::uint64_t row,
                                 mdb::Value& out) const {
    std::string& text = Slot<std::string>(out);
    if (kind == SQLITE_TEXT) {
        const std::string_view v = TextOf(stmt, index);
        text.assign(v.data(), v.size());
    } else if (kind == SQLITE_INTEGER || kind == SQLITE_FLOAT) {
        // A number in a text column reads as Access shows it.
        text = (kind == SQLITE_INTEGER
                    ? store::Value(static_cast<std::int64_t>(sqlite3_column_int64(stmt, index)))
                    : store::Value(sqlite3_column_double(stmt, index)))
                   .ToText();
    } else {
        Fail(row, "the value " + Shown(stmt, index) + " is not text.");
    }
    const auto units = Utf16Units(text);
    if (!units) Fail(row, "the text " + Shown(stmt, index) + " is not valid UTF-8.");
    if (jet_ == JetType::Text && *units > static_cast<std::size_t>(column_.type.width))
        Fail(row, "the text " + Shown(stmt, index) + " has " + std::to_string(*units) +
                      " characters, more than the " + std::to_string(column_.type.width) +
                      " of the column.");
}

void ValueConverter::ConvertWhole(sqlite3_stmt* stmt, int index, int kind, std::uint64_t row,
                                  mdb::Value& out) const {
    std::int64_t n = 0;
    if (kind == SQLITE_INTEGER) {
        n = sqlite3_column_int64(stmt, index);
    } else if (kind == SQLITE_FLOAT) {
        // Jet rounds a fraction stored into a whole-number column half to even, as CLng does.
        const double d = std::nearbyint(sqlite3_column_double(stmt, index));
        if (!std::isfinite(d) || d < static_cast<double>(low_) || d > static_cast<double>(high_))
            Fail(row, "the value " + Shown(stmt, index) + " lies outside " + std::to_string(low_) +
                          " to " + std::to_string(high_) + ".");
        n = static_cast<std::int64_t>(d);
    } else {
        Fail(row, "the value " + Shown(stmt, index) + " is not a whole number.");
    }
    if (n < low_ || n > high_)
        Fail(row, "the value " + Shown(stmt, index) + " lies outside " + std::to_string(low_) +
                      " to " + std::to_string(high_) + ".");
    out = n;
}

void ValueConverter::ConvertDate(sqlite3_stmt* stmt, int index, int kind, std::uint64_t row,
                                 mdb::Value& out) const {
    double days = 0;
    if (kind == SQLITE_TEXT) {
        try {
            days = mdb::DateTimeFromText(TextOf(stmt, index)).days;
        } catch (const Error&) {
            Fail(row, "the value " + Shown(stmt, index) +
                          " is not a date of the form yyyy-mm-dd hh:mm:ss (years 100 to 9999).");
        }
    } else if (kind == SQLITE_INTEGER || kind == SQLITE_FLOAT) {
        days =
            sqlite3_column_double(stmt, index);  // days since 1899-12-30, as CDate reads a number
    } else {
        Fail(row, "the value " + Shown(stmt, index) + " is not a date.");
    }
    if (!std::isfinite(days) || days < kFirstDay || days >= kAfterLastDay)
        Fail(row, "the value " + Shown(stmt, index) + " lies outside the dates Access knows.");
    out = mdb::DateTime{days};
}

// --- from a file into the store ---

store::Value StoreValue(const mdb::Value& value, JetType type) {
    return std::visit(
        [type](const auto& v) -> store::Value {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, mdb::Null>) {
                return {};
            } else if constexpr (std::is_same_v<T, bool>) {
                return v ? -1 : 0;
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                return v;
            } else if constexpr (std::is_same_v<T, double>) {
                return v;
            } else if constexpr (std::is_same_v<T, mdb::Currency>) {
                return static_cast<double>(v.scaled) / 10000.0;
            } else if constexpr (std::is_same_v<T, mdb::DateTime>) {
                return mdb::DateTimeToText(v);
            } else if constexpr (std::is_same_v<T, std::string>) {
                if (type == JetType::Numeric) {
                    // The reader gives a Decimal as its exact text; the store keeps a REAL.
                    double d = 0;
                    const auto [p, ec] = std::from_chars(v.data(), v.data() + v.size(), d);
                    if (ec != std::errc() || p != v.data() + v.size())
                        Raise("The decimal '" + v + "' is not a number.");
                    return d;
                }
                return v;
            } else if constexpr (std::is_same_v<T, mdb::Bytes>) {
                return std::vector<std::uint8_t>(v.begin(), v.end());
            } else {
                return GuidToText(v);
            }
        },
        value);
}

}  // namespace tb::storefile
