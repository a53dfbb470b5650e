// The platform's operations, each beside the bare work of the system. ZD_BENCH_PROGRAM is a program that does nothing,
// ZD_BENCH_DIRECTORY a directory with many files.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "../tests/temp_session.h"
#include "platform/platform_win32.h"

namespace {

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

void platformStartProcess(benchmark::State& state) {
    const tests::TempSession session;
    dockset::PlatformWin32 platform(nullptr);
    const WideString program = base::widen(variable("ZD_BENCH_PROGRAM"));
    for (auto _ : state) {
        void* const process = platform.startProcess(program, {}, {}, nullptr, nullptr);
        std::uint32_t code = 1;
        if (!platform.waitForProcess(process, 10'000, &code) || code != 0) {
            state.SkipWithError("the program didn't run");
        }
        platform.closeProcess(process);
    }
}

void platformBareSpawn(benchmark::State& state) {
    std::string program = variable("ZD_BENCH_PROGRAM");
    char* const arguments[] = {program.data(), nullptr};
    for (auto _ : state) {
        pid_t child = 0;
        int status = 1;
        if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
            waitpid(child, &status, 0) != child || status != 0) {
            state.SkipWithError("the program didn't run");
        }
    }
}

void platformDirectorySize(benchmark::State& state) {
    const tests::TempSession session;
    dockset::PlatformWin32 platform(nullptr);
    const WideString directory = base::widen(variable("ZD_BENCH_DIRECTORY"));
    std::uint64_t size = 0;
    for (auto _ : state) {
        platform.getDirectorySize(directory, size);
    }
    state.counters["bytes"] = static_cast<double>(size);
}

void platformStorageInfo(benchmark::State& state) {
    const tests::TempSession session;
    dockset::PlatformWin32 platform(nullptr);
    dockset::StorageInfo info{};
    for (auto _ : state) {
        platform.getStorageInfo(info);
    }
    state.counters["writable"] = info.writable[0] && info.writable[1] && info.writable[2] ? 1 : 0;
}

BENCHMARK(platformStartProcess)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(platformBareSpawn)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(platformDirectorySize)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(platformStorageInfo)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
