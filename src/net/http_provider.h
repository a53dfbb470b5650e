// A request in steps: started by one thread, read as it arrives and waited for by another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "net/http_request.h"

namespace base {

// In this order: open, addPinnedKeys or disablePinning, send, then statusCode, headerMap or headerList, and read until
// `more` is 0. Any thread, and none of the operations is called while another one runs `reset`.
class PlatformHttpProvider {
public:
    using HeaderList = std::vector<std::pair<std::string, std::string>>;

    PlatformHttpProvider() = default;
    PlatformHttpProvider(const PlatformHttpProvider&) = delete;
    PlatformHttpProvider& operator=(const PlatformHttpProvider&) = delete;

    // A running transfer goes on by itself.
    virtual ~PlatformHttpProvider() = default;

    // Makes ready for the next request to the same address with the same method and keys; true.
    virtual bool reset() = 0;
    // Lets the transfer fail soon; doesn't wait for it.
    virtual void cancel() = 0;
    // Waits up to 30 seconds for bytes and takes up to `capacity` of them; `more` is 0 once there will be none. Both
    // may be null. False, with the last bytes too, for a transfer that failed.
    virtual bool read(void* buffer, std::size_t capacity, std::size_t* count, std::int32_t* more) = 0;
    virtual bool open(const std::string& url, const std::string& method) = 0;
    // Starts the transfer. Of headers of one name the last one is sent; `body` may be null. True, or std::system_error
    // without a thread.
    virtual bool send(const HeaderList& headers, std::size_t bodyLength, const void* body) = 0;
    // Waits up to 60 seconds; -1 if no status came. True.
    virtual bool statusCode(std::int32_t* status) = 0;
    // Wait up to 60 seconds for the body to begin or the request to end; false and nothing if neither came.
    virtual bool headerMap(HttpHeaders& headers) = 0;
    virtual bool headerList(HeaderList& headers) = 0;
    // DER public keys of which the server must show one; empty ones are passed over.
    virtual void addPinnedKeys(const std::vector<Bytes>& keys) = 0;
    virtual void disablePinning() {}
};

}  // namespace base
