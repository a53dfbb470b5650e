// Programs that this process started, until their end and after.
#pragma once

#include <sys/types.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "linux/support/descriptor.h"
#include "win32/types.h"

namespace win32 {

// It never stays as a zombie, whether or not anybody keeps the object. Any thread.
class Child {
public:
    struct Program {
        std::string path;  // or a name that is searched in PATH
        std::vector<std::string> arguments{};
        std::string directory{};  // empty: the caller's own
        bool keepsName = false;   // `name` is asked for
        int image = -1;           // the program itself, open for reading, if `path` may have come to mean another
    };

    // Starts the program detached (linux/spawn.h). Gives 0, or an error number of errno.
    static int start(const Program& program, std::shared_ptr<Child>& child);
    // The one with that number that still runs, or null.
    static std::shared_ptr<Child> find(pid_t id);

    pid_t id() const { return id_; }
    // True if it ends in time; INFINITE waits for ever.
    bool waitFor(DWORD milliseconds);
    // None while it runs.
    std::optional<DWORD> exitCode();
    // Ends it at once, with `code` as its exit code. False if it has ended by itself.
    bool terminate(DWORD code);
    // What the kernel calls the program that runs in the process now, or ran there at the end: a program may have
    // handed the process on to another.
    std::string name();

private:
    // Once the program has ended: whoever comes first takes its code.
    void reap();

    const pid_t id_;
    const Descriptor pidfd_;
    const bool keepsName_;
    std::mutex mutex_;
    std::optional<DWORD> exitCode_;
    std::optional<DWORD> givenCode_;
    std::string name_;

public:
    Child(pid_t id, Descriptor pidfd, bool keepsName) : id_(id), pidfd_(std::move(pidfd)), keepsName_(keepsName) {}
};

}  // namespace win32
