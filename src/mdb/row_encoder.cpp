#include "mdb/row_encoder.h"

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "common/encoding.h"
#include "common/error.h"
#include "mdb/date_time.h"
#include "mdb/jet_text.h"

namespace tb::mdb::jet {

namespace {

// Shortest exact form, independent of the process locale.
std::string Number(double v) {
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
}

// The value as text for a message, cut short.
std::string Show(const Value& value) {
    return std::visit(
        [](const auto& v) -> std::string {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, Null>) {
                return "Null";
            } else if constexpr (std::is_same_v<T, bool>) {
                return v ? "True" : "False";
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                return std::to_string(v);
            } else if constexpr (std::is_same_v<T, double>) {
                return Number(v);
            } else if constexpr (std::is_same_v<T, Currency>) {
                return std::to_string(v.scaled) + "/10000";
            } else if constexpr (std::is_same_v<T, DateTime>) {
                return "date " + Number(v.days);
            } else if constexpr (std::is_same_v<T, std::string>) {
                std::string s = v.size() > 40 ? v.substr(0, 40) + "..." : v;
                return "'" + s + "'";
            } else if constexpr (std::is_same_v<T, Bytes>) {
                return std::to_string(v.size()) + " bytes";
            } else {
                return "a GUID";
            }
        },
        value);
}

// Whole numbers arrive as int64 or as doubles without a fraction (SQLite REAL).
bool AsInteger(const Value& value, std::int64_t& out) {
    if (const auto* i = std::get_if<std::int64_t>(&value)) {
        out = *i;
        return true;
    }
    if (const auto* d = std::get_if<double>(&value)) {
        if (std::isfinite(*d) && std::trunc(*d) == *d && std::fabs(*d) < 9.2e18) {
            out = static_cast<std::int64_t>(*d);
            return true;
        }
    }
    return false;
}

bool AsDouble(const Value& value, double& out) {
    if (const auto* d = std::get_if<double>(&value)) {
        out = *d;
        return true;
    }
    if (const auto* i = std::get_if<std::int64_t>(&value)) {
        out = static_cast<double>(*i);
        return true;
    }
    return false;
}

}  // namespace

RowEncoder::RowEncoder(const TableLayout& layout, std::vector<LongValueColumn>* longValues)
    : layout_(layout), longValues_(longValues) {
    maskSize_ = (layout_.columns.size() + 7) / 8;
    offsets_.resize(layout_.varOrder.size());
    out_.reserve(kMaxRowSize + 64);
}

void RowEncoder::Fail(const ColumnLayout& column, const std::string& problem) const {
    Raise("Table \"" + layout_.name + "\", row " + std::to_string(rowNumber_) + ", column \"" +
          column.name + "\" (" + std::string(JetFacts(column.type).shownName) + "): " + problem);
}

void RowEncoder::EncodeFixed(const ColumnLayout& c, const Value& value, std::uint8_t* at) {
    std::int64_t i = 0;
    double d = 0;
    auto range = [&](std::int64_t lo, std::int64_t hi) {
        if (!AsInteger(value, i)) Fail(c, "the value " + Show(value) + " is not a whole number.");
        if (i < lo || i > hi) {
            Fail(c, "the value " + Show(value) + " lies outside " + std::to_string(lo) + " to " +
                        std::to_string(hi) + ".");
        }
    };
    switch (c.type) {
        case JetType::Byte:
            range(0, 255);
            at[0] = static_cast<std::uint8_t>(i);
            break;
        case JetType::Integer:
            range(-32768, 32767);
            Put16(at, static_cast<std::uint16_t>(i));
            break;
        case JetType::Long:
            range(std::numeric_limits<std::int32_t>::min(),
                  std::numeric_limits<std::int32_t>::max());
            Put32(at, static_cast<std::uint32_t>(i));
            if (c.autoNumber && i > static_cast<std::int64_t>(lastAutoNumber_)) {
                lastAutoNumber_ = static_cast<std::uint32_t>(i);
            }
            break;
        case JetType::Currency: {
            std::int64_t scaled = 0;
            if (const auto* cur = std::get_if<Currency>(&value)) {
                scaled = cur->scaled;
            } else if (const auto* n = std::get_if<std::int64_t>(&value)) {
                if (*n > std::numeric_limits<std::int64_t>::max() / 10000 ||
                    *n < std::numeric_limits<std::int64_t>::min() / 10000) {
                    Fail(c, "the value " + Show(value) + " is too large for Currency.");
                }
                scaled = *n * 10000;
            } else if (AsDouble(value, d)) {
                const double s = std::round(d * 10000.0);
                if (!std::isfinite(s) || s >= 9.2233720368547758e18 || s < -9.2233720368547758e18) {
                    Fail(c, "the value " + Show(value) + " is too large for Currency.");
                }
                scaled = static_cast<std::int64_t>(s);
            } else {
                Fail(c, "the value " + Show(value) + " is not a number.");
            }
            Put64(at, static_cast<std::uint64_t>(scaled));
            break;
        }
        case JetType::Single: {
            if (!AsDouble(value, d)) Fail(c, "the value " + Show(value) + " is not a number.");
            if (!std::isfinite(d) || std::fabs(d) > FLT_MAX) {
                Fail(c, "the value " + Show(value) + " does not fit a Single.");
            }
            const float f = static_cast<float>(d);
            std::uint32_t bits;
            std::memcpy(&bits, &f, sizeof bits);
            Put32(at, bits);
            break;
        }
        case JetType::Double:
            if (!AsDouble(value, d)) Fail(c, "the value " + Show(value) + " is not a number.");
            if (!std::isfinite(d)) Fail(c, "the value " + Show(value) + " is not a finite number.");
            PutDouble(at, d);
            break;
        case JetType::DateTime: {
            if (const auto* dt = std::get_if<DateTime>(&value)) {
                d = dt->days;
            } else if (const auto* text = std::get_if<std::string>(&value)) {
                try {
                    d = DateTimeFromText(*text).days;
                } catch (const Error& e) {
                    Fail(c, e.description());
                }
            } else if (!AsDouble(value, d)) {
                Fail(c, "the value " + Show(value) + " is not a date.");
            }
            // Access dates run from the year 100 to 9999.
            if (!std::isfinite(d) || d < -657434.0 || d >= 2958466.0) {
                Fail(c, "the value " + Show(value) + " lies outside the dates Access knows.");
            }
            PutDouble(at, d);
            break;
        }
        case JetType::GUID: {
            const auto* g = std::get_if<Guid>(&value);
            if (!g) Fail(c, "the value " + Show(value) + " is not a GUID.");
            std::memcpy(at, g->bytes.data(), 16);
            break;
        }
        default:
            Fail(c, "unexpected fixed column type.");
    }
}

void RowEncoder::EncodeLongValue(const ColumnLayout& c, const Value& value, long& budget) {
    payload_.clear();
    if (c.type == JetType::Memo) {
        const auto* text = std::get_if<std::string>(&value);
        if (!text) Fail(c, "the value " + Show(value) + " is not text.");
        if (!Utf8ToUtf16Checked(*text, units_))
            Fail(c, "the text " + Show(value) + " is not valid UTF-8.");
        AppendText(units_, c.compress && units_.size() <= kMaxCompressedMemoChars, payload_);
    } else {
        if (const auto* b = std::get_if<Bytes>(&value)) {
            payload_.assign(b->begin(), b->end());
        } else if (const auto* s = std::get_if<std::string>(&value)) {
            payload_.assign(s->begin(), s->end());
        } else {
            Fail(c, "the value " + Show(value) + " is not binary data.");
        }
    }
    if (payload_.size() > kLongValueLengthMask) Fail(c, "the value is longer than 1 GB.");
    budget += kLongValueDescriptorSize;  // held back for this column before
    const std::size_t at = out_.size();
    out_.resize(at + kLongValueDescriptorSize, 0);
    if (payload_.size() <= kMaxInlineLongValue &&
        static_cast<long>(kLongValueDescriptorSize + payload_.size()) <= budget) {
        Put32(out_.data() + at, static_cast<std::uint32_t>(payload_.size()) | kLongValueInline);
        out_.insert(out_.end(), payload_.begin(), payload_.end());
    } else {
        (*longValues_)[static_cast<std::size_t>(c.longValueSlot)].Store(
            payload_.data(), payload_.size(), out_.data() + at);
    }
    budget -= static_cast<long>(out_.size() - at);
}

const ByteVec& RowEncoder::Encode(const Row& row, std::uint64_t rowNumber) {
    rowNumber_ = rowNumber;
    const std::size_t columnCount = layout_.columns.size();
    if (row.size() != columnCount) {
        Raise("Table \"" + layout_.name + "\", row " + std::to_string(rowNumber) + ": " +
              std::to_string(row.size()) + " values for " + std::to_string(columnCount) +
              " columns.");
    }
    out_.assign(2 + layout_.fixedSize, 0);
    Put16(out_.data(), static_cast<std::uint16_t>(columnCount));
    mask_.assign(maskSize_, 0);
    auto setBit = [&](std::uint16_t number) {
        mask_[number / 8] = static_cast<std::uint8_t>(mask_[number / 8] | (1u << (number % 8)));
    };

    std::size_t longValuesPresent = 0;
    for (const ColumnLayout& c : layout_.columns) {
        const Value& value = row[c.number];
        const bool null = std::holds_alternative<Null>(value);
        if (c.variable) {
            if (!null && c.longValueSlot >= 0) ++longValuesPresent;
            continue;
        }
        if (c.type == JetType::Boolean) {
            // Jet has no Null Boolean: the bit is the value.
            bool b = false;
            std::int64_t i = 0;
            if (const auto* v = std::get_if<bool>(&value)) {
                b = *v;
            } else if (AsInteger(value, i)) {
                b = i != 0;
            } else if (!null) {
                Fail(c, "the value " + Show(value) + " is not a Boolean.");
            }
            if (b) setBit(c.number);
            continue;
        }
        if (null) {
            if (!c.autoNumber) continue;
            if (lastAutoNumber_ >=
                static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
                Fail(c, "the auto-numbers are used up.");
            }
            Put32(out_.data() + 2 + c.fixedOffset, ++lastAutoNumber_);
            setBit(c.number);
            continue;
        }
        EncodeFixed(c, value, out_.data() + 2 + c.fixedOffset);
        setBit(c.number);
    }

    const std::size_t varCount = layout_.varOrder.size();
    if (varCount > 0) {
        // Room left for variable data once the fixed part, the trailer and a descriptor for
        // each long value are counted; long values go out of the row when it runs short.
        long budget = static_cast<long>(kMaxRowSize) - static_cast<long>(out_.size()) -
                      static_cast<long>(maskSize_ + 4 + 2 * varCount) -
                      static_cast<long>(longValuesPresent * kLongValueDescriptorSize);
        for (std::size_t v = 0; v < varCount; ++v) {
            const ColumnLayout& c = layout_.columns[layout_.varOrder[v]];
            offsets_[v] = static_cast<std::uint16_t>(std::min<std::size_t>(out_.size(), 0xFFFF));
            const Value& value = row[c.number];
            if (std::holds_alternative<Null>(value)) continue;
            setBit(c.number);
            const std::size_t before = out_.size();
            switch (c.type) {
                case JetType::Text: {
                    const auto* text = std::get_if<std::string>(&value);
                    if (!text) Fail(c, "the value " + Show(value) + " is not text.");
                    if (!Utf8ToUtf16Checked(*text, units_)) {
                        Fail(c, "the text " + Show(value) + " is not valid UTF-8.");
                    }
                    if (units_.size() > c.maxLength) {
                        Fail(c, "the text " + Show(value) + " has " +
                                    std::to_string(units_.size()) + " characters, more than the " +
                                    std::to_string(c.maxLength) + " of the column.");
                    }
                    AppendText(units_, c.compress, out_);
                    break;
                }
                case JetType::Binary: {
                    const auto* b = std::get_if<Bytes>(&value);
                    if (!b) Fail(c, "the value " + Show(value) + " is not binary data.");
                    if (b->size() > c.maxLength) {
                        Fail(c, "the value has " + std::to_string(b->size()) +
                                    " bytes, more than the " + std::to_string(c.maxLength) +
                                    " of the column.");
                    }
                    out_.insert(out_.end(), b->begin(), b->end());
                    break;
                }
                default:
                    EncodeLongValue(c, value, budget);
                    continue;
            }
            budget -= static_cast<long>(out_.size() - before);
        }
        const std::size_t end = out_.size();
        if (end + maskSize_ + 4 + 2 * varCount > kMaxRowSize) {
            Raise("Table \"" + layout_.name + "\", row " + std::to_string(rowNumber) + " needs " +
                  std::to_string(end + maskSize_ + 4 + 2 * varCount) +
                  " bytes; a row may hold at most 4060 (Memo and OLE values apart).");
        }
        Append16(out_, static_cast<std::uint16_t>(end));
        for (std::size_t v = varCount; v-- > 0;) Append16(out_, offsets_[v]);
        Append16(out_, static_cast<std::uint16_t>(varCount));
    }
    out_.insert(out_.end(), mask_.begin(), mask_.end());
    if (out_.size() > kMaxRowSize) {
        Raise("Table \"" + layout_.name + "\", row " + std::to_string(rowNumber) + " needs " +
              std::to_string(out_.size()) + " bytes; a row may hold at most 4060.");
    }
    return out_;
}

}  // namespace tb::mdb::jet
