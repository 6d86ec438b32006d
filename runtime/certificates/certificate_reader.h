#pragma once

#include "runtime/certificates/certificate.h"

namespace vexa::velmora {

// One certificate in DER; bytes behind it are refused. kFail: malformed.
int32_t decodeCertificate(ByteView der, runtime::Certificate** out);
// Fills an object from its `encoding`; the rest of the object is empty.
int32_t readCertificate(CertificateObject& certificate);

}  // namespace vexa::velmora
