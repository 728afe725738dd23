#include "mdb/structure_checker.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <set>

#include "common/encoding.h"
#include "mdb/index_builder.h"
#include "mdb/jet_file_parser.h"
#include "mdb/jet_text.h"

namespace tb::mdb::test {

namespace {

constexpr std::size_t kPage = JetFile::kPage;

class Checker {
  public:
    Checker(std::string bytes, const CheckOptions& options)
        : file_(std::move(bytes)), options_(options) {}

    std::vector<std::string> Run();

  private:
    void Problem(std::string text) { problems_.push_back(std::move(text)); }
    // Gives a page its owner; a page may have one owner only ("usage maps" pages excepted,
    // which hold the map rows of several tables).
    void Claim(std::uint32_t page, const std::string& owner);
    void CheckDataPage(std::uint32_t page, std::uint32_t expectedOwner, const std::string& what);
    std::vector<std::uint32_t> Map(std::uint32_t rowPointer, const std::string& what);
    void CheckTable(const CatalogObject& object);
    void CheckIndex(const std::string& table, const ParsedTdef& tdef, std::uint32_t tdefPage,
                    std::size_t index, const std::vector<ParsedRow>& rows, bool catalogue);

    JetFile file_;
    CheckOptions options_;
    std::vector<int> owners_;  // index into ownerNames_, -1 for none
    std::vector<std::string> ownerNames_;
    std::map<std::string, int> ownerIds_;
    std::vector<std::string> problems_;

  public:
    std::size_t keysChecked_ = 0;
};

void Checker::Claim(std::uint32_t page, const std::string& owner) {
    if (page >= owners_.size()) {
        Problem(owner + " claims page " + std::to_string(page) + ", past the end of the file");
        return;
    }
    // Owners are kept as numbers: a large file has tens of thousands of pages.
    auto [it, added] = ownerIds_.emplace(owner, static_cast<int>(ownerNames_.size()));
    if (added) ownerNames_.push_back(owner);
    const int id = it->second;
    const int current = owners_[page];
    if (current < 0 || (current == id && owner == "usage maps")) {
        owners_[page] = id;
        return;
    }
    Problem("page " + std::to_string(page) + " is owned by " +
            ownerNames_[static_cast<std::size_t>(current)] + " and by " + owner);
}

void Checker::CheckDataPage(std::uint32_t page, std::uint32_t expectedOwner,
                            const std::string& what) {
    const std::uint8_t* p = file_.Page(page);
    if (!p) return;
    const std::string where = what + " page " + std::to_string(page);
    if (p[0] != 0x01 || p[1] != 0x01) {
        Problem(where + " is not a data page");
        return;
    }
    if (Le32(p + 4) != expectedOwner) {
        Problem(where + " names owner " + std::to_string(Le32(p + 4)) + " instead of " +
                std::to_string(expectedOwner));
    }
    const std::uint16_t rows = Le16(p + 12);
    if (rows > 255) Problem(where + " holds more than 255 rows");
    std::size_t previous = kPage;
    std::size_t used = 0;
    const std::size_t headerEnd = 14 + 2 * std::size_t{rows};
    for (std::uint16_t i = 0; i < rows && 14 + 2 * std::size_t{i} + 1 < kPage; ++i) {
        const std::size_t start = Le16(p + 14 + 2 * i) & 0x1FFF;
        if (start > previous || start < headerEnd) {
            Problem(where + ": row " + std::to_string(i) + " starts at " + std::to_string(start) +
                    ", not below the previous row and above the offsets");
            return;
        }
        used += previous - start;
        previous = start;
    }
    const std::size_t free = kPage - 14 - 2 * std::size_t{rows} - used;
    if (Le16(p + 2) != free) {
        Problem(where + " records " + std::to_string(Le16(p + 2)) + " bytes free, its rows leave " +
                std::to_string(free));
    }
}

std::vector<std::uint32_t> Checker::Map(std::uint32_t rowPointer, const std::string& what) {
    if (rowPointer == 0) return {};  // no map at all
    const std::uint32_t holder = rowPointer >> 8;
    const auto row = file_.RowBytes(rowPointer);
    if (!row) {
        Problem(what + ": usage-map row " + std::to_string(rowPointer & 0xFF) + " on page " +
                std::to_string(holder) + " does not exist");
        return {};
    }
    if (holder != 1) Claim(holder, "usage maps");
    std::vector<std::string> problems;
    std::vector<std::uint32_t> bitmaps;
    auto pages = file_.MapPages(*row, problems, &bitmaps);
    for (auto& p : problems) Problem(what + ": " + p);
    for (std::uint32_t b : bitmaps) Claim(b, "bitmap of " + what);
    for (std::uint32_t p : pages) {
        if (p >= file_.pageCount()) {
            Problem(what + " lists page " + std::to_string(p) + ", past the end of the file");
        }
    }
    pages.erase(std::remove_if(pages.begin(), pages.end(),
                               [&](std::uint32_t p) { return p >= file_.pageCount(); }),
                pages.end());
    return pages;
}

// Splits an index page into its entries (prefix compression undone).
std::vector<Bytes8> IndexEntries(const std::uint8_t* p, std::string& problem) {
    std::vector<Bytes8> entries;
    const std::size_t prefix = Le16(p + 24);
    std::size_t start = 0;
    Bytes8 first;
    const std::size_t end = kPage - 0x1E0 - Le16(p + 2);
    for (std::size_t bit = 1; bit <= 453 * 8 && 0x1E0 + bit <= kPage; ++bit) {
        if (!(p[27 + bit / 8] & (1u << (bit % 8)))) continue;
        Bytes8 e(p + 0x1E0 + start, p + 0x1E0 + bit);
        if (entries.empty()) {
            first = e;
        } else {
            if (prefix > first.size()) {
                problem = "a shared prefix longer than the first entry";
                return {};
            }
            e.insert(e.begin(), first.begin(), first.begin() + static_cast<long>(prefix));
        }
        entries.push_back(std::move(e));
        start = bit;
    }
    if (start != end) problem = "the entry mask and the free space disagree";
    return entries;
}

void Checker::CheckIndex(const std::string& table, const ParsedTdef& tdef, std::uint32_t tdefPage,
                         std::size_t index, const std::vector<ParsedRow>& rows, bool catalogue) {
    const ParsedRealIndex& ix = tdef.realIndexes[index];
    const std::string what = "index " + std::to_string(index) + " of " + table;
    const auto pages = Map(ix.usageMap, what);
    const std::set<std::uint32_t> own(pages.begin(), pages.end());
    for (std::uint32_t p : pages) Claim(p, what);
    if (!own.count(ix.rootPage)) {
        Problem(what + ": the root page " + std::to_string(ix.rootPage) +
                " is not in its usage map");
        return;
    }
    // Walk down from the root; collect the leaves left to right.
    std::vector<Bytes8> leafEntries;
    std::vector<std::uint32_t> leaves;
    std::set<std::uint32_t> seen;
    std::string problem;
    // Returns the highest entry of the subtree (key and row pointer).
    std::function<Bytes8(std::uint32_t, int)> walk = [&](std::uint32_t page, int depth) -> Bytes8 {
        if (depth > 10 || !own.count(page) || !seen.insert(page).second) {
            Problem(what + ": page " + std::to_string(page) + " is not a proper child");
            return {};
        }
        const std::uint8_t* p = file_.Page(page);
        if ((p[0] != 0x03 && p[0] != 0x04) || Le32(p + 4) != tdefPage) {
            Problem(what + ": page " + std::to_string(page) + " is not an index page of the table");
            return {};
        }
        auto entries = IndexEntries(p, problem);
        if (!problem.empty()) {
            Problem(what + ": page " + std::to_string(page) + ": " + problem);
            problem.clear();
        }
        if (p[0] == 0x04) {
            leaves.push_back(page);
            for (auto& e : entries) leafEntries.push_back(e);
            return entries.empty() ? Bytes8{} : entries.back();
        }
        Bytes8 last;
        for (const Bytes8& e : entries) {
            if (e.size() < 8) {
                Problem(what + ": a node entry too short on page " + std::to_string(page));
                continue;
            }
            const std::uint32_t child = (std::uint32_t{e[e.size() - 4]} << 24) |
                                        (std::uint32_t{e[e.size() - 3]} << 16) |
                                        (std::uint32_t{e[e.size() - 2]} << 8) | e[e.size() - 1];
            last = walk(child, depth + 1);
            if (!std::equal(last.begin(), last.end(), e.begin(), e.end() - 4)) {
                Problem(what + ": node page " + std::to_string(page) +
                        " does not name the last entry of child " + std::to_string(child));
            }
        }
        const std::uint32_t tail = Le32(p + 20);
        if (tail != 0) last = walk(tail, depth + 1);
        return last;
    };
    walk(ix.rootPage, 0);
    // Leaves are chained in the same order.
    for (std::size_t i = 0; i < leaves.size(); ++i) {
        const std::uint8_t* p = file_.Page(leaves[i]);
        const std::uint32_t prev = i > 0 ? leaves[i - 1] : 0;
        const std::uint32_t next = i + 1 < leaves.size() ? leaves[i + 1] : 0;
        if (Le32(p + 12) != prev || Le32(p + 16) != next) {
            Problem(what + ": leaf " + std::to_string(leaves[i]) +
                    " is not chained to its neighbours");
        }
    }
    if (seen.size() != own.size())
        Problem(what + ": its usage map lists pages the tree does not reach");
    for (std::size_t i = 1; i < leafEntries.size(); ++i) {
        if (!(leafEntries[i - 1] < leafEntries[i])) {
            Problem(what + ": entries " + std::to_string(i - 1) + " and " + std::to_string(i) +
                    " are out of order");
            break;
        }
    }
    // One entry per row (an index that ignores Null keys may leave rows out).
    std::map<std::uint32_t, const ParsedRow*> byPointer;
    for (const ParsedRow& r : rows) byPointer[(r.page << 8) | r.row] = &r;
    std::set<std::uint32_t> hit;
    std::set<Bytes8> keys;
    for (const Bytes8& e : leafEntries) {
        if (e.size() < 5) continue;
        const std::uint32_t page = (std::uint32_t{e[e.size() - 4]} << 16) |
                                   (std::uint32_t{e[e.size() - 3]} << 8) | e[e.size() - 2];
        const std::uint32_t pointer = (page << 8) | e[e.size() - 1];
        const auto row = byPointer.find(pointer);
        if (row == byPointer.end()) {
            Problem(what + ": an entry points to page " + std::to_string(page) + " row " +
                    std::to_string(e[e.size() - 1]) + ", which is no row of the table");
            continue;
        }
        if (!hit.insert(pointer).second) Problem(what + ": two entries point to the same row");
        const Bytes8 key(e.begin(), e.end() - 4);
        keys.insert(key);
        if ((catalogue && options_.checkCatalogKeys) || options_.checkAllKeys) {
            // Rebuild the key from the row's values where the encoding is known: the number,
            // date, Boolean and Text (up to U+00FF) columns, either direction.
            jet::ByteVec expected;
            bool known = true;
            for (const auto& [column, flags] : ix.columns) {
                const ParsedColumn* c = tdef.Column(column);
                if (!c || !JetFacts(static_cast<JetType>(c->type)).indexed) {
                    known = false;
                    continue;
                }
                const Bytes8& raw = row->second->raw[column];
                jet::StoredKeyValue v;
                v.null = row->second->null[column];
                v.boolean = c->type == 0x01 && !raw.empty() && raw[0] != 0;
                v.fixed = raw.data();
                std::u16string units;
                if (c->type == 0x0A && !v.null) {
                    Utf8ToUtf16Checked(DecodeJetText(raw), units);
                    v.text = units;
                }
                known = known && jet::AppendKeyColumn(static_cast<JetType>(c->type),
                                                      (flags & 0x01) != 0, v, expected);
            }
            if (known) ++keysChecked_;
            if (known && Bytes8(expected.begin(), expected.end()) != key) {
                Problem(what + ": the entry for page " + std::to_string(page) + " row " +
                        std::to_string(e[e.size() - 1]) + " does not hold the row's key");
            }
        }
    }
    const bool ignoresNulls = (ix.flags & 0x02) != 0;
    if (!ignoresNulls && hit.size() != rows.size()) {
        Problem(what + " holds " + std::to_string(hit.size()) + " rows of " +
                std::to_string(rows.size()));
    }
    if (options_.exactCounts && ix.uniqueKeys != keys.size()) {
        Problem(what + " records " + std::to_string(ix.uniqueKeys) +
                " distinct keys, its entries hold " + std::to_string(keys.size()));
    }
}

void Checker::CheckTable(const CatalogObject& object) {
    const std::uint32_t tdefPage = static_cast<std::uint32_t>(object.id) & 0x00FFFFFF;
    const std::string table = "table \"" + object.name + "\"";
    const ParsedTdef tdef = file_.ParseTdef(tdefPage);
    for (const auto& p : tdef.problems) Problem(table + ": " + p);
    if (!tdef.problems.empty()) return;
    for (std::uint32_t p : tdef.pages) Claim(p, "the definition of " + table);
    if (tdef.parsedLength != tdef.length) {
        Problem(table + ": the definition records " + std::to_string(tdef.length) +
                " bytes but its parts add up to " + std::to_string(tdef.parsedLength));
    }
    // Free space of each definition page: what the page does not use, less 8.
    for (std::size_t i = 0; i < tdef.pages.size(); ++i) {
        const std::uint8_t* p = file_.Page(tdef.pages[i]);
        std::size_t used = kPage;
        if (i + 1 == tdef.pages.size()) {
            used = i == 0 ? tdef.length
                          : 8 + (tdef.length - kPage) - (tdef.pages.size() - 2) * (kPage - 8);
        }
        const std::size_t free = used + 8 >= kPage ? 0 : kPage - used - 8;
        if (Le16(p + 2) != free) {
            Problem(table + ": definition page " + std::to_string(tdef.pages[i]) + " records " +
                    std::to_string(Le16(p + 2)) + " bytes free instead of " + std::to_string(free));
        }
    }
    std::uint16_t varColumns = 0;
    for (const ParsedColumn& c : tdef.columns) {
        if (!c.fixed()) ++varColumns;
    }
    if (options_.exactCounts && varColumns != tdef.varColumns) {
        Problem(table + ": the variable-column count is wrong");
    }

    const auto dataPages = Map(tdef.ownedMap, "the data pages of " + table);
    for (std::uint32_t p : dataPages) {
        Claim(p, "the data of " + table);
        CheckDataPage(p, tdefPage, table);
    }
    for (std::uint32_t p : Map(tdef.freeMap, "the free-space map of " + table)) {
        if (std::find(dataPages.begin(), dataPages.end(), p) == dataPages.end()) {
            Problem(table + ": its free-space map lists page " + std::to_string(p) +
                    ", which holds none of its rows");
        }
    }
    std::vector<std::string> problems;
    const std::vector<ParsedRow> rows = file_.TableRows(tdef, problems);
    for (auto& p : problems) Problem(table + ": " + p);
    // Access lets the counts of its system tables go stale; ours must be exact everywhere.
    const bool systemTable = tdef.tableType == 0x53;
    if (rows.size() != tdef.rowCount && (options_.exactCounts || !systemTable)) {
        Problem(table + ": the definition counts " + std::to_string(tdef.rowCount) +
                " rows, the pages hold " + std::to_string(rows.size()));
    }
    if (options_.rowsHaveAllColumns) {
        for (std::uint32_t p : dataPages) {
            const auto slots = file_.RowSlots(p);
            for (std::size_t r = 0; r < slots.size(); ++r) {
                const auto bytes = file_.RowBytes(p, static_cast<std::uint8_t>(r));
                if (bytes && bytes->size() >= 2 && Le16(bytes->data()) != tdef.maxColumns) {
                    Problem(table + ": a row on page " + std::to_string(p) +
                            " has the wrong column count");
                }
            }
        }
    }
    // Text within its column; long values reachable and owned by their column.
    for (const ParsedColumn& c : tdef.columns) {
        if (c.type == 0x0A) {
            for (const ParsedRow& r : rows) {
                if (!r.null[c.number] && r.raw[c.number].size() > c.length) {
                    Problem(table + ": a value of column \"" + c.name +
                            "\" is longer than the column");
                }
            }
        }
    }
    for (const ParsedLongValue& lv : tdef.longValues) {
        const ParsedColumn* c = tdef.Column(lv.column);
        const std::string what =
            "column \"" + (c ? c->name : std::to_string(lv.column)) + "\" of " + table;
        const auto owned = Map(lv.ownedMap, "the long values of " + what);
        const std::set<std::uint32_t> ownedSet(owned.begin(), owned.end());
        for (std::uint32_t p : owned) {
            Claim(p, "the long values of " + what);
            CheckDataPage(p, 0x4C41564C, "long-value");
        }
        for (std::uint32_t p : Map(lv.freeMap, "the free long-value pages of " + what)) {
            if (!ownedSet.count(p))
                Problem(what + ": its free long-value map lists a page it does not own");
        }
        std::set<std::uint32_t> used;
        for (const ParsedRow& r : rows) {
            if (r.null[lv.column]) continue;
            std::string problem;
            std::vector<std::uint32_t> pages;
            if (!file_.LongValue(r.raw[lv.column], problem, &pages)) {
                Problem(what + ", page " + std::to_string(r.page) + " row " +
                        std::to_string(r.row) + ": " + problem);
            }
            for (std::uint32_t p : pages) {
                used.insert(p);
                if (!ownedSet.count(p))
                    Problem(what + ": a value lies on page " + std::to_string(p) +
                            ", which the column does not own");
            }
        }
        if (options_.everyPageOwned) {
            for (std::uint32_t p : owned) {
                if (!used.count(p))
                    Problem(what + ": it owns page " + std::to_string(p) +
                            ", which holds none of its values");
            }
        }
    }
    for (std::size_t i = 0; i < tdef.realIndexes.size(); ++i) {
        CheckIndex(table, tdef, tdefPage, i, rows, tdefPage >= 2 && tdefPage <= 5);
    }
}

std::vector<std::string> Checker::Run() {
    const std::string& bytes = file_.bytes();
    if (bytes.size() % kPage != 0 || bytes.size() < 3 * kPage) {
        Problem("the file is not a whole number of pages");
        return problems_;
    }
    if (bytes.compare(4, 15, "Standard Jet DB") != 0 || bytes[0x14] != 1) {
        Problem("page 0 is no Jet 4 header");
        return problems_;
    }
    owners_.assign(file_.pageCount(), -1);
    Claim(0, "the header");
    Claim(1, "the global map");
    CheckDataPage(1, 1, "global map");
    std::vector<std::string> problems;
    std::vector<std::uint32_t> globalBitmaps;
    const std::vector<bool> free = file_.GlobalFree(problems, &globalBitmaps);
    for (auto& p : problems) Problem(p);
    for (std::uint32_t b : globalBitmaps) Claim(b, "the global map's bitmaps");
    problems.clear();
    const auto catalog = file_.Catalog(problems);
    for (auto& p : problems) Problem(p);
    for (const CatalogObject& o : catalog) {
        if (o.type == 1) CheckTable(o);
    }
    for (std::uint32_t p = 0; p < owners_.size(); ++p) {
        if (owners_[p] < 0) {
            if (options_.everyPageOwned) Problem("page " + std::to_string(p) + " has no owner");
            if (options_.everyPageOwned && !free[p]) {
                Problem("page " + std::to_string(p) +
                        " has no owner but the global map marks it used");
            }
        } else if (free[p]) {
            Problem("page " + std::to_string(p) + " (" +
                    ownerNames_[static_cast<std::size_t>(owners_[p])] +
                    ") is marked free in the global map");
        }
    }
    return problems_;
}

}  // namespace

std::vector<std::string> CheckJetStructure(std::string fileBytes, const CheckOptions& options,
                                           std::size_t* keysChecked) {
    Checker checker(std::move(fileBytes), options);
    auto problems = checker.Run();
    if (keysChecked) *keysChecked = checker.keysChecked_;
    return problems;
}

}  // namespace tb::mdb::test
