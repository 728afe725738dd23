#pragma once
// Checks of a generated sample plant that later work relies on, shared by the unit tests
// (tiny and default presets) and the large-plant tests. Each returns the problems it found,
// one text per offending value, so a test can compare them with the deliberate debris.

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "plant_generator.h"
#include "sqlite_db.h"

namespace tb::sampleplant::test {

namespace fs = std::filesystem;

// A generated plant in a temporary folder, removed at the end.
struct GeneratedPlant {
    GeneratedPlant(int drawings, std::uint64_t seed = 1);
    ~GeneratedPlant();
    GeneratedPlant(const GeneratedPlant&) = delete;
    GeneratedPlant& operator=(const GeneratedPlant&) = delete;

    fs::path dir;
    Result result;
    fs::path File(const std::string& schemaUser) const { return dir / (schemaUser + ".db"); }
};

// The presets, generated once per test program.
const GeneratedPlant& TinyPlant();
const GeneratedPlant& DefaultPlant();

// The counts table of tools/sampleplant/README.md: (file, table) -> rows, for the column whose
// heading begins with `column`.
std::map<std::pair<std::string, std::string>, std::int64_t> ReadmeCounts(const std::string& column);
// What a generated plant holds, in the same form.
std::map<std::pair<std::string, std::string>, std::int64_t> PlantCounts(
    const GeneratedPlant& plant);

// One reference between tables: `column` of `table` holds ids of `target`.`targetColumn`.
struct Reference {
    std::string table;
    std::string column;
    std::string target;
    std::string targetColumn;
};
const std::vector<Reference>& PlantDataReferences();

// "table.column=value" for each value that resolves nowhere.
std::vector<std::string> UnresolvedReferences(Db& db);
// Connector ends that are not a representation on the connector's own drawing.
std::vector<std::string> ForeignConnectorEnds(Db& db);
// Off-page connectors whose mate does not point back, lies on the same drawing or has
// another tag.
std::vector<std::string> BrokenOpcPairs(Db& db);
// Code-listed columns (by the dictionary) whose values are not in their list.
std::vector<std::string> ValuesOutsideLists(Db& plant, const fs::path& dictionary);
// Id columns (SP_ID and SP_...ID) holding anything but 32 upper-case hex characters.
std::vector<std::string> MalformedIds(Db& db);
// Text columns holding '' instead of Null.
std::vector<std::string> EmptyTexts(Db& db);
// Connector start and end objects that name no piping point of the item at that end.
std::vector<std::string> DanglingPointIndices(Db& db);
// Inline items whose representation is no connector end of their own run.
std::vector<std::string> InlineItemsOffTheirRun(Db& db);

// Rows per table of a file.
std::map<std::string, std::int64_t> CountRows(const fs::path& file);
std::int64_t Scalar(Db& db, const std::string& sql);

}  // namespace tb::sampleplant::test
