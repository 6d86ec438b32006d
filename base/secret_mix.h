#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace vexa::base {

// Mixes numbers and texts into numbers whose bits each depend on all of theirs, in a way that
// nobody knows who does not know the seed. Equal ones stay equal.
class SecretMix {
 public:
  SecretMix() = default;  // mixes everything into 0
  explicit SecretMix(uint64_t seed) : seed_(seed), factor_((seed ^ seed >> 32) * kGolden | 1) {}

  uint64_t operator()(uint64_t number) const {
    const Product product = Product{number ^ seed_} * factor_;
    return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
  }

  // Tells most different texts apart: word by word, the last of which may overlap the one before.
  uint64_t operator()(std::string_view text) const {
    if (text.size() < sizeof(uint64_t)) {
      return (*this)(text.size() ^ shortWord(text));
    }
    uint64_t digest = text.size();
    const size_t last = text.size() - sizeof(uint64_t);
    for (size_t at = 0; at < last; at += sizeof(uint64_t)) {
      digest = (*this)(digest ^ load<uint64_t>(text.data() + at));
    }
    return (*this)(digest ^ load<uint64_t>(text.data() + last));
  }

 private:
  using Product = unsigned __int128;
  static constexpr uint64_t kGolden = 0x9E3779B97F4A7C15;  // 2^64 / golden ratio: spreads the bits

  template <class Word>
  static Word load(const char* bytes) {
    Word word;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
  }
  // The bytes of a text that is shorter than a word, some of them twice.
  static uint64_t shortWord(std::string_view text) {
    if (text.size() >= sizeof(uint32_t)) {
      const uint64_t last = load<uint32_t>(text.data() + text.size() - sizeof(uint32_t));
      return load<uint32_t>(text.data()) | last << 32;
    }
    const auto byteAt = [text](size_t at) { return uint64_t{static_cast<uint8_t>(text[at])}; };
    return text.empty() ? 0
                        : byteAt(0) | byteAt(text.size() / 2) << 8 | byteAt(text.size() - 1) << 16;
  }

  uint64_t seed_ = 0;
  uint64_t factor_ = 0;
};

}  // namespace vexa::base
