#include "pkcs12_fixture.h"
#include "support/sweep.h"

// What becomes of the bags that the decoder gives.
namespace vexa::test {
namespace {

using testing::ElementsAre;

TEST_F(Pkcs12, OpeningRefusesNullArguments) {
  const ByteBuffer data{};
  EXPECT_EQ(openFile(nullptr, &password, &openedKey, &openedChain), kInvalidArgument);
  EXPECT_EQ(openFile(&data, &password, nullptr, &openedChain), kInvalidArgument);
  EXPECT_EQ(openFile(&data, &password, &openedKey, nullptr), kInvalidArgument);
}

TEST_F(Pkcs12Decoded, TheVerifiedFlagIsTestedBeforeTheResult) {
  decoded = {nullptr, 0, kAccessDenied};
  EXPECT_EQ(open(), kFail);
  decoded = {nullptr, 1, kAccessDenied};
  EXPECT_EQ(open(), kAccessDenied);
  decoded = {nullptr, 1, 3};
  EXPECT_EQ(open(), 3);
}

TEST_F(Pkcs12Decoded, AFlagThatTheDecoderLeavesAloneIsNotSet) {
  spy.pkcs12.Decode = [](const ByteBuffer*, const void*, const StringObject*, BagNode**, uint8_t*) {
    return kAccessDenied;
  };
  EXPECT_EQ(open(), kFail);
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
  int freed = 0;
  spy.onFree = [&freed](const uint8_t* block, uint64_t size) {
    if (size == 5) {
      ++freed;
      EXPECT_EQ(std::memcmp(block, "\0\0\0\0\0", 5), 0) << "key bytes are zeroed first";
    }
  };
  ASSERT_EQ(open(), kOk);
  spy.onFree = nullptr;
  EXPECT_EQ(freed, 2) << "the bag's and the copy of them";
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

TEST_F(Pkcs12Decoded, NodesAndBagsWithoutContentArePassedOver) {
  addNode();
  addEmpty(runtime::kKeyBag);
  addEmpty(runtime::kCertificateBag);
  EXPECT_EQ(open(), kFail) << "no key";
  decoded = {};
  addNode();
  addEmpty(runtime::kKeyBag);
  addKey("key", nullptr);
  addEmpty(runtime::kCertificateBag);
  addCertificate(samples.jane, nullptr);
  ASSERT_EQ(open(), kOk);
  EXPECT_THAT(subjects(), ElementsAre("CN=Jane,O=Orlind"));
  releaseOpened();
}

TEST_F(Pkcs12Decoded, AKeyOfAnyLengthIsCopiedWhole) {
  for (const char* const bytes : {"", "k", "ke"}) {
    decoded = {};
    addKey(bytes, nullptr);
    ASSERT_EQ(open(), kOk);
    ASSERT_EQ(openedKey->privateKey.bitLength, 8 * std::strlen(bytes));
    EXPECT_NE(openedKey->privateKey.bytes, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(openedKey->privateKey.bytes), std::strlen(bytes)),
              bytes);
    releaseOpened();
  }
}

TEST_F(Pkcs12Decoded, TheRuntimeDecidesWhetherIdsAreEqual) {
  spy.commonTypes.BufferCompare = [](const ByteBuffer*, const ByteBuffer*) { return 1; };
  addCertificate(samples.root, "02");
  addCertificate(samples.jane, "01");
  addKey("key", "01");
  ASSERT_EQ(open(), kOk);
  EXPECT_THAT(subjects(), ElementsAre("CN=Root,O=Orlind", "CN=Jane,O=Orlind"));
  EXPECT_EQ(openedKey->publicKey.bitLength, 0u);
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
  // The list holds the certificates of this order.
  void expectFewCalls(const std::vector<Certificate*>& order) {
    ASSERT_EQ(open(), kOk);
    EXPECT_LE(calls, 4 * kEach);
    std::vector<Certificate*> listed;
    for (const auto* record = openedChain; record != nullptr; record = record->next) {
      listed.push_back(record->certificate);
    }
    EXPECT_EQ(listed, order);
    releaseOpened();
  }

  uint8_t encodings[kEach]{};
  FakeCertificate crowd[kEach];
};

TEST_F(Pkcs12Crowded, ManyKeysAndCertificatesAreNotComparedInPairs) {
  std::vector<Certificate*> order;
  for (int i = 0; i < kEach; ++i) {
    addKey("key", idOf(i).c_str());
    addCertificate(order.emplace_back(crowd[kEach - 1 - i]), idOf(i).c_str());
  }
  expectFewCalls(order);
}

TEST_F(Pkcs12Crowded, ManyKeysAndCertificatesOfOneIdAreNotComparedInPairs) {
  std::vector<Certificate*> order;
  for (int i = 0; i < kEach; ++i) {
    addKey("key", "01");
    addCertificate(order.emplace_back(crowd[i]), "01");
  }
  expectFewCalls(order);
}

// --- Memory ---

class Pkcs12Shortage : public Pkcs12Decoded, public testing::WithParamInterface<const char*> {};

TEST_P(Pkcs12Shortage, IsSaidAtEveryFailedAllocation) {
  bool refused = true;
  for (uint64_t n = 1; refused; ++n) {
    ASSERT_LT(n, 100u);
    const int64_t before = spy.liveBlocks();
    decoded = {};
    addKey("key", GetParam());
    addCertificate(samples.jane, "01");
    addCertificate(samples.root, nullptr);
    allocation_gate::failAt(n, false);
    const int32_t result = open();
    refused = allocation_gate::refused() != 0;
    allocation_gate::neverFail();
    EXPECT_EQ(result, refused ? kOutOfMemory : kOk) << n;
    EXPECT_EQ(result == kOk, openedKey != nullptr);
    releaseOpened();
    EXPECT_EQ(spy.liveBlocks(), before) << n;
  }
}

INSTANTIATE_TEST_SUITE_P(KeyIds, Pkcs12Shortage, testing::Values("01", "02", nullptr));

}  // namespace
}  // namespace vexa::test
