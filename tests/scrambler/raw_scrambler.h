#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "scrambler/scrambler.h"
#include "support/bound_fixture.h"
#include "support/exact_bytes.h"
#include "support/slot.h"

namespace vexa::test {

// A byte buffer as a caller holds it.
class OutBuffer {
 public:
  OutBuffer() = default;
  OutBuffer(const OutBuffer&) = delete;
  OutBuffer& operator=(const OutBuffer&) = delete;
  ~OutBuffer() { SpyRuntime::current().commonTypes.BufferRelease(buffer_); }

  runtime::ByteBuffer** put() { return &buffer_; }
  runtime::ByteBuffer* get() const { return buffer_; }
  std::string bytes() const {
    return buffer_ == nullptr
               ? std::string()
               : std::string(reinterpret_cast<const char*>(buffer_->data), buffer_->length);
  }

 private:
  runtime::ByteBuffer* buffer_ = nullptr;
};

// A scrambler with its operations by slot.
class RawScrambler {
 public:
  RawScrambler() = default;
  RawScrambler(uint32_t algorithm, uint32_t mode, uint32_t keyBits) {
    IScrambler* made = nullptr;
    EXPECT_EQ(scrambler::CreateScramblerEx(algorithm, mode, keyBits, &made), kOk);
    object_ = made;
  }
  RawScrambler(const RawScrambler&) = delete;
  RawScrambler& operator=(const RawScrambler&) = delete;
  ~RawScrambler() { release(); }

  // With the defaults of the class.
  void create(uint32_t keyBits) {
    IScrambler* made = nullptr;
    EXPECT_EQ(scrambler::CreateScrambler(keyBits, &made), kOk);
    object_ = made;
  }
  // An object that was not initialised.
  void createBare(uint32_t algorithm = 12, uint32_t mode = 0) {
    int32_t result = kFail;
    auto* const made = base::CComObject<scrambler::CScrambler>::Create(&result);
    ASSERT_EQ(result, kOk);
    made->AddRef();
    made->select(algorithm, mode);
    object_ = static_cast<IScrambler*>(made);
  }
  void release() {
    if (void* const object = std::exchange(object_, nullptr); object != nullptr) {
      EXPECT_EQ(call<uint32_t>(object, 2), 0u);
    }
  }

  int32_t initialize(uint32_t keyBits) { return call<int32_t>(object_, 3, keyBits); }
  int32_t scrambleString(const char16_t* text, runtime::ByteBuffer** out) {
    return call<int32_t>(object_, 4, text, out);
  }
  int32_t unscrambleString(const runtime::ByteBuffer* in, char16_t** text) {
    return call<int32_t>(object_, 5, in, text);
  }
  int32_t scramble(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) {
    return call<int32_t>(object_, 6, in, out);
  }
  int32_t unscramble(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) {
    return call<int32_t>(object_, 7, in, out);
  }
  int32_t copyKeyTo(void* target) { return call<int32_t>(object_, 8, target); }

  // Of these bytes; fails the test when there is no result.
  std::string scrambled(std::string_view bytes) {
    OutBuffer out;
    const ExactBytes in(bytes);
    const runtime::ByteBuffer record = in.buffer();
    EXPECT_EQ(scramble(&record, out.put()), kOk);
    return out.bytes();
  }
  std::string unscrambled(std::string_view bytes) {
    OutBuffer out;
    const ExactBytes in(bytes);
    const runtime::ByteBuffer record = in.buffer();
    EXPECT_EQ(unscramble(&record, out.put()), kOk);
    return out.bytes();
  }
  bool hasKey() {
    OutBuffer out;
    const ExactBytes in("x");
    const runtime::ByteBuffer record = in.buffer();
    return scramble(&record, out.put()) == kOk;
  }

  void* get() { return object_; }

 private:
  void* object_ = nullptr;
};

}  // namespace vexa::test
