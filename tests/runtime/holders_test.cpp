#include "runtime/holders.h"

#include <gtest/gtest.h>

#include <vector>

#include "runtime/runtime_fixture.h"

namespace vexa::test {
namespace {

struct Link {
  Link* next;
  int number;
};

// What was let go, in its order.
std::vector<int> dropped;

void releaseLinks(Link* head) {
  velmora::releaseChain(head, [](const Link& link) { dropped.push_back(link.number); });
}
using Links = FunctionHolder<Link, releaseLinks>;

class RuntimeHolders : public RuntimeTest {
 protected:
  void SetUp() override { dropped.clear(); }

  static Link* link(int number) {
    auto* const made = velmora::makeBlock<Link>().release();
    made->number = number;
    return made;
  }
};

TEST_F(RuntimeHolders, AChainHasItsNodesInTheOrderTheyCame) {
  velmora::Chain<Links> chain;
  for (const int number : {1, 2, 3}) {
    chain.append(link(number));
  }
  const Links links(chain.release());
  EXPECT_EQ(links->number, 1);
  EXPECT_EQ(links->next->number, 2);
  EXPECT_EQ(links->next->next->number, 3);
  EXPECT_EQ(links->next->next->next, nullptr);
}

TEST_F(RuntimeHolders, AChainThatGaveItsNodesAwayBeginsAnew) {
  velmora::Chain<Links> chain;
  chain.append(link(1));
  const Links first(chain.release());
  chain.append(link(2));
  const Links second(chain.release());
  EXPECT_EQ(first->next, nullptr);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->number, 2);
  EXPECT_EQ(chain.release(), nullptr);
}

TEST_F(RuntimeHolders, AChainReleasesFromItsFirstNodeOn) {
  {
    velmora::Chain<Links> chain;
    for (const int number : {1, 2, 3}) {
      chain.append(link(number));
    }
  }
  EXPECT_EQ(dropped, (std::vector<int>{1, 2, 3}));
}

TEST_F(RuntimeHolders, ABlockIsZeroAndAsLargeAsAskedFor) {
  const auto block = velmora::makeBlock<uint8_t>(100);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(block.get()[i], 0);
  }
  spy.failAllocation(1);
  EXPECT_FALSE(velmora::makeBlock<Link>());
}

}  // namespace
}  // namespace vexa::test
