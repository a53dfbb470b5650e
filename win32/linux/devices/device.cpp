#include "win32/device.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "linux/devices/portable_device_manager.h"
#include "linux/devices/portable_devices.h"
#include "linux/kernel/com_object.h"
#include "linux/kernel/handle.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "win32/kernel.h"

namespace win32 {

namespace {

// What portable devices are installed as, which isn't the class of their interface.
constexpr GUID setupClass = {0xEEC5AD98, 0x8080, 0x425F, {0x92, 0x2A, 0xDA, 0xBF, 0x3D, 0xE3, 0xF6, 0x9A}};

// The devices of the latest scan. Queries about one device of it don't go round the whole system again.
class LatestScan {
public:
    void replace(const std::vector<PortableDevice>& devices) {
        const std::lock_guard lock(mutex_);
        devices_ = devices;
    }

    // Those of a new scan.
    std::vector<PortableDevice> again() {
        const std::lock_guard lock(mutex_);
        devices_.clear();
        findPortableDevices(devices_);
        return devices_;
    }

    // The device that `matches`, if it is still connected; one that the latest scan hadn't seen is searched for.
    template <typename Predicate>
    std::optional<PortableDevice> find(Predicate matches) {
        const std::lock_guard lock(mutex_);
        auto found = std::find_if(devices_.begin(), devices_.end(), matches);
        if (found == devices_.end()) {
            devices_.clear();
            findPortableDevices(devices_);
            found = std::find_if(devices_.begin(), devices_.end(), matches);
        }
        const bool present = found != devices_.end() && access(found->systemPath.c_str(), F_OK) == 0;
        return present ? std::optional(*found) : std::nullopt;
    }

private:
    std::mutex mutex_;

    std::vector<PortableDevice> devices_;
};

// Never destroyed: the scanner's thread may still look while statics go.
LatestScan& latestScan() {
    static auto* const look = new LatestScan;
    return *look;
}

bool sameText(std::u16string_view a, std::u16string_view b) {
    return strcasecmp(toBytes(a).c_str(), toBytes(b).c_str()) == 0;
}

bool sameKey(const DEVPROPKEY& a, const DEVPROPKEY& b) { return a.fmtid == b.fmtid && a.pid == b.pid; }

// What is wrong with the arguments themselves; CR_SUCCESS if nothing is.
CONFIGRET checkProperty(const DEVPROPKEY* key, const DEVPROPTYPE* type, const BYTE* buffer, const ULONG* size,
                        ULONG flags) {
    if (key == nullptr || type == nullptr || size == nullptr || (buffer == nullptr && *size != 0)) {
        return CR_INVALID_POINTER;
    }
    return flags == 0 ? CR_SUCCESS : CR_INVALID_FLAG;
}

// A device node's number is made from its identifier, so that it means the same node at each scan.
DEVINST nodeNumber(const PortableDevice& device) {
    const auto hash = static_cast<DEVINST>(std::hash<std::u16string>{}(device.instanceId));
    return hash == 0 ? 1 : hash;
}

CONFIGRET giveProperty(const WideString& value, DEVPROPTYPE itsType, DEVPROPTYPE* type, PBYTE buffer, PULONG size) {
    const auto needed = static_cast<ULONG>((value.size() + 1) * sizeof(WCHAR));
    *type = itsType;
    const ULONG offered = std::exchange(*size, needed);
    if (offered < needed) {
        return CR_BUFFER_SMALL;
    }
    std::memcpy(buffer, value.c_str(), needed);
    return CR_SUCCESS;
}

class DeviceInfoSet : public Object {
public:
    explicit DeviceInfoSet(std::vector<PortableDevice> devices) : devices_(std::move(devices)) {}
    const std::vector<PortableDevice>& devices() const { return devices_; }

private:
    std::vector<PortableDevice> devices_;
};

LPWSTR copyForCaller(const WideString& text) {
    const std::size_t bytes = (text.size() + 1) * sizeof(WCHAR);
    void* const memory = CoTaskMemAlloc(bytes);
    return memory == nullptr ? nullptr : static_cast<LPWSTR>(std::memcpy(memory, text.c_str(), bytes));
}

class PortableDeviceManager final : public ComObject<IPortableDeviceManager, IID_IPortableDeviceManager> {
public:
    HRESULT GetDevices(LPWSTR* deviceIds, DWORD* count) override {
        WIN32_MAY_RETURN("IPortableDeviceManager::GetDevices", HRESULT);
        std::vector<PortableDevice> devices;
        if (count == nullptr) {
            return E_POINTER;
        }
        if (deviceIds == nullptr || devices_.empty()) {
            if (!findPortableDevices(devices)) {
                return E_FAIL;
            }
            latestScan().replace(devices);
            devices_ = std::move(devices);
        }
        if (deviceIds == nullptr) {
            *count = static_cast<DWORD>(devices_.size());
            return S_OK;
        }
        return fill(deviceIds, count);
    }

private:
    HRESULT fill(LPWSTR* deviceIds, DWORD* count) const {
        const auto given = static_cast<DWORD>(std::min<std::size_t>(*count, devices_.size()));
        for (DWORD i = 0; i < given; ++i) {
            deviceIds[i] = copyForCaller(devices_[i].interfacePath);
            if (deviceIds[i] == nullptr) {
                std::for_each(deviceIds, deviceIds + i, CoTaskMemFree);
                *count = 0;
                return E_OUTOFMEMORY;
            }
        }
        const bool all = given == devices_.size();
        *count = given;
        return all ? S_OK : S_FALSE;
    }

    std::vector<PortableDevice> devices_;  // between the call that counts and the one that fills
};

}  // namespace

HRESULT createPortableDeviceManager(REFIID interfaceId, void** object) {
    auto* const manager = new PortableDeviceManager;
    const HRESULT result = manager->QueryInterface(interfaceId, object);
    manager->Release();
    return result;
}

}  // namespace win32

using win32::DeviceInfoSet;
using win32::PortableDevice;

CONFIGRET WINAPI CM_Get_Device_Interface_PropertyW(LPCWSTR path, const DEVPROPKEY* key, DEVPROPTYPE* type, PBYTE buffer,
                                                   PULONG size, ULONG flags) {
    WIN32_MAY_RETURN("CM_Get_Device_Interface_PropertyW", CONFIGRET);
    if (const CONFIGRET wrong = win32::checkProperty(key, type, buffer, size, flags);
        path == nullptr || wrong != CR_SUCCESS) {
        return path == nullptr ? CR_INVALID_POINTER : wrong;
    }
    const auto device = win32::latestScan().find(
        [&](const PortableDevice& candidate) { return win32::sameText(candidate.interfacePath, path); });
    if (!device) {
        return CR_NO_SUCH_DEVICE_INTERFACE;
    }
    return win32::sameKey(*key, DEVPKEY_Device_InstanceId)
               ? win32::giveProperty(device->instanceId, DEVPROP_TYPE_STRING, type, buffer, size)
               : CR_NO_SUCH_VALUE;
}

CONFIGRET WINAPI CM_Get_DevNode_PropertyW(DEVINST node, const DEVPROPKEY* key, DEVPROPTYPE* type, PBYTE buffer,
                                          PULONG size, ULONG flags) {
    WIN32_MAY_RETURN("CM_Get_DevNode_PropertyW", CONFIGRET);
    if (const CONFIGRET wrong = win32::checkProperty(key, type, buffer, size, flags); wrong != CR_SUCCESS) {
        return wrong;
    }
    const auto device =
        win32::latestScan().find([&](const PortableDevice& candidate) { return win32::nodeNumber(candidate) == node; });
    if (!device) {
        return CR_INVALID_DEVNODE;
    }
    if (!win32::sameKey(*key, DEVPKEY_Device_TransportRelations) || device->transportRelations.empty()) {
        return CR_NO_SUCH_VALUE;
    }
    WideString list;
    for (const WideString& relation : device->transportRelations) {
        list += relation + WCHAR{0};
    }
    return win32::giveProperty(list, DEVPROP_TYPE_STRING_LIST, type, buffer, size);
}

HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* interfaceClass, LPCWSTR enumerator, HWND /*parent*/, DWORD /*flags*/) {
    WIN32_MAY_FAIL("SetupDiGetClassDevsW", INVALID_HANDLE_VALUE);
    if (interfaceClass == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    std::vector<PortableDevice> devices;
    if (!(*interfaceClass == GUID_DEVINTERFACE_WPD)) {
        return win32::openHandle(std::make_shared<DeviceInfoSet>(std::move(devices)));
    }
    if (enumerator == nullptr) {
        devices = win32::latestScan().again();
    } else if (const auto device = win32::latestScan().find([&](const PortableDevice& candidate) {
                   return win32::sameText(candidate.instanceId, enumerator);
               })) {
        devices.push_back(*device);
    }
    return win32::openHandle(std::make_shared<DeviceInfoSet>(std::move(devices)));
}

BOOL WINAPI SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA device) {
    WIN32_MAY_FAIL("SetupDiEnumDeviceInfo", FALSE);
    const auto object = win32::objectAs<DeviceInfoSet>(set);
    if (!object) {
        return FALSE;
    }
    if (index >= object->devices().size()) {
        SetLastError(ERROR_NO_MORE_ITEMS);
        return FALSE;
    }
    if (device == nullptr || device->cbSize != sizeof(SP_DEVINFO_DATA)) {
        SetLastError(ERROR_INVALID_USER_BUFFER);
        return FALSE;
    }
    device->ClassGuid = win32::setupClass;
    device->Reserved = 0;
    device->DevInst = win32::nodeNumber(object->devices()[index]);
    return TRUE;
}

BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set) {
    return win32::objectAs<DeviceInfoSet>(set) ? CloseHandle(set) : FALSE;
}
