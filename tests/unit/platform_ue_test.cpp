
#include "base/object_names.h"
#include "pipe_server.h"
#include "platform/ue_service.h"
#include "session_test.h"

namespace {

using tests::PipeServer;

class PlatformUETest : public tests::SessionTest {
protected:
    PlatformUETest() {
        win32::script::answerSleep([this](DWORD milliseconds) { pauses_ += milliseconds; });
        log_.take();
    }
    DWORD pauses_ = 0;
};

TEST_F(PlatformUETest, ReadsTheServicesReplies) {
    struct Row {
        PipeServer::Replies replies;
        const char* outcome;  // result, information, code
        const char* line;
    };
    for (const auto& [replies, outcome, line] : std::vector<Row>{
             {{std::nullopt}, "0|PipeMessageResult|-1", "PlatformWin32 Failed to send install message."},
             {{"FAILURE driver"}, "0|PipeMessageParse|-1", "PlatformWin32 Service failed to install Update Engine."},
             {{"SUCCESS", "SUCCESS ok"},
              "0|PipeMessagePollUnexpected|-1",
              "PlatformWin32 Unexpected response from service."},
             {{"SUCCESS", "FAILURE", "SUCCESS ok 3"}, "0|ok 3|3", "PlatformWin32 UE installation returned error."},
             {{"SUCCESS", "SUCCESS ok 0"}, "1|ok 0|0", "base SUCCESS ok 0"},
         }) {
        pauses_ = 0;
        PipeServer service(base::servicePipeName, replies);
        const auto result = dockset::installByService(W("/in staller"), W("/service"));
        EXPECT_EQ((result.installed ? "1|" : "0|") + result.information + "|" + std::to_string(result.code), outcome);
        EXPECT_EQ(log_.take().back(), line);
        EXPECT_EQ(pauses_, replies.size() == 3 ? 5000U : 0U);
        EXPECT_EQ(service.requests().front(), "UE_DRIVER_INSTALL \"/in staller\" \"/service\"");
    }
    pauses_ = 0;
    PipeServer::Replies never(121, "FAILURE");
    never[0] = "SUCCESS";
    PipeServer service(base::servicePipeName, never);
    EXPECT_EQ(dockset::installByService(W("/i"), W("/s")).information, "PipeMessagePollTimeout");
    EXPECT_EQ(pauses_, 600'000U);
    EXPECT_EQ(service.requests().back(), "UE_POLL_RESULT");
}

}  // namespace
