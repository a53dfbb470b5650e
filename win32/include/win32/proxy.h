// What the system reports about proxies.
//
// WinHttpOpen gives a session for look-ups, to be closed by WinHttpCloseHandle. Its user agent is what downloads of
// scripts carry; its access type and names change nothing, but names without WINHTTP_ACCESS_TYPE_NAMED_PROXY, or this
// without a proxy, are ERROR_INVALID_PARAMETER.
// WinHttpGetIEProxyConfigForCurrentUser: the user's settings. The texts are null when there is nothing to report, and
// the caller frees each by GlobalFree. lpszProxy is a list as WinHttpGetProxyForUrl gives it, or "scheme=host:port"
// pieces. WinHttpGetProxyForUrl blocks: it loads the script that is named or, by WINHTTP_AUTOPROXY_AUTO_DETECT, found
// in the network, one of the two at a time, and runs it for the address. True with "host:port;host:port" to be tried in
// that order, or with WINHTTP_ACCESS_TYPE_NO_PROXY and null texts; the caller frees these too. Names of several kinds
// of error: ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT, _BAD_AUTO_PROXY_SCRIPT, _AUTODETECTION_FAILED, _LOGIN_FAILURE (the
// script's server asks for a user; fAutoLogonIfChallenged lets the user's own ticket be tried), _TIMEOUT. Closing the
// session meanwhile, on another thread, ends the look-up with ERROR_WINHTTP_OPERATION_CANCELLED on Linux, and may have
// no effect on Windows. Any thread.
//
// On Linux a program of ours, zdproxy beside the running one, does each of these look-ups and is ended after ten
// seconds with ERROR_WINHTTP_TIMEOUT; ERROR_WINHTTP_AUTO_PROXY_SERVICE_ERROR if it can't be started or breaks off. The
// settings are those of the desktop (GNOME's and its kin's, KDE's), and the environment's where no desktop has any.
// Detection asks the DNS for the host "wpad", never DHCP. A script's list ends before its first DIRECT, and of its
// entries only HTTP proxies are given: the others can't be said in this form.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifdef _WIN32

#include <winhttp.h>

#else

using HINTERNET = LPVOID;

#define WINHTTP_FLAG_ASYNC 0x10000000U
#define WINHTTP_ACCESS_TYPE_DEFAULT_PROXY 0U
#define WINHTTP_ACCESS_TYPE_NO_PROXY 1U
#define WINHTTP_ACCESS_TYPE_NAMED_PROXY 3U
#define WINHTTP_NO_PROXY_NAME nullptr
#define WINHTTP_NO_PROXY_BYPASS nullptr

#define WINHTTP_AUTOPROXY_AUTO_DETECT 0x1U
#define WINHTTP_AUTOPROXY_CONFIG_URL 0x2U
#define WINHTTP_AUTO_DETECT_TYPE_DHCP 0x1U
#define WINHTTP_AUTO_DETECT_TYPE_DNS_A 0x2U

#define ERROR_WINHTTP_TIMEOUT 12002
#define ERROR_WINHTTP_INVALID_URL 12005
#define ERROR_WINHTTP_UNRECOGNIZED_SCHEME 12006
#define ERROR_WINHTTP_LOGIN_FAILURE 12015
#define ERROR_WINHTTP_OPERATION_CANCELLED 12017
#define ERROR_WINHTTP_BAD_AUTO_PROXY_SCRIPT 12166
#define ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT 12167
#define ERROR_WINHTTP_AUTO_PROXY_SERVICE_ERROR 12178
#define ERROR_WINHTTP_AUTODETECTION_FAILED 12180

struct WINHTTP_AUTOPROXY_OPTIONS {
    DWORD dwFlags;
    DWORD dwAutoDetectFlags;
    LPCWSTR lpszAutoConfigUrl;
    LPVOID lpvReserved;
    DWORD dwReserved;
    BOOL fAutoLogonIfChallenged;
};
static_assert(sizeof(WINHTTP_AUTOPROXY_OPTIONS) == 32);

struct WINHTTP_PROXY_INFO {
    DWORD dwAccessType;
    LPWSTR lpszProxy;
    LPWSTR lpszProxyBypass;
};
static_assert(sizeof(WINHTTP_PROXY_INFO) == 24);

struct WINHTTP_CURRENT_USER_IE_PROXY_CONFIG {
    BOOL fAutoDetect;
    LPWSTR lpszAutoConfigUrl;
    LPWSTR lpszProxy;
    LPWSTR lpszProxyBypass;
};
static_assert(sizeof(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG) == 32);

extern "C" {
HINTERNET WINAPI WinHttpOpen(LPCWSTR userAgent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass, DWORD flags);
BOOL WINAPI WinHttpCloseHandle(HINTERNET session);
BOOL WINAPI WinHttpGetIEProxyConfigForCurrentUser(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config);
BOOL WINAPI WinHttpGetProxyForUrl(HINTERNET session, LPCWSTR url, WINHTTP_AUTOPROXY_OPTIONS* options,
                                  WINHTTP_PROXY_INFO* info);
}

#endif
