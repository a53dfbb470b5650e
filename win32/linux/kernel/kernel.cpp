#include "win32/kernel.h"

#include <fcntl.h>
#include <sched.h>
#include <strings.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <string>
#include <string_view>

#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "win32/script.h"

namespace {

// Sleeps end at the ticks of a timer, as those of Windows do.
constexpr std::int64_t tickNanoseconds = 15'600'000;
constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
constexpr ULONGLONG ticksFrom1601To1970 = 116'444'736'000'000'000ULL;
constexpr ULONGLONG ticksPerSecond = 10'000'000ULL;

// A program that was started with its standard input closed or on a terminal would otherwise hand that on to
// libraries that read it.
void useNullAsStandardInput() {
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (null > STDIN_FILENO) {
        dup2(null, STDIN_FILENO);
        close(null);
    }
}

// Otherwise the next file that is opened becomes the standard output, and what libraries print lands in it.
void openClosedOutputs() {
    for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(output, F_GETFD) < 0) {
            const int null = open("/dev/null", O_WRONLY);
            if (null >= 0 && null != output) {
                dup2(null, output);
                close(null);
            }
        }
    }
}

[[maybe_unused]] const bool standardFilesAreOpen = (useNullAsStandardInput(), openClosedOutputs(), true);

BOOL WINAPI setDefaultDllDirectories(DWORD /*directories*/) {
    // The dynamic linker of Linux never looks into the working directory, so there is nothing to restrict.
    return TRUE;
}

#ifdef WIN32_SCRIPTED
using SleepAnswer = std::function<void(DWORD)>;
using ClockAnswer = std::function<ULONGLONG()>;

win32::script::Substitute<SleepAnswer>& sleepSubstitute() {
    static auto* const instance = new win32::script::Substitute<SleepAnswer>;
    return *instance;
}

win32::script::Substitute<ClockAnswer>& clockSubstitute() {
    static auto* const instance = new win32::script::Substitute<ClockAnswer>;
    return *instance;
}
#endif

HMODULE kernelModule() { return reinterpret_cast<HMODULE>(static_cast<ULONG_PTR>(0x10000)); }

}  // namespace

void WINAPI Sleep(DWORD milliseconds) {
#ifdef WIN32_SCRIPTED
    if (const auto answer = sleepSubstitute().get()) {
        (*answer)(milliseconds);
        return;
    }
#endif
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    // A grid that all threads share, and not timer slack, which lets any interrupt in between end the sleep early.
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t asked = now.tv_sec * nanosecondsPerSecond + now.tv_nsec + std::int64_t{milliseconds} * 1'000'000;
    const std::int64_t end = (asked + tickNanoseconds - 1) / tickNanoseconds * tickNanoseconds;
    const timespec until{end / nanosecondsPerSecond, end % nanosecondsPerSecond};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
}

void WINAPI GetSystemTimeAsFileTime(FILETIME* time) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    ULONGLONG ticks = ticksFrom1601To1970 + static_cast<ULONGLONG>(now.tv_sec) * ticksPerSecond +
                      static_cast<ULONGLONG>(now.tv_nsec) / 100U;
#ifdef WIN32_SCRIPTED
    if (const auto answer = clockSubstitute().get()) {
        ticks = (*answer)();
    }
#endif
    time->dwLowDateTime = static_cast<DWORD>(ticks);
    time->dwHighDateTime = static_cast<DWORD>(ticks >> 32U);
}

BOOL WINAPI FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
    const ULONGLONG ticks = (static_cast<ULONGLONG>(fileTime->dwHighDateTime) << 32U) | fileTime->dwLowDateTime;
    if ((ticks >> 63U) != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const auto seconds =
        static_cast<time_t>(ticks / ticksPerSecond) - static_cast<time_t>(ticksFrom1601To1970 / ticksPerSecond);
    tm date{};
    gmtime_r(&seconds, &date);
    *systemTime = {static_cast<WORD>(date.tm_year + 1900), static_cast<WORD>(date.tm_mon + 1),
                   static_cast<WORD>(date.tm_wday),        static_cast<WORD>(date.tm_mday),
                   static_cast<WORD>(date.tm_hour),        static_cast<WORD>(date.tm_min),
                   static_cast<WORD>(date.tm_sec),         static_cast<WORD>(ticks / 10'000U % 1000U)};
    return TRUE;
}

DWORD WINAPI GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }
DWORD WINAPI GetCurrentThreadId() { return static_cast<DWORD>(gettid()); }

HMODULE WINAPI GetModuleHandleW(LPCWSTR name) {
    WIN32_MAY_FAIL("GetModuleHandleW", nullptr);
    if (name == nullptr) {
        return reinterpret_cast<HMODULE>(static_cast<ULONG_PTR>(0x400000));
    }
    const std::string file = win32::toBytes(name);
    if (strcasecmp(file.c_str(), "kernel32") == 0 || strcasecmp(file.c_str(), "kernel32.dll") == 0) {
        return kernelModule();
    }
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
    WIN32_MAY_FAIL("GetProcAddress", nullptr);
    const bool isOrdinal = reinterpret_cast<ULONG_PTR>(name) <= 0xFFFF;
    if (module == kernelModule() && !isOrdinal && std::string_view(name) == "SetDefaultDllDirectories") {
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(setDefaultDllDirectories));
    }
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
}

DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) {
    WIN32_MAY_FAIL("GetModuleFileNameW", 0);
    if (module != nullptr && module != GetModuleHandleW(nullptr)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return 0;
    }
    std::array<char, 4096> target{};
    const ssize_t length = readlink("/proc/self/exe", target.data(), target.size());
    if (length <= 0 || size == 0) {
        SetLastError(length <= 0 ? ERROR_FILE_NOT_FOUND : ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    const WideString path = win32::toWideName({target.data(), static_cast<std::size_t>(length)});
    const std::size_t copied = std::min<std::size_t>(path.size(), size - 1);
    std::copy_n(path.data(), copied, buffer);
    buffer[copied] = 0;
    if (copied < path.size()) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    }
    return static_cast<DWORD>(copied);
}

#ifdef WIN32_SCRIPTED
void win32::script::answerSleep(std::function<void(DWORD)> answer) {
    sleepSubstitute().set(answer ? std::optional(std::move(answer)) : std::nullopt);
}

void win32::script::answerClock(std::function<ULONGLONG()> answer) {
    clockSubstitute().set(answer ? std::optional(std::move(answer)) : std::nullopt);
}
#endif
