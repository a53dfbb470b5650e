#include "device/scanner.h"

#include <algorithm>

#include "base/log.h"
#include "base/number.h"
#include "device/device_filter_handler.h"
#include "device/enumeration.h"
#include "settings/configuration.h"
#include "update/launcher.h"
#include "win32/com.h"
#include "win32/kernel.h"

namespace device {

namespace {

constexpr DWORD pauseMilliseconds = 2'000;

void readConfiguration(const std::shared_ptr<dockset::AppSettings>& settings) {
    if (!settings) {
        return;
    }
    if (const auto accepts = data::acceptsUnrecognizedDevices(settings->config())) {
        acceptUnrecognizedDevices = *accepts;
    }
}

ConnectedDeviceSet scan() { return enumerateDevices(DeviceFilterHandler::instance().supportedDevices()); }

// The setting is read at each arrival, so that the user's change takes effect without a restart.
void startOnArrival(const std::shared_ptr<dockset::AppSettings>& settings) {
    const data::Value current = settings ? settings->settings() : data::Value();
    if (current.find("start_zd_on_device_connection").boolean) {
        base::LauncherWin().startMainApplication();
    }
}

}  // namespace

void scannerMain(ScannerContext& context) {
    if (const HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED); FAILED(result)) {
        base::logLine("CoInitializeEx failed hr = 0x", base::hexadecimal(static_cast<std::uint32_t>(result)));
        return;
    }
    readConfiguration(context.settings);
    ConnectedDeviceSet connected = scan();
    while (!context.stopFlag) {
        ConnectedDeviceSet current = scan();
        if (!std::includes(connected.begin(), connected.end(), current.begin(), current.end())) {
            startOnArrival(context.settings);
        }
        connected = std::move(current);
        Sleep(pauseMilliseconds);
    }
}

}  // namespace device
