#include "win32/script.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <deque>
#include <map>
#include <mutex>
#include <sstream>
#include <utility>

#include "linux/support/descriptor.h"
#include "linux/support/scripted.h"

#ifdef WIN32_SCRIPTED

namespace win32::script {

namespace {

struct Failure {
    DWORD code;
    unsigned after;
};

struct Script {
    std::mutex mutex;
    std::map<std::string, std::deque<Failure>> failures;
    std::map<std::string, std::vector<std::string>> calls;
    std::vector<std::function<void()>> forgets;
};

// Never destroyed: threads that outlive main's statics may still call operations.
Script& script() {
    static auto* const instance = new Script;
    return *instance;
}

}  // namespace

namespace {

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

// What a program that runs by itself, with nobody in it to script it, is told by its environment.
void obeyEnvironment() {
    std::istringstream call(variable("WIN32_FAIL_CALL"));
    std::string operation;
    unsigned number = 0;
    DWORD code = 0;
    if (call >> operation >> number >> code && number > 0) {
        script().failures[operation].push_back({code, number - 1});
    }
}

// In one write, so that threads and processes can't mix their lines.
void note(const std::string& line) {
    static const std::string path = variable("WIN32_NOTE_CALLS");
    if (!path.empty()) {
        const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
        [[maybe_unused]] const ssize_t written = write(file.get(), line.data(), line.size());
    }
}

}  // namespace

void failNext(const std::string& operation, DWORD code, unsigned after) {
    const std::lock_guard lock(script().mutex);
    script().failures[operation].push_back({code, after});
}

std::vector<std::string> calls(const std::string& operation) {
    const std::lock_guard lock(script().mutex);
    return script().calls[operation];
}

void reset() {
    std::vector<std::function<void()>> forgets;
    {
        const std::lock_guard lock(script().mutex);
        script().failures.clear();
        script().calls.clear();
        forgets = script().forgets;
    }
    for (const auto& forget : forgets) {
        forget();
    }
}

void onReset(std::function<void()> forget) {
    const std::lock_guard lock(script().mutex);
    script().forgets.push_back(std::move(forget));
}

std::optional<DWORD> takeFailure(const char* operation) {
    const std::lock_guard lock(script().mutex);
    static const bool obeys = (obeyEnvironment(), true);
    static_cast<void>(obeys);
    note(std::string(operation) + "\n");
    const auto queue = script().failures.find(operation);
    if (queue == script().failures.end() || queue->second.empty()) {
        return std::nullopt;
    }
    Failure& next = queue->second.front();
    if (next.after > 0) {
        --next.after;
        return std::nullopt;
    }
    const DWORD code = next.code;
    queue->second.pop_front();
    return code;
}

void record(const char* operation, std::string arguments) {
    const std::lock_guard lock(script().mutex);
    script().calls[operation].push_back(std::move(arguments));
}

}  // namespace win32::script

#endif
