#include <vector>

#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/pkcs12/pfx_maker.h"
#include "runtime/samples.h"

// Bags of which one part is another than it should be, below a MAC that fits.
namespace vexa::test {
namespace {

constexpr char kRsa[] = "300d06092a864886f70d0101010500";

class PfxBags : public PfxTest {
 protected:
  Opened openBag(const char* idHex, const std::string& value, const std::string& attributes = {}) {
    return open(pfxOfBags(bagOf(idHex, value, attributes)));
  }
  void expectRefused(const char* idHex, const std::vector<std::string>& values) {
    for (const std::string& value : values) {
      const Opened opened = openBag(idHex, value);
      EXPECT_EQ(opened.result, kFail) << toHex(value.data(), value.size());
      EXPECT_EQ(opened.bags.get(), nullptr);
    }
  }
};

// RFC 5958: the attributes and the public key behind the private one are left where they are.
TEST_F(PfxBags, AKeyHasAVersionAnAlgorithmAndBytes) {
  const std::string start = fromHex("020100") + fromHex(kRsa);
  const std::string key = element("04", "key");
  const std::string attributes = fromHex("a000");
  const std::string publicKey = fromHex("81020001");
  Owned<runtime::ObjectId> rsa;
  ASSERT_EQ(types.ObjectIdFromText("1.2.840.113549.1.1.1", rsa.put()), kOk);
  for (const std::string& more : {std::string(), attributes, publicKey, attributes + publicKey}) {
    const Opened opened = openBag(kKeyBagId, element("30", start + key + more));
    ASSERT_EQ(opened.result, kOk) << toHex(more.data(), more.size());
    ASSERT_EQ(opened.count(), 1);
    const runtime::SafeBag& bag = *opened.bags->bag;
    EXPECT_EQ(bag.type, runtime::kKeyBag);
    EXPECT_EQ(bag.shrouded, 0);
    EXPECT_EQ(types.ObjectIdCompare(bag.key->algorithm.identifier, rsa.get()), 0);
    EXPECT_EQ(bytesOf(&bag.key->algorithm.parameters), fromHex("0500"));
    EXPECT_EQ(bytesOf(&bag.key->key), "key");
  }
  expectRefused(
      kKeyBagId,
      {element("30", ""), element("31", start + key), element("30", start),
       element("30", fromHex(kRsa) + key), element("30", fromHex("020100") + key),
       element("30", fromHex("0201003000") + key), element("30", start + "\x0c\x01k"),
       element("30", start + key + publicKey + attributes),
       element("30", start + key + attributes + attributes),
       element("30", start + key + fromHex("0500")), element("30", start + key + fromHex("8000")),
       element("30", start + key) + fromHex("0500")});
}

TEST_F(PfxBags, AShroudedKeyHasAnAlgorithmAndBytes) {
  const std::string unknown = fromHex("300406022a03");
  EXPECT_EQ(openBag(kShroudedKeyBagId, element("30", unknown + element("04", "x"))).result,
            kNotImplemented);
  expectRefused(kShroudedKeyBagId,
                {element("30", ""), element("30", unknown), element("30", element("04", "x")),
                 element("31", unknown + element("04", "x")),
                 element("30", unknown + element("04", "x") + fromHex("0500")),
                 element("30", fromHex("3000") + element("04", "x"))});
}

TEST_F(PfxBags, ACertificateIsReadWhereItIsAnX509One) {
  const std::string octets = element("04", std::string(samples::kPlain));
  const Opened opened =
      openBag(kCertificateBagId, element("30", fromHex(kX509) + element("a0", octets)));
  ASSERT_EQ(opened.result, kOk);
  ASSERT_EQ(opened.count(), 1);
  const OwnedCertificate plain = certificate(samples::kPlain);
  EXPECT_EQ(types.CertificateCompare(opened.bags->bag->certificate, plain.get()), 0);
  const Opened other =
      openBag(kCertificateBagId, element("30", fromHex(kSdsi) + element("a0", octets)));
  EXPECT_EQ(other.result, kOk);
  EXPECT_EQ(other.count(), 0) << "a kind that is passed over";
  expectRefused(
      kCertificateBagId,
      {element("30", ""), element("30", fromHex(kX509)), element("30", element("a0", octets)),
       element("31", fromHex(kX509) + element("a0", octets)),
       element("30", fromHex(kX509) + element("a1", octets)),
       element("30", fromHex(kX509) + element("a0", octets) + fromHex("0500")),
       element("30", fromHex(kX509) + element("a0", "")),
       element("30", fromHex(kX509) + element("a0", fromHex("0c0178"))),
       element("30", fromHex(kX509) + element("a0", octets + fromHex("0500"))),
       element("30", fromHex(kX509) + element("a0", element("04", fromHex("3000"))))});
}

TEST_F(PfxBags, OfOtherKindsArePassedOver) {
  const Opened opened = openBag(kCrlBagId, fromHex("0500"));
  EXPECT_EQ(opened.result, kOk);
  EXPECT_EQ(opened.count(), 0);
}

TEST_F(PfxBags, AttributesAreIdsAndValues) {
  const std::string value = x509Value(samples::kPlain);
  const auto withAttributes = [&](const std::string& attributes) {
    return openBag(kCertificateBagId, value, element("31", attributes));
  };
  const auto attribute = [](const char* idHex, const char* valuesHex) {
    return element("30", fromHex(idHex) + element("31", fromHex(valuesHex)));
  };
  const Opened both =
      withAttributes(attribute(kLocalKeyId, "04020102") + attribute("06022a03", "0500") +
                     attribute(kFriendlyName, "1e040041d83d"));
  ASSERT_EQ(both.result, kOk);
  EXPECT_EQ(bytesOf(both.bags->bag->localKeyId), "\x01\x02");
  EXPECT_EQ(both.bags->bag->friendlyName->length, 4u) << "half a pair is replaced";
  const Opened twice =
      withAttributes(attribute(kFriendlyName, "1e020041") + attribute(kFriendlyName, "1e020042") +
                     attribute(kLocalKeyId, "040101") + attribute(kLocalKeyId, "040102"));
  ASSERT_EQ(twice.result, kOk);
  EXPECT_EQ(*twice.bags->bag->friendlyName->text, 'A');
  EXPECT_EQ(bytesOf(twice.bags->bag->localKeyId), "\x01");
  for (const char* const values : {"", "0c0141", "0500"}) {
    const Opened none =
        withAttributes(attribute(kFriendlyName, values) + attribute(kLocalKeyId, values));
    EXPECT_EQ(none.result, kOk) << values;
    EXPECT_EQ(none.bags->bag->friendlyName, nullptr) << values;
    EXPECT_EQ(none.bags->bag->localKeyId, nullptr) << values;
  }
  for (const std::string& attributes :
       {fromHex("0500"), element("30", ""), element("30", fromHex(kLocalKeyId)),
        element("30", element("31", "")), element("31", fromHex(kLocalKeyId) + element("31", "")),
        element("30", fromHex(kLocalKeyId) + element("30", fromHex("040101"))),
        element("30", fromHex(kLocalKeyId) + element("31", fromHex("040101")) + fromHex("0500"))}) {
    EXPECT_EQ(withAttributes(attributes).result, kFail)
        << toHex(attributes.data(), attributes.size());
  }
}

}  // namespace
}  // namespace vexa::test
