#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "vexa/holders.h"

namespace vexahost {

// One request as the log tells it.
struct LogEntry {
  std::chrono::system_clock::time_point time;
  std::string client;  // "127.0.0.1:51234"
  std::string method;  // as they came; empty when there was no request line
  std::string target;
  std::string origin;
  uint32_t status = 0;
  uint64_t bytes = 0;  // of the answer, its headers included
  std::chrono::microseconds duration{0};
};

// "2026-01-31T12:00:00.123Z 127.0.0.1:51234 200 512 0.250ms GET /v1/info https://app.example"
// Always eight words. What is missing is "-"; blanks, controls and bytes above 126 in what came
// from outside are written as "%" and two hexadecimal digits, so that a line is a line.
std::string logLine(const LogEntry& entry);

// A line a request, in a file that is added to or on the standard output.
class AccessLog {
 public:
  // Empty: no log. "-": the standard output. Throws HostError.
  explicit AccessLog(const std::string& path);

  bool isOn() const { return static_cast<bool>(file_); }
  void write(const LogEntry& entry);

 private:
  struct FilePolicy : vexa::PointerPolicy<std::FILE> {
    static void release(std::FILE* file) {
      if (file != stdout) {
        std::fclose(file);
      }
    }
  };
  vexa::Holder<FilePolicy> file_;
};

}  // namespace vexahost
