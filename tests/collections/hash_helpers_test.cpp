#include "collections/hash_helpers.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "support/module_fixture.h"
#include "two_interfaces.h"
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

TEST_F(HashHelpers, TwoInterfacesOfAnObjectAreEqual) {
  TwoInterfaces one;
  TwoInterfaces other;
  EXPECT_EQ(compare(kHashTableObject, one.first(), one.second()), 0);
  EXPECT_NE(compare(kHashTableObject, one.first(), other.first()), 0);
  EXPECT_EQ(one.references(), 0u);
}

// Answers for no interface, and so has no identity.
class Nobody final : public IComponent {
 public:
  int32_t QueryInterface(const Guid* /*id*/, void** out) override {
    *out = nullptr;
    return kNoInterface;
  }
  uint32_t AddRef() override { return 1; }
  uint32_t Release() override { return 1; }
};

TEST_F(HashHelpers, AnObjectWithoutIdentityIsStillNotNull) {
  Nobody nobody;
  Nobody another;
  EXPECT_EQ(compare(kHashTableObject, nullptr, &nobody), -1);
  EXPECT_EQ(compare(kHashTableObject, &nobody, nullptr), 1);
  EXPECT_EQ(compare(kHashTableObject, &nobody, &another), 0);
  HashTableKeyRecord record{7, nullptr};
  EXPECT_EQ(helperOf(kHashTableObject)->MakeKeyRecord(&nobody, &record), kOk);
  EXPECT_EQ(record.number, 0u);
}

// Every byte alike, as the rule stands.
uint64_t plainFold(std::string_view text) {
  uint64_t hash = 0;
  for (const char c : text) {
    hash = ((hash << 4) | (hash >> 28)) ^ static_cast<uint8_t>(c);
  }
  return hash;
}

TEST(FoldHash, IsThatOfAPlainLoop) {
  uint32_t state = 1;
  for (size_t i = 0; i < 20'000; ++i) {
    std::string key(i % 40, '\0');
    for (char& c : key) {
      state = state * 1664525 + 1013904223;
      c = static_cast<char>(1 + (state >> 8) % 255);
    }
    ASSERT_EQ(collections::foldHash(key.c_str()), plainFold(key)) << key.size();
  }
  EXPECT_EQ(collections::foldHash(nullptr), 0u);
  for (size_t length = 0; length < 40; ++length) {
    const std::string highest(length, '\xFF');
    EXPECT_EQ(collections::foldHash(highest.c_str()), plainFold(highest)) << length;
  }
}

}  // namespace
}  // namespace vexa::test
