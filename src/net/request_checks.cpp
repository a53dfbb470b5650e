#include "net/request_checks.h"

#include <algorithm>
#include <array>

#include "base/log_receiver.h"
#include "net/url.h"
#include "net/usage_event.h"

namespace base {

namespace {

constexpr std::size_t shortestUrl = 10;

void log(const std::string& text) { logMessage("HttpHandler", text); }

void report(const std::string& category, const std::string& action, const std::string& label,
            const std::string& dimension) {
    reportUsageEvent({.category = category, .action = action, .label = label, .dimensions = {{6, dimension}, {7, ""}}});
}

bool isMethod(const std::string& method) {
    static constexpr std::array<const char*, 4> methods{"GET", "POST", "PUT", "DELETE"};
    return std::find(methods.begin(), methods.end(), method) != methods.end();
}

}  // namespace

bool checkRequest(const std::string& method, const std::string& url, bool noPinning) {
    if (url.empty()) {
        log("Empty URL, aborting - method = " + method);
        report("GeneralError", "EmptyURL", "EmptyURL", method);
        return false;
    }
    if (url.size() < shortestUrl) {
        report("GeneralError", "ShortURL", url, method);
    }
    if (!isMethod(method)) {
        log("Invalid method " + method);
        report("GeneralError", "InvalidMethod", method, url);
        return false;
    }
    if (!noPinning && !parseUrl(url).https) {
        log("Non-HTTPS URL to pinning request: " + url);
        report("CertificatePinning", "NonHttpsURL", method + "BadURL", url);
        return false;
    }
    return true;
}

}  // namespace base
