#pragma once
// Long values (Memo, OLE) of one column stored outside the row: on "LVAL" pages, in one row
// when they fit (several values share a page), else as a chain of rows each pointing to the next.

#include <cstdint>

#include "mdb/data_page.h"
#include "mdb/usage_map.h"

namespace tb::mdb {
class PageFile;
}

namespace tb::mdb::jet {

class LongValueColumn {
  public:
    explicit LongValueColumn(PageFile& file) : file_(file), page_(kLvalOwner) {}

    // Stores `size` bytes and writes the 12-byte descriptor that the row keeps.
    void Store(const std::uint8_t* data, std::size_t size, std::uint8_t* descriptor);
    // Writes the page still being filled.
    void Finish();

    const PageSet& pages() const { return pages_; }
    // The page that still has room (Access lists it in the column's free-space map), if any.
    bool hasOpenPage() const { return open_; }
    std::uint32_t openPage() const { return pageNumber_; }

  private:
    // Makes sure the shared page has room for a row of `size` bytes.
    void Reserve(std::size_t size);
    void WriteShared();

    PageFile& file_;
    DataPage page_;
    std::uint32_t pageNumber_ = 0;
    bool open_ = false;
    PageSet pages_;
};

}  // namespace tb::mdb::jet
