#include "linux/processes/program.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <sstream>

#include "linux/processes/command_line.h"
#include "linux/processes/spawn.h"
#include "linux/support/errno_code.h"
#include "win32/error.h"

namespace win32 {

namespace {

bool isDirectory(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// One that root may execute and this user may not.
bool needsElevation(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == 0 &&
           (status.st_mode & S_IXUSR) != 0 && access(path.c_str(), X_OK) != 0;
}

// Older ones don't know how to stay in the directory, and refuse to start with an option that they don't know.
bool keepsDirectory(const std::string& asker) {
    SpeakingChild help;
    std::string text;
    std::array<char, 4096> block{};
    if (help.start(asker, {"--help"}) == 0) {
        for (ssize_t count = 1; count > 0;) {
            count = read(help.output(), block.data(), block.size());
            text.append(block.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
    }
    return text.find("--keep-cwd") != std::string::npos;
}

}  // namespace

std::string absoluteProgram(const std::string& path) {
    if (path.empty() || path.front() == '/') {
        return resolveProgram(path);
    }
    char* const current = get_current_dir_name();
    const std::string directory = current == nullptr ? "" : current;
    std::free(current);
    return resolveProgram(directory + "/" + path);
}

std::string searchProgram(const std::string& name) {
    if (name.find('/') != std::string::npos) {
        return absoluteProgram(name);
    }
    const char* const path = std::getenv("PATH");
    std::istringstream directories(path == nullptr ? "/usr/local/bin:/usr/bin:/bin" : path);
    for (std::string directory; std::getline(directories, directory, ':');) {
        std::string program = resolveProgram((directory.empty() ? "." : directory) + "/" + name);
        if (access(program.c_str(), X_OK) == 0 && !isDirectory(program)) {
            return program;
        }
    }
    return absoluteProgram(name);
}

std::shared_ptr<Child> startProgram(const Child::Program& program) {
    if (!program.directory.empty() && !isDirectory(program.directory)) {
        SetLastError(ERROR_DIRECTORY);
        return nullptr;
    }
    std::shared_ptr<Child> child;
    const int error = Child::start(program, child);
    if (error == EACCES && needsElevation(program.path)) {
        SetLastError(ERROR_ELEVATION_REQUIRED);
    } else if (error != 0) {
        failWithErrno(error, program.path);
    }
    return child;
}

// The asking program becomes the program asked for, in the same process, when the user agrees; until then it runs or
// ends under its own name.
std::shared_ptr<Child> startElevated(const Child::Program& program) {
    constexpr const char* asker = "pkexec";
    constexpr DWORD period = 20;
    constexpr DWORD dismissed = 126;
    Child::Program asking{searchProgram(asker), {}, program.directory, true};
    if (keepsDirectory(asking.path)) {
        asking.arguments.emplace_back("--keep-cwd");
    }
    asking.arguments.push_back(program.path);
    asking.arguments.insert(asking.arguments.end(), program.arguments.begin(), program.arguments.end());
    auto child = startProgram(asking);
    if (!child) {
        SetLastError(GetLastError() == ERROR_FILE_NOT_FOUND ? ERROR_NOT_SUPPORTED : GetLastError());
        return nullptr;
    }
    while (!child->waitFor(period)) {
        if (child->name() != asker) {
            return child;
        }
    }
    if (child->name() == asker) {
        SetLastError(child->exitCode() == dismissed ? ERROR_CANCELLED : ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return child;
}

}  // namespace win32
