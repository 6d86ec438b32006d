#include "runtime/pkcs12/pfx_decoder.h"

#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/pkcs12/pfx_maker.h"
#include "runtime/samples.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class PfxDecoderTest : public PfxTest {
 protected:
  Opened openBags(const std::string& bags) { return open(pfxOfBags(bags)); }
  static std::string certificateBag(const std::string& attributes = {}) {
    return bagOf(kCertificateBagId, x509Value(samples::kPlain), attributes);
  }
  static std::string nested(const std::string& bags) {
    return bagOf(kSafeContentsBagId, element("30", bags));
  }
};

TEST_F(PfxDecoderTest, WithoutAMacNothingIsDerived) {
  const RoundLimit none(0);  // a derivation would be an invalid argument
  const Opened opened = open(samples::kNoMacPfx);
  EXPECT_EQ(opened.result, kFail);
  EXPECT_EQ(opened.verified, 0);
  EXPECT_EQ(opened.bags.get(), nullptr);
}

TEST_F(PfxDecoderTest, BehindAWrongMacNothingIsDerived) {
  const std::string safes = safesOf(samples::kRc4Pfx);
  const std::string pfx = pfxOver(safes, "secret");
  EXPECT_EQ(open(pfx).result, kOk);
  const RoundLimit one(1);  // enough for the MAC
  EXPECT_EQ(open(pfx, "wrong").result, kFail);
  EXPECT_EQ(open(pfx).result, kInvalidArgument) << "the right MAC, and a safe that costs more";
}

TEST_F(PfxDecoderTest, EveryByteOfTheMacCounts) {
  const std::string pfx = pfxOver(safesOf(samples::kOpenPfx), "secret");
  ASSERT_EQ(open(pfx).verified, 1);
  const size_t code = pfx.size() - 20 - 10;  // SHA-1, before the salt
  for (size_t i = 0; i < 20; ++i) {
    std::string damaged = pfx;
    damaged[code + i] = static_cast<char>(damaged[code + i] ^ 0x40);
    const Opened opened = open(damaged);
    EXPECT_EQ(opened.result, kFail) << i;
    EXPECT_EQ(opened.verified, 0) << i;
  }
}

// The MAC takes one round an iteration, the RC4 safe one; the triple DES key two and its vector
// one.
TEST_F(PfxDecoderTest, AllDerivationsOfAFileShareOneBudget) {
  const std::string pfx = pfxOver(safesOf(samples::kRc4Pfx), "secret");
  uint32_t needed = 1;
  for (;; ++needed) {
    const RoundLimit limit(needed);
    const Opened opened = open(pfx);
    EXPECT_EQ(opened.verified, 1);
    if (opened.result == kOk) {
      break;
    }
    ASSERT_EQ(opened.result, kInvalidArgument);
    EXPECT_EQ(opened.bags.get(), nullptr);
    ASSERT_LT(needed, 100'000u);
  }
  EXPECT_EQ(needed, 5u);
}

TEST_F(PfxDecoderTest, BagsAreReadInTheirOrderAndNesting) {
  EXPECT_EQ(openBags(certificateBag() + nested(certificateBag() + certificateBag())).count(), 3);
  EXPECT_EQ(openBags("").count(), 0);
}

TEST_F(PfxDecoderTest, SafesNestEightDeep) {
  std::string bags = certificateBag();
  for (int i = 0; i < 8; ++i) {
    bags = nested(bags);
  }
  const Opened deepest = openBags(bags);
  EXPECT_EQ(deepest.result, kOk);
  EXPECT_EQ(deepest.count(), 1);
  const Opened tooDeep = openBags(nested(bags));
  EXPECT_EQ(tooDeep.result, kFail);
  EXPECT_EQ(tooDeep.bags.get(), nullptr);
}

TEST_F(PfxDecoderTest, NothingMayFollowTheAttributesOfABag) {
  const std::string attribute =
      element("30", fromHex(kLocalKeyId) + element("31", fromHex("040107")));
  const Opened good = openBags(certificateBag(element("31", attribute)));
  ASSERT_EQ(good.result, kOk);
  EXPECT_EQ(bytesOf(good.bags->bag->localKeyId), "\x07");
  for (const std::string& behind : {fromHex("0500"), fromHex("3100"), fromHex("00")}) {
    const Opened opened = openBags(certificateBag(element("31", attribute) + behind));
    EXPECT_EQ(opened.result, kFail) << toHex(behind.data(), behind.size());
    EXPECT_EQ(opened.bags.get(), nullptr);
  }
}

TEST_F(PfxDecoderTest, NothingMayFollowAnythingElse) {
  const std::string safes = element("30", dataInfo(element("30", certificateBag())));
  const std::string pfx = pfxOver(safes, "secret");
  ASSERT_EQ(open(pfx).result, kOk);
  EXPECT_EQ(open(pfx + '\0').result, kFail);
  EXPECT_EQ(open(pfxOver(safes + '\0', "secret")).result, kFail);
  EXPECT_EQ(open(pfxOver(element("30", dataInfo(element("30", certificateBag()) + '\0')), "secret"))
                .result,
            kFail);
}

// Below a MAC that fits.
TEST_F(PfxDecoderTest, SafesAreSequencesOfWhatBelongsThere) {
  const std::string data = dataInfo(element("30", certificateBag()));
  ASSERT_EQ(open(pfxOver(element("30", data + data), "secret")).count(), 2);
  const std::string type = fromHex("06092a864886f70d010701");
  const std::string value = element("a0", element("04", element("30", certificateBag())));
  const std::string refused[] = {
      "",
      element("31", data),
      element("30", element("31", type + value)),
      element("30", data + fromHex("0500")),
      element("30", element("30", "")),
      element("30", element("30", type)),
      element("30", element("30", value)),
      element("30", element("30", type + value + fromHex("0500"))),
      element("30", element("30", type + element("a1", element("04", fromHex("3000"))))),
      element("30", element("30", type + element("a0", element("0c", fromHex("3000"))))),
      element("30", dataInfo("")),
      element("30", dataInfo(element("31", certificateBag()))),
      element("30", dataInfo(element("30", element("31", "")))),
      element("30", dataInfo(element("30", certificateBag() + fromHex("0500")))),
      element("30", dataInfo(element("30", element("30", "")))),
      element("30", dataInfo(element("30", element("30", fromHex(kCertificateBagId))))),
  };
  for (const std::string& safes : refused) {
    const Opened opened = open(pfxOver(safes, "secret"));
    EXPECT_EQ(opened.result, kFail) << toHex(safes.data(), safes.size());
    EXPECT_EQ(opened.verified, 1);
    EXPECT_EQ(opened.bags.get(), nullptr);
  }
}

TEST_F(PfxDecoderTest, AFileHasItsPartsAndNoOthers) {
  const std::string safes = element("30", dataInfo(element("30", certificateBag())));
  const std::string whole = pfxOver(safes, "secret");
  velmora::DerReader parts(*velmora::derContent(viewOf(whole), velmora::kSequence));
  const auto next = [&parts] {
    const velmora::ByteView part = parts.takeAny()->whole;
    return std::string(reinterpret_cast<const char*>(part.data()), part.size());
  };
  const std::string version = next();
  const std::string content = next();
  const std::string mac = next();
  const std::string macContent = mac.substr(2);
  ASSERT_EQ(open(element("30", version + content + mac)).result, kOk);
  ASSERT_EQ(
      open(element("30", version + content + element("30", macContent + fromHex("020101")))).result,
      kOk)
      << "the one iteration that is meant without a number";
  const std::string salt = element("04", "saltsalt");
  const std::string digestInfo = macContent.substr(0, macContent.size() - salt.size());
  const std::string dataType = fromHex("06092a864886f70d010701");
  const std::string signedType = fromHex("06092a864886f70d010702");
  const std::string octets = element("04", safes);
  const auto withContent = [&](const std::string& other) {
    return element("30", version + element("30", other) + mac);
  };
  ASSERT_EQ(open(withContent(dataType + element("a0", octets))).result, kOk);
  const std::string refused[] = {
      withContent(""),
      withContent(dataType),
      withContent(signedType + element("a0", octets)),
      withContent(dataType + element("a1", octets)),
      withContent(dataType + element("a0", element("0c", safes))),
      withContent(dataType + element("a0", octets + fromHex("0500"))),
      withContent(dataType + element("a0", octets) + fromHex("0500")),
      element("31", version + content + mac),
      element("30", content + mac),
      element("30", fromHex("020102") + content + mac),
      element("30", version + mac),
      element("30", version + content),
      element("30", version + content + element("31", macContent)),
      element("30", version + content + mac + fromHex("0500")),
      element("30", version + content + element("30", "")),
      element("30", version + content + element("30", salt)),
      element("30", version + content + element("30", digestInfo)),
      element("30", version + content + element("30", macContent + fromHex("0500"))),
      element("30", version + content + element("30", macContent + fromHex("0201010500"))),
      element("30", version + content + element("30", element("30", "") + salt)),
      element("30",
              version + content +
                  element("30", element("30", digestInfo.substr(2) + fromHex("0500")) + salt)),
  };
  for (const std::string& pfx : refused) {
    const Opened opened = open(pfx);
    EXPECT_EQ(opened.result, kFail) << toHex(pfx.data(), pfx.size());
    EXPECT_EQ(opened.verified, 0);
    EXPECT_EQ(opened.bags.get(), nullptr);
  }
}

TEST_F(PfxDecoderTest, WhatIsNotWorkedWithIsNotImplemented) {
  const std::string octets = element("04", element("30", certificateBag()));
  const std::string info = element("30", fromHex("06092a864886f70d010702") + element("a0", octets));
  const Opened safe = open(pfxOver(element("30", info), "secret"));
  EXPECT_EQ(safe.result, kNotImplemented) << "a safe that is signed";
  EXPECT_EQ(safe.verified, 1);
  const std::string digestInfo =
      element("30", fromHex("300406022a03") + element("04", std::string(20, 'x')));
  const Opened mac = open(element("30", fromHex("020103") + dataInfo(element("30", "")) +
                                            element("30", digestInfo + element("04", "saltsalt"))));
  EXPECT_EQ(mac.result, kNotImplemented) << "a digest that nobody knows";
  EXPECT_EQ(mac.verified, 0);
}

TEST_F(PfxDecoderTest, EncryptedDataHasItsPartsAndNoOthers) {
  const std::string version = fromHex("020100");
  const std::string type = fromHex("06092a864886f70d010701");
  const std::string unknown = fromHex("300406022a03");  // no algorithm that is known
  const std::string encrypted = element("80", "encrypted");
  const auto resultOf = [&](const std::string& content) {
    const std::string info =
        element("30", fromHex("06092a864886f70d010706") + element("a0", element("30", content)));
    const Opened opened = open(pfxOver(element("30", info), "secret"));
    EXPECT_EQ(opened.bags.get(), nullptr);
    return opened.result;
  };
  const std::string pieces = element("a0", element("04", "encryp") + element("04", "ted"));
  EXPECT_EQ(resultOf(version + element("30", type + unknown + encrypted)), kNotImplemented);
  EXPECT_EQ(resultOf(version + element("30", type + unknown + pieces)), kNotImplemented);
  const std::string refused[] = {
      element("30", type + unknown + encrypted),
      version,
      version + element("31", type + unknown + encrypted),
      version + element("30", type + unknown + encrypted) + fromHex("0500"),
      version + element("30", unknown + encrypted),
      version + element("30", fromHex("06092a864886f70d010702") + unknown + encrypted),
      version + element("30", type + encrypted),
      version + element("30", type + unknown),
      version + element("30", type + unknown + element("81", "encrypted")),
      version + element("30", type + unknown + element("a1", element("04", "encrypted"))),
      version + element("30", type + unknown + element("a0", element("0c", "encrypted"))),
      version + element("30", type + unknown + encrypted + fromHex("0500")),
  };
  for (const std::string& content : refused) {
    EXPECT_EQ(resultOf(content), kFail) << toHex(content.data(), content.size());
  }
}

TEST_F(PfxDecoderTest, PiecesThatCannotBeJoinedAreShortMemory) {
  const std::string pieces = element("a0", element("04", "encryp") + element("04", "ted"));
  const std::string content =
      element("30", fromHex("06092a864886f70d010701") + fromHex("300406022a03") + pieces);
  const std::string info =
      element("30", fromHex("06092a864886f70d010706") +
                        element("a0", element("30", fromHex("020100") + content)));
  const std::string pfx = pfxOver(element("30", info), "secret");
  String secret("secret");
  const runtime::ByteBuffer data = bufferOf(pfx);
  sweepAllocations(spy, [&] {
    HeldBags bags;
    uint8_t verified = 0;
    const int32_t result = spy.pkcs12.Decode(&data, nullptr, secret.get(), bags.put(), &verified);
    EXPECT_TRUE(result == kNotImplemented || result == kOutOfMemory) << result;
    return result == kNotImplemented;
  });
}

TEST_F(PfxDecoderTest, TheFirstAttributeOfAKindCounts) {
  const auto id = [](const char* hex) {
    return element("30", fromHex(kLocalKeyId) + element("31", fromHex(hex)));
  };
  const Opened opened = openBags(certificateBag(element("31", id("040107") + id("040108"))));
  ASSERT_EQ(opened.result, kOk);
  EXPECT_EQ(bytesOf(opened.bags->bag->localKeyId), "\x07");
  const Opened other = openBags(certificateBag(element("31", id("0c0107"))));
  ASSERT_EQ(other.result, kOk);
  EXPECT_EQ(other.bags->bag->localKeyId, nullptr) << "a value of another type";
}

// One bit in each byte turned over, below a MAC that fits all the same.
TEST_F(PfxDecoderTest, DamageBelowARightMacIsRefusedOrRead) {
  for (const std::string_view sample : {samples::kOpenPfx, samples::kRc2Pfx, samples::kNoMacPfx}) {
    const std::string safes = safesOf(sample);
    for (size_t at = 0; at < safes.size(); ++at) {
      std::string damaged = safes;
      damaged[at] = static_cast<char>(damaged[at] ^ (1 << (at % 8)));
      const Opened opened = open(pfxOver(damaged, "secret"));
      EXPECT_EQ(opened.verified, 1);
      EXPECT_TRUE(opened.result >= 0 || opened.bags.get() == nullptr);
    }
  }
}

}  // namespace
}  // namespace vexa::test
