#pragma once

#include <cstring>

#include "vexa/certificates.h"

namespace vexa::certs {

// The walk that every attribute implementer shares: `serve(request)` answers kOk (served), kFalse
// (unknown id) or a failure. The first failure is returned, after the walk.
template <class Serve>
int32_t walkAttributes(runtime::AttributeRequest* list, Serve serve) {
  int32_t result = kOk;
  for (; list != nullptr; list = list->next) {
    list->found = 1;
    std::memset(&list->value, 0, sizeof(void*));  // the first word: an empty string, a null object
    const int32_t served = serve(*list);
    if (served != kOk) {
      list->found = 0;
      result = failed(result) ? result : served;
    }
  }
  return result;
}

}  // namespace vexa::certs
