// Programs that a test writes, and what becomes of them.
#pragma once

#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "temp_session.h"

namespace tests {

inline std::string makeProgram(const boost::filesystem::path& path, const std::string& body) {
    std::ofstream(path.string()) << "#!/bin/sh\n" << body << "\n";
    chmod(path.c_str(), 0755);
    return path.string();
}

// Programs are found in that directory first.
inline EnvironmentSetting searchFirst(const boost::filesystem::path& directory) {
    return {"PATH", (directory.string() + ":" + std::getenv("PATH")).c_str()};
}

template <typename Condition>
bool waitUntil(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

// Whether a child has ended that nobody has waited for.
inline bool hasZombie() {
    siginfo_t ended{};
    return waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0;
}

}  // namespace tests
