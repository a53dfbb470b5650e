#include "win32/kernel.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <set>
#include <string>

#include "win32/com.h"
#include "win32/device.h"
#include "win32/identifier.h"
#include "win32/resource.h"

TEST(Kernel, SleepIsNeverShortAndHardlyLate) {
    const auto begun = std::chrono::steady_clock::now();
    constexpr int times = 10;
    for (int i = 0; i < times; ++i) {
        Sleep(1);
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(times));
    Sleep(0);
}

TEST(Kernel, TimeIsBrokenIntoADate) {
    const FILETIME leap{0x663457B0U, 0x1DA6B6BU};
    SYSTEMTIME date{};
    ASSERT_NE(FileTimeToSystemTime(&leap, &date), FALSE);
    const std::array<int, 7> fields = {date.wYear,   date.wMonth,  date.wDay,         date.wHour,
                                       date.wMinute, date.wSecond, date.wMilliseconds};
    EXPECT_EQ(fields, (std::array{2024, 2, 29, 23, 59, 58, 123}));
}

TEST(Kernel, CutsTheProgramsName) {
    std::array<WCHAR, 4> cut = {1, 1, 1, 1};
    EXPECT_EQ(GetModuleFileNameW(nullptr, cut.data(), cut.size()), cut.size());
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(cut[3], 0);
}

TEST(Kernel, TellsTheRunningProgram) {
    std::array<WCHAR, MAX_PATH> whole{};
    const DWORD length = GetModuleFileNameW(nullptr, whole.data(), whole.size());
    ASSERT_GT(length, 4U);
    EXPECT_EQ(whole[length], 0);
    EXPECT_NE(GetModuleHandleW(W("KERNEL32.dll")), nullptr);
    EXPECT_NE(GetProcAddress(GetModuleHandleW(W("kernel32")), "SetDefaultDllDirectories"), nullptr);
    EXPECT_EQ(GetProcAddress(GetModuleHandleW(W("kernel32")), "NoSuchOperation"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
}

TEST(Identifier, IsRandomAndFormatted) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        UUID uuid{};
        RPC_CSTR text = nullptr;
        ASSERT_EQ(UuidCreate(&uuid), RPC_S_OK);
        ASSERT_EQ(UuidToStringA(&uuid, &text), RPC_S_OK);
        seen.insert(reinterpret_cast<const char*>(text));
        RpcStringFreeA(&text);
    }
    EXPECT_EQ(seen.size(), 100U);
    EXPECT_EQ(seen.begin()->size(), 36U);
    EXPECT_EQ((*seen.begin())[14], '4');
}

TEST(Com, ApartmentsKeepTheirKind) {
    EXPECT_GE(CoInitializeEx(nullptr, COINIT_MULTITHREADED), 0);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
    void* object = &object;
    EXPECT_EQ(CoCreateInstance(IID_IUnknown, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &object),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
}

TEST(Com, PortableDevicesHaveAManager) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    void* object = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_PortableDeviceManager, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &object),
              S_OK);
    auto* const manager = static_cast<IUnknown*>(object);
    EXPECT_EQ(manager->QueryInterface(CLSID_PortableDeviceManager, &object), E_NOINTERFACE);
    EXPECT_EQ(manager->Release(), 0U);
}

TEST(Memory, LocksAndStreamsOverIt) {
    const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, 5);
    EXPECT_EQ(GlobalLock(memory), GlobalLock(memory));
    SetLastError(ERROR_NOT_FOUND);
    EXPECT_TRUE(GlobalUnlock(memory));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_FOUND});
    for (const DWORD code : {NO_ERROR, ERROR_NOT_LOCKED}) {
        EXPECT_FALSE(GlobalUnlock(memory));
        EXPECT_EQ(GetLastError(), code);
    }
    EXPECT_EQ(GlobalFree(memory), nullptr);
    const HGLOBAL empty = GlobalAlloc(GMEM_MOVEABLE, 0);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(GlobalLock(empty), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_DISCARDED});
    EXPECT_EQ(GlobalFree(empty), nullptr);
    LPSTREAM stream = nullptr;
    EXPECT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, nullptr), E_INVALIDARG);
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
    EXPECT_EQ(stream->Release(), 0U);
}

TEST(Device, QuestionsAboutUnknownInterfacesFail) {
    std::array<BYTE, 64> buffer{};
    ULONG size = buffer.size();
    DEVPROPTYPE type = 0;
    EXPECT_EQ(CM_Get_Device_Interface_PropertyW(W("\\\\?\\usb#none"), &DEVPKEY_Device_InstanceId, &type, buffer.data(),
                                                &size, 0),
              CR_NO_SUCH_DEVICE_INTERFACE);
    EXPECT_EQ(CM_Get_DevNode_PropertyW(1, &DEVPKEY_Device_TransportRelations, &type, buffer.data(), &size, 0),
              CR_INVALID_DEVNODE);
    const HDEVINFO set =
        SetupDiGetClassDevsW(&GUID_DEVINTERFACE_WPD, W("USB\\NONE"), nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    ASSERT_NE(set, INVALID_HANDLE_VALUE);
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    EXPECT_EQ(SetupDiEnumDeviceInfo(set, 0, &device), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
    EXPECT_NE(SetupDiDestroyDeviceInfoList(set), FALSE);
}
