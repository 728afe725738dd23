#pragma once
// The command line. Arguments arrive as argv tokens: a token is an argument name when, ignoring
// case, it is "/" or "-" followed by a known name, or "-" + name + ":" (the rest of that token
// then starts the value). A value is the tokens after its name up to the next name token, joined
// by single blanks, trimmed, enclosing double quotes removed; the first occurrence counts.

#include <string>
#include <string_view>
#include <vector>

namespace tb::shell {

// The tokens after the program name. Resets what was parsed before.
void SetCommandLineArgs(std::vector<std::string> args);
// Parses the tokens once; later calls do nothing until new tokens are set.
void NormalizeCommandLine();
// The raw line: the tokens joined by blanks, a token holding a blank in double quotes.
const std::string& CommandLineText();

// Value of one argument ("output" or "/output"), empty when absent.
std::string GetParameterValue(std::string_view name);
bool IsParameterSet(std::string_view name);
// The names that take the dash form in the Windows product, in its order.
std::vector<std::string> GetParameterNames();

// The usage text, and writing it to the console.
std::string CommandLineUsageText();
void ShowCommandLineUsage();

}  // namespace tb::shell
