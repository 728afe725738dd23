#include "mdb/table_definition.h"

#include <algorithm>
#include <cstring>

namespace tb::mdb::jet {

namespace {

void AppendName(ByteVec& out, const std::u16string& name) {
    Append16(out, static_cast<std::uint16_t>(name.size() * 2));
    for (char16_t c : name) Append16(out, c);
}

constexpr std::size_t kContinuationData = kPageSize - kTdefContinuationHeader;

}  // namespace

ByteVec EncodeTableDefinition(const TableDefinition& def) {
    ByteVec out(kTdefHeaderSize, 0);
    std::uint8_t* h = out.data();
    h[0] = kPageTdef;
    h[1] = 0x01;
    Put32(h + 12, kTdefMagic);
    Put32(h + 16, def.rowCount);
    Put32(h + 20, def.lastAutoNumber);
    h[24] = 0x01;  // lets Access hand out auto-numbers
    h[40] = def.tableType;
    const auto columnCount = static_cast<std::uint16_t>(def.columns.size());
    Put16(h + 41, columnCount);  // max columns: equal while no column was ever deleted
    Put16(h + 43, def.varColumns);
    Put16(h + 45, columnCount);
    Put32(h + 47, static_cast<std::uint32_t>(def.logicalIndexes.size()));
    Put32(h + 51, static_cast<std::uint32_t>(def.realIndexes.size()));
    Put32(h + 55, def.ownedPages.Encoded());
    Put32(h + 59, def.freePages.Encoded());

    for (const TdefRealIndex& index : def.realIndexes) {
        Append32(out, 0);
        Append32(out, index.uniqueKeys);
        Append32(out, 0);
    }
    for (const TdefColumn& c : def.columns) {
        out.push_back(c.type);
        Append32(out, kTdefMagic);
        Append16(out, c.number);
        Append16(out, c.varIndex);
        Append16(out, c.position);
        // Sort order 1033 (General), version 0; Access writes it for every type.
        out.insert(out.end(), {0x09, 0x04, 0x00, 0x00});
        out.push_back(c.flags);
        out.push_back(c.extFlags);
        Append32(out, 0);
        Append16(out, c.fixedOffset);
        Append16(out, c.length);
    }
    for (const TdefColumn& c : def.columns) AppendName(out, c.name);
    for (const TdefRealIndex& index : def.realIndexes) {
        Append32(out, kIndexMagic);
        for (std::size_t k = 0; k < 10; ++k) {
            if (k < index.columns.size()) {
                Append16(out, index.columns[k].column);
                out.push_back(index.columns[k].flags);
            } else {
                Append16(out, 0xFFFF);
                out.push_back(index.unusedSlotFlags[k]);
            }
        }
        Append32(out, index.usageMap.Encoded());
        Append32(out, index.rootPage);
        Append32(out, index.unknown);
        out.push_back(index.flags);
        out.insert(out.end(), 5, 0x00);
    }
    for (const TdefLogicalIndex& index : def.logicalIndexes) {
        Append32(out, kTdefMagic);
        Append32(out, index.number);
        Append32(out, index.realIndex);
        out.push_back(0x00);        // related table type
        Append32(out, 0xFFFFFFFF);  // related index: none
        Append32(out, 0);           // related table
        out.push_back(index.cascadeUpdates);
        out.push_back(index.cascadeDeletes);
        out.push_back(index.kind);
        Append32(out, 0);
    }
    for (const TdefLogicalIndex& index : def.logicalIndexes) AppendName(out, index.name);
    for (const TdefLongValue& lv : def.longValues) {
        Append16(out, lv.column);
        Append32(out, lv.ownedPages.Encoded());
        Append32(out, lv.freePages.Encoded());
    }
    Append16(out, 0xFFFF);
    Put32(out.data() + 8, static_cast<std::uint32_t>(out.size()));
    return out;
}

std::size_t EncodedTableDefinitionSize(const TableDefinition& def) {
    std::size_t size = kTdefHeaderSize + def.realIndexes.size() * kTdefRealIndexSize +
                       def.columns.size() * kTdefColumnSize +
                       def.realIndexes.size() * kTdefIndexColumnsSize +
                       def.logicalIndexes.size() * kTdefLogicalIndexSize +
                       def.longValues.size() * kTdefLongValueSize + 2;
    for (const TdefColumn& c : def.columns) size += 2 + 2 * c.name.size();
    for (const TdefLogicalIndex& i : def.logicalIndexes) size += 2 + 2 * i.name.size();
    return size;
}

std::size_t TdefPageCount(std::size_t definitionSize) {
    if (definitionSize <= kPageSize) return 1;
    return 1 + (definitionSize - kPageSize + kContinuationData - 1) / kContinuationData;
}

void BuildTdefPage(const ByteVec& definition, std::size_t index, std::uint32_t nextPage,
                   std::uint8_t* page) {
    std::memset(page, 0, kPageSize);
    std::size_t used;
    if (index == 0) {
        used = std::min(definition.size(), kPageSize);
        std::memcpy(page, definition.data(), used);
    } else {
        const std::size_t from = kPageSize + (index - 1) * kContinuationData;
        const std::size_t n = std::min(definition.size() - from, kContinuationData);
        page[0] = kPageTdef;
        page[1] = 0x01;
        std::memcpy(page + kTdefContinuationHeader, definition.data() + from, n);
        used = kTdefContinuationHeader + n;
    }
    // Free space as Jet counts it: eight bytes are always held back.
    Put16(page + 2, static_cast<std::uint16_t>(used + 8 >= kPageSize ? 0 : kPageSize - used - 8));
    Put32(page + 4, nextPage);
}

}  // namespace tb::mdb::jet
