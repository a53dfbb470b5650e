// A child that tells what the portable device manager sees: for each device a line with its path, its instance
// identifier and the devices that carry it, divided by blanks. The tests of the whole program run it on a virtual bus.

#include <array>
#include <iostream>
#include <string>
#include <vector>

#include "base/text.h"
#include "layer/linux/child_process.h"
#include "win32/device.h"

namespace {

std::string instanceIdOf(LPCWSTR path) {
    std::array<WCHAR, 1024> text{};
    ULONG size = sizeof text;
    DEVPROPTYPE type = 0;
    const CONFIGRET result = CM_Get_Device_Interface_PropertyW(path, &DEVPKEY_Device_InstanceId, &type,
                                                               reinterpret_cast<PBYTE>(text.data()), &size, 0);
    return result == CR_SUCCESS ? base::narrow(text.data()) : "error " + std::to_string(result);
}

std::string carriersOf(const std::string& instanceId) {
    const HDEVINFO set = SetupDiGetClassDevsW(&GUID_DEVINTERFACE_WPD, base::widen(instanceId).c_str(), nullptr,
                                              DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    std::string carriers;
    if (SetupDiEnumDeviceInfo(set, 0, &device) != FALSE) {
        std::array<WCHAR, 1024> list{};
        ULONG size = sizeof list;
        DEVPROPTYPE type = 0;
        CM_Get_DevNode_PropertyW(device.DevInst, &DEVPKEY_Device_TransportRelations, &type,
                                 reinterpret_cast<PBYTE>(list.data()), &size, 0);
        for (const WCHAR* entry = list.data(); *entry != 0; entry += base::WideView(entry).size() + 1) {
            carriers += " " + base::narrow(entry);
        }
    }
    SetupDiDestroyDeviceInfoList(set);
    return carriers;
}

int tellDevices() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    void* object = nullptr;
    if (FAILED(CoCreateInstance(CLSID_PortableDeviceManager, nullptr, CLSCTX_INPROC_SERVER, IID_IPortableDeviceManager,
                                &object))) {
        return 1;
    }
    auto* const manager = static_cast<IPortableDeviceManager*>(object);
    DWORD count = 0;
    manager->GetDevices(nullptr, &count);
    std::vector<LPWSTR> paths(count);
    manager->GetDevices(paths.data(), &count);
    for (LPWSTR path : paths) {
        const std::string instanceId = instanceIdOf(path);
        std::cout << base::narrow(path) << ' ' << instanceId << carriersOf(instanceId) << '\n';
        CoTaskMemFree(path);
    }
    manager->Release();
    return 0;
}

const ChildRole role("devices", tellDevices);

}  // namespace
