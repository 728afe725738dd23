#pragma once
// Our Jet 4 (Access 2000 .mdb) writer: bulk and write-once. Tables stream through it page by
// page; the catalogue, its indexes, the usage maps and the header are completed by Finish().
// The file is written under a temporary name beside the target and renamed into place only
// when complete, so a failure never leaves a half-written target behind. Finish and Rename are
// apart so that several files (an extract and its link files) can all be complete before the
// first of them replaces its target.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mdb/table_model.h"

namespace tb::mdb {

struct WriterOptions {
    std::function<double()> now;  // creation time as DateTime days; default: system clock
    std::function<std::uint32_t()>
        random;  // for any random/identifier bytes; default: random device
};

class JetWriter {
  public:
    explicit JetWriter(std::filesystem::path target, WriterOptions options = {});
    ~JetWriter();  // without Rename(): removes the temporary file
    JetWriter(const JetWriter&) = delete;
    JetWriter& operator=(const JetWriter&) = delete;

    // Streams the rows of one table into the file and builds its indexes; checks the Access
    // limits as it goes.
    void AddTable(const TableDef& def, RowSource& rows, const std::vector<IndexDef>& indexes = {});
    // Adds a table entry that links a table of another Access file (nothing of that file is
    // read: the link is resolved when the database is used).
    void AddLink(const LinkDef& link);
    // Completes the file (catalogue, indexes, maps, header) and syncs it to disk under its
    // temporary name; no table can be added after it.
    void Finish();
    // Renames the finished file onto the target, replacing an old one.
    void Rename();
    // Finish() and Rename().
    void Commit();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

// Convenience for small tables held in memory.
class VectorRowSource : public RowSource {
  public:
    explicit VectorRowSource(std::vector<Row> rows);
    bool Next(Row& row) override;
    std::int64_t RowCountHint() const override;

  private:
    std::vector<Row> rows_;
    std::size_t next_ = 0;
};

}  // namespace tb::mdb
