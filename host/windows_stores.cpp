#include "windows_stores.h"

#include "module.h"

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
// after windows.h
#include <wincrypt.h>
#endif

namespace vexahost {

#ifdef _WIN32

namespace {

struct StorePolicy : vexa::PointerPolicy<void> {
  static void release(HCERTSTORE store) { CertCloseStore(store, 0); }
};
using Store = vexa::Holder<StorePolicy>;

std::u16string containerOf(PCCERT_CONTEXT context) {
  DWORD size = 0;
  if (CertGetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size) ==
      FALSE) {
    return {};
  }
  std::vector<unsigned char> buffer(size);
  if (CertGetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, buffer.data(),
                                        &size) == FALSE) {
    return {};
  }
  const auto* info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer.data());
  return info->pwszContainerName != nullptr
             ? std::u16string(reinterpret_cast<const char16_t*>(info->pwszContainerName))
             : std::u16string();
}

}  // namespace

std::vector<StoredCertificate> storedCertificates(const char* store) {
  const Store opened(CertOpenSystemStoreA(0, store));
  if (!opened) {
    throw HostError(std::string("cannot open the store ") + store);
  }
  std::vector<StoredCertificate> found;
  PCCERT_CONTEXT context = nullptr;
  while ((context = CertEnumCertificatesInStore(opened.get(), context)) != nullptr) {
    found.push_back(
        {std::string(reinterpret_cast<const char*>(context->pbCertEncoded), context->cbCertEncoded),
         containerOf(context)});
  }
  return found;
}

#else

std::vector<StoredCertificate> storedCertificates(const char* /*store*/) {
  throw HostError("there are no Windows certificate stores here", ExitStatus::kUnsupported);
}

#endif

}  // namespace vexahost
