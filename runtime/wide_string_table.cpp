#include "runtime/basic_tables.h"
#include "runtime/string_operations.h"
#include "runtime/utf.h"
#include "runtime/wildcard.h"

namespace vexa::velmora {
namespace {

using runtime::StringObject;
using runtime::WideStringObject;
using Operations = StringOperations<WideStringObject>;
using NarrowOperations = StringOperations<StringObject>;

int32_t assignUnits(WideStringObject* string, const char16_t* units, uint64_t length) {
  if (string == nullptr || (units == nullptr && length != 0)) {
    return kNullPointer;
  }
  return Operations::assign(string, {units, length});
}

uint64_t find(const WideStringObject* string, const char16_t* text, uint64_t start) {
  if (string == nullptr || text == nullptr) {
    return runtime::kNotFound;
  }
  return Operations::view(string).find(text, start);
}
static_assert(std::u16string_view::npos == runtime::kNotFound);

int32_t wildcardMatch(const WideStringObject* string, const char16_t* pattern) {
  return string != nullptr && pattern != nullptr &&
                 wildcardMatches(Operations::view(string), pattern)
             ? 1
             : 0;
}

int32_t fromMultiByte(WideStringObject* string, uint32_t codePage, const char* text) {
  if (string == nullptr) {
    return kNullPointer;
  }
  if (codePage != runtime::kUtf8) {
    return kInvalidArgument;
  }
  const std::string_view source = NarrowOperations::view(text);
  const uint64_t length = utf8ToUtf16(source.data(), source.size(), nullptr);
  char16_t* const converted = length == 0 ? nullptr : Operations::allocateText(length);
  if (converted == nullptr && length != 0) {
    return kOutOfMemory;
  }
  utf8ToUtf16(source.data(), source.size(), converted);
  Operations::adopt(string, converted, length);
  return kOk;
}

int32_t toMultiByte(const WideStringObject* string, uint32_t codePage, StringObject* out) {
  if (string == nullptr || out == nullptr) {
    return kNullPointer;
  }
  if (codePage != runtime::kUtf8) {
    return kInvalidArgument;
  }
  const std::u16string_view source = Operations::view(string);
  const uint64_t length = utf16ToUtf8(source.data(), source.size(), nullptr);
  char* const converted = length == 0 ? nullptr : NarrowOperations::allocateText(length);
  if (converted == nullptr && length != 0) {
    return kOutOfMemory;
  }
  utf16ToUtf8(source.data(), source.size(), converted);
  NarrowOperations::adopt(out, converted, length);
  return kOk;
}

}  // namespace

constinit const runtime::WideStringTable wideStringTable = [] {
  auto table = Operations::commonSlots<runtime::WideStringTable>();
  table.AssignUnits = assignUnits;
  table.Find = find;
  table.WildcardMatch = wildcardMatch;
  table.FromMultiByte = fromMultiByte;
  table.ToMultiByte = toMultiByte;
  return table;
}();

}  // namespace vexa::velmora
