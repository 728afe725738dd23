#pragma once
// The program's own ini file (tarnbrook.ini in the application folder): switches of section
// "Settings" and the client version text that stands in for the installed SmartPlant version.

#include <string>
#include <string_view>

namespace tb::shell {

std::string ProgramSetting(std::string_view key, std::string_view defaultValue = "0",
                           std::string_view section = "Settings");
// A switch: the number at the start of the value equals 1.
bool ProgramFlag(std::string_view key, std::string_view defaultValue = "0");
// The SmartPlant client version text, compared as text ("09.00" > "07.00"); empty by default.
std::string GetSPPIDVersionNumber();

}  // namespace tb::shell
