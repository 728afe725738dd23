#pragma once
// The attribute configuration file: one ini file per plant, one section per category, whose keys
// are the configured attributes in column order (values are always empty).

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tb::attributes {

namespace fs = std::filesystem;

// The /config file when one was given; else "<project>.ini" beside the user's configuration
// file, an empty project meaning the current plant.
fs::path GetProjectIniPath(std::string_view project = {});

// Every key of a section in file order. A missing or empty section gives one empty text, which
// callers skip; an unreadable file gives none.
std::vector<std::string> GetIniSectionKeys(const fs::path& file, std::string_view section);
std::vector<std::string> GetIniSectionNames(const fs::path& file);

// The most attributes one category may hold.
inline constexpr std::size_t kMaxAttributes = 229;

// Replaces the section `table` of the project's file with `keys` in their order. An "Eqp_Nozzle"
// key of a nozzle brings "T_Nozzle.SP_ID" with it. Raises, writing nothing, when there are more
// than kMaxAttributes keys. Records the project as the last configured one and hands the file to
// the central folder when that is switched on.
void SaveAttributes2Ini(std::string_view project, std::string_view table,
                        const std::vector<std::string>& keys);

// Makes sure a project has a configuration: "AllLoops" in "General", and, when no category has
// a section yet, a copy of the last project's file or of the shipped defaults (config/default,
// sections "PlantA_<category>").
void InitProjectConfig(std::string_view project);

// The colour file config/AttributeColor.ini: the colour in which configured attributes are shown
// and the lower-cased "table.column" keys it marks.
struct AttributeColors {
    std::uint32_t color = 16711680;  // Windows colour value, red in the low byte
    std::set<std::string> keys;
};
AttributeColors ReadAttributeColors();
std::uint32_t ColorOfWord(std::string_view word);

}  // namespace tb::attributes
