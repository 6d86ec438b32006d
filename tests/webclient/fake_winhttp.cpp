#include "fake_winhttp.h"

#include <cstring>
#include <utility>

#include "pal/replace.h"
#include "pal/wide.h"

namespace vexa::test {

std::string narrow(const std::u16string& text) {
  std::string out;
  for (const char16_t unit : text) {
    out += static_cast<char>(unit);
  }
  return out;
}

FakeWinHttp& FakeWinHttp::instance() {
  static FakeWinHttp fake;
  return fake;
}

void FakeWinHttp::reset(ProxyWorld newWorld) {
  for (void* const text : texts_) {
    delete[] static_cast<char16_t*>(text);
  }
  *this = FakeWinHttp();
  world_ = std::move(newWorld);
}

// In a block of its exact size.
LPWSTR FakeWinHttp::handOut(const OptionalText& text) {
  if (!text) {
    return nullptr;
  }
  auto* const copy = new char16_t[text->size() + 1];
  std::memcpy(copy, text->c_str(), (text->size() + 1) * sizeof(char16_t));
  texts_.insert(copy);
  ++textsHandedOut_;
  return pal::wide(copy);
}

HGLOBAL FakeWinHttp::free(HGLOBAL text) {
  if (texts_.erase(text) == 0) {
    ++errors_;
    return text;
  }
  delete[] static_cast<char16_t*>(text);
  return nullptr;
}

BOOL FakeWinHttp::getSettings(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config) {
  calls.emplace_back("settings");
  if (world_.settingsFail) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  config->fAutoDetect = world_.autoDetect ? TRUE : FALSE;
  config->lpszAutoConfigUrl = handOut(world_.autoConfigUrl);
  config->lpszProxy = handOut(world_.proxy);
  config->lpszProxyBypass = handOut(world_.bypass);
  return TRUE;
}

BOOL FakeWinHttp::detect(DWORD flags, LPWSTR* url) {
  calls.emplace_back("detect");
  detections.push_back(flags);
  if (!world_.detectedUrl) {
    SetLastError(kNotDetected);
    return FALSE;
  }
  *url = handOut(world_.detectedUrl);
  return TRUE;
}

HINTERNET FakeWinHttp::open(LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass,
                            DWORD flags) {
  calls.emplace_back("open");
  opened.push_back({pal::utf16(agent), accessType, proxy != nullptr || bypass != nullptr, flags});
  if (world_.sessionFails) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  ++openSessions_;
  return this;
}

BOOL FakeWinHttp::ask(HINTERNET session, LPCWSTR url, const WINHTTP_AUTOPROXY_OPTIONS* options,
                      WINHTTP_PROXY_INFO* info) {
  const std::u16string script = pal::utf16(options->lpszAutoConfigUrl);
  calls.emplace_back("ask " + narrow(script));
  asked.push_back({pal::utf16(url), *options});
  errors_ += session == this && openSessions_ == 1 ? 0 : 1;
  const auto found = world_.scripts.find(script);
  if (found == world_.scripts.end() || found->second.error != 0) {
    SetLastError(found == world_.scripts.end() ? kNoScript : found->second.error);
    return FALSE;
  }
  info->dwAccessType = found->second.accessType;
  info->lpszProxy = handOut(found->second.proxies);
  info->lpszProxyBypass = handOut(found->second.bypass);
  return TRUE;
}

BOOL FakeWinHttp::close(HINTERNET session) {
  calls.emplace_back("close");
  errors_ += session == this && openSessions_ == 1 ? 0 : 1;
  --openSessions_;
  return TRUE;
}

}  // namespace vexa::test

using vexa::test::FakeWinHttp;

PAL_REPLACE(BOOL, WinHttpGetIEProxyConfigForCurrentUser,
            (WINHTTP_CURRENT_USER_IE_PROXY_CONFIG * config)) {
  return FakeWinHttp::instance().getSettings(config);
}
PAL_REPLACE(BOOL, WinHttpDetectAutoProxyConfigUrl, (DWORD flags, LPWSTR* url)) {
  return FakeWinHttp::instance().detect(flags, url);
}
PAL_REPLACE(HINTERNET, WinHttpOpen,
            (LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass, DWORD flags)) {
  return FakeWinHttp::instance().open(agent, accessType, proxy, bypass, flags);
}
PAL_REPLACE(BOOL, WinHttpGetProxyForUrl,
            (HINTERNET session, LPCWSTR url, WINHTTP_AUTOPROXY_OPTIONS* options,
             WINHTTP_PROXY_INFO* info)) {
  return FakeWinHttp::instance().ask(session, url, options, info);
}
PAL_REPLACE(BOOL, WinHttpCloseHandle, (HINTERNET handle)) {
  return FakeWinHttp::instance().close(handle);
}
PAL_REPLACE(HGLOBAL, GlobalFree, (HGLOBAL block)) { return FakeWinHttp::instance().free(block); }
