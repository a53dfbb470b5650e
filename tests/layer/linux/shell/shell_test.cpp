// What the shell's operations do on this system: real programs, files and folders.

#include "win32/shell.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "layer/linux/test_program.h"
#include "linux/processes/command_line.h"
#include "win32/file.h"
#include "win32/kernel.h"

namespace {

namespace fs = boost::filesystem;
using Lines = std::vector<std::string>;

class ShellTest : public testing::Test {
protected:
    // A program that writes its directory, its arguments and how many descriptors it has, a line each, and then ends.
    std::string makeProgram(const std::string& name) const {
        return tests::makeProgram(session_.path() / name,
                                  "out='" + output_ + "'\n{ pwd; for a; do printf '%s\\n' \"$a\"; done; " +
                                      "ls -l /proc/self/fd | grep -c '^l'; } >\"$out.new\"\nmv \"$out.new\" \"$out\"");
    }

    static BOOL open(const std::string& file, const WCHAR* parameters = W(""), const std::string& directory = "/") {
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

    Lines linesOfOutput() const {
        EXPECT_TRUE(tests::waitUntil([this] { return fs::exists(output_); }));
        std::ifstream file(output_);
        Lines lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        fs::remove(output_);
        return lines;
    }
    std::string firstArgument() const { return linesOfOutput().at(1); }

    tests::TempSession session_;
    const std::string output_ = (session_.path() / "output").string();
};

}  // namespace

TEST_F(ShellTest, StartsProgramsAndInstallersThatNothingMadeExecutable) {
    const std::string program = makeProgram("My Program");
    const std::string directory = (session_.path() / "home").string();
    // A handle of ours, which the program must not get.
    const std::ofstream held((session_.path() / "held").string());
    ASSERT_NE(open(program + ".exe", W("/passive \"a b\" c\\\"d"), directory), FALSE);
    EXPECT_EQ(linesOfOutput(), (Lines{directory, "/passive", "a b", "c\"d", "4"}));
    EXPECT_TRUE(tests::waitUntil([] { return !tests::hasZombie(); }));

    const std::string installer = makeProgram("setup.exe");
    chmod(installer.c_str(), 0640);
    ASSERT_NE(open(installer, W("/passive")), FALSE);
    EXPECT_EQ(firstArgument(), "/passive");
    EXPECT_EQ(fs::status(installer).permissions(), static_cast<fs::perms>(0750));
}

TEST_F(ShellTest, AHeldProgramIsTheOneThatRuns) {
    const std::string program = makeProgram("held.exe");
    const HANDLE held = CreateFileW(base::widen(program).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    std::atomic<bool> ended = false;
    std::thread swapper([&] {
        while (!ended) {
            std::ofstream(program + ".new") << "#!/bin/sh\necho swapped > \"" + output_ + "\"\n";
            fs::permissions(program + ".new", fs::perms::owner_all);
            fs::rename(program + ".new", program);
        }
    });
    for (int i = 0; i < 50; ++i) {
        ASSERT_NE(open(program, W("mine")), FALSE);
        EXPECT_EQ(firstArgument(), "mine");
    }
    ended = true;
    swapper.join();
    CloseHandle(held);
}

TEST_F(ShellTest, TellsWhyNothingWasStarted) {
    const std::string program = makeProgram("program");
    const auto errorOf = [this](const std::string& name, const std::string& directory = "/") {
        EXPECT_EQ(open((session_.path() / name).string(), W(""), directory), FALSE);
        return GetLastError();
    };
    std::ofstream((session_.path() / "data.exe").string()) << "no program";
    EXPECT_EQ(errorOf("none.exe"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(errorOf("data.exe"), ERROR_BAD_EXE_FORMAT);
    EXPECT_EQ(errorOf("program", "/no such directory"), ERROR_DIRECTORY);
    EXPECT_LE(reinterpret_cast<ULONG_PTR>(ShellExecuteA(nullptr, "verb", program.c_str(), nullptr, nullptr, SW_SHOW)),
              32U);
    EXPECT_EQ(GetLastError(), ERROR_NO_ASSOCIATION);
}

TEST_F(ShellTest, HandsPlacesToTheDesktopsOpener) {
    fs::rename(makeProgram("xdg-open"), session_.path() / "home" / "xdg-open");
    const auto searched = tests::searchFirst(session_.path() / "home");
    for (const std::string& place : {std::string("https://example.org/a b"), (session_.path() / "home").string()}) {
        ASSERT_NE(open(place), FALSE);
        EXPECT_EQ(firstArgument(), place);
    }
    const auto openPlainly = [](const char* place) {
        return reinterpret_cast<INT_PTR>(ShellExecuteA(nullptr, "open", place, nullptr, nullptr, SW_SHOWNORMAL));
    };
    EXPECT_GT(openPlainly("https://\xC3\xA4.example/"), 32);
    EXPECT_EQ(firstArgument(), "https://\xC3\xA4.example/");
    EXPECT_EQ(openPlainly("/none"), ERROR_FILE_NOT_FOUND);

    const fs::path mounted = session_.path() / "runtime/gvfs/mtp:host=Zelmo_Phone_7_SERIAL";
    fs::create_directories(mounted);
    const auto placeOfDevice = [this](const WideString& name) {
        const WideString path = W("::{20D04FE0-3AEA-1069-A2D8-08002B30309D}\\") + name;
        ShellExecuteW(nullptr, W("open"), path.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
        return firstArgument();
    };
    EXPECT_EQ(placeOfDevice(W("Zelmo Phone 7")), mounted.string());
    const tests::EnvironmentSetting desktop("XDG_CURRENT_DESKTOP", "XFCE");
    EXPECT_EQ(placeOfDevice(W("Other")), "computer:///");
}

TEST(CommandLine, IsSplitAsTheWindowsRuntimeSplitsIt) {
    const std::pair<const char*, Lines> lines[] = {
        {"", {}},
        {"  a \t b  ", {"a", "b"}},
        {R"("a b"c "" d)", {"a bc", "", "d"}},
        {R"(a\\\b "c\\" d\"e "f\\\"g" "h""i")", {R"(a\\\b)", R"(c\)", R"(d"e)", R"(f\"g)", R"(h"i)"}},
    };
    for (const auto& [line, arguments] : lines) {
        EXPECT_EQ(win32::splitArguments(line), arguments) << line;
    }
}
