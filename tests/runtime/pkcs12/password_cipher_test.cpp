#include "runtime/pkcs12/password_cipher.h"

#include <gcrypt.h>

#include <string>

#include "runtime/der/der_maker.h"

namespace vexa::test {
namespace {

using velmora::Bytes;

// The parameters of PBES2 with AES-256, as a test wants them: DER elements in hexadecimal digits.
struct Pbes2 {
  std::string salt = "040873616c7473616c74";
  std::string iterations = "020102";
  std::string keyLength = "";
  std::string function = "";
  std::string more = "";
  std::string iv = "0410000102030405060708090a0b0c0d0e0f";
};

// PBES2 as RFC 8018 has it, over what OpenSSL encrypted with the keys of Python's PBKDF2.
class PasswordCipher : public CryptoTest {
 protected:
  struct Opened {
    int32_t result;
    std::string text;
  };

  static Opened open(const Pbes2& parameters, const char* cipherHex,
                     const char* password = "secret") {
    const std::string derivation = element(
        "30",
        fromHex("06092a864886f70d01050c") +
            element("30", fromHex(parameters.salt + parameters.iterations + parameters.keyLength +
                                  parameters.function + parameters.more)));
    const std::string encryption =
        element("30", fromHex("060960864801650304012a") + fromHex(parameters.iv));
    const ExactBytes algorithm(fromHex("06092a864886f70d01050d") +
                               element("30", derivation + encryption));
    const ExactBytes cipher(fromHex(cipherHex));
    velmora::DerivationBudget budget;
    Bytes out;
    const int32_t result =
        velmora::passwordDecrypt({algorithm.data(), algorithm.size()}, velmora::Password(password),
                                 {cipher.data(), cipher.size()}, budget, out);
    return {result, {reinterpret_cast<const char*>(out.data()), out.size()}};
  }

  static constexpr char kSha1Cipher[] = "6bb45c618cc0bee282fdb5d45f6b0511";
  static constexpr char kSha256Cipher[] = "67fc4cc8e8767e038ce77048b27aa321";
  // hmacWithSHA1, hmacWithSHA256, and one that nobody knows.
  static constexpr char kSha1[] = "300c06082a864886f70d02070500";
  static constexpr char kSha256[] = "300c06082a864886f70d02090500";
  static constexpr char kUnknown[] = "300c06082a864886f70d02010500";
};

// The content of an AlgorithmIdentifier with the identifiers of RFC 8017, B.1.
TEST_F(PasswordCipher, EachDigestOfAMacIsFoundByItsNameAndItsIdentifier) {
  struct Case {
    const char* name;
    const char* identifier;
    const char* shortName;
  };
  for (const Case& each : {Case{"SHA-1", "06052b0e03021a", "SHA1"},
                           Case{"SHA-224", "0609608648016503040204", "SHA224"},
                           Case{"SHA-256", "0609608648016503040201", "SHA256"},
                           Case{"SHA-384", "0609608648016503040202", "SHA384"},
                           Case{"SHA-512", "0609608648016503040203", "SHA512"}}) {
    const velmora::MacDigest* const digest = velmora::findMacDigest(each.name);
    ASSERT_NE(digest, nullptr) << each.name;
    EXPECT_EQ(digest->digest, gcry_md_map_name(each.shortName)) << each.name;
    const ExactBytes algorithm(fromHex(each.identifier));
    EXPECT_EQ(velmora::findMacDigestByAlgorithm({algorithm.data(), algorithm.size()}), digest);
  }
  EXPECT_EQ(velmora::findMacDigest("SHA-3"), nullptr);
}

TEST_F(PasswordCipher, ItsParametersSayHowTheKeyIsDerived) {
  struct Case {
    Pbes2 parameters;
    const char* cipher;
  };
  for (const Case& each :
       {Case{{}, kSha1Cipher}, Case{{.function = kSha1}, kSha1Cipher},
        Case{{.keyLength = "020120"}, kSha1Cipher}, Case{{.function = kSha256}, kSha256Cipher},
        Case{{.keyLength = "020120", .function = kSha256}, kSha256Cipher}}) {
    const Opened opened = open(each.parameters, each.cipher);
    EXPECT_EQ(opened.result, kOk) << each.cipher;
    EXPECT_EQ(opened.text, "a plain text");
  }
}

TEST_F(PasswordCipher, ParametersThatDoNotFitAreRefused) {
  for (const Pbes2& parameters :
       {Pbes2{.keyLength = "020110"}, Pbes2{.keyLength = "020100"}, Pbes2{.keyLength = "0200"},
        Pbes2{.more = "0500"}, Pbes2{.salt = "040873616c7473616c"}, Pbes2{.salt = ""},
        Pbes2{.iterations = ""}, Pbes2{.iterations = "0201ff"}, Pbes2{.function = "3000"},
        Pbes2{.iv = "040f000102030405060708090a0b0c0d0e"},
        Pbes2{.iv = "0411000102030405060708090a0b0c0d0e0f10"}, Pbes2{.iv = ""}}) {
    const Opened opened = open(parameters, kSha1Cipher);
    EXPECT_EQ(opened.result, kFail) << parameters.keyLength << parameters.iv;
    EXPECT_EQ(opened.text, "");
  }
  EXPECT_EQ(open({.function = kUnknown}, kSha1Cipher).result, kNotImplemented);
  EXPECT_EQ(open({.iterations = "020100"}, kSha1Cipher).result, kInvalidArgument);
}

TEST_F(PasswordCipher, AnotherPasswordOrCipherTextIsRefused) {
  EXPECT_EQ(open({}, kSha1Cipher, "Secret").result, kFail);
  EXPECT_EQ(open({.function = kSha256}, kSha1Cipher).result, kFail);
  EXPECT_EQ(open({}, "6bb45c618cc0bee282fdb5d45f6b05").result, kFail) << "no whole block";
  EXPECT_EQ(open({}, "").result, kFail);
}

TEST_F(PasswordCipher, PaddingIsOneToSixteenBytesOfItsLength) {
  const Opened whole = open({}, "8e2d3b3c24417f5813730002de58eaa99f342cc57928e92ac31259395a153528");
  EXPECT_EQ(whole.result, kOk) << "a block of padding";
  EXPECT_EQ(whole.text, std::string(16, 'x'));
  EXPECT_EQ(open({}, "f63f150bbee7b7cf40fc9d3fa81981cb2b4fa0395dd52e4d86c56e6504eb16c6").result,
            kFail)
      << "seventeen bytes of 17";
  EXPECT_EQ(open({}, "dc4a30f4d58f5a3bf2d46c503cd5c9b8").result, kFail) << "none";
}

}  // namespace
}  // namespace vexa::test
