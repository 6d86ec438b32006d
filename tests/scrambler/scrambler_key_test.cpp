#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "raw_scrambler.h"

// What becomes of keys: copies, wiping, release.
namespace vexa::test {
namespace {

// A key that sees how it is treated. Its bytes outlive its release.
struct WatchedKey {
  const runtime::SymmetricKeyTable* table;
  uint64_t bits;
  std::array<uint8_t, 32> bytes;
  std::string name;
};

std::vector<std::string> events;
std::vector<std::unique_ptr<WatchedKey>> keys;
uint64_t keyBits;
bool refuseDuplicates;
int32_t refusal;  // the result then

WatchedKey* watched(void* key) { return static_cast<WatchedKey*>(key); }

runtime::SymmetricKey* makeKey(const std::string& name);

uint32_t releaseKey(runtime::Object* self) {
  const WatchedKey& key = *watched(self);
  const auto wiped = std::count(key.bytes.begin(), key.bytes.end(), 0);
  events.push_back("release " + key.name + ", wiped " + std::to_string(wiped));
  return 0;
}
int32_t duplicateKey(runtime::Object* self, void** copy) {
  const WatchedKey& key = *watched(self);
  events.push_back("duplicate " + key.name);
  *copy = refuseDuplicates ? nullptr : makeKey("copy of " + key.name);
  return refuseDuplicates ? refusal : kOk;
}
uint64_t bitLength(runtime::SymmetricKey* self) { return watched(self)->bits; }
uint8_t* bytesOf(runtime::SymmetricKey* self) { return watched(self)->bytes.data(); }

const runtime::SymmetricKeyTable kWatchedTable = {
    .header = {.reserved0 = nullptr,
               .AddRef = nullptr,
               .Release = releaseKey,
               .GetTypeName = nullptr,
               .Duplicate = duplicateKey,
               .reserved5 = nullptr,
               .reserved6 = nullptr},
    .GetBitLength = bitLength,
    .GetBytes = bytesOf,
};

runtime::SymmetricKey* makeKey(const std::string& name) {
  keys.push_back(std::make_unique<WatchedKey>());
  WatchedKey& key = *keys.back();
  key = {&kWatchedTable, keyBits, {}, name};
  key.bytes.fill(0xAA);
  return reinterpret_cast<runtime::SymmetricKey*>(&key);
}

class ScramblerKeys : public BoundTest {
 protected:
  ScramblerKeys() {
    events.clear();
    keys.clear();
    keyBits = 256;
    refuseDuplicates = false;
    refusal = kOutOfMemory;
    spy.crypt.GenerateKey = [](const runtime::CipherItem*, runtime::CipherItem* out, uint32_t) {
      out->value = makeKey(std::to_string(keys.size() + 1));
      return kOk;
    };
  }
  using Events = std::vector<std::string>;
};

TEST_F(ScramblerKeys, AreWipedBeforeTheyAreReleased) {
  RawScrambler scrambler(12, 0, 256);
  EXPECT_TRUE(events.empty());
  scrambler.release();
  EXPECT_EQ(events, (Events{"release 1, wiped 32"}));
}

TEST_F(ScramblerKeys, OfBitsThatFillNoByteAreWipedByWholeBytes) {
  keyBits = 12;
  RawScrambler scrambler(6, 0, 12);
  scrambler.release();
  EXPECT_EQ(events, (Events{"release 1, wiped 1"}));
}

TEST_F(ScramblerKeys, AreCopiedToTheTargetWhoseOldKeyGoesFirst) {
  RawScrambler source(12, 0, 256);
  RawScrambler target(12, 0, 256);
  EXPECT_EQ(source.copyKeyTo(target.get()), kOk);
  EXPECT_EQ(events, (Events{"release 2, wiped 32", "duplicate 1"}));
  events.clear();
  source.release();
  target.release();
  EXPECT_EQ(events, (Events{"release 1, wiped 32", "release copy of 1, wiped 32"}));
}

TEST_F(ScramblerKeys, AreNotCopiedToTheObjectItself) {
  RawScrambler scrambler(12, 0, 256);
  EXPECT_EQ(scrambler.copyKeyTo(scrambler.get()), kOk);
  EXPECT_TRUE(events.empty());
}

TEST_F(ScramblerKeys, ThatCannotBeCopiedLeaveTheTargetWithout) {
  refuseDuplicates = true;
  for (const int32_t answer : {kOutOfMemory, kFail, kOk}) {
    keys.clear();
    RawScrambler source(12, 0, 256);
    RawScrambler target(12, 0, 256);
    refusal = answer;
    events.clear();
    EXPECT_EQ(source.copyKeyTo(target.get()), kOutOfMemory);
    EXPECT_EQ(events, (Events{"release 2, wiped 32", "duplicate 1"}));
    EXPECT_FALSE(target.hasKey());
  }
}

TEST_F(ScramblerKeys, AreLeftAloneWhenTheRuntimeIsGone) {
  RawScrambler scrambler(6, 0, 128);
  RawScrambler target(6, 0, 128);
  base::bound = {};
  EXPECT_FALSE(scrambler.hasKey());
  EXPECT_EQ(scrambler.copyKeyTo(target.get()), kOk);
  scrambler.release();
  target.release();
  EXPECT_TRUE(events.empty());
}

// --- Over the reference runtime's keys ---

class ScramblerCopies : public BoundTest {};

TEST_F(ScramblerCopies, ReadWhatTheSourceWroteAfterItsEnd) {
  RawScrambler source(12, 0, 256);
  RawScrambler target(12, 0, 256);
  const std::string hidden = source.scrambled("kept data");
  EXPECT_EQ(source.copyKeyTo(target.get()), kOk);
  EXPECT_EQ(source.unscrambled(hidden), "kept data");
  source.release();
  EXPECT_EQ(target.unscrambled(hidden), "kept data");
}

TEST_F(ScramblerCopies, ServeATargetWithoutAKey) {
  RawScrambler source(12, 0, 256);
  RawScrambler target;
  target.createBare(12, 0);
  EXPECT_EQ(source.copyKeyTo(target.get()), kOk);
  EXPECT_EQ(target.unscrambled(source.scrambled("data")), "data");
  EXPECT_EQ(target.initialize(256), kFail);
}

TEST_F(ScramblerCopies, OfNoKeyLeaveTheTargetWithout) {
  RawScrambler source;
  source.createBare();
  RawScrambler target(12, 0, 256);
  EXPECT_EQ(source.copyKeyTo(target.get()), kOk);
  EXPECT_FALSE(target.hasKey());
  EXPECT_EQ(target.initialize(256), kOk);
  EXPECT_TRUE(target.hasKey());
}

TEST_F(ScramblerCopies, DoNotTakeTheVectorAlong) {
  RawScrambler source(12, 1, 256);
  RawScrambler target(12, 1, 256);
  EXPECT_EQ(source.copyKeyTo(target.get()), kOk);
  EXPECT_NE(target.scrambled("data"), source.scrambled("data"));
}

TEST_F(ScramblerCopies, NeedATarget) {
  RawScrambler source(12, 0, 256);
  EXPECT_EQ(source.copyKeyTo(nullptr), kInvalidArgument);
}

// An IScrambler of somebody else.
struct ForeignScrambler {
  void* const* table;
  int32_t answer;  // when it is asked for anything
  int asked;
};

TEST_F(ScramblerCopies, RefuseATargetOfAnotherImplementation) {
  std::array<void*, 10> table{};
  int32_t (*const queryInterface)(ForeignScrambler*, const Guid*,
                                  void**) = [](ForeignScrambler* self, const Guid* id, void** out) {
    ++self->asked;
    EXPECT_FALSE(*id == IID_IScrambler);
    *out = nullptr;
    return self->answer;
  };
  table[0] = reinterpret_cast<void*>(queryInterface);
  RawScrambler source(12, 0, 256);
  for (const int32_t answer : {kNoInterface, kFalse, kOk}) {  // successes without an object, too
    ForeignScrambler foreign{table.data(), answer, 0};
    EXPECT_EQ(source.copyKeyTo(&foreign), kInvalidArgument);
    EXPECT_EQ(foreign.asked, 1);
  }
}

TEST_F(ScramblerCopies, DoNotHoldTheTarget) {
  RawScrambler source(12, 0, 256);
  RawScrambler target(12, 0, 256);
  EXPECT_EQ(source.copyKeyTo(target.get()), kOk);
  EXPECT_EQ(call<uint32_t>(target.get(), 1), 2u);
  EXPECT_EQ(call<uint32_t>(target.get(), 2), 1u);
}

TEST_F(ScramblerCopies, SurviveAFailedAllocation) {
  RawScrambler source(12, 0, 256);
  RawScrambler target(12, 0, 256);
  spy.failAllocation(1);
  EXPECT_EQ(source.copyKeyTo(target.get()), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_FALSE(target.hasKey());
  EXPECT_TRUE(source.hasKey());
  EXPECT_EQ(source.copyKeyTo(target.get()), kOk);
  EXPECT_TRUE(target.hasKey());
}

}  // namespace
}  // namespace vexa::test
