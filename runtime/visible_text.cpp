#include "runtime/visible_text.h"

#include <cstring>

#include "runtime/utf.h"

namespace vexa::velmora {
namespace {

struct Range {
  uint32_t first;
  uint32_t last;
};
// Control characters, marks of direction, separators of lines and paragraphs.
constexpr Range kHarmful[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0x061C, 0x061C},
                              {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069},
                              {0xFEFF, 0xFEFF}};

bool isHarmful(const CodePoint& point) {
  bool found = point.length == 0;
  for (const Range& range : kHarmful) {
    found = found || (point.value >= range.first && point.value <= range.last);
  }
  return found;
}

}  // namespace

void printVisible(std::FILE* sink, const char* text) {
  const char* const end = text + std::strlen(text);
  const char* plain = text;  // not written yet
  const auto writePlain = [&] { std::fwrite(plain, 1, static_cast<size_t>(text - plain), sink); };
  while (text != end) {
    const CodePoint point = firstCodePoint(text, static_cast<uint64_t>(end - text));
    if (!isHarmful(point)) {
      text += point.length;
      continue;
    }
    writePlain();
    std::fprintf(sink, point.value < 0x100 ? "\\x%02X" : "\\u%04X", point.value);
    text += point.length == 0 ? 1 : point.length;
    plain = text;
  }
  writePlain();
}

}  // namespace vexa::velmora
