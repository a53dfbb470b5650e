// Downloads over HTTPS from the maker's own servers.
#pragma once

#include <atomic>
#include <cstddef>

#include "update/downloader.h"

namespace base {

// Fetches only from an https address that has pinned keys, and takes only an answer with status 200 from a server that
// showed one of them, of at most `limit` bytes. Everything else fails with DownloadFailed and a line in the log. Each
// download runs on its caller's thread, one at a time, and has made its final call when it returns.
class HttpDownloader : public Downloader {
public:
    explicit HttpDownloader(std::size_t limit) : limit_(limit) {}

    void download(std::string url, Bytes& bytes, const ProgressCallback& callback) override;
    // A download whose server sends nothing more ends within about a second.
    void cancel() override;

private:
    bool fetch(const std::string& url, Bytes& bytes, const ProgressCallback& callback);
    void onBody(HTTPReqInfo& record, const ProgressCallback& callback);

    const std::size_t limit_;
    std::atomic<bool> cancelled_{false};
    CancelWord cancelWord_{0};
};

}  // namespace base
