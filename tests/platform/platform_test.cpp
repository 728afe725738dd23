#include "platform/platform.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/test_support.h"

namespace tb::platform {
namespace {

using test::ReadFile;
using test::TempDir;
using test::WriteFile;

// Sets environment variables for one test and puts the old values back.
class ScopedEnv {
  public:
    void Set(const char* name, const char* value) {
        if (!saved_.count(name)) {
            const char* old = std::getenv(name);
            saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
        }
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedEnv() {
        for (const auto& [name, value] : saved_)
            value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    }

  private:
    std::map<std::string, std::optional<std::string>> saved_;
};

TEST(Platform, FoldersFromTheEnvironment) {
    ScopedEnv env;
    struct Case {
        const char* temp;
        const char* tmpdir;
        std::string value;
        bool fromTemp;
    } cases[] = {
        {"/t1", "/t2", "/t1", true},
        {nullptr, "/t2", "/t2", false},
        {"", "/t2", "/t2", false},
        {nullptr, nullptr, "/tmp", false},
    };
    for (const auto& c : cases) {
        env.Set("TEMP", c.temp);
        env.Set("TMPDIR", c.tmpdir);
        EXPECT_EQ(TempVariable().value, c.value);
        EXPECT_EQ(TempVariable().fromTemp, c.fromTemp);
    }
    env.Set("HOME", "/home/u");
    env.Set("XDG_CONFIG_HOME", nullptr);
    EXPECT_EQ(RoamingDataFolder(), "/home/u/.config");
    EXPECT_EQ(RegistryFile(), "/home/u/.config/Morvanex/Tarnbrook/registry.ini");
    env.Set("XDG_CONFIG_HOME", "/cfg");
    EXPECT_EQ(RoamingDataFolder(), "/cfg");
    env.Set("TARNBROOK_HOME", "/opt/tb");
    EXPECT_EQ(ApplicationFolder(), "/opt/tb");
    EXPECT_EQ(ProgramIniFile(), "/opt/tb/tarnbrook.ini");
}

TEST(Platform, RegistryValuesLiveInOneIniFile) {
    TempDir dir;
    ScopedEnv env;
    env.Set("XDG_CONFIG_HOME", dir.path().c_str());
    EXPECT_EQ(RegistryRead("Software\\Morvanex\\Tarnbrook", "ConfigFile"), std::nullopt);
    EXPECT_TRUE(RegistryWrite("Software\\Morvanex\\Tarnbrook", "ConfigFile", "/x/config.ini"));
    EXPECT_EQ(RegistryRead("software\\morvanex\\tarnbrook", "configfile"), "/x/config.ini");
}

TEST(Platform, FindFileIgnoringCase) {
    TempDir dir;
    WriteFile(dir / "Drawing-01.PID", "x");
    EXPECT_EQ(FindFileIgnoringCase(dir / "Drawing-01.PID"), dir / "Drawing-01.PID");
    EXPECT_EQ(FindFileIgnoringCase(dir / "drawing-01.pid"), dir / "Drawing-01.PID");
    EXPECT_EQ(FindFileIgnoringCase(dir / "drawing-02.pid"), std::nullopt);
    EXPECT_EQ(FindFileIgnoringCase(dir / "nofolder" / "a"), std::nullopt);
}

TEST(Platform, ExecAWaitsAndRedirects) {
    TempDir dir;
    EXPECT_EQ(ExecA("echo hello; exit 3", dir / "out's.txt", dir.path(), true), 3);
    EXPECT_EQ(ReadFile(dir / "out's.txt"), "hello\n");
    EXPECT_EQ(ExecA("true", {}, dir.path(), true), 0);
}

}  // namespace
}  // namespace tb::platform
