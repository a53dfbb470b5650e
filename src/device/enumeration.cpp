#include "device/enumeration.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <optional>
#include <span>

#include "base/log.h"
#include "base/number.h"
#include "base/text.h"
#include "win32/com.h"
#include "win32/device.h"

namespace device {

std::atomic<bool> acceptUnrecognizedDevices{false};

namespace {

using List = std::vector<SupportedDevice>;

struct ReleaseManager {
    void operator()(IPortableDeviceManager* manager) const { manager->Release(); }
};
using Manager = std::unique_ptr<IPortableDeviceManager, ReleaseManager>;

// The array that the manager fills, and the texts in it.
class DevicePaths {
public:
    explicit DevicePaths(DWORD count) : count_(count), entries_(new (std::nothrow) LPWSTR[count]()) {}
    DevicePaths(const DevicePaths&) = delete;
    DevicePaths& operator=(const DevicePaths&) = delete;
    ~DevicePaths() {
        if (entries_) {
            std::for_each_n(entries_.get(), count_, CoTaskMemFree);
        }
    }

    bool allocated() const { return entries_ != nullptr; }
    HRESULT fillFrom(IPortableDeviceManager& manager) {
        DWORD filled = count_;
        const HRESULT result = manager.GetDevices(entries_.get(), &filled);
        usable_ = std::min(filled, count_);
        return result;
    }
    std::span<const LPWSTR> texts() const { return {entries_.get(), usable_}; }

private:
    DWORD count_;
    DWORD usable_ = 0;
    std::unique_ptr<LPWSTR[]> entries_;
};

class DeviceInfoSet {
public:
    explicit DeviceInfoSet(const WCHAR* instanceId)
        : set_(SetupDiGetClassDevsW(&GUID_DEVINTERFACE_WPD, instanceId, nullptr,
                                    DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {}
    DeviceInfoSet(const DeviceInfoSet&) = delete;
    DeviceInfoSet& operator=(const DeviceInfoSet&) = delete;
    ~DeviceInfoSet() {
        if (set_ != INVALID_HANDLE_VALUE) {
            SetupDiDestroyDeviceInfoList(set_);
        }
    }

    // The node at `index`, counted from 0, or none past the last. An invalid set has no nodes.
    std::optional<DEVINST> node(DWORD index) const {
        SP_DEVINFO_DATA device{};
        device.cbSize = sizeof device;
        const bool found = set_ != INVALID_HANDLE_VALUE && SetupDiEnumDeviceInfo(set_, index, &device) != FALSE;
        return found ? std::optional<DEVINST>(device.DevInst) : std::nullopt;
    }

private:
    HDEVINFO set_;
};

void logFailure(const char* text, HRESULT result) {
    base::logLine(text, base::hexadecimal(static_cast<std::uint32_t>(result)));
}

Manager createManager() {
    static std::atomic<bool> failureLogged{false};
    void* object = nullptr;
    const HRESULT result = CoCreateInstance(CLSID_PortableDeviceManager, nullptr, CLSCTX_INPROC_SERVER,
                                            IID_IPortableDeviceManager, &object);
    if (SUCCEEDED(result)) {
        failureLogged = false;
    } else if (!failureLogged.exchange(true)) {
        logFailure("! Failed to CoCreateInstance CLSID_PortableDeviceManager, hr = 0x", result);
    }
    return Manager(SUCCEEDED(result) ? static_cast<IPortableDeviceManager*>(object) : nullptr);
}

bool passes(const WideString& text, const List& list) {
    const UsbIdentifiers ids = parseVidPid(text);
    return ids.valid && (acceptUnrecognizedDevices || deviceMatchesFilter(list, ids.vendor, ids.product));
}

// The texts of a list whose end is an empty one.
std::vector<WideString> splitList(base::WideView list) {
    std::vector<WideString> texts;
    for (std::size_t start = 0; start < list.size() && list[start] != 0;) {
        const std::size_t stop = std::min(list.find(WCHAR{0}, start), list.size());
        texts.emplace_back(list.substr(start, stop - start));
        start = stop + 1;
    }
    return texts;
}

std::vector<WideString> carriersOf(DEVINST node) {
    std::array<WCHAR, 4096> relations{};
    DEVPROPTYPE type = 0;
    ULONG size = sizeof relations;
    const CONFIGRET result = CM_Get_DevNode_PropertyW(node, &DEVPKEY_Device_TransportRelations, &type,
                                                      reinterpret_cast<PBYTE>(relations.data()), &size, 0);
    const bool told = result == CR_SUCCESS && type == DEVPROP_TYPE_STRING_LIST;
    return told ? splitList({relations.data(), relations.size()}) : std::vector<WideString>{};
}

// The way round for a device whose own path doesn't settle it.
bool carrierPasses(const WideString& path, const List& list) {
    const auto carriers = deviceRelations(path).carriers;
    return std::any_of(carriers.begin(), carriers.end(),
                       [&](const WideString& carrier) { return passes(base::toLower(carrier), list); });
}

std::optional<std::uint32_t> numberBehind(const WideString& text, const WCHAR* mark) {
    constexpr std::size_t digits = 4;
    const std::size_t found = text.find(mark);
    if (found == WideString::npos || text.size() - found - digits < digits) {
        return std::nullopt;
    }
    return base::parseHexadecimal(base::narrow(base::WideView(text).substr(found + digits, digits)));
}

}  // namespace

UsbIdentifiers parseVidPid(const WideString& text) {
    const auto product = numberBehind(text, W("pid_"));
    const auto vendor = numberBehind(text, W("vid_"));
    return product && vendor ? UsbIdentifiers{true, *vendor, *product} : UsbIdentifiers{};
}

std::vector<WideString> portableDevicePaths() {
    const Manager manager = createManager();
    if (!manager) {
        return {};
    }
    DWORD count = 0;
    if (const HRESULT result = manager->GetDevices(nullptr, &count); FAILED(result)) {
        logFailure("! Failed to get number of devices on the system, hr = 0x", result);
        return {};
    }
    if (count == 0) {
        return {};
    }
    DevicePaths paths(count);
    if (!paths.allocated()) {
        base::logLine("! Failed to allocate memory for PWSTR array");
        return {};
    }
    if (const HRESULT result = paths.fillFrom(*manager); FAILED(result)) {
        logFailure("! Failed to get the device list from the system, hr = 0x", result);
        return {};
    }
    return {paths.texts().begin(), paths.texts().end()};
}

DeviceRelations deviceRelations(const WideString& path) {
    std::array<WCHAR, 1024> instanceId{};
    DEVPROPTYPE type = 0;
    ULONG size = sizeof instanceId;
    const CONFIGRET result = CM_Get_Device_Interface_PropertyW(path.c_str(), &DEVPKEY_Device_InstanceId, &type,
                                                               reinterpret_cast<PBYTE>(instanceId.data()), &size, 0);
    if (result != CR_SUCCESS || type != DEVPROP_TYPE_STRING) {
        return {};
    }
    DeviceRelations relations{instanceId.data(), {}};
    const DeviceInfoSet set(instanceId.data());
    DWORD index = 0;
    for (auto node = set.node(index); node; node = set.node(++index)) {
        const auto carriers = carriersOf(*node);
        relations.carriers.insert(relations.carriers.end(), carriers.begin(), carriers.end());
    }
    return relations;
}

ConnectedDeviceSet enumerateDevices(const List& list) {
    ConnectedDeviceSet connected;
    for (const WideString& path : portableDevicePaths()) {
        WideString key = base::toLower(path);
        if (passes(key, list) || carrierPasses(path, list)) {
            connected.insert(std::move(key));
        }
    }
    return connected;
}

}  // namespace device
