#include "capi/capi_api_list.h"

#include <string_view>

#include "base/buffer.h"
#include "base/certificate_chain.h"
#include "base/list_registry.h"
#include "base/string.h"
#include "base/trace.h"
#include "base/wipe.h"
#include "capi/key_blob.h"
#include "capi/windows_store.h"
#include "pal/wide.h"

namespace vexa::capi {
namespace {

constexpr int32_t kFailure = -1;
// Containers of keys that live in the PSE; the user's name follows.
constexpr std::u16string_view kPseContainerPrefix = u"\\\\.\\mem://orlind/";

// Parts the user's certificate from the others. A later certificate of the same key takes the
// place of an earlier one, which is then neither.
int32_t sortCertificates(const runtime::KeyObject* key,
                         const runtime::CertificateList* certificates, runtime::Certificate** own,
                         base::CertificateListHolder& authorities) {
  for (; certificates != nullptr; certificates = certificates->next) {
    runtime::Certificate* const certificate = certificates->certificate;
    if (certificate == nullptr) {
      continue;
    }
    const runtime::PublicKey* const publicKey = certificate->table->GetPublicKey(certificate);
    if (key != nullptr && publicKey != nullptr &&
        base::bound.commonTypes->KeyCompare(publicKey, &key->publicKey) == 0) {
      *own = certificate;
    } else if (failed(authorities.append(certificate))) {
      return kFailure;
    }
  }
  return kOk;
}

// Adds one certificate to the store. It is added before its trust is checked: a root that is
// refused stays.
int32_t addAuthority(HCERTSTORE store, uint32_t checkRoot, runtime::Certificate* certificate) {
  const runtime::ByteBuffer* const encoding = certificate->table->GetEncoding(certificate);
  const PCCERT_CONTEXT context =
      encoding == nullptr ? nullptr
                          : CertCreateCertificateContext(X509_ASN_ENCODING, encoding->data,
                                                         static_cast<DWORD>(encoding->length));
  if (context == nullptr) {
    return failWithError("CertCreateCertificateContext failed (Error: 0x%08x)");
  }
  int32_t result = kOk;
  if (CertAddCertificateContextToStore(store, context, CERT_STORE_ADD_USE_EXISTING, nullptr) ==
      FALSE) {
    result = failWithError("CertAddCertificateContextToStore failed (Error: 0x%08x)");
  } else if (checkRoot != 0 && certificate->table->IsSelfSigned(certificate) != 0 &&
             CspCheckCert(context) == 0) {
    base::traceText(base::kTraceNotice, nullptr, "Root Certificate not trusted!");
    result = kUntrustedRoot;
  }
  CertFreeCertificateContext(context);
  return result;
}

int32_t CspImportCACerts(uint32_t checkRoot, const runtime::CertificateList* certificates) {
  base::TraceScope scope("CspImportCACerts");
  if (certificates == nullptr) {
    return scope.leave(kOk);
  }
  const HCERTSTORE store = CertOpenSystemStoreW(0, pal::wide(kAuthorityStore));
  if (store == nullptr) {
    return scope.leave(failWithError("CertOpenSystemStore failed (Error: 0x%08x)"));
  }
  int32_t result = kOk;
  for (; certificates != nullptr && result == kOk; certificates = certificates->next) {
    if (certificates->certificate != nullptr) {
      result = addAuthority(store, checkRoot, certificates->certificate);
    }
  }
  if (result != kFailure) {  // after a failure of Windows the store stays open
    CertCloseStore(store, 0);
  }
  return scope.leave(result);
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

// The key as a blob for Windows; wiped when it goes.
class KeyBlob {
 public:
  explicit KeyBlob(const runtime::KeyObject& key) {
    const runtime::CommonTypes& types = *base::bound.commonTypes.operator->();
    runtime::RsaPrivateKey* decoded = nullptr;
    const runtime::PrivateKeyMaterial& material = key.privateKey;
    if (failed(types.RsaPrivateKeyDecode(material.bytes, material.bitLength / 8, &decoded)) ||
        decoded == nullptr) {
      return;
    }
    blob_.reset(aux_convert_RSAPrivateKey_to_PVKBLOB(decoded, kKeySpecExchange));
    types.RsaPrivateKeyRelease(decoded);
  }
  KeyBlob(const KeyBlob&) = delete;
  KeyBlob& operator=(const KeyBlob&) = delete;
  ~KeyBlob() {
    if (blob_) {
      base::wipe(blob_->data, blob_->length);
    }
  }

  const runtime::ByteBuffer* get() const { return blob_.get(); }

 private:
  base::Buffer blob_;
};

int32_t CspImportKey(const char16_t* container, uint32_t importFlags, const runtime::KeyObject* key,
                     runtime::Certificate* certificate) {
  base::TraceScope scope("CspImportKey");
  const runtime::ByteBuffer* const encoding =
      certificate != nullptr ? certificate->table->GetEncoding(certificate) : nullptr;
  base::String name;
  if (encoding == nullptr || makeFriendlyName(certificate, container, name) != kOk) {
    return scope.leave(kFailure);
  }
  CspImportRequest request = {.container = container,
                              .friendlyName = name.text(),
                              .blob = nullptr,
                              .encoding = encoding,
                              .deleteFirst = true,
                              .importFlags = importFlags};
  if (key == nullptr) {
    return scope.leave(csp_import(request));
  }
  const KeyBlob blob(*key);
  if (blob.get() == nullptr) {
    return scope.leave(kFailure);
  }
  request.blob = blob.get();
  return scope.leave(csp_import(request));
}

int32_t CspImport(const char16_t* container, uint32_t importFlags, uint32_t checkRoot,
                  const runtime::KeyObject* key, const runtime::CertificateList* certificates) {
  base::TraceScope scope("CspImport");
  runtime::Certificate* own = nullptr;
  {
    base::CertificateListHolder authorities;
    if (sortCertificates(key, certificates, &own, authorities) != kOk) {
      return scope.leave(kFailure);
    }
    if (own == nullptr) {
      base::traceText(base::kTraceError, nullptr,
                      "found no user certificate which belongs to the key");
      return scope.leave(kFailure);
    }
    const int32_t result = CspImportCACerts(checkRoot, authorities.get());
    if (failed(result)) {
      base::traceText(base::kTraceError, nullptr, "failed to import the CA chain");
      return scope.leave(result);
    }
  }
  return scope.leave(CspImportKey(container, importFlags, key, own));
}

int32_t CspDeleteOwnCerts(const char16_t* container) {
  base::TraceScope scope("CspDeleteOwnCerts");
  (void)csp_delete_certs(kOwnStore, container, nullptr);
  if (container == nullptr) {
    return scope.leave(kOk);  // null names the user's default container, which is nobody's here
  }
  // There may be no such container.
  HCRYPTPROV provider = 0;
  (void)CryptAcquireContextW(&provider, pal::wide(container), pal::wide(kKeyProvider),
                             PROV_RSA_FULL, CRYPT_DELETEKEYSET);
  return scope.leave(kOk);
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
