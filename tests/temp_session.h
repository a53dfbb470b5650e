// The environment of a test's own.
#pragma once

#include <cstdlib>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "temp_directory.h"
#include "win32/kernel.h"
#include "win32/process.h"
#include "win32/registry.h"
#include "win32/script.h"
#include "win32/shell.h"

namespace tests {

// Sets a variable of the environment, or with null takes it away, until the end of the scope.
class EnvironmentSetting {
public:
    EnvironmentSetting(std::string name, const char* value) : name_(std::move(name)) {
        if (const char* const before = std::getenv(name_.c_str())) {
            before_ = before;
        }
        apply(value);
    }
    EnvironmentSetting(const EnvironmentSetting&) = delete;
    EnvironmentSetting& operator=(const EnvironmentSetting&) = delete;
    ~EnvironmentSetting() { apply(before_ ? before_->c_str() : nullptr); }

private:
    void apply(const char* value) const {
#ifdef _WIN32
        _putenv_s(name_.c_str(), value == nullptr ? "" : value);
#else
        if (value == nullptr) {
            unsetenv(name_.c_str());
        } else {
            setenv(name_.c_str(), value, 1);
        }
#endif
    }

    std::string name_;
    std::optional<std::string> before_;
};

#ifdef _WIN32

// The user's part of the registry is an empty key as long as this lives, and the suite's folder is empty before it.
class OwnSession {
public:
    explicit OwnSession(const boost::filesystem::path& /*directory*/) {
        if (RegCreateKeyExW(HKEY_CURRENT_USER, name_.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                            nullptr, &key_, nullptr) != ERROR_SUCCESS ||
            RegOverridePredefKey(HKEY_CURRENT_USER, key_) != ERROR_SUCCESS) {
            throw std::runtime_error("no key for the test; it would write the user's own");
        }
        if (std::getenv("ZELMO_TEST_USER") != nullptr) {  // whose files the tests may remove
            boost::filesystem::remove_all(documents() / "Tavrin");
        }
    }
    OwnSession(const OwnSession&) = delete;
    OwnSession& operator=(const OwnSession&) = delete;
    ~OwnSession() {
        RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        RegCloseKey(key_);
        RegDeleteTreeW(HKEY_CURRENT_USER, name_.c_str());
    }

    boost::filesystem::path documents() const {
        LPWSTR text = nullptr;
        SHGetKnownFolderPath(FOLDERID_Documents, 0, nullptr, &text);
        const boost::filesystem::path path(text);
        CoTaskMemFree(text);
        return path;
    }

private:
    const WideString name_ = W("Software\\ZelmoDocksetTest") + base::widen(std::to_string(GetCurrentProcessId()));
    HKEY key_ = nullptr;
};

#else

// What names the user's directories, the bus and the display.
class OwnSession {
public:
    explicit OwnSession(const boost::filesystem::path& directory) : directory_(directory) {}

    boost::filesystem::path documents() const { return directory_ / "home/Documents"; }

private:
    std::string below(const char* name) const {
        const auto path = directory_ / name;
        boost::filesystem::create_directory(path);
        return path.string();
    }

    boost::filesystem::path directory_;
    EnvironmentSetting runtime_{"XDG_RUNTIME_DIR", below("runtime").c_str()};
    EnvironmentSetting home_{"HOME", below("home").c_str()};
    EnvironmentSetting config_{"XDG_CONFIG_HOME", below("config").c_str()};
    EnvironmentSetting data_{"XDG_DATA_HOME", below("data").c_str()};
    EnvironmentSetting cache_{"XDG_CACHE_HOME", below("cache").c_str()};
    EnvironmentSetting temporary_{"TMPDIR", below("temporary").c_str()};
    EnvironmentSetting bus_{"DBUS_SESSION_BUS_ADDRESS", nullptr};
    EnvironmentSetting display_{"DISPLAY", nullptr};
    EnvironmentSetting machine_{"WIN32_MACHINE_DIRECTORY", below("machine").c_str()};
};

#endif

// A user's session of the test's own: runtime directory, home, base directories and the one for temporary files below
// one directory, and neither a bus nor a display. On Windows the user's registry and Documents; all else is the real
// one.
class TempSession {
public:
    TempSession() = default;
    TempSession(const TempSession&) = delete;
    TempSession& operator=(const TempSession&) = delete;

    const boost::filesystem::path& path() const { return directory_.path(); }
    // Where the suite keeps its own files, which the next three name by their paths below it.
    boost::filesystem::path support() const { return own_.documents() / "Tavrin" / "Zelmo Dockset"; }
    boost::filesystem::path file(const std::string& name) const { return support() / name; }
    void write(const std::string& name, const std::string& bytes) const {
        boost::filesystem::create_directories(file(name).parent_path());
        writeFile(file(name), bytes);
    }
    std::string read(const std::string& name) const { return readFile(file(name)); }

    // A shell script that can be started.
    std::string makeProgram(const std::string& name, const std::string& body) const {
        writeFile(path() / name, "#!/bin/sh\n" + body + "\n");
        boost::filesystem::permissions(path() / name, boost::filesystem::owner_all);
        return (path() / name).string();
    }
    // The lines of the agent's log without their times, which mustn't go back.
    std::vector<std::string> agentLog() const {
        std::vector<std::string> lines;
        for (const auto& entry : boost::filesystem::directory_iterator(file("logs"))) {
            std::string text = readFile(entry.path());
            std::erase(text, '\r');
            std::istringstream log(text);
            long long time = 0;
            for (std::string line; std::getline(log, line);) {
                const std::size_t end = line.find("ms ");
                if (end == 0 || line.find_first_not_of("0123456789") != end || std::stoll(line) < time) {
                    throw std::runtime_error("no time, or one of before: " + line);
                }
                time = std::stoll(line);
                lines.push_back(line.substr(end + 3));
            }
        }
        return lines;
    }

private:
    TempDirectory directory_;
    OwnSession own_{directory_.path()};
};

}  // namespace tests
