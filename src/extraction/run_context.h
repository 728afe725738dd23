#pragma once
// The state one extraction run carries from its copy steps (plant tables into working tables) to
// its category chains and its closing tables. Shared by the steps of PID2MDB.

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "extraction/attribute_keys.h"
#include "extraction/category_sql.h"
#include "extraction/pid2mdb.h"
#include "extraction/plant_sql.h"
#include "extraction/post_process.h"
#include "extraction/run_targets.h"
#include "store/store.h"

namespace tb::extraction {

struct RunContext {
    const PID2MDBArguments& args;
    std::filesystem::path attributeIni;
    AttributeKeys keys;
    std::shared_ptr<store::Store> storePtr;
    store::Store& st() const { return *storePtr; }
    PlantSchema plant;
    Selection selection;
    int step = 0;
    RunTargets targets;
    // The "igr.tmp-..." folder the drawing files go to; it becomes "igr" when the run succeeds.
    std::filesystem::path igrStaging;

    // Settings of the program ini and flags of the configuration.
    bool bigPlant = false;
    bool viewerMode = false;  // bSorrelwickMode
    bool ductRuns = false;
    bool drawingAttributes = false;
    bool deleteTempTables = true;
    bool extractFromTo = false;
    bool needPlantGroup = false;
    bool caseProcess = false, caseControl = false, caseAny = false;
    bool failureAction = false, failureActionLow = false;
    bool connectedPiperunID = false;
    bool codelists = false;

    // Tables the copy steps made, in order: the decode walks them.
    std::vector<std::string> decodeList;
    // The plant's T_Drawing columns, read by the PID copy, for the decode.
    std::vector<std::string> plantDrawingColumns;
    // The piping points get their model items' descriptions when the tags are prepared; the
    // model items are then copied without the selection clause.
    bool pointDescription = false;
    // While the category chains run: the rows several chains join alike, made once.
    SharedJoinSources* sharedSources = nullptr;

    explicit RunContext(const PID2MDBArguments& a) : args(a) {}

    // Logs the step's progress, lets the window breathe and ends the run when cancelled.
    void CheckCancel() const;
    // The run is at step n now; a cancel ends it here.
    void EnterStep(int n);
    // The store table's columns (empty when it is missing).
    std::vector<std::string> StoreColumns(std::string_view table) const;
};

}  // namespace tb::extraction
