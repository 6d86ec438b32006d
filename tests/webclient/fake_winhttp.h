#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "pal/windows_api.h"

namespace vexa::test {

// A text that may be missing.
using OptionalText = std::optional<std::u16string>;

// What a script answers.
struct ScriptAnswer {
  DWORD accessType = WINHTTP_ACCESS_TYPE_NAMED_PROXY;
  OptionalText proxies = {};
  OptionalText bypass = {};
  DWORD error = 0;  // not 0: the script fails
};

// The user's Internet settings and the world around them.
struct ProxyWorld {
  bool autoDetect = false;
  OptionalText autoConfigUrl;
  OptionalText proxy;
  OptionalText bypass = {};
  OptionalText detectedUrl;                        // missing: detection fails
  std::map<std::u16string, ScriptAnswer> scripts;  // by their URL; any other fails
  bool settingsFail = false;
  bool sessionFails = false;
};

// Stands in for WinHTTP's proxy functions and for GlobalFree. One for the process.
class FakeWinHttp {
 public:
  // Of a script that is not there, and of a detection without result.
  static constexpr DWORD kNoScript = 12167;
  static constexpr DWORD kNotDetected = 12180;

  struct OpenCall {
    std::u16string agent;
    DWORD accessType;
    bool hasProxyOrBypass;
    DWORD flags;
  };
  struct ScriptCall {
    std::u16string url;
    WINHTTP_AUTOPROXY_OPTIONS options;
  };

  static FakeWinHttp& instance();
  void reset(ProxyWorld newWorld);

  // In order: "settings", "detect", "open", "ask <script URL>", "close".
  std::vector<std::string> calls;
  std::vector<DWORD> detections;  // their flags
  std::vector<OpenCall> opened;
  std::vector<ScriptCall> asked;

  int textsHandedOut() const { return textsHandedOut_; }
  int liveTexts() const { return static_cast<int>(texts_.size()); }
  int openSessions() const { return openSessions_; }
  // Something was freed or closed that was not there.
  int errors() const { return errors_; }

  // The functions themselves.
  BOOL getSettings(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config);
  BOOL detect(DWORD flags, LPWSTR* url);
  HINTERNET open(LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass, DWORD flags);
  BOOL ask(HINTERNET session, LPCWSTR url, const WINHTTP_AUTOPROXY_OPTIONS* options,
           WINHTTP_PROXY_INFO* info);
  BOOL close(HINTERNET session);
  HGLOBAL free(HGLOBAL text);

 private:
  LPWSTR handOut(const OptionalText& text);

  ProxyWorld world_;
  std::set<void*> texts_;
  int textsHandedOut_ = 0;
  int openSessions_ = 0;
  int errors_ = 0;
};

// ASCII only.
std::string narrow(const std::u16string& text);

}  // namespace vexa::test
