// Runs the real executable in a sandbox of its own and checks exit codes, console and log.
#include "app/main.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>

#include "common/ini.h"
#include "common/text.h"
#include "plantaccess/ado.h"
#include "plantaccess/recordset.h"
#include "storefile/store_file.h"
#include "support/test_support.h"

namespace tb::app {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::Sandbox;
using test::WriteFile;

// The log of the run: the one file in TEMP/Tarnbrook, or the named file.
std::string DefaultLog(const Sandbox& box) {
    const fs::path folder = box.temp() / "Tarnbrook";
    if (!fs::is_directory(folder)) return {};
    for (const auto& e : fs::directory_iterator(folder))
        if (e.path().extension() == ".log") return ReadFile(e.path());
    return {};
}

const char* kNotBuilt = "is not built yet in this version of Tarnbrook.";

TEST(Main, ModesExitCodesAndConsole) {
    struct Case {
        const char* what;
        std::vector<std::string> args;
        int exitCode;
        std::vector<std::string> console;     // texts the console shows
        std::vector<std::string> notConsole;  // texts it must not show
    } cases[] = {
        {"blanks only: window mode", {" ", ""}, 1, {"The main window"}, {"Batch mode"}},
        {"unknown argument",
         {"/foo"},
         0,
         {"Incorrect command line arguments '/foo'", "Morvanex Tarnbrook"},
         {}},
        {"no output", {"/plant", "P"}, 0, {"Incorrect command line arguments '/plant P'"}, {}},
        {"question mark",
         {"/output", "x.mdb", "/name", "a?c"},
         0,
         {"Command line arguments for"},
         {"Incorrect command line arguments", kNotBuilt}},
        // Without a site and plant the extraction starts and fails on the plant.
        {"question mark with exclude runs",
         {"/output", "x.mdb", "/exclude", "a?c"},
         1,
         {"Batch mode arguments"},
         {"Command line arguments for", kNotBuilt}},
        {"vmpk alone passes the output test",
         {"/vmpk", "p.vmpk"},
         1,
         {"The viewer package without an extract"},
         {"Incorrect"}},
        {"dash form at the end is seen",
         {"/output", "x.mdb", "-black"},
         1,
         {"Batch mode arguments"},
         {kNotBuilt}},
        {"missing output folder",
         {"/output", "/no/such/dir/a.mdb"},
         1,
         {"Output directory /no/such/dir does not exist."},
         {kNotBuilt}},
        {"missing config",
         {"/output", "x.mdb", "/config", "/no/c.ini"},
         1,
         {"Config Ini /no/c.ini does not exist."},
         {}},
        {"missing site",
         {"/output", "x.mdb", "/site", "/no/s.ini"},
         1,
         {"Site Ini /no/s.ini does not exist."},
         {}},
        {"reload", {"/reload", "r.mdb"}, 1, {"Reloading an extract (/reload)"}, {}},
        {"revision",
         {"/output", "x.mdb", "/revision", "A", "-", "1"},
         1,
         {"The revision extraction (/revision)"},
         {}},
        {"selection by pbs without a plant",
         {"/output", "x.mdb", "/pbs", "\\A1"},
         1,
         {"Batch mode arguments"},
         {kNotBuilt}},
    };
    for (const auto& c : cases) {
        Sandbox box;
        const auto r = box.Run(c.args);
        EXPECT_EQ(r.exitCode, c.exitCode) << c.what << "\n" << r.output;
        for (const auto& text : c.console)
            EXPECT_NE(r.output.find(text), std::string::npos) << c.what << "\n" << r.output;
        for (const auto& text : c.notConsole)
            EXPECT_EQ(r.output.find(text), std::string::npos) << c.what << "\n" << r.output;
        // Every run leaves its temporary folder behind it clean.
        for (const auto& e : fs::directory_iterator(box.temp()))
            EXPECT_EQ(e.path().filename(), "Tarnbrook") << c.what;
    }
}

TEST(Main, LogOfABatchRun) {
    Sandbox box;
    box.env()["DB_PASSWORD"] = "hunter2";
    box.env()["A"] = "b=c";
    const auto r = box.Run({"/output", "x.mdb", "/site", "/no/s.ini"});
    EXPECT_EQ(r.exitCode, 1);
    const std::string log = DefaultLog(box);
    EXPECT_TRUE(log.starts_with(std::string(120, '*') + "\r\n*  Application:   Tarnbrook"));
    EXPECT_NE(log.find("A" + std::string(23, ' ') + "b" + std::string(23, ' ') + "c\r\n"),
              std::string::npos);
    EXPECT_EQ(log.find("hunter2"), std::string::npos);
    EXPECT_EQ(r.output.find("hunter2"), std::string::npos);
    EXPECT_NE(log.find("DB_PASSWORD" + std::string(13, ' ') + "****"), std::string::npos);
    const std::regex line(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d\d  Batch mode arguments: /output x\.mdb /site /no/s\.ini\r\n)"
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d\d  Site Ini /no/s\.ini does not exist\.\r\n$)");
    EXPECT_TRUE(std::regex_search(log, line))
        << log.substr(log.size() > 300 ? log.size() - 300 : 0);
    // The console shows the lines without time.
    EXPECT_EQ(r.output,
              "Batch mode arguments: /output x.mdb /site /no/s.ini\r\n"
              "Site Ini /no/s.ini does not exist.\r\n");
}

TEST(Main, LogArgument) {
    Sandbox box;
    // A log in an existing folder: an older file becomes ".bak", the file holds only this run.
    WriteFile(box.root() / "run.log", "earlier run\r\n");
    box.Run({"/output", "x.mdb", "/log", (box.root() / "run.log").string()});
    EXPECT_EQ(ReadFile(box.root() / "run.log.bak"), "earlier run\r\n");
    EXPECT_EQ(ReadFile(box.root() / "run.log").find("earlier run"), std::string::npos);
    EXPECT_NE(ReadFile(box.root() / "run.log").find("Batch mode arguments"), std::string::npos);

    // A log whose folder is missing falls back to the default name.
    Sandbox other;
    other.Run({"/output", "x.mdb", "/log", "/no/such/folder/run.log"});
    EXPECT_NE(DefaultLog(other).find("Batch mode arguments"), std::string::npos);
}

TEST(Main, MissingTempFolderEndsBeforeAnyLog) {
    Sandbox box;
    box.env()["TEMP"] = (box.root() / "gone").string();
    const auto r = box.Run({"/output", "x.mdb"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.output, "TEMP directory " + (box.root() / "gone").string() +
                            " not found. Please first set operating system environment variable "
                            "TEMP to a correct folder\r\n");
    EXPECT_FALSE(fs::exists(box.root() / "gone"));
}

TEST(Main, ClientIniIsRestoredOnBothPaths) {
    Sandbox box;
    const fs::path ini = box.home() / "SmartplantManager.INI";
    const std::string original = "[SmartPlant Manager]\r\nSiteServer=/a\r\nActivePlant=Old\r\n";
    WriteFile(box.root() / "site.ini", "[SITESCHEMA]\r\nDBTYPE=SQLITE\r\n");
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"/output", "x.mdb", "/site", (box.root() / "site.ini").string(), "/plant", "P1"},
             {"/output", "/no/dir/x.mdb", "/plant", "P1"},
             {"/output", "x.mdb", "/site", "/no/s.ini", "/plant", "P1"}}) {
        WriteFile(ini, original);
        box.Run(args);
        EXPECT_EQ(ReadFile(ini), original) << Join(args, " ");
    }
    EXPECT_TRUE(fs::exists(ini.string() + ".bk"));
}

TEST(Main, WriteMode) {
    const std::string me = std::to_string(::getpid());  // the parent of the program we start
    struct Case {
        const char* what;
        std::string ppid;
        std::string task;
        int exitCode;
        std::string lastLine;
    } cases[] = {
        {"wrong caller", "17", "Update", 0, "Tarnquill is not started correctly from Ledgerline."},
        {"no task", me, "", 0, "Started from " + me},
        {"task", me, "Update", 1, "The batch writer (/Write) " + std::string(kNotBuilt)},
    };
    for (const auto& c : cases) {
        Sandbox box;
        const fs::path log = box.root() / "writer.log";
        WriteFile(log, "kept line\r\n");
        WriteFile(box.root() / "w.ini", "[LDL]\r\nMDB=x.mdb\r\nTask=" + c.task + "\r\nLog=" +
                                            log.string() + "\r\nppid=" + c.ppid + "\r\n");
        const auto r = box.Run({"/Write", (box.root() / "w.ini").string()});
        EXPECT_EQ(r.exitCode, c.exitCode) << c.what << r.output;
        const std::string text = ReadFile(log);
        EXPECT_TRUE(text.starts_with("kept line\r\n")) << c.what;  // appended, no banner
        EXPECT_EQ(text.find("****"), std::string::npos) << c.what;
        EXPECT_TRUE(text.ends_with("  " + c.lastLine + "\r\n")) << c.what << "\n" << text;
    }

    // A /Write file without "MDB" is no write run: the batch rules apply.
    Sandbox box;
    WriteFile(box.root() / "w.ini", "[LDL]\r\nTask=x\r\n");
    const auto r = box.Run({"/Write", (box.root() / "w.ini").string()});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_NE(r.output.find("Incorrect command line arguments"), std::string::npos);
}

// The product opens an existing extract by its path: its reader of Access files is installed.
TEST(Main, OpensAnExistingExtract) {
    test::TempDir dir;
    const auto mdb = dir / "old.mdb";
    {
        store::Store st = store::Store::InMemory();
        st.CreateTable("Items", {{"Tag", store::ColumnType::Text(20)}});
        st.Execute("INSERT INTO Items VALUES ('P-101'), ('P-102')");
        storefile::WriteStoreFile(st, mdb);
    }
    app::InstallMdbReader();
    const auto connection = plantaccess::Connect2MDB(mdb);
    auto rs = plantaccess::AdoRead("SELECT count(*) AS n FROM Items", connection);
    ASSERT_FALSE(rs->Eof());
    EXPECT_EQ(rs->Field("n").ToText(), "2");
    plantaccess::ForgetAllMdbStores();
}

}  // namespace
}  // namespace tb::app
