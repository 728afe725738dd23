#pragma once
// Writes a whole sample plant into a folder: the site ini, one SQLite file per schema (site,
// plant structure, plant dictionary, P&ID data, P&ID dictionary; a child plant with its own
// data and structure) and the plant folders with the drawing files.

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace tb::sampleplant {

// Names the generated plant always has.
inline constexpr const char* kSiteIni = "SmartPlantv4.ini";
inline constexpr const char* kSiteUser = "TBSITE";
inline constexpr const char* kSiteAdmin = "TBADMIN";
inline constexpr const char* kPlantName = "PlantA";
inline constexpr const char* kChildPlantName = "PlantA_Proj1";

inline constexpr int kShowcaseDrawings = 4;  // the tiny preset
inline constexpr int kDefaultDrawings = 40;
inline constexpr int kMaxDrawings = 10000;

struct Options {
    std::filesystem::path out;
    int drawings = kDefaultDrawings;  // all drawings of the parent plant, the showcase included
    std::uint64_t seed = 1;
};

struct FileCounts {
    std::string file;  // name inside the output folder
    std::vector<std::pair<std::string, std::int64_t>> tables;
};

struct Result {
    std::vector<FileCounts> files;
    int drawingFiles = 0;
};

Result GeneratePlant(const Options& options);

}  // namespace tb::sampleplant
