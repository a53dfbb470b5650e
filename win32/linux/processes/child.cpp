#include "linux/processes/child.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <map>

#include "linux/processes/pidfd.h"
#include "linux/processes/spawn.h"
#include "linux/support/whole_file.h"

namespace win32 {

namespace {

// The programs that run. One thread waits for all of their ends, so that none stays as a zombie for whom nobody waits.
class Children {
public:
    // Never destroyed: the thread outlives main's statics.
    static Children& all() {
        static auto* const instance = new Children;
        return *instance;
    }

    // False with errno set.
    bool add(const std::shared_ptr<Child>& child, int pidfd) {
        const std::lock_guard lock(mutex_);
        epoll_event end{EPOLLIN | EPOLLONESHOT, {}};
        end.data.u64 = static_cast<std::uint64_t>(child->id());
        if (!isWatching() || epoll_ctl(ends_.get(), EPOLL_CTL_ADD, pidfd, &end) != 0) {
            return false;
        }
        running_[child->id()] = child;
        return true;
    }

    std::shared_ptr<Child> find(pid_t id) {
        const std::lock_guard lock(mutex_);
        const auto found = running_.find(id);
        return found == running_.end() ? nullptr : found->second;
    }

    void remove(const Child& child) {
        const std::lock_guard lock(mutex_);
        const auto found = running_.find(child.id());
        // The number may mean another one by now.
        if (found != running_.end() && found->second.get() == &child) {
            running_.erase(found);
        }
    }

private:
    bool isWatching() {
        if (ends_) {
            return true;
        }
        Descriptor ends(epoll_create1(EPOLL_CLOEXEC));
        errno = ends ? startThread(watch, nullptr) : errno;
        if (!ends || errno != 0) {
            return false;
        }
        ends_ = std::move(ends);
        return true;
    }

    static int startThread(void* (*body)(void*), void* argument) {
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

    int ends() {
        const std::lock_guard lock(mutex_);
        return ends_.get();
    }

    [[noreturn]] static void* watch(void* /*unused*/) {
        const int ends = all().ends();
        for (;;) {
            epoll_event end{};
            const auto child =
                epoll_wait(ends, &end, 1, -1) == 1 ? all().find(static_cast<pid_t>(end.data.u64)) : nullptr;
            if (child) {
                child->waitFor(0);
            }
        }
    }

    std::mutex mutex_;
    Descriptor ends_;
    std::map<pid_t, std::shared_ptr<Child>> running_;
};

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
    const int error = program.image < 0
                          ? spawn(program.path, program.arguments, program.directory, -1, id)
                          : spawnImage(program.image, program.path, program.arguments, program.directory, id);
    if (error != 0) {
        return error;
    }
    Descriptor pidfd(pidfd_open(id, 0));
    if (!pidfd) {
        return giveUp(id, errno);
    }
    child = std::make_shared<Child>(id, std::move(pidfd), program.keepsName);
    if (!Children::all().add(child, child->pidfd_.get())) {
        const int failure = errno;
        child.reset();
        return giveUp(id, failure);
    }
    return 0;
}

std::shared_ptr<Child> Child::find(pid_t id) { return Children::all().find(id); }

void Child::reap() {
    const std::lock_guard lock(mutex_);
    if (exitCode_) {
        return;
    }
    name_ = keepsName_ ? kernelName(id_) : "";
    siginfo_t ended{};
    while (waitid(P_PIDFD, static_cast<id_t>(pidfd_.get()), &ended, WEXITED) != 0 && errno == EINTR) {
    }
    const bool wasKilled = ended.si_code == CLD_KILLED && ended.si_status == SIGKILL;
    exitCode_ = wasKilled && givenCode_ ? *givenCode_ : codeOf(ended);
    Children::all().remove(*this);
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
