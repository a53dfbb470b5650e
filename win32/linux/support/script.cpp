#include "win32/script.h"

#include <deque>
#include <map>
#include <mutex>
#include <utility>

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
