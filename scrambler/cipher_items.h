#pragma once

#include <cstdint>

#include "vexa/runtime/crypt_table.h"

namespace vexa::scrambler {

// Links item `index` of the array behind the one before it.
void putCipherItem(runtime::CipherItem* items, uint32_t index, uint32_t tag, void* value,
                   const runtime::CipherItemTable* owner);
// Frees each owned value through its table and clears every value.
void releaseCipherItems(runtime::CipherItem* items, uint32_t count);

// The parameter list of a cipher call: a fixed array of linked items, all bytes zero at start.
template <uint32_t kCapacity>
class CipherItems {
 public:
  CipherItems() = default;
  CipherItems(const CipherItems&) = delete;
  CipherItems& operator=(const CipherItems&) = delete;
  ~CipherItems() { release(); }

  // Borrows the value; with an owner the list frees it through that table. An item beyond the
  // capacity is ignored, its value stays the caller's.
  void add(uint32_t tag, void* value, const runtime::CipherItemTable* owner = nullptr) {
    if (count_ < kCapacity) {
      putCipherItem(items_, count_++, tag, value, owner);
    }
  }
  void release() { releaseCipherItems(items_, count_); }

  const runtime::CipherItem* first() const { return items_; }
  uint32_t count() const { return count_; }

 private:
  runtime::CipherItem items_[kCapacity] = {};
  uint32_t count_ = 0;
};
static_assert(sizeof(CipherItems<2>) == 2 * 40 + 8);
static_assert(sizeof(CipherItems<7>) == 7 * 40 + 8);

}  // namespace vexa::scrambler
