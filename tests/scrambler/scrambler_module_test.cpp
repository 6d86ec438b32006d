#include <gtest/gtest.h>

#include "support/module_fixture.h"
#include "vexa/core.h"
#include "vexa/scrambler.h"

// Scramblers as a host reaches them.
namespace vexa::test {
namespace {

uint32_t usedAlgorithm;
uint32_t usedBits;
int32_t (*generateKey)(const runtime::CipherItem*, runtime::CipherItem*, uint32_t);

class ScramblerSlots : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    generateKey = spy.crypt.GenerateKey;
    spy.crypt.GenerateKey = [](const runtime::CipherItem* parameters, runtime::CipherItem* out,
                               uint32_t algorithm) {
      usedAlgorithm = algorithm;
      usedBits = *static_cast<const uint32_t*>(parameters->value);
      return generateKey(parameters, out, algorithm);
    };
  }

  void* createScrambler(uint32_t keyBits) {
    void* object = nullptr;
    EXPECT_EQ(tableEntry<int32_t(uint32_t, void**)>(list(kCoreListName), 8)(keyBits, &object), kOk);
    return object;
  }
  void* createScramblerEx(uint32_t algorithm, uint32_t mode, uint32_t keyBits) {
    void* object = nullptr;
    EXPECT_EQ(tableEntry<int32_t(uint32_t, uint32_t, uint32_t, void**)>(list(kCoreListName), 9)(
                  algorithm, mode, keyBits, &object),
              kOk);
    return object;
  }
};

TEST_F(ScramblerSlots, CoreSlot8MakesAScramblerOfTheDefaultAlgorithm) {
  void* const scrambler = createScrambler(200);
  ASSERT_NE(scrambler, nullptr);
  EXPECT_EQ(usedAlgorithm, 6u);
  EXPECT_EQ(usedBits, 200u);
  EXPECT_EQ(call<uint32_t>(scrambler, 2), 0u);
}

TEST_F(ScramblerSlots, CoreSlot9MakesAScramblerOfTheNamedAlgorithm) {
  void* const scrambler = createScramblerEx(12, 1, 64);
  ASSERT_NE(scrambler, nullptr);
  EXPECT_EQ(usedAlgorithm, 12u);
  EXPECT_EQ(usedBits, 256u);
  EXPECT_EQ(call<uint32_t>(scrambler, 2), 0u);
}

TEST_F(ScramblerSlots, ScramblersAreMadeEvenWithoutAKey) {
  void* const scrambler = createScrambler(0);
  ASSERT_NE(scrambler, nullptr);
  const runtime::ByteBuffer in{0, nullptr};
  runtime::ByteBuffer* out = nullptr;
  EXPECT_EQ(call<int32_t>(scrambler, 6, &in, &out), kFail);
  EXPECT_EQ(call<uint32_t>(scrambler, 2), 0u);
}

TEST_F(ScramblerSlots, ScramblersNeedAnOut) {
  const void* const core = list(kCoreListName);
  EXPECT_EQ(tableEntry<int32_t(uint32_t, void**)>(core, 8)(128, nullptr), kNullPointer);
  EXPECT_EQ(tableEntry<int32_t(uint32_t, uint32_t, uint32_t, void**)>(core, 9)(12, 0, 128, nullptr),
            kNullPointer);
}

}  // namespace
}  // namespace vexa::test
