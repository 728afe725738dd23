#pragma once
// Helpers for tests: temporary folders, files, and running the built executables in a sandbox of
// their own (HOME, XDG_CONFIG_HOME, TEMP, TARNBROOK_HOME), so tests can run in parallel.

#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace tb::test {

namespace fs = std::filesystem;

// A fresh folder, removed with everything in it when the object goes.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const fs::path& path() const { return path_; }
    fs::path operator/(const fs::path& p) const { return path_ / p; }

  private:
    fs::path path_;
};

std::string ReadFile(const fs::path& file);
// The id of a process that has ended (forked, exited and reaped): what a killed run leaves in its
// temporary names.
long EndedProcessId();
void WriteFile(const fs::path& file, const std::string& bytes);

// The build folder and the source folder ($TB_BUILD_DIR and $TB_SOURCE_DIR override them).
fs::path BuildDir();
fs::path SourceDir();
// The folder of Access-made sample files: $TARNBROOK_JET_CORPUS (relative to the source folder
// when relative), else ../shared/jet4-corpus beside the source folder; empty when neither is there.
fs::path CorpusDir();
// The file `name` of that folder (the folder itself for ""); empty when the folder is missing.
fs::path CorpusFile(const std::string& name);
// Why a test that needs the corpus is skipped.
inline constexpr const char* kNoCorpus =
    "no Jet corpus: set TARNBROOK_JET_CORPUS to the folder of Access-made files (default "
    "../shared/jet4-corpus beside the source folder)";

// Declares `var` as the corpus file `name` (the folder for ""), skipping the test when the corpus
// is missing. A file missing from a corpus that is there is no reason to skip: reading it fails.
#define TB_CORPUS_FILE_OR_SKIP(var, name)                             \
    const ::std::filesystem::path var = ::tb::test::CorpusFile(name); \
    if (var.empty()) GTEST_SKIP() << ::tb::test::kNoCorpus

struct ProcessResult {
    int exitCode = -1;
    std::string output;  // standard output and standard error, interleaved
    // From sending the signal to the program's end (steady clock); zero when none was sent.
    std::chrono::steady_clock::duration signalToExit{};
};

// Runs a program with exactly the given environment (no inheritance) and waits. With
// `interruptWhen`, the program gets one `signal` as soon as its output holds
// that text. A program ended by a signal has exit code -1.
ProcessResult RunProcess(const fs::path& program, const std::vector<std::string>& args,
                         const std::map<std::string, std::string>& env,
                         const fs::path& workdir = {}, const std::string& interruptWhen = {},
                         int signal = SIGINT);

// A sandbox for one run of the program: home/, config/ (XDG_CONFIG_HOME), temp/ (TEMP) and
// app/ (TARNBROOK_HOME), created empty.
class Sandbox {
  public:
    Sandbox();
    fs::path home() const { return dir_ / "home"; }
    fs::path xdg() const { return dir_ / "config"; }
    fs::path temp() const { return dir_ / "temp"; }
    fs::path app() const { return dir_ / "app"; }
    const fs::path& root() const { return dir_.path(); }
    std::map<std::string, std::string>& env() { return env_; }

    // Runs build/tarnbrook with the sandbox's environment, in the sandbox root.
    ProcessResult Run(const std::vector<std::string>& args, const std::string& interruptWhen = {},
                      int signal = SIGINT) const;

  private:
    TempDir dir_;
    std::map<std::string, std::string> env_;
};

// A suite's shared set-up (SetUpTestSuite) whose failure fails each test of the suite. Left to
// itself, gtest skips the tests after a failed shared set-up, and ctest counts a skip as no
// failure: a broken fixture would pass. Run the set-up through Run, and call Check at the start of
// each test's SetUp (ASSERT_NO_FATAL_FAILURE(shared.Check())).
class SharedSetUp {
  public:
    // Runs `setUp`, keeping its failed assertions and any exception instead of reporting them.
    void Run(const std::function<void()>& setUp);
    // Fails the current test with what went wrong in the shared set-up, if anything did.
    void Check() const;

  private:
    std::string failure_;
};

}  // namespace tb::test
