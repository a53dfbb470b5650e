// The state of one HTTP request, which the transport fills and others watch.
#pragma once

#include <curl/curl.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace base {

using Bytes = std::vector<std::uint8_t>;
// By exact name: names that differ in case are different entries.
using HttpHeaders = std::map<std::string, std::string>;
// A transfer stops when the low bit of its word is set.
using CancelWord = std::atomic<std::uint64_t>;

// All fields but the atomics are guarded by `mutex`. The record must outlive the request.
struct HTTPReqInfo {
    HTTPReqInfo() = default;
    HTTPReqInfo(const HTTPReqInfo&) = delete;
    HTTPReqInfo& operator=(const HTTPReqInfo&) = delete;
    ~HTTPReqInfo() = default;

    CURL* curlHandle = nullptr;                // while the transport has one
    Bytes responseBody;                        // what has arrived and wasn't taken
    HttpHeaders responseHeaders;               // of equal names the later line
    std::size_t bodyLimit = SIZE_MAX;          // more than that at once in responseBody ends the transfer
    bool headersOfProxy = false;               // they are a proxy's answer to CONNECT, and go when the server's come
    bool isInHead = false;                     // a status line has come and the head's last line hasn't
    bool bodyTooLong = false;                  // responseBody has reached its limit
    const void* serverContext = nullptr;       // of the latest TLS connection; only the request's own thread asks
    const std::uint8_t* uploadData = nullptr;  // not owned
    std::size_t uploadSize = 0;
    std::size_t uploadPosition = 0;
    std::atomic<bool> responseStarted{false};  // body bytes have arrived, or the request is over
    std::atomic<bool> finished{false};
    std::atomic<bool> closeAnnounced{false};  // the server has said that its side of the TLS connection ends
    std::int32_t status = -1;                 // of HTTP; -1 until known, and after a transfer that failed
    bool failed = false;                      // the transport reported an error
    const CancelWord* cancelFlag = nullptr;   // not owned, may be null
    std::string* detail = nullptr;            // not owned, may be null: "", "pinning:..." or "proxy:..." in the end
    bool noPinning = false;                   // may be plain http, and any valid chain will do
    std::vector<Bytes> pinnedKeys;  // DER public keys, of which the server's chain must show one; none: any chain
    bool pinMatched = false;
    bool pinRejected = false;  // the chain showed none, and the two texts say which
    std::string chainText;     // common names of the subjects, joined by " -- "
    std::string chainIssuer;   // the first common name of an issuer
    // Called without the mutex after each block of the body, on the request's thread; must not throw. May be empty.
    std::function<void(HTTPReqInfo&)> bodyArrived;
    // Called the same way about every second, whether or not anything arrives; false ends the transfer. May be empty.
    std::function<bool(HTTPReqInfo&)> goesOn;
    std::mutex mutex;
    std::condition_variable changed;  // notified after each step of the transfer and at its end
};

}  // namespace base
