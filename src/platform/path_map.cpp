// Windows paths of plant data as local paths.

#include "platform/path_map.h"

#include "common/ini.h"
#include "common/text.h"
#include "platform/platform.h"

namespace tb::platform {

std::vector<PathMapRule> PathMapRules() {
    std::vector<PathMapRule> rules;
    const fs::path ini = ProgramIniFile();
    std::error_code ec;
    if (!fs::is_regular_file(ini, ec)) return rules;
    for (const auto& [key, value] : IniDocument::Load(ini).Entries("PathMap")) {
        const std::string from(TrimSpace(key)), to(TrimSpace(value));
        if (!from.empty() && !to.empty()) rules.emplace_back(from, to);
    }
    return rules;
}

std::string MapWindowsPath(std::string_view path, const std::vector<PathMapRule>& rules) {
    const std::string p = ReplaceAll(path, "\\", "/");
    std::size_t bestLength = 0;
    const PathMapRule* best = nullptr;
    for (const PathMapRule& rule : rules) {
        std::string from = ReplaceAll(rule.first, "\\", "/");
        while (from.size() > 1 && from.back() == '/') from.pop_back();
        if (from.size() <= bestLength || !IStartsWith(p, from)) continue;
        if (p.size() > from.size() && p[from.size()] != '/') continue;
        bestLength = from.size();
        best = &rule;
    }
    if (!best) return p;
    std::string to = best->second;
    while (to.size() > 1 && to.back() == '/') to.pop_back();
    return to + p.substr(bestLength);
}

fs::path ResolveIgnoringCase(const fs::path& path) {
    std::error_code ec;
    if (fs::exists(path, ec)) return path;
    fs::path out;
    bool lost = false;
    for (const fs::path& part : path) {
        fs::path next = out / part;
        if (!lost && !part.empty() && part != "/" && !fs::exists(next, ec)) {
            if (const auto found = FindFileIgnoringCase(next))
                next = *found;
            else
                lost = true;  // the rest cannot be looked up in a folder that is not there
        }
        out = std::move(next);
    }
    return out;
}

fs::path LocalPath(std::string_view windowsPath) {
    return ResolveIgnoringCase(MapWindowsPath(windowsPath, PathMapRules()));
}

}  // namespace tb::platform
