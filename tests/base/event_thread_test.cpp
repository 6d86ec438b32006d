#include <gtest/gtest.h>

#include "base/event.h"
#include "base/thread.h"

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

struct Meeting {
  Event entered;
  Event mayLeave;
};
DWORD WINAPI meet(void* argument) {
  auto* const meeting = static_cast<Meeting*>(argument);
  meeting->entered.Signal();
  meeting->mayLeave.Wait(INFINITE);
  return 0;
}

TEST(Thread, AnEmptyHolderHasNothingToWaitFor) {
  Thread thread;
  EXPECT_FALSE(thread.Wait(0));
  thread.Terminate();
  thread.Close();
  EXPECT_EQ(thread.handle(), nullptr);
  EXPECT_EQ(thread.id(), 0u);
}

TEST(Thread, WaitTimesOutWhileItRunsAndClosesWhenItHasEnded) {
  Meeting meeting;
  Thread thread;
  Thread::Start(&thread, meet, &meeting);
  ASSERT_NE(thread.handle(), nullptr);
  EXPECT_NE(thread.id(), 0u);
  ASSERT_TRUE(meeting.entered.Wait(kLong));
  EXPECT_FALSE(thread.Wait(0));
  EXPECT_NE(thread.handle(), nullptr);
  meeting.mayLeave.Signal();
  EXPECT_TRUE(thread.Wait(kLong));
  EXPECT_EQ(thread.handle(), nullptr);
  EXPECT_EQ(thread.id(), 0u);
}

TEST(Thread, TerminateEndsItByForceAndKeepsTheId) {
  static Meeting meeting;  // nobody tells when the thread has let go of it
  Thread thread;
  Thread::Start(&thread, meet, &meeting);
  ASSERT_TRUE(meeting.entered.Wait(kLong));
  const uint32_t id = thread.id();
  thread.Terminate();
  EXPECT_EQ(thread.handle(), nullptr);
  EXPECT_EQ(thread.id(), id);
  EXPECT_FALSE(thread.Wait(0));
}

TEST(Thread, ADetachedThreadRunsWithoutAHolder) {
  Meeting meeting;
  meeting.mayLeave.Signal();
  Thread::Start(nullptr, meet, &meeting);
  EXPECT_TRUE(meeting.entered.Wait(kLong));
  // The thread takes the signal before it leaves; waiting for that keeps `meeting` alive for it.
  while (meeting.mayLeave.Wait(0)) {
    meeting.mayLeave.Signal();
    Sleep(1);
  }
}

TEST(Thread, CloseForgetsARunningThread) {
  Meeting meeting;
  Thread thread;
  Thread::Start(&thread, meet, &meeting);
  ASSERT_TRUE(meeting.entered.Wait(kLong));
  thread.Close();
  EXPECT_EQ(thread.handle(), nullptr);
  EXPECT_EQ(thread.id(), 0u);
  meeting.mayLeave.Signal();
  while (meeting.mayLeave.Wait(0)) {
    meeting.mayLeave.Signal();
    Sleep(1);
  }
}

}  // namespace
}  // namespace vexa::base
