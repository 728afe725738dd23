// PID2MDB: the run's steps in order. The plant copy is in plant_copy.cpp, the decode and the tag
// preparation in decode_and_tags.cpp, the category chains and closing tables in
// category_chains.cpp; the store goes to the target at the end.

#include "extraction/pid2mdb.h"

#include <filesystem>

#include "attributes/categories.h"
#include "attributes/config_file.h"
#include "common/error.h"
#include "common/log.h"
#include "extraction/attribute_keys.h"
#include "extraction/category_chains.h"
#include "extraction/decode_and_tags.h"
#include "extraction/plant_copy.h"
#include "extraction/run_context.h"
#include "extraction/run_targets.h"
#include "extraction/viewer_mode.h"
#include "plantaccess/ado.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"
#include "platform/platform.h"
#include "shell/program_settings.h"
#include "shell/settings.h"
#include "storefile/store_file.h"

namespace tb::extraction {
namespace fs = std::filesystem;

namespace {

// Step 1: the run's switches from the program ini and its selection from the arguments.
void ReadRunSettings(RunContext& run) {
    const PID2MDBArguments& arguments = run.args;
    run.step = 1;
    SetCancelRequested(false);
    ForgetKeysLeftOut();
    run.bigPlant = shell::ProgramFlag("BigPlant") && !plantaccess::UseCopyPlantDatabase();
    run.viewerMode = SorrelwickMode();
    run.ductRuns = shell::ProgramFlag("DuctRuns");
    run.drawingAttributes = shell::ProgramFlag("DrawingAttributes");
    run.deleteTempTables = shell::ProgramFlag("Pid_Delete_TempTables", "1");
    run.extractFromTo = arguments.extractFromTo;
    run.selection.plantGroupIDs = arguments.plantGroupIDs;
    run.selection.drawingIDs = arguments.drawingIDs;
    run.selection.selectFilter = arguments.selectFilter;
    run.selection.loadAssociatedDrawings = arguments.loadAssociatedDrawings;
    ShowProgress("Extracting plant " + shell::CurrentPlantName() +
                 " (ExtractDrawingFiles=" + (arguments.extractDrawingFiles ? "1" : "0") +
                 ", ExtractFromTo=" + (arguments.extractFromTo ? "1" : "0") + ")...");
    LogLine(std::string("BigPlant=") + (run.bigPlant ? "1" : "0") +
            ", ACE=" + (shell::ProgramFlag("ACE") ? "1" : "0"));
}

// Step 2: a fresh store stands for the new file. The target is checked now and written only at
// the end: until then a previous extract stays as it is. storeMade is set as soon as there is a
// store for a failure to dispose of.
void MakeStore(RunContext& run, bool& storeMade) {
    const fs::path& target = run.args.mdbFile;
    run.step = 2;
    run.targets = PrepareRunTargets(target, run.bigPlant, run.args.extractDrawingFiles);
    std::error_code ec;
    const bool keep = run.args.keepExistingMdb && fs::is_regular_file(target, ec);
    if (!plantaccess::CreateAccessDatabase(target, 5))
        throw Error(kErrDatabase, "The store of '" + target.string() + "' could not be made.");
    run.storePtr = plantaccess::FindMdbStore(target);
    storeMade = true;
    if (keep)
        storefile::LoadMdbIntoStore(target, run.st());
    else
        storefile::CarryInTemplate(platform::ApplicationFolder(), run.st());
}

// Step 3: the categories of a kept extract are made anew.
void DropCategoryTables(RunContext& run) {
    run.step = 3;
    for (const std::string& category : attributes::GetCategoryList(true))
        if (run.st().TableExists(category)) run.st().DropTable(category);
}

// Step 4: the plant connection and the attribute configuration.
void ConnectPlant(RunContext& run) {
    run.step = 4;
    const plantaccess::PlantConnection plant =
        plantaccess::Connect2PIDDB(plantaccess::kPlantSchema);
    run.plant = {plant.connection, plantaccess::CurrentDialect(), plant.prefix};
    run.attributeIni = attributes::GetProjectIniPath();
    run.keys = AttributeKeys::Load(run.attributeIni);
}

// The store becomes the file at the target, then the drawing files take the place of the old
// ones.
void WriteExtract(RunContext& run) {
    const fs::path& target = run.args.mdbFile;
    run.CheckCancel();
    ShowProgress("Writing " + target.string() + "...");
    const storefile::WriteSummary written =
        storefile::WriteStoreFile(run.st(), run.targets.extract);
    LogLine("Tables written: " + std::to_string(written.tables.size()) +
            ", rows: " + std::to_string(written.rows));
    if (!run.igrStaging.empty()) {
        CommitIgr(run.igrStaging, run.targets.igr);
        run.igrStaging.clear();
    }
    plantaccess::ForgetMdbStore(target);
    const fs::path storeFile = run.st().path();
    run.storePtr.reset();
    std::error_code ec;
    if (!storeFile.empty()) fs::remove(storeFile, ec);
    if (fs::exists(target, ec)) ShowProgress(target.string() + " extracted");
}

// After a failure: the store goes with the session folder, or is kept where the user asked for it.
void DisposeFailedStore(const fs::path& storeFile) {
    if (storeFile.empty()) return;
    std::error_code ec;
    if (shell::ProgramFlag("KeepFailedStore")) {
        // Out of the session folder, which ProgramExit removes.
        const fs::path kept = shell::FailedStorePath();
        fs::rename(storeFile, kept, ec);
        if (ec) {
            fs::copy_file(storeFile, kept, ec);
            fs::remove(storeFile, ec);
        }
        if (!ec) {
            LogLine("The store of the failed run stays in " + kept.string());
            return;
        }
        LogLine("The store of the failed run cannot be kept in " + kept.string() + ": " +
                ec.message());
    }
    fs::remove(storeFile, ec);
}

}  // namespace

void PID2MDB(const PID2MDBArguments& arguments) {
    RunContext run(arguments);
    const fs::path target = arguments.mdbFile;
    bool storeMade = false;
    try {
        ReadRunSettings(run);       // step 1
        MakeStore(run, storeMade);  // step 2
        DropCategoryTables(run);    // step 3
        ConnectPlant(run);          // step 4
        CopyPlantTables(run);       // steps 5 to 27
        ReadCodeLists(run);         // step 28
        CopyPlantGroups(run);       // step 29
        DecodeCodeLists(run);       // step 30
        PrepareTags(run);           // step 31
        BuildCategories(run);       // steps 32 to 45
        WriteExtract(run);
    } catch (...) {
        // What was at the target stays; the run's own files go.
        std::error_code ec;
        if (!run.igrStaging.empty()) fs::remove_all(run.igrStaging, ec);
        if (storeMade) {
            plantaccess::ForgetMdbStore(target);
            const fs::path storeFile = run.storePtr ? run.storePtr->path() : fs::path();
            run.storePtr.reset();
            DisposeFailedStore(storeFile);
        }
        RethrowChained("PID2MDB", run.step);
    }
}

}  // namespace tb::extraction
