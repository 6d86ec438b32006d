#include <initializer_list>
#include <string>

#include "runtime/pkcs12/password_cipher.h"
#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/pkcs12/pfx_maker.h"
#include "runtime/samples.h"

// The files that are written, byte by byte: what is random is taken out of them.
namespace vexa::test {
namespace {

constexpr char kIterations[] = "02020800";  // 2048
constexpr char kRsa[] = "300b06092a864886f70d010101";

std::string textOf(velmora::ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The element at a place: its number on each level, from 0.
velmora::DerElement elementAt(velmora::ByteView bytes, std::initializer_list<int> place) {
  velmora::DerElement found{0, bytes, bytes};
  for (const int number : place) {
    velmora::DerReader level(found.content);
    for (int before = 0; before < number; ++before) {
      level.takeAny();
    }
    const auto next = level.takeAny();
    EXPECT_TRUE(next) << "on the way to element " << number;
    found = next.value_or(velmora::DerElement{});
  }
  return found;
}

class PfxEncoding : public PfxTest {
 protected:
  // An AlgorithmIdentifier of PKCS#12 whose salt is that of `algorithm`.
  static std::string schemeLike(const char* idHex, const velmora::DerElement& algorithm) {
    const std::string salt = textOf(elementAt(algorithm.content, {1, 0}).content);
    EXPECT_EQ(salt.size(), 8u);
    return element("30",
                   fromHex(idHex) + element("30", element("04", salt) + fromHex(kIterations)));
  }
  static std::string decrypted(const velmora::DerElement& algorithm, velmora::ByteView cipher) {
    velmora::DerivationBudget budget;
    velmora::Bytes plain;
    EXPECT_EQ(velmora::passwordDecrypt(algorithm.content, velmora::Password("secret"), cipher,
                                       budget, plain),
              kOk);
    return textOf(plain.view());
  }
  static std::string keyInfo(const std::string& key) {
    return element("30", fromHex("020100") + fromHex(kRsa) + element("04", key));
  }
};

TEST_F(PfxEncoding, AFileIsSafesAndAMacOverThem) {
  const HeldParameters made = parameters();
  runtime::SafeBag* const bag = addRsaKey(made.get(), "key", 0);
  setName(bag, "n");
  ASSERT_EQ(types.BufferFromHex("01", &bag->localKeyId), kOk);
  const std::string file = encode(made.get(), "secret");

  const std::string id = fromHex(kLocalKeyId) + element("31", fromHex("040101"));
  const std::string name = fromHex(kFriendlyName) + element("31", fromHex("1e02006e"));
  const std::string safes = element(
      "30", dataInfo(element(
                "30", element("30", fromHex(kKeyBagId) + element("a0", keyInfo("key")) +
                                        element("31", element("30", id) + element("30", name))))));
  const std::string salt = file.substr(file.size() - 12, 8);
  velmora::Bytes code;
  velmora::DerivationBudget budget;
  const velmora::Password secret("secret");
  ASSERT_EQ(velmora::passwordMac(*velmora::findMacDigest("SHA-1"),
                                 {secret.terminatedUtf16(), viewOf(salt), 2048}, viewOf(safes),
                                 budget, code),
            kOk);
  const std::string digestInfo =
      element("30", fromHex("300906052b0e03021a0500") + element("04", textOf(code.view())));
  const std::string mac = element("30", digestInfo + element("04", salt) + fromHex(kIterations));
  const std::string expected = element("30", fromHex("020103") + dataInfo(safes) + mac);
  EXPECT_EQ(toHex(file.data(), file.size()), toHex(expected.data(), expected.size()));
}

TEST_F(PfxEncoding, CertificatesStandInAnEncryptedSafe) {
  const HeldParameters made = parameters();
  addCertificate(made.get(), samples::kPlain);
  const std::string safes = safesOf(encode(made.get(), "secret"));

  const velmora::DerElement info = elementAt(viewOf(safes), {0, 0, 1, 0, 1});
  const velmora::DerElement algorithm = elementAt(info.content, {1});
  const velmora::ByteView cipher = elementAt(info.content, {2}).content;
  const std::string expectedInfo = element(
      "30", fromHex("06092a864886f70d010701") + schemeLike("060a2a864886f70d010c0101", algorithm) +
                element("80", textOf(cipher)));
  const std::string expected = element(
      "30", element("30", fromHex("06092a864886f70d010706") +
                              element("a0", element("30", fromHex("020100") + expectedInfo))));
  EXPECT_EQ(toHex(safes.data(), safes.size()), toHex(expected.data(), expected.size()));

  const std::string octets = element("04", std::string(samples::kPlain));
  const std::string value = element("30", fromHex(kX509) + element("a0", octets));
  const std::string bag = element("30", fromHex(kCertificateBagId) + element("a0", value));
  EXPECT_EQ(decrypted(algorithm, cipher), element("30", bag));
}

TEST_F(PfxEncoding, AShroudedKeyIsEncryptedByItself) {
  const HeldParameters made = parameters();
  addRsaKey(made.get(), "key", 1);
  const std::string safes = safesOf(encode(made.get(), "secret"));

  const velmora::DerElement contents = elementAt(viewOf(safes), {0, 0, 1, 0});
  const velmora::DerElement info = elementAt(contents.content, {0, 0, 1, 0});
  const velmora::DerElement algorithm = elementAt(info.content, {0});
  const velmora::ByteView cipher = elementAt(info.content, {1}).content;
  const std::string shrouded = element(
      "30", schemeLike("060a2a864886f70d010c0103", algorithm) + element("04", textOf(cipher)));
  const std::string bag = element("30", fromHex(kShroudedKeyBagId) + element("a0", shrouded));
  const std::string expected = element("30", dataInfo(element("30", bag)));
  EXPECT_EQ(toHex(safes.data(), safes.size()), toHex(expected.data(), expected.size()));
  EXPECT_EQ(decrypted(algorithm, cipher), keyInfo("key"));
}

// Each salt is made anew.
TEST_F(PfxEncoding, NoTwoFilesHaveASaltInCommon) {
  const HeldParameters made = parameters();
  made->iterations = 1;
  addCertificate(made.get(), samples::kPlain);
  const std::string one = encode(made.get(), "secret");
  const std::string other = encode(made.get(), "secret");
  const std::string safes = safesOf(one);
  const std::string otherSafes = safesOf(other);
  EXPECT_NE(textOf(elementAt(viewOf(safes), {0, 0, 1, 0, 1, 1, 1, 0}).content),
            textOf(elementAt(viewOf(otherSafes), {0, 0, 1, 0, 1, 1, 1, 0}).content));
  EXPECT_NE(textOf(elementAt(viewOf(one), {0, 2, 1}).content),
            textOf(elementAt(viewOf(other), {0, 2, 1}).content));
}

}  // namespace
}  // namespace vexa::test
