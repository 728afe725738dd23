#pragma once
// The attribute catalogue: every attribute a category of the extract can be given, computed from
// the plant's own tables and data dictionary by the fixed rules of catalogue_rules.h. The same
// ordered list serves the attribute dialog (its available attributes), the tools, and the
// extraction (whether a configured key is known).

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "attributes/plant_dictionary.h"

namespace tb::attributes {

class EmptyAttributeCheck;

struct CatalogueEntry {
    std::string key;          // as the configuration file holds it: "t_modelitem.ItemTag_PipeRun"
    std::string name;         // what the list shows before any display name: "PipeRun_ItemTag"
    std::string displayName;  // from the data dictionary; empty when it has none
    std::string text;         // name + "    (" + displayName + ")", or the name alone
    std::string group;  // the root node: the source table ("T_ModelItem"), "Others", a case table
};

struct CatalogueOptions {
    // Whether OPCs offer case attributes. Unset: when the project's configuration holds a case
    // attribute (T_CaseProcess, T_CaseControl, T_Case) in any category.
    std::optional<bool> caseAttributesOn;
    // Given: attributes without a value anywhere in the plant are left out.
    EmptyAttributeCheck* emptyCheck = nullptr;
};

// The catalogue of one category. Groups come in the order of the category's source tables, then
// "Others", "T_InstrFailMode" and the case tables; within a group the entries are sorted by name,
// ignoring case. Every key appears once.
std::vector<CatalogueEntry> GetAttributeCatalogue(std::string_view category,
                                                  PlantDictionary& dictionary,
                                                  const CatalogueOptions& options = {});

// The entry of a key, ignoring case; nullptr when the catalogue does not offer it.
const CatalogueEntry* FindCatalogueEntry(const std::vector<CatalogueEntry>& catalogue,
                                         std::string_view key);

// The case lists: the case names the plant knows (code list 34; all of them for a plant copy),
// with "ControlCase" last, which is not checked against the list; the qualities Min and Max as
// code list 41 enables them; the value columns of t_caseprocess and t_casecontrol (no "sp*id"
// columns, no Quality, which the key itself names); the header columns of t_case.
std::vector<std::string> GetCasePart1(const PlantDictionary& dictionary);
std::vector<std::string> GetCasePart2(const PlantDictionary& dictionary);
std::vector<std::string> GetCasePart3(const PlantDictionary& dictionary);
std::vector<std::string> GetCaseControlAtt(const PlantDictionary& dictionary);
std::vector<std::string> GetT_CaseAtt(const PlantDictionary& dictionary);

// Whether any category section of the configuration file holds a case attribute.
bool ConfigurationHasCaseAttributes(const std::filesystem::path& projectIni);

}  // namespace tb::attributes
