#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "../samples.h"
#include "pal/posix/counters.h"
#include "pal/windows_api.h"

namespace {

using samples::bytes;

constexpr LPCWSTR kProvider = u"Microsoft Enhanced Cryptographic Provider v1.0";

DWORD code(HRESULT error) { return static_cast<DWORD>(error); }

// Starts and ends without containers.
class PosixKeyContainers : public testing::Test {
 protected:
  PosixKeyContainers() { pal::posix::clearKeyContainers(); }
  ~PosixKeyContainers() override { pal::posix::clearKeyContainers(); }
};

// A new container, open.
class Container {
 public:
  Container() {
    EXPECT_TRUE(CryptAcquireContextW(&provider_, u"c", kProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  }
  Container(const Container&) = delete;
  Container& operator=(const Container&) = delete;
  ~Container() { close(); }

  void close() {
    EXPECT_TRUE(provider_ == 0 || CryptReleaseContext(provider_, 0));
    provider_ = 0;
  }
  // A key, to be destroyed; 0 when it is refused.
  HCRYPTKEY import(const std::vector<BYTE>& blob, HCRYPTKEY below = 0, DWORD flags = 0) {
    HCRYPTKEY key = 0;
    SetLastError(0);
    const BOOL isTaken =
        CryptImportKey(provider_, blob.data(), static_cast<DWORD>(blob.size()), below, flags, &key);
    EXPECT_EQ(isTaken != FALSE, key != 0);
    return key;
  }
  HCRYPTPROV get() const { return provider_; }

 private:
  HCRYPTPROV provider_ = 0;
};

}  // namespace

TEST_F(PosixKeyContainers, ProvidersAndKeysAreCounted) {
  const std::size_t providers = pal::posix::openProviders();
  const std::size_t keys = pal::posix::openKeys();
  Container container;
  EXPECT_EQ(pal::posix::storedKeys(), 0u);
  const HCRYPTKEY key = container.import(bytes(samples::kKeyBlob));
  EXPECT_EQ(pal::posix::openProviders(), providers + 1);
  EXPECT_EQ(pal::posix::openKeys(), keys + 1);
  EXPECT_EQ(pal::posix::storedKeys(), 1u);

  EXPECT_TRUE(CryptDestroyKey(key));
  container.close();
  EXPECT_EQ(pal::posix::openProviders(), providers);
  EXPECT_EQ(pal::posix::openKeys(), keys);
  EXPECT_EQ(pal::posix::storedKeys(), 1u) << "the container keeps its key";
}

TEST_F(PosixKeyContainers, EachProviderIsKnownByItsName) {
  for (const LPCWSTR name :
       {u"Microsoft Base Cryptographic Provider v1.0",
        u"Microsoft Enhanced Cryptographic Provider v1.0",
        u"Microsoft Strong Cryptographic Provider", static_cast<LPCWSTR>(nullptr)}) {
    HCRYPTPROV provider = 0;
    EXPECT_TRUE(CryptAcquireContextW(&provider, nullptr, name, PROV_RSA_FULL,
                                     CRYPT_VERIFYCONTEXT | CRYPT_SILENT));
    EXPECT_TRUE(CryptReleaseContext(provider, 0));
  }
}

TEST_F(PosixKeyContainers, AnImportNeedsABlobAndAPlace) {
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(
      CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT));
  const auto blob = bytes(samples::kKeyBlob);
  const auto size = static_cast<DWORD>(blob.size());
  HCRYPTKEY key = 0;
  SetLastError(0);
  EXPECT_FALSE(CryptImportKey(provider, nullptr, size, 0, 0, &key));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  SetLastError(0);
  EXPECT_FALSE(CryptImportKey(provider, blob.data(), size, 0, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(pal::posix::openKeys(), 0u);
  EXPECT_TRUE(CryptReleaseContext(provider, 0));
}

TEST_F(PosixKeyContainers, AKeyOfNoBitsIsNone) {
  Container container;
  auto blob = bytes(samples::kKeyBlob);
  blob.resize(sizeof(BLOBHEADER) + sizeof(RSAPUBKEY));
  std::fill_n(blob.begin() + 12, 4, std::uint8_t{0});  // the number of bits
  EXPECT_EQ(container.import(blob), 0u);
  EXPECT_EQ(GetLastError(), code(NTE_BAD_DATA));
}

TEST_F(PosixKeyContainers, HaveRoomForAKeyOfEachUse) {
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(CryptAcquireContextW(&provider, u"c", kProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  auto blob = bytes(samples::kKeyBlob);
  for (const BYTE use : {BYTE{0xA4}, BYTE{0x24}, BYTE{0xA4}}) {  // exchange, signature
    blob[5] = use;
    HCRYPTKEY key = 0;
    ASSERT_TRUE(CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key));
    EXPECT_TRUE(CryptDestroyKey(key));
  }
  EXPECT_EQ(pal::posix::storedKeys(), 2u);
  SetLastError(0);
  EXPECT_FALSE(CryptReleaseContext(provider, 1));
  EXPECT_EQ(GetLastError(), code(NTE_BAD_FLAGS));
  EXPECT_EQ(pal::posix::openProviders(), 0u) << "it is released all the same";
}

TEST_F(PosixKeyContainers, ABlobIsNotImportedUnderAnotherKeyOrWithABrokenLength) {
  Container container;
  auto blob = bytes(samples::kKeyBlob);
  EXPECT_EQ(container.import(blob, 4), 0u);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  ++blob[12];  // the number of bits
  EXPECT_EQ(container.import(blob), 0u);
  EXPECT_EQ(GetLastError(), code(NTE_BAD_DATA));
  EXPECT_EQ(pal::posix::storedKeys(), 0u);
}

TEST_F(PosixKeyContainers, ABlobOfAnotherLengthThanItsKeyAsksForIsRefused) {
  Container container;
  const auto blob = bytes(samples::kKeyBlob);
  for (std::size_t size = 0; size < blob.size(); ++size) {
    EXPECT_EQ(container.import({blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(size)}),
              0u);
    if (size > 0) {
      EXPECT_EQ(GetLastError(), code(NTE_BAD_DATA)) << size;
    }
  }
  auto longer = blob;
  longer.push_back(0);
  EXPECT_EQ(container.import(longer), 0u);
}

TEST_F(PosixKeyContainers, AnotherVersionOrFlagOfAnImportIsRefused) {
  Container container;
  auto blob = bytes(samples::kKeyBlob);
  constexpr DWORD kAnotherFlag = 0x40;
  EXPECT_EQ(container.import(blob, 0, kAnotherFlag), 0u);
  EXPECT_EQ(GetLastError(), code(NTE_BAD_FLAGS));
  ++blob[1];
  EXPECT_EQ(container.import(blob), 0u);
  EXPECT_EQ(GetLastError(), code(NTE_BAD_VER));
  EXPECT_EQ(pal::posix::openKeys(), 0u);
}

TEST_F(PosixKeyContainers, NamesDoNotDistinguishCaseButMachineAndUserDo) {
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(CryptAcquireContextW(&provider, u"AZaz@[", nullptr, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  CryptReleaseContext(provider, 0);
  SetLastError(0);
  EXPECT_FALSE(CryptAcquireContextW(&provider, u"azAZ@[", nullptr, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  EXPECT_EQ(GetLastError(), code(NTE_EXISTS));
  SetLastError(0);
  EXPECT_FALSE(CryptAcquireContextW(&provider, u"AZaz`{", nullptr, PROV_RSA_FULL, 0));
  EXPECT_EQ(GetLastError(), code(NTE_BAD_KEYSET)) << "those are no letters";
  EXPECT_TRUE(CryptAcquireContextW(&provider, u"azaz@[", nullptr, PROV_RSA_FULL,
                                   CRYPT_NEWKEYSET | CRYPT_MACHINE_KEYSET));
  CryptReleaseContext(provider, 0);
}
