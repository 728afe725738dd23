#pragma once
// Main: decides the run mode from the arguments (window, write, reload, batch extraction),
// prepares what all modes share (console, temporary folder, log) and hands over.

#include <functional>
#include <string>
#include <vector>

namespace tb::app {

// What a batch extraction gets from the command line.
struct ExtractionJob {
    std::string output;
    std::string vmpk;
    std::string revision;
    std::string exclude;
    bool extractDrawingFiles = false;
    bool fromTo = false;
    std::string plantGroupIDs;  // comma lists of quoted SP_IDs; empty means all
    std::string drawingIDs;
};

// The engines the modes hand over to. Those not built yet raise an error that says so.
struct Engines {
    std::function<void(const ExtractionJob&)> extract;          // ExtractActivePlant2MDB
    std::function<void(const ExtractionJob&)> extractRevision;  // revision extraction
    std::function<void(const ExtractionJob&, bool black, bool border)> createVmp;
    std::function<void(const std::string& reload)> reExtract;
    std::function<void(const std::string& mdb, const std::string& task,
                       const std::string& writeFile)>
        batchWrite;  // BatchWirteMDB
    std::function<void()> window;
    // Drawing selection look-ups (they open the plant).
    std::function<void(const std::string& pbs, std::string& plantGroupIDs, std::string& drawingIDs)>
        fromPbs;
    std::function<std::string(const std::string& unitcode)> fromUnitCode;
    std::function<std::string(const std::string& name)> fromNames;
};

// The engines of the product; installs what the libraries reach through hooks (the drawing file
// copy, the reader of existing Access files: InstallMdbReader).
Engines DefaultEngines();
void InstallMdbReader();

// Runs Main on the tokens after the program name and returns the exit code; ProgramExit is the
// caller's.
int RunMain(const std::vector<std::string>& args, const Engines& engines);

// The program's entry: RunMain, then ProgramExit.
int Main(int argc, char** argv);

// Removes the session's temporary folder and ends the process with 0, or 1 after an error.
[[noreturn]] void ProgramExit();

// The selection arguments turned into comma lists, with the messages for empty results.
struct Selection {
    std::string plantGroupIDs;
    std::string drawingIDs;
};
Selection ResolveSelection(const std::string& pbs, const std::string& unitcode,
                           const std::string& name, const Engines& engines);

}  // namespace tb::app
