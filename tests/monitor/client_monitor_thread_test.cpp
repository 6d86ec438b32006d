#include <gtest/gtest.h>

#include "monitor_fixture.h"

namespace vexa::test {
namespace {

// Longer than any test run: a thread that waits this long must have been woken.
constexpr uint32_t kDays = 1'000'000;

const std::string kStarted = "start Change Thread";
const std::string kStopped = "stop Change Thread";

class ChangeThread : public MonitorTest {
 protected:
  // Sets the event at the n-th look at the network.
  void setAtQuery(int n, const HostEvent& event) {
    adapters().onQuery([n, &event](int number) {
      if (number == n) {
        event.set();
      }
    });
  }
};

TEST_F(ChangeThread, LooksAtOnceAndIsStoppedInItsWait) {
  store({{"a", {}}});
  const int before = adapters().queries();
  const HostEvent looked;
  setAtQuery(before + 1, looked);
  EXPECT_EQ(monitor().start(kDays), kOk);
  looked.wait();
  EXPECT_EQ(monitor().stop(), kOk);
  EXPECT_EQ(adapters().queries(), before + 1);
  EXPECT_EQ(spy.trace(), lines({kStarted, kStopped}));
  EXPECT_EQ(monitor().status(), 0u);
}

TEST_F(ChangeThread, WaitsTheLongestInterval) {
  store({{"a", {}}});
  const HostEvent looked;
  setAtQuery(adapters().queries() + 1, looked);
  EXPECT_EQ(monitor().start(0xFFFFFFFF), kOk);
  looked.wait();
  EXPECT_EQ(monitor().stop(), kOk);
}

TEST_F(ChangeThread, LooksAgainAfterEachInterval) {
  store({{"a", {}}});
  const HostEvent looked;
  setAtQuery(adapters().queries() + 5, looked);
  EXPECT_EQ(monitor().start(0), kOk);
  looked.wait();
  EXPECT_EQ(monitor().stop(), kOk);
  EXPECT_EQ(monitor().status(), 0u);
}

TEST_F(ChangeThread, TellsTheHostOfAChange) {
  store({{"a", {}}});
  const HostEvent changed;
  monitor().setChangeEvent(changed.get());
  const int before = adapters().queries();
  adapters().onQuery([this, before](int number) {
    if (number == before + 3) {
      adapters().show({{"a", {}}, {"b", {}}});
    }
  });
  EXPECT_EQ(monitor().start(0), kOk);
  changed.wait();
  EXPECT_EQ(monitor().status(), 1u);
  EXPECT_EQ(monitor().stop(), kOk);
  EXPECT_EQ(adapters().queries(), before + 3);
  EXPECT_EQ(spy.trace(), lines({kStarted, kCountChange, kDetected, kStopped}));
}

// The body of the thread, run here: nobody stops it.
TEST_F(ChangeThread, EndsByItselfAfterAChange) {
  store({{"a", {}}});
  adapters().show({{"b", {}}});
  EXPECT_EQ(monitor().start(0), kOk);
  EXPECT_EQ(monitor().changeThreadMain(), kOk);
  EXPECT_EQ(monitor().status(), 1u);
  EXPECT_EQ(monitor().stop(), kOk);
}

TEST_F(ChangeThread, EndsByItselfAfterAResume) {
  store({{"a", {}}});
  const int before = adapters().queries();
  adapters().onQuery([this, before](int number) {
    if (number == before + 3) {
      monitor().onPowerEvent(18);
    }
  });
  EXPECT_EQ(monitor().start(0), kOk);
  EXPECT_EQ(monitor().changeThreadMain(), kOk);
  EXPECT_EQ(monitor().status(), 1u);
  EXPECT_EQ(monitor().stop(), kOk);
}

TEST_F(ChangeThread, DoesNotLookWhileAChangeIsUnread) {
  store({{"a", {}}});
  monitor().setStatus(1);
  const int before = adapters().queries();
  EXPECT_EQ(monitor().start(0), kOk);
  EXPECT_EQ(monitor().changeThreadMain(), kOk);
  EXPECT_EQ(monitor().stop(), kOk);
  EXPECT_EQ(adapters().queries(), before);
}

TEST_F(ChangeThread, DoesNotLookAfterAStop) {
  store({{"a", {}}});
  EXPECT_EQ(monitor().stop(), kOk);
  const int before = adapters().queries();
  EXPECT_EQ(monitor().changeThreadMain(), kOk);
  EXPECT_EQ(adapters().queries(), before);
}

TEST_F(ChangeThread, RunsAgainAfterAChangeAndAReset) {
  store({{"a", {}}});
  const HostEvent changed;
  monitor().setChangeEvent(changed.get());
  adapters().show({});
  EXPECT_EQ(monitor().start(0), kOk);
  changed.wait();
  EXPECT_EQ(monitor().reset(), kOk);
  EXPECT_FALSE(changed.isSet());
  // The first thread may have ended or not; either way there is one afterwards.
  EXPECT_EQ(monitor().start(0), kOk);
  adapters().show({{"b", {}}});
  changed.wait();
  EXPECT_EQ(monitor().stop(), kOk);
  EXPECT_EQ(monitor().status(), 1u);
}

TEST_F(ChangeThread, RunsAgainAfterAStop) {
  store({{"a", {}}});
  EXPECT_EQ(monitor().start(kDays), kOk);
  EXPECT_EQ(monitor().stop(), kOk);
  const HostEvent looked;
  setAtQuery(adapters().queries() + 2, looked);
  EXPECT_EQ(monitor().start(0), kOk);
  looked.wait();
  EXPECT_EQ(monitor().stop(), kOk);
}

TEST_F(ChangeThread, ASecondStartEndsTheFirstThread) {
  store({{"a", {}}});
  const int before = adapters().queries();
  const HostEvent first;
  setAtQuery(before + 1, first);
  EXPECT_EQ(monitor().start(kDays), kOk);
  first.wait();
  const HostEvent second;
  setAtQuery(before + 2, second);
  EXPECT_EQ(monitor().start(kDays), kOk);
  second.wait();
  EXPECT_EQ(monitor().stop(), kOk);
  EXPECT_EQ(adapters().queries(), before + 2);
  EXPECT_EQ(spy.trace(), lines({kStarted, kStarted, kStopped}));
}

TEST_F(ChangeThread, AStopWithoutAThreadIsLoggedAndNothingElse) {
  EXPECT_EQ(monitor().stop(), kOk);
  EXPECT_EQ(monitor().stop(), kOk);
  EXPECT_EQ(spy.trace(), lines({kStopped, kStopped}));
}

TEST_F(ChangeThread, EndsBeforeTheLastModuleFinalReturns) {
  store({{"a", {}}});
  const HostEvent looked;
  setAtQuery(adapters().queries() + 1, looked);
  EXPECT_EQ(monitor().start(kDays), kOk);
  looked.wait();
  monitor().release();
  stop();  // waits for the thread, which would wait for days
  EXPECT_EQ(spy.boundInterfaces(), 0);
}

TEST_F(ChangeThread, EndsAtTheLastModuleFinalWhileTheHostHoldsTheMonitor) {
  store({{"a", {}}});
  const HostEvent looked;
  setAtQuery(adapters().queries() + 3, looked);
  EXPECT_EQ(monitor().start(0), kOk);
  looked.wait();
  stop();
  // Nothing of the runtime is there any more; the snapshot goes with the object.
  EXPECT_EQ(spy.liveBlocks(), 0);
  EXPECT_EQ(monitor().status(), 0u);
  const size_t traced = spy.trace().size();
  monitor().release();
  EXPECT_EQ(spy.trace().size(), traced);
}

TEST_F(ChangeThread, WithoutTheRuntimeNothingIsCompared) {
  store({{"a", {}}});
  stop();
  adapters().show({{"b", {}}});
  EXPECT_EQ(monitor().checkNetwork(), kOk);
  EXPECT_EQ(monitor().status(), 0u);
  EXPECT_EQ(monitor().reset(), kOk);
  EXPECT_EQ(monitor().onPowerEvent(18), kOk);
  EXPECT_EQ(monitor().status(), 1u);
  EXPECT_EQ(monitor().stop(), kOk);
}

TEST_F(ChangeThread, ANewStartOfTheModuleHasAMonitorOfItsOwn) {
  store({{"a", {}}});
  EXPECT_EQ(monitor().start(kDays), kOk);
  void* const old = monitor().get();
  stop();
  GetModuleInterfaceFunction lookupAgain = nullptr;
  ASSERT_EQ(module_init(&spy.root, &lookupAgain), kOk);
  {
    RawMonitor fresh(create(kClientMonitorClassName, IID_IClientMonitor));
    ASSERT_NE(fresh.get(), nullptr);
    EXPECT_NE(fresh.get(), old);
    EXPECT_EQ(fresh.start(kDays), kOk);
  }
  EXPECT_EQ(module_final(), kOk);
}

}  // namespace
}  // namespace vexa::test
