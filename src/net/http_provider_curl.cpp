#include "net/http_provider_curl.h"

#include <algorithm>
#include <thread>

#include "net/perform_request.h"

namespace base {

namespace {

constexpr std::chrono::seconds readLimit(30);
constexpr std::chrono::seconds responseTimeout(60);

}  // namespace

HttpProviderCURL::Request::Request() {
    cancelFlag = &ownCancelWord;
    detail = &ownDetail;
}

HttpProviderCURL::HttpProviderCURL() : request_(std::make_shared<Request>()) {}

bool HttpProviderCURL::reset() {
    auto fresh = std::make_shared<Request>();
    {
        const std::lock_guard lock(request_->mutex);
        fresh->method = request_->method;
        fresh->url = request_->url;
        fresh->pinnedKeys = request_->pinnedKeys;
    }
    request_ = std::move(fresh);
    return true;
}

void HttpProviderCURL::cancel() { request_->ownCancelWord = 1; }

bool HttpProviderCURL::read(void* buffer, std::size_t capacity, std::size_t* count, std::int32_t* more) {
    Request& request = *request_;
    std::unique_lock lock(request.mutex);
    Bytes& body = request.responseBody;
    request.changed.wait_for(lock, readLimit, [&] { return !body.empty() || request.finished; });
    const auto taken = static_cast<std::ptrdiff_t>(std::min(capacity, body.size()));
    std::copy_n(body.begin(), taken, static_cast<std::uint8_t*>(buffer));
    body.erase(body.begin(), body.begin() + taken);
    if (count != nullptr) {
        *count = static_cast<std::size_t>(taken);
    }
    if (more != nullptr) {
        *more = request.finished && body.empty() ? 0 : 1;
    }
    return !request.failed;
}

bool HttpProviderCURL::open(const std::string& url, const std::string& method) {
    request_->url = url;
    request_->method = method;
    return true;
}

bool HttpProviderCURL::send(const HeaderList& headers, std::size_t bodyLength, const void* body) {
    for (const auto& [name, value] : headers) {
        request_->requestHeaders[name] = value;
    }
    if (body != nullptr) {
        const auto* const bytes = static_cast<const std::uint8_t*>(body);
        request_->requestBody.insert(request_->requestBody.end(), bytes, bytes + bodyLength);
    }
    std::thread([request = request_] {
        performHttpRequest(request->method, request->url, request->requestBody, request->requestHeaders, *request);
    }).detach();
    return true;
}

bool HttpProviderCURL::statusCode(std::int32_t* status) {
    Request& request = *request_;
    std::unique_lock lock(request.mutex);
    request.changed.wait_for(lock, responseTimeout, [&] { return request.responseStarted || request.status > 0; });
    *status = request.status;
    return true;
}

bool HttpProviderCURL::headerMap(HttpHeaders& headers) {
    std::unique_lock lock(request_->mutex);
    headers.clear();
    const bool arrived = waitForHeaders(lock);
    if (arrived) {
        headers = request_->responseHeaders;
    }
    return arrived;
}

bool HttpProviderCURL::headerList(HeaderList& headers) {
    HttpHeaders map;
    const bool arrived = headerMap(map);
    headers.assign(map.begin(), map.end());
    return arrived;
}

void HttpProviderCURL::addPinnedKeys(const std::vector<Bytes>& keys) {
    const std::lock_guard lock(request_->mutex);
    std::copy_if(keys.begin(), keys.end(), std::back_inserter(request_->pinnedKeys),
                 [](const Bytes& key) { return !key.empty(); });
}

void HttpProviderCURL::disablePinning() {
    const std::lock_guard lock(request_->mutex);
    request_->noPinning = true;
}

bool HttpProviderCURL::waitForHeaders(std::unique_lock<std::mutex>& lock) const {
    return request_->changed.wait_for(lock, responseTimeout, [&] { return request_->responseStarted.load(); });
}

}  // namespace base
