#include "shell/log_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <fstream>

#include "common/error.h"
#include "common/log.h"
#include "common/text.h"
#include "platform/platform.h"
#include "shell/messages.h"
#include "shell/run_state.h"

namespace tb::shell {
namespace {

namespace fs = std::filesystem;
constexpr std::size_t kBannerWidth = 120;

fs::path gLogFile;
Clock gClock = [] { return std::chrono::system_clock::now(); };

std::tm LocalTime(std::chrono::system_clock::time_point t) {
    const std::time_t tt = std::chrono::system_clock::to_time_t(t);
    std::tm tm{};
    ::localtime_r(&tt, &tm);
    return tm;
}

std::string Format(std::chrono::system_clock::time_point t, const char* pattern) {
    const std::tm tm = LocalTime(t);
    char buf[64];
    const auto n = std::strftime(buf, sizeof buf, pattern, &tm);
    return std::string(buf, n);
}

void AppendToLog(std::string_view text) {
    if (gLogFile.empty()) return;
    std::ofstream out(gLogFile, std::ios::binary | std::ios::app);
    if (!out) return;  // the line is lost and the run goes on
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::string BannerField(std::string_view label, std::string_view value) {
    std::string line = std::string(label) + std::string(value);
    if (line.size() < kBannerWidth - 1) line.resize(kBannerWidth - 1, ' ');
    return line + "*";
}

bool IsSecretName(std::string_view name) {
    const std::string upper = ToUpperAscii(name);
    for (const char* word : {"PASS", "PWD", "SECRET", "TOKEN", "KEY"})
        if (upper.find(word) != std::string::npos) return true;
    return false;
}

class ShellSink final : public LogSink {
public:
    void Line(std::string_view text) override { shell::LogLine(text); }
    void Raw(std::string_view text) override { shell::LogRaw(text); }
    void Status(std::string_view messageTemplate) override { shell::ShowStatus(messageTemplate); }
};

}  // namespace

std::string CentredStarLine(std::string_view text) {
    const std::size_t left = text.size() >= kBannerWidth ? 0 : (kBannerWidth - text.size()) / 2;
    std::string line(left, '*');
    line += text;
    if (line.size() < kBannerWidth) line.resize(kBannerWidth, '*');
    return line;
}

std::string EnvironmentLine(std::string_view variable) {
    const auto eq = variable.find('=');
    const std::string_view name = variable.substr(0, eq);
    std::string text(variable);
    if (eq != std::string_view::npos && IsSecretName(name)) text = std::string(name) + "=****";
    const std::size_t gap = name.size() > 24 ? name.size() - 24 : 24 - name.size();
    return ReplaceAll(text, "=", std::string(gap, ' '));
}

std::string LogBanner(std::string_view description) {
    const fs::path program = platform::ProgramPath();
    std::string date;
    std::string size;
    struct stat st{};
    if (::stat(program.c_str(), &st) == 0) {
        date = Format(std::chrono::system_clock::from_time_t(st.st_mtime), "%Y-%m-%d %H:%M:%S");
        size = std::to_string(st.st_size) + " Bytes";
    }
    const std::string stars(kBannerWidth, '*');
    std::string out = stars + "\r\n";
    out += BannerField("*  Application:   ", kAppTitle) + "\r\n";
    out += BannerField("*  Path:          ", program.string()) + "\r\n";
    out += BannerField("*  Version:       ", platform::ProgramVersion()) + "\r\n";
    out += BannerField("*  Date:          ", date) + "\r\n";
    out += BannerField("*  Size:          ", size) + "\r\n";
    if (!TrimBlanks(description).empty())
        out += BannerField("*  Description:   ", description) + "\r\n";
    out += stars + "\r\n";
    out += "\r\nLog starting at " + Format(gClock(), "%Y-%m-%d %H:%M:%S") + "\r\n\r\n";
    out += CentredStarLine("Begin of environment variables") + "\r\n";
    for (const auto& v : platform::EnvironmentStrings()) out += EnvironmentLine(v) + "\r\n";
    out += CentredStarLine("End of environment variables") + "\r\n\r\n";
    return out;
}

void OpenLog(std::string_view description, std::string_view stem, const fs::path& path) {
    std::error_code ec;
    if (!path.empty() && fs::is_directory(path.has_parent_path() ? path.parent_path() : ".", ec)) {
        gLogFile = fs::absolute(path, ec);
    } else {
        const fs::path temp = platform::TempVariable().value;
        fs::path folder = temp / std::string(kAppTitle);
        fs::create_directories(folder, ec);
        if (!fs::is_directory(folder, ec)) folder = temp;
        std::string name = Format(gClock(), "%Y-%m-%d_%H%M%S_");
        name += !TrimBlanks(stem).empty()
                    ? std::string(stem)
                    : platform::ProgramFileName() + "_PID" + std::to_string(::getpid());
        gLogFile = folder / (name + ".log");
    }
    if (fs::exists(gLogFile, ec))
        fs::copy_file(gLogFile, gLogFile.string() + ".bak", fs::copy_options::overwrite_existing,
                      ec);
    std::ofstream out(gLogFile, std::ios::binary | std::ios::trunc);
    if (!out) return;
    const std::string banner = LogBanner(description);
    out.write(banner.data(), static_cast<std::streamsize>(banner.size()));
}

void SetLogFileName(const fs::path& path) { gLogFile = path; }
const fs::path& GetLogFileName() { return gLogFile; }

void LogLine(std::string_view text) {
    if (!TrimBlanks(text).empty()) {
        const auto now = gClock();
        // The hundredths of the second, as the Windows product showed them.
        const auto centis =
            std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() %
            1000 / 10;
        const std::string hundredths{static_cast<char>('0' + centis / 10),
                                     static_cast<char>('0' + centis % 10)};
        AppendToLog(Format(now, "%Y-%m-%d %H:%M:%S") + "." + hundredths + "  " +
                    std::string(text) + "\r\n");
    }
    if (CurrentRun().consoleEnabled) WriteConsoleLine(text);
}

void LogRaw(std::string_view text) { AppendToLog(std::string(text) + "\r\n"); }

void LogFileContent(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::string body;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        body += line + "\r\n";
    }
    AppendToLog(CentredStarLine("Begin of '" + file.string() + "' file") + "\r\n" + body +
                CentredStarLine("End of '" + file.string() + "' file") + "\r\n\r\n");
}

void WriteConsoleLine(std::string_view text) { platform::ConsoleWrite(std::string(text) + "\r\n"); }

void InstallLogSink() {
    static ShellSink sink;
    SetLogSink(&sink);
}

void SetLogClock(Clock clock) { gClock = std::move(clock); }

}  // namespace tb::shell
