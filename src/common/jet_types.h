#pragma once
// The Jet 4 column types and what the program needs to know of each: the store's
// catalogue, the writer and the reader all read this one table, so they cannot disagree.

#include <cstdint>
#include <limits>
#include <string_view>

namespace tb {

// Column type codes as they stand in a Jet 4 table definition. A Counter is a Long column with
// the auto-number flag.
enum class JetType : std::uint8_t {
    Boolean = 0x01,
    Byte = 0x02,
    Integer = 0x03,
    Long = 0x04,
    Currency = 0x05,
    Single = 0x06,
    Double = 0x07,
    DateTime = 0x08,
    Binary = 0x09,
    Text = 0x0A,
    OLE = 0x0B,
    Memo = 0x0C,
    GUID = 0x0F,
    Numeric = 0x10,
};

// How the store declares a column of the type in SQLite (TEXT, INTEGER, REAL, BLOB): only these
// four, so SQLite never rewrites a value behind the catalogue's back.
enum class StorageClass { Text, Integer, Real, Binary };

struct JetTypeFacts {
    JetType type;
    std::string_view name;       // in the store's catalogue; empty for a code that is no type
    std::string_view shownName;  // in the writer's messages: the decimal type as Access names it
    bool fixed;  // in the fixed area of a row; the others are variable (Memo and OLE long values)
    int size;    // bytes in the fixed area; 0 for variable types and for Boolean (a null-mask bit)
    bool written;    // our writer makes columns of it
    bool indexed;    // our writer builds index keys of it
    int numberRank;  // the order in which numbers widen into each other; -1 for non-numbers
    StorageClass storage;
    std::int64_t low = 0, high = 0;  // whole numbers: the values the type holds

    constexpr bool isNumber() const { return numberRank >= 0; }
};

inline constexpr JetTypeFacts kUnknownJetType = {.type = JetType{0},
                                                 .name = "",
                                                 .shownName = "unknown",
                                                 .fixed = false,
                                                 .size = 0,
                                                 .written = false,
                                                 .indexed = false,
                                                 .numberRank = -1,
                                                 .storage = StorageClass::Text};

inline constexpr JetTypeFacts kJetTypes[] = {
    // type, name, shownName, fixed, size, written, indexed, numberRank, storage, low, high
    {JetType::Boolean, "Boolean", "Boolean", true, 0, true, true, 0, StorageClass::Integer, -1, 0},
    {JetType::Byte, "Byte", "Byte", true, 1, true, true, 1, StorageClass::Integer, 0, 255},
    {JetType::Integer, "Integer", "Integer", true, 2, true, true, 2, StorageClass::Integer,
     std::numeric_limits<std::int16_t>::min(), std::numeric_limits<std::int16_t>::max()},
    {JetType::Long, "Long", "Long", true, 4, true, true, 3, StorageClass::Integer,
     std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()},
    {JetType::Currency, "Currency", "Currency", true, 8, true, true, 5, StorageClass::Real},
    {JetType::Single, "Single", "Single", true, 4, true, true, 4, StorageClass::Real},
    {JetType::Double, "Double", "Double", true, 8, true, true, 6, StorageClass::Real},
    // Dates stand in the store as text "yyyy-mm-dd hh:mm:ss", which sorts as the dates do.
    {JetType::DateTime, "DateTime", "DateTime", true, 8, true, true, -1, StorageClass::Text},
    {JetType::Binary, "Binary", "Binary", false, 0, true, false, -1, StorageClass::Binary},
    {JetType::Text, "Text", "Text", false, 0, true, true, -1, StorageClass::Text},
    {JetType::OLE, "OLE", "OLE", false, 0, true, false, -1, StorageClass::Binary},
    {JetType::Memo, "Memo", "Memo", false, 0, true, false, -1, StorageClass::Text},
    {JetType::GUID, "GUID", "GUID", true, 16, true, false, -1, StorageClass::Text},
    {JetType::Numeric, "Numeric", "Decimal", true, 17, false, false, 7, StorageClass::Real},
};

// The facts of a type; kUnknownJetType for a code read from a file that is no Jet 4 type.
constexpr const JetTypeFacts& JetFacts(JetType type) {
    for (const JetTypeFacts& f : kJetTypes)
        if (f.type == type) return f;
    return kUnknownJetType;
}

}  // namespace tb
