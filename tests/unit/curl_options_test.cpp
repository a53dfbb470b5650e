// What the transport asks of libcurl, in its order: the program's own curl_easy_setopt stands before the library's.
#define CURL_DISABLE_DEPRECATION

#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <utility>
#include <vector>

#include "captured_log.h"
#include "net/perform_request.h"
#include "temp_session.h"

#undef curl_easy_setopt

namespace {

using Options = std::vector<std::pair<CURLoption, std::intptr_t>>;
thread_local Options* asked = nullptr;

}  // namespace

extern "C" CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    va_list arguments;
    va_start(arguments, option);
    void* const value = va_arg(arguments, void*);  // long, curl_off_t and pointers travel alike
    va_end(arguments);
    if (asked != nullptr) {
        asked->emplace_back(option, option < CURLOPTTYPE_OBJECTPOINT || option >= CURLOPTTYPE_OFF_T
                                        ? reinterpret_cast<std::intptr_t>(value)
                                        : 0);
    }
    static const auto next =
        reinterpret_cast<CURLcode (*)(CURL*, CURLoption, ...)>(dlsym(RTLD_NEXT, "curl_easy_setopt"));
    return next(handle, option, value);
}

namespace {

Options optionsOf(const std::string& method, const std::string& body, const base::HttpHeaders& headers) {
    Options options;
    asked = &options;
    base::HttpHeaders responseHeaders;
    base::Bytes response;
    // Nobody listens there.
    base::runHttpRequest(method, "http://127.0.0.1:1/", {body.begin(), body.end()}, headers, responseHeaders, response,
                         true, nullptr, nullptr);
    asked = nullptr;
    return options;
}

TEST(CurlOptions, AreExactlyThese) {
    const tests::TempSession session;
    const Options first{{CURLOPT_URL, 0}};
    const Options progress{{CURLOPT_XFERINFOFUNCTION, 0}, {CURLOPT_XFERINFODATA, 0}, {CURLOPT_NOPROGRESS, 0}};
    const Options upload{{CURLOPT_READFUNCTION, 0}, {CURLOPT_READDATA, 0}, {CURLOPT_POSTFIELDSIZE, 4}};
    const Options last{{CURLOPT_WRITEFUNCTION, 0}, {CURLOPT_WRITEDATA, 0},        {CURLOPT_HEADERFUNCTION, 0},
                       {CURLOPT_HEADERDATA, 0},    {CURLOPT_SSL_CTX_FUNCTION, 0}, {CURLOPT_SSL_CTX_DATA, 0},
                       {CURLOPT_USERAGENT, 0}};
    const auto joined = [](std::initializer_list<Options> parts) {
        Options all;
        for (const Options& part : parts) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    };
    EXPECT_EQ(optionsOf("GET", "", {}), joined({first, progress, last}));
    EXPECT_EQ(optionsOf("GET", "body", {{"A", "b"}}), joined({first, {{CURLOPT_HTTPHEADER, 0}}, progress, last}));
    EXPECT_EQ(optionsOf("POST", "", {}), joined({first, progress, {{CURLOPT_POST, 1}}, last}));
    EXPECT_EQ(optionsOf("POST", "body", {}), joined({first, progress, {{CURLOPT_POST, 1}}, upload, last}));
    EXPECT_EQ(optionsOf("PUT", "body", {}),
              joined({first, progress, {{CURLOPT_PUT, 1}, {CURLOPT_INFILESIZE_LARGE, 4}}, upload, last}));
    EXPECT_EQ(optionsOf("PUT", "", {}), joined({first, progress, {{CURLOPT_PUT, 1}}, last}));
    EXPECT_EQ(optionsOf("DELETE", "", {}), joined({first, progress, {{CURLOPT_CUSTOMREQUEST, 0}}, last}));
}

}  // namespace
