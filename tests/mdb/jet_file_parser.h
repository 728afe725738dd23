#pragma once
// A test-only parser of Jet 4 files, written from the format's facts and independent of the
// writer's encoders, so that the structure checker and the tests can look inside a file.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tb::mdb::test {

using Bytes8 = std::vector<std::uint8_t>;

struct ParsedColumn {
    std::uint8_t type = 0;
    std::uint16_t number = 0;
    std::uint16_t varIndex = 0;
    std::uint8_t flags = 0;
    std::uint8_t extFlags = 0;
    std::uint16_t fixedOffset = 0;
    std::uint16_t length = 0;
    std::string name;  // UTF-8
    bool fixed() const { return (flags & 0x01) != 0; }
};

struct ParsedRealIndex {
    std::uint32_t uniqueKeys = 0;
    std::vector<std::pair<std::uint16_t, std::uint8_t>> columns;  // column number, flags
    std::uint32_t usageMap = 0;                                   // row pointer (row in low byte)
    std::uint32_t rootPage = 0;
    std::uint8_t flags = 0;
};

struct ParsedLongValue {
    std::uint16_t column = 0;
    std::uint32_t ownedMap = 0;
    std::uint32_t freeMap = 0;
};

struct ParsedTdef {
    std::vector<std::uint32_t> pages;  // the chain
    std::uint32_t length = 0;          // the recorded definition length
    std::size_t parsedLength = 0;      // where parsing ended
    std::uint32_t rowCount = 0;
    std::uint32_t lastAutoNumber = 0;
    std::uint8_t tableType = 0;
    std::uint16_t maxColumns = 0;
    std::uint16_t varColumns = 0;
    std::uint32_t ownedMap = 0;
    std::uint32_t freeMap = 0;
    std::vector<ParsedColumn> columns;  // stored order
    std::vector<ParsedRealIndex> realIndexes;
    std::vector<std::string> logicalIndexNames;
    std::vector<ParsedLongValue> longValues;
    std::vector<std::string> problems;  // inconsistencies met while parsing

    const ParsedColumn* Column(std::uint16_t number) const;
    const ParsedColumn* Column(const std::string& name) const;
};

// One decoded row: per column number, whether it is Null and its raw bytes.
struct ParsedRow {
    std::uint32_t page = 0;
    std::uint8_t row = 0;
    std::vector<bool> null;
    std::vector<Bytes8> raw;  // fixed bytes, variable bytes, or the long-value descriptor
};

struct CatalogObject {
    std::int32_t id = 0;
    std::int32_t parentId = 0;
    std::string name;
    std::int16_t type = 0;
    std::uint32_t flags = 0;
    std::uint32_t page = 0;
    std::uint8_t row = 0;
};

class JetFile {
  public:
    explicit JetFile(std::string bytes);

    std::size_t pageCount() const { return bytes_.size() / kPage; }
    const std::uint8_t* Page(std::uint32_t page) const;
    const std::string& bytes() const { return bytes_; }

    // The rows of a data page: (offset, size) per row, with the offset flags kept.
    std::vector<std::pair<std::uint16_t, std::uint16_t>> RowSlots(std::uint32_t page) const;
    // The bytes of one row (after following nothing: overflow rows are returned as stored).
    std::optional<Bytes8> RowBytes(std::uint32_t page, std::uint8_t row) const;
    std::optional<Bytes8> RowBytes(std::uint32_t rowPointer) const {
        return RowBytes(rowPointer >> 8, static_cast<std::uint8_t>(rowPointer & 0xFF));
    }

    ParsedTdef ParseTdef(std::uint32_t firstPage) const;

    // Decodes a usage-map row; `problems` collects what is wrong. `bitmapPages` receives the
    // pages of a reference map's bitmaps.
    std::vector<std::uint32_t> MapPages(const Bytes8& mapRow, std::vector<std::string>& problems,
                                        std::vector<std::uint32_t>* bitmapPages = nullptr) const;
    // The global map: the pages it marks free, below `limit`.
    std::vector<bool> GlobalFree(std::vector<std::string>& problems,
                                 std::vector<std::uint32_t>* bitmapPages) const;

    // Decodes a row of a table (Jet 4 layout); nullopt with a problem when malformed.
    std::optional<ParsedRow> DecodeRow(const ParsedTdef& tdef, const Bytes8& row,
                                       std::string& problem) const;
    // All rows of a table, in map order.
    std::vector<ParsedRow> TableRows(const ParsedTdef& tdef,
                                     std::vector<std::string>& problems) const;
    // The full bytes of a long value from its descriptor; nullopt with a problem when broken.
    // `lvalPages` receives the pages the value occupies.
    std::optional<Bytes8> LongValue(const Bytes8& descriptor, std::string& problem,
                                    std::vector<std::uint32_t>* lvalPages = nullptr) const;

    std::vector<CatalogObject> Catalog(std::vector<std::string>& problems) const;

    static constexpr std::size_t kPage = 4096;

  private:
    std::string bytes_;
};

// Text as stored (UTF-16LE or compressed with FF FE) to UTF-8.
std::string DecodeJetText(const Bytes8& raw);
std::uint16_t Le16(const std::uint8_t* p);
std::uint32_t Le32(const std::uint8_t* p);

}  // namespace tb::mdb::test
