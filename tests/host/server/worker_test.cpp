#include "server/worker.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <vector>

namespace vexahost {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kNoTime{0};
constexpr milliseconds kPatience{60'000};

// A job that lasts until it is told to end.
class LongJob {
 public:
  // Returns when it is being done.
  explicit LongJob(Worker& worker) {
    EXPECT_TRUE(worker.post([this, mayEnd = mayEnd_.get_future().share()] {
      begun_.set_value();
      mayEnd.wait();
    }));
    begun_.get_future().wait();
  }
  LongJob(const LongJob&) = delete;
  LongJob& operator=(const LongJob&) = delete;
  ~LongJob() { end(); }

  void end() {
    if (!hasEnded_) {
      hasEnded_ = true;
      mayEnd_.set_value();
    }
  }

 private:
  std::promise<void> begun_;
  std::promise<void> mayEnd_;
  bool hasEnded_ = false;
};

TEST(Worker, DoesJobsOneAfterTheOtherInAThreadOfItsOwn) {
  std::vector<int> done;
  std::promise<std::thread::id> last;
  Worker worker;
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(worker.post([&done, i] { done.push_back(i); }));
  }
  EXPECT_TRUE(worker.post([&last] { last.set_value(std::this_thread::get_id()); }));
  EXPECT_NE(last.get_future().get(), std::this_thread::get_id());
  EXPECT_EQ(done, (std::vector<int>{0, 1, 2}));
}

TEST(Worker, LetsSixteenJobsWait) {
  std::promise<void> last;
  Worker worker;
  LongJob first(worker);
  for (int i = 0; i < 15; ++i) {
    EXPECT_TRUE(worker.post([] {})) << i;
  }
  EXPECT_TRUE(worker.post([&last] { last.set_value(); }));
  EXPECT_FALSE(worker.post([] {}));
  first.end();
  last.get_future().wait();
  EXPECT_TRUE(worker.post([] {}));
}

TEST(Worker, GivesAJobBackBeforeTheNextOne) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  std::promise<bool> isGone;
  Worker worker;
  LongJob first(worker);
  worker.post([held = std::move(held)] {});
  worker.post([&] { isGone.set_value(watched.expired()); });
  first.end();
  EXPECT_TRUE(isGone.get_future().get());
}

TEST(Worker, DropsWhatWaitsWhenItIsStopped) {
  Worker worker;
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  LongJob first(worker);
  bool wasDone = false;
  EXPECT_TRUE(worker.post([&wasDone, held = std::move(held)] { wasDone = true; }));
  EXPECT_FALSE(worker.stop(kNoTime));  // the first one is still being done
  EXPECT_TRUE(watched.expired());
  EXPECT_FALSE(worker.post([] {}));
  first.end();
  EXPECT_TRUE(worker.stop(kPatience));
  EXPECT_FALSE(wasDone);
}

TEST(Worker, IsStoppedAtOnceWhenItHasNothingToDo) {
  Worker worker;
  EXPECT_TRUE(worker.stop(kNoTime));
  EXPECT_FALSE(worker.post([] {}));
}

TEST(Worker, WaitsForTheJobThatIsBeingDoneBeforeItIsGone) {
  bool wasDone = false;
  {
    std::promise<void> begun;
    Worker worker;
    worker.post([&] {
      begun.set_value();
      std::this_thread::yield();
      wasDone = true;
    });
    begun.get_future().wait();
  }
  EXPECT_TRUE(wasDone);
}

}  // namespace
}  // namespace vexahost
