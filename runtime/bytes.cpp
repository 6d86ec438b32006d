#include "runtime/bytes.h"

#include <algorithm>
#include <cstring>

#include "runtime/heap.h"
#include "runtime/holders.h"
#include "vexa/results.h"

namespace vexa::velmora {
namespace {

constexpr size_t kFirstCapacity = 32;

// memcpy and its like want valid pointers, even for no bytes.
void copyBytes(uint8_t* target, ByteView source) {
  if (!source.empty()) {
    // Capacity means that there is a block.
    // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker)
    std::memcpy(target, source.data(), source.size());
  }
}

}  // namespace

bool equalBytes(ByteView a, ByteView b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size()) == 0);
}

bool equalInConstantTime(ByteView a, ByteView b) {
  if (a.size() != b.size()) {
    return false;
  }
  volatile uint8_t difference = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    difference = static_cast<uint8_t>(difference | (a[i] ^ b[i]));
  }
  return difference == 0;
}

bool beforeBytes(ByteView a, ByteView b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
}

void wipe(void* block, size_t length) {
  volatile uint8_t* const bytes = static_cast<volatile uint8_t*>(block);
  for (size_t i = 0; i < length; ++i) {
    bytes[i] = 0;
  }
}

[[gnu::noinline]] void wipeStack() {
  uint8_t room[2048];
  wipe(room, sizeof(room));
}

void freeSecret(void* block, size_t length) {
  if (block != nullptr) {
    wipe(block, length);
    freeBlock(block);
  }
}

Bytes& Bytes::operator=(Bytes&& other) noexcept {
  if (this != &other) {
    reset();
    data_ = std::exchange(other.data_, nullptr);
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    failed_ = std::exchange(other.failed_, false);
  }
  return *this;
}

void Bytes::append(ByteView bytes) {
  if (failed_ || !reserve(size_ + bytes.size())) {
    return;
  }
  copyBytes(data_ + size_, bytes);
  size_ += bytes.size();
}

void Bytes::insert(size_t position, ByteView bytes) {
  if (failed_ || bytes.empty() || !reserve(size_ + bytes.size())) {
    return;
  }
  std::memmove(data_ + position + bytes.size(), data_ + position, size_ - position);
  copyBytes(data_ + position, bytes);
  size_ += bytes.size();
}

void Bytes::resize(size_t size) {
  if (failed_ || !reserve(size)) {
    return;
  }
  if (size > size_) {
    std::memset(data_ + size_, 0, size - size_);
  } else if (size < size_) {
    wipe(data_ + size, size_ - size);
  }
  size_ = size;
}

void Bytes::assign(ByteView bytes) {
  reset();
  append(bytes);
}

void Bytes::reset() {
  freeSecret(data_, size_);
  data_ = nullptr;
  size_ = capacity_ = 0;
  failed_ = false;
}

uint8_t* Bytes::release() {
  size_ = capacity_ = 0;
  return std::exchange(data_, nullptr);
}

bool Bytes::reserve(size_t capacity) {
  if (capacity <= capacity_) {
    return true;
  }
  const size_t roomy = std::max({capacity, 2 * capacity_, kFirstCapacity});
  auto* const block = static_cast<uint8_t*>(allocateBlock(roomy));
  if (block == nullptr) {
    failed_ = true;
    return false;
  }
  copyBytes(block, view());
  freeSecret(data_, size_);
  data_ = block;
  capacity_ = roomy;
  return true;
}

int32_t handOut(Bytes&& bytes, runtime::ByteBuffer** out) {
  if (bytes.failed()) {
    return kOutOfMemory;
  }
  runtime::ByteBuffer* buffer = *out;
  if (buffer == nullptr) {
    buffer = makeBlock<runtime::ByteBuffer>().release();
    if (buffer == nullptr) {
      return kOutOfMemory;
    }
  } else {
    clearBuffer(buffer);
  }
  buffer->length = bytes.size();
  buffer->data = bytes.release();
  *out = buffer;
  return kOk;
}

int32_t assignBuffer(runtime::ByteBuffer* target, ByteView bytes) {
  Bytes copy;
  if (!bytes.empty()) {
    copy.append(bytes);
  }
  if (copy.failed()) {
    return kOutOfMemory;
  }
  clearBuffer(target);
  target->length = copy.size();
  target->data = copy.release();
  return kOk;
}

void clearBuffer(runtime::ByteBuffer* buffer) {
  freeSecret(buffer->data, buffer->length);
  *buffer = {};
}

}  // namespace vexa::velmora
