#include "platform/ue_service.h"

#include <optional>
#include <sstream>

#include "base/log_receiver.h"
#include "base/object_names.h"
#include "base/pipe_client.h"
#include "base/text.h"
#include "win32/kernel.h"

namespace dockset {

namespace {

void log(const std::string& text) { base::logMessage("PlatformWin32", text); }

struct Reply {
    std::string word;
    std::string text;
    std::int32_t code = -1;

    std::string information() const { return text + " " + std::to_string(code); }
};

std::optional<Reply> parseReply(const WideString& reply) {
    std::istringstream items(base::narrow(reply));
    Reply parsed;
    return items >> parsed.word >> parsed.text >> parsed.code ? std::optional(parsed) : std::nullopt;
}

bool send(const WideString& message, WideString& reply) {
    return base::sendPipeMessage(base::servicePipeName, message, &reply);
}

WideString composeRequest(const WideString& installerPath, const WideString& servicePath) {
    const WideString quote = W("\"");
    return base::updateEngineDriverInstallMessage + (W(" ") + quote) + installerPath + quote + W(" ") + quote +
           servicePath + quote;
}

UEServiceResult refused(const WideString& reply) {
    log("Service failed to install Update Engine.");
    const auto parsed = parseReply(reply);
    return parsed ? UEServiceResult{false, parsed->information(), parsed->code}
                  : UEServiceResult{false, "PipeMessageParse"};
}

UEServiceResult finished(const WideString& reply) {
    const auto parsed = parseReply(reply);
    if (!parsed || parsed->word != base::narrow(base::successReply)) {
        log("Unexpected response from service.");
        return {false, "PipeMessagePollUnexpected"};
    }
    if (parsed->code != 0) {
        log("UE installation returned error.");
    }
    return {parsed->code == 0, parsed->information(), parsed->code};
}

// The service answers a poll with the bare word for failure until the driver's installation has ended.
UEServiceResult awaitResult() {
    constexpr int rounds = 120;
    constexpr DWORD pause = 5'000;
    for (int round = 0; round < rounds; ++round) {
        WideString reply;
        if (!send(base::updateEnginePollResultMessage, reply)) {
            log("Failed to send poll result message.");
            return {false, "PipeMessagePollResult"};
        }
        if (reply != base::failureReply) {
            return finished(reply);
        }
        log("Service failed to get result of Update Engine install.");
        Sleep(pause);
    }
    return {false, "PipeMessagePollTimeout"};
}

}  // namespace

UEServiceResult installByService(const WideString& installerPath, const WideString& servicePath) {
    WideString reply;
    if (!send(composeRequest(installerPath, servicePath), reply)) {
        log("Failed to send install message.");
        return {false, "PipeMessageResult"};
    }
    const WideString word = reply.substr(0, reply.find_first_of(W(" \t\r\n")));
    if (word == base::failureReply) {
        return refused(reply);
    }
    return reply == base::successReply ? awaitResult() : UEServiceResult{false, "PipeMessageUnexpected"};
}

}  // namespace dockset
