// Downloads over HTTPS from the maker's own servers.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>

#include "update/downloader.h"

namespace base {

// Fetches only from an https address that has pinned keys, and takes only an answer with status 200 from a server that
// showed one of them, of at most `limit` bytes, and that sends at least 1,024 bytes in each span of `patience` that it
// takes. Everything else fails with DownloadFailed and a line in the log. Each
// download runs on its caller's thread, one at a time, and has made its final call when it returns.
class HttpDownloader : public Downloader {
public:
    explicit HttpDownloader(std::size_t limit, std::chrono::milliseconds patience = std::chrono::minutes(1))
        : limit_(limit), patience_(patience) {}

    void download(std::string url, Bytes& bytes, const ProgressCallback& callback) override;
    // A download whose server sends nothing more ends within about a second.
    void cancel() override;

private:
    bool fetch(const std::string& url, Bytes& bytes, const ProgressCallback& callback);
    void onBody(HTTPReqInfo& record, const ProgressCallback& callback);

    bool isMoving(HTTPReqInfo& record);

    const std::size_t limit_;
    const std::chrono::milliseconds patience_;
    // Of the present span.
    std::chrono::steady_clock::time_point spanBegin_;
    std::size_t spanSize_ = 0;
    bool stalled_ = false;
    std::atomic<bool> cancelled_{false};
    CancelWord cancelWord_{0};
};

}  // namespace base
