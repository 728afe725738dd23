#include "mdb/jet_file_parser.h"

#include <algorithm>
#include <cstring>

#include "common/encoding.h"

namespace tb::mdb::test {

std::uint16_t Le16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
std::uint32_t Le32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

namespace {

int FixedSize(const ParsedColumn& c) {
    const std::uint8_t type = c.type;
    switch (type) {
        case 0x01:
            return 0;
        case 0x02:
            return 1;
        case 0x03:
            return 2;
        case 0x04:
            return 4;
        case 0x05:
            return 8;
        case 0x06:
            return 4;
        case 0x07:
            return 8;
        case 0x08:
            return 8;
        case 0x0F:
            return 16;
        case 0x10:
            return 17;
        default:
            return c.length;  // types of Access's own tables, stored as long as declared
    }
}

std::string Utf16Name(const std::uint8_t* p, std::size_t bytes) {
    std::u16string s;
    for (std::size_t i = 0; i + 1 < bytes; i += 2) s.push_back(static_cast<char16_t>(Le16(p + i)));
    return Utf16ToUtf8(s);
}

std::string Hex(std::uint32_t v) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%X", v);
    return buf;
}

}  // namespace

std::string DecodeJetText(const Bytes8& raw) {
    std::u16string s;
    if (raw.size() >= 2 && raw[0] == 0xFF && raw[1] == 0xFE) {
        bool compressed = true;
        for (std::size_t i = 2; i < raw.size();) {
            if (raw[i] == 0x00) {
                compressed = !compressed;
                ++i;
            } else if (compressed) {
                s.push_back(raw[i++]);
            } else {
                if (i + 1 >= raw.size()) break;
                s.push_back(static_cast<char16_t>(Le16(&raw[i])));
                i += 2;
            }
        }
    } else {
        for (std::size_t i = 0; i + 1 < raw.size(); i += 2)
            s.push_back(static_cast<char16_t>(Le16(&raw[i])));
    }
    return Utf16ToUtf8(s);
}

const ParsedColumn* ParsedTdef::Column(std::uint16_t number) const {
    for (const auto& c : columns) {
        if (c.number == number) return &c;
    }
    return nullptr;
}

const ParsedColumn* ParsedTdef::Column(const std::string& name) const {
    for (const auto& c : columns) {
        if (c.name == name) return &c;
    }
    return nullptr;
}

JetFile::JetFile(std::string bytes) : bytes_(std::move(bytes)) {}

const std::uint8_t* JetFile::Page(std::uint32_t page) const {
    if (page >= pageCount()) return nullptr;
    return reinterpret_cast<const std::uint8_t*>(bytes_.data()) + std::size_t{page} * kPage;
}

std::vector<std::pair<std::uint16_t, std::uint16_t>> JetFile::RowSlots(std::uint32_t page) const {
    std::vector<std::pair<std::uint16_t, std::uint16_t>> out;
    const std::uint8_t* p = Page(page);
    if (!p || p[0] != 0x01) return out;
    const std::uint16_t n = Le16(p + 12);
    std::uint16_t previous = kPage;
    for (std::uint16_t i = 0; i < n && 14 + 2 * std::size_t{i} + 1 < kPage; ++i) {
        const std::uint16_t raw = Le16(p + 14 + 2 * i);
        const std::uint16_t start = raw & 0x1FFF;
        out.emplace_back(raw, start <= previous ? static_cast<std::uint16_t>(previous - start) : 0);
        // Deleted rows keep their place in the order of offsets.
        previous = start;
    }
    return out;
}

std::optional<Bytes8> JetFile::RowBytes(std::uint32_t page, std::uint8_t row) const {
    const std::uint8_t* p = Page(page);
    if (!p || p[0] != 0x01 || row >= Le16(p + 12)) return std::nullopt;
    const std::size_t start = Le16(p + 14 + 2 * std::size_t{row}) & 0x1FFF;
    const std::size_t end = row == 0 ? kPage : Le16(p + 14 + 2 * std::size_t{row} - 2) & 0x1FFF;
    if (start > end) return std::nullopt;
    return Bytes8(p + start, p + end);
}

ParsedTdef JetFile::ParseTdef(std::uint32_t firstPage) const {
    ParsedTdef t;
    Bytes8 d;
    std::uint32_t page = firstPage;
    while (page != 0) {
        const std::uint8_t* p = Page(page);
        if (!p || p[0] != 0x02 || p[1] != 0x01) {
            t.problems.push_back("page " + std::to_string(page) +
                                 " of the definition chain is not a definition page");
            return t;
        }
        if (std::find(t.pages.begin(), t.pages.end(), page) != t.pages.end()) {
            t.problems.push_back("the definition chain loops at page " + std::to_string(page));
            return t;
        }
        t.pages.push_back(page);
        if (d.empty()) {
            d.assign(p, p + kPage);
        } else {
            d.insert(d.end(), p + 8, p + kPage);
        }
        page = Le32(p + 4);
    }
    auto need = [&](std::size_t end) {
        if (end > d.size()) {
            t.problems.push_back("the definition ends early");
            return false;
        }
        return true;
    };
    if (!need(63)) return t;
    t.length = Le32(&d[8]);
    if (Le32(&d[12]) != 1625) t.problems.push_back("the definition lacks its magic number");
    t.rowCount = Le32(&d[16]);
    t.lastAutoNumber = Le32(&d[20]);
    t.tableType = d[40];
    t.maxColumns = Le16(&d[41]);
    t.varColumns = Le16(&d[43]);
    const std::uint16_t columnCount = Le16(&d[45]);
    const std::uint32_t logicalCount = Le32(&d[47]);
    const std::uint32_t realCount = Le32(&d[51]);
    t.ownedMap = Le32(&d[55]);
    t.freeMap = Le32(&d[59]);
    if (realCount > 64 || logicalCount > 64) {
        t.problems.push_back("implausible index counts");
        return t;
    }
    std::size_t o = 63;
    t.realIndexes.resize(realCount);
    for (auto& r : t.realIndexes) {
        if (!need(o + 12)) return t;
        r.uniqueKeys = Le32(&d[o + 4]);
        o += 12;
    }
    for (std::uint16_t i = 0; i < columnCount; ++i) {
        if (!need(o + 25)) return t;
        ParsedColumn c;
        c.type = d[o];
        c.number = Le16(&d[o + 5]);
        c.varIndex = Le16(&d[o + 7]);
        c.flags = d[o + 15];
        c.extFlags = d[o + 16];
        c.fixedOffset = Le16(&d[o + 21]);
        c.length = Le16(&d[o + 23]);
        t.columns.push_back(c);
        o += 25;
    }
    for (auto& c : t.columns) {
        if (!need(o + 2)) return t;
        const std::uint16_t n = Le16(&d[o]);
        if (!need(o + 2 + n)) return t;
        c.name = Utf16Name(&d[o + 2], n);
        o += 2 + n;
    }
    for (auto& r : t.realIndexes) {
        if (!need(o + 52)) return t;
        if (Le32(&d[o]) != 1923) t.problems.push_back("an index block lacks its magic number");
        for (int k = 0; k < 10; ++k) {
            const std::uint16_t col = Le16(&d[o + 4 + 3 * k]);
            if (col != 0xFFFF) r.columns.emplace_back(col, d[o + 6 + 3 * k]);
        }
        r.usageMap = Le32(&d[o + 34]);
        r.rootPage = Le32(&d[o + 38]);
        r.flags = d[o + 46];
        o += 52;
    }
    o += 28 * logicalCount;
    for (std::uint32_t i = 0; i < logicalCount; ++i) {
        if (!need(o + 2)) return t;
        const std::uint16_t n = Le16(&d[o]);
        if (!need(o + 2 + n)) return t;
        t.logicalIndexNames.push_back(Utf16Name(&d[o + 2], n));
        o += 2 + n;
    }
    for (;;) {
        if (!need(o + 2)) return t;
        const std::uint16_t col = Le16(&d[o]);
        if (col == 0xFFFF) {
            o += 2;
            break;
        }
        if (!need(o + 10)) return t;
        t.longValues.push_back({col, Le32(&d[o + 2]), Le32(&d[o + 6])});
        o += 10;
    }
    t.parsedLength = o;
    return t;
}

std::vector<std::uint32_t> JetFile::MapPages(const Bytes8& row, std::vector<std::string>& problems,
                                             std::vector<std::uint32_t>* bitmapPages) const {
    std::vector<std::uint32_t> pages;
    if (row.empty()) {
        problems.push_back("an empty usage-map row");
        return pages;
    }
    if (row[0] == 0x00) {
        if (row.size() < 5) {
            problems.push_back("a short inline usage map");
            return pages;
        }
        const std::uint32_t start = Le32(&row[1]);
        for (std::size_t bit = 0; bit < (row.size() - 5) * 8; ++bit) {
            if (row[5 + bit / 8] & (1u << (bit % 8)))
                pages.push_back(start + static_cast<std::uint32_t>(bit));
        }
    } else if (row[0] == 0x01) {
        constexpr std::uint32_t kPerPage = (kPage - 4) * 8;
        for (std::size_t slot = 0; 1 + 4 * slot + 4 <= row.size(); ++slot) {
            const std::uint32_t bitmap = Le32(&row[1 + 4 * slot]);
            if (bitmap == 0) continue;
            const std::uint8_t* p = Page(bitmap);
            if (!p || p[0] != 0x05) {
                problems.push_back("a reference usage map points to page " +
                                   std::to_string(bitmap) + ", which is no bitmap page");
                continue;
            }
            if (bitmapPages) bitmapPages->push_back(bitmap);
            for (std::uint32_t bit = 0; bit < kPerPage; ++bit) {
                if (p[4 + bit / 8] & (1u << (bit % 8)))
                    pages.push_back(static_cast<std::uint32_t>(slot) * kPerPage + bit);
            }
        }
    } else {
        problems.push_back("a usage map of unknown type " + std::to_string(row[0]));
    }
    return pages;
}

std::vector<bool> JetFile::GlobalFree(std::vector<std::string>& problems,
                                      std::vector<std::uint32_t>* bitmapPages) const {
    std::vector<bool> free(pageCount(), false);
    const auto row = RowBytes(1, 0);
    if (!row) {
        problems.push_back("page 1 holds no global usage map");
        return free;
    }
    if ((*row)[0] == 0x00) {
        // Pages outside an inline global map count as free.
        const std::uint32_t start = Le32(&(*row)[1]);
        const std::size_t bits = (row->size() - 5) * 8;
        for (std::uint32_t p = 0; p < pageCount(); ++p) {
            if (p < start || p >= start + bits) {
                free[p] = true;
            } else {
                const std::size_t bit = p - start;
                free[p] = ((*row)[5 + bit / 8] & (1u << (bit % 8))) != 0;
            }
        }
        return free;
    }
    std::fill(free.begin(), free.end(), true);  // slots without a bitmap page: all free
    constexpr std::uint32_t kPerPage = (kPage - 4) * 8;
    for (std::size_t slot = 0; 1 + 4 * slot + 4 <= row->size(); ++slot) {
        const std::uint32_t bitmap = Le32(&(*row)[1 + 4 * slot]);
        if (bitmap == 0) continue;
        const std::uint8_t* p = Page(bitmap);
        if (!p || p[0] != 0x05) {
            problems.push_back("the global map points to page " + std::to_string(bitmap) +
                               ", which is no bitmap page");
            continue;
        }
        if (bitmapPages) bitmapPages->push_back(bitmap);
        for (std::uint32_t bit = 0; bit < kPerPage; ++bit) {
            const std::uint32_t page = static_cast<std::uint32_t>(slot) * kPerPage + bit;
            if (page < pageCount()) free[page] = (p[4 + bit / 8] & (1u << (bit % 8))) != 0;
        }
    }
    return free;
}

std::optional<ParsedRow> JetFile::DecodeRow(const ParsedTdef& tdef, const Bytes8& row,
                                            std::string& problem) const {
    if (row.size() < 2) {
        problem = "a row shorter than its column count";
        return std::nullopt;
    }
    const std::uint16_t columns = Le16(row.data());
    const std::size_t maskSize = (columns + 7u) / 8u;
    if (row.size() < 2 + maskSize) {
        problem = "a row shorter than its null mask";
        return std::nullopt;
    }
    const std::uint8_t* mask = row.data() + row.size() - maskSize;
    std::vector<std::uint16_t> varOffsets;
    std::size_t eod = 0;
    if (tdef.varColumns > 0) {
        const std::size_t countAt = row.size() - maskSize - 2;
        const std::uint16_t varCount = Le16(&row[countAt]);
        if (countAt < 2 + 2 * std::size_t{varCount}) {
            problem = "a row too short for its variable offsets";
            return std::nullopt;
        }
        for (std::uint16_t i = 0; i < varCount; ++i)
            varOffsets.push_back(Le16(&row[countAt - 2 - 2 * i]));
        eod = Le16(&row[countAt - 2 - 2 * varCount]);
        const std::size_t trailerStart = countAt - 2 - 2 * std::size_t{varCount};
        if (eod > trailerStart) {
            problem = "a row whose variable data ends past its trailer";
            return std::nullopt;
        }
        for (std::size_t i = 0; i < varOffsets.size(); ++i) {
            const std::size_t end = i + 1 < varOffsets.size() ? varOffsets[i + 1] : eod;
            if (varOffsets[i] > end) {
                problem = "a row whose variable offsets do not ascend";
                return std::nullopt;
            }
        }
    }
    ParsedRow out;
    std::size_t count = tdef.maxColumns;
    for (const ParsedColumn& c : tdef.columns) count = std::max<std::size_t>(count, c.number + 1u);
    out.null.assign(count, true);
    out.raw.assign(count, {});
    for (const ParsedColumn& c : tdef.columns) {
        const bool bit = c.number < columns && (mask[c.number / 8] & (1u << (c.number % 8))) != 0;
        if (c.type == 0x01) {
            out.null[c.number] = false;
            out.raw[c.number] = {static_cast<std::uint8_t>(bit ? 1 : 0)};
            continue;
        }
        out.null[c.number] = !bit;
        if (c.fixed()) {
            const int size = FixedSize(c);
            if (size < 0 || 2 + c.fixedOffset + static_cast<std::size_t>(size) > row.size()) {
                problem = "a fixed column beyond the row";
                return std::nullopt;
            }
            if (bit)
                out.raw[c.number].assign(row.begin() + 2 + c.fixedOffset,
                                         row.begin() + 2 + c.fixedOffset + size);
        } else {
            if (c.varIndex >= varOffsets.size()) {
                if (bit) {
                    problem = "a variable column missing from the row";
                    return std::nullopt;
                }
                continue;
            }
            const std::size_t start = varOffsets[c.varIndex];
            const std::size_t end =
                c.varIndex + 1u < varOffsets.size() ? varOffsets[c.varIndex + 1] : eod;
            if (!bit && end != start) {
                problem = "a Null variable column that holds bytes";
                return std::nullopt;
            }
            if (bit)
                out.raw[c.number].assign(row.begin() + static_cast<long>(start),
                                         row.begin() + static_cast<long>(end));
        }
    }
    return out;
}

std::vector<ParsedRow> JetFile::TableRows(const ParsedTdef& tdef,
                                          std::vector<std::string>& problems) const {
    std::vector<ParsedRow> rows;
    const auto mapRow = RowBytes(tdef.ownedMap);
    if (!mapRow) {
        problems.push_back("the owned-pages map row " + Hex(tdef.ownedMap) + " does not exist");
        return rows;
    }
    for (std::uint32_t page : MapPages(*mapRow, problems)) {
        const auto slots = RowSlots(page);
        for (std::size_t r = 0; r < slots.size(); ++r) {
            if (slots[r].first & 0x8000) continue;  // deleted, or the target of an overflow row
            auto bytes = RowBytes(page, static_cast<std::uint8_t>(r));
            if (!bytes) {
                problems.push_back("page " + std::to_string(page) + " row " + std::to_string(r) +
                                   ": its offsets leave it no place");
                continue;
            }
            if (slots[r].first & 0x4000) {
                // An overflow row: a pointer to where the row went when it grew.
                if (bytes->size() < 4) {
                    problems.push_back("page " + std::to_string(page) + " row " +
                                       std::to_string(r) + ": an overflow row without its pointer");
                    continue;
                }
                bytes = RowBytes(Le32(bytes->data()));
                if (!bytes) {
                    problems.push_back("page " + std::to_string(page) + " row " +
                                       std::to_string(r) + ": an overflow row pointing nowhere");
                    continue;
                }
            }
            std::string problem;
            auto row = DecodeRow(tdef, *bytes, problem);
            if (!row) {
                problems.push_back("page " + std::to_string(page) + " row " + std::to_string(r) +
                                   ": " + problem);
                continue;
            }
            row->page = page;
            row->row = static_cast<std::uint8_t>(r);
            rows.push_back(std::move(*row));
        }
    }
    return rows;
}

std::optional<Bytes8> JetFile::LongValue(const Bytes8& d, std::string& problem,
                                         std::vector<std::uint32_t>* lvalPages) const {
    if (d.size() < 12) {
        problem = "a long-value descriptor shorter than 12 bytes";
        return std::nullopt;
    }
    const std::uint32_t head = Le32(d.data());
    const std::uint32_t length = head & 0x3FFFFFFF;
    const std::uint32_t kind = head & 0xC0000000;
    if (kind == 0x80000000) {
        if (d.size() != 12 + length) {
            problem = "an inline long value whose length does not match";
            return std::nullopt;
        }
        return Bytes8(d.begin() + 12, d.end());
    }
    auto lval = [&](std::uint32_t pointer) -> std::optional<Bytes8> {
        const std::uint32_t page = pointer >> 8;
        const std::uint8_t* p = Page(page);
        if (!p || p[0] != 0x01 || Le32(p + 4) != 0x4C41564C) {
            problem =
                "a long value points to page " + std::to_string(page) + ", which is no LVAL page";
            return std::nullopt;
        }
        if (lvalPages) lvalPages->push_back(page);
        auto bytes = RowBytes(pointer);
        if (!bytes) problem = "a long value points to a missing row";
        return bytes;
    };
    if (kind == 0x40000000) {
        auto bytes = lval(Le32(d.data() + 4));
        if (!bytes) return std::nullopt;
        if (bytes->size() != length) {
            problem = "a single-row long value of " + std::to_string(bytes->size()) +
                      " bytes, described as " + std::to_string(length);
            return std::nullopt;
        }
        return bytes;
    }
    if (kind != 0) {
        problem = "a long value of unknown kind";
        return std::nullopt;
    }
    Bytes8 out;
    std::uint32_t pointer = Le32(d.data() + 4);
    for (int guard = 0; pointer != 0; ++guard) {
        if (guard > 300000) {
            problem = "a long-value chain that does not end";
            return std::nullopt;
        }
        auto bytes = lval(pointer);
        if (!bytes) return std::nullopt;
        if (bytes->size() < 4) {
            problem = "a chained long-value row shorter than its pointer";
            return std::nullopt;
        }
        pointer = Le32(bytes->data());
        out.insert(out.end(), bytes->begin() + 4, bytes->end());
    }
    if (out.size() != length) {
        problem = "a chained long value of " + std::to_string(out.size()) +
                  " bytes, described as " + std::to_string(length);
        return std::nullopt;
    }
    return out;
}

std::vector<CatalogObject> JetFile::Catalog(std::vector<std::string>& problems) const {
    std::vector<CatalogObject> out;
    const ParsedTdef tdef = ParseTdef(2);
    for (const auto& p : tdef.problems) problems.push_back("MSysObjects: " + p);
    const ParsedColumn* id = tdef.Column("Id");
    const ParsedColumn* parent = tdef.Column("ParentId");
    const ParsedColumn* name = tdef.Column("Name");
    const ParsedColumn* type = tdef.Column("Type");
    const ParsedColumn* flags = tdef.Column("Flags");
    if (!id || !parent || !name || !type || !flags) {
        problems.push_back("MSysObjects lacks its columns");
        return out;
    }
    for (const ParsedRow& r : TableRows(tdef, problems)) {
        CatalogObject o;
        if (!r.null[id->number]) o.id = static_cast<std::int32_t>(Le32(r.raw[id->number].data()));
        if (!r.null[parent->number])
            o.parentId = static_cast<std::int32_t>(Le32(r.raw[parent->number].data()));
        if (!r.null[name->number]) o.name = DecodeJetText(r.raw[name->number]);
        if (!r.null[type->number])
            o.type = static_cast<std::int16_t>(Le16(r.raw[type->number].data()));
        if (!r.null[flags->number]) o.flags = Le32(r.raw[flags->number].data());
        o.page = r.page;
        o.row = r.row;
        out.push_back(std::move(o));
    }
    return out;
}

}  // namespace tb::mdb::test
