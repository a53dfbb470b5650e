// The replies of the other end of a pipe, up to the installation that waits for them.
#include "base/pipe_client.h"

#include <cstring>
#include <future>
#include <vector>

#include "base/handle.h"
#include "base/object_names.h"
#include "base/text.h"
#include "fuzz.h"
#include "platform/ue_service.h"
#include "temp_session.h"
#include "win32/pipe.h"

namespace {

// Answers one client after the other, each with one message.
void serve(HANDLE pipe, const std::vector<std::string>& replies) {
    for (const std::string& reply : replies) {
        char request[512];
        DWORD size = 0;
        ConnectNamedPipe(pipe, nullptr);
        ReadFile(pipe, request, sizeof request, &size, nullptr);
        WriteFile(pipe, reply.data(), static_cast<DWORD>(reply.size()), &size, nullptr);
        FlushFileBuffers(pipe);
        DisconnectNamedPipe(pipe);
    }
}

class Server {
public:
    explicit Server(std::vector<std::string> replies)
        : pipe_(CreateNamedPipeW(base::servicePipeName, PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE,
                                 1, 0, 0, 0, nullptr)),
          served_(std::async(std::launch::async, [this, replies = std::move(replies)] {
              serve(pipe_.get(), replies);
              pipe_.reset();
          })) {}

private:
    base::FileHandle pipe_;
    std::future<void> served_;
};

std::string bytesOf(const WideString& text) {
    return {reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(WCHAR)};
}

WideString textOf(const std::string& reply) {
    WideString text(reply.size() / sizeof(WCHAR), 0);
    std::memcpy(text.data(), reply.data(), text.size() * sizeof(WCHAR));
    return text.substr(0, text.find(WCHAR{0}));
}

}  // namespace

FUZZ_TARGET(pipe) {
    static const tests::TempSession session;
    static const bool isQuick = (win32::script::answerSleep([](DWORD) {}), true);
    constexpr std::size_t longest = 8192;  // of what the client reads at once
    fuzz::Parts parts(input);
    const bool isInstallation = isQuick && parts.byte() % 2 == 0;
    const bool isAccepted = parts.byte() % 2 == 0;
    const std::string reply(parts.rest().substr(0, longest));
    if (!isInstallation) {
        const Server server({reply});
        WideString read = W("unchanged");
        const bool isRead = base::sendPipeMessage(base::servicePipeName, base::quitMessage, &read);
        fuzz::require(isRead == !reply.empty(), "a message is read");
        fuzz::require(read == (isRead ? textOf(reply) : W("unchanged")), "up to its zero");
        return;
    }
    const WideString text = base::widen(reply);
    const Server server(isAccepted ? std::vector<std::string>{bytesOf(base::successReply), bytesOf(text)}
                                   : std::vector<std::string>{bytesOf(text)});
    const dockset::UEServiceResult result = dockset::installByService(W("installer"), W("service"));
    fuzz::require(result.installed == (result.code == 0 && isAccepted), "0 alone is a success");
    fuzz::require(!result.installed || base::narrow(text).find("SUCCESS") != std::string::npos,
                  "that the service told");
    fuzz::require(result.installed || !result.information.empty(), "a failure has a cause");
}
