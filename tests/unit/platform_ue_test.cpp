
#include "base/object_names.h"
#include "captured_events.h"
#include "pipe_server.h"
#include "platform/platform_win32.h"
#include "platform/ue_service.h"
#include "session_test.h"
#include "win32/registry.h"

namespace {

using tests::Lines;
using tests::PipeServer;

const WideString programKey =
    W("Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Tavrin Mobile Update Engine.exe");
const WideString uninstallKey = W("Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Update Engine");

class PlatformUETest : public tests::SessionTest {
protected:
    PlatformUETest() {
        win32::script::answerSleep([this](DWORD milliseconds) { pauses_ += milliseconds; });
        log_.take();
    }

    static void setValue(const WideString& path, const WCHAR* name, const std::string& text, DWORD type = REG_SZ) {
        HKEY key = nullptr;
        ASSERT_EQ(
            RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
        const WideString wide = base::widen(text);
        RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(wide.c_str()),
                       static_cast<DWORD>((wide.size() + 1) * sizeof(WCHAR)));
        RegCloseKey(key);
    }

    std::string uninstallStatus() {
        std::string status;
        const WideString path = engine_.getUEUninstallString(status);
        return status + "|" + base::narrow(path);
    }

    tests::CapturedEvents events_;
    dockset::PlatformWin32 platform_{nullptr};
    dockset::PlatformUE& engine_ = platform_.getPlatformUE();
    DWORD pauses_ = 0;
};

TEST_F(PlatformUETest, FindsTheEngineInTheRegistry) {
    EXPECT_EQ(engine_.getUEInstallPath(), W(""));
    const std::string hkcu =
        "PlatformWin32 RegOpenKeyExW failed with 2 requesting UE install path from HKCU, will retry in HKLM";
    const std::string hklm = "PlatformWin32 RegOpenKeyExW failed with 2 requesting UE install path";
    EXPECT_EQ(log_.take(), (Lines{hkcu, hklm, hkcu, hklm}));
    const tests::EnvironmentSetting folder("ENGINE_FOLDER", session_.path().c_str());
    const std::string program = session_.makeProgram("engine", "");
    setValue(programKey, nullptr, "%ENGINE_FOLDER%/engine", REG_EXPAND_SZ);
    EXPECT_EQ(base::narrow(engine_.getUEInstallPath()), program);
    setValue(programKey, nullptr, session_.path().string());
    EXPECT_EQ(engine_.getUEInstallPath(), W(""));
    EXPECT_EQ(uninstallStatus(), "NOPATH|");
    setValue(uninstallKey, W("other"), "");
    EXPECT_EQ(uninstallStatus(), "HKCU QUERYFAIL|");
    EXPECT_EQ(log_.take().back(), "PlatformWin32 RegQueryValueExW failed with 2 requesting UE uninstall string");
    for (const auto& [text, type, status] : {std::tuple{program, REG_BINARY, std::string("HKCU EMPTY|")},
                                             {"/gone", REG_SZ, "HKCU|"},
                                             {program, REG_SZ, "HKCU|" + program}}) {
        setValue(uninstallKey, W("UninstallString"), text, static_cast<DWORD>(type));
        EXPECT_EQ(uninstallStatus(), status);
    }
}

TEST_F(PlatformUETest, ReadsTheServicesReplies) {
    struct Row {
        PipeServer::Replies replies;
        const char* outcome;  // result, information, code
        const char* line;
    };
    const char* const odd = "PlatformWin32 Unexpected response from service.";
    for (const auto& [replies, outcome, line] : std::vector<Row>{
             {{std::nullopt}, "0|PipeMessageResult|-1", "PlatformWin32 Failed to send install message."},
             {{"FAILURE driver"}, "0|PipeMessageParse|-1", "PlatformWin32 Service failed to install Update Engine."},
             {{"MAYBE"}, "0|PipeMessageUnexpected|-1", "base MAYBE"},
             {{"SUCCESS", "SUCCESS ok"}, "0|PipeMessagePollUnexpected|-1", odd},
             {{"SUCCESS", "FAILURE ok 0"}, "0|PipeMessagePollUnexpected|-1", odd},
             {{"SUCCESS", "FAILURE", "SUCCESS ok 3"}, "0|ok 3|3", "PlatformWin32 UE installation returned error."},
             {{"SUCCESS", "SUCCESS ok 0"}, "1|ok 0|0", "base SUCCESS ok 0"},
         }) {
        pauses_ = 0;
        PipeServer service(base::servicePipeName, replies);
        const auto result = dockset::installByService(W("/in staller"), W("/service"));
        EXPECT_EQ((result.installed ? "1|" : "0|") + result.information + "|" + std::to_string(result.code), outcome);
        EXPECT_EQ(log_.take().back(), line);
        EXPECT_EQ(pauses_, replies.size() == 3 ? 5000U : 0U);
        EXPECT_EQ(service.requests().front(), "UE_DRIVER_INSTALL \"/in staller\" \"/service\"");
    }
    pauses_ = 0;
    PipeServer::Replies never(121, "FAILURE");
    never[0] = "SUCCESS";
    PipeServer service(base::servicePipeName, never);
    EXPECT_EQ(dockset::installByService(W("/i"), W("/s")).information, "PipeMessagePollTimeout");
    EXPECT_EQ(pauses_, 600'000U);
    EXPECT_EQ(service.requests().back(), "UE_POLL_RESULT");
}

TEST_F(PlatformUETest, ReinstallsTheEngine) {
    const std::string out = (session_.path() / "out").string();
    const std::string installer =
        session_.makeProgram("installer", "echo \"$@\" >>'" + out + "'; exit ${INSTALLER_EXIT:-0}");
    setValue(uninstallKey, W("UninstallString"), session_.makeProgram("uninstaller", "echo \"$@\" >>'" + out + "'"));
    PipeServer service(base::servicePipeName, {"SUCCESS", "SUCCESS ok 0"});
    std::string error = "earlier";
    EXPECT_TRUE(engine_.reinstallUE(installer, installer, nullptr, &error, true));
    EXPECT_EQ(error, "");
    EXPECT_EQ(tests::readFile(out), "/S /K\n/S /F\n");
    EXPECT_EQ(events_.lines(), (Lines{"UEStats/Uninstall1601/Success", "Service/UEInstall/Success/6=ok 0/7=0"}));
    EXPECT_EQ(pauses_, 500U + 1200U);
    service.requests();
    log_.take();
    const tests::EnvironmentSetting fails("INSTALLER_EXIT", "4");
    EXPECT_FALSE(engine_.reinstallUE(installer, "/no service", nullptr, &error, false));
    EXPECT_EQ(error, "WaitExit 4");
    const auto tail = log_.take();
    EXPECT_EQ(Lines(tail.end() - 3, tail.end()),
              (Lines{"PlatformWin32 Failed to canonicalize path, No such file or directory",
                     "PlatformWin32 ERROR UE installer exited with 4",
                     "PlatformWin32 installUEOptService UE install from dockset failed, aborting"}));
    win32::script::failNext("WaitForSingleObject", ERROR_INVALID_HANDLE, 1);
    EXPECT_FALSE(engine_.reinstallUE(installer, installer, nullptr, &error, false));
    EXPECT_EQ(error, "WaitExit FAIL");
    EXPECT_EQ(events_.lines().back(), "Service/UEInstall/Failure/6=PipeMessageResult/7=");
}

TEST_F(PlatformUETest, TellsHowTheUninstallerEnded) {
    std::string status;
    EXPECT_TRUE(engine_.uninstallUE(status));
    EXPECT_EQ(status, "NOPATH");
    setValue(uninstallKey, W("UninstallString"), session_.makeProgram("uninstaller", "exit 3"));
    const auto ends = [&](const char* expected) {
        EXPECT_FALSE(engine_.uninstallUE(status));
        EXPECT_EQ(status, expected);
    };
    ends("HKCU EXIT3");
    win32::script::failNext("CreateProcessW", ERROR_ELEVATION_REQUIRED);
    win32::script::failNext("ShellExecuteExW", ERROR_CANCELLED);
    ends("HKCU CANCELUAC");
    win32::script::failNext("CreateProcessW", ERROR_ACCESS_DENIED);
    ends("HKCUCreateProcessW 5");
    EXPECT_EQ(log_.lines().back(), "PlatformWin32 ERROR UE uninstaller failed to start");
    win32::script::failNext("WaitForSingleObject", ERROR_INVALID_HANDLE);
    ends("HKCU WAITEXIT");
    win32::script::failNext("K32EnumProcesses", ERROR_ACCESS_DENIED);
    EXPECT_EQ(engine_.terminateRunningInstances(), 0);
}

TEST_F(PlatformUETest, AvoidsProgramFiles) {
    const auto temporary = boost::filesystem::temp_directory_path() / "zelmodockset";
    for (const char* const path : {"C:\\Program Files\\x", "D:/PROGRAM files (x86)/x", "c:/program files"}) {
        EXPECT_EQ(engine_.avoidProgramFiles(path), temporary) << path;
    }
    for (const char* const path : {"C:\\Program File", "C:\\Programs Files", "/opt/program files"}) {
        EXPECT_EQ(engine_.avoidProgramFiles(path), path);
    }
}

TEST_F(PlatformUETest, KnowsTheMachinesAddressesAndAFreePort) {
    EXPECT_EQ(engine_.getLocalAddresses(true), (Lines{"localhost", "127.0.0.1"}));
    const Lines addresses = engine_.getLocalAddresses(false);
    EXPECT_EQ(std::count(addresses.begin(), addresses.end(), "127.0.0.1"), 1);
    win32::script::failNext("GetIpAddrTable", ERROR_NOT_SUPPORTED);
    EXPECT_EQ(engine_.getLocalAddresses(false).size(), 2U);
    EXPECT_EQ(log_.lines().back(), "PlatformWin32 GetIpAddrTable failed with 50");
    for (const char* const operation : {"socket", "bind", "getsockname"}) {
        win32::script::failNext(operation, ERROR_ACCESS_DENIED);
        EXPECT_EQ(engine_.getFreePort(), 0);
    }
}

}  // namespace
