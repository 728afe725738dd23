#pragma once
// Writes one SQLite schema file: all its tables in one transaction through prepared
// statements, under a temporary name that is renamed into place when the file is complete.
// Values are checked as they come: ids must be 32 upper-case hex characters, code-listed
// columns must hold an index of their list, and an empty text is stored as Null.

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "schema.h"
#include "sqlite_db.h"

namespace tb::sampleplant {

using Blob = std::vector<std::uint8_t>;

class FileWriter;

class RowBuilder {
  public:
    RowBuilder(RowBuilder&& other) noexcept;
    RowBuilder(const RowBuilder&) = delete;
    RowBuilder& operator=(const RowBuilder&) = delete;
    RowBuilder& operator=(RowBuilder&&) = delete;
    ~RowBuilder();

    RowBuilder& operator()(std::string_view column, std::nullptr_t);
    RowBuilder& operator()(std::string_view column, std::string_view text);
    RowBuilder& operator()(std::string_view column, const char* text);
    RowBuilder& operator()(std::string_view column, const std::string& text);
    RowBuilder& operator()(std::string_view column, int value);
    RowBuilder& operator()(std::string_view column, long value);
    RowBuilder& operator()(std::string_view column, long long value);
    RowBuilder& operator()(std::string_view column, double value);
    RowBuilder& operator()(std::string_view column, const Blob& bytes);

    // Inserts the row; columns that were not set are Null.
    void Add();

  private:
    friend class FileWriter;
    struct Table;
    explicit RowBuilder(Table* table);
    int Index(std::string_view column, Ty expected1, Ty expected2, Ty expected3) const;

    Table* table_;
    bool added_ = false;
    int pendingExceptions_ = 0;
};

class FileWriter {
  public:
    FileWriter(std::filesystem::path target, std::vector<TableDef> tables);
    ~FileWriter();
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;

    RowBuilder Row(std::string_view table);
    // Commits, indexes the id columns, closes and renames the file into place.
    void Finish();

    const std::filesystem::path& target() const { return target_; }
    // Rows written per table, in the order the tables were declared.
    std::vector<std::pair<std::string, std::int64_t>> Counts() const;

  private:
    std::filesystem::path target_;
    std::filesystem::path temp_;
    std::unique_ptr<Db> db_;
    std::vector<std::unique_ptr<RowBuilder::Table>> tables_;
    bool finished_ = false;
};

}  // namespace tb::sampleplant
