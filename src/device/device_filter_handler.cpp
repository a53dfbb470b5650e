#include "device/device_filter_handler.h"

#include <algorithm>
#include <system_error>

#include "base/directories.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "base/working_set.h"
#include "data/xml_value.h"
#include "settings/configuration.h"

namespace device {

namespace {

using namespace std::chrono_literals;

constexpr auto settling = 5s;
constexpr std::chrono::hours longestWait = 24h * 10;

void log(const std::string& text) { base::logMessage("DeviceFilterHandler", text); }

bool configuredForSystest() {
    const auto path = base::applicationDirectory(base::ApplicationSupport) / "zd-config.xml";
    return data::isSystest(data::loadConfiguration(base::widePath(path)));
}

data::Value treeOf(DeviceListText& text) {
    return text.tree ? std::move(*text.tree) : data::parseXml(text.bytes.data(), text.bytes.size());
}

}  // namespace

DeviceFilterHandler& DeviceFilterHandler::instance() {
    static DeviceFilterHandler handler;
    static std::once_flag started;
    std::call_once(started, [] { handler.startUpdateLoop(); });
    return handler;
}

DeviceFilterHandler::~DeviceFilterHandler() {
    // A pass holds the mutex, and a server that never answers would hold the pass.
    transfersEnd_ = 1;
    {
        const std::lock_guard lock(loopMutex_);
        exitRequested_ = true;
    }
    loopCondition_.notify_all();
    if (updateThread_.joinable()) {
        updateThread_.join();
    }
}

void DeviceFilterHandler::startUpdateLoop() {
    try {
        updateThread_ = std::thread([this] { runUpdateLoop(); });
    } catch (const std::system_error& error) {
        log(std::string("Failed to start device filter update loop: ") + error.what());
    }
}

void DeviceFilterHandler::runUpdateLoop() {
    std::this_thread::sleep_for(settling);
    systest_ = configuredForSystest();
    if (systest_) {
        log("Systest is enabled. Will use shorter update intervals.");
    }
    log("Start device filter update loop.");
    bool goesOn = true;
    while (goesOn) {
        std::unique_lock lock(loopMutex_);
        waitForUpdateTime(lock);
        if (!exitRequested_) {
            makePass();
            base::emptyWorkingSet();
        }
        goesOn = !exitRequested_;
        if (!goesOn) {
            log("Exit requested. Terminating update loop.");
        }
    }
    log("Device filter update loop terminated.");
}

// The limit has the clock looked at anew now and then, whatever happened to it meanwhile.
void DeviceFilterHandler::waitForUpdateTime(std::unique_lock<std::mutex>& lock) {
    while (!exitRequested_) {
        const SystemTime present = now();
        if (present >= nextUpdateTime_) {
            return;
        }
        const SystemTime limit = present + longestWait;
        const bool isOver =
            loopCondition_.wait_until(lock, std::min(nextUpdateTime_, limit)) == std::cv_status::timeout;
        if (isOver && nextUpdateTime_ <= limit) {
            return;
        }
    }
}

void DeviceFilterHandler::makePass() {
    const bool fresh = updateLists();
    log(fresh ? "Device lists are up to date."
              : "At least one list is not guaranteed to be up to date. Will try again sooner.");
    const int freshCount = systest_ ? 5 : 24;
    const int count = fresh ? freshCount : 1;
    nextUpdateTime_ = now() + std::chrono::minutes(systest_ ? count : count * 60);
    log("Next update in " + std::to_string(count) + (systest_ ? " minute" : " hour") + (count == 1 ? "." : "s."));
}

bool DeviceFilterHandler::updateLists() {
    log("Updating supported devices...");
    DeviceListText supported = fetchDeviceList(DeviceListKind::Supported, supportedStatus_, &transfersEnd_);
    if (!supported.bytes.empty()) {
        replaceSupported(treeOf(supported));
    }
    log("Updating unsupported devices...");
    DeviceListText unsupported = fetchDeviceList(DeviceListKind::Unsupported, unsupportedStatus_, &transfersEnd_);
    if (!unsupported.bytes.empty()) {
        replaceUnsupported(treeOf(unsupported));
    }
    return supported.fresh && unsupported.fresh;
}

void DeviceFilterHandler::replaceSupported(const data::Value& document) {
    const std::lock_guard lock(supportedMutex_);
    supportedDevices_ = supportedEntries(document);
}

void DeviceFilterHandler::replaceUnsupported(const data::Value& document) {
    const std::lock_guard lock(unsupportedMutex_);
    unsupportedDevices_ = unsupportedEntries(document);
}

std::vector<SupportedDevice> DeviceFilterHandler::supportedDevices() const {
    const std::lock_guard lock(supportedMutex_);
    return supportedDevices_;
}

std::vector<std::string> DeviceFilterHandler::unsupportedDevices() const {
    const std::lock_guard lock(unsupportedMutex_);
    return unsupportedDevices_;
}

}  // namespace device
