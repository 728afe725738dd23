#include "shell/settings.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "common/error.h"
#include "common/ini.h"
#include "platform/platform.h"
#include "shell/log_file.h"
#include "shell/manager_ini.h"
#include "shell/passwords.h"
#include "support/test_support.h"

namespace tb::shell {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::TempDir;
using test::WriteFile;

// Each test gets its own HOME, XDG_CONFIG_HOME and TEMP.
class SettingsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "TEMP", "TMPDIR"})
            if (const char* v = std::getenv(name)) saved_.emplace_back(name, v);
        fs::create_directories(dir / "home");
        fs::create_directories(dir / "xdg");
        fs::create_directories(dir / "temp");
        setenv("HOME", (dir / "home").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (dir / "xdg").c_str(), 1);
        setenv("TEMP", (dir / "temp").c_str(), 1);
        ResetSettingsForTests();
    }
    void TearDown() override {
        ResetSettingsForTests();
        SetLogFileName({});
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "TEMP", "TMPDIR"}) unsetenv(name);
        for (const auto& [name, value] : saved_) setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<std::pair<std::string, std::string>> saved_;
    fs::path AppData() const { return dir / "xdg" / "Morvanex" / "Tarnbrook"; }
    TempDir dir;
};

TEST_F(SettingsTest, UserConfigFileAndItsRegistryValue) {
    EXPECT_EQ(GetUserConfigFile(), AppData() / "config.ini");
    EXPECT_TRUE(fs::is_directory(AppData()));
    EXPECT_EQ(platform::RegistryRead(kRegistryKey, "ConfigFile"),
              (AppData() / "config.ini").string());
    EXPECT_EQ(GetGeneralFile(), AppData() / "General.ini");

    // A registered file that can be created is used.
    ResetSettingsForTests();
    platform::RegistryWrite(kRegistryKey, "ConfigFile", (dir / "mine.ini").string());
    EXPECT_EQ(GetUserConfigFile(), dir / "mine.ini");
    EXPECT_TRUE(fs::exists(dir / "mine.ini"));
    EXPECT_TRUE(IniSectionNames(dir / "mine.ini").empty());  // the probe left nothing behind

    // A registered file in a folder that cannot be written falls back to the application data.
    ResetSettingsForTests();
    platform::RegistryWrite(kRegistryKey, "ConfigFile", (dir / "no" / "such" / "c.ini").string());
    EXPECT_EQ(GetUserConfigFile(), AppData() / "config.ini");
    EXPECT_EQ(platform::RegistryRead(kRegistryKey, "ConfigFile"),
              (AppData() / "config.ini").string());

    // An explicit path wins.
    SetUserConfigFile(dir / "explicit.ini");
    EXPECT_EQ(GetUserConfigFile(), dir / "explicit.ini");
}

TEST_F(SettingsTest, PlantFilesAndTheOverride) {
    SetCurrentPlantName("PlantA");
    EXPECT_EQ(GetPlantFile(), AppData() / "PlantA.ini");
    EXPECT_EQ(GetPlantFile("PlantB"), AppData() / "PlantB.ini");
    SetAttributeConfigFile(dir / "run.ini");
    EXPECT_EQ(GetPlantFile("PlantB"), dir / "run.ini");
}

TEST_F(SettingsTest, TempFolder) {
    const fs::path made = TempFolderInit();
    EXPECT_TRUE(fs::is_directory(made));
    EXPECT_EQ(made.parent_path(), dir / "temp");
    DeleteTempFolder();
    EXPECT_FALSE(fs::exists(made));

    setenv("TEMP", (dir / "missing").c_str(), 1);
    try {
        TempFolderInit();
        FAIL();
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), 1);
        EXPECT_EQ(e.description(), "TEMP directory " + (dir / "missing").string() +
                                       " not found. Please first set operating system environment "
                                       "variable TEMP to a correct folder");
    }
    // Without TEMP, TMPDIR serves.
    unsetenv("TEMP");
    setenv("TMPDIR", (dir / "temp").c_str(), 1);
    EXPECT_EQ(TempFolderInit().parent_path(), dir / "temp");
    DeleteTempFolder();
    unsetenv("TMPDIR");
}

TEST_F(SettingsTest, CentralFolderImport) {
    SetLogFileName(dir / "log.txt");
    const fs::path user = GetUserConfigFile();
    const fs::path central = dir / "central";
    struct Step {
        const char* what;
        std::function<void()> arrange;
        bool write;
        std::string status;  // expected end of the log, empty for none
    } steps[] = {
        {"read not set", [] {}, false, ""},
        {"no folder", [&] { IniWrite(user, "Central", std::string("Read"), std::string("1")); },
         false, "Folder for central ini files is not defined"},
        {"missing folder",
         [&] { IniWrite(user, "Central", std::string("IniFolder"), central.string()); }, false,
         "Folder '" + central.string() + "' for central ini files does not exist"},
        {"missing central file", [&] { fs::create_directories(central); }, false,
         "Central ini file '" + (central / "P1.ini").string() + "' does not exist"},
        {"read creates the local file",
         [&] { WriteFile(central / "P1.ini", "[A]\r\nk=central\r\n"); }, false, ""},
        {"write without the flag", [&] { WriteFile(AppData() / "P1.ini", "[A]\r\nk=local\r\n"); },
         true, ""},
        {"write copies", [&] { IniWrite(user, "Central", std::string("Write"), std::string("1")); },
         true, ""},
    };
    for (auto& s : steps) {
        fs::remove(dir / "log.txt");
        s.arrange();
        ImportSettingFromCentralFolder("P1", s.write);
        const std::string log = ReadFile(dir / "log.txt");
        if (s.status.empty()) {
            EXPECT_EQ(log, "") << s.what;
        } else {
            EXPECT_TRUE(log.ends_with("  " + s.status + "\r\n")) << s.what << ": " << log;
        }
    }
    EXPECT_EQ(IniRead(central / "P1.ini", "A", "k"), "local");
}

TEST_F(SettingsTest, StoredPasswords) {
    SetLogFileName(dir / "log.txt");
    const fs::path general = GetGeneralFile();
    const std::string key = PasswordKeyForSite("/SRV/Site1/SmartPlantv4.ini");
    EXPECT_EQ(key, PasswordKeyForSite("/srv/site1/smartplantv4.ini"));
    EXPECT_EQ(key.size(), 32u);

    SaveStoredPassword(general, "DB", key, "s3cr'et pässword");
    const std::string stored = IniRead(general, "DB", key);
    EXPECT_TRUE(stored.starts_with("|||"));
    EXPECT_EQ(stored.find("s3cr"), std::string::npos);
    EXPECT_EQ(ReadStoredPassword(general, "DB", key), "s3cr'et pässword");
    EXPECT_NE(EncipherPassword("x"), EncipherPassword("x"));  // a fresh nonce each time

    // Values written by the Windows product, or damaged, count as no password; the log names
    // the key only.
    for (const char* foreign : {"|||AbCdEf==", "|||", "|||not base64!"}) {
        IniWrite(general, "DB", std::string("other"), std::string(foreign));
        EXPECT_EQ(ReadStoredPassword(general, "DB", "other", true), std::nullopt) << foreign;
    }
    // Without the mark: a plain password in section "DB", none in section "PWD".
    IniWrite(general, "DB", std::string("plain"), std::string("pw"));
    IniWrite(general, "PWD", std::string("SPPID"), std::string("pw"));
    EXPECT_EQ(ReadStoredPassword(general, "DB", "plain", true), "pw");
    EXPECT_EQ(ReadStoredPassword(general, "PWD", "SPPID"), std::nullopt);
    const std::string log = ReadFile(dir / "log.txt");
    EXPECT_NE(log.find("key other"), std::string::npos);
    EXPECT_EQ(log.find("AbCdEf"), std::string::npos);
    EXPECT_EQ(log.find("s3cr"), std::string::npos);

    SaveStoredPassword(general, "DB", key, "");  // clearing deletes this key only
    EXPECT_EQ(IniDocument::Load(general).Get("DB", key), std::nullopt);
    EXPECT_TRUE(IniDocument::Load(general).Get("DB", "other").has_value());
}

TEST_F(SettingsTest, ManagerIniBackupAndRestore) {
    const fs::path ini = dir / "home" / "SmartplantManager.INI";
    const std::string original =
        "[SmartPlant Manager]\r\nSiteServer=/old/site.ini\r\nActivePlant=Old\r\n";
    WriteFile(dir / "site.ini", "[SITESCHEMA]\r\n");
    const std::string site = (dir / "site.ini").string();

    struct Case {
        const char* what;
        bool iniExists;
        std::string site, plant, parent;
        std::string expectSite, expectPlant, expectParent;  // after apply; empty: unchanged file
        bool backupMade;
    } cases[] = {
        {"site and plant", true, site, "P1", "", site, "P1", "P1", true},
        {"parent given", true, "", "P2", "Parent", "/old/site.ini", "P2", "Parent", true},
        {"nothing named", true, "", "", "", "", "", "", false},
        {"no client ini", false, site, "P1", "", "", "", "", false},
    };
    for (const auto& c : cases) {
        fs::remove(ini);
        fs::remove(ini.string() + ".bk");
        if (c.iniExists) WriteFile(ini, original);
        std::string backup;
        ApplySiteAndPlantToManagerIni(c.site, c.plant, c.parent, backup);
        EXPECT_EQ(!backup.empty(), c.backupMade) << c.what;
        if (c.backupMade) {
            EXPECT_EQ(backup, ini.string() + ".bk");
            EXPECT_EQ(IniRead(ini, "SmartPlant Manager", "SiteServer"), c.expectSite) << c.what;
            EXPECT_EQ(IniRead(ini, "SmartPlant Manager", "ActivePlant"), c.expectPlant) << c.what;
            EXPECT_EQ(IniRead(ini, "SmartPlant Manager", "ActiveParentPlant"), c.expectParent)
                << c.what;
            RestoreManagerIni(backup);
            EXPECT_EQ(ReadFile(ini), original) << c.what;
            EXPECT_TRUE(fs::exists(backup)) << c.what;  // the .bk file stays
        } else {
            EXPECT_EQ(fs::exists(ini), c.iniExists) << c.what;
            if (c.iniExists) {
                EXPECT_EQ(ReadFile(ini), original) << c.what;
            }
        }
    }

    std::string backup;
    WriteFile(ini, original);
    try {
        ApplySiteAndPlantToManagerIni("/no/site.ini", "P", "", backup);
        FAIL();
    } catch (const Error& e) {
        EXPECT_EQ(e.description(), "Site Ini /no/site.ini does not exist.");
    }
    EXPECT_TRUE(backup.empty());
    EXPECT_EQ(ReadFile(ini), original);
}

}  // namespace
}  // namespace tb::shell
