#include "pal/posix/der.h"

#include <gtest/gtest.h>

#include <string>

#include "../samples.h"

using pal::posix::certificateIdentity;
using pal::posix::DerResult;
using samples::fromHex;

TEST(Der, IssuerAndSerialMakeTheIdentity) {
  // Certificate { tbs { [0] version, serial 5, algorithm {}, issuer { NULL } }, {}, BIT STRING }
  const auto certificate = fromHex(
      "3015"
      "300e"
      "a003020102"
      "020105"
      "3000"
      "30020500"
      "3000"
      "030100");
  std::string identity;
  ASSERT_EQ(certificateIdentity(certificate.data(), certificate.size(), identity), DerResult::kOk);
  const auto expected = fromHex(
      "30020500"
      "020105");
  EXPECT_EQ(identity, std::string(expected.begin(), expected.end()));
}

TEST(Der, TheVersionMayBeMissing) {
  const auto certificate = fromHex(
      "3011"
      "3009"
      "020105"
      "3000"
      "30020500"
      "3000"
      "03020000");
  std::string identity;
  EXPECT_EQ(certificateIdentity(certificate.data(), certificate.size(), identity), DerResult::kOk);
}

TEST(Der, LengthsTakeUpToFourBytes) {
  for (const char* length : {"11", "8111", "820011", "83000011", "8400000011"}) {
    const auto certificate =
        fromHex("30" + std::string(length) + "3009020105300030020500" + "300003020000");
    std::string identity = "of another";
    EXPECT_EQ(certificateIdentity(certificate.data(), certificate.size(), identity), DerResult::kOk)
        << length;
    EXPECT_EQ(identity.size(), 7u) << length;
  }
  for (const char* length : {"80", "850000000000", "860000000000", "ff"}) {
    const auto certificate = fromHex("30" + std::string(length) + "300802010530003000");
    std::string identity;
    EXPECT_EQ(certificateIdentity(certificate.data(), certificate.size(), identity),
              DerResult::kWrongShape)
        << length;
  }
}

TEST(Der, AByteBelow128IsALength) {
  const std::string body = "3009020105300030020500";
  std::string identity;
  const auto longest = fromHex("307f" + body + "30000370" + std::string(2 * 0x70, '0'));
  EXPECT_EQ(certificateIdentity(longest.data(), longest.size(), identity), DerResult::kOk);
  const auto longer = fromHex("308180" + body + "30000371" + std::string(2 * 0x71, '0'));
  EXPECT_EQ(certificateIdentity(longer.data(), longer.size(), identity), DerResult::kOk);
}

TEST(Der, LengthsThatLeadOutsideEndEarly) {
  for (const char* hex : {"", "30", "3082", "3005", "3003300530"}) {
    const auto encoded = fromHex(hex);
    std::string identity;
    EXPECT_EQ(certificateIdentity(encoded.data(), encoded.size(), identity), DerResult::kEndsEarly)
        << hex;
  }
  for (const char* hex : {"308501", "3080"}) {
    const auto encoded = fromHex(hex);
    std::string identity;
    EXPECT_EQ(certificateIdentity(encoded.data(), encoded.size(), identity), DerResult::kWrongShape)
        << hex << ": no length at all";
  }
}

TEST(Der, EachPartIsThereWithItsTag) {
  // Certificate { tbs { serial, algorithm, issuer }, algorithm, signature }
  const auto whole = fromHex("30113009020105300030020500300003020000");
  std::string identity;
  ASSERT_EQ(certificateIdentity(whole.data(), whole.size(), identity), DerResult::kOk);
  for (const std::size_t tag : {0u, 2u, 4u, 7u, 9u, 13u, 15u}) {
    auto other = whole;
    other[tag] = 0x04;
    EXPECT_EQ(certificateIdentity(other.data(), other.size(), identity), DerResult::kWrongShape)
        << tag;
  }
  for (const char* hex :
       {"3000", "300b3009020105300030020500", "300d30090201053000300205003000",
        "30083000300003020000", "300b3003020105300003020000", "300d30050201053000300003020000"}) {
    const auto shorter = fromHex(hex);
    EXPECT_EQ(certificateIdentity(shorter.data(), shorter.size(), identity), DerResult::kEndsEarly)
        << hex;
  }
}
