// A conditional GET.
#pragma once

#include <functional>

#include "cache/file_cache.h"
#include "net/http_request.h"

namespace base {

// GlobalHttpHandler::httpGet or one like it.
using HttpGet =
    std::function<std::int32_t(const std::string& url, const HttpHeaders& headers, HttpHeaders& responseHeaders,
                               Bytes& response, bool noPinning, const CancelWord* cancelFlag, std::string* detail)>;

// True if `data` holds something to use, and `fresh` then tells whether it is what the server has now. With `useCache`
// a copy in the cache is revalidated by its date, and a whole answer is stored; a server that can't be reached then
// gives the copy if `keepStale` is set. On false `data` is empty. `detail` may be null and is httpGet's.
bool getUrlCached(dockset::PlatformCache& cache, const HttpGet& httpGet, const std::string& url, Bytes& data,
                  bool* fresh, bool useCache, bool keepStale, bool noPinning, const CancelWord* cancelFlag,
                  std::string* detail);

}  // namespace base
