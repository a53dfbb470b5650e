// What the agent does again and again, each beside the bare work of the system under it.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <libudev.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "../tests/temp_session.h"
#include "base/log.h"
#include "device/enumeration.h"
#include "settings/app_settings.h"
#include "win32/com.h"

namespace {

using Clock = std::chrono::steady_clock;

// Runs the work once each round and reports the median of the rounds in milliseconds.
template <typename Work>
void reportMedian(benchmark::State& state, Work work) {
    std::vector<double> times;
    for (auto _ : state) {
        const auto start = Clock::now();
        work();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    state.counters["median_ms"] = *middle;
}

std::string settingsFile() {
    const std::string documents = std::getenv("HOME") + std::string("/Documents");
    return documents + "/Tavrin/Zelmo Dockset/app_settings.json";
}

void settingsReload(benchmark::State& state) {
    const tests::TempSession session;
    const auto log = base::createLog();
    const auto receiver = std::make_shared<base::AgentLogReceiver>(log);
    base::globalLogReceiver().publish(receiver);
    dockset::AppSettings settings;
    reportMedian(state, [&] { benchmark::DoNotOptimize(settings.settings()); });
}
BENCHMARK(settingsReload)->Unit(benchmark::kMicrosecond);

void settingsRead(benchmark::State& state) {
    const tests::TempSession session;
    const dockset::AppSettings settings;
    const std::string path = settingsFile();
    if (access(path.c_str(), R_OK) != 0) {
        state.SkipWithError("no settings file");
    }
    reportMedian(state, [&] {
        std::array<char, 4096> buffer;
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        benchmark::DoNotOptimize(read(file, buffer.data(), buffer.size()));
        close(file);
    });
}
BENCHMARK(settingsRead)->Unit(benchmark::kMicrosecond);

constexpr int logThreads = 4;
constexpr const char* logText = "Loading app settings from disk";

void logLine(benchmark::State& state) {
    static std::unique_ptr<tests::TempDirectory> directory;
    static std::unique_ptr<base::Log> log;
    if (state.thread_index() == 0) {
        directory = std::make_unique<tests::TempDirectory>();
        log = std::make_unique<base::Log>(directory->file("log.txt").string());
    }
    for (auto _ : state) {
        log->write("AppSettings", ' ', logText);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(logLine)->Threads(logThreads)->UseRealTime();

void logBareWrite(benchmark::State& state) {
    static std::unique_ptr<tests::TempDirectory> directory;
    static int file = -1;
    if (state.thread_index() == 0) {
        directory = std::make_unique<tests::TempDirectory>();
        file = open(directory->file("log.txt").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    }
    const std::string line = std::string("1000ms AppSettings ") + logText + "\n";
    for (auto _ : state) {
        benchmark::DoNotOptimize(write(file, line.data(), line.size()));
    }
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) {
        close(file);
    }
}
BENCHMARK(logBareWrite)->Threads(logThreads)->UseRealTime();

// The next two want the virtual bus of phones in the environment.
void enumeration(benchmark::State& state) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    device::acceptUnrecognizedDevices = true;
    std::size_t found = 0;
    for (auto _ : state) {
        found = device::enumerateDevices({}).size();
    }
    state.counters["devices"] = static_cast<double>(found);
}
BENCHMARK(enumeration)->Unit(benchmark::kMicrosecond);

std::size_t bareScan() {
    udev* const context = udev_new();
    udev_enumerate* const scan = udev_enumerate_new(context);
    udev_enumerate_add_match_subsystem(scan, "usb");
    udev_enumerate_scan_devices(scan);
    std::size_t found = 0;
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(scan)) {
        udev_device* const node = udev_device_new_from_syspath(context, udev_list_entry_get_name(entry));
        if (udev_device_get_sysattr_value(node, "bInterfaceClass") != nullptr) {
            for (const char* const name : {"bInterfaceSubClass", "bInterfaceProtocol"}) {
                benchmark::DoNotOptimize(udev_device_get_sysattr_value(node, name));
            }
            udev_device* const device = udev_device_get_parent_with_subsystem_devtype(node, "usb", "usb_device");
            for (const char* const name : {"idVendor", "idProduct", "serial", "bNumInterfaces"}) {
                benchmark::DoNotOptimize(udev_device_get_sysattr_value(device, name));
            }
            ++found;
        }
        udev_device_unref(node);
    }
    udev_enumerate_unref(scan);
    udev_unref(context);
    return found;
}

void enumerationBareScan(benchmark::State& state) {
    std::size_t found = 0;
    for (auto _ : state) {
        found = bareScan();
    }
    state.counters["devices"] = static_cast<double>(found);
}
BENCHMARK(enumerationBareScan)->Unit(benchmark::kMicrosecond);

}  // namespace
