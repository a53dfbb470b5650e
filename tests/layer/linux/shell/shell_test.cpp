// What the shell's operations do on this system: real programs, files and folders.

#include "win32/shell.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "linux/processes/command_line.h"
#include "temp_session.h"
#include "win32/kernel.h"
#include "win32/registry.h"

namespace fs = boost::filesystem;

namespace {

class ShellTest : public testing::Test {
protected:
    // A program that writes its directory and its arguments, a line each, and then ends.
    std::string makeProgram(const char* name) const {
        const std::string program = (session_.path() / name).string();
        std::ofstream(program) << "#!/bin/sh\nout='" << output() << "'\n{ pwd; for a; do printf '%s\\n' \"$a\"; done; "
                               << "ls -l /proc/self/fd | grep -c '^l'; } >\"$out.new\"\nmv \"$out.new\" \"$out\"\n";
        chmod(program.c_str(), 0755);
        return program;
    }
    std::string output() const { return (session_.path() / "output").string(); }

    static BOOL open(const std::string& file, const WCHAR* parameters, const std::string& directory) {
        const WideString wideFile = base::widen(file);
        const WideString wideDirectory = base::widen(directory);
        SHELLEXECUTEINFOW info{};
        info.cbSize = sizeof info;
        info.fMask = SEE_MASK_FLAG_NO_UI;
        info.lpVerb = W("open");
        info.lpFile = wideFile.c_str();
        info.lpParameters = parameters;
        info.lpDirectory = wideDirectory.c_str();
        info.nShow = SW_SHOW;
        return ShellExecuteExW(&info);
    }

    std::vector<std::string> linesOfOutput() const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!fs::exists(output()) && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        std::ifstream file(output());
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        fs::remove(output());
        return lines;
    }

    // Whether a child has ended that nobody has waited for.
    static bool hasZombie() {
        siginfo_t ended{};
        return waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0;
    }

    tests::TempSession session_;
};

}  // namespace

TEST_F(ShellTest, StartsAProgramByItsWindowsName) {
    const std::string program = makeProgram("My Program");
    const std::string directory = (session_.path() / "home").string();
    // A handle of ours, which the program must not get.
    const std::ofstream held((session_.path() / "held").string());
    ASSERT_NE(open(program + ".exe", W("/passive \"a b\" c\\\"d"), directory), FALSE);
    EXPECT_EQ(linesOfOutput(), (std::vector<std::string>{directory, "/passive", "a b", "c\"d", "4"}));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (hasZombie() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_FALSE(hasZombie());
}

TEST_F(ShellTest, StartsAnInstallerThatNothingMadeExecutable) {
    const std::string program = makeProgram("setup.exe");
    chmod(program.c_str(), 0640);
    ASSERT_NE(open(program, W("/passive"), "/"), FALSE);
    EXPECT_EQ(linesOfOutput()[1], "/passive");
    EXPECT_EQ(fs::status(program).permissions(), static_cast<fs::perms>(0750));
}

TEST_F(ShellTest, TellsWhyNothingWasStarted) {
    EXPECT_EQ(open((session_.path() / "none.exe").string(), W(""), "/"), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    std::ofstream((session_.path() / "data.exe").string()) << "no program";
    EXPECT_EQ(open((session_.path() / "data.exe").string(), W(""), "/"), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_BAD_EXE_FORMAT);
    fs::create_directory(session_.path() / "folder.exe");
    EXPECT_EQ(open((session_.path() / "folder.exe").string(), W(""), "/"), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    const std::string program = makeProgram("program");
    EXPECT_EQ(open(program, W(""), "/no such directory"), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_DIRECTORY);
    EXPECT_LE(reinterpret_cast<ULONG_PTR>(ShellExecuteA(nullptr, "verb", program.c_str(), nullptr, nullptr, SW_SHOW)),
              32U);
    EXPECT_EQ(GetLastError(), ERROR_NO_ASSOCIATION);
}

TEST_F(ShellTest, OpensAddressesWithTheDesktopsOpener) {
    fs::rename(makeProgram("xdg-open"), session_.path() / "home" / "xdg-open");
    const std::string path = (session_.path() / "home").string() + ":" + std::getenv("PATH");
    const tests::EnvironmentSetting searched("PATH", path.c_str());
    ASSERT_NE(open("https://example.org/a b", W(""), "/"), FALSE);
    EXPECT_EQ(linesOfOutput()[1], "https://example.org/a b");
    ASSERT_NE(open((session_.path() / "home").string(), W(""), "/"), FALSE);
    EXPECT_EQ(linesOfOutput()[1], (session_.path() / "home").string());
}

TEST_F(ShellTest, OpensADevicesPlaceInTheFileManager) {
    fs::rename(makeProgram("xdg-open"), session_.path() / "home" / "xdg-open");
    const std::string path = (session_.path() / "home").string() + ":" + std::getenv("PATH");
    const tests::EnvironmentSetting searched("PATH", path.c_str());
    const fs::path mounted = session_.path() / "runtime/gvfs/mtp:host=Zelmo_Phone_7_SERIAL";
    fs::create_directories(mounted);
    const WideString computer = W("::{20D04FE0-3AEA-1069-A2D8-08002B30309D}\\");
    const auto placeOf = [&](const WCHAR* name) {
        ShellExecuteW(nullptr, W("open"), (computer + name).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
        return linesOfOutput().at(1);
    };
    EXPECT_EQ(placeOf(W("Zelmo Phone 7")), mounted.string());
    const tests::EnvironmentSetting desktop("XDG_CURRENT_DESKTOP", "XFCE");
    EXPECT_EQ(placeOf(W("Other")), "computer:///");
    EXPECT_GT(reinterpret_cast<INT_PTR>(
                  ShellExecuteA(nullptr, "open", "https://\xC3\xA4.example/", nullptr, nullptr, SW_SHOWNORMAL)),
              32);
    EXPECT_EQ(linesOfOutput().at(1), "https://\xC3\xA4.example/");
    EXPECT_EQ(reinterpret_cast<INT_PTR>(ShellExecuteA(nullptr, "open", "/none", nullptr, nullptr, SW_SHOWNORMAL)),
              ERROR_FILE_NOT_FOUND);
}

TEST_F(ShellTest, RunKeyIsTheDesktopsAutostart) {
    const fs::path entry = session_.path() / "config" / "autostart" / "Agent.desktop";
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, W("SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run"), 0, nullptr, 0,
                              KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    const WideString command = W("\"C:/Zelmo 100%/Agent$.exe\"");
    ASSERT_EQ(RegSetValueExW(key, W("Agent"), 0, REG_SZ, reinterpret_cast<const BYTE*>(command.c_str()),
                             static_cast<DWORD>((command.size() + 1) * sizeof(WCHAR))),
              ERROR_SUCCESS);
    std::ifstream file(entry.string());
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(text.find("\nExec=\"C:/Zelmo 100%%/Agent\\\\$.exe\"\n"), std::string::npos) << text;
    EXPECT_EQ(RegDeleteValueW(key, W("Agent")), ERROR_SUCCESS);
    EXPECT_FALSE(fs::exists(entry));
    RegCloseKey(key);
}

TEST(CommandLine, IsSplitAsTheWindowsRuntimeSplitsIt) {
    using Arguments = std::vector<std::string>;
    EXPECT_EQ(win32::splitArguments(""), Arguments());
    EXPECT_EQ(win32::splitArguments("  a \t b  "), (Arguments{"a", "b"}));
    EXPECT_EQ(win32::splitArguments(R"("a b"c "" d)"), (Arguments{"a bc", "", "d"}));
    EXPECT_EQ(win32::splitArguments(R"(a\\\b "c\\" d\"e "f\\\"g" "h""i")"),
              (Arguments{R"(a\\\b)", R"(c\)", R"(d"e)", R"(f\"g)", R"(h"i)"}));
}
