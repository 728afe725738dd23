#include "attributes/config_file.h"

#include <algorithm>

#include "attributes/categories.h"
#include "common/error.h"
#include "common/file_in_place.h"
#include "common/ini.h"
#include "common/text.h"
#include "platform/platform.h"
#include "shell/settings.h"

namespace tb::attributes {

fs::path GetProjectIniPath(std::string_view project) {
    return shell::GetPlantFile(project);
}

std::vector<std::string> GetIniSectionKeys(const fs::path& file, std::string_view section) {
    std::error_code ec;
    if (fs::exists(file, ec) && !fs::is_regular_file(file, ec)) return {};
    auto keys = IniSectionKeys(file, section);
    if (keys.empty()) keys.emplace_back();
    return keys;
}

std::vector<std::string> GetIniSectionNames(const fs::path& file) {
    return IniSectionNames(file);
}

void SaveAttributes2Ini(std::string_view project, std::string_view table,
                        const std::vector<std::string>& keys) {
    Trap("SaveAttributes2Ini", [&] {
        if (keys.size() > kMaxAttributes)
            Raise("The configured attributes are more than 230. It is not allowed.");
        const fs::path file = GetProjectIniPath(project);
        IniDocument doc = IniDocument::Load(file);
        doc.RemoveSection(table);
        const bool nozzles = IEquals(table, "Eqp_Nozzle");
        for (const auto& key : keys) {
            doc.Set(table, key, "");
            if (nozzles && IEndsWith(key, "_nozzle")) doc.Set(table, "T_Nozzle.SP_ID", "");
        }
        if (!doc.Save(file))
            throw Error(kErrFileAccess, "Cannot write the configuration file " + file.string());
        IniWrite(shell::GetUserConfigFile(), "General", std::string("LastAttConfigProject"),
                 std::string(project));
        shell::ImportSettingFromCentralFolder(project, true);
    });
}

namespace {

// Whether a configuration names any category: without one it configures nothing.
bool HoldsACategory(const IniDocument& doc) {
    return std::any_of(AllCategoryNames().begin(), AllCategoryNames().end(),
                       [&](const std::string& category) { return doc.HasSection(category); });
}

}  // namespace

void InitProjectConfig(std::string_view project) {
    Trap("InitProjectConfig", [&] {
        const fs::path file = GetProjectIniPath(project);
        // A /config file is an input: it is read, never written. What the preparation would add
        // is taken in memory (AllLoops reads as 0 when missing); without any category it is no
        // attribute configuration at all.
        if (const fs::path& given = shell::GetAttributeConfigFile(); !given.empty()) {
            if (HoldsACategory(IniDocument::Load(given))) return;
            Raise("Config Ini " + given.string() +
                  " holds no attribute configuration: none of the sections " +
                  Join(AllCategoryNames(), ", ") + " is in it.");
        }
        const IniDocument current = IniDocument::Load(file);
        if (!current.Get("General", "AllLoops"))
            IniWrite(file, "General", std::string("AllLoops"), std::string("0"));
        if (HoldsACategory(current)) return;

        // Not configured yet: the last plant's file, else the shipped defaults.
        const fs::path user = shell::GetUserConfigFile();
        std::string last = IniRead(user, "General", "LastProject");
        if (last.empty()) last = IniRead(user, "General", "LastAttConfigProject");
        std::error_code ec;
        if (!last.empty()) {
            const fs::path lastFile = GetProjectIniPath(last);
            if (lastFile != file && fs::is_regular_file(lastFile, ec)) {
                if (const auto bytes = ReadFileCompleted(lastFile)) {
                    // In place, as every ini write: a read-only plant file stays as it is.
                    WriteFileInPlace(file, *bytes);
                    return;
                }
            }
        }
        const IniDocument defaults =
            IniDocument::Load(platform::ApplicationFolder() / "config" / "default");
        IniDocument doc = IniDocument::Load(file);
        for (const auto& category : AllCategoryNames()) {
            doc.RemoveSection(category);
            for (const auto& [key, value] : defaults.Entries("PlantA_" + category))
                doc.Set(category, key, value);
        }
        // The plant's other sections of the template (the label files of "Labels") come along.
        for (const auto& section : defaults.SectionNames()) {
            if (!IStartsWith(section, "PlantA_")) continue;
            const std::string name = section.substr(7);
            if (std::any_of(AllCategoryNames().begin(), AllCategoryNames().end(),
                            [&](const auto& c) { return IEquals(c, name); }))
                continue;
            doc.RemoveSection(name);
            for (const auto& [key, value] : defaults.Entries(section)) doc.Set(name, key, value);
        }
        // A read-only plant file is left as it is, without a message, as every ini write.
        doc.Save(file);
    });
}

std::uint32_t ColorOfWord(std::string_view word) {
    const std::string w = ToLowerAscii(TrimBlanks(word));
    if (w == "cyan") return 16776960;
    if (w == "green") return 65280;
    if (w == "magenta") return 16711935;
    if (w == "red") return 255;
    if (w == "yellow") return 65535;
    return 16711680;
}

AttributeColors ReadAttributeColors() {
    const IniDocument doc =
        IniDocument::Load(platform::ApplicationFolder() / "config" / "AttributeColor.ini");
    AttributeColors colors;
    colors.color = ColorOfWord(doc.Get("General", "Color").value_or("Blue"));
    for (const auto& section : doc.SectionNames()) {
        const std::string table = ToLowerAscii(section);
        if (table == "general") continue;
        for (const auto& [column, value] : doc.Entries(section)) {
            std::string key = table + "." + ToLowerAscii(column);
            // The old form of piping point keys.
            if (key.starts_with("t_pipingpoint.end_"))
                key = "t_pipingpoint._" + key.substr(std::string("t_pipingpoint.end_").size());
            colors.keys.insert(std::move(key));
        }
    }
    return colors;
}

}  // namespace tb::attributes
