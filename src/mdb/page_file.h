#pragma once
// The file of pages under construction: a temporary file beside the target, pages appended
// through a small buffer (so streaming never holds more than a few hundred pages), earlier pages
// patched in place, synced by Finish() and renamed onto the target by Rename().

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "common/temp_file.h"
#include "mdb/jet_format.h"

namespace tb::mdb {

class PageFile {
  public:
    // `maxPages` is the size limit (2 GB); tests pass a smaller one.
    explicit PageFile(std::filesystem::path target, std::uint32_t maxPages = jet::kMaxPages);
    PageFile(const PageFile&) = delete;
    PageFile& operator=(const PageFile&) = delete;

    // Appends a zeroed page and returns its number. Throws tb::Error when the file would pass
    // 2 GB; the message names `context` (set by the writer, e.g. the table being written).
    std::uint32_t Allocate();
    std::uint32_t pageCount() const { return count_; }
    // Replaces the whole page; the page must have been allocated.
    void Write(std::uint32_t page, const std::uint8_t* bytes);
    void SetContext(std::string context) { context_ = std::move(context); }

    // Writes what is buffered, syncs and closes the file; it keeps its temporary name.
    void Finish();
    // Renames the finished file onto the target (replacing an old one).
    void Rename();
    bool finished() const { return finished_; }

    const std::filesystem::path& target() const { return file_.target(); }
    const std::filesystem::path& temporary() const { return file_.temporary(); }

  private:
    void Flush();
    void WriteAt(std::uint64_t offset, const std::uint8_t* bytes, std::size_t size);

    AtomicFile file_;  // removed unless renamed onto the target
    bool finished_ = false;
    std::uint32_t maxPages_;
    std::uint32_t count_ = 0;    // pages allocated
    std::uint32_t flushed_ = 0;  // pages [0, flushed_) are on disk; the rest is in buffer_
    std::vector<std::uint8_t> buffer_;
    std::string context_;
};

}  // namespace tb::mdb
