#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "raw_http.h"
#include "support/module_fixture.h"

namespace vexa::test {

// One request at a time.
class HttpRequestTest : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    request = RawRequest(create(kHttpRequestClassName, IID_IHTTPRequest));
  }
  void TearDown() override {
    EXPECT_EQ(request.release(), 0u);
    ModuleTest::TearDown();
  }
  void renew() {
    EXPECT_EQ(request.release(), 0u);
    request = RawRequest(create(kHttpRequestClassName, IID_IHTTPRequest));
  }
  // A request of the test's own; empty when it could not be made.
  RawRequest another() {
    RawRequest made;
    const int32_t result = create(kHttpRequestClassName, IID_IHTTPRequest, made.put());
    EXPECT_EQ(result == kOk, static_cast<bool>(made));
    return made;
  }

  RawRequest request;
};

// One response, and the block that it is written into.
class HttpResponseTest : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    response = RawResponse(create(kHttpResponseClassName, IID_IHTTPResponse));
  }
  void TearDown() override {
    spy.root.Free(buffer);
    EXPECT_EQ(response.release(), 0u);
    ModuleTest::TearDown();
  }
  std::string serialise() {
    EXPECT_EQ(response.serialize(&buffer, &size), kOk);
    return {reinterpret_cast<char*>(buffer), size};
  }

  RawResponse response;
  uint8_t* buffer = nullptr;
  uint64_t size = 0;
};

}  // namespace vexa::test
