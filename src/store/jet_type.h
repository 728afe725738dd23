#pragma once
// The Jet type of a store column, as the catalogue keeps it for the writer. The codes and their
// facts are tb::JetType's, shared with the writer; a Counter is a Long with the auto-number
// flag, as in a Jet table definition.

#include <optional>
#include <string>
#include <string_view>

#include "common/jet_types.h"

namespace tb::store {

using tb::JetType;
using Storage = StorageClass;

struct ColumnType {
    JetType jet = JetType::Text;
    int width = 255;       // Text: characters, 1 to 255; 0 for every other type
    bool counter = false;  // Long with auto-number

    static constexpr ColumnType Text(int width = 255) { return {JetType::Text, width, false}; }
    static constexpr ColumnType Memo() { return {JetType::Memo, 0, false}; }
    static constexpr ColumnType Byte() { return {JetType::Byte, 0, false}; }
    static constexpr ColumnType Integer() { return {JetType::Integer, 0, false}; }
    static constexpr ColumnType Long() { return {JetType::Long, 0, false}; }
    static constexpr ColumnType Counter() { return {JetType::Long, 0, true}; }
    static constexpr ColumnType Single() { return {JetType::Single, 0, false}; }
    static constexpr ColumnType Double() { return {JetType::Double, 0, false}; }
    static constexpr ColumnType Currency() { return {JetType::Currency, 0, false}; }
    static constexpr ColumnType DateTime() { return {JetType::DateTime, 0, false}; }
    static constexpr ColumnType Boolean() { return {JetType::Boolean, 0, false}; }
    static constexpr ColumnType OLE() { return {JetType::OLE, 0, false}; }
    static constexpr ColumnType Binary() { return {JetType::Binary, 0, false}; }
    static constexpr ColumnType Guid() { return {JetType::GUID, 0, false}; }
    static constexpr ColumnType Numeric() { return {JetType::Numeric, 0, false}; }

    bool isText() const { return jet == JetType::Text || jet == JetType::Memo; }
    bool isNumber() const { return JetFacts(jet).isNumber(); }
    Storage storage() const { return JetFacts(jet).storage; }

    // The catalogue's name: "Text(40)", "Memo", "Long", "Counter", "DateTime", ...
    std::string Name() const;
    // Reads a catalogue name back.
    static std::optional<ColumnType> FromName(std::string_view name);
    // Reads a type as Jet DDL and SQLite declarations write it: "varchar(33)", "TEXT(40)",
    // "LONG INTEGER", "Memo", "TIMESTAMP", "COUNTER", "YESNO", "OLEOBJECT", "DOUBLE", "REAL", ...
    // Nothing for an empty or unknown text.
    static std::optional<ColumnType> FromDeclaration(std::string_view declaration);

    bool operator==(const ColumnType&) const = default;
};

// The SQLite declaration of a column of this type: "TEXT COLLATE JETNOCASE", "INTEGER", "REAL"
// or "BLOB"; a counter is "INTEGER PRIMARY KEY" (the rowid, so stored order and the numbering
// agree).
std::string Declaration(const ColumnType& type);

// The narrowest type that holds the values of both (the type of a UNION's column): text widths
// take the larger, numbers the wider number, text against anything else gives Text(255) (Memo
// when one is Memo), a Counter counts as a Long.
ColumnType Widest(const ColumnType& a, const ColumnType& b);

}  // namespace tb::store
