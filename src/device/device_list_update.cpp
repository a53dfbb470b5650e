#include "device/device_list_update.h"

#include <exception>
#include <map>
#include <mutex>

#include "base/directories.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "data/whole_file.h"
#include "data/xml_value.h"
#include "device/device_list.h"
#include "net/http_handler.h"
#include "net/servers.h"

namespace device {

using data::Value;

namespace {

constexpr std::uint32_t listService = 0;

struct DownloadServer {
    std::mutex baseUrlMutex;
    std::string baseUrl = base::downloadServerUrl;
    std::mutex environmentMutex;
    std::map<std::uint32_t, std::uint32_t> environments;
};

// Never destroyed: the update thread may still ask in a static object's destructor.
DownloadServer& server() {
    static auto* const instance = new DownloadServer;
    return *instance;
}

const char* environmentPath() {
    const std::lock_guard lock(server().environmentMutex);
    const auto found = server().environments.find(listService);
    switch (found == server().environments.end() ? 1 : found->second) {
        case 2:
            return "/sandbox";
        case 3:
            return "/stage";
        default:
            return "/production";
    }
}

const char* fileName(DeviceListKind kind) {
    return kind == DeviceListKind::Supported ? "zd-supported-devices.xml" : "zd-unsupported-devices.xml";
}

void log(const std::string& text) { base::logMessage("DeviceFilterHandler", text); }

// Empty on any failure.
std::vector<std::uint8_t> packagedList(DeviceListKind kind) {
    const auto path = base::applicationDirectory(base::Resources) / "data" / fileName(kind);
    try {
        return data::readWholeFile(base::widePath(path));
    } catch (const std::exception&) {
        return {};
    }
}

// What the server has now, or had at the last request; without either no bytes.
DeviceListText download(DeviceListKind kind, DeviceListStatus& status, const base::CancelWord* cancelFlag) {
    DeviceListText text;
    std::string detail;
    const auto handler = base::globalHttpHandler().get();
    if (handler &&
        handler->getUrlCached(deviceListUrl(kind), text.bytes, &text.fresh, true, true, false, cancelFlag, &detail)) {
        status.text = "Device list xml was successfully downloaded!";
        return text;
    }
    status.text = "Failed to download device list!";
    log(status.text);
    if (!detail.empty()) {
        status.text += ' ' + detail;
    }
    return {};
}

}  // namespace

std::string downloadBaseUrl() {
    const std::lock_guard lock(server().baseUrlMutex);
    return server().baseUrl;
}

void setDownloadBaseUrl(const std::string& url) {
    const std::lock_guard lock(server().baseUrlMutex);
    server().baseUrl = url;
}

void setDeviceListServerEnvironment(std::uint32_t service, std::uint32_t environment) {
    const std::lock_guard lock(server().environmentMutex);
    server().environments[service] = environment;
}

std::string deviceListUrl(DeviceListKind kind) {
    const char* const path = environmentPath();
    return downloadBaseUrl() + path + "/zd/data/" + fileName(kind);
}

DeviceListText newerDeviceList(DeviceListText server, std::vector<std::uint8_t> local, DeviceListStatus& status) {
    if (server.bytes.empty() && !local.empty()) {
        server.bytes = std::move(local);
        log("Cannot find remote devices XML, using local");
        return server;
    }
    if (server.bytes.empty() || local.empty()) {
        return server;
    }
    Value localTree = data::parseXml(local.data(), local.size());
    server.tree = data::parseXml(server.bytes.data(), server.bytes.size());
    const std::int64_t localRevision = deviceListRevision(localTree);
    const std::int64_t serverRevision = deviceListRevision(*server.tree);
    status.localRevision = localTree.find("device-set", "Revision-version").toText();
    status.serverRevision = server.tree->find("device-set", "Revision-version").toText();
    if (localRevision <= serverRevision) {
        log("Remote devices XML revision: " + std::to_string(serverRevision));
    } else {
        log("Local devices XML is more recent than remote: " + std::to_string(localRevision) + " - " +
            std::to_string(serverRevision));
        server.bytes = std::move(local);
        server.tree = std::move(localTree);
    }
    return server;
}

DeviceListText fetchDeviceList(DeviceListKind kind, DeviceListStatus& status, const base::CancelWord* cancelFlag) {
    return newerDeviceList(download(kind, status, cancelFlag), packagedList(kind), status);
}

}  // namespace device
