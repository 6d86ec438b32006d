#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "raw_scrambler.h"

// The scopes that a trace shows.
namespace vexa::test {
namespace {

using testing::Contains;

class ScramblerTrace : public BoundTest {
 protected:
  void SetUp() override { spy.setTraceLevel(5); }

  std::vector<std::string> take() {
    std::vector<std::string> texts = spy.traceTexts();
    spy.clearTrace();
    return texts;
  }
};

TEST_F(ScramblerTrace, EveryOperationHasItsName) {
  RawScrambler plain;
  plain.create(128);
  EXPECT_THAT(take(), Contains("{ CreateScrambler"));
  RawScrambler scrambler(kAes128, kScramblePlain, 128);
  EXPECT_THAT(take(), Contains("{ CreateScramblerEx"));
  EXPECT_EQ(scrambler.initialize(128), kFail);
  EXPECT_THAT(take(), Contains("{ CScrambler::Initialize"));
  const std::string hidden = scrambler.scrambled("data");
  EXPECT_THAT(take(), Contains("{ CScrambler::Scramble"));
  EXPECT_EQ(scrambler.unscrambled(hidden), "data");
  EXPECT_THAT(take(), Contains("{ CScrambler::Unscramble"));
  EXPECT_EQ(scrambler.copyKeyTo(plain.get()), kOk);
  EXPECT_THAT(take(), Contains("{ CScrambler::CopyKeyTo"));
  OutBuffer text;
  EXPECT_EQ(scrambler.scrambleString(u"text", text.put()), kOk);
  EXPECT_THAT(take(), Contains("{ CScrambler::ScrambleString"));
  char16_t* back = nullptr;
  EXPECT_EQ(scrambler.unscrambleString(text.get(), &back), kOk);
  EXPECT_THAT(take(), Contains("{ CScrambler::UnscrambleString"));
  spy.root.Free(back);
}

}  // namespace
}  // namespace vexa::test
