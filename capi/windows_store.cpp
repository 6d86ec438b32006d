#include "capi/windows_store.h"

#include "base/string.h"
#include "base/trace.h"
#include "base/windows_holders.h"
#include "pal/wide.h"

namespace vexa::capi {
namespace {

constexpr char16_t kProviderWithoutKey[] = u"Orlind CSP";

static_assert(sizeof(CERT_CHAIN_PARA) == 32);
static_assert(sizeof(CERT_CHAIN_POLICY_PARA) == 16);
static_assert(sizeof(CERT_CHAIN_POLICY_STATUS) == 24);

int32_t makeContainerAnew(const char16_t* container, HCRYPTPROV* provider) {
  const WCHAR* const name = pal::wide(container);
  const WCHAR* const type = pal::wide(kKeyProvider);
  if (CryptAcquireContextW(provider, name, type, PROV_RSA_FULL, CRYPT_NEWKEYSET) != FALSE) {
    return kOk;
  }
  const DWORD error = GetLastError();
  if (error != static_cast<DWORD>(NTE_EXISTS)) {
    base::traceWideFormat(base::kTraceDetail, nullptr,
                          u"creating key container %s failed with error: 0x%08x", container, error);
    return kFailure;
  }
  if (CryptAcquireContextW(provider, name, type, PROV_RSA_FULL, CRYPT_DELETEKEYSET) == FALSE) {
    base::traceText(base::kTraceDetail, nullptr, "CRYPT_DELETEKEYSET failed");
    return kFailure;
  }
  if (CryptAcquireContextW(provider, name, type, PROV_RSA_FULL, CRYPT_NEWKEYSET) == FALSE) {
    base::traceText(base::kTraceDetail, nullptr, "CRYPT_NEWKEYSET failed");
    return kFailure;
  }
  return kOk;
}

int32_t importKey(const CspImportRequest& request) {
  HCRYPTPROV provider = 0;
  if (failed(makeContainerAnew(request.container, &provider))) {
    return kFailure;
  }
  HCRYPTKEY key = 0;
  if (CryptImportKey(provider, request.blob->data, static_cast<DWORD>(request.blob->length), 0,
                     request.importFlags, &key) == FALSE) {
    base::traceWideFormat(base::kTraceDetail, nullptr,
                          u"creating key in container %s failed with error: %08x",
                          request.container, GetLastError());
    return kFailure;
  }
  return kOk;
}

int32_t setProviderInfo(PCCERT_CONTEXT context, const CspImportRequest& request) {
  const char16_t* const provider = request.blob != nullptr ? kKeyProvider : kProviderWithoutKey;
  CRYPT_KEY_PROV_INFO info{};
  info.pwszContainerName = const_cast<WCHAR*>(pal::wide(request.container));
  info.pwszProvName = const_cast<WCHAR*>(pal::wide(provider));
  info.dwProvType = PROV_RSA_FULL;
  info.dwKeySpec = AT_KEYEXCHANGE;
  if (CertSetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, 0, &info) == FALSE) {
    return failWithError(
        "can not set properties on cert context for own key container, error 0x%08x");
  }
  return kOk;
}

int32_t setFriendlyName(PCCERT_CONTEXT context, const char* name) {
  base::WideString text;
  if (succeeded(text.fromUtf8(name))) {
    base::traceWideFormat(base::kTraceDetail, nullptr, u"Set friendly name %s", text.text());
    CRYPT_DATA_BLOB blob{};
    blob.cbData = static_cast<DWORD>(2 * text.length() + 2);  // with the terminator
    blob.pbData = reinterpret_cast<BYTE*>(const_cast<char16_t*>(text.text()));
    if (CertSetCertificateContextProperty(context, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob) != FALSE) {
      return kOk;
    }
  }
  base::traceText(base::kTraceError, nullptr, "Friendly name can not be set");
  return kFailure;
}

}  // namespace

int32_t failWithError(base::TraceFormat<DWORD> format) {
  base::traceFormat(base::kTraceError, nullptr, format, GetLastError());
  return kFailure;
}

int32_t csp_import(const CspImportRequest& request) {
  return base::traced("csp_import", [&] {
    base::traceWideFormat(base::kTraceDetail, nullptr, u"start creating key container %s",
                          request.container);
    if (request.deleteFirst) {
      // What cannot be deleted is replaced or stays beside the new certificate.
      (void)csp_delete_certs(kOwnStore, request.container, nullptr);
    }
    // Context, store, provider and key stay open for the life of the process: closing a provider
    // would take away the container that the certificate in the store refers to.
    const PCCERT_CONTEXT context = CertCreateCertificateContext(
        X509_ASN_ENCODING, request.encoding->data, static_cast<DWORD>(request.encoding->length));
    if (context == nullptr) {
      return failWithError("can not create certificate context, error 0x%08x");
    }
    const HCERTSTORE store = CertOpenSystemStoreW(0, pal::wide(kOwnStore));
    if (store == nullptr) {
      return failWithError("CertOpenSystemStore failed (Error: 0x%08x)");
    }
    if ((request.blob != nullptr && failed(importKey(request))) ||
        failed(setProviderInfo(context, request)) ||
        (request.friendlyName != nullptr &&
         failed(setFriendlyName(context, request.friendlyName)))) {
      return kFailure;
    }
    if (CertAddCertificateContextToStore(store, context, CERT_STORE_ADD_REPLACE_EXISTING,
                                         nullptr) == FALSE) {
      return failWithError("import certs into store failed with error %08x");
    }
    return kOk;
  });
}

int32_t CspCheckCert(PCCERT_CONTEXT context) {
  return base::traced("CspCheckCert", [&] {
    CERT_CHAIN_PARA parameters{};
    parameters.cbSize = sizeof(parameters);
    base::ChainContext chain;
    if (CertGetCertificateChain(nullptr, context, nullptr, nullptr, &parameters, 0, nullptr,
                                chain.put()) == FALSE ||
        !chain) {
      return 0;
    }
    CERT_CHAIN_POLICY_PARA policy{};
    policy.cbSize = sizeof(policy);
    CERT_CHAIN_POLICY_STATUS status{};
    status.cbSize = sizeof(status);
    const BOOL verified =
        CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_BASE, chain.get(), &policy, &status);
    const bool trusted = verified != FALSE && static_cast<int32_t>(status.dwError) >= 0;
    return trusted ? 1 : 0;
  });
}

}  // namespace vexa::capi
