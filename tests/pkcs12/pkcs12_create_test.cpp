#include <functional>

#include "pkcs12_fixture.h"
#include "support/sweep.h"

// What the encoder is given.
namespace vexa::test {
namespace {

TEST_F(Pkcs12, CreationRefusesNullArgumentsButThePassword) {
  EXPECT_EQ(createFile(nullptr, samples.janeKey, chain, &password, &file), kInvalidArgument);
  EXPECT_EQ(createFile(&name, nullptr, chain, &password, &file), kInvalidArgument);
  EXPECT_EQ(createFile(&name, samples.janeKey, nullptr, &password, &file), kInvalidArgument);
  EXPECT_EQ(createFile(&name, samples.janeKey, chain, &password, nullptr), kInvalidArgument);
  chain[0].certificate = nullptr;
  EXPECT_EQ(createFile(), kInvalidArgument) << "the key's own certificate is missing";
  EXPECT_EQ(file, nullptr);
}

TEST_F(Pkcs12, TheParameterRecordIsFilledAsTheEncoderExpectsIt) {
  spy.pkcs12.Encode = watchEncode;
  ASSERT_EQ(createFile(), kOk);
  EXPECT_EQ(seen.version, 3u);
  EXPECT_EQ(seen.iterations, 2048u);
  EXPECT_EQ(seen.names, "SHA-1|pbeWithSHA1And128BitRC4|pbeWithSHA1And3-KeyTripleDES-CBC");
  EXPECT_EQ(seen.password, &password);
}

TEST_F(Pkcs12, AListOfThreeYieldsFourBagsInTheirOrder) {
  spy.pkcs12.Encode = watchEncode;
  ASSERT_EQ(createFile(), kOk);
  ASSERT_EQ(seen.bags.size(), 4u);
  const std::string key(reinterpret_cast<char*>(samples.janeKey->privateKey.bytes),
                        samples.janeKey->privateKey.bitLength / 8);
  EXPECT_EQ(seen.bags[0].type, 0u);
  EXPECT_EQ(seen.bags[0].shrouded, 1);
  EXPECT_EQ(seen.bags[0].name, "Jane's key");
  EXPECT_EQ(seen.bags[0].localKeyId, "\x01");
  EXPECT_EQ(seen.bags[0].keyBytes, key);
  EXPECT_EQ(seen.bags[1].type, 1u);
  EXPECT_EQ(seen.bags[1].shrouded, 0);
  EXPECT_EQ(seen.bags[1].name, "Jane's key");
  EXPECT_EQ(seen.bags[1].localKeyId, "\x01");
  EXPECT_EQ(seen.bags[1].certificate, samples.jane);
  EXPECT_EQ(seen.bags[2].name, "Authority");
  EXPECT_EQ(seen.bags[2].localKeyId, "-");
  EXPECT_EQ(seen.bags[2].certificate, samples.authority);
  EXPECT_EQ(seen.bags[3].name, "Root");
  EXPECT_EQ(seen.bags[3].shrouded, 0);
}

TEST_F(Pkcs12, AListOfOneYieldsExactlyTwoBags) {
  spy.pkcs12.Encode = watchEncode;
  chain[0].next = nullptr;
  ASSERT_EQ(createFile(), kOk);
  EXPECT_EQ(seen.bags.size(), 2u);
}

TEST_F(Pkcs12, RecordsWithoutACertificateAreSkippedAndANamelessOneHasAnEmptyName) {
  spy.pkcs12.Encode = watchEncode;
  FakeCertificate nameless;
  chain[1].certificate = nullptr;
  chain[2].certificate = nameless;
  ASSERT_EQ(createFile(), kOk);
  ASSERT_EQ(seen.bags.size(), 3u);
  EXPECT_EQ(seen.bags[2].certificate, &nameless.object);
  EXPECT_EQ(seen.bags[2].name, "");
  EXPECT_EQ(nameless.references, 1u) << "the bag's copy was released again";
}

TEST_F(Pkcs12, ResultsOfTheRuntimeAreReturnedAsTheyStand) {
  spy.pkcs12.Encode = [](const runtime::PfxParameters*, const StringObject*, ByteBuffer**) {
    return int32_t{7};
  };
  EXPECT_EQ(createFile(), 7);
  spy.pkcs12Types.ParametersCreate = [](runtime::PfxParameters** out) {
    *out = nullptr;
    return kAccessDenied;
  };
  EXPECT_EQ(createFile(), kAccessDenied);
}

int bagsLeft = 0;
TEST_F(Pkcs12, ABagThatCannotBeMadeEndsItWithItsOwnResult) {
  static auto* const create = spy.pkcs12Types.BagCreate;
  spy.pkcs12Types.BagCreate = [](SafeBag** out) {
    *out = nullptr;
    return bagsLeft-- > 0 ? create(out) : kAccessDenied;
  };
  for (int made = 0; made < 4; ++made) {
    bagsLeft = made;
    EXPECT_EQ(createFile(), kAccessDenied) << made;
  }
  bagsLeft = 4;
  EXPECT_EQ(createFile(), kOk);
}

TEST_F(Pkcs12, APositiveResultOfTheRuntimeEndsItToo) {
  spy.pkcs12Types.PrivateKeyInfoCreate = [](auto**) { return int32_t{kFalse}; };
  spy.pkcs12.Encode = watchEncode;
  seen = {};
  EXPECT_EQ(createFile(), kFalse);
  EXPECT_EQ(seen.calls, 0);
}

TEST_F(Pkcs12, AnyStepThatFailsEndsItWithItsOwnResult) {
  const auto types = spy.pkcs12Types;
  const auto common = spy.commonTypes;
  const auto strings = spy.strings;
  spy.pkcs12.Encode = watchEncode;
  const std::function<void()> failures[] = {
      [&] { spy.pkcs12Types.BagNodeCreate = [](auto**) { return kAccessDenied; }; },
      [&] { spy.pkcs12Types.PrivateKeyInfoCreate = [](auto**) { return kAccessDenied; }; },
      [&] { spy.strings.Create = [](auto**) { return kAccessDenied; }; },
      [&] { spy.strings.AssignBytes = [](auto*, auto*, uint64_t) { return kAccessDenied; }; },
      [&] { spy.commonTypes.AlgorithmIdCopy = [](auto*, auto*) { return kAccessDenied; }; },
      [&] { spy.commonTypes.BufferFromHex = [](auto*, auto**) { return kAccessDenied; }; },
  };
  for (const auto& fail : failures) {
    fail();
    EXPECT_EQ(createFile(), kAccessDenied) << &fail - failures;
    spy.pkcs12Types = types;
    spy.commonTypes = common;
    spy.strings = strings;
  }
  EXPECT_EQ(seen.calls, 0);
}

// --- The key bag ---

const void* copiedAlgorithm = nullptr;

TEST_F(Pkcs12, TheAlgorithmOfTheKeyBagIsThatOfThePublicKey) {
  static auto* const copy = spy.commonTypes.AlgorithmIdCopy;
  spy.commonTypes.AlgorithmIdCopy = [](auto* target, const auto* source) {
    copiedAlgorithm = source;
    return copy(target, source);
  };
  spy.pkcs12.Encode = watchEncode;
  ASSERT_EQ(createFile(), kOk);
  EXPECT_EQ(copiedAlgorithm, &samples.janeKey->publicKey.algorithm);
}

TEST_F(Pkcs12, TheKeyBagHoldsTheWholeBytesOfTheKey) {
  spy.pkcs12.Encode = watchEncode;
  uint8_t bytes[] = {1, 2, 3};
  KeyObject key{};
  key.publicKey.algorithm = samples.janeKey->publicKey.algorithm;
  key.privateKey = {{}, 20, bytes};
  ASSERT_EQ(createFile(&name, &key, chain, &password, &file), kOk);
  EXPECT_EQ(seen.bags[0].keyBytes, "\x01\x02");
  seen = {};
  key.privateKey = {{}, 8, bytes};
  ASSERT_EQ(createFile(&name, &key, chain, &password, &file), kOk);
  EXPECT_EQ(seen.bags[0].keyBytes, "\x01");
  seen = {};
  key.privateKey = {{}, 7, nullptr};
  ASSERT_EQ(createFile(&name, &key, chain, &password, &file), kOk);
  EXPECT_EQ(seen.bags[0].keyBytes, "");
}

TEST_F(Pkcs12, ANameIsCopiedByItsLength) {
  spy.pkcs12.Encode = [](const runtime::PfxParameters* parameters, const StringObject*,
                         ByteBuffer**) {
    const StringObject* const given = parameters->contents->bag->friendlyName;
    const auto& strings = SpyRuntime::current().strings;
    EXPECT_EQ(std::string(strings.GetText(given), strings.GetLength(given)),
              std::string("a\0b", 3));
    return kOk;
  };
  ASSERT_EQ(spy.strings.AssignBytes(&name, "a\0b", 3), 0);
  EXPECT_EQ(createFile(), kOk);
}

// --- Memory ---

TEST_F(Pkcs12, CreationSurvivesEveryFailedAllocation) {
  spy.pkcs12.Encode = watchEncode;
  sweepAllocations(spy, [this] {
    const int32_t result = createFile();
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    return result == kOk;
  });
}

}  // namespace
}  // namespace vexa::test
