#include "cli/utf8.h"

namespace vexahost {
namespace {

// How many bytes up to the first that is not UTF-8.
size_t validLength(std::string_view bytes) {
  size_t length = 0;
  while (length < bytes.size()) {
    const size_t next = firstCodePoint(bytes.substr(length)).length;
    if (next == 0) {
      break;
    }
    length += next;
  }
  return length;
}

}  // namespace

CodePoint firstCodePoint(std::string_view text) {
  const auto lead = static_cast<uint8_t>(text[0]);
  if (lead < 0x80) {
    return {lead, 1};
  }
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
    return {lead, 0};
  }
  uint32_t value = lead & (0x7Fu >> length);
  for (size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<uint8_t>(text[i]);
    if ((byte & 0xC0) != 0x80) {
      return {lead, 0};
    }
    value = value << 6 | (byte & 0x3Fu);
  }
  constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
  const bool isGood = value >= kSmallest[length] && value <= 0x10FFFF && !isSurrogate;
  return {isGood ? value : lead, isGood ? length : 0};
}

std::string validUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (true) {
    const size_t good = validLength(bytes);
    if (good != 0) {
      text += bytes.substr(0, good);
    }
    if (good == bytes.size()) {
      return text;
    }
    text += "\xEF\xBF\xBD";
    bytes.remove_prefix(good + 1);
  }
}

}  // namespace vexahost
