#pragma once

#include <cstdint>
#include <string_view>

#include "vexa/runtime/object.h"
#include "vexa/runtime/records.h"

// Values as text, appended to a stream of SEC_IO_1 piece by piece. IJsonObject::ToText has the
// layout. Every function returns the first failure of the stream, and writes nothing behind it.
namespace vexa::json {

class JsonCollection;

[[nodiscard]] int32_t writePiece(runtime::Stream* stream, std::string_view piece);
[[nodiscard]] int32_t writeInteger(runtime::Stream* stream, int32_t value);
// In double quotes; leaves its buffer in pieces of 1024 bytes and a little more.
[[nodiscard]] int32_t writeEscaped(runtime::Stream* stream, std::string_view text);
// kFail: neither object nor array. kOutOfMemory: nested too deep for the memory there is.
[[nodiscard]] int32_t writeCollection(runtime::Stream* stream, JsonCollection& collection);

// A new buffer with the collection as text, null on failure.
[[nodiscard]] int32_t toText(JsonCollection& collection, runtime::ByteBuffer** text);

}  // namespace vexa::json
