#include "base/com_object.h"

#include <cstring>
#include <type_traits>

namespace vexa::base {
namespace {

// As two words: the SDK's comparison has to do without, since it is for constants, too.
bool areSame(const Guid& a, const Guid& b) {
  static_assert(std::has_unique_object_representations_v<Guid>);
  return std::memcmp(&a, &b, sizeof(Guid)) == 0;
}

}  // namespace

void* findInterface(void* object, const InterfaceMapRow* map, const Guid& id) {
  const auto at = [object](const InterfaceMapRow& row) {
    return static_cast<void*>(static_cast<uint8_t*>(object) + row.offset);
  };
  if (areSame(id, IID_IComponent) && map->kind == kMapOffset) {
    return at(*map);
  }
  for (const InterfaceMapRow* row = map; row->kind != kMapEnd; ++row) {
    if (row->id != nullptr && areSame(*row->id, id) && row->kind == kMapOffset) {
      return at(*row);
    }
  }
  return nullptr;
}

}  // namespace vexa::base
