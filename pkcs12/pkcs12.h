#pragma once

#include "vexa/core.h"

// Slots 15 and 16 of the core list; vexa/core.h has the contracts.
namespace vexa::pkcs12 {

int32_t aux_create_pkcs12(const runtime::StringObject* name, const runtime::KeyObject* key,
                          const runtime::CertificateList* certificates,
                          const runtime::StringObject* password, runtime::ByteBuffer** output);

int32_t aux_open_pkcs12(const runtime::ByteBuffer* data, const runtime::StringObject* password,
                        runtime::KeyObject** key, runtime::CertificateList** certificates);

}  // namespace vexa::pkcs12
