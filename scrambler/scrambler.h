#pragma once

#include <cstdint>

#include "base/com_object.h"
#include "scrambler/cipher.h"
#include "vexa/runtime/object.h"
#include "vexa/scrambler.h"

namespace vexa::scrambler {

// See vexa/scrambler.h.
class CScrambler : public IScrambler, public base::CComObjectRoot {
 public:
  static const base::InterfaceMapRow* InterfaceMap();

  CScrambler() = default;
  CScrambler(const CScrambler&) = delete;
  CScrambler& operator=(const CScrambler&) = delete;

  // Before Initialize: another cipher than the default one.
  void select(uint32_t algorithm, uint32_t mode);

  int32_t Initialize(uint32_t keyBits) override;
  int32_t ScrambleString(const char16_t* text, runtime::ByteBuffer** out) override;
  int32_t UnscrambleString(const runtime::ByteBuffer* in, char16_t** text) override;
  int32_t Scramble(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) override;
  int32_t Unscramble(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) override;
  int32_t CopyKeyTo(IScrambler* target) override;

 protected:
  ~CScrambler() = default;

 private:
  enum class Direction { kForward, kReverse };

  int32_t makeVector(uint64_t blockSize);
  int32_t checkArguments(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) const;
  template <Direction kDirection>
  int32_t cipher(const runtime::ByteBuffer* in, runtime::ByteBuffer** out);

  SymmetricKey key_;
  uint32_t algorithm_ = kDefaultCipher;
  uint32_t mode_ = kScramblePlain;
  base::RootBlock<uint8_t> vectorBytes_;
  runtime::ByteBuffer vector_{};  // of those bytes; empty unless the mode asks for one
  uint64_t extraLength_ = 0;      // the block size in mode kScrambleFeedback
};

// Slots 8 and 9 of the core list; vexa/core.h has the contracts.
int32_t CreateScrambler(uint32_t keyBits, IScrambler** out);
int32_t CreateScramblerEx(uint32_t algorithm, uint32_t mode, uint32_t keyBits, IScrambler** out);

}  // namespace vexa::scrambler
