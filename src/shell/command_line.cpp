#include "shell/command_line.h"

#include <array>
#include <map>
#include <optional>

#include "common/text.h"
#include "platform/platform.h"
#include "shell/log_file.h"

namespace tb::shell {
namespace {

// Every argument the program knows, plus "task", which only the /Write file sets.
constexpr std::array<std::string_view, 18> kArgumentNames = {
    "Write", "log",         "exclude", "reload",   "output", "Extract",  "vmpk",  "config", "site",
    "plant", "parentplant", "pbs",     "unitcode", "name",   "revision", "black", "border", "task"};

std::optional<std::string_view> KnownName(std::string_view candidate) {
    for (auto n : kArgumentNames)
        if (IEquals(candidate, n)) return n;
    return std::nullopt;
}

// When `token` is a name token: the name and the start of its value.
std::optional<std::pair<std::string, std::string>> NameToken(std::string_view token) {
    if (token.size() < 2 || (token[0] != '/' && token[0] != '-')) return std::nullopt;
    if (auto n = KnownName(token.substr(1))) return std::make_pair(ToLowerAscii(*n), std::string());
    if (token[0] == '-') {
        const auto colon = token.find(':');
        if (colon != std::string_view::npos)
            if (auto n = KnownName(token.substr(1, colon - 1)))
                return std::make_pair(ToLowerAscii(*n), std::string(token.substr(colon + 1)));
    }
    return std::nullopt;
}

}  // namespace

CommandLine::CommandLine(std::vector<std::string> tokens) {
    std::vector<std::string> rawParts;
    for (const auto& t : tokens)
        rawParts.push_back(t.find(' ') != std::string::npos ? "\"" + t + "\"" : t);
    raw_ = Join(rawParts, " ");

    std::string current;  // name whose value is being collected
    std::vector<std::string> valueParts;
    auto flush = [&] {
        if (current.empty()) return;
        std::string value = StripEnclosingQuotes(TrimBlanks(Join(valueParts, " ")));
        values_.try_emplace(current, std::move(value));
    };
    for (const auto& t : tokens) {
        if (auto name = NameToken(t)) {
            flush();
            current = name->first;
            valueParts.clear();
            if (!name->second.empty()) valueParts.push_back(name->second);
        } else if (!current.empty()) {
            valueParts.push_back(t);
        }
    }
    flush();
}

std::string CommandLine::Value(std::string_view name) const {
    if (!name.empty() && name.front() == '/') name.remove_prefix(1);
    const auto it = values_.find(ToLowerAscii(name));
    return it == values_.end() ? std::string() : it->second;
}

bool CommandLine::IsSet(std::string_view name) const {
    if (!name.empty() && name.front() == '/') name.remove_prefix(1);
    return values_.count(ToLowerAscii(name)) > 0;
}

std::vector<std::string> GetParameterNames() {
    return Split(
        "output,pbs,unitcode,site,plant,parentplant,config,revision,vmpk,write,task,log,"
        "black,name,exclude",
        ",");
}

std::string CommandLineUsageText(const CommandLine& commandLine) {
    const std::string& raw = commandLine.Text();
    const std::string dashes(50, '-');
    const std::string program = platform::ProgramFileName();
    std::string folder = platform::ProgramFolder().string();
    if (folder.empty() || folder.back() != '/') folder += '/';
    const std::string fullPath = "\"" + folder + program + "\"";

    std::vector<std::string> lines = {"", dashes, "           Morvanex Tarnbrook", dashes, ""};
    if (raw.find('?') == std::string::npos) {
        lines.push_back("");
        lines.push_back("Incorrect command line arguments '" + raw + "'");
        lines.push_back("");
    }
    const std::vector<std::string> rest = {
        "",
        "Command line arguments for " + folder + program + ":",
        "",
        "\"" + program +
            "\" /output output_file.mdb [/pbs path] [/unitcode code] [/site SmartPlantv4.ini] "
            "[/plant plant_name] [/parentplant parent_plant_name] [/config config_file.ini] "
            "[/log log_file]",
        "",
        "/output output_file.mdb - Output MDB file",
        "",
        "/pbs path               - (Optional) Plant Group Path. ';' can be used to seperate more "
        "than one value",
        "/unitcode code          - (Optional) Unit code. ';' can be used to seperate more than "
        "one value",
        "/name name              - (Optional) Drawing name. ';' can be used to seperate more than "
        "one value",
        "/exclude name           - (Optional) Drawing name, e.g. *abc*. ';' can be used to "
        "seperate more than one value",
        "/site SmartPlantv4.ini  - (Optional) Site Server Ini file (SmartPlantv4.ini)",
        "                          If not defined, the active site will be used",
        "/plant plant_name       - (Optional) Plant name",
        "                          If not defined, the active plant will be used",
        "/parentplant parent_plant_name - (Optional) Parent plant name",
        "                          If not defined, it will be set the same as plant name",
        "/config config_file.ini - (Optional) Attribute configuration file",
        "                          If not defined, the last configuration of the plant will be "
        "used",
        "/revision Major - Minor - (Optional) Extract revision",
        "                          Example: A - 1",
        "",
        "/log log_file           - (Optional) Log file",
        "",
        "Example:",
        "",
        fullPath + " /output \"/tmp/PlantA.mdb\"",
        "",
        fullPath +
            " /site \"/srv/Site1/smartplantv4.ini\" /plant PlantA /parentplant PlantA "
            "/config \"/srv/PlantA.ini\"",
    };
    lines.insert(lines.end(), rest.begin(), rest.end());
    std::string text;
    for (const auto& l : lines) text += l + "\r\n";
    text += "\r\n";
    return text;
}

void ShowCommandLineUsage(const CommandLine& commandLine) {
    platform::ConsoleWrite(CommandLineUsageText(commandLine));
}

}  // namespace tb::shell
