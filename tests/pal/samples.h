#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

// Test data that real decoders accept: the files of those names in samples/.
namespace samples {

// Two self-signed certificates, "CN=One" and "CN=Two", made with
//   openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -subj /CN=One -days 36500
extern const std::string_view kOne;
extern const std::string_view kTwo;

// A private-key blob (CALG_RSA_KEYX) of a 512-bit RSA key made for these tests alone.
extern const std::string_view kKeyBlob;

inline std::vector<std::uint8_t> bytes(std::string_view sample) {
  return {sample.begin(), sample.end()};
}

inline std::vector<std::uint8_t> fromHex(std::string_view hex) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
  std::vector<std::uint8_t> result;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    result.push_back(static_cast<std::uint8_t>(digit(hex[i]) * 16 + digit(hex[i + 1])));
  }
  return result;
}

}  // namespace samples
