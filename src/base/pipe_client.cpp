#include "base/pipe_client.h"

#include <array>
#include <sstream>
#include <string>

#include "base/handle.h"
#include "base/log_receiver.h"
#include "base/text.h"
#include "win32/file.h"
#include "win32/kernel.h"
#include "win32/pipe.h"

namespace base {

namespace {

constexpr DWORD busyTimeout = 20'000;
constexpr std::size_t bufferSize = 8'192;

void log(const std::string& text) { base::logMessage("base", text); }

void logError(const char* text, DWORD error) {
    std::ostringstream line;
    line << text << error;
    log(line.str());
}

base::FileHandle openPipe(const WideString& name) {
    for (;;) {
        base::FileHandle pipe(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                          SECURITY_SQOS_PRESENT, nullptr));
        if (pipe) {
            return pipe;
        }
        if (const DWORD error = GetLastError(); error != ERROR_PIPE_BUSY) {
            logError("Could not open pipe, ", error);
            return pipe;
        }
        if (WaitNamedPipeW(name.c_str(), busyTimeout) == FALSE) {
            log("Could not open pipe: 20 second wait timed out.");
            return pipe;
        }
    }
}

bool writeMessage(HANDLE pipe, const WideString& message) {
    DWORD mode = PIPE_READMODE_MESSAGE;
    if (SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr) == FALSE) {
        logError("SetNamedPipeHandleState failed, ", GetLastError());
        return false;
    }
    const auto size = static_cast<DWORD>((message.size() + 1) * sizeof(WCHAR));
    DWORD written = 0;
    if (WriteFile(pipe, message.c_str(), size, &written, nullptr) == FALSE) {
        logError("WriteFile to pipe failed. ", GetLastError());
        return false;
    }
    return true;
}

bool readReply(HANDLE pipe, WideString& reply) {
    std::array<WCHAR, bufferSize / sizeof(WCHAR)> buffer{};
    for (;;) {
        DWORD size = 0;
        const bool whole = ReadFile(pipe, buffer.data(), bufferSize, &size, nullptr) != FALSE;
        const DWORD error = whole ? ERROR_SUCCESS : GetLastError();
        if (!whole && error != ERROR_MORE_DATA) {
            logError("ReadFile from pipe failed. ", error);
            return false;
        }
        base::WideView piece(buffer.data(), size / sizeof(WCHAR));
        piece = piece.substr(0, piece.find(WCHAR{0}));
        log(base::narrow(piece));
        reply += piece;
        if (whole) {
            return true;
        }
    }
}

}  // namespace

bool sendPipeMessage(const WideString& pipeName, const WideString& message, WideString* reply) {
    const base::FileHandle pipe = openPipe(pipeName);
    if (!pipe || !writeMessage(pipe.get(), message)) {
        return false;
    }
    log("Message sent to server, receiving reply as follows: ");
    WideString received;
    if (!readReply(pipe.get(), received)) {
        return false;
    }
    if (reply != nullptr) {
        *reply = std::move(received);
    }
    return true;
}

}  // namespace base
