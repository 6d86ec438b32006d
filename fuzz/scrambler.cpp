#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "harness.h"
#include "module/core_list.h"
#include "vexa/scrambler.h"

// Scramblers of every algorithm and mode: what is scrambled comes back, equal inputs give equal
// outputs, a copied key reads what the first one wrote, and an allocation that fails is told and
// loses nothing. The input is algorithm, mode and two bytes of key size, then the data.
namespace vexa::fuzz {
namespace {

constexpr uint32_t kAlgorithms[] = {kDes,          kTripleDes168, kCast128, kDefaultCipher,
                                    kTripleDes192, kAes128,       kAes192,  kAes256};

struct Case {
  uint32_t algorithm;
  uint32_t mode;
  uint32_t keyBits;
  std::string_view data;
};

int32_t make(const Case& tested, InterfaceHolder<IScrambler>& made) {
  return module::kCoreList.CreateScramblerEx(tested.algorithm, tested.mode, tested.keyBits,
                                             made.put());
}

std::string scrambled(IScrambler& scrambler, std::string_view data) {
  const runtime::ByteBuffer in{data.size(),
                               reinterpret_cast<uint8_t*>(const_cast<char*>(data.data()))};
  MadeBuffer out;
  require(scrambler.Scramble(&in, out.put()) == kOk, "what has a key scrambles");
  return std::string(out.view());
}

std::string unscrambled(IScrambler& scrambler, std::string_view data) {
  const runtime::ByteBuffer in{data.size(),
                               reinterpret_cast<uint8_t*>(const_cast<char*>(data.data()))};
  MadeBuffer out;
  require(scrambler.Unscramble(&in, out.put()) == kOk, "what was scrambled comes back");
  return std::string(out.view());
}

void checkText(IScrambler& scrambler, std::string_view data) {
  std::u16string text(data.size() / 2, u'\0');
  std::memcpy(text.data(), data.data(), text.size() * 2);
  text = text.substr(0, text.find(u'\0'));
  MadeBuffer out;
  require(scrambler.ScrambleString(text.c_str(), out.put()) == kOk, "a text is scrambled");
  base::RootBlock<char16_t> back;
  require(scrambler.UnscrambleString(out.get(), back.put()) == kOk, "a text comes back");
  require(text == back.get(), "the same text");
}

void check(const Case& tested) {
  InterfaceHolder<IScrambler> first;
  require(make(tested, first) == kOk && first, "a scrambler is made");
  const std::string hidden = scrambled(*first, tested.data);
  require(scrambled(*first, tested.data) == hidden, "equal inputs give equal outputs");
  require(unscrambled(*first, hidden) == tested.data, "the same data");
  require(tested.data.size() < 8 || hidden != tested.data, "the data is hidden");
  checkText(*first, tested.data);

  InterfaceHolder<IScrambler> other;
  require(make(tested, other) == kOk && other, "another scrambler is made");
  constexpr uint32_t kNeverTheSame = 64;  // of fewer bits, two keys can be equal
  require(tested.keyBits < kNeverTheSame || tested.data.size() < 16 ||
              scrambled(*other, tested.data) != hidden,
          "every object has a key of its own");
  require(first->CopyKeyTo(&*other) == kOk, "a key is copied");
  if (tested.mode == kScramblePlain) {  // the others keep a vector of their own
    require(scrambled(*other, tested.data) == hidden, "with the same key it does the same");
  }
  require(unscrambled(*first, hidden) == tested.data, "the first one keeps its key");
}

// kOk, or memory was short and nothing was handed out.
bool done(int32_t result, const void* out, const FailingAllocation& failing) {
  require(result == kOk || failing.hasFailed(), "nothing fails by itself");
  require(result == kOk || out == nullptr, "nothing comes with a failure");
  return result == kOk;
}

void checkWithoutMemory(const Case& tested, uint64_t seed) {
  const FailingAllocation failing(seed % 24 + 1);
  InterfaceHolder<IScrambler> scrambler;
  if (make(tested, scrambler) != kOk) {
    return require(failing.hasFailed() && !scrambler, "a failed allocation is told");
  }
  const runtime::ByteBuffer in{tested.data.size(),
                               reinterpret_cast<uint8_t*>(const_cast<char*>(tested.data.data()))};
  MadeBuffer out;
  if (!done(scrambler->Scramble(&in, out.put()), out.get(), failing)) {
    return;
  }
  MadeBuffer back;
  if (done(scrambler->Unscramble(out.get(), back.put()), back.get(), failing)) {
    require(back.view() == tested.data, "the same data");
  }
}

void checkCases(std::string_view input) {
  const auto byte = [input](size_t at) { return static_cast<uint8_t>(input[at]); };
  const uint32_t keyBits = 1 + (byte(2) | byte(3) % 8u << 8);
  const Case tested{kAlgorithms[byte(0) % std::size(kAlgorithms)], byte(1) % 3u, keyBits,
                    input.substr(4)};
  check(tested);
  checkWithoutMemory(tested, seedOf(input, 0));
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return size < 4 ? 0 : vexa::fuzz::checkInputOfModule(data, size, vexa::fuzz::checkCases);
}
