#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "support/spy_runtime.h"

namespace vexa::test {

// The runtime's tables; no block may live at a test's end.
class RuntimeTest : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(spy.liveBlocks(), 0); }

  SpyRuntime spy;
  const runtime::StringTable& strings = spy.strings;
  const runtime::WideStringTable& wides = spy.wideStrings;
};

// A string object that ends with the test.
class String {
 public:
  explicit String(std::string_view text = {}) {
    EXPECT_EQ(SpyRuntime::current().strings.AssignBytes(&record_, text.data(), text.size()), kOk);
  }
  String(const String&) = delete;
  String& operator=(const String&) = delete;
  ~String() { SpyRuntime::current().strings.Clear(&record_); }

  runtime::StringObject* get() { return &record_; }
  std::string str() const {
    return record_.text == nullptr ? std::string() : std::string(record_.text, record_.length);
  }

 private:
  runtime::StringObject record_{};
};

class WideString {
 public:
  explicit WideString(std::u16string_view text = {}) {
    EXPECT_EQ(SpyRuntime::current().wideStrings.AssignUnits(&record_, text.data(), text.size()),
              kOk);
  }
  WideString(const WideString&) = delete;
  WideString& operator=(const WideString&) = delete;
  ~WideString() { SpyRuntime::current().wideStrings.Clear(&record_); }

  runtime::WideStringObject* get() { return &record_; }
  std::u16string str() const {
    return record_.text == nullptr ? std::u16string()
                                   : std::u16string(record_.text, record_.length);
  }

 private:
  runtime::WideStringObject record_{};
};

}  // namespace vexa::test
