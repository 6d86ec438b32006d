#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdlib.h>

#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "../loaded_library.h"
#include "../samples.h"
#include "pal/posix/counters.h"
#include "pal/windows_api.h"
#include "support/allocation_gate.h"

// Every `new` of this program asks the gate.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return vexa::test::allocation_gate::pass() ? std::malloc(size == 0 ? 1 : size) : nullptr;
}
void* operator new(std::size_t size) {
  void* block = operator new(size, std::nothrow);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

namespace allocation_gate = vexa::test::allocation_gate;
using samples::bytes;

// Runs `operation` with its 1st allocation failing, with its 2nd, and so on, until it needs no
// more. Each time it says that memory is short, as Windows does; without a failure it succeeds.
template <class Operation>
void sweep(Operation operation) {
  for (uint64_t n = 1;; ++n) {
    SetLastError(0);
    allocation_gate::failAt(n, false);
    const bool done = operation();
    const bool failedOne = allocation_gate::refused() != 0;
    allocation_gate::neverFail();
    if (!failedOne) {
      EXPECT_TRUE(done);
      EXPECT_GT(n, 1u) << "it needs no memory";
      return;
    }
    EXPECT_FALSE(done) << "allocation " << n;
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY}) << "allocation " << n;
  }
}

PCCERT_CONTEXT create() {
  const auto encoded = bytes(samples::kOne);
  return CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(),
                                      static_cast<DWORD>(encoded.size()));
}

class PosixCertStoreMemory : public testing::Test {
 protected:
  void SetUp() override {
    pal::posix::clearCertificateStores();
    store_ = CertOpenSystemStoreW(0, u"MY");
    one_ = create();
    contexts_ = pal::posix::openContexts();
  }
  void TearDown() override {
    EXPECT_EQ(pal::posix::openContexts(), contexts_);
    CertFreeCertificateContext(one_);
    CertCloseStore(store_, 0);
    pal::posix::clearCertificateStores();
  }

  HCERTSTORE store_ = nullptr;
  PCCERT_CONTEXT one_ = nullptr;
  std::size_t contexts_ = 0;
};

class PosixKeyContainerMemory : public testing::Test {
 protected:
  void SetUp() override { pal::posix::clearKeyContainers(); }
  void TearDown() override {
    EXPECT_EQ(pal::posix::openProviders(), 0u);
    EXPECT_EQ(pal::posix::openKeys(), 0u);
    pal::posix::clearKeyContainers();
  }
};

}  // namespace

TEST(PosixMemory, AnEventThatCannotBeMade) {
  const std::size_t before = pal::posix::openHandles();
  HANDLE event = nullptr;
  sweep([&] { return (event = CreateEventA(nullptr, FALSE, FALSE, nullptr)) != nullptr; });
  EXPECT_TRUE(CloseHandle(event));
  EXPECT_EQ(pal::posix::openHandles(), before);
}

TEST(PosixMemory, AThreadThatCannotBeMade) {
  const std::size_t before = pal::posix::openHandles();
  const auto body = [](void*) -> DWORD { return 0; };
  HANDLE thread = nullptr;
  sweep([&] { return (thread = CreateThread(nullptr, 0, body, nullptr, 0, nullptr)) != nullptr; });
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), DWORD{WAIT_OBJECT_0});
  EXPECT_TRUE(CloseHandle(thread));
  EXPECT_EQ(pal::posix::openHandles(), before);
}

TEST(PosixMemory, AStackOfAskedSize) {
  static int inside;
  constexpr SIZE_T kStack = 1 << 20;
  const auto body = [](void*) -> DWORD {
    pthread_attr_t attributes;
    std::size_t size = 0;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    inside = size == kStack ? 1 : 2;
    return 0;
  };
  HANDLE thread = CreateThread(nullptr, kStack, body, nullptr, 0, nullptr);
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), DWORD{WAIT_OBJECT_0});
  CloseHandle(thread);
  EXPECT_EQ(inside, 1);
}

TEST(PosixMemory, ALibraryThatCannotBeRememberedIsLetGo) {
  const std::string path = loadedLibrary();
  const std::size_t before = pal::posix::openLibraries();
  HMODULE module = nullptr;
  sweep([&] { return (module = LoadLibraryA(path.c_str())) != nullptr; });
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(pal::posix::openLibraries(), before);
  EXPECT_EQ(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD), nullptr) << "it is still loaded";
}

TEST(PosixMemory, AHandleThatCannotBeRememberedIsLetGo) {
  const std::size_t before = pal::posix::openLibraries();
  HMODULE module = nullptr;
  sweep([&] {
    return GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                              reinterpret_cast<LPCSTR>(&gnu_get_libc_version), &module) != FALSE;
  });
  EXPECT_EQ(pal::posix::openLibraries(), before + 1);
  EXPECT_TRUE(FreeLibrary(module));
}

TEST(PosixMemory, APathOfALibrary) {
  char path[MAX_PATH] = {};
  sweep([&] { return GetModuleFileNameA(nullptr, path, sizeof(path)) != 0; });
}

TEST(PosixMemory, SettingsAndSessionsOfWinHttp) {
  setenv("http_proxy", "proxy-with-a-name-of-its-own.example:3128", 1);
  setenv("no_proxy", "host-with-a-name-of-its-own.example", 1);
  const std::size_t before = pal::posix::heapBlocks();
  WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
  sweep([&] {
    const bool done = WinHttpGetIEProxyConfigForCurrentUser(&config) != FALSE;
    return done || config.lpszProxy != nullptr || config.lpszProxyBypass != nullptr;
  });
  GlobalFree(config.lpszProxy);
  GlobalFree(config.lpszProxyBypass);
  EXPECT_EQ(pal::posix::heapBlocks(), before);
  unsetenv("http_proxy");
  unsetenv("no_proxy");

  HINTERNET session = nullptr;
  sweep([&] { return (session = WinHttpOpen(u"test", 0, nullptr, nullptr, 0)) != nullptr; });
  EXPECT_TRUE(WinHttpCloseHandle(session));
}

TEST(PosixMemory, ACertificate) {
  const auto encoded = bytes(samples::kOne);
  PCCERT_CONTEXT one = nullptr;
  sweep([&] {
    one = CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(),
                                       static_cast<DWORD>(encoded.size()));
    return one != nullptr;
  });
  CertFreeCertificateContext(one);
}

TEST(PosixMemory, AChain) {
  PCCERT_CONTEXT one = create();
  CERT_CHAIN_PARA parameters{};
  parameters.cbSize = sizeof(parameters);
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  sweep([&] {
    return CertGetCertificateChain(nullptr, one, nullptr, nullptr, &parameters, 0, nullptr,
                                   &chain) != FALSE;
  });
  CertFreeCertificateChain(chain);
  CertFreeCertificateContext(one);
}

TEST_F(PosixCertStoreMemory, Opening) {
  HCERTSTORE other = nullptr;
  sweep([&] { return (other = CertOpenSystemStoreW(0, u"ANameThatNeedsABlock")) != nullptr; });
  EXPECT_TRUE(CertCloseStore(other, 0));
}

TEST_F(PosixCertStoreMemory, AddingAndListing) {
  PCCERT_CONTEXT stored = nullptr;
  sweep([&] {
    return CertAddCertificateContextToStore(store_, one_, CERT_STORE_ADD_REPLACE_EXISTING,
                                            &stored) != FALSE;
  });
  CertFreeCertificateContext(stored);
  sweep([&] { return (stored = CertEnumCertificatesInStore(store_, nullptr)) != nullptr; });
  CertFreeCertificateContext(stored);
}

TEST_F(PosixCertStoreMemory, ReplacingKeepsTheOldOneUntilTheNewOneIsThere) {
  ASSERT_TRUE(CertAddCertificateContextToStore(store_, one_, CERT_STORE_ADD_NEW, nullptr));
  sweep([&] {
    const bool done = CertAddCertificateContextToStore(
                          store_, one_, CERT_STORE_ADD_REPLACE_EXISTING, nullptr) != FALSE;
    const DWORD error = GetLastError();
    allocation_gate::neverFail();
    PCCERT_CONTEXT found = CertEnumCertificatesInStore(store_, nullptr);
    EXPECT_NE(found, nullptr);
    EXPECT_EQ(CertEnumCertificatesInStore(store_, found), nullptr) << "there is one";
    SetLastError(error);
    return done;
  });
}

TEST_F(PosixCertStoreMemory, Properties) {
  std::u16string container = u"a container whose name needs a block";
  CRYPT_KEY_PROV_INFO info{};
  info.pwszContainerName = container.data();
  sweep([&] {
    return CertSetCertificateContextProperty(one_, CERT_KEY_PROV_INFO_PROP_ID, 0, &info) != FALSE;
  });
}

TEST_F(PosixKeyContainerMemory, Making) {
  HCRYPTPROV provider = 0;
  sweep([&] {
    return CryptAcquireContextW(&provider, u"a container whose name needs a block", nullptr,
                                PROV_RSA_FULL, CRYPT_NEWKEYSET) != FALSE;
  });
  EXPECT_TRUE(CryptReleaseContext(provider, 0));
}

TEST_F(PosixKeyContainerMemory, ImportingAKey) {
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(CryptAcquireContextW(&provider, u"c", nullptr, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  const auto blob = bytes(samples::kKeyBlob);
  HCRYPTKEY key = 0;
  sweep([&] {
    return CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key) !=
           FALSE;
  });
  EXPECT_EQ(pal::posix::storedKeys(), 1u);
  EXPECT_TRUE(CryptDestroyKey(key));
  EXPECT_TRUE(CryptReleaseContext(provider, 0));
}
