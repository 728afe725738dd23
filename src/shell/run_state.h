#pragma once
// Process-wide state of a run, set by Main and read by the other libraries.

#include <string>

namespace tb::shell {

struct RunState {
    bool batchMode = false;       // the command line is not blank
    bool writeMode = false;       // a /Write file gave an "MDB"
    bool consoleEnabled = false;  // every log line is echoed to standard output
    int exitFlag = 0;             // 1 on the error path of Main
    std::string writeInstructionFile;
    std::string pidTempTableName;     // user suffix + "pid_temp_cp"
    std::string lockedTempTableName;  // user suffix + "locked_temp_cp"
    // The site, plant and parent plant that Main took from the command line or the /Write
    // file; the plant access layer uses them before the client's ini.
    std::string activeSite;
    std::string activePlant;
    std::string activeParentPlant;
};

RunState& CurrentRun();

// The user name with blanks removed and "." turned into "_".
std::string UserSuffix(std::string userName);

}  // namespace tb::shell
