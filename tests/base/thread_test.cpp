#include "base/thread.h"

#include <gtest/gtest.h>

#include "base/event.h"

#if !defined(_WIN32)
#include "pal/posix/counters.h"
#endif

namespace vexa::base {
namespace {

constexpr uint32_t kLong = 60'000;

struct Meeting {
  Event entered;
  Event mayLeave;
  Event left;
};
DWORD WINAPI meet(void* argument) {
  auto* const meeting = static_cast<Meeting*>(argument);
  meeting->entered.Signal();
  meeting->mayLeave.Wait(INFINITE);
  meeting->left.Signal();
  return 0;
}

// Each test leaves as many kernel objects open as there were before.
class ThreadTest : public testing::Test {
 protected:
#if !defined(_WIN32)
  void TearDown() override { EXPECT_EQ(pal::posix::openHandles(), handles_); }

  const size_t handles_ = pal::posix::openHandles();
#endif
  inline static Meeting lasting;  // for a thread of which nobody tells when it has let go
};

TEST_F(ThreadTest, AnEmptyHolderHasNothingToWaitFor) {
  Thread thread;
  EXPECT_FALSE(thread.Wait(0));
  const auto expectStillEmpty = [&thread] {
    EXPECT_EQ(thread.handle(), nullptr);
    EXPECT_EQ(thread.id(), 0u);
  };
  expectStillEmpty();
  thread.Terminate();
  expectStillEmpty();
  thread.Close();
  expectStillEmpty();
}

TEST_F(ThreadTest, WaitTimesOutWhileItRunsAndClosesWhenItHasEnded) {
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

TEST_F(ThreadTest, TerminateEndsItByForceAndKeepsTheId) {
  Thread thread;
  Thread::Start(&thread, meet, &lasting);
  ASSERT_TRUE(lasting.entered.Wait(kLong));
  const uint32_t id = thread.id();
#if defined(_WIN32)
  const KernelHandle own(OpenThread(THREAD_QUERY_INFORMATION | SYNCHRONIZE, FALSE, id));
#endif
  thread.Terminate();
#if defined(_WIN32)
  DWORD exitCode = 99;
  EXPECT_EQ(WaitForSingleObject(own.get(), kLong), DWORD{WAIT_OBJECT_0});
  EXPECT_TRUE(GetExitCodeThread(own.get(), &exitCode));
  EXPECT_EQ(exitCode, 0u);
#endif
  EXPECT_EQ(thread.handle(), nullptr);
  EXPECT_EQ(thread.id(), id);
  EXPECT_FALSE(thread.Wait(0));
  lasting.mayLeave.Signal();
  constexpr uint32_t kMoreThanItTakesToLeave = 200;
  EXPECT_FALSE(lasting.left.Wait(kMoreThanItTakesToLeave)) << "it runs no more";
  EXPECT_TRUE(lasting.mayLeave.Wait(0)) << "and took no signal";
}

TEST_F(ThreadTest, ADetachedThreadRunsWithoutAHolderAndLeavesNoHandleOpen) {
  Meeting meeting;
#if !defined(_WIN32)
  const size_t handles = pal::posix::openHandles();
#endif
  Thread::Start(nullptr, meet, &meeting);
  EXPECT_TRUE(meeting.entered.Wait(kLong));
#if !defined(_WIN32)
  EXPECT_EQ(pal::posix::openHandles(), handles) << "its handle was closed at once";
#endif
  meeting.mayLeave.Signal();
  EXPECT_TRUE(meeting.left.Wait(kLong));
}

TEST_F(ThreadTest, AHolderLetsGoOfTheFirstThreadWhenItStartsAnother) {
  Meeting first;
  Meeting second;
  Thread thread;
  Thread::Start(&thread, meet, &first);
  ASSERT_TRUE(first.entered.Wait(kLong));
  const uint32_t id = thread.id();
  Thread::Start(&thread, meet, &second);
  ASSERT_TRUE(second.entered.Wait(kLong));
  EXPECT_NE(thread.id(), id);
  first.mayLeave.Signal();
  EXPECT_TRUE(first.left.Wait(kLong)) << "it runs on";
  EXPECT_FALSE(thread.Wait(0)) << "the second one is held";
  second.mayLeave.Signal();
  EXPECT_TRUE(thread.Wait(kLong));
}

TEST_F(ThreadTest, CloseForgetsARunningThread) {
  Meeting meeting;
  Thread thread;
  Thread::Start(&thread, meet, &meeting);
  ASSERT_TRUE(meeting.entered.Wait(kLong));
  thread.Close();
  EXPECT_EQ(thread.handle(), nullptr);
  EXPECT_EQ(thread.id(), 0u);
  meeting.mayLeave.Signal();
  EXPECT_TRUE(meeting.left.Wait(kLong));
}

}  // namespace
}  // namespace vexa::base
