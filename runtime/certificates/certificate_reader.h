#pragma once

#include "runtime/certificates/certificate.h"

namespace vexa::velmora {

// One certificate in DER; bytes behind it are refused. Takes at most 16 bytes of memory for each
// byte of it, and 1 KiB. kFail: malformed.
int32_t decodeCertificate(ByteView der, runtime::Certificate** out);
// Fills an object from its `encoding`; the rest of the object is empty.
int32_t readCertificate(CertificateObject& certificate);

}  // namespace vexa::velmora
