#include "runtime/pkcs12/password_derivation.h"

#include <numeric>
#include <string>
#include <vector>

#include "runtime/pkcs12/pfx_maker.h"

namespace vexa::test {
namespace {

using velmora::DerivationBudget;
using velmora::KeyPurpose;
using velmora::Password;

class PasswordDerivation : public CryptoTest {
 protected:
  static std::string pkcs12(int digest, KeyPurpose purpose, velmora::ByteView password,
                            const std::string& salt, uint32_t iterations, size_t length) {
    std::vector<uint8_t> out(length);
    DerivationBudget budget;
    EXPECT_EQ(
        velmora::derivePkcs12(digest, purpose, {password, viewOf(salt), iterations}, budget, out),
        kOk);
    return toHex(out.data(), out.size());
  }
};

struct Pkcs12Case {
  int digest;
  KeyPurpose purpose;
  const char* password;
  const char* saltHex;
  uint32_t iterations;
  const char* derived;
};

// Over the code of RFC 7292, appendix B.2, written again in another language.
TEST_F(PasswordDerivation, OfPkcs12RepeatsAndAddsAsTheStandardSays) {
  constexpr char kSalt[] = "0102030405060708";
  for (const Pkcs12Case& each : {
           Pkcs12Case{GCRY_MD_SHA1, KeyPurpose::kKey, "secret", kSalt, 1,
                      "7dfb79be4aa7463b36d47deacb34d10e512b52982d1bffed"},
           Pkcs12Case{GCRY_MD_SHA1, KeyPurpose::kIv, "secret", kSalt, 1, "99522cd79628e154"},
           Pkcs12Case{GCRY_MD_SHA1, KeyPurpose::kMac, "secret", kSalt, 1000,
                      "8d80e421c5139eba457f77ba6ddac182ed94f594"},
           Pkcs12Case{GCRY_MD_SHA1, KeyPurpose::kKey, "", kSalt, 2,
                      "6f61ada78cbd3662b270422ddedbc65c84349b8acbb96718"},
           Pkcs12Case{GCRY_MD_SHA1, KeyPurpose::kKey, "a", "", 2,
                      "5f8c5f37edce5a1d929c2ec618db15c9023db759fc61dab3"},
           Pkcs12Case{GCRY_MD_SHA256, KeyPurpose::kKey, "pässwörd", "aa", 3,
                      "a1329e689df91696ee151819a877da2fe53a741af2aed49ab424f4450ebe0cdf371c8d2b"
                      "2fe28a56"},
           Pkcs12Case{GCRY_MD_SHA384, KeyPurpose::kKey, "x", "00ff", 2,
                      "8f77e2fc67b3e9369e88058fbe353028780b2a20b03c17e31b0cb4562e6636f0d5febe3a"
                      "f6ec2521c3ac616fc966d1d14ad428947da50732bae6bbf0"},
       }) {
    const Password password(each.password);
    EXPECT_EQ(pkcs12(each.digest, each.purpose, password.terminatedUtf16(), fromHex(each.saltHex),
                     each.iterations, std::string_view(each.derived).size() / 2),
              each.derived);
  }
}

TEST_F(PasswordDerivation, OfPkcs12TakesSaltAndPasswordOfMoreThanABlock) {
  std::string salt(70, '\0');
  std::iota(salt.begin(), salt.end(), '\0');
  const Password password(std::string(40, 'p').c_str());
  EXPECT_EQ(pkcs12(GCRY_MD_SHA1, KeyPurpose::kKey, password.terminatedUtf16(), salt, 2, 64),
            "79dbfd09e879d69c18d35848fd3457056fae9d528aa968afc0f66d839ce6cd48a6da15b4af772aab030670"
            "bceb293c87d59b5d6796ccf8e0e70f20729bbf26fa");
}

TEST_F(PasswordDerivation, OfPkcs12WithoutAPasswordIsNotThatOfAnEmptyOne) {
  const std::string salt = fromHex("0102030405060708");
  const Password none(static_cast<const char*>(nullptr));
  EXPECT_EQ(pkcs12(GCRY_MD_SHA1, KeyPurpose::kKey, none.terminatedUtf16(), salt, 2, 24),
            "2fd89eb86f5c3cc20d022f83f82b67b85e965090fe71ece8");
}

// RFC 6070, and others of Python's.
TEST_F(PasswordDerivation, OfPbkdf2IsThatOfOthers) {
  struct Case {
    int digest;
    const char* password;
    const char* salt;
    uint32_t iterations;
    const char* derived;
  };
  for (const Case& each :
       {Case{GCRY_MD_SHA1, "password", "salt", 1, "0c60c80f961f0e71f3a9b524af6012062fe037a6"},
        Case{GCRY_MD_SHA1, "password", "salt", 2, "ea6c014dc72d6f8ccd1ed92ace1d41f0d8de8957"},
        Case{GCRY_MD_SHA256, "pässwörd", "salt", 3,
             "bcb7fbf967215fc8097eb5451077a9255d623fb7e0480a7ae2e1a0a7a8972897dd59451450f2d67d"}}) {
    const Password password(each.password);
    std::vector<uint8_t> out(std::string_view(each.derived).size() / 2);
    DerivationBudget budget;
    ASSERT_EQ(velmora::derivePbkdf2(
                  each.digest, {password.utf8(), viewOf(each.salt), each.iterations}, budget, out),
              kOk);
    EXPECT_EQ(toHex(out.data(), out.size()), each.derived);
  }
}

int32_t fillByPkcs12(uint32_t iterations, DerivationBudget& budget, std::span<uint8_t> out) {
  return velmora::derivePkcs12(GCRY_MD_SHA1, KeyPurpose::kKey,
                               {viewOf("p"), viewOf("s"), iterations}, budget, out);
}
int32_t fillByPbkdf2(uint32_t iterations, DerivationBudget& budget, std::span<uint8_t> out) {
  return velmora::derivePbkdf2(GCRY_MD_SHA1, {viewOf("p"), viewOf("s"), iterations}, budget, out);
}

// Rounds: an iteration for each digest that is made.
TEST_F(PasswordDerivation, CostsItsRoundsAndNoMoreThanThereAre) {
  const RoundLimit limit(25);
  for (const auto& fill : {fillByPkcs12, fillByPbkdf2}) {
    uint8_t bytes[41];
    const std::span<uint8_t> out(bytes);
    DerivationBudget budget;
    EXPECT_EQ(fill(0, budget, out), kInvalidArgument) << "nothing is derived in no rounds";
    EXPECT_EQ(fill(5, budget, out.first(20)), kOk);
    EXPECT_EQ(budget.taken(), 5u);
    EXPECT_EQ(fill(5, budget, out.first(21)), kOk);
    EXPECT_EQ(budget.taken(), 15u);
    EXPECT_EQ(fill(4, budget, out), kInvalidArgument);
    EXPECT_EQ(fill(0xFFFFFFFF, budget, out), kInvalidArgument);
    EXPECT_EQ(budget.taken(), 15u) << "what is not done costs nothing";
    EXPECT_EQ(fill(5, budget, out.first(40)), kOk) << "the very last ones";
    EXPECT_EQ(fill(1, budget, out.first(1)), kInvalidArgument);
  }
}

}  // namespace
}  // namespace vexa::test
