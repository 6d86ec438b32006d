#include <functional>

#include "base/holders.h"
#include "capi/key_blob.h"
#include "pkcs12/pkcs12.h"
#include "runtime/keys/repeated_key.h"
#include "runtime/keys/sample_keys.h"
#include "runtime/keys/searched_stack.h"
#include "runtime/pkcs12/password_derivation.h"
#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/samples.h"
#include "scrambler/scrambler.h"
#include "support/allocation_gate.h"
#include "vexa/module.h"

// Whether an operation that runs out of memory leaves something of a secret: in a block that it
// gives back, or on the stack that it ran on.
extern "C" {
int32_t module_init(const vexa::runtime::RootList* root, vexa::GetModuleInterfaceFunction* lookup);
int32_t module_final();
}

namespace vexa::test {
namespace {

constexpr char kPassword[] = "a password that is long enough to be found in pieces";

class ShortageSecrets : public PfxTest {
 protected:
  void TearDown() override {
    repeated_key::forget();
    PfxTest::TearDown();
  }

  // Runs `operation` with its 1st allocation failing, then with its 2nd, and so on, alone and
  // together with all that follow, until it needs no more.
  void sweep(const Pieces& pieces, const std::function<int32_t()>& operation) {
    uint64_t refused = 1;
    for (uint64_t n = 1; refused != 0; ++n) {
      for (const bool andAllAfter : {false, true}) {
        const std::string when = "when allocation " + std::to_string(n) + " failed";
        expectNothingLeft(spy, pieces, when, [&] {
          allocation_gate::failAt(n, andAllAfter);
          const int32_t result = operation();
          refused = allocation_gate::refused();
          allocation_gate::neverFail();
          EXPECT_TRUE(refused != 0 || result == kOk) << "with memory that suffices";
        });
      }
    }
  }

  // As it was given, and as the derivation of keys takes it.
  static void addPassword(Pieces& pieces) {
    const velmora::Password password(kPassword);
    pieces.add(password.utf8().data(), password.utf8().size(), 0);
    pieces.add(password.terminatedUtf16().data(), password.terminatedUtf16().size(), 0);
  }

  int32_t sign(const runtime::KeyObject* key) {
    OwnedCertificate made;
    int32_t result = velmora_certificate_create(made.put());
    if (!failed(result)) {
      result = velmora_certificate_set_subject(made.get(), "CN=x");
    }
    if (!failed(result)) {
      result = velmora_certificate_set_validity(made.get(), "20240101T000000", "20250101T000000");
    }
    if (!failed(result)) {
      result = velmora_certificate_set_public_key(made.get(), &key->publicKey);
    }
    return failed(result) ? result : velmora_certificate_sign(made.get(), key, nullptr);
  }
};

TEST_F(ShortageSecrets, OfANewRsaKey) {
  const auto generate = [](HeldKey& key) {
    return velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, key.put());
  };
  HeldKey key;
  ASSERT_EQ(generate(key), kOk);
  sweep(keyPieces(*key.get()), [&] {
    HeldKey made;
    const int32_t result = generate(made);
    EXPECT_TRUE(failed(result) || privateBytes(*made.get()) == privateBytes(*key.get()));
    return result;
  });
}

TEST_F(ShortageSecrets, OfANewKeyOnACurve) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_ec("P-256", key.put()), kOk);
  sweep(keyPieces(*key.get()), [&] {
    HeldKey made;
    const int32_t result = velmora_key_generate_ec("P-256", made.put());
    EXPECT_TRUE(failed(result) || privateBytes(*made.get()) == privateBytes(*key.get()));
    return result;
  });
}

class ShortageSecretsOfFiles : public ShortageSecrets {
 protected:
  // With two keys.
  void SetUp() override {
    made_ = parameters();
    made_->iterations = 2;
    addRsaKey(made_.get(), samples::kLeafKey, 1);
    addRsaKey(made_.get(), samples::kLeafKey, 1);
    addCertificate(made_.get(), samples::kRoot);
    pieces_ = keyPieces(samples::kLeafKey);
    addPassword(pieces_);
  }
  void TearDown() override {
    made_.reset();
    ShortageSecrets::TearDown();
  }

  int32_t write(String& password, HeldBuffer& file) {
    return spy.pkcs12.Encode(made_.get(), password.get(), file.put());
  }

  Pieces pieces_;
  HeldParameters made_;
};

TEST_F(ShortageSecretsOfFiles, OfWritingOne) {
  String password(kPassword);
  sweep(pieces_, [&] {
    HeldBuffer file;
    return write(password, file);
  });
}

TEST_F(ShortageSecretsOfFiles, OfOpeningOne) {
  String password(kPassword);
  HeldBuffer file;
  ASSERT_EQ(write(password, file), kOk);
  sweep(pieces_, [&] {
    HeldBags bags;
    uint8_t verified = 0;
    return spy.pkcs12.Decode(file.get(), nullptr, password.get(), bags.put(), &verified);
  });
}

TEST_F(ShortageSecrets, OfReadingAKey) {
  sweepReadingOfKeys([this](const auto&... of) { sweep(of...); });
}

TEST_F(ShortageSecrets, OfSigning) {
  HeldKey rsa, curve;
  ASSERT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, rsa.put()), kOk);
  sweep(keyPieces(*rsa.get()), [&] { return sign(rsa.get()); });
  repeated_key::forget();
  ASSERT_EQ(velmora_key_generate_ec("P-256", curve.put()), kOk);
  sweep(keyPieces(*curve.get()), [&] { return sign(curve.get()); });
}

// The module above the runtime.
class ShortageSecretsOfTheModule : public ShortageSecrets {
 protected:
  void SetUp() override {
    GetModuleInterfaceFunction lookup = nullptr;
    ASSERT_EQ(module_init(&spy.root, &lookup), kOk);
  }
  void TearDown() override {
    EXPECT_EQ(module_final(), kOk);
    ShortageSecrets::TearDown();
  }

  // A key pair that a file can be made of.
  HeldKey leafKey() {
    const runtime::ByteBuffer der = bufferOf(samples::kLeafKey);
    HeldKey key;
    EXPECT_EQ(velmora_key_read(&der, nullptr, key.put(), nullptr), kOk);
    return key;
  }

  // Few iterations, for speed.
  void writeQuickly() {
    static const auto encode = spy.pkcs12.Encode;
    spy.pkcs12.Encode = [](const runtime::PfxParameters* parameters,
                           const runtime::StringObject* password, runtime::ByteBuffer** out) {
      const_cast<runtime::PfxParameters*>(parameters)->iterations = 2;
      return encode(parameters, password, out);
    };
  }
};

TEST_F(ShortageSecretsOfTheModule, OfFiles) {
  writeQuickly();
  const HeldKey key = leafKey();
  const OwnedCertificate leaf = certificate(samples::kLeaf);
  const runtime::CertificateList chain{leaf.get(), nullptr, 1};
  Pieces pieces = keyPieces(samples::kLeafKey);
  addPassword(pieces);
  String name("Jane");
  String password(kPassword);
  HeldBuffer file;
  ASSERT_EQ(pkcs12::aux_create_pkcs12(name.get(), key.get(), &chain, password.get(), file.put()),
            kOk);
  sweep(pieces, [&] {
    HeldBuffer made;
    return pkcs12::aux_create_pkcs12(name.get(), key.get(), &chain, password.get(), made.put());
  });
  sweep(pieces, [&] {
    HeldKey opened;
    runtime::CertificateList* certificates = nullptr;
    const int32_t result =
        pkcs12::aux_open_pkcs12(file.get(), password.get(), opened.put(), &certificates);
    types.CertificateListRelease(certificates);
    return result;
  });
}

TEST_F(ShortageSecretsOfTheModule, OfAKeyBlob) {
  sweep(keyPieces(samples::kLeafKey), [&] {
    runtime::RsaPrivateKey* key = nullptr;
    int32_t result = types.RsaPrivateKeyDecode(
        reinterpret_cast<const uint8_t*>(samples::kLeafKey.data()), samples::kLeafKey.size(), &key);
    if (!failed(result)) {
      // As the module's caller releases it.
      const base::SecretBuffer blob(
          capi::aux_convert_RSAPrivateKey_to_PVKBLOB(key, capi::kKeySpecExchange));
      result = blob ? kOk : kOutOfMemory;
    }
    types.RsaPrivateKeyRelease(key);
    return result;
  });
}

constexpr char16_t kText[] = u"a text of several blocks that nobody else may read";
constexpr std::string_view kScramblerKey = "a key of exactly 32 bytes, so it";

// A text through a scrambler, whose key goes to another one; the text that the caller gets back is
// the caller's to wipe.
int32_t passThroughScramblers(uint32_t mode) {
  constexpr uint32_t kAes256 = 12;
  InterfaceHolder<IScrambler> first, second;
  HeldBuffer hidden;
  char16_t* back = nullptr;
  int32_t result = scrambler::CreateScramblerEx(kAes256, mode, 0, first.put());
  if (!failed(result)) {
    result = scrambler::CreateScramblerEx(kAes256, mode, 0, second.put());
  }
  if (!failed(result)) {
    result = first->CopyKeyTo(second.get());
  }
  if (!failed(result)) {
    result = first->ScrambleString(kText, hidden.put());
  }
  if (!failed(result)) {
    result = first->UnscrambleString(hidden.get(), &back);
  }
  if (back != nullptr) {
    velmora::wipe(back, sizeof(kText));
    SpyRuntime::current().root.Free(back);
  }
  return result;
}

TEST_F(ShortageSecretsOfTheModule, OfScramblers) {
  static const auto generate = spy.crypt.GenerateKey;
  spy.crypt.GenerateKey = [](const runtime::CipherItem* parameters, runtime::CipherItem* out,
                             uint32_t algorithm) {
    const int32_t result = generate(parameters, out, algorithm);
    if (!failed(result)) {
      auto* const key = static_cast<runtime::SymmetricKey*>(out->value);
      std::copy(kScramblerKey.begin(), kScramblerKey.end(), key->table->GetBytes(key));
    }
    return result;
  };
  Pieces pieces;
  pieces.add(reinterpret_cast<const uint8_t*>(kScramblerKey.data()), kScramblerKey.size(), 0);
  pieces.add(reinterpret_cast<const uint8_t*>(kText), sizeof(kText), 0);
  for (const uint32_t mode : {kScramblePlain, kScrambleChained, kScrambleFeedback}) {
    sweep(pieces, [mode] { return passThroughScramblers(mode); });
  }
}

}  // namespace
}  // namespace vexa::test
