#pragma once

#include <span>
#include <stdexcept>
#include <string>

// What the program ends with, and the failure that leads there. One table: the manual and `vexahost
// help exit-status` are made from it.
namespace vexahost {

enum class ExitStatus {
  kSuccess = 0,
  kNo = 1,
  kUsage = 2,
  kInput = 3,
  kPassword = 4,
  kOutput = 5,
  kUnsupported = 6,
  kSystem = 7,
};

struct ExitStatusEntry {
  ExitStatus status;
  const char* meaning;
};
std::span<const ExitStatusEntry> exitStatuses();

// A failure that the user is told about. The message says file and reason.
class HostError : public std::runtime_error {
 public:
  explicit HostError(const std::string& message, ExitStatus status = ExitStatus::kSystem)
      : std::runtime_error(message), status_(status) {}

  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

}  // namespace vexahost
