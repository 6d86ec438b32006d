#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "module.h"

// Holders for what the module and its runtime hand out by value or block.
namespace vexahost {

// A block of the root heap.
template <class T>
class Block {
 public:
  explicit Block(const Module& module, T* block = nullptr) : module_(&module), block_(block) {}
  Block(Block&& other) noexcept
      : module_(other.module_), block_(std::exchange(other.block_, nullptr)) {}
  Block& operator=(Block&& other) noexcept {
    std::swap(module_, other.module_);
    std::swap(block_, other.block_);
    return *this;
  }
  ~Block() { module_->root().Free(block_); }

  T* get() const { return block_; }
  T** put() { return &block_; }

 private:
  const Module* module_;
  T* block_;
};

// A byte buffer.
class BufferRef {
 public:
  explicit BufferRef(const Module& module) : module_(module) {}
  BufferRef(const BufferRef&) = delete;
  BufferRef& operator=(const BufferRef&) = delete;
  ~BufferRef() { module_.types().BufferRelease(buffer_); }

  vexa::runtime::ByteBuffer** put() { return &buffer_; }
  vexa::runtime::ByteBuffer* get() const { return buffer_; }
  std::string_view view() const {
    return buffer_ == nullptr || buffer_->length == 0
               ? std::string_view()
               : std::string_view(reinterpret_cast<const char*>(buffer_->data), buffer_->length);
  }

 private:
  const Module& module_;
  vexa::runtime::ByteBuffer* buffer_ = nullptr;
};

// A byte buffer over bytes of the host's own, for arguments.
inline vexa::runtime::ByteBuffer borrow(std::string_view bytes) {
  return {bytes.size(), reinterpret_cast<uint8_t*>(const_cast<char*>(bytes.data()))};
}

// A string object.
class StringRef {
 public:
  explicit StringRef(const Module& module) : module_(module) {}
  StringRef(const Module& module, std::string_view text) : module_(module) {
    check(module_.strings().AssignBytes(&string_, text.data(), text.size()), "copying a text");
  }
  StringRef(const StringRef&) = delete;
  StringRef& operator=(const StringRef&) = delete;
  ~StringRef() { module_.strings().Clear(&string_); }

  vexa::runtime::StringObject* get() { return &string_; }
  std::string_view view() const {
    return {module_.strings().GetText(&string_), module_.strings().GetLength(&string_)};
  }

 private:
  const Module& module_;
  vexa::runtime::StringObject string_{};
};

// UTF-8 to the UTF-16 that the module takes, and back, by the string component.
std::u16string toUtf16(const Module& module, const std::string& text);
std::string toUtf8(const Module& module, const char16_t* text);

// The bytes with every invalid UTF-8 sequence replaced by U+FFFD, for output that must be UTF-8.
std::string validUtf8(std::string_view bytes);

}  // namespace vexahost
