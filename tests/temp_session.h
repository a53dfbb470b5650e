// The environment of a test's own.
#pragma once

#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "temp_directory.h"
#include "win32/registry.h"

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

// The user's part of the registry is an empty key as long as this lives; all else of the session is the real one.
class TempSession {
public:
    TempSession() {
        RegDeleteTreeW(HKEY_CURRENT_USER, name);  // what a run that was killed left
        if (RegCreateKeyExW(HKEY_CURRENT_USER, name, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                            &key_, nullptr) != ERROR_SUCCESS ||
            RegOverridePredefKey(HKEY_CURRENT_USER, key_) != ERROR_SUCCESS) {
            throw std::runtime_error("no key for the test; it would write the user's own");
        }
    }
    TempSession(const TempSession&) = delete;
    TempSession& operator=(const TempSession&) = delete;
    ~TempSession() {
        RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        RegCloseKey(key_);
        RegDeleteTreeW(HKEY_CURRENT_USER, name);
    }

private:
    static constexpr LPCWSTR name = W("Software\\ZelmoDocksetTest");
    HKEY key_ = nullptr;
};

#else

// A user's session of the test's own: runtime directory, home, base directories and the one for temporary files below
// one directory, and neither a bus nor a display.
class TempSession {
public:
    const boost::filesystem::path& path() const { return directory_.path(); }

private:
    std::string below(const char* name) const {
        const auto path = directory_.path() / name;
        boost::filesystem::create_directory(path);
        return path.string();
    }

    TempDirectory directory_;
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

}  // namespace tests
