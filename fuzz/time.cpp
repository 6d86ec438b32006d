#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "harness.h"
#include "time/timeapi_list.h"

// Conversions between time formats against the same rule in unsigned 128-bit steps cut to 64, and
// times of the crypto runtime against the C library's calendar. The input is two formats, a value,
// and a text.
namespace vexa::fuzz {
namespace {

uint64_t unitOf(uint32_t format) {
  const uint32_t unit = format & 0x0F;
  return unit == 1 ? 10'000'000 : unit == 2 ? 10'000 : unit == 4 ? 10 : 1;
}

bool isAbsolute(uint32_t format) { return (format & 0xF0) == 0x10 || (format & 0xF0) == 0x20; }

uint64_t zeroOf(uint32_t format) { return (format & 0xF0) == 0x20 ? kUnixEpochTicks : 0; }

uint64_t expectedTime(uint64_t value, uint32_t from, uint32_t to) {
  if ((from & 0xFF) == (to & 0xFF)) {
    return value;
  }
  const auto ticks = static_cast<unsigned __int128>(value) * unitOf(from);
  auto moment = static_cast<uint64_t>(ticks);
  if ((from & 0xF0) != (to & 0xF0)) {
    moment = moment + zeroOf(from) - zeroOf(to);
  }
  return moment / unitOf(to);
}

void checkFormats(uint64_t value, uint32_t from, uint32_t to) {
  const TimeList& list = time::kTimeList;
  const uint64_t converted = list.ConvertTime(value, from, to);
  const bool readsClock = (from & 0xF0) != (to & 0xF0) && (!isAbsolute(from) || !isAbsolute(to));
  if (!readsClock) {
    require(converted == expectedTime(value, from, to), "the same time");
    return;
  }
  // A span that begins and ends within it: seconds have passed at most.
  const uint64_t now = list.GetCurrentFileTime();
  if (isAbsolute(to) && !isAbsolute(from) && value < 1'000'000) {
    const uint64_t moment = value * unitOf(from) + now - zeroOf(to);
    const uint64_t difference = moment - converted * unitOf(to);
    require(difference < 2 * unitOf(to) + 600'000'000, "from now on");
  }
}

// YYYYMMDDThhmmss of a day that there was, from 1970 on.
std::optional<uint64_t> secondsOf(const std::string& text) {
  tm parts{};
  if (text.size() != 15 || text[8] != 'T') {
    return std::nullopt;
  }
  const std::string digits = text.substr(0, 8) + text.substr(9);
  if (!std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    return std::nullopt;
  }
  const auto number = [&digits](size_t at, size_t count) {
    return std::stoi(digits.substr(at, count));
  };
  parts.tm_year = number(0, 4) - 1900;
  parts.tm_mon = number(4, 2) - 1;
  parts.tm_mday = number(6, 2);
  parts.tm_hour = number(8, 2);
  parts.tm_min = number(10, 2);
  parts.tm_sec = number(12, 2);
  tm calendar = parts;
  const time_t seconds = timegm(&calendar);
  // What is no day or no hour has become another one.
  const bool isSame = calendar.tm_year == parts.tm_year && calendar.tm_mon == parts.tm_mon &&
                      calendar.tm_mday == parts.tm_mday && calendar.tm_hour == parts.tm_hour &&
                      calendar.tm_min == parts.tm_min && calendar.tm_sec == parts.tm_sec;
  return isSame && seconds >= 0 ? std::optional<uint64_t>(seconds) : std::nullopt;
}

void checkLibraryTime(const std::string& text, uint32_t to) {
  const auto* const opaque = reinterpret_cast<const runtime::LibraryTime*>(text.c_str());
  uint64_t seconds = 7;
  const auto expected = secondsOf(text);
  const int32_t result = base::bound.time->ToUnixSeconds(opaque, &seconds);
  require((result == kOk) == expected.has_value(), "a time, or none");
  require(seconds == expected.value_or(7), "the same second");
  if (isAbsolute(to)) {
    require(time::kTimeList.ConvertLibraryTime(opaque, to) ==
                expectedTime(expected.value_or(0), kUnixSecondsFormat, to),
            "the same time in another format");
  }
}

void check(std::string_view input) {
  if (input.size() < 12) {
    return;
  }
  uint16_t formats[2];
  uint64_t value = 0;
  std::memcpy(formats, input.data(), sizeof(formats));
  std::memcpy(&value, input.data() + 4, sizeof(value));
  const std::string text(input.substr(12));
  checkFormats(value, formats[0], formats[1]);
  checkLibraryTime(text.substr(0, text.find('\0')), formats[1]);
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return vexa::fuzz::checkInputOfModule(data, size, vexa::fuzz::check);
}
