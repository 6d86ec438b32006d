#include "support/module_fixture.h"

#include <gmock/gmock.h>

#include "support/sweep.h"
#include "vexa/core.h"

namespace vexa::test {
namespace {

using ::testing::Contains;

using Fixture = ModuleTest;

TEST_F(Fixture, FindsOfferedLists) {
  EXPECT_NE(list<CoreList>(kCoreListName), nullptr);
  EXPECT_EQ(list("no such list"), nullptr);
}

TEST_F(Fixture, ReportsWhyAClassCannotBeCreated) {
  void* object = nullptr;
  EXPECT_EQ(create("no such class", Guid{}, &object), kFail);
  EXPECT_EQ(object, nullptr);
}

TEST_F(Fixture, ReplacedEntriesReachTheModule) {
  spy.encode.Base64Encode = [](const uint8_t*, uint64_t, uint8_t*, uint64_t*, uint64_t, uint64_t,
                               const char*) -> int32_t { return kFail; };
  const auto* const core = list<CoreList>(kCoreListName);
  const runtime::ByteBuffer in{};
  runtime::ByteBuffer* out = nullptr;
  EXPECT_EQ(core->EncodeBase64(&in, &out), kFail);
  spy.commonTypes.BufferRelease(out);
}

TEST_F(Fixture, StoppingGivesEveryTableBack) {
  EXPECT_EQ(spy.boundInterfaces(), 14);
  stop();
  EXPECT_EQ(spy.boundInterfaces(), 0);
  EXPECT_THAT(spy.rootCallNames(), Contains("-SEC_PKCS12_1"));
}

TEST_F(Fixture, SweepsAnOperationOfTheModule) {
  const auto* const core = list<CoreList>(kCoreListName);
  EXPECT_EQ(sweepAllocations(spy,
                             [&] {
                               runtime::ByteBuffer* buffer = nullptr;
                               const bool done = core->AllocBuffer(8, &buffer) == kOk;
                               spy.commonTypes.BufferRelease(buffer);
                               return done;
                             }),
            2);
}

}  // namespace
}  // namespace vexa::test
