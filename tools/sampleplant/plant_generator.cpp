#include "plant_generator.h"

#include <fstream>
#include <functional>
#include <tuple>

#include "common/error.h"
#include "common/ini.h"
#include "common/text.h"
#include "dictionary.h"
#include "file_writer.h"
#include "plant_builder.h"
#include "sheets.h"
#include "showcase.h"

namespace tb::sampleplant {
namespace {

namespace fs = std::filesystem;

// Schema users, which are also the file names.
const char* const kPlantStructure = "PLANTA";
const char* const kPlantDictionary = "PLANTAD";
const char* const kPidData = "PLANTAPID";
const char* const kPidDictionary = "PLANTAPIDD";
const char* const kChildStructure = "PLANTA_PROJ1";
const char* const kChildData = "PLANTA_PROJ1PID";

std::string DbFile(const char* user) {
    return std::string(user) + ".db";
}

std::vector<std::string> OwnedEntries() {
    std::vector<std::string> names = {kSiteIni, kPlantName, kChildPlantName};
    for (const char* user : {kSiteUser, kPlantStructure, kPlantDictionary, kPidData, kPidDictionary,
                             kChildStructure, kChildData}) {
        names.push_back(DbFile(user));
        names.push_back(DbFile(user) + ".tmp");
    }
    return names;
}

// An empty folder is taken as it is; a folder that holds an earlier sample plant loses what
// the generator wrote there; anything else is refused, so no user file is ever deleted.
void PrepareFolder(const fs::path& out) {
    std::error_code ec;
    if (!fs::exists(out, ec)) {
        fs::create_directories(out, ec);
        if (ec) {
            throw Error(kErrFileAccess,
                        "Cannot create folder '" + out.string() + "': " + ec.message(),
                        "PrepareFolder");
        }
        return;
    }
    if (!fs::is_directory(out, ec)) {
        throw Error(kErrFileAccess, "'" + out.string() + "' is not a folder", "PrepareFolder");
    }
    if (fs::is_empty(out, ec)) return;
    const IniDocument ini = IniDocument::Load(out / kSiteIni);
    if (!IEquals(ini.Get("SITESCHEMA", "DBTYPE").value_or(""), "SQLITE")) {
        throw Error(kErrValidation,
                    "Folder '" + out.string() +
                        "' is not empty and holds no sample plant; give an empty or new folder",
                    "PrepareFolder");
    }
    for (const auto& name : OwnedEntries()) {
        fs::remove_all(out / name, ec);
        if (ec) {
            throw Error(kErrFileAccess,
                        "Cannot remove '" + (out / name).string() + "': " + ec.message(),
                        "PrepareFolder");
        }
    }
}

void WriteFileAtomically(const fs::path& file, const std::string& content) {
    std::error_code ec;
    fs::create_directories(file.parent_path(), ec);
    fs::path temp = file;
    temp += ".tmp";
    {
        std::ofstream stream(temp, std::ios::binary | std::ios::trunc);
        stream.write(content.data(), static_cast<std::streamsize>(content.size()));
        if (!stream) {
            throw Error(kErrFileAccess, "Cannot write '" + temp.string() + "'",
                        "WriteFileAtomically");
        }
    }
    fs::rename(temp, file, ec);
    if (ec) {
        throw Error(kErrFileAccess, "Cannot rename '" + temp.string() + "': " + ec.message(),
                    "WriteFileAtomically");
    }
}

int WriteDrawingFiles(const PlantBuilder& b, const fs::path& plantFolder) {
    int written = 0;
    for (const auto& [path, content] : b.drawingFiles()) {
        std::string relative = ReplaceAll(path, "\\", "/");
        while (!relative.empty() && relative.front() == '/') relative.erase(0, 1);
        WriteFileAtomically(plantFolder / relative, content);
        ++written;
    }
    return written;
}

FileCounts Counts(const FileWriter& f) {
    return {f.target().filename().string(), f.Counts()};
}

// One plant: its data and structure schemas and its folder of drawing files.
int WritePlant(const fs::path& out, const char* dataUser, const char* structureUser,
               const std::string& name,
               const std::function<void(PlantBuilder&, const Group&)>& fill, std::uint64_t seed,
               Result& result) {
    FileWriter data(out / DbFile(dataUser), PlantDataTables());
    FileWriter structure(out / DbFile(structureUser), PlantStructureTables());
    PlantBuilder b(data, structure, seed);
    const Group root = b.AddRootGroup(name, "Plant " + name);
    b.AddSites();
    fill(b, root);
    data.Finish();
    structure.Finish();
    result.files.push_back(Counts(structure));
    result.files.push_back(Counts(data));
    return WriteDrawingFiles(b, out / name);
}

}  // namespace

Result GeneratePlant(const Options& options) {
    if (options.drawings < kShowcaseDrawings || options.drawings > kMaxDrawings) {
        throw Error(kErrValidation,
                    "The number of drawings must lie between " + std::to_string(kShowcaseDrawings) +
                        " and " + std::to_string(kMaxDrawings) + ", not " +
                        std::to_string(options.drawings),
                    "GeneratePlant");
    }
    fs::path out = fs::absolute(options.out).lexically_normal();
    if (!out.has_filename()) out = out.parent_path();  // "DIR/" names DIR
    PrepareFolder(out);
    Result result;

    result.drawingFiles += WritePlant(
        out, kPidData, kPlantStructure, kPlantName,
        [&](PlantBuilder& b, const Group& root) {
            AddShowcase(b, root);
            if (options.drawings > kShowcaseDrawings) {
                AddProcessSheets(b, root, options.drawings - kShowcaseDrawings, options.seed, 2,
                                 true);
            }
        },
        options.seed, result);
    // The child plant, a project of PlantA: two sheets of its own, no dictionary of its own.
    result.drawingFiles += WritePlant(
        out, kChildData, kChildStructure, kChildPlantName,
        [&](PlantBuilder& b, const Group& root) {
            AddProcessSheets(b, root, 2, options.seed + 0x9E37, 1, false);
        },
        options.seed ^ 0xC0FFEE, result);

    {
        FileWriter dictionary(out / DbFile(kPidDictionary), PidDictionaryTables());
        WritePidDictionary(dictionary, PlantDataTables());
        dictionary.Finish();
        result.files.push_back(Counts(dictionary));
    }
    {
        FileWriter dictionary(out / DbFile(kPlantDictionary), PlantDictionaryTables());
        WritePlantDictionary(dictionary, PlantStructureTables());
        dictionary.Finish();
        result.files.push_back(Counts(dictionary));
    }

    // The site: which plants there are and where their schemas lie.
    {
        Rng ids = Rng(options.seed).Fork(0x517E);
        FileWriter site(out / DbFile(kSiteUser), SiteTables());
        const std::string parent = HexId(ids);
        const std::string child = HexId(ids);
        const std::string created = Timestamp(0, 7 * 3600);
        site.Row("T_RootItem")("SP_ID", parent)("Name", kPlantName)(
                "Description", "Tarnbrook sample plant (as-built)")(
                "Path", (out / kPlantName).string())("PlantGroupTypeName", "Plant")("DateCreated",
                                                                                    created)
            .Add();
        site.Row("T_RootItem")("SP_ID", child)("Name", kChildPlantName)(
                "Description", "Project 1 of PlantA")("Path", (out / kChildPlantName).string())(
                "PlantGroupTypeName", "Plant")("DateCreated", Timestamp(400, 7 * 3600))(
                "SP_ParentRootItemID", parent)
            .Add();
        // The parent's rows leave the server empty (the site's serves); the child's name it.
        const std::tuple<const std::string*, const char*, const char*, bool> rows[] = {
            {&parent, "SPAPLANT", kPlantStructure, false},
            {&parent, "SPAPLANTDATA_DICTIONARY", kPlantDictionary, false},
            {&parent, "SPPID", kPidData, false},
            {&parent, "SPPIDDATA_DICTIONARY", kPidDictionary, false},
            {&child, "SPAPLANT", kChildStructure, true},
            {&child, "SPPID", kChildData, true},
        };
        for (const auto& [root, type, user, withServer] : rows) {
            site.Row("T_DB_DATA")("SP_ID", HexId(ids))("SP_RootItemID", *root)(
                    "SP_Schema_Type", type)("Username", user)("DBServer",
                                                              withServer ? out.string() : "")
                .Add();
        }
        site.Finish();
        result.files.push_back(Counts(site));
    }

    // The site ini last: its presence marks a complete plant.
    IniDocument ini;
    ini.Set("SITESCHEMA", "DBTYPE", "SQLITE");
    ini.Set("SITESCHEMA", "DBSERVER", out.string());
    ini.Set("SITESCHEMA", "UID", kSiteUser);
    ini.Set("SITESCHEMA", "DBAUSER", kSiteAdmin);
    if (!ini.Save(out / kSiteIni)) {
        throw Error(kErrFileAccess, "Cannot write '" + (out / kSiteIni).string() + "'",
                    "GeneratePlant");
    }
    return result;
}

}  // namespace tb::sampleplant
