#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "../samples.h"
#include "pal/windows_api.h"
#include "runtime/keys/own_memory.h"

// What is left of keys in the memory of the process when their containers let them go.
namespace {

using vexa::test::countInMemory;

// A key of random numbers, which stand in this program as the pieces to look for alone.
class SecretKey {
 public:
  explicit SecretKey(HCRYPTPROV provider) {
    std::vector<BYTE> blob = samples::bytes(samples::kKeyBlob);
    std::random_device random;
    for (size_t i = sizeof(BLOBHEADER) + sizeof(RSAPUBKEY); i < blob.size(); ++i) {
      blob[i] = static_cast<BYTE>(random());
    }
    pieces_.add(blob.data(), blob.size(), sizeof(BLOBHEADER) + sizeof(RSAPUBKEY));
    EXPECT_TRUE(
        CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key_));
    explicit_bzero(blob.data(), blob.size());
  }
  SecretKey(const SecretKey&) = delete;
  SecretKey& operator=(const SecretKey&) = delete;
  ~SecretKey() { destroy(); }

  void destroy() {
    EXPECT_TRUE(key_ == 0 || CryptDestroyKey(key_));
    key_ = 0;
  }
  bool isInMemory() const { return countInMemory(pieces_) != 0; }

 private:
  vexa::test::Pieces pieces_;
  HCRYPTKEY key_ = 0;
};

HCRYPTPROV newContainer() {
  HCRYPTPROV provider = 0;
  EXPECT_TRUE(CryptAcquireContextW(&provider, u"secrets", nullptr, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  return provider;
}
void deleteContainer() {
  HCRYPTPROV provider = 0;
  EXPECT_TRUE(
      CryptAcquireContextW(&provider, u"secrets", nullptr, PROV_RSA_FULL, CRYPT_DELETEKEYSET));
}

// Everything once with other keys: when a function is called for the first time, the system's
// loader saves the registers, with whatever they hold, on the stack.
class PosixKeyContainersSecrets : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const HCRYPTPROV provider = newContainer();
    {
      const SecretKey first(provider);
      const SecretKey second(provider);
      EXPECT_TRUE(second.isInMemory());
    }
    EXPECT_TRUE(CryptReleaseContext(provider, 0));
    deleteContainer();
  }
};

}  // namespace

TEST_F(PosixKeyContainersSecrets, AKeyIsWipedWhenAnotherTakesItsPlace) {
  const HCRYPTPROV provider = newContainer();
  const SecretKey first(provider);
  EXPECT_TRUE(first.isInMemory());
  const SecretKey second(provider);
  EXPECT_FALSE(first.isInMemory());
  EXPECT_TRUE(second.isInMemory());
  EXPECT_TRUE(CryptReleaseContext(provider, 0));
  deleteContainer();
}

TEST_F(PosixKeyContainersSecrets, AKeyIsWipedWhenNobodyHasItsContainerAnyMore) {
  const HCRYPTPROV provider = newContainer();
  SecretKey key(provider);
  EXPECT_TRUE(CryptReleaseContext(provider, 0));
  deleteContainer();
  EXPECT_TRUE(key.isInMemory()) << "its handle is open";
  key.destroy();
  EXPECT_FALSE(key.isInMemory());
}
