// The entry function: makes every process-wide object, starts what runs, and lets go of it all in order.

#include <curl/curl.h>

#include <cstdint>
#include <memory>
#include <thread>

#include "agent/agent.h"
#include "agent/http_handler_win32.h"
#include "agent/main_loop.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/object_names.h"
#include "base/pipe_client.h"
#include "device/scanner.h"
#include "net/certificate_verify_win.h"
#include "net/installed_pins.h"
#include "net/system_proxy.h"
#include "settings/app_settings.h"
#include "update/check_schedule.h"
#include "update/http_downloader.h"
#include "update/installer_check.h"
#include "update/manifest.h"
#include "update/update_handler.h"
#include "win32/kernel.h"
#include "win32/mutex.h"

namespace {

// Libraries come from the system and from beside the executable only. Nearly all are loaded at their first use, which
// is after this.
void restrictLibrarySearch() {
    using SetDirectories = BOOL(WINAPI*)(DWORD);
    const FARPROC found = GetProcAddress(GetModuleHandleW(W("kernel32")), "SetDefaultDllDirectories");
    if (found != nullptr) {
        const auto setDirectories = reinterpret_cast<SetDirectories>(reinterpret_cast<void*>(found));
        setDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32 | LOAD_LIBRARY_SEARCH_APPLICATION_DIR);
    }
}

// A hanging one would hold up the threads that are waited for.
void cancelProxyDiscovery() {
    if (const auto discovery = base::proxyDiscovery().get()) {
        discovery->cancel();
    }
}

void stopScanner(device::ScannerContext& context, std::thread& scanner) {
    context.stopFlag.exchange(true);
    if (scanner.joinable()) {
        base::logLine("joining scanner thread");
        scanner.join();
    }
}

std::unique_ptr<base::UpdateHandler> makeUpdateHandler(const std::shared_ptr<dockset::AppSettings>& settings) {
    return std::make_unique<base::UpdateHandler>(base::UpdateDependencies{
        .downloader = std::make_shared<base::HttpDownloader>(base::manifestLimit),
        .installerDownloader = std::make_shared<base::HttpDownloader>(base::installerLimit),
        .launcher = std::make_shared<base::LauncherWin>(),
        .serverUrls = base::updateServers(),
        .settings = settings,
    });
}

// From the first read of the settings to the end of the last thread that was started here.
std::int32_t runAgent(agent::ZelmoDocksetAgent& zelmoDocksetAgent) {
    device::ScannerContext context;
    context.settings = dockset::AppSettings::instance();
    std::thread scanner([&context] { device::scannerMain(context); });
    zelmoDocksetAgent.startUpdates(makeUpdateHandler(context.settings), base::updateCheckSchedule(*context.settings));
    base::logLine("Started listening for devices");
    const std::int32_t exitCode = agent::runMainLoop(zelmoDocksetAgent);
    if (!base::sendPipeMessage(base::applicationPipeName, base::quitMessage, nullptr)) {
        base::logLine("Failed to send piped message, QUIT");
    }
    cancelProxyDiscovery();
    stopScanner(context, scanner);
    return exitCode;
}

std::int32_t runSingleInstance(HINSTANCE instance) {
    const base::Handle singleInstance(CreateMutexW(nullptr, FALSE, base::agentMutexName));
    if (GetLastError() == ERROR_ALREADY_EXISTS) {
        base::logLine("Another instance is running. Exiting.");
        return 0;
    }
    const auto zelmoDocksetAgent = agent::ZelmoDocksetAgent::create();
    if (!zelmoDocksetAgent->init(instance)) {
        base::logLine("Failed to initialize agent.");
        return 0;
    }
    return runAgent(*zelmoDocksetAgent);
}

}  // namespace

int main() {
    restrictLibrarySearch();
    const auto log = base::createLog();
    curl_global_init(CURL_GLOBAL_ALL);
    const auto httpHandler = std::make_shared<agent::AgentWin32HttpHandler>();
    base::globalHttpHandler().publish(httpHandler);
    const auto receiver = std::make_shared<base::AgentLogReceiver>(log);
    base::globalLogReceiver().publish(receiver);
    base::certificatePins().publish(base::installedPins());
    const auto certificateVerify = std::make_shared<base::CertificateVerifyWin>();
    base::certificateVerify().publish(certificateVerify);
    const auto proxyDiscovery = std::make_shared<base::SystemProxyDiscovery>();
    base::proxyDiscovery().publish(proxyDiscovery);
    return runSingleInstance(GetModuleHandleW(nullptr));
}
