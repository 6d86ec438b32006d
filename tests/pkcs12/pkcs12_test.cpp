#include "pkcs12_fixture.h"
#include "support/sweep.h"

// Creation and opening together.
namespace vexa::test {
namespace {

using testing::ElementsAre;

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

}  // namespace
}  // namespace vexa::test
