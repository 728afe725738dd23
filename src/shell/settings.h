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
// The file of SetAttributeConfigFile (a /config file: an input of the run); empty when none.
const fs::path& GetAttributeConfigFile();
void SetCurrentPlantName(std::string_view plant);
const std::string& CurrentPlantName();

// Makes the session's temporary folder under TEMP (or TMPDIR, or /tmp), private to the user and
// named as temporary names are ("tb.tmp-<host>-<pid>-<random>"); raises the TEMP messages, naming
// the variable that gave the folder.
const fs::path& TempFolderInit();
const fs::path& SessionTempFolder();
// Removes the session folders of runs on this host whose process is gone (a killed run never
// removes its own), logging each. Errors are ignored.
void RemoveSessionLeftovers();
// Removes the session's temporary folder; errors are ignored.
void DeleteTempFolder();
// Where the store of a failed run is kept with "KeepFailedStore=1":
// "<TEMP>/Tarnbrook/failed-<yyyy-mm-dd_hhmmss>.store" (a number added when taken). Makes the
// folder.
fs::path FailedStorePath();

// Copies the plant file to or from the central folder when section "Central" says so; every
// problem is a status line, never an error.
void ImportSettingFromCentralFolder(std::string_view plant, bool write);

// Forgets the cached paths (tests run several configurations in one process).
void ResetSettingsForTests();

}  // namespace tb::shell
