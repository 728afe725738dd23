#pragma once
// Run and label statistics: computed columns a report on a plant always asks for.
// InlineComp_Prun.NotConnectedRuns (per tag, the runs that touch no other run of the tag),
// InlineComp_Prun.NumberOfLabels (piping labels of a run) and Eqp_Nozzle.MultiRep (the equipment
// stands on more than one drawing). Missing inputs are log lines, not failures.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "store/store.h"

namespace tb::extraction {

// The scratch database of AddNotConnectedRuns: "<folder>/Tarnbrook-scratch.sqlite".
std::filesystem::path NotConnectedScratchFile(const std::filesystem::path& folder);

// The branches of the neighbour table t_not_connect (run, tag, cid, caid), joined by " UNION ".
std::string NotConnectSql();

// NotConnectedRuns of InlineComp_Prun. The work happens in a scratch SQLite file attached to the
// store (made anew in `scratchFolder`, removed afterwards) that holds copies of the five input
// tables with their indexes. With `runClassInstrument` instrument runs count too.
void AddNotConnectedRuns(store::Store& store, const std::filesystem::path& scratchFolder, bool runClassInstrument);
// The same with the session's temporary folder and "RunClassInstrument" of section
// "NotConnectedRuns" of the program ini.
void AddNotConnectedRuns(store::Store& store);

// The number of runs of `tag` that touch no other run of the tag, over t_not_connect of the
// database `db` names ("main" or an attached schema); 0 for a tag of fewer than two runs. Each
// such run is logged.
int GetNotConnectedRunCount(const store::Store& store, std::string_view db, std::string_view tag);

// The label file names of section "Labels", key "Piping" of the attribute configuration, split
// at ";", lower case, blanks around them taken off, empty ones left out.
std::vector<std::string> PipingLabelFiles(const std::filesystem::path& attributeIni);

// NumberOfLabels of InlineComp_Prun from T_LABELPERSIST: the labels drawn with one of the
// configured label files, counted per run; Null for instrument runs and for zero-length stubs
// without labels.
void AddNumberOfLabels(store::Store& store, const std::filesystem::path& attributeIni);

// Eqp_Nozzle.MultiRep: "True" on every row of an equipment whose rows name more than one drawing
// (names compared without case), else "False".
void AddMultiRep(store::Store& store);

}  // namespace tb::extraction
