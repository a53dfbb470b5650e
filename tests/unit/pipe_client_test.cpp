#include "base/pipe_client.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

#include "base/handle.h"
#include "base/text.h"
#include "captured_log.h"
#include "temp_session.h"
#include "win32/pipe.h"
#include "win32/script.h"

using tests::Lines;

namespace {

const WideString pipeName = W("\\\\.\\pipe\\PipeClientTest");

// Serves one client: reads its message and answers, unless the answer is null; then it closes the pipe.
class Server {
public:
    explicit Server(const WideString* answer)
        : pipe_(CreateNamedPipeW(pipeName.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 0,
                                 0, 0, nullptr)) {
        request_ = std::async(std::launch::async, [this, answer] {
            ConnectNamedPipe(pipe_.get(), nullptr);
            std::vector<WCHAR> buffer(64);
            DWORD size = 0;
            ReadFile(pipe_.get(), buffer.data(), 128, &size, nullptr);
            if (answer != nullptr) {
                DWORD written = 0;
                WriteFile(pipe_.get(), answer->c_str(), static_cast<DWORD>((answer->size() + 1) * 2), &written,
                          nullptr);
                FlushFileBuffers(pipe_.get());
            }
            pipe_.reset();
            return WideString(buffer.data(), size / 2);
        });
    }
    WideString request() { return request_.get(); }

private:
    base::FileHandle pipe_;
    std::future<WideString> request_;
};

class PipeClientTest : public testing::Test {
protected:
    ~PipeClientTest() override { win32::script::reset(); }

    tests::TempSession session_;
    tests::CapturedLog log_;
};

}  // namespace

TEST_F(PipeClientTest, SendsOneMessageAndReadsTheReply) {
    const WideString answer = W("SUCCESS \u20AC");
    Server server(&answer);
    WideString reply;
    EXPECT_TRUE(base::sendPipeMessage(pipeName, W("QUIT"), &reply));
    EXPECT_EQ(reply, answer);
    EXPECT_EQ(server.request(), WideString(W("QUIT")) + WCHAR{0});
    EXPECT_EQ(log_.take(),
              (Lines{"base Message sent to server, receiving reply as follows: ", "base SUCCESS \xE2\x82\xAC"}));
}

TEST_F(PipeClientTest, JoinsAReplyThatIsLongerThanItsBuffer) {
    for (const std::size_t length : {4095U, 4096U, 10000U}) {
        const WideString answer(length, W('x'));
        Server server(&answer);
        WideString reply;
        EXPECT_TRUE(base::sendPipeMessage(pipeName, W("Q"), &reply));
        EXPECT_EQ(reply, answer);
        EXPECT_EQ(log_.take().size(), 1 + length / 4096 + 1);
        server.request();
    }
    const WideString empty;
    Server server(&empty);
    WideString reply = W("before");
    EXPECT_TRUE(base::sendPipeMessage(pipeName, W("Q"), &reply));
    EXPECT_EQ(reply, W(""));
    EXPECT_EQ(log_.take().back(), "base ");
}

TEST_F(PipeClientTest, ReportsWhatFails) {
    WideString reply = W("before");
    EXPECT_FALSE(base::sendPipeMessage(pipeName, W("QUIT"), &reply));
    EXPECT_EQ(log_.take(), Lines{"base Could not open pipe, 2"});
    {
        Server server(nullptr);
        EXPECT_FALSE(base::sendPipeMessage(pipeName, W("QUIT"), &reply));
        const std::string line = log_.take().back();
        EXPECT_TRUE(line == "base ReadFile from pipe failed. 109" || line == "base ReadFile from pipe failed. 233");
    }
    EXPECT_EQ(reply, W("before"));
    const WideString answer = W("x");
    for (const auto& [operation, line] :
         {std::pair{"SetNamedPipeHandleState", "base SetNamedPipeHandleState failed, 5"},
          std::pair{"WriteFile", "base WriteFile to pipe failed. 5"}}) {
        Server server(&answer);
        win32::script::failNext(operation, ERROR_ACCESS_DENIED);
        EXPECT_FALSE(base::sendPipeMessage(pipeName, W("QUIT"), &reply));
        EXPECT_EQ(log_.take(), Lines{line});
    }
}

TEST_F(PipeClientTest, WaitsForABusyPipeAndGivesUpWhenThatTimesOut) {
    const WideString answer = W("x");
    {
        Server server(&answer);
        win32::script::failNext("CreateFileW", ERROR_PIPE_BUSY);
        EXPECT_TRUE(base::sendPipeMessage(pipeName, W("QUIT"), nullptr));
    }
    log_.take();
    win32::script::failNext("CreateFileW", ERROR_PIPE_BUSY);
    win32::script::failNext("WaitNamedPipeW", ERROR_SEM_TIMEOUT);
    EXPECT_FALSE(base::sendPipeMessage(pipeName, W("QUIT"), nullptr));
    EXPECT_EQ(log_.take(), Lines{"base Could not open pipe: 20 second wait timed out."});
}
