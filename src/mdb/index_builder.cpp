#include "mdb/index_builder.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "common/error.h"
#include "mdb/jet_text.h"
#include "mdb/page_file.h"

namespace tb::mdb::jet {

namespace {

constexpr std::uint8_t kKeyPresent = 0x7F;
constexpr std::uint8_t kKeyNull = 0x00;

// An entry's bytes on a page being built.
struct Span {
    const std::uint8_t* data;
    std::size_t size;
};

// One page of an index level before it is written.
struct LevelPage {
    std::uint32_t number = 0;
    std::size_t first = 0, end = 0;  // leaves: the range of entries
    std::vector<ByteVec> nodeEntries;
    std::uint32_t tail = 0;  // node pages: the last child, kept out of the entries
    ByteVec last;            // the highest leaf entry below this page (key and row)
};

std::size_t CommonPrefix(const Span& a, const Span& b) {
    const std::size_t n = std::min(a.size, b.size);
    std::size_t i = 0;
    while (i < n && a.data[i] == b.data[i]) ++i;
    return i;
}

// A page stores its first entry whole and every other entry without the prefix that all its
// entries share (sorted entries share what the first and the last share), as Access does.
void BuildIndexPage(bool leaf, bool compress, std::uint32_t tdefPage, std::uint32_t prev,
                    std::uint32_t next, std::uint32_t tail, const std::vector<Span>& entries,
                    std::uint8_t* page) {
    std::memset(page, 0, kPageSize);
    page[0] = leaf ? kPageIndexLeaf : kPageIndexNode;
    page[1] = 0x01;
    Put32(page + 4, tdefPage);
    Put32(page + kIndexPrevOffset, prev);
    Put32(page + kIndexNextOffset, next);
    Put32(page + kIndexTailOffset, tail);
    const std::size_t prefix =
        compress && entries.size() > 1 ? CommonPrefix(entries.front(), entries.back()) : 0;
    Put16(page + kIndexPrefixOffset, static_cast<std::uint16_t>(prefix));
    std::size_t end = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::size_t skip = i == 0 ? 0 : prefix;
        std::memcpy(page + kIndexEntriesOffset + end, entries[i].data + skip,
                    entries[i].size - skip);
        end += entries[i].size - skip;
        // A set bit marks where an entry ends.
        page[kIndexMaskOffset + end / 8] =
            static_cast<std::uint8_t>(page[kIndexMaskOffset + end / 8] | (1u << (end % 8)));
    }
    Put16(page + 2, static_cast<std::uint16_t>(kPageSize - kIndexEntriesOffset - end));
}

// Packs sorted entries into pages of at most kIndexEntrySpace bytes, each page's entries after
// the first counted without their shared prefix; returns the index of each page's first entry.
template <class EntryOf>
std::vector<std::size_t> Pack(bool compress, std::size_t count, EntryOf entryOf) {
    std::vector<std::size_t> starts = {0};
    Span first{nullptr, 0};
    std::size_t prefix = 0, rest = 0, others = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const Span e = entryOf(i);
        if (i > starts.back()) {
            // Sorted entries share less with the first the further they are from it.
            const std::size_t p = compress ? std::min(prefix, CommonPrefix(first, e)) : 0;
            if (first.size + rest + e.size - (others + 1) * p <= kIndexEntrySpace) {
                prefix = p;
                rest += e.size;
                ++others;
                continue;
            }
            starts.push_back(i);
        }
        first = e;
        prefix = e.size;
        rest = others = 0;
    }
    return starts;
}

}  // namespace

bool AppendKeyColumn(JetType type, bool ascending, const StoredKeyValue& value, ByteVec& key) {
    if (type != JetType::Boolean && value.null) {
        key.push_back(ascending ? kKeyNull : 0xFF);
        return true;
    }
    key.push_back(ascending ? kKeyPresent : 0x80);
    const std::size_t at = key.size();
    // Numbers go big-endian, so that bytes compare as the numbers do.
    auto bigEndian = [&] {
        const auto width = static_cast<std::size_t>(JetFacts(type).size);
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
            bigEndian();
            key[at] ^= 0x80;  // two's complement: negative numbers below positive ones
            break;
        case JetType::Single:
        case JetType::Double:
        case JetType::DateTime: {
            bigEndian();
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

ByteVec MakeIndexEntry(const ByteVec& key, RowPointer row) {
    ByteVec e = key;
    e.push_back(static_cast<std::uint8_t>(row.page >> 16));
    e.push_back(static_cast<std::uint8_t>(row.page >> 8));
    e.push_back(static_cast<std::uint8_t>(row.page));
    e.push_back(row.row);
    return e;
}

void IndexEntries::Add(const ByteVec& key, RowPointer row) {
    const std::size_t size = key.size() + 4;
    // Keys are short (a text key of 255 characters takes a few hundred bytes); the buffer
    // stays below 4 GB as the file stays below 2 GB.
    if (bytes_.size() + size > 0xFFFFFFFFu || size > 0xFFFFu)
        throw Error(kErrInternal, "An index grew past what one Jet file can hold.");
    refs_.push_back({static_cast<std::uint32_t>(bytes_.size()), static_cast<std::uint16_t>(size)});
    bytes_.insert(bytes_.end(), key.begin(), key.end());
    bytes_.push_back(static_cast<std::uint8_t>(row.page >> 16));
    bytes_.push_back(static_cast<std::uint8_t>(row.page >> 8));
    bytes_.push_back(static_cast<std::uint8_t>(row.page));
    bytes_.push_back(row.row);
}

void IndexEntries::MapPages(const std::vector<std::uint32_t>& pages) {
    for (const Ref& r : refs_) {
        std::uint8_t* p = bytes_.data() + r.offset + r.size - 4;
        const std::uint32_t ordinal =
            (std::uint32_t{p[0]} << 16) | (std::uint32_t{p[1]} << 8) | p[2];
        const std::uint32_t page = pages.at(ordinal);
        p[0] = static_cast<std::uint8_t>(page >> 16);
        p[1] = static_cast<std::uint8_t>(page >> 8);
        p[2] = static_cast<std::uint8_t>(page);
    }
}

bool IndexEntries::Less(const Ref& a, const Ref& b) const {
    const int c =
        std::memcmp(bytes_.data() + a.offset, bytes_.data() + b.offset, std::min(a.size, b.size));
    return c < 0 || (c == 0 && a.size < b.size);
}

bool IndexEntries::SameKey(const Ref& a, const Ref& b) const {
    return a.size == b.size &&
           std::memcmp(bytes_.data() + a.offset, bytes_.data() + b.offset, a.size - 4u) == 0;
}

void IndexEntries::Sort() {
    const auto less = [this](const Ref& a, const Ref& b) { return Less(a, b); };
    if (!std::is_sorted(refs_.begin(), refs_.end(), less))
        std::sort(refs_.begin(), refs_.end(), less);
}

std::uint32_t IndexEntries::CountDistinctKeys() const {
    std::uint32_t n = 0;
    for (std::size_t i = 0; i < refs_.size(); ++i)
        if (i == 0 || !SameKey(refs_[i], refs_[i - 1])) ++n;
    return n;
}

std::size_t IndexEntries::FirstDuplicate() const {
    for (std::size_t i = 1; i < refs_.size(); ++i)
        if (SameKey(refs_[i], refs_[i - 1])) return i;
    return refs_.size();
}

void IndexEntries::Clear() {
    ByteVec().swap(bytes_);
    std::vector<Ref>().swap(refs_);
}

BuiltIndex WriteIndex(const IndexEntries& sorted, std::uint32_t tdefPage, std::uint32_t firstPage,
                      PageFile& file, bool compress) {
    BuiltIndex built;
    std::array<std::uint8_t, kPageSize> image{};
    std::vector<Span> spans;

    // Leaves.
    const std::vector<std::size_t> starts = Pack(compress, sorted.size(), [&](std::size_t i) {
        return Span{sorted.data(i), sorted.entrySize(i)};
    });
    std::vector<LevelPage> level;
    for (std::size_t k = 0; k < starts.size(); ++k) {
        LevelPage p;
        p.number = level.empty() ? firstPage : file.Allocate();
        p.first = starts[k];
        p.end = k + 1 < starts.size() ? starts[k + 1] : sorted.size();
        if (p.end > p.first) p.last = sorted.Entry(p.end - 1);
        level.push_back(std::move(p));
    }
    bool leaf = true;
    for (;;) {
        for (std::size_t i = 0; i < level.size(); ++i) {
            const std::uint32_t prev = i > 0 ? level[i - 1].number : 0;
            const std::uint32_t next = i + 1 < level.size() ? level[i + 1].number : 0;
            spans.clear();
            if (leaf) {
                for (std::size_t e = level[i].first; e < level[i].end; ++e)
                    spans.push_back({sorted.data(e), sorted.entrySize(e)});
            } else {
                for (const ByteVec& e : level[i].nodeEntries) spans.push_back({e.data(), e.size()});
            }
            BuildIndexPage(leaf, compress, tdefPage, prev, next, level[i].tail, spans,
                           image.data());
            file.Write(level[i].number, image.data());
            built.pages.Add(level[i].number);
        }
        if (level.size() == 1) break;
        // A node entry is the child's highest entry followed by the child's page (big-endian);
        // the last child of a node stands in the tail field only, as Access writes it.
        std::vector<ByteVec> entries;
        for (const LevelPage& child : level) {
            ByteVec e = child.last;
            for (int shift = 24; shift >= 0; shift -= 8)
                e.push_back(static_cast<std::uint8_t>(child.number >> shift));
            entries.push_back(std::move(e));
        }
        const std::vector<std::size_t> groups = Pack(compress, entries.size(), [&](std::size_t i) {
            return Span{entries[i].data(), entries[i].size()};
        });
        std::vector<LevelPage> parents;
        for (std::size_t k = 0; k < groups.size(); ++k) {
            const std::size_t from = groups[k];
            const std::size_t to = k + 1 < groups.size() ? groups[k + 1] : entries.size();
            LevelPage p;
            p.number = file.Allocate();
            for (std::size_t i = from; i < to; ++i) p.nodeEntries.push_back(std::move(entries[i]));
            p.last = level[to - 1].last;
            if (to - from > 1) {
                p.tail = level[to - 1].number;
                p.nodeEntries.pop_back();
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
