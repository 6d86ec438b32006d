#include <functional>

#include "runtime/keys/failing_libgcrypt.h"
#include "runtime/keys/sample_keys.h"
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
    bool hasFailed = true;
    for (uint64_t n = 1; hasFailed; ++n) {
      expectNothingLeft(spy, pieces, "when call " + std::to_string(n) + " failed", [&] {
        failing_libgcrypt::failAt(n);
        const int32_t result = operation();
        hasFailed = failing_libgcrypt::hasFailed();
        failing_libgcrypt::neverFail();
        EXPECT_EQ(failed(result), hasFailed);
      });
    }
  }

  static int32_t sign(const runtime::KeyObject* key) {
    const OwnedCertificate made = draft("CN=Jane", &key->publicKey);
    return velmora_certificate_sign(made.get(), key, nullptr);
  }
};

TEST_F(FailureSecrets, OfSigning) {
  HeldKey rsa, curve;
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, rsa.put()), kOk);
  sweep(keyPieces(*rsa.get()), [&] { return sign(rsa.get()); });
  ASSERT_EQ(velmora_key_generate_ec("P-256", curve.put()), kOk);
  sweep(keyPieces(*curve.get()), [&] { return sign(curve.get()); });
}

TEST_F(FailureSecrets, OfReadingAKey) {
  sweepReadingOfKeys([this](const auto&... of) { sweep(of...); });
}

TEST_F(FailureSecrets, OfFiles) {
  const HeldParameters made = parameters();
  made->iterations = 2;
  addRsaKey(made.get(), samples::kLeafKey, 1);
  addCertificate(made.get(), samples::kRoot);
  const Pieces pieces = keyPieces(samples::kLeafKey);
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
