#include "mdb/page_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/error.h"
#include "mdb/jet_format.h"

namespace tb::mdb {

namespace {

// Pages kept in memory before one write() sends them out.
constexpr std::uint32_t kBufferedPages = 256;

std::string SystemMessage(int err) {
    return std::strerror(err);
}

}  // namespace

PageFile::PageFile(std::filesystem::path target, std::uint32_t maxPages)
    : file_(std::move(target)), maxPages_(maxPages) {
    buffer_.reserve(kBufferedPages * jet::kPageSize);
}

std::uint32_t PageFile::Allocate() {
    if (count_ >= maxPages_) {
        std::string what = context_.empty() ? std::string() : " while writing " + context_;
        Raise("The database " + target().string() + " would grow over 2 GB" + what +
              "; Access files cannot be larger.");
    }
    if (count_ - flushed_ >= kBufferedPages) Flush();
    buffer_.resize(buffer_.size() + jet::kPageSize, 0);
    return count_++;
}

void PageFile::Write(std::uint32_t page, const std::uint8_t* bytes) {
    if (page >= count_)
        throw Error(kErrInternal, "Page " + std::to_string(page) + " not allocated");
    if (page >= flushed_) {
        std::memcpy(buffer_.data() + std::size_t{page - flushed_} * jet::kPageSize, bytes,
                    jet::kPageSize);
    } else {
        WriteAt(std::uint64_t{page} * jet::kPageSize, bytes, jet::kPageSize);
    }
}

void PageFile::Flush() {
    if (buffer_.empty()) return;
    WriteAt(std::uint64_t{flushed_} * jet::kPageSize, buffer_.data(), buffer_.size());
    flushed_ = count_;
    buffer_.clear();
}

void PageFile::WriteAt(std::uint64_t offset, const std::uint8_t* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::pwrite(file_.fd(), bytes, size, static_cast<off_t>(offset));
        if (n < 0) {
            if (errno == EINTR) continue;
            throw Error(kErrFileAccess,
                        "Cannot write " + temporary().string() + ": " + SystemMessage(errno));
        }
        bytes += n;
        size -= static_cast<std::size_t>(n);
        offset += static_cast<std::uint64_t>(n);
    }
}

void PageFile::Finish() {
    Flush();
    file_.Sync();
    finished_ = true;
}

void PageFile::Rename() {
    if (!finished_ || file_.renamed())
        throw Error(kErrInternal,
                    "The file " + temporary().string() + " is not ready to be renamed");
    file_.Rename();
}

}  // namespace tb::mdb
