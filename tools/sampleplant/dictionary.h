#pragma once
// The data dictionaries, derived from the table definitions and the code lists: ATTRIBUTES
// (one row per column of each described table, code-listed ones with "C" + the list number),
// CODELISTS and ENUMERATIONS, and for the P&ID dictionary also ENTITIES, UNIQUEATTS, ITEM,
// ITEMATTRIBUTIONS (display names, 35 = equipment, 37 = instrument) and FILTEREDRELATIONSHIP.

#include <vector>

#include "file_writer.h"
#include "schema.h"

namespace tb::sampleplant {

void WritePidDictionary(FileWriter& f, const std::vector<TableDef>& described);
void WritePlantDictionary(FileWriter& f, const std::vector<TableDef>& described);

}  // namespace tb::sampleplant
