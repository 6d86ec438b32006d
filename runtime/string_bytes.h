#pragma once

#include "runtime/basic_tables.h"
#include "runtime/bytes.h"

// String objects as bytes.
namespace vexa::velmora {

// Replaces the content of a string object by a counted copy.
inline int32_t assignString(runtime::StringObject* string, ByteView utf8) {
  return stringTable.AssignBytes(string, utf8.data(), utf8.size());
}
// The counted text; empty for null.
inline ByteView textOf(const runtime::StringObject* string) {
  if (string == nullptr) {
    return {};
  }
  return {reinterpret_cast<const uint8_t*>(string->text), static_cast<size_t>(string->length)};
}

}  // namespace vexa::velmora
