#pragma once

#include <cstdint>

#include "base/trace_format.h"
#include "pal/windows_api.h"
#include "vexa/runtime/records.h"

// What the store import does with Windows' stores and key containers. Results are kOk or kFailure;
// failures are traced.
namespace vexa::capi {

inline constexpr int32_t kFailure = -1;
inline constexpr char16_t kOwnStore[] = u"MY";
inline constexpr char16_t kAuthorityStore[] = u"CA";
inline constexpr char16_t kKeyProvider[] = u"Microsoft Enhanced Cryptographic Provider v1.0";

struct CspImportRequest {
  const char16_t* container;
  const char* friendlyName;             // UTF-8, may be null
  const runtime::ByteBuffer* blob;      // the private key, may be null
  const runtime::ByteBuffer* encoding;  // the certificate's DER
  bool deleteFirst;
  uint32_t importFlags;
};

// Makes the container anew, imports the key, and adds the certificate to "MY". Closes nothing.
int32_t csp_import(const CspImportRequest& request);

// Deletes certificates from a store: those of an issuer (`filter`, UTF-8), or without a filter
// those whose key lies in `container` (may be null: none). Where memory is short, it ends:
// kFailure.
int32_t csp_delete_certs(const char16_t* store, const char16_t* container, const char* filter);

// 1 when Windows trusts the certificate's chain, else 0.
int32_t CspCheckCert(PCCERT_CONTEXT context);

// Traces a hard failure with Windows' last error for its one number, and answers -1.
int32_t failWithError(base::TraceFormat<DWORD> format);

}  // namespace vexa::capi
