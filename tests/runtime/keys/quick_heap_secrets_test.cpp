#include <gtest/gtest.h>

#include "runtime/bytes.h"
#include "runtime/exports/common_types.h"
#include "runtime/heap.h"
#include "runtime/heap_poison.h"
#include "runtime/keys/own_memory.h"
#include "runtime/pkcs12/pkcs12_types.h"
#include "vexa/results.h"
#include "vexa/runtime/reference_crypto.h"

// What the heap keeps for its next user when nobody watches it: nothing of a secret. (A watched
// heap fills what is released, so that other tests would not see it.)
namespace vexa::test {
namespace {

class QuickHeapSecrets : public ::testing::Test {
 protected:
  QuickHeapSecrets() { velmora::setWatchful(false); }
  ~QuickHeapSecrets() override { velmora::setWatchful(velmora::kUnderAddressSanitizer); }

  // Fills the secret with what stands nowhere else.
  static Pieces fill(uint8_t* secret, uint64_t length) {
    for (uint64_t i = 0; i < length; ++i) {
      secret[i] = static_cast<uint8_t>(i * 37 + 11);
    }
    Pieces pieces;
    pieces.add(secret, length, 0);
    return pieces;
  }

  const runtime::CommonTypes& types = velmora::commonTypesTable;
};

TEST_F(QuickHeapSecrets, AReleasedKeyLeavesNothing) {
  runtime::KeyObject* key = nullptr;
  ASSERT_EQ(velmora_key_generate_rsa(2048, &key), kOk);
  runtime::RsaPrivateKey* numbers = nullptr;
  ASSERT_EQ(
      types.RsaPrivateKeyDecode(key->privateKey.bytes, key->privateKey.bitLength / 8, &numbers),
      kOk);
  Pieces pieces;
  pieces.add(numbers->privateExponent.bytes, numbers->privateExponent.length);
  types.KeyRelease(key);
  EXPECT_GT(countInMemory(pieces), 0) << "the numbers hold it still";
  types.RsaPrivateKeyRelease(numbers);
  EXPECT_EQ(countInMemory(pieces), 0);
}

TEST_F(QuickHeapSecrets, AReleasedPrivateKeyInfoLeavesNothing) {
  constexpr uint64_t kLength = 40;
  runtime::PrivateKeyInfo* info = nullptr;
  ASSERT_EQ(velmora::pkcs12TypesTable.PrivateKeyInfoCreate(&info), kOk);
  info->key = {kLength, static_cast<uint8_t*>(velmora::allocateBlock(kLength))};
  const Pieces pieces = fill(info->key.data, kLength);
  EXPECT_GT(countInMemory(pieces), 0);
  velmora::pkcs12TypesTable.PrivateKeyInfoRelease(info);
  EXPECT_EQ(countInMemory(pieces), 0);
}

TEST_F(QuickHeapSecrets, BytesLeaveNothingWhenTheyGrowShrinkOrGo) {
  constexpr uint64_t kLength = 40;
  uint8_t secret[kLength];
  const Pieces pieces = fill(secret, kLength);
  {
    velmora::Bytes bytes;
    for (const uint8_t byte : secret) {
      bytes.append(byte);
    }
    velmora::wipe(secret, sizeof(secret));
    velmora::wipeStack();
    EXPECT_EQ(countInMemory(pieces), 3) << "all pieces stand in the bytes alone";
    bytes.resize(0);
    EXPECT_EQ(countInMemory(pieces), 0);
    fill(secret, kLength);
    bytes.append(velmora::ByteView(secret, kLength));
    velmora::wipe(secret, sizeof(secret));
  }
  EXPECT_EQ(countInMemory(pieces), 0);
}

}  // namespace
}  // namespace vexa::test
