#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/fake_certificate.h"
#include "support/module_fixture.h"
#include "vexa/ca.h"

namespace vexa::test {
namespace {

using runtime::Certificate;
using testing::ElementsAre;
using testing::IsEmpty;

class CaFunctions : public ModuleTest {
 protected:
  int32_t set(int slotNumber) {
    return tableEntry<int32_t(Certificate*, void*, void*)>(list(kCaListName), slotNumber)(
        fake, &one, &two);
  }
  int32_t setKeyUsage(uint32_t code) {
    fake.usageFlags.clear();
    return tableEntry<int32_t(Certificate*, uint32_t)>(list(kCaListName), 6)(fake, code);
  }
  // The flags set, as digits.
  std::string flags() const {
    std::string digits;
    for (size_t i = 0; i < fake.usageFlags.size(); ++i) {
      if (fake.usageFlags[i] != 0) {
        EXPECT_EQ(fake.usageFlags[i], 1);
        digits += static_cast<char>('0' + i);
      }
    }
    return digits;
  }

  FakeCertificate fake;
  int one = 1;
  int two = 2;
};

TEST_F(CaFunctions, Entries1To4ReachSetters62And56And57And63) {
  for (int entry = 1; entry <= 4; ++entry) {
    EXPECT_EQ(set(entry), 0) << "the setter's own result does not count";
  }
  using Call = FakeCertificate::SetterCall;
  EXPECT_THAT(fake.setterCalls, ElementsAre(Call{62, &one, &two}, Call{56, &one, &two},
                                            Call{57, &one, &two}, Call{63, &one, &two}));
}

TEST_F(CaFunctions, Entry5CallsSetter60AndThen61WithTheSecondValue) {
  EXPECT_EQ(set(5), 0);
  using Call = FakeCertificate::SetterCall;
  EXPECT_THAT(fake.setterCalls, ElementsAre(Call{60, &one, &two}, Call{61, nullptr, &two}));
}

TEST_F(CaFunctions, Entry7ChangesNothing) {
  auto* reserved = tableEntry<int32_t(Certificate*, uint32_t, uint32_t)>(list(kCaListName), 7);
  EXPECT_EQ(reserved(fake, 1, 2), 0);
  EXPECT_EQ(reserved(nullptr, 1, 2), 0);
  EXPECT_THAT(fake.setterCalls, IsEmpty());
  EXPECT_THAT(fake.usageFlags, IsEmpty());
}

TEST_F(CaFunctions, CodesOfSingleFlagsSetThatFlagAsCritical) {
  for (uint32_t code = 0; code <= 8; ++code) {
    EXPECT_EQ(setKeyUsage(code), 0);
    EXPECT_EQ(flags(), std::to_string(code));
    EXPECT_EQ(fake.usageCritical, 1u);
  }
}

TEST_F(CaFunctions, CodesOfGroupsSetTheirFlags) {
  const struct {
    uint32_t code;
    const char* flags;
  } cases[] = {{16, "01"}, {17, "23"}, {18, "0123"}};
  for (const auto& [code, expected] : cases) {
    EXPECT_EQ(setKeyUsage(code), 0);
    EXPECT_EQ(flags(), expected) << code;
  }
}

TEST_F(CaFunctions, UnknownCodesWriteAnExtensionWithoutFlags) {
  for (const uint32_t code : {9u, 10u, 15u, 19u, 31u, 32u, 33u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(setKeyUsage(code), 0);
    EXPECT_EQ(fake.usageFlags.size(), 9u) << "written all the same";
    EXPECT_EQ(flags(), "") << code;
    EXPECT_EQ(fake.usageCritical, 1u);
  }
}

}  // namespace
}  // namespace vexa::test
