#include "base/com_object.h"

namespace vexa::base {

void* findInterface(void* object, const InterfaceMapRow* map, const Guid& id) {
  const auto at = [object](const InterfaceMapRow& row) {
    return static_cast<void*>(static_cast<uint8_t*>(object) + row.offset);
  };
  if (id == IID_IComponent && map->kind == kMapOffset) {
    return at(*map);
  }
  for (const InterfaceMapRow* row = map; row->kind != kMapEnd; ++row) {
    if (row->id != nullptr && *row->id == id && row->kind == kMapOffset) {
      return at(*row);
    }
  }
  return nullptr;
}

}  // namespace vexa::base
