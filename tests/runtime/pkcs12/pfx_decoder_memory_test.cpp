#include <string>

#include "runtime/certificates/certificate_maker.h"
#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/pkcs12/pfx_maker.h"
#include "runtime/samples.h"

// How much memory PKCS#12 files take that were made to take much.
namespace vexa::test {
namespace {

constexpr size_t kSize = 1 << 18;
constexpr char kKeyBagId[] = "060b2a864886f70d010c0a0101";
constexpr char kCertificateBagId[] = "060b2a864886f70d010c0a0103";
constexpr char kCrlBagId[] = "060b2a864886f70d010c0a0104";
constexpr char kNestedBagId[] = "060b2a864886f70d010c0a0106";

std::string bag(const char* idHex, const std::string& value, const std::string& attributes = {}) {
  return element("30", fromHex(idHex) + element("a0", value) + attributes);
}
std::string keyBag(const std::string& key, const std::string& attributes = {}) {
  return bag(kKeyBagId, element("30", fromHex("020100300306012a") + element("04", key)),
             attributes);
}
std::string certificateBag(const CertificateFields& fields) {
  return bag(kCertificateBagId,
             element("30", fromHex("060a2a864886f70d01091601") +
                               element("a0", element("04", fields.certificate()))));
}

class PfxMemory : public PfxTest {
 protected:
  void expectBounded(const std::string& pfx, int count) {
    const int64_t before = spy.liveBytes();
    spy.forgetMostBytes();
    const Opened opened = open(pfx);
    EXPECT_EQ(opened.result, kOk);
    EXPECT_EQ(opened.count(), count);
    EXPECT_LE(spy.mostBytes() - before, static_cast<int64_t>(pfx.size()) * 24 + 4096);
  }
  void expectBoundedSafes(const std::string& safes, int count) {
    expectBounded(pfxOver(element("30", safes), "secret"), count);
  }
  void expectBoundedBags(const std::string& bags, int count) {
    expectBoundedSafes(dataInfo(element("30", bags)), count);
  }
  void expectManyBounded(const std::string& bag) {
    expectBoundedBags(asManyOf(bag, kSize), static_cast<int>(kSize / bag.size()));
  }
};

TEST_F(PfxMemory, OfOneLargeBagIsAMultipleOfTheFile) {
  expectBoundedBags(bag(kCrlBagId, element("04", std::string(kSize, 'x'))), 0);
  expectBoundedBags(keyBag(std::string(kSize, 'x')), 1);
  CertificateFields purposes = smallestFields();
  purposes.extensions = manyPurposes(kSize);
  expectBoundedBags(certificateBag(purposes), 1);
}

TEST_F(PfxMemory, OfManySmallBagsIsAMultipleOfTheFile) {
  const auto attribute = [](const char* idHex, const char* valuesHex) {
    return element("30", fromHex(idHex) + element("31", fromHex(valuesHex)));
  };
  const std::string name = attribute("06092a864886f70d010914", "1e020041");
  const std::string id = attribute("06092a864886f70d010915", "040101");
  expectManyBounded(keyBag(""));
  expectManyBounded(keyBag("k", element("31", name + id)));
  expectManyBounded(certificateBag(smallestFields()));
  expectBoundedBags(asManyOf(bag(kCrlBagId, ""), kSize), 0);
  expectBoundedBags(keyBag("k", element("31", asManyOf(name, kSize))), 1);
}

TEST_F(PfxMemory, OfManySafesIsAMultipleOfTheFile) {
  const std::string safe = dataInfo(element("30", keyBag("")));
  expectBoundedSafes(asManyOf(safe, kSize), static_cast<int>(kSize / safe.size()));
  const std::string key = keyBag("");
  std::string nested = asManyOf(key, kSize);
  for (int level = 0; level < 8; ++level) {
    nested = bag(kNestedBagId, element("30", nested));
  }
  expectBoundedBags(nested, static_cast<int>(kSize / key.size()));
}

TEST_F(PfxMemory, OfEncryptedBagsIsAMultipleOfTheFile) {
  const HeldParameters made = parameters();
  made->iterations = 1;
  addRsaKey(made.get(), std::string(kSize, 'x'), 1);
  CertificateFields purposes = smallestFields();
  purposes.extensions = manyPurposes(kSize);
  addCertificate(made.get(), purposes.certificate());
  String password("secret");
  HeldBuffer file;
  ASSERT_EQ(spy.pkcs12.Encode(made.get(), password.get(), file.put()), kOk);
  expectBounded(bytesOf(file.get()), 2);
}

}  // namespace
}  // namespace vexa::test
