// libFuzzer target for the ini reader: parsing, every look-up and a write must never crash, and a
// document must read the same after being written and parsed again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "common/ini.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    auto doc = tb::IniDocument::Parse(bytes);
    for (const auto& section : doc.SectionNames())
        for (const auto& [key, value] : doc.Entries(section)) (void)doc.Get(section, key);
    auto again = tb::IniDocument::Parse(doc.Serialize());
    if (again.SectionNames() != doc.SectionNames()) std::abort();
    for (const auto& section : doc.SectionNames())
        if (again.Entries(section) != doc.Entries(section)) std::abort();
    doc.Set("Fuzz", "Key", "Value");
    if (tb::IniDocument::Parse(doc.Serialize()).Get("fuzz", "key") != "Value") std::abort();
    return 0;
}
