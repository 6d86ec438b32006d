#include "runtime/basic_tables.h"
#include "runtime/hex.h"
#include "runtime/string_operations.h"

namespace vexa::velmora {
namespace {

using runtime::StringObject;
using Operations = StringOperations<StringObject>;

int32_t assignBytes(StringObject* string, const void* bytes, uint64_t length) {
  if (string == nullptr || (bytes == nullptr && length != 0)) {
    return kNullPointer;
  }
  return Operations::assign(string, {static_cast<const char*>(bytes), length});
}

int32_t compareWithText(const StringObject* string, const char* text) {
  const std::string_view a = Operations::view(string);
  const std::string_view b = Operations::view(text);
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    const auto left = static_cast<uint8_t>(upper(a[i]));
    const auto right = static_cast<uint8_t>(upper(b[i]));
    if (left != right) {
      return left < right ? -1 : 1;
    }
  }
  return (a.size() > b.size()) - (a.size() < b.size());
}

constexpr uint64_t everyByte(uint8_t byte) { return byte * 0x0101010101010101u; }

// Eight letters at a time: the top bit of each byte says whether the byte is from 'a' to 'z', which
// is 0x20 more than its capital.
uint64_t raised(uint64_t bytes) {
  const uint64_t low = bytes & everyByte(0x7F);
  const uint64_t fromA = low + everyByte(0x80 - 'a');
  const uint64_t beyondZ = low + everyByte(0x80 - 'z' - 1);
  const uint64_t isLower = fromA & ~beyondZ & ~bytes & everyByte(0x80);
  return bytes - (isLower >> 2);
}

void raise(char* text, uint64_t length) {
  uint64_t word;
  for (; length >= sizeof(word); text += sizeof(word), length -= sizeof(word)) {
    std::memcpy(&word, text, sizeof(word));
    word = raised(word);
    std::memcpy(text, &word, sizeof(word));
  }
  std::transform(text, text + length, text, upper<char>);
}

int32_t normalise(StringObject* string) {
  if (string == nullptr) {
    return kNullPointer;
  }
  raise(string->text, Operations::getLength(string));
  return kOk;
}

// The byte that the escape at `at` stands for. Negative for what is not decoded: an incomplete or
// invalid escape, and the zero byte, which would end the text early.
int escapedByte(std::string_view text, size_t at) {
  if (text[at] != '%' || text.size() - at < 3) {
    return -1;
  }
  const int high = hexDigit(text[at + 1]);
  const int low = hexDigit(text[at + 2]);
  const int byte = high < 0 || low < 0 ? -1 : high * 16 + low;
  return byte == 0 ? -1 : byte;
}

// One pass: what comes out is not decoded again.
int32_t decode(const StringObject* source, StringObject* target) {
  if (source == nullptr || target == nullptr) {
    return kNullPointer;
  }
  const std::string_view text = Operations::view(source);
  if (text.empty()) {
    Operations::clear(target);
    return kOk;
  }
  char* const decoded = Operations::allocateText(text.size());
  if (decoded == nullptr) {
    return kOutOfMemory;
  }
  uint64_t length = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const int byte = escapedByte(text, i);
    decoded[length++] = byte < 0 ? text[i] : static_cast<char>(byte);
    i += byte < 0 ? 0 : 2;
  }
  Operations::adopt(target, decoded, length);
  return kOk;
}

}  // namespace

constinit const runtime::StringTable stringTable = {
    .reserved0 = nullptr,
    .reserved1 = nullptr,
    .TextRelease = Operations::textRelease,
    .TextDuplicate = Operations::textDuplicate,
    .reserved4 = nullptr,
    .TextCompare = Operations::textCompare,
    .reserved6 = nullptr,
    .reserved7 = nullptr,
    .Create = Operations::create,
    .Destroy = Operations::destroy,
    .Clear = Operations::clear,
    .AssignBytes = assignBytes,
    .AssignText = Operations::assignText,
    .AppendText = Operations::appendText,
    .GetText = Operations::getText,
    .GetLength = Operations::getLength,
    .Compare = Operations::compare,
    .CompareWithText = compareWithText,
    .Normalise = normalise,
    .Decode = decode,
    .Trim = Operations::trim,
    .SplitFirst = Operations::splitFirst,
};

}  // namespace vexa::velmora
