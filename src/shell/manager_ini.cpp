#include "shell/manager_ini.h"

#include "common/error.h"
#include "common/file_in_place.h"
#include "common/ini.h"
#include "platform/platform.h"

namespace tb::shell {

namespace fs = std::filesystem;

fs::path ManagerIniFile() {
    return platform::ProfileFolder() / "SmartplantManager.INI";
}

void ApplySiteAndPlantToManagerIni(std::string_view site, std::string_view plant,
                                   std::string parentplant, std::string& backup) {
    std::error_code ec;
    if (!site.empty() && !fs::is_regular_file(std::string(site), ec))
        Raise("Site Ini " + std::string(site) + " does not exist.");
    if (parentplant.empty()) parentplant = plant;
    if (site.empty() && plant.empty()) return;
    const fs::path file = ManagerIniFile();
    if (!fs::is_regular_file(file, ec)) return;
    Trap("ApplySiteAndPlantToManagerIni", [&] {
        const std::string copy = file.string() + ".bk";
        fs::copy_file(file, copy, fs::copy_options::overwrite_existing);
        backup = copy;
        IniDocument doc = IniDocument::Load(file);
        if (!site.empty()) doc.Set("SmartPlant Manager", "SiteServer", site);
        if (!plant.empty()) {
            doc.Set("SmartPlant Manager", "ActivePlant", plant);
            doc.Set("SmartPlant Manager", "ActiveParentPlant", parentplant);
        }
        // A read-only file stays as it is, without a word; the run takes site and plant from
        // the arguments anyway, and there is then nothing to restore.
        if (!doc.Save(file)) {
            std::error_code rec;
            fs::remove(copy, rec);
            backup.clear();
        }
    });
}

void RestoreManagerIni(const std::string& backup) {
    if (backup.size() <= 3) return;
    // In place, as every ini write: a link to a shared file stays a link, a read-only one is kept.
    if (const auto bytes = ReadFileCompleted(backup))
        WriteFileInPlace(backup.substr(0, backup.size() - 3), *bytes);
}

}  // namespace tb::shell
