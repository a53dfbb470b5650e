#include "win32/script.h"

#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "linux/presenter.h"
#include "linux/scripted.h"

#ifdef WIN32_SCRIPTED

namespace win32::script {

namespace {

struct Failure {
    DWORD code;
    unsigned after;
};

// Everything is there, and nothing is seen.
class PretendedDesktop final : public Presenter {
public:
    explicit PretendedDesktop(std::vector<win32::Monitor> places) : monitors_(std::move(places)) {}

    void pump() override {}
    bool hasTray() override { return true; }
    void showIcon(const ShownIcon& /*icon*/) override {}
    void removeIcon() override {}
    // In the lower right corner of the primary monitor.
    std::optional<RECT> iconPlace() override {
        constexpr LONG size = 24;
        const RECT& primary = monitors_.front().place;
        return RECT{primary.right - size, primary.bottom - size, primary.right, primary.bottom};
    }
    void showBalloon(const std::string& /*title*/, const std::string& /*text*/) override {}
    void offerMenu(std::vector<ShownItem> /*items*/) override {}
    bool showMenu(std::vector<ShownItem> /*items*/, std::function<void(UINT)> /*choose*/) override { return true; }
    std::vector<win32::Monitor> monitors() override { return monitors_; }
    void showWindow(HWND /*window*/, const ShownWindow& /*shown*/) override {}
    void hideWindow(HWND /*window*/) override {}
    void forgetWindow(HWND /*window*/) override {}
    bool activate(HWND /*window*/) override { return true; }
    std::string systemName(HWND /*window*/) override { return {}; }

private:
    std::vector<win32::Monitor> monitors_;
};

struct Script {
    std::mutex mutex;
    std::map<std::string, std::deque<Failure>> failures;
    std::map<std::string, std::vector<std::string>> calls;
    std::function<void(DWORD)> sleep;
    std::function<ULONGLONG()> clock;
    const void* chain = nullptr;
    std::shared_ptr<PretendedDesktop> desktop;
    std::optional<ProxyHelper> proxyHelper;
    std::function<std::string(const std::string&)> fileChoice;
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

void pretendDesktop(const std::vector<Monitor>& monitors) {
    std::vector<win32::Monitor> places;
    places.reserve(monitors.size());
    for (const Monitor& monitor : monitors) {
        places.push_back({monitor.place, monitor.workArea});
    }
    const std::lock_guard lock(script().mutex);
    script().desktop = places.empty() ? nullptr : std::make_shared<PretendedDesktop>(std::move(places));
}

void answerProxyLookups(const std::string& program, unsigned milliseconds) {
    const std::lock_guard lock(script().mutex);
    script().proxyHelper.reset();
    if (!program.empty()) {
        script().proxyHelper = ProxyHelper{program, std::chrono::milliseconds(milliseconds)};
    }
}

void answerChain(const void* chain) {
    const std::lock_guard lock(script().mutex);
    script().chain = chain;
}

void answerFileChooser(std::function<std::string(const std::string&)> answer) {
    const std::lock_guard lock(script().mutex);
    script().fileChoice = std::move(answer);
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
    script().chain = nullptr;
    script().desktop.reset();
    script().proxyHelper.reset();
    script().fileChoice = nullptr;
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

std::optional<ProxyHelper> takeProxyHelper() {
    const std::lock_guard lock(script().mutex);
    return script().proxyHelper;
}

std::optional<FileAnswer> takeFileAnswer(const FileQuestion& question) {
    std::function<std::string(const std::string&)> answer;
    {
        const std::lock_guard lock(script().mutex);
        answer = script().fileChoice;
    }
    if (!answer) {
        return std::nullopt;
    }
    const std::string path =
        answer(question.title + "|" + question.folder + "|" + question.filterName + "|" + question.pattern + "|" +
               (question.saves ? "save" : "open") + (question.picksFolder ? " folder" : ""));
    return FileAnswer{path.empty() ? FileAnswer::Outcome::cancelled : FileAnswer::Outcome::chosen, path};
}

const void* takeChain() {
    const std::lock_guard lock(script().mutex);
    return script().chain;
}

Presenter* pretendedDesktop() {
    const std::lock_guard lock(script().mutex);
    return script().desktop.get();
}

}  // namespace win32::script

#endif
