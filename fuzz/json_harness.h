#pragma once

#include <string>
#include <string_view>

#include "harness.h"
#include "json/jsonapi_list.h"
#include "vexa/json.h"

// What the JSON fuzz targets share.
namespace vexa::fuzz {

inline int32_t parse(std::string_view text, InterfaceHolder<IJsonObject>& object) {
  // The parser only reads it.
  const runtime::ByteBuffer record{text.size(),
                                   reinterpret_cast<uint8_t*>(const_cast<char*>(text.data()))};
  const int32_t result = json::kJsonApi.Parse(&record, object.put());
  require(static_cast<bool>(object) == (result == kOk), "an object exactly on success");
  return result;
}

inline std::string toText(IJsonObject& object) {
  MadeBuffer text;
  require(object.ToText(text.put()) == kOk, "every tree can be written");
  return std::string(text.view());
}

}  // namespace vexa::fuzz
