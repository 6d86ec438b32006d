#pragma once

#include "json/collections.h"
#include "vexa/runtime/records.h"

namespace vexa::json {

// Reads the object that the text begins with; JsonApiList::Parse tells what a text may be. kFail,
// kOutOfMemory: `object` is empty.
[[nodiscard]] int32_t parseText(const runtime::ByteBuffer& text, base::ComPtr<JsonObject>& object);

}  // namespace vexa::json
