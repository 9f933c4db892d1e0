/// \file
/// The part of the system's header that the library's file needs; see windows.h.
#pragma once

#include <windows.h>

struct WINHTTP_CURRENT_USER_IE_PROXY_CONFIG {
    BOOL fAutoDetect;
    LPWSTR lpszAutoConfigUrl;
    LPWSTR lpszProxy;
    LPWSTR lpszProxyBypass;
};

struct WINHTTP_PROXY_INFO {
    DWORD dwAccessType;
    LPWSTR lpszProxy;
    LPWSTR lpszProxyBypass;
};

constexpr DWORD WINHTTP_ACCESS_TYPE_DEFAULT_PROXY = 0;
constexpr DWORD WINHTTP_ACCESS_TYPE_NO_PROXY = 1;
constexpr DWORD WINHTTP_ACCESS_TYPE_NAMED_PROXY = 3;

BOOL WINAPI WinHttpGetIEProxyConfigForCurrentUser(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config);
BOOL WINAPI WinHttpGetDefaultProxyConfiguration(WINHTTP_PROXY_INFO* info);
