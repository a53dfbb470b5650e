#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "layer/linux/child_process.h"
#include "temp_session.h"
#include "win32/mutex.h"

namespace {

constexpr LPCWSTR name = W("ZelmoKill{336E4D53-2497-463C-8B4E-FBB81AC84C83}");
constexpr LPCWSTR globalName = W("Global\\zelmo-kill-336E4D53");

// "take NAMESPACE" owns the mutex, "wait" waits for it and tells the outcome, "release" and "close" give it back.
int playMutexUser() {
    HANDLE mutex = nullptr;
    for (std::string line; !(line = hearLine(childInput)).empty();) {
        if (line == "session" || line == "global") {
            mutex = CreateMutexW(nullptr, FALSE, line == "global" ? globalName : name);
            tellLine(childOutput, std::to_string(GetLastError()));
        } else if (line == "wait") {
            tellLine(childOutput, "waiting");
            tellLine(childOutput, std::to_string(WaitForSingleObject(mutex, INFINITE)));
        } else if (line == "release") {
            tellLine(childOutput, std::to_string(ReleaseMutex(mutex)));
        } else {
            tellLine(childOutput, std::to_string(CloseHandle(mutex)));
        }
    }
    return 0;
}

const ChildRole role("mutex-user", playMutexUser);

std::string ask(const ChildProcess& child, const std::string& line) {
    child.tell(line);
    std::string answer = child.hear();
    return answer == "waiting" ? child.hear() : answer;
}

bool exists(LPCWSTR which) {
    const HANDLE mutex = OpenMutexW(SYNCHRONIZE, FALSE, which);
    return mutex != nullptr && CloseHandle(mutex) != FALSE;
}

class MutexProcessesTest : public testing::Test {
protected:
    tests::TempSession session_;
};

TEST_F(MutexProcessesTest, OwnersAreKilledTwoHundredTimes) {
    ChildProcess waiter("mutex-user");
    for (int round = 0; round < 200; ++round) {
        const bool isGlobal = round % 2 == 1;
        const std::string kind = isGlobal ? "global" : "session";
        const LPCWSTR which = isGlobal ? globalName : name;
        {
            ChildProcess owner("mutex-user");
            ASSERT_EQ(ask(owner, kind), "0") << "the name outlived its holders in round " << round;
            ASSERT_EQ(ask(owner, "wait"), "0");
            if (round % 4 < 2) {
                continue;  // killed as the only holder
            }
            ASSERT_EQ(ask(waiter, kind), "183");
            waiter.tell("wait");
            ASSERT_EQ(waiter.hear(), "waiting");
        }
        ASSERT_EQ(waiter.hear(), "128") << "round " << round;
        ASSERT_EQ(ask(waiter, "release"), "1");
        const HANDLE next = CreateMutexW(nullptr, FALSE, which);
        ASSERT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
        ASSERT_EQ(WaitForSingleObject(next, 5000), WAIT_OBJECT_0) << "abandonment told twice";
        ReleaseMutex(next);
        CloseHandle(next);
        ASSERT_EQ(ask(waiter, "close"), "1");
        ASSERT_FALSE(exists(which));
    }
    EXPECT_FALSE(exists(name));
}

TEST_F(MutexProcessesTest, FileOfAStrangerDoesNoHarm) {
    const std::filesystem::path file = (session_.path() / "machine/zelmo-dockset-mutex-zelmo-kill-336E4D53").string();
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, globalName);
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(std::filesystem::status(file).permissions(), static_cast<std::filesystem::perms>(0666));
    std::filesystem::resize_file(file, 0);
    EXPECT_TRUE(ReleaseMutex(mutex));
    std::ofstream(file, std::ios::trunc) << std::string(5000, '\xff');
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED);
    EXPECT_TRUE(ReleaseMutex(mutex));
    std::filesystem::remove(file);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    CloseHandle(mutex);

    // A pipe or a link in place of the file is refused, and opening it doesn't block.
    ASSERT_EQ(mkfifo(file.c_str(), 0666), 0);
    EXPECT_EQ(CreateMutexW(nullptr, FALSE, globalName), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    std::filesystem::remove(file);
    std::filesystem::create_symlink("/etc/passwd", file);
    EXPECT_EQ(CreateMutexW(nullptr, FALSE, globalName), nullptr);
    std::filesystem::remove(file);
}

}  // namespace
