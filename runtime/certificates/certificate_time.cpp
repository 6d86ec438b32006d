#include "runtime/certificates/certificate_time.h"

#include <cstring>

namespace vexa::velmora {
namespace {

constexpr size_t kDigits = 14;         // YYYYMMDDhhmmss
constexpr size_t kDateDigits = 8;      // of them before the "T"
constexpr size_t kUtcTimeLength = 13;  // YYMMDDhhmmssZ
constexpr size_t kUtcNoSeconds = 11;   // YYMMDDhhmmZ, in certificates of the last century
constexpr size_t kGeneralizedLength = kDigits + 1;

// Ranges of month, day, hour, minute, second.
bool isPlausible(const char (&digits)[kDigits]) {
  for (const char c : digits) {
    if (c < '0' || c > '9') {
      return false;
    }
  }
  const auto number = [&digits](size_t at) {
    return (digits[at] - '0') * 10 + digits[at + 1] - '0';
  };
  return number(4) >= 1 && number(4) <= 12 && number(6) >= 1 && number(6) <= 31 &&
         number(8) <= 23 && number(10) <= 59 && number(12) <= 60;
}

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
  if (!isPlausible(digits)) {
    return false;
  }
  std::memcpy(out.text, digits, kDateDigits);
  out.text[kDateDigits] = 'T';
  std::memcpy(out.text + kDateDigits + 1, digits + kDateDigits, kDigits - kDateDigits);
  out.text[kDigits + 1] = '\0';
  return true;
}

bool isLibraryTime(const char* text) {
  if (std::strlen(text) != kDigits + 1 || text[kDateDigits] != 'T') {
    return false;
  }
  char digits[kDigits];
  std::memcpy(digits, text, kDateDigits);
  std::memcpy(digits + kDateDigits, text + kDateDigits + 1, kDigits - kDateDigits);
  return isPlausible(digits);
}

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
