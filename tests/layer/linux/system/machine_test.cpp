// What the layer tells of this machine, beside what the kernel says.

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <array>
#include <thread>

#include "layer/linux/private_bus.h"
#include "linux/desktop/file_chooser.h"
#include "temp_session.h"
#include "win32/dialog.h"
#include "win32/file.h"
#include "win32/kernel.h"
#include "win32/network.h"
#include "win32/power.h"
#include "win32/system.h"

namespace {

class PowerSupplyTest : public testing::Test {
protected:
    void supply(const std::string& name, const std::string& file, const std::string& text) const {
        const auto folder = session_.path() / "machine" / name;
        boost::filesystem::create_directories(folder);
        std::ofstream((folder / file).string()) << text << '\n';
    }

    static std::pair<int, int> status() {
        SYSTEM_POWER_STATUS power{};
        EXPECT_NE(GetSystemPowerStatus(&power), FALSE);
        return {power.ACLineStatus, power.BatteryLifePercent};
    }

    tests::TempSession session_;
};

TEST_F(PowerSupplyTest, TellsOfMainsAndBattery) {
    using Status = std::pair<int, int>;
    supply("mouse", "type", "Battery");
    supply("mouse", "scope", "Device");
    EXPECT_EQ(status(), Status(1, 255));
    supply("BAT0", "type", "Battery");
    supply("BAT0", "status", "Unknown");
    supply("BAT0", "capacity", "83");
    EXPECT_EQ(status(), Status(255, 83));
    supply("BAT0", "status", "Discharging");
    EXPECT_EQ(status(), Status(0, 83));
    supply("AC", "type", "Mains");
    supply("AC", "online", "1");
    EXPECT_EQ(status(), Status(1, 83));
    supply("AC", "online", "0");
    EXPECT_EQ(status(), Status(0, 83));
    const auto flag = [&](const char* percent, const char* state) {
        supply("BAT0", "capacity", percent);
        supply("BAT0", "status", state);
        SYSTEM_POWER_STATUS power{};
        GetSystemPowerStatus(&power);
        return int{power.BatteryFlag};
    };
    EXPECT_EQ(flag("83", "Charging"), 1 + 8);
    EXPECT_EQ(flag("66", "Discharging"), 0);
    EXPECT_EQ(flag("32", "Charging"), 2 + 8);
    EXPECT_EQ(flag("4", "Discharging"), 2 + 4);
}

TEST(MachineTest, IsDescribedAsTheKernelDoes) {
    OSVERSIONINFOEXA version{};
    version.dwOSVersionInfoSize = sizeof version;
    ASSERT_NE(GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)), FALSE);
    utsname kernel{};
    uname(&kernel);
    const std::string number = std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion);
    EXPECT_TRUE(std::string(kernel.release).starts_with(number)) << number;
    version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOA);
    EXPECT_NE(GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)), FALSE);
    version.dwOSVersionInfoSize = 0;
    EXPECT_EQ(GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    SYSTEM_INFO processor{};
    GetNativeSystemInfo(&processor);
    EXPECT_TRUE(processor.dwPageSize >= 4096 && processor.dwNumberOfProcessors > 0);
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    ASSERT_NE(GlobalMemoryStatusEx(&memory), FALSE);
    EXPECT_TRUE(memory.ullAvailPhys > 0 && memory.ullAvailPhys <= memory.ullTotalPhys);
    EXPECT_LT(memory.ullAvailVirtual, memory.ullTotalVirtual);
}

TEST(MachineTest, LinksAreNoDirectories) {
    const tests::TempDirectory directory;
    boost::filesystem::create_directory_symlink("/", directory.file("link"));
    WIN32_FIND_DATAW entry{};
    const HANDLE find = FindFirstFileW(directory.wide("*").c_str(), &entry);
    while (FindNextFileW(find, &entry) != FALSE && base::narrow(entry.cFileName) != "link") {
    }
    EXPECT_EQ(entry.dwFileAttributes, FILE_ATTRIBUTE_REPARSE_POINT);
    FindClose(find);
}

TEST(MachineTest, MountsAreVolumes) {
    std::array<WCHAR, 260> volume{};
    ASSERT_NE(GetVolumePathNameW(W("/proc/self/fd"), volume.data(), 260), FALSE);
    EXPECT_EQ(WideString(volume.data()), W("/proc/"));
    EXPECT_EQ(GetDriveTypeW(W("/dev/")), DRIVE_RAMDISK);
    EXPECT_EQ(GetDriveTypeW(W("/proc/self")), DRIVE_NO_ROOT_DIR);
}

TEST(NetworkTest, FindsAFreePort) {
    std::vector<DWORD> buffer(1024);
    ULONG size = 4;
    auto* const table = reinterpret_cast<MIB_IPADDRTABLE*>(buffer.data());
    EXPECT_EQ(GetIpAddrTable(table, &size, FALSE), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(GetIpAddrTable(table, &size, FALSE), DWORD{NO_ERROR});
    std::array<char, 16> text{};
    for (DWORD i = 0; i < table->dwNumEntries; ++i) {
        EXPECT_NE(inet_ntop(AF_INET, &table->table[i].dwAddr, text.data(), text.size()), nullptr);
    }
    const SOCKET one = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    const SOCKET other = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    int length = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(getsockname(one, plain, &length), SOCKET_ERROR);
    EXPECT_EQ(GetLastError(), DWORD{WSAEINVAL});
    EXPECT_EQ(bind(one, plain, 4), SOCKET_ERROR);
    EXPECT_EQ(GetLastError(), DWORD{WSAEFAULT});
    EXPECT_EQ(bind(one, plain, length), 0);
    EXPECT_EQ(getsockname(one, plain, &length), 0);
    EXPECT_NE(ntohs(address.sin_port), 0);
    EXPECT_EQ(bind(other, plain, length), SOCKET_ERROR);
    EXPECT_EQ(GetLastError(), DWORD{WSAEADDRINUSE});
    EXPECT_EQ(closesocket(one), 0);
    EXPECT_EQ(bind(other, plain, length), 0);
    closesocket(other);
    for (const SOCKET none : {INVALID_SOCKET, other, SOCKET{0}}) {  // the last one is a file
        EXPECT_EQ(closesocket(none), SOCKET_ERROR);
        EXPECT_EQ(GetLastError(), DWORD{WSAENOTSOCK});
    }
}

TEST(PowerRequestTest, FailsWithoutASystemBus) {
    const tests::EnvironmentSetting bus("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/none");
    WideString reason = W("work");
    REASON_CONTEXT context{POWER_REQUEST_CONTEXT_VERSION, POWER_REQUEST_CONTEXT_SIMPLE_STRING, {}};
    context.Reason.SimpleReasonString = reason.data();
    const HANDLE request = PowerCreateRequest(&context);
    ASSERT_NE(request, INVALID_HANDLE_VALUE);
    EXPECT_EQ(PowerSetRequest(request, PowerRequestSystemRequired), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_SUPPORTED});
    EXPECT_EQ(PowerClearRequest(request, PowerRequestSystemRequired), FALSE);
    EXPECT_EQ(PowerSetRequest(nullptr, PowerRequestDisplayRequired), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(PowerCreateRequest(nullptr), INVALID_HANDLE_VALUE);
    EXPECT_NE(CloseHandle(request), FALSE);
}

// A portal of the test's own, whose dialogs the test closes.
class Portal {
public:
    enum class Way { chooses, cancels, refuses, vanishes };

    Portal(const std::string& address, Way way) : way_(way), thread_([this, address] { serve(address); }) {
        while (!isReady_) {
            std::this_thread::yield();
        }
    }
    Portal(const Portal&) = delete;
    Portal& operator=(const Portal&) = delete;
    ~Portal() {
        isEnding_ = true;
        thread_.join();
    }
    std::string asked() const { return asked_; }

private:
    static int open(sd_bus_message* call, void* data, sd_bus_error* /*error*/) {
        return static_cast<Portal*>(data)->answer(call);
    }

    int answer(sd_bus_message* call) {
        const char* parent = "";
        const char* title = "";
        sd_bus_message_read(call, "ss", &parent, &title);
        asked_ = std::string(sd_bus_message_get_member(call)) + "|" + parent + "|" + title;
        sd_bus_message_enter_container(call, 'a', "{sv}");
        std::string path = "/org/freedesktop/portal/desktop/request/";
        for (const char c : std::string(sd_bus_message_get_sender(call) + 1)) {
            path += c == '.' ? '_' : c;
        }
        while (sd_bus_message_enter_container(call, 'e', "sv") > 0) {
            const char* key = "";
            const char* token = "";
            sd_bus_message_read(call, "s", &key);
            if (std::string(key) == "handle_token") {
                sd_bus_message_read(call, "v", "s", &token);
                path += std::string("/") + token;
            } else {
                asked_ += std::string("|") + key;
                sd_bus_message_skip(call, "v");
            }
            sd_bus_message_exit_container(call);
        }
        if (way_ == Way::refuses) {
            return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED, "no");
        }
        sd_bus_reply_method_return(call, "o", path.c_str());
        sd_bus* const bus = sd_bus_message_get_bus(call);
        if (way_ == Way::vanishes) {
            isEnding_ = true;
            return 1;
        }
        const bool chooses = way_ == Way::chooses;
        sd_bus_emit_signal(bus, path.c_str(), "org.freedesktop.portal.Request", "Response", "ua{sv}", chooses ? 0U : 1U,
                           2, "choices", "as", 0, "uris", "as", 1, "file:///a%20b/%C3%A4%z.dbk");
        return 1;
    }

    void serve(const std::string& address) {
        static const sd_bus_vtable calls[] = {
            SD_BUS_VTABLE_START(0),
            SD_BUS_METHOD("OpenFile", "ssa{sv}", "o", open, SD_BUS_VTABLE_UNPRIVILEGED),
            SD_BUS_METHOD("SaveFile", "ssa{sv}", "o", open, SD_BUS_VTABLE_UNPRIVILEGED),
            SD_BUS_VTABLE_END,
        };
        sd_bus* bus = nullptr;
        sd_bus_new(&bus);
        sd_bus_set_address(bus, address.c_str());
        sd_bus_set_bus_client(bus, 1);
        sd_bus_start(bus);
        sd_bus_add_object_vtable(bus, nullptr, "/org/freedesktop/portal/desktop", "org.freedesktop.portal.FileChooser",
                                 calls, this);
        sd_bus_request_name(bus, "org.freedesktop.portal.Desktop", 0);
        isReady_ = true;
        while (!isEnding_) {
            constexpr std::uint64_t microseconds = 2000;
            while (sd_bus_process(bus, nullptr) > 0) {
            }
            sd_bus_wait(bus, microseconds);
        }
        sd_bus_flush_close_unref(bus);
    }

    const Way way_;
    std::string asked_;
    std::atomic<bool> isReady_ = false;
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
};

TEST(FileChooserTest, AsksThePortal) {
    const tests::TempSession session;
    using Outcome = win32::FileAnswer::Outcome;
    EXPECT_EQ(win32::askForFile({"title"}).outcome, Outcome::failed);
    const tests::PrivateBus bus(session.path().string());
    const tests::EnvironmentSetting address("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str());
    {
        const Portal portal(bus.address(), Portal::Way::chooses);
        const auto answer = win32::askForFile({"title", nullptr, "/tmp", true, false, "File", "*.dbk"});
        EXPECT_EQ(answer.outcome, Outcome::chosen);
        EXPECT_EQ(answer.path, "/a b/\xC3\xA4%z.dbk");
        EXPECT_EQ(portal.asked(), "SaveFile||title|modal|current_folder|filters");
        win32::askForFile({"title", nullptr, {}, false, true});
        EXPECT_EQ(portal.asked(), "OpenFile||title|modal|directory");
    }
    for (const auto& [way, outcome] :
         {std::pair{Portal::Way::cancels, Outcome::cancelled}, std::pair{Portal::Way::refuses, Outcome::failed},
          std::pair{Portal::Way::vanishes, Outcome::failed}}) {
        const Portal portal(bus.address(), way);
        EXPECT_EQ(win32::askForFile({"title"}).outcome, outcome);
    }
}

}  // namespace
