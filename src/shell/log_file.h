#pragma once
// The run's text log. Every line opens the file, appends and closes it, so the log is complete
// after a crash; a failure to write never stops a run. In batch runs every line is echoed to the
// console.

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tb::shell {

// Creates the log anew with its banner, mode 0600, never through a symbolic link. When the folder
// of `path` does not exist, a default name in the temporary folder is used:
// "<TEMP>/<title>/yyyy-mm-dd_hhmmss_<stem>.log", made exclusively. An existing file at `path` is
// copied to "<path>.bak" first. A `path` that may not be the log (a directory, a device, a link,
// an input or output of the run) is refused: the log goes to the default name and the result is
// "Cannot write the log file <path>: <reason>.", for the caller to end the run with.
std::optional<std::string> OpenLog(std::string_view description, std::string_view stem,
                                   const std::filesystem::path& path);
// Names the log without touching it: lines are appended to what is there.
void SetLogFileName(const std::filesystem::path& path);
const std::filesystem::path& GetLogFileName();

// "yyyy-mm-dd hh:mm:ss.hh  text" in the log; the text alone on the console.
void LogLine(std::string_view text);
void LogRaw(std::string_view text);
void LogFileContent(const std::filesystem::path& file);
void WriteConsoleLine(std::string_view text);

// The banner text that OpenLog writes (exposed for tests).
std::string LogBanner(std::string_view description);
// A text centred in a line of 120 "*".
std::string CentredStarLine(std::string_view text);
// The environment block line of one "NAME=value" text, with secrets masked.
std::string EnvironmentLine(std::string_view variable);
// A text with the parts that carry a password masked by "****": the value of "pwd=" and
// "password=" (any case) up to the next ";", and the password of a URL ("scheme://user:****@").
std::string MaskSecrets(std::string_view text);

// Makes the common log sink write here; called once at start-up.
void InstallLogSink();

// The clock of log lines and default names; tests may replace it.
using Clock = std::function<std::chrono::system_clock::time_point()>;
void SetLogClock(Clock clock);

}  // namespace tb::shell
