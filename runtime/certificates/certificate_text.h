#pragma once

#include "runtime/bytes.h"

namespace vexa::velmora {

// The DER inside a text: base64, either all of it or what stands between the first pair of lines
// "-----BEGIN ...CERTIFICATE-----" and "-----END". kFail when there is none.
int32_t readCertificateText(ByteView text, Bytes& der);

}  // namespace vexa::velmora
