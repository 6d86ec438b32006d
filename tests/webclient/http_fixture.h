#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/module_fixture.h"
#include "vexa/http_request.h"

namespace vexa::test {

// One request at a time, through its raw table.
class HttpRequestTest : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    request = create(kHttpRequestClassName, IID_IHTTPRequest);
  }
  void TearDown() override {
    EXPECT_EQ(call<uint32_t>(request, 2), 0u);
    ModuleTest::TearDown();
  }
  void renew() {
    EXPECT_EQ(call<uint32_t>(request, 2), 0u);
    request = create(kHttpRequestClassName, IID_IHTTPRequest);
  }
  int32_t parse(const std::string& bytes) {
    // A copy of exactly that size, so that no byte behind it is read.
    const std::vector<uint8_t> exact(bytes.begin(), bytes.end());
    return call<int32_t>(request, 3, exact.data(), uint64_t{exact.size()});
  }
  std::string textOf(int slotNumber) { return call<const char*>(request, slotNumber); }
  std::string lookUp(int slotNumber, const char* name) {
    char* value = nullptr;
    const int32_t result = call<int32_t>(request, slotNumber, name, &value);
    EXPECT_EQ(result == kOk, value != nullptr);
    std::string found = value != nullptr ? value : "(absent)";
    spy.root.Free(value);
    return found;
  }
  // Everything that a request tells.
  std::string all() {
    runtime::ByteBuffer body{};
    const int32_t hasData = call<int32_t>(request, 9, &body);
    return textOf(4) + "|" + textOf(5) + "|" + textOf(6) + "|" + textOf(7) + "|" +
           lookUp(11, "Origin") + "|" + lookUp(11, "Referer") + "|" + lookUp(12, "x") + "|" +
           lookUp(12, "y") + "|" +
           (hasData == kOk ? std::string(reinterpret_cast<char*>(body.data), body.length)
                           : "(none)");
  }

  void* request = nullptr;
};

}  // namespace vexa::test
