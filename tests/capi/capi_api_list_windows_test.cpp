#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "pal/replace.h"
#include "pal/wide.h"
#include "pal/windows_api.h"
#include "support/module_fixture.h"
#include "support/sample_certificates.h"
#include "vexa/capi.h"

// The import into the real stores and key containers of the current user. Windows writes a system
// store through; Wine writes it when it is committed, and what was deleted only then. So the test
// commits stores: before they are closed, and the store "MY", which the module leaves open on
// purpose, after the import.
namespace {

std::vector<HCERTSTORE> openedStores;

}  // namespace

PAL_REPLACE(HCERTSTORE, CertOpenSystemStoreW, (HCRYPTPROV_LEGACY provider, LPCWSTR name)) {
  using Open = HCERTSTORE(WINAPI*)(HCRYPTPROV_LEGACY, LPCWSTR);
  static const auto open = reinterpret_cast<Open>(
      reinterpret_cast<void*>(GetProcAddress(LoadLibraryA("crypt32.dll"), "CertOpenSystemStoreW")));
  openedStores.push_back(open(provider, name));
  return openedStores.back();
}

PAL_REPLACE(BOOL, CertCloseStore, (HCERTSTORE store, DWORD flags)) {
  using Close = BOOL(WINAPI*)(HCERTSTORE, DWORD);
  static const auto close = reinterpret_cast<Close>(
      reinterpret_cast<void*>(GetProcAddress(LoadLibraryA("crypt32.dll"), "CertCloseStore")));
  CertControlStore(store, 0, CERT_STORE_CTRL_COMMIT, nullptr);
  return close(store, flags);
}

namespace vexa::test {
namespace {

using runtime::Certificate;
using runtime::CertificateList;

constexpr char16_t kContainer[] = u"vexabase test container";
constexpr char16_t kProvider[] = u"Microsoft Enhanced Cryptographic Provider v1.0";

using Bytes = std::vector<uint8_t>;

Bytes encodingOf(Certificate* certificate) {
  const runtime::ByteBuffer* const der = certificate->table->GetEncoding(certificate);
  return {der->data, der->data + der->length};
}

class WindowsStores : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    chain[0] = {samples.jane, &chain[1], 1};
    chain[1] = {samples.authority, &chain[2], 1};
    chain[2] = {samples.root, nullptr, 1};
    clear();
  }
  void TearDown() override {
    clear();
    ModuleTest::TearDown();
  }

  const CapiList& capi() { return *list<CapiList>(kCapiListName); }
  void clear() {
    EXPECT_EQ(capi().CspDeleteOwnCerts(kContainer), 0);
    for (const char* issuer : {"CN=Root,O=Orlind", "CN=Authority,O=Orlind"}) {
      EXPECT_EQ(capi().DeleteCACertsByName(issuer), 0);
    }
    openedStores.clear();
  }
  int32_t import(uint32_t checkRoot = 0) {
    openedStores.clear();
    const int32_t result =
        capi().CspImport(kContainer, CRYPT_EXPORTABLE, checkRoot, samples.janeKey, chain);
    if (result == 0) {
      CertControlStore(openedStores.back(), 0, CERT_STORE_CTRL_COMMIT, nullptr);
    }
    return result;
  }
  // The samples that the store holds.
  std::vector<Bytes> stored(const char16_t* name) {
    const HCERTSTORE store = CertOpenSystemStoreW(0, pal::wide(name));
    std::vector<Bytes> found;
    PCCERT_CONTEXT context = nullptr;
    while ((context = CertEnumCertificatesInStore(store, context)) != nullptr) {
      const Bytes encoding(context->pbCertEncoded, context->pbCertEncoded + context->cbCertEncoded);
      for (Certificate* sample : {samples.jane, samples.authority, samples.root}) {
        if (encoding == encodingOf(sample)) {
          found.push_back(encoding);
        }
      }
    }
    CertCloseStore(store, 0);
    return found;
  }
  // Another program's certificate in "MY", said to belong to a container.
  static void addToOwn(Certificate* certificate, const char16_t* container) {
    const Bytes encoding = encodingOf(certificate);
    const PCCERT_CONTEXT context = CertCreateCertificateContext(
        X509_ASN_ENCODING, encoding.data(), static_cast<DWORD>(encoding.size()));
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = const_cast<WCHAR*>(pal::wide(container));
    info.pwszProvName = const_cast<WCHAR*>(pal::wide(kProvider));
    info.dwProvType = PROV_RSA_FULL;
    info.dwKeySpec = AT_KEYEXCHANGE;
    EXPECT_TRUE(CertSetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    const HCERTSTORE store = CertOpenSystemStoreW(0, pal::wide(u"MY"));
    EXPECT_TRUE(
        CertAddCertificateContextToStore(store, context, CERT_STORE_ADD_REPLACE_EXISTING, nullptr));
    CertCloseStore(store, 0);
    CertFreeCertificateContext(context);
  }
  // A signature made with the container's key, checked with the certificate's public key.
  bool containerSignsForTheCertificate() {
    const char text[] = "signed through the container";
    HCRYPTPROV provider = 0;
    if (CryptAcquireContextW(&provider, pal::wide(kContainer), pal::wide(kProvider), PROV_RSA_FULL,
                             0) == FALSE) {
      return false;
    }
    HCRYPTHASH hash = 0;
    Bytes signature(512);
    auto size = static_cast<DWORD>(signature.size());
    const Bytes encoding = encodingOf(samples.jane);
    const PCCERT_CONTEXT context = CertCreateCertificateContext(
        X509_ASN_ENCODING, encoding.data(), static_cast<DWORD>(encoding.size()));
    HCRYPTKEY publicKey = 0;
    const bool verified =
        CryptCreateHash(provider, CALG_SHA1, 0, 0, &hash) != FALSE &&
        CryptHashData(hash, reinterpret_cast<const BYTE*>(text), sizeof(text), 0) != FALSE &&
        CryptSignHashW(hash, AT_KEYEXCHANGE, nullptr, 0, signature.data(), &size) != FALSE &&
        CryptImportPublicKeyInfo(provider, X509_ASN_ENCODING,
                                 &context->pCertInfo->SubjectPublicKeyInfo, &publicKey) != FALSE &&
        CryptVerifySignatureW(hash, signature.data(), size, publicKey, nullptr, 0) != FALSE;
    CertFreeCertificateContext(context);
    CryptDestroyHash(hash);
    CryptReleaseContext(provider, 0);
    return verified;
  }
  bool containerExists() {
    HCRYPTPROV provider = 0;
    const BOOL exists = CryptAcquireContextW(&provider, pal::wide(kContainer), pal::wide(kProvider),
                                             PROV_RSA_FULL, 0);
    if (exists != FALSE) {
      CryptReleaseContext(provider, 0);
    }
    return exists != FALSE;
  }

  const SampleCertificates& samples = SampleCertificates::instance();
  CertificateList chain[3]{};
};

TEST_F(WindowsStores, AKeyAndItsChainAreImportedAndTheContainerSigns) {
  ASSERT_EQ(import(), 0);
  EXPECT_EQ(stored(u"MY"), std::vector<Bytes>{encodingOf(samples.jane)});
  EXPECT_EQ(stored(u"CA").size(), 2u);
  EXPECT_TRUE(containerSignsForTheCertificate());
}

TEST_F(WindowsStores, ImportingAgainReplacesCertificateAndContainer) {
  ASSERT_EQ(import(), 0);
  ASSERT_EQ(import(), 0);
  EXPECT_EQ(stored(u"MY").size(), 1u);
  EXPECT_EQ(stored(u"CA").size(), 2u);
  EXPECT_TRUE(containerSignsForTheCertificate());
}

TEST_F(WindowsStores, DeletingTakesTheCertificateAndTheContainerAway) {
  ASSERT_EQ(import(), 0);
  EXPECT_TRUE(containerExists());
  EXPECT_EQ(capi().CspDeleteOwnCerts(kContainer), 0);
  EXPECT_TRUE(stored(u"MY").empty());
  EXPECT_FALSE(containerExists());
}

TEST_F(WindowsStores, DeletingTakesAllCertificatesOfTheContainerAway) {
  for (Certificate* const certificate : {samples.jane, samples.authority, samples.root}) {
    addToOwn(certificate, certificate == samples.root ? u"vexabase other container" : kContainer);
  }
  ASSERT_EQ(stored(u"MY").size(), 3u);
  EXPECT_EQ(capi().CspDeleteOwnCerts(kContainer), 0);
  EXPECT_EQ(stored(u"MY"), std::vector<Bytes>{encodingOf(samples.root)});
  EXPECT_EQ(capi().CspDeleteOwnCerts(u"vexabase other container"), 0);
  EXPECT_TRUE(stored(u"MY").empty());
}

TEST_F(WindowsStores, AnUntrustedRootIsRefusedAndStays) {
  EXPECT_EQ(import(1), kUntrustedRoot);
  const std::vector<Bytes> authorities = stored(u"CA");
  EXPECT_NE(std::find(authorities.begin(), authorities.end(), encodingOf(samples.root)),
            authorities.end());
  EXPECT_TRUE(stored(u"MY").empty());
  EXPECT_FALSE(containerExists());
}

TEST_F(WindowsStores, AuthoritiesAreDeletedByTheirIssuer) {
  ASSERT_EQ(import(), 0);
  EXPECT_EQ(capi().DeleteCACertsByName("CN=Root,O=Orlind"), 0);
  EXPECT_TRUE(stored(u"CA").empty()) << "the root issued both";
}

}  // namespace
}  // namespace vexa::test
