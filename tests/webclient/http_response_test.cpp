#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "http_fixture.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class HttpResponse : public HttpResponseTest {};

TEST_F(HttpResponse, AFreshResponseIs200Ok) {
  EXPECT_EQ(response.getStatusCode(), 200u);
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponse, ABodyOfTwoBytesGives40) {
  EXPECT_EQ(response.setBody("hi"), kOk);
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi");
  EXPECT_EQ(size, 40u);
}

TEST_F(HttpResponse, SetStatusAnswersNotImplementedAlsoOnSuccess) {
  EXPECT_EQ(response.setStatus(404), kNotImplemented);
  EXPECT_EQ(response.getStatusCode(), 404u);
  EXPECT_EQ(response.setStatus(1001), kFail);
  EXPECT_EQ(response.getStatusCode(), 404u);
  EXPECT_EQ(serialise().substr(0, 24), "HTTP/1.1 404 Not Found\r\n");
  EXPECT_EQ(response.setStatus(1000), kNotImplemented);
  EXPECT_EQ(serialise().substr(0, 16), "HTTP/1.1 1000 \r\n");
  EXPECT_EQ(response.setStatus(200, "Fine"), kNotImplemented);
  EXPECT_EQ(serialise().substr(0, 19), "HTTP/1.1 200 Fine\r\n");
}

TEST_F(HttpResponse, ReasonsMayBeLongOrEmpty) {
  const std::string reason(300, 'r');
  EXPECT_EQ(response.setStatus(200, reason.c_str()), kNotImplemented);
  EXPECT_EQ(serialise().substr(0, 315), "HTTP/1.1 200 " + reason + "\r\n");
  EXPECT_EQ(response.setStatus(200, ""), kNotImplemented);
  EXPECT_EQ(serialise().substr(0, 15), "HTTP/1.1 200 \r\n");
}

TEST_F(HttpResponse, HeadersAreTrimmedAndKeepTheirOrder) {
  EXPECT_EQ(response.addHeader(" X ", " y "), kOk);
  EXPECT_EQ(response.addHeader("A", "b"), kOk);
  EXPECT_EQ(response.addHeader("X", "\t\r\nz\r\n"), kOk);
  EXPECT_EQ(response.addHeader("", " "), kOk);
  EXPECT_EQ(response.addHeader(nullptr, "z"), kFail);
  EXPECT_EQ(response.addHeader("X", nullptr), kFail);
  EXPECT_EQ(response.setProtocol("HTTP/1.0"), kOk);
  EXPECT_EQ(serialise(),
            "HTTP/1.0 200 OK\r\nX: y\r\nA: b\r\nX: z\r\n: \r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponse, ProtocolsAndBodiesMayBeReplacedAndTakenAway) {
  const std::string protocol(100, 'P');
  EXPECT_EQ(response.setProtocol(protocol.c_str()), kOk);
  EXPECT_EQ(response.setBody("first"), kOk);
  EXPECT_EQ(response.setBody("second one"), kOk);
  EXPECT_EQ(serialise(), protocol + " 200 OK\r\nContent-Length: 10\r\n\r\nsecond one");
  EXPECT_EQ(response.setProtocol(nullptr), kOk);
  EXPECT_EQ(response.setBody(nullptr), kOk);
  EXPECT_EQ(serialise(), " 200 OK\r\nContent-Length: 10\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponse, ABufferThatIsLargeEnoughIsWrittenInPlace) {
  buffer = static_cast<uint8_t*>(spy.root.Allocate(500));
  uint8_t* const before = buffer;
  size = 500;
  const std::string text = serialise();
  EXPECT_EQ(buffer, before);
  EXPECT_EQ(size, text.size());
  EXPECT_EQ(text, "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponse, ABufferOfExactlyTheLengthIsLargeEnough) {
  constexpr uint64_t kLength = 38;  // of "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"
  buffer = static_cast<uint8_t*>(spy.root.Allocate(kLength));
  uint8_t* const before = buffer;
  size = kLength;
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
  EXPECT_EQ(buffer, before);
  EXPECT_EQ(size, kLength);
}

TEST_F(HttpResponse, NoBufferHasNoRoomWhateverTheSizeSays) {
  size = 500;
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
  EXPECT_EQ(size, 38u);
}

TEST_F(HttpResponse, SerialisingNeedsBothPlaces) {
  EXPECT_EQ(response.serialize(nullptr, &size), kNullPointer);
  EXPECT_EQ(response.serialize(&buffer, nullptr), kNullPointer);
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n") << "no header was added";
}

TEST_F(HttpResponse, SerialisingTwiceAddsASecondContentLength) {
  (void)serialise();
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponse, TheDumpStandsBetweenTwoBanners) {
  spy.setTraceLevel(4);
  const std::string text = serialise();
  const std::string banner = "****************** HTTP Response ******************";
  EXPECT_THAT(spy.trace(),
              testing::ElementsAre(TraceLine{4, "vexabase", banner}, TraceLine{4, "vexabase", text},
                                   TraceLine{4, "vexabase", banner}));
}

TEST_F(HttpResponse, TheDumpComesFromLevel4OfTheModuleOn) {
  spy.setTraceLevel(3);
  (void)serialise();
  spy.setTraceLevel(0);
  spy.setTraceLevel(base::defaultTraceSource(), 5);
  (void)serialise();
  EXPECT_THAT(spy.trace(), testing::IsEmpty());
}

TEST_F(HttpResponse, ALengthThatIsAsItWasCountedIsNotTold) {
  spy.setTraceLevel(3);
  EXPECT_EQ(response.addHeader("A", "b"), kOk);
  EXPECT_EQ(response.setBody("body"), kOk);
  (void)serialise();
  EXPECT_THAT(spy.traceTexts(1), testing::IsEmpty());
}

// --- Memory ---

TEST_F(HttpResponse, AHeaderListThatCannotGrowIsEmptyAfterwards) {
  EXPECT_EQ(response.addHeader("A", "b"), kOk);
  const uint64_t before = spy.allocations();
  EXPECT_EQ(response.addHeader("C", "d"), kOk);
  const uint64_t needed = spy.allocations() - before;
  spy.failAllocation(needed);
  EXPECT_EQ(response.addHeader("E", "f"), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponse, WhatCannotBeReplacedStays) {
  const std::string large(200, 'x');
  EXPECT_EQ(response.setStatus(404), kNotImplemented);
  EXPECT_EQ(response.setBody("body"), kOk);
  spy.failAllocationsFrom(1);
  EXPECT_EQ(response.setStatus(500, large.c_str()), kOutOfMemory);
  EXPECT_EQ(response.setProtocol(large.c_str()), kOutOfMemory);
  EXPECT_EQ(response.setBody(large.c_str()), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(response.getStatusCode(), 404u);
  EXPECT_EQ(serialise(), "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\nbody");
}

TEST_F(HttpResponse, ABlockThatCannotGrowStays) {
  buffer = static_cast<uint8_t*>(spy.root.Allocate(5));
  uint8_t* const before = buffer;
  size = 5;
  EXPECT_EQ(response.addHeader("A", "b"), kOk);
  spy.failAllocation(2);  // the first is the header that serialising adds
  EXPECT_EQ(response.serialize(&buffer, &size), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(buffer, before);
  EXPECT_EQ(size, 5u);
}

TEST_F(HttpResponse, EveryFailedAllocationLeavesNothing) {
  sweepAllocations(spy, [this] {
    RawResponse fresh;
    if (create(kHttpResponseClassName, IID_IHTTPResponse, fresh.put()) != kOk) {
      return false;
    }
    uint8_t* text = nullptr;
    uint64_t length = 0;
    const bool done = fresh.addHeader("A", "b") == kOk && fresh.setBody("body") == kOk &&
                      fresh.setStatus(404) == kNotImplemented &&
                      fresh.serialize(&text, &length) == kOk;
    spy.root.Free(text);
    EXPECT_EQ(fresh.release(), 0u);
    return done;
  });
}

}  // namespace
}  // namespace vexa::test
