#include <cstring>
#include <string_view>

#include "base/holders.h"
#include "base/string.h"
#include "base/trace.h"
#include "base/windows_holders.h"
#include "capi/windows_store.h"
#include "pal/wide.h"
#include "vexa/runtime/certificate.h"

namespace vexa::capi {
namespace {

enum class Match { kNo, kYes, kOutOfMemory };

// Tells which certificates are to go.
class CertificateFilter {
 public:
  CertificateFilter(const char16_t* container, const char* issuer)
      : container_(container), issuer_(issuer) {}

  bool prepare() { return issuer_ == nullptr || succeeded(issuerText_.fromUtf8(issuer_)); }

  Match matches(PCCERT_CONTEXT context) {
    return issuer_ != nullptr ? matchesIssuer(context) : matchesContainer(context);
  }

 private:
  // A context that the runtime cannot decode does not match.
  Match matchesIssuer(PCCERT_CONTEXT context) const {
    const runtime::ByteBuffer encoding = {context->cbCertEncoded, context->pbCertEncoded};
    base::RuntimeRef<runtime::Certificate> certificate;
    if (failed(base::bound.commonTypes->CertificateDecode(&encoding, certificate.put())) ||
        !certificate) {
      return Match::kNo;
    }
    base::String name;
    base::WideString text;
    const bool copied = succeeded(base::bound.commonTypes->StringCopy(
                            name.get(), certificate->table->GetIssuer(certificate.get()))) &&
                        succeeded(text.fromUtf8(name.text()));
    if (!copied) {
      return Match::kOutOfMemory;
    }
    return text.equals(issuerText_) ? Match::kYes : Match::kNo;
  }

  Match matchesContainer(PCCERT_CONTEXT context) {
    DWORD size = 0;
    if (container_ == nullptr ||
        CertGetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size) ==
            FALSE) {
      return Match::kNo;
    }
    if (size > capacity_ && !grow(size)) {
      return Match::kOutOfMemory;
    }
    if (size < sizeof(CRYPT_KEY_PROV_INFO) ||
        CertGetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, buffer_.get(),
                                          &size) == FALSE) {
      return Match::kNo;
    }
    const auto* info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer_.get());
    if (info->pwszContainerName == nullptr ||
        std::u16string_view(pal::utf16(info->pwszContainerName)) != container_) {
      return Match::kNo;
    }
    base::traceWideFormat(base::kTraceDetail, nullptr, u"delete certificate in container %s",
                          container_);
    return Match::kYes;
  }

  bool grow(DWORD size) {
    if (!buffer_.resize(size)) {
      return false;
    }
    capacity_ = size;
    return true;
  }

  const char16_t* container_;
  const char* issuer_;
  base::WideString issuerText_;
  base::RootBlock<uint8_t> buffer_;  // the property, grown as needed
  DWORD capacity_ = 0;
};

// Deletion is one step behind: a certificate goes only when the enumeration has moved on.
int32_t deleteMatching(HCERTSTORE store, CertificateFilter& filter) {
  int32_t result = kOk;
  PCCERT_CONTEXT marked = nullptr;
  base::CertificateContext context;
  do {
    context.reset(CertEnumCertificatesInStore(store, context.release()));
    if (marked != nullptr && CertDeleteCertificateFromStore(marked) == FALSE) {
      base::traceFormat(base::kTraceDetail, nullptr, "Can not delete a Certificate: 0x%08x",
                        static_cast<unsigned>(GetLastError()));
    }
    marked = nullptr;
    if (context) {
      const Match match = filter.matches(context.get());
      marked = match == Match::kYes ? CertDuplicateCertificateContext(context.get()) : nullptr;
      if (match == Match::kOutOfMemory) {
        context.reset();
        result = kFailure;
      }
    }
  } while (context);
  return result;
}

}  // namespace

int32_t csp_delete_certs(const char16_t* storeName, const char16_t* container,
                         const char* filterText) {
  return base::traced("csp_delete_certs", [&] {
    CertificateFilter filter(container, filterText);
    if (!filter.prepare()) {
      return kFailure;
    }
    const base::CertificateStore store(CertOpenSystemStoreW(0, pal::wide(storeName)));
    if (!store) {
      base::traceWideFormat(base::kTraceDetail, nullptr, u"Can not open the '%s' Certificate store",
                            storeName);
      return kFailure;
    }
    return deleteMatching(store.get(), filter);
  });
}

}  // namespace vexa::capi
