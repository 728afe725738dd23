#include "app/main.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "common/error.h"
#include "common/ini.h"
#include "common/text.h"
#include "common/write_guard.h"
#include "extraction/batch_extract.h"
#include "extraction/viewer_mode.h"
#include "plantaccess/ado.h"
#include "plantaccess/resolution.h"
#include "platform/interrupt.h"
#include "platform/platform.h"
#include "shell/command_line.h"
#include "shell/log_file.h"
#include "shell/manager_ini.h"
#include "shell/messages.h"
#include "shell/run_state.h"
#include "shell/settings.h"
#include "storefile/store_file.h"

namespace tb::app {
namespace {

namespace fs = std::filesystem;
using shell::CurrentRun;

[[noreturn]] void NotBuilt(const std::string& what) {
    Raise(what + " is not built yet in this version of Tarnbrook.");
}

// The folder part of a path ends at its last "/"; a path without one is in the working folder.
std::string FolderPart(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash == 0 ? 1 : slash);
}

void RequireFile(const std::string& path, const std::string& what) {
    std::error_code ec;
    if (!path.empty() && !fs::is_regular_file(path, ec))
        Raise(what + " " + path + " does not exist.");
}

void SetActivePlant(const std::string& site, const std::string& plant, std::string parentplant) {
    if (parentplant.empty()) parentplant = plant;
    CurrentRun().activeSite = site;
    CurrentRun().activePlant = plant;
    CurrentRun().activeParentPlant = parentplant;
}

// The write mode: its own log handling, the caller test, then the batch writer.
void WriteMode(const std::string& writeFile, const Engines& engines, std::string& managerBackup) {
    const std::string task = IniRead(writeFile, "LDL", "Task");
    const std::string logfile = IniRead(writeFile, "LDL", "Log");
    if (logfile.empty()) {
        shell::OpenLog(kAppTitle, kAppTitle, {});
    } else if (auto why = fs::is_directory(fs::absolute(logfile).parent_path())
                              ? WhyNotWritable(logfile, RunPathRole::Log)
                              : std::nullopt) {
        // The caller's log may not be one of the run's files: the lines go to a log of our own.
        // (In a missing folder its lines are lost, as any log line that cannot be written.)
        shell::OpenLog(kAppTitle, kAppTitle, {});
        Raise("Cannot write the log file " + logfile + ": " + *why + ".");
    } else {
        shell::SetLogFileName(logfile);
        RegisterRunPath(logfile, RunPathRole::Log, "log file");
    }
    CurrentRun().writeInstructionFile = writeFile;
    const long ppid = LeadingNumber(IniRead(writeFile, "LDL", "ppid", "-1"));
    const long parent = platform::ParentProcessId();
    if (ppid != parent) {
        shell::LogLine("Tarnquill is not started correctly from Ledgerline.");
        return;
    }
    shell::LogLine("Started from " + std::to_string(parent));
    shell::RemoveSessionLeftovers();
    if (task.empty()) return;
    const std::string site = IniRead(writeFile, "LDL", "Site");
    RequireFile(site, "Site Ini");
    const std::string plant = IniRead(writeFile, "LDL", "plant");
    const std::string parentplant = IniRead(writeFile, "LDL", "parentplant");
    SetActivePlant(site, plant, parentplant);
    shell::ApplySiteAndPlantToManagerIni(site, plant, parentplant, managerBackup);
    engines.batchWrite(IniRead(writeFile, "LDL", "MDB"), task, writeFile);
}

// What this run reads and writes, known before anything is written, so that the log and the
// output can be refused when they name one of them.
void RegisterRunPaths(const shell::CommandLine& commandLine, const std::string& writeFile) {
    ClearRunPaths();
    RegisterRunPath(platform::ProgramIniFile(), RunPathRole::Input, "program ini file");
    std::string site, config, output;
    if (!writeFile.empty()) {
        RegisterRunPath(writeFile, RunPathRole::Input, "write instruction file");
        site = IniRead(writeFile, "LDL", "Site");
    } else if (CurrentRun().batchMode) {
        site = commandLine.Value("site");
        config = commandLine.Value("config");
        output = commandLine.Value("output");
        if (output.empty()) output = commandLine.Value("Extract");
    }
    if (site.empty()) site = IniRead(shell::ManagerIniFile(), "SmartPlant Manager", "SiteServer");
    plantaccess::RegisterSiteInputs(site);
    if (!config.empty())
        RegisterRunPath(config, RunPathRole::Input, "attribute configuration file");
    if (!output.empty())
        RegisterRunPath(ResolveWriteTarget(output), RunPathRole::Output, "extract");
    const fs::path user = shell::GetUserConfigFile();
    RegisterRunPath(user, RunPathRole::Settings, "user configuration file");
    RegisterRunPath(shell::GetGeneralFile(), RunPathRole::Settings, "general settings file");
    RegisterRunPath(shell::ManagerIniFile(), RunPathRole::Settings, "plant client's ini file");
    RegisterRunPath(platform::RegistryFile(), RunPathRole::Settings, "settings registry file");
}

void BatchMode(const shell::CommandLine& commandLine, const Engines& engines,
               std::string& managerBackup) {
    shell::LogLine("Batch mode arguments: " + commandLine.Text());
    if (commandLine.Text().find('?') != std::string::npos && commandLine.Value("exclude").empty()) {
        shell::ShowCommandLineUsage(commandLine);
        return;
    }
    if (const std::string reload = commandLine.Value("reload"); !reload.empty()) {
        engines.reExtract(reload);
        return;
    }
    ExtractionJob job;
    job.output = commandLine.Value("output");
    if (job.output.empty()) job.output = commandLine.Value("Extract");
    job.vmpk = commandLine.Value("vmpk");
    if (job.output.empty() && job.vmpk.empty()) {
        shell::ShowCommandLineUsage(commandLine);
        return;
    }
    if (!job.output.empty()) {
        const std::string folder = FolderPart(job.output);
        std::error_code ec;
        if (!folder.empty() && !fs::is_directory(folder, ec))
            Raise("Output directory " + folder + " does not exist.");
    }
    const std::string config = commandLine.Value("config");
    RequireFile(config, "Config Ini");
    const std::string site = commandLine.Value("site");
    RequireFile(site, "Site Ini");
    const std::string plant = commandLine.Value("plant");
    const std::string parentplant = commandLine.Value("parentplant");
    SetActivePlant(site, plant, parentplant);
    shell::ApplySiteAndPlantToManagerIni(site, plant, parentplant, managerBackup);

    const fs::path user = shell::GetUserConfigFile();
    job.extractDrawingFiles = IniFlag(user, "frmMain", "chkExtractDrawingFiles", "0");
    job.fromTo = IniFlag(user, "frmMain", "chkFromTo", "0");
    if (!config.empty()) shell::SetAttributeConfigFile(config);

    const Selection selection =
        ResolveSelection(commandLine.Value("pbs"), commandLine.Value("unitcode"),
                         commandLine.Value("name"), engines);
    // From here on Ctrl+C cancels the job cleanly instead of killing it half-way.
    platform::CancelOnInterrupt();
    job.revision = commandLine.Value("revision");
    if (job.revision.empty()) {
        job.exclude = commandLine.Value("exclude");
        job.plantGroupIDs = selection.plantGroupIDs;
        job.drawingIDs = selection.drawingIDs;
        engines.extract(job);
    } else {
        // A revision extraction covers the whole plant: the selection is not passed on.
        engines.extractRevision(job);
    }
    if (!job.vmpk.empty())
        engines.createVmp(job, commandLine.IsSet("black"), commandLine.IsSet("border"));
}

}  // namespace

void InstallMdbReader() {
    // An existing extract opened by its path (Connect2MDB) is read into a store of its own, a file
    // in the session's temporary folder.
    plantaccess::SetMdbStoreLoader([](const std::filesystem::path& mdb) {
        static int loaded = 0;
        std::filesystem::path folder = shell::SessionTempFolder();
        if (folder.empty()) folder = shell::TempFolderInit();
        auto st = std::make_shared<store::Store>(store::Store::Create(
            folder / (mdb.stem().string() + "-read-" + std::to_string(++loaded) + ".store")));
        storefile::LoadMdbIntoStore(mdb, *st);
        return st;
    });
}

Engines DefaultEngines() {
    InstallMdbReader();
    Engines e;
    e.extract = [](const ExtractionJob& job) {
        if (job.output.empty()) NotBuilt("The viewer package without an extract (/vmpk alone)");
        extraction::ExtractActivePlant2MDB(job.output, job.extractDrawingFiles, job.fromTo,
                                           job.plantGroupIDs, job.drawingIDs, job.exclude);
    };
    e.extractRevision = [](const ExtractionJob&) {
        NotBuilt("The revision extraction (/revision)");
    };
    e.createVmp = [](const ExtractionJob&, bool, bool) { NotBuilt("The viewer package (/vmpk)"); };
    e.reExtract = [](const std::string&) { NotBuilt("Reloading an extract (/reload)"); };
    e.batchWrite = [](const std::string&, const std::string&, const std::string&) {
        NotBuilt("The batch writer (/Write)");
    };
    e.window = [] { NotBuilt("The main window (a run without arguments)"); };
    e.fromPbs = extraction::GetPlantGroupAndDrawingIDsFromPBS;
    e.fromUnitCode = extraction::GetPlantGroupIDsFromUnitCode;
    e.fromNames = extraction::GetDrawingIDsFromNames;
    return e;
}

Selection ResolveSelection(const std::string& pbs, const std::string& unitcode,
                           const std::string& name, const Engines& engines) {
    Selection s;
    auto append = [](std::string& list, const std::string& more) {
        if (!list.empty()) list += ",";
        list += more;
    };
    if (!pbs.empty()) {
        engines.fromPbs(pbs, s.plantGroupIDs, s.drawingIDs);
        if (s.plantGroupIDs.empty() && s.drawingIDs.empty())
            Raise("Cannot find any plant group and drawing using PBS " + pbs);
    }
    if (!unitcode.empty()) {
        const std::string ids = engines.fromUnitCode(unitcode);
        if (ids.empty()) Raise("Cannot find any plant group using unitcode " + unitcode);
        append(s.plantGroupIDs, ids);
    }
    if (!name.empty()) {
        const std::string ids = engines.fromNames(name);
        // The message names the /unitcode value: that is how users of the Windows product know it.
        if (ids.empty()) Raise("Cannot find any drawing using name " + unitcode);
        append(s.drawingIDs, ids);
    }
    return s;
}

int RunMain(const std::vector<std::string>& args, const Engines& engines) {
    const shell::CommandLine commandLine(args);
    auto& run = CurrentRun();
    std::string managerBackup;
    std::optional<Error> pending;
    try {
        // Tokens of blanks only count as an empty command line.
        run.batchMode = std::any_of(args.begin(), args.end(),
                                    [](const std::string& a) { return !TrimBlanks(a).empty(); });
        std::string writeFile;
        if (run.batchMode) {
            writeFile = commandLine.Value("Write");
            if (!writeFile.empty()) run.writeMode = !IniRead(writeFile, "LDL", "MDB").empty();
            run.consoleEnabled = true;
        }
        shell::InstallLogSink();
        shell::TempFolderInit();
        const std::string suffix = shell::UserSuffix(platform::UserName());
        run.pidTempTableName = suffix + "pid_temp_cp";
        run.lockedTempTableName = suffix + "locked_temp_cp";
        RegisterRunPaths(commandLine, run.writeMode ? writeFile : std::string());
        if (run.writeMode) {
            WriteMode(writeFile, engines, managerBackup);
        } else {
            const std::string log = run.batchMode ? commandLine.Value("log") : std::string();
            const auto refused = shell::OpenLog(kAppTitle, kAppTitle, log);
            shell::RemoveSessionLeftovers();
            if (refused) Raise(*refused);
            if (run.batchMode)
                BatchMode(commandLine, engines, managerBackup);
            else
                engines.window();
        }
    } catch (const Error& e) {
        pending = e;
    } catch (const std::exception& e) {
        pending = Error(kErrInternal, e.what(), "Main");
    }
    if (pending) {
        shell::ReportError(*pending, shell::kMbIconExclamation);
        run.exitFlag = 1;
    }
    if (!managerBackup.empty()) shell::RestoreManagerIni(managerBackup);
    return run.exitFlag;
}

void ProgramExit() {
    shell::DeleteTempFolder();
    platform::EndProcess(shell::CurrentRun().exitFlag != 0 ? 1 : 0);
}

int Main(int argc, char** argv) {
    // No path of this program makes the viewer form of an extract.
    extraction::SetSorrelwickMode(false);
    std::vector<std::string> args(argv + 1, argv + argc);
    RunMain(args, DefaultEngines());
    ProgramExit();
}

}  // namespace tb::app
