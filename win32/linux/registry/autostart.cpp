#include "linux/registry/autostart.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "linux/processes/command_line.h"
#include "linux/support/directories.h"
#include "linux/support/whole_file.h"

namespace win32 {

namespace {

std::string entryPath(const std::string& name) {
    std::string file = name;
    std::replace(file.begin(), file.end(), '/', '_');
    return baseDirectory("XDG_CONFIG_HOME", ".config") + "/autostart/" + file + ".desktop";
}

// An argument of the Exec key: quoted by its rules, and then escaped once more as a value of type string.
std::string quotedArgument(const std::string& argument) {
    std::string quoted = "\"";
    for (const char c : argument) {
        switch (c) {
            case '"':
            case '`':
            case '$':
                quoted += "\\\\";
                quoted += c;
                break;
            case '\\':
                quoted += "\\\\\\\\";
                break;
            case '%':
                quoted += "%%";
                break;
            case '\n':
                quoted += "\\n";
                break;
            default:
                quoted += c;
        }
    }
    return quoted + "\"";
}

std::string escapedValue(const std::string& value) {
    std::string escaped;
    for (const char c : value) {
        escaped += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : std::string(1, c);
    }
    return escaped;
}

// The program as Linux has it, and its arguments. A program alone, in quotes, may have quotes in its path, as no path
// of Windows has.
std::vector<std::string> programAndArguments(const std::string& commandLine) {
    if (commandLine.size() > 2 && commandLine.front() == '"' && commandLine.back() == '"') {
        std::string program = resolveProgram(commandLine.substr(1, commandLine.size() - 2));
        if (access(program.c_str(), F_OK) == 0) {
            return {std::move(program)};
        }
    }
    auto arguments = splitArguments(commandLine);
    if (!arguments.empty()) {
        std::replace(arguments[0].begin(), arguments[0].end(), '\\', '/');
        arguments[0] = resolveProgram(arguments[0]);
    }
    return arguments;
}

}  // namespace

bool writeAutostartEntry(const std::string& name, const std::string& commandLine) {
    const auto arguments = programAndArguments(commandLine);
    if (arguments.empty()) {
        return removeAutostartEntry(name);
    }
    std::string exec;
    for (const std::string& argument : arguments) {
        exec += (exec.empty() ? "" : " ") + quotedArgument(argument);
    }
    const std::string path = entryPath(name);
    // An entry that outlives its program counts as none.
    const std::string entry = "[Desktop Entry]\nType=Application\nName=" + escapedValue(name) +
                              "\nTryExec=" + escapedValue(arguments[0]) + "\nExec=" + exec +
                              "\nTerminal=false\nStartupNotify=false\n";
    return readWholeFile(path) == entry ||
           (makeDirectories(path.substr(0, path.rfind('/')), 0755) && replaceWholeFile(path, entry));
}

bool removeAutostartEntry(const std::string& name) {
    return unlink(entryPath(name).c_str()) == 0 || errno == ENOENT || errno == ENOTDIR;
}

}  // namespace win32
