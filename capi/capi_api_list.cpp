#include "capi/capi_api_list.h"

#include <string_view>

#include "base/buffer.h"
#include "base/certificate_chain.h"
#include "base/list_registry.h"
#include "base/string.h"
#include "base/trace.h"
#include "base/windows_holders.h"
#include "capi/key_blob.h"
#include "capi/windows_store.h"
#include "pal/wide.h"

namespace vexa::capi {
namespace {

// Containers of keys that live in the PSE; the user's name follows.
constexpr std::u16string_view kPseContainerPrefix = u"\\\\.\\mem://orlind/";

// Parts the user's certificate from the others. A later certificate of the same key takes the
// place of an earlier one, which is then neither.
int32_t sortCertificates(const runtime::KeyObject* key,
                         const runtime::CertificateList* certificates, runtime::Certificate** own,
                         base::CertificateList& authorities) {
  for (; certificates != nullptr; certificates = certificates->next) {
    runtime::Certificate* const certificate = certificates->certificate;
    if (certificate == nullptr) {
      continue;
    }
    const runtime::PublicKey* const publicKey = certificate->table->GetPublicKey(certificate);
    if (key != nullptr && publicKey != nullptr &&
        base::bound.commonTypes->KeyCompare(publicKey, &key->publicKey) == 0) {
      *own = certificate;
    } else if (failed(base::appendCertificate(authorities.inOut(), certificate))) {
      return kFailure;
    }
  }
  return kOk;
}

// Adds one certificate to the store. It is added before its trust is checked: a root that is
// refused stays.
int32_t addAuthority(HCERTSTORE store, uint32_t checkRoot, runtime::Certificate* certificate) {
  const runtime::ByteBuffer* const encoding = certificate->table->GetEncoding(certificate);
  const base::CertificateContext context(
      encoding == nullptr ? nullptr
                          : CertCreateCertificateContext(X509_ASN_ENCODING, encoding->data,
                                                         static_cast<DWORD>(encoding->length)));
  if (!context) {
    return failWithError("CertCreateCertificateContext failed (Error: 0x%08x)");
  }
  if (CertAddCertificateContextToStore(store, context.get(), CERT_STORE_ADD_USE_EXISTING,
                                       nullptr) == FALSE) {
    return failWithError("CertAddCertificateContextToStore failed (Error: 0x%08x)");
  }
  if (checkRoot != 0 && certificate->table->IsSelfSigned(certificate) != 0 &&
      CspCheckCert(context.get()) == 0) {
    base::traceText(base::kTraceNotice, nullptr, "Root Certificate not trusted!");
    return kUntrustedRoot;
  }
  return kOk;
}

int32_t CspImportCACerts(uint32_t checkRoot, const runtime::CertificateList* certificates) {
  return base::traced("CspImportCACerts", [&] {
    if (certificates == nullptr) {
      return kOk;
    }
    base::CertificateStore store(CertOpenSystemStoreW(0, pal::wide(kAuthorityStore)));
    if (!store) {
      return failWithError("CertOpenSystemStore failed (Error: 0x%08x)");
    }
    int32_t result = kOk;
    for (; certificates != nullptr && succeeded(result); certificates = certificates->next) {
      if (certificates->certificate != nullptr) {
        result = addAuthority(store.get(), checkRoot, certificates->certificate);
      }
    }
    if (result == kFailure) {  // after a failure of Windows the store stays open
      (void)store.release();
    }
    return result;
  });
}

// "CN" of the subject, and behind it the user whose PSE the container belongs to: "Jane (user)".
int32_t makeFriendlyName(runtime::Certificate* certificate, const char16_t* container,
                         base::String& name) {
  runtime::Name* const subject = certificate->table->GetSubject(certificate);
  if (subject != nullptr && failed(subject->table->GetAttribute(subject, "CN", name.get()))) {
    return kFailure;
  }
  const std::u16string_view text = container != nullptr ? container : u"";
  if (!text.starts_with(kPseContainerPrefix)) {
    return kOk;
  }
  base::WideString tail;
  base::String user;
  base::String rest;
  if (failed(tail.assign(text.data() + text.rfind(u'/') + 1)) || failed(tail.toUtf8(user)) ||
      failed(user.splitFirst("\\", user, rest))) {
    return kFailure;
  }
  if (user.empty()) {
    return kOk;
  }
  return failed(name.append(" (")) || failed(name.append(user.text())) || failed(name.append(")"))
             ? kFailure
             : kOk;
}

// The key as a blob for Windows; empty when it cannot be one.
base::SecretBuffer makeKeyBlob(const runtime::PrivateKeyMaterial& material) {
  base::RsaKey decoded;
  if (failed(base::bound.commonTypes->RsaPrivateKeyDecode(material.bytes, material.bitLength / 8,
                                                          decoded.put())) ||
      !decoded) {
    return {};
  }
  return base::SecretBuffer(aux_convert_RSAPrivateKey_to_PVKBLOB(decoded.get(), kKeySpecExchange));
}

int32_t CspImportKey(const char16_t* container, uint32_t importFlags, const runtime::KeyObject* key,
                     runtime::Certificate* certificate) {
  return base::traced("CspImportKey", [&] {
    const runtime::ByteBuffer* const encoding =
        certificate != nullptr ? certificate->table->GetEncoding(certificate) : nullptr;
    base::String name;
    if (encoding == nullptr || failed(makeFriendlyName(certificate, container, name))) {
      return kFailure;
    }
    CspImportRequest request = {.container = container,
                                .friendlyName = name.text(),
                                .blob = nullptr,
                                .encoding = encoding,
                                .deleteFirst = true,
                                .importFlags = importFlags};
    if (key == nullptr) {
      return csp_import(request);
    }
    const base::SecretBuffer blob = makeKeyBlob(key->privateKey);
    if (!blob) {
      return kFailure;
    }
    request.blob = blob.get();
    return csp_import(request);
  });
}

int32_t CspImport(const char16_t* container, uint32_t importFlags, uint32_t checkRoot,
                  const runtime::KeyObject* key, const runtime::CertificateList* certificates) {
  return base::traced("CspImport", [&] {
    runtime::Certificate* own = nullptr;
    {
      base::CertificateList authorities;
      if (failed(sortCertificates(key, certificates, &own, authorities))) {
        return kFailure;
      }
      if (own == nullptr) {
        base::traceText(base::kTraceError, nullptr,
                        "found no user certificate which belongs to the key");
        return kFailure;
      }
      const int32_t result = CspImportCACerts(checkRoot, authorities.get());
      if (failed(result)) {
        base::traceText(base::kTraceError, nullptr, "failed to import the CA chain");
        return result;
      }
    }
    return CspImportKey(container, importFlags, key, own);
  });
}

int32_t CspDeleteOwnCerts(const char16_t* container) {
  return base::traced("CspDeleteOwnCerts", [&] {
    (void)csp_delete_certs(kOwnStore, container, nullptr);
    if (container == nullptr) {
      return kOk;  // null names the user's default container, which is nobody's here
    }
    // There may be no such container.
    HCRYPTPROV provider = 0;
    (void)CryptAcquireContextW(&provider, pal::wide(container), pal::wide(kKeyProvider),
                               PROV_RSA_FULL, CRYPT_DELETEKEYSET);
    return kOk;
  });
}

int32_t DeleteCACertsByName(const char* name) {
  return csp_delete_certs(kAuthorityStore, nullptr, name);
}

}  // namespace

constinit const CapiList kCapiList = {
    .GetModuleInfo = base::GetModuleInfo<kCapiListName>,
    .CspImport = CspImport,
    .CspImportCACerts = CspImportCACerts,
    .CspDeleteOwnCerts = CspDeleteOwnCerts,
    .CspImportKey = CspImportKey,
    .DeleteCACertsByName = DeleteCACertsByName,
};

}  // namespace vexa::capi
