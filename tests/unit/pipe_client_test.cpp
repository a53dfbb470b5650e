#include "base/pipe_client.h"

#include "pipe_server.h"
#include "session_test.h"

namespace {

using tests::Lines;
using tests::PipeServer;

class PipeClientTest : public tests::SessionTest {
protected:
    // The reply, "-" if the message failed.
    static std::string send() {
        WideString reply = W("before");
        const bool sent = base::sendPipeMessage(name, W("QUIT"), &reply);
        EXPECT_TRUE(sent || reply == W("before"));
        return sent ? base::narrow(reply) : "-";
    }

    static constexpr const WCHAR* name = W("\\\\.\\pipe\\PipeClientTest");
};

TEST_F(PipeClientTest, SendsOneMessageAndJoinsTheReply) {
    for (const std::string& answer : {std::string("SUCCESS \xE2\x82\xAC"), std::string(), std::string(4095, 'x'),
                                      std::string(4096, 'x'), std::string(10000, 'x')}) {
        PipeServer server(name, {answer});
        EXPECT_EQ(send(), answer);
        EXPECT_EQ(server.requests(), Lines{"QUIT"});
        const Lines lines = log_.take();
        EXPECT_EQ(lines.size(), 2 + answer.size() / 4096) << "a line for each piece";
        EXPECT_EQ(lines[0], "base Message sent to server, receiving reply as follows: ");
        EXPECT_EQ(lines[1], "base " + answer.substr(0, 4096));
    }
}

TEST_F(PipeClientTest, ReportsWhatFails) {
    EXPECT_EQ(send(), "-");
    EXPECT_EQ(log_.take(), Lines{"base Could not open pipe, 2"});
    {
        PipeServer server(name, {"x"});
        win32::script::failNext("WriteFile", ERROR_ACCESS_DENIED);
        EXPECT_EQ(send(), "-");
        EXPECT_EQ(log_.take(), Lines{"base WriteFile to pipe failed. 5"});
    }
    {
        PipeServer server(name, {std::nullopt});
        EXPECT_EQ(send(), "-");
        const std::string line = log_.take().back();
        EXPECT_TRUE(line == "base ReadFile from pipe failed. 109" || line == "base ReadFile from pipe failed. 233");
    }
}

TEST_F(PipeClientTest, WaitsForABusyPipeAndGivesUpWhenThatTimesOut) {
    {
        PipeServer server(name, {"x"});
        win32::script::failNext("CreateFileW", ERROR_PIPE_BUSY);
        EXPECT_TRUE(base::sendPipeMessage(name, W("QUIT"), nullptr));
    }
    log_.take();
    win32::script::failNext("CreateFileW", ERROR_PIPE_BUSY);
    win32::script::failNext("WaitNamedPipeW", ERROR_SEM_TIMEOUT);
    EXPECT_EQ(send(), "-");
    EXPECT_EQ(log_.take(), Lines{"base Could not open pipe: 20 second wait timed out."});
}

}  // namespace
