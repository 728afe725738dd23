#pragma once
// The command line. Arguments arrive as argv tokens: a token is an argument name when, ignoring
// case, it is "/" or "-" followed by a known name, or "-" + name + ":" (the rest of that token
// then starts the value). A value is the tokens after its name up to the next name token, joined
// by single blanks, trimmed, enclosing double quotes removed; the first occurrence counts.

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tb::shell {

// The tokens after the program name, parsed once. Main makes it and hands it to what reads it.
class CommandLine {
  public:
    CommandLine() = default;
    explicit CommandLine(std::vector<std::string> tokens);

    // The raw line: the tokens joined by blanks, a token holding a blank in double quotes.
    const std::string& Text() const { return raw_; }
    // Value of one argument ("output" or "/output"), empty when absent.
    std::string Value(std::string_view name) const;
    bool IsSet(std::string_view name) const;

  private:
    std::string raw_;
    // lower-case name -> value; the first occurrence wins
    std::map<std::string, std::string> values_;
};

// The names that take the dash form in the Windows product, in its order.
std::vector<std::string> GetParameterNames();

// The usage text for a command line, and writing it to the console.
std::string CommandLineUsageText(const CommandLine& commandLine);
void ShowCommandLineUsage(const CommandLine& commandLine);

}  // namespace tb::shell
