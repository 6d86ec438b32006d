#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "raw_scrambler.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class Scrambler : public BoundTest {};

// --- Round trips over the reference runtime ---

class ScramblerRoundTrip : public BoundTest,
                           public ::testing::WithParamInterface<std::tuple<uint32_t, uint32_t>> {};

TEST_P(ScramblerRoundTrip, GivesBackBytesOfAnyLength) {
  const auto [algorithm, mode] = GetParam();
  RawScrambler scrambler(algorithm, mode, 256);
  for (const size_t length : {0u, 1u, 7u, 8u, 9u, 15u, 16u, 17u, 31u, 32u, 1000u}) {
    std::string bytes(length, '\0');
    for (size_t i = 0; i < length; ++i) {
      bytes[i] = static_cast<char>(i * 7);
    }
    const std::string hidden = scrambler.scrambled(bytes);
    EXPECT_EQ(scrambler.unscrambled(hidden), bytes);
    if (length >= 16) {
      EXPECT_EQ(hidden.find(bytes), std::string::npos);
    }
  }
}

TEST_P(ScramblerRoundTrip, GivesEqualOutputsForEqualInputs) {
  const auto [algorithm, mode] = GetParam();
  RawScrambler scrambler(algorithm, mode, 256);
  const std::string bytes = "the same bytes, twice the same bytes";
  EXPECT_EQ(scrambler.scrambled(bytes), scrambler.scrambled(bytes));
}

TEST_P(ScramblerRoundTrip, HasAKeyOfItsOwn) {
  const auto [algorithm, mode] = GetParam();
  RawScrambler one(algorithm, mode, 256);
  RawScrambler other(algorithm, mode, 256);
  const std::string bytes = "the same bytes, twice the same bytes";
  EXPECT_NE(one.scrambled(bytes), other.scrambled(bytes));
}

INSTANTIATE_TEST_SUITE_P(All, ScramblerRoundTrip,
                         ::testing::Combine(::testing::Values(1, 2, 4, 6, 7, 10, 11, 12),
                                            ::testing::Values(0, 1, 2)),
                         [](const auto& test) {
                           return "Algorithm" + std::to_string(std::get<0>(test.param)) + "Mode" +
                                  std::to_string(std::get<1>(test.param));
                         });

TEST_F(Scrambler, OutputHasNoHeader) {
  RawScrambler scrambler(6, 0, 128);
  EXPECT_EQ(scrambler.scrambled("five!").size(), 5u);
  RawScrambler block(12, 0, 256);
  EXPECT_EQ(block.scrambled("fifteen bytes..").size(), 16u);
}

TEST_F(Scrambler, FailsInAModeThatTheRuntimeDoesNotKnow) {
  RawScrambler scrambler(12, 3, 256);
  const ExactBytes in("x");
  const runtime::ByteBuffer record = in.buffer();
  OutBuffer out;
  EXPECT_EQ(scrambler.scramble(&record, out.put()), kFail);
  EXPECT_EQ(out.get(), nullptr);
}

// --- Strings ---

TEST_F(Scrambler, GivesBackStringsWithTheirTerminator) {
  RawScrambler scrambler;
  scrambler.create(128);
  const std::u16string_view strings[] = {
      u"", u"a", u"two words", u"\xD83D\xDE00", u"unpaired \xD83D and \xDE00", u"\xFFFF\x0001"};
  for (const std::u16string_view string : strings) {
    const ExactWideText text(string);
    OutBuffer hidden;
    ASSERT_EQ(scrambler.scrambleString(text, hidden.put()), kOk);
    char16_t* back = nullptr;
    ASSERT_EQ(scrambler.unscrambleString(hidden.get(), &back), kOk);
    EXPECT_EQ(std::u16string_view(back), string);
    EXPECT_EQ(back[string.size()], u'\0');
    spy.root.Free(back);
  }
}

TEST_F(Scrambler, LeavesTheTerminatorOut) {
  RawScrambler scrambler;
  scrambler.create(128);
  const ExactWideText text(u"abc");
  OutBuffer hidden;
  ASSERT_EQ(scrambler.scrambleString(text, hidden.put()), kOk);
  EXPECT_EQ(hidden.bytes().size(), 6u);
  EXPECT_EQ(scrambler.unscrambled(hidden.bytes()), std::string("a\0b\0c\0", 6));
}

std::vector<uint64_t> sizes;
void* (*allocateBlock)(uint64_t);

void recordAllocations(SpyRuntime& spy) {
  sizes.clear();
  allocateBlock = spy.root.Allocate;
  spy.root.Allocate = [](uint64_t size) {
    sizes.push_back(size);
    return allocateBlock(size);
  };
}

TEST_F(Scrambler, AllocatesTwoBytesMoreForAString) {
  RawScrambler scrambler;
  scrambler.create(128);
  OutBuffer hidden;
  ASSERT_EQ(scrambler.scrambleString(ExactWideText(u"abc"), hidden.put()), kOk);
  recordAllocations(spy);
  char16_t* back = nullptr;
  ASSERT_EQ(scrambler.unscrambleString(hidden.get(), &back), kOk);
  ASSERT_FALSE(sizes.empty());
  EXPECT_EQ(sizes.back(), 8u);
  spy.root.Free(back);
}

TEST_F(Scrambler, EndsAStringOfOddLengthWithAWholeZero) {
  RawScrambler scrambler;
  scrambler.create(128);
  const ExactBytes in(scrambler.scrambled(std::string("a\0b", 3)));
  const runtime::ByteBuffer record = in.buffer();
  char16_t* back = nullptr;
  ASSERT_EQ(scrambler.unscrambleString(&record, &back), kOk);
  EXPECT_EQ(std::u16string_view(back), u"ab");
  spy.root.Free(back);
}

TEST_F(Scrambler, WipesThePlainBytesOfAString) {
  RawScrambler scrambler(12, 1, 256);
  OutBuffer hidden;
  ASSERT_EQ(scrambler.scrambleString(ExactWideText(u"secret word"), hidden.put()), kOk);
  static bool seen;
  seen = false;
  spy.onFree = [](const uint8_t* block, uint64_t size) {
    constexpr std::u16string_view kSecret = u"secret";
    const auto* const first = reinterpret_cast<const uint8_t*>(kSecret.data());
    const auto* const end = block + size;
    seen = seen || std::search(block, end, first, first + kSecret.size() * 2) != end;
  };
  char16_t* back = nullptr;
  ASSERT_EQ(scrambler.unscrambleString(hidden.get(), &back), kOk);
  EXPECT_FALSE(seen);
  spy.onFree = nullptr;
  spy.root.Free(back);
}

// --- Output records ---

TEST_F(Scrambler, CreatesTheOutputRecordWhenThereIsNone) {
  RawScrambler scrambler(12, 0, 256);
  const ExactBytes in("0123456789");
  const runtime::ByteBuffer record = in.buffer();
  OutBuffer out;
  EXPECT_EQ(scrambler.scramble(&record, out.put()), kOk);
  ASSERT_NE(out.get(), nullptr);
  EXPECT_EQ(out.get()->length, 16u);
}

TEST_F(Scrambler, ReplacesTheDataOfAGivenRecord) {
  RawScrambler scrambler(12, 0, 256);
  OutBuffer out;
  *out.put() = static_cast<runtime::ByteBuffer*>(spy.root.Allocate(sizeof(runtime::ByteBuffer)));
  *out.get() = {3, static_cast<uint8_t*>(spy.root.Allocate(3))};
  runtime::ByteBuffer* const given = out.get();
  const ExactBytes in("0123456789");
  const runtime::ByteBuffer record = in.buffer();
  EXPECT_EQ(scrambler.scramble(&record, out.put()), kOk);
  EXPECT_EQ(out.get(), given);
  EXPECT_EQ(scrambler.unscrambled(out.bytes()), "0123456789");
}

TEST_F(Scrambler, TakesTheInputsRecordForTheOutput) {
  RawScrambler scrambler(12, 1, 256);
  OutBuffer buffer;
  *buffer.put() = static_cast<runtime::ByteBuffer*>(spy.root.Allocate(sizeof(runtime::ByteBuffer)));
  *buffer.get() = {4, static_cast<uint8_t*>(spy.root.Allocate(4))};
  std::memcpy(buffer.get()->data, "abcd", 4);
  EXPECT_EQ(scrambler.scramble(buffer.get(), buffer.put()), kOk);
  EXPECT_NE(buffer.bytes(), "abcd");
  EXPECT_EQ(scrambler.unscramble(buffer.get(), buffer.put()), kOk);
  EXPECT_EQ(buffer.bytes(), "abcd");
}

TEST_F(Scrambler, AllocatesOneByteForAnOutputOfNone) {
  RawScrambler scrambler(6, 0, 128);
  recordAllocations(spy);
  const runtime::ByteBuffer empty{0, nullptr};
  OutBuffer out;
  EXPECT_EQ(scrambler.scramble(&empty, out.put()), kOk);
  ASSERT_NE(out.get(), nullptr);
  EXPECT_EQ(out.get()->length, 0u);
  EXPECT_NE(out.get()->data, nullptr);
  EXPECT_NE(std::find(sizes.begin(), sizes.end(), 1u), sizes.end());
}

// --- Arguments ---

TEST_F(Scrambler, LooksForTheKeyBeforeItLooksAtArguments) {
  RawScrambler scrambler;
  scrambler.createBare();
  char16_t untouched = 0;
  char16_t* text = &untouched;
  OutBuffer out;
  const runtime::ByteBuffer in{0, nullptr};
  EXPECT_EQ(scrambler.scrambleString(nullptr, nullptr), kFail);
  EXPECT_EQ(scrambler.scrambleString(u"x", out.put()), kFail);
  EXPECT_EQ(scrambler.unscrambleString(nullptr, nullptr), kFail);
  EXPECT_EQ(scrambler.unscrambleString(&in, &text), kFail);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(scrambler.scramble(nullptr, nullptr), kFail);
  EXPECT_EQ(scrambler.scramble(&in, out.put()), kFail);
  EXPECT_EQ(scrambler.unscramble(nullptr, nullptr), kFail);
  EXPECT_EQ(scrambler.unscramble(&in, out.put()), kFail);
  EXPECT_EQ(out.get(), nullptr);
}

TEST_F(Scrambler, RefusesNullArguments) {
  RawScrambler scrambler(12, 0, 256);
  char16_t untouched = 0;
  char16_t* text = &untouched;
  OutBuffer out;
  const runtime::ByteBuffer in{0, nullptr};
  EXPECT_EQ(scrambler.scrambleString(nullptr, out.put()), kNullPointer);
  EXPECT_EQ(scrambler.scrambleString(u"x", nullptr), kNullPointer);
  EXPECT_EQ(scrambler.unscrambleString(nullptr, &text), kNullPointer);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(scrambler.unscrambleString(&in, nullptr), kNullPointer);
  EXPECT_EQ(scrambler.scramble(nullptr, out.put()), kNullPointer);
  EXPECT_EQ(scrambler.scramble(&in, nullptr), kNullPointer);
  EXPECT_EQ(scrambler.unscramble(nullptr, out.put()), kNullPointer);
  EXPECT_EQ(scrambler.unscramble(&in, nullptr), kNullPointer);
  EXPECT_EQ(out.get(), nullptr);
}

TEST_F(Scrambler, RefusesAnInputWithALengthButNoData) {
  RawScrambler scrambler(12, 0, 256);
  OutBuffer out;
  const runtime::ByteBuffer in{1, nullptr};
  EXPECT_EQ(scrambler.scramble(&in, out.put()), kNullPointer);
  EXPECT_EQ(scrambler.unscramble(&in, out.put()), kNullPointer);
}

TEST_F(Scrambler, CreationNeedsAnOut) {
  EXPECT_EQ(scrambler::CreateScrambler(128, nullptr), kNullPointer);
  EXPECT_EQ(scrambler::CreateScramblerEx(12, 0, 256, nullptr), kNullPointer);
}

// --- The object ---

TEST_F(Scrambler, IsHandedOutWithOneReference) {
  RawScrambler scrambler(12, 0, 256);
  EXPECT_EQ(call<uint32_t>(scrambler.get(), 1), 2u);
  EXPECT_EQ(call<uint32_t>(scrambler.get(), 2), 1u);
}

TEST_F(Scrambler, AnswersForItsInterfaceAndIUnknownOnly) {
  RawScrambler scrambler(12, 0, 256);
  for (const Guid& id : {IID_IScrambler, IID_IComponent}) {
    void* found = nullptr;
    EXPECT_EQ(call<int32_t>(scrambler.get(), 0, &id, &found), kOk);
    EXPECT_EQ(found, scrambler.get());
    EXPECT_EQ(call<uint32_t>(found, 2), 1u);
  }
  const Guid other{1, 2, 3, {}};
  void* found = scrambler.get();
  EXPECT_EQ(call<int32_t>(scrambler.get(), 0, &other, &found), kNoInterface);
  EXPECT_EQ(found, nullptr);
}

TEST_F(Scrambler, DestroysItselfInItsLastSlot) {
  IScrambler* object = nullptr;
  ASSERT_EQ(scrambler::CreateScramblerEx(12, 1, 256, &object), kOk);
  EXPECT_EQ(call<void*>(object, 9, uint32_t{0}), object);
  EXPECT_EQ(spy.liveBlocks(), 0);
  base::processFree(object);
}

TEST_F(Scrambler, TracesItsOperations) {
  RawScrambler scrambler;
  scrambler.createBare(6, 0);
  const auto texts = [&](auto operation) {
    spy.clearTrace();
    operation();
    return spy.traceTexts();
  };
  using Texts = std::vector<std::string>;
  EXPECT_EQ(texts([&] { (void)scrambler.initialize(128); }),
            (Texts{"{ CScrambler::Initialize", "}        0"}));
  EXPECT_EQ(texts([&] { (void)scrambler.initialize(128); }),
            (Texts{"{ CScrambler::Initialize", "} 80004005"}));
  OutBuffer hidden;
  EXPECT_EQ(texts([&] { (void)scrambler.scrambleString(u"x", hidden.put()); }),
            (Texts{"{ CScrambler::ScrambleString", "{ CScrambler::Scramble", "}        0",
                   "}        0"}));
  char16_t* text = nullptr;
  EXPECT_EQ(texts([&] { (void)scrambler.unscrambleString(hidden.get(), &text); }),
            (Texts{"{ CScrambler::UnscrambleString", "{ CScrambler::Unscramble", "}        0",
                   "}        0"}));
  spy.root.Free(text);
  EXPECT_EQ(texts([&] { (void)scrambler.copyKeyTo(nullptr); }),
            (Texts{"{ CScrambler::CopyKeyTo", "} 80070057"}));
}

// --- Failed allocations ---

TEST_F(Scrambler, SurvivesEveryFailedAllocationOfItsCreation) {
  const int swept = sweepAllocations(spy, [this] {
    auto* made = reinterpret_cast<IScrambler*>(&spy);
    const int32_t result = scrambler::CreateScramblerEx(12, 2, 256, &made);
    if (result != kOk) {
      EXPECT_EQ(result, kOutOfMemory);
      EXPECT_EQ(made, nullptr);
      return false;
    }
    const ExactBytes in("x");
    const runtime::ByteBuffer record = in.buffer();
    OutBuffer out;
    const bool works = call<int32_t>(static_cast<void*>(made), 6, &record, out.put()) == kOk;
    call<uint32_t>(static_cast<void*>(made), 2);
    return works;
  });
  EXPECT_GE(swept, 4);  // key, vector, output record and data
}

TEST_F(Scrambler, CanBeInitialisedAgainAfterAFailedAllocation) {
  RawScrambler scrambler;
  scrambler.createBare(12, 1);
  int failures = 0;
  for (uint64_t n = 1;; ++n) {
    spy.failAllocation(n);
    const int32_t result = scrambler.initialize(256);
    spy.allowAllocations();
    if (result == kOk && scrambler.hasKey()) {
      break;
    }
    EXPECT_FALSE(scrambler.hasKey());
    ++failures;
  }
  EXPECT_GE(failures, 2);
  EXPECT_EQ(scrambler.unscrambled(scrambler.scrambled("bytes")), "bytes");
}

TEST_F(Scrambler, ReportsAVectorThatCannotBeHad) {
  RawScrambler scrambler;
  scrambler.createBare(6, 1);
  spy.crypt.GenerateKey = [](const runtime::CipherItem*, runtime::CipherItem*, uint32_t) {
    return kFail;
  };
  spy.failAllocation(1);
  EXPECT_EQ(scrambler.initialize(128), kOutOfMemory);
  spy.allowAllocations();
}

TEST_F(Scrambler, LeavesAGivenRecordAloneWhenThereIsNoMemory) {
  RawScrambler scrambler(6, 0, 128);
  OutBuffer out;
  const ExactBytes in("abc");
  const runtime::ByteBuffer record = in.buffer();
  ASSERT_EQ(scrambler.scramble(&record, out.put()), kOk);
  const std::string before = out.bytes();
  spy.failAllocation(1);
  EXPECT_EQ(scrambler.scramble(&record, out.put()), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(out.bytes(), before);
}

TEST_F(Scrambler, SurvivesEveryFailedAllocationOfAString) {
  RawScrambler scrambler(12, 1, 256);
  sweepAllocations(spy, [&] {
    OutBuffer hidden;
    char16_t* text = nullptr;
    if (scrambler.scrambleString(u"text", hidden.put()) != kOk) {
      EXPECT_EQ(hidden.get(), nullptr);
      return false;
    }
    const int32_t result = scrambler.unscrambleString(hidden.get(), &text);
    EXPECT_EQ(text != nullptr, result == kOk);
    spy.root.Free(text);
    return result == kOk;
  });
}

TEST_F(Scrambler, SaysThatThereIsNoMemoryForAString) {
  RawScrambler scrambler(12, 1, 256);
  OutBuffer hidden;
  ASSERT_EQ(scrambler.scrambleString(u"text", hidden.put()), kOk);
  const uint64_t before = spy.allocations();
  char16_t* text = nullptr;
  ASSERT_EQ(scrambler.unscrambleString(hidden.get(), &text), kOk);
  spy.root.Free(text);
  spy.failAllocation(spy.allocations() - before);  // the last one is the string's
  EXPECT_EQ(scrambler.unscrambleString(hidden.get(), &text), kOutOfMemory);
  EXPECT_EQ(text, nullptr);
  spy.allowAllocations();
}

TEST_F(Scrambler, AKeyIsCopiedOrTheTargetHasNone) {
  RawScrambler source(12, 0, 256);
  RawScrambler target;
  target.createBare();
  RawScrambler keyless;
  keyless.createBare();
  const int swept = sweepAllocations(spy, [&] {
    const int32_t result = source.copyKeyTo(target.get());
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    EXPECT_EQ(keyless.copyKeyTo(target.get()), kOk) << "takes the key away again";
    return result == kOk;
  });
  EXPECT_GE(swept, 1);
  EXPECT_FALSE(target.hasKey());
  EXPECT_EQ(source.copyKeyTo(target.get()), kOk);
  EXPECT_EQ(target.scrambled("text"), source.scrambled("text"));
}

}  // namespace
}  // namespace vexa::test
