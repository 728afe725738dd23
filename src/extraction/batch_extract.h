#pragma once
// Batch extraction: the wrapper around PID2MDB that Main calls, and the look-ups that turn the
// selection arguments (/pbs, /unitcode, /name) into lists of plant group and drawing ids.

#include <string>

namespace tb::extraction {

// Opens the plant named by Main (or the client's ini), prepares its attribute configuration once
// the plant resolved, and runs PID2MDB. An old output and its "igr" folder stay until the run has
// made their replacements.
void ExtractActivePlant2MDB(const std::string& output, bool extractDrawingFiles, bool fromTo,
                            const std::string& plantGroupIDs, const std::string& drawingIDs,
                            const std::string& exclude);

// Raises error 1 unless the plant name is a plain file name (its settings file is named after it).
void CheckPlantName(const std::string& plant);

// The ids are quoted comma lists ("'A','B'"), each id once; empty when nothing matched.
void GetPlantGroupAndDrawingIDsFromPBS(const std::string& pbs, std::string& plantGroupIDs,
                                       std::string& drawingIDs);
std::string GetPlantGroupIDsFromUnitCode(const std::string& unitcode);
std::string GetDrawingIDsFromNames(const std::string& name);

}  // namespace tb::extraction
