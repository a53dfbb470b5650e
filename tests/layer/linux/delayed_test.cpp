// The programs' own libcurl functions, which load the library at the first request.
#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <thread>

#include "captured_log.h"
#include "fault_server.h"
#include "layer/linux/child_process.h"
#include "net/perform_request.h"
#include "temp_session.h"

namespace {

bool isLoaded() {
    void* const library = dlopen("libcurl.so.4", RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr) {
        dlclose(library);
    }
    return library != nullptr;
}

// A role, since the library never goes again: tells whether it is loaded at the start and after two first requests.
[[maybe_unused]] const ChildRole firstRequests("first-requests", [] {
    const std::string url = hearLine(childInput);
    curl_global_init(CURL_GLOBAL_ALL);
    tellLine(childOutput, isLoaded() ? "loaded" : "absent");
    const auto request = [&url](std::string& result) {
        base::HttpHeaders headers;
        base::Bytes response;
        const auto status =
            base::runHttpRequest("POST", url, {'b'}, {{"X-A", "1"}}, headers, response, true, nullptr, nullptr);
        result = std::to_string(status) + " " + std::to_string(response.back());
    };
    std::string one;
    std::string two;
    std::thread other(request, std::ref(two));
    request(one);
    other.join();
    tellLine(childOutput, (isLoaded() ? "loaded " : "absent ") + one + " " + two);
    base::HttpHeaders headers;
    base::Bytes response;
    tellLine(childOutput, std::to_string(base::runHttpRequest("GET", "http://127.0.0.1:1/", {}, {}, headers, response,
                                                              true, nullptr, nullptr)));
    return 0;
});

TEST(DelayedCurl, IsLoadedByTheFirstRequest) {
    const tests::TempSession session;
    const tests::FaultServer server;
    const ChildProcess child("first-requests");
    child.tell(server.plain("/echo"));
    EXPECT_EQ(child.hear(), "absent");
    EXPECT_EQ(child.hear(), "loaded 200 98 200 98");
    EXPECT_EQ(child.hear(), "-1");
}

}  // namespace
