#include "runtime/pse/bag_matching.h"

#include <array>

#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/samples.h"

namespace vexa::test {
namespace {

using velmora::CertificateIndex;
using velmora::KeyIndex;

class BagMatching : public PfxTest {
 protected:
  void TearDown() override {
    file_.reset();
    PfxTest::TearDown();
  }

  static HeldKey rsaKey() {
    HeldKey key;
    EXPECT_EQ(velmora_key_generate_weak_rsa(1024, kVelmoraShortKey, key.put()), kOk);
    return key;
  }
  static HeldKey curveKey() {
    HeldKey key;
    EXPECT_EQ(velmora_key_generate_ec("P-256", key.put()), kOk);
    return key;
  }

  // A certificate for `key`, of an authority; its own, when there is no issuer.
  static OwnedCertificate certify(const char* subject, const HeldKey& key,
                                  const HeldKey* issuerKey = nullptr,
                                  runtime::Certificate* issuer = nullptr) {
    OwnedCertificate made = draft(subject, &key->publicKey);
    EXPECT_EQ(velmora_certificate_set_basic_constraints(made.get(), 1, -1), kOk);
    EXPECT_EQ(velmora_certificate_sign(made.get(),
                                       issuerKey != nullptr ? issuerKey->get() : key.get(), issuer),
              kOk);
    return made;
  }

  runtime::SafeBag* add(runtime::Certificate* certificate) {
    return addCertificate(file_.get(), bytesOf(certificate->table->GetEncoding(certificate)));
  }
  runtime::SafeBag* add(const HeldKey& key) {
    return addPrivateKey(file_.get(), privateBytes(*key.get()), 0);
  }
  void setId(runtime::SafeBag* bag, const char* hex) {
    EXPECT_EQ(types.BufferFromHex(hex, &bag->localKeyId), kOk);
  }
  const runtime::BagNode* bags() const { return file_->contents; }

  HeldParameters file_ = parameters();
};

TEST_F(BagMatching, AKeyIsFoundByTheNumbersOfItsCertificateInAnyOrder) {
  constexpr size_t kKeys = 4;
  std::array<HeldKey, kKeys> keys;
  std::array<runtime::SafeBag*, kKeys> certificates{};
  for (size_t i = 0; i < kKeys; ++i) {
    keys[i] = rsaKey();
    add(keys[i]);
    certificates[i] = add(certify("CN=Jane", keys[i]).get());
  }
  const runtime::SafeBag* const stranger = add(certify("CN=Jane", rsaKey()).get());
  const KeyIndex index(bags());
  for (const runtime::SafeBag* const bag : certificates) {
    EXPECT_TRUE(index.hasKeyOf(*bag));
  }
  EXPECT_FALSE(index.hasKeyOf(*stranger));
}

TEST_F(BagMatching, AKeyOfAnotherKindIsFoundByItsLocalId) {
  constexpr const char* kIds[] = {"63", "61", "6263", "62", "6161"};
  for (const char* const id : kIds) {
    setId(add(curveKey()), id);
  }
  runtime::SafeBag* const certificate = add(certify("CN=Jane", curveKey()).get());
  const KeyIndex index(bags());
  EXPECT_FALSE(index.hasKeyOf(*certificate)) << "without an id";
  for (const char* const id : kIds) {
    setId(certificate, id);
    EXPECT_TRUE(index.hasKeyOf(*certificate)) << id;
  }
  for (const char* const id : {"", "60", "6162", "64"}) {
    setId(certificate, id);
    EXPECT_FALSE(index.hasKeyOf(*certificate)) << id;
  }
}

TEST_F(BagMatching, TheIssuerHasTheNameAndTheKeyThatSigned) {
  const HeldKey rootKey = curveKey();
  const HeldKey key = curveKey();
  const OwnedCertificate root = certify("CN=Root", rootKey);
  const OwnedCertificate child = certify("CN=Child", key, &rootKey, root.get());
  const runtime::SafeBag* const childBag = add(child.get());
  for (const char* const name : {"CN=Zoe", "CN=Anna", "CN=Root,O=x", "CN=Child"}) {
    add(certify(name, curveKey()).get());
  }
  const runtime::SafeBag* const rootBag = add(root.get());
  const CertificateIndex index(bags());
  EXPECT_EQ(index.issuerOf(childBag->certificate), rootBag->certificate);
  EXPECT_EQ(index.issuerOf(rootBag->certificate), nullptr) << "it is its own";
}

TEST_F(BagMatching, NamesDecideWhereTheSignatureCannotBeChecked) {
  std::string der(samples::kLeaf);
  const std::string known = fromHex("2a864886f70d01010b");
  for (size_t at = der.find(known); at != std::string::npos; at = der.find(known, at)) {
    der[at + known.size() - 1] = 0x7F;
  }
  const runtime::SafeBag* const root = addCertificate(file_.get(), samples::kRoot);
  const OwnedCertificate child = certificate(der);
  EXPECT_EQ(CertificateIndex(bags()).issuerOf(child.get()), root->certificate);
}

// Each costs a check of a signature; the first ones in the file are tried.
TEST_F(BagMatching, OfIssuersWithOneNameFourAreTried) {
  constexpr size_t kIssuers = 5;
  std::array<HeldKey, kIssuers> keys;
  std::array<OwnedCertificate, kIssuers> issuers;
  std::array<const runtime::SafeBag*, kIssuers> issuerBags{};
  for (size_t i = 0; i < kIssuers; ++i) {
    keys[i] = curveKey();
    issuers[i] = certify("CN=Root", keys[i]);
    issuerBags[i] = add(issuers[i].get());
  }
  const HeldKey key = curveKey();
  const CertificateIndex index(bags());
  for (size_t i = 0; i < kIssuers; ++i) {
    const OwnedCertificate child = certify("CN=Child", key, &keys[i], issuers[i].get());
    EXPECT_EQ(index.issuerOf(child.get()), i < 4 ? issuerBags[i]->certificate : nullptr) << i;
  }
}

// An authority's new key, certified with the old one: both have the same name.
TEST_F(BagMatching, ACertificateIsNotTriedAsItsOwnIssuer) {
  const HeldKey oldKey = curveKey();
  const HeldKey newKey = curveKey();
  const OwnedCertificate old = certify("CN=Root", oldKey);
  const OwnedCertificate renewed = certify("CN=Root", newKey, &oldKey, old.get());
  const runtime::SafeBag* const renewedBag = add(renewed.get());
  for (int i = 0; i < 3; ++i) {
    add(certify("CN=Root", curveKey()).get());
  }
  const runtime::SafeBag* const oldBag = add(old.get());
  EXPECT_EQ(CertificateIndex(bags()).issuerOf(renewedBag->certificate), oldBag->certificate);
}

}  // namespace
}  // namespace vexa::test
