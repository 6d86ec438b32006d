#include <algorithm>
#include <cstring>

#include "runtime/basic_tables.h"
#include "runtime/counted.h"
#include "runtime/heap.h"
#include "runtime/holders.h"
#include "vexa/results.h"

namespace vexa::velmora {
namespace {

extern const runtime::ObjectHeader streamHeader;

// A growing block, never of key material: it may grow by reallocation, often where it is,
// which Bytes must not. One thread at a time; only the reference count is interlocked.
struct MemoryStream final : Counted<runtime::Stream> {
  static constexpr char kTypeName[] = "MemoryStream";
  static constexpr uint64_t kFirstCapacity = 512;
  // A stream lives shortly: moves cost more than room, while that is not much.
  static constexpr uint64_t kMuch = 1 << 20;

  MemoryStream() : Counted(&streamHeader) {}

  int32_t append(const void* source, uint64_t count) {
    if (count > capacity - length && !grow(count)) {
      return kOutOfMemory;
    }
    if (count != 0) {
      std::memcpy(bytes.get() + length, source, count);
      length += count;
    }
    return kOk;
  }

  HeapBlock<uint8_t> bytes;
  uint64_t length = 0;
  uint64_t capacity = 0;

 private:
  bool grow(uint64_t count) {
    if (count > ~uint64_t{0} - length) {
      return false;
    }
    const uint64_t roomy = capacity < kMuch ? 4 * capacity : capacity + capacity / 4;
    const uint64_t wanted = std::max({length + count, roomy, kFirstCapacity});
    auto* const grown = static_cast<uint8_t*>(reallocateBlock(bytes.get(), wanted));
    if (grown == nullptr) {
      return false;
    }
    (void)bytes.release();  // it moved
    bytes.reset(grown);
    capacity = wanted;
    return true;
  }
};

// An independent copy: a stream changes.
int32_t duplicate(runtime::Object* object, void** copy) {
  if (copy == nullptr) {
    return kNullPointer;
  }
  *copy = nullptr;
  const MemoryStream* const source = CountedHeader<MemoryStream>::self(object);
  auto* const stream = makeOnHeap<MemoryStream>();
  if (stream == nullptr) {
    return kOutOfMemory;
  }
  const int32_t result = stream->append(source->bytes.get(), source->length);
  if (failed(result)) {
    destroyOnHeap(stream);
    return result;
  }
  *copy = stream;
  return kOk;
}

constinit const runtime::ObjectHeader streamHeader = CountedHeader<MemoryStream>::table(duplicate);

int32_t createMemoryStream(runtime::Stream** out) {
  if (out == nullptr) {
    return kNullPointer;
  }
  *out = makeOnHeap<MemoryStream>();
  return *out == nullptr ? kOutOfMemory : kOk;
}

int32_t write(runtime::Stream* stream, const void* bytes, uint64_t count) {
  if (stream == nullptr || (bytes == nullptr && count != 0)) {
    return kNullPointer;
  }
  return static_cast<MemoryStream*>(stream)->append(bytes, count);
}

int32_t getContent(runtime::Stream* stream, runtime::ByteBuffer** out) {
  if (stream == nullptr || out == nullptr) {
    return kNullPointer;
  }
  *out = nullptr;
  const auto* const source = static_cast<MemoryStream*>(stream);
  auto record = makeBlock<runtime::ByteBuffer>();
  auto bytes = makeBlock<uint8_t>(source->length + 1);
  if (!record || !bytes) {
    return kOutOfMemory;
  }
  if (source->length != 0) {
    std::memcpy(bytes.get(), source->bytes.get(), source->length);
  }
  *record = {source->length, bytes.release()};
  *out = record.release();
  return kOk;
}

}  // namespace

constinit const runtime::IoTable ioTable = {
    .reserved0to4 = {},
    .CreateMemoryStream = createMemoryStream,
    .Write = write,
    .GetContent = getContent,
};

}  // namespace vexa::velmora
