#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "vexa/runtime/records.h"

namespace vexa::velmora {

using ByteView = std::span<const uint8_t>;

bool equalBytes(ByteView a, ByteView b);
// For authentication codes: the time depends on the lengths alone.
bool equalInConstantTime(ByteView a, ByteView b);
// The order of dictionaries: a prefix stands before what it begins.
bool beforeBytes(ByteView a, ByteView b);

// Overwrites with zeros in a way that the compiler keeps.
void wipe(void* block, size_t length);
// Wipes and frees a block of the root heap; null is ignored.
void freeSecret(void* block, size_t length);
// Overwrites what functions that have returned left on the stack below the caller: libgcrypt's
// digests of one call keep their result there.
void wipeStack();

inline ByteView viewOf(const runtime::ByteBuffer& buffer) {
  return {buffer.data, static_cast<size_t>(buffer.length)};
}

// A growing block from the root heap. It may hold key material, so every block is wiped before it
// is given up; a reallocation, with which other arrays grow, would leave the old bytes behind. A
// failed allocation is remembered: a row of appends needs one check at its end.
class Bytes {
 public:
  Bytes() = default;
  Bytes(Bytes&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)),
        size_(std::exchange(other.size_, 0)),
        capacity_(std::exchange(other.capacity_, 0)),
        failed_(std::exchange(other.failed_, false)) {}
  Bytes& operator=(Bytes&& other) noexcept;
  ~Bytes() { reset(); }

  const uint8_t* data() const { return data_; }
  uint8_t* data() { return data_; }
  size_t size() const { return size_; }
  bool failed() const { return failed_; }
  ByteView view() const { return {data_, size_}; }

  void append(ByteView bytes);
  void append(uint8_t byte) {
    if (size_ < capacity_ && !failed_) {
      data_[size_++] = byte;
    } else {
      append(ByteView(&byte, 1));
    }
  }
  // Puts `bytes` before the byte at `position`.
  void insert(size_t position, ByteView bytes);
  // Growth is zero-filled.
  void resize(size_t size);
  void assign(ByteView bytes);
  void reset();
  // For blocks that live on: whether an append failed since, which is forgotten. The bytes before
  // it are still there.
  bool takeFailure() { return std::exchange(failed_, false); }
  // Marks the whole as failed, as a failed append does.
  void fail() { failed_ = true; }

  // The block for the caller, who wipes and frees it; null when empty.
  uint8_t* release();

 private:
  bool reserve(size_t capacity);

  uint8_t* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
  bool failed_ = false;
};

// Moves the bytes into the record that *out points to, made when that is null. kOutOfMemory leaves
// *out as it was.
int32_t handOut(Bytes&& bytes, runtime::ByteBuffer** out);

// Copies into `target`, whose old content is wiped and freed. kOutOfMemory leaves it as it was.
int32_t assignBuffer(runtime::ByteBuffer* target, ByteView bytes);
// Wipes and frees the data; the record itself stays and is empty.
void clearBuffer(runtime::ByteBuffer* buffer);

}  // namespace vexa::velmora
