// Command lines as Windows splits them, and programs as Linux finds them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace win32 {

// The arguments of a command line in UTF-8, by the rules of the Windows C runtime: blanks and tabs divide, double
// quotes group, a backslash escapes only a quote that follows it (2n backslashes and a quote are n backslashes and
// the end of the group), and two quotes inside a group are one.
std::vector<std::string> splitArguments(std::string_view commandLine);

// The same for a whole command line, whose first word is the program: it ends at the first blank outside of double
// quotes, and a backslash means nothing in it.
std::vector<std::string> splitCommandLine(std::string_view commandLine, std::string& program);

// The file that `path` (native form) names: itself, or, as programs carry no ".exe" here, itself without that.
std::string resolveProgram(const std::string& path);

}  // namespace win32
