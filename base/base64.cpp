#include "base/base64.h"

#include "base/buffer.h"

namespace vexa::base {
namespace {

constexpr uint64_t kLineBytes = 48;  // of input for a full line of output
constexpr uint64_t kLineCharacters = 64;
constexpr char kLineEnd[] = "\r\n";
constexpr uint64_t kDecodeReserve = 60;

// Gives *out a new block of `capacity` bytes, and has `convert` fill it and set the length.
template <class Convert>
int32_t convertInto(runtime::ByteBuffer** out, uint64_t capacity, Convert convert) {
  RootBlock<uint8_t> old;
  if (const int32_t result = renewData(out, capacity, old); failed(result)) {
    return result;
  }
  return failed(convert((*out)->data, &(*out)->length)) ? kFail : kOk;
}

}  // namespace

int32_t EncodeBase64(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) {
  if (in == nullptr || out == nullptr) {
    return kInvalidArgument;
  }
  const runtime::ByteBuffer input = *in;  // *out may be the same buffer
  const uint64_t capacity = (input.length / kLineBytes + 1) * (kLineCharacters + 2);
  return convertInto(out, capacity, [&input](uint8_t* data, uint64_t* length) {
    return bound.encode->Base64Encode(input.data, input.length, data, length, 0, 0, kLineEnd);
  });
}

int32_t DecodeBase64(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) {
  if (in == nullptr || out == nullptr) {
    return kInvalidArgument;
  }
  const runtime::ByteBuffer input = *in;
  const uint64_t capacity = input.length * 3 / 4 + kDecodeReserve;
  return convertInto(out, capacity, [&input](uint8_t* data, uint64_t* length) {
    return bound.encode->Base64Decode(input.data, input.length, data, length, 0, 0);
  });
}

}  // namespace vexa::base
