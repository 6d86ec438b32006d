#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "../samples.h"
#include "pal/posix/counters.h"
#include "pal/posix/der.h"
#include "pal/windows_api.h"

namespace {

using pal::posix::certificateIdentity;
using pal::posix::DerResult;
using samples::bytes;
using samples::fromHex;

PCCERT_CONTEXT create(std::string_view sample) {
  const auto encoded = bytes(sample);
  return CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(),
                                      static_cast<DWORD>(encoded.size()));
}

constexpr LPCWSTR kProvider = u"Microsoft Enhanced Cryptographic Provider v1.0";

}  // namespace

TEST(PosixCertStore, EveryReferenceToAContextIsCounted) {
  const std::size_t before = pal::posix::openContexts();
  PCCERT_CONTEXT one = create(samples::kOne);
  CertDuplicateCertificateContext(one);
  EXPECT_EQ(pal::posix::openContexts(), before + 2);
  CertFreeCertificateContext(one);
  CertFreeCertificateContext(one);
  EXPECT_EQ(pal::posix::openContexts(), before);
}

TEST(PosixCertStore, StoresLastWhileTheirHandlesComeAndGo) {
  pal::posix::clearCertificateStores();
  const std::size_t before = pal::posix::openStores();
  HCERTSTORE store = CertOpenSystemStoreW(0, u"MY");
  EXPECT_EQ(pal::posix::openStores(), before + 1);
  PCCERT_CONTEXT one = create(samples::kOne);
  EXPECT_TRUE(CertAddCertificateContextToStore(store, one, CERT_STORE_ADD_USE_EXISTING, nullptr));
  CertFreeCertificateContext(one);
  EXPECT_TRUE(CertCloseStore(store, 0));
  EXPECT_EQ(pal::posix::openStores(), before);

  store = CertOpenSystemStoreW(0, u"my");
  PCCERT_CONTEXT found = CertEnumCertificatesInStore(store, nullptr);
  EXPECT_NE(found, nullptr);
  CertFreeCertificateContext(found);
  HCERTSTORE other = CertOpenSystemStoreW(0, u"CA");
  EXPECT_EQ(CertEnumCertificatesInStore(other, nullptr), nullptr);
  CertCloseStore(other, 0);
  CertCloseStore(store, 0);
  pal::posix::clearCertificateStores();
}

TEST(PosixCertStore, AStoreThatIsNotOpenIsRefused) {
  PCCERT_CONTEXT one = create(samples::kOne);
  HCERTSTORE store = CertOpenSystemStoreW(0, u"MY");
  CertCloseStore(store, 0);
  const std::size_t before = pal::posix::openContexts();
  SetLastError(0);
  EXPECT_FALSE(CertAddCertificateContextToStore(store, one, CERT_STORE_ADD_NEW, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
  EXPECT_FALSE(CertCloseStore(store, 0));
  EXPECT_EQ(CertEnumCertificatesInStore(store, CertDuplicateCertificateContext(one)), nullptr);
  EXPECT_EQ(pal::posix::openContexts(), before) << "the previous context is freed all the same";
  CertFreeCertificateContext(one);
}

TEST(PosixCertStore, OtherPropertiesAreNotBuilt) {
  PCCERT_CONTEXT one = create(samples::kOne);
  CRYPT_DATA_BLOB blob{};
  constexpr DWORD kDescription = 13;
  SetLastError(0);
  EXPECT_FALSE(CertSetCertificateContextProperty(one, kDescription, 0, &blob));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
  CertFreeCertificateContext(one);
}

TEST(PosixCertStore, NothingHasNoProperties) {
  CRYPT_DATA_BLOB blob{};
  DWORD size = 0;
  SetLastError(0);
  EXPECT_FALSE(CertSetCertificateContextProperty(nullptr, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
  SetLastError(0);
  EXPECT_FALSE(
      CertGetCertificateContextProperty(nullptr, CERT_FRIENDLY_NAME_PROP_ID, nullptr, &size));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
  PCCERT_CONTEXT one = create(samples::kOne);
  SetLastError(0);
  EXPECT_FALSE(
      CertGetCertificateContextProperty(one, CERT_FRIENDLY_NAME_PROP_ID, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
  CertFreeCertificateContext(one);
  EXPECT_TRUE(CertDeleteCertificateFromStore(nullptr));
}

TEST(PosixCertStore, AKeyProviderHasNoParametersAndIsRemovedByNone) {
  PCCERT_CONTEXT one = create(samples::kOne);
  std::u16string container = u"c";
  CRYPT_KEY_PROV_INFO info{};
  info.pwszContainerName = container.data();
  info.cProvParam = 1;
  SetLastError(0);
  EXPECT_FALSE(CertSetCertificateContextProperty(one, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));

  info.cProvParam = 0;
  info.dwProvType = 5;
  info.dwFlags = 6;
  info.dwKeySpec = 7;
  ASSERT_TRUE(CertSetCertificateContextProperty(one, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
  std::vector<std::uint64_t> block(8);
  DWORD size = 64;
  ASSERT_TRUE(
      CertGetCertificateContextProperty(one, CERT_KEY_PROV_INFO_PROP_ID, block.data(), &size));
  const auto& told = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(block.data());
  EXPECT_EQ(std::u16string(told.pwszContainerName), u"c");
  EXPECT_EQ(told.pwszProvName, nullptr) << "none was given";
  EXPECT_EQ(told.dwProvType, 5u);
  EXPECT_EQ(told.dwFlags, 6u);
  EXPECT_EQ(told.dwKeySpec, 7u);

  EXPECT_TRUE(CertSetCertificateContextProperty(one, CERT_KEY_PROV_INFO_PROP_ID, 0, nullptr));
  SetLastError(0);
  EXPECT_FALSE(CertGetCertificateContextProperty(one, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
  EXPECT_EQ(size, 0u);
  CertFreeCertificateContext(one);
}

// One of each property, on two certificates that are the same.
TEST(PosixCertStore, AnExistingCertificateTakesThePropertiesThatItLacks) {
  pal::posix::clearCertificateStores();
  std::u16string container = u"c";
  CRYPT_KEY_PROV_INFO info{};
  info.pwszContainerName = container.data();
  BYTE name[] = {'n', 0};
  CRYPT_DATA_BLOB blob{sizeof(name), name};
  PCCERT_CONTEXT first = create(samples::kOne);
  PCCERT_CONTEXT second = create(samples::kOne);
  ASSERT_TRUE(CertSetCertificateContextProperty(first, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
  ASSERT_TRUE(CertSetCertificateContextProperty(second, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob));
  HCERTSTORE store = CertOpenSystemStoreW(0, u"MY");
  for (PCCERT_CONTEXT certificate : {first, second}) {
    EXPECT_TRUE(
        CertAddCertificateContextToStore(store, certificate, CERT_STORE_ADD_USE_EXISTING, nullptr));
    CertFreeCertificateContext(certificate);
  }
  PCCERT_CONTEXT stored = CertEnumCertificatesInStore(store, nullptr);
  for (const DWORD property : {CERT_KEY_PROV_INFO_PROP_ID, CERT_FRIENDLY_NAME_PROP_ID}) {
    DWORD size = 0;
    EXPECT_TRUE(CertGetCertificateContextProperty(stored, property, nullptr, &size)) << property;
  }
  EXPECT_EQ(CertEnumCertificatesInStore(store, stored), nullptr) << "there is but one";
  CertCloseStore(store, 0);
  pal::posix::clearCertificateStores();
}

TEST(PosixCertStore, AddingAlwaysDoesNotLook) {
  pal::posix::clearCertificateStores();
  HCERTSTORE store = CertOpenSystemStoreW(0, u"MY");
  PCCERT_CONTEXT one = create(samples::kOne);
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(CertAddCertificateContextToStore(store, one, CERT_STORE_ADD_ALWAYS, nullptr));
  }
  CertFreeCertificateContext(one);
  PCCERT_CONTEXT found = nullptr;
  for (int i = 0; i < 2; ++i) {
    found = CertEnumCertificatesInStore(store, found);
    EXPECT_NE(found, nullptr);
  }
  EXPECT_EQ(CertEnumCertificatesInStore(store, found), nullptr);
  CertCloseStore(store, 0);
  pal::posix::clearCertificateStores();
}

TEST(PosixCertStore, DispositionsBesideTheFourAreRefused) {
  HCERTSTORE store = CertOpenSystemStoreW(0, u"MY");
  PCCERT_CONTEXT one = create(samples::kOne);
  for (const DWORD disposition : {0u, 5u}) {
    SetLastError(0);
    EXPECT_FALSE(CertAddCertificateContextToStore(store, one, disposition, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG)) << disposition;
  }
  SetLastError(0);
  EXPECT_FALSE(CertAddCertificateContextToStore(store, nullptr, CERT_STORE_ADD_NEW, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
  EXPECT_EQ(CertEnumCertificatesInStore(store, nullptr), nullptr);
  CertFreeCertificateContext(one);
  CertCloseStore(store, 0);
}

TEST(PosixCertStore, ACertificateTellsItsEncodingAndIsNotDecoded) {
  const auto encoded = bytes(samples::kOne);
  for (const DWORD encoding : {X509_ASN_ENCODING, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING}) {
    PCCERT_CONTEXT one =
        CertCreateCertificateContext(encoding, encoded.data(), static_cast<DWORD>(encoded.size()));
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->dwCertEncodingType, encoding);
    EXPECT_EQ(one->hCertStore, nullptr);
    EXPECT_EQ(one->pCertInfo, nullptr);
    CertFreeCertificateContext(one);
  }
}

TEST(PosixCertStore, StoresAreTheSameInAnyLetterCase) {
  pal::posix::clearCertificateStores();
  HCERTSTORE small = CertOpenSystemStoreW(0, u"azAZ{`09");
  HCERTSTORE capital = CertOpenSystemStoreW(0, u"AZaz{`09");
  HCERTSTORE other = CertOpenSystemStoreW(0, u"AZAZ[@09");
  PCCERT_CONTEXT one = create(samples::kOne);
  EXPECT_TRUE(CertAddCertificateContextToStore(small, one, CERT_STORE_ADD_NEW, nullptr));
  PCCERT_CONTEXT found = CertEnumCertificatesInStore(capital, nullptr);
  EXPECT_NE(found, nullptr);
  CertFreeCertificateContext(found);
  EXPECT_EQ(CertEnumCertificatesInStore(other, nullptr), nullptr);
  CertFreeCertificateContext(one);
  for (HCERTSTORE store : {small, capital, other}) {
    CertCloseStore(store, 0);
  }
  pal::posix::clearCertificateStores();
}

TEST(PosixCertStore, APolicyNeedsAChainAndFreeingNoneIsHarmless) {
  CERT_CHAIN_POLICY_PARA parameters{};
  CERT_CHAIN_POLICY_STATUS status{};
  SetLastError(0);
  EXPECT_FALSE(
      CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_BASE, nullptr, &parameters, &status));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
  const CERT_CHAIN_CONTEXT chain{};
  SetLastError(0);
  EXPECT_FALSE(CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_BASE, &chain, nullptr, &status));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
  SetLastError(0);
  EXPECT_FALSE(
      CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_BASE, &chain, &parameters, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
  const std::size_t before = pal::posix::openChains();
  CertFreeCertificateChain(nullptr);
  EXPECT_EQ(pal::posix::openChains(), before);
}

TEST(PosixCertStore, AChainNeedsACertificateParametersAndAPlace) {
  PCCERT_CONTEXT one = create(samples::kOne);
  CERT_CHAIN_PARA parameters{};
  parameters.cbSize = sizeof(parameters);
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  const auto refuses = [](PCCERT_CONTEXT context, PCERT_CHAIN_PARA para,
                          PCCERT_CHAIN_CONTEXT* place) {
    SetLastError(0);
    return CertGetCertificateChain(nullptr, context, nullptr, nullptr, para, 0, nullptr, place) ==
               FALSE &&
           GetLastError() == static_cast<DWORD>(E_INVALIDARG);
  };
  EXPECT_TRUE(refuses(nullptr, &parameters, &chain));
  EXPECT_TRUE(refuses(one, nullptr, &chain));
  EXPECT_TRUE(refuses(one, &parameters, nullptr));
  CertFreeCertificateContext(one);
}

TEST(PosixCertStore, ChainsAreCounted) {
  const std::size_t before = pal::posix::openChains();
  PCCERT_CONTEXT one = create(samples::kOne);
  CERT_CHAIN_PARA parameters{};
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  SetLastError(0);
  EXPECT_FALSE(
      CertGetCertificateChain(nullptr, one, nullptr, nullptr, &parameters, 0, nullptr, &chain));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG)) << "cbSize is 0";
  parameters.cbSize = sizeof(parameters);
  EXPECT_TRUE(
      CertGetCertificateChain(nullptr, one, nullptr, nullptr, &parameters, 0, nullptr, &chain));
  EXPECT_EQ(pal::posix::openChains(), before + 1);
  EXPECT_EQ(chain->cbSize, sizeof(*chain));
  CERT_CHAIN_POLICY_PARA policy{};
  CERT_CHAIN_POLICY_STATUS status{0, 0, 9, 9, nullptr};
  EXPECT_TRUE(CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_BASE, chain, &policy, &status));
  EXPECT_EQ(status.lChainIndex, 0);
  EXPECT_EQ(status.lElementIndex, 0);
  CertFreeCertificateChain(chain);
  CertFreeCertificateContext(one);
  EXPECT_EQ(pal::posix::openChains(), before);
}

TEST(PosixKeyContainers, ProvidersAndKeysAreCounted) {
  pal::posix::clearKeyContainers();
  const std::size_t providers = pal::posix::openProviders();
  const std::size_t keys = pal::posix::openKeys();
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(CryptAcquireContextW(&provider, u"c", kProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  EXPECT_EQ(pal::posix::storedKeys(), 0u);
  const auto blob = bytes(samples::kKeyBlob);
  HCRYPTKEY key = 0;
  ASSERT_TRUE(CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key));
  EXPECT_EQ(pal::posix::openProviders(), providers + 1);
  EXPECT_EQ(pal::posix::openKeys(), keys + 1);
  EXPECT_EQ(pal::posix::storedKeys(), 1u);

  EXPECT_TRUE(CryptDestroyKey(key));
  EXPECT_TRUE(CryptReleaseContext(provider, 0));
  EXPECT_EQ(pal::posix::openProviders(), providers);
  EXPECT_EQ(pal::posix::openKeys(), keys);
  EXPECT_EQ(pal::posix::storedKeys(), 1u) << "the container keeps its key";
  pal::posix::clearKeyContainers();
}

TEST(PosixKeyContainers, EachProviderIsKnownByItsName) {
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

TEST(PosixKeyContainers, AnImportNeedsABlobAndAPlace) {
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(
      CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT));
  auto blob = bytes(samples::kKeyBlob);
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

TEST(PosixKeyContainers, AKeyOfNoBitsIsNone) {
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(
      CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT));
  auto blob = bytes(samples::kKeyBlob);
  blob.resize(sizeof(BLOBHEADER) + sizeof(RSAPUBKEY));
  std::fill_n(blob.begin() + 12, 4, std::uint8_t{0});  // the number of bits
  HCRYPTKEY key = 0;
  SetLastError(0);
  EXPECT_FALSE(CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
  EXPECT_TRUE(CryptReleaseContext(provider, 0));
}

TEST(PosixKeyContainers, HaveRoomForAKeyOfEachUse) {
  pal::posix::clearKeyContainers();
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
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_FLAGS));
  EXPECT_EQ(pal::posix::openProviders(), 0u) << "it is released all the same";
  pal::posix::clearKeyContainers();
}

TEST(PosixKeyContainers, ABlobIsNotImportedUnderAnotherKeyOrWithABrokenLength) {
  pal::posix::clearKeyContainers();
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(CryptAcquireContextW(&provider, u"c", kProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  auto blob = bytes(samples::kKeyBlob);
  const auto size = static_cast<DWORD>(blob.size());
  HCRYPTKEY key = 0;
  SetLastError(0);
  EXPECT_FALSE(CryptImportKey(provider, blob.data(), size, 4, 0, &key));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  ++blob[12];  // the number of bits
  SetLastError(0);
  EXPECT_FALSE(CryptImportKey(provider, blob.data(), size, 0, 0, &key));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
  EXPECT_EQ(pal::posix::storedKeys(), 0u);
  CryptReleaseContext(provider, 0);
  pal::posix::clearKeyContainers();
}

TEST(PosixKeyContainers, ABlobOfAnotherLengthThanItsKeyAsksForIsRefused) {
  pal::posix::clearKeyContainers();
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(CryptAcquireContextW(&provider, u"c", kProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  const auto blob = bytes(samples::kKeyBlob);
  HCRYPTKEY key = 0;
  for (std::size_t size = 0; size < blob.size(); ++size) {
    const std::vector<BYTE> cut(blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(size));
    SetLastError(0);
    EXPECT_FALSE(CryptImportKey(provider, cut.data(), static_cast<DWORD>(size), 0, 0, &key));
    if (size > 0) {
      EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA)) << size;
    }
  }
  auto longer = blob;
  longer.push_back(0);
  EXPECT_FALSE(
      CryptImportKey(provider, longer.data(), static_cast<DWORD>(longer.size()), 0, 0, &key));
  CryptReleaseContext(provider, 0);
  pal::posix::clearKeyContainers();
}

TEST(PosixKeyContainers, AnotherVersionOrFlagOfAnImportIsRefused) {
  pal::posix::clearKeyContainers();
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(CryptAcquireContextW(&provider, u"c", kProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  auto blob = bytes(samples::kKeyBlob);
  const auto size = static_cast<DWORD>(blob.size());
  HCRYPTKEY key = 0;
  constexpr DWORD kAnotherFlag = 0x40;
  SetLastError(0);
  EXPECT_FALSE(CryptImportKey(provider, blob.data(), size, 0, kAnotherFlag, &key));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_FLAGS));
  ++blob[1];
  SetLastError(0);
  EXPECT_FALSE(CryptImportKey(provider, blob.data(), size, 0, 0, &key));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_VER));
  EXPECT_EQ(pal::posix::openKeys(), 0u);
  CryptReleaseContext(provider, 0);
  pal::posix::clearKeyContainers();
}

TEST(PosixKeyContainers, NamesDoNotDistinguishCaseButMachineAndUserDo) {
  pal::posix::clearKeyContainers();
  HCRYPTPROV provider = 0;
  ASSERT_TRUE(CryptAcquireContextW(&provider, u"AZaz@[", nullptr, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  CryptReleaseContext(provider, 0);
  SetLastError(0);
  EXPECT_FALSE(CryptAcquireContextW(&provider, u"azAZ@[", nullptr, PROV_RSA_FULL, CRYPT_NEWKEYSET));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_EXISTS));
  SetLastError(0);
  EXPECT_FALSE(CryptAcquireContextW(&provider, u"AZaz`{", nullptr, PROV_RSA_FULL, 0));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_KEYSET)) << "those are no letters";
  EXPECT_TRUE(CryptAcquireContextW(&provider, u"azaz@[", nullptr, PROV_RSA_FULL,
                                   CRYPT_NEWKEYSET | CRYPT_MACHINE_KEYSET));
  CryptReleaseContext(provider, 0);
  pal::posix::clearKeyContainers();
}

TEST(Der, IssuerAndSerialMakeTheIdentity) {
  // Certificate { tbs { [0] version, serial 5, algorithm {}, issuer { NULL } }, {}, BIT STRING }
  const auto certificate = fromHex(
      "3015"
      "300e"
      "a003020102"
      "020105"
      "3000"
      "30020500"
      "3000"
      "030100");
  std::string identity;
  ASSERT_EQ(certificateIdentity(certificate.data(), certificate.size(), identity), DerResult::kOk);
  const auto expected = fromHex(
      "30020500"
      "020105");
  EXPECT_EQ(identity, std::string(expected.begin(), expected.end()));
}

TEST(Der, TheVersionMayBeMissing) {
  const auto certificate = fromHex(
      "3011"
      "3009"
      "020105"
      "3000"
      "30020500"
      "3000"
      "03020000");
  std::string identity;
  EXPECT_EQ(certificateIdentity(certificate.data(), certificate.size(), identity), DerResult::kOk);
}

TEST(Der, LengthsTakeUpToFourBytes) {
  for (const char* length : {"11", "8111", "820011", "83000011", "8400000011"}) {
    const auto certificate =
        fromHex("30" + std::string(length) + "3009020105300030020500" + "300003020000");
    std::string identity = "of another";
    EXPECT_EQ(certificateIdentity(certificate.data(), certificate.size(), identity), DerResult::kOk)
        << length;
    EXPECT_EQ(identity.size(), 7u) << length;
  }
  for (const char* length : {"80", "850000000000", "860000000000", "ff"}) {
    const auto certificate = fromHex("30" + std::string(length) + "300802010530003000");
    std::string identity;
    EXPECT_EQ(certificateIdentity(certificate.data(), certificate.size(), identity),
              DerResult::kWrongShape)
        << length;
  }
}

TEST(Der, AByteBelow128IsALength) {
  const std::string body = "3009020105300030020500";
  std::string identity;
  const auto longest = fromHex("307f" + body + "30000370" + std::string(2 * 0x70, '0'));
  EXPECT_EQ(certificateIdentity(longest.data(), longest.size(), identity), DerResult::kOk);
  const auto longer = fromHex("308180" + body + "30000371" + std::string(2 * 0x71, '0'));
  EXPECT_EQ(certificateIdentity(longer.data(), longer.size(), identity), DerResult::kOk);
}

TEST(Der, LengthsThatLeadOutsideEndEarly) {
  for (const char* hex : {"", "30", "3082", "3005", "3003300530"}) {
    const auto encoded = fromHex(hex);
    std::string identity;
    EXPECT_EQ(certificateIdentity(encoded.data(), encoded.size(), identity), DerResult::kEndsEarly)
        << hex;
  }
  for (const char* hex : {"308501", "3080"}) {
    const auto encoded = fromHex(hex);
    std::string identity;
    EXPECT_EQ(certificateIdentity(encoded.data(), encoded.size(), identity), DerResult::kWrongShape)
        << hex << ": no length at all";
  }
}

TEST(Der, EachPartIsThereWithItsTag) {
  // Certificate { tbs { serial, algorithm, issuer }, algorithm, signature }
  const auto whole = fromHex("30113009020105300030020500300003020000");
  std::string identity;
  ASSERT_EQ(certificateIdentity(whole.data(), whole.size(), identity), DerResult::kOk);
  for (const std::size_t tag : {0u, 2u, 4u, 7u, 9u, 13u, 15u}) {
    auto other = whole;
    other[tag] = 0x04;
    EXPECT_EQ(certificateIdentity(other.data(), other.size(), identity), DerResult::kWrongShape)
        << tag;
  }
  for (const char* hex :
       {"3000", "300b3009020105300030020500", "300d30090201053000300205003000",
        "30083000300003020000", "300b3003020105300003020000", "300d30050201053000300003020000"}) {
    const auto shorter = fromHex(hex);
    EXPECT_EQ(certificateIdentity(shorter.data(), shorter.size(), identity), DerResult::kEndsEarly)
        << hex;
  }
}
