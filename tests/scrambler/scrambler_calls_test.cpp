#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "raw_scrambler.h"

// What the scrambler asks of the crypto runtime.
namespace vexa::test {
namespace {

struct Item {
  uint32_t tag;
  const void* value;
};

struct KeyCall {
  std::vector<Item> items;
  uint32_t bits;
  uint32_t listedAlgorithm;
  uint32_t algorithm;
  runtime::CipherItem out;
};

struct RandomCall {
  uint32_t kind;
  uint64_t length;
  uint64_t third;
  const void* buffer;
};

// One call of entry 44 or 18.
struct CipherCall {
  int entry;
  const runtime::CipherItem* list;
  std::vector<Item> items;
  std::string values;  // what the items of known shape point to, rendered
  const void* input;
  uint64_t inputLength;
  uint64_t outLength;
};

std::vector<KeyCall> keyCalls;
std::vector<RandomCall> randomCalls;
std::vector<CipherCall> cipherCalls;
runtime::CryptTable crypt;  // the reference runtime's
runtime::RandomTable random;

std::vector<Item> itemsOf(const runtime::CipherItem* item) {
  std::vector<Item> items;
  for (; item != nullptr; item = item->next) {
    EXPECT_EQ(item->reserved4, 0u);
    EXPECT_EQ(item->reserved16, 0u);
    EXPECT_EQ(item->owned, 0u);
    items.push_back({item->tag, item->value});
  }
  return items;
}

std::vector<uint32_t> tagsOf(const std::vector<Item>& items) {
  std::vector<uint32_t> tags;
  for (const Item& item : items) {
    tags.push_back(item.tag);
  }
  return tags;
}

std::string valuesOf(const std::vector<Item>& items) {
  std::string values;
  for (const Item& item : items) {
    switch (item.tag) {
      case runtime::kCipherAlgorithm:
      case runtime::kCipherMode:
        values += std::to_string(*static_cast<const uint32_t*>(item.value)) + " ";
        break;
      case runtime::kCipherPadding:
      case runtime::kCipherExtraLength:
        values += std::to_string(*static_cast<const uint64_t*>(item.value)) + " ";
        break;
      case runtime::kCipherIv:
        values +=
            std::to_string(static_cast<const runtime::ByteBuffer*>(item.value)->length) + "bytes ";
        break;
      case runtime::kCipherReverse:
        values += item.value == nullptr ? "null " : "value ";
        break;
      default:
        values += "key ";
        break;
    }
  }
  return values;
}

class ScramblerCalls : public BoundTest {
 protected:
  ScramblerCalls() {
    keyCalls.clear();
    randomCalls.clear();
    cipherCalls.clear();
    crypt = spy.crypt;
    random = spy.random;
    spy.crypt.GenerateKey = [](const runtime::CipherItem* list, runtime::CipherItem* out,
                               uint32_t algorithm) {
      const std::vector<Item> items = itemsOf(list);
      KeyCall call{items, 0, 0, algorithm, *out};
      if (tagsOf(items) == std::vector<uint32_t>{67, 114}) {
        call.bits = *static_cast<const uint32_t*>(items[0].value);
        call.listedAlgorithm = *static_cast<const uint32_t*>(items[1].value);
      }
      keyCalls.push_back(call);
      return crypt.GenerateKey(list, out, algorithm);
    };
    spy.random.GetBytes = [](uint32_t kind, uint64_t length, uint64_t third, uint8_t* buffer) {
      randomCalls.push_back({kind, length, third, buffer});
      return random.GetBytes(kind, length, third, buffer);
    };
    spy.crypt.GetOutputSize = [](const runtime::CipherItem* list, uint64_t length, uint64_t* size) {
      const std::vector<Item> items = itemsOf(list);
      cipherCalls.push_back({44, list, items, valuesOf(items), nullptr, length, 0});
      return crypt.GetOutputSize(list, length, size);
    };
    spy.crypt.Cipher = [](const runtime::CipherItem* list, const uint8_t* in, uint64_t length,
                          uint8_t* out, runtime::ByteBuffer* record) {
      const std::vector<Item> items = itemsOf(list);
      EXPECT_EQ(out, record->data);
      cipherCalls.push_back({18, list, items, valuesOf(items), in, length, record->length});
      return crypt.Cipher(list, in, length, out, record);
    };
  }

  // One operation on four bytes; its two calls.
  std::vector<CipherCall> callsOf(RawScrambler& scrambler, bool reverse) {
    const ExactBytes in(reverse ? scrambler.scrambled("data") : "data");
    const runtime::ByteBuffer record = in.buffer();
    OutBuffer out;
    cipherCalls.clear();
    EXPECT_EQ(
        reverse ? scrambler.unscramble(&record, out.put()) : scrambler.scramble(&record, out.put()),
        kOk);
    EXPECT_EQ(cipherCalls.size(), 2u);
    EXPECT_EQ(cipherCalls[1].input, in.data());
    EXPECT_EQ(cipherCalls[0].inputLength, in.size());
    EXPECT_EQ(cipherCalls[1].inputLength, in.size());
    return cipherCalls;
  }
};

// --- Initialize ---

struct SizeCase {
  const char* name;
  uint32_t algorithm;
  uint32_t asked;
  uint32_t bits;       // that the key gets
  uint64_t blockSize;  // bytes of the vector
};
void PrintTo(const SizeCase& value, std::ostream* out) { *out << value.name; }

constexpr SizeCase kSizeCases[] = {
    {"Algorithm0KeepsTheStartingBlockSize", 0, 64, 64, 16},
    {"Algorithm1", 1, 64, 56, 8},
    {"Algorithm2", 2, 64, 168, 8},
    {"Algorithm3IsInNoTable", 3, 64, 64, 0},
    {"Algorithm4", 4, 64, 128, 8},
    {"Algorithm5IsInNoTable", 5, 64, 64, 0},
    {"Algorithm6IsInNoTable", 6, 64, 64, 0},
    {"Algorithm7", 7, 64, 192, 8},
    {"Algorithm8IsInNoTable", 8, 64, 64, 0},
    {"Algorithm9IsInNoTable", 9, 64, 64, 0},
    {"Algorithm10", 10, 64, 128, 16},
    {"Algorithm11", 11, 64, 192, 16},
    {"Algorithm12IgnoresTheBitsAskedFor", 12, 64, 256, 16},
    {"Algorithm12EvenThoseOutOfRange", 12, 0, 256, 16},
    {"Algorithm13IsInNoTable", 13, 64, 64, 0},
    {"ShortestKey", 6, 1, 1, 0},
    {"LongestKey", 6, 16384, 16384, 0},
};

class ScramblerSizes : public ScramblerCalls, public ::testing::WithParamInterface<SizeCase> {};

TEST_P(ScramblerSizes, ComeFromTheTablesOrTheCaller) {
  RawScrambler scrambler(GetParam().algorithm, 1, GetParam().asked);
  ASSERT_EQ(keyCalls.size(), 1u);
  EXPECT_EQ(tagsOf(keyCalls[0].items), (std::vector<uint32_t>{67, 114}));
  EXPECT_EQ(keyCalls[0].bits, GetParam().bits);
  EXPECT_EQ(keyCalls[0].listedAlgorithm, GetParam().algorithm);
  EXPECT_EQ(keyCalls[0].algorithm, GetParam().algorithm);
  EXPECT_EQ(keyCalls[0].out.tag, 119u);
  EXPECT_EQ(keyCalls[0].out.value, nullptr);
  EXPECT_EQ(keyCalls[0].out.next, nullptr);
  ASSERT_EQ(randomCalls.size(), 1u);
  EXPECT_EQ(randomCalls[0].kind, 2u);
  EXPECT_EQ(randomCalls[0].length, GetParam().blockSize);
  EXPECT_EQ(randomCalls[0].third, 0u);
  EXPECT_NE(randomCalls[0].buffer, nullptr);
}

INSTANTIATE_TEST_SUITE_P(All, ScramblerSizes, ::testing::ValuesIn(kSizeCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(ScramblerCalls, DefaultsAreAlgorithm6AndNoMode) {
  RawScrambler scrambler;
  scrambler.create(100);
  ASSERT_EQ(keyCalls.size(), 1u);
  EXPECT_EQ(keyCalls[0].algorithm, 6u);
  EXPECT_EQ(keyCalls[0].bits, 100u);
  EXPECT_TRUE(randomCalls.empty());
  EXPECT_EQ(callsOf(scrambler, false)[0].values, "key 6 4 0 ");
}

TEST_F(ScramblerCalls, VectorIsMadeInModes1And2Only) {
  for (const uint32_t mode : {0u, 1u, 2u, 3u, 0x101u}) {
    randomCalls.clear();
    RawScrambler scrambler(12, mode, 256);
    EXPECT_EQ(randomCalls.size(), mode == 1 || mode == 2 ? 1u : 0u) << mode;
  }
}

TEST_F(ScramblerCalls, KeyLengthsOutOfRangeDoNotReachTheRuntime) {
  for (const uint32_t bits : {0u, 16385u, 0xFFFFFFFFu}) {
    RawScrambler scrambler;
    scrambler.createBare(6, 0);
    EXPECT_EQ(scrambler.initialize(bits), kOk);
    EXPECT_FALSE(scrambler.hasKey());
  }
  EXPECT_TRUE(keyCalls.empty());
}

TEST_F(ScramblerCalls, FailedKeyGenerationIsNotReportedByInitialize) {
  RawScrambler scrambler;
  scrambler.createBare(3, 1);
  EXPECT_EQ(scrambler.initialize(128), kOk);
  EXPECT_EQ(keyCalls.size(), 1u);
  EXPECT_EQ(randomCalls.size(), 1u);  // the vector is made all the same
  EXPECT_FALSE(scrambler.hasKey());
}

TEST_F(ScramblerCalls, InitializeMayBeTriedAgainUntilThereIsAKey) {
  RawScrambler scrambler;
  scrambler.createBare(6, 1);
  EXPECT_EQ(scrambler.initialize(0), kOk);
  EXPECT_FALSE(scrambler.hasKey());
  EXPECT_EQ(scrambler.initialize(128), kOk);
  EXPECT_TRUE(scrambler.hasKey());
}

TEST_F(ScramblerCalls, SecondInitializeFailsAndChangesNothing) {
  RawScrambler scrambler(12, 1, 256);
  const std::string before = scrambler.scrambled("data");
  EXPECT_EQ(scrambler.initialize(256), kFail);
  EXPECT_EQ(keyCalls.size(), 1u);
  EXPECT_EQ(randomCalls.size(), 1u);
  EXPECT_EQ(scrambler.scrambled("data"), before);
}

// --- Scramble and Unscramble ---

struct ListCase {
  const char* name;
  uint32_t algorithm;
  uint32_t mode;
  bool reverse;
  std::vector<uint32_t> tags;
  const char* values;
};
void PrintTo(const ListCase& value, std::ostream* out) { *out << value.name; }

const ListCase kListCases[] = {
    {"Forward", 12, 0, false, {119, 114, 113, 105}, "key 12 4 0 "},
    {"Reverse", 12, 0, true, {119, 114, 113, 105, 106}, "key 12 4 0 null "},
    {"ForwardWithVector", 12, 1, false, {119, 114, 113, 105, 108}, "key 12 4 1 16bytes "},
    {"ReverseWithVector", 2, 1, true, {119, 114, 113, 105, 106, 108}, "key 2 4 1 null 8bytes "},
    {"ForwardWithExtraLength", 2, 2, false, {119, 114, 113, 105, 108, 109}, "key 2 4 2 8bytes 8 "},
    {"ReverseWithExtraLength",
     12,
     2,
     true,
     {119, 114, 113, 105, 106, 108, 109},
     "key 12 4 2 null 16bytes 16 "},
    {"EmptyVectorIsNotPassed", 6, 1, false, {119, 114, 113, 105}, "key 6 4 1 "},
    {"ExtraLengthOfNoneIsNotPassed", 6, 2, true, {119, 114, 113, 105, 106}, "key 6 4 2 null "},
};

class ScramblerLists : public ScramblerCalls, public ::testing::WithParamInterface<ListCase> {};

TEST_P(ScramblerLists, AskForTheSizeAndThenRunTheCipherWithOneList) {
  RawScrambler scrambler(GetParam().algorithm, GetParam().mode, 128);
  const std::vector<CipherCall> calls = callsOf(scrambler, GetParam().reverse);
  EXPECT_EQ(calls[0].entry, 44);
  EXPECT_EQ(calls[1].entry, 18);
  EXPECT_EQ(calls[0].list, calls[1].list);
  for (const CipherCall& call : calls) {
    EXPECT_EQ(tagsOf(call.items), GetParam().tags);
    EXPECT_EQ(call.values, GetParam().values);
  }
}

INSTANTIATE_TEST_SUITE_P(All, ScramblerLists, ::testing::ValuesIn(kListCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(ScramblerCalls, VectorStaysTheSameForTheObjectsLife) {
  RawScrambler scrambler(12, 1, 256);
  const auto vectorOf = [](const CipherCall& call) { return call.items.back().value; };
  const void* const first = vectorOf(callsOf(scrambler, false)[0]);
  EXPECT_EQ(vectorOf(callsOf(scrambler, true)[0]), first);
  ASSERT_EQ(randomCalls.size(), 1u);
  EXPECT_EQ(static_cast<const runtime::ByteBuffer*>(first)->data, randomCalls[0].buffer);
}

TEST_F(ScramblerCalls, OutputLengthIsTheReportedSizeUntilTheCipherSetsTheRealOne) {
  RawScrambler scrambler(12, 0, 256);
  const std::vector<CipherCall> calls = callsOf(scrambler, true);
  EXPECT_EQ(calls[1].outLength, 16u);
  EXPECT_EQ(scrambler.unscrambled(scrambler.scrambled("data")).size(), 4u);
}

TEST_F(ScramblerCalls, AnOutputOfNoBytesHasTheLengthOfNone) {
  RawScrambler scrambler(6, 0, 128);
  const runtime::ByteBuffer empty{0, nullptr};
  OutBuffer out;
  EXPECT_EQ(scrambler.scramble(&empty, out.put()), kOk);
  ASSERT_EQ(cipherCalls.size(), 2u);
  EXPECT_EQ(cipherCalls[1].outLength, 0u);
}

// --- Failures of the runtime ---

TEST_F(ScramblerCalls, WhatAFailedKeyGenerationLeavesIsNoKey) {
  spy.crypt.GenerateKey = [](const runtime::CipherItem*, runtime::CipherItem* out, uint32_t) {
    out->value = &keyCalls;
    return kFail;
  };
  RawScrambler scrambler;
  scrambler.createBare(12, 0);
  EXPECT_EQ(scrambler.initialize(256), kOk);
  EXPECT_FALSE(scrambler.hasKey());
}

std::string freedBytes;

TEST_F(ScramblerCalls, FailedCipherWipesAndReleasesTheOutput) {
  RawScrambler scrambler(12, 0, 256);
  spy.crypt.Cipher = [](const runtime::CipherItem*, const uint8_t*, uint64_t, uint8_t* out,
                        runtime::ByteBuffer* record) {
    std::memset(out, 's', record->length);
    return kFail;
  };
  freedBytes.clear();
  spy.onFree = [](const uint8_t* block, uint64_t size) {
    freedBytes.append(reinterpret_cast<const char*>(block), size);
  };
  const ExactBytes in("data");
  const runtime::ByteBuffer record = in.buffer();
  for (const bool given : {false, true}) {
    OutBuffer out;
    if (given) {
      *out.put() =
          static_cast<runtime::ByteBuffer*>(spy.root.Allocate(sizeof(runtime::ByteBuffer)));
      *out.get() = {2, static_cast<uint8_t*>(spy.root.Allocate(2))};
    }
    EXPECT_EQ(scrambler.scramble(&record, out.put()), kFail);
    EXPECT_EQ(out.get(), nullptr);
    EXPECT_EQ(scrambler.unscramble(&record, out.put()), kFail);
    EXPECT_EQ(out.get(), nullptr);
  }
  EXPECT_NE(freedBytes.size(), 0u);
  EXPECT_EQ(freedBytes.find("ss"), std::string::npos);
  spy.onFree = nullptr;
}

int32_t cipherResult = kOk;

// The block is not touched beyond its end, which the sanitizer would see.
TEST_F(ScramblerCalls, ALengthBeyondTheOutputIsAFailedCipher) {
  RawScrambler scrambler(12, 0, 256);
  spy.crypt.Cipher = [](const runtime::CipherItem*, const uint8_t*, uint64_t, uint8_t*,
                        runtime::ByteBuffer* record) {
    ++record->length;
    return cipherResult;
  };
  const ExactBytes in("data");
  const runtime::ByteBuffer record = in.buffer();
  for (const int32_t result : {kOk, kFail}) {
    cipherResult = result;
    OutBuffer out;
    EXPECT_EQ(scrambler.scramble(&record, out.put()), kFail);
    EXPECT_EQ(out.get(), nullptr);
  }
  char16_t* text = nullptr;
  EXPECT_EQ(scrambler.unscrambleString(&record, &text), kFail);
  EXPECT_EQ(text, nullptr);
}

TEST_F(ScramblerCalls, FailedSizeQueryIsAFailedCipher) {
  RawScrambler scrambler(12, 0, 256);
  spy.crypt.GetOutputSize = [](const runtime::CipherItem*, uint64_t, uint64_t*) {
    return kInvalidArgument;
  };
  const ExactBytes in("data");
  const runtime::ByteBuffer record = in.buffer();
  OutBuffer out;
  EXPECT_EQ(scrambler.scramble(&record, out.put()), kFail);
  EXPECT_EQ(out.get(), nullptr);
  EXPECT_TRUE(cipherCalls.empty());
}

TEST_F(ScramblerCalls, FailedUnscrambleLeavesNoText) {
  RawScrambler scrambler(12, 0, 256);
  const ExactBytes in("no whole block");
  const runtime::ByteBuffer record = in.buffer();
  char16_t untouched = 0;
  char16_t* text = &untouched;
  EXPECT_EQ(scrambler.unscrambleString(&record, &text), kFail);
  EXPECT_EQ(text, nullptr);
}

}  // namespace
}  // namespace vexa::test
