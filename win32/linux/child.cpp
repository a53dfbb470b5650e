#include "linux/child.h"

#include <pthread.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <map>

#include "linux/pidfd.h"
#include "linux/spawn.h"
#include "linux/whole_file.h"

namespace win32 {

namespace {

struct Children {
    std::mutex mutex;
    std::map<pid_t, std::weak_ptr<Child>> running;
};

// Never destroyed: the waiting threads outlive main's statics.
Children& children() {
    static auto* const instance = new Children;
    return *instance;
}

// A thread with next to no stack is the cheapest waiter that leaves the process's other children alone.
int startThread(void* (*body)(void*), void* argument) {
    constexpr std::size_t stackSize = 65536;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stackSize);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread{};
    const int error = pthread_create(&thread, &attributes, body, argument);
    pthread_attr_destroy(&attributes);
    return error;
}

// A program that can't be watched isn't left to run.
int giveUp(pid_t id, int error) {
    kill(id, SIGKILL);
    while (waitpid(id, nullptr, 0) < 0 && errno == EINTR) {
    }
    return error;
}

// Also of a process that has ended and isn't yet reaped.
std::string kernelName(pid_t id) {
    const std::string line = readWholeFile("/proc/" + std::to_string(id) + "/comm").value_or("");
    return line.substr(0, line.find('\n'));
}

DWORD codeOf(const siginfo_t& ended) {
    constexpr DWORD signalBase = 128;
    const auto status = static_cast<DWORD>(ended.si_status);
    return ended.si_code == CLD_EXITED ? status : signalBase + status;
}

}  // namespace

int Child::start(const Program& program, std::shared_ptr<Child>& child) {
    pid_t id = 0;
    if (const int error = spawn(program.path, program.arguments, program.directory, -1, id); error != 0) {
        return error;
    }
    Descriptor pidfd(pidfd_open(id, 0));
    if (!pidfd) {
        return giveUp(id, errno);
    }
    child = std::make_shared<Child>(id, std::move(pidfd), program.keepsName);
    {
        const std::lock_guard lock(children().mutex);
        children().running[id] = child;
    }
    auto share = std::make_unique<std::shared_ptr<Child>>(child);
    if (const int error = startThread(awaitEnd, share.get()); error != 0) {
        child->terminate(0);
        child->waitFor(INFINITE);
        child.reset();
        return error;
    }
    static_cast<void>(share.release());
    return 0;
}

std::shared_ptr<Child> Child::find(pid_t id) {
    const std::lock_guard lock(children().mutex);
    const auto found = children().running.find(id);
    return found == children().running.end() ? nullptr : found->second.lock();
}

void* Child::awaitEnd(void* child) {
    const std::unique_ptr<std::shared_ptr<Child>> share(static_cast<std::shared_ptr<Child>*>(child));
    (*share)->waitFor(INFINITE);
    return nullptr;
}

void Child::reap() {
    const std::lock_guard lock(mutex_);
    if (exitCode_) {
        return;
    }
    {
        // From here on the number may come to mean another process.
        const std::lock_guard listLock(children().mutex);
        children().running.erase(id_);
    }
    name_ = keepsName_ ? kernelName(id_) : "";
    siginfo_t ended{};
    while (waitid(P_PIDFD, static_cast<id_t>(pidfd_.get()), &ended, WEXITED) != 0 && errno == EINTR) {
    }
    const bool wasKilled = ended.si_code == CLD_KILLED && ended.si_status == SIGKILL;
    exitCode_ = wasKilled && givenCode_ ? *givenCode_ : codeOf(ended);
}

bool Child::waitFor(DWORD milliseconds) {
    const bool ended = waitForPidfd(pidfd_.get(), milliseconds);
    if (ended) {
        reap();
    }
    return ended;
}

std::optional<DWORD> Child::exitCode() {
    const std::lock_guard lock(mutex_);
    return exitCode_;
}

bool Child::terminate(DWORD code) {
    const std::lock_guard lock(mutex_);
    if (exitCode_) {
        return false;
    }
    givenCode_ = code;
    return kill(id_, SIGKILL) == 0;
}

std::string Child::name() {
    const std::lock_guard lock(mutex_);
    return exitCode_ ? name_ : kernelName(id_);
}

}  // namespace win32
