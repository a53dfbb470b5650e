// The server with the faults (tests/servers/fault_server.py), running while the object lives.
#pragma once

#include <signal.h>
#include <stdio.h>

#include <string>

#include "certificates.h"
#include "temp_session.h"

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
    // Its address under a name whose keys are pinned.
    std::string pinned(const std::string& path) const {
        return "https://tavrin.localhost:" + std::to_string(tlsPort_) + path;
    }
    // The key that it shows.
    Key publicKey() const {
        const std::shared_ptr<BIO> file(BIO_new_file(rootFile().c_str(), "r"), BIO_free);
        const Certificate root(PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr), X509_free);
        return {X509_get_pubkey(root.get()), EVP_PKEY_free};
    }

private:
    TempDirectory directory_;
    FILE* output_ = nullptr;
    int process_ = 0;
    int port_ = 0;
    int tlsPort_ = 0;
};

// A session in which requests reach the server, one for the whole process, and trust its root.
struct ServedSession {
    static FaultServer& commonServer() {
        static FaultServer server;
        return server;
    }

    FaultServer& server = commonServer();  // before the session's directories
    TempSession session;
    EnvironmentSetting certificateFile{"SSL_CERT_FILE", server.rootFile().c_str()};
    EnvironmentSetting certificateDirectory{"SSL_CERT_DIR", "/nowhere"};
    EnvironmentSetting noProxy{"no_proxy", "*"};
};

}  // namespace tests
