// What a request must be like before anything of it goes out.
#pragma once

#include <string>

namespace base {

// False for a request that must not be made; each fault is reported as a usage event, and logged if it refuses the
// request. Any thread.
bool checkRequest(const std::string& method, const std::string& url, bool noPinning);

}  // namespace base
