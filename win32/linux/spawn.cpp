#include "linux/spawn.h"

#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>

namespace win32 {

namespace {

class SpawnFiles {
public:
    explicit SpawnFiles(const std::string& directory) {
        posix_spawn_file_actions_init(&actions_);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            posix_spawn_file_actions_addopen(&actions_, stream, "/dev/null", O_RDWR, 0);
        }
        posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
        if (!directory.empty()) {
            posix_spawn_file_actions_addchdir_np(&actions_, directory.c_str());
        }
    }
    SpawnFiles(const SpawnFiles&) = delete;
    SpawnFiles& operator=(const SpawnFiles&) = delete;
    ~SpawnFiles() { posix_spawn_file_actions_destroy(&actions_); }

    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

class SpawnAttributes {
public:
    SpawnAttributes() {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }

    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

void* waitForChild(void* child) {
    int status = 0;
    while (waitpid(static_cast<pid_t>(reinterpret_cast<std::intptr_t>(child)), &status, 0) < 0 && errno == EINTR) {
    }
    return nullptr;
}

// Somebody has to wait for a child, or it stays as a zombie; a thread with next to no stack is the cheapest waiter
// that leaves the process's other children alone.
void reapWhenEnded(pid_t child) {
    constexpr std::size_t stackSize = 65536;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stackSize);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread{};
    pthread_create(&thread, &attributes, waitForChild, reinterpret_cast<void*>(static_cast<std::intptr_t>(child)));
    pthread_attr_destroy(&attributes);
}

}  // namespace

int spawnDetached(const std::string& program, const std::vector<std::string>& arguments, const std::string& directory) {
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    const SpawnFiles files(directory);
    const SpawnAttributes attributes;
    pid_t child = 0;
    const int error = posix_spawnp(&child, program.c_str(), files.get(), attributes.get(), argv.data(), environ);
    if (error == 0) {
        reapWhenEnded(child);
    }
    return error;
}

}  // namespace win32
