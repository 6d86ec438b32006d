#include "capi/key_blob.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "harness.h"

// An RSA key of any numbers as a blob of Windows, against the layout written down once more: a
// header, then each number in its field, the last byte first. The first byte chooses the purpose;
// then each of eight numbers comes with two bytes of length.
namespace vexa::fuzz {
namespace {

constexpr size_t kMostBlobBytes = 8192;

struct Key {
  std::string n, e, d, p, q, dp, dq, u;
};

std::string takeNumber(std::string_view& rest) {
  if (rest.size() < 2) {
    return {};
  }
  const size_t length = static_cast<uint8_t>(rest[0]) | (static_cast<uint8_t>(rest[1]) & 7u) << 8;
  rest.remove_prefix(2);
  std::string number(rest.substr(0, length));
  rest.remove_prefix(number.size());
  return number;
}

runtime::BigInteger recordOf(std::string& number) {
  return {number.size(), reinterpret_cast<uint8_t*>(number.data())};
}

std::string significant(std::string number) {
  return number.erase(0, std::min(number.find_first_not_of('\0'), number.size()));
}

// Nothing when the number is too long.
std::optional<std::string> field(const std::string& number, size_t width) {
  std::string bytes = significant(number);
  if (bytes.size() > width) {
    return std::nullopt;
  }
  std::reverse(bytes.begin(), bytes.end());
  return bytes.append(width - bytes.size(), '\0');
}

std::optional<std::string> expectedBlob(const Key& key, uint32_t purpose) {
  const size_t n = significant(key.n).size();
  const auto exponent = field(key.e, 4);
  if (!exponent || significant(key.e).empty() || n == 0 ||
      20 + n + 5 * (n / 2) + n > kMostBlobBytes || significant(key.p).empty() ||
      significant(key.q).empty()) {
    return std::nullopt;
  }
  const uint32_t bits = 8 * static_cast<uint32_t>(n);
  std::string blob("\x07\x02\0\0\0", 5);
  blob += purpose == capi::kKeySpecSign ? '\x24' : '\xA4';
  blob += std::string("\0\0RSA2", 6);
  for (int shift = 0; shift < 32; shift += 8) {
    blob += static_cast<char>(bits >> shift & 0xFF);
  }
  blob += *exponent;
  const std::pair<const std::string&, size_t> fields[] = {
      {key.n, n},      {key.p, n / 2}, {key.q, n / 2}, {key.dp, n / 2},
      {key.dq, n / 2}, {key.u, n / 2}, {key.d, n}};
  for (const auto& [number, width] : fields) {
    const auto bytes = field(number, width);
    if (!bytes) {
      return std::nullopt;
    }
    blob += *bytes;
  }
  return blob;
}

void check(std::string_view input) {
  const uint32_t purpose = static_cast<uint8_t>(input[0]);
  input.remove_prefix(1);
  Key key;
  for (std::string* number : {&key.n, &key.e, &key.p, &key.q, &key.dp, &key.dq, &key.u, &key.d}) {
    *number = takeNumber(input);
  }
  std::string version("\0", 1);
  const runtime::RsaPrivateKey record{recordOf(version), recordOf(key.n),  recordOf(key.e),
                                      recordOf(key.d),   recordOf(key.p),  recordOf(key.q),
                                      recordOf(key.dp),  recordOf(key.dq), recordOf(key.u)};
  MadeBuffer blob;
  blob.reset(capi::aux_convert_RSAPrivateKey_to_PVKBLOB(&record, purpose));
  const auto expected = expectedBlob(key, purpose);
  require(static_cast<bool>(blob) == expected.has_value(), "a blob, or none");
  require(!blob || *expected == blob.view(), "the same blob");

  const FailingAllocation failing(seedOf(key.n, 0) % 2 + 1);
  require(capi::aux_convert_RSAPrivateKey_to_PVKBLOB(&record, purpose) == nullptr,
          "without memory there is no blob");
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return size < 1 ? 0 : vexa::fuzz::checkInputOfModule(data, size, vexa::fuzz::check);
}
