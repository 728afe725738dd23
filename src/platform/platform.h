#pragma once
// Stand-ins for the Windows services the program relies on: the application folder, temporary
// folders, the registry, special folders, the user, the console and processes.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tb::platform {

namespace fs = std::filesystem;

std::string ProgramVersion();
// The running executable (/proc/self/exe), its folder and its file name without extension.
fs::path ProgramPath();
fs::path ProgramFolder();
std::string ProgramFileName();

// $TARNBROOK_HOME when set; else the executable's folder when it holds config/default; else the
// installed data folder. The program ini is tarnbrook.ini there.
fs::path ApplicationFolder();
fs::path ProgramIniFile();

// The value of TEMP; when unset or empty, TMPDIR, then /tmp. `fromTemp` tells whether TEMP gave
// it, since only a TEMP naming a missing folder is the user's error.
struct TempBase {
    std::string value;
    bool fromTemp = false;
    std::string variable;  // "TEMP", "TMPDIR", or empty for the /tmp default
};
TempBase TempVariable();

// $XDG_CONFIG_HOME, else ~/.config (roaming data); $HOME (the profile folder).
fs::path RoamingDataFolder();
fs::path ProfileFolder();

// The registry: one ini file, one section per key path.
fs::path RegistryFile();
std::optional<std::string> RegistryRead(std::string_view keyPath, std::string_view valueName);
bool RegistryWrite(std::string_view keyPath, std::string_view valueName, std::string_view value);

// The logged-on user's name.
std::string UserName();

std::string GetEnv(const char* name);
// The process environment in its order, as "NAME=value" texts.
std::vector<std::string> EnvironmentStrings();

void ConsoleWrite(std::string_view text);
// Flushes what is buffered and ends the process with the code.
[[noreturn]] void EndProcess(int code);
long ParentProcessId();

// Runs `command` through a /bin/sh script in `scriptFolder`, with " >> file 2>&1" behind it when
// a redirect file is given. With wait, returns the exit code; otherwise the process id.
long ExecA(std::string_view command, const fs::path& redirectFile, const fs::path& scriptFolder,
           bool wait);

// Opens a file or folder with the desktop's default program (xdg-open).
bool OpenWithDefaultProgram(const fs::path& target);

// Finds `file` when it exists, else a file in the same folder whose name differs only in case.
std::optional<fs::path> FindFileIgnoringCase(const fs::path& file);

}  // namespace tb::platform
