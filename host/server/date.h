#pragma once

#include <chrono>
#include <ctime>
#include <string>

namespace vexahost {

// The parts of a time, in UTC.
std::tm utc(std::chrono::system_clock::time_point time);

// As the header Date has it: "Sun, 06 Nov 1994 08:49:37 GMT" (RFC 9110, 5.6.7).
std::string httpDate(std::chrono::system_clock::time_point time);

// The text of the present second, which is made once.
class DateClock {
 public:
  const std::string& text(std::chrono::system_clock::time_point now);

 private:
  std::time_t second_ = -1;
  std::string text_;
};

}  // namespace vexahost
