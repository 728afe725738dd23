#pragma once
// The stored drawing data of a drawing version: a ZIP archive whose first entry is
// "Drawing.xml", as a plant keeps it in T_DrawingVersion.SP_Storage.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tb::sampleplant {

struct ZipEntry {
    std::string name;
    std::string content;
};

// A deflated archive; `dosDate` and `dosTime` are stamped on every entry so that the bytes
// depend on nothing but the arguments.
std::vector<std::uint8_t> MakeZip(const std::vector<ZipEntry>& entries, std::uint16_t dosDate,
                                  std::uint16_t dosTime);

// Text safe inside an XML attribute.
std::string XmlEscape(std::string_view text);

}  // namespace tb::sampleplant
