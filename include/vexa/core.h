#pragma once

#include "vexa/ciphers.h"
#include "vexa/module.h"
#include "vexa/runtime/object.h"

namespace vexa {

class IScrambler;  // vexa/scrambler.h

inline constexpr char kCoreListName[] = "vexa.misc.base.core.1";
inline constexpr char kAscListName[] = "vexa.misc.base.asc.1";

// The list "vexa.misc.base.core.1": byte buffers, base64, cipher sizes, scramblers, PKCS#12.
// Buffers come from the root list and are released with SEC_COMMONTYPES_1's BufferRelease. An out
// buffer is the address of a buffer pointer. No slot keeps state; any thread may call any of them.
struct CoreList {
  GetModuleInfoFunction GetModuleInfo;
  int32_t (*reserved1)(void*, void*, void*);  // returns 0
  void (*reserved2)(void*, void*, void*);     // does nothing
  void* (*reserved3)(void*, void*, void*);    // returns its second argument
  // Makes sure that a zero byte stands behind the data when its last byte is not zero; the length
  // stays. A null buffer, one without data and one that cannot be grown are left alone.
  void (*TerminateBuffer)(runtime::ByteBuffer* buffer);
  // A new buffer of `size` bytes. kBufferFail: null out (*out is null for every other failure).
  int32_t (*AllocBuffer)(uint64_t size, runtime::ByteBuffer** out);
  // A new buffer with a copy of the bytes and an uncounted zero byte behind. Results as above.
  int32_t (*BufferFromBytes)(const void* data, uint64_t length, runtime::ByteBuffer** out);
  // The same for [start, end). kBufferFail also when start lies above end.
  int32_t (*BufferFromRange)(const void* start, const void* end, runtime::ByteBuffer** out);
  // A scrambler of the default algorithm and mode with a new key; one reference. kOk also when no
  // key could be made: its operations then fail. kNullPointer: null out. kOutOfMemory.
  int32_t (*CreateScrambler)(uint32_t keyBits, IScrambler** out);
  // The same with a CipherNumber and a ScramblerMode.
  int32_t (*CreateScramblerEx)(uint32_t algorithm, uint32_t mode, uint32_t keyBits,
                               IScrambler** out);
  // Base64 (RFC 4648) with lines of 64 characters, each ended by CR LF. Creates *out when null,
  // else replaces its data, a block of the root list; it may be the input.
  //   kInvalidArgument  a null argument.
  //   kOutOfMemory      *out is as it was.
  //   kFail             the runtime refuses; *out is as long as what was reserved for the result.
  int32_t (*EncodeBase64)(const runtime::ByteBuffer* in, runtime::ByteBuffer** out);
  // The reverse, with the same results. kFail: no base64, line ends and blanks apart.
  int32_t (*DecodeBase64)(const runtime::ByteBuffer* in, runtime::ByteBuffer** out);
  // Block size in bytes and key size in bits of every CipherNumber but kDefaultCipher.
  // kInvalidArgument: id 0 or null out (nothing written), or another id (*out is 0).
  int32_t (*GetCipherBlockSize)(uint32_t algorithm, uint64_t* out);
  int32_t (*GetCipherKeyBits)(uint32_t algorithm, uint64_t* out);
  int32_t (*reserved14)(uint32_t, uint8_t);  // returns 0
  // A password-protected PKCS#12 file (RFC 7292) of a key with its chain; the list begins with the
  // key's own certificate. `password` may be null, which is another password than an empty one.
  // kInvalidArgument: another argument is null, or the first certificate. Otherwise the runtime's
  // result.
  int32_t (*CreatePkcs12)(const runtime::StringObject* name, const runtime::KeyObject* key,
                          const runtime::CertificateList* certificates,
                          const runtime::StringObject* password, runtime::ByteBuffer** out);
  // The reverse. The key's own certificate comes first when the file says which it is; none occurs
  // twice. The caller releases key and list through SEC_COMMONTYPES_1. On failure nothing is
  // written. kInvalidArgument: data, key or certificates is null. kFail: wrong password, damaged
  // file, or no key. Otherwise the runtime's result.
  int32_t (*OpenPkcs12)(const runtime::ByteBuffer* data, const runtime::StringObject* password,
                        runtime::KeyObject** key, runtime::CertificateList** certificates);
};
template <>
struct ListTraits<CoreList> {
  static constexpr const char* kName = kCoreListName;
  static constexpr ListSlot kSlots[] = {
      VEXA_LIST_SLOT(CoreList, GetModuleInfo, 0),
      VEXA_LIST_SLOT(CoreList, reserved1, 1),
      VEXA_LIST_SLOT(CoreList, reserved2, 2),
      VEXA_LIST_SLOT(CoreList, reserved3, 3),
      VEXA_LIST_SLOT(CoreList, TerminateBuffer, 4),
      VEXA_LIST_SLOT(CoreList, AllocBuffer, 5),
      VEXA_LIST_SLOT(CoreList, BufferFromBytes, 6),
      VEXA_LIST_SLOT(CoreList, BufferFromRange, 7),
      VEXA_LIST_SLOT(CoreList, CreateScrambler, 8),
      VEXA_LIST_SLOT(CoreList, CreateScramblerEx, 9),
      VEXA_LIST_SLOT(CoreList, EncodeBase64, 10),
      VEXA_LIST_SLOT(CoreList, DecodeBase64, 11),
      VEXA_LIST_SLOT(CoreList, GetCipherBlockSize, 12),
      VEXA_LIST_SLOT(CoreList, GetCipherKeyBits, 13),
      VEXA_LIST_SLOT(CoreList, reserved14, 14),
      VEXA_LIST_SLOT(CoreList, CreatePkcs12, 15),
      VEXA_LIST_SLOT(CoreList, OpenPkcs12, 16),
  };
};
static_assert(namesEverySlot<CoreList>());

// The list "vexa.misc.base.asc.1": shortcuts to the one PSE object of the module, which the first
// call creates. Nothing handed out carries a reference; it lives until the last module_final.
struct AscList {
  GetModuleInfoFunction GetModuleInfo;
  runtime::SecurityContext* (*GetContext)();  // null when there is none
  runtime::Pse* (*GetPse)();                  // null when there is none
  // Forwarded to the reserved slots 10 and 12 of the PSE object: kNotImplemented, or the failure
  // to get the object.
  int32_t (*PseReserved10)(void*, void*, void*);
  int32_t (*PseReserved12)(void*, void*, void*);
};
template <>
struct ListTraits<AscList> {
  static constexpr const char* kName = kAscListName;
  static constexpr ListSlot kSlots[] = {
      VEXA_LIST_SLOT(AscList, GetModuleInfo, 0), VEXA_LIST_SLOT(AscList, GetContext, 1),
      VEXA_LIST_SLOT(AscList, GetPse, 2),        VEXA_LIST_SLOT(AscList, PseReserved10, 3),
      VEXA_LIST_SLOT(AscList, PseReserved12, 4),
  };
};
static_assert(namesEverySlot<AscList>());

}  // namespace vexa
