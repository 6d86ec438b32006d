#include "json/value_name.h"

#include "base/string.h"
#include "base/tables.h"

namespace vexa::json {

using base::bound;

std::string_view ValueName::ownView() const {
  return {bound.strings->GetText(&object_), bound.strings->GetLength(&object_)};
}

int32_t ValueName::assign(bool isBorrowed, const void* bytes, uint64_t length) {
  if (!bound.strings) {  // a name that cannot be made is a lack of memory
    return kOutOfMemory;
  }
  if (!isBorrowed) {
    return bound.strings->AssignBytes(&object_, bytes, length);
  }
  runtime::StringObject made{};
  const int32_t result = bound.strings->AssignBytes(&made, bytes, length);
  if (succeeded(result)) {
    object_ = made;
  }
  return result;
}

void ValueName::clear() {
  if (object_.text != nullptr) {
    bound.strings->Clear(&object_);
  }
}

}  // namespace vexa::json
