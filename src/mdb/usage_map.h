#pragma once
// Usage maps: which pages belong to a table (or to one of its long-value columns or indexes),
// and the file's global map of free pages on page 1.

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "mdb/jet_format.h"

namespace tb::mdb {
class PageFile;
}

namespace tb::mdb::jet {

// Page numbers added in ascending order, kept as runs so that a table of many pages costs a
// few bytes, not a few bytes per page.
class PageSet {
  public:
    void Add(std::uint32_t page);
    bool empty() const { return runs_.empty(); }
    std::uint32_t first() const { return runs_.front().first; }
    std::uint32_t last() const { return runs_.back().second - 1; }
    std::size_t size() const;
    // Half-open runs [first, end).
    const std::vector<std::pair<std::uint32_t, std::uint32_t>>& runs() const { return runs_; }

  private:
    std::vector<std::pair<std::uint32_t, std::uint32_t>> runs_;
};

using MapRow = std::array<std::uint8_t, kMapRowSize>;

// The usage-map row for the pages: inline (a start page and 512 bits) when they fit in one
// window, which starts at page 0 when it can, as Jet's own maps do; else a reference map whose
// bitmap pages are allocated and written through `file`.
MapRow BuildUsageMap(const PageSet& pages, PageFile& file);

// The global map row for a file whose pages are all in use: a set bit means a page is free,
// so pages past the end are set. Inline while the bitmap fits page 1; beyond that a reference
// map whose bitmap pages are allocated here (they count as used themselves). Call last.
ByteVec BuildGlobalUsageMap(PageFile& file);

}  // namespace tb::mdb::jet
