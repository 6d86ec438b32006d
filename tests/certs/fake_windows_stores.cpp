#include "fake_windows_stores.h"

#include <cstring>

#include <gtest/gtest.h>

#include "pal/replace.h"
#include "pal/wide.h"

namespace vexa::test {

FakeStores& FakeStores::instance() {
  static FakeStores stores;
  return stores;
}

void FakeStores::reset() { *this = {}; }

FakeStores::Certificate& FakeStores::add(std::vector<uint8_t> encoding,
                                         const std::u16string& container) {
  Certificate& certificate = stored.emplace_back();
  certificate.encoding = std::move(encoding);
  certificate.container = container;
  certificate.context.pbCertEncoded = certificate.encoding.data();
  certificate.context.cbCertEncoded = static_cast<DWORD>(certificate.encoding.size());
  certificate.references = 0;  // the store's own is not counted
  return certificate;
}

std::vector<std::vector<uint8_t>> FakeStores::left() const {
  std::vector<std::vector<uint8_t>> encodings;
  for (const Certificate& certificate : stored) {
    if (!certificate.isDeleted) {
      encodings.push_back(certificate.encoding);
    }
  }
  return encodings;
}

namespace {

FakeStores& fake() { return FakeStores::instance(); }

// Notes the call; true when it has to fail.
bool fails(const char* name) {
  fake().calls.emplace_back(name);
  const auto found = fake().failing.find(name);
  if (found == fake().failing.end()) {
    return false;
  }
  SetLastError(found->second);
  return true;
}

FakeStores::Certificate& self(PCCERT_CONTEXT context) {
  return *reinterpret_cast<FakeStores::Certificate*>(const_cast<CERT_CONTEXT*>(context));
}

}  // namespace
}  // namespace vexa::test

using vexa::test::fails;
using vexa::test::fake;
using vexa::test::self;

PAL_REPLACE(PCCERT_CONTEXT, CertCreateCertificateContext,
            (DWORD encoding, const BYTE* encoded, DWORD size)) {
  if (fails("create") || encoding != X509_ASN_ENCODING) {
    return nullptr;
  }
  auto& certificate = fake().created.emplace_back();
  certificate.encoding.assign(encoded, encoded + size);
  return &certificate.context;
}
PAL_REPLACE(PCCERT_CONTEXT, CertDuplicateCertificateContext, (PCCERT_CONTEXT context)) {
  ++self(context).references;
  return context;
}
PAL_REPLACE(BOOL, CertFreeCertificateContext, (PCCERT_CONTEXT context)) {
  if (context != nullptr) {
    --self(context).references;
  }
  return TRUE;
}
PAL_REPLACE(BOOL, CertSetCertificateContextProperty,
            (PCCERT_CONTEXT context, DWORD property, DWORD flags, const void* data)) {
  EXPECT_EQ(flags, 0u);
  if (property == CERT_KEY_PROV_INFO_PROP_ID) {
    if (fails("set provider")) {
      return FALSE;
    }
    fake().lastProviderInfo = *static_cast<const CRYPT_KEY_PROV_INFO*>(data);
    self(context).container = pal::utf16(fake().lastProviderInfo.pwszContainerName);
    self(context).provider = pal::utf16(fake().lastProviderInfo.pwszProvName);
    return TRUE;
  }
  if (fails("set name")) {
    return FALSE;
  }
  const auto* const blob = static_cast<const CRYPT_DATA_BLOB*>(data);
  self(context).friendlyName = reinterpret_cast<const char16_t*>(blob->pbData);
  self(context).friendlyNameBytes = blob->cbData;
  return TRUE;
}
PAL_REPLACE(BOOL, CertGetCertificateContextProperty,
            (PCCERT_CONTEXT context, DWORD property, void* data, DWORD* size)) {
  EXPECT_EQ(property, DWORD{CERT_KEY_PROV_INFO_PROP_ID});
  const auto& container = self(context).container;
  if (container.empty()) {
    return FALSE;
  }
  const auto needed = static_cast<DWORD>(sizeof(CRYPT_KEY_PROV_INFO) + 2 * (container.size() + 1));
  if (data != nullptr) {
    EXPECT_GE(*size, needed);
    auto* const info = static_cast<CRYPT_KEY_PROV_INFO*>(data);
    *info = {};
    auto* const name = reinterpret_cast<char16_t*>(info + 1);
    std::memcpy(name, container.c_str(), 2 * (container.size() + 1));
    info->pwszContainerName = pal::wide(name);
  }
  *size = needed;
  return TRUE;
}
PAL_REPLACE(HCERTSTORE, CertOpenSystemStoreW, (HCRYPTPROV_LEGACY, LPCWSTR name)) {
  if (fails("open")) {
    return nullptr;
  }
  ++fake().openStores;
  fake().openedStores.emplace_back(pal::utf16(name));
  return &fake();
}
PAL_REPLACE(BOOL, CertCloseStore, (HCERTSTORE, DWORD)) {
  fails("close");
  --fake().openStores;
  return TRUE;
}
PAL_REPLACE(BOOL, CertAddCertificateContextToStore,
            (HCERTSTORE, PCCERT_CONTEXT context, DWORD disposition, PCCERT_CONTEXT*)) {
  if (fails("add")) {
    return FALSE;
  }
  fake().addDispositions.push_back(disposition);
  fake().add(self(context).encoding, self(context).container);
  return TRUE;
}
PAL_REPLACE(PCCERT_CONTEXT, CertEnumCertificatesInStore, (HCERTSTORE, PCCERT_CONTEXT previous)) {
  auto next = fake().stored.begin();
  if (previous != nullptr) {
    EXPECT_FALSE(self(previous).isDeleted) << "deleted under the enumerator";
    while (&next->context != previous) {
      ++next;
    }
    ++next;
    --self(previous).references;
  }
  while (next != fake().stored.end() && next->isDeleted) {
    ++next;
  }
  if (next == fake().stored.end()) {
    return nullptr;
  }
  ++next->references;
  return &next->context;
}
PAL_REPLACE(BOOL, CertDeleteCertificateFromStore, (PCCERT_CONTEXT context)) {
  --self(context).references;
  if (fails("delete")) {
    return FALSE;
  }
  self(context).isDeleted = true;
  return TRUE;
}
PAL_REPLACE(BOOL, CertGetCertificateChain,
            (HCERTCHAINENGINE engine, PCCERT_CONTEXT, LPFILETIME time, HCERTSTORE store,
             PCERT_CHAIN_PARA parameters, DWORD flags, LPVOID, PCCERT_CHAIN_CONTEXT* chain)) {
  EXPECT_EQ(engine, nullptr);
  EXPECT_EQ(time, nullptr);
  EXPECT_EQ(store, nullptr);
  EXPECT_EQ(parameters->cbSize, 32u);
  EXPECT_EQ(flags, 0u);
  if (fails("chain")) {
    *chain = nullptr;
    return FALSE;
  }
  ++fake().chains;
  *chain = reinterpret_cast<PCCERT_CHAIN_CONTEXT>(&fake());
  return TRUE;
}
PAL_REPLACE(BOOL, CertVerifyCertificateChainPolicy,
            (LPCSTR policy, PCCERT_CHAIN_CONTEXT, PCERT_CHAIN_POLICY_PARA parameters,
             PCERT_CHAIN_POLICY_STATUS status)) {
  EXPECT_EQ(policy, CERT_CHAIN_POLICY_BASE);
  EXPECT_EQ(parameters->cbSize, 16u);
  EXPECT_EQ(status->cbSize, 24u);
  if (fails("policy")) {
    return FALSE;
  }
  status->dwError = static_cast<DWORD>(fake().policyStatus);
  return TRUE;
}
PAL_REPLACE(void, CertFreeCertificateChain, (PCCERT_CHAIN_CONTEXT)) { --fake().chains; }
PAL_REPLACE(BOOL, CryptAcquireContextW,
            (HCRYPTPROV * provider, LPCWSTR container, LPCWSTR, DWORD type, DWORD flags)) {
  EXPECT_EQ(type, DWORD{PROV_RSA_FULL});
  const std::u16string name = container != nullptr ? pal::utf16(container) : u"";
  fake().acquireFlags.push_back(flags);
  *provider = 1;
  if (flags == CRYPT_DELETEKEYSET) {
    if (fails("delete container")) {
      return FALSE;
    }
    return fake().containers.erase(name) != 0 ? TRUE : FALSE;
  }
  if (fails("new container")) {
    return FALSE;
  }
  if (!fake().containers.insert(name).second) {
    SetLastError(static_cast<DWORD>(NTE_EXISTS));
    return FALSE;
  }
  return TRUE;
}
PAL_REPLACE(BOOL, CryptReleaseContext, (HCRYPTPROV, DWORD)) {
  fails("release provider");
  return TRUE;
}
PAL_REPLACE(BOOL, CryptImportKey,
            (HCRYPTPROV, const BYTE* blob, DWORD size, HCRYPTKEY publicKey, DWORD flags,
             HCRYPTKEY* key)) {
  EXPECT_EQ(publicKey, HCRYPTKEY{0});
  if (fails("import key")) {
    return FALSE;
  }
  fake().importedBlob.assign(blob, blob + size);
  fake().importFlags = flags;
  *key = 1;
  return TRUE;
}
PAL_REPLACE(BOOL, CryptDestroyKey, (HCRYPTKEY)) {
  fails("destroy key");
  return TRUE;
}
