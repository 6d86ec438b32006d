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

// What a root list answers, and leaves in the holder, which it finds empty.
int32_t answer = kOk;
const void* left = nullptr;
int32_t answerAndLeave(const char* /*component*/, const char* /*name*/, const void** table) {
  EXPECT_EQ(*table, nullptr);
  *table = left;
  return answer;
}

TEST(Binding, ATableThatWasNotBoundIsTheOneThatFails) {
  test::SpyRuntime spy;
  bound.root = &spy.root;
  spy.root.GetInterface = answerAndLeave;
  TableHolder<runtime::TimeTable> holder;
  test::allocation_gate::failAt(1, false);  // it is not to be registered
  LoadRecord record(nullptr, "table", holder);
  test::allocation_gate::neverFail();
  for (const bool succeeds : {true, false}) {
    answer = succeeds ? kOk : kFalse;
    left = succeeds ? nullptr : &spy.time;
    EXPECT_EQ(record.Load(), succeeds ? kOk : kFail);
    EXPECT_EQ(holder.pointer, &Unbound<runtime::TimeTable>::table);
    EXPECT_EQ(record.Unload(0), kOk) << "there is nothing to give back";
  }
  bound = {};
}

}  // namespace
}  // namespace vexa::base
