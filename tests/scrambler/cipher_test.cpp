#include "scrambler/cipher.h"

#include <gtest/gtest.h>

#include "scrambler/cipher_items.h"
#include "support/bound_fixture.h"

namespace vexa::test {
namespace {

class Cipher : public BoundTest {};

TEST_F(Cipher, NeedsParametersInputAndOutput) {
  const scrambler::CipherItems<1> items;
  const runtime::ByteBuffer in{};
  runtime::ByteBuffer* out = nullptr;
  EXPECT_EQ(scrambler::runCipher(nullptr, &in, &out), kBadKeyLength);
  EXPECT_EQ(scrambler::runCipher(items.first(), nullptr, &out), kBadKeyLength);
  EXPECT_EQ(scrambler::runCipher(items.first(), &in, nullptr), kBadKeyLength);
}

TEST_F(Cipher, RefusesKeyLengthsOutOfRange) {
  for (const uint64_t bits : {uint64_t{0}, uint64_t{16385}, uint64_t{1} << 32 | 128}) {
    auto* key = reinterpret_cast<runtime::SymmetricKey*>(this);
    EXPECT_EQ(scrambler::generateKey(6, bits, &key), kBadKeyLength);
    EXPECT_EQ(key, nullptr);
  }
}

TEST_F(Cipher, MakesKeysOfTheShortestAndTheLongestLength) {
  for (const uint64_t bits : {uint64_t{1}, uint64_t{16384}}) {
    scrambler::SymmetricKey key;
    EXPECT_EQ(scrambler::generateKey(6, bits, key.put()), kOk);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->table->GetBitLength(key.get()), bits);
  }
}

TEST_F(Cipher, NeedsARuntime) {
  base::bound.crypt = {};
  const scrambler::CipherItems<1> items;
  const runtime::ByteBuffer in{};
  runtime::ByteBuffer* out = nullptr;
  EXPECT_EQ(scrambler::runCipher(items.first(), &in, &out), kFail);
  scrambler::SymmetricKey key;
  EXPECT_EQ(scrambler::generateKey(12, 256, key.put()), kFail);
}

}  // namespace
}  // namespace vexa::test
