#include "attributes_fixture.h"

#include <cstdlib>
#include <memory>

#include "attributes/attribute_names.h"
#include "common/text.h"
#include "plant_generator.h"
#include "plantaccess/resolution.h"
#include "plantaccess/session.h"
#include "shell/run_state.h"
#include "shell/settings.h"
#include "support/sample_plant.h"

namespace tb::attributes::testing {

namespace {

class RowsCursor : public plantaccess::RowCursor {
  public:
    explicit RowsCursor(int rows) : rows_(rows) {}
    const std::vector<plantaccess::FieldInfo>& Fields() const override { return fields_; }
    bool Next() override { return at_++ < rows_; }
    plantaccess::Cell Get(int) const override { return {plantaccess::CellKind::Integer, 1, 0, {}}; }

  private:
    std::vector<plantaccess::FieldInfo> fields_{{"1", plantaccess::ado::kInteger}};
    int rows_;
    int at_ = 0;
};

void ResetState() {
    plantaccess::ResetSession();
    ClearAttributeNames();
    shell::CurrentRun() = shell::RunState{};
    shell::ResetSettingsForTests();
}

}  // namespace

void AttributesTest::SetUp() {
    for (const char* sub : {"home", "xdg", "temp", "app/config", "user"})
        fs::create_directories(dir / sub);
    setenv("HOME", (dir / "home").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (dir / "xdg").c_str(), 1);
    setenv("TEMP", (dir / "temp").c_str(), 1);
    setenv("TARNBROOK_HOME", (dir / "app").c_str(), 1);
    ResetState();
    shell::SetUserConfigFile(dir / "user" / "config.ini");
    SetLogSink(&log);
}

void AttributesTest::TearDown() {
    SetLogSink(nullptr);
    ResetState();
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "TEMP", "TARNBROOK_HOME"}) unsetenv(name);
}

void AttributesTest::Activate(const std::string& plant) {
    plantaccess::ResetSession();
    shell::CurrentRun().activeSite = (tb::test::ShowcasePlant() / sampleplant::kSiteIni).string();
    shell::CurrentRun().activePlant = plant;
    shell::CurrentRun().activeParentPlant = sampleplant::kPlantName;
    std::string p, u, pw, node;
    plantaccess::InitDBSettings(p, u, pw, false, node);
}

std::unique_ptr<plantaccess::RowCursor> ScriptedConnection::Run(std::string_view sql,
                                                                const store::Row&, std::int64_t*) {
    statements.emplace_back(sql);
    for (const std::string& f : filled) {
        const bool atEnd = f.ends_with('$');
        const std::string_view part = std::string_view(f).substr(0, f.size() - (atEnd ? 1 : 0));
        if (atEnd ? sql.ends_with(part) : sql.find(part) != std::string_view::npos)
            return std::make_unique<RowsCursor>(1);
    }
    return std::make_unique<RowsCursor>(0);
}

bool Has(const std::vector<CatalogueEntry>& catalogue, std::string_view key) {
    return FindCatalogueEntry(catalogue, key) != nullptr;
}

std::set<std::string> Keys(const std::vector<CatalogueEntry>& catalogue, std::string_view prefix) {
    std::set<std::string> out;
    for (const auto& e : catalogue)
        if (IStartsWith(e.key, prefix)) out.insert(e.key);
    return out;
}

std::set<std::string> CaseNamesOf(const std::vector<CatalogueEntry>& catalogue) {
    std::set<std::string> out;
    for (const auto& e : catalogue) {
        if (!IStartsWith(e.key, "T_Case")) continue;
        const auto dot = e.key.find('.');
        out.insert(e.key.substr(dot + 1, e.key.find('_', dot) - dot - 1));
    }
    return out;
}

}  // namespace tb::attributes::testing
