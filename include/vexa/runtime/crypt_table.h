#pragma once

#include "vexa/runtime/object.h"
#include "vexa/runtime/table_traits.h"

namespace vexa::runtime {

inline constexpr char kCryptName[] = "SEC_CRYPT_1";

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
template <>
struct TableTraits<CryptTable> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kCryptName;
};

}  // namespace vexa::runtime
