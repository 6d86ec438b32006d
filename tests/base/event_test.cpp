#include "base/event.h"

#include <gtest/gtest.h>

namespace vexa::base {
namespace {

constexpr uint32_t kLong = 60'000;

TEST(Event, WaitConsumesASignal) {
  Event event;
  EXPECT_FALSE(event.Wait(0));
  EXPECT_NE(event.Signal(), 0u);
  EXPECT_TRUE(event.Wait(0));
  EXPECT_FALSE(event.Wait(0));
}

TEST(Event, TwoSignalsAreOne) {
  Event event;
  event.Signal();
  event.Signal();
  EXPECT_TRUE(event.Wait(kLong));
  EXPECT_FALSE(event.Wait(0));
}

TEST(Event, ResetTakesASignalBack) {
  Event event;
  event.Signal();
  event.Reset();
  EXPECT_FALSE(event.Wait(0));
}

TEST(Event, SignalIsSlot0OfISignal) {
  Event event;
  ISignal* const signal = &event;
  auto* const slot0 = (*reinterpret_cast<uint32_t (***)(void*)>(signal))[0];
  EXPECT_NE(slot0(signal), 0u);
  EXPECT_TRUE(event.Wait(0));
}

}  // namespace
}  // namespace vexa::base
