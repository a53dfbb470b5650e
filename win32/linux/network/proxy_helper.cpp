#include "linux/network/proxy_helper.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <sstream>

#include "linux/processes/spawn.h"
#include "linux/support/scripted.h"
#include "win32/proxy.h"
#include "win32/script.h"

namespace win32 {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds usualLimit(10);
constexpr std::size_t longestAnswer = 1 << 20;
constexpr const char* lastLine = "\nend\n";

struct Helper {
    std::string program;
    std::chrono::milliseconds limit;
};

#ifdef WIN32_SCRIPTED
script::Substitute<Helper>& substitute() {
    static auto* const instance = new script::Substitute<Helper>;
    return *instance;
}
#endif

Helper helper() {
#ifdef WIN32_SCRIPTED
    if (auto scripted = substitute().get()) {
        return *scripted;
    }
#endif
    std::array<char, PATH_MAX> self{};
    const ssize_t length = readlink("/proc/self/exe", self.data(), self.size());
    const std::string program(self.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    return {program.substr(0, program.rfind('/') + 1) + "zdproxy", usualLimit};
}

struct Patience {
    Clock::time_point deadline;
    int cancellation = -1;
};

// The error code if there will be no bytes in time.
DWORD waitForBytes(int descriptor, const Patience& patience) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(patience.deadline - Clock::now()).count();
        if (left <= 0) {
            return ERROR_WINHTTP_TIMEOUT;
        }
        std::array<pollfd, 2> entries{{{descriptor, POLLIN, 0}, {patience.cancellation, POLLIN, 0}}};
        const int ready = poll(entries.data(), entries.size(), static_cast<int>(left));
        if (entries[1].revents != 0) {
            return ERROR_WINHTTP_OPERATION_CANCELLED;
        }
        if (ready > 0 || (ready < 0 && errno != EINTR)) {
            return ERROR_SUCCESS;
        }
    }
}

// All up to the last line, or less at the end of the program; the error code if the patience ran out.
DWORD hear(int descriptor, const Patience& patience, std::string& answer) {
    std::array<char, 4096> block{};
    while (!answer.ends_with(lastLine) && answer.size() < longestAnswer) {
        if (const DWORD code = waitForBytes(descriptor, patience); code != ERROR_SUCCESS) {
            return code;
        }
        const ssize_t count = read(descriptor, block.data(), block.size());
        if (count == 0 || (count < 0 && errno != EINTR)) {
            break;
        }
        answer.append(block.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return ERROR_SUCCESS;
}

}  // namespace

ProxyHelperReply parseProxyReply(const std::string& text, std::size_t lines) {
    ProxyHelperReply broken{ERROR_WINHTTP_AUTO_PROXY_SERVICE_ERROR, {}};
    ProxyHelperReply answer{};
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), answer.code);
    if (!text.ends_with(lastLine) || error != std::errc() || *stop != '\n') {
        return broken;
    }
    std::istringstream stream(text.substr(text.find('\n') + 1));
    for (std::string line; answer.code == 0 && std::getline(stream, line);) {
        answer.lines.push_back(line);
    }
    if (answer.code == 0 && answer.lines.size() != lines + 1) {
        return broken;
    }
    answer.lines.resize(answer.code == 0 ? lines : 0);  // without the last line
    return answer;
}

ProxyHelperReply runProxyHelper(const std::vector<std::string>& arguments, std::size_t lines, int cancellation) {
    const Helper asked = helper();
    const Patience patience{Clock::now() + asked.limit, cancellation};
    SpeakingChild child;
    if (child.start(asked.program, arguments) != 0) {
        return {ERROR_WINHTTP_AUTO_PROXY_SERVICE_ERROR, {}};
    }
    std::string answer;
    const DWORD code = hear(child.output(), patience, answer);
    return code == ERROR_SUCCESS ? parseProxyReply(answer, lines) : ProxyHelperReply{code, {}};
}

#ifdef WIN32_SCRIPTED
void script::answerProxyLookups(const std::string& program, unsigned milliseconds) {
    substitute().set(program.empty() ? std::nullopt
                                     : std::optional(Helper{program, std::chrono::milliseconds(milliseconds)}));
}
#endif

}  // namespace win32
