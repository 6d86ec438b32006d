#pragma once

#include "runtime/crypto/bytes.h"

namespace vexa::velmora {

// Replaces the content of a string object by a counted copy.
int32_t assignString(runtime::StringObject* string, ByteView utf8);
// The counted text; empty for null.
ByteView textOf(const runtime::StringObject* string);

// The DER inside a text: base64, either all of it or what stands between the first pair of lines
// "-----BEGIN ...CERTIFICATE-----" and "-----END". kFail when there is none.
int32_t readCertificateText(ByteView text, Bytes& der);

}  // namespace vexa::velmora
