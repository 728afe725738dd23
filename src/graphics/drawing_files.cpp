// Drawing file copy: the plant's drawing files beside the extract.

#include "graphics/drawing_files.h"

#include <optional>
#include <system_error>

#include "common/error.h"
#include "common/log.h"
#include "common/temp_file.h"
#include "common/text.h"
#include "plantaccess/plant_path.h"
#include "plantaccess/session.h"
#include "platform/path_map.h"

namespace tb::graphics {
namespace {

namespace fs = std::filesystem;

// The plant folder of the last copy run, for EnsureIgr.
std::string& KeptPlantFolder() {
    static std::string folder;
    return folder;
}

// Copies the file whole, overwriting the target. The error code tells what failed; `operation`
// names the file operation.
void CopyWhole(const fs::path& source, const fs::path& target, std::error_code& ec,
               std::string& operation) {
    operation = "copy_file";
    std::error_code exists;
    if (!fs::is_regular_file(source, exists)) {
        ec = std::make_error_code(std::errc::no_such_file_or_directory);
        return;
    }
    try {
        // Removed unless renamed onto the target. Not synced: a drawing is a copy of the plant's
        // file and can be copied again.
        AtomicFile part(target);
        part.CloseDescriptor();
        fs::copy_file(source, part.temporary(), fs::copy_options::overwrite_existing, ec);
        if (ec) return;
        operation = "rename";
        part.Rename(ec);
    } catch (const Error& e) {
        operation = e.description();
        ec = std::make_error_code(std::errc::io_error);
    }
}

std::string WithSlash(const fs::path& folder) {
    std::string s = folder.string();
    if (s.empty() || s.back() != '/') s += '/';
    return s;
}

}  // namespace

fs::path GetIgrFolder(const fs::path& extractPath) {
    const fs::path folder =
        (extractPath.has_parent_path() ? extractPath.parent_path() : fs::current_path()) / "igr";
    std::error_code ec;
    if (!fs::is_directory(folder, ec)) fs::create_directories(folder, ec);
    return folder;
}

fs::path GetIgrFolder() {
    return GetIgrFolder(fs::path(plantaccess::SessionDatabasePath()));
}

std::string DrawingBaseName(std::string_view drawingPath) {
    const auto slash = drawingPath.find_last_of("\\/");
    std::string name(slash == std::string_view::npos ? drawingPath : drawingPath.substr(slash + 1));
    const auto dot = name.find_last_of('.');
    if (dot != std::string::npos && dot > 0) name.erase(dot);
    return name;
}

fs::path DrawingSourcePath(std::string_view plantFolder, std::string_view drawingPath) {
    std::string folder(plantFolder);
    if (!drawingPath.empty() && (drawingPath.front() == '\\' || drawingPath.front() == '/')) {
        if (!folder.empty() && (folder.back() == '\\' || folder.back() == '/')) folder.pop_back();
    } else if (!folder.empty() && folder.back() != '\\' && folder.back() != '/') {
        folder += '/';
    }
    return platform::LocalPath(folder + std::string(drawingPath));
}

std::optional<fs::path> ConfinedDrawingSource(std::string_view plantFolder,
                                              std::string_view drawingPath) {
    fs::path source = DrawingSourcePath(plantFolder, drawingPath).lexically_normal();
    fs::path root = platform::LocalPath(std::string(plantFolder)).lexically_normal();
    // "a/b/" and "a/b" are the same folder; compare element by element.
    if (!root.empty() && root.filename().empty()) root = root.parent_path();
    if (!source.empty() && source.filename().empty()) source = source.parent_path();
    auto s = source.begin();
    for (auto r = root.begin(); r != root.end(); ++r, ++s)
        if (s == source.end() || *s != *r) return std::nullopt;
    if (s == source.end()) return std::nullopt;  // the plant folder itself is no drawing
    return source;
}

CopyResult CopyPid2IgrInto(store::Store& extract, const fs::path& folder,
                           const fs::path& shownFolder, bool noCancel,
                           const std::string& plantFolder) {
    CopyResult result;
    try {
        ShowStatus("Copying PID files to directory '%0%'...|||" + WithSlash(shownFolder));
        if (!fs::is_directory(folder)) fs::create_directories(folder);
        KeptPlantFolder() = plantFolder;
        const std::vector<store::Row> rows =
            extract.QueryRows("SELECT Drawing_Path FROM PID GROUP BY Drawing_Path");
        result.drawings = static_cast<int>(rows.size());
        ShowStatus("Drawing count is " + std::to_string(rows.size()));
        for (const store::Row& row : rows) {
            const std::string path = row[0].isNull() ? std::string() : row[0].ToText();
            if (TrimSpace(path).empty()) {
                ShowStatus("Empty Drawing_Path found");
            } else if (const auto source = ConfinedDrawingSource(plantFolder, path); !source) {
                // A path of the plant's data that climbs out of the plant folder would copy any
                // file the user can read into the extract's folder.
                ShowStatus("Drawing path '%0%' leaves the plant folder '%1%': not copied|||" +
                           path + "|||" + plantFolder);
            } else {
                const std::string name = DrawingBaseName(path) + ".igr";
                const fs::path target = folder / name;
                std::error_code ec;
                std::string operation;
                CopyWhole(*source, target, ec, operation);
                if (ec) {
                    ShowStatus("Error: Copying file '%0%' to '%1%'|||" + source->string() + "|||" +
                               (shownFolder / name).string());
                    LogLine(ec.message() + ":" + std::to_string(ec.value()) + ":" + operation);
                } else if (fs::exists(target, ec)) {
                    ++result.copied;
                } else {
                    ShowStatus("Cannot find " + target.string());
                }
            }
            DoEvents();
            if (!noCancel && CancelRequested()) break;
        }
        ShowStatus("Copying PID files done, " + std::to_string(result.copied) +
                   " igr files copied");
    } catch (const Error& e) {
        LogLine(ChainSource("CopyPid2Igr", 0, e.source()) + ":" + e.description());
    } catch (const std::exception& e) {
        LogLine(std::string("CopyPid2Igr:") + e.what());
    }
    return result;
}

CopyResult CopyPid2Igr(store::Store& extract, const fs::path& extractPath, bool noCancel,
                       const std::string& plantFolder) {
    const fs::path folder = GetIgrFolder(extractPath);
    return CopyPid2IgrInto(extract, folder, folder, noCancel, plantFolder);
}

namespace {

std::string PlantFolderOrLog() {
    try {
        return plantaccess::GetPlantPath();
    } catch (const Error& e) {
        LogLine(ChainSource("CopyPid2Igr", 0, e.source()) + ":" + e.description());
    }
    return {};
}

}  // namespace

void CopyPid2Igr(store::Store& extract, const fs::path& extractPath, bool noCancel) {
    CopyPid2Igr(extract, extractPath, noCancel, PlantFolderOrLog());
}

void CopyPid2IgrInto(store::Store& extract, const fs::path& folder, const fs::path& shownFolder,
                     bool noCancel) {
    CopyPid2IgrInto(extract, folder, shownFolder, noCancel, PlantFolderOrLog());
}

void EnsureIgr(store::Store& extract, const fs::path& igrPath, const std::string& plantFolder) {
    try {
        std::error_code ec;
        if (igrPath.empty() || fs::exists(igrPath, ec)) return;
        if (igrPath.has_parent_path() && !fs::is_directory(igrPath.parent_path(), ec))
            fs::create_directories(igrPath.parent_path());
        // The base name is a pattern of its own: "%" and "_" in it match as in Access.
        const std::string pattern =
            "%" + ToLowerAscii(DrawingBaseName(igrPath.filename().string())) + ".pid";
        const std::vector<store::Row> rows =
            extract.QueryRows("SELECT Drawing_Path FROM PID WHERE lcase(Drawing_Path) LIKE " +
                              SqlLiteral(pattern) + " AND NOT Drawing_Path IS NULL");
        if (rows.empty()) return;
        std::string operation;
        CopyWhole(DrawingSourcePath(plantFolder, rows.front()[0].ToText()), igrPath, ec, operation);
        if (ec)
            LogLine("EnsureIgr:" + ec.message() + ":" + std::to_string(ec.value()) + ":" +
                    operation);
        DoEvents();
    } catch (const Error& e) {
        LogLine(ChainSource("EnsureIgr", 0, e.source()) + ":" + e.description());
    } catch (const std::exception& e) {
        LogLine(std::string("EnsureIgr:") + e.what());
    }
}

void EnsureIgr(store::Store& extract, const fs::path& igrPath) {
    if (KeptPlantFolder().empty()) {
        try {
            KeptPlantFolder() = plantaccess::GetPlantPath();
        } catch (const Error& e) {
            LogLine(ChainSource("EnsureIgr", 0, e.source()) + ":" + e.description());
        }
    }
    EnsureIgr(extract, igrPath, KeptPlantFolder());
}

}  // namespace tb::graphics
