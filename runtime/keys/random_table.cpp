#include "runtime/keys/random_table.h"

#include "runtime/keys/system_random.h"
#include "vexa/results.h"

namespace vexa::velmora {
namespace {

constexpr uint32_t kKind = 2;  // the only kind that is asked for

int32_t getBytes(uint32_t kind, uint64_t length, uint64_t, uint8_t* out) {
  if (kind != kKind) {
    return kInvalidArgument;
  }
  if (length == 0) {
    return kOk;
  }
  if (out == nullptr) {
    return kNullPointer;
  }
  return systemRandom(out, length) ? kOk : kFail;
}

}  // namespace

constinit const runtime::RandomTable randomTable = {.reserved0 = nullptr, .GetBytes = getBytes};

}  // namespace vexa::velmora
