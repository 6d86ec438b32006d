#pragma once

#include "support/bound_fixture.h"
#include "support/exact_bytes.h"
#include "support/slot.h"
#include "webclient/url_parser.h"

namespace vexa::test {

// One reference, the only one, to a URL parser, and its operations by slot.
class RawUrlParser {
 public:
  RawUrlParser() {
    EXPECT_EQ(webclient::URLParser::CreateInstance(&IID_IURLParser, &object_), kOk);
  }
  // Takes the reference over.
  explicit RawUrlParser(void* object) : object_(object) {}
  // Holds the text, too, which ends where its last character does.
  explicit RawUrlParser(const char* url) : RawUrlParser() { (void)parse(url); }
  RawUrlParser(const RawUrlParser&) = delete;
  RawUrlParser& operator=(const RawUrlParser&) = delete;
  ~RawUrlParser() { EXPECT_EQ(call<uint32_t>(object_, 2), 0u); }

  int32_t parse(const char* url) {
    text_ = std::make_unique<ExactText>(url);
    return call<int32_t>(object_, 3, static_cast<const char*>(text_->get()));
  }
  int32_t parseNull() { return call<int32_t>(object_, 3, static_cast<const char*>(nullptr)); }
  int32_t getPort() { return call<int32_t>(object_, 4); }
  bool isHttps() { return call<bool>(object_, 5); }
  bool isValid() { return call<bool>(object_, 6); }
  int64_t getLength() { return call<int64_t>(object_, 7); }
  bool cmp(void* other) { return call<bool>(object_, 8, other); }
  bool cmpText(const char* url) { return call<bool>(object_, 9, url); }
  bool patternMatch(const char* pattern) { return call<bool>(object_, 10, pattern); }

  void* get() { return object_; }

 private:
  void* object_ = nullptr;
  std::unique_ptr<ExactText> text_;
};

}  // namespace vexa::test
