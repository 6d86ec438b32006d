#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// As much of DER (ITU-T X.690) as the certificate stores need: what makes two certificates the same
// one. Inside the certstore facility only.
namespace pal::posix {

enum class DerResult { kOk, kEndsEarly, kWrongShape };

// Finds issuer and serial number of a certificate (RFC 5280, 4.1) and puts their encodings, one
// behind the other, into `identity`. Bytes behind the certificate are not looked at.
DerResult certificateIdentity(const std::uint8_t* encoded, std::size_t size, std::string& identity);

}  // namespace pal::posix
