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

// "<folder>/Tarnbrook-scratch.sqlite": where an earlier version of AddNotConnectedRuns kept its
// scratch database. Nothing is written there now.
std::filesystem::path NotConnectedScratchFile(const std::filesystem::path& folder);

// What the NotConnectedRuns statement may read, from the tables as they are.
struct NotConnectedInputs {
    bool slaveColumn =
        false;  // InlineComp_Prun.PipeRun_Slave: tags of slave rows only are not listed
    bool pipingOnly = true;  // only runs of class "piping" count ("RunClassInstrument" off)
    bool runClass = false;  // t_piperun.Piperun_piperunclass is there (without it no run is piping)
    bool opcRun = false;    // OPCs.Plantitem_SP_ID: the off-page connectors of a run
    bool opcTag = false;    // OPCs.Opc_opctag: their tags join runs
};
NotConnectedInputs NotConnectedInputsOf(const store::Store& store, bool runClassInstrument);

// The tags that are counted: those of InlineComp_Prun rows that are not slaves.
std::string ListedTagsSql(bool slaveColumn);

// The runs of listed tags that touch no other run of their tag, for tags of two runs or more:
// (PipeRun_ITEMTAG, Piperun_sp_id) rows in the order of tag and run, from the store's own tables
// (InlineComp_Prun, PID, t_connector, OPCs, t_piperun). A run touches another when they share a
// neighbour item: an end of a connector of the run, the far end of a connector that ends on the
// run, or an off-page connector's tag.
std::string NotConnectedRunsSql(const NotConnectedInputs& inputs);

// NotConnectedRuns of InlineComp_Prun, counted inside the store. `scratchFolder` is not used.
// With `runClassInstrument` instrument runs count too.
void AddNotConnectedRuns(store::Store& store, const std::filesystem::path& scratchFolder,
                         bool runClassInstrument);
// The same with "RunClassInstrument" of section "NotConnectedRuns" of the program ini.
void AddNotConnectedRuns(store::Store& store);

// The number of runs of `tag` that touch no other run of the tag; 0 for a tag of fewer than two
// runs. Each such run is logged.
int GetNotConnectedRunCount(const store::Store& store, std::string_view tag,
                            const NotConnectedInputs& inputs);

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
