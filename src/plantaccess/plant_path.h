#pragma once
// The plant's folder on disk, where its drawing files lie: the Path of the plant's row in the site
// schema's T_RootItem, mapped to a local folder (platform/path_map.h).

#include <filesystem>
#include <string>
#include <string_view>

namespace tb::plantaccess {

// The statement that reads the plant's Path from the site schema; `table` is the full name of
// T_RootItem in the site's dialect.
std::string PlantPathSql(std::string_view table, std::string_view plantName);

// The Path text of the current plant as the site stores it; empty when the site has none or the
// run reads a plant copy.
std::string GetPlantPathText();

// GetPlantPathText as a local folder, ending with "/"; empty when there is none.
std::string GetPlantPath();

}  // namespace tb::plantaccess
