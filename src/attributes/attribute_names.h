#pragma once
// The attribute names of the plant's data dictionary, held once for the process, so that a name
// found in an extract column can be given back in the spelling the plant uses.

#include <string>
#include <string_view>

namespace tb::attributes {

// Reads "SELECT distinct ATTRIBUTE_NAME FROM ATTRIBUTES_cp;" on the session connection (the
// extract's copy of the plant's attribute table). Replaces the names held before; an empty table
// leaves none.
void InitAttributeNames();
// The same from the plant's data dictionary (ATTRIBUTES), where there is no extract.
void InitAttributeNamesFromDictionary();
// Forgets the names (a change of plant).
void ClearAttributeNames();

// The dictionary's spelling of `name`, found ignoring case, with `found` true; otherwise `name`
// as it came, with `found` false. Never fails, also before any names were read.
std::string GetAttNameFromDB(std::string_view name, bool& found);
std::string GetAttNameFromDB(std::string_view name);

}  // namespace tb::attributes
