#pragma once
// Where each column of a table lives in a row and in the table definition, worked out once per
// table from its TableDef after checking the names and limits Access imposes.

#include <cstdint>
#include <string>
#include <vector>

#include "mdb/table_definition.h"
#include "mdb/table_model.h"

namespace tb::mdb::jet {

struct ColumnLayout {
    std::string name;  // UTF-8, for messages
    JetType type = JetType::Text;
    std::uint16_t number = 0;
    bool variable = false;
    bool autoNumber = false;
    bool compress = false;          // Unicode compression allowed (Text, Memo)
    std::uint16_t fixedOffset = 0;  // fixed columns, after the 2-byte column count
    std::uint16_t fixedSize = 0;    // bytes in the fixed area (0 for Boolean)
    std::uint16_t varIndex = 0;
    std::uint16_t maxLength = 0;  // Text: characters; Binary: bytes
    int longValueSlot = -1;       // Memo/OLE: index among the table's long-value columns
};

struct TableLayout {
    std::string name;
    std::vector<ColumnLayout> columns;    // by column number
    std::vector<std::uint16_t> varOrder;  // column numbers by variable-column index
    std::uint16_t fixedSize = 0;
    std::uint16_t longValueColumns = 0;
};

// Checks an object name as Access does: 1 to 64 characters, no . ! ` [ ], no control
// characters, no leading blank. `what` describes the object for the message.
void CheckObjectName(const std::string& name, const std::string& what);

// A key that is equal for names Access takes as the same (case and trailing blanks ignored).
ByteVec NameKey(const std::string& name);

// Checks the table's name, column count, column names and types and lays the columns out.
// Throws tb::Error naming the table and column.
TableLayout LayoutTable(const TableDef& def);

// The table definition columns of a user table's layout.
std::vector<TdefColumn> DefinitionColumns(const TableLayout& layout);

// Builds the layout of a table whose definition is given column by column (the system tables).
TableLayout LayoutFromDefinition(const std::string& name, const std::vector<TdefColumn>& columns);

}  // namespace tb::mdb::jet
