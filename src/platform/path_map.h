#pragma once
// Windows paths found in plant data ("\\server\share\PlantA", "\Area10\PID-11-01.pid") turned
// into paths of this machine: backslashes become slashes, UNC prefixes (or any other prefix, such
// as a drive) are replaced by the rules of section "PathMap" of the program ini
// ("\\server\share=/mnt/share"), and names are found ignoring case where the exact one is missing.

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tb::platform {

// A rule: the Windows prefix (as written) and the local folder that stands for it.
using PathMapRule = std::pair<std::string, std::string>;

// The rules of section "PathMap" of the program ini, in file order.
std::vector<PathMapRule> PathMapRules();

// The path with backslashes as slashes and the longest matching prefix of `rules` replaced (the
// prefix compared ignoring case and ignoring the kind of slash, ending at a separator or at the
// end of the path).
std::string MapWindowsPath(std::string_view path, const std::vector<PathMapRule>& rules);

// Each part of the path that does not exist by its exact name is taken from a name in its folder
// that differs only in case; parts that are not found stay as written.
std::filesystem::path ResolveIgnoringCase(const std::filesystem::path& path);

// MapWindowsPath with the program ini's rules, then ResolveIgnoringCase.
std::filesystem::path LocalPath(std::string_view windowsPath);

}  // namespace tb::platform
