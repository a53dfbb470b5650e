// zdplatform VERB [ARGUMENT...]: calls operations of the platform and prints what they give as JSON; the log goes to
// the standard error. Without a verb, and with --help, it lists the verbs; its manual is made from that list.

#include <curl/curl.h>

#include <array>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "agent/http_handler_win32.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "base/string_table.h"
#include "base/text.h"
#include "data/json_value.h"
#include "device/device_report.h"
#include "net/installed_pins.h"
#include "platform/platform_win32.h"
#include "win32/com.h"
#include "win32/window.h"

namespace {

using data::Value;
using data::ValueType;
using dockset::Platform;
using Arguments = std::vector<std::string>;

class ErrorLog final : public base::GlobalLogReceiver {
public:
    void log(const std::string& tag, const std::string& text) override { std::cerr << tag << ' ' << text << std::endl; }
};

// Keeps the one result of a dialog.
class KeptResult final : public dockset::PlatformResultReceiver {
public:
    void onResult(std::uint64_t cookie, Value given) override {
        result.set("cookie", cookie);
        result.set("result", std::move(given));
    }
    Value result{ValueType::Object};
};

struct Call {
    dockset::PlatformWin32& platform;
    const Arguments& arguments;
    Value& out;

    // Empty beyond the last one.
    std::string text(std::size_t i) const { return i < arguments.size() ? arguments[i] : std::string(); }
    WideString wide(std::size_t i) const { return base::widen(text(i)); }
    // A file or directory, which may have a name that isn't UTF-8.
    boost::filesystem::path path(std::size_t i) const { return text(i); }
    WideString widePath(std::size_t i) const { return base::widePath(path(i)); }
    std::uint32_t number(std::size_t i, std::uint32_t otherwise) const {
        return i < arguments.size() ? static_cast<std::uint32_t>(std::stoul(arguments[i])) : otherwise;
    }
    std::string rest(std::size_t i) const {
        std::string line;
        for (; i < arguments.size(); ++i) {
            line += (line.empty() ? "" : " ") + arguments[i];
        }
        return line;
    }
};

Value listOf(const std::vector<std::string>& texts) {
    Value list(ValueType::Array);
    for (const std::string& text : texts) {
        list.append(text);
    }
    return list;
}

template <typename T>
Value listOf(const T (&numbers)[3]) {
    Value list(ValueType::Array);
    for (const T number : numbers) {
        list.append(number);
    }
    return list;
}

void describe(const Call& call) {
    Platform& platform = call.platform;
    call.out.set("locale", platform.getLocale());
    call.out.set("country", platform.getCountryCode());
    call.out.set("preferredLocales", listOf(platform.getPreferredLocales()));
    call.out.set("supportedLocale", platform.getSupportedLocale());
    call.out.set("version", platform.getOSVersion());
    call.out.set("versionIdentifier", platform.getOSVersionIdentifier());
    call.out.set("cpu", platform.getCPUName());
    call.out.set("ram", platform.getRAMSize());
    call.out.set("onBattery", platform.isComputerRunningOnBattery());
    call.out.set("keepUserData", platform.isKeepUserDataEnabled());
    call.out.set("sleepAllowed", platform.isSleepAllowed());
    call.out.set("geoIdKnown", platform.queryGeoId());
    platform.syncState();
    call.out.set("stateFlag", platform.getStateFlag());
}

// NUMBER
void registerId(const Call& call) {
    const auto id = static_cast<std::int32_t>(call.number(0, 0));
    call.out.set("registered", call.platform.registerId(id));
    call.out.set("isZero", call.platform.isIdZero(id));
}

base::Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }
std::string textOf(const base::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

void fetch(const Call& call) {
    base::Bytes data;
    bool fresh = false;
    std::string detail;
    call.out.set("done", call.platform.getUrlCached(call.text(0), data, &fresh, true, true, true, nullptr, &detail));
    call.out.set("fresh", fresh);
    call.out.set("detail", detail);
    call.out.set("data", textOf(data));
}

// METHOD ADDRESS [BODY]; without pinned keys.
void request(const Call& call) {
    Platform& platform = call.platform;
    const std::string method = call.text(0);
    const std::string url = call.text(1);
    const base::Bytes body = bytesOf(call.text(2));
    base::HttpHeaders headers;
    base::Bytes data;
    std::int32_t status = 0;
    if (method == "GET") {
        status = platform.httpGet(url, {}, headers, data, true, nullptr, nullptr);
    } else if (method == "POST") {
        status = platform.httpPost(url, {}, body, headers, data, true, nullptr);
    } else if (method == "PUT") {
        status = platform.httpPut(url, {}, body, headers, data, true, nullptr);
    } else {
        status = platform.httpDelete(url, {}, headers, data, true, nullptr);
    }
    call.out.set("status", status);
    call.out.set("data", textOf(data));
}

void endProcess(const Call& call, void* process, std::uint32_t timeout) {
    std::uint32_t exitCode = 0;
    call.out.set("running", !call.platform.pollProcess(process, nullptr));
    call.out.set("ended", call.platform.waitForProcess(process, timeout, &exitCode));
    call.out.set("exitCode", exitCode);
}

// TIMEOUT DIRECTORY PROGRAM [ARGUMENTS]; a program that doesn't end in time is killed.
void run(const Call& call) {
    constexpr std::uint32_t afterKill = 10'000;
    std::uint32_t cancelled = 0;
    std::string error;
    void* const process =
        call.platform.startProcess(call.widePath(2), call.rest(3), call.widePath(1), &cancelled, &error);
    call.out.set("started", process != nullptr);
    call.out.set("userCancelled", cancelled);
    call.out.set("error", error);
    endProcess(call, process, call.number(0, INFINITE));
    if (process != nullptr && !call.out.find("ended").boolean) {
        call.out.set("killed", call.platform.killProcess(process) != 0);
        endProcess(call, process, afterKill);
    }
    call.platform.closeProcess(process);
}

// REASON PROGRAM [ARGUMENTS]: no sleep while the program runs.
void awake(const Call& call) {
    base::setString("REASON", call.text(0));
    call.platform.setSleepAllowed(false);
    call.out.set("allowedMeanwhile", call.platform.isSleepAllowed());
    void* const process = call.platform.startProcess(call.widePath(1), call.rest(2), {}, nullptr, nullptr);
    endProcess(call, process, INFINITE);
    call.platform.closeProcess(process);
    call.platform.setSleepAllowed(true);
    call.out.set("allowedAfter", call.platform.isSleepAllowed());
}

void directorySize(const Call& call) {
    std::uint64_t size = 0;
    call.out.set("walked", call.platform.getDirectorySize(call.widePath(0), size));
    call.out.set("size", size);
}

Value describeExtra(const dockset::ExtraVolumeInfo& info) {
    Value extra(ValueType::Object);
    extra.set("present", info.present);
    extra.set("path", info.path);
    extra.set("freeSpaceError", info.freeSpaceError);
    extra.set("volumePathError", info.volumePathError);
    extra.set("driveType", info.driveType);
    extra.set("volumeInfoError", info.volumeInfoError);
    extra.set("readOnlyVolume", info.readOnlyVolume);
    return extra;
}

void storage(const Call& call) {
    dockset::StorageInfo info{};
    call.platform.getStorageInfo(info);
    Value& out = call.out;
    out.set("freeBytes", listOf(info.freeBytes));
    out.set("writable", listOf(info.writable));
    out.set("statusFailed", listOf(info.statusFailed));
    out.set("writableAfterFailure", listOf(info.writableAfterFailure));
    out.set("attributesOk", listOf(info.attributesOk));
    out.set("attributesError", listOf(info.attributesError));
    out.set("createError", listOf(info.createError));
    out.set("volumeFound", listOf(info.volumeFound));
    out.set("driveType", listOf(info.driveType));
    out.set("readOnlyVolume", listOf(info.readOnlyVolume));
    out.set("freeSpaceFailed", listOf(info.freeSpaceFailed));
    out.set("freeSpaceError", listOf(info.freeSpaceError));
    out.set("volumePathFailed", listOf(info.volumePathFailed));
    out.set("volumePathError", listOf(info.volumePathError));
    out.set("volumeInfoFailed", listOf(info.volumeInfoFailed));
    out.set("volumeInfoError", listOf(info.volumeInfoError));
    out.set("tempPathError", info.tempPathError);
    out.set("tempPathEmpty", info.tempPathEmpty);
    out.set("tempPathFound", info.tempPathFound);
    out.set("tempPath", info.tempPath);
    out.set("documentsError", info.documentsError);
    out.set("documentsNull", info.documentsNull);
    out.set("documentsEmpty", info.documentsEmpty);
    out.set("documentsPath", info.documentsPath);
    out.set("folderManagerError", info.folderManagerError);
    out.set("folderIdsError", info.folderIdsError);
    out.set("folderIdsCount", info.folderIdsCount);
    out.set("documentsIdListed", info.documentsIdListed);
    out.set("extraTemp", describeExtra(info.extraTemp));
    out.set("extraDocuments", describeExtra(info.extraDocuments));
    out.set("memoryOk", info.memoryOk);
    out.set("totalPhysical", info.totalPhysical);
    out.set("totalVirtual", info.totalVirtual);
    out.set("availableVirtual", info.availableVirtual);
    out.set("memoryError", info.memoryError);
}

// Shows a dialog; the result is absent if the handler was never called.
void pick(const Call& call, const std::function<void(const dockset::PlatformResultHandler&)>& show) {
    const auto kept = std::make_shared<KeptResult>();
    show(kept);
    call.out = kept->result;
}

void pickFile(const Call& call, bool save) {
    dockset::FileDialogRequest request;
    request.initialDirectory = call.widePath(0);
    request.defaultExtension = call.wide(1);
    pick(call, [&](const auto& handler) { call.platform.browseFile(save, request, handler, 1); });
}

void pickMusic(const Call& call) {
    WideString path;
    call.out.set("chosen", call.platform.browseMusicFolder(path));
    call.out.set("path", base::narrow(path));
}

BOOL CALLBACK findMainWindow(HWND window, LPARAM found) {
    std::array<char, 254> name{};
    GetClassNameA(window, name.data(), static_cast<int>(name.size()));
    if (std::string(name.data()) == "ZelmoDockset") {
        *reinterpret_cast<HWND*>(found) = window;
    }
    return TRUE;
}

// Makes the main application's window the platform's own.
void adoptMainWindow(const Call& call) {
    HWND window = nullptr;
    EnumWindows(findMainWindow, reinterpret_cast<LPARAM>(&window));
    call.platform.setPlatformData(Platform::mainWindowData, window);
    call.out.set("found", window != nullptr);
}

void uninstallString(const Call& call) {
    std::string status;
    call.out.set("path", base::narrow(call.platform.getUEUninstallString(status)));
    call.out.set("status", status);
}

void uninstallEngine(const Call& call) {
    std::string status;
    call.out.set("done", call.platform.uninstallUE(status));
    call.out.set("status", status);
}

void reinstallEngine(const Call& call) {
    std::uint32_t cancelled = 0;
    std::string error;
    call.out.set("done", call.platform.reinstallUE(call.path(0), call.path(1), &cancelled, &error, true));
    call.out.set("userCancelled", cancelled);
    call.out.set("error", error);
}

void devices(const Call& call) {
    const auto http = std::make_shared<agent::AgentWin32HttpHandler>();
    base::globalHttpHandler().publish(http);
    std::thread([&call] {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        call.out = device::describeDevices();
    }).join();
}

void proxies(const Call& call) {
    std::string diagnostics;
    Value list(ValueType::Array);
    for (const auto& entry : call.platform.getUEProxySettings(call.text(0), &diagnostics)) {
        Value proxy(ValueType::Object);
        for (const auto& [key, value] : entry) {
            proxy.set(key, value);
        }
        list.append(std::move(proxy));
    }
    call.out.set("proxies", std::move(list));
    call.out.set("diagnostics", diagnostics);
}

struct Verb {
    const char* arguments;
    const char* effect;
    std::function<void(const Call&)> call;
};

const std::map<std::string, Verb>& verbs() {
    static const std::map<std::string, Verb> all{
        {"describe", {"", "tells of the languages, the system, the processor and the memory", describe}},
        {"devices", {"", "lists the phones that the agent sees, and whether they are supported", devices}},
        {"run",
         {"TIMEOUT DIRECTORY PROGRAM [ARGUMENTS]",
          "starts a program in a directory and waits; after TIMEOUT milliseconds it is killed", run}},
        {"awake", {"REASON PROGRAM [ARGUMENTS]", "keeps the machine from sleeping while the program runs", awake}},
        {"id", {"NUMBER", "registers a number", registerId}},
        {"fetch", {"ADDRESS", "fetches a file from a server with a pinned key, through the cache", fetch}},
        {"request", {"GET|POST|PUT|DELETE ADDRESS [BODY]", "sends a request, without pinned keys", request}},
        {"size", {"DIRECTORY", "adds up the sizes of all files in a directory", directorySize}},
        {"free",
         {"DIRECTORY", "tells how many bytes are free for the user",
          [](const Call& c) { c.out.set("bytes", c.platform.getDiskFreeSpace(c.widePath(0))); }}},
        {"storage", {"", "tells of the disks with the user's directories", storage}},
        {"url", {"ADDRESS", "opens an address in the browser", [](const Call& c) { c.platform.openUrl(c.text(0)); }}},
        {"phone",
         {"NAME", "shows a phone of that name in the file manager",
          [](const Call& c) { c.platform.browseMyZelmo(c.wide(0).c_str()); }}},
        {"phone-path",
         {"PATH", "shows a directory in the file manager",
          [](const Call& c) { c.platform.browseMyZelmo(c.widePath(0)); }}},
        {"pick-file",
         {"DIRECTORY EXTENSION", "lets the user choose a file to open", [](const Call& c) { pickFile(c, false); }}},
        {"save-file",
         {"DIRECTORY EXTENSION", "lets the user choose a file to write", [](const Call& c) { pickFile(c, true); }}},
        {"pick-backup",
         {"EXTENSION", "lets the user choose a backup",
          [](const Call& c) { pick(c, [&](const auto& h) { c.platform.browseBackupFile(0, c.wide(0), h, 1); }); }}},
        {"pick-folder",
         {"DIRECTORY PURPOSE RETURN-STATE", "lets the user choose a folder",
          [](const Call& c) {
              pick(c, [&](const auto& h) { c.platform.browseFolder(c.widePath(0), h, 1, c.number(1, 0), c.text(2)); });
          }}},
        {"pick-music", {"", "lets the user choose a folder, beginning in Music", pickMusic}},
        {"permissions",
         {"PATH", "tells whether the suite may use a path",
          [](const Call& c) {
              c.platform.checkPermissions(0, 0, c.widePath(0), nullptr, 1);
              pick(c, [&](const auto& h) { c.platform.checkPermissions(0, 0, c.widePath(0), h, 1); });
          }}},
        {"window", {"", "finds the main application's window", adoptMainWindow}},
        {"restart",
         {"", "has the agent start the main application anew",
          [](const Call& c) { adoptMainWindow(c), c.platform.restartZelmoDockset(); }}},
        {"exit",
         {"", "ends the main application", [](const Call& c) { adoptMainWindow(c), c.platform.exitZelmoDockset(); }}},
        {"engine-path",
         {"", "tells where the Update Engine is installed",
          [](const Call& c) { c.out.set("path", base::narrow(c.platform.getUEInstallPath())); }}},
        {"engine-uninstall-string", {"", "tells what uninstalls the Update Engine", uninstallString}},
        {"engine-terminate",
         {"", "ends a running Update Engine",
          [](const Call& c) { c.out.set("result", c.platform.terminateRunningInstances()); }}},
        {"engine-uninstall", {"", "uninstalls the Update Engine", uninstallEngine}},
        {"engine-reinstall", {"INSTALLER SERVICE", "installs the Update Engine anew, and its driver", reinstallEngine}},
        {"engine-directory",
         {"DIRECTORY", "tells where the Update Engine would be unpacked",
          [](const Call& c) {
              const auto path = c.platform.avoidProgramFiles(c.path(0));
              c.out.set("path", base::narrow(base::widePath(path)));
          }}},
        {"addresses",
         {"[loopback]", "lists the machine's IPv4 addresses",
          [](const Call& c) {
              c.out.set("addresses", listOf(c.platform.getLocalAddresses(c.text(0) == "loopback")));
          }}},
        {"port", {"", "finds a free TCP port", [](const Call& c) { c.out.set("port", c.platform.getFreePort()); }}},
        {"proxies", {"ADDRESS", "lists the proxies for an address", proxies}},
    };
    return all;
}

void listVerbs(std::ostream& out) {
    for (const auto& [name, verb] : verbs()) {
        out << "zdplatform " << name << (*verb.arguments == 0 ? "" : " ") << verb.arguments << "\n    " << verb.effect
            << '\n';
    }
}

int refuse() {
    listVerbs(std::cerr);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string name = argc < 2 ? "" : argv[1];
    if (name == "--help") {
        listVerbs(std::cout);
        return 0;
    }
    const auto verb = verbs().find(name);
    if (verb == verbs().end()) {
        return refuse();
    }
    curl_global_init(CURL_GLOBAL_ALL);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const auto log = std::make_shared<ErrorLog>();
    base::globalLogReceiver().publish(log);
    base::certificatePins().publish(base::installedPins());  // and with them the roots that the system trusts
    dockset::PlatformWin32 platform(nullptr);
    const Arguments arguments(argv + 2, argv + argc);
    Value out(ValueType::Object);
    try {
        verb->second.call({platform, arguments, out});
    } catch (const std::logic_error&) {
        // An argument that should be a number.
        return refuse();
    }
    const std::vector<std::uint8_t> bytes = data::toJsonBytes(out);
    std::cout.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size())) << '\n';
    return 0;
}
