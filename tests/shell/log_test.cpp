#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>

#include "common/log.h"
#include "common/text.h"
#include "shell/log_file.h"
#include "shell/messages.h"
#include "shell/run_state.h"
#include "support/test_support.h"

namespace tb::shell {
namespace {

using test::ReadFile;
using test::TempDir;

// 2024-05-17 09:41:07.32 local time.
std::chrono::system_clock::time_point FixedTime() {
    std::tm tm{};
    tm.tm_year = 124;
    tm.tm_mon = 4;
    tm.tm_mday = 17;
    tm.tm_hour = 9;
    tm.tm_min = 41;
    tm.tm_sec = 7;
    tm.tm_isdst = -1;
    return std::chrono::system_clock::from_time_t(std::mktime(&tm)) + std::chrono::milliseconds(327);
}

class LogTest : public ::testing::Test {
protected:
    void SetUp() override {
        SetLogClock(FixedTime);
        CurrentRun().consoleEnabled = false;
        SetLogFileName(dir / "run.log");
    }
    void TearDown() override { SetLogFileName({}); }
    TempDir dir;
};

TEST_F(LogTest, LineFormatAndBlankLines) {
    LogLine("Started from 4312");
    LogLine("   ");  // blank: no file line
    LogRaw("raw text");
    EXPECT_EQ(ReadFile(dir / "run.log"),
              "2024-05-17 09:41:07.32  Started from 4312\r\nraw text\r\n");
}

TEST_F(LogTest, ConsoleEchoWithoutTime) {
    CurrentRun().consoleEnabled = true;
    testing::internal::CaptureStdout();
    LogLine("hello");
    LogLine("   ");
    LogRaw("not on the console");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "hello\r\n   \r\n");
    CurrentRun().consoleEnabled = false;
}

TEST_F(LogTest, MissingFolderLosesTheLineButNotTheRun) {
    SetLogFileName(dir / "gone" / "x.log");
    LogLine("lost");
    EXPECT_FALSE(std::filesystem::exists(dir / "gone"));
}

TEST_F(LogTest, OpenLogBannerBackupAndDefaultName) {
    test::WriteFile(dir / "run.log", "old run\r\n");
    OpenLog("Tarnbrook", "Tarnbrook", dir / "run.log");
    EXPECT_EQ(ReadFile(dir / "run.log.bak"), "old run\r\n");
    const std::string log = ReadFile(dir / "run.log");
    EXPECT_EQ(log.find("old run"), std::string::npos);
    const auto lines = Split(log, "\r\n");
    EXPECT_EQ(lines[0], std::string(120, '*'));
    for (int i = 1; i <= 6; ++i) {
        EXPECT_EQ(lines[i].size(), 120u) << lines[i];
        EXPECT_EQ(lines[i].back(), '*');
    }
    EXPECT_TRUE(lines[1].starts_with("*  Application:   Tarnbrook "));
    EXPECT_TRUE(lines[6].starts_with("*  Description:   Tarnbrook "));
    EXPECT_EQ(lines[7], std::string(120, '*'));
    EXPECT_EQ(lines[9], "Log starting at 2024-05-17 09:41:07");
    EXPECT_EQ(lines[11], CentredStarLine("Begin of environment variables"));
    EXPECT_TRUE(log.ends_with(CentredStarLine("End of environment variables") + "\r\n\r\n"));

    // A folder that does not exist: the default name in TEMP/Tarnbrook.
    const char* oldTemp = std::getenv("TEMP");
    const std::string saved = oldTemp ? oldTemp : "";
    setenv("TEMP", dir.path().c_str(), 1);
    OpenLog("", "stem", dir / "missing" / "x.log");
    if (oldTemp) setenv("TEMP", saved.c_str(), 1); else unsetenv("TEMP");
    EXPECT_EQ(GetLogFileName(), dir / "Tarnbrook" / "2024-05-17_094107_stem.log");
    EXPECT_EQ(ReadFile(GetLogFileName()).find("Description"), std::string::npos);
}

TEST(LogBanner, CentringAndEnvironmentLines) {
    const std::string begin = CentredStarLine("Begin of environment variables");
    EXPECT_EQ(begin.size(), 120u);
    EXPECT_EQ(begin.find('B'), 45u);  // (120 - 30) / 2
    EXPECT_EQ(CentredStarLine("odd").find('o'), 58u);

    struct Case {
        const char* variable;
        std::string expected;
    } cases[] = {
        {"A=b=c", "A" + std::string(23, ' ') + "b" + std::string(23, ' ') + "c"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZ1234=v", "ABCDEFGHIJKLMNOPQRSTUVWXYZ1234" + std::string(6, ' ') + "v"},
        {"DB_PASSWORD=hunter2", "DB_PASSWORD" + std::string(13, ' ') + "****"},
        {"my_pwd=x=y", "my_pwd" + std::string(18, ' ') + "****"},
        {"API_TOKEN=abc", "API_TOKEN" + std::string(15, ' ') + "****"},
        {"SSH_KEYFILE=/k", "SSH_KEYFILE" + std::string(13, ' ') + "****"},
        {"client_secret=s", "client_secret" + std::string(11, ' ') + "****"},
        {"PATH=/bin", "PATH" + std::string(20, ' ') + "/bin"},
    };
    for (const auto& c : cases) EXPECT_EQ(EnvironmentLine(c.variable), c.expected) << c.variable;
}

TEST(Messages, FormatMessageFillsPlaceholders) {
    struct Case {
        std::string templ;
        bool removeAmpersand;
        std::string shown;
        std::string filled;
    } cases[] = {
        {"Start path '%0%' doesn't exist|||c:\\x", true, "Start path 'c:\\x' doesn't exist",
         "Start path 'c:\\x' doesn't exist"},
        {"plain text", true, "plain text", "plain text"},
        {"%0% and %1%|||a|||b|||surplus", true, "a and b", "a and b"},
        {"%0% and %1%|||a", true, "a and %1%", "a and %1%"},
        {"P&&ID %0%|||x", true, "PID x", "P&&ID x"},
        {"P&ID", false, "P&ID", "P&ID"},
        {"empty arg '%0%'|||", true, "empty arg ''", "empty arg ''"},
    };
    for (auto& c : cases) {
        std::string t = c.templ;
        EXPECT_EQ(FormatMessage(t, true, c.removeAmpersand), c.shown) << c.templ;
        EXPECT_EQ(t, c.filled) << c.templ;
    }
}

TEST(Messages, DefaultButtonAnswers) {
    const int rows[6][3] = {{1, 1, 1}, {1, 2, 2}, {3, 4, 5}, {6, 7, 2}, {6, 7, 7}, {4, 2, 2}};
    for (int set = 0; set < 6; ++set) {
        EXPECT_EQ(DefaultAnswer(set | kMbIconQuestion), rows[set][0]) << set;
        EXPECT_EQ(DefaultAnswer(set | kMbDefButton2), rows[set][1]) << set;
        EXPECT_EQ(DefaultAnswer(set | kMbDefButton3), rows[set][2]) << set;
        EXPECT_EQ(DefaultAnswer(set | kMbDefButton4 | kMbIconStop), rows[set][2]) << set;
    }
}

TEST_F(LogTest, ReportErrorLogsSourceAndText) {
    CurrentRun().batchMode = true;
    struct Case {
        Error error;
        std::string logged;
    } cases[] = {
        {Error(1, ""), "Unknown error."},
        {Error(1, "Site Ini x does not exist.", "Tarnbrook"), "Site Ini x does not exist."},
        {Error(5, "boom", "PID2MDB:17:AdoRead"), "PID2MDB:17:AdoRead:boom"},
        {Error(5, "line one\r\nline two", "Extract"), "Extract:\r\nline one\r\nline two"},
        {Error(1, "Folder '%0%' missing|||/x&y", ""), "Folder '/xy' missing"},
    };
    for (const auto& c : cases) {
        std::filesystem::remove(dir / "run.log");
        EXPECT_EQ(ReportError(c.error, kMbYesNo | kMbDefButton2), kIdNo);
        EXPECT_EQ(ReadFile(dir / "run.log"), "2024-05-17 09:41:07.32  " + c.logged + "\r\n");
    }
    CurrentRun().batchMode = false;
}

TEST_F(LogTest, FileContentBetweenStarLines) {
    test::WriteFile(dir / "plant.ini", "[General]\nAllLoops=0\r\n");
    LogFileContent(dir / "plant.ini");
    const std::string name = (dir / "plant.ini").string();
    EXPECT_EQ(ReadFile(dir / "run.log"), CentredStarLine("Begin of '" + name + "' file") +
                                             "\r\n[General]\r\nAllLoops=0\r\n" +
                                             CentredStarLine("End of '" + name + "' file") +
                                             "\r\n\r\n");
}

TEST_F(LogTest, StatusLinesAndTheCommonSink) {
    InstallLogSink();
    std::string shown;
    SetStatusHandler([&](std::string_view t) { shown = t; });
    tb::ShowStatus("Copying '%0%'|||a\r\nb");
    tb::ShowProgress("Done");
    SetStatusHandler(nullptr);
    EXPECT_EQ(shown, "Done");
    EXPECT_EQ(ReadFile(dir / "run.log"),
              "2024-05-17 09:41:07.32  Copying 'a b'\r\n2024-05-17 09:41:07.32  Done\r\n");
    SetLogSink(nullptr);
}

}  // namespace
}  // namespace tb::shell
