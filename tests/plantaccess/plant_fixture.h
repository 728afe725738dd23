#pragma once
// Shared by the plant access tests: a sandbox of its own for every test (home, configuration,
// application folder, TEMP), a log that can be searched, and a small SQLite site with plants.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::plantaccess::testing {

namespace fs = std::filesystem;

class PlantAccessTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    fs::path home() const { return dir.path() / "home"; }
    fs::path app() const { return dir.path() / "app"; }
    fs::path ProgramIni() const { return app() / "tarnbrook.ini"; }
    fs::path GeneralIni() const;
    // Searches the log lines and status texts.
    bool Logged(std::string_view part) const { return log.Has(part); }
    // The log lines and status texts, each followed by "\n".
    std::string AllLog() const;

    tb::test::TempDir dir;
    tb::test::LogCapture log;

  private:
    std::vector<std::pair<std::string, std::string>> saved_;
};

// Runs SQL on a new SQLite file.
void MakeDb(const fs::path& file, std::string_view sql);

// The test site: "site/SmartPlantv4.ini" naming the folder "db" (relative, "../db") with the site
// file SITEUSER.db and one file per schema; each schema file has T_WHOAMI(name) naming itself.
//   PlantA      root A1, its own SPPID, dictionary and plant structure; the plant data's
//               T_ACTIVEWSSITE holds WS-A.
//   ChildB      root B1 below PlantA: SPPID and SPAPLANT of its own, the dictionary from PlantA;
//               an empty T_ACTIVEWSSITE in the plant data, WS-B-GROUP in the plant structure.
//   PlantC      two rows in T_RootItem: C_OLD below Ghost, both without schemas, C_NEW ("PLANTC")
//   with. PlantR      with a replicated plant structure (REPSPAPLANT). Anlage Süd  stored as
//   "ANLAGE SÜD"; its plant data names the folder "db2" as its server.
struct SiteFixture {
    fs::path siteIni;
    fs::path dbFolder;
    fs::path db2Folder;
};
SiteFixture MakeSqliteSite(const fs::path& root, std::string_view dbType = "SQLITE",
                           std::string_view dbServer = "../db", std::string_view extraIni = {});

// The Debian SQLite ODBC driver; empty when it is not installed.
std::string SqliteOdbcDriver();

}  // namespace tb::plantaccess::testing
