#include <gtest/gtest.h>

#include <set>
#include <string>

#include "runtime/runtime_fixture.h"
#include "support/exact_bytes.h"

// SEC_RANDOM_1
namespace vexa::test {
namespace {

class RandomTableTest : public RuntimeTest {};

TEST_F(RandomTableTest, DrawsDiffer) {
  std::set<std::string> draws;
  for (int i = 0; i < 4; ++i) {
    const ExactBytes out(std::string(16, '\0'));
    EXPECT_EQ(spy.random.GetBytes(2, out.size(), 0, out.data()), kOk);
    draws.emplace(reinterpret_cast<const char*>(out.data()), out.size());
  }
  EXPECT_EQ(draws.size(), 4u);
}

TEST_F(RandomTableTest, NothingIsAValidLength) {
  uint8_t byte = 9;
  EXPECT_EQ(spy.random.GetBytes(2, 0, 0, &byte), kOk);
  EXPECT_EQ(byte, 9);
  EXPECT_EQ(spy.random.GetBytes(2, 0, 0, nullptr), kOk);
}

TEST_F(RandomTableTest, OtherKindsAndNullAreRefused) {
  uint8_t byte = 9;
  EXPECT_EQ(spy.random.GetBytes(1, 1, 0, &byte), kInvalidArgument);
  EXPECT_EQ(byte, 9);
  EXPECT_EQ(spy.random.GetBytes(2, 1, 0, nullptr), kNullPointer);
}

}  // namespace
}  // namespace vexa::test
