#include "platform/platform.h"

#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>

#include "common/ini.h"
#include "common/text.h"

extern char** environ;

namespace tb::platform {

std::string ProgramVersion() {
    return TB_VERSION;
}

fs::path ProgramPath() {
    std::error_code ec;
    auto p = fs::read_symlink("/proc/self/exe", ec);
    return ec ? fs::path("tarnbrook") : p;
}

fs::path ProgramFolder() {
    return ProgramPath().parent_path();
}

std::string ProgramFileName() {
    return ProgramPath().stem().string();
}

std::string GetEnv(const char* name) {
    const char* v = std::getenv(name);
    return v ? std::string(v) : std::string();
}

fs::path ApplicationFolder() {
    if (auto home = GetEnv("TARNBROOK_HOME"); !home.empty()) return home;
    std::error_code ec;
    if (fs::is_directory(ProgramFolder() / "config" / "default", ec) ||
        fs::is_regular_file(ProgramFolder() / "config" / "default", ec))
        return ProgramFolder();
    // Installed: <prefix>/bin/tarnbrook beside <prefix>/share/tarnbrook, wherever the prefix is.
    const fs::path installed = ProgramFolder().parent_path() / "share" / "tarnbrook";
    if (fs::is_regular_file(installed / "config" / "default", ec)) return installed;
    return TB_INSTALL_DATADIR;
}

fs::path ProgramIniFile() {
    return ApplicationFolder() / "tarnbrook.ini";
}

TempBase TempVariable() {
    if (auto t = GetEnv("TEMP"); !t.empty()) return {t, true, "TEMP"};
    if (auto t = GetEnv("TMPDIR"); !t.empty()) return {t, false, "TMPDIR"};
    return {"/tmp", false, {}};
}

fs::path RoamingDataFolder() {
    if (auto x = GetEnv("XDG_CONFIG_HOME"); !x.empty()) return x;
    return ProfileFolder() / ".config";
}

fs::path ProfileFolder() {
    if (auto h = GetEnv("HOME"); !h.empty()) return h;
    if (const passwd* pw = ::getpwuid(::geteuid()); pw && pw->pw_dir) return pw->pw_dir;
    return "/";
}

fs::path RegistryFile() {
    return RoamingDataFolder() / "Morvanex" / "Tarnbrook" / "registry.ini";
}

std::optional<std::string> RegistryRead(std::string_view keyPath, std::string_view valueName) {
    return IniDocument::Load(RegistryFile()).Get(keyPath, valueName);
}

bool RegistryWrite(std::string_view keyPath, std::string_view valueName, std::string_view value) {
    std::error_code ec;
    fs::create_directories(RegistryFile().parent_path(), ec);
    return IniWrite(RegistryFile(), keyPath, std::string(valueName), std::string(value));
}

std::string UserName() {
    if (const passwd* pw = ::getpwuid(::geteuid()); pw && pw->pw_name) return pw->pw_name;
    return GetEnv("USER");
}

std::vector<std::string> EnvironmentStrings() {
    std::vector<std::string> out;
    for (char** e = environ; e && *e; ++e) out.emplace_back(*e);
    return out;
}

void ConsoleWrite(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void EndProcess(int code) {
    std::fflush(nullptr);
    std::exit(code);
}

long ParentProcessId() {
    return static_cast<long>(::getppid());
}

long ExecA(std::string_view command, const fs::path& redirectFile, const fs::path& scriptFolder,
           bool wait) {
    static std::mt19937_64 rng{std::random_device{}()};
    const fs::path script = scriptFolder / ("exec" + std::to_string(rng() % 100000000) + ".sh");
    {
        std::ofstream out(script, std::ios::trunc);
        // Braces make the redirection cover the whole command, however many parts it has.
        out << "#!/bin/sh\n{\n" << command << "\n}";
        if (!redirectFile.empty())
            out << " >> '" << ReplaceAll(redirectFile.string(), "'", "'\\''") << "' 2>&1";
        out << "\n";
        if (!out) return -1;
    }
    const pid_t pid = ::fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        ::execl("/bin/sh", "sh", script.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    if (!wait) return pid;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    std::error_code ec;
    fs::remove(script, ec);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool OpenWithDefaultProgram(const fs::path& target) {
    const pid_t pid = ::fork();
    if (pid < 0) return false;
    if (pid == 0) {
        ::execlp("xdg-open", "xdg-open", target.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    return true;
}

std::optional<fs::path> FindFileIgnoringCase(const fs::path& file) {
    std::error_code ec;
    if (fs::exists(file, ec)) return file;
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    const std::string name = file.filename().string();
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        if (IEquals(it->path().filename().string(), name)) return it->path();
    return std::nullopt;
}

}  // namespace tb::platform
