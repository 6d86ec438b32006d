#include "base/buffer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/heap.h"

namespace vexa::base {
namespace {

// An empty record, or null and false.
bool makeRecord(runtime::ByteBuffer** out) {
  *out = static_cast<runtime::ByteBuffer*>(allocate(sizeof(runtime::ByteBuffer)));
  if (*out != nullptr) {
    **out = {};
  }
  return *out != nullptr;
}

}  // namespace

void TerminateBuffer(runtime::ByteBuffer* buffer) {
  if (buffer == nullptr || buffer->data == nullptr) {
    return;
  }
  if (buffer->length != 0 && buffer->data[buffer->length - 1] == 0) {
    return;
  }
  auto* grown = static_cast<uint8_t*>(reallocate(buffer->data, buffer->length + 1));
  if (grown == nullptr) {
    return;
  }
  buffer->data = grown;
  grown[buffer->length] = 0;
}

int32_t AllocBuffer(uint64_t size, runtime::ByteBuffer** out) {
  if (out == nullptr) {
    return kBufferFail;
  }
  *out = nullptr;
  Buffer made;
  if (!makeRecord(made.put())) {
    return kBufferFail;
  }
  *made = {size, static_cast<uint8_t*>(allocate(size))};
  if (made->data == nullptr) {
    return kBufferFail;
  }
  *out = made.release();
  return kOk;
}

int32_t BufferFromBytes(const void* data, uint64_t length, runtime::ByteBuffer** out) {
  if (length == UINT64_MAX) {
    if (out != nullptr) {
      *out = nullptr;
    }
    return kBufferFail;
  }
  const int32_t result = AllocBuffer(length + 1, out);
  if (failed(result)) {
    return result;
  }
  if (length != 0) {
    std::memcpy((*out)->data, data, length);
  }
  (*out)->data[length] = 0;
  (*out)->length = length;
  return kOk;
}

int32_t BufferFromRange(const void* start, const void* end, runtime::ByteBuffer** out) {
  if (out != nullptr) {
    *out = nullptr;
  }
  const auto first = reinterpret_cast<uintptr_t>(start);
  const auto last = reinterpret_cast<uintptr_t>(end);
  return first > last ? kBufferFail : BufferFromBytes(start, last - first, out);
}

int compareBytes(const runtime::ByteBuffer& a, const runtime::ByteBuffer& b) {
  if (a.length != b.length) {
    return a.length < b.length ? -1 : 1;
  }
  return a.length == 0 ? 0 : std::memcmp(a.data, b.data, a.length);
}

int32_t renewData(runtime::ByteBuffer** out, uint64_t size, RootBlock<uint8_t>& old) {
  Buffer made;
  if (*out == nullptr && !makeRecord(made.put())) {
    return kOutOfMemory;
  }
  auto block = RootBlock<uint8_t>::ofBytes(std::max<uint64_t>(size, 1));
  if (!block) {
    return kOutOfMemory;
  }
  if (*out == nullptr) {
    *out = made.release();
  }
  old.reset(std::exchange((*out)->data, block.release()));
  (*out)->length = size;
  return kOk;
}

}  // namespace vexa::base
