#include "mdb/user_indexes.h"

#include <algorithm>

#include "common/encoding.h"
#include "common/error.h"
#include "common/log.h"
#include "common/text.h"
#include "mdb/jet_text.h"
#include "mdb/page_file.h"

namespace tb::mdb::jet {

namespace {

// A key's bytes shown for a message: the row values are gone by the time duplicates show.
std::string ShowKey(const IndexEntries& entries, std::size_t i) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (std::size_t k = 0; k < entries.keySize(i); ++k) {
        if (k) out += ' ';
        out += kHex[entries.data(i)[k] >> 4];
        out += kHex[entries.data(i)[k] & 0x0F];
    }
    return out;
}

// A character for a message: itself and its code point, "'Δ' (U+0394)".
std::string ShowCharacter(char32_t c) {
    std::u16string units;
    if (c >= 0x10000) {
        units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
        units += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
        units += static_cast<char16_t>(c);
    }
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string code;
    int shift = 12;
    while (shift < 20 && (c >> (shift + 4)) != 0) shift += 4;
    for (; shift >= 0; shift -= 4) code += kHex[(c >> shift) & 0xF];
    return "'" + Utf16ToUtf8(units) + "' (U+" + code + ")";
}

}  // namespace

UserIndexes::UserIndexes(const TableLayout& layout, const std::vector<IndexDef>& indexes)
    : layout_(layout), maskSize_((layout.columns.size() + 7) / 8) {
    const std::string table = "table \"" + layout.name + "\"";
    bool havePrimary = false;
    std::vector<ByteVec> names;
    for (const IndexDef& def : indexes) {
        const std::string what = "index \"" + def.name + "\" of " + table;
        CheckObjectName(def.name, what);
        ByteVec nameKey = NameKey(def.name);
        if (std::find(names.begin(), names.end(), nameKey) != names.end())
            Raise("The " + table + " has two indexes named \"" + def.name + "\".");
        names.push_back(std::move(nameKey));
        if (def.primary && havePrimary) Raise("The " + table + " has two primary keys.");
        havePrimary = havePrimary || def.primary;
        if (def.columns.empty() || def.columns.size() > kMaxIndexColumns)
            Raise("The " + what + " has " + std::to_string(def.columns.size()) +
                  " columns; an index takes 1 to 10.");

        Index index;
        index.def = def;
        if (def.primary || def.unique) index.flags |= kIndexUnique;
        if (def.primary) index.flags |= kIndexRequired;
        if (def.ignoreNulls) index.flags |= kIndexIgnoreNulls;
        for (const IndexKeyColumn& k : def.columns) {
            const ColumnLayout* column = nullptr;
            for (const ColumnLayout& c : layout.columns)
                if (IEquals(c.name, k.column)) column = &c;
            if (!column)
                Raise("The " + what + " names the column \"" + k.column +
                      "\", which the table does not have.");
            for (const KeyColumn& taken : index.columns)
                if (taken.column == column)
                    Raise("The " + what + " names the column \"" + column->name + "\" twice.");
            if (!JetFacts(column->type).indexed)
                Raise("The " + what + " cannot hold the column \"" + column->name +
                      "\": its type cannot be indexed.");
            index.columns.push_back({column, k.ascending});
        }
        indexes_.push_back(std::move(index));
    }
    // The primary key comes first, as Access lists it.
    std::stable_partition(indexes_.begin(), indexes_.end(),
                          [](const Index& i) { return i.def.primary; });
    kept_ = indexes_.size();
}

void UserIndexes::LeaveOut(Index& index, const std::string& why) {
    LogLine("Index " + index.def.name + " of table " + layout_.name + " is not written: " + why);
    index.leftOut = true;
    index.entries.Clear();
    --kept_;
}

void UserIndexes::Describe(TableDefinition& tdef) const {
    tdef.realIndexes.clear();
    tdef.logicalIndexes.clear();
    for (const Index& index : indexes_) {
        if (index.leftOut) continue;
        const auto number = static_cast<std::uint32_t>(tdef.realIndexes.size());
        TdefRealIndex real;
        for (const KeyColumn& k : index.columns)
            real.columns.push_back(
                {k.column->number, static_cast<std::uint8_t>(k.ascending ? 0x01 : 0x00)});
        real.flags = index.flags;
        tdef.realIndexes.push_back(std::move(real));

        TdefLogicalIndex logical;
        logical.number = number;
        logical.realIndex = number;
        logical.kind = index.def.primary ? kLogicalPrimaryKey : 0;
        Utf8ToUtf16Checked(index.def.name, logical.name);
        tdef.logicalIndexes.push_back(std::move(logical));
    }
}

void UserIndexes::Add(const ByteVec& encoded, const Row& row, std::uint32_t pageOrdinal,
                      std::uint8_t rowNumber, std::uint64_t rowCount) {
    const std::uint8_t* mask = encoded.data() + encoded.size() - maskSize_;
    for (Index& index : indexes_) {
        if (index.leftOut) continue;
        ByteVec& key = key_;
        key.clear();
        bool allNull = true;
        bool written = true;
        for (const KeyColumn& k : index.columns) {
            const ColumnLayout& c = *k.column;
            StoredKeyValue v;
            const bool bit = (mask[c.number / 8] >> (c.number % 8)) & 1;
            v.null = c.type != JetType::Boolean && !bit;
            v.boolean = bit;
            if (!c.variable) v.fixed = encoded.data() + 2 + c.fixedOffset;
            if (c.type == JetType::Text && !v.null) {
                Utf8ToUtf16Checked(std::get<std::string>(row[c.number]), units_);
                v.text = units_;
            }
            allNull = allNull && v.null;
            if (v.null && index.def.primary) {
                LeaveOut(index, "its key column " + c.name + " is Null in row " +
                                    std::to_string(rowCount) +
                                    ", and a primary key takes no Null.");
                written = false;
                break;
            }
            if (!AppendKeyColumn(c.type, k.ascending, v, key)) {
                const std::string value = std::get<std::string>(row[c.number]);
                const auto unknown = FirstUnsortable(units_);
                LeaveOut(index,
                         "the value '" + value + "' of column " + c.name + " (row " +
                             std::to_string(rowCount) + ") holds " +
                             (unknown ? ShowCharacter(*unknown) : std::string("a character")) +
                             ", whose place in the Access sort order is not known.");
                written = false;
                break;
            }
        }
        if (!written) continue;
        if (key.size() > kMaxKeySize) {
            LeaveOut(index, "its key in row " + std::to_string(rowCount) + " takes " +
                                std::to_string(key.size()) + " bytes, more than the " +
                                std::to_string(kMaxKeySize) + " an index page can hold twice.");
            continue;
        }
        if (allNull && index.def.ignoreNulls) continue;
        index.entries.Add(key, {pageOrdinal, rowNumber});
    }
}

std::vector<UserIndexes::Written> UserIndexes::Write(const std::vector<std::uint32_t>& dataPages,
                                                     std::uint32_t tdefPage, PageFile& file) {
    std::vector<Written> out;
    for (Index& index : indexes_) {
        if (index.leftOut) continue;
        // Page numbers grow with the ordinals, so replacing one by the other keeps the order.
        index.entries.MapPages(dataPages);
        index.entries.Sort();
        Written w;
        w.uniqueKeys = index.entries.CountDistinctKeys();
        if ((index.flags & kIndexUnique) && w.uniqueKeys != index.entries.size()) {
            LeaveOut(index, "it is unique but holds the same key twice (key bytes " +
                                ShowKey(index.entries, index.entries.FirstDuplicate()) +
                                "; Access compares text ignoring case and trailing blanks).");
            continue;
        }
        w.tree = WriteIndex(index.entries, tdefPage, file.Allocate(), file, true);
        index.entries.Clear();
        out.push_back(std::move(w));
    }
    return out;
}

}  // namespace tb::mdb::jet
