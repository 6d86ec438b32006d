#pragma once

#include "runtime/pkcs12/password_derivation.h"
#include "vexa/runtime/pkcs12.h"

namespace vexa::velmora {

// A whole PKCS#12 file (RFC 7292), appended to `out`. Key bags without algorithm, certificates
// without encoding and unknown names of algorithms are refused.
int32_t encodePfx(const runtime::PfxParameters& parameters, const Password& password, Bytes& out);

}  // namespace vexa::velmora
