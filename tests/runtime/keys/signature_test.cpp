#include "runtime/keys/signature.h"

#include <vector>

#include "runtime/certificates/certificate.h"
#include "runtime/crypto_fixture.h"
#include "runtime/der/der_maker.h"
#include "runtime/keys/signing.h"
#include "runtime/samples.h"
#include "runtime/views.h"

// Signatures and keys of which one part is another than it should be.
namespace vexa::test {
namespace {

using velmora::ByteView;
using velmora::Verdict;

std::string textOf(ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// A self-signed certificate, whose signature or key can be another.
class SignatureTest : public CryptoTest {
 protected:
  void use(std::string_view der) {
    certificate_ = certificate(der);
    const velmora::CertificateObject& read = *velmora::implementationOf(certificate_.get());
    algorithm_ = read.signatureAlgorithm;
    data_ = read.signedPart;
    signature_ = textOf(read.signature);
    key_ = read.publicKey;
    keyBytes_ = textOf(velmora::bytesOf(key_));
  }
  void TearDown() override {
    certificate_.reset();
    CryptoTest::TearDown();
  }
  Verdict verify(const std::string& signature) {
    return velmora::verifySignature(algorithm_, data_, viewOf(signature), key_);
  }
  Verdict verifyWith(std::string keyBytes) {
    runtime::PublicKey key = key_;
    key.bytes = reinterpret_cast<uint8_t*>(keyBytes.data());
    key.bitLength = 8 * keyBytes.size();
    return velmora::verifySignature(algorithm_, data_, viewOf(signature_), key);
  }

  OwnedCertificate certificate_;
  velmora::AlgorithmView algorithm_;
  ByteView data_;
  std::string signature_;
  runtime::PublicKey key_{};
  std::string keyBytes_;
};

TEST_F(SignatureTest, OfRsaIsAsLongAsItsModulus) {
  use(samples::kRoot);
  EXPECT_EQ(verify(signature_), Verdict::kValid);
  EXPECT_EQ(verify(""), Verdict::kInvalid);
  EXPECT_EQ(verify(signature_ + '\0'), Verdict::kInvalid);
  EXPECT_EQ(verify('\0' + signature_), Verdict::kInvalid);
  EXPECT_EQ(verify(signature_.substr(1)), Verdict::kInvalid);
}

TEST_F(SignatureTest, OfRsaIsNotCheckedWithAKeyThatIsNone) {
  use(samples::kRoot);
  EXPECT_EQ(verifyWith(keyBytes_), Verdict::kValid);
  for (const std::string& bytes :
       {std::string("text"), element("30", ""), element("30", fromHex("020103")),
        element("30", fromHex("0201ff020103")), element("30", fromHex("0201030201ff")),
        element("30", fromHex("020103020103"))}) {
    EXPECT_EQ(verifyWith(bytes), Verdict::kUnsupported) << toHex(bytes.data(), bytes.size());
  }
}

TEST_F(SignatureTest, OnACurveIsTwoNumbersOfItsSize) {
  use(samples::kEc);
  EXPECT_EQ(verify(signature_), Verdict::kValid);
  const std::string one = fromHex("020101");
  const std::string largest = element("02", '\0' + std::string(32, '\xFF'));
  const std::string tooLong = element("02", '\1' + std::string(32, '\0'));
  for (const std::string& signature :
       {std::string(), element("30", ""), element("30", one), element("31", one + one),
        element("30", one + one + one), element("30", one + one), element("30", largest + one),
        element("30", tooLong + one), element("30", one + tooLong),
        element("30", fromHex("020100") + one), element("30", one + fromHex("020100")),
        element("30", fromHex("0201ff") + one), element("30", one + fromHex("0201ff")),
        element("30", fromHex("0200") + one), signature_ + '\0'}) {
    EXPECT_EQ(verify(signature), Verdict::kInvalid) << toHex(signature.data(), signature.size());
  }
}

TEST_F(SignatureTest, OnACurveIsNotCheckedWithAPointThatIsNone) {
  use(samples::kEc);
  EXPECT_EQ(verifyWith(keyBytes_), Verdict::kValid);
  std::string compressed = keyBytes_;
  compressed[0] = 2;
  for (const std::string& bytes : {std::string(), compressed, compressed.substr(0, 33),
                                   keyBytes_ + '\0', keyBytes_.substr(0, 64)}) {
    EXPECT_EQ(verifyWith(bytes), Verdict::kUnsupported) << toHex(bytes.data(), bytes.size());
  }
  std::string elsewhere = keyBytes_;
  elsewhere[64] = static_cast<char>(elsewhere[64] ^ 1);
  EXPECT_EQ(verifyWith(elsewhere), Verdict::kInvalid) << "not on the curve";
}

TEST_F(SignatureTest, IsNotCheckedWithoutAKindOfKey) {
  use(samples::kRoot);
  key_.algorithm.identifier = nullptr;
  EXPECT_EQ(verify(signature_), Verdict::kUnsupported);
  use(samples::kEc);
  key_.algorithm.parameters = {};
  EXPECT_EQ(verify(signature_), Verdict::kUnsupported) << "no curve";
  std::string unknown = fromHex("06052b81040023");
  unknown.back() = 0x21;
  key_.algorithm.parameters = bufferOf(unknown);
  EXPECT_EQ(verify(signature_), Verdict::kUnsupported) << "another curve";
}

// --- Keys that can sign ---

class SigningKey : public CryptoTest {
 protected:
  static bool canSign(std::string der) {
    runtime::PrivateKeyMaterial key{};
    key.bytes = reinterpret_cast<uint8_t*>(der.data());
    key.bitLength = 8 * der.size();
    return velmora::canSign(key);
  }
};

TEST_F(SigningKey, OfRsaHasPositiveNumbersAndASoundModulus) {
  const std::string sample(samples::kLeafKey);
  std::vector<std::string> numbers;
  velmora::DerReader integers(*velmora::derContent(viewOf(sample), velmora::kSequence));
  while (!integers.atEnd()) {
    numbers.push_back(textOf(integers.takeAny()->whole));
  }
  ASSERT_EQ(numbers.size(), 9u);
  const auto with = [&numbers](size_t at, const std::string& number) {
    std::string content;
    for (size_t i = 0; i < numbers.size(); ++i) {
      content += i == at ? number : numbers[i];
    }
    return element("30", content);
  };
  EXPECT_TRUE(canSign(with(0, numbers[0])));
  for (const size_t at : {1u, 2u, 3u}) {
    for (const char* const number : {"0201ff", "0200", "020100", ""}) {
      EXPECT_FALSE(canSign(with(at, fromHex(number)))) << at << " " << number;
    }
  }
  EXPECT_FALSE(canSign(with(1, fromHex("0203010001")))) << "a modulus that is too short";
  EXPECT_FALSE(canSign(with(2, fromHex("020102")))) << "an even exponent";
  EXPECT_FALSE(canSign(with(8, numbers[8] + numbers[8]))) << "a tenth number";
  EXPECT_FALSE(canSign(with(0, numbers[0]) + '\0'));
}

TEST_F(SigningKey, OnACurveIsNoLongerThanItsOrder) {
  const auto key = [](size_t length) {
    return element("30", fromHex("020101") + element("04", std::string(length, '\1')) +
                             element("a0", fromHex("06082a8648ce3d030107")));
  };
  EXPECT_TRUE(canSign(key(32)));
  EXPECT_TRUE(canSign(key(1)));
  EXPECT_FALSE(canSign(key(33)));
  EXPECT_FALSE(canSign(element("30", fromHex("020101") + element("04", "x")))) << "no curve";
  EXPECT_FALSE(canSign(element(
      "30", fromHex("020101") + element("04", "x") + element("a0", fromHex("06052b81040021")))))
      << "another curve";
}

// The curve stands in the key or beside it.
TEST_F(SigningKey, FindsItsCurveInItsAlgorithm) {
  HeldKey made;
  ASSERT_EQ(velmora_key_generate_ec("P-384", made.put()), kOk);
  std::string der(reinterpret_cast<const char*>(made->privateKey.bytes),
                  made->privateKey.bitLength / 8);
  const size_t curve = der.find(fromHex("a00706052b81040022"));
  ASSERT_NE(curve, std::string::npos);
  const std::string secret = der.substr(der.find("\x04\x30") + 2, 48);
  const std::string bare = element("30", fromHex("020101") + element("04", secret));
  runtime::PrivateKeyMaterial key = made->privateKey;
  key.bytes = reinterpret_cast<uint8_t*>(const_cast<char*>(bare.data()));
  key.bitLength = 8 * bare.size();
  EXPECT_TRUE(velmora::canSign(key));
  EXPECT_EQ(velmora::checkPair(key, made->publicKey), kOk);
  velmora::Bytes signature;
  EXPECT_EQ(velmora::signSha256(key, viewOf("x"), signature), kOk);
  key.bytes = nullptr;
  key.bitLength = 0;
  EXPECT_EQ(velmora::signSha256(key, viewOf("x"), signature), kInvalidArgument);
}

}  // namespace
}  // namespace vexa::test
