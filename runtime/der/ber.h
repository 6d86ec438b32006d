#pragma once

#include "runtime/bytes.h"

namespace vexa::velmora {

// Rewrites BER with indefinite lengths and strings in pieces, as streaming writers of PKCS#12 files
// leave it, into DER lengths. Appends to `out`; false when malformed or nested too deeply.
bool derFromBer(ByteView ber, Bytes& out);

}  // namespace vexa::velmora
