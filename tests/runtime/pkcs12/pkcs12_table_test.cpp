#include "vexa/runtime/pkcs12.h"

#include <optional>

#include "runtime/pkcs12/pfx_encoder.h"
#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/pkcs12/pfx_maker.h"
#include "runtime/pkcs12/pkcs12_table.h"
#include "runtime/samples.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class Pkcs12Test : public PfxTest {
 protected:
  static std::string textOf(const runtime::StringObject* string) {
    return string == nullptr ? "(none)" : std::string(string->text, string->length);
  }

  runtime::SafeBag* addKey(runtime::PfxParameters* to, uint8_t shrouded) {
    return addRsaKey(to, samples::kLeafKey, shrouded);
  }

  // The key, its certificate and the root, as a creator of files makes them.
  HeldParameters usual() {
    HeldParameters made = parameters();
    for (runtime::SafeBag* bag :
         {addKey(made.get(), 1), addCertificate(made.get(), samples::kLeaf)}) {
      setName(bag, "Jäne 😀");
      EXPECT_EQ(types.BufferFromHex("01", &bag->localKeyId), kOk);
    }
    setName(addCertificate(made.get(), samples::kRoot), "Orlind Test Root");
    return made;
  }

  // Refused, with nothing handed out.
  void expectRefused(runtime::PfxParameters* from) {
    HeldBuffer out;
    EXPECT_EQ(spy.pkcs12.Encode(from, nullptr, out.put()), kInvalidArgument);
    EXPECT_EQ(out.get(), nullptr);
  }
};

TEST_F(Pkcs12Test, TheCompanionIsTheSameEachTime) {
  const runtime::Pkcs12TypesTable* first = nullptr;
  const runtime::Pkcs12TypesTable* second = nullptr;
  ASSERT_EQ(spy.pkcs12.GetTypes(&first), kOk);
  ASSERT_EQ(spy.pkcs12.GetTypes(&second), kOk);
  EXPECT_EQ(first, second);
}

TEST_F(Pkcs12Test, ReleasingNullIsHarmless) {
  spy.pkcs12Types.ParametersRelease(nullptr);
  spy.pkcs12Types.BagListRelease(nullptr);
  spy.pkcs12Types.BagRelease(nullptr);
  spy.pkcs12Types.PrivateKeyInfoRelease(nullptr);
}

struct SampleCase {
  const char* name;
  std::string_view pfx;
  int certificates;
};
void PrintTo(const SampleCase& value, std::ostream* out) { *out << value.name; }
class Pkcs12Sample : public Pkcs12Test, public ::testing::WithParamInterface<SampleCase> {};

TEST_P(Pkcs12Sample, Opens) {
  Opened opened = open(GetParam().pfx, "secret");
  ASSERT_EQ(opened.result, kOk);
  EXPECT_EQ(opened.verified, 1);
  const runtime::SafeBag* key = nullptr;
  const runtime::SafeBag* own = nullptr;
  const OwnedCertificate leaf = certificate(samples::kLeaf);
  int certificates = 0;
  for (auto* node = opened.bags.get(); node != nullptr; node = node->next) {
    if (node->bag->type == runtime::kKeyBag) {
      key = node->bag;
    }
    if (node->bag->type != runtime::kCertificateBag) {
      continue;
    }
    ++certificates;
    if (types.CertificateCompare(node->bag->certificate, leaf.get()) == 0) {
      own = node->bag;
    }
  }
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(bytesOf(&key->key->key), samples::kLeafKey);
  ASSERT_NE(key->localKeyId, nullptr);
  EXPECT_EQ(textOf(key->friendlyName), "Jane's €");
  EXPECT_EQ(certificates, GetParam().certificates);
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(types.BufferCompare(own->localKeyId, key->localKeyId), 0);
}

TEST_P(Pkcs12Sample, RefusesAnotherPassword) {
  for (const char* password : {static_cast<const char*>(nullptr), "", "Secret", "secret "}) {
    const Opened opened = open(GetParam().pfx, password);
    EXPECT_EQ(opened.result, kFail);
    EXPECT_EQ(opened.verified, 0);
    EXPECT_EQ(opened.bags.get(), nullptr);
  }
}

INSTANTIATE_TEST_SUITE_P(All, Pkcs12Sample,
                         ::testing::Values(SampleCase{"Legacy", samples::kLegacyPfx, 2},
                                           SampleCase{"Rc4", samples::kRc4Pfx, 2},
                                           SampleCase{"Swapped", samples::kSwappedPfx, 1},
                                           SampleCase{"TwoKey", samples::kTwoKeyPfx, 1},
                                           SampleCase{"Rc2", samples::kRc2Pfx, 1},
                                           SampleCase{"Modern", samples::kModernPfx, 2},
                                           SampleCase{"Aes128", samples::kAes128Pfx, 1},
                                           SampleCase{"Open", samples::kOpenPfx, 1},
                                           SampleCase{"Nss", samples::kNssPfx, 2},
                                           SampleCase{"NssLegacy", samples::kNssLegacyPfx, 2}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(Pkcs12Test, AFileWithoutMacIsRefused) {
  const Opened opened = open(samples::kNoMacPfx, "secret");
  EXPECT_EQ(opened.result, kFail);
  EXPECT_EQ(opened.verified, 0);
  EXPECT_EQ(opened.bags.get(), nullptr);
}

TEST_F(Pkcs12Test, AnEmptyPasswordAndNoneAreTwoThings) {
  EXPECT_EQ(open(samples::kEmptyPasswordPfx, "").verified, 1);
  EXPECT_EQ(open(samples::kEmptyPasswordPfx, nullptr).verified, 0);
  const std::string none = encode(usual().get(), nullptr);
  EXPECT_EQ(open(none, nullptr).verified, 1);
  EXPECT_EQ(open(none, "").verified, 0);
}

TEST_F(Pkcs12Test, WhatWasWrittenIsReadBack) {
  const Opened opened = open(encode(usual().get(), "pässwörd"), "pässwörd");
  ASSERT_EQ(opened.result, kOk);
  EXPECT_EQ(opened.verified, 1);
  // The certificates' safe comes first, each kind in its order.
  const runtime::BagNode* node = opened.bags.get();
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->bag->type, runtime::kCertificateBag);
  EXPECT_EQ(textOf(node->bag->friendlyName), "Jäne 😀");
  EXPECT_EQ(bytesOf(node->bag->localKeyId), "\x01");
  node = node->next;
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(textOf(node->bag->friendlyName), "Orlind Test Root");
  EXPECT_EQ(node->bag->localKeyId, nullptr);
  node = node->next;
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->bag->type, runtime::kKeyBag);
  EXPECT_EQ(node->bag->shrouded, 1);
  EXPECT_EQ(bytesOf(&node->bag->key->key), samples::kLeafKey);
  EXPECT_EQ(node->next, nullptr);
}

TEST_F(Pkcs12Test, TheNamesChooseTheAlgorithms) {
  const std::string rc4 = fromHex("060a2a864886f70d010c0101");
  const std::string tripleDes = fromHex("060a2a864886f70d010c0103");
  const std::string pfx = encode(usual().get(), "x");
  // The certificates' algorithm stands open; that of the key comes behind it.
  EXPECT_LT(pfx.find(rc4), pfx.find(tripleDes));
  EXPECT_NE(pfx.find(tripleDes), std::string::npos);
  // RFC 7292, appendix C, in its order.
  constexpr const char* kNames[] = {
      "pbeWithSHA1And128BitRC4",          "pbeWithSHA1And40BitRC4",
      "pbeWithSHA1And3-KeyTripleDES-CBC", "pbeWithSHA1And2-KeyTripleDES-CBC",
      "pbeWithSHA1And128BitRC2-CBC",      "pbeWithSHA1And40BitRC2-CBC"};
  for (char number = 1; number <= 6; ++number) {
    HeldParameters other = parameters(kNames[number - 1], kNames[6 - number]);
    addKey(other.get(), 1);
    addCertificate(other.get(), samples::kLeaf);
    const std::string file = encode(other.get(), "x");
    EXPECT_NE(file.find(fromHex("060a2a864886f70d010c01") + number), std::string::npos);
    const Opened opened = open(file, "x");
    EXPECT_EQ(opened.result, kOk) << kNames[number - 1];
    EXPECT_EQ(opened.count(), 2);
  }
}

// A SET OF in DER (X.690, 11.6): the shorter one first, here.
TEST_F(Pkcs12Test, AttributesAreInTheOrderOfTheirEncodings) {
  const std::string name = fromHex(kFriendlyName);
  const std::string id = fromHex(kLocalKeyId);
  for (const bool hasLongName : {false, true}) {
    HeldParameters made = parameters();
    runtime::SafeBag* const bag = addRsaKey(made.get(), samples::kLeafKey, 0);
    setName(bag, hasLongName ? "a long name" : "n");
    ASSERT_EQ(types.BufferFromHex(hasLongName ? "01" : "0102030405060708", &bag->localKeyId), kOk);
    const std::string file = encode(made.get(), "x");
    ASSERT_NE(file.find(name), std::string::npos);
    ASSERT_NE(file.find(id), std::string::npos);
    EXPECT_EQ(file.find(id) < file.find(name), hasLongName);
  }
}

TEST_F(Pkcs12Test, AKeyThatIsNotShroudedIsStoredOpen) {
  HeldParameters plain = parameters();
  addKey(plain.get(), 0);
  const std::string pfx = encode(plain.get(), "x");
  EXPECT_NE(pfx.find(samples::kLeafKey), std::string::npos);
  const Opened opened = open(pfx, "x");
  ASSERT_EQ(opened.result, kOk);
  EXPECT_EQ(opened.bags->bag->shrouded, 0);
}

TEST_F(Pkcs12Test, EmptyNamesAndIdsAreNotWritten) {
  HeldParameters made = parameters();
  setName(addCertificate(made.get(), samples::kLeaf), "");
  const Opened opened = open(encode(made.get(), "x"), "x");
  ASSERT_EQ(opened.result, kOk);
  EXPECT_EQ(opened.bags->bag->friendlyName, nullptr);
  EXPECT_EQ(opened.bags->bag->localKeyId, nullptr);
}

TEST_F(Pkcs12Test, ANodeWithoutABagIsPassedOver) {
  const HeldParameters made = parameters();
  ASSERT_EQ(spy.pkcs12Types.BagNodeCreate(&made->contents), kOk);
  addCertificate(made.get(), samples::kLeaf);
  const Opened opened = open(encode(made.get(), "x"), "x");
  ASSERT_EQ(opened.result, kOk);
  EXPECT_EQ(opened.count(), 1);
}

TEST_F(Pkcs12Test, AFileWithoutBagsIsAFile) {
  const Opened opened = open(encode(parameters().get(), "x"), "x");
  EXPECT_EQ(opened.result, kOk);
  EXPECT_EQ(opened.verified, 1);
  EXPECT_EQ(opened.bags.get(), nullptr);
}

TEST_F(Pkcs12Test, IncompleteParametersAreRefused) {
  HeldParameters noAlgorithm = usual();
  auto* const identifier = reinterpret_cast<runtime::Object*>(
      std::exchange(noAlgorithm->contents->bag->key->algorithm.identifier, nullptr));
  identifier->table->Release(identifier);
  expectRefused(noAlgorithm.get());

  expectRefused(parameters("no such scheme").get());
  expectRefused(parameters("pbeWithSHA1And128BitRC4", "no such scheme").get());

  HeldParameters version = usual();
  version->version = 2;
  expectRefused(version.get());

  HeldParameters iterations = usual();
  iterations->iterations = 0;
  expectRefused(iterations.get());

  HeldParameters digest = usual();
  types.TextRelease(std::exchange(digest->macDigest, nullptr));
  expectRefused(digest.get());

  for (char* runtime::PfxParameters::*const name :
       {&runtime::PfxParameters::bagEncryption1, &runtime::PfxParameters::bagEncryption2}) {
    HeldParameters nameless = usual();
    types.TextRelease(std::exchange(nameless.get()->*name, nullptr));
    expectRefused(nameless.get());
  }
  HeldParameters otherDigest = usual();
  types.TextRelease(otherDigest->macDigest);
  otherDigest->macDigest = types.TextDuplicate("MD5");
  expectRefused(otherDigest.get());
  HeldParameters noCertificate = parameters();
  addBag(noCertificate.get(), runtime::kCertificateBag);
  expectRefused(noCertificate.get());

  HeldParameters content = parameters();
  addBag(content.get(), runtime::kKeyBag);
  expectRefused(content.get());
  HeldParameters unsignedOne = parameters();
  ASSERT_EQ(
      velmora_certificate_create(&addBag(unsignedOne.get(), runtime::kCertificateBag)->certificate),
      kOk);
  expectRefused(unsignedOne.get());
}

// The MAC is made anew behind damaged safes by changing a file before its MAC is computed: a bag
// whose certificate is none.
TEST_F(Pkcs12Test, ARightMacOverDamagedContentIsVerifiedButFails) {
  HeldParameters made = parameters();
  addKey(made.get(), 0);
  runtime::PrivateKeyInfo* const key = made->contents->bag->key;
  // Parameters that are no DER element: written as they are, and refused when read.
  key->algorithm.parameters.data = static_cast<uint8_t*>(spy.root.Allocate(1));
  key->algorithm.parameters.length = 1;
  key->algorithm.parameters.data[0] = 0x30;
  const Opened opened = open(encode(made.get(), "x"), "x");
  EXPECT_EQ(opened.result, kFail);
  EXPECT_EQ(opened.verified, 1);
  EXPECT_EQ(opened.bags.get(), nullptr);
}

TEST_F(Pkcs12Test, TheFlagIsWrittenInEveryCase) {
  uint8_t verified = 0xFF;
  runtime::BagNode* bags = nullptr;
  EXPECT_EQ(spy.pkcs12.Decode(nullptr, nullptr, nullptr, &bags, &verified), kNullPointer);
  EXPECT_EQ(verified, 0);
  const Opened opened = open("no PKCS#12", "x");
  EXPECT_EQ(opened.result, kFail);
  EXPECT_EQ(opened.verified, 0);
}

TEST_F(Pkcs12Test, NullArgumentsAreRefused) {
  uint8_t verified = 0xFF;
  runtime::BagNode* bags = nullptr;
  const runtime::ByteBuffer data{};
  HeldBuffer out;
  HeldParameters made = usual();
  EXPECT_EQ(velmora::pkcs12Table.GetTypes(nullptr), kNullPointer);
  EXPECT_EQ(spy.pkcs12.Encode(nullptr, nullptr, out.put()), kNullPointer);
  EXPECT_EQ(spy.pkcs12.Encode(made.get(), nullptr, nullptr), kNullPointer);
  EXPECT_EQ(spy.pkcs12.Decode(&data, nullptr, nullptr, nullptr, &verified), kNullPointer);
  EXPECT_EQ(verified, 0);
  bags = made->contents;
  EXPECT_EQ(spy.pkcs12.Decode(&data, nullptr, nullptr, &bags, nullptr), kNullPointer);
  EXPECT_EQ(bags, nullptr);
  EXPECT_EQ(spy.pkcs12Types.ParametersCreate(nullptr), kNullPointer);
  EXPECT_EQ(spy.pkcs12Types.BagNodeCreate(nullptr), kNullPointer);
  EXPECT_EQ(spy.pkcs12Types.BagCreate(nullptr), kNullPointer);
  EXPECT_EQ(spy.pkcs12Types.PrivateKeyInfoCreate(nullptr), kNullPointer);
}

TEST_F(Pkcs12Test, ImmodestIterationCountsAreRefused) {
  std::string pfx = encode(usual().get(), "x");
  // The count of the MAC ends the file: 2048 turned into 0x7F000000 more would take hours.
  ASSERT_EQ(toHex(pfx.data() + pfx.size() - 4, 4), "02020800");
  HeldParameters greedy = usual();
  greedy->iterations = 20'000'000;
  expectRefused(greedy.get());
}

TEST_F(Pkcs12Test, EveryTruncationIsRefused) {
  for (const std::string_view sample : {samples::kRc4Pfx, samples::kOpenPfx}) {
    const std::string pfx(sample);
    for (size_t length = 0; length < pfx.size(); ++length) {
      const Opened opened = open(pfx.substr(0, length), "secret");
      EXPECT_EQ(opened.result, kFail) << length;
      EXPECT_EQ(opened.bags.get(), nullptr);
    }
  }
}

// One bit in each byte turned over.
TEST_F(Pkcs12Test, DamageIsRefusedOrRead) {
  for (const std::string_view sample : {samples::kOpenPfx, samples::kRc2Pfx}) {
    const std::string pfx(sample);
    for (size_t at = 0; at < pfx.size(); ++at) {
      std::string damaged = pfx;
      damaged[at] = static_cast<char>(damaged[at] ^ (1 << (at % 8)));
      const Opened opened = open(damaged, "secret");
      if (opened.result < 0) {
        EXPECT_EQ(opened.bags.get(), nullptr);
      }
      EXPECT_LE(opened.verified, 1);
    }
  }
}

TEST_F(Pkcs12Test, NoFreedBlockHoldsTheKeyOrThePassword) {
  const std::string_view prime = samples::kLeafKey.substr(300, 48);
  const std::string password("\0p\0a\0s\0s\0w\0o\0r\0d", 16);
  int found = 0;
  HeldParameters made = usual();
  String secret("password");
  HeldBuffer out;
  HeldBags bags;
  uint8_t verified = 0;
  spy.onFree = [&](const uint8_t* block, uint64_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(block), size);
    found += bytes.find(prime) != std::string_view::npos ||
             bytes.find(password) != std::string_view::npos;
  };
  EXPECT_EQ(spy.pkcs12.Encode(made.get(), secret.get(), out.put()), kOk);
  EXPECT_EQ(spy.pkcs12.Decode(out.get(), nullptr, secret.get(), bags.put(), &verified), kOk);
  EXPECT_EQ(verified, 1);
  made.reset();
  bags.reset();
  spy.onFree = nullptr;
  EXPECT_EQ(found, 0);
}

TEST_F(Pkcs12Test, EveryFailedAllocationIsSurvivedWhenWriting) {
  HeldParameters made = usual();
  made->iterations = 1;
  String secret("x");
  const int swept = sweepAllocations(spy, [&] {
    HeldBuffer out;
    const int32_t result = spy.pkcs12.Encode(made.get(), secret.get(), out.put());
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    EXPECT_EQ(out.get() != nullptr, result == kOk);
    return result == kOk;
  });
  EXPECT_GT(swept, 20);
}

TEST_F(Pkcs12Test, AnEncodingThatFailedSaysSo) {
  const HeldParameters made = usual();
  made->iterations = 1;
  const velmora::Password password("x");
  sweepAllocations(spy, [&] {
    velmora::Bytes out;
    return velmora::encodePfx(*made.get(), password, out) == kOk;
  });
}

TEST_F(Pkcs12Test, EveryFailedAllocationIsSurvivedWhenReading) {
  for (const std::string_view sample : {samples::kRc4Pfx, samples::kAes128Pfx}) {
    const std::string pfx(sample);
    String secret("secret");
    const int swept = sweepAllocations(spy, [&] {
      HeldBags bags;
      uint8_t verified = 0;
      const runtime::ByteBuffer data = bufferOf(pfx);
      const int32_t result = spy.pkcs12.Decode(&data, nullptr, secret.get(), bags.put(), &verified);
      EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
      EXPECT_EQ(bags.get() != nullptr, result == kOk);
      return result == kOk;
    });
    EXPECT_GT(swept, 20);
  }
}

}  // namespace
}  // namespace vexa::test
