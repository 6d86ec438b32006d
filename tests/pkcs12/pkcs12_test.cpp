#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/fake_certificate.h"
#include "support/module_fixture.h"
#include "support/sample_certificates.h"
#include "support/sweep.h"
#include "vexa/certificates.h"
#include "vexa/core.h"

namespace vexa::test {
namespace {

using runtime::BagNode;
using runtime::ByteBuffer;
using runtime::Certificate;
using runtime::CertificateList;
using runtime::KeyObject;
using runtime::SafeBag;
using runtime::StringObject;
using testing::ElementsAre;

// What the encoder was given, bag by bag.
struct SeenBag {
  uint32_t type;
  uint8_t shrouded;
  std::string name;
  std::string localKeyId;  // "-" when absent
  Certificate* certificate;
  std::string keyBytes;
};
struct Seen {
  uint32_t version = 0;
  uint32_t iterations = 0;
  std::string names;
  std::vector<SeenBag> bags;
  const StringObject* password = nullptr;
  int calls = 0;
} seen;

std::string bytesOf(const ByteBuffer* buffer) {
  return buffer == nullptr ? "-"
                           : std::string(reinterpret_cast<char*>(buffer->data), buffer->length);
}

int32_t watchEncode(const runtime::PfxParameters* parameters, const StringObject* password,
                    ByteBuffer**) {
  ++seen.calls;
  seen.version = parameters->version;
  seen.iterations = parameters->iterations;
  seen.names = std::string(parameters->macDigest) + "|" + parameters->bagEncryption1 + "|" +
               parameters->bagEncryption2;
  seen.password = password;
  for (const BagNode* node = parameters->contents; node != nullptr; node = node->next) {
    const SafeBag& bag = *node->bag;
    const bool isKey = bag.type == runtime::kKeyBag;
    seen.bags.push_back({bag.type, bag.shrouded,
                         SpyRuntime::current().strings.GetText(bag.friendlyName),
                         bytesOf(bag.localKeyId), isKey ? nullptr : bag.certificate,
                         isKey ? bytesOf(&bag.key->key) : ""});
  }
  return kOk;
}

class Pkcs12 : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    seen = {};
    ASSERT_EQ(spy.strings.AssignText(&name, "Jane's key"), 0);
    ASSERT_EQ(spy.strings.AssignText(&password, "secret"), 0);
    chain[0] = {samples.jane, &chain[1], 1};
    chain[1] = {samples.authority, &chain[2], 1};
    chain[2] = {samples.root, nullptr, 1};
  }
  void TearDown() override {
    spy.strings.Clear(&name);
    spy.strings.Clear(&password);
    spy.commonTypes.BufferRelease(file);
    ModuleTest::TearDown();
  }

  int32_t createFile(const StringObject* nameArgument, const KeyObject* key,
                     const CertificateList* certificates, const StringObject* passwordArgument,
                     ByteBuffer** out) {
    return tableEntry<int32_t(const StringObject*, const KeyObject*, const CertificateList*,
                              const StringObject*, ByteBuffer**)>(list(kCoreListName), 15)(
        nameArgument, key, certificates, passwordArgument, out);
  }
  int32_t createFile() { return createFile(&name, samples.janeKey, chain, &password, &file); }
  int32_t openFile(const ByteBuffer* data, const StringObject* passwordArgument, KeyObject** key,
                   CertificateList** certificates) {
    return tableEntry<int32_t(const ByteBuffer*, const StringObject*, KeyObject**,
                              CertificateList**)>(list(kCoreListName), 16)(data, passwordArgument,
                                                                           key, certificates);
  }
  int32_t openFile() { return openFile(file, &password, &openedKey, &openedChain); }
  std::vector<std::string> subjects() {
    std::vector<std::string> texts;
    for (const auto* record = openedChain; record != nullptr; record = record->next) {
      StringObject text{};
      spy.commonTypes.StringCopy(&text,
                                 record->certificate->table->GetSubject(record->certificate));
      texts.emplace_back(spy.strings.GetText(&text));
      spy.strings.Clear(&text);
    }
    return texts;
  }
  void releaseOpened() {
    spy.commonTypes.KeyRelease(std::exchange(openedKey, nullptr));
    spy.commonTypes.CertificateListRelease(std::exchange(openedChain, nullptr));
  }

  const SampleCertificates& samples = SampleCertificates::instance();
  StringObject name{};
  StringObject password{};
  CertificateList chain[3]{};
  ByteBuffer* file = nullptr;
  KeyObject* openedKey = nullptr;
  CertificateList* openedChain = nullptr;
};

// --- Creation ---

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

TEST_F(Pkcs12, ANullPasswordIsPassedOnByBoth) {
  spy.pkcs12.Encode = watchEncode;
  seen.password = &password;
  ASSERT_EQ(createFile(&name, samples.janeKey, chain, nullptr, &file), kOk);
  EXPECT_EQ(seen.password, nullptr);
  static const StringObject* decodePassword;
  static const void* decodeOptions;
  spy.pkcs12.Decode = [](const ByteBuffer*, const void* options, const StringObject* secret,
                         BagNode** bags, uint8_t* verified) {
    decodePassword = secret;
    decodeOptions = options;
    *bags = nullptr;
    *verified = 1;
    return kOk;
  };
  decodePassword = &password;
  decodeOptions = this;
  const ByteBuffer data{};
  EXPECT_EQ(openFile(&data, nullptr, &openedKey, &openedChain), kFail) << "no key bag";
  EXPECT_EQ(decodePassword, nullptr);
  EXPECT_EQ(decodeOptions, nullptr);
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

TEST_F(Pkcs12, BothTraceTheirScopes) {
  spy.pkcs12.Encode = watchEncode;
  spy.clearTrace();
  EXPECT_EQ(createFile(), kOk);
  const ByteBuffer data{};
  EXPECT_EQ(openFile(&data, nullptr, nullptr, nullptr), kInvalidArgument);
  EXPECT_THAT(spy.traceTexts(),
              ElementsAre("{ aux_create_pkcs12", "}        0", "{ aux_open_pkcs12", "} 80070057"));
}

// --- Opening what was created ---

TEST_F(Pkcs12, OpeningGivesTheOwnCertificateFirstAndEachOnce) {
  ASSERT_EQ(createFile(), kOk);
  ASSERT_EQ(openFile(), kOk);
  EXPECT_THAT(subjects(),
              ElementsAre("CN=Jane,O=Orlind", "CN=Authority,O=Orlind", "CN=Root,O=Orlind"));
  EXPECT_EQ(spy.commonTypes.KeyCompare(&openedKey->publicKey, &samples.janeKey->publicKey), 0);
  ASSERT_EQ(openedKey->privateKey.bitLength, samples.janeKey->privateKey.bitLength);
  EXPECT_EQ(std::memcmp(openedKey->privateKey.bytes, samples.janeKey->privateKey.bytes,
                        openedKey->privateKey.bitLength / 8),
            0);
  EXPECT_NE(openedKey->privateKey.algorithm.identifier, nullptr);
  releaseOpened();
}

TEST_F(Pkcs12, AWrongPasswordFailsAndWritesNothing) {
  ASSERT_EQ(createFile(), kOk);
  StringObject wrong{};
  ASSERT_EQ(spy.strings.AssignText(&wrong, "Secret"), 0);
  auto* const keyBefore = reinterpret_cast<KeyObject*>(this);
  openedKey = keyBefore;
  EXPECT_EQ(openFile(file, &wrong, &openedKey, &openedChain), kFail);
  EXPECT_EQ(openedKey, keyBefore);
  EXPECT_EQ(openedChain, nullptr);
  openedKey = nullptr;
  spy.strings.Clear(&wrong);
}

TEST_F(Pkcs12, EveryTruncationIsRefused) {
  ASSERT_EQ(createFile(), kOk);
  for (uint64_t length = 0; length < file->length; length += 7) {
    std::vector<uint8_t> cut(file->data, file->data + length);
    const ByteBuffer data = {length, cut.data()};
    EXPECT_NE(openFile(&data, &password, &openedKey, &openedChain), kOk) << length;
  }
  EXPECT_EQ(openedKey, nullptr);
}

TEST_F(Pkcs12, OpeningRefusesNullArguments) {
  const ByteBuffer data{};
  EXPECT_EQ(openFile(nullptr, &password, &openedKey, &openedChain), kInvalidArgument);
  EXPECT_EQ(openFile(&data, &password, nullptr, &openedChain), kInvalidArgument);
  EXPECT_EQ(openFile(&data, &password, &openedKey, nullptr), kInvalidArgument);
}

// --- Opening what a scripted decoder gives ---

// The decoder's answers.
struct Decoded {
  BagNode* head = nullptr;
  uint8_t verified = 1;
  int32_t result = kOk;
};
Decoded decoded;

class Pkcs12Decoded : public Pkcs12 {
 protected:
  void SetUp() override {
    Pkcs12::SetUp();
    decoded = {};
    spy.pkcs12.Decode = [](const ByteBuffer*, const void*, const StringObject*, BagNode** bags,
                           uint8_t* verified) {
      *bags = decoded.head;
      *verified = decoded.verified;
      return decoded.result;
    };
  }

  void addKey(const char* bytes, const char* keyId) {
    SafeBag* bag = add(keyId);
    ASSERT_EQ(spy.pkcs12Types.PrivateKeyInfoCreate(&bag->key), 0);
    bag->key->key.length = std::strlen(bytes);
    bag->key->key.data = static_cast<uint8_t*>(spy.root.Allocate(std::strlen(bytes)));
    std::memcpy(bag->key->key.data, bytes, std::strlen(bytes));
  }
  void addCertificate(Certificate* certificate, const char* keyId) {
    SafeBag* bag = add(keyId);
    bag->type = runtime::kCertificateBag;
    auto* const object = reinterpret_cast<runtime::Object*>(certificate);
    object->table->AddRef(object);
    bag->certificate = certificate;
  }
  void addEmpty(uint32_t type) { add(nullptr)->type = type; }
  int32_t open() {
    const ByteBuffer data{};
    return openFile(&data, &password, &openedKey, &openedChain);
  }

 private:
  SafeBag* add(const char* keyId) {
    BagNode** link = &decoded.head;
    while (*link != nullptr) {
      link = &(*link)->next;
    }
    EXPECT_EQ(spy.pkcs12Types.BagNodeCreate(link), 0);
    EXPECT_EQ(spy.pkcs12Types.BagCreate(&(*link)->bag), 0);
    if (keyId != nullptr) {
      EXPECT_EQ(spy.commonTypes.BufferFromHex(keyId, &(*link)->bag->localKeyId), 0);
    }
    return (*link)->bag;
  }
};

TEST_F(Pkcs12Decoded, TheVerifiedFlagIsTestedBeforeTheResult) {
  decoded = {nullptr, 0, kAccessDenied};
  EXPECT_EQ(open(), kFail);
  decoded = {nullptr, 1, kAccessDenied};
  EXPECT_EQ(open(), kAccessDenied);
  decoded = {nullptr, 1, 3};
  EXPECT_EQ(open(), 3);
}

TEST_F(Pkcs12Decoded, BagsHandedOutWithAFailureAreReleased) {
  addKey("k", nullptr);
  decoded.result = kAccessDenied;
  EXPECT_EQ(open(), kAccessDenied);
}

TEST_F(Pkcs12Decoded, WithoutAKeyBagItFails) {
  addCertificate(samples.jane, "01");
  EXPECT_EQ(open(), kFail);
  EXPECT_EQ(openedChain, nullptr);
}

TEST_F(Pkcs12Decoded, AKeyWithoutAnIdOpensWithCertificatesInBagOrder) {
  addCertificate(samples.root, nullptr);
  addKey("key", nullptr);
  addCertificate(samples.jane, "01");
  ASSERT_EQ(open(), kOk);
  EXPECT_THAT(subjects(), ElementsAre("CN=Root,O=Orlind", "CN=Jane,O=Orlind"));
  EXPECT_EQ(openedKey->publicKey.bitLength, 0u) << "nothing derives the public half";
  EXPECT_EQ(openedKey->privateKey.bitLength, 24u);
  releaseOpened();
}

TEST_F(Pkcs12Decoded, TheCertificateOfTheKeysIdComesFirst) {
  addCertificate(samples.root, "02");
  addCertificate(samples.jane, "01");
  addKey("key", "01");
  ASSERT_EQ(open(), kOk);
  EXPECT_THAT(subjects(), ElementsAre("CN=Jane,O=Orlind", "CN=Root,O=Orlind"));
  EXPECT_EQ(spy.commonTypes.KeyCompare(&openedKey->publicKey, &samples.janeKey->publicKey), 0);
  releaseOpened();
}

TEST_F(Pkcs12Decoded, ALaterKeyBagOverwritesTheMaterialOfAnEarlierOne) {
  addKey("first", nullptr);
  addKey("2nd", nullptr);
  bool wiped = false;
  spy.onFree = [&wiped](const uint8_t* block, uint64_t size) {
    wiped = wiped || (size == 5 && std::memcmp(block, "\0\0\0\0\0", 5) == 0);
    EXPECT_FALSE(size == 5 && std::memcmp(block, "first", 5) == 0);
  };
  ASSERT_EQ(open(), kOk);
  spy.onFree = nullptr;
  EXPECT_TRUE(wiped) << "key bytes are zeroed before they are freed";
  ASSERT_EQ(openedKey->privateKey.bitLength, 24u);
  EXPECT_EQ(std::memcmp(openedKey->privateKey.bytes, "2nd", 3), 0);
  releaseOpened();
}

TEST_F(Pkcs12Decoded, BagsOfOtherTypesArePassedOver) {
  addKey("key", nullptr);
  addEmpty(5);
  addCertificate(samples.jane, nullptr);
  ASSERT_EQ(open(), kOk);
  EXPECT_THAT(subjects(), ElementsAre("CN=Jane,O=Orlind"));
  releaseOpened();
}

TEST_F(Pkcs12Decoded, EachKeyPutsThePublicKeyOfItsLastCertificateInThePlaceOfTheOneBefore) {
  addCertificate(samples.root, "01");
  addCertificate(samples.jane, "01");
  addCertificate(samples.authority, "02");
  addKey("one", "01");
  addKey("two", "02");
  addKey("three", "01");
  ASSERT_EQ(open(), kOk);
  EXPECT_EQ(spy.commonTypes.KeyCompare(&openedKey->publicKey, &samples.janeKey->publicKey), 0);
  EXPECT_THAT(subjects(),
              ElementsAre("CN=Root,O=Orlind", "CN=Jane,O=Orlind", "CN=Authority,O=Orlind"));
  releaseOpened();
}

TEST_F(Pkcs12Decoded, ACertificateWithoutAPublicKeyLeavesThatOfTheOneBefore) {
  FakeCertificate keyless;
  addCertificate(samples.jane, "01");
  addCertificate(keyless, "01");
  addCertificate(samples.root, "02");
  addKey("one", "01");
  addKey("two", "02");
  addKey("three", "01");
  ASSERT_EQ(open(), kOk);
  EXPECT_EQ(spy.commonTypes.KeyCompare(&openedKey->publicKey, &samples.janeKey->publicKey), 0);
  releaseOpened();
}

TEST_F(Pkcs12Decoded, AnIdThatBeginsLikeAnotherIsAnotherOne) {
  addCertificate(samples.root, "0101");
  addCertificate(samples.jane, "01");
  addCertificate(samples.authority, "");
  addKey("key", "01");
  ASSERT_EQ(open(), kOk);
  EXPECT_THAT(subjects(),
              ElementsAre("CN=Jane,O=Orlind", "CN=Root,O=Orlind", "CN=Authority,O=Orlind"));
  releaseOpened();
}

TEST_F(Pkcs12Decoded, ACertificateWithTwoIdsIsListedWithTheFirstKeyThatNamesIt) {
  addCertificate(samples.root, "02");
  addCertificate(samples.jane, "02");
  addCertificate(samples.jane, "01");
  addCertificate(samples.authority, "01");
  addKey("one", "01");
  addKey("two", "02");
  ASSERT_EQ(open(), kOk);
  EXPECT_THAT(subjects(),
              ElementsAre("CN=Jane,O=Orlind", "CN=Authority,O=Orlind", "CN=Root,O=Orlind"));
  releaseOpened();
}

// --- Many keys and certificates ---

// What the tables were asked, in all.
int calls = 0;

class Pkcs12Crowded : public Pkcs12Decoded {
 protected:
  static constexpr int kEach = 200;

  void SetUp() override {
    Pkcs12Decoded::SetUp();
    static auto* const compareBuffers = spy.commonTypes.BufferCompare;
    static auto* const compareCertificates = spy.commonTypes.CertificateCompare;
    static auto* const copyKey = spy.commonTypes.PublicKeyCopy;
    spy.commonTypes.BufferCompare = [](const ByteBuffer* a, const ByteBuffer* b) {
      ++calls;
      return compareBuffers(a, b);
    };
    spy.commonTypes.CertificateCompare = [](Certificate* a, Certificate* b) {
      ++calls;
      return compareCertificates(a, b);
    };
    spy.commonTypes.PublicKeyCopy = [](runtime::PublicKey* target, const runtime::PublicKey* key) {
      ++calls;
      return copyKey(target, key);
    };
    for (FakeCertificate& certificate : crowd) {
      const auto number = static_cast<uint8_t>(&certificate - crowd);
      encodings[number] = number;
      certificate.encoding = {1, &encodings[number]};
      certificate.publicKey = &samples.janeKey->publicKey;
    }
    calls = 0;
  }

  // "00", "01", ... "c7"
  static std::string idOf(int number) {
    constexpr char kDigits[] = "0123456789abcdef";
    return {kDigits[number / 16], kDigits[number % 16]};
  }
  void expectFewCalls() {
    ASSERT_EQ(open(), kOk);
    EXPECT_LE(calls, 4 * kEach);
    int listed = 0;
    for (const auto* record = openedChain; record != nullptr; record = record->next) {
      ++listed;
    }
    EXPECT_EQ(listed, kEach);
    releaseOpened();
  }

  uint8_t encodings[kEach]{};
  FakeCertificate crowd[kEach];
};

TEST_F(Pkcs12Crowded, ManyKeysAndCertificatesAreNotComparedInPairs) {
  for (int i = 0; i < kEach; ++i) {
    addKey("key", idOf(i).c_str());
    addCertificate(crowd[kEach - 1 - i], idOf(i).c_str());
  }
  expectFewCalls();
}

TEST_F(Pkcs12Crowded, ManyKeysAndCertificatesOfOneIdAreNotComparedInPairs) {
  for (int i = 0; i < kEach; ++i) {
    addKey("key", "01");
    addCertificate(crowd[i], "01");
  }
  expectFewCalls();
}

// --- Memory ---

TEST_F(Pkcs12, NoKeyByteIsFreedUnwiped) {
  const auto& material = samples.janeKey->privateKey;
  const std::string key(reinterpret_cast<char*>(material.bytes), material.bitLength / 8);
  const std::string middle = key.substr(key.size() / 2, 32);
  spy.onFree = [&middle](const uint8_t* block, uint64_t size) {
    const std::string_view freed(reinterpret_cast<const char*>(block), size);
    EXPECT_EQ(freed.find(middle), std::string_view::npos);
  };
  ASSERT_EQ(createFile(), kOk);
  ASSERT_EQ(openFile(), kOk);
  releaseOpened();
  spy.onFree = nullptr;
}

TEST_F(Pkcs12, CreationSurvivesEveryFailedAllocation) {
  spy.pkcs12.Encode = watchEncode;
  sweepAllocations(spy, [this] { return createFile() == kOk; });
}

TEST_F(Pkcs12Decoded, OpeningSurvivesEveryFailedAllocation) {
  for (uint64_t n = 1; n < 100; ++n) {
    const int64_t before = spy.liveBlocks();
    decoded = {};
    addKey("key", "01");
    addCertificate(samples.jane, "01");
    addCertificate(samples.root, nullptr);
    allocation_gate::failAt(n, false);
    const int32_t result = open();
    const bool refused = allocation_gate::refused() != 0;
    allocation_gate::neverFail();
    EXPECT_EQ(result == kOk, openedKey != nullptr);
    releaseOpened();
    EXPECT_EQ(spy.liveBlocks(), before) << n;
    if (!refused) {
      EXPECT_EQ(result, kOk);
      return;
    }
  }
}

}  // namespace
}  // namespace vexa::test
