#include "mdb/index_builder.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "mdb/jet_text.h"
#include "mdb/page_file.h"

namespace tb::mdb::jet {

namespace {

constexpr std::uint8_t kKeyPresent = 0x7F;
constexpr std::uint8_t kKeyNull = 0x00;

// One page of an index level before it is written.
struct LevelPage {
    std::uint32_t number = 0;
    std::vector<ByteVec> entries;
    std::uint32_t tail = 0;  // node pages: the last child, kept out of the entries
    ByteVec last;            // the highest leaf entry below this page (key and row)
};

void BuildIndexPage(bool leaf, std::uint32_t tdefPage, std::uint32_t prev, std::uint32_t next,
                    const LevelPage& content, std::uint8_t* page) {
    std::memset(page, 0, kPageSize);
    page[0] = leaf ? kPageIndexLeaf : kPageIndexNode;
    page[1] = 0x01;
    Put32(page + 4, tdefPage);
    Put32(page + kIndexPrevOffset, prev);
    Put32(page + kIndexNextOffset, next);
    Put32(page + kIndexTailOffset, content.tail);
    Put16(page + kIndexPrefixOffset, 0);  // no shared prefix: every entry is stored whole
    std::size_t end = 0;
    for (const ByteVec& e : content.entries) {
        std::memcpy(page + kIndexEntriesOffset + end, e.data(), e.size());
        end += e.size();
        // A set bit marks where an entry ends.
        page[kIndexMaskOffset + end / 8] =
            static_cast<std::uint8_t>(page[kIndexMaskOffset + end / 8] | (1u << (end % 8)));
    }
    Put16(page + 2, static_cast<std::uint16_t>(kPageSize - kIndexEntriesOffset - end));
}

// Packs entries into pages of at most kIndexEntrySpace bytes.
std::vector<std::vector<std::size_t>> Pack(const std::vector<std::size_t>& sizes) {
    std::vector<std::vector<std::size_t>> pages(1);
    std::size_t used = 0;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        if (used + sizes[i] > kIndexEntrySpace && !pages.back().empty()) {
            pages.emplace_back();
            used = 0;
        }
        pages.back().push_back(i);
        used += sizes[i];
    }
    return pages;
}

}  // namespace

bool IsIndexableType(JetType type) {
    switch (type) {
        case JetType::Boolean:
        case JetType::Byte:
        case JetType::Integer:
        case JetType::Long:
        case JetType::Currency:
        case JetType::Single:
        case JetType::Double:
        case JetType::DateTime:
        case JetType::Text:
            return true;
        default:
            return false;
    }
}

bool AppendKeyColumn(JetType type, bool ascending, const StoredKeyValue& value, ByteVec& key) {
    if (type != JetType::Boolean && value.null) {
        key.push_back(ascending ? kKeyNull : 0xFF);
        return true;
    }
    key.push_back(ascending ? kKeyPresent : 0x80);
    const std::size_t at = key.size();
    // Numbers go big-endian, so that bytes compare as the numbers do.
    auto bigEndian = [&](std::size_t width) {
        for (std::size_t i = width; i-- > 0;) key.push_back(value.fixed[i]);
    };
    switch (type) {
        case JetType::Boolean:
            // True sorts first: 00 ascending, FF descending.
            key.push_back(value.boolean == ascending ? 0x00 : 0xFF);
            return true;
        case JetType::Byte:
            key.push_back(value.fixed[0]);
            break;
        case JetType::Integer:
        case JetType::Long:
        case JetType::Currency:
            bigEndian(type == JetType::Integer ? 2 : type == JetType::Long ? 4 : 8);
            key[at] ^= 0x80;  // two's complement: negative numbers below positive ones
            break;
        case JetType::Single:
        case JetType::Double:
        case JetType::DateTime: {
            bigEndian(type == JetType::Single ? 4 : 8);
            // IEEE: a positive number gets the sign bit, a negative one has every bit inverted,
            // so that larger magnitudes sort lower.
            if ((key[at] & 0x80) == 0) {
                key[at] ^= 0x80;
            } else {
                for (std::size_t i = at; i < key.size(); ++i)
                    key[i] = static_cast<std::uint8_t>(~key[i]);
            }
            break;
        }
        case JetType::Text:
            if (!AppendTextKey(value.text, key)) return false;
            if (!ascending) {
                // Inverted whole, its closing 00 included; a further 00 closes it again.
                for (std::size_t i = at; i < key.size(); ++i)
                    key[i] = static_cast<std::uint8_t>(~key[i]);
                key.push_back(0x00);
            }
            return true;
        default:
            return false;
    }
    if (!ascending) {
        for (std::size_t i = at; i < key.size(); ++i) key[i] = static_cast<std::uint8_t>(~key[i]);
    }
    return true;
}

void AppendLongKey(std::int32_t value, ByteVec& key) {
    std::uint8_t stored[4];
    Put32(stored, static_cast<std::uint32_t>(value));
    StoredKeyValue v;
    v.null = false;
    v.fixed = stored;
    AppendKeyColumn(JetType::Long, true, v, key);
}

bool AppendTextKeyPart(std::u16string_view text, ByteVec& key) {
    key.push_back(kKeyPresent);
    return AppendTextKey(text, key);
}

void AppendNullKey(ByteVec& key) {
    key.push_back(kKeyNull);
}

IndexEntry MakeIndexEntry(ByteVec key, RowPointer row) {
    IndexEntry e;
    e.keySize = key.size();
    e.bytes = std::move(key);
    e.bytes.push_back(static_cast<std::uint8_t>(row.page >> 16));
    e.bytes.push_back(static_cast<std::uint8_t>(row.page >> 8));
    e.bytes.push_back(static_cast<std::uint8_t>(row.page));
    e.bytes.push_back(row.row);
    return e;
}

void SortIndexEntries(std::vector<IndexEntry>& entries) {
    std::sort(entries.begin(), entries.end(),
              [](const IndexEntry& a, const IndexEntry& b) { return a.bytes < b.bytes; });
}

std::uint32_t CountDistinctKeys(const std::vector<IndexEntry>& sorted) {
    std::uint32_t n = 0;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        if (i == 0 || sorted[i].keySize != sorted[i - 1].keySize ||
            !std::equal(sorted[i].bytes.begin(),
                        sorted[i].bytes.begin() + static_cast<long>(sorted[i].keySize),
                        sorted[i - 1].bytes.begin())) {
            ++n;
        }
    }
    return n;
}

BuiltIndex WriteIndex(const std::vector<IndexEntry>& sorted, std::uint32_t tdefPage,
                      std::uint32_t firstPage, PageFile& file) {
    BuiltIndex built;
    std::array<std::uint8_t, kPageSize> image{};

    // Leaves.
    std::vector<std::size_t> sizes;
    for (const IndexEntry& e : sorted) sizes.push_back(e.bytes.size());
    std::vector<LevelPage> level;
    for (const auto& group : Pack(sizes)) {
        LevelPage p;
        p.number = level.empty() ? firstPage : file.Allocate();
        for (std::size_t i : group) p.entries.push_back(sorted[i].bytes);
        if (!group.empty()) p.last = sorted[group.back()].bytes;
        level.push_back(std::move(p));
    }
    bool leaf = true;
    for (;;) {
        for (std::size_t i = 0; i < level.size(); ++i) {
            const std::uint32_t prev = i > 0 ? level[i - 1].number : 0;
            const std::uint32_t next = i + 1 < level.size() ? level[i + 1].number : 0;
            BuildIndexPage(leaf, tdefPage, prev, next, level[i], image.data());
            file.Write(level[i].number, image.data());
            built.pages.Add(level[i].number);
        }
        if (level.size() == 1) break;
        // A node entry is the child's highest entry followed by the child's page (big-endian);
        // the last child of a node stands in the tail field only, as Access writes it.
        std::vector<ByteVec> entries;
        std::vector<std::size_t> entrySizes;
        for (const LevelPage& child : level) {
            ByteVec e = child.last;
            for (int shift = 24; shift >= 0; shift -= 8)
                e.push_back(static_cast<std::uint8_t>(child.number >> shift));
            entrySizes.push_back(e.size());
            entries.push_back(std::move(e));
        }
        std::vector<LevelPage> parents;
        for (const auto& group : Pack(entrySizes)) {
            LevelPage p;
            p.number = file.Allocate();
            for (std::size_t i : group) p.entries.push_back(entries[i]);
            p.last = level[group.back()].last;
            if (group.size() > 1) {
                p.tail = level[group.back()].number;
                p.entries.pop_back();
            }
            parents.push_back(std::move(p));
        }
        level = std::move(parents);
        leaf = false;
    }
    built.root = level.front().number;
    return built;
}

}  // namespace tb::mdb::jet
