#include <cstring>

#include "runtime/base64.h"
#include "runtime/basic_tables.h"
#include "runtime/heap.h"
#include "vexa/results.h"

namespace vexa::velmora {
namespace {

bool missing(const uint8_t* bytes, uint64_t length) { return bytes == nullptr && length != 0; }

int32_t encode(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength, uint64_t,
               uint64_t, const char* lineEnd) {
  if (outLength == nullptr || missing(in, inLength) || missing(out, *outLength)) {
    return kNullPointer;
  }
  return base64Encode(in, inLength, out, outLength, lineEnd != nullptr ? lineEnd : "");
}

int32_t decode(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength, uint64_t,
               uint64_t) {
  if (outLength == nullptr || missing(in, inLength) || missing(out, *outLength)) {
    return kNullPointer;
  }
  return base64Decode(in, inLength, out, outLength);
}

int32_t setBlob(runtime::ByteBuffer* value, const uint8_t* bytes, uint32_t length, uint32_t copy) {
  if (value == nullptr || missing(bytes, length)) {
    return kNullPointer;
  }
  if (copy == 0 || length == 0) {
    *value = {length, copy == 0 ? const_cast<uint8_t*>(bytes) : nullptr};
    return kOk;
  }
  auto* const block = static_cast<uint8_t*>(allocateBlock(length));
  if (block == nullptr) {
    return kOutOfMemory;
  }
  std::memcpy(block, bytes, length);
  *value = {length, block};
  return kOk;
}

}  // namespace

constinit const runtime::EncodeTable encodeTable = {
    .reserved0to2 = {},
    .Base64Encode = encode,
    .Base64Decode = decode,
    .SetBlob = setBlob,
};

}  // namespace vexa::velmora
