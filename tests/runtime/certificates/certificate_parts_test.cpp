#include <string>
#include <vector>

#include "runtime/certificates/certificate_maker.h"

// Certificates of which one part is another than it should be.
namespace vexa::test {
namespace {

const std::string kOtherAlgorithm = fromHex("300d06092a864886f70d01010c0500");

std::string keyUsage(const std::string& bits) {
  return extension(fromHex("0603551d0f") + element("04", bits));
}
std::string constraints(const std::string& content) {
  return fromHex("0603551d13") + element("04", element("30", content));
}
std::string purposes(const std::string& value) {
  return fromHex("0603551d25") + element("04", value);
}
std::string twice(const std::string& fields) {
  return element("a3", element("30", element("30", fields) + element("30", fields)));
}

class CertificateParts : public CryptoTest {
 protected:
  // How a certificate is decoded in which this part is another.
  int32_t with(std::string CertificateFields::*part, const std::string& value) {
    CertificateFields parts;
    parts.*part = value;
    read_.reset();
    return decode(parts.certificate(), read_.put());
  }
  void expectRefused(std::string CertificateFields::*part, const std::vector<std::string>& values) {
    for (const std::string& value : values) {
      EXPECT_EQ(with(part, value), kFail) << toHex(value.data(), value.size());
      EXPECT_EQ(read_.get(), nullptr);
    }
  }
  void expectTaken(std::string CertificateFields::*part, const std::vector<std::string>& values) {
    for (const std::string& value : values) {
      EXPECT_EQ(with(part, value), kOk) << toHex(value.data(), value.size());
    }
  }

  OwnedCertificate read_;
};

TEST_F(CertificateParts, VersionIsAbsentOrUpToThree) {
  expectTaken(&CertificateFields::version, {"", fromHex("a003020100"), fromHex("a003020101")});
  expectRefused(&CertificateFields::version,
                {fromHex("a003020103"), fromHex("a000"), fromHex("a0020200"), fromHex("a003010102"),
                 fromHex("a006020102020102"), fromHex("a0030201ff")});
}

TEST_F(CertificateParts, SerialIsANumber) {
  expectTaken(&CertificateFields::serial, {fromHex("0201ff"), fromHex("0203010000")});
  expectRefused(&CertificateFields::serial, {"", fromHex("0200"), fromHex("040107")});
}

TEST_F(CertificateParts, BothAlgorithmsAreTheSame) {
  expectRefused(&CertificateFields::signedAlgorithm, {"", kOtherAlgorithm, fromHex("3000")});
  expectRefused(&CertificateFields::algorithm, {"", kOtherAlgorithm, fromHex("3000")});
  for (const char* const hex : {"3000", "300506032a0304", "30020600"}) {
    CertificateFields parts;
    parts.algorithm = parts.signedAlgorithm = fromHex(hex);
    EXPECT_EQ(decode(parts.certificate(), read_.put()) == kOk, hex[3] == '5') << hex;
  }
}

TEST_F(CertificateParts, SignatureHasWholeBytes) {
  expectTaken(&CertificateFields::signature, {fromHex("030100")});
  expectRefused(&CertificateFields::signature,
                {"", fromHex("0300"), fromHex("03020102"), fromHex("04020001")});
}

TEST_F(CertificateParts, NamesAreSequences) {
  for (std::string CertificateFields::*const name :
       {&CertificateFields::issuer, &CertificateFields::subject}) {
    expectTaken(name, {fromHex("300c310a300806035504030c0178")});
    expectRefused(name, {"", fromHex("3100"), fromHex("30023100"), fromHex("30020500")});
  }
}

TEST_F(CertificateParts, ValidityIsTwoTimes) {
  const std::string wrong = element("17", "240230120000Z");
  expectTaken(&CertificateFields::validity,
              {element("30", kCertificateTime + element("18", "20500101000000Z"))});
  expectRefused(&CertificateFields::validity,
                {"", fromHex("3000"), element("30", kCertificateTime),
                 element("30", kCertificateTime + kCertificateTime + kCertificateTime),
                 element("30", wrong + kCertificateTime), element("30", kCertificateTime + wrong),
                 element("31", kCertificateTime + kCertificateTime)});
}

TEST_F(CertificateParts, KeyIsAnAlgorithmAndBytes) {
  const std::string bits = fromHex("03020001");
  expectRefused(
      &CertificateFields::key,
      {"", fromHex("3000"), element("30", kRsaSha256),
       element("30", kRsaSha256 + fromHex("030100")),
       element("30", kRsaSha256 + fromHex("03020102")), element("30", fromHex("3000") + bits),
       element("30", kRsaSha256 + bits + bits), element("31", kRsaSha256 + bits)});
}

TEST_F(CertificateParts, UniqueIdsArePassedOverInTheirOrder) {
  const std::string one = fromHex("81020001");
  const std::string two = fromHex("82020001");
  expectTaken(&CertificateFields::uniqueIds, {one, two, one + two});
  expectRefused(&CertificateFields::uniqueIds, {two + one, one + one, two + two, fromHex("8105"),
                                                fromHex("8205"), fromHex("84020001")});
}

TEST_F(CertificateParts, ExtensionsAreASequenceOfAtLeastOne) {
  const std::string fields = fromHex("06022a03") + element("04", "x");
  expectTaken(&CertificateFields::extensions, {extension(fields), twice(fields)});
  expectRefused(&CertificateFields::extensions,
                {fromHex("a300"), fromHex("a3023000"), fromHex("a3023100"), fromHex("a30430020500"),
                 fromHex("a3043002") + fromHex("0400"), extension(fields) + fromHex("0500"),
                 element("a3", element("30", element("30", fields)) + fromHex("0500"))});
}

TEST_F(CertificateParts, AnExtensionIsAnIdAMarkAndBytes) {
  const std::string id = fromHex("06022a03");
  const std::string bytes = element("04", "x");
  expectTaken(&CertificateFields::extensions, {extension(id + fromHex("0101ff") + bytes),
                                               extension(id + fromHex("010100") + bytes)});
  expectRefused(
      &CertificateFields::extensions,
      {extension(""), extension(id), extension(bytes), extension(id + fromHex("0100") + bytes),
       extension(id + fromHex("0102ffff") + bytes), extension(id + fromHex("0105")),
       extension(id + fromHex("0101ff")), extension(id + bytes + bytes),
       extension(id + fromHex("030100") + bytes)});
}

TEST_F(CertificateParts, KeyUsageFlagsComeFromTheHighestBitOn) {
  constexpr std::pair<const char*, const char*> kBits[] = {{"030100", "000000000000000000"},
                                                           {"03020780", "010000000000000000"},
                                                           {"030200ff", "010101010101010100"},
                                                           {"030207ff", "010000000000000000"},
                                                           {"03020001", "000000000000000100"},
                                                           {"0303070080", "000000000000000001"},
                                                           {"030300ffff", "010101010101010101"},
                                                           {"0303080080", ""},
                                                           {"0300", ""},
                                                           {"030101", ""},
                                                           {"030107", ""},
                                                           {"03020880", ""},
                                                           {"0402ff80", ""}};
  for (const auto& [bits, flags] : kBits) {
    const int32_t result = with(&CertificateFields::extensions, keyUsage(fromHex(bits)));
    ASSERT_EQ(result, *flags == '\0' ? kFail : kOk) << bits;
    if (result == kOk) {
      EXPECT_EQ(toHex(read_->table->GetKeyUsage(read_.get()), 9), flags) << bits;
    }
  }
}

TEST_F(CertificateParts, ConstraintsAreAMarkAndALength) {
  struct Case {
    const char* content;
    int cA;
  };
  for (const Case& each :
       {Case{"", 0}, Case{"0101ff", 1}, Case{"010100", 0}, Case{"010101", 1},
        Case{"0101ff020100", 1}, Case{"0101ff02047fffffff", 1}, Case{"020100", 0}}) {
    ASSERT_EQ(with(&CertificateFields::extensions, extension(constraints(fromHex(each.content)))),
              kOk)
        << each.content;
    EXPECT_EQ(read_->table->GetBasicConstraints(read_.get())->cA, each.cA) << each.content;
  }
  for (const char* const content :
       {"0100", "0102ffff", "0105", "0101ff0200", "0101ff0201ff", "0101ff02050100000000",
        "0101ff0205", "0101ff0201000500", "0500", "0201000101ff"}) {
    EXPECT_EQ(with(&CertificateFields::extensions, extension(constraints(fromHex(content)))), kFail)
        << content;
  }
}

TEST_F(CertificateParts, PurposesAreIds) {
  expectTaken(&CertificateFields::extensions, {extension(purposes(fromHex("300406022a03")))});
  expectRefused(
      &CertificateFields::extensions,
      {extension(purposes(fromHex("3000"))), extension(purposes(fromHex("310406022a03"))),
       extension(purposes(fromHex("30020600"))), extension(purposes(fromHex("300406022a80"))),
       extension(purposes(fromHex("300606022a030500"))),
       extension(purposes(fromHex("300406022a030500")))});
}

TEST_F(CertificateParts, WhatIsReadStandsThereOnce) {
  expectRefused(&CertificateFields::extensions,
                {twice(fromHex("0603551d0f") + element("04", fromHex("03020780"))),
                 twice(constraints("")), twice(purposes(fromHex("300406022a03")))});
}

}  // namespace
}  // namespace vexa::test
