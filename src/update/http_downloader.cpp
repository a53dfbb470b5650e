#include "update/http_downloader.h"

#include <algorithm>
#include <new>
#include <utility>

#include "base/log_receiver.h"
#include "net/perform_request.h"
#include "net/pinning.h"

namespace base {

namespace {

void log(const std::string& text) { logMessage("autoupdate", text); }

// 0 if the server doesn't say.
std::size_t announcedLength(const HTTPReqInfo& record) {
    curl_off_t length = 0;
    curl_easy_getinfo(record.curlHandle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    return static_cast<std::size_t>(std::max<curl_off_t>(length, 0));
}

}  // namespace

void HttpDownloader::download(std::string url, Bytes& bytes, const ProgressCallback& callback) {
    bytes.clear();
    const bool good = fetch(url, bytes, callback);
    callback(1, good ? 1 : 0, good ? Success : DownloadFailed);
}

void HttpDownloader::cancel() {
    cancelled_ = true;
    cancelWord_ = 1;
}

bool HttpDownloader::fetch(const std::string& url, Bytes& bytes, const ProgressCallback& callback) {
    if (requiredKeysFor(url).empty()) {
        log("Refused to fetch from an address without pinned keys: " + url);
        return false;
    }
    // What ended the last download for its size doesn't end this one.
    cancelWord_ = 0;
    if (cancelled_) {
        cancelWord_ = 1;
    }
    HTTPReqInfo record;
    record.cancelFlag = &cancelWord_;
    record.bodyArrived = [&](HTTPReqInfo& request) { onBody(request, callback); };
    record.goesOn = [this](HTTPReqInfo& request) { return isMoving(request); };
    spanBegin_ = std::chrono::steady_clock::now();
    spanSize_ = 0;
    stalled_ = false;
    const std::int32_t status = performHttpRequest("GET", url, {}, {}, record);
    const std::lock_guard lock(record.mutex);
    if (record.responseBody.size() > limit_ || (cancelWord_ != 0 && !cancelled_)) {
        log("More than " + std::to_string(limit_) + " bytes come from " + url);
        return false;
    }
    if (stalled_) {
        log("Next to nothing comes from " + url);
        return false;
    }
    if (status != 200 || !record.pinMatched) {
        log("The answer of " + url + " has status " + std::to_string(status));
        return false;
    }
    bytes = std::move(record.responseBody);
    return true;
}

// The body grows in one piece of memory from the start, so that it never lies there twice. Room that isn't filled costs
// no memory, as long as nothing is written to it.
void HttpDownloader::onBody(HTTPReqInfo& record, const ProgressCallback& callback) {
    std::size_t done = 0;
    std::size_t total = 0;
    {
        const std::lock_guard lock(record.mutex);
        done = record.responseBody.size();
        total = announcedLength(record);
        try {
            record.responseBody.reserve(total > 0 ? std::min(total, limit_) : limit_);
        } catch (const std::bad_alloc&) {  // the body itself may still find room
        }
    }
    if (std::max(done, total) > limit_) {
        cancelWord_ = 1;
    }
    callback(done, total, InProgress);
}

// A server that holds the line without sending would hold up every later check.
bool HttpDownloader::isMoving(HTTPReqInfo& record) {
    constexpr std::size_t leastOfASpan = 1'024;
    const auto now = std::chrono::steady_clock::now();
    if (now - spanBegin_ < patience_) {
        return true;
    }
    const std::lock_guard lock(record.mutex);
    stalled_ = record.responseBody.size() < spanSize_ + leastOfASpan;
    spanBegin_ = now;
    spanSize_ = record.responseBody.size();
    return !stalled_;
}

}  // namespace base
