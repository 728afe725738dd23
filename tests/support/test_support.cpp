#include "support/test_support.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tb::test {

TempDir::TempDir() {
    // Taken once: tests change TMPDIR and TEMP for the code they test.
    static const fs::path base = fs::temp_directory_path();
    std::string templ = (base / "tbtest-XXXXXX").string();
    if (!::mkdtemp(templ.data())) throw std::runtime_error("mkdtemp failed");
    path_ = templ;
}

TempDir::~TempDir() {
    std::error_code ec;
    fs::remove_all(path_, ec);
}

std::string ReadFile(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void WriteFile(const fs::path& file, const std::string& bytes) {
    if (file.has_parent_path()) fs::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

fs::path BuildDir() {
    const char* b = std::getenv("TB_BUILD_DIR");
    return b ? fs::path(b) : fs::path(TB_BUILD_DIR_DEFAULT);
}

fs::path SourceDir() {
    const char* s = std::getenv("TB_SOURCE_DIR");
    return s ? fs::path(s) : fs::path(TB_SOURCE_DIR_DEFAULT);
}

fs::path CorpusDir() {
    fs::path p = SourceDir().parent_path() / "shared" / "jet4-corpus";
    if (const char* env = std::getenv("TARNBROOK_JET_CORPUS"); env && *env) {
        p = env;
        if (p.is_relative()) p = SourceDir() / p;
    }
    return fs::is_directory(p) ? p : fs::path();
}

fs::path CorpusFile(const std::string& name) {
    const fs::path dir = CorpusDir();
    if (dir.empty() || name.empty()) return dir;
    return dir / name;
}

long EndedProcessId() {
    const pid_t pid = ::fork();
    if (pid == 0) ::_exit(0);
    int status = 0;
    ::waitpid(pid, &status, 0);
    return pid;
}

ProcessResult RunProcess(const fs::path& program, const std::vector<std::string>& args,
                         const std::map<std::string, std::string>& env, const fs::path& workdir,
                         const std::string& interruptWhen, int signal) {
    int pipefd[2];
    if (::pipe(pipefd) != 0) throw std::runtime_error("pipe failed");
    std::vector<std::string> envStrings;
    for (const auto& [k, v] : env) envStrings.push_back(k + "=" + v);
    std::vector<char*> envp;
    for (auto& s : envStrings) envp.push_back(s.data());
    envp.push_back(nullptr);
    std::vector<std::string> argStrings{program.string()};
    argStrings.insert(argStrings.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& s : argStrings) argv.push_back(s.data());
    argv.push_back(nullptr);

    const pid_t pid = ::fork();
    if (pid < 0) throw std::runtime_error("fork failed");
    if (pid == 0) {
        ::dup2(pipefd[1], 1);
        ::dup2(pipefd[1], 2);
        ::close(pipefd[0]);
        ::close(pipefd[1]);
        const int devnull = ::open("/dev/null", O_RDONLY);
        if (devnull >= 0) ::dup2(devnull, 0);
        if (!workdir.empty() && ::chdir(workdir.c_str()) != 0) ::_exit(126);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(pipefd[1]);
    ProcessResult result;
    char buf[4096];
    bool interrupted = interruptWhen.empty();
    std::chrono::steady_clock::time_point signalled;
    for (ssize_t n; (n = ::read(pipefd[0], buf, sizeof buf)) > 0;) {
        result.output.append(buf, n);
        if (!interrupted && result.output.find(interruptWhen) != std::string::npos) {
            ::kill(pid, signal);
            signalled = std::chrono::steady_clock::now();
            interrupted = true;
        }
    }
    ::close(pipefd[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (!interruptWhen.empty() && interrupted)
        result.signalToExit = std::chrono::steady_clock::now() - signalled;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

Sandbox::Sandbox() {
    for (auto* sub : {"home", "config", "temp", "app"}) fs::create_directories(dir_ / sub);
    env_ = {{"HOME", home().string()}, {"XDG_CONFIG_HOME", xdg().string()},
            {"TEMP", temp().string()}, {"TARNBROOK_HOME", app().string()},
            {"PATH", "/usr/bin:/bin"}, {"LANG", "C.UTF-8"}};
}

ProcessResult Sandbox::Run(const std::vector<std::string>& args, const std::string& interruptWhen,
                           int signal) const {
    return RunProcess(BuildDir() / "tarnbrook", args, env_, root(), interruptWhen, signal);
}

void SharedSetUp::Run(const std::function<void()>& setUp) {
    ::testing::TestPartResultArray results;
    failure_.clear();
    {
        const ::testing::ScopedFakeTestPartResultReporter reporter(
            ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
        try {
            setUp();
        } catch (const std::exception& e) {
            failure_ = std::string("exception: ") + e.what() + "\n";
        } catch (...) {
            failure_ = "an exception of unknown type\n";
        }
    }
    for (int i = 0; i < results.size(); ++i) {
        const ::testing::TestPartResult& r = results.GetTestPartResult(i);
        if (r.failed())
            failure_ += std::string(r.file_name() ? r.file_name() : "?") + ":" +
                        std::to_string(r.line_number()) + ": " + r.message() + "\n";
    }
}

void SharedSetUp::Check() const {
    if (!failure_.empty()) FAIL() << "the shared set-up of this suite failed:\n" << failure_;
}

}  // namespace tb::test
