// The request in steps, over libcurl.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "net/http_provider.h"

namespace base {

class HttpProviderCURL final : public PlatformHttpProvider {
public:
    HttpProviderCURL();

    bool reset() override;
    void cancel() override;
    bool read(void* buffer, std::size_t capacity, std::size_t* count, std::int32_t* more) override;
    bool open(const std::string& url, const std::string& method) override;
    bool send(const HeaderList& headers, std::size_t bodyLength, const void* body) override;
    bool statusCode(std::int32_t* status) override;
    bool headerMap(HttpHeaders& headers) override;
    bool headerList(HeaderList& headers) override;
    void addPinnedKeys(const std::vector<Bytes>& keys) override;
    void disablePinning() override;

private:
    // A request that owns what it is made of, so that its worker can outlive the provider.
    struct Request : HTTPReqInfo {
        Request();

        CancelWord ownCancelWord{0};
        std::string ownDetail;
        std::string method;
        std::string url;
        Bytes requestBody;
        HttpHeaders requestHeaders;
    };

    bool waitForHeaders(std::unique_lock<std::mutex>& lock) const;

    std::shared_ptr<Request> request_;
};

}  // namespace base
