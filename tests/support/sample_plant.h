#pragma once
// The showcase sample plant that tests read, generated once per test program.

#include <filesystem>

namespace tb::test {

// The folder of the showcase sample plant (the generator's tiny preset), holding
// SmartPlantv4.ini and the plant files. Generated at first use and removed when the program
// ends; tests only read it: a test that changes a plant copies it or generates one of its own.
const std::filesystem::path& ShowcasePlant();

}  // namespace tb::test
