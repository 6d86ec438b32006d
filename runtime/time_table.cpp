#include "runtime/basic_tables.h"
#include "runtime/library_time.h"
#include "vexa/results.h"

namespace vexa::velmora {
namespace {

int32_t toUnixSeconds(const runtime::LibraryTime* time, uint64_t* seconds) {
  if (time == nullptr || seconds == nullptr) {
    return kNullPointer;
  }
  const auto count = libraryTimeSeconds(reinterpret_cast<const char*>(time));
  if (!count || *count < 0) {
    return kInvalidArgument;
  }
  *seconds = static_cast<uint64_t>(*count);
  return kOk;
}

}  // namespace

constinit const runtime::TimeTable timeTable = {.reserved0 = nullptr,
                                                .ToUnixSeconds = toUnixSeconds};

}  // namespace vexa::velmora
