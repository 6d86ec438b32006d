#include "collections/hash_helpers.h"

#include "support/module_fixture.h"
#include "vexa/http_request.h"

// How the helpers of the item types order items. Tables ask them only where a key has bytes, so
// they are called directly.
namespace vexa::test {
namespace {

using collections::helperOf;

class HashHelpers : public ModuleTest {
 protected:
  static int32_t compare(uint32_t type, void* a, void* b) {
    return helperOf(type)->CompareItems(a, b);
  }
  static void* number(uintptr_t value) { return reinterpret_cast<void*>(value); }
  static void* text(const char* value) { return const_cast<char*>(value); }
};

TEST_F(HashHelpers, ThereIsOneOfEachType) {
  for (const uint32_t type : {1u, 2u, 4u}) {
    ASSERT_NE(helperOf(type), nullptr) << type;
    EXPECT_EQ(helperOf(type), helperOf(type)) << type;
  }
  for (const uint32_t type : {0u, 3u, 5u, 6u, 7u, 8u, 0xFFu}) {
    EXPECT_EQ(helperOf(type), nullptr) << type;
  }
}

TEST_F(HashHelpers, TextsCompareAsTexts) {
  char same[] = "abc";
  EXPECT_EQ(compare(kHashTableText, text("abc"), same), 0);
  EXPECT_LT(compare(kHashTableText, text("abc"), text("abd")), 0);
  EXPECT_GT(compare(kHashTableText, text("b"), text("abd")), 0);
}

TEST_F(HashHelpers, NumbersCompareUnsigned) {
  EXPECT_EQ(compare(kHashTableNumber, number(7), number(7)), 0);
  EXPECT_LT(compare(kHashTableNumber, number(7), number(UINTPTR_MAX)), 0);
  EXPECT_GT(compare(kHashTableNumber, number(UINTPTR_MAX), number(0)), 0);
}

TEST_F(HashHelpers, ObjectsCompareByIdentityAndNullComesFirst) {
  void* const first = create(kHttpRequestClassName, IID_IHTTPRequest);
  void* const second = create(kHttpRequestClassName, IID_IHTTPRequest);
  EXPECT_EQ(compare(kHashTableObject, first, first), 0);
  const int32_t order = compare(kHashTableObject, first, second);
  EXPECT_NE(order, 0);
  EXPECT_EQ(compare(kHashTableObject, second, first), -order);
  EXPECT_LT(compare(kHashTableObject, nullptr, first), 0);
  EXPECT_GT(compare(kHashTableObject, first, nullptr), 0);
  EXPECT_EQ(compare(kHashTableObject, nullptr, nullptr), 0);
  EXPECT_EQ(call<uint32_t>(first, 2), 0u) << "comparing keeps no reference";
  EXPECT_EQ(call<uint32_t>(second, 2), 0u);
}

}  // namespace
}  // namespace vexa::test
