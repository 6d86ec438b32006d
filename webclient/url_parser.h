#pragma once

#include <cstdint>

#include "base/com_object.h"
#include "vexa/url_parser.h"

namespace vexa::webclient {

// Scans a URL in place and keeps pointers into the caller's text; see vexa/url_parser.h.
class URLParser : public IURLParser,
                  public base::CFactoryImpl<URLParser>,
                  public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  URLParser() = default;
  URLParser(const URLParser&) = delete;
  URLParser& operator=(const URLParser&) = delete;

  int32_t parse(const char* url) override;
  int32_t getPort() override;
  bool isHTTPS() override;
  bool isValid() override;
  int64_t getLength() override;
  using IURLParser::cmp;
  bool cmp(IURLParser* other) override;
  bool cmpText(const char* url) override;
  bool pattern_match(const char* pattern) override;

 protected:
  ~URLParser() = default;

 private:
  enum Protocol : uint32_t { kNone = 0, kHttps = 1, kHttp = 2 };

  // What one parse leaves. All zero: nothing recognised.
  struct Parts {
    const char* url = nullptr;        // the caller's text
    const char* host = nullptr;       // inside the text, not terminated
    const char* pathStart = nullptr;  // the "/" or the text's end; null: no recognised end
    uint64_t hostLength = 0;
    int32_t port = 0;         // 0: none that is usable
    uint8_t pathFollows = 0;  // 1: a "/" ended the host or the port. Nothing asks for it yet.
    Protocol protocol = kNone;
  };

  void scan(const char* url);
  const char* takeScheme(const char* url);
  void takePath(const char* end);
  uint32_t getProtocol() const;
  void handleHost(const char* end, const char* begin);
  void handlePort(const char* end, const char* begin);
  bool compare(IURLParser* other, const URLParser* own);
  bool sameHost(const URLParser& other) const;
  bool matchHost(const URLParser& pattern) const;

  Parts parts_;
};

// A parser for the time of one call, without a block of its own.
class LocalUrlParser {
 public:
  LocalUrlParser() = default;
  LocalUrlParser(const LocalUrlParser&) = delete;
  LocalUrlParser& operator=(const LocalUrlParser&) = delete;
  ~LocalUrlParser() { parser_->DeletingDestructor(0); }

  base::CComObject<URLParser>* get() const { return parser_; }
  base::CComObject<URLParser>* operator->() const { return parser_; }

 private:
  using Object = base::CComObject<URLParser>;

  alignas(Object) unsigned char place_[sizeof(Object)];
  Object* parser_ = Object::Construct(place_);
};

}  // namespace vexa::webclient
