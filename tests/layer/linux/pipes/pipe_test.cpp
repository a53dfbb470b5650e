#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <thread>

#include "temp_session.h"
#include "win32/pipe.h"

namespace {

constexpr LPCWSTR path = W("\\\\.\\pipe\\ZelmoKill{16B1AE03-CCC3-48F6-A5CB-781B398B6776}");

HANDLE createServer() {
    return CreateNamedPipeW(path, PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE,
                            PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, PIPE_UNLIMITED_INSTANCES, 0, 0, 0, nullptr);
}

HANDLE openClient() { return CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr); }

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
