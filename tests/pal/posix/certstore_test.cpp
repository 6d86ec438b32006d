#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "../samples.h"
#include "pal/posix/counters.h"
#include "pal/windows_api.h"

namespace {

using samples::bytes;

PCCERT_CONTEXT create(std::string_view sample) {
  const auto encoded = bytes(sample);
  return CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(),
                                      static_cast<DWORD>(encoded.size()));
}

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
