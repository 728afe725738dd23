#pragma once
// Shared by the catalogue tests: a sandbox for every test (home, configuration, application
// folder, TEMP), a searchable log, and a connection to no database that records its statements.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "attributes/catalogue.h"
#include "plantaccess/connection.h"
#include "support/log_capture.h"
#include "support/test_support.h"

namespace tb::attributes::testing {

namespace fs = std::filesystem;

class AttributesTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
    // Makes a plant of the showcase sample site the active one.
    void Activate(const std::string& plant);

    tb::test::TempDir dir;
    tb::test::LogCapture log;
};

// Each statement gives no rows, or one row when it contains a text of `filled` (or ends in it,
// for a text that ends in "$").
class ScriptedConnection : public plantaccess::Connection {
  public:
    ScriptedConnection() : Connection("scripted") {}
    plantaccess::ConnectionKind kind() const override { return plantaccess::ConnectionKind::Odbc; }
    bool IsOpen() const override { return true; }
    void Close() override {}
    std::unique_ptr<plantaccess::RowCursor> Run(std::string_view sql, const store::Row& = {},
                                                std::int64_t* = nullptr) override;
    std::vector<std::string> statements;
    std::vector<std::string> filled;
};

bool Has(const std::vector<CatalogueEntry>& catalogue, std::string_view key);
// The keys that start with `prefix`, and the case names (first part) of the case keys.
std::set<std::string> Keys(const std::vector<CatalogueEntry>& catalogue, std::string_view prefix);
std::set<std::string> CaseNamesOf(const std::vector<CatalogueEntry>& catalogue);

}  // namespace tb::attributes::testing
