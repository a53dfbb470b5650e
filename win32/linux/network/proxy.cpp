#include "win32/proxy.h"

#include <sys/eventfd.h>

#include <cstring>
#include <string>
#include <utility>

#include "linux/kernel/handle.h"
#include "linux/network/proxy_helper.h"
#include "linux/support/descriptor.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "win32/kernel.h"
#include "win32/resource.h"

namespace {

struct Session final : win32::Object {
    explicit Session(std::string name) : userAgent(std::move(name)) {}
    void closing() override { eventfd_write(closed.get(), 1); }

    const std::string userAgent;
    const win32::Descriptor closed{eventfd(0, EFD_CLOEXEC)};
};

std::string bytesOf(LPCWSTR text) { return text == nullptr ? std::string() : win32::toBytes(text); }

// For the caller, who frees it; null for no text.
LPWSTR handOut(const std::string& text) {
    if (text.empty()) {
        return nullptr;
    }
    const WideString wide = win32::toWide(text);
    const std::size_t size = (wide.size() + 1) * sizeof(WCHAR);
    void* const memory = GlobalAlloc(GMEM_FIXED, size);
    return memory == nullptr ? nullptr : static_cast<LPWSTR>(std::memcpy(memory, wide.c_str(), size));
}

BOOL fail(DWORD code) {
    SetLastError(code);
    return FALSE;
}

}  // namespace

HINTERNET WINAPI WinHttpOpen(LPCWSTR userAgent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass, DWORD flags) {
    WIN32_MAY_FAIL("WinHttpOpen", nullptr);
    const bool isNamed = accessType == WINHTTP_ACCESS_TYPE_NAMED_PROXY;
    const bool isKnown = isNamed || accessType <= WINHTTP_ACCESS_TYPE_NO_PROXY;
    const bool hasItsNames = isNamed ? proxy != nullptr && *proxy != 0 : proxy == nullptr && bypass == nullptr;
    if (!isKnown || !hasItsNames || (flags & ~WINHTTP_FLAG_ASYNC) != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return win32::openHandle(std::make_shared<Session>(bytesOf(userAgent)));
}

BOOL WINAPI WinHttpCloseHandle(HINTERNET session) {
    WIN32_MAY_FAIL("WinHttpCloseHandle", FALSE);
    return win32::objectAs<Session>(session) ? CloseHandle(session) : FALSE;
}

BOOL WINAPI WinHttpGetIEProxyConfigForCurrentUser(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config) {
    WIN32_MAY_FAIL("WinHttpGetIEProxyConfigForCurrentUser", FALSE);
    if (config == nullptr) {
        return fail(ERROR_INVALID_PARAMETER);
    }
    const auto [code, lines] = win32::runProxyHelper({"config"}, 4);
    if (code != ERROR_SUCCESS) {
        return fail(code);
    }
    *config = {lines[0] == "1" ? TRUE : FALSE, handOut(lines[1]), handOut(lines[2]), handOut(lines[3])};
    return TRUE;
}

BOOL WINAPI WinHttpGetProxyForUrl(HINTERNET session, LPCWSTR url, WINHTTP_AUTOPROXY_OPTIONS* options,
                                  WINHTTP_PROXY_INFO* info) {
    if (url == nullptr || options == nullptr || info == nullptr) {
        return fail(ERROR_INVALID_PARAMETER);
    }
    WIN32_RECORD("WinHttpGetProxyForUrl", bytesOf(url) + "|" + std::to_string(options->dwFlags) + "|" +
                                              std::to_string(options->dwAutoDetectFlags) + "|" +
                                              bytesOf(options->lpszAutoConfigUrl) + "|" +
                                              std::to_string(options->fAutoLogonIfChallenged));
    WIN32_MAY_FAIL("WinHttpGetProxyForUrl", FALSE);
    const auto asking = win32::objectAs<Session>(session);
    if (!asking) {
        return FALSE;
    }
    const bool isDetection = options->dwFlags == WINHTTP_AUTOPROXY_AUTO_DETECT;
    const std::string script = bytesOf(options->lpszAutoConfigUrl);
    const bool isScript = options->dwFlags == WINHTTP_AUTOPROXY_CONFIG_URL && !script.empty();
    if ((!isDetection && !isScript) || isDetection != (options->dwAutoDetectFlags != 0) ||
        options->lpvReserved != nullptr || options->dwReserved != 0) {
        return fail(ERROR_INVALID_PARAMETER);
    }
    const std::string address = bytesOf(url);
    if (address.find("://") == std::string::npos) {
        return fail(ERROR_WINHTTP_INVALID_URL);
    }
    if (isDetection && (options->dwAutoDetectFlags & WINHTTP_AUTO_DETECT_TYPE_DNS_A) == 0) {
        return fail(ERROR_WINHTTP_AUTODETECTION_FAILED);
    }
    std::vector<std::string> arguments{"detect", address, asking->userAgent};
    if (isScript) {
        arguments = {"script", script, address, asking->userAgent};
    }
    if (options->fAutoLogonIfChallenged != FALSE) {
        arguments.emplace_back("logon");
    }
    const auto [code, lines] = win32::runProxyHelper(arguments, 1, asking->closed.get());
    if (code != ERROR_SUCCESS) {
        return fail(code);
    }
    *info = {lines[0].empty() ? WINHTTP_ACCESS_TYPE_NO_PROXY : WINHTTP_ACCESS_TYPE_NAMED_PROXY, handOut(lines[0]),
             nullptr};
    return TRUE;
}
