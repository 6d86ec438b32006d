#include "scrambler/cipher_items.h"

namespace vexa::scrambler {

void putCipherItem(runtime::CipherItem* items, uint32_t index, uint32_t tag, void* value,
                   const runtime::CipherItemTable* owner) {
  runtime::CipherItem& item = items[index];
  item.tag = tag;
  item.value = value;
  item.owned = owner != nullptr ? 1 : 0;
  item.table = owner;
  if (index != 0) {
    items[index - 1].next = &item;
  }
}

void releaseCipherItems(runtime::CipherItem* items, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    if (items[i].owned != 0 && items[i].value != nullptr) {
      items[i].table->FreeValue(items[i].value);
    }
    items[i].value = nullptr;
  }
}

}  // namespace vexa::scrambler
