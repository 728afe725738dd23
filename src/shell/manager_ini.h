#pragma once
// The SmartPlant client keeps its active site and plant in "SmartplantManager.INI" in the user's
// profile folder. A batch run that names another site or plant edits it and puts it back.

#include <filesystem>
#include <string>
#include <string_view>

namespace tb::shell {

std::filesystem::path ManagerIniFile();

// Raises "Site Ini <site> does not exist." for a missing site file. `backup` receives the path of
// the ".bk" copy when the file was changed, and stays empty otherwise.
void ApplySiteAndPlantToManagerIni(std::string_view site, std::string_view plant,
                                   std::string parentplant, std::string& backup);
// Copies the backup over the file it was taken of; the ".bk" file stays.
void RestoreManagerIni(const std::string& backup);

}  // namespace tb::shell
