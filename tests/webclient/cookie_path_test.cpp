#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "proxy_fixture.h"

namespace vexa::test {
namespace {

constexpr int kFresh = 0x5A;

// The text that was handed out; its blocks have exactly the size that was asked for.
class CookiePath : public ProxyTest {
 protected:
  void SetUp() override {
    ProxyTest::SetUp();
    askedFor = 0;
    spy.root.Allocate = [](uint64_t size) {
      askedFor = size;
      void* const block = std::malloc(size);
      std::memset(block, kFresh, size);
      return block;
    };
    spy.root.Free = [](void* block) { std::free(block); };
  }
  void TearDown() override {
    spy.root.Allocate = velmoraAllocate_;
    spy.root.Free = velmoraFree_;
    ProxyTest::TearDown();
  }

  int32_t convert(const char* cookie, char** out) {
    return tableEntry<int32_t(const char*, char**)>(networkList(), 1)(cookie, out);
  }

  static inline uint64_t askedFor = 0;

 private:
  decltype(runtime::RootList::Allocate) velmoraAllocate_ = spy.root.Allocate;
  decltype(runtime::RootList::Free) velmoraFree_ = spy.root.Free;
};

struct CookieCase {
  const char* name;
  const char* cookie;
  const char* expected;
};
void PrintTo(const CookieCase& tested, std::ostream* out) { *out << tested.cookie; }

class CookieWithAttributes : public CookiePath, public testing::WithParamInterface<CookieCase> {};

TEST_P(CookieWithAttributes, KeepsItsPathAlone) {
  const ExactText cookie(GetParam().cookie);
  char* converted = nullptr;
  EXPECT_EQ(convert(cookie, &converted), 1);
  ASSERT_NE(converted, nullptr);
  EXPECT_STREQ(converted, GetParam().expected);
  EXPECT_EQ(askedFor, cookie.length() + 5);
  std::free(converted);
}

INSTANTIATE_TEST_SUITE_P(
    Cookies, CookieWithAttributes,
    testing::Values(CookieCase{"PathInTheMiddle", "a=b; Path=/x; Secure", "a=b; $Path=/x"},
                    CookieCase{"PathAtTheEnd", "a=b; Path=/x", "a=b; $Path=/x"},
                    CookieCase{"PathLater", "a=b; Secure; Path=/x/y; Max-Age=1", "a=b; $Path=/x/y"},
                    CookieCase{"WithoutBlanks", "a=b;Path=/x;Secure", "a=b; $Path=/x"},
                    CookieCase{"TheLeastInput", ";Path=", "; $Path="},
                    CookieCase{"EmptyPath", "a=b;Path=;x", "a=b; $Path="},
                    CookieCase{"NoPath", "a=b; Secure", "a=b"},
                    CookieCase{"OnlyASeparator", ";", ""},
                    CookieCase{"SeparatorAtTheEnd", "a=b;", "a=b"},
                    CookieCase{"PathOnlyInThePair", "Path=/x; Secure", "Path=/x"},
                    CookieCase{"ThePairsPathStays", "Path=/x; Path=/y", "Path=/x; $Path=/y"},
                    CookieCase{"TheFirstOfTwoPaths", "a; Path=/x; Path=/y", "a; $Path=/x"},
                    CookieCase{"CaseCounts", "a=b; path=/x", "a=b"},
                    CookieCase{"TheWordWithinAnother", "a=b; XPath=/x", "a=b; $Path=/x"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(CookiePath, WithoutASeparatorNothingIsWritten) {
  for (const char* text : {"a=b", "", "Path=/x"}) {
    const ExactText cookie(text);
    char* converted = nullptr;
    EXPECT_EQ(convert(cookie, &converted), 1) << text;
    ASSERT_NE(converted, nullptr);
    EXPECT_EQ(askedFor, cookie.length() + 5);
    for (uint64_t i = 0; i < askedFor; ++i) {
      EXPECT_EQ(converted[i], kFresh) << text << " at " << i;
    }
    std::free(converted);
  }
}

TEST_F(CookiePath, NullIsRefused) {
  char* converted = nullptr;
  EXPECT_EQ(convert(nullptr, &converted), 0);
  EXPECT_EQ(converted, nullptr);
  EXPECT_EQ(convert("a=b; Path=/x", nullptr), 0);
  EXPECT_EQ(askedFor, 0u);
}

TEST_F(ProxyTest, ACookieWithoutMemoryIsRefused) {
  char* converted = nullptr;
  spy.failAllocation(1);
  EXPECT_EQ(
      (tableEntry<int32_t(const char*, char**)>(networkList(), 1)("a=b; Path=/x", &converted)), 0);
  EXPECT_EQ(converted, nullptr);
}

TEST_F(ProxyTest, TheCookieIsABlockOfTheRuntime) {
  char* converted = nullptr;
  ASSERT_EQ(
      (tableEntry<int32_t(const char*, char**)>(networkList(), 1)("a=b; Path=/x", &converted)), 1);
  EXPECT_EQ(spy.liveBlocks(), 1);
  spy.root.Free(converted);
}

}  // namespace
}  // namespace vexa::test
