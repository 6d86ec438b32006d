#pragma once

#include "runtime/crypto_fixture.h"
#include "runtime/samples.h"

namespace vexa::test {

// Certificates under construction, for a key of the samples.
class BuilderTest : public CryptoTest {
 protected:
  BuilderTest() : key(privateKey(samples::kLeafKey)) {
    const OwnedCertificate leaf = certificate(samples::kLeaf);
    EXPECT_EQ(types.PublicKeyCopy(&key->publicKey, leaf->table->GetPublicKey(leaf.get())), kOk);
  }
  void TearDown() override {
    key.reset();
    CryptoTest::TearDown();
  }

  // Everything that signing needs.
  OwnedCertificate prepared(const char* subject) { return draft(subject, &key->publicKey); }

  HeldKey key;
};

}  // namespace vexa::test
