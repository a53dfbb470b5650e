// How updates are fetched.
#pragma once

#include <string>

#include "net/http_request.h"
#include "net/result_code.h"

namespace base {

class Downloader {
public:
    Downloader() = default;
    Downloader(const Downloader&) = delete;
    Downloader& operator=(const Downloader&) = delete;

    // Puts the body of the answer into `bytes`, which must live until the final call of the callback: Success, or
    // another code, after which `bytes` is empty. May return before that call, which may come on any thread.
    virtual void download(std::string url, Bytes& bytes, const ProgressCallback& callback) = 0;

    // Ends a download that runs, and every later one at once, with a failure. Any thread.
    virtual void cancel() = 0;

    virtual ~Downloader() = default;
};

}  // namespace base
