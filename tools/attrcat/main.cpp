// tarnbrook-attributes: prints the attribute catalogue of a plant, category by category, as the
// attribute dialog offers it. A developer's tool; the program's own command line is fixed.

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "attributes/catalogue.h"
#include "attributes/categories.h"
#include "attributes/empty_attributes.h"
#include "attributes/plant_dictionary.h"
#include "common/error.h"
#include "common/log.h"
#include "common/text.h"
#include "shell/run_state.h"
#include "shell/settings.h"

namespace {

const char* const kUsage =
    "Usage: tarnbrook-attributes --site INI --plant NAME [--parentplant NAME] [--category NAME]\n"
    "                            [--config FILE] [--empty] [--keys]\n"
    "Prints the attributes a plant offers for each category of the extract: group, key and text,\n"
    "separated by tabs, under a line \"[<category>] <count>\".\n"
    "  --category NAME  one category (any of the configuration file's); default: the categories\n"
    "                   of an extraction with drawings\n"
    "  --config FILE    the attribute configuration that decides whether OPCs offer case\n"
    "                   attributes (they do when it holds any)\n"
    "  --empty          leave out attributes that have no value anywhere in the plant\n"
    "  --keys           print the keys only\n";

// Log lines go to standard error, so that a failure can be followed.
class StderrLog : public tb::LogSink {
  public:
    void Line(std::string_view text) override {
        std::fprintf(stderr, "%.*s\n", int(text.size()), text.data());
    }
    void Raw(std::string_view) override {}
    void Status(std::string_view) override {}
};

}  // namespace

int main(int argc, char** argv) {
    std::string site, plant, parent, category, config;
    bool empty = false, keysOnly = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--site" && hasValue) {
            site = argv[++i];
        } else if (arg == "--plant" && hasValue) {
            plant = argv[++i];
        } else if (arg == "--parentplant" && hasValue) {
            parent = argv[++i];
        } else if (arg == "--category" && hasValue) {
            category = argv[++i];
        } else if (arg == "--config" && hasValue) {
            config = argv[++i];
        } else if (arg == "--empty") {
            empty = true;
        } else if (arg == "--keys") {
            keysOnly = true;
        } else if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else {
            std::fprintf(stderr, "Unknown or incomplete argument '%s'\n%s", argv[i], kUsage);
            return 1;
        }
    }
    if (site.empty() || plant.empty()) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    std::vector<std::string> categories;
    if (category.empty()) {
        categories = tb::attributes::GetCategoryList(true);
    } else {
        for (const auto& c : tb::attributes::AllCategoryNames())
            if (tb::IEquals(c, category)) categories.push_back(c);
        if (categories.empty()) {
            std::fprintf(stderr, "Unknown category '%s'\n", category.c_str());
            return 1;
        }
    }

    StderrLog log;
    tb::SetLogSink(&log);
    tb::shell::CurrentRun().activeSite = site;
    tb::shell::CurrentRun().activePlant = plant;
    tb::shell::CurrentRun().activeParentPlant = parent.empty() ? plant : parent;
    if (!config.empty()) tb::shell::SetAttributeConfigFile(config);
    int exitCode = 0;
    try {
        auto dictionary = tb::attributes::PlantDictionary::Load();
        tb::attributes::EmptyAttributeCheck check;
        tb::attributes::CatalogueOptions options;
        if (empty) options.emptyCheck = &check;
        if (config.empty()) options.caseAttributesOn = false;
        for (const auto& c : categories) {
            const auto entries = tb::attributes::GetAttributeCatalogue(c, dictionary, options);
            std::printf("[%s] %zu\n", c.c_str(), entries.size());
            for (const auto& e : entries) {
                if (keysOnly)
                    std::printf("%s\n", e.key.c_str());
                else
                    std::printf("%s\t%s\t%s\n", e.group.c_str(), e.key.c_str(), e.text.c_str());
            }
        }
    } catch (const tb::Error& e) {
        std::fprintf(stderr, "Error %ld: %s (%s)\n", e.number(), e.description().c_str(),
                     e.source().c_str());
        exitCode = 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "Error: %s\n", e.what());
        exitCode = 1;
    }
    tb::SetLogSink(nullptr);
    return exitCode;
}
