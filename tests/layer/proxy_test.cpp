#include "win32/proxy.h"

#include <gtest/gtest.h>

#include "win32/resource.h"

namespace {

bool opens(DWORD type, LPCWSTR proxy, DWORD flags) {
    const HINTERNET session = WinHttpOpen(W("agent"), type, proxy, WINHTTP_NO_PROXY_BYPASS, flags);
    EXPECT_EQ(WinHttpCloseHandle(session), session != nullptr);
    return session != nullptr;
}

TEST(ProxySession, OnlyANamedProxyHasAName) {
    EXPECT_FALSE(opens(WINHTTP_ACCESS_TYPE_NAMED_PROXY, WINHTTP_NO_PROXY_NAME, 0));
    EXPECT_FALSE(opens(WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, W("proxy:80"), 0));
}

TEST(ProxySession, ArgumentsMustAgree) {
    EXPECT_TRUE(opens(WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME, 0));
    EXPECT_TRUE(opens(WINHTTP_ACCESS_TYPE_NAMED_PROXY, W("proxy:80"), WINHTTP_FLAG_ASYNC));
    const HINTERNET session = WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, 0);
    WINHTTP_AUTOPROXY_OPTIONS options{};
    WINHTTP_PROXY_INFO info{};
    options.dwFlags = WINHTTP_AUTOPROXY_AUTO_DETECT;  // but not by which means
    EXPECT_FALSE(WinHttpGetProxyForUrl(session, W("http://example/"), &options, &info));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_TRUE(WinHttpCloseHandle(session));
}

TEST(ProxySession, TheUsersSettingsAreHisToFree) {
    WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
    if (WinHttpGetIEProxyConfigForCurrentUser(&config) == FALSE) {
        EXPECT_NE(GetLastError(), DWORD{NO_ERROR});
    }
    for (const LPWSTR text : {config.lpszAutoConfigUrl, config.lpszProxy, config.lpszProxyBypass}) {
        EXPECT_EQ(GlobalFree(text), nullptr);
    }
}

}  // namespace
