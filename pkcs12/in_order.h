#pragma once

#include <cstdint>

#include "vexa/results.h"

namespace vexa::pkcs12 {

// Takes steps until one does not answer kOk, and answers what that one did. Whatever the runtime
// answers is handed on as it stands; a positive answer ends it, too, since nobody promises that
// something was made.
template <class... Steps>
int32_t inOrder(const Steps&... steps) {
  int32_t result = kOk;
  (void)(((result = steps()) == kOk) && ...);
  return result;
}

}  // namespace vexa::pkcs12
