#include "runtime/certificates/certificate_time.h"

#include <cstring>

#include "runtime/library_time.h"

namespace vexa::velmora {
namespace {

constexpr size_t kDigits = 14;         // YYYYMMDDhhmmss
constexpr size_t kDateDigits = 8;      // of them before the "T"
constexpr size_t kUtcTimeLength = 13;  // YYMMDDhhmmssZ
constexpr size_t kUtcNoSeconds = 11;   // YYMMDDhhmmZ, in certificates of the last century
constexpr size_t kGeneralizedLength = kDigits + 1;

}  // namespace

bool readTime(const DerElement& element, LibraryTimeText& out) {
  const ByteView content = element.content;
  if (content.empty() || content.back() != 'Z') {
    return false;
  }
  char digits[kDigits];
  std::memset(digits, '0', sizeof(digits));
  if (element.tag == kUtcTime &&
      (content.size() == kUtcTimeLength || content.size() == kUtcNoSeconds)) {
    // Two digits mean 1950 to 2049.
    std::memcpy(digits, content[0] >= '5' ? "19" : "20", 2);
    std::memcpy(digits + 2, content.data(), content.size() - 1);
  } else if (element.tag == kGeneralizedTime && content.size() == kGeneralizedLength) {
    std::memcpy(digits, content.data(), kDigits);
  } else {
    return false;
  }
  LibraryTimeText time;
  std::memcpy(time.text, digits, kDateDigits);
  time.text[kDateDigits] = 'T';
  std::memcpy(time.text + kDateDigits + 1, digits + kDateDigits, kDigits - kDateDigits);
  if (!isLibraryTime(time.text)) {
    return false;
  }
  out = time;
  return true;
}

bool isLibraryTime(const char* text) { return libraryTimeSeconds(text).has_value(); }

void writeTime(const LibraryTimeText& time, DerWriter& writer) {
  uint8_t content[kGeneralizedLength];
  std::memcpy(content, time.text, kDateDigits);
  std::memcpy(content + kDateDigits, time.text + kDateDigits + 1, kDigits - kDateDigits);
  content[kDigits] = 'Z';
  const bool isShort =
      std::memcmp(time.text, "1950", 4) >= 0 && std::memcmp(time.text, "2050", 4) < 0;
  if (isShort) {
    writer.element(kUtcTime, ByteView(content + 2, kUtcTimeLength));
  } else {
    writer.element(kGeneralizedTime, ByteView(content, kGeneralizedLength));
  }
}

}  // namespace vexa::velmora
