#pragma once
// The tables of every schema the generator writes, and the code lists of the data dictionary.
// Both are data: the plant builder writes rows into these tables, the dictionary is derived
// from them, so the two cannot drift apart.

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tb::sampleplant {

enum class Ty {
    Id,    // 32-character upper-case hexadecimal text
    Text,  // text of a declared width
    Int,   // whole number
    Code,  // whole number: an index of a code list
    Real,  // floating point
    Date,  // "yyyy-mm-dd hh:mm:ss" text in a TIMESTAMP column
    Blob,
};

struct ColumnDef {
    std::string name;
    Ty type = Ty::Text;
    int width = 0;     // Text and Id only
    std::string list;  // Code only: the key of its code list
};

struct TableDef {
    std::string name;
    std::vector<ColumnDef> columns;
    // The dictionary item this table describes ("PipeRun" for T_PipeRun); empty for tables
    // the dictionary does not describe.
    std::string item;

    const ColumnDef* Find(std::string_view column) const;
};

struct CodeEntry {
    CodeEntry(int i, std::string t, std::string s = {}, int c = 0, bool d = false)
        : index(i), text(std::move(t)), shortText(std::move(s)), constraint(c), disabled(d) {}
    int index = 0;
    std::string text;       // empty stands for Null
    std::string shortText;  // empty stands for Null
    int constraint = 0;     // index in the list this one depends on; 0 for none
    bool disabled = false;
};

struct CodeList {
    int number = 0;
    std::string key;        // how columns name the list ("Boolean", "NominalDiameter")
    std::string name;       // the list's name in the dictionary
    std::string dependsOn;  // key of the list this one depends on, or empty
    std::vector<CodeEntry> entries;
};

const std::vector<CodeList>& CodeLists();
// Throws tb::Error for an unknown key or text: a misspelt value must not slip into a plant.
const CodeList& ListByKey(std::string_view key);
int CodeOf(std::string_view key, std::string_view text);

std::vector<TableDef> SiteTables();
std::vector<TableDef> PlantDataTables();
std::vector<TableDef> PlantStructureTables();
std::vector<TableDef> PidDictionaryTables();
std::vector<TableDef> PlantDictionaryTables();

// The SQL type a column is declared with: VARCHAR(n), INTEGER, FLOAT, TIMESTAMP or BLOB.
std::string DeclaredType(const ColumnDef& column);
std::string CreateTableSql(const TableDef& table);
// "NominalDiameter" gives "Nominal Diameter", "OPCTag" gives "OPC Tag".
std::string DisplayName(std::string_view column);

}  // namespace tb::sampleplant
