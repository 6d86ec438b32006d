#include "base/root_vector.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "support/bound_fixture.h"

namespace vexa::test {
namespace {

using base::GrowByDoubling;
using base::GrowExactly;
using base::OnGrowthFailure;
using base::RootStack;
using base::RootVector;

// Writes its number down when it is destroyed; one that was moved from has none.
class Noted {
 public:
  Noted(int number, std::vector<int>& destroyed) : number_(number), destroyed_(&destroyed) {}
  Noted(Noted&& other) noexcept
      : number_(std::exchange(other.number_, 0)), destroyed_(other.destroyed_) {}
  ~Noted() {
    if (number_ != 0) {
      destroyed_->push_back(number_);
    }
  }
  int number() const { return number_; }

 private:
  int number_;
  std::vector<int>* destroyed_;
};

class RootVectorTest : public BoundTest {
 protected:
  RootVectorTest() {
    reallocate_ = spy.root.Reallocate;
    spy.root.Reallocate = [](void* block, uint64_t size) {
      asked_.push_back(size / sizeof(int));
      return reallocate_(block, size);
    };
  }

  // The sizes of the blocks that it asks for while the numbers 1 to `count` come in.
  template <class Numbers>
  std::vector<uint64_t> sizesWhileFilling(Numbers& numbers, int count) {
    asked_.clear();
    for (int number = 1; number <= count; ++number) {
      EXPECT_EQ(numbers.append(number), kOk);
    }
    return asked_;
  }
  template <class Numbers>
  static std::vector<int> contentOf(const Numbers& numbers) {
    return {numbers.begin(), numbers.end()};
  }

 private:
  inline static std::vector<uint64_t> asked_;
  inline static void* (*reallocate_)(void*, uint64_t) = nullptr;
};

TEST_F(RootVectorTest, GrowsByExactlyOne) {
  RootVector<int> numbers;
  EXPECT_EQ(sizesWhileFilling(numbers, 4), (std::vector<uint64_t>{1, 2, 3, 4}));
  EXPECT_EQ(contentOf(numbers), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(RootVectorTest, GrowsByDoubling) {
  RootVector<int, GrowByDoubling<2>> numbers;
  EXPECT_EQ(sizesWhileFilling(numbers, 9), (std::vector<uint64_t>{2, 4, 8, 16}));
  EXPECT_EQ(contentOf(numbers), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(RootVectorTest, DoublesFromWhatIsWithinTheObject) {
  RootStack<int, 3> numbers;
  EXPECT_EQ(sizesWhileFilling(numbers, 3), std::vector<uint64_t>());
  EXPECT_EQ(sizesWhileFilling(numbers, 7), (std::vector<uint64_t>{6, 12}));
  EXPECT_EQ(contentOf(numbers), (std::vector<int>{1, 2, 3, 1, 2, 3, 4, 5, 6, 7}));
  numbers.clear();
  EXPECT_EQ(spy.liveBlocks(), 0);
  EXPECT_EQ(sizesWhileFilling(numbers, 3), std::vector<uint64_t>());
  EXPECT_EQ(contentOf(numbers), (std::vector<int>{1, 2, 3}));
}

TEST_F(RootVectorTest, AFailedGrowthKeepsTheItems) {
  RootVector<int> inBlock;
  RootStack<int, 2> inPlace;
  sizesWhileFilling(inBlock, 2);
  sizesWhileFilling(inPlace, 2);
  spy.failAllocationsFrom(1);
  EXPECT_EQ(inBlock.append(3), kOutOfMemory);
  EXPECT_EQ(inPlace.append(3), kOutOfMemory);
  EXPECT_EQ(contentOf(inBlock), (std::vector<int>{1, 2}));
  EXPECT_EQ(contentOf(inPlace), (std::vector<int>{1, 2}));
}

TEST_F(RootVectorTest, AFailedGrowthDropsTheItemsAndTheBlockWhereThatIsAskedFor) {
  RootVector<int, GrowExactly, OnGrowthFailure::kDrop> numbers;
  sizesWhileFilling(numbers, 2);
  spy.failAllocation(1);
  EXPECT_EQ(numbers.append(3), kOutOfMemory);
  EXPECT_TRUE(numbers.empty());
  EXPECT_EQ(spy.liveBlocks(), 0);
  EXPECT_EQ(sizesWhileFilling(numbers, 1), std::vector<uint64_t>{1});
}

TEST_F(RootVectorTest, RefusesMoreThanThereAreBytes) {
  RootVector<int> numbers;
  EXPECT_EQ(numbers.reserve(UINT64_MAX / sizeof(int) + 1), kOutOfMemory);
  EXPECT_EQ(spy.allocations(), 0u);
}

TEST_F(RootVectorTest, ResizingKeepsWhatFitsAndTheRoom) {
  RootVector<int> numbers;
  sizesWhileFilling(numbers, 3);
  const int* const block = numbers.data();
  ASSERT_EQ(numbers.resize(1), kOk);
  EXPECT_EQ(contentOf(numbers), std::vector<int>{1});
  ASSERT_EQ(numbers.resize(3), kOk);
  EXPECT_EQ(numbers.data(), block);
  ASSERT_EQ(numbers.resize(5), kOk);
  std::fill(numbers.begin() + 3, numbers.end(), 9);
  EXPECT_EQ(contentOf(numbers), (std::vector<int>{1, 2, 3, 9, 9}));
}

TEST_F(RootVectorTest, DestroysEachItemOnceInTheirOrder) {
  std::vector<int> destroyed;
  RootStack<Noted, 2> items;
  for (int number = 1; number <= 5; ++number) {
    ASSERT_EQ(items.append(Noted(number, destroyed)), kOk);
  }
  EXPECT_EQ(destroyed, std::vector<int>());
  EXPECT_EQ(items.back().number(), 5);
  items.pop();
  EXPECT_EQ(destroyed, std::vector<int>{5});
  items.shrink(2);
  EXPECT_EQ(destroyed, (std::vector<int>{5, 3, 4}));
  items.clear();
  EXPECT_EQ(destroyed, (std::vector<int>{5, 3, 4, 1, 2}));
}

TEST_F(RootVectorTest, AnItemThatFindsNoRoomStaysWithItsOwner) {
  std::vector<int> destroyed;
  RootVector<Noted> items;
  Noted item(1, destroyed);
  spy.failAllocation(1);
  EXPECT_EQ(items.append(std::move(item)), kOutOfMemory);
  EXPECT_EQ(item.number(), 1);  // NOLINT(bugprone-use-after-move): it was not taken
}

TEST_F(RootVectorTest, MovesWithoutTouchingTheItems) {
  std::vector<int> destroyed;
  RootVector<Noted> from;
  ASSERT_EQ(from.append(Noted(1, destroyed)), kOk);
  const Noted* const block = from.data();
  const RootVector<Noted> to(std::move(from));
  EXPECT_EQ(to.data(), block);
  EXPECT_EQ(to.size(), 1u);
  EXPECT_EQ(destroyed, std::vector<int>());
}

}  // namespace
}  // namespace vexa::test
