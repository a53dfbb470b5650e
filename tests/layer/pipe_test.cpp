#include "win32/pipe.h"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>
#include <vector>

#include "temp_session.h"

namespace {

constexpr LPCWSTR path = W("\\\\.\\pipe\\ZelmoTest{8845C5F8-9A73-4591-A5C2-4E72B28175EA}");
using Bytes = std::vector<unsigned char>;

HANDLE createServer(DWORD flags = 0, DWORD instances = PIPE_UNLIMITED_INSTANCES) {
    return CreateNamedPipeW(path, PIPE_ACCESS_DUPLEX | flags, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT,
                            instances, 8192, 8192, 0, nullptr);
}

HANDLE openClient(LPCWSTR which = path) {
    const HANDLE pipe =
        CreateFileW(which, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, SECURITY_SQOS_PRESENT, nullptr);
    DWORD mode = PIPE_READMODE_MESSAGE;
    if (pipe != INVALID_HANDLE_VALUE) {
        EXPECT_TRUE(SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr));
    }
    return pipe;
}

bool accepts(HANDLE server) { return ConnectNamedPipe(server, nullptr) || GetLastError() == ERROR_PIPE_CONNECTED; }

bool sends(HANDLE pipe, const Bytes& bytes) {
    DWORD done = 0;
    return WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr) && done == bytes.size();
}

// One read; the code is 0 when it succeeded.
Bytes receive(HANDLE pipe, DWORD size, DWORD& code) {
    Bytes bytes(size);
    DWORD done = 0;
    code = ReadFile(pipe, bytes.data(), size, &done, nullptr) ? 0 : GetLastError();
    bytes.resize(done);
    return bytes;
}

Bytes pattern(std::size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

class PipeTest : public testing::Test {
    tests::TempSession session_;
};

TEST_F(PipeTest, NoServer) {
    EXPECT_EQ(openClient(), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(WaitNamedPipeW(path, 20'000));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    CloseHandle(createServer());
    EXPECT_EQ(openClient(), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(PipeTest, MessagesArriveWhole) {
    const HANDLE server = createServer(FILE_FLAG_FIRST_PIPE_INSTANCE);
    const HANDLE client = openClient(W("\\\\.\\PIPE\\zelmotest{8845c5f8-9a73-4591-a5c2-4e72b28175ea}"));
    ASSERT_NE(client, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(accepts(server));
    DWORD code = 0;
    for (const std::size_t size : {2U, 8192U, 8194U, 200'000U}) {
        const Bytes message = pattern(size);
        // A message beyond the buffers may keep its sender waiting until it is read.
        std::thread asking([&] { EXPECT_TRUE(sends(client, message)); });
        EXPECT_EQ(receive(server, 262'144, code), message);
        asking.join();
        std::thread answering([&] { EXPECT_TRUE(sends(server, message) && sends(server, {7})); });
        Bytes whole;
        do {
            const Bytes part = receive(client, 8192, code);
            whole.insert(whole.end(), part.begin(), part.end());
            EXPECT_EQ(code, whole.size() < size ? ERROR_MORE_DATA : 0);
        } while (code == ERROR_MORE_DATA);
        EXPECT_EQ(whole, message);
        EXPECT_EQ(receive(client, 10, code), Bytes{7});
        answering.join();
    }
    EXPECT_TRUE(FlushFileBuffers(server));
    EXPECT_TRUE(CloseHandle(client));
    receive(server, 10, code);
    EXPECT_EQ(code, ERROR_BROKEN_PIPE);
    EXPECT_TRUE(DisconnectNamedPipe(server));
    receive(server, 10, code);
    EXPECT_EQ(code, ERROR_PIPE_NOT_CONNECTED);
    CloseHandle(server);
}

TEST_F(PipeTest, FirstInstanceIsOne) {
    const HANDLE server = createServer(FILE_FLAG_FIRST_PIPE_INSTANCE, 2);
    EXPECT_EQ(createServer(FILE_FLAG_FIRST_PIPE_INSTANCE), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    CloseHandle(server);
}

TEST_F(PipeTest, AnInstanceServesOneAtATime) {
    const HANDLE server = createServer(FILE_FLAG_FIRST_PIPE_INSTANCE, 2);
    const HANDLE first = openClient();
    for (const bool isAccepted : {false, true}) {  // taken as soon as the client is there
        EXPECT_EQ(openClient(), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), ERROR_PIPE_BUSY);
        EXPECT_FALSE(WaitNamedPipeW(path, 30));
        EXPECT_EQ(GetLastError(), ERROR_SEM_TIMEOUT);
        ASSERT_TRUE(isAccepted || accepts(server));
    }
    const HANDLE other = createServer(0, 2);
    EXPECT_EQ(createServer(0, 2), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_PIPE_BUSY);
    const HANDLE second = openClient();
    ASSERT_NE(second, INVALID_HANDLE_VALUE);
    CloseHandle(other);

    DisconnectNamedPipe(server);
    EXPECT_EQ(openClient(), INVALID_HANDLE_VALUE);  // not offered yet
    EXPECT_EQ(GetLastError(), ERROR_PIPE_BUSY);
    std::thread serving([&] { EXPECT_TRUE(accepts(server)); });
    EXPECT_TRUE(WaitNamedPipeW(path, 20'000));
    const HANDLE third = openClient();
    EXPECT_NE(third, INVALID_HANDLE_VALUE);
    serving.join();
    DWORD code = 0;
    receive(second, 10, code);
    EXPECT_EQ(code, ERROR_BROKEN_PIPE);
    for (const HANDLE handle : {first, second, third, server}) {
        CloseHandle(handle);
    }
}

TEST_F(PipeTest, ServerThatGoesEndsTheClientsRead) {
    DWORD code = 0;
    for (const bool readsFirst : {false, true}) {
        for (const bool answers : {false, true}) {
            const HANDLE server = createServer();
            const HANDLE client = openClient();
            ASSERT_TRUE(accepts(server));
            ASSERT_TRUE(sends(client, {1, 0}));
            if (readsFirst) {
                receive(server, 10, code);
            }
            if (answers) {
                ASSERT_TRUE(sends(server, {2, 0}));
            }
            CloseHandle(server);
            if (answers) {
                EXPECT_EQ(receive(client, 10, code), (Bytes{2, 0}));
                EXPECT_EQ(code, 0U);
            }
            receive(client, 10, code);
            EXPECT_TRUE(code == ERROR_BROKEN_PIPE || code == ERROR_PIPE_NOT_CONNECTED) << code;
            EXPECT_FALSE(sends(client, {1}));
            CloseHandle(client);
        }
    }
}

TEST_F(PipeTest, ManyClientsTakeTurns) {
    const HANDLE server = createServer();
    constexpr int clients = 4;
    constexpr int rounds = 25;
    std::thread serving([&] {
        DWORD code = 0;
        for (int i = 0; i < clients * rounds; ++i) {
            ASSERT_TRUE(accepts(server));
            EXPECT_TRUE(sends(server, receive(server, 100, code)));
            FlushFileBuffers(server);
            DisconnectNamedPipe(server);
        }
    });
    std::vector<std::thread> threads;
    for (unsigned char number = 1; number <= clients; ++number) {
        threads.emplace_back([number] {
            for (int i = 0; i < rounds; ++i) {
                HANDLE pipe = INVALID_HANDLE_VALUE;
                while ((pipe = openClient()) == INVALID_HANDLE_VALUE) {
                    ASSERT_EQ(GetLastError(), ERROR_PIPE_BUSY);
                    ASSERT_TRUE(WaitNamedPipeW(path, 20'000)) << GetLastError();
                }
                DWORD code = 0;
                EXPECT_TRUE(sends(pipe, {number, 0}));
                EXPECT_EQ(receive(pipe, 100, code), (Bytes{number, 0}));
                CloseHandle(pipe);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    serving.join();
    CloseHandle(server);
}

}  // namespace
