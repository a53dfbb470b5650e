// The way of all of the program's code to HTTP.
#pragma once

#include <memory>

#include "base/global_slot.h"
#include "net/http_request.h"

namespace base {

class PlatformHttpProvider;

// Each operation blocks its caller until the answer is there in memory. `noPinning` allows plain http and any valid
// chain; `cancelFlag` may be null. A status is that of HTTP, -1 if there was none or the transfer broke, and -2 if the
// handler can't work at all. `detail` may be null. Any thread.
class GlobalHttpHandler {
public:
    // True if `data` holds something to use; see cached_get.h.
    virtual bool getUrlCached(const std::string& url, Bytes& data, bool* fresh, bool useCache, bool keepStale,
                              bool noPinning, const CancelWord* cancelFlag, std::string* detail) = 0;
    // True for a status from 200 to 299.
    virtual bool postUrl(const std::string& url, const Bytes& body, Bytes& response, bool noPinning,
                         const CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpPost(const std::string& url, const HttpHeaders& headers, const Bytes& body,
                                  HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                                  const CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpPut(const std::string& url, const HttpHeaders& headers, const Bytes& body,
                                 HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                                 const CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpGet(const std::string& url, const HttpHeaders& headers, HttpHeaders& responseHeaders,
                                 Bytes& response, bool noPinning, const CancelWord* cancelFlag,
                                 std::string* detail) = 0;
    virtual std::int32_t httpDelete(const std::string& url, const HttpHeaders& headers, HttpHeaders& responseHeaders,
                                    Bytes& response, bool noPinning, const CancelWord* cancelFlag) = 0;
    // Null if the handler makes none.
    virtual std::shared_ptr<PlatformHttpProvider> httpProvider() = 0;

protected:
    // Owned and deleted as what it is.
    GlobalHttpHandler() = default;
    GlobalHttpHandler(const GlobalHttpHandler&) = default;
    GlobalHttpHandler& operator=(const GlobalHttpHandler&) = default;
    ~GlobalHttpHandler() = default;
};

GlobalSlot<GlobalHttpHandler>& globalHttpHandler();

}  // namespace base
