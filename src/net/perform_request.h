// One HTTP request from the first check to the last clean-up, on the caller's thread.
#pragma once

#include "net/http_request.h"

namespace base {

// Fills the record as the answer arrives. Gives the HTTP status, redirects and errors of the server among them; -1 for
// a request that is refused, that never gets a status or whose transfer breaks. Refused are an empty address, a method
// other than "GET", "POST", "PUT", "DELETE", and an address that isn't https unless the record says `noPinning`.
// There is no time limit: only the record's `cancelFlag` ends a transfer that is stuck. Any thread, several at once;
// curl_global_init must have run.
std::int32_t performHttpRequest(const std::string& method, const std::string& url, const Bytes& body,
                                const HttpHeaders& headers, HTTPReqInfo& record);

// The same with a record of its own, whose body and headers replace the caller's. `detail` may be null.
std::int32_t runHttpRequest(const std::string& method, const std::string& url, const Bytes& body,
                            const HttpHeaders& headers, HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                            const CancelWord* cancelFlag, std::string* detail);

}  // namespace base
