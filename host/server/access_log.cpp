#include "server/access_log.h"

#include <cinttypes>

#include "module.h"
#include "server/date.h"

namespace vexahost {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

constexpr size_t kLongestWord = 512;

std::string timeText(std::chrono::system_clock::time_point time) {
  const int64_t count = duration_cast<milliseconds>(time.time_since_epoch()).count();
  const std::tm parts = utc(time);
  char date[32];
  std::strftime(date, sizeof(date), "%Y-%m-%dT%H:%M:%S", &parts);
  char text[48];
  std::snprintf(text, sizeof(text), "%s.%03dZ", date, static_cast<int>(count % 1000));
  return text;
}

std::string word(std::string_view text) {
  if (text.empty()) {
    return "-";
  }
  std::string clean;
  for (const char c : text.substr(0, kLongestWord)) {
    if (c > ' ' && c < '\x7F') {
      clean += c;
    } else {
      char code[4];
      std::snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned char>(c));
      clean += code;
    }
  }
  return text.size() > kLongestWord ? clean + "..." : clean;
}

}  // namespace

std::string logLine(const LogEntry& entry) {
  char numbers[96];
  const auto microseconds = static_cast<double>(entry.duration.count());
  std::snprintf(numbers, sizeof(numbers), " %" PRIu32 " %" PRIu64 " %.3fms ", entry.status,
                entry.bytes, microseconds / 1000);
  return timeText(entry.time) + ' ' + word(entry.client) + numbers + word(entry.method) + ' ' +
         word(entry.target) + ' ' + word(entry.origin) + '\n';
}

AccessLog::AccessLog(const std::string& path) {
  if (!path.empty()) {
    file_.reset(path == "-" ? stdout : std::fopen(path.c_str(), "a"));
    if (!file_) {
      throw HostError(path + ": the log cannot be written", ExitStatus::kOutput);
    }
  }
}

void AccessLog::write(const LogEntry& entry) {
  const std::string line = logLine(entry);
  std::fwrite(line.data(), 1, line.size(), file_.get());
  std::fflush(file_.get());
}

}  // namespace vexahost
