#include "base/binding.h"

#include <gtest/gtest.h>

#include "support/allocation_gate.h"
#include "support/module_fixture.h"

namespace vexa::base {
namespace {

// A record is made before there is anybody to tell, and so every start tells. The registry
// remembers it for the life of the process, which is why this test stands in a program of its own.
TEST(Binding, ARecordThatFoundNoMemoryFailsEveryStart) {
  test::SpyRuntime spy;
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  ASSERT_EQ(module_final(), kOk);
  TableHolder<runtime::TimeTable> holder;
  test::allocation_gate::failAt(1, false);
  const UnloadRecord record(holder);
  test::allocation_gate::neverFail();
  for (int start = 0; start < 2; ++start) {
    spy.clearRootCalls();
    EXPECT_EQ(module_init(&spy.root, nullptr), kOutOfMemory);
    EXPECT_TRUE(spy.rootCalls().empty()) << "nothing is bound";
    EXPECT_EQ(module_final(), kOk);
  }
}

}  // namespace
}  // namespace vexa::base
