// Second processes for tests: the test program started again, running one named role in place of the tests.
#pragma once

#include <array>
#include <map>
#include <string>

#include "base/handle.h"
#include "base/text.h"
#include "win32/process.h"

// The roles by name.
inline std::map<std::string, int (*)()>& childRoles() {
    static std::map<std::string, int (*)()> roles;
    return roles;
}

struct ChildRole {
    ChildRole(const char* name, int (*body)()) { childRoles()[name] = body; }
};

// The path of this program.
inline WideString ownPath() {
    std::array<WCHAR, 1024> path{};
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return path.data();
}

inline WideString optionFor(const char* role) { return W("--child=") + base::widen(role); }

// Killed when it goes out of scope.
class RoleProcess {
public:
    explicit RoleProcess(const char* role) {
        WideString line = W("\"") + ownPath() + W("\" ") + optionFor(role);
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION started{};
        if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started) !=
            FALSE) {
            CloseHandle(started.hThread);
            process_ = base::Handle(started.hProcess);
            id_ = started.dwProcessId;
        }
    }
    RoleProcess(const RoleProcess&) = delete;
    RoleProcess& operator=(const RoleProcess&) = delete;
    ~RoleProcess() {
        TerminateProcess(process_.get(), 1);
        WaitForSingleObject(process_.get(), 10'000);
    }

    HANDLE handle() const { return process_.get(); }
    DWORD id() const { return id_; }
    // Waits for its end.
    DWORD exitCode() const {
        DWORD code = 0;
        return WaitForSingleObject(process_.get(), 10'000) == WAIT_OBJECT_0 &&
                       GetExitCodeProcess(process_.get(), &code) != FALSE
                   ? code
                   : 0xFFFF;
    }

private:
    base::Handle process_;
    DWORD id_ = 0;
};
