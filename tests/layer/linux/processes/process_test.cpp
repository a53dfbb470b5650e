// Real programs: how they start, what is told of their end, and how they get root's rights.

#include "win32/process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <future>

#include "base/handle.h"
#include "layer/linux/child_process.h"
#include "layer/linux/test_program.h"
#include "win32/shell.h"

namespace {

class LinuxProcessTest : public testing::Test {
protected:
    std::string makeProgram(const std::string& name, const std::string& body) const {
        return tests::makeProgram(session_.path() / name, body);
    }

    base::Handle start(const std::string& program, const std::string& commandLine = {},
                       const std::string& directory = {}) {
        const WideString path = base::widen(program);
        WideString line = base::widen(commandLine);
        const WideString wideDirectory = base::widen(directory);
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION started{};
        if (CreateProcessW(program.empty() ? nullptr : path.c_str(), commandLine.empty() ? nullptr : line.data(),
                           nullptr, nullptr, FALSE, 0, nullptr, directory.empty() ? nullptr : wideDirectory.c_str(),
                           &startup, &started) == FALSE) {
            return {};
        }
        CloseHandle(started.hThread);
        return base::Handle(started.hProcess);
    }

    static DWORD codeOf(const base::Handle& process) {
        DWORD code = 0;
        EXPECT_EQ(WaitForSingleObject(process.get(), 10'000), WAIT_OBJECT_0);
        EXPECT_NE(GetExitCodeProcess(process.get(), &code), FALSE);
        return code;
    }

    tests::TempSession session_;
};

TEST_F(LinuxProcessTest, StartsProgramsWithTheirArguments) {
    const std::string out = (session_.path() / "out").string();
    const std::string program = makeProgram("a program", "{ pwd; printf '%s|' \"$@\"; } >'" + out + "'; exit 7");
    const std::string home = (session_.path() / "home").string();
    const std::string quoted = makeProgram("quo\"ted", "exit $#");
    EXPECT_EQ(codeOf(start(quoted, quoted + " \"a b\" c")), 2U);
    EXPECT_EQ(codeOf(start(program + ".exe", "\"" + program + "\" /S \"a b\" c\\\"d \"\"", home)), 7U);
    std::ifstream written(out);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), home + "\n/S|a b|c\"d||");
    const auto searched = tests::searchFirst(session_.path());
    EXPECT_EQ(codeOf(start("", "\"a program.exe\" /x")), 7U);
}

TEST_F(LinuxProcessTest, TellsWhyNothingWasStarted) {
    const std::string good = makeProgram("good", "");
    const std::string locked = makeProgram("locked", "");
    chmod(locked.c_str(), 0644);
    const struct {
        std::string program;
        std::string directory;
        DWORD error;
    } cases[] = {
        {(session_.path() / "none").string(), "", ERROR_FILE_NOT_FOUND},
        {good, "/no such directory", ERROR_DIRECTORY},
        {locked, "", ERROR_ACCESS_DENIED},
    };
    for (const auto& [program, directory, error] : cases) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(start(program, "", directory));
        EXPECT_EQ(GetLastError(), error) << program;
    }
}

TEST_F(LinuxProcessTest, TellsEveryWaiterTheSameEnd) {
    const std::string fifo = (session_.path() / "fifo").string();
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const base::Handle process = start(makeProgram("ends", "read line <\"$1\"; exit 5"), "ends " + fifo);
    DWORD code = 0;
    EXPECT_NE(GetExitCodeProcess(process.get(), &code), FALSE);
    EXPECT_EQ(code, STILL_ACTIVE);
    EXPECT_EQ(WaitForSingleObject(process.get(), 0), DWORD{WAIT_TIMEOUT});
    std::vector<std::future<DWORD>> waiters;
    for (int i = 0; i < 4; ++i) {
        waiters.push_back(std::async(std::launch::async, [&] { return codeOf(process); }));
    }
    std::ofstream(fifo) << "go\n";
    for (auto& waiter : waiters) {
        EXPECT_EQ(waiter.get(), 5U);
    }
    EXPECT_FALSE(tests::hasZombie());
}

TEST_F(LinuxProcessTest, ElevatedProgramsStartWhenTheUserAgrees) {
    const std::string program = makeProgram("installer", "exit 3");
    const auto searched = tests::searchFirst(session_.path() / "home");
    const auto elevate = [&](const std::string& answer) {
        makeProgram("home/pkexec", "[ \"$1\" = --help ] && exec echo --keep-cwd\n" + answer);
        const WideString file = base::widen(program);
        SHELLEXECUTEINFOW info{};
        info.cbSize = sizeof info;
        info.fMask = SEE_MASK_NOCLOSEPROCESS;
        info.lpVerb = W("runas");
        info.lpFile = file.c_str();
        info.lpParameters = W("/S \"a b\"");
        SetLastError(ERROR_SUCCESS);
        const bool done = ShellExecuteExW(&info) != FALSE;
        EXPECT_EQ(reinterpret_cast<INT_PTR>(info.hInstApp) > 32, done);
        return done ? base::Handle(info.hProcess) : base::Handle();
    };
    EXPECT_EQ(codeOf(elevate("[ \"$1$3$4\" = '--keep-cwd/Sa b' ] || exit 126; shift; exec \"$@\"")), 3U);
    EXPECT_FALSE(elevate("exit 126"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_CANCELLED});
    EXPECT_FALSE(elevate("exit 127"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
}

}  // namespace
