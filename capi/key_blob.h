#pragma once

#include <cstdint>

#include "vexa/runtime/records.h"

namespace vexa::capi {

// Key purposes as the conversion takes them; every value but the first one means key exchange.
inline constexpr uint32_t kKeySpecSign = 4;
inline constexpr uint32_t kKeySpecExchange = 8;

// An RSA private key as a PRIVATEKEYBLOB of Windows (BLOBHEADER, RSAPUBKEY "RSA2"), all integers
// little-endian. The caller owns the buffer (root list: record and data) and wipes it. Null when a
// number does not fit its field or memory is short; the trace says which.
runtime::ByteBuffer* aux_convert_RSAPrivateKey_to_PVKBLOB(const runtime::RsaPrivateKey* key,
                                                          uint32_t keySpec);

// Copies a big-endian number into a little-endian field. Answers the number of its significant
// bytes (0 for zero), or -1 when it does not fit.
int32_t convertInteger(const runtime::BigInteger& number, uint8_t* field, uint64_t width);

}  // namespace vexa::capi
