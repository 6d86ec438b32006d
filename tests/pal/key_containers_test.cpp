#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "pal/wide.h"
#include "samples.h"

namespace {

const WCHAR kProvider[] = PAL_TEXT("Microsoft Enhanced Cryptographic Provider v1.0");
const WCHAR kContainer[] = PAL_TEXT("vexa pal test container");

// The last error of an attempt; 0 for a success, whose provider is released.
DWORD acquire(LPCWSTR container, LPCWSTR name, DWORD type, DWORD flags) {
  HCRYPTPROV provider = 0;
  if (!CryptAcquireContextW(&provider, container, name, type, flags)) {
    return GetLastError();
  }
  if ((flags & CRYPT_DELETEKEYSET) == 0) {
    CryptReleaseContext(provider, 0);
  }
  return 0;
}
DWORD acquire(DWORD flags) { return acquire(kContainer, kProvider, PROV_RSA_FULL, flags); }

DWORD code(HRESULT error) { return static_cast<DWORD>(error); }

// Starts and ends without the container.
class KeyContainer : public testing::Test {
 protected:
  KeyContainer() { acquire(CRYPT_DELETEKEYSET); }
  ~KeyContainer() override { acquire(CRYPT_DELETEKEYSET); }
};

// A new container, open.
class KeyImport : public KeyContainer {
 protected:
  void SetUp() override {
    ASSERT_TRUE(
        CryptAcquireContextW(&provider_, kContainer, kProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  }
  void TearDown() override { EXPECT_TRUE(CryptReleaseContext(provider_, 0)); }

  DWORD import(const std::vector<std::uint8_t>& blob, DWORD flags = 0) {
    HCRYPTKEY key = 0;
    if (!CryptImportKey(provider_, blob.data(), static_cast<DWORD>(blob.size()), 0, flags, &key)) {
      return GetLastError();
    }
    EXPECT_TRUE(CryptDestroyKey(key));
    return 0;
  }

  HCRYPTPROV provider_ = 0;
  std::vector<std::uint8_t> blob_ = samples::bytes(samples::kKeyBlob);
};

}  // namespace

TEST_F(KeyContainer, IsMadeOnce) {
  EXPECT_EQ(acquire(CRYPT_NEWKEYSET), 0u);
  EXPECT_EQ(acquire(CRYPT_NEWKEYSET), code(NTE_EXISTS));
}

TEST_F(KeyContainer, CanBeOpenedOnceItIsMade) {
  EXPECT_EQ(acquire(0), code(NTE_BAD_KEYSET));
  acquire(CRYPT_NEWKEYSET);
  EXPECT_EQ(acquire(0), 0u);
}

TEST_F(KeyContainer, CanBeDeletedAndMadeAnew) {
  acquire(CRYPT_NEWKEYSET);
  EXPECT_EQ(acquire(CRYPT_DELETEKEYSET), 0u);
  EXPECT_EQ(acquire(CRYPT_DELETEKEYSET), code(NTE_BAD_KEYSET));
  EXPECT_EQ(acquire(CRYPT_NEWKEYSET), 0u);
}

TEST_F(KeyContainer, DeletingGivesNoProvider) {
  acquire(CRYPT_NEWKEYSET);
  HCRYPTPROV provider = 7;
  ASSERT_TRUE(
      CryptAcquireContextW(&provider, kContainer, kProvider, PROV_RSA_FULL, CRYPT_DELETEKEYSET));
  EXPECT_EQ(provider, 0u);
}

TEST_F(KeyContainer, MakingAndDeletingExcludeEachOther) {
  EXPECT_EQ(acquire(CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET), code(NTE_BAD_FLAGS));
}

TEST_F(KeyContainer, WithoutContainerNoneMayBeNamed) {
  EXPECT_EQ(acquire(CRYPT_VERIFYCONTEXT), code(NTE_BAD_FLAGS));
  EXPECT_EQ(acquire(PAL_TEXT("c"), kProvider, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT),
            code(NTE_BAD_FLAGS));
  EXPECT_EQ(acquire(PAL_TEXT(""), kProvider, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT), 0u);
  EXPECT_EQ(acquire(nullptr, kProvider, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT), 0u);
}

TEST_F(KeyContainer, TheProviderMustExistAndBeOfItsType) {
  EXPECT_EQ(acquire(kContainer, PAL_TEXT("No Such Provider"), PROV_RSA_FULL, CRYPT_NEWKEYSET),
            code(NTE_KEYSET_NOT_DEF));
  EXPECT_EQ(acquire(kContainer, kProvider, 0, CRYPT_NEWKEYSET), code(NTE_BAD_PROV_TYPE));
  EXPECT_EQ(acquire(kContainer, kProvider, 24, CRYPT_NEWKEYSET), code(NTE_PROV_TYPE_NO_MATCH));
}

TEST_F(KeyContainer, ANullOutIsRefused) {
  SetLastError(0);
  EXPECT_FALSE(CryptAcquireContextW(nullptr, kContainer, kProvider, PROV_RSA_FULL, 0));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(KeyImport, TakesAnRsaKey) {
  EXPECT_EQ(import(blob_), 0u);
  EXPECT_EQ(import(blob_, CRYPT_EXPORTABLE), 0u) << "a second key replaces the first";
}

TEST_F(KeyImport, AnotherBlobTypeIsRefused) {
  blob_[0] = 0x55;
  EXPECT_EQ(import(blob_), code(NTE_BAD_TYPE));
}

TEST_F(KeyImport, AnotherAlgorithmIsRefused) {
  blob_[5] = 0x66;
  EXPECT_EQ(import(blob_), code(NTE_BAD_ALGID));
}

TEST_F(KeyImport, AnotherMagicIsRefused) {
  blob_[8] = 'X';
  EXPECT_EQ(import(blob_), code(NTE_BAD_DATA));
}

TEST_F(KeyImport, ABlobThatEndsInItsHeaderIsRefused) {
  blob_.resize(10);
  EXPECT_EQ(import(blob_), code(NTE_BAD_DATA));
}

TEST_F(KeyImport, NeedsAnOpenProvider) {
  HCRYPTKEY key = 0;
  SetLastError(0);
  EXPECT_FALSE(CryptImportKey(0x1230, blob_.data(), static_cast<DWORD>(blob_.size()), 0, 0, &key));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(KeyHandles, OnesThatAreNotOpenAreRefused) {
  SetLastError(0);
  EXPECT_FALSE(CryptReleaseContext(0x1230, 0));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  SetLastError(0);
  EXPECT_FALSE(CryptDestroyKey(0x1230));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}
