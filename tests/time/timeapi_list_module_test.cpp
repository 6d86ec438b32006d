#include <gtest/gtest.h>

#include "support/module_fixture.h"
#include "vexa/time.h"

// The time list as a host reaches it.
namespace vexa::test {
namespace {

using TimeList = ModuleTest;

TEST_F(TimeList, IsOfferedByName) {
  const void* const time = list(kTimeListName);
  ASSERT_NE(time, nullptr);
  EXPECT_EQ(tableEntry<uint64_t(uint64_t, uint32_t, uint32_t)>(time, 2)(0, 0x21, 0x18),
            116444736000000000u);
}

}  // namespace
}  // namespace vexa::test
