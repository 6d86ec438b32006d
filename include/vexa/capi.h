#pragma once

#include "vexa/module.h"
#include "vexa/runtime/certificate.h"

namespace vexa {

inline constexpr char kCapiListName[] = "capi_api";

// A self-signed certificate that Windows does not trust; it stays in the "CA" store all the same.
inline constexpr int32_t kUntrustedRoot = resultFrom(0x80000042u);

// The list "capi_api": copies a key with its certificates into the current user's Windows stores
// and key containers, and removes them again. Containers are named by zero-terminated UTF-16.
// Results are plain integers: 0 success, -1 failure; nothing is rolled back. Synchronous; one call
// at a time per container.
struct CapiList {
  GetModuleInfoFunction GetModuleInfo;
  // Finds the certificate that belongs to the key, puts the others into "CA" (CspImportCACerts) and
  // imports key and certificate (CspImportKey). `importFlags`: dwFlags of CryptImportKey, such as
  // CRYPT_EXPORTABLE. -1 also when no certificate belongs to the key: nothing is stored then.
  int32_t (*CspImport)(const char16_t* container, uint32_t importFlags, uint32_t checkRoot,
                       const runtime::KeyObject* key, const runtime::CertificateList* certificates);
  // Puts the certificates into "CA". With checkRoot, kUntrustedRoot stops at a self-signed one
  // that Windows does not trust.
  int32_t (*CspImportCACerts)(uint32_t checkRoot, const runtime::CertificateList* certificates);
  // Removes every certificate of the container from "MY", and the container itself; nothing for
  // null. Always 0.
  int32_t (*CspDeleteOwnCerts)(const char16_t* container);
  // Puts the certificate into "MY" under a friendly name, after what "MY" held for the container.
  // With a key (may be null): makes the container anew and imports the key. What it opens stays
  // open for the life of the process.
  int32_t (*CspImportKey)(const char16_t* container, uint32_t importFlags,
                          const runtime::KeyObject* key, runtime::Certificate* certificate);
  // Removes the certificates of that issuer (RFC 4514 text, UTF-8) from "CA".
  int32_t (*DeleteCACertsByName)(const char* name);
};
template <>
struct ListTraits<CapiList> {
  static constexpr const char* kName = kCapiListName;
  static constexpr ListSlot kSlots[] = {
      VEXA_LIST_SLOT(CapiList, GetModuleInfo, 0),
      VEXA_LIST_SLOT(CapiList, CspImport, 1),
      VEXA_LIST_SLOT(CapiList, CspImportCACerts, 2),
      VEXA_LIST_SLOT(CapiList, CspDeleteOwnCerts, 3),
      VEXA_LIST_SLOT(CapiList, CspImportKey, 4),
      VEXA_LIST_SLOT(CapiList, DeleteCACertsByName, 5),
  };
};
static_assert(namesEverySlot<CapiList>());

}  // namespace vexa
