#include "base/unload_registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vexa::base {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Recorder final : public ISingleton {
 public:
  Recorder(std::vector<std::string>& log, std::string name, int32_t loadResult = kOk)
      : log_(log), name_(std::move(name)), loadResult_(loadResult) {}

  int32_t Load() override {
    log_.push_back("+" + name_);
    return loadResult_;
  }
  int32_t Unload(uint32_t pass) override {
    log_.push_back("-" + name_ + std::to_string(pass));
    return kFail;  // not examined
  }

 private:
  std::vector<std::string>& log_;
  std::string name_;
  int32_t loadResult_;
};

class UnloadRegistryTest : public testing::Test {
 protected:
  std::vector<std::string> take() { return std::exchange(log, {}); }

  std::vector<std::string> log;
  UnloadRegistry registry;
};

TEST_F(UnloadRegistryTest, LoadsOldestFirst) {
  Recorder a(log, "a");
  Recorder b(log, "b");
  EXPECT_EQ(registry.Register(&a, kReleaseLast), kOk);
  EXPECT_EQ(registry.Register(&b, kReleaseFirst), kOk);
  EXPECT_EQ(registry.Load(), kOk);
  EXPECT_THAT(take(), ElementsAre("+a", "+b"));
}

TEST_F(UnloadRegistryTest, LoadStopsAtTheFirstNegativeResult) {
  Recorder a(log, "a", 1);  // positive: success
  Recorder b(log, "b", kAccessDenied);
  Recorder c(log, "c");
  for (Recorder* recorder : {&a, &b, &c}) {
    EXPECT_EQ(registry.Register(recorder, kReleaseLast), kOk);
  }
  EXPECT_EQ(registry.Load(), kAccessDenied);
  EXPECT_THAT(take(), ElementsAre("+a", "+b"));
}

TEST_F(UnloadRegistryTest, UnloadsReleaseFirstObjectsThenTheOthersNewestFirst) {
  Recorder a(log, "a");
  Recorder b(log, "b");
  Recorder c(log, "c");
  Recorder d(log, "d");
  EXPECT_EQ(registry.Register(&a, kReleaseLast), kOk);
  EXPECT_EQ(registry.Register(&b, kReleaseFirst), kOk);
  EXPECT_EQ(registry.Register(&c, kReleaseLast), kOk);
  EXPECT_EQ(registry.Register(&d, kReleaseFirst), kOk);
  registry.Final();
  EXPECT_THAT(take(), ElementsAre("-d1", "-b1", "-c0", "-a0"));
}

TEST_F(UnloadRegistryTest, KeepsTheOthersAndDropsReleaseFirstNodes) {
  Recorder a(log, "a");
  Recorder b(log, "b");
  EXPECT_EQ(registry.Register(&a, kReleaseLast), kOk);
  EXPECT_EQ(registry.Register(&b, kReleaseFirst), kOk);
  registry.Final();
  take();
  EXPECT_EQ(registry.Load(), kOk);
  EXPECT_THAT(take(), ElementsAre("+a"));
  registry.Final();
  EXPECT_THAT(take(), ElementsAre("-a0"));
}

TEST_F(UnloadRegistryTest, AnObjectRegisteredTwiceIsUnloadedTwice) {
  Recorder a(log, "a");
  EXPECT_EQ(registry.Register(&a, kReleaseLast), kOk);
  EXPECT_EQ(registry.Register(&a, kReleaseLast), kOk);
  registry.Final();
  EXPECT_THAT(take(), ElementsAre("-a0", "-a0"));
}

TEST_F(UnloadRegistryTest, AnIncompleteChainDoesNotLoad) {
  Recorder a(log, "a");
  EXPECT_EQ(registry.Register(&a, kReleaseLast), kOk);
  registry.SetIncomplete();
  EXPECT_EQ(registry.Load(), kOutOfMemory);
  EXPECT_THAT(log, IsEmpty());
}

TEST_F(UnloadRegistryTest, AnEmptyChainLoadsAndEnds) {
  EXPECT_EQ(registry.Load(), kOk);
  registry.Final();
  EXPECT_THAT(log, IsEmpty());
}

}  // namespace
}  // namespace vexa::base
