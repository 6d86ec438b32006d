#include "capi/key_blob.h"

#include <cstring>

#include "base/buffer.h"
#include "base/holders.h"
#include "base/trace.h"
#include "base/wipe.h"

namespace vexa::capi {
namespace {

// BLOBHEADER and RSAPUBKEY, in front of the numbers.
constexpr uint8_t kPrivateKeyBlobType = 7;
constexpr uint8_t kBlobVersion = 2;
constexpr uint32_t kAlgorithmSign = 0x2400;
constexpr uint32_t kAlgorithmExchange = 0xA400;
constexpr uint64_t kAlgorithmOffset = 4;
constexpr uint64_t kMagicOffset = 8;
constexpr uint64_t kBitLengthOffset = 12;
constexpr uint64_t kExponentOffset = 16;
constexpr uint64_t kExponentWidth = 4;
constexpr uint64_t kNumbersOffset = 20;

constexpr uint64_t kAreaSize = 8192;
// n bytes of modulus take 2n + 5(n / 2) bytes: more of them would overrun the area.
constexpr int32_t kMostModulusBytes = (kAreaSize - kNumbersOffset) * 2 / 9;

void putLittleEndian(uint8_t* out, uint32_t value) {
  for (int i = 0; i < 4; ++i) {
    out[i] = static_cast<uint8_t>(value >> (8 * i));
  }
}

void log(const char* text) { base::traceText(base::kTraceError, nullptr, text); }

// The blob in the making.
class BlobArea {
 public:
  BlobArea() = default;
  BlobArea(const BlobArea&) = delete;
  BlobArea& operator=(const BlobArea&) = delete;
  ~BlobArea() { base::wipe(bytes_, sizeof(bytes_)); }

  bool fill(const runtime::RsaPrivateKey& key, uint32_t keySpec) {
    bytes_[0] = kPrivateKeyBlobType;
    bytes_[1] = kBlobVersion;
    putLittleEndian(bytes_ + kAlgorithmOffset,
                    keySpec == kKeySpecSign ? kAlgorithmSign : kAlgorithmExchange);
    std::memcpy(bytes_ + kMagicOffset, "RSA2", 4);
    if (convertInteger(key.publicExponent, bytes_ + kExponentOffset, kExponentWidth) < 1) {
      log("error converting BLOB (only supports small public exponents)");
      return false;
    }
    const int32_t n =
        convertInteger(key.modulus, bytes_ + kNumbersOffset, kAreaSize - kNumbersOffset);
    if (n < 1 || n > kMostModulusBytes) {
      log("error calculating correct BLOB length (1)");
      return false;
    }
    putLittleEndian(bytes_ + kBitLengthOffset, 8 * static_cast<uint32_t>(n));
    return appendNumbers(key, static_cast<uint64_t>(n));
  }

  // Null when there is no memory.
  runtime::ByteBuffer* copyOut() const {
    auto record = base::RootBlock<runtime::ByteBuffer>::ofBytes(sizeof(runtime::ByteBuffer));
    auto data = base::RootBlock<uint8_t>::ofBytes(record ? length_ : 0);
    if (!record || !data) {
      return nullptr;
    }
    std::memcpy(data.get(), bytes_, length_);
    *record = {length_, data.release()};
    return record.release();
  }

 private:
  // The first two refuse zero, the others accept it.
  bool appendNumbers(const runtime::RsaPrivateKey& key, uint64_t n) {
    const uint64_t half = n / 2;
    const struct {
      const runtime::BigInteger& number;
      uint64_t width;
      int32_t least;
      const char* message;
    } fields[] = {
        {key.prime1, half, 1, "error calculating correct BLOB length (2)"},
        {key.prime2, half, 1, "error calculating correct BLOB length (3)"},
        {key.exponent1, half, 0, "error calculating correct BLOB length (4)"},
        {key.exponent2, half, 0, "error calculating correct BLOB length (5)"},
        {key.coefficient, half, 0, "error calculating correct BLOB length (6)"},
        {key.privateExponent, n, 0, "error calculating correct BLOB length (7)"},
    };
    length_ = kNumbersOffset + n;
    for (const auto& field : fields) {
      if (convertInteger(field.number, bytes_ + length_, field.width) < field.least) {
        log(field.message);
        return false;
      }
      length_ += field.width;
    }
    return true;
  }

  uint8_t bytes_[kAreaSize] = {};
  uint64_t length_ = 0;
};

}  // namespace

int32_t convertInteger(const runtime::BigInteger& number, uint8_t* field, uint64_t width) {
  uint64_t significant = 0;
  uint64_t written = 0;
  for (uint64_t left = number.length; left-- > 0;) {
    const uint8_t byte = number.bytes[left];
    if (written < width) {
      field[written++] = byte;
      significant = byte != 0 ? written : significant;
    } else if (byte != 0) {
      return -1;
    }
  }
  std::memset(field + written, 0, width - written);
  return static_cast<int32_t>(significant);
}

runtime::ByteBuffer* aux_convert_RSAPrivateKey_to_PVKBLOB(const runtime::RsaPrivateKey* key,
                                                          uint32_t keySpec) {
  base::TraceScope scope("aux_convert_RSAPrivateKey_to_PVKBLOB");
  BlobArea area;
  if (!area.fill(*key, keySpec)) {
    return nullptr;
  }
  runtime::ByteBuffer* const blob = area.copyOut();
  if (blob == nullptr) {
    log("error allocation memory for BLOB");
  }
  return blob;
}

}  // namespace vexa::capi
