#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "capi/key_blob.h"
#include "support/module_fixture.h"
#include "support/own_stack.h"

// Whether the conversion of a key leaves its numbers on the stack that it ran on.
namespace vexa::capi {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kModulusBytes = 256;

// The numbers of a key, each of other bytes.
struct Numbers {
  Bytes modulus = Bytes(kModulusBytes, 0x11);
  Bytes publicExponent = {1, 0, 1};
  Bytes prime = Bytes(kModulusBytes / 2, 0xA5);
  Bytes privateExponent = Bytes(kModulusBytes, 0x5A);

  runtime::RsaPrivateKey record() {
    const auto of = [](Bytes& bytes) { return runtime::BigInteger{bytes.size(), bytes.data()}; };
    return {{},        of(modulus), of(publicExponent), of(privateExponent), of(prime), of(prime),
            of(prime), of(prime),   of(prime)};
  }
};

class KeyBlobSecrets : public test::ModuleTest {
 protected:
  // The blob is released where it is not looked at.
  void convert(Numbers& numbers, bool succeeds) {
    const runtime::RsaPrivateKey key = numbers.record();
    stack_.run([&] {
      runtime::ByteBuffer* const blob =
          aux_convert_RSAPrivateKey_to_PVKBLOB(&key, kKeySpecExchange);
      EXPECT_EQ(blob != nullptr, succeeds);
      spy.commonTypes.BufferRelease(blob);
    });
  }
  // Whether a run of this byte is left that is no accident.
  bool isLeft(uint8_t byte) const {
    const Bytes left = stack_.left();
    constexpr int kRun = 16;
    return std::search_n(left.begin(), left.end(), kRun, byte) != left.end();
  }

 private:
  test::OwnStack stack_;
};

TEST_F(KeyBlobSecrets, AConversionLeavesNone) {
  Numbers numbers;
  convert(numbers, true);
  EXPECT_FALSE(isLeft(0xA5));
  EXPECT_FALSE(isLeft(0x5A));
}

TEST_F(KeyBlobSecrets, AConversionThatFailsMidwayLeavesNone) {
  Numbers numbers;
  numbers.privateExponent.push_back(0x5A);
  convert(numbers, false);
  EXPECT_FALSE(isLeft(0xA5));
  EXPECT_FALSE(isLeft(0x5A));
}

}  // namespace
}  // namespace vexa::capi
