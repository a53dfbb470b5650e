// zdservice REPLY...: stands in for the suite's background service. It serves the service's pipe, answers each request
// with the next of the replies and prints it, and ends when all are used up. A reply "silence" leaves the request
// without an answer for as long as the program runs, "death" ends the program in its place.

#include <array>
#include <cstdlib>
#include <iostream>
#include <string>

#include "base/handle.h"
#include "base/object_names.h"
#include "base/text.h"
#include "win32/file.h"
#include "win32/kernel.h"
#include "win32/pipe.h"

namespace {

void serveClient(HANDLE pipe, const std::string& reply) {
    std::array<WCHAR, 4096> request{};
    DWORD size = 0;
    if (ReadFile(pipe, request.data(), sizeof request, &size, nullptr) == FALSE) {
        return;
    }
    std::cout << "received " << base::narrow(request.data()) << std::endl;
    if (reply == "silence") {
        Sleep(INFINITE);
    }
    if (reply == "death") {
        std::_Exit(1);
    }
    const WideString text = base::widen(reply);
    WriteFile(pipe, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)), &size, nullptr);
    FlushFileBuffers(pipe);
}

}  // namespace

int main(int argc, char** argv) {
    const base::FileHandle pipe(CreateNamedPipeW(base::servicePipeName, PIPE_ACCESS_DUPLEX,
                                                 PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, 1, 8192, 8192,
                                                 0, nullptr));
    if (!pipe) {
        std::cerr << "zdservice: can't serve the pipe, " << GetLastError() << '\n';
        return 1;
    }
    std::cout << "serving" << std::endl;
    for (int i = 1; i < argc; ++i) {
        if (ConnectNamedPipe(pipe.get(), nullptr) != FALSE || GetLastError() == ERROR_PIPE_CONNECTED) {
            serveClient(pipe.get(), argv[i]);
        }
        DisconnectNamedPipe(pipe.get());
    }
    return 0;
}
