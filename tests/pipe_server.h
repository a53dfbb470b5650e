// The other end of a pipe for a client under test.
#pragma once

#include <gtest/gtest.h>

#include <future>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/handle.h"
#include "base/text.h"
#include "win32/pipe.h"

namespace tests {

// Takes one message of a client for each of the replies, sends the reply, unless there is none, and hangs up. With the
// last one the pipe goes.
class PipeServer {
public:
    using Replies = std::vector<std::optional<std::string>>;

    PipeServer(const WCHAR* name, Replies replies)
        : pipe_(CreateNamedPipeW(name, PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 0, 0, 0,
                                 nullptr)),
          served_(std::async(std::launch::async, [this, replies = std::move(replies)] { return serve(replies); })) {}

    // The messages, once the last one has come.
    std::vector<std::string> requests() { return served_.get(); }

private:
    std::vector<std::string> serve(const Replies& replies) {
        std::vector<std::string> requests;
        for (const auto& reply : replies) {
            ConnectNamedPipe(pipe_.get(), nullptr);
            std::vector<WCHAR> buffer(1024);
            DWORD size = 0;
            ReadFile(pipe_.get(), buffer.data(), 2048, &size, nullptr);
            requests.push_back(base::narrow(buffer.data()));
            EXPECT_TRUE(size == 0 || buffer.at(size / 2 - 1) == 0) << "a message ends with its zero";
            if (reply) {
                const WideString text = base::widen(*reply);
                WriteFile(pipe_.get(), text.c_str(), static_cast<DWORD>((text.size() + 1) * 2), &size, nullptr);
                FlushFileBuffers(pipe_.get());
            }
            DisconnectNamedPipe(pipe_.get());
        }
        pipe_.reset();
        return requests;
    }

    base::FileHandle pipe_;
    std::future<std::vector<std::string>> served_;
};

}  // namespace tests
