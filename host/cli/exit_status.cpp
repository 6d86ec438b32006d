#include "cli/exit_status.h"

namespace vexahost {
namespace {

constexpr ExitStatusEntry kStatuses[] = {
    {ExitStatus::kSuccess, "All was done; what was checked holds."},
    {ExitStatus::kNo, "A check said no: a URL that is not valid, a cipher that failed its test."},
    {ExitStatus::kUsage, "The command line cannot be understood."},
    {ExitStatus::kInput, "An input is missing, cannot be read, or is not what it should be."},
    {ExitStatus::kPassword, "A password is wrong or missing."},
    {ExitStatus::kOutput, "The output or a file could not be written."},
    {ExitStatus::kUnsupported, "This system, runtime or file format does not allow it."},
    {ExitStatus::kSystem, "The module could not be loaded, or a function of it failed."},
};

}  // namespace

std::span<const ExitStatusEntry> exitStatuses() { return kStatuses; }

}  // namespace vexahost
