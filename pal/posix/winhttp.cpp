#include "pal/posix/winhttp.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <string_view>

#include "pal/posix/counters.h"

namespace {

// Sessions hold nothing: they are numbers that are open or not.
struct Sessions {
  std::mutex mutex;
  std::set<std::uintptr_t> open;
  std::uintptr_t last = 0;
};
Sessions& sessions() {
  static Sessions all;
  return all;
}

bool isOpen(HINTERNET session) {
  Sessions& all = sessions();
  const std::lock_guard lock(all.mutex);
  return all.open.count(reinterpret_cast<std::uintptr_t>(session)) != 0;
}

BOOL fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

std::string_view trim(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t start = text.find_first_not_of(kBlanks);
  if (start == std::string_view::npos) {
    return {};
  }
  return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

// Empty when neither variable is set, or when a host in it could not be one.
std::string_view variable(const char* small, const char* capital) {
  const char* value = std::getenv(small);
  if (value == nullptr) {
    value = std::getenv(capital);
  }
  if (value == nullptr) {
    return {};
  }
  const std::string_view text = trim(value);
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  return std::all_of(text.begin(), text.end(), isAscii) ? text : std::string_view{};
}

// "host:port" of a URL: authority = [ userinfo "@" ] host [ ":" port ] (RFC 3986).
std::string_view hostAndPort(std::string_view url) {
  const std::size_t scheme = url.find("://");
  if (scheme != std::string_view::npos) {
    url.remove_prefix(scheme + 3);
  }
  url = url.substr(0, url.find_first_of("/?#"));
  const std::size_t user = url.rfind('@');
  if (user != std::string_view::npos) {
    url.remove_prefix(user + 1);
  }
  return url;
}

void addProxy(std::string_view scheme, std::string_view url, std::string& list) {
  const std::string_view proxy = hostAndPort(url);
  if (proxy.empty()) {
    return;
  }
  if (!list.empty()) {
    list += ';';
  }
  list.append(scheme).append(1, '=').append(proxy);
}

// A plain host name also stands for all names below it; an address, a range or a wildcard does not.
bool isHostName(std::string_view entry) {
  const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  return std::any_of(entry.begin(), entry.end(), isLetter) &&
         entry.find_first_of("*:/[<") == std::string_view::npos;
}

std::string bypassList(std::string_view entries) {
  std::string list;
  const auto add = [&list](std::string_view prefix, std::string_view entry) {
    if (!list.empty()) {
      list += ';';
    }
    list.append(prefix).append(entry);
  };
  while (!entries.empty()) {
    const std::size_t end = std::min(entries.find_first_of(",;"), entries.size());
    const std::string_view entry = trim(entries.substr(0, end));
    entries.remove_prefix(std::min(end + 1, entries.size()));
    if (entry.empty()) {
      continue;
    }
    if (entry.front() == '.') {
      add("*", entry);
      continue;
    }
    add("", entry);
    if (isHostName(entry)) {
      add("*.", entry);
    }
  }
  return list;
}

// A copy for the caller; an empty text becomes null. False when memory is short.
bool handOut(const std::string& text, LPWSTR& out) {
  out = nullptr;
  if (text.empty()) {
    return true;
  }
  out = static_cast<LPWSTR>(GlobalAlloc(GPTR, (text.size() + 1) * sizeof(WCHAR)));
  if (out == nullptr) {
    return false;
  }
  std::copy(text.begin(), text.end(), out);
  return true;
}

}  // namespace

namespace pal::posix {

std::size_t openSessions() {
  Sessions& all = sessions();
  const std::lock_guard lock(all.mutex);
  return all.open.size();
}

}  // namespace pal::posix

BOOL WINAPI WinHttpGetIEProxyConfigForCurrentUser(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config) {
  if (config == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  *config = {};
  try {
    std::string proxies;
    addProxy("http", variable("http_proxy", "HTTP_PROXY"), proxies);
    addProxy("https", variable("https_proxy", "HTTPS_PROXY"), proxies);
    const std::string bypass = bypassList(variable("no_proxy", "NO_PROXY"));
    if (handOut(proxies, config->lpszProxy) && handOut(bypass, config->lpszProxyBypass)) {
      return TRUE;
    }
  } catch (const std::bad_alloc&) {
    // The same answer as for a text that could not be copied.
  }
  GlobalFree(config->lpszProxy);
  *config = {};
  return fail(ERROR_NOT_ENOUGH_MEMORY);
}

BOOL WINAPI WinHttpDetectAutoProxyConfigUrl(DWORD flags, LPWSTR* url) {
  if (flags == 0 || url == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  *url = nullptr;
  return fail(ERROR_WINHTTP_AUTODETECTION_FAILED);
}

HINTERNET WINAPI WinHttpOpen(LPCWSTR, DWORD, LPCWSTR, LPCWSTR, DWORD flags) {
  if (flags != 0) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  try {
    Sessions& all = sessions();
    const std::lock_guard lock(all.mutex);
    all.open.insert(all.last + 4);
    all.last += 4;
    return reinterpret_cast<HINTERNET>(all.last);
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
}

BOOL WINAPI WinHttpGetProxyForUrl(HINTERNET session, LPCWSTR url,
                                  WINHTTP_AUTOPROXY_OPTIONS* options, WINHTTP_PROXY_INFO* info) {
  if (!isOpen(session)) {
    return fail(ERROR_INVALID_HANDLE);
  }
  if (url == nullptr || options == nullptr || info == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const bool script = (options->dwFlags & WINHTTP_AUTOPROXY_CONFIG_URL) != 0;
  const bool detect = (options->dwFlags & WINHTTP_AUTOPROXY_AUTO_DETECT) != 0;
  if ((!script && !detect) || (script && options->lpszAutoConfigUrl == nullptr) ||
      (detect && options->dwAutoDetectFlags == 0)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return fail(script ? ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT
                     : ERROR_WINHTTP_AUTODETECTION_FAILED);
}

BOOL WINAPI WinHttpCloseHandle(HINTERNET handle) {
  Sessions& all = sessions();
  const std::lock_guard lock(all.mutex);
  if (all.open.erase(reinterpret_cast<std::uintptr_t>(handle)) == 0) {
    return fail(ERROR_INVALID_HANDLE);
  }
  return TRUE;
}
