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

template <class Word>
constexpr Word everyByte(uint8_t byte) {
  return static_cast<Word>(byte * static_cast<Word>(0x0101010101010101u));
}

// The letters of a word at a time: the top bit of each byte says whether the byte is from 'a' to
// 'z', which is 0x20 more than its capital.
template <class Word>
Word raised(Word bytes) {
  const Word low = bytes & everyByte<Word>(0x7F);
  const Word fromA = low + everyByte<Word>(0x80 - 'a');
  const Word beyondZ = low + everyByte<Word>(0x80 - 'z' - 1);
  const Word isLower = fromA & ~beyondZ & ~bytes & everyByte<Word>(0x80);
  return bytes - (isLower >> 2);
}

template <class Word>
Word raisedAt(const char* text) {
  Word word;
  std::memcpy(&word, text, sizeof(word));
  return raised(word);
}

// At least a word. The last one may begin within the one before it: what is raised stays so.
template <class Word>
void raiseWords(char* text, uint64_t length) {
  char* const atLast = text + length - sizeof(Word);
  const Word last = raisedAt<Word>(atLast);
  for (; text < atLast; text += sizeof(Word)) {
    const Word word = raisedAt<Word>(text);
    std::memcpy(text, &word, sizeof(word));
  }
  std::memcpy(atLast, &last, sizeof(last));
}

void raise(char* text, uint64_t length) {
  if (length >= sizeof(uint64_t)) {
    raiseWords<uint64_t>(text, length);
  } else if (length >= sizeof(uint32_t)) {
    raiseWords<uint32_t>(text, length);
  } else {
    std::transform(text, text + length, text, upper<char>);
  }
}

// Most texts differ in their first bytes, so neither is measured before.
int32_t compareWithText(const StringObject* string, const char* text) {
  const char* other = text == nullptr ? "" : text;
  for (const char letter : Operations::view(string)) {
    if (*other == '\0') {
      return 1;
    }
    if (letter != *other && upper(letter) != upper(*other)) {
      return static_cast<uint8_t>(upper(letter)) < static_cast<uint8_t>(upper(*other)) ? -1 : 1;
    }
    ++other;
  }
  return *other == '\0' ? 0 : -1;
}

int32_t normalise(StringObject* string) {
  if (string == nullptr) {
    return kNullPointer;
  }
  raise(string->text, Operations::view(string).size());
  return kOk;
}

// The byte that the escape stands for whose percent sign is at `at`. Negative for what is not
// decoded: an incomplete or invalid escape, and the zero byte, which would end the text early.
int escapedByte(std::string_view text, size_t at) {
  if (text.size() - at < 3) {
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
  char* out = decoded;
  for (size_t at = 0; at < text.size();) {
    const std::string_view plain = text.substr(at, text.find('%', at) - at);
    out = std::copy(plain.begin(), plain.end(), out);
    at += plain.size();
    if (at < text.size()) {
      const int byte = escapedByte(text, at);
      *out++ = byte < 0 ? text[at] : static_cast<char>(byte);
      at += byte < 0 ? 1 : 3;
    }
  }
  Operations::adopt(target, decoded, static_cast<uint64_t>(out - decoded));
  return kOk;
}

}  // namespace

constinit const runtime::StringTable stringTable = [] {
  auto table = Operations::commonSlots<runtime::StringTable>();
  table.AssignBytes = assignBytes;
  table.CompareWithText = compareWithText;
  table.Normalise = normalise;
  table.Decode = decode;
  return table;
}();

}  // namespace vexa::velmora
