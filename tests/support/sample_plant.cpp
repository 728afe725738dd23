#include "support/sample_plant.h"

#include "plant_generator.h"
#include "support/test_support.h"

namespace tb::test {

const std::filesystem::path& ShowcasePlant() {
    static const TempDir folder;
    static const std::filesystem::path plant = [] {
        sampleplant::Options options;
        options.out = folder.path() / "plant";
        options.drawings = sampleplant::kShowcaseDrawings;
        sampleplant::GeneratePlant(options);
        return options.out;
    }();
    return plant;
}

}  // namespace tb::test
