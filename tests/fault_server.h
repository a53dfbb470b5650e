// The server with the faults (tests/servers/fault_server.py), running while the object lives.
#pragma once

#include <signal.h>
#include <stdio.h>

#include <string>

#include "temp_directory.h"

namespace tests {

class FaultServer {
public:
    FaultServer() {
        const std::string command =
            "exec /usr/bin/python3 " SERVERS_DIRECTORY "/fault_server.py '" + directory_.path().string() + "'";
        output_ = popen(command.c_str(), "r");
        [[maybe_unused]] const int read = fscanf(output_, "%d %d %d", &process_, &port_, &tlsPort_);
    }
    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;
    ~FaultServer() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
        }
        pclose(output_);
    }

    int port() const { return port_; }
    std::string plain(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }
    std::string secure(const std::string& path) const { return "https://127.0.0.1:" + std::to_string(tlsPort_) + path; }
    std::string rootFile() const { return directory_.file("root.pem").string(); }

private:
    TempDirectory directory_;
    FILE* output_ = nullptr;
    int process_ = 0;
    int port_ = 0;
    int tlsPort_ = 0;
};

}  // namespace tests
