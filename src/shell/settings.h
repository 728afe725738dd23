#pragma once
// Where the ini files live and the session's temporary folder. The user file, "General.ini"
// beside it, and one file per plant; paths are worked out once and held for the process, while
// the files themselves are read anew at every call.

#include <filesystem>
#include <string>
#include <string_view>

namespace tb::shell {

namespace fs = std::filesystem;

inline constexpr std::string_view kRegistryKey = "Software\\Morvanex\\Tarnbrook";

void SetUserConfigFile(const fs::path& path);
const fs::path& GetUserConfigFile();
fs::path GetGeneralFile();

// The plant file; an empty plant means the current one. An override wins.
fs::path GetPlantFile(std::string_view plant = {});
void SetAttributeConfigFile(const fs::path& path);
void SetCurrentPlantName(std::string_view plant);
const std::string& CurrentPlantName();

// Makes the session's temporary folder under TEMP (or TMPDIR, or /tmp); raises the TEMP messages.
const fs::path& TempFolderInit();
const fs::path& SessionTempFolder();
// Removes the session's temporary folder; errors are ignored.
void DeleteTempFolder();

// Copies the plant file to or from the central folder when section "Central" says so; every
// problem is a status line, never an error.
void ImportSettingFromCentralFolder(std::string_view plant, bool write);

// Forgets the cached paths (tests run several configurations in one process).
void ResetSettingsForTests();

}  // namespace tb::shell
