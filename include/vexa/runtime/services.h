#pragma once

#include <cstdarg>

#include "vexa/runtime/object.h"

// The smaller tables of the crypto runtime. Results are 0 or a negative code unless said otherwise.
namespace vexa::runtime {

// "SEC_ENCODE_1"
struct EncodeTable {
  Reserved reserved0to2[3];
  // Base64 (RFC 4648) in lines of 64 characters, each ended by `lineEnd`. *outLength comes in as
  // the capacity and goes out as the length written; untouched on failure. No terminating zero.
  int32_t (*Base64Encode)(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength,
                          uint64_t, uint64_t, const char* lineEnd);
  int32_t (*Base64Decode)(const uint8_t* in, uint64_t inLength, uint8_t* out, uint64_t* outLength,
                          uint64_t, uint64_t);
  // copy 0: the value borrows the bytes; else it gets a root block of its own.
  int32_t (*SetBlob)(ByteBuffer* value, const uint8_t* bytes, uint32_t length, uint32_t copy);
};
VEXA_FIXED_SLOT(EncodeTable, Base64Encode, 3);
VEXA_FIXED_SLOT(EncodeTable, Base64Decode, 4);
VEXA_OUR_SLOT(EncodeTable, SetBlob, 5);

// "SEC_IO_1"
struct IoTable {
  Reserved reserved0to4[5];
  int32_t (*CreateMemoryStream)(Stream** out);
  int32_t (*Write)(Stream* stream, const void* bytes, uint64_t count);
  // A new buffer with everything written so far, one uncounted zero byte behind.
  int32_t (*GetContent)(Stream* stream, ByteBuffer** out);
};
VEXA_FIXED_SLOT(IoTable, CreateMemoryStream, 5);
VEXA_FIXED_SLOT(IoTable, Write, 6);
VEXA_OUR_SLOT(IoTable, GetContent, 7);

// "SEC_URL_1"
struct UrlTable {
  Reserved reserved0;
  // scheme without ":", lower case; host without port and user information. Both are empty on
  // failure.
  int32_t (*Split)(const char16_t* url, WideStringObject* scheme, WideStringObject* host);
};
VEXA_OUR_SLOT(UrlTable, Split, 1);

// "SEC_ASC_1"
struct ContextParameters {
  uint32_t version;             // 1
  const char* applicationName;  // "vexa"
  void* reserved3;
  const void* typeOperations;  // entry 2 of SEC_COMMONTYPES_1
  void* reserved5;
};
static_assert(offsetof(ContextParameters, applicationName) == 8);
static_assert(offsetof(ContextParameters, typeOperations) == 24);
static_assert(sizeof(ContextParameters) == 40);

struct AscTable {
  Reserved reserved0;
  int32_t (*CreateContext)(const ContextParameters* parameters, SecurityContext** out);
};
VEXA_OUR_SLOT(AscTable, CreateContext, 1);

// "SEC_CRYPT_1". Parameters are a linked list of items, told apart by tag.
struct CipherItemTable {
  Reserved reserved0;
  Reserved reserved1;
  void (*FreeValue)(void* value);
};
VEXA_FIXED_SLOT(CipherItemTable, FreeValue, 2);

enum CipherTag : uint32_t {
  kCipherKeyBits = 67,       // pointer to 32 bits
  kCipherMode = 105,         // pointer to 32 bits
  kCipherReverse = 106,      // null; its presence selects the reverse direction
  kCipherIv = 108,           // ByteBuffer
  kCipherExtraLength = 109,  // pointer to 64 bits
  kCipherPadding = 113,      // pointer to 64 bits: 4
  kCipherAlgorithm = 114,    // pointer to 32 bits
  kCipherKey = 119,          // SymmetricKey
};

struct CipherItem {
  uint32_t tag;
  uint32_t reserved4;
  void* value;
  uint16_t reserved16;
  uint8_t owned;  // non-zero: whoever releases the list frees the value through `table`
  uint8_t reserved19[5];
  const CipherItemTable* table;
  CipherItem* next;
};
static_assert(sizeof(CipherItem) == 40);
static_assert(offsetof(CipherItem, value) == 8 && offsetof(CipherItem, owned) == 18);
static_assert(offsetof(CipherItem, table) == 24 && offsetof(CipherItem, next) == 32);

struct CryptTable {
  Reserved reserved0;
  // `out` comes zeroed with tag 119; on success its value is a new key that the caller owns.
  int32_t (*GenerateKey)(const CipherItem* parameters, CipherItem* out, uint32_t algorithm);
  Reserved reserved2to17[16];
  // Sets out->length to the real length, never above the length that came in. On failure leaves
  // it alone. Keeps no state between calls.
  int32_t (*Cipher)(const CipherItem* parameters, const uint8_t* in, uint64_t inLength,
                    uint8_t* out, ByteBuffer* outRecord);
  Reserved reserved19to43[25];
  int32_t (*GetOutputSize)(const CipherItem* parameters, uint64_t inLength, uint64_t* size);
};
VEXA_FIXED_SLOT(CryptTable, GenerateKey, 1);
VEXA_FIXED_SLOT(CryptTable, Cipher, 18);
VEXA_FIXED_SLOT(CryptTable, GetOutputSize, 44);

// "SEC_RANDOM_1"
struct RandomTable {
  Reserved reserved0;
  int32_t (*GetBytes)(uint32_t kind, uint64_t length, uint64_t, uint8_t* out);  // kind 2
};
VEXA_FIXED_SLOT(RandomTable, GetBytes, 1);

// "SEC_TIME_1". A library time is opaque: only the runtime looks inside.
struct LibraryTime;
struct TimeTable {
  Reserved reserved0;
  int32_t (*ToUnixSeconds)(const LibraryTime* time, uint64_t* seconds);  // untouched on failure
};
VEXA_FIXED_SLOT(TimeTable, ToUnixSeconds, 1);

// "SEC_NOTIFY_1". Callable from any thread. Formats are those of printf.
struct NotifyTable {
  Reserved reserved0;
  void (*Message)(uint32_t level, const char* source, uint64_t, const char* format, ...);
  void (*MessageList)(uint32_t level, const char* source, uint64_t, const char* format,
                      va_list arguments);
  // Tracing at a level is on when the value returned is not below it.
  uint32_t (*GetLevel)(const char* source, uint32_t level);
};
VEXA_FIXED_SLOT(NotifyTable, Message, 1);
VEXA_FIXED_SLOT(NotifyTable, MessageList, 2);
VEXA_FIXED_SLOT(NotifyTable, GetLevel, 3);

// "SEC_PSE_1"
struct PseListTable {
  Reserved reserved0;
  // Frees the nodes and drops one reference of every record still in a node.
  void (*OwnListRelease)(OwnCertificateList* head);
  // Drops one reference; works after the PSE and its context are gone.
  void (*OwnRecordRelease)(OwnCertificateRecord* record);
};
VEXA_OUR_SLOT(PseListTable, OwnListRelease, 1);
VEXA_OUR_SLOT(PseListTable, OwnRecordRelease, 2);

}  // namespace vexa::runtime
