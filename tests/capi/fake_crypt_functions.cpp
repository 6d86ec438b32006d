#include "fake_crypt.h"
#include "pal/replace.h"

// The whole facility of certificate stores and key containers, in the hands of the fake.
namespace {
vexa::test::FakeCrypt& fake() { return vexa::test::FakeCrypt::instance(); }
}  // namespace

PAL_REPLACE(PCCERT_CONTEXT, CertCreateCertificateContext,
            (DWORD encoding, const BYTE* encoded, DWORD size)) {
  return fake().createContext(encoding, encoded, size);
}
PAL_REPLACE(PCCERT_CONTEXT, CertDuplicateCertificateContext, (PCCERT_CONTEXT context)) {
  return fake().duplicateContext(context);
}
PAL_REPLACE(BOOL, CertFreeCertificateContext, (PCCERT_CONTEXT context)) {
  fake().freeContext(context);
  return TRUE;
}
PAL_REPLACE(BOOL, CertSetCertificateContextProperty,
            (PCCERT_CONTEXT context, DWORD property, DWORD flags, const void* data)) {
  return fake().setProperty(context, property, flags, data);
}
PAL_REPLACE(BOOL, CertGetCertificateContextProperty,
            (PCCERT_CONTEXT context, DWORD property, void* data, DWORD* size)) {
  return fake().getProperty(context, property, data, size);
}
PAL_REPLACE(HCERTSTORE, CertOpenSystemStoreW, (HCRYPTPROV_LEGACY provider, LPCWSTR name)) {
  return fake().openStore(provider, name);
}
PAL_REPLACE(BOOL, CertCloseStore, (HCERTSTORE store, DWORD flags)) {
  return fake().closeStore(store, flags);
}
PAL_REPLACE(BOOL, CertAddCertificateContextToStore,
            (HCERTSTORE store, PCCERT_CONTEXT context, DWORD disposition, PCCERT_CONTEXT* stored)) {
  return fake().addToStore(store, context, disposition, stored);
}
PAL_REPLACE(PCCERT_CONTEXT, CertEnumCertificatesInStore,
            (HCERTSTORE store, PCCERT_CONTEXT previous)) {
  return fake().enumerate(store, previous);
}
PAL_REPLACE(BOOL, CertDeleteCertificateFromStore, (PCCERT_CONTEXT context)) {
  return fake().deleteFromStore(context);
}
PAL_REPLACE(BOOL, CertGetCertificateChain,
            (HCERTCHAINENGINE engine, PCCERT_CONTEXT context, LPFILETIME time,
             HCERTSTORE additional, PCERT_CHAIN_PARA parameters, DWORD flags, LPVOID reserved,
             PCCERT_CHAIN_CONTEXT* chain)) {
  return fake().getChain(engine, context, time, additional, parameters, flags, reserved, chain);
}
PAL_REPLACE(BOOL, CertVerifyCertificateChainPolicy,
            (LPCSTR policy, PCCERT_CHAIN_CONTEXT chain, PCERT_CHAIN_POLICY_PARA parameters,
             PCERT_CHAIN_POLICY_STATUS status)) {
  return fake().verifyPolicy(policy, chain, parameters, status);
}
PAL_REPLACE(void, CertFreeCertificateChain, (PCCERT_CHAIN_CONTEXT chain)) {
  fake().freeChain(chain);
}
PAL_REPLACE(BOOL, CryptAcquireContextW,
            (HCRYPTPROV * provider, LPCWSTR container, LPCWSTR name, DWORD type, DWORD flags)) {
  return fake().acquire(provider, container, name, type, flags);
}
PAL_REPLACE(BOOL, CryptImportKey,
            (HCRYPTPROV provider, const BYTE* blob, DWORD size, HCRYPTKEY publicKey, DWORD flags,
             HCRYPTKEY* key)) {
  return fake().importKey(provider, blob, size, publicKey, flags, key);
}
