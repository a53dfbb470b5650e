#include <gtest/gtest.h>

#include <future>
#include <vector>

#include "base/handle.h"
#include "base/object_names.h"
#include "captured_events.h"
#include "captured_log.h"
#include "platform/platform_win32.h"
#include "platform/ue_service.h"
#include "temp_session.h"
#include "win32/pipe.h"
#include "win32/registry.h"
#include "win32/script.h"

namespace {

using tests::Lines;

const WideString programKey =
    W("Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Tavrin Mobile Update Engine.exe");
const WideString uninstallKey = W("Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Update Engine");

// Serves the service's pipe: a reply a client, and the requests that came.
class Service {
public:
    explicit Service(std::vector<std::string> replies)
        : pipe_(CreateNamedPipeW(base::servicePipeName, PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE,
                                 1, 0, 0, 0, nullptr)),
          served_(std::async(std::launch::async, [this, replies = std::move(replies)] { serve(replies); })) {}

    Lines requests() {
        served_.get();
        return requests_;
    }

private:
    void serve(const std::vector<std::string>& replies) {
        for (const std::string& reply : replies) {
            ConnectNamedPipe(pipe_.get(), nullptr);
            std::vector<WCHAR> buffer(1024);
            DWORD size = 0;
            ReadFile(pipe_.get(), buffer.data(), 2048, &size, nullptr);
            requests_.push_back(base::narrow(buffer.data()));
            const WideString text = base::widen(reply);
            if (!reply.empty()) {
                WriteFile(pipe_.get(), text.c_str(), static_cast<DWORD>((text.size() + 1) * 2), &size, nullptr);
                FlushFileBuffers(pipe_.get());
            }
            DisconnectNamedPipe(pipe_.get());
        }
        pipe_.reset();
    }

    base::FileHandle pipe_;
    Lines requests_;
    std::future<void> served_;
};

class PlatformUETest : public testing::Test {
protected:
    PlatformUETest() {
        win32::script::answerSleep([this](DWORD milliseconds) { pauses_ += milliseconds; });
        log_.take();
    }
    ~PlatformUETest() override { win32::script::reset(); }

    std::string makeProgram(const std::string& name, const std::string& body) const {
        const std::string path = (session_.path() / name).string();
        std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
        boost::filesystem::permissions(path, boost::filesystem::owner_all);
        return path;
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

    tests::TempSession session_;
    tests::CapturedLog log_;
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
    const std::string program = makeProgram("engine", "");
    setValue(programKey, nullptr, "%ENGINE_FOLDER%/engine", REG_EXPAND_SZ);
    EXPECT_EQ(base::narrow(engine_.getUEInstallPath()), program);
    setValue(programKey, nullptr, session_.path().string());
    EXPECT_EQ(engine_.getUEInstallPath(), W(""));
    EXPECT_EQ(uninstallStatus(), "NOPATH|");
    setValue(uninstallKey, W("other"), "");
    EXPECT_EQ(uninstallStatus(), "HKCU QUERYFAIL|");
    EXPECT_EQ(log_.take().back(), "PlatformWin32 RegQueryValueExW failed with 2 requesting UE uninstall string");
    setValue(uninstallKey, W("UninstallString"), program, REG_BINARY);
    EXPECT_EQ(uninstallStatus(), "HKCU EMPTY|");
    setValue(uninstallKey, W("UninstallString"), "/gone");
    EXPECT_EQ(uninstallStatus(), "HKCU|");
    setValue(uninstallKey, W("UninstallString"), program);
    EXPECT_EQ(uninstallStatus(), "HKCU|" + program);
}

TEST_F(PlatformUETest, AsksTheServiceAndReadsItsReplies) {
    struct Row {
        std::vector<std::string> replies;
        const char* outcome;  // result, information, code
        const char* line;
    };
    for (const auto& [replies, outcome, line] : std::vector<Row>{
             {{}, "0|PipeMessageResult|-1", "PlatformWin32 Failed to send install message."},
             {{""}, "0|PipeMessageResult|-1", "PlatformWin32 Failed to send install message."},
             {{"FAILURE driver 5"}, "0|driver 5|5", "PlatformWin32 Service failed to install Update Engine."},
             {{"FAILURE driver"}, "0|PipeMessageParse|-1", "PlatformWin32 Service failed to install Update Engine."},
             {{"MAYBE"}, "0|PipeMessageUnexpected|-1", "base MAYBE"},
             {{"SUCCESS", ""}, "0|PipeMessagePollResult|-1", "PlatformWin32 Failed to send poll result message."},
             {{"SUCCESS", "SUCCESS ok"},
              "0|PipeMessagePollUnexpected|-1",
              "PlatformWin32 Unexpected response from service."},
             {{"SUCCESS", "FAILURE ok 0"},
              "0|PipeMessagePollUnexpected|-1",
              "PlatformWin32 Unexpected response from service."},
             {{"SUCCESS", "FAILURE", "SUCCESS ok 3"}, "0|ok 3|3", "PlatformWin32 UE installation returned error."},
             {{"SUCCESS", "SUCCESS ok 0"}, "1|ok 0|0", "base SUCCESS ok 0"},
         }) {
        pauses_ = 0;
        Service service(replies.empty() ? std::vector<std::string>{} : replies);
        if (replies.empty()) {
            service.requests();
        }
        const auto result = dockset::installByService(W("/in staller"), W("/service"));
        EXPECT_EQ((result.installed ? "1|" : "0|") + result.information + "|" + std::to_string(result.code), outcome);
        EXPECT_EQ(log_.take().back(), line);
        EXPECT_EQ(pauses_, replies.size() == 3 ? 5000U : 0U);
        if (!replies.empty()) {
            EXPECT_EQ(service.requests().front(), "UE_DRIVER_INSTALL \"/in staller\" \"/service\"");
        }
    }
}

TEST_F(PlatformUETest, GivesUpAServiceThatNeverFinishes) {
    std::vector<std::string> replies(121, "FAILURE");
    replies[0] = "SUCCESS";
    Service service(replies);
    const auto result = dockset::installByService(W("/i"), W("/s"));
    EXPECT_EQ(result.information, "PipeMessagePollTimeout");
    EXPECT_FALSE(result.installed);
    EXPECT_EQ(result.code, -1);
    EXPECT_EQ(pauses_, 600'000U);
    EXPECT_EQ(service.requests().back(), "UE_POLL_RESULT");
}

TEST_F(PlatformUETest, ReinstallsTheEngine) {
    const std::string out = (session_.path() / "out").string();
    const std::string installer = makeProgram("installer", "echo \"$@\" >>'" + out + "'; exit ${INSTALLER_EXIT:-0}");
    setValue(uninstallKey, W("UninstallString"), makeProgram("uninstaller", "echo \"$@\" >>'" + out + "'"));
    Service service({"SUCCESS", "SUCCESS ok 0"});
    std::string error = "earlier";
    EXPECT_TRUE(engine_.reinstallUE(installer, installer, nullptr, &error, true));
    EXPECT_EQ(error, "");
    std::ifstream written(out);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), "/S /K\n/S /F\n");
    EXPECT_EQ(events_.lines(), (Lines{"UEStats/Uninstall1601/Success", "Service/UEInstall/Success/6=ok 0/7=0"}));
    EXPECT_EQ(pauses_, 500U + 1200U);
    const auto lines = log_.take();
    for (const char* const line :
         {"UE uninstallation successful", "installUEFromService successful with info ok 0 and code 0",
          "installUEOptService driver install success !", "UE installation successful"}) {
        EXPECT_EQ(std::count(lines.begin(), lines.end(), std::string("PlatformWin32 ") + line), 1) << line;
    }
    service.requests();
    const tests::EnvironmentSetting fails("INSTALLER_EXIT", "4");
    EXPECT_FALSE(engine_.reinstallUE(installer, "/no service", nullptr, &error, false));
    EXPECT_EQ(error, "WaitExit 4");
    const auto tail = log_.take();
    EXPECT_EQ(Lines(tail.end() - 3, tail.end()),
              (Lines{"PlatformWin32 Failed to canonicalize path, No such file or directory",
                     "PlatformWin32 ERROR UE installer exited with 4",
                     "PlatformWin32 installUEOptService UE install from dockset failed, aborting"}));
    EXPECT_EQ(events_.lines().size(), 2U);
    win32::script::failNext("WaitForSingleObject", ERROR_INVALID_HANDLE, 1);
    EXPECT_FALSE(engine_.reinstallUE(installer, installer, nullptr, &error, false));
    EXPECT_EQ(error, "WaitExit FAIL");
    EXPECT_EQ(events_.lines().back(), "Service/UEInstall/Failure/6=PipeMessageResult/7=");
}

TEST_F(PlatformUETest, TellsHowTheUninstallerEnded) {
    std::string status;
    EXPECT_TRUE(engine_.uninstallUE(status));
    EXPECT_EQ(status, "NOPATH");
    const std::string uninstaller = makeProgram("uninstaller", "exit 3");
    setValue(uninstallKey, W("UninstallString"), uninstaller);
    EXPECT_FALSE(engine_.uninstallUE(status));
    EXPECT_EQ(status, "HKCU EXIT3");
    win32::script::failNext("CreateProcessW", ERROR_ELEVATION_REQUIRED);
    win32::script::failNext("ShellExecuteExW", ERROR_CANCELLED);
    EXPECT_FALSE(engine_.uninstallUE(status));
    EXPECT_EQ(status, "HKCU CANCELUAC");
    win32::script::failNext("CreateProcessW", ERROR_ACCESS_DENIED);
    EXPECT_FALSE(engine_.uninstallUE(status));
    EXPECT_EQ(status, "HKCUCreateProcessW 5");
    EXPECT_EQ(log_.lines().back(), "PlatformWin32 ERROR UE uninstaller failed to start");
    win32::script::failNext("WaitForSingleObject", ERROR_INVALID_HANDLE);
    EXPECT_FALSE(engine_.uninstallUE(status));
    EXPECT_EQ(status, "HKCU WAITEXIT");
}

TEST_F(PlatformUETest, EndsOneRunningInstance) {
    const auto copy = session_.path() / "engine";
    boost::filesystem::copy_file("/bin/sleep", copy);
    setValue(programKey, nullptr, copy.string());
    EXPECT_EQ(engine_.terminateRunningInstances(), 0);
    const auto start = [&] { return platform_.startProcess(base::widen(copy.string()), "60", {}, nullptr, nullptr); };
    void* const processes[] = {start(), start()};
    log_.take();
    win32::script::failNext("K32EnumProcesses", ERROR_ACCESS_DENIED);
    EXPECT_EQ(engine_.terminateRunningInstances(), 0);
    EXPECT_EQ(log_.take().back(), "terminateRunningInstances EnumProcesses failed with 5");
    EXPECT_EQ(engine_.terminateRunningInstances(), 2);
    EXPECT_EQ(log_.take().back(), "terminateRunningInstances Found running UE instance, will attempt termination");
    EXPECT_EQ(pauses_, 50U);
    EXPECT_EQ(platform_.waitForProcess(processes[0], 900, nullptr) + platform_.pollProcess(processes[1], nullptr), 1);
    for (void* const process : processes) {
        platform_.killProcess(process);
        platform_.waitForProcess(process, INFINITE, nullptr);
        platform_.closeProcess(process);
    }
}

TEST_F(PlatformUETest, AvoidsProgramFiles) {
    const auto temporary = session_.path() / "tmp";
    const tests::EnvironmentSetting place("TMPDIR", temporary.c_str());
    boost::filesystem::create_directories(temporary);
    for (const char* const path : {"C:\\Program Files\\x", "D:/PROGRAM files (x86)/x", "c:/program files"}) {
        EXPECT_EQ(engine_.avoidProgramFiles(path), temporary / "zelmodockset") << path;
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
    EXPECT_GT(engine_.getFreePort(), 0);
    for (const char* const operation : {"socket", "bind", "getsockname"}) {
        win32::script::failNext(operation, ERROR_ACCESS_DENIED);
        EXPECT_EQ(engine_.getFreePort(), 0);
    }
}

}  // namespace
