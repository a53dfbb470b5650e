// Second processes for tests that speak with their parent, by lines.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "layer/child_role.h"

// Where a role hears from its parent and tells it, by lines. The layer takes the standard input away.
constexpr int childInput = 98;
constexpr int childOutput = 99;

inline void tellLine(int descriptor, const std::string& text) {
    const std::string line = text + "\n";
    [[maybe_unused]] const ssize_t written = write(descriptor, line.data(), line.size());
}

// Without the line's end; empty at the end of the input.
inline std::string hearLine(int descriptor) {
    std::string line;
    char c = 0;
    while (read(descriptor, &c, 1) == 1 && c != '\n') {
        line += c;
    }
    return line;
}

// Killed and waited for when it goes out of scope.
class ChildProcess {
public:
    explicit ChildProcess(const std::string& role) {
        int in[2] = {-1, -1};
        int out[2] = {-1, -1};
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], childInput);
        posix_spawn_file_actions_adddup2(&actions, out[1], childOutput);
        std::string program = "/proc/self/exe";
        std::string argument = "--child=" + role;
        char* arguments[] = {program.data(), argument.data(), nullptr};
        posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        output_ = out[0];
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess() {
        kill();
        close(input_);
        close(output_);
    }

    pid_t id() const { return process_; }
    void tell(const std::string& line) const { tellLine(input_, line); }
    std::string hear() const { return hearLine(output_); }
    void signal(int number) const { ::kill(process_, number); }
    void kill() {
        if (process_ > 0) {
            signal(SIGKILL);
            wait();
        }
    }
    // The status as waitpid gives it.
    int wait() {
        int status = 0;
        waitpid(std::exchange(process_, -1), &status, 0);
        return status;
    }

private:
    pid_t process_ = -1;
    int input_ = -1;
    int output_ = -1;
};
