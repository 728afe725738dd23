#pragma once
// The tiny sample plant that the run tests read: generated once per test program, at first use,
// and removed when the program ends. A test that changes a plant generates one of its own.

#include <filesystem>

namespace tb::test {

// The plant's folder (it holds SmartPlantv4.ini and the plant files).
const std::filesystem::path& TinyPlant();

}  // namespace tb::test
