#include <functional>

#include "runtime/keys/failing_libgcrypt.h"
#include "runtime/keys/searched_stack.h"
#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/samples.h"

// Whether an operation in which the library fails leaves something of a secret: in a block that it
// gives back, or on the stack that it ran on.
namespace vexa::test {
namespace {

class FailureSecrets : public PfxTest {
 protected:
  // Runs `operation` with the library's 1st call failing, with its 2nd, and so on.
  void sweep(const Pieces& pieces, const std::function<int32_t()>& operation) {
    ASSERT_GT(pieces.count(), 0u);
    bool hasFailed = true;
    for (uint64_t n = 1; hasFailed; ++n) {
      int inBlocks = 0;
      SearchedStack stack;
      stack.run([&] {
        inBlocks = 0;
        spy.onFree = [&](const uint8_t* block, uint64_t size) {
          inBlocks += pieces.countInPlain(block, size);
        };
        failing_libgcrypt::failAt(n);
        const int32_t result = operation();
        hasFailed = failing_libgcrypt::hasFailed();
        failing_libgcrypt::neverFail();
        spy.onFree = nullptr;
        EXPECT_EQ(failed(result), hasFailed);
      });
      EXPECT_EQ(inBlocks, 0) << "in blocks, when call " << n << " failed";
      EXPECT_EQ(stack.count(pieces), 0) << "on the stack, when call " << n << " failed";
    }
  }

  // The large numbers of a private key in DER.
  Pieces piecesOf(const runtime::KeyObject& key) {
    Pieces pieces;
    const std::string_view der = privateBytes(key);
    runtime::RsaPrivateKey* numbers = nullptr;
    if (types.RsaPrivateKeyDecode(reinterpret_cast<const uint8_t*>(der.data()), der.size(),
                                  &numbers) == kOk) {
      pieces.add(numbers->privateExponent.bytes, numbers->privateExponent.length);
      pieces.add(numbers->prime1.bytes, numbers->prime1.length);
      types.RsaPrivateKeyRelease(numbers);
    } else {  // on a curve: behind the headers
      pieces.add(key.privateKey.bytes + 7, 32);
    }
    return pieces;
  }

  int32_t sign(const runtime::KeyObject* key) {
    OwnedCertificate made;
    EXPECT_EQ(velmora_certificate_create(made.put()), kOk);
    EXPECT_EQ(velmora_certificate_set_subject(made.get(), "CN=Jane"), kOk);
    EXPECT_EQ(velmora_certificate_set_validity(made.get(), "20240229T120000", "20501231T235959"),
              kOk);
    EXPECT_EQ(velmora_certificate_set_public_key(made.get(), &key->publicKey), kOk);
    return velmora_certificate_sign(made.get(), key, nullptr);
  }
};

TEST_F(FailureSecrets, OfSigning) {
  HeldKey rsa, curve;
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, rsa.put()), kOk);
  sweep(piecesOf(*rsa.get()), [&] { return sign(rsa.get()); });
  ASSERT_EQ(velmora_key_generate_ec("P-256", curve.put()), kOk);
  sweep(piecesOf(*curve.get()), [&] { return sign(curve.get()); });
}

TEST_F(FailureSecrets, OfReadingAKey) {
  for (const std::string_view der : {samples::kAesKey, samples::kTripleDesKey, samples::kLeafKey}) {
    const runtime::ByteBuffer buffer = bufferOf(der);
    HeldKey key;
    ASSERT_EQ(velmora_key_read(&buffer, "secret", key.put(), nullptr), kOk);
    sweep(piecesOf(*key.get()), [&] {
      HeldKey read;
      return velmora_key_read(&buffer, "secret", read.put(), nullptr);
    });
  }
}

TEST_F(FailureSecrets, OfFiles) {
  const HeldParameters made = parameters();
  made->iterations = 2;
  addRsaKey(made.get(), samples::kLeafKey, 1);
  addCertificate(made.get(), samples::kRoot);
  const HeldKey key = privateKey(samples::kLeafKey);
  const Pieces pieces = piecesOf(*key.get());
  String password("secret");
  HeldBuffer file;
  ASSERT_EQ(spy.pkcs12.Encode(made.get(), password.get(), file.put()), kOk);
  sweep(pieces, [&] {
    HeldBuffer again;
    return spy.pkcs12.Encode(made.get(), password.get(), again.put());
  });
  sweep(pieces, [&] {
    HeldBags bags;
    uint8_t verified = 0;
    return spy.pkcs12.Decode(file.get(), nullptr, password.get(), bags.put(), &verified);
  });
}

}  // namespace
}  // namespace vexa::test
