#include "mdb/long_values.h"

#include <cstring>

#include "mdb/page_file.h"

namespace tb::mdb::jet {

void LongValueColumn::WriteShared() {
    if (open_) file_.Write(pageNumber_, page_.bytes());
}

void LongValueColumn::Reserve(std::size_t size) {
    if (open_ && page_.Fits(size)) return;
    WriteShared();
    page_.Reset(kLvalOwner);
    pageNumber_ = file_.Allocate();
    pages_.Add(pageNumber_);
    open_ = true;
}

void LongValueColumn::Store(const std::uint8_t* data, std::size_t size, std::uint8_t* descriptor) {
    std::memset(descriptor, 0, kLongValueDescriptorSize);
    if (size <= kMaxSingleLongValueRow) {
        Reserve(size);
        const std::uint8_t row = page_.Add(data, size);
        Put32(descriptor, static_cast<std::uint32_t>(size) | kLongValueSingle);
        Put32(descriptor + 4, RowPointer{pageNumber_, row}.Encoded());
        return;
    }
    // A chain: every piece but the last fills a page of its own; the last one joins the shared
    // page when it fits. All places are known before the first piece is written, so each
    // piece can point to the next.
    const std::size_t pieces = (size + kLongValueChunk - 1) / kLongValueChunk;
    const std::size_t lastSize = size - (pieces - 1) * kLongValueChunk;
    const bool lastOnShared = open_ && page_.Fits(lastSize + 4);
    if (!lastOnShared) {
        WriteShared();
        open_ = false;
    }
    std::uint32_t firstFull = 0;
    for (std::size_t i = 0; i + 1 < pieces; ++i) {
        const std::uint32_t page = file_.Allocate();
        if (i == 0) firstFull = page;
        pages_.Add(page);
    }
    RowPointer last;
    if (lastOnShared) {
        last = {pageNumber_, static_cast<std::uint8_t>(page_.rows())};
    } else {
        Reserve(lastSize + 4);
        last = {pageNumber_, 0};
    }
    DataPage full(kLvalOwner);
    for (std::size_t i = 0; i + 1 < pieces; ++i) {
        const RowPointer next =
            i + 2 < pieces ? RowPointer{firstFull + static_cast<std::uint32_t>(i) + 1, 0} : last;
        full.Reset(kLvalOwner);
        std::uint8_t number = 0;
        std::uint8_t* at = full.AddSpace(4 + kLongValueChunk, number);
        Put32(at, next.Encoded());
        std::memcpy(at + 4, data + i * kLongValueChunk, kLongValueChunk);
        file_.Write(firstFull + static_cast<std::uint32_t>(i), full.bytes());
    }
    std::uint8_t number = 0;
    std::uint8_t* at = page_.AddSpace(lastSize + 4, number);
    Put32(at, 0);  // end of the chain
    std::memcpy(at + 4, data + (pieces - 1) * kLongValueChunk, lastSize);

    Put32(descriptor, static_cast<std::uint32_t>(size));
    const RowPointer first = pieces > 1 ? RowPointer{firstFull, 0} : last;
    Put32(descriptor + 4, first.Encoded());
}

void LongValueColumn::Finish() {
    WriteShared();
}

}  // namespace tb::mdb::jet
