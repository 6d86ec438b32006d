#pragma once

#include <cstdint>
#include <span>
#include <utility>

#include "base/tables.h"
#include "vexa/results.h"

// Byte buffers that cross the border: a record and its data, both from the root list, released with
// SEC_COMMONTYPES_1's BufferRelease.
namespace vexa::base {

// Slots 4 to 7 of the core list; vexa/core.h has the contracts.
void TerminateBuffer(runtime::ByteBuffer* buffer);
int32_t AllocBuffer(uint64_t size, runtime::ByteBuffer** out);
int32_t BufferFromBytes(const void* data, uint64_t length, runtime::ByteBuffer** out);
int32_t BufferFromRange(const void* start, const void* end, runtime::ByteBuffer** out);

// Creates an empty record when *out is null. kOutOfMemory.
[[nodiscard]] int32_t ensureBuffer(runtime::ByteBuffer** out);

// Frees data and record; null is ignored.
void releaseBuffer(runtime::ByteBuffer* buffer);

// Owns one byte buffer.
class Buffer {
 public:
  Buffer() = default;
  explicit Buffer(runtime::ByteBuffer* buffer) : buffer_(buffer) {}
  Buffer(Buffer&& other) noexcept : buffer_(other.release()) {}
  Buffer& operator=(Buffer&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~Buffer() { reset(); }

  explicit operator bool() const { return buffer_ != nullptr; }
  runtime::ByteBuffer* get() const { return buffer_; }
  runtime::ByteBuffer* operator->() const { return buffer_; }
  std::span<const uint8_t> bytes() const {
    return buffer_ == nullptr ? std::span<const uint8_t>()
                              : std::span<const uint8_t>(buffer_->data, buffer_->length);
  }
  runtime::ByteBuffer** put() {
    reset();
    return &buffer_;
  }
  runtime::ByteBuffer* release() { return std::exchange(buffer_, nullptr); }
  void reset(runtime::ByteBuffer* buffer = nullptr) {
    releaseBuffer(std::exchange(buffer_, buffer));
  }

 private:
  runtime::ByteBuffer* buffer_ = nullptr;
};

}  // namespace vexa::base
