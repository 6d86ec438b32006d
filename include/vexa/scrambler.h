#pragma once

#include "vexa/ciphers.h"
#include "vexa/component.h"
#include "vexa/runtime/records.h"

namespace vexa {

// {41B7E3D0-9A5C-4F12-B6E8-0C2D7F94A853}
inline constexpr Guid IID_IScrambler{
    0x41B7E3D0, 0x9A5C, 0x4F12, {0xB6, 0xE8, 0x0C, 0x2D, 0x7F, 0x94, 0xA8, 0x53}};

// Keeps data scrambled in memory under a random key of its own, which dies with the object. Made by
// slots 8 and 9 of the core list (vexa/core.h); no class name.
//
// The output is bare cipher output. Equal inputs give equal outputs: this hides data from a look at
// the memory, it does not protect messages.
//
// Buffers are records from the root list. `out` is the address of a buffer pointer: a null pointer
// gets a new record, else the record's data is replaced; it may be the input's. The caller releases
// it with SEC_COMMONTYPES_1's BufferRelease. Slots 4 to 7 share these results:
//   kOk
//   kFail         there is no key (looked at first), or the cipher failed: *out is then wiped,
//                 released and null, also when the caller had given the record.
//   kNullPointer  a null argument, or an input without data whose length is not 0.
//   kOutOfMemory  *out is as it was.
//
// One thread at a time; only the reference count is interlocked.
class IScrambler : public IComponent {
 public:
  // Slot 3. Makes the key and, in kScrambleChained and kScrambleFeedback, the initialisation
  // vector. Every CipherNumber but kDefaultCipher has a key size of its own and ignores `keyBits`;
  // for others it is 1 to 16384.
  //   kOk           also when no key could be made: slots 4 to 7 then fail.
  //   kFail         there is a key already; it stays.
  //   kOutOfMemory  no vector could be made; there is no key.
  virtual int32_t Initialize(uint32_t keyBits) = 0;
  // Slot 4. `text` is zero-terminated UTF-16; the terminator is not scrambled.
  virtual int32_t ScrambleString(const char16_t* text, runtime::ByteBuffer** out) = 0;
  // Slot 5. *text is zero-terminated and released with the root list's Free; null on failure.
  virtual int32_t UnscrambleString(const runtime::ByteBuffer* in, char16_t** text) = 0;
  // Slot 6.
  virtual int32_t Scramble(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) = 0;
  // Slot 7.
  virtual int32_t Unscramble(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) = 0;
  // Slot 8. Replaces the target's key by an independent copy of this object's key; without one the
  // target ends without a key. Algorithm, mode and vector are not copied. The object itself as
  // target: nothing happens.
  //   kOk
  //   kInvalidArgument  null, or a scrambler of another implementation; it is not touched.
  //   kOutOfMemory      the target is left without a key.
  virtual int32_t CopyKeyTo(IScrambler* target) = 0;
  // Slot 9. Wipes and releases the key and destroys the object; bit 0 of `flags` frees its memory
  // too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;

 protected:
  ~IScrambler() = default;
};
template <>
struct InterfaceTraits<IScrambler> {
  static constexpr Guid kId = IID_IScrambler;
};

}  // namespace vexa
