#pragma once

#include "pal/posix/error.h"
#include "pal/posix/heap.h"

// WinHTTP's proxy questions. The user's settings are the environment variables http_proxy,
// https_proxy and no_proxy (or, where the small one is not set, their capital forms). There is no
// script engine and no detection: those calls fail with WinHTTP's own errors. Texts that are handed
// out are the caller's, freed with GlobalFree.

using HINTERNET = void*;

inline constexpr DWORD WINHTTP_ACCESS_TYPE_DEFAULT_PROXY = 0;
inline constexpr DWORD WINHTTP_ACCESS_TYPE_NO_PROXY = 1;
inline constexpr DWORD WINHTTP_ACCESS_TYPE_NAMED_PROXY = 3;
inline constexpr LPCWSTR WINHTTP_NO_PROXY_NAME = nullptr;
inline constexpr LPCWSTR WINHTTP_NO_PROXY_BYPASS = nullptr;

inline constexpr DWORD WINHTTP_AUTO_DETECT_TYPE_DHCP = 0x1;
inline constexpr DWORD WINHTTP_AUTO_DETECT_TYPE_DNS_A = 0x2;
inline constexpr DWORD WINHTTP_AUTOPROXY_AUTO_DETECT = 0x1;
inline constexpr DWORD WINHTTP_AUTOPROXY_CONFIG_URL = 0x2;

inline constexpr DWORD ERROR_WINHTTP_INVALID_URL = 12005;
inline constexpr DWORD ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT = 12167;
inline constexpr DWORD ERROR_WINHTTP_AUTODETECTION_FAILED = 12180;

struct WINHTTP_CURRENT_USER_IE_PROXY_CONFIG {
  BOOL fAutoDetect;
  LPWSTR lpszAutoConfigUrl;
  LPWSTR lpszProxy;
  LPWSTR lpszProxyBypass;
};
static_assert(sizeof(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG) == 32);

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

extern "C" {
// fAutoDetect is FALSE and lpszAutoConfigUrl null: the environment knows neither.
//   lpszProxy        "http=host:port;https=host:port", one entry for each variable that is set;
//                    scheme, user and path of the variable's URL are left out. Null: none is set.
//   lpszProxyBypass  no_proxy with ';' between the entries, in WinHTTP's wildcards: ".a.example"
//                    becomes "*.a.example", "a.example" becomes "a.example;*.a.example"; addresses
//                    and wildcards stay as they are. Null: none.
// Variables with bytes above 127 count as not set: a host is written in ASCII.
// FALSE: ERROR_INVALID_PARAMETER (null), ERROR_NOT_ENOUGH_MEMORY (nothing is handed out).
BOOL WINAPI WinHttpGetIEProxyConfigForCurrentUser(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config);

// Always FALSE: ERROR_INVALID_PARAMETER (no way of detection asked for, or null), else
// ERROR_WINHTTP_AUTODETECTION_FAILED with a null *url.
BOOL WINAPI WinHttpDetectAutoProxyConfigUrl(DWORD flags, LPWSTR* url);

// Only synchronous sessions (flags 0), others fail with ERROR_NOT_SUPPORTED. The caller closes it.
HINTERNET WINAPI WinHttpOpen(LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass,
                             DWORD flags);

// Always FALSE. ERROR_INVALID_HANDLE: not an open session. ERROR_INVALID_PARAMETER: null, or
// options without a source. ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT: a script URL was given.
// ERROR_WINHTTP_AUTODETECTION_FAILED: only detection was asked for. *info is left alone.
BOOL WINAPI WinHttpGetProxyForUrl(HINTERNET session, LPCWSTR url,
                                  WINHTTP_AUTOPROXY_OPTIONS* options, WINHTTP_PROXY_INFO* info);

// FALSE with ERROR_INVALID_HANDLE when it is not open.
BOOL WINAPI WinHttpCloseHandle(HINTERNET handle);
}
