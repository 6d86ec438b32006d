#include "server/event_hub.h"

#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <filesystem>
#include <functional>
#include <utility>

#include "server/change_signal.h"

namespace vexahost {
namespace {

using Cause = EventHub::Cause;

constexpr uint32_t kSuspend = 4;
constexpr uint32_t kResumeSuspend = 7;
constexpr uint32_t kPowerStatusChange = 10;
constexpr uint32_t kResumeAutomatic = 18;

PowerEvents::Told tellPower;  // of the latest hub

}  // namespace

// What Windows would tell, told by the test.
class PowerEvents::Window {};
PowerEvents::PowerEvents(asio::io_context&, Told told) { tellPower = std::move(told); }
PowerEvents::~PowerEvents() { tellPower = nullptr; }

namespace {

struct CountingListener final : ChangeListener {
  void changed() override {
    ++count;
    if (also) {
      also();
    }
  }

  int count = 0;
  std::function<void()> also;
};

// A hub over the built module, which looks at the network too seldom to find a change.
class EventHubTest : public testing::Test {
 protected:
  static constexpr uint32_t kSeldom = 3600;

  // The monitor is one for the whole module.
  vexa::InterfaceHolder<vexa::IClientMonitor> monitor() const {
    return module_.make<vexa::IClientMonitor>();
  }

  Module module_{{.module = std::filesystem::absolute("../bin") / vexa::kModuleFile}};
  asio::io_context context_{1};
  EventHub hub_{context_, module_, kSeldom};
  CountingListener listener_;
};

TEST_F(EventHubTest, BeginsWithoutAChange) {
  EXPECT_EQ(hub_.changes(), 0u);
  EXPECT_EQ(hub_.cause(), Cause::kStart);
  EXPECT_EQ(context_.poll(), 0u);
}

TEST_F(EventHubTest, TellsAtOnceThatTheMachineGoesToSleep) {
  ASSERT_TRUE(hub_.add(listener_));
  tellPower(kSuspend);
  EXPECT_EQ(hub_.changes(), 1u);
  EXPECT_EQ(hub_.cause(), Cause::kSuspend);
  EXPECT_EQ(listener_.count, 1);
}

TEST_F(EventHubTest, TellsThatTheMachineIsAwakeWhenTheMonitorDoes) {
  ASSERT_TRUE(hub_.add(listener_));
  for (uint32_t number = 1; number <= 3; ++number) {
    tellPower(kResumeAutomatic);
    EXPECT_EQ(hub_.changes(), number - 1);
    context_.run_one();
    EXPECT_EQ(hub_.changes(), number);
    EXPECT_EQ(hub_.cause(), Cause::kResume);
    EXPECT_EQ(listener_.count, static_cast<int>(number));
  }
}

TEST_F(EventHubTest, TellsSleepAndWakeUpOnceEach) {
  tellPower(kSuspend);
  tellPower(kResumeSuspend);
  tellPower(kResumeAutomatic);
  context_.run_one();
  EXPECT_EQ(hub_.changes(), 2u);
  EXPECT_EQ(hub_.cause(), Cause::kResume);
  EXPECT_EQ(context_.poll(), 0u);
}

TEST_F(EventHubTest, TellsNothingOfOtherPowerEvents) {
  tellPower(kPowerStatusChange);
  tellPower(kResumeSuspend);
  EXPECT_EQ(context_.poll(), 0u);
  EXPECT_EQ(hub_.changes(), 0u);
  EXPECT_EQ(hub_.cause(), Cause::kStart);
}

TEST_F(EventHubTest, AnyOtherChangeIsTheNetworks) {
  for (const uint32_t before : {kSuspend, kResumeSuspend, kPowerStatusChange}) {
    tellPower(before);
    (void)monitor()->OnPowerEvent(kResumeAutomatic);  // past the hub, which cannot know why
    context_.run_one();
    EXPECT_EQ(hub_.cause(), Cause::kNetwork);
  }
  tellPower(kResumeAutomatic);
  context_.run_one();
  EXPECT_EQ(hub_.cause(), Cause::kResume);
  (void)monitor()->OnPowerEvent(kResumeAutomatic);
  context_.run_one();
  EXPECT_EQ(hub_.cause(), Cause::kNetwork);
}

TEST_F(EventHubTest, HasRoomForSoManyListeners) {
  std::vector<CountingListener> many(EventHub::kMostListeners);
  for (CountingListener& one : many) {
    EXPECT_TRUE(hub_.add(one));
  }
  EXPECT_FALSE(hub_.add(listener_));
  tellPower(kSuspend);
  EXPECT_EQ(listener_.count, 0);
  hub_.remove(many.front());
  EXPECT_TRUE(hub_.add(listener_));
  tellPower(kSuspend);
  EXPECT_EQ(listener_.count, 1);
  EXPECT_EQ(many.front().count, 1);
  EXPECT_EQ(many.back().count, 2);
}

TEST_F(EventHubTest, AListenerMayRemoveItselfWhenItIsTold) {
  CountingListener other;
  listener_.also = [this] { hub_.remove(listener_); };
  ASSERT_TRUE(hub_.add(listener_));
  ASSERT_TRUE(hub_.add(other));
  tellPower(kSuspend);
  tellPower(kSuspend);
  EXPECT_EQ(listener_.count, 1);
  EXPECT_EQ(other.count, 2);
}

TEST_F(EventHubTest, LeavesTheContextWithoutWorkWhenItStops) {
  hub_.stop();
  context_.run();
  (void)monitor()->OnPowerEvent(kResumeAutomatic);
  context_.restart();
  EXPECT_EQ(context_.poll(), 0u);
  EXPECT_EQ(hub_.changes(), 0u);
}

TEST(EventHub, TakesItsEventBackWhenItEnds) {
  const Module module({.module = std::filesystem::absolute("../bin") / vexa::kModuleFile});
  const auto monitor = module.make<vexa::IClientMonitor>();
  asio::io_context context{1};
  { EventHub hub(context, module, 1); }
  context.poll();
  context.restart();
  ChangeSignal next(context);  // the system gives it the number of the one that is gone
  bool wasTold = false;
  next.wait([&wasTold] { wasTold = true; });
  (void)monitor->OnPowerEvent(kResumeAutomatic);
  context.poll();
  EXPECT_FALSE(wasTold);
  next.cancel();
  context.run();
}

}  // namespace
}  // namespace vexahost
