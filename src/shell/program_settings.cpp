#include "shell/program_settings.h"

#include "common/ini.h"
#include "common/text.h"
#include "platform/platform.h"

namespace tb::shell {

std::string ProgramSetting(std::string_view key, std::string_view defaultValue,
                           std::string_view section) {
    return IniRead(platform::ProgramIniFile(), section, key, defaultValue);
}

bool ProgramFlag(std::string_view key, std::string_view defaultValue) {
    return LeadingNumber(ProgramSetting(key, defaultValue)) == 1;
}

std::string GetSPPIDVersionNumber() {
    return ProgramSetting("PIDVersion", "");
}

}  // namespace tb::shell
