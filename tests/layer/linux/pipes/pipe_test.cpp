#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <string>
#include <thread>

#include "layer/linux/child_process.h"
#include "temp_session.h"
#include "win32/pipe.h"

namespace {

constexpr LPCWSTR path = W("\\\\.\\pipe\\ZelmoKill{16B1AE03-CCC3-48F6-A5CB-781B398B6776}");

HANDLE createServer() {
    return CreateNamedPipeW(path, PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE,
                            PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, PIPE_UNLIMITED_INSTANCES, 0, 0, 0, nullptr);
}

HANDLE openClient() { return CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr); }

int playServer() {
    const HANDLE server = createServer();
    tellLine(childOutput, server != INVALID_HANDLE_VALUE ? "ready" : std::to_string(GetLastError()));
    ConnectNamedPipe(server, nullptr);
    tellLine(childOutput, "connected");
    hearLine(childInput);
    return 0;
}

const ChildRole role("pipe-server", playServer);

TEST(PipeProcessesTest, KilledServerLeavesNothingInTheWay) {
    const tests::TempSession session;
    const tests::TempDirectory longer;
    const std::string deep = (longer.path() / std::string(120, 'd')).string();
    boost::filesystem::create_directory(deep);
    const tests::EnvironmentSetting runtime("XDG_RUNTIME_DIR", deep.c_str());  // longer than a socket's path may be
    for (int round = 0; round < 50; ++round) {
        ChildProcess server("pipe-server");
        ASSERT_EQ(server.hear(), "ready") << "round " << round;
        const HANDLE client = round % 2 == 0 ? openClient() : INVALID_HANDLE_VALUE;
        if (round % 2 == 0) {
            ASSERT_NE(client, INVALID_HANDLE_VALUE);
            ASSERT_EQ(server.hear(), "connected");
        }
        server.kill();
        if (round % 2 == 0) {
            char answer = 0;
            DWORD done = 0;
            EXPECT_FALSE(ReadFile(client, &answer, 1, &done, nullptr));
            EXPECT_EQ(GetLastError(), ERROR_BROKEN_PIPE);
            CloseHandle(client);
        }
        EXPECT_EQ(openClient(), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
        EXPECT_FALSE(WaitNamedPipeW(path, 20'000));
        EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    }
}

// Elsewhere the closing waits for the other thread.
TEST(PipeProcessesTest, ClosingEndsTheWaitForAClient) {
    const tests::TempSession session;
    const HANDLE server = createServer();
    std::thread waiting([&] { EXPECT_FALSE(ConnectNamedPipe(server, nullptr)); });
    CloseHandle(server);
    waiting.join();
}

TEST(PipeProcessesTest, ServiceOfTheMachineIsFoundFromASession) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root serves for the machine";
    }
    const tests::TempSession session;
    HANDLE service = INVALID_HANDLE_VALUE;
    {
        const tests::EnvironmentSetting none("XDG_RUNTIME_DIR", nullptr);
        service = createServer();
    }
    ASSERT_NE(service, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(boost::filesystem::is_empty(session.path() / "machine" / "pipe"));
    EXPECT_TRUE(WaitNamedPipeW(path, 1000));
    const HANDLE client = openClient();
    EXPECT_NE(client, INVALID_HANDLE_VALUE);
    CloseHandle(client);
    CloseHandle(service);
}

}  // namespace
