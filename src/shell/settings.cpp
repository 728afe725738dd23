#include "shell/settings.h"

#include <stdlib.h>

#include <ctime>
#include <map>
#include <optional>

#include "common/error.h"
#include "common/ini.h"
#include "common/temp_file.h"
#include "common/text.h"
#include "platform/platform.h"
#include "shell/messages.h"

namespace tb::shell {
namespace {

fs::path gUserConfig;
fs::path gAttributeOverride;
std::string gCurrentPlant;
std::map<std::string, fs::path> gPlantFiles;
fs::path gTempFolder;

bool UsableConfigFile(const fs::path& file) {
    std::error_code ec;
    if (fs::is_regular_file(file, ec)) return true;
    // Can it be created? Write a probe key, remove the section, and see whether the file is there.
    IniWrite(file, "General", std::string("1"), std::string("1"));
    IniWrite(file, "General", std::nullopt, std::nullopt);
    return fs::is_regular_file(file, ec);
}

}  // namespace

void SetUserConfigFile(const fs::path& path) {
    Trap("SetUserConfigFile", [&] {
        const auto registered = platform::RegistryRead(kRegistryKey, "ConfigFile");
        fs::path result;
        if (!path.empty()) {
            result = path;
        } else if (registered && !registered->empty() && UsableConfigFile(*registered)) {
            result = *registered;
        } else {
            fs::path folder = platform::RoamingDataFolder();
            if (folder.empty()) folder = platform::ProfileFolder();
            if (!folder.empty()) {
                folder = folder / "Morvanex" / std::string(kAppTitle);
                std::error_code ec;
                fs::create_directories(folder, ec);
                result = folder / "config.ini";
            } else {
                result = platform::ProgramFolder() / (platform::GetEnv("USER") + ".ini");
            }
        }
        gUserConfig = result;
        if (!registered || *registered != result.string())
            platform::RegistryWrite(kRegistryKey, "ConfigFile", result.string());
    });
}

const fs::path& GetUserConfigFile() {
    if (gUserConfig.empty()) SetUserConfigFile({});
    return gUserConfig;
}

fs::path GetGeneralFile() {
    return GetUserConfigFile().parent_path() / "General.ini";
}

fs::path GetPlantFile(std::string_view plant) {
    if (!gAttributeOverride.empty()) return gAttributeOverride;
    // Cached by the exact name: file names differ by case here.
    const std::string name = plant.empty() ? gCurrentPlant : std::string(plant);
    if (auto it = gPlantFiles.find(name); it != gPlantFiles.end()) return it->second;
    fs::path file = GetUserConfigFile().parent_path() / (name + ".ini");
    gPlantFiles.emplace(name, file);
    return file;
}

void SetAttributeConfigFile(const fs::path& path) {
    gAttributeOverride = path;
}
const fs::path& GetAttributeConfigFile() {
    return gAttributeOverride;
}
void SetCurrentPlantName(std::string_view plant) {
    gCurrentPlant = plant;
}
const std::string& CurrentPlantName() {
    return gCurrentPlant;
}

// The base of session folder names; RemoveSessionLeftovers takes only names of this base.
constexpr std::string_view kSessionBase = "tb";

const fs::path& TempFolderInit() {
    const auto base = platform::TempVariable();
    std::error_code ec;
    if (base.value.empty())
        Raise(
            "TEMP directory not defined. Please first set operating system environment variable "
            "TEMP to a correct folder");
    if (!fs::is_directory(base.value, ec)) {
        // The message names the variable the folder came from: blaming TEMP when it is unset and
        // TMPDIR is wrong sends the user to the wrong place.
        const std::string variable = base.variable.empty() ? "TEMP" : base.variable;
        Raise(variable + " directory " + base.value +
              " not found. Please first set operating system environment variable " + variable +
              " to a correct folder");
    }
    // Private: the store holds the plant's data.
    gTempFolder = CreateTempFolder(base.value, kSessionBase, true);
    return gTempFolder;
}

const fs::path& SessionTempFolder() {
    return gTempFolder;
}

void RemoveSessionLeftovers() {
    const auto base = platform::TempVariable();
    if (base.value.empty()) return;
    RemoveLeftovers(base.value, [](std::string_view b) { return b == kSessionBase; });
}

void DeleteTempFolder() {
    if (gTempFolder.empty()) return;
    std::error_code ec;
    fs::remove_all(gTempFolder, ec);
}

fs::path FailedStorePath() {
    const fs::path folder = fs::path(platform::TempVariable().value) / std::string(kAppTitle);
    std::error_code ec;
    fs::create_directory(folder, ec);
    const std::time_t now = std::time(nullptr);
    std::tm tm{};
    ::localtime_r(&now, &tm);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d_%H%M%S", &tm);
    fs::path path = folder / ("failed-" + std::string(stamp) + ".store");
    for (int n = 2; fs::exists(fs::symlink_status(path, ec)); ++n)
        path = folder / ("failed-" + std::string(stamp) + "-" + std::to_string(n) + ".store");
    return path;
}

void ImportSettingFromCentralFolder(std::string_view plant, bool write) {
    const fs::path user = GetUserConfigFile();
    if (!IniFlag(user, "Central", write ? "Write" : "Read")) return;
    const std::string folder = IniRead(user, "Central", "IniFolder");
    std::error_code ec;
    if (folder.empty()) {
        ShowStatus("Folder for central ini files is not defined");
        return;
    }
    if (!fs::is_directory(folder, ec)) {
        ShowStatus("Folder '%0%' for central ini files does not exist|||" + folder);
        return;
    }
    const fs::path local = GetPlantFile(plant);
    const fs::path central = fs::path(folder) / (std::string(plant) + ".ini");
    if (write) {
        if (fs::is_regular_file(local, ec))
            fs::copy_file(local, central, fs::copy_options::overwrite_existing, ec);
        else
            ShowStatus("Ini file '%0%' does not exist|||" + local.string());
    } else {
        if (fs::is_regular_file(central, ec))
            fs::copy_file(central, local, fs::copy_options::overwrite_existing, ec);
        else
            ShowStatus("Central ini file '%0%' does not exist|||" + central.string());
    }
}

void ResetSettingsForTests() {
    gUserConfig.clear();
    gAttributeOverride.clear();
    gCurrentPlant.clear();
    gPlantFiles.clear();
    gTempFolder.clear();
}

}  // namespace tb::shell
