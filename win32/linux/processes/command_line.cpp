#include "linux/processes/command_line.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>

namespace win32 {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Takes one argument from the head of `line`.
std::string takeArgument(std::string_view& line) {
    std::string argument;
    bool quoted = false;
    while (!line.empty() && (quoted || !isBlank(line.front()))) {
        const std::size_t slashes = std::min(line.find_first_not_of('\\'), line.size());
        line.remove_prefix(slashes);
        const bool quote = !line.empty() && line.front() == '"';
        argument.append(quote ? slashes / 2 : slashes, '\\');
        if (!quote) {
            if (slashes == 0) {
                argument += line.front();
                line.remove_prefix(1);
            }
            continue;
        }
        line.remove_prefix(1);
        if (slashes % 2 != 0) {
            argument += '"';
        } else if (quoted && !line.empty() && line.front() == '"') {
            argument += '"';
            line.remove_prefix(1);
        } else {
            quoted = !quoted;
        }
    }
    return argument;
}

}  // namespace

std::vector<std::string> splitArguments(std::string_view commandLine) {
    std::vector<std::string> arguments;
    for (;;) {
        while (!commandLine.empty() && isBlank(commandLine.front())) {
            commandLine.remove_prefix(1);
        }
        if (commandLine.empty()) {
            return arguments;
        }
        arguments.push_back(takeArgument(commandLine));
    }
}

std::vector<std::string> splitCommandLine(std::string_view commandLine, std::string& program) {
    program.clear();
    bool quoted = false;
    while (!commandLine.empty() && (quoted || !isBlank(commandLine.front()))) {
        if (commandLine.front() == '"') {
            quoted = !quoted;
        } else {
            program += commandLine.front();
        }
        commandLine.remove_prefix(1);
    }
    return splitArguments(commandLine);
}

std::string resolveProgram(const std::string& path) {
    constexpr std::size_t extension = 4;
    if (access(path.c_str(), F_OK) == 0 || path.size() <= extension) {
        return path;
    }
    const std::string stem = path.substr(0, path.size() - extension);
    const bool isExe = strcasecmp(path.c_str() + stem.size(), ".exe") == 0;
    return isExe && access(stem.c_str(), F_OK) == 0 ? stem : path;
}

}  // namespace win32
