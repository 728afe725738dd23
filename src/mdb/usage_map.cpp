#include "mdb/usage_map.h"

#include <algorithm>

#include "mdb/page_file.h"

namespace tb::mdb::jet {

namespace {

void SetBit(std::uint8_t* bitmap, std::uint32_t bit) {
    bitmap[bit / 8] = static_cast<std::uint8_t>(bitmap[bit / 8] | (1u << (bit % 8)));
}

// The inline global map grows in steps of 32 bytes (256 pages) from 64 bytes; page 1 holds
// 4009 bytes of rows beside the second, empty row.
constexpr std::uint32_t kGlobalInlineMaxBytes = 4000;

}  // namespace

void PageSet::Add(std::uint32_t page) {
    if (!runs_.empty() && runs_.back().second == page) {
        ++runs_.back().second;
    } else if (runs_.empty() || page >= runs_.back().second) {
        runs_.emplace_back(page, page + 1);
    }
    // A page already in the set changes nothing.
}

std::size_t PageSet::size() const {
    std::size_t n = 0;
    for (const auto& [a, b] : runs_) n += b - a;
    return n;
}

MapRow BuildUsageMap(const PageSet& pages, PageFile& file) {
    MapRow row{};
    if (pages.empty()) return row;  // inline, start 0, no bits
    std::uint32_t start = 0;
    if (pages.last() >= kInlineMapPages) start = pages.first() / 8 * 8;
    if (pages.last() - start < kInlineMapPages) {
        row[0] = 0x00;
        Put32(row.data() + 1, start);
        for (const auto& [a, b] : pages.runs()) {
            for (std::uint32_t p = a; p < b; ++p) SetBit(row.data() + 5, p - start);
        }
        return row;
    }
    row[0] = 0x01;
    std::array<std::uint8_t, kPageSize> bitmap{};
    auto run = pages.runs().begin();
    for (std::uint32_t slot = pages.first() / kPagesPerBitmapPage;
         slot <= pages.last() / kPagesPerBitmapPage; ++slot) {
        const std::uint32_t lo = slot * kPagesPerBitmapPage;
        const std::uint32_t hi = lo + kPagesPerBitmapPage;
        bitmap.fill(0);
        bitmap[0] = kPageUsageBitmap;
        bitmap[1] = 0x01;
        bool any = false;
        for (; run != pages.runs().end() && run->first < hi; ++run) {
            for (std::uint32_t p = std::max(run->first, lo); p < std::min(run->second, hi); ++p) {
                SetBit(bitmap.data() + 4, p - lo);
                any = true;
            }
            if (run->second > hi) break;  // the run goes on in the next slot
        }
        if (!any) continue;
        const std::uint32_t page = file.Allocate();
        file.Write(page, bitmap.data());
        Put32(row.data() + 1 + 4 * slot, page);
    }
    return row;
}

ByteVec BuildGlobalUsageMap(PageFile& file) {
    const std::uint32_t count = file.pageCount();
    const std::uint32_t inlineBytes = std::max<std::uint32_t>(64, (count + 255) / 256 * 32);
    if (inlineBytes <= kGlobalInlineMaxBytes) {
        ByteVec row(5 + inlineBytes, 0);
        for (std::uint32_t p = count; p < inlineBytes * 8; ++p) SetBit(row.data() + 5, p);
        return row;
    }
    // The bitmap pages are pages of the file too, so count them in before writing any.
    std::uint32_t slots = (count + kPagesPerBitmapPage - 1) / kPagesPerBitmapPage;
    while ((count + slots + kPagesPerBitmapPage - 1) / kPagesPerBitmapPage > slots) ++slots;
    const std::uint32_t total = count + slots;
    ByteVec row(kMapRowSize, 0);
    row[0] = 0x01;
    std::array<std::uint8_t, kPageSize> bitmap{};
    for (std::uint32_t slot = 0; slot < slots; ++slot) {
        bitmap.fill(0);
        bitmap[0] = kPageUsageBitmap;
        bitmap[1] = 0x01;
        const std::uint32_t lo = slot * kPagesPerBitmapPage;
        for (std::uint32_t p = std::max(lo, total); p < lo + kPagesPerBitmapPage; ++p) {
            SetBit(bitmap.data() + 4, p - lo);
        }
        const std::uint32_t page = file.Allocate();
        file.Write(page, bitmap.data());
        Put32(row.data() + 1 + 4 * slot, page);
    }
    return row;
}

}  // namespace tb::mdb::jet
