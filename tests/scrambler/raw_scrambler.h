#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "base/holders.h"
#include "scrambler/scrambler.h"
#include "support/bound_fixture.h"
#include "support/exact_bytes.h"
#include "support/raw_reference.h"

namespace vexa::test {

// A byte buffer as a caller holds it.
class OutBuffer {
 public:
  // With what is there already, which the operations use again.
  runtime::ByteBuffer** put() { return buffer_.inOut(); }
  runtime::ByteBuffer* get() const { return buffer_.get(); }
  std::string bytes() const {
    return buffer_ ? std::string(reinterpret_cast<const char*>(buffer_->data), buffer_->length)
                   : std::string();
  }

 private:
  base::Buffer buffer_;
};

// A scrambler with its operations by slot.
class RawScrambler : public RawReference {
 public:
  RawScrambler() = default;
  RawScrambler(uint32_t algorithm, uint32_t mode, uint32_t keyBits) {
    IScrambler* made = nullptr;
    EXPECT_EQ(scrambler::CreateScramblerEx(algorithm, mode, keyBits, &made), kOk);
    *put() = made;
  }
  RawScrambler(RawScrambler&&) = default;
  RawScrambler& operator=(RawScrambler&&) = default;
  ~RawScrambler() { release(); }

  // With the defaults of the class.
  void create(uint32_t keyBits) {
    IScrambler* made = nullptr;
    EXPECT_EQ(scrambler::CreateScrambler(keyBits, &made), kOk);
    *put() = made;
  }
  // An object that was not initialised.
  void createBare(uint32_t algorithm = 12, uint32_t mode = 0) {
    int32_t result = kFail;
    auto* const made = base::CComObject<scrambler::CScrambler>::Create(&result);
    ASSERT_EQ(result, kOk);
    made->AddRef();
    made->select(algorithm, mode);
    *put() = static_cast<IScrambler*>(made);
  }
  void release() {
    if (*this) {
      EXPECT_EQ(RawReference::release(), 0u);
    }
  }

  int32_t initialize(uint32_t keyBits) { return call<int32_t>(get(), 3, keyBits); }
  int32_t scrambleString(const char16_t* text, runtime::ByteBuffer** out) {
    return call<int32_t>(get(), 4, text, out);
  }
  int32_t unscrambleString(const runtime::ByteBuffer* in, char16_t** text) {
    return call<int32_t>(get(), 5, in, text);
  }
  int32_t scramble(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) {
    return call<int32_t>(get(), 6, in, out);
  }
  int32_t unscramble(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) {
    return call<int32_t>(get(), 7, in, out);
  }
  int32_t copyKeyTo(void* target) { return call<int32_t>(get(), 8, target); }

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
};

}  // namespace vexa::test
