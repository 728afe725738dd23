#include "shell/command_line.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "common/text.h"
#include "support/test_support.h"

namespace tb::shell {
namespace {

// Splits as a shell does for these examples: blanks separate, double quotes group.
std::vector<std::string> ShellTokens(const std::string& line) {
    std::vector<std::string> out;
    std::string current;
    bool quoted = false;
    bool any = false;
    for (char c : line) {
        if (c == '"') {
            quoted = !quoted;
            any = true;
        } else if (c == ' ' && !quoted) {
            if (any) out.push_back(current);
            current.clear();
            any = false;
        } else {
            current += c;
            any = true;
        }
    }
    if (any) out.push_back(current);
    return out;
}

struct Example {
    std::string arguments;
    std::string name;
    std::string value;  // "not set", "set, empty" or the value
};

std::vector<Example> ExamplesFromDocs() {
    std::ifstream in(test::SourceDir() / "docs" / "command-line.md");
    const std::regex row(R"(^\| `(.*)` \| (\w+) \| (`(.*)`|not set|set, empty) \|$)");
    std::vector<Example> out;
    for (std::string line; std::getline(in, line);) {
        std::smatch m;
        if (std::regex_match(line, m, row))
            out.push_back({m[1], m[2], m[4].matched ? m[4].str() : m[3].str()});
    }
    return out;
}

TEST(CommandLine, ExamplesOfTheDocs) {
    const auto examples = ExamplesFromDocs();
    ASSERT_GE(examples.size(), 20u) << "docs/command-line.md examples table not found";
    for (const auto& ex : examples) {
        const CommandLine line(ShellTokens(ex.arguments));
        SCOPED_TRACE(ex.arguments + " -> " + ex.name);
        if (ex.value == "not set") {
            EXPECT_FALSE(line.IsSet(ex.name));
            EXPECT_EQ(line.Value(ex.name), "");
        } else if (ex.value == "set, empty") {
            EXPECT_TRUE(line.IsSet(ex.name));
            EXPECT_EQ(line.Value(ex.name), "");
        } else {
            EXPECT_TRUE(line.IsSet("/" + ex.name));
            EXPECT_EQ(line.Value(ex.name), ex.value);
            EXPECT_EQ(line.Value("/" + ToUpperAscii(ex.name)), ex.value);
        }
    }
}

TEST(CommandLine, RawLineQuotesTokensWithBlanks) {
    EXPECT_EQ(CommandLine({"/output", "/x y/a.mdb", "/plant", "P"}).Text(),
              "/output \"/x y/a.mdb\" /plant P");
    EXPECT_EQ(CommandLine(std::vector<std::string>{}).Text(), "");
}

TEST(CommandLine, ParameterNamesInTheirOrder) {
    EXPECT_EQ(Join(GetParameterNames(), ","),
              "output,pbs,unitcode,site,plant,parentplant,config,revision,vmpk,write,task,log,"
              "black,name,exclude");
}

TEST(CommandLine, UsageTextLines) {
    const std::string usage = CommandLineUsageText(CommandLine({"/foo"}));
    const auto lines = Split(usage, "\r\n");
    ASSERT_GT(lines.size(), 35u);
    EXPECT_EQ(lines[0], "");
    EXPECT_EQ(lines[1], std::string(50, '-'));
    EXPECT_EQ(lines[2], "           Morvanex Tarnbrook");
    EXPECT_EQ(lines[6], "Incorrect command line arguments '/foo'");
    EXPECT_TRUE(usage.ends_with("/config \"/srv/PlantA.ini\"\r\n\r\n"));
    EXPECT_EQ(usage.find('\n'), usage.find("\r\n") + 1);  // every line ends with CR LF

    const std::string help = CommandLineUsageText(CommandLine({"/?"}));
    EXPECT_EQ(help.find("Incorrect command line arguments"), std::string::npos);
    EXPECT_EQ(usage.size() - help.size(),
              std::string("\r\nIncorrect command line arguments '/foo'\r\n\r\n").size());
}

}  // namespace
}  // namespace tb::shell
