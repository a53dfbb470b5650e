#include "win32/script.h"

#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "linux/scripted.h"

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
    std::function<void(DWORD)> sleep;
    std::function<ULONGLONG()> clock;
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

void answerSleep(std::function<void(DWORD)> answer) {
    const std::lock_guard lock(script().mutex);
    script().sleep = std::move(answer);
}

void answerClock(std::function<ULONGLONG()> answer) {
    const std::lock_guard lock(script().mutex);
    script().clock = std::move(answer);
}

std::vector<std::string> calls(const std::string& operation) {
    const std::lock_guard lock(script().mutex);
    return script().calls[operation];
}

void reset() {
    const std::lock_guard lock(script().mutex);
    script().failures.clear();
    script().calls.clear();
    script().sleep = nullptr;
    script().clock = nullptr;
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

bool takeSleep(DWORD milliseconds) {
    std::function<void(DWORD)> answer;
    {
        const std::lock_guard lock(script().mutex);
        answer = script().sleep;
    }
    if (!answer) {
        return false;
    }
    answer(milliseconds);
    return true;
}

std::optional<ULONGLONG> takeClock() {
    std::function<ULONGLONG()> answer;
    {
        const std::lock_guard lock(script().mutex);
        answer = script().clock;
    }
    return answer ? std::optional(answer()) : std::nullopt;
}

}  // namespace win32::script

#endif
