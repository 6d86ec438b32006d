#pragma once

#include <cstdint>

namespace vexa::base {

// Random bits, the same as long as the library is loaded. Whoever writes an input does not know
// them, so nobody can choose keys that meet in a table whose places depend on them. Any thread.
uint64_t processSeed();

// Mixes numbers into others whose bits each depend on all of theirs, in a way that nobody knows who
// does not know the seed. Equal numbers stay equal.
class SecretMix {
 public:
  SecretMix() = default;  // mixes everything into 0
  explicit SecretMix(uint64_t seed) : seed_(seed), factor_((seed ^ seed >> 32) * kGolden | 1) {}

  uint64_t operator()(uint64_t number) const {
    const Product product = Product{number ^ seed_} * factor_;
    return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
  }

 private:
  using Product = unsigned __int128;
  static constexpr uint64_t kGolden = 0x9E3779B97F4A7C15;  // 2^64 / golden ratio: spreads the bits

  uint64_t seed_ = 0;
  uint64_t factor_ = 0;
};

}  // namespace vexa::base
