#include "runtime/pkcs12/password_cipher.h"

#include <gcrypt.h>

#include <string>

#include "runtime/der/der_maker.h"
#include "runtime/pkcs12/password_mac.h"
#include "runtime/pkcs12/pfx_maker.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using velmora::Bytes;

// RFC 7292, appendix C.
constexpr const char* kSchemes[] = {
    "pbeWithSHA1And128BitRC4",          "pbeWithSHA1And40BitRC4",
    "pbeWithSHA1And3-KeyTripleDES-CBC", "pbeWithSHA1And2-KeyTripleDES-CBC",
    "pbeWithSHA1And128BitRC2-CBC",      "pbeWithSHA1And40BitRC2-CBC"};

// The parameters of PBES2, with AES-256 where nothing else is said, as a test wants them: DER
// elements in hexadecimal digits.
struct Pbes2 {
  std::string salt = "040873616c7473616c74";
  std::string iterations = "020102";
  std::string keyLength = "";
  std::string function = "";
  std::string more = "";
  std::string iv = "0410000102030405060708090a0b0c0d0e0f";
  std::string cipher = "060960864801650304012a";
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
        element("30", fromHex(parameters.cipher) + fromHex(parameters.iv));
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

// AES-128, AES-192 and triple DES; HMAC with SHA-224, SHA-384 and SHA-512.
TEST_F(PasswordCipher, EachCipherAndEachFunctionIsKnown) {
  struct Case {
    Pbes2 parameters;
    const char* cipher;
  };
  for (const Case& each :
       {Case{{.cipher = "0609608648016503040102"}, "89262bfa3a29833d072c2337945cef16"},
        Case{{.cipher = "0609608648016503040116"}, "50500ee55b6518044b9453f1b6b10b71"},
        Case{{.iv = "04080001020304050607", .cipher = "06082a864886f70d0307"},
             "5dcf495b8c123e1b89ebe9b21f4e1374"},
        Case{{.function = "300c06082a864886f70d02080500"}, "779850dbf12a4b052a97a9a681697025"},
        Case{{.function = "300c06082a864886f70d020a0500"}, "be702a3a31cde52f757caa2450218709"},
        Case{{.function = "300c06082a864886f70d020b0500"}, "066b09914e765166b997d4712d43bcb9"}}) {
    const Opened opened = open(each.parameters, each.cipher);
    EXPECT_EQ(opened.result, kOk) << each.cipher;
    EXPECT_EQ(opened.text, "a plain text");
  }
  EXPECT_EQ(open({.cipher = "06032a0304"}, kSha1Cipher).result, kNotImplemented);
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

TEST_F(PasswordCipher, ATextOfAnyLengthIsReadBack) {
  const velmora::Password password("secret");
  for (const char* const name : kSchemes) {
    for (size_t length = 0; length <= 17; ++length) {
      const std::string plain(length, 'x');
      velmora::DerivationBudget budget;
      Bytes algorithm, cipher, out;
      velmora::DerWriter writer(algorithm);
      ASSERT_EQ(velmora::passwordEncrypt(*velmora::findPasswordScheme(name), password, 2,
                                         viewOf(plain), budget, writer, cipher),
                kOk);
      const bool isStream = std::string_view(name).find("RC4") != std::string_view::npos;
      EXPECT_EQ(cipher.size(), isStream ? length : (length / 8 + 1) * 8) << name;
      const auto identifier = velmora::derContent(algorithm.view(), velmora::kSequence);
      ASSERT_TRUE(identifier);
      EXPECT_EQ(velmora::passwordDecrypt(*identifier, password, cipher.view(), budget, out), kOk);
      EXPECT_EQ(toHex(out.data(), out.size()), toHex(plain.data(), length)) << name;
    }
  }
}

TEST_F(PasswordCipher, ASchemeHasASaltAndACountAlone) {
  const velmora::Password password("secret");
  const std::string salt = element("04", "saltsalt");
  const std::string count = fromHex("020101");
  for (const std::string& parameters :
       {std::string(), element("30", ""), element("30", salt), element("30", count),
        element("30", salt + fromHex("0201ff")), element("30", salt + count + fromHex("0500")),
        element("31", salt + count)}) {
    const ExactBytes algorithm(fromHex("060a2a864886f70d010c0103") + parameters);
    velmora::DerivationBudget budget;
    Bytes out;
    EXPECT_EQ(
        velmora::passwordDecrypt(viewOf(algorithm), password, viewOf("8 bytes."), budget, out),
        kFail)
        << toHex(parameters.data(), parameters.size());
    EXPECT_EQ(budget.taken(), 0u);
  }
}

// Over HMAC and RFC 7292, appendix B.2, written again in another language.
TEST_F(PasswordCipher, AMacIsThatOfOthersWithEachDigest) {
  struct Case {
    const char* name;
    const char* code;
  };
  const velmora::Password password("secret");
  for (const Case& each :
       {Case{"SHA-1", "5731f43d94b2b40c7a6830d96ce65028d7271821"},
        Case{"SHA-224", "429b68373fb3e51ea9ac892078c2ad462f328d7b43d1be0ecfe3e2bc"},
        Case{"SHA-256", "baf73ff903db60c74e179067bb7423db136ef5b4252997bc71432945c349efb5"},
        Case{"SHA-384",
             "f4e193a71e56373018ab78d5db5b52fccc802e8c8851e8cf9b596fa217685321184b542fea2a4c0ba481"
             "f996abff09a2"},
        Case{"SHA-512",
             "6da9e8e6ea633fe600bf7234db3ae88e47e617ca281d8320687d7419d7db9304eb8fac47e6929bcaa503"
             "6af435484dbe35fd8dd014e1d68470e5088bea9bd78d"}}) {
    velmora::DerivationBudget budget;
    Bytes code;
    ASSERT_EQ(velmora::passwordMac(*velmora::findMacDigest(each.name),
                                   {password.terminatedUtf16(), viewOf("saltsalt"), 2},
                                   viewOf("data"), budget, code),
              kOk);
    EXPECT_EQ(toHex(code.data(), code.size()), each.code) << each.name;
  }
}

TEST_F(PasswordCipher, ShortMemoryIsToldAndLeavesNothing) {
  const std::string scheme = element("30", element("04", "saltsalt") + fromHex("020101"));
  const std::string algorithm = fromHex("060a2a864886f70d010c0101") + scheme;
  const velmora::Password password("secret");
  const auto expectAllOrNothing = [](int32_t result, const Bytes& out) {
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    EXPECT_EQ(out.size() != 0, result == kOk);
    return result == kOk;
  };
  sweepAllocations(spy, [&] {
    velmora::DerivationBudget budget;
    Bytes identifier, out;
    velmora::DerWriter writer(identifier);
    const int32_t result =
        velmora::passwordEncrypt(*velmora::findPasswordScheme(kSchemes[0]), password, 1,
                                 viewOf("plain"), budget, writer, out);
    return expectAllOrNothing(result, out) && !identifier.failed();
  });
  sweepAllocations(spy, [&] {
    velmora::DerivationBudget budget;
    Bytes out;
    const int32_t result =
        velmora::passwordDecrypt(viewOf(algorithm), password, viewOf("cipher"), budget, out);
    return expectAllOrNothing(result, out);
  });
  sweepAllocations(spy, [&] {
    velmora::DerivationBudget budget;
    Bytes out;
    const int32_t result = velmora::passwordMac(*velmora::findMacDigest("SHA-1"),
                                                {password.terminatedUtf16(), viewOf("salt"), 1},
                                                viewOf("data"), budget, out);
    return expectAllOrNothing(result, out);
  });
}

}  // namespace
}  // namespace vexa::test
